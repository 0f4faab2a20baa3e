#include "tag_file.h"
#include "tag_store.h"

#include <gtest/gtest.h>

#include <set>

using namespace plcsim;

namespace {

class Motions : public ::testing::Test {
protected:
    void start(const std::string& tags, std::uint64_t seed = 1)
    {
        Program program = parseTagFile(tags, "test.toml");
        store_ =
            std::make_unique<TagStore>(std::move(program.tags), program.trueByte, seed, kStart);
    }

    std::string at(double seconds, const char* tag = "T", std::size_t index = 0)
    {
        store_->scan(kStart + fromSeconds(seconds));
        const Tag& found = *store_->find(tag);
        return formatValue(found.type(), found.value(index));
    }

    const TimePoint kStart{};
    std::unique_ptr<TagStore> store_;
};

} // namespace

TEST_F(Motions, FixedStays)
{
    start("[[tag]]\nname = 'T'\ntype = 'INT'\nvalue = 5\n");
    EXPECT_EQ(at(1000), "5");
}

TEST_F(Motions, CountAddsItsStepOncePerPeriodAndStartsAgainBehindTheMaximum)
{
    start("[[tag]]\nname = 'T'\ntype = 'INT'\nmotion = 'count'\nvalue = 10\nstep = 5\nmin = 3\n"
          "max = 20\nperiod = 0.5\n");
    EXPECT_EQ(at(0), "10");
    EXPECT_EQ(at(0.49), "10");
    EXPECT_EQ(at(0.5), "15");
    EXPECT_EQ(at(1.1), "20");
    EXPECT_EQ(at(1.5), "3");
}

TEST_F(Motions, CountGoesDownWithANegativeStep)
{
    start("[[tag]]\nname = 'T'\ntype = 'SINT'\nmotion = 'count'\nvalue = -127\nstep = -1\nmin = "
          "-128\n");
    EXPECT_EQ(at(1), "-128");
    EXPECT_EQ(at(2), "127");
}

TEST_F(Motions, CountReachesTheEndsOfTheWidestTypes)
{
    start(
        "[[tag]]\nname = 'T'\ntype = 'LINT'\nmotion = 'count'\nvalue = 9223372036854775806\n"
        "min = -9223372036854775808\n"
        "[[tag]]\nname = 'U'\ntype = 'ULINT'\nmotion = 'count'\nvalue = '18446744073709551614'\n");
    EXPECT_EQ(at(1), "9223372036854775807");
    EXPECT_EQ(at(2), "-9223372036854775808");
    EXPECT_EQ(at(2, "U"), "0");
}

TEST_F(Motions, RampRisesAndFallsBack)
{
    start("[[tag]]\nname = 'T'\ntype = 'REAL'\nmotion = 'ramp'\nmin = -10\nmax = 10\nperiod = 4\n");
    EXPECT_EQ(at(0), "-10");
    EXPECT_EQ(at(1), "-5");
    EXPECT_EQ(at(3), "5");
    EXPECT_EQ(at(4), "-10");
}

TEST_F(Motions, RampOfIntegersGivesEachValueItsShare)
{
    start("[[tag]]\nname = 'T'\ntype = 'USINT'\nmotion = 'ramp'\nmin = 0\nmax = 3\nperiod = 4\n");
    EXPECT_EQ(at(0.5), "0");
    EXPECT_EQ(at(1.5), "1");
    EXPECT_EQ(at(3.9), "3");
}

TEST_F(Motions, RampReachesOverTheWholeRangeOfTheWidestTypes)
{
    start("[[tag]]\nname = 'T'\ntype = 'LINT'\nmotion = 'ramp'\nmin = -9223372036854775808\n"
          "max = 9223372036854775807\nperiod = 4\n");
    EXPECT_EQ(at(0), "-9223372036854775808");
    EXPECT_EQ(at(2), "0");
    EXPECT_GT(std::stoll(at(3.999999999)), 9223372000000000000);
}

