// One fault as a person orders it: its kind, its figures, and when it strikes.
#pragma once

#include "clock.h"
#include "encapsulation.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace plcsim {

enum class FaultKind {
    Silence,
    LostAnswer,
    Delay,
    Status,
    RefuseOpen,
    RefuseSession,
    EncapsulationStatus,
    WrongLength,
    WrongHeaderLength,
    WrongField,
    HalfFrame,
    Split,
    Garbage,
    LateDuplicate,
    DropLink,
    DropConnections,
    DropSessions,
    Offline,
};

/// The stage of a conversation that a request belongs to.
enum class FaultPhase { Any, Session, Open, Data };

/// A field of an answer that a fault falsifies.
enum class FaultField { Session, Context, Connection, Sequence, Service };

struct FaultRule {
    FaultKind kind = FaultKind::Silence;
    std::string text;                  ///< as it was ordered
    std::vector<std::int64_t> figures; ///< the numbers behind the kind
    FaultField field = FaultField::Session;
    std::string tag;                    ///< empty for every tag
    FaultPhase phase = FaultPhase::Any; ///< requests it strikes
    std::optional<Duration> lasting;
    std::optional<std::uint64_t> times;
    double chance = 1;

    /// Whether it strikes answers, rather than to happen once and at once.
    bool isConditional() const
    {
        return lasting || times || chance < 1 || phase != FaultPhase::Any;
    }
};

/// Reads the words behind "fault". Throws std::invalid_argument with the right usage.
FaultRule parseFault(const std::vector<std::string>& words);

/// One line per kind of fault, for help and manual.
struct FaultUsage {
    const char* usage;
    const char* purpose;
};
const std::vector<FaultUsage>& faultUsages();

FaultPhase phaseOf(const Frame& request);

} // namespace plcsim
