// How a tag's value moves by itself, as a program in the controller would move it.
#pragma once

#include "value.h"

#include <cstdint>
#include <random>
#include <string_view>
#include <vector>

namespace plcsim {

enum class MotionKind { Fixed, Count, Ramp, Sine, Square, Random, Cycle };

/// The kind of that name; throws std::invalid_argument naming those there are.
MotionKind motionKind(std::string_view name);

struct Motion {
    MotionKind kind = MotionKind::Fixed;
    double periodSeconds =
        1; ///< of one step (count, random, cycle) or one wave (ramp, sine, square)
    Value min;
    Value max;
    Value step;                 ///< what a count adds; may be negative for signed types
    std::vector<Value> choices; ///< what a cycle goes through
};

using RandomSource = std::mt19937_64;

/// Whether the kind changes once per period; the others change with every controller scan.
bool movesInSteps(MotionKind kind);

/// The value after a wave has run `turns` periods (the whole ones do not matter).
Value waveValue(const CipType& type, const Motion& motion, double turns);

/// The value that follows `current` when step number `stepNumber` is done.
Value steppedValue(const CipType& type, const Motion& motion, const Value& current,
                   std::uint64_t stepNumber, RandomSource& random);

} // namespace plcsim
