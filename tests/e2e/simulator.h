// A simulated controller on a free port, and panelhost pointed at it.

#ifndef TESTS_E2E_SIMULATOR_H
#define TESTS_E2E_SIMULATOR_H

#include "process.h"

#include <memory>
#include <string>
#include <vector>

namespace e2e {

/// A file in the test's temporary directory, removed with this object.
class TemporaryFile {
public:
    TemporaryFile(const std::string& suffix, const std::string& content);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

class Simulator {
public:
    explicit Simulator(const std::string& tagFile, std::vector<std::string> options = {});

    /// "127.0.0.1:PORT".
    const std::string& address() const { return address_; }

    /// Sends a command and returns its one line of answer.
    std::string command(const std::string& text);
    /// What the simulator itself holds: "5", or "1 2 3" for a range.
    std::string value(const std::string& reference);
    /// Every tag as a reference that covers all of it: Name, or Name[0..n].
    std::vector<std::string> references();

private:
    std::unique_ptr<Process> process_;
    std::string address_;
};

/// Runs panelhost with these arguments to its end.
Outcome panelhost(const std::vector<std::string>& arguments);

/// Takes "Name = value  TYPE" apart; empty when out has no such line.
std::string shownValue(const std::string& out, const std::string& reference);

} // namespace e2e

#endif // TESTS_E2E_SIMULATOR_H
