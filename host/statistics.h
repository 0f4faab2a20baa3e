// Counts and times of one station's traffic.

#ifndef PANELHOST_STATISTICS_H
#define PANELHOST_STATISTICS_H

#include <array>
#include <chrono>
#include <cstdint>

namespace panelhost {

/// A histogram of durations, exact to about 1.5 %, of constant size.
class RoundTrips {
public:
    void add(std::chrono::nanoseconds duration);
    void merge(const RoundTrips& other);

    std::uint64_t count() const { return count_; }
    std::chrono::nanoseconds min() const { return std::chrono::nanoseconds(count_ ? min_ : 0); }
    std::chrono::nanoseconds max() const { return std::chrono::nanoseconds(max_); }
    /// The duration that a given share of all (0..1) stays within.
    std::chrono::nanoseconds quantile(double share) const;
    std::chrono::nanoseconds median() const { return quantile(0.5); }

private:
    static constexpr int kStepsPerOctave = 64;
    static constexpr int kOctaves = 40;

    std::array<std::uint32_t, kStepsPerOctave * kOctaves> buckets_{};
    std::uint64_t count_ = 0;
    std::int64_t min_ = INT64_MAX;
    std::int64_t max_ = 0;
};

struct Statistics {
    std::uint64_t requests = 0;  ///< frames sent
    std::uint64_t replies = 0;   ///< frames received that answered them
    std::uint64_t refusals = 0;  ///< replies with a status other than success
    std::uint64_t timeouts = 0;  ///< requests without an answer in time
    std::uint64_t failures = 0;  ///< transactions given up; each ends a session
    std::uint64_t discarded = 0; ///< late or foreign replies
    std::uint64_t sessions = 0;  ///< handshakes completed
    std::uint64_t scans = 0;     ///< passes over the cyclic list
    std::uint64_t values = 0;    ///< block values published
    RoundTrips roundTrips;       ///< of read and write requests

    void merge(const Statistics& other);
};

} // namespace panelhost

#endif // PANELHOST_STATISTICS_H
