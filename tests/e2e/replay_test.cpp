// Conversations with the simulator, captured and replayed: the replay shows what the host showed.

#include "all_types.h"
#include "simulator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <sstream>

namespace e2e {
namespace {

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

/// "Name = value  TYPE" lines, sorted, blanks before the equals sign closed up.
std::vector<std::string> shownLines(const std::string& out)
{
    std::vector<std::string> shown;
    for (const std::string& line : linesOf(out)) {
        const std::size_t equals = line.find(" = ");
        if (equals == std::string::npos)
            continue;
        const std::string name = line.substr(0, equals);
        shown.push_back(name.substr(0, name.find_last_not_of(' ') + 1) + line.substr(equals));
    }
    std::sort(shown.begin(), shown.end());
    return shown;
}

/// Reads lines until one contains text; false when none comes.
bool waitForLine(Process* process, const std::string& text)
{
    for (std::string line; !(line = process->readLine()).empty();)
        if (line.find(text) != std::string::npos)
            return true;
    return false;
}

TEST(Replay, ShowsOfEveryTypeWhatReadShowed)
{
    const TemporaryFile tags(".toml", allTypesTagFile());
    const TemporaryFile capture(".pcap", "");
    Simulator simulator(tags.path(), {"--response-time", "0"});
    std::vector<std::string> references;
    for (const TypeRow& row : allTypes()) {
        references.push_back(std::string("One_") + row.name);
        references.push_back(std::string("Many_") + row.name +
                             (std::string(row.name) == "STRING" ? "" : "[0..4]"));
    }
    std::vector<std::string> toRead = {"read", simulator.address(), "--capture", capture.path()};
    toRead.insert(toRead.end(), references.begin(), references.end());
    const Outcome read = panelhost(toRead);
    ASSERT_EQ(read.exitCode, 0) << read.out << read.err;
    std::vector<std::string> toReplay = {"replay", capture.path()};
    toReplay.insert(toReplay.end(), references.begin(), references.end());
    const Outcome replay = panelhost(toReplay);
    EXPECT_EQ(replay.exitCode, 0) << replay.err;
    EXPECT_EQ(shownLines(replay.out), shownLines(read.out));
    EXPECT_NE(replay.out.find("Nothing went wrong"), std::string::npos) << replay.out;
}

TEST(Replay, ShowsTheElementsThatAreAskedFor)
{
    Simulator simulator(EXAMPLE_MACHINE);
    const TemporaryFile capture(".pcap", "");
    const Outcome read = panelhost({"read", simulator.address(), "RecipeSteps[10..19]",
                                    "TankSetpoint", "--capture", capture.path()});
    ASSERT_EQ(read.exitCode, 0) << read.err;
    const Outcome replay =
        panelhost({"replay", capture.path(), "RecipeSteps[12..13]", "recipesteps[19]", "Pump"});
    EXPECT_EQ(replay.exitCode, 1);
    EXPECT_EQ(shownValue(replay.out, "RecipeSteps[12..13]"),
              simulator.value("RecipeSteps[12..13]"));
    EXPECT_EQ(shownValue(replay.out, "recipesteps[19]"), simulator.value("RecipeSteps[19]"));
    EXPECT_NE(replay.out.find("= bad: nobody asked for it in this recording"), std::string::npos)
        << replay.out;
}

TEST(Replay, TellsWhatHappenedAtNight)
{
    Simulator simulator(EXAMPLE_MACHINE);
    const TemporaryFile capture(".pcap", "");
    Process watch({PANELHOST, "watch", simulator.address(), "TankSetpoint", "NoSuchTag",
                   "--interval", "0.1", "--timeout", "300", "--retries", "1", "--for", "60",
                   "--capture", capture.path(), "--csv"});
    ASSERT_TRUE(waitForLine(&watch, "TankSetpoint,REAL,good"));
    simulator.command("fault silence 3");
    ASSERT_TRUE(waitForLine(&watch, "TankSetpoint,REAL,stale"));
    ASSERT_TRUE(waitForLine(&watch, "TankSetpoint,REAL,good"));
    simulator.command("fault drop-link");
    for (int line = 0; line < 10; ++line)
        ASSERT_TRUE(waitForLine(&watch, "TankSetpoint,REAL,"));
    watch.signal(SIGINT);
    watch.finish();

    const Outcome replay = panelhost({"replay", capture.path()});
    EXPECT_EQ(replay.exitCode, 1);
    for (const char* finding :
         {"read of NoSuchTag refused: no such tag, or not a global variable (status 0x05)\n",
          "read of TankSetpoint: no answer within ", "the host closed the link\n",
          "the controller closed the link"})
        EXPECT_NE(replay.out.find(finding), std::string::npos) << finding << '\n' << replay.out;

    const Outcome changes = panelhost({"replay", capture.path(), "TankSetpoint", "--changes"});
    std::vector<std::string> qualities;
    for (const std::string& line : linesOf(changes.out))
        if (line.find("TankSetpoint = ") != std::string::npos && line[0] == '2')
            qualities.push_back(line.find("stale: ") != std::string::npos ? "stale" : "good");
    EXPECT_EQ(std::vector<std::string>(qualities.begin(), qualities.begin() + 4),
              (std::vector<std::string>{"good", "stale", "good", "stale"}))
        << changes.out;
}

TEST(Replay, AsJsonIsOneRecordPerLineAndAsCsvATable)
{
    Simulator simulator(EXAMPLE_MACHINE);
    const TemporaryFile capture(".pcap", "");
    panelhost({"read", simulator.address(), "TankSetpoint", "Nope", "--capture", capture.path()});
    const std::vector<std::string> json =
        linesOf(panelhost({"replay", capture.path(), "--json"}).out);
    ASSERT_EQ(json.size(), 3u);
    EXPECT_NE(json[0].find("\"finding\":\"read of Nope refused: "), std::string::npos) << json[0];
    EXPECT_NE(json[1].find("\"tag\":\"TankSetpoint\",\"quality\":\"good\",\"type\":\"REAL\","
                           "\"value\":65.25,"),
              std::string::npos)
        << json[1];
    EXPECT_NE(json[2].find("\"tag\":\"Nope\",\"quality\":\"bad\""), std::string::npos) << json[2];

    const std::vector<std::string> csv =
        linesOf(panelhost({"replay", capture.path(), "--csv"}).out);
    ASSERT_EQ(csv.size(), 3u);
    EXPECT_EQ(csv[0], "time,station,tag,type,quality,age_ms,value,reason");
    EXPECT_NE(csv[1].find(",TankSetpoint,REAL,good,"), std::string::npos) << csv[1];
}

TEST(Replay, WithAProjectShowsItsNamesUnitsAndTypes)
{
    Simulator simulator(EXAMPLE_MACHINE);
    const TemporaryFile capture(".pcap", "");
    const TemporaryFile project(".toml", "[[station]]\nname = \"filler\"\nhost = \"192.0.2.1\"\n"
                                         "[[tag]]\nname = \"TankSetpoint\"\nunit = \"%\"\n"
                                         "[[tag]]\nname = \"BottleCount\"\ntype = \"LINT\"\n");
    panelhost({"read", simulator.address(), "TankSetpoint", "BottleCount", "RecipeName",
               "--capture", capture.path()});
    const Outcome replay =
        panelhost({"replay", capture.path(), "--project", project.path(), "--statistics"});
    EXPECT_EQ(replay.exitCode, 1);
    EXPECT_EQ(shownLines(replay.out),
              (std::vector<std::string>{"BottleCount = bad: the controller's type is DINT, the "
                                        "project says LINT; mend the project file",
                                        "TankSetpoint = 65.25 %  REAL"}));
    EXPECT_NE(replay.out.find("\nStation filler: "), std::string::npos) << replay.out;
    EXPECT_EQ(panelhost({"replay", capture.path(), "--project", "/nowhere.toml"}).exitCode, 2);
}

TEST(Replay, OfAFileThatHoldsNoConversationIsOneLineAndExitCodeTwo)
{
    const auto complaint = [](const std::string& file) {
        const Outcome outcome = panelhost({"replay", file});
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
        return outcome.err;
    };
    EXPECT_EQ(complaint("/nowhere/night.pcap"), "panelhost: /nowhere/night.pcap: cannot be read: "
                                                "No such file or directory\n");
    const TemporaryFile text(".pcap", "some text that is no capture");
    EXPECT_EQ(complaint(text.path()), "panelhost: " + text.path() +
                                          ": not a capture file that can be read: unknown file "
                                          "format\n");
    // An empty capture: header only.
    const TemporaryFile empty(".pcap", std::string("\xd4\xc3\xb2\xa1\2\0\4\0\0\0\0\0\0\0\0\0\xff"
                                                   "\xff\0\0\x65\0\0\0",
                                                   24));
    EXPECT_EQ(complaint(empty.path()),
              "panelhost: " + empty.path() + ": no EtherNet/IP over TCP in its 0 packets\n");
}

TEST(Replay, OfACaptureThatWasCutOffShowsWhatIsThereAndSaysSo)
{
    Simulator simulator(EXAMPLE_MACHINE);
    const TemporaryFile capture(".pcap", "");
    panelhost({"read", simulator.address(), "TankSetpoint", "--capture", capture.path()});
    std::ifstream file(capture.path(), std::ios::binary);
    std::stringstream content;
    content << file.rdbuf();
    const std::string whole = content.str();
    const TemporaryFile cut(".pcap", whole.substr(0, whole.size() - 30));
    const Outcome outcome = panelhost({"replay", cut.path()});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(shownValue(outcome.out, "TankSetpoint"), "65.25");
    EXPECT_EQ(
        outcome.err.rfind("panelhost: " + cut.path() + ": damaged or cut off behind packet ", 0),
        0u)
        << outcome.err;
}

} // namespace
} // namespace e2e
