#include "commands.h"

#include <gtest/gtest.h>

using namespace plcsim;

namespace {

const char kTags[] = R"(
[[tag]]
name = "Flag"
type = "BOOL"
value = true
[[tag]]
name = "Ints"
type = "INT"
size = 4
value = [1, -2, 3, -4]
[[tag]]
name = "Level"
type = "REAL"
value = 0.1
[[tag]]
name = "Bits"
type = "WORD"
value = 165
[[tag]]
name = "Text"
type = "STRING"
value = 'a "b" \ c'
max_length = 12
read_only = true
)";

class CommandTest : public ::testing::Test {
protected:
    std::string run(const std::string& line)
    {
        std::string all;
        for (const std::string& answer : commands_.execute(line))
            all += (all.empty() ? "" : "\n") + answer;
        return all;
    }

    Controller controller_{parseTagFile(kTags, "test.toml"), {}, TimePoint{}};
    bool quit_ = false;
    Faults faults_{1};
    Commands commands_{
        controller_, faults_, {[] { return std::size_t{3}; }, [this] { quit_ = true; }}};
};

} // namespace

TEST_F(CommandTest, GetShowsTagsElementsAndRanges)
{
    EXPECT_EQ(run("get Flag"), "get Flag = 1");
    EXPECT_EQ(run("get Ints"), "get Ints = 1 -2 3 -4");
    EXPECT_EQ(run("get Ints[3]"), "get Ints[3] = -4");
    EXPECT_EQ(run("get Ints[1..2]"), "get Ints[1..2] = -2 3");
    EXPECT_EQ(run("get Level"), "get Level = 0.1");
    EXPECT_EQ(run("get Bits"), "get Bits = 16#00A5");
    EXPECT_EQ(run("get Text"), "get Text = \"a \\\"b\\\" \\\\ c\"");
    EXPECT_EQ(run("  get   Flag "), "get Flag = 1");
}

TEST_F(CommandTest, SetWritesElementsAndRanges)
{
    EXPECT_EQ(run("set Ints[1] 77"), "set Ints[1] = 77");
    EXPECT_EQ(run("set Ints[2..3] 5 6"), "set Ints[2..3] = 5 6");
    EXPECT_EQ(run("get Ints"), "get Ints = 1 77 5 6");
    EXPECT_EQ(run("set Ints 0"), "set Ints = 0 0 0 0");
    EXPECT_EQ(run("set Text \"two words\""), "set Text = \"two words\"");
    EXPECT_EQ(run("set Text \"a \\\" b\""), "set Text = \"a \\\" b\"");
}

TEST_F(CommandTest, MistakesAreNamedAndLoseNothing)
{
    EXPECT_EQ(run("get"), "error: usage: get TAG");
    EXPECT_EQ(run("get Nope"), "error: no tag \"Nope\"");
    EXPECT_EQ(run("get Ints[4]"), "error: Ints has elements 0..3");
    EXPECT_EQ(run("get Ints[2..1]"), "error: \"Ints[2..1]\" ends before it begins");
    for (const char* odd : {"Ints[", "Ints[]", "Ints[x]", "Ints[1", "Ints[1..]", "Ints[-1]"})
        EXPECT_EQ(run(std::string("get ") + odd),
                  "error: \"" + std::string(odd) +
                      "\" is not of the form Name, Name[3] or Name[2..4]");
    EXPECT_EQ(run("set Ints 1 2"), "error: 2 values for 4 elements");
    EXPECT_EQ(run("set Ints[0] 40000"), "error: 40000 does not fit INT (-32768..32767)");
    EXPECT_EQ(run("set Ints[0..1] 9 x"), "error: \"x\" is not a whole number");
    EXPECT_EQ(run("set Text \"thirteen char\""),
              "error: the text has 13 characters, Text holds 12");
    EXPECT_EQ(run("jump"), "error: unknown command \"jump\"; help lists them");
    EXPECT_EQ(run("download /nonexistent.toml"), "error: /nonexistent.toml: cannot be read");
    EXPECT_EQ(run("get Ints"), "get Ints = 1 -2 3 -4");
}

TEST_F(CommandTest, EmptyLineIsNotAnswered)
{
    EXPECT_EQ(run(""), "");
    EXPECT_EQ(run("  \t"), "");
}

TEST_F(CommandTest, TagsListsNameTypeAndSize)
{
    EXPECT_EQ(run("tags"), "tags 5\nFlag BOOL single\nInts INT 4\nLevel REAL single\n"
                           "Bits WORD single\nText STRING single read-only");
}

TEST_F(CommandTest, StatusCounts)
{
    EXPECT_EQ(run("status"),
              "status links 3 sessions 0 connections 0 requests 0 replies 0 refusals 0 "
              "duplicates 0 unanswered 0 expired 0 faults 0");
}

TEST_F(CommandTest, DownloadReplacesTheProgram)
{
    EXPECT_EQ(run("download " EXAMPLES_DIR "/machine.toml"),
              "download " EXAMPLES_DIR "/machine.toml: 28 tags");
    EXPECT_EQ(run("get Flag"), "error: no tag \"Flag\"");
    EXPECT_EQ(run("get ValveOffset"), "get ValveOffset = -17");
}

TEST_F(CommandTest, PathOfADownloadMayStandInQuotes)
{
    EXPECT_EQ(run("download \"" EXAMPLES_DIR "/machine.toml\""),
              "download " EXAMPLES_DIR "/machine.toml: 28 tags");
    EXPECT_EQ(run("download \"/no such file\""), "error: /no such file: cannot be read");
}

TEST_F(CommandTest, HelpNamesEveryCommand)
{
    for (const char* name : {"get TAG", "set TAG", "release", "tags", "status", "download", "quit"})
        EXPECT_NE(run("help").find(name), std::string::npos) << name;
}

TEST_F(CommandTest, QuitEnds)
{
    EXPECT_EQ(run("quit"), "");
    EXPECT_TRUE(quit_);
}
