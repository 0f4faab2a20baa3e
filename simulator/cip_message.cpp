#include "cip_message.h"

#include <utility>

namespace plcsim {

std::optional<CipRequest> decodeCipRequest(ByteView message)
{
    ByteReader reader(message);
    CipRequest request;
    request.service = reader.u8();
    const std::size_t pathWords = reader.u8();
    request.path = reader.take(2 * pathWords);
    request.data = reader.rest();
    if (!reader.ok())
        return std::nullopt;
    return request;
}

CipReply success(std::uint8_t service, Bytes data)
{
    return {service, status::kSuccess, {}, std::move(data)};
}

CipReply refusal(std::uint8_t service, std::uint8_t general)
{
    return {service, general, {}, {}};
}

CipReply refusal(std::uint8_t service, std::uint8_t general, std::uint16_t extended)
{
    return {service, general, {extended}, {}};
}

Bytes encodeCipReply(const CipReply& reply)
{
    Bytes bytes;
    ByteWriter writer(bytes);
    writer.u8(reply.service | service::kReplyFlag);
    writer.u8(0);
    writer.u8(reply.general);
    writer.u8(static_cast<std::uint8_t>(reply.extended.size()));
    for (const std::uint16_t word : reply.extended)
        writer.u16(word);
    writer.append(reply.data);
    return bytes;
}

} // namespace plcsim
