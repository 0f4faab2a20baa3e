// watch on a terminal, seen with the eyes of the person before it.

#include "simulator.h"
#include "terminal.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sstream>

namespace e2e {
namespace {

constexpr char kCtrlC = 3;
constexpr char kCtrlZ = 26;

std::string lineWith(const Screen& screen, const std::string& text)
{
    std::istringstream lines(screen.text());
    for (std::string line; std::getline(lines, line);)
        if (line.find(text) != std::string::npos)
            return line;
    return {};
}

long countOf(const std::string& text, const std::string& wanted)
{
    long count = 0;
    for (std::size_t at = 0; (at = text.find(wanted, at)) != std::string::npos; ++at)
        ++count;
    return count;
}

class WatchOnTerminal : public testing::Test {
protected:
    std::vector<std::string> command(std::vector<std::string> more)
    {
        more.insert(more.begin(), {PANELHOST, "watch", simulator_.address()});
        return more;
    }

    Simulator simulator_{EXAMPLE_MACHINE};
};

TEST_F(WatchOnTerminal, RedrawsInPlaceWithAgeRateAndTrend)
{
    TerminalProcess watch(
        command({"TankTemperatures[0]", "TankSetpoint", "NoSuch", "--interval", "0.1"}), 100, 24);
    ASSERT_TRUE(watch.waitFor("█")) << watch.screen().text();
    watch.readFor(std::chrono::milliseconds(1500));
    const Screen& screen = watch.screen();
    EXPECT_EQ(screen.scrolled(), 0);
    EXPECT_EQ(screen.text().rfind("Tag ", 0), 0u) << screen.text();
    EXPECT_EQ(countOf(screen.text(), "TankSetpoint"), 1) << screen.text();
    EXPECT_EQ(countOf(screen.text(), "\n"), 3) << screen.text();
    const std::string heading = lineWith(screen, "Quality");
    for (const char* column : {"Tag", "Value", "Age", "Changes/s", "Trend"})
        EXPECT_NE(heading.find(column), std::string::npos) << heading;
    EXPECT_NE(lineWith(screen, "TankSetpoint").find("65.25"), std::string::npos);
    EXPECT_NE(lineWith(screen, "TankSetpoint").find(" 0.0 "), std::string::npos) << screen.text();
    EXPECT_NE(lineWith(screen, "TankTemperatures[0]").find(" good "), std::string::npos);
    EXPECT_EQ(lineWith(screen, "TankTemperatures[0]").find(" 0.0 "), std::string::npos)
        << screen.text();
    EXPECT_NE(lineWith(screen, "NoSuch").find("bad: no such tag"), std::string::npos);
    EXPECT_FALSE(screen.cursorVisible());

    watch.press(kCtrlC);
    EXPECT_EQ(watch.finish(), 1) << "as one tag is bad";
    EXPECT_TRUE(screen.cursorVisible());
    EXPECT_TRUE(screen.wrapsLines());
    EXPECT_EQ(screen.unknownSequences(), 0);
    EXPECT_NE(screen.text().find("\nStation 127.0.0.1:"), std::string::npos) << screen.text();
    EXPECT_NE(screen.text().find("round trip min "), std::string::npos) << screen.text();
    EXPECT_NE(screen.text().find("TankSetpoint"), std::string::npos) << "the last values stay";
    EXPECT_EQ(screen.text().find("^C"), std::string::npos) << screen.text();
}

TEST_F(WatchOnTerminal, ShowsAStationThatWentAway)
{
    TerminalProcess watch(command({"TankSetpoint", "--interval", "0.1", "--timeout", "500"}), 100,
                          24);
    ASSERT_TRUE(watch.waitFor(" good ")) << watch.screen().text();
    simulator_.command("fault silence");
    EXPECT_TRUE(watch.waitFor(" stale ")) << watch.screen().text();
    EXPECT_TRUE(watch.waitFor(simulator_.address() + ": no answer within 500 ms; trying again"))
        << watch.screen().text();
    simulator_.command("fault clear");
    EXPECT_TRUE(watch.waitFor(" good ")) << watch.screen().text();
    watch.readFor(std::chrono::milliseconds(600)); // the lines below the first good one
    EXPECT_EQ(watch.screen().text().find("trying again"), std::string::npos);
}

TEST_F(WatchOnTerminal, CutsLinesOnANarrowTerminalAndNeverWraps)
{
    const std::vector<std::string> tags = {"RecipeSteps[0..19]", "TankTemperatures[0..7]",
                                           "NoSuchTagWithAVeryLongName", "--interval", "0.1"};
    for (const int columns : {79, 50, 30, 12}) {
        TerminalProcess watch(command(tags), columns, 24);
        ASSERT_TRUE(watch.waitFor("…")) << watch.screen().text();
        watch.readFor(std::chrono::milliseconds(500));
        EXPECT_EQ(countOf(watch.screen().text(), "\n"), 3) << columns << '\n'
                                                           << watch.screen().text();
        EXPECT_EQ(watch.screen().scrolled(), 0);
    }
}

TEST_F(WatchOnTerminal, CountsTheTagsThatDoNotFit)
{
    TerminalProcess watch(
        command({"TankSetpoint", "ConveyorSetpoint", "BatchCounters[0]", "BatchCounters[1]",
                 "BatchCounters[2]", "BatchCounters[3]", "--interval", "0.1"}),
        80, 6);
    ASSERT_TRUE(watch.waitFor("and 3 more")) << watch.screen().text();
    watch.readFor(std::chrono::milliseconds(500));
    EXPECT_EQ(watch.screen().scrolled(), 0);
}

TEST_F(WatchOnTerminal, FollowsAChangeOfItsSize)
{
    TerminalProcess watch(command({"RecipeSteps[0..19]", "TankSetpoint", "--interval", "0.1"}), 120,
                          24);
    ASSERT_TRUE(watch.waitFor("TankSetpoint"));
    watch.resize(40, 10);
    watch.readFor(std::chrono::milliseconds(700));
    const std::string text = watch.screen().text();
    EXPECT_EQ(countOf(text, "\n"), 2) << text;
    EXPECT_EQ(countOf(text, "TankSetpoint"), 1) << text;
}

TEST_F(WatchOnTerminal, LeavesTheTerminalUsableWhileItSleeps)
{
    TerminalProcess watch(command({"TankSetpoint", "--interval", "0.1"}), 80, 24);
    ASSERT_TRUE(watch.waitFor(" good "));
    EXPECT_FALSE(watch.screen().cursorVisible());
    watch.press(kCtrlZ);
    watch.readFor(std::chrono::milliseconds(1000));
    EXPECT_TRUE(watch.screen().cursorVisible());
    EXPECT_TRUE(watch.screen().wrapsLines());
    watch.signal(SIGCONT);
    watch.readFor(std::chrono::milliseconds(1000));
    EXPECT_FALSE(watch.screen().cursorVisible()) << "it goes on";
    watch.press(kCtrlC);
    EXPECT_EQ(watch.finish(), 0);
    EXPECT_TRUE(watch.screen().cursorVisible());
}

TEST_F(WatchOnTerminal, EndsByItselfWithTheTerminalClean)
{
    TerminalProcess watch(command({"TankSetpoint", "--for", "0.5"}), 80, 24);
    EXPECT_EQ(watch.finish(), 0);
    EXPECT_TRUE(watch.screen().cursorVisible());
    EXPECT_NE(watch.screen().text().find("round trip"), std::string::npos);
}

TEST_F(WatchOnTerminal, IsPlainLinesForAProgram)
{
    const Outcome outcome = panelhost(
        {"watch", simulator_.address(), "TankSetpoint", "--count", "2", "--interval", "0.2"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.out.find('\x1b'), std::string::npos) << outcome.out;
    EXPECT_EQ(outcome.out.rfind("Scan 1\nTankSetpoint = 65.25  REAL\n\nScan 2\nTankSetpoint = "
                                "65.25  REAL\nStation ",
                                0),
              0u)
        << outcome.out;
}

} // namespace
} // namespace e2e
