// What a simulated controller really held, and when, from the history that it writes while it runs.

#ifndef TESTS_TRUTH_HISTORY_H
#define TESTS_TRUTH_HISTORY_H

#include "program.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

namespace truth {

/// Microseconds since 1970, as histories are stamped.
using Stamp = std::int64_t;

class History {
public:
    /// Makes the pipe that the simulator is to write to. The programs are told apart by number.
    explicit History(std::map<int, Program> programs);
    ~History();
    History(const History&) = delete;
    History& operator=(const History&) = delete;

    const std::string& path() const { return path_; }

    /// Takes in what was written since, and forgets what ended long ago.
    void update();

    /// Everything up to here is known.
    Stamp knownUntil() const { return knownUntil_; }

    /// Whether the controller held this value for the element, under this type, at any moment from
    /// `from` to `until`.
    bool held(const std::string& tag, int element, const std::string& type,
              const std::string& value, Stamp from, Stamp until) const;

    /// Whether a client wrote this value to the element between the two.
    bool written(const std::string& tag, int element, const std::string& value, Stamp from,
                 Stamp until) const;

    /// What was held around that time, in words.
    std::string describe(const std::string& tag, int element, Stamp from, Stamp until) const;

    std::uint64_t changes() const { return changes_; }

private:
    struct Held {
        Stamp since = 0;
        const std::string* type = nullptr; ///< null when the program has no such element
        bool byClient = false;
        std::string value;
    };
    using Past = std::deque<Held>;

    void takeLine(const std::string& line);
    void startProgram(int number, Stamp at);
    void forget();
    const Past* past(const std::string& tag, int element) const;

    std::map<int, Program> programs_;
    const Program* running_ = nullptr;
    std::string path_;
    int descriptor_ = -1;
    std::string unfinished_;
    std::unordered_map<std::string, std::vector<Past>> tags_;
    Stamp knownUntil_ = 0;
    Stamp forgottenUntil_ = 0;
    std::uint64_t changes_ = 0;
};

} // namespace truth

#endif // TESTS_TRUTH_HISTORY_H
