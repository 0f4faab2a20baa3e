// Writes: confirmed when they were done, and only then.

#include "watched_stations.h"

#include <gtest/gtest.h>

namespace panelhost {
namespace {

using std::chrono::milliseconds;

std::string outcomeText(std::future<WriteOutcome> outcome)
{
    if (outcome.wait_for(std::chrono::seconds(10)) != std::future_status::ready)
        return "waits for ever";
    const WriteOutcome result = outcome.get();
    return result.done ? "done" : result.reason;
}

TEST(Writes, OfTheSameShapeAllArrive)
{
    WatchedStations stations;
    std::string tags;
    std::vector<std::string> references;
    for (int i = 0; i < 20; ++i) {
        references.push_back("Tag" + std::to_string(i));
        tags += tagEntry(references.back(), "DINT");
    }
    stations.add(tags, references);
    stations.startAndSettle();
    std::vector<std::future<WriteOutcome>> outcomes;
    for (std::size_t i = 0; i < references.size(); ++i)
        outcomes.push_back(stations.write(i, std::to_string(100 + i)));
    for (std::size_t i = 0; i < references.size(); ++i) {
        EXPECT_EQ(outcomeText(std::move(outcomes[i])), "done");
        EXPECT_EQ(stations.simulator().value(references[i]), std::to_string(100 + i));
    }
}

TEST(Writes, ThatTheControllerRefusesAreNotConfirmed)
{
    WatchedStations stations;
    stations.add(tagEntry("Fixed", "DINT", "read_only = true\nvalue = 4"), {"Fixed"});
    stations.startAndSettle();
    EXPECT_NE(outcomeText(stations.write(0, "5")).find("0x0F"), std::string::npos);
    EXPECT_EQ(stations.text(0), "4");
    EXPECT_EQ(stations.host().statistics(0).sessions, 1u);
}

TEST(Writes, ToAStationThatIsGoneFailAtOnceAndSaySo)
{
    WatchedStations stations;
    stations.add(tagEntry("Tag", "DINT"), {"Tag"});
    stations.startAndSettle();
    stations.simulator().command("fault offline 60");
    ASSERT_TRUE(becomesTrue([&] { return !stations.host().station(0).online; }));
    EXPECT_EQ(outcomeText(stations.write(0, "5")).rfind("not written: ", 0), 0u);
}

TEST(Writes, WithoutAnAnswerMayOrMayNotHaveArrived)
{
    WatchedStations stations;
    stations.add(tagEntry("Tag", "DINT"), {"Tag"});
    stations.settings().scanInterval = CycleSettings::kLongestPause;
    stations.startAndSettle();
    stations.simulator().command("fault lost-answer on data");
    EXPECT_NE(outcomeText(stations.write(0, "5")).find("may or may not have arrived"),
              std::string::npos);
    EXPECT_EQ(stations.simulator().value("Tag"), "5") << "this one did";
}

TEST(Writes, AskedForWhileAnotherSessionBeginsWaitForTheType)
{
    WatchedStations stations;
    stations.add(tagEntry("Tag", "DINT", "size = 4"), {"Tag[3]"});
    stations.startAndSettle();
    stations.simulator().command("fault delay 50");
    stations.simulator().command("fault drop-link");
    ASSERT_TRUE(becomesTrue([&] { return !stations.host().station(0).online; }));
    ASSERT_TRUE(becomesTrue([&] { return stations.host().station(0).online; }));
    EXPECT_FALSE(stations.isGood(0));
    EXPECT_EQ(outcomeText(stations.write(0, "9")), "done");
    EXPECT_EQ(stations.simulator().value("Tag[3]"), "9");
    EXPECT_EQ(stations.simulator().value("Tag[0]"), "0");
}

} // namespace
} // namespace panelhost
