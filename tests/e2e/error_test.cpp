// What can go wrong, and what panelhost says about it: the thing, the cause, the next step.

#include "fake_device.h"
#include "simulator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>

namespace e2e {
namespace {

// --- No controller there ---

struct NoController {
    const char* name;
    FakeDevice::Kind kind;
    const char* read;     ///< what read says behind "panelhost: ADDRESS: "
    const char* identify; ///< what identify says
};

void PrintTo(const NoController& row, std::ostream* out)
{
    *out << row.name;
}

class ErrorWithout : public testing::TestWithParam<NoController> {};

TEST_P(ErrorWithout, AControllerIsExitCodeThreeAndOneLine)
{
    const NoController& row = GetParam();
    const FakeDevice device(row.kind);
    const auto complaint = [&device](const char* command) {
        std::vector<std::string> arguments = {command, device.address()};
        if (std::string(command) == "read")
            arguments.emplace_back("Tag");
        arguments.insert(arguments.end(), {"--timeout", "300"});
        const Outcome outcome = panelhost(arguments);
        EXPECT_EQ(outcome.exitCode, 3);
        EXPECT_EQ(outcome.out, "");
        const std::string start = "panelhost: " + device.address() + ": ";
        EXPECT_EQ(outcome.err.rfind(start, 0), 0u) << outcome.err;
        return outcome.err.substr(std::min(start.size(), outcome.err.size()));
    };
    EXPECT_EQ(complaint("read"), std::string(row.read) + "\n");
    EXPECT_EQ(complaint("identify"), std::string(row.identify) + "\n");
}

constexpr const char* kSomethingElse =
    "not an EtherNet/IP device: it sends something else; check address and port";

INSTANTIATE_TEST_SUITE_P(
    Devices, ErrorWithout,
    testing::Values(
        NoController{"AGreeting", FakeDevice::Kind::Greets, kSomethingElse, kSomethingElse},
        NoController{"AWebServer", FakeDevice::Kind::AnswersText, kSomethingElse, kSomethingElse},
        NoController{"Silence", FakeDevice::Kind::SaysNothing,
                     "no answer within 300 ms; is it an EtherNet/IP device? If it is only slow, "
                     "raise --timeout",
                     "no answer; is it an EtherNet/IP device? If it is only slow, raise --timeout"},
        NoController{"AnAnswerToConnect", FakeDevice::Kind::AcceptsNobody,
                     "no answer to the connection attempt: wrong address, or the controller is "
                     "off; check address and port",
                     "no answer to the connection attempt: wrong address, or the controller is "
                     "off; check address and port"}),
    [](const testing::TestParamInfo<NoController>& row) { return row.param.name; });

TEST(ErrorOf, ADeviceThatHangsUpNamesBothCauses)
{
    const FakeDevice device(FakeDevice::Kind::HangsUp);
    const Outcome outcome = panelhost({"read", device.address(), "Tag"});
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_NE(outcome.err.find(" the link during the handshake: no free session, or not an "
                               "EtherNet/IP device\n"),
              std::string::npos)
        << outcome.err;
}

// --- A controller that refuses ---

struct Fault {
    const char* name;
    const char* fault;
    const char* words;
    int exitCode;
};

void PrintTo(const Fault& row, std::ostream* out)
{
    *out << row.fault;
}

class ErrorUnder : public testing::TestWithParam<Fault> {};

TEST_P(ErrorUnder, ThisFaultIsToldInWords)
{
    const Fault& row = GetParam();
    Simulator simulator(EXAMPLE_MACHINE, {"--response-time", "0"});
    simulator.command(std::string("fault ") + row.fault);
    const Outcome outcome =
        panelhost({"read", simulator.address(), "TankSetpoint", "--timeout", "300"});
    EXPECT_EQ(outcome.exitCode, row.exitCode);
    EXPECT_EQ(outcome.exitCode == 1 ? outcome.out : outcome.err,
              (outcome.exitCode == 1 ? "TankSetpoint = bad: "
                                     : "panelhost: " + simulator.address() + ": ") +
                  std::string(row.words) + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Faults, ErrorUnder,
    testing::Values(
        Fault{"NoSession", "refuse-session",
              "no session granted: the controller is out of them; close other clients "
              "(encapsulation status 0x0002)",
              3},
        Fault{"NoConnection", "refuse-open",
              "Forward Open refused: the controller has no free connection; close other clients "
              "(status 0x01/0x0113)",
              3},
        Fault{"ConnectionInUse", "refuse-open 0x0100",
              "Forward Open refused: the connection is in use: another panel opened it in the same "
              "second, try again (status 0x01/0x0100)",
              3},
        Fault{"OpenWithUnknownStatus", "refuse-open 0x0999",
              "Forward Open refused: refused by the controller (status 0x01/0x0999)", 3},
        Fault{"Silence", "silence on data",
              "no answer within 300 ms; is it an EtherNet/IP device? If it is only slow, raise "
              "--timeout",
              3},
        Fault{"Garbage", "garbage", kSomethingElse, 3},
        Fault{"NoSuchTag", "status 0x04", "no such tag, or not a global variable (status 0x04)", 1},
        Fault{"ReadOnly", "status 0x0E", "the tag is read-only (status 0x0E)", 1},
        Fault{"WrongType", "status 0xFF 0x2107", "data type mismatch (status 0xFF/0x2107)", 1},
        Fault{"BeyondTheEnd", "status 0xFF 0x2105",
              "beyond the end of the array; arrays start at 0 (status 0xFF/0x2105)", 1},
        Fault{"UnknownStatus", "status 0x77", "refused by the controller (status 0x77)", 1}),
    [](const testing::TestParamInfo<Fault>& row) { return row.param.name; });

// --- Values that do not fit ---

struct Unfit {
    const char* assignment;
    const char* complaint;
};

TEST(ErrorOf, AValueThatDoesNotFitIsFoundBeforeAnythingIsSent)
{
    const TemporaryFile tags(".toml", "[[tag]]\nname = \"Small\"\ntype = \"SINT\"\n"
                                      "[[tag]]\nname = \"Row\"\ntype = \"INT\"\nsize = 4\n"
                                      "[[tag]]\nname = \"On\"\ntype = \"BOOL\"\n"
                                      "[[tag]]\nname = \"Level\"\ntype = \"REAL\"\n"
                                      "[[tag]]\nname = \"Big\"\ntype = \"ULINT\"\n");
    Simulator simulator(tags.path(), {"--response-time", "0"});
    for (const Unfit& row : std::vector<Unfit>{
             {"Small=300", "Small: 300 does not fit SINT (-128..127)"},
             {"Small=-129", "Small: -129 does not fit SINT (-128..127)"},
             {"Row[1..2]=7,40000", "Row[1..2]: 40000 does not fit INT (-32768..32767)"},
             {"Row[1..2]=7", "Row[1..2]: 1 values for 2 elements"},
             {"On=2", "On: 2 does not fit BOOL (0 or 1)"},
             {"Level=warm", "Level: 'warm' is not a number, as REAL needs"},
             {"Big=-1", "Big: -1 does not fit ULINT (0..18446744073709551615)"},
             {"Big=18446744073709551616",
              "Big: 18446744073709551616 does not fit ULINT (0..18446744073709551615)"}}) {
        const Outcome outcome = panelhost({"write", simulator.address(), row.assignment});
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "panelhost: " + std::string(row.complaint) + "\n");
    }
    EXPECT_EQ(simulator.value("Row[0..3]"), "0 0 0 0");
}

// --- Project files ---

TEST(ErrorOf, AProjectFileIsOneLineThatNamesFileLineAndCulprit)
{
    const std::string station = "[[station]]\nhost = \"127.0.0.1\"\n";
    const std::string tag = station + "[[tag]]\nname = ";
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"", ": there is no [[station]]"},
        {"[[station]]\n", ":1: [[station]] needs 'host', the controller's address"},
        {station + "port = 0\n", ":3: 'port' must be a whole number from 1 to 65535"},
        {station + "hots = \"x\"\n", ":3: 'hots' is not known in [[station]]"},
        {tag + "\"A.B\"\n",
         ":4: 'A.B': members of structures cannot be addressed, only whole global variables"},
        {tag + "\"A\"\ntype = \"FLOAT\"\n", ":5: 'FLOAT' is no data type"},
        {tag + "\"A\"\nstation = \"b\"\n", ":5: there is no station 'b'"},
        {station + "retries = 9\n", ":3: 'retries' must be a whole number from 0 to 3"},
        {"[controller]\n" + station,
         ":1: this is a tag file of plcsim; a project file names its [[station]]s"},
        {"= 3\n", ":1: "},
    };
    for (const auto& [content, complaint] : rows) {
        const TemporaryFile file(".toml", content);
        for (const char* command : {"read", "check", "plan", "watch", "identify"}) {
            const Outcome outcome = panelhost({command, file.path()});
            EXPECT_EQ(outcome.exitCode, 2) << content;
            EXPECT_EQ(outcome.out, "");
            EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
            EXPECT_EQ(outcome.err.rfind("panelhost: " + file.path() + complaint, 0), 0u)
                << outcome.err;
        }
    }
}

} // namespace
} // namespace e2e
