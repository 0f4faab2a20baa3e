#include "terminal.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <poll.h>
#include <pty.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace e2e {
namespace {

std::size_t characterSize(char first)
{
    const auto byte = static_cast<unsigned char>(first);
    return byte < 0x80 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
}

} // namespace

Screen::Screen(int columns, int rows)
    : columns_(columns), rows_(rows),
      cells_(static_cast<std::size_t>(rows),
             std::vector<std::string>(static_cast<std::size_t>(columns), " "))
{
}

void Screen::newLine()
{
    if (++row_ < rows_)
        return;
    row_ = rows_ - 1;
    ++scrolled_;
    cells_.erase(cells_.begin());
    cells_.emplace_back(static_cast<std::size_t>(columns_), " ");
}

void Screen::put(const std::string& character)
{
    if (column_ == columns_) {
        if (wraps_) {
            newLine();
            column_ = 0;
        } else {
            column_ = columns_ - 1;
        }
    }
    cells_[static_cast<std::size_t>(row_)][static_cast<std::size_t>(column_)] = character;
    ++column_;
}

void Screen::control(const std::string& parameters, char command)
{
    const auto eraseLine = [this](int row, int from) {
        for (int i = from; i < columns_; ++i)
            cells_[static_cast<std::size_t>(row)][static_cast<std::size_t>(i)] = " ";
    };
    const auto eraseBelow = [&](int from) {
        for (int row = from; row < rows_; ++row)
            eraseLine(row, 0);
    };
    if (command == 'A') {
        row_ = std::max(0, row_ - std::atoi(parameters.c_str()));
    } else if (command == 'K' && parameters.empty()) {
        eraseLine(row_, column_);
    } else if (command == 'J' && parameters.empty()) {
        eraseLine(row_, column_);
        eraseBelow(row_ + 1);
    } else if (command == 'J' && parameters == "2") {
        eraseBelow(0);
    } else if (command == 'H' && parameters.empty()) {
        row_ = column_ = 0;
    } else if (command == 'h' || command == 'l') {
        if (parameters == "?25")
            cursorVisible_ = command == 'h';
        else if (parameters == "?7")
            wraps_ = command == 'h';
        else
            ++unknown_;
    } else if (command != 'm') {
        ++unknown_;
    }
}

void Screen::write(const std::string& bytes)
{
    pending_ += bytes;
    std::size_t at = 0;
    while (at < pending_.size()) {
        const char c = pending_[at];
        if (c == '\x1b') {
            std::size_t end = at + 2;
            while (end < pending_.size() && (pending_[end] < '@' || pending_[end] > '~'))
                ++end;
            if (end >= pending_.size())
                break;
            control(pending_.substr(at + 2, end - at - 2), pending_[end]);
            at = end + 1;
        } else if (c == '\r') {
            column_ = 0;
            ++at;
        } else if (c == '\n') {
            newLine();
            ++at;
        } else {
            const std::size_t size = characterSize(c);
            if (at + size > pending_.size())
                break;
            put(pending_.substr(at, size));
            at += size;
        }
    }
    pending_.erase(0, at);
}

std::string Screen::text() const
{
    std::string text;
    for (const auto& row : cells_) {
        std::string line;
        for (const std::string& cell : row)
            line += cell;
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + '\n';
    }
    text.erase(text.find_last_not_of('\n') + 1);
    return text;
}

TerminalProcess::TerminalProcess(const std::vector<std::string>& arguments, int columns, int rows)
    : screen_(columns, rows)
{
    winsize size{};
    size.ws_col = static_cast<unsigned short>(columns);
    size.ws_row = static_cast<unsigned short>(rows);
    pid_ = forkpty(&terminal_, nullptr, nullptr, &size);
    if (pid_ < 0)
        throw std::runtime_error("no terminal");
    if (pid_ == 0) {
        setenv("TERM", "xterm", 1);
        setenv("LC_ALL", "C.UTF-8", 1);
        unsetenv("NO_COLOR");
        std::vector<char*> argv;
        for (const std::string& argument : arguments)
            argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
}

TerminalProcess::~TerminalProcess()
{
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    close(terminal_);
}

bool TerminalProcess::readSome(std::chrono::milliseconds patience)
{
    pollfd descriptor = {terminal_, POLLIN, 0};
    if (poll(&descriptor, 1, static_cast<int>(patience.count())) <= 0)
        return true;
    char chunk[4096];
    const ssize_t size = read(terminal_, chunk, sizeof chunk);
    if (size <= 0)
        return false;
    screen_.write(std::string(chunk, static_cast<std::size_t>(size)));
    return true;
}

bool TerminalProcess::waitFor(const std::string& text, std::chrono::milliseconds patience)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (screen_.text().find(text) == std::string::npos) {
        if (std::chrono::steady_clock::now() > deadline || !readSome(std::chrono::milliseconds(20)))
            return false;
    }
    return true;
}

void TerminalProcess::readFor(std::chrono::milliseconds time)
{
    const auto deadline = std::chrono::steady_clock::now() + time;
    while (std::chrono::steady_clock::now() < deadline && readSome(std::chrono::milliseconds(20))) {
    }
}

void TerminalProcess::press(char key) const
{
    if (write(terminal_, &key, 1) != 1)
        throw std::runtime_error("the terminal is gone");
}

void TerminalProcess::signal(int number) const
{
    kill(pid_, number);
}

void TerminalProcess::resize(int columns, int rows)
{
    winsize size{};
    size.ws_col = static_cast<unsigned short>(columns);
    size.ws_row = static_cast<unsigned short>(rows);
    ioctl(terminal_, TIOCSWINSZ, &size);
    screen_ = Screen(columns, rows);
}

int TerminalProcess::finish()
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::chrono::steady_clock::now() < deadline &&
           readSome(std::chrono::milliseconds(100))) {
    }
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, &status, 0);
    }
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace e2e
