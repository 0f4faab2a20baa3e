// A program on a terminal of a given size, and what a person would see there.

#ifndef TESTS_E2E_TERMINAL_H
#define TESTS_E2E_TERMINAL_H

#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

namespace e2e {

/// Understands what panelhost uses: line ends, cursor up, erasing, cursor and wrap switches, colours.
/// Anything else counts as unknown.
class Screen {
public:
    Screen(int columns, int rows);

    void write(const std::string& bytes);

    /// Line by line, blanks at the ends cut; empty lines at the end left out.
    std::string text() const;
    bool cursorVisible() const { return cursorVisible_; }
    bool wrapsLines() const { return wraps_; }
    int unknownSequences() const { return unknown_; }
    int scrolled() const { return scrolled_; }

private:
    void put(const std::string& character);
    void newLine();
    void control(const std::string& parameters, char command);

    int columns_;
    int rows_;
    int row_ = 0;
    int column_ = 0;
    std::vector<std::vector<std::string>> cells_;
    std::string pending_; ///< the beginning of a sequence or character
    bool cursorVisible_ = true;
    bool wraps_ = true;
    int unknown_ = 0;
    int scrolled_ = 0;
};

class TerminalProcess {
public:
    TerminalProcess(const std::vector<std::string>& arguments, int columns, int rows);
    ~TerminalProcess();
    TerminalProcess(const TerminalProcess&) = delete;
    TerminalProcess& operator=(const TerminalProcess&) = delete;

    const Screen& screen() const { return screen_; }
    /// Waits until the screen shows text; false when it does not come.
    bool waitFor(const std::string& text,
                 std::chrono::milliseconds patience = std::chrono::seconds(20));
    /// Goes on reading for a while.
    void readFor(std::chrono::milliseconds time);
    void press(char key) const;
    void signal(int number) const;
    void resize(int columns, int rows);
    /// Waits for the end; the exit code, 128 + signal when a signal ended it.
    int finish();

private:
    bool readSome(std::chrono::milliseconds patience);

    pid_t pid_ = -1;
    int terminal_ = -1;
    Screen screen_;
};

} // namespace e2e

#endif // TESTS_E2E_TERMINAL_H
