#include "statistics.h"

#include <gtest/gtest.h>

namespace panelhost {
namespace {

using std::chrono::microseconds;
using std::chrono::nanoseconds;

TEST(RoundTrips, NoneAtAllShowAsZero)
{
    const RoundTrips trips;
    EXPECT_EQ(trips.min().count(), 0);
    EXPECT_EQ(trips.median().count(), 0);
    EXPECT_EQ(trips.max().count(), 0);
}

TEST(RoundTrips, MinAndMaxAreExactAndTheMedianWithinTwoPercent)
{
    RoundTrips trips;
    for (int i = 1; i <= 1001; ++i)
        trips.add(microseconds(10 * i));
    EXPECT_EQ(trips.min(), nanoseconds(microseconds(10)));
    EXPECT_EQ(trips.max(), nanoseconds(microseconds(10010)));
    EXPECT_NEAR(static_cast<double>(trips.median().count()), 5010e3, 5010e3 * 0.02);
    EXPECT_NEAR(static_cast<double>(trips.quantile(0.99).count()), 9910e3, 9910e3 * 0.02);
}

TEST(RoundTrips, OneValueIsItsOwnMedian)
{
    RoundTrips trips;
    trips.add(nanoseconds(5123456));
    EXPECT_EQ(trips.median(), nanoseconds(5123456));
}

TEST(RoundTrips, MergingCountsBoth)
{
    RoundTrips fast;
    RoundTrips slow;
    fast.add(microseconds(1));
    slow.add(microseconds(9));
    fast.merge(slow);
    EXPECT_EQ(fast.count(), 2u);
    EXPECT_EQ(fast.max(), nanoseconds(microseconds(9)));
}

} // namespace
} // namespace panelhost
