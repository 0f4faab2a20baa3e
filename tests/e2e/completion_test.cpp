// The completion script, asked by a bash as at a prompt.

#include "simulator.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace e2e {
namespace {

using Words = std::set<std::string>;

/// What the Tab key offers behind these words, the last of them unfinished.
Words offered(const std::vector<std::string>& words, const std::string& directory = "/")
{
    std::string script =
        "cd '" + directory + "'; source '" COMPLETION "'; COMP_WORDS=('" PANELHOST "'";
    for (const std::string& word : words)
        script += " '" + word + "'";
    script += "); COMP_CWORD=" + std::to_string(words.size()) +
              "; _panelhost '" PANELHOST "'; printf '%s\\n' \"${COMPREPLY[@]}\"";
    const Outcome outcome = run({"/bin/bash", "--norc", "--noprofile", "-c", script});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    Words found;
    std::istringstream lines(outcome.out);
    for (std::string line; std::getline(lines, line);)
        if (!line.empty())
            found.insert(line);
    return found;
}

class Completion : public testing::Test {
protected:
    Completion()
    {
        EXPECT_NE(mkdtemp(directory_.data()), nullptr);
        mkdir((directory_ + "/plants").c_str(), 0700);
        std::ofstream(directory_ + "/press.toml")
            << "[[station]]\nname = \"press\"\nhost = \"192.0.2.1\"\n"
               "[[tag]]\nname = \"Counter\"\n[[tag]]\nname = \"Speeds[0..3]\"\n";
        std::ofstream(directory_ + "/night.pcap");
        std::ofstream(directory_ + "/notes.txt");
    }
    ~Completion() override
    {
        for (const char* file : {"/press.toml", "/night.pcap", "/notes.txt"})
            unlink((directory_ + file).c_str());
        rmdir((directory_ + "/plants").c_str());
        rmdir(directory_.c_str());
    }

    std::string directory_ = "/tmp/completion_XXXXXX";
};

TEST_F(Completion, OffersTheCommands)
{
    EXPECT_EQ(offered({""}), (Words{"read", "write", "watch", "check", "plan", "replay", "identify",
                                    "bench", "--help", "--version"}));
    EXPECT_EQ(offered({"w"}), (Words{"write", "watch"}));
}

TEST_F(Completion, OffersACommandsOwnOptions)
{
    EXPECT_EQ(offered({"watch", "press.toml", "--i"}), Words{"--interval"});
    EXPECT_EQ(offered({"read", "press.toml", "--i"}), Words{});
    EXPECT_EQ(offered({"replay", "--c"}), (Words{"--changes", "--csv"}));
    EXPECT_EQ(offered({"plan", "-"}), (Words{"--help", "--json", "--response-time"}));
}

TEST_F(Completion, OffersProjectFilesAsTargetsAndCapturesToReplay)
{
    EXPECT_EQ(offered({"check", ""}, directory_), (Words{"press.toml", "plants"}));
    EXPECT_EQ(offered({"check", "--timeout", "50", "pr"}, directory_), Words{"press.toml"});
    EXPECT_EQ(offered({"replay", "n"}, directory_), Words{"night.pcap"});
}

TEST_F(Completion, OffersAProjectsTags)
{
    EXPECT_EQ(offered({"read", "press.toml", ""}, directory_), (Words{"Counter", "Speeds[0..3]"}));
    EXPECT_EQ(offered({"write", "press.toml", "C"}, directory_), Words{"Counter="});
    EXPECT_EQ(offered({"read", "192.0.2.1", ""}, directory_), Words{});
}

TEST_F(Completion, OffersFilesBehindOptionsThatTakeOneAndNothingBehindNumbers)
{
    EXPECT_EQ(offered({"read", "press.toml", "--log", "no"}, directory_), Words{"notes.txt"});
    EXPECT_EQ(offered({"watch", "press.toml", "--interval", ""}, directory_), Words{});
}

} // namespace
} // namespace e2e
