#include "screening.h"

#include <algorithm>
#include <cstdio>

namespace panelhost {
namespace {

Screened malformed(const std::string& what)
{
    return {Verdict::Malformed, {}, "not a valid EtherNet/IP reply: " + what};
}

Screened notOurs(const char* what)
{
    return {Verdict::NotOurs, {}, what};
}

/// Checks that hold for a reply to any command.
Screened screenHeader(ByteView reply, std::uint16_t command)
{
    if (reply.size() < frame::kHeaderSize)
        return malformed("shorter than a header");
    if (reply.u16(frame::kLength) != reply.size() - frame::kHeaderSize)
        return malformed("its length field is wrong");
    if (reply.u16(frame::kCommand) != command) {
        char text[40];
        std::snprintf(text, sizeof text, "unexpected command 0x%04X",
                      unsigned{reply.u16(frame::kCommand)});
        return malformed(text);
    }
    const std::uint32_t status = reply.u32(frame::kStatus);
    if (status != 0)
        return {Verdict::SessionLost, {}, describeEncapsulationStatus(status)};
    return {};
}

/// Reads general status and first extended word; false when the reply ends before they do.
bool readStatus(ByteView reply, std::size_t generalAt, CipStatus* status)
{
    if (reply.size() < generalAt + 2)
        return false;
    status->general = reply.u8(generalAt);
    const std::size_t words = reply.u8(generalAt + 1);
    if (reply.size() < generalAt + 2 + 2 * words)
        return false;
    if (words > 0)
        status->extended = reply.u16(generalAt + 2);
    return true;
}

bool sameTriad(ByteView request, ByteView reply, std::size_t replyAt)
{
    using namespace frame::forward_open;
    return std::equal(request.data() + kRequestTriad, request.data() + kRequestTriad + kTriadSize,
                      reply.data() + replyAt);
}

} // namespace

Screened screenRegisterSession(ByteView reply)
{
    Screened header = screenHeader(reply, frame::kRegisterSession);
    if (header.verdict != Verdict::Good)
        return header;
    if (reply.size() != frame::kRegisterSessionSize)
        return malformed("RegisterSession answered with a wrong length");
    if (reply.u32(frame::kSessionHandle) == 0)
        return malformed("RegisterSession answered with session handle 0");
    if (reply.u16(frame::kProtocolVersion) != 1)
        return malformed("RegisterSession answered with another protocol version");
    return {};
}

Screened screenForwardOpen(ByteView request, ByteView reply)
{
    namespace at = frame::unconnected;
    using namespace frame::forward_open;
    Screened result = screenHeader(reply, frame::kSendRRData);
    if (result.verdict != Verdict::Good)
        return result;
    if (reply.u32(frame::kSessionHandle) != request.u32(frame::kSessionHandle))
        return notOurs("reply for another session");
    if (reply.u16(frame::kItemCount) != 2 ||
        reply.u16(frame::kAddressItemType) != frame::kNullAddress ||
        reply.u16(frame::kAddressItemLength) != 0 ||
        reply.u16(at::kDataItemType) != frame::kUnconnectedData ||
        reply.u16(at::kDataItemLength) != reply.size() - at::kService)
        return malformed("the Forward Open reply's items are wrong");
    if (reply.u8(at::kService) != (frame::kForwardOpen | frame::kReplyBit))
        return malformed("the Forward Open was answered with another service");
    if (!readStatus(reply, at::kGeneralStatus, &result.status))
        return malformed("the Forward Open reply ends too early");
    if (result.status.general != 0) {
        const std::size_t triadAt = at::kReplyData + 2u * reply.u8(at::kExtendedSize);
        constexpr std::size_t kRemainingPath = 2; // and a reserved byte, not always sent
        const bool bearsTriad = reply.size() == triadAt + kTriadSize ||
                                reply.size() == triadAt + kTriadSize + kRemainingPath;
        if (bearsTriad && !sameTriad(request, reply, triadAt))
            return notOurs("refusal of an earlier Forward Open");
        result.verdict = Verdict::Refused;
        result.reason = describeConnectionStatus(result.status);
        return result;
    }
    if (reply.size() != kReplySize)
        return malformed("the Forward Open was accepted with a wrong length");
    if (!sameTriad(request, reply, kReplyTriad))
        return notOurs("answer to an earlier Forward Open");
    return result;
}

Screened screenDataReply(ByteView request, std::uint32_t targetToOriginatorId, ByteView reply)
{
    namespace at = frame::connected;
    Screened result = screenHeader(reply, frame::kSendUnitData);
    if (result.verdict != Verdict::Good)
        return result;
    if (reply.u32(frame::kSessionHandle) != request.u32(frame::kSessionHandle))
        return notOurs("reply for another session");
    if (reply.u16(frame::kItemCount) != 2 ||
        reply.u16(frame::kAddressItemType) != frame::kConnectedAddress ||
        reply.u16(frame::kAddressItemLength) != 4 ||
        reply.u16(at::kDataItemType) != frame::kConnectedData ||
        reply.u16(at::kDataItemLength) != reply.size() - at::kSequenceCount)
        return malformed("its items are wrong");
    if (reply.size() <= at::kService)
        return malformed("it ends too early");
    if (reply.u32(at::kConnectionId) != targetToOriginatorId)
        return notOurs("reply for another connection");
    if (reply.u16(at::kSequenceCount) != request.u16(at::kSequenceCount))
        return notOurs("late answer to an earlier request");
    if (reply.u8(at::kService) != (request.u8(at::kService) | frame::kReplyBit))
        return malformed("answered with another service");
    if (!readStatus(reply, at::kGeneralStatus, &result.status))
        return malformed("it ends too early");
    if (result.status.general != 0) {
        result.verdict = Verdict::Refused;
        result.reason = describeTagStatus(result.status);
    }
    return result;
}

TagPath decodeTagPath(ByteView request)
{
    namespace at = frame::connected;
    constexpr std::uint8_t kSymbolicSegment = 0x91;
    constexpr std::uint8_t kElement8 = 0x28;
    constexpr std::uint8_t kElement16 = 0x29;

    TagPath path;
    path.end = at::kRequestPath + 2u * request.u8(at::kRequestPathWords);
    if (request.size() < path.end || request.u8(at::kRequestPath) != kSymbolicSegment)
        return path;
    const std::size_t nameLength = request.u8(at::kRequestPath + 1);
    const std::size_t nameAt = at::kRequestPath + 2;
    const std::size_t position = nameAt + nameLength + nameLength % 2;
    if (position + 2 == path.end && request.u8(position) == kElement8)
        path.firstElement = request.u8(position + 1);
    else if (position + 4 == path.end && request.u8(position) == kElement16)
        path.firstElement = request.u16(position + 2);
    else if (position != path.end)
        return path;
    path.name = ByteView(request.data() + nameAt, nameLength);
    path.valid = true;
    return path;
}

ReadRequest decodeReadRequest(ByteView request)
{
    const TagPath path = decodeTagPath(request);
    ReadRequest result;
    result.valid = path.valid && request.size() >= path.end + 2 &&
                   request.u8(frame::connected::kService) == frame::kReadTag;
    if (result.valid) {
        result.firstElement = path.firstElement;
        result.elements = request.u16(path.end);
    }
    return result;
}

} // namespace panelhost
