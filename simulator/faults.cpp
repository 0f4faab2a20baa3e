#include "faults.h"

#include "answer_edit.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace plcsim {

namespace {

bool sameName(const std::string& a, const std::string& b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](unsigned char x, unsigned char y) {
        return std::tolower(x) == std::tolower(y);
    });
}

std::uint32_t figure32(const FaultRule& rule)
{
    return static_cast<std::uint32_t>(rule.figures[0]);
}

Duration milliseconds(const FaultRule& rule)
{
    return std::chrono::milliseconds(rule.figures[0]);
}

bool actsAtOnce(const FaultRule& rule)
{
    switch (rule.kind) {
    case FaultKind::DropConnections:
    case FaultKind::DropSessions:
    case FaultKind::Offline: return true;
    case FaultKind::DropLink: return !rule.isConditional();
    default: return false;
    }
}

/// Faults that act on the way of an answer, not on its making.
bool editsAnswers(FaultKind kind)
{
    switch (kind) {
    case FaultKind::Silence:
    case FaultKind::Status:
    case FaultKind::RefuseOpen:
    case FaultKind::RefuseSession: return false;
    default: return true;
    }
}

} // namespace

Faults::Faults(std::uint64_t seed, std::function<TimePoint()> clock)
    : clock_(std::move(clock)), random_(seed)
{
}

void Faults::clear()
{
    rules_.clear();
    actions_.comeOnline();
}

void Faults::add(const std::vector<std::string>& words)
{
    const FaultRule rule = parseFault(words);
    if (!actsAtOnce(rule)) {
        const auto until = rule.lasting ? std::optional(clock_() + *rule.lasting) : std::nullopt;
        rules_.push_back({rule, until});
        return;
    }
    switch (rule.kind) {
    case FaultKind::DropLink: return actions_.dropLinks();
    case FaultKind::DropConnections: return actions_.dropConnections();
    case FaultKind::DropSessions: return actions_.dropSessions();
    default: return actions_.goOffline(std::chrono::seconds(rule.figures[0]));
    }
}

std::vector<std::string> Faults::list()
{
    dropEnded();
    std::vector<std::string> texts;
    for (const Running& running : rules_)
        texts.push_back(running.rule.text);
    return texts;
}

Controller::Interference Faults::interference()
{
    Controller::Interference interference;
    interference.sessionRefusal = [this]() -> std::optional<std::uint32_t> {
        const FaultRule* rule = strike(FaultKind::RefuseSession, FaultPhase::Session);
        return rule ? std::optional(figure32(*rule)) : std::nullopt;
    };
    interference.openRefusal = [this]() -> std::optional<std::uint16_t> {
        const FaultRule* rule = strike(FaultKind::RefuseOpen, FaultPhase::Open);
        return rule ? std::optional(static_cast<std::uint16_t>(figure32(*rule))) : std::nullopt;
    };
    interference.tagStatus =
        [this](const std::string& tag) -> std::optional<Controller::ForcedStatus> {
        const FaultRule* rule = strike(FaultKind::Status, FaultPhase::Data, tag);
        if (!rule)
            return std::nullopt;
        Controller::ForcedStatus forced;
        forced.general = static_cast<std::uint8_t>(rule->figures[0]);
        if (rule->figures[1] >= 0)
            forced.extended.push_back(static_cast<std::uint16_t>(rule->figures[1]));
        return forced;
    };
    return interference;
}

bool Faults::ignores(const Frame& request)
{
    return strike(FaultKind::Silence, phaseOf(request)) != nullptr;
}

std::vector<Delivery> Faults::plan(const Frame& request, Bytes answer)
{
    dropEnded();
    const FaultPhase phase = phaseOf(request);
    std::vector<Delivery> deliveries;
    deliveries.push_back({std::move(answer), {}, false});
    for (Running& running : rules_)
        if (editsAnswers(running.rule.kind) && strikes(running, phase, {}))
            apply(running.rule, deliveries);
    return deliveries;
}

void Faults::dropEnded()
{
    const TimePoint now = clock_();
    rules_.remove_if([now](const Running& running) {
        return (running.until && now >= *running.until) ||
               (running.rule.times && *running.rule.times == 0);
    });
}

const FaultRule* Faults::strike(FaultKind kind, FaultPhase phase, const std::string& tag)
{
    dropEnded();
    for (Running& running : rules_)
        if (running.rule.kind == kind && strikes(running, phase, tag))
            return &running.rule;
    return nullptr;
}

bool Faults::strikes(Running& running, FaultPhase phase, const std::string& tag)
{
    FaultRule& rule = running.rule;
    if (rule.phase != FaultPhase::Any && rule.phase != phase)
        return false;
    if (!rule.tag.empty() && !sameName(rule.tag, tag))
        return false;
    if (rule.chance < 1 && !std::bernoulli_distribution(rule.chance)(random_))
        return false;
    if (rule.times && *rule.times == 0)
        return false;
    if (rule.times)
        --*rule.times;
    return true;
}

void Faults::apply(const FaultRule& rule, std::vector<Delivery>& deliveries)
{
    Delivery& first = deliveries.front();
    switch (rule.kind) {
    case FaultKind::LostAnswer: first.bytes.clear(); break;
    case FaultKind::Delay:
        for (Delivery& delivery : deliveries)
            delivery.delay += milliseconds(rule);
        break;
    case FaultKind::EncapsulationStatus:
        first.bytes = withStatusOnly(first.bytes, figure32(rule));
        break;
    case FaultKind::WrongLength: resizeData(first.bytes, rule.figures[0]); break;
    case FaultKind::WrongHeaderLength: shiftLengthField(first.bytes, rule.figures[0]); break;
    case FaultKind::WrongField: falsify(first.bytes, rule.field); break;
    case FaultKind::HalfFrame:
        first.bytes.resize(first.bytes.size() / 2);
        first.closeLink = true;
        break;
    case FaultKind::Split: {
        const auto middle =
            first.bytes.begin() + static_cast<std::ptrdiff_t>(first.bytes.size() / 2);
        Delivery second = {Bytes(middle, first.bytes.end()), first.delay + milliseconds(rule),
                           false};
        first.bytes.erase(middle, first.bytes.end());
        deliveries.push_back(std::move(second));
        break;
    }
    case FaultKind::Garbage:
        first.bytes.resize(figure32(rule));
        for (std::uint8_t& byte : first.bytes)
            byte = static_cast<std::uint8_t>(random_());
        break;
    case FaultKind::LateDuplicate: {
        Delivery again = first;
        again.delay += milliseconds(rule);
        deliveries.push_back(std::move(again));
        break;
    }
    case FaultKind::DropLink:
        first.bytes.clear();
        first.closeLink = true;
        break;
    default: break;
    }
}

} // namespace plcsim
