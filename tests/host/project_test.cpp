#include "project.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

namespace panelhost {
namespace {

class ProjectFile : public testing::Test {
protected:
    ~ProjectFile() override { std::remove(file_.c_str()); }

    Project load(const std::string& text)
    {
        std::ofstream(file_) << text;
        return loadProject(file_);
    }

    std::string complaint(const std::string& text)
    {
        try {
            load(text);
        } catch (const UsageError& error) {
            const std::string what = error.what();
            return what.substr(what.find(".toml") + 5);
        }
        return "accepted";
    }

    const std::string file_ = testing::TempDir() + "project_test_" +
                              testing::UnitTest::GetInstance()->current_test_info()->name() +
                              ".toml";
};

TEST_F(ProjectFile, StationsAndTagsAreRead)
{
    const Project project = load("scan_interval_ms = 250\n"
                                 "[[station]]\nname = \"press\"\nhost = \"10.0.0.1\"\nport = 1\n"
                                 "timeout_ms = 500\nretries = 0\n"
                                 "[[station]]\nhost = \"10.0.0.2\"\n"
                                 "[[tag]]\nname = \"Level[2..4]\"\nstation = \"10.0.0.2\"\n"
                                 "type = \"real\"\nscale = 0.5\nunit = \"bar\"\n");
    ASSERT_EQ(project.stations.size(), 2u);
    EXPECT_EQ(project.stations[0].name, "press");
    EXPECT_EQ(project.stations[0].timeout.count(), 500);
    EXPECT_EQ(project.stations[1].name, "10.0.0.2");
    EXPECT_EQ(project.stations[1].port, 44818);
    ASSERT_EQ(project.tags.size(), 1u);
    EXPECT_EQ(project.tags[0].station, 1);
    EXPECT_EQ(project.tags[0].reference.count, 3);
    EXPECT_STREQ(project.tags[0].type->name, "REAL");
    EXPECT_EQ(project.label(project.tags[0]), "10.0.0.2/Level[2..4]");
    EXPECT_EQ(project.cycle.scanInterval.count(), 250);
}

TEST_F(ProjectFile, EveryMistakeNamesLineAndCulprit)
{
    const std::string station = "[[station]]\nhost = \"h\"\n";
    EXPECT_EQ(complaint("[[station]\n"),
              ":1: Error while parsing table header: expected ']', saw '\\n'");
    EXPECT_EQ(complaint(""), ": there is no [[station]]");
    EXPECT_EQ(complaint("[[station]]\nname = \"x\"\n"),
              ":1: [[station]] needs 'host', the controller's address");
    EXPECT_EQ(complaint(station + "port = 70000\n"),
              ":3: 'port' must be a whole number from 1 to 65535");
    EXPECT_EQ(complaint(station + "prot = 1\n"), ":3: 'prot' is not known in [[station]]");
    EXPECT_EQ(complaint(station + "[[tag]]\nname = 5\n"), ":4: 'name' must be a text in quotes");
    EXPECT_EQ(complaint(station + "[[tag]]\nname = \"A\"\ntype = \"FLOAT\"\n"),
              ":5: 'FLOAT' is no data type");
    EXPECT_EQ(complaint(station + "[[tag]]\nname = \"A\"\nstation = \"x\"\n"),
              ":5: there is no station 'x'");
    EXPECT_EQ(complaint(station + "[[tag]]\nname = \"A[2\"\n"),
              ":4: 'A[2': the closing ']' is missing, or something follows it");
    EXPECT_EQ(complaint(station + station + "[[tag]]\nname = \"A\"\n"),
              ": two stations are called 'h'; give them names");
    EXPECT_EQ(complaint("station = 3\n"), ":1: write [[station]], with two brackets");
}

TEST(Target, AnAddressMayCarryAPort)
{
    EXPECT_EQ(parseTarget("10.0.0.1").port, 44818);
    EXPECT_EQ(parseTarget("plc.local:502").host, "plc.local");
    EXPECT_EQ(parseTarget("plc.local:502").port, 502);
    for (const char* text : {"", ":5", "h:", "h:0", "h:65536", "h:5x", "a b", "h:-1"})
        EXPECT_THROW(parseTarget(text), UsageError) << text;
}

TEST(Selection, ATagOfTheCommandLineKeepsWhatTheProjectSaysOfIt)
{
    Project project;
    project.stations.push_back(parseTarget("h"));
    ProjectTag level;
    level.reference = parseTagReference("Level");
    level.unit = "bar";
    project.tags.push_back(level);
    selectTags(&project, {"Level", "Other[2]"});
    ASSERT_EQ(project.tags.size(), 2u);
    EXPECT_EQ(project.tags[0].unit, "bar");
    EXPECT_EQ(project.tags[1].reference.first, 2);
}

TEST(Selection, WithSeveralStationsAnUnknownTagNeedsOne)
{
    Project project;
    project.stations.push_back(parseTarget("a"));
    project.stations.push_back(parseTarget("b"));
    EXPECT_THROW(selectTags(&project, {"Counter"}), UsageError);
    selectTags(&project, {"b/Counter"});
    EXPECT_EQ(project.tags[0].station, 1);
}

} // namespace
} // namespace panelhost
