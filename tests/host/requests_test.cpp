// Which requests go out: probes, counts, resends, keep-alive.

#include "watched_stations.h"

#include <gtest/gtest.h>

#include <map>
#include <thread>

namespace panelhost {
namespace {

using std::chrono::milliseconds;

struct CountRow {
    const char* type;
    int first;
    int count;
};

class ReadOf : public testing::TestWithParam<CountRow> {};

TEST_P(ReadOf, AsksForExactlyTheElementsWanted)
{
    const CountRow row = GetParam();
    const std::string reference = "Many[" + std::to_string(row.first) + ".." +
                                  std::to_string(row.first + row.count - 1) + "]";
    WatchedStations stations;
    stations.add(tagEntry("Many", row.type, "size = " + std::to_string(row.first + row.count)),
                 {reference});
    stations.startAndSettle();
    stations.host().stop();
    int wanted = 0;
    for (const SentRead& read : sentReads(stations.recorder().events())) {
        const bool isWanted = read.request.firstElement == static_cast<unsigned>(row.first) &&
                              read.request.elements == static_cast<unsigned>(row.count);
        const bool isProbe = read.request.firstElement == 0 && read.request.elements == 1;
        EXPECT_TRUE(isWanted || isProbe)
            << read.request.elements << " elements from " << read.request.firstElement;
        wanted += isWanted;
    }
    EXPECT_GT(wanted, 0);
}

INSTANTIATE_TEST_SUITE_P(EveryWidth, ReadOf,
                         testing::Values(CountRow{"BOOL", 0, 9}, CountRow{"SINT", 3, 4},
                                         CountRow{"INT", 2, 7}, CountRow{"DINT", 5, 3},
                                         CountRow{"REAL", 300, 2}, CountRow{"LINT", 1, 5},
                                         CountRow{"LREAL", 260, 4}, CountRow{"DWORD", 4, 6},
                                         CountRow{"DATE_AND_TIME", 2, 3}));

TEST(Requests, InEverySessionTheFirstReadOfATagIsOfItsElementZero)
{
    WatchedStations stations;
    stations.add(tagEntry("A", "DINT", "size = 9") + tagEntry("B", "INT", "size = 9"),
                 {"A[7]", "A[3..5]", "B[8]"});
    stations.startAndSettle();
    for (std::uint64_t session = 2; session <= 4; ++session) {
        stations.simulator().command("fault drop-link");
        ASSERT_TRUE(becomesTrue([&] {
            return stations.host().statistics(0).sessions == session && stations.isGood(0) &&
                   stations.isGood(2);
        }));
    }
    stations.host().stop();
    std::map<std::pair<int, std::string>, std::uint32_t> first;
    for (const SentRead& read : sentReads(stations.recorder().events()))
        first.emplace(std::pair(read.session, read.tag), read.request.firstElement);
    EXPECT_GE(first.size(), 8u);
    for (const auto& [sessionAndTag, element] : first)
        EXPECT_EQ(element, 0u) << sessionAndTag.second << " in session " << sessionAndTag.first;
}

TEST(Requests, ALostAnswerIsAskedForAgainAndScatteredOnesDoNotEndTheSession)
{
    WatchedStations stations;
    stations.add(tagEntry("Counter", "DINT"), {"Counter"});
    stations.station(0).timeout = milliseconds(100);
    stations.startAndSettle();
    for (std::uint64_t lost = 1; lost <= 8; ++lost) {
        stations.simulator().command("fault silence on data times 1");
        ASSERT_TRUE(becomesTrue([&] { return stations.host().statistics(0).timeouts == lost; }));
        const Clock::time_point now = Clock::now();
        ASSERT_TRUE(becomesTrue([&] { return stations.shown(0).asOf > now; }));
    }
    EXPECT_EQ(stations.host().statistics(0).sessions, 1u);
    EXPECT_EQ(stations.host().statistics(0).failures, 0u);
}

TEST(Requests, AStationThatNothingIsReadFromIsKeptBusy)
{
    WatchedStations stations;
    stations.settings().keepAlive = milliseconds(50);
    stations.add(tagEntry("Texts", "STRING", "size = 3"), {"Texts[1]"});
    stations.start();
    ASSERT_TRUE(becomesTrue([&] { return stations.shown(0).settled; }));
    EXPECT_EQ(stations.text(0), "bad: only element 0 of a string array can be read");
    const std::uint64_t before = stations.host().statistics(0).replies;
    EXPECT_TRUE(becomesTrue([&] { return stations.host().statistics(0).replies >= before + 5; }));
    EXPECT_EQ(stations.host().statistics(0).sessions, 1u);
}

TEST(Requests, AStationIsNeverIdleForTenSecondsByDefault)
{
    const CycleSettings settings;
    EXPECT_LT(settings.keepAlive, milliseconds(10000));
    EXPECT_LT(CycleSettings::kLongestPause, milliseconds(10000));
}

TEST(Requests, AnAnswerThatComesTooLateIsNotTakenForTheNext)
{
    WatchedStations stations;
    stations.add(tagEntry("A", "DINT", "value = 1") + tagEntry("B", "DINT", "value = 2"),
                 {"A", "B"});
    stations.startAndSettle();
    stations.simulator().command("fault late-duplicate 3");
    const Clock::time_point end = Clock::now() + milliseconds(500);
    while (Clock::now() < end) {
        ASSERT_EQ(stations.text(0), "1");
        ASSERT_EQ(stations.text(1), "2");
    }
    EXPECT_GT(stations.host().statistics(0).discarded, 10u);
    EXPECT_EQ(stations.host().statistics(0).sessions, 1u);
}

TEST(Requests, ATrueBoolMayBeAnyByteButZero)
{
    WatchedStations stations;
    stations.add("[controller]\nbool_true = 255\n" +
                     tagEntry("Flags", "BOOL", "size = 3\nvalue = [true, false, true]"),
                 {"Flags[0..2]"});
    stations.startAndSettle();
    EXPECT_EQ(stations.text(0), "1 0 1");
}

} // namespace
} // namespace panelhost
