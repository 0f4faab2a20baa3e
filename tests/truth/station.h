// One simulated controller under test: its process, its history, and what the host has claimed of it.

#ifndef TESTS_TRUTH_STATION_H
#define TESTS_TRUTH_STATION_H

#include "fault_deck.h"
#include "history.h"
#include "host.h"
#include "simulator.h"

#include <deque>
#include <future>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace truth {

using panelhost::Clock;

/// The clock of the histories, for a time of the host's clock.
class CommonClock {
public:
    /// Compares the two clocks anew. Throws when the system's clock was set meanwhile.
    void compare();
    Stamp stamp(Clock::time_point time) const;

private:
    std::optional<Stamp> offset_;
};

struct Counts {
    std::uint64_t looks = 0;  ///< snapshots taken
    std::uint64_t values = 0; ///< good values compared with the history
    std::uint64_t wrong = 0;
    std::uint64_t tooOld = 0; ///< shown as good beyond the age that was promised
    std::uint64_t writesConfirmed = 0;
    std::uint64_t writesFailed = 0;
    std::uint64_t writesWrong = 0; ///< confirmed but not done, or done though said not to be
    std::set<std::string> types;   ///< that were compared

    void add(const Counts& other);
};

class StationUnderTest {
public:
    StationUnderTest(int number, std::uint64_t seed,
                     const std::vector<std::string>& simulatorOptions);

    /// The station and its tags as the host is to know them.
    void joinProject(panelhost::Project* project);

    const std::string& name() const { return name_; }
    History& history() { return *history_; }

    // --- Faults ---

    void begin(const Fault& fault);
    /// Ends the fault; the old program comes back.
    void end();
    Fault deal(FaultDeck* deck) { return deck->deal(programs_.at(0), otherFiles_); }

    // --- What the host says ---

    /// Notes every value that the host now calls good. True when all tags are good and were read
    /// after `since`.
    bool look(const panelhost::Host& host, const CommonClock& clock, Clock::time_point since);
    /// The tags that are not good, in words.
    std::string complaints(const panelhost::Host& host) const;

    /// Starts a write to any of the tags that can be written; the controller refuses some.
    void write(panelhost::Host* host, Random* random, const CommonClock& clock);
    void collectWrite(const CommonClock& clock);

    /// Compares what was noted, as far as the history reaches.
    void judge();
    /// Ends the simulator and judges the rest.
    void finish();

    const Counts& counts() const { return counts_; }

private:
    struct Watched {
        std::size_t index = 0; ///< in the host's project
        panelhost::TagReference reference;
        Clock::time_point lastRead;
        std::vector<std::string> lastShown;
    };
    struct Claim {
        std::string tag;
        int first = 0;
        std::string type;
        std::vector<std::string> values;
        Stamp from = 0;
        Stamp until = 0;
    };
    struct WriteClaim {
        Claim wanted;
        std::string reason; ///< empty when confirmed
    };
    struct WriteUnderWay {
        Claim wanted;
        std::future<panelhost::WriteOutcome> outcome;
    };

    void note(Watched* watched, const panelhost::Snapshot& shown, const CommonClock& clock,
              Clock::time_point now);
    void judge(const Claim& claim);
    void judge(const WriteClaim& claim);
    void complain(const std::string& what);

    int number_;
    std::string name_;
    std::map<int, Program> programs_;
    std::vector<std::unique_ptr<e2e::TemporaryFile>> files_;
    std::vector<std::string> otherFiles_;
    std::unique_ptr<History> history_;
    std::unique_ptr<e2e::Simulator> simulator_;
    std::string fault_;
    bool changed_ = false; ///< another program runs
    std::chrono::milliseconds staleAfter_{0};
    std::vector<Watched> watched_;
    std::vector<std::size_t> writable_; ///< of those
    std::deque<Claim> claims_;
    std::deque<WriteClaim> writeClaims_;
    std::optional<WriteUnderWay> write_;
    Counts counts_;
};

} // namespace truth

#endif // TESTS_TRUTH_STATION_H
