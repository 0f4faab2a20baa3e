// check, plan, identify and bench, captures and logs.

#include "simulator.h"
#include "terminal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace e2e {
namespace {

std::string contentOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A project of one station with these tables behind it.
std::string projectFor(const Simulator& simulator, const std::string& tables)
{
    const std::string& address = simulator.address();
    return "[[station]]\nname = \"filler\"\nhost = \"127.0.0.1\"\nport = " +
           address.substr(address.find(':') + 1) + "\n" + tables;
}

std::string tagTable(const std::string& name, const std::string& more = "")
{
    return "[[tag]]\nname = \"" + name + "\"\n" + more;
}

class Tools : public testing::Test {
protected:
    Simulator simulator_{EXAMPLE_MACHINE, {"--response-time", "0"}};
};

// --- check ---

TEST_F(Tools, CheckOfAGoodProjectIsExitCodeZero)
{
    const TemporaryFile project(
        ".toml", projectFor(simulator_, tagTable("TankSetpoint", "type = \"REAL\"\n") +
                                            tagTable("RecipeSteps[0..19]")));
    const Outcome outcome = panelhost({"check", project.path()});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "2 tags checked, 2 good, 0 failed\n");
    EXPECT_EQ(outcome.err, "") << "no progress bar where nobody looks";
}

TEST_F(Tools, CheckListsWhatFailedAndWhy)
{
    const TemporaryFile project(
        ".toml", projectFor(simulator_, tagTable("TankSetpoint", "type = \"DINT\"\n") +
                                            tagTable("BottleCount") + tagTable("Nope") +
                                            tagTable("BatchWeights[12]")));
    const Outcome outcome = panelhost({"check", project.path()});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.out,
              "Tag               Why\n"
              "TankSetpoint      the controller's type is REAL, the project says DINT; mend the "
              "project file\n"
              "Nope              no such tag, or not a global variable (status 0x05)\n"
              "BatchWeights[12]  beyond the end of the array; arrays start at 0 (status "
              "0xFF/0x2105)\n"
              "\n4 tags checked, 1 good, 3 failed\n");
}

TEST_F(Tools, CheckShowsItsProgressOnATerminal)
{
    std::string tables;
    for (int i = 0; i < 12; ++i)
        tables += tagTable("BatchWeights[" + std::to_string(i) + "]");
    const TemporaryFile project(".toml", projectFor(simulator_, tables + tagTable("RecipeName")));
    simulator_.command("fault delay 150");
    TerminalProcess check({PANELHOST, "check", project.path()}, 80, 24);
    EXPECT_TRUE(check.waitFor("] 0 of 13")) << check.screen().text();
    EXPECT_EQ(check.finish(), 0);
    EXPECT_EQ(check.screen().text(), "13 tags checked, 13 good, 0 failed");
}

