// What the controller says about itself: ListIdentity, ListServices and the Identity object.
#pragma once

#include "cip_message.h"
#include "request_path.h"
#include "tag_file.h"

#include <array>

namespace plcsim {

/// Where the controller listens, as ListIdentity tells it.
struct SocketAddress {
    std::array<std::uint8_t, 4> ip = {};
    std::uint16_t port = 0;
};

/// The command data of a ListIdentity answer: one identity item.
Bytes listIdentityData(const ControllerIdentity& identity, const SocketAddress& address);

/// The command data of a ListServices answer: CIP over TCP, and nothing else.
Bytes listServicesData();

/// Serves a request to class 1: all attributes, or one of the first seven.
CipReply identityService(const CipRequest& request, const Path& path,
                         const ControllerIdentity& identity);

} // namespace plcsim
