#include "all_types.h"
#include "simulator.h"

#include <gtest/gtest.h>

namespace e2e {
namespace {

/// Reads references in one go and compares each with what the simulator holds.
void expectRightValues(Simulator* simulator, const std::vector<std::string>& references)
{
    std::vector<std::string> arguments = {"read", simulator->address()};
    arguments.insert(arguments.end(), references.begin(), references.end());
    const Outcome outcome = panelhost(arguments);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.out << outcome.err;
    for (const std::string& reference : references)
        EXPECT_EQ(shownValue(outcome.out, reference), simulator->value(reference)) << outcome.out;
}

class EveryType : public testing::Test {
protected:
    TemporaryFile tags_{".toml", allTypesTagFile()};
    Simulator simulator_{tags_.path(), {"--response-time", "0"}};
};

TEST_F(EveryType, IsReadRightAsASingleValue)
{
    std::vector<std::string> references;
    for (const TypeRow& row : allTypes())
        references.push_back(std::string("One_") + row.name);
    expectRightValues(&simulator_, references);
}

TEST_F(EveryType, IsReadRightAtTheFirstMiddleAndLastElement)
{
    for (const char* index : {"[0]", "[2]", "[4]"}) {
        std::vector<std::string> references;
        for (const TypeRow& row : allTypes())
            if (std::string(row.name) != "STRING" || std::string(index) == "[0]")
                references.push_back(std::string("Many_") + row.name + index);
        expectRightValues(&simulator_, references);
    }
}

TEST_F(EveryType, IsReadRightAsAWholeRangeAndAsAPartOfIt)
{
    for (const char* range : {"[0..4]", "[1..3]", "[3..4]"}) {
        std::vector<std::string> references;
        for (const TypeRow& row : allTypes())
            if (std::string(row.name) != "STRING")
                references.push_back(std::string("Many_") + row.name + range);
        expectRightValues(&simulator_, references);
    }
}

TEST_F(EveryType, IsReadRightWhenAllReferencesShareReads)
{
    std::vector<std::string> references;
    for (const TypeRow& row : allTypes()) {
        if (std::string(row.name) == "STRING")
            continue;
        for (const char* part : {"[4]", "[0..1]", "[2..4]", "[0]"})
            references.push_back(std::string("Many_") + row.name + part);
    }
    expectRightValues(&simulator_, references);
}

TEST_F(EveryType, OfOneTagAloneIsReadRight)
{
    for (const TypeRow& row : allTypes())
        expectRightValues(&simulator_, {std::string("One_") + row.name});
}

TEST(Read, LongArraysAreReadRightFromEndToEnd)
{
    std::string text;
    for (const char* type : {"SINT", "INT", "DINT", "LINT", "BOOL", "DWORD"}) {
        text += std::string("[[tag]]\nname = \"Long_") + type + "\"\ntype = \"" + type +
                "\"\nsize = 1300\n";
    }
    const TemporaryFile tags(".toml", text);
    Simulator simulator(tags.path(), {"--response-time", "0"});
    std::vector<std::string> references;
    for (const char* type : {"SINT", "INT", "DINT", "LINT", "BOOL", "DWORD"}) {
        const std::string name = std::string("Long_") + type;
        for (int i = 0; i < 1300; i += 7)
            simulator.command("set " + name + "[" + std::to_string(i) + "] " +
                              std::to_string(std::string(type) == "BOOL" ? 1 : i % 127));
        for (const char* part :
             {"[0..1299]", "[255]", "[256]", "[1299]", "[123..125]", "[490..500]"})
            references.push_back(name + part);
    }
    expectRightValues(&simulator, references);
}

TEST(Read, TheExampleMachineIsReadRight)
{
    Simulator simulator(EXAMPLE_MACHINE);
    std::vector<std::string> references;
    std::vector<std::string> fixed;
    for (const std::string& reference : simulator.references()) {
        const std::string before = simulator.value(reference);
        references.push_back(reference);
        // What moves is held where it is, so that there is one right answer.
        if (simulator.command("set " + reference + " " + before).rfind("set ", 0) == 0 ||
            reference == "SerialNumber")
            fixed.push_back(reference);
    }
    EXPECT_EQ(fixed.size(), references.size());
    expectRightValues(&simulator, references);
}

TEST(Read, AMissingTagIsBadWithTheControllersReasonAndTheOthersAreGood)
{
    Simulator simulator(EXAMPLE_MACHINE);
    const Outcome outcome =
        panelhost({"read", simulator.address(), "NoSuchTag", "ConveyorSetpoint", "NorThis[3]"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.out.find("NoSuchTag        = bad: no such tag, or not a global variable "
                               "(status 0x05)\n"),
              std::string::npos)
        << outcome.out;
    EXPECT_EQ(shownValue(outcome.out, "ConveyorSetpoint"), "200");
}

TEST(Read, BeyondTheEndIsBadAndDoesNotSpoilItsNeighbours)
{
    Simulator simulator(EXAMPLE_MACHINE);
    const Outcome outcome =
        panelhost({"read", simulator.address(), "BatchWeights[11]", "BatchWeights[12]",
                   "BatchWeights[10..12]", "RecipeSteps[19]"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(shownValue(outcome.out, "BatchWeights[11]"), "-2147483648");
    EXPECT_EQ(shownValue(outcome.out, "RecipeSteps[19]"), "-119");
    EXPECT_NE(outcome.out.find("BatchWeights[12]     = bad: beyond the end of the array"),
              std::string::npos)
        << outcome.out;
    EXPECT_NE(outcome.out.find("BatchWeights[10..12] = bad: beyond the end of the array"),
              std::string::npos)
        << outcome.out;
}

TEST(Read, AnyCaseOfANameIsTheSameTag)
{
    Simulator simulator(EXAMPLE_MACHINE);
    const Outcome outcome =
        panelhost({"read", simulator.address(), "conveyorSETPOINT", "ConveyorSetpoint"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.out;
    EXPECT_EQ(shownValue(outcome.out, "conveyorSETPOINT"), "200");
}

TEST(Read, OnlyTheFirstStringOfAnArrayCanBeRead)
{
    const TemporaryFile tags(".toml", allTypesTagFile());
    Simulator simulator(tags.path());
    const Outcome outcome =
        panelhost({"read", simulator.address(), "Many_STRING[0]", "Many_STRING[1]"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(shownValue(outcome.out, "Many_STRING[0]"), "\"first\"");
    EXPECT_NE(outcome.out.find("only element 0 of a string array can be read"), std::string::npos);
}

TEST(Watch, ShowsMovingValuesAndTheStatistics)
{
    Simulator simulator(EXAMPLE_MACHINE);
    const Outcome outcome =
        panelhost({"watch", simulator.address(), "BatchCounters[0..3]", "--interval", "0.6",
                   "--count", "3", "--csv", "--statistics"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    std::vector<std::string> values;
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = outcome.out.find('\n', begin)) != std::string::npos;
         begin = end + 1)
        values.push_back(outcome.out.substr(begin, end - begin));
    ASSERT_EQ(values.size(), 4u) << outcome.out;
    EXPECT_EQ(values[0], "time,station,tag,type,quality,age_ms,value,reason");
    EXPECT_NE(values[1].substr(values[1].find(",good,")),
              values[3].substr(values[3].find(",good,")));
    EXPECT_NE(outcome.err.find("round trip min "), std::string::npos) << outcome.err;
}

} // namespace
} // namespace e2e
