// The faults that stations suffer, dealt like cards: random, but every kind comes round.

#ifndef TESTS_TRUTH_FAULT_DECK_H
#define TESTS_TRUTH_FAULT_DECK_H

#include "program.h"

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace truth {

struct Fault {
    std::string kind;                     ///< as counts are kept
    std::vector<std::string> commands;    ///< that start it, for the simulator's standard input
    std::chrono::milliseconds lasting{0}; ///< then it is cleared, and the old program comes back
    bool downloads = false;
};

class FaultDeck {
public:
    explicit FaultDeck(Random* random) : random_(random) {}

    /// The next fault, for a station with these tags; `otherPrograms` are files to download.
    Fault deal(const Program& program, const std::vector<std::string>& otherPrograms);

    static std::vector<std::string> kinds();

private:
    Random* random_;
    std::vector<std::size_t> left_;
};

} // namespace truth

#endif // TESTS_TRUTH_FAULT_DECK_H
