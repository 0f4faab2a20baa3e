#include "tag_file.h"

#include <gtest/gtest.h>

#include <set>

using namespace plcsim;

namespace {

std::string complaint(const std::string& text)
{
    try {
        parseTagFile(text, "m.toml");
        return "none";
    } catch (const TagFileError& error) {
        return error.what();
    }
}

std::string tag(const std::string& lines)
{
    return "[[tag]]\nname = 'T'\n" + lines + "\n";
}

} // namespace

TEST(TagFile, GivesControllerAndTags)
{
    const Program program = parseTagFile(
        "[controller]\nname = 'Rig'\nvendor = 7\nrevision = '12.11'\n"
        "[[tag]]\nname = 'A'\ntype = 'INT'\nsize = 3\nvalue = [1, 2]\n"
        "[[tag]]\nname = 'B'\ntype = 'STRING'\nvalue = 'x'\nread_only = true\nmax_length = 10\n",
        "m.toml");
    EXPECT_EQ(program.identity.name, "Rig");
    EXPECT_EQ(program.identity.vendor, 7);
    EXPECT_EQ(program.identity.majorRevision, 12);
    EXPECT_EQ(program.identity.minorRevision, 11);
    ASSERT_EQ(program.tags.size(), 2u);
    EXPECT_EQ(program.tags[0].size, 3u);
    EXPECT_FALSE(program.tags[0].readOnly);
    EXPECT_FALSE(program.tags[1].size);
    EXPECT_TRUE(program.tags[1].readOnly);
    EXPECT_EQ(program.tags[1].maxLength, 10u);
}

struct BadFile {
    std::string text;
    std::string complaint;
};

class RefusedTagFile : public ::testing::TestWithParam<BadFile> {};

TEST_P(RefusedTagFile, NamesTheCulprit)
{
    EXPECT_EQ(complaint(GetParam().text), GetParam().complaint);
}

