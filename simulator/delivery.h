// What becomes of an answer on its way to the client.
#pragma once

#include "bytes.h"
#include "clock.h"

namespace plcsim {

/// Part of an answer: bytes, when they leave, and whether the link ends with them.
struct Delivery {
    Bytes bytes;
    Duration delay = {}; ///< beyond the response time
    bool closeLink = false;
};

} // namespace plcsim
