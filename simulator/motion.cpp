#include "motion.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <string>

namespace plcsim {

namespace {

constexpr double kTwoPi = 6.283185307179586;

struct NamedKind {
    const char* name;
    MotionKind kind;
};

constexpr std::array kKinds = {
    NamedKind{"fixed", MotionKind::Fixed},   NamedKind{"count", MotionKind::Count},
    NamedKind{"ramp", MotionKind::Ramp},     NamedKind{"sine", MotionKind::Sine},
    NamedKind{"square", MotionKind::Square}, NamedKind{"random", MotionKind::Random},
    NamedKind{"cycle", MotionKind::Cycle},
};

/// Where a wave stands between its minimum (0) and maximum (1).
double waveHeight(MotionKind kind, double turns)
{
    const double phase = turns - std::floor(turns);
    switch (kind) {
    case MotionKind::Sine: return 0.5 + 0.5 * std::sin(kTwoPi * phase);
    case MotionKind::Square: return phase < 0.5 ? 0 : 1;
    default: return phase;
    }
}

/// The integer `height` of the way from min to max, each value getting an equal share of the way.
template <typename Integer>
Integer between(Integer min, Integer max, double height)
{
    const auto span = static_cast<double>(max) - static_cast<double>(min);
    const double offset = std::floor(height * (span + 1));
    if (offset >= span)
        return max;
    return static_cast<Integer>(static_cast<std::uint64_t>(min) +
                                static_cast<std::uint64_t>(offset));
}

/// Adds the step and starts again at the other end of the range, so a count never leaves it.
template <typename Integer>
Integer counted(Integer value, Integer step, Integer min, Integer max)
{
    if (value < min || value > max)
        return min;
    const auto room = static_cast<std::uint64_t>(max) - static_cast<std::uint64_t>(value);
    const auto below = static_cast<std::uint64_t>(value) - static_cast<std::uint64_t>(min);
    const auto plus = static_cast<std::uint64_t>(step);
    if (step < 0)
        return below < -plus ? max : static_cast<Integer>(static_cast<std::uint64_t>(value) + plus);
    return room < plus ? min : static_cast<Integer>(static_cast<std::uint64_t>(value) + plus);
}

Value countedValue(const Motion& motion, const Value& current)
{
    if (const auto* number = std::get_if<double>(&current)) {
        const double next = *number + std::get<double>(motion.step);
        const double min = std::get<double>(motion.min);
        const double max = std::get<double>(motion.max);
        return next > max ? min : next < min ? max : next;
    }
    if (const auto* number = std::get_if<std::int64_t>(&current))
        return counted(*number, std::get<std::int64_t>(motion.step),
                       std::get<std::int64_t>(motion.min), std::get<std::int64_t>(motion.max));
    return counted(std::get<std::uint64_t>(current), std::get<std::uint64_t>(motion.step),
                   std::get<std::uint64_t>(motion.min), std::get<std::uint64_t>(motion.max));
}

Value randomValue(const Motion& motion, RandomSource& random)
{
    if (const auto* min = std::get_if<double>(&motion.min))
        return std::uniform_real_distribution<double>(*min, std::get<double>(motion.max))(random);
    if (const auto* min = std::get_if<std::int64_t>(&motion.min))
        return std::uniform_int_distribution<std::int64_t>(
            *min, std::get<std::int64_t>(motion.max))(random);
    return std::uniform_int_distribution<std::uint64_t>(
        std::get<std::uint64_t>(motion.min), std::get<std::uint64_t>(motion.max))(random);
}

} // namespace

MotionKind motionKind(std::string_view name)
{
    std::string known;
    for (const NamedKind& entry : kKinds) {
        if (name == entry.name)
            return entry.kind;
        known += (known.empty() ? "" : ", ") + std::string(entry.name);
    }
    throw std::invalid_argument("unknown motion \"" + std::string(name) + "\" (known: " + known +
                                ")");
}

bool movesInSteps(MotionKind kind)
{
    return kind == MotionKind::Count || kind == MotionKind::Random || kind == MotionKind::Cycle;
}

Value waveValue(const CipType& type, const Motion& motion, double turns)
{
    const double height = waveHeight(motion.kind, turns);
    if (type.kind == TypeKind::Real) {
        const double min = std::get<double>(motion.min);
        return realValue(type, min + (std::get<double>(motion.max) - min) * height);
    }
    if (type.kind == TypeKind::Signed)
        return between(std::get<std::int64_t>(motion.min), std::get<std::int64_t>(motion.max),
                       height);
    return between(std::get<std::uint64_t>(motion.min), std::get<std::uint64_t>(motion.max),
                   height);
}

Value steppedValue(const CipType& type, const Motion& motion, const Value& current,
                   std::uint64_t stepNumber, RandomSource& random)
{
    switch (motion.kind) {
    case MotionKind::Cycle: return motion.choices[stepNumber % motion.choices.size()];
    case MotionKind::Random: {
        const Value value = randomValue(motion, random);
        return type.kind == TypeKind::Real ? realValue(type, std::get<double>(value)) : value;
    }
    default: {
        const Value value = countedValue(motion, current);
        return type.kind == TypeKind::Real ? realValue(type, std::get<double>(value)) : value;
    }
    }
}

} // namespace plcsim
