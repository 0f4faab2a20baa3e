// Programs that change under a host that watches them.

#include "watched_stations.h"

#include <gtest/gtest.h>

namespace panelhost {
namespace {

TEST(ChangedProgram, ATagThatComesWithADownloadIsReadWithItsTrueType)
{
    WatchedStations stations;
    stations.add(tagEntry("Old", "INT", "value = 7"), {"Old", "New"});
    const e2e::TemporaryFile other(".toml", tagEntry("Old", "INT", "value = 8") +
                                                tagEntry("New", "DINT", "value = 70000"));
    stations.start();
    ASSERT_TRUE(becomesTrue([&] { return stations.shown(1).settled && stations.isGood(0); }));
    EXPECT_EQ(stations.text(1), "bad: no such tag, or not a global variable (status 0x05)");
    stations.simulator().command("download " + other.path());
    EXPECT_TRUE(becomesTrue([&] { return stations.text(1) == "70000"; })) << stations.text(1);
    EXPECT_STREQ(stations.shown(1).type->name, "DINT");
    EXPECT_TRUE(becomesTrue([&] { return stations.text(0) == "8"; })) << stations.text(0);
    EXPECT_EQ(stations.host().statistics(0).sessions, 1u) << "its refusals left no trace";
}

TEST(ChangedProgram, AnotherTypeEndsTheSessionAndIsShownInTheNext)
{
    WatchedStations stations;
    stations.add(tagEntry("Tag", "DINT", "value = 65536"), {"Tag"});
    const e2e::TemporaryFile other(".toml", tagEntry("Tag", "REAL", "value = 2.5"));
    stations.startAndSettle();
    stations.simulator().command("download " + other.path());
    // Never are the new bytes shown as the old type.
    EXPECT_TRUE(becomesTrue([&] {
        const std::string shown = stations.text(0);
        EXPECT_TRUE(shown == "65536" || shown == "2.5" || shown.rfind("stale", 0) == 0 ||
                    shown.rfind("bad", 0) == 0)
            << shown;
        return shown == "2.5";
    })) << stations.text(0);
    EXPECT_STREQ(stations.shown(0).type->name, "REAL");
    EXPECT_EQ(stations.host().statistics(0).sessions, 2u);
}

TEST(ChangedProgram, ATagThatIsGoneIsBadAndGoodAgainWhenItIsBack)
{
    WatchedStations stations;
    stations.add(tagEntry("Here", "INT", "value = 1") + tagEntry("Gone", "INT", "value = 2"),
                 {"Here", "Gone"});
    const e2e::TemporaryFile without(".toml", tagEntry("Here", "INT", "value = 3"));
    const e2e::TemporaryFile again(".toml", tagEntry("Here", "INT", "value = 4") +
                                                tagEntry("Gone", "SINT", "value = -5"));
    stations.startAndSettle();
    stations.simulator().command("download " + without.path());
    EXPECT_TRUE(becomesTrue([&] { return stations.text(1).rfind("bad: no such tag", 0) == 0; }))
        << stations.text(1);
    EXPECT_TRUE(becomesTrue([&] { return stations.text(0) == "3"; })) << stations.text(0);
    stations.simulator().command("download " + again.path());
    EXPECT_TRUE(becomesTrue([&] { return stations.text(1) == "-5"; })) << stations.text(1);
}

TEST(ChangedProgram, AShorterArrayIsBadBeyondItsEndOnly)
{
    WatchedStations stations;
    stations.add(tagEntry("Many", "INT", "size = 9\nvalue = [1, 2, 3, 4, 5, 6, 7, 8, 9]"),
                 {"Many[1]", "Many[8]"});
    const e2e::TemporaryFile shorter(".toml",
                                     tagEntry("Many", "INT", "size = 3\nvalue = [10, 20, 30]"));
    stations.startAndSettle();
    stations.simulator().command("download " + shorter.path());
    EXPECT_TRUE(becomesTrue([&] { return stations.text(0) == "20"; })) << stations.text(0);
    EXPECT_TRUE(becomesTrue([&] { return stations.text(1).rfind("bad: beyond the end", 0) == 0; }))
        << stations.text(1);
}

} // namespace
} // namespace panelhost
