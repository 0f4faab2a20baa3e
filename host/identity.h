// ListIdentity: what a device says it is. Needs no session and no driver.

#ifndef PANELHOST_IDENTITY_H
#define PANELHOST_IDENTITY_H

#include "frame_view.h"

#include <QByteArray>

#include <cstdint>
#include <optional>
#include <string>

namespace panelhost {

struct Identity {
    std::uint16_t vendor = 0;
    std::uint16_t deviceType = 0;
    std::uint16_t productCode = 0;
    int majorRevision = 0;
    int minorRevision = 0;
    std::uint16_t status = 0;
    std::uint32_t serial = 0;
    std::string product;
};

QByteArray listIdentityRequest();

/// Nothing when the reply is no ListIdentity reply.
std::optional<Identity> parseIdentity(ByteView reply);

/// "Rockwell Automation/Allen-Bradley", or "vendor 77".
std::string vendorName(std::uint16_t vendor);
std::string deviceTypeName(std::uint16_t deviceType);

} // namespace panelhost

#endif // PANELHOST_IDENTITY_H
