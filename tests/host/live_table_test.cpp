#include "live_table.h"

#include <gtest/gtest.h>

#include <cmath>

namespace panelhost {
namespace {

using std::chrono::milliseconds;

Snapshot reading(const char* type, const Value& value, Clock::time_point at)
{
    Snapshot shown;
    shown.quality = Quality::Good;
    shown.type = findCipType(std::string(type));
    shown.values = {value};
    shown.asOf = at;
    return shown;
}

TEST(Sparkline, ReachesFromTheLeastToTheGreatest)
{
    EXPECT_EQ(sparkline({0, 50, 100}, true), "▁▅█");
    EXPECT_EQ(sparkline({-1, 0, 1, 0}, false), "_=#=");
}

TEST(Sparkline, OfOneValueIsFlat)
{
    EXPECT_EQ(sparkline({7, 7, 7}, true), "▁▁▁");
    EXPECT_EQ(sparkline({}, true), "");
}

TEST(Sparkline, SurvivesAnyNumber)
{
    EXPECT_EQ(sparkline({-1.7e308, 1.7e308}, true), "▁█");
    EXPECT_EQ(sparkline({NAN, 1, INFINITY, 2}, true), "?▁?█");
}

TEST(TagHistoryTest, CountsChangesAndNotReadings)
{
    const Clock::time_point start(std::chrono::hours(1));
    TagHistory history;
    for (int i = 0; i <= 20; ++i) {
        const Clock::time_point now = start + milliseconds(100) * i;
        history.add(reading("INT", std::int64_t{i / 4}, now), now);
    }
    EXPECT_DOUBLE_EQ(history.changesPerSecond(start + milliseconds(2000)), 2.5);
    EXPECT_EQ(history.recent().size(), 16u);
    EXPECT_EQ(history.recent().back(), 5);
}

TEST(TagHistoryTest, TakesEachReadingOnce)
{
    const Clock::time_point now(std::chrono::hours(1));
    TagHistory history;
    for (int i = 0; i < 5; ++i)
        history.add(reading("INT", std::int64_t{1}, now), now + milliseconds(i));
    EXPECT_EQ(history.recent().size(), 1u);
}

TEST(TagHistoryTest, ForgetsChangesAfterTenSeconds)
{
    const Clock::time_point start(std::chrono::hours(1));
    TagHistory history;
    history.add(reading("INT", std::int64_t{1}, start), start);
    history.add(reading("INT", std::int64_t{2}, start + milliseconds(100)),
                start + milliseconds(100));
    EXPECT_GT(history.changesPerSecond(start + std::chrono::seconds(9)), 0);
    EXPECT_EQ(history.changesPerSecond(start + std::chrono::seconds(11)), 0);
}

TEST(TagHistoryTest, OfATextHasNoTrend)
{
    const Clock::time_point now(std::chrono::hours(1));
    TagHistory history;
    history.add(reading("STRING", std::string("on"), now), now);
    EXPECT_TRUE(history.recent().empty());
}

} // namespace
} // namespace panelhost
