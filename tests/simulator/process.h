// A plcsim of its own process, spoken to over its standard streams.
#pragma once

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

class Process {
public:
    explicit Process(std::vector<std::string> arguments)
    {
        int in[2];
        int out[2];
        int error[2];
        if (::pipe(in) != 0 || ::pipe(out) != 0 || ::pipe(error) != 0)
            throw std::runtime_error("pipe");
        arguments.insert(arguments.begin(), PLCSIM);
        pid_ = ::fork();
        if (pid_ == 0) {
            ::dup2(in[0], STDIN_FILENO);
            ::dup2(out[1], STDOUT_FILENO);
            ::dup2(error[1], STDERR_FILENO);
            for (const int fd : {in[0], in[1], out[0], out[1], error[0], error[1]})
                ::close(fd);
            std::vector<char*> argv;
            for (std::string& argument : arguments)
                argv.push_back(argument.data());
            argv.push_back(nullptr);
            ::execv(PLCSIM, argv.data());
            ::_exit(127);
        }
        ::close(in[0]);
        ::close(out[1]);
        ::close(error[1]);
        in_ = in[1];
        out_ = out[0];
        error_ = error[0];
    }

    ~Process()
    {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            wait();
        }
        closeInput();
        ::close(out_);
        ::close(error_);
    }

    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    void say(const std::string& line)
    {
        const std::string text = line + "\n";
        ASSERT_EQ(::write(in_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    void closeInput()
    {
        if (in_ >= 0)
            ::close(in_);
        in_ = -1;
    }

    /// The next line of standard output; "" after its end or ten seconds.
    std::string line() { return lineOf(out_, outPending_); }
    std::string errorLine() { return lineOf(error_, errorPending_); }

    /// Everything left on standard output, until its end.
    std::string rest()
    {
        std::string all;
        for (std::string next = line(); !next.empty() || !ended_; next = line())
            all += next + "\n";
        return all;
    }

    pid_t pid() const { return pid_; }
    void signal(int number) { ::kill(pid_, number); }

    /// The exit code; -1 if a signal ended it.
    int wait()
    {
        int status = 0;
        ::waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    std::string lineOf(int descriptor, std::string& pending)
    {
        for (;;) {
            if (const auto end = pending.find('\n'); end != std::string::npos) {
                const std::string found = pending.substr(0, end);
                pending.erase(0, end + 1);
                return found;
            }
            pollfd watched = {descriptor, POLLIN, 0};
            char chunk[4096];
            const ssize_t size =
                ::poll(&watched, 1, 10000) > 0 ? ::read(descriptor, chunk, sizeof chunk) : 0;
            if (size <= 0) {
                ended_ = true;
                return "";
            }
            pending.append(chunk, static_cast<std::size_t>(size));
        }
    }

    pid_t pid_ = -1;
    int in_ = -1;
    int out_ = -1;
    int error_ = -1;
    bool ended_ = false;
    std::string outPending_;
    std::string errorPending_;
};
