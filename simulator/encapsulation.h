// EtherNet/IP encapsulation: the 24-byte header, the common packet format, frames out of a stream.
#pragma once

#include "bytes.h"

#include <array>
#include <optional>

namespace plcsim {

namespace command {
constexpr std::uint16_t kNop = 0x0000;
constexpr std::uint16_t kListServices = 0x0004;
constexpr std::uint16_t kListIdentity = 0x0063;
constexpr std::uint16_t kListInterfaces = 0x0064;
constexpr std::uint16_t kRegisterSession = 0x0065;
constexpr std::uint16_t kUnregisterSession = 0x0066;
constexpr std::uint16_t kSendRrData = 0x006F;
constexpr std::uint16_t kSendUnitData = 0x0070;
} // namespace command

namespace encap_status {
constexpr std::uint32_t kSuccess = 0x00;
constexpr std::uint32_t kInvalidCommand = 0x01;
constexpr std::uint32_t kNoMemory = 0x02;
constexpr std::uint32_t kIncorrectData = 0x03;
constexpr std::uint32_t kInvalidSession = 0x64;
constexpr std::uint32_t kInvalidLength = 0x65;
constexpr std::uint32_t kUnsupportedProtocol = 0x69;
} // namespace encap_status

constexpr std::size_t kHeaderSize = 24;
constexpr std::size_t kCommandLengthOffset = 2;
constexpr std::uint16_t kProtocolVersion = 1;

struct Frame {
    std::uint16_t command = 0;
    std::uint32_t session = 0;
    std::uint32_t status = 0;
    std::array<std::uint8_t, 8> context = {};
    std::uint32_t options = 0;
    Bytes data;
};

Bytes encodeFrame(const Frame& frame);

/// The answer to `request` begins as its echo, without data.
Frame answerTo(const Frame& request, std::uint32_t status = encap_status::kSuccess);

/// Cuts a byte stream into frames, however it arrives.
class FrameAssembler {
public:
    /// More than any CIP message over TCP needs; a longer claim is a stream out of step.
    static constexpr std::size_t kLongestData = 8192;

    void feed(ByteView bytes) { buffer_.insert(buffer_.end(), bytes.begin(), bytes.end()); }

    /// The next whole frame, if there is one. After an absurd header there never is.
    std::optional<Frame> next();

    /// The header (without data) whose length no frame can have: no boundary that follows can be
    /// trusted, so the link is of no use any more.
    const std::optional<Frame>& absurdHeader() const { return absurdHeader_; }

private:
    Bytes buffer_;
    std::optional<Frame> absurdHeader_;
};

namespace item_type {
constexpr std::uint16_t kNullAddress = 0x0000;
constexpr std::uint16_t kListIdentity = 0x000C;
constexpr std::uint16_t kConnectedAddress = 0x00A1;
constexpr std::uint16_t kConnectedData = 0x00B1;
constexpr std::uint16_t kUnconnectedData = 0x00B2;
constexpr std::uint16_t kListServices = 0x0100;
} // namespace item_type

/// The common packet format of SendRRData and SendUnitData: where to, and what.
struct CommonPacket {
    std::uint16_t addressType = 0;
    Bytes address;
    std::uint16_t dataType = 0;
    Bytes data;
};

/// Nothing if the data is not an interface handle 0, a time-out and at least two whole items.
std::optional<CommonPacket> decodeCommonPacket(ByteView data);

Bytes encodeCommonPacket(const CommonPacket& packet);

} // namespace plcsim
