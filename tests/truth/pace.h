// Scans per second of one station, before and during the faults of others.

#ifndef TESTS_TRUTH_PACE_H
#define TESTS_TRUTH_PACE_H

#include "tcp_link.h"

#include <cstdint>
#include <optional>

namespace truth {

using panelhost::Clock;

/// Counts scans over stretches of time. A stretch runs from one counted scan to a later one, so that
/// its ends add no error.
class Pace {
public:
    /// Tells how many scans there were in all by now; calls with `calm` false end a stretch.
    void see(std::uint64_t scans, Clock::time_point now, bool calm)
    {
        if (!calm) {
            first_.reset();
        } else if (!last_ || scans != *last_) {
            if (first_) {
                scans_ += static_cast<double>(scans - *last_);
                seconds_ += std::chrono::duration<double>(now - *first_).count();
            }
            first_ = now;
        }
        last_ = scans;
    }

    double seconds() const { return seconds_; }
    double perSecond() const { return seconds_ > 0 ? scans_ / seconds_ : 0; }

private:
    std::optional<Clock::time_point> first_; ///< of the counted scan that began the stretch
    std::optional<std::uint64_t> last_;
    double scans_ = 0;
    double seconds_ = 0;
};

} // namespace truth

#endif // TESTS_TRUTH_PACE_H
