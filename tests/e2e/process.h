// A child process with pipes, ended with the test that started it.

#ifndef TESTS_E2E_PROCESS_H
#define TESTS_E2E_PROCESS_H

#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

namespace e2e {

/// What a program that ran to its end left behind.
struct Outcome {
    int exitCode = -1; ///< 128 + signal when a signal ended it
    std::string out;
    std::string err;
};

class Process {
public:
    explicit Process(const std::vector<std::string>& arguments);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    void writeLine(const std::string& line);
    /// Next line of standard output, without its end; empty when none comes in time.
    std::string readLine(std::chrono::milliseconds patience = std::chrono::seconds(10));
    void signal(int number) const;
    /// Waits for the end and collects what is left on both outputs.
    Outcome finish(std::chrono::milliseconds patience = std::chrono::seconds(60));

private:
    /// Reads what is there; false when both outputs are closed or the time is over.
    bool pump(std::chrono::steady_clock::time_point deadline);

    pid_t pid_ = -1;
    int in_ = -1;
    int out_ = -1;
    int err_ = -1;
    std::string outBytes_;
    std::string errBytes_;
};

Outcome run(const std::vector<std::string>& arguments);

} // namespace e2e

#endif // TESTS_E2E_PROCESS_H
