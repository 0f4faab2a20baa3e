#include "station.h"

#include <gtest/gtest.h>

#include <set>

namespace panelhost {
namespace {

using std::chrono::milliseconds;

TEST(BackOff, TheFirstAttemptComesAtOnceAndTheOthersEverLaterUpToALimit)
{
    BackOff backOff;
    EXPECT_LE(backOff.next(StationTrouble::Silent), milliseconds(100));
    milliseconds longest(0);
    for (int i = 0; i < 20; ++i)
        longest = std::max(longest, backOff.next(StationTrouble::Silent));
    EXPECT_GE(longest, BackOff::kLongest * 3 / 4);
    EXPECT_LE(longest, BackOff::kLongest);
    backOff.reset();
    EXPECT_LE(backOff.next(StationTrouble::Silent), milliseconds(100));
}

TEST(BackOff, PanelsThatLostTheirControllerTogetherDoNotComeBackTogether)
{
    std::set<milliseconds::rep> delays;
    for (int panel = 0; panel < 50; ++panel)
        delays.insert(BackOff().next(StationTrouble::LinkLost).count());
    EXPECT_GT(delays.size(), 10u);
}

TEST(BackOff, ABusyConnectionIdentityIsTriedAgainWhenTheRandomSerialHasChanged)
{
    BackOff backOff;
    for (int i = 0; i < 20; ++i)
        EXPECT_GT(backOff.next(StationTrouble::ConnectionBusy), milliseconds(1000));
}

TEST(BackOff, AStationThatStallsTheOthersAgainAndAgainIsTriedSeldom)
{
    BackOff backOff;
    const milliseconds stalled(4000);
    EXPECT_LE(backOff.next(StationTrouble::Silent, stalled), milliseconds(100));
    EXPECT_GE(backOff.next(StationTrouble::Silent, stalled), milliseconds(40000));
}

} // namespace
} // namespace panelhost
