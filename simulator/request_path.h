// The request path of a CIP message (a padded EPATH), taken apart into its segments.
#pragma once

#include "bytes.h"

#include <optional>
#include <string>
#include <vector>

namespace plcsim {

enum class SegmentKind { Port, Class, Instance, Member, ConnectionPoint, Attribute, Key, Symbol };

struct Segment {
    SegmentKind kind = SegmentKind::Class;
    std::uint32_t value = 0; ///< of a logical segment; the port of a port segment
    std::string symbol;      ///< the name of a symbolic segment
    Bytes data;              ///< the link address of a port segment, the eight bytes of a key
};

using Path = std::vector<Segment>;

/// Nothing if the bytes are no path, or one with segments that explicit messages do not use.
std::optional<Path> parsePath(ByteView bytes);

/// Whether the path begins with a class segment of that number.
bool addressesClass(const Path& path, std::uint32_t classId);

} // namespace plcsim
