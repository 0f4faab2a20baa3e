#include "data_reply.h"

#include "values.h"

namespace panelhost {

TagType typeOf(ByteView reply)
{
    constexpr std::uint8_t kAbbreviated = 0xA3; // the element type follows
    TagType type;
    type.bytes[0] = reply.u8(frame::connected::kReplyData);
    type.bytes[1] = reply.u8(frame::connected::kReplyData + 1);
    if (type.bytes[0] == kAbbreviated)
        type.element = findCipType(type.bytes[1]);
    else if (type.bytes[1] == 0)
        type.element = findCipType(type.bytes[0]);
    return type;
}

ByteView valueBytesOf(ByteView reply)
{
    constexpr std::size_t at = frame::connected::kValues;
    return reply.size() > at ? ByteView(reply.data() + at, reply.size() - at) : ByteView();
}

std::string valueObstacle(ByteView reply, const std::string& tag, int count)
{
    const CipType* type = typeOf(reply).element;
    if (type == nullptr)
        return "the data type of " + tag + " is not known";
    const ByteView values = valueBytesOf(reply);
    const bool complete = type->kind == ValueKind::Text
                              ? measureText(*type, values) >= 0
                              : values.size() == static_cast<std::size_t>(count * type->width);
    return complete ? std::string() : "the reply holds a wrong number of bytes for " + tag;
}

} // namespace panelhost
