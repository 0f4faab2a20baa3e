// Faults on demand: what goes wrong between a client and the controller, by option or by command.
#pragma once

#include "controller.h"
#include "delivery.h"
#include "fault_rule.h"

#include <functional>
#include <list>
#include <optional>
#include <string>
#include <vector>

namespace plcsim {

class Faults {
public:
    /// What faults do that happen at once instead of to a request.
    struct Actions {
        std::function<void()> dropLinks = [] {};
        std::function<void()> dropConnections = [] {};
        std::function<void()> dropSessions = [] {};
        std::function<void(Duration)> goOffline = [](Duration) {};
        std::function<void()> comeOnline = [] {};
    };

    explicit Faults(std::uint64_t seed, std::function<TimePoint()> clock = Clock::now);

    void act(Actions actions) { actions_ = std::move(actions); }

    /// Starts a fault, given as the words behind "fault". Throws std::invalid_argument.
    void add(const std::vector<std::string>& words);
    /// Ends every fault, also the time offline.
    void clear();

    /// The faults under way, as they were given.
    std::vector<std::string> list();

    /// What the controller is to ask before it serves.
    Controller::Interference interference();

    /// Whether this request is to be ignored.
    bool ignores(const Frame& request);

    /// How the answer to this request is delivered.
    std::vector<Delivery> plan(const Frame& request, Bytes answer);

private:
    struct Running {
        FaultRule rule;
        std::optional<TimePoint> until;
    };

    void dropEnded();
    /// The first rule of the kind that strikes now; one of its times is used up.
    const FaultRule* strike(FaultKind kind, FaultPhase phase, const std::string& tag = {});
    bool strikes(Running& running, FaultPhase phase, const std::string& tag);
    void apply(const FaultRule& rule, std::vector<Delivery>& deliveries);

    std::function<TimePoint()> clock_;
    Actions actions_;
    std::list<Running> rules_;
    std::mt19937_64 random_;
};

} // namespace plcsim
