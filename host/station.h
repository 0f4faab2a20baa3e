// What the host keeps of one controller: its link, its session as far as the host has to know it, its
// tags, and when to try again after a failure.

#ifndef PANELHOST_STATION_H
#define PANELHOST_STATION_H

#include "knock.h"
#include "station_settings.h"
#include "statistics.h"
#include "tag_table.h"
#include "tcp_link.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace panelhost {

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
    /// stalled is the time that the failed attempt took from other stations of the same cycle.
    std::chrono::milliseconds next(StationTrouble trouble, Clock::duration stalled = {});
    void reset() { failures_ = 0; }
    int failures() const { return failures_; }

    static constexpr std::chrono::milliseconds kLongest{5000};
    /// From the second failure on the others get at least this many times what an attempt took.
    static constexpr int kShareOfOthers = 12;

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
    Knock knock;                            ///< owns the link while under way
    bool linkIsFresh = false;               ///< nothing but a knock went over it
    bool hungUp = false;                    ///< the controller closed the idle link
    Clock::time_point lastSentAt;           ///< any request
    Clock::duration stalled{0};             ///< in time-outs since the last good reply
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
