// CIP and encapsulation statuses in words for people: the thing, the cause, the next step.

#ifndef PANELHOST_CIP_STATUS_H
#define PANELHOST_CIP_STATUS_H

#include <cstdint>
#include <optional>
#include <string>

namespace panelhost {

/// A CIP status as a reply carries it. General status 0 is success.
struct CipStatus {
    std::uint8_t general = 0;
    std::optional<std::uint16_t> extended;
};

/// Refused Read Tag and Write Tag requests: "no such tag, or not a global variable (status 0x05)".
std::string describeTagStatus(const CipStatus& status);

/// Refused Forward Opens.
std::string describeConnectionStatus(const CipStatus& status);

/// Status word of the encapsulation header.
std::string describeEncapsulationStatus(std::uint32_t status);

namespace cip_status {
constexpr std::uint8_t kConnectionFailure = 0x01;
constexpr std::uint8_t kPathSegmentError = 0x04;
constexpr std::uint8_t kPathDestinationUnknown = 0x05;
constexpr std::uint8_t kGeneralError = 0xFF;
constexpr std::uint16_t kDuplicateConnection = 0x0100;
constexpr std::uint16_t kOffsetBeyondEnd = 0x2104;
constexpr std::uint16_t kBeyondEnd = 0x2105;
constexpr std::uint16_t kTypeMismatch = 0x2107;
} // namespace cip_status

} // namespace panelhost

#endif // PANELHOST_CIP_STATUS_H
