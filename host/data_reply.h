// What a good answer to a Read Tag request carries: a data type and value bytes.

#ifndef PANELHOST_DATA_REPLY_H
#define PANELHOST_DATA_REPLY_H

#include "cip_type.h"
#include "frame_view.h"

#include <cstdint>
#include <string>

namespace panelhost {

/// The type of a tag as replies carry it.
struct TagType {
    std::uint8_t bytes[2] = {0, 0};
    const CipType* element = nullptr; ///< null when it is no elementary type

    bool operator==(const TagType& other) const
    {
        return bytes[0] == other.bytes[0] && bytes[1] == other.bytes[1];
    }
    bool operator!=(const TagType& other) const { return !(*this == other); }
};

TagType typeOf(ByteView reply);

ByteView valueBytesOf(ByteView reply);

/// Why a reply cannot be count elements of tag; empty when it can.
std::string valueObstacle(ByteView reply, const std::string& tag, int count);

} // namespace panelhost

#endif // PANELHOST_DATA_REPLY_H
