// How a controller is reached, and why it is not.

#ifndef PANELHOST_STATION_SETTINGS_H
#define PANELHOST_STATION_SETTINGS_H

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

/// "no answer within 2000 ms"
std::string silenceInWords(const StationSettings& settings);

} // namespace panelhost

#endif // PANELHOST_STATION_SETTINGS_H
