// Judges every reply before the driver sees it. The driver tells replies apart by their length alone
// and would store a refusal as a value; the host owns the bytes and looks at every field.

#ifndef PANELHOST_SCREENING_H
#define PANELHOST_SCREENING_H

#include "cip_status.h"
#include "frame_view.h"

#include <cstdint>
#include <string>

namespace panelhost {

enum class Verdict {
    Good,        ///< answers the request; may be handed to the driver
    Refused,     ///< answers the request with a CIP status other than success
    NotOurs,     ///< answers an earlier request or another connection: drop it and keep waiting
    SessionLost, ///< the controller no longer knows the session: start a new one
    Malformed,   ///< breaks the protocol: nothing on this link can be trusted any more
};

struct Screened {
    Verdict verdict = Verdict::Good;
    CipStatus status;   ///< meaningful when refused
    std::string reason; ///< in words, empty when good
};

Screened screenRegisterSession(ByteView reply);

/// Also compares the connection triad, so that the answer to an earlier attempt is not taken for one
/// to this.
Screened screenForwardOpen(ByteView request, ByteView reply);

/// targetToOriginatorId is the connection ID that replies bear, from the Forward Open's answer.
Screened screenDataReply(ByteView request, std::uint32_t targetToOriginatorId, ByteView reply);

/// The path of a request for a tag or one of its elements. Invalid for paths that the driver never
/// writes: members, local variables, elements that need 32 bits.
struct TagPath {
    bool valid = false;
    ByteView name;
    std::uint32_t firstElement = 0;
    std::size_t end = 0; ///< where the service's own data begin in the request
};
TagPath decodeTagPath(ByteView request);

/// What a Read Tag request on the wire asks for. The host publishes a value only for the element
/// that the frame really named.
struct ReadRequest {
    bool valid = false;
    std::uint32_t firstElement = 0;
    std::uint32_t elements = 0;
};
ReadRequest decodeReadRequest(ByteView request);

} // namespace panelhost

#endif // PANELHOST_SCREENING_H
