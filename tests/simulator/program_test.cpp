// plcsim as a program: its start, its end, its streams, its exit codes and its manual.
#include "fault_rule.h"
#include "process.h"

#include <asio.hpp>

#include <fstream>
#include <regex>
#include <set>

using asio::ip::tcp;

namespace {

const std::string kMachine = EXAMPLES_DIR "/machine.toml";

std::vector<std::string> onFreePort(std::vector<std::string> more = {})
{
    std::vector<std::string> arguments = {"--tags", kMachine, "--listen", "127.0.0.1:0"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

std::uint16_t portOf(const std::string& readyLine)
{
    const std::string head = "plcsim: listening on 127.0.0.1:";
    EXPECT_EQ(readyLine.substr(0, head.size()), head);
    return static_cast<std::uint16_t>(std::stoi(readyLine.substr(head.size())));
}

std::string contentOf(const std::string& path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string manual()
{
    return std::regex_replace(contentOf(PACKAGING_DIR "/plcsim.1"), std::regex("\\\\-"), "-");
}

/// Every --option that the text mentions.
std::set<std::string> optionsIn(const std::string& text)
{
    std::set<std::string> options;
    const std::regex option("--[a-z][a-z-]*");
    for (std::sregex_iterator it(text.begin(), text.end(), option), end; it != end; ++it)
        options.insert(it->str());
    return options;
}

} // namespace

TEST(Program, SaysWhereItListensAndAnswersCommandsUntilQuit)
{
    Process plcsim(onFreePort());
    const std::uint16_t port = portOf(plcsim.line());
    asio::io_context context;
    tcp::socket socket(context);
    socket.connect({asio::ip::address_v4::loopback(), port});
    plcsim.say("get ValveOffset");
    EXPECT_EQ(plcsim.line(), "get ValveOffset = -17");
    plcsim.say("nonsense");
    EXPECT_EQ(plcsim.line(), "error: unknown command \"nonsense\"; help lists them");
    plcsim.say("fault delay 1");
    EXPECT_EQ(plcsim.line(), "fault delay 1");
    plcsim.say("fault list");
    EXPECT_EQ(plcsim.line(), "faults 1");
    EXPECT_EQ(plcsim.line(), "delay 1");
    plcsim.say("quit");
    EXPECT_EQ(plcsim.wait(), 0);
}

TEST(Program, GoesOnServingWhenItsInputEnds)
{
    Process plcsim(onFreePort());
    const std::uint16_t port = portOf(plcsim.line());
    plcsim.closeInput();
    asio::io_context context;
    for (int i = 0; i < 3; ++i) {
        tcp::socket socket(context);
        socket.connect({asio::ip::address_v4::loopback(), port});
        const std::string listServices("\x04\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 24);
        asio::write(socket, asio::buffer(listServices));
        char answer[50];
        EXPECT_EQ(asio::read(socket, asio::buffer(answer)), 50u);
    }
    plcsim.signal(SIGTERM);
    EXPECT_EQ(plcsim.wait(), 0);
}

TEST(Program, EndsOnInterruptWithExitCode0)
{
    Process plcsim(onFreePort());
    plcsim.line();
    plcsim.signal(SIGINT);
    EXPECT_EQ(plcsim.wait(), 0);
}

TEST(Program, TakenPortIsOneLineAndExitCode1)
{
    Process first(onFreePort());
    const std::uint16_t port = portOf(first.line());
    Process second({"--tags", kMachine, "--listen", "127.0.0.1:" + std::to_string(port)});
    EXPECT_EQ(second.errorLine(), "plcsim: cannot listen on 127.0.0.1:" + std::to_string(port) +
                                      ": Address already in use");
    EXPECT_EQ(second.errorLine(), "");
    EXPECT_EQ(second.wait(), 1);
}

struct BadCall {
    std::vector<std::string> arguments;
    std::string complaint;
};

class RefusedCall : public ::testing::TestWithParam<BadCall> {};

TEST_P(RefusedCall, IsOneLineThatNamesTheCulpritAndExitCode2)
{
    Process plcsim(GetParam().arguments);
    EXPECT_EQ(plcsim.errorLine(), "plcsim: " + GetParam().complaint);
    EXPECT_EQ(plcsim.errorLine(), "");
    EXPECT_EQ(plcsim.wait(), 2);
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, RefusedCall,
    ::testing::Values(
        BadCall{{}, "--tags is required"},
        BadCall{{"--tags", "/nonexistent.toml"}, "/nonexistent.toml: cannot be read"},
        BadCall{{"--tags", "/"}, "/: is a directory"},
        BadCall{onFreePort({"--max-sessions", "1.5"}),
                "--max-sessions: 1.5 is not a whole number within 1..100000"},
        BadCall{onFreePort({"--max-connections", "0"}),
                "--max-connections: 0 is not a whole number within 1..100000"},
        BadCall{{"--tags", kMachine, "--listen", "here"},
                "--listen: \"here\" is not of the form ADDRESS:PORT, such as 127.0.0.1:44818"},
        BadCall{{"--tags", kMachine, "--listen", "127.0.0.1:70000"},
                "--listen: \"127.0.0.1:70000\" is not of the form ADDRESS:PORT, such as "
                "127.0.0.1:44818"},
        BadCall{onFreePort({"--response-time", "-1"}),
                "--response-time: -1 is not a number within 0..600000"},
        BadCall{
            onFreePort({"--fault", "delay soon"}),
            "--fault: \"soon\" is not a number; usage: fault delay MS [on session|open|data] [for "
            "SECONDS] [times N] [chance P]"},
        BadCall{onFreePort({"--frobnicate"}),
                "The following argument was not expected: --frobnicate"}));

TEST(Program, HistoryTellsEveryChange)
{
    const std::string path = ::testing::TempDir() + "plcsim_history_" + std::to_string(::getpid());
    Process plcsim(onFreePort({"--history", path}));
    plcsim.line();
    plcsim.say("set RecipeName \"two words\"");
    plcsim.line();
    plcsim.say("quit");
    EXPECT_EQ(plcsim.wait(), 0);
    const std::string history = contentOf(path);
    EXPECT_TRUE(
        std::regex_search(history, std::regex("(^|\n)[0-9]{16} start ValveOffset 0 -17\n")));
    EXPECT_TRUE(std::regex_search(history,
                                  std::regex("\n[0-9]{16} operator RecipeName 0 \"two words\"\n")));
    ::unlink(path.c_str());
}

TEST(Program, TellsItsVersion)
{
    Process plcsim({"--version"});
    EXPECT_EQ(plcsim.line().substr(0, 7), "plcsim ");
    EXPECT_EQ(plcsim.wait(), 0);
}

TEST(Program, HelpFitsAScreenAndEndsWithAnExample)
{
    Process plcsim({"--help"});
    const std::string help = plcsim.rest();
    EXPECT_EQ(plcsim.wait(), 0);
    EXPECT_LE(std::count(help.begin(), help.end(), '\n'), 30);
    EXPECT_NE(help.find("\nExample: plcsim --tags "), std::string::npos);
}

TEST(Manual, KnowsTheSameOptionsAsHelp)
{
    Process plcsim({"--help"});
    EXPECT_EQ(optionsIn(manual()), optionsIn(plcsim.rest()));
    EXPECT_EQ(plcsim.wait(), 0);
}

TEST(Manual, ExplainsEveryCommandAndEveryFault)
{
    const std::string text = manual();
    for (const char* command : {"get TAG", "set TAG VALUE", "release TAG", "tags", "status",
                                "download FILE", "fault KIND", "help", "quit"})
        EXPECT_NE(text.find(".B " + std::string(command)), std::string::npos) << command;
    for (const plcsim::FaultUsage& fault : plcsim::faultUsages())
        EXPECT_NE(text.find(std::string(".B ") + fault.usage), std::string::npos) << fault.usage;
}