TEST_F(Tools, CheckNamesAStationThatIsAway)
{
    const TemporaryFile project(
        ".toml", projectFor(simulator_, tagTable("TankSetpoint", "station = \"filler\"\n")) +
                     "[[station]]\nname = \"press\"\nhost = \"127.0.0.1\"\nport = 1\n");
    const Outcome outcome = panelhost({"check", project.path(), "filler/TankSetpoint", "press/X"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.err, "panelhost: press: connection refused: nothing listens on that port of "
                           "the host; check address and port\n");
    EXPECT_NE(outcome.out.find("press/X  connection refused"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("2 tags checked, 1 good, 1 failed"), std::string::npos);
}

TEST_F(Tools, CheckSpeaksJson)
{
    const Outcome outcome =
        panelhost({"check", simulator_.address(), "TankSetpoint", "Nope", "--json"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 2) << outcome.out;
    EXPECT_NE(outcome.out.find("\"tag\":\"Nope\",\"quality\":\"bad\",\"reason\":\"no such tag"),
              std::string::npos)
        << outcome.out;
}

// --- plan ---

TEST(Plan, TellsTheRequestsTheirBytesAndTheScanTime)
{
    const TemporaryFile project(".toml", "[[station]]\nhost = \"192.0.2.1\"\n" +
                                             tagTable("Counter", "type = \"DINT\"\n") +
                                             tagTable("Speeds[0..9]", "type = \"REAL\"\n") +
                                             tagTable("Speeds[12]", "type = \"REAL\"\n"));
    const Outcome outcome = panelhost({"plan", project.path(), "--response-time", "8"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.out, "Read           Type           Request bytes  Reply bytes\n"
                           "Counter        DINT                      64           56\n"
                           "Speeds[0..12]  REAL                      62          104\n"
                           "\n"
                           "One scan: 2 requests, 126 bytes out, 160 bytes in (texts at their "
                           "longest)\n"
                           "At 8 ms response time: 16 ms\n"
                           "Station 192.0.2.1: 2 requests per scan, 3 more once per session\n");
}

TEST(Plan, AsJsonEndsWithTheScan)
{
    const TemporaryFile project(".toml", "[[station]]\nhost = \"192.0.2.1\"\n" +
                                             tagTable("Counter", "type = \"DINT\"\n"));
    const Outcome outcome = panelhost({"plan", project.path(), "--json"});
    EXPECT_EQ(outcome.out, "{\"station\":\"192.0.2.1\",\"read\":\"Counter\",\"type\":\"DINT\","
                           "\"request_bytes\":64,\"reply_bytes\":56}\n"
                           "{\"requests_per_scan\":1,\"bytes_out\":64,\"bytes_in\":56,"
                           "\"scan_ms\":5.0}\n");
}

TEST_F(Tools, WhatPlanSaysIsWhatGoesOverTheLink)
{
    const TemporaryFile project(
        ".toml", projectFor(simulator_, tagTable("BatchWeights[2..5]", "type = \"DINT\"\n")));
    const TemporaryFile capture(".pcap", "");
    EXPECT_NE(panelhost({"plan", project.path()}).out.find("BatchWeights[2..5]  DINT  "),
              std::string::npos);
    panelhost({"read", project.path(), "--capture", capture.path()});
    // Headers of 40 bytes around frames of 70 and 68 bytes, as plan says.
    const std::string plan = panelhost({"plan", project.path(), "--json"}).out;
    EXPECT_NE(plan.find("\"request_bytes\":70,\"reply_bytes\":68"), std::string::npos) << plan;
    const std::string packets = contentOf(capture.path());
    const auto holdsPacketOf = [&packets](char size) {
        const std::string lengths = {size, 0, 0, 0, size, 0, 0, 0};
        return packets.find(lengths) != std::string::npos;
    };
    EXPECT_TRUE(holdsPacketOf(40 + 70));
    EXPECT_TRUE(holdsPacketOf(40 + 68));
}

TEST(Plan, WithoutATypeSaysWhichTagNeedsOne)
{
    const TemporaryFile project(".toml",
                                "[[station]]\nhost = \"192.0.2.1\"\n" + tagTable("Counter"));
    const Outcome outcome = panelhost({"plan", project.path()});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.err, "panelhost: Counter: a plan needs the tag's type; name it in the "
                           "project file\n");
}

// --- identify ---

TEST_F(Tools, IdentifyShowsWhatTheDeviceIs)
{
    const Outcome outcome = panelhost({"identify", simulator_.address()});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.out, simulator_.address() +
                               "\n  Product   2080-LC50-24QWB\n"
                               "  Vendor    Rockwell Automation/Allen-Bradley\n"
                               "  Kind      programmable logic controller, product code 141\n"
                               "  Revision  6.11\n"
                               "  Serial    604E1EF7\n");
    const Outcome json = panelhost({"identify", simulator_.address(), "--json"});
    EXPECT_NE(json.out.find("\"product\":\"2080-LC50-24QWB\",\"vendor\":1,"), std::string::npos)
        << json.out;
}

// --- bench ---

TEST_F(Tools, BenchMeasuresRoundTrips)
{
    const Outcome text = panelhost({"bench", simulator_.address(), "TankSetpoint", "--for", "0.3"});
    EXPECT_EQ(text.exitCode, 0) << text.err;
    EXPECT_NE(text.out.find(" round trips per second, "), std::string::npos) << text.out;
    const Outcome json =
        panelhost({"bench", simulator_.address(), "TankSetpoint", "--for", "0.3", "--json"});
    const std::string key = "\"round_trips_per_second\":";
    ASSERT_NE(json.out.find(key), std::string::npos) << json.out;
    EXPECT_GT(std::stod(json.out.substr(json.out.find(key) + key.size())), 10.0);
    EXPECT_NE(json.out.find("\"failures\":0}"), std::string::npos) << json.out;
    EXPECT_EQ(panelhost({"bench", simulator_.address(), "Nope", "--for", "0.3"}).exitCode, 1);
}

// --- captures, logs ---

TEST_F(Tools, ALogTellsWhatHappenedWithItsTime)
{
    const TemporaryFile log(".log", "");
    panelhost({"read", simulator_.address(), "TankSetpoint", "Nope", "--log", log.path()});
    std::vector<std::string> events;
    std::istringstream lines(contentOf(log.path()));
    for (std::string line; std::getline(lines, line);) {
        const std::string station = " " + simulator_.address() + ": ";
        const std::size_t at = line.find(station);
        ASSERT_EQ(at, std::string("2026-11-21T15:04:05.678Z").size()) << line;
        events.push_back(line.substr(at + station.size()));
    }
    EXPECT_EQ(events, (std::vector<std::string>{
                          "link opened", "connected",
                          "Nope refused: no such tag, or not a global variable (status 0x05)",
                          "link closed"}));
}

TEST_F(Tools, AFileThatCannotBeWrittenIsExitCodeTwo)
{
    for (const char* option : {"--capture", "--log"}) {
        const Outcome outcome =
            panelhost({"read", simulator_.address(), "TankSetpoint", option, "/nowhere/file"});
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_NE(outcome.err.find("/nowhere/file"), std::string::npos) << outcome.err;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    }
}

TEST_F(Tools, ReadSpeaksJsonAndCsv)
{
    const Outcome json = panelhost(
        {"read", simulator_.address(), "BatchWeights[0..1]", "RecipeName", "Nope", "--json"});
    EXPECT_EQ(json.exitCode, 1);
    EXPECT_NE(json.out.find("\"tag\":\"BatchWeights[0..1]\",\"quality\":\"good\",\"type\":\"DINT\","
                            "\"value\":["),
              std::string::npos)
        << json.out;
    EXPECT_NE(json.out.find("\"value\":\"Lemonade 0.33\",\"text\":\"\\\"Lemonade 0.33\\\"\""),
              std::string::npos)
        << json.out;
    const Outcome csv = panelhost({"read", simulator_.address(), "RecipeName", "Nope", "--csv"});
    EXPECT_EQ(csv.out.rfind("time,station,tag,type,quality,age_ms,value,reason\n", 0), 0u);
    EXPECT_NE(csv.out.find(",\"\"\"Lemonade 0.33\"\"\","), std::string::npos) << csv.out;
    EXPECT_NE(csv.out.find(",Nope,,bad,,,\"no such tag, or not a global variable (status 0x05)\""),
              std::string::npos)
        << csv.out;
}

TEST_F(Tools, ScaleAndUnitOfAProjectAreShown)
{
    const TemporaryFile project(
        ".toml",
        projectFor(simulator_, tagTable("ConveyorSetpoint", "scale = 0.1\nunit = \"m/min\"\n")));
    const Outcome outcome = panelhost({"read", project.path()});
    EXPECT_EQ(shownValue(outcome.out, "ConveyorSetpoint"), "20 m/min");
}

} // namespace
} // namespace e2e