INSTANTIATE_TEST_SUITE_P(
    Mistakes, RefusedTagFile,
    ::testing::Values(
        BadFile{"", "m.toml: no [[tag]] in it"},
        BadFile{"tag = 3\n", "m.toml:1: tags are written as [[tag]] tables"},
        BadFile{"[[tag]]\ntype = 'INT'\n", "m.toml:1: a [[tag]] needs a name"},
        BadFile{"[[tag]]\nname = 'T'\n", "m.toml:1: tag \"T\": a [[tag]] needs a type"},
        BadFile{
            "[[tag]]\nname = '2T'\ntype = 'INT'\n",
            "m.toml:2: tag \"2T\": a name is made of letters, digits and _, does not begin with a "
            "digit and has at most 255 characters"},
        BadFile{tag("type = 'INT'\nvalue = 40000"),
                "m.toml:4: tag \"T\": 40000 does not fit INT (-32768..32767)"},
        BadFile{tag("type = 'INT'\nvalue = 'many'"),
                "m.toml:4: tag \"T\": \"many\" is not a whole number"},
        BadFile{tag("type = 'INT'\nvalue = 1.5"),
                "m.toml:4: tag \"T\": 1.5 is not a value of type INT"},
        BadFile{tag("type = 'INT'\nvalue = true"),
                "m.toml:4: tag \"T\": true and false are BOOL values, the type is INT"},
        BadFile{tag("type = 'STRING'\nvalue = 3"),
                "m.toml:4: tag \"T\": 3 is a number, STRING holds text"},
        BadFile{tag("type = 'STRING'\nvalue = 'abc'\nmax_length = 2"),
                "m.toml:4: tag \"T\": the text has 3 characters, max_length is 2"},
        BadFile{tag("type = 'INT'\nmax_length = 2"),
                "m.toml:4: tag \"T\": max_length is for texts only"},
        BadFile{tag("type = 'INT'\nvalue = [1, 2]"),
                "m.toml:4: tag \"T\": value lists 2 values, there is room for 1"},
        BadFile{tag("type = 'INT'\nsize = 0"),
                "m.toml:4: tag \"T\": size is to be a whole number, 1..1000000"},
        BadFile{tag("type = 'INT'\nspeed = 1"), "m.toml:4: tag \"T\": unknown key \"speed\""},
        BadFile{tag("type = 'INT'\nstep = 1"),
                "m.toml:4: tag \"T\": step is for moving tags, and motion is fixed"},
        BadFile{tag("type = 'INT'\nmotion = 'jump'"),
                "m.toml:4: tag \"T\": unknown motion \"jump\" (known: fixed, count, ramp, sine, "
                "square, "
                "random, cycle)"},
        BadFile{tag("type = 'INT'\nmotion = 'ramp'\nmin = 5\nmax = 4"),
                "m.toml:4: tag \"T\": min is above max"},
        BadFile{tag("type = 'INT'\nmotion = 'ramp'\nperiod = 0"),
                "m.toml:5: tag \"T\": period is a number of seconds, 0.001..1000000"},
        BadFile{tag("type = 'STRING'\nmotion = 'ramp'"),
                "m.toml:4: tag \"T\": a text moves with motion \"cycle\" only"},
        BadFile{tag("type = 'STRING'\nmotion = 'cycle'"),
                "m.toml:4: tag \"T\": motion \"cycle\" needs choices = [ ... ]"},
        BadFile{tag("type = 'INT'\nread_only = 1"),
                "m.toml:4: tag \"T\": read_only is to be true or false"},
        BadFile{tag("type = 'INT'") + "[[tag]]\nname = 't'\ntype = 'INT'\n",
                "m.toml:4: tag \"t\": there is a tag of that name already (case does not count)"},
        BadFile{"[controller]\nrevision = 'new'\n" + tag("type = 'INT'"),
                "m.toml:2: revision is to be a text such as \"12.11\""},
        BadFile{"[controller]\nvendor = 70000\n" + tag("type = 'INT'"),
                "m.toml:2: vendor is to be a whole number, 0..65535"},
        BadFile{"[controller]\ncolour = 1\n" + tag("type = 'INT'"),
                "m.toml:2: unknown key \"colour\""},
        BadFile{"[tags]\n" + tag("type = 'INT'"), "m.toml:1: unknown key \"tags\""}));

TEST(TagFile, UnknownTypeListsTheKnownOnes)
{
    const std::string message = complaint(tag("type = 'FLOAT'"));
    EXPECT_EQ(message.substr(0, 55), "m.toml:3: tag \"T\": unknown type \"FLOAT\" (known: BOOL, S");
}

TEST(TagFile, BrokenTomlNamesTheLine)
{
    EXPECT_EQ(complaint("[[tag]]\nname = \n").substr(0, 9), "m.toml:2:");
}

TEST(TagFile, ThatIsNotThereIsSaidSo)
{
    EXPECT_THROW(loadTagFile("/nonexistent/x.toml"), TagFileError);
    EXPECT_THROW(loadTagFile("/"), TagFileError);
}

TEST(TagFile, ExampleMachineHasEveryCommonTypeAndArrays)
{
    const Program program = loadTagFile(EXAMPLES_DIR "/machine.toml");
    std::set<std::string> singles;
    std::set<std::string> arrays;
    std::size_t moving = 0;
    for (const TagDefinition& definition : program.tags) {
        (definition.size ? arrays : singles).insert(definition.type->name);
        moving += definition.motion.kind != MotionKind::Fixed;
    }
    for (const char* type : {"BOOL", "SINT", "INT", "DINT", "LINT", "UINT", "USINT", "UDINT",
                             "ULINT", "REAL", "LREAL", "STRING"})
        EXPECT_TRUE(singles.count(type)) << type;
    for (const char* type : {"BOOL", "SINT", "INT", "DINT", "LINT", "REAL"})
        EXPECT_TRUE(arrays.count(type)) << type;
    EXPECT_GE(moving, 5u);
}
