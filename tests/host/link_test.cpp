// Links: sessions begin on fresh ones, dead ones are noticed at once, dead stations hold nobody up.

#include "watched_stations.h"

#include <gtest/gtest.h>

#include <thread>

namespace panelhost {
namespace {

using std::chrono::milliseconds;

TEST(Links, EverySessionBeginsOnAFreshOne)
{
    WatchedStations stations;
    stations.add(tagEntry("Tag", "DINT"), {"Tag"});
    stations.startAndSettle();
    for (const char* fault :
         {"fault drop-sessions", "fault drop-link", "fault encap-status 0x64 times 1",
          "fault half-frame times 1", "fault garbage times 1"}) {
        const std::uint64_t sessions = stations.host().statistics(0).sessions;
        stations.simulator().command(fault);
        ASSERT_TRUE(becomesTrue([&] {
            return stations.host().statistics(0).sessions > sessions && stations.isGood(0);
        })) << fault;
    }
    stations.host().stop();
    bool fresh = false;
    int sessions = 0;
    for (const Recorder::Event& event : stations.recorder().events()) {
        if (event.kind == Recorder::Event::Sent && event.command() == frame::kRegisterSession) {
            EXPECT_TRUE(fresh);
            ++sessions;
        }
        fresh = event.kind == Recorder::Event::Opened;
    }
    EXPECT_GE(sessions, 6);
}

TEST(Links, ThatTheControllerClosesBetweenTwoScansAreNoticedAtOnce)
{
    WatchedStations stations;
    stations.settings().scanInterval = CycleSettings::kLongestPause;
    stations.add(tagEntry("Tag", "DINT"), {"Tag"});
    stations.startAndSettle();
    std::this_thread::sleep_for(milliseconds(100)); // the scan is over
    stations.simulator().command("fault offline 60");
    EXPECT_TRUE(
        becomesTrue([&] { return !stations.host().station(0).online; }, milliseconds(1000)));
    EXPECT_EQ(stations.host().statistics(0).timeouts, 0u);
}

TEST(Links, LostDuringARequestAreNoticedWithoutATimeOut)
{
    WatchedStations stations;
    stations.add(tagEntry("Tag", "DINT"), {"Tag"});
    stations.station(0).timeout = std::chrono::seconds(30);
    stations.startAndSettle();
    stations.simulator().command("fault drop-link on data times 1");
    EXPECT_TRUE(becomesTrue(
        [&] { return stations.host().statistics(0).sessions == 2 && stations.isGood(0); }));
    EXPECT_EQ(stations.host().statistics(0).timeouts, 0u);
}

/// How a station can be dead.
class DeadStation : public testing::TestWithParam<const char*> {};

TEST_P(DeadStation, InASharedCycleIsReportedAndComesBack)
{
    WatchedStations stations;
    stations.shareOneCycle();
    stations.add(tagEntry("Tag", "DINT", "value = 1"), {"Tag"});
    stations.add(tagEntry("Tag", "DINT", "value = 2"), {"Tag"});
    stations.startAndSettle();
    stations.simulator(1).command(GetParam());
    ASSERT_TRUE(becomesTrue([&] { return !stations.host().station(1).online; }));
    EXPECT_FALSE(stations.isGood(1));
    EXPECT_FALSE(stations.host().station(1).reason.empty());
    const Clock::time_point now = Clock::now();
    EXPECT_TRUE(becomesTrue([&] { return stations.isGood(0) && stations.shown(0).asOf > now; }));
    stations.simulator(1).command("fault clear");
    EXPECT_TRUE(becomesTrue([&] { return stations.isGood(1); }, std::chrono::seconds(20)));
}

TEST_P(DeadStation, FromTheStartDoesNotKeepTheOthersOfItsCycleFromBeingRead)
{
    WatchedStations stations;
    stations.shareOneCycle();
    stations.add(tagEntry("Tag", "DINT", "value = 1"), {"Tag"});
    stations.add(tagEntry("Tag", "DINT", "value = 2"), {"Tag"});
    stations.station(0).timeout = std::chrono::seconds(30);
    stations.simulator(0).command(GetParam());
    stations.start();
    EXPECT_TRUE(becomesTrue([&] { return stations.isGood(1); }, milliseconds(3000)));
}

INSTANTIATE_TEST_SUITE_P(EveryKind, DeadStation,
                         testing::Values("fault offline 60", "fault silence"));

} // namespace
} // namespace panelhost
