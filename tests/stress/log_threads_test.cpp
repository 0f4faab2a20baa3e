// The log handler under ten threads: no line lost, none interleaved.

#include "watchdog.h"

#include <micro850/host_interface.h>

#include <QtGlobal>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

const int kThreads = 10;
const int kLines = 300; // of each thread

/// Half of the lines come the way a host's messages come, half straight from a caller.
void writeLines(int thread)
{
    for (int line = 0; line < kLines; ++line) {
        const std::string text =
            "thread " + std::to_string(thread) + " line " + std::to_string(line);
        if (line % 2 == 0)
            qDebug("%s", text.c_str());
        else
            myMsgOutput(QtDebugMsg, text.c_str());
    }
}

const std::string kStampShape = "[ 0000-00-00 00:00:00:000 ]";

/// A line's text without its time stamp; nothing when the line does not begin with one.
std::string withoutStamp(const std::string& line)
{
    std::string stamp = line.substr(0, kStampShape.size());
    for (char& character : stamp) {
        if (character >= '0' && character <= '9')
            character = '0';
    }
    return stamp == kStampShape ? line.substr(stamp.size()) : std::string();
}

std::string expectedText(int thread, int line)
{
    return ": Debug:\tthread " + std::to_string(thread) + " line " + std::to_string(line) + ")\r";
}

/// A directory of the test's own as current directory, for as long as it lives.
class OwnDirectory {
public:
    OwnDirectory() : before_(std::filesystem::current_path())
    {
        std::string name = (std::filesystem::temp_directory_path() / "micro850XXXXXX").string();
        path_ = mkdtemp(name.data());
        std::filesystem::current_path(path_);
    }
    ~OwnDirectory()
    {
        std::filesystem::current_path(before_);
        std::filesystem::remove_all(path_);
    }

private:
    std::filesystem::path before_;
    std::filesystem::path path_;
};

} // namespace

TEST(LogHandler, UnderTenThreadsLosesAndInterleavesNoLine)
{
    const Watchdog watchdog(std::chrono::seconds(120));
    const OwnDirectory directory;
    micro850::installMessageHandler(myMsgOutput);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back(writeLines, i);
    for (std::thread& thread : threads)
        thread.join();
    micro850::installMessageHandler(nullptr);

    std::vector<int> next(kThreads, 0);
    std::ifstream file("debug.txt", std::ios::binary);
    for (std::string line; std::getline(file, line);) {
        const std::string text = withoutStamp(line);
        int thread = 0;
        while (thread < kThreads && text != expectedText(thread, next[static_cast<size_t>(thread)]))
            ++thread;
        ASSERT_LT(thread, kThreads) << "nobody's next line: " << line;
        ++next[static_cast<size_t>(thread)];
    }
    EXPECT_EQ(std::vector<int>(kThreads, kLines), next);
}
