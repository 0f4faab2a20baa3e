// The course of a truth test: a calm time to measure the pace in, then faults on random stations
// and writes to all, then the recovery of the last.

#ifndef TESTS_TRUTH_TRIAL_H
#define TESTS_TRUTH_TRIAL_H

#include "pace.h"
#include "station.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace truth {

struct TrialOptions {
    std::string library;
    double seconds = 30; ///< of faults
    double calmSeconds = 6;
    std::uint64_t seed = 1;
    int stations = 8;
    int faultsAtATime = 3;
    bool sharedCycle = false;
    bool judgePace = true; ///< false where the machine is slowed down
    bool verbose = false;
};

class Trial {
public:
    explicit Trial(const TrialOptions& options);

    /// Runs to the end and prints the counts. True when nothing was wrong.
    bool run();

private:
    enum class State { Calm, Faulty, Recovering };

    struct Course {
        std::unique_ptr<StationUnderTest> station;
        State state = State::Calm;
        Clock::time_point until; ///< of a calm or faulty state
        Clock::time_point faultEnded;
        Fault fault;
        Pace before;
        Pace during;
    };

    void waitUntilAllAreGood();
    void pass(Pace Course::*pace);
    void advance(Course* course, Clock::time_point now, bool faultsGoOn);
    void beginFault(Course* course, Clock::time_point now);
    void recovered(Course* course, Clock::time_point now);
    int underFault() const;
    bool allCalm() const;
    Clock::duration promised(const Course& course) const;
    Counts total() const;
    /// The worst ratio of the pace while others failed to that before.
    double reportPaces() const;
    int reportFaults() const;
    void report(const Counts& all, double worstPace, int faults) const;
    void judge(const Counts& all, double worstPace);
    void mistake(const std::string& what);

    TrialOptions options_;
    Random random_;
    FaultDeck deck_;
    panelhost::Project project_;
    std::vector<Course> courses_;
    std::unique_ptr<panelhost::Host> host_;
    CommonClock clock_;
    std::size_t passes_ = 0;
    std::map<std::string, int> faults_;
    Clock::duration longestRecovery_{0};
    std::string longestRecoveryKind_;
    int mistakes_ = 0;
};

} // namespace truth

#endif // TESTS_TRUTH_TRIAL_H
