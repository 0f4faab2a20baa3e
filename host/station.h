// What the host keeps of one controller: its link, its session as far as the host has to know it, its
// tags, and when to try again after a failure.

#ifndef PANELHOST_STATION_H
#define PANELHOST_STATION_H

#include "statistics.h"
#include "tag_table.h"
#include "tcp_link.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace panelhost {

struct StationSettings {
    std::string name;
    std::string host;
    std::uint16_t port = kEtherNetIpPort;
    std::chrono::milliseconds timeout{2000};
    int retries = 1; ///< resends of an unanswered read or write, 0..3
};

enum class StationTrouble {
    None,
    Unreachable,    ///< no TCP link
    NotEtherNetIp,  ///< something else answers
    Refused,        ///< no session or connection granted
    ConnectionBusy, ///< another panel uses the connection identity at present
    Silent,         ///< requests stay unanswered
    LinkLost,
    ProgramChanged, ///< types differ from those read before
};

struct StationView {
    bool online = false;
    std::string reason; ///< why it is not
    StationTrouble trouble = StationTrouble::None;
    int attempts = 0; ///< failed since it was last online
};

/// Delays between attempts that grow, with jitter: panels that lost their controller together do not
/// come back together.
class BackOff {
public:
    std::chrono::milliseconds next(StationTrouble trouble);
    void reset() { failures_ = 0; }
    int failures() const { return failures_; }

    static constexpr std::chrono::milliseconds kLongest{5000};

private:
    int failures_ = 0;
};

struct Station {
    Station(int stationNumber, const StationSettings& stationSettings, const Interrupt* interrupt,
            std::chrono::milliseconds refusedRetry)
        : number(stationNumber), settings(stationSettings), link(interrupt),
          table(stationNumber, refusedRetry)
    {
    }

    const int number;
    const StationSettings settings;

    // Communication thread only.
    Link link;
    BackOff backOff;
    bool up = false;                        ///< switched on in the driver
    Clock::time_point upAgainAt;            ///< when it is not
    std::uint32_t targetToOriginatorId = 0; ///< replies bear it
    int resends = 0;                        ///< of the request in flight
    Clock::time_point firstSentAt;          ///< of the request in flight
    bool onceReadQueued = false;            ///< the driver holds a scout or probe
    bool writeQueued = false;               ///< the driver holds the front of the waiting writes
    bool writeSent = false;

    // Under the cycle's mutex.
    TagTable table;
    StationView view;
    Statistics statistics;
};

} // namespace panelhost

#endif // PANELHOST_STATION_H
