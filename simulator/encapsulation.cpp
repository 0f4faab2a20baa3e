#include "encapsulation.h"

#include <algorithm>

namespace plcsim {

Bytes encodeFrame(const Frame& frame)
{
    Bytes bytes;
    bytes.reserve(kHeaderSize + frame.data.size());
    ByteWriter(bytes)
        .u16(frame.command)
        .u16(static_cast<std::uint16_t>(frame.data.size()))
        .u32(frame.session)
        .u32(frame.status)
        .append(ByteView(frame.context.data(), frame.context.size()))
        .u32(frame.options)
        .append(frame.data);
    return bytes;
}

Frame answerTo(const Frame& request, std::uint32_t status)
{
    Frame answer;
    answer.command = request.command;
    answer.session = request.session;
    answer.status = status;
    answer.context = request.context;
    return answer;
}

std::optional<Frame> FrameAssembler::next()
{
    if (absurdHeader_ || buffer_.size() < kHeaderSize)
        return std::nullopt;
    ByteReader reader(buffer_);
    Frame frame;
    frame.command = reader.u16();
    const std::size_t length = reader.u16();
    frame.session = reader.u32();
    frame.status = reader.u32();
    const ByteView context = reader.take(frame.context.size());
    std::copy(context.begin(), context.end(), frame.context.begin());
    frame.options = reader.u32();
    if (length > kLongestData) {
        absurdHeader_ = frame;
        buffer_.clear();
        return std::nullopt;
    }
    if (reader.remaining() < length)
        return std::nullopt;
    frame.data = reader.take(length).toBytes();
    buffer_.erase(buffer_.begin(),
                  buffer_.begin() + static_cast<std::ptrdiff_t>(kHeaderSize + length));
    return frame;
}

std::optional<CommonPacket> decodeCommonPacket(ByteView data)
{
    ByteReader reader(data);
    const std::uint32_t interfaceHandle = reader.u32();
    reader.u16(); // time-out: of interest to a router only
    const std::uint16_t itemCount = reader.u16();
    CommonPacket packet;
    packet.addressType = reader.u16();
    packet.address = reader.take(reader.u16()).toBytes();
    packet.dataType = reader.u16();
    packet.data = reader.take(reader.u16()).toBytes();
    for (std::uint16_t i = 2; i < itemCount && reader.ok(); ++i) {
        reader.u16(); // further items (socket addresses) do not concern explicit messages
        reader.take(reader.u16());
    }
    if (!reader.ok() || interfaceHandle != 0 || itemCount < 2 || reader.remaining() != 0)
        return std::nullopt;
    return packet;
}

Bytes encodeCommonPacket(const CommonPacket& packet)
{
    Bytes bytes;
    ByteWriter(bytes)
        .u32(0)
        .u16(0)
        .u16(2)
        .u16(packet.addressType)
        .u16(static_cast<std::uint16_t>(packet.address.size()))
        .append(packet.address)
        .u16(packet.dataType)
        .u16(static_cast<std::uint16_t>(packet.data.size()))
        .append(packet.data);
    return bytes;
}

} // namespace plcsim
