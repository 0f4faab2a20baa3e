// CIP requests and replies (message router format) and the statuses a controller answers with.
#pragma once

#include "bytes.h"

#include <optional>
#include <vector>

namespace plcsim {

namespace service {
constexpr std::uint8_t kGetAttributesAll = 0x01;
constexpr std::uint8_t kMultipleServicePacket = 0x0A;
constexpr std::uint8_t kGetAttributeSingle = 0x0E;
constexpr std::uint8_t kReadTag = 0x4C;
constexpr std::uint8_t kWriteTag = 0x4D;
constexpr std::uint8_t kForwardClose = 0x4E; ///< at the Connection Manager
constexpr std::uint8_t kReadTagFragmented = 0x52;
constexpr std::uint8_t kUnconnectedSend = 0x52; ///< at the Connection Manager
constexpr std::uint8_t kWriteTagFragmented = 0x53;
constexpr std::uint8_t kForwardOpen = 0x54;
constexpr std::uint8_t kLargeForwardOpen = 0x5B;
constexpr std::uint8_t kReplyFlag = 0x80;
} // namespace service

namespace class_id {
constexpr std::uint32_t kIdentity = 0x01;
constexpr std::uint32_t kMessageRouter = 0x02;
constexpr std::uint32_t kConnectionManager = 0x06;
} // namespace class_id

namespace status {
constexpr std::uint8_t kSuccess = 0x00;
constexpr std::uint8_t kConnectionFailure = 0x01;
constexpr std::uint8_t kPathSegmentError = 0x04;
constexpr std::uint8_t kPathDestinationUnknown = 0x05; ///< no such tag
constexpr std::uint8_t kPartialTransfer = 0x06;        ///< more data than fits, part of it sent
constexpr std::uint8_t kServiceNotSupported = 0x08;
constexpr std::uint8_t kPrivilegeViolation = 0x0F; ///< the tag is read-only
constexpr std::uint8_t kReplyTooLarge = 0x11;
constexpr std::uint8_t kNotEnoughData = 0x13;
constexpr std::uint8_t kAttributeNotSupported = 0x14;
constexpr std::uint8_t kTooMuchData = 0x15;
constexpr std::uint8_t kEmbeddedServiceError = 0x1E;
constexpr std::uint8_t kInvalidParameter = 0x20;
constexpr std::uint8_t kGeneralError = 0xFF; ///< the extended status says what
} // namespace status

namespace extended {
constexpr std::uint16_t kDuplicateConnection = 0x0100; ///< in use, or asked for twice
constexpr std::uint16_t kTransportNotSupported = 0x0103;
constexpr std::uint16_t kConnectionNotFound = 0x0107;
constexpr std::uint16_t kInvalidNetworkParameters = 0x0108;
constexpr std::uint16_t kInvalidConnectionSize = 0x0109;
constexpr std::uint16_t kRpiNotSupported = 0x0111;
constexpr std::uint16_t kOutOfConnections = 0x0113;
constexpr std::uint16_t kKeyMismatch = 0x0114;
constexpr std::uint16_t kUnconnectedSendParameters = 0x0205;
constexpr std::uint16_t kPortNotAvailable = 0x0311;
constexpr std::uint16_t kInvalidSegment = 0x0315;
constexpr std::uint16_t kBeyondEnd = 0x2105;
constexpr std::uint16_t kTypeMismatch = 0x2107;
} // namespace extended

struct CipRequest {
    std::uint8_t service = 0;
    ByteView path;
    ByteView data;
};

/// Looks into `message`, which must outlive the result. Nothing if the path is cut short.
std::optional<CipRequest> decodeCipRequest(ByteView message);

struct CipReply {
    std::uint8_t service = 0; ///< of the request; the reply flag is added on the wire
    std::uint8_t general = status::kSuccess;
    std::vector<std::uint16_t> extended;
    Bytes data;
};

CipReply success(std::uint8_t service, Bytes data = {});
CipReply refusal(std::uint8_t service, std::uint8_t general);
CipReply refusal(std::uint8_t service, std::uint8_t general, std::uint16_t extended);

/// Reply service, reserved byte, general status and size of the extended status.
constexpr std::size_t kReplyHeaderSize = 4;

Bytes encodeCipReply(const CipReply& reply);

} // namespace plcsim
