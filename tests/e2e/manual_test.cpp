// The manual page says what --help says, and is clean to the formatter.

#include "simulator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

namespace e2e {
namespace {

const std::vector<std::string> kCommands = {"read", "write",  "watch",    "check",
                                            "plan", "replay", "identify", "bench"};

std::string manual()
{
    std::ifstream file(MANUAL);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    return std::regex_replace(text, std::regex("\\\\-"), "-");
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

/// The first words of the lines of a section of --help.
std::set<std::string> firstWords(const std::string& help, const std::string& section)
{
    std::set<std::string> words;
    std::istringstream lines(help.substr(help.find('\n' + section) + 1));
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line) && !line.empty()) {
        std::istringstream stream(line);
        std::string word;
        stream >> word;
        words.insert(word);
    }
    return words;
}

std::string section(const std::string& text, const std::string& title)
{
    const std::size_t begin = text.find("\n.SH " + title);
    return text.substr(begin, text.find("\n.SH ", begin + 1) - begin);
}

TEST(Manual, ListsTheCommandsOfHelp)
{
    std::set<std::string> commands(kCommands.begin(), kCommands.end());
    EXPECT_EQ(firstWords(panelhost({"--help"}).out, "Subcommands:"), commands);
    const std::string text = section(manual(), "COMMANDS");
    for (const std::string& command : kCommands)
        EXPECT_NE(text.find("\n.TP\n.B " + command + "\n"), std::string::npos) << command;
}

TEST(Manual, ListsTheOptionsOfHelp)
{
    std::set<std::string> options = optionsIn(panelhost({"--help"}).out);
    for (const std::string& command : kCommands) {
        const std::set<std::string> own = optionsIn(panelhost({command, "--help"}).out);
        options.insert(own.begin(), own.end());
    }
    EXPECT_EQ(optionsIn(section(manual(), "OPTIONS")), options);
}

TEST(Manual, IsCleanToTheFormatter)
{
    const Outcome outcome = run({"/usr/bin/groff", "-man", "-ww", "-Tascii", MANUAL});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_NE(outcome.out.find("PANELHOST(1)"), std::string::npos);
}

TEST(Help, OfEachCommandFitsAScreenAndEndsWithAnExample)
{
    std::vector<std::string> all = kCommands;
    all.insert(all.begin(), "");
    for (const std::string& command : all) {
        const Outcome outcome =
            command.empty() ? panelhost({"--help"}) : panelhost({command, "--help"});
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_LT(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 24) << outcome.out;
        std::istringstream lines(outcome.out);
        std::string last;
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(line.size(), 80u) << line;
            last = line;
        }
        EXPECT_EQ(last.rfind("  panelhost " + command, 0), 0u) << last;
    }
}

TEST(Help, ShowsTheVersion)
{
    EXPECT_EQ(panelhost({"--version"}).out.rfind("panelhost ", 0), 0u);
    EXPECT_EQ(panelhost({"--version"}).exitCode, 0);
}

} // namespace
} // namespace e2e
