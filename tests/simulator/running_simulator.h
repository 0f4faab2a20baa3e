// plcsim as a program with tags of the test's own, and its commands.
#pragma once

#include "process.h"

#include <fstream>
#include <string>

/// A tag file that lasts as long as this object.
class TagFile {
public:
    explicit TagFile(const std::string& content, const std::string& name = "tags")
        : path_(::testing::TempDir() + "plcsim_" + name + "_" + std::to_string(::getpid()) +
                ".toml")
    {
        std::ofstream(path_) << content;
    }
    ~TagFile() { ::unlink(path_.c_str()); }
    TagFile(const TagFile&) = delete;
    TagFile& operator=(const TagFile&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

class RunningSimulator {
public:
    explicit RunningSimulator(const std::string& tags, std::vector<std::string> options = {})
        : tags_(tags), process_(withTagsAndPort(std::move(options)))
    {
        const std::string ready = process_.line();
        port_ = static_cast<std::uint16_t>(std::stoul(ready.substr(ready.rfind(':') + 1)));
    }

    std::uint16_t port() const { return port_; }
    pid_t pid() const { return process_.pid(); }

    /// The line that a command is answered with.
    std::string command(const std::string& line)
    {
        process_.say(line);
        return process_.line();
    }

private:
    std::vector<std::string> withTagsAndPort(std::vector<std::string> options) const
    {
        const std::vector<std::string> fixed = {"--tags",      tags_.path(),      "--listen",
                                                "127.0.0.1:0", "--response-time", "0"};
        options.insert(options.begin(), fixed.begin(), fixed.end());
        return options;
    }

    TagFile tags_;
    Process process_;
    std::uint16_t port_ = 0;
};