TEST_F(Motions, SineSwingsBetweenMinimumAndMaximum)
{
    start("[[tag]]\nname = 'T'\ntype = 'LREAL'\nmotion = 'sine'\nmin = 0\nmax = 10\nperiod = 4\n");
    EXPECT_EQ(at(0), "5");
    EXPECT_EQ(at(1), "10");
    EXPECT_NEAR(std::stod(at(3)), 0, 1e-9);
}

TEST_F(Motions, SquareIsHalfThePeriodLow)
{
    start("[[tag]]\nname = 'T'\ntype = 'BOOL'\nmotion = 'square'\nperiod = 2\n");
    EXPECT_EQ(at(0.9), "0");
    EXPECT_EQ(at(1.1), "1");
    EXPECT_EQ(at(2.1), "0");
}

TEST_F(Motions, RandomStaysInItsRangeAndIsTheSameForTheSameSeed)
{
    const char tags[] = "[[tag]]\nname = 'T'\ntype = 'INT'\nmotion = 'random'\nmin = -3\nmax = 3\n";
    const auto run = [&](std::uint64_t seed) {
        start(tags, seed);
        std::vector<std::string> values;
        for (int second = 1; second <= 100; ++second)
            values.push_back(at(second));
        return values;
    };
    const auto first = run(7);
    for (const std::string& value : first)
        EXPECT_LE(std::abs(std::stoi(value)), 3);
    EXPECT_EQ(std::set<std::string>(first.begin(), first.end()).size(), 7u);
    EXPECT_EQ(run(7), first);
    EXPECT_NE(run(8), first);
}

TEST_F(Motions, CycleGoesThroughItsChoices)
{
    start("[[tag]]\nname = 'T'\ntype = 'STRING'\nmotion = 'cycle'\nchoices = ['A', 'BB', 'C']\n");
    EXPECT_EQ(at(0), "\"A\"");
    EXPECT_EQ(at(1), "\"BB\"");
    EXPECT_EQ(at(3), "\"A\"");
}

TEST_F(Motions, ElementsOfAnArrayRunOneBehindTheOther)
{
    start("[[tag]]\nname = 'T'\ntype = 'REAL'\nsize = 4\nmotion = 'ramp'\nmin = 0\nmax = 4\nperiod "
          "= 4\n");
    EXPECT_EQ(at(0, "T", 0), "0");
    EXPECT_EQ(at(0, "T", 3), "3");
    EXPECT_EQ(at(2, "T", 3), "1");
}

TEST_F(Motions, WrittenElementIsHeldUntilItIsReleased)
{
    start("[[tag]]\nname = 'T'\ntype = 'INT'\nsize = 2\nmotion = 'count'\n");
    Tag& tag = *store_->find("T");
    store_->write(tag, 0, std::int64_t{100}, ChangeCause::Client);
    EXPECT_EQ(at(5), "100");
    EXPECT_EQ(at(5, "T", 1), "5");
    tag.release();
    EXPECT_EQ(at(6), "101");
}

TEST_F(Motions, ObserverSeesEveryChangeOnce)
{
    start("[[tag]]\nname = 'T'\ntype = 'INT'\nmotion = 'count'\n");
    std::vector<std::string> seen;
    store_->observe([&seen](const Tag& tag, std::size_t index, ChangeCause cause) {
        seen.push_back(tag.name() + std::to_string(index) + "=" +
                       formatValue(tag.type(), tag.value(index)) + " " +
                       std::to_string(static_cast<int>(cause)));
    });
    at(1);
    at(1.5);
    store_->write(*store_->find("T"), 0, std::int64_t{9}, ChangeCause::Client);
    EXPECT_EQ(seen, (std::vector<std::string>{"T0=0 0", "T0=1 1", "T0=9 2"}));
}

TEST_F(Motions, ClockThatJumpsDoesNotKeepTheScanBusy)
{
    start("[[tag]]\nname = 'T'\ntype = 'LINT'\nmotion = 'count'\nperiod = 0.001\n");
    EXPECT_EQ(at(1e6), "1000");
    EXPECT_EQ(at(1e6 + 0.0011), "1001");
}
