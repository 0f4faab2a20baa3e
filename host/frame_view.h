// A read-only view of the bytes of one EtherNet/IP frame, and the byte positions the host looks at.
// Knows nothing of meaning: that is screening.h.

#ifndef PANELHOST_FRAME_VIEW_H
#define PANELHOST_FRAME_VIEW_H

#include <QByteArray>

#include <cstddef>
#include <cstdint>

namespace panelhost {

/// Little-endian access to bytes that somebody else owns. Reading past the end gives 0.
class ByteView {
public:
    ByteView() = default;
    ByteView(const void* data, std::size_t size)
        : data_(static_cast<const std::uint8_t*>(data)), size_(size)
    {
    }
    explicit ByteView(const QByteArray& bytes)
        : ByteView(bytes.constData(), static_cast<std::size_t>(bytes.size()))
    {
    }

    const std::uint8_t* data() const { return data_; }
    std::size_t size() const { return size_; }
    std::uint8_t u8(std::size_t at) const { return at < size_ ? data_[at] : std::uint8_t{0}; }
    std::uint16_t u16(std::size_t at) const
    {
        return static_cast<std::uint16_t>(u8(at) | u8(at + 1) << 8);
    }
    std::uint32_t u32(std::size_t at) const
    {
        return static_cast<std::uint32_t>(u16(at)) | static_cast<std::uint32_t>(u16(at + 2)) << 16;
    }

private:
    const std::uint8_t* data_ = nullptr;
    std::size_t size_ = 0;
};

namespace frame {

// Encapsulation header.
constexpr std::size_t kCommand = 0;
constexpr std::size_t kLength = 2;
constexpr std::size_t kSessionHandle = 4;
constexpr std::size_t kStatus = 8;
constexpr std::size_t kOptions = 20;
constexpr std::size_t kHeaderSize = 24;

constexpr std::uint16_t kListServices = 0x0004;
constexpr std::uint16_t kListIdentity = 0x0063;
constexpr std::uint16_t kListInterfaces = 0x0064;
constexpr std::uint16_t kRegisterSession = 0x0065;
constexpr std::uint16_t kUnRegisterSession = 0x0066;
constexpr std::uint16_t kSendRRData = 0x006F;
constexpr std::uint16_t kSendUnitData = 0x0070;

// RegisterSession.
constexpr std::size_t kProtocolVersion = 24;
constexpr std::size_t kRegisterSessionSize = 28;

// Common packet format, shared by SendRRData and SendUnitData.
constexpr std::size_t kItemCount = 30;
constexpr std::size_t kAddressItemType = 32;
constexpr std::size_t kAddressItemLength = 34;
constexpr std::uint16_t kNullAddress = 0x0000;
constexpr std::uint16_t kConnectedAddress = 0x00A1;
constexpr std::uint16_t kUnconnectedData = 0x00B2;
constexpr std::uint16_t kConnectedData = 0x00B1;

// SendRRData: null address, unconnected data, here always a Forward Open.
namespace unconnected {
constexpr std::size_t kDataItemType = 36;
constexpr std::size_t kDataItemLength = 38;
constexpr std::size_t kService = 40;
constexpr std::size_t kGeneralStatus = 42;
constexpr std::size_t kExtendedSize = 43;
constexpr std::size_t kReplyData = 44;
} // namespace unconnected

namespace forward_open {
constexpr std::size_t kRequestTriad = 56; ///< connection serial, vendor, originator serial
constexpr std::size_t kTriadSize = 8;
constexpr std::size_t kReplyTargetToOriginatorId = 48;
constexpr std::size_t kReplyTriad = 52;
constexpr std::size_t kReplySize = 70;
} // namespace forward_open

// SendUnitData: connected address, connected data.
namespace connected {
constexpr std::size_t kConnectionId = 36;
constexpr std::size_t kDataItemType = 40;
constexpr std::size_t kDataItemLength = 42;
constexpr std::size_t kSequenceCount = 44;
constexpr std::size_t kService = 46;
constexpr std::size_t kRequestPathWords = 47;
constexpr std::size_t kRequestPath = 48;
constexpr std::size_t kGeneralStatus = 48;
constexpr std::size_t kExtendedSize = 49;
constexpr std::size_t kReplyData = 50; ///< extended status words, or the data type of a read
constexpr std::size_t kValues = 52;
} // namespace connected

// CIP services.
constexpr std::uint8_t kReadTag = 0x4C;
constexpr std::uint8_t kWriteTagFragmented = 0x53;
constexpr std::uint8_t kForwardOpen = 0x54;
constexpr std::uint8_t kReplyBit = 0x80;

} // namespace frame
} // namespace panelhost

#endif // PANELHOST_FRAME_VIEW_H
