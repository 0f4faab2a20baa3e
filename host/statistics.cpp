#include "statistics.h"

#include <algorithm>
#include <cmath>

namespace panelhost {
namespace {

// Values below 64 have a bucket each; above, every octave is cut into 64 steps, so a bucket is at
// most 1/64 of its value wide.
int bucketOf(std::uint64_t value, int stepsPerOctave)
{
    int octave = 0;
    while (value >= static_cast<std::uint64_t>(2 * stepsPerOctave)) {
        value >>= 1;
        ++octave;
    }
    if (value < static_cast<std::uint64_t>(stepsPerOctave))
        return static_cast<int>(value);
    return (octave + 1) * stepsPerOctave + static_cast<int>(value) - stepsPerOctave;
}

std::int64_t lowestOf(int bucket, int stepsPerOctave)
{
    if (bucket < stepsPerOctave)
        return bucket;
    const int octave = bucket / stepsPerOctave - 1;
    return static_cast<std::int64_t>(bucket % stepsPerOctave + stepsPerOctave) << octave;
}

} // namespace

void RoundTrips::add(std::chrono::nanoseconds duration)
{
    const std::int64_t value = std::max<std::int64_t>(duration.count(), 0);
    const int bucket = bucketOf(static_cast<std::uint64_t>(value), kStepsPerOctave);
    ++buckets_[static_cast<std::size_t>(std::min<int>(bucket, kStepsPerOctave * kOctaves - 1))];
    ++count_;
    min_ = std::min(min_, value);
    max_ = std::max(max_, value);
}

void RoundTrips::merge(const RoundTrips& other)
{
    for (std::size_t i = 0; i < buckets_.size(); ++i)
        buckets_[i] += other.buckets_[i];
    count_ += other.count_;
    min_ = std::min(min_, other.min_);
    max_ = std::max(max_, other.max_);
}

std::chrono::nanoseconds RoundTrips::quantile(double share) const
{
    if (count_ == 0)
        return std::chrono::nanoseconds(0);
    const auto rank =
        static_cast<std::uint64_t>(std::max(1.0, std::ceil(share * static_cast<double>(count_))));
    std::uint64_t seen = 0;
    for (std::size_t i = 0; i < buckets_.size(); ++i) {
        seen += buckets_[i];
        if (seen >= rank) {
            const std::int64_t value = lowestOf(static_cast<int>(i), kStepsPerOctave);
            return std::chrono::nanoseconds(std::clamp(value, min_, max_));
        }
    }
    return max();
}

void Statistics::merge(const Statistics& other)
{
    requests += other.requests;
    replies += other.replies;
    refusals += other.refusals;
    timeouts += other.timeouts;
    failures += other.failures;
    discarded += other.discarded;
    sessions += other.sessions;
    scans += other.scans;
    values += other.values;
    roundTrips.merge(other.roundTrips);
}

} // namespace panelhost
