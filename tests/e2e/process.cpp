#include "process.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace e2e {
namespace {

using Clock = std::chrono::steady_clock;

void closeIfOpen(int* descriptor)
{
    if (*descriptor >= 0)
        close(*descriptor);
    *descriptor = -1;
}

/// Takes what is readable; closes the descriptor at its end.
void take(int* descriptor, std::string* bytes)
{
    char chunk[4096];
    const ssize_t size = read(*descriptor, chunk, sizeof chunk);
    if (size > 0)
        bytes->append(chunk, static_cast<std::size_t>(size));
    else if (size == 0 || errno != EINTR)
        closeIfOpen(descriptor);
}

} // namespace

Process::Process(const std::vector<std::string>& arguments)
{
    int in[2];
    int out[2];
    int err[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL); // also when the test itself is killed
        dup2(in[0], STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        dup2(err[1], STDERR_FILENO);
        std::vector<char*> argv;
        for (const std::string& argument : arguments)
            argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(in[0]);
    close(out[1]);
    close(err[1]);
    in_ = in[1];
    out_ = out[0];
    err_ = err[0];
    std::signal(SIGPIPE, SIG_IGN);
}

Process::~Process()
{
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    closeIfOpen(&in_);
    closeIfOpen(&out_);
    closeIfOpen(&err_);
}

void Process::writeLine(const std::string& line)
{
    const std::string bytes = line + "\n";
    if (write(in_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        throw std::runtime_error("the process does not read");
}

bool Process::pump(Clock::time_point deadline)
{
    pollfd descriptors[2] = {{out_, POLLIN, 0}, {err_, POLLIN, 0}};
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    if ((out_ < 0 && err_ < 0) || left.count() <= 0)
        return false;
    if (poll(descriptors, 2, static_cast<int>(left.count())) <= 0)
        return Clock::now() < deadline;
    if (descriptors[0].revents != 0)
        take(&out_, &outBytes_);
    if (descriptors[1].revents != 0)
        take(&err_, &errBytes_);
    return true;
}

std::string Process::readLine(std::chrono::milliseconds patience)
{
    const Clock::time_point deadline = Clock::now() + patience;
    while (outBytes_.find('\n') == std::string::npos && pump(deadline)) {
    }
    const std::size_t end = outBytes_.find('\n');
    if (end == std::string::npos)
        return {};
    const std::string line = outBytes_.substr(0, end);
    outBytes_.erase(0, end + 1);
    return line;
}

void Process::signal(int number) const
{
    kill(pid_, number);
}

Outcome Process::finish(std::chrono::milliseconds patience)
{
    closeIfOpen(&in_);
    const Clock::time_point deadline = Clock::now() + patience;
    while (pump(deadline)) {
    }
    if (out_ >= 0 || err_ >= 0)
        kill(pid_, SIGKILL); // it did not end in time; the exit code tells
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    Outcome outcome;
    outcome.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    outcome.out = outBytes_;
    outcome.err = errBytes_;
    return outcome;
}

Outcome run(const std::vector<std::string>& arguments)
{
    return Process(arguments).finish();
}

} // namespace e2e
