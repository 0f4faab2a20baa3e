// Scans per second: of several stations in parallel, and beside a dead one.

#include "watched_stations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <thread>

namespace panelhost {
namespace {

using std::chrono::milliseconds;

double scansPerSecond(Host& host, const std::vector<std::size_t>& stations, milliseconds duration)
{
    const auto scans = [&] {
        std::uint64_t sum = 0;
        for (const std::size_t station : stations)
            sum += host.statistics(station).scans;
        return sum;
    };
    const std::uint64_t before = scans();
    const Clock::time_point start = Clock::now();
    std::this_thread::sleep_for(duration);
    return static_cast<double>(scans() - before) /
           std::chrono::duration<double>(Clock::now() - start).count();
}

double medianOf(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double paceOfStations(std::size_t count)
{
    constexpr int kResponseMilliseconds = 5;
    WatchedStations stations;
    std::vector<std::size_t> all;
    for (std::size_t i = 0; i < count; ++i) {
        stations.add(tagEntry("A", "DINT") + tagEntry("B", "REAL") + tagEntry("C", "INT"),
                     {"A", "B", "C"}, kResponseMilliseconds);
        all.push_back(i);
    }
    stations.startAndSettle();
    return scansPerSecond(stations.host(), all, milliseconds(1000));
}

TEST(Pace, EightStationsMakeSevenTimesTheScansOfOne)
{
    constexpr int kRounds = 5;
    std::vector<double> ratios;
    for (int round = 0; round < kRounds; ++round) {
        const double one = paceOfStations(1);
        const double eight = paceOfStations(8);
        ratios.push_back(eight / one);
        std::printf("one station %.1f scans/s, eight %.1f: %.2f times\n", one, eight,
                    ratios.back());
    }
    EXPECT_GE(medianOf(ratios), 7.0);
}

class BesideADeadStation : public testing::TestWithParam<const char*> {};

/// A station that answers a knock and then nothing is the worst: its time-outs stop the others.
TEST_P(BesideADeadStation, TheOthersOfTheCycleKeepNineTenthsOfTheirPace)
{
    WatchedStations stations;
    stations.shareOneCycle();
    stations.settings().scanInterval = milliseconds(20);
    for (std::size_t i = 0; i < 3; ++i) {
        stations.add(tagEntry("Tag", "DINT"), {"Tag"});
        stations.station(i).timeout = milliseconds(100);
    }
    stations.startAndSettle();
    const std::vector<std::size_t> others = {0, 1};
    const double before = scansPerSecond(stations.host(), others, milliseconds(2000));
    stations.simulator(2).command(GetParam());
    stations.simulator(2).command("fault drop-link");
    ASSERT_TRUE(becomesTrue([&] { return stations.host().station(2).attempts > 2; },
                            std::chrono::seconds(20)));
    const double beside = scansPerSecond(stations.host(), others, milliseconds(5000));
    EXPECT_GE(beside / before, 0.9);
    std::printf("%s: %.1f scans/s before, %.1f beside it\n", GetParam(), before, beside);
    EXPECT_FALSE(stations.host().station(2).online);
}

INSTANTIATE_TEST_SUITE_P(EveryKind, BesideADeadStation,
                         testing::Values("fault offline 60", "fault silence",
                                         "fault silence on open"));

} // namespace
} // namespace panelhost
