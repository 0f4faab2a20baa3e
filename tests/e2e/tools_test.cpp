#include "simulator.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <sstream>
#include <thread>

namespace e2e {
namespace {

std::string stationOf(const std::string& name, const std::string& address)
{
    const std::size_t colon = address.find(':');
    return "[[station]]\nname = \"" + name + "\"\nhost = \"" + address.substr(0, colon) +
           "\"\nport = " + address.substr(colon + 1) + "\n";
}

std::string tagOf(const std::string& name, const std::string& station, const std::string& more = "")
{
    return "[[tag]]\nname = \"" + name + "\"\nstation = \"" + station + "\"\n" + more;
}

std::string contentOf(const std::string& file)
{
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

/// Two stations of the example machine, and a third that nobody listens on when asked for.
class TwoStations : public testing::Test {
protected:
    std::string stations() const
    {
        return stationOf("fill", fill_.address()) + stationOf("cap", cap_.address());
    }

    Simulator fill_{EXAMPLE_MACHINE};
    Simulator cap_{EXAMPLE_MACHINE};
};

TEST_F(TwoStations, AreReadThroughPrivateCopiesEachWithItsOwnValues)
{
    fill_.command("set ConveyorSetpoint 111");
    cap_.command("set ConveyorSetpoint 222");
    for (const char* shared : {"", "shared_cycle = true\n"}) {
        const TemporaryFile project(".toml", shared + stations() +
                                                 tagOf("ConveyorSetpoint", "fill") +
                                                 tagOf("ConveyorSetpoint", "cap"));
        const Outcome outcome = panelhost({"read", project.path()});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.out << outcome.err;
        EXPECT_EQ(shownValue(outcome.out, "fill/ConveyorSetpoint"), "111");
        EXPECT_EQ(shownValue(outcome.out, "cap/ConveyorSetpoint"), "222");
    }
}

TEST_F(TwoStations, AreServedWhileAThirdDoesNotAnswer)
{
    for (const char* shared : {"", "shared_cycle = true\n"}) {
        const TemporaryFile project(".toml",
                                    shared + stations() +
                                        "[[station]]\nname = \"gone\"\nhost = \"127.0.0.1\"\n"
                                        "port = 1\n" +
                                        tagOf("ConveyorSetpoint", "fill") +
                                        tagOf("TankSetpoint", "cap") + tagOf("A", "gone"));
        const Outcome outcome = panelhost({"read", project.path()});
        EXPECT_EQ(outcome.exitCode, 1) << outcome.out << outcome.err;
        EXPECT_EQ(shownValue(outcome.out, "fill/ConveyorSetpoint"), "200");
        EXPECT_EQ(shownValue(outcome.out, "cap/TankSetpoint"), "65.25");
        EXPECT_TRUE(contains(outcome.out, "gone/A                = bad: connection refused"))
            << outcome.out;
    }
}

TEST_F(TwoStations, AreCheckedTagByTagWithAReasonForEachFailure)
{
    const TemporaryFile project(".toml", stations() + tagOf("ConveyorSetpoint", "fill") +
                                             tagOf("Missing", "cap") +
                                             tagOf("TankSetpoint", "cap", "type = \"INT\"\n"));
    const Outcome outcome = panelhost({"check", project.path()});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_TRUE(contains(outcome.out, "cap/Missing       no such tag")) << outcome.out;
    EXPECT_TRUE(contains(outcome.out,
                         "cap/TankSetpoint  the controller's type is REAL, the project "
                         "says INT"))
        << outcome.out;
    EXPECT_TRUE(contains(outcome.out, "3 tags checked, 1 good, 2 failed")) << outcome.out;

    const TemporaryFile good(".toml", stations() + tagOf("ConveyorSetpoint", "fill"));
    EXPECT_EQ(panelhost({"check", good.path()}).exitCode, 0);
}

TEST(Project, ScalesAndUnitsAreShown)
{
    Simulator simulator(EXAMPLE_MACHINE);
    simulator.command("set ConveyorSetpoint 250");
    const TemporaryFile project(
        ".toml", stationOf("a", simulator.address()) +
                     tagOf("ConveyorSetpoint", "a", "scale = 0.1\nunit = \"m/s\"\n"));
    EXPECT_EQ(shownValue(panelhost({"read", project.path()}).out, "ConveyorSetpoint"), "25 m/s");
}

TEST(Plan, CountsRequestsAndBytesWithoutANetwork)
{
    const TemporaryFile project(".toml", "[[station]]\nhost = \"192.0.2.1\"\n"
                                         "[[tag]]\nname = \"Counter\"\ntype = \"DINT\"\n"
                                         "[[tag]]\nname = \"Arr[0..299]\"\ntype = \"INT\"\n");
    const Outcome outcome = panelhost({"plan", project.path(), "--response-time", "8"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    // 54 + 12 bytes name Arr[0], the same and 2 more Arr[248]; 54 + 10 name Counter.
    EXPECT_TRUE(contains(outcome.out,
                         "Arr[0..247]                      INT                        60 "
                         "           548"))
        << outcome.out;
    EXPECT_TRUE(contains(outcome.out,
                         "Arr[248..299]                    INT                        62 "
                         "           156"))
        << outcome.out;
    EXPECT_TRUE(contains(outcome.out, "One scan: 3 requests, 186 bytes out, 760 bytes in"))
        << outcome.out;
    EXPECT_TRUE(contains(outcome.out, "At 8 ms response time: 24 ms")) << outcome.out;
}

TEST(Plan, WithoutATypeNamesTheTag)
{
    const TemporaryFile project(".toml",
                                "[[station]]\nhost = \"192.0.2.1\"\n[[tag]]\nname = \"Counter\"\n");
    const Outcome outcome = panelhost({"plan", project.path()});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.err,
              "panelhost: Counter: a plan needs the tag's type; name it in the project "
              "file\n");
}

TEST(Identify, ShowsProductVendorRevisionAndSerial)
{
    Simulator simulator(EXAMPLE_MACHINE);
    const Outcome outcome = panelhost({"identify", simulator.address()});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_TRUE(contains(outcome.out, "  Product   2080-LC50-24QWB\n")) << outcome.out;
    EXPECT_TRUE(contains(outcome.out, "  Vendor    Rockwell Automation/Allen-Bradley\n"));
    EXPECT_TRUE(contains(outcome.out, "  Revision  6.11\n"));
    EXPECT_TRUE(contains(outcome.out, "  Serial    604E1EF7\n"));
    EXPECT_EQ(panelhost({"identify", "127.0.0.1:1"}).exitCode, 3);
}

TEST(Bench, CountsRoundTrips)
{
    Simulator simulator(EXAMPLE_MACHINE, {"--response-time", "0"});
    const Outcome outcome =
        panelhost({"bench", simulator.address(), "ConveyorSetpoint", "--for", "0.5", "--json"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    const std::size_t at = outcome.out.find("\"round_trips_per_second\":");
    ASSERT_NE(at, std::string::npos) << outcome.out;
    EXPECT_GT(std::stod(outcome.out.substr(at + 25)), 100) << outcome.out;
}

TEST(Log, SaysInWordsWhatHappened)
{
    Simulator simulator(EXAMPLE_MACHINE);
    const TemporaryFile log(".log", "");
    panelhost({"read", simulator.address(), "Nope", "ConveyorSetpoint", "--log", log.path()});
    const std::string text = contentOf(log.path());
    const std::string station = " " + simulator.address() + ": ";
    EXPECT_TRUE(contains(text, station + "link opened\n")) << text;
    EXPECT_TRUE(contains(text, station + "connected\n")) << text;
    EXPECT_TRUE(contains(text, station + "Nope refused: no such tag")) << text;
}

TEST(Capture, IsAPcapFileThatHoldsTheFrames)
{
    Simulator simulator(EXAMPLE_MACHINE);
    const TemporaryFile capture(".pcap", "");
    panelhost({"read", simulator.address(), "ConveyorSetpoint", "--capture", capture.path()});
    const std::string bytes = contentOf(capture.path());
    ASSERT_GT(bytes.size(), 24u);
    EXPECT_EQ(bytes.substr(0, 4), std::string("\xd4\xc3\xb2\xa1", 4));
    EXPECT_EQ(bytes.substr(20, 4), std::string("\x65\x00\x00\x00", 4)); // raw IP packets
    EXPECT_TRUE(contains(bytes, std::string("\x65\x00\x04\x00\x00\x00\x00\x00", 8)));
    EXPECT_TRUE(contains(bytes, std::string("\x4c\x09\x91\x10", 4) + "ConveyorSetpoint"));
}

TEST(Capture, ThatCannotBeWrittenIsAUsageError)
{
    const Outcome outcome = panelhost({"read", "127.0.0.1", "A", "--capture", "/nowhere/x.pcap"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_TRUE(contains(outcome.err, "/nowhere/x.pcap")) << outcome.err;
}

TEST(Interrupt, EndsAWatchWithItsStatistics)
{
    Simulator simulator(EXAMPLE_MACHINE);
    Process watch({PANELHOST, "watch", simulator.address(), "ConveyorSetpoint"});
    EXPECT_EQ(watch.readLine(), "Scan 1");
    watch.signal(SIGINT);
    const Outcome outcome = watch.finish();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_TRUE(contains(outcome.out, "round trip min")) << outcome.out;
}

} // namespace
} // namespace e2e
