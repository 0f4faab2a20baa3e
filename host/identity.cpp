#include "identity.h"

namespace panelhost {

QByteArray listIdentityRequest()
{
    QByteArray request(static_cast<int>(frame::kHeaderSize), '\0');
    request[static_cast<int>(frame::kCommand)] = static_cast<char>(frame::kListIdentity);
    return request;
}

std::optional<Identity> parseIdentity(ByteView reply)
{
    constexpr std::uint16_t kIdentityItem = 0x000C;
    // Behind the header: item count, item type and length, protocol version and socket address.
    constexpr std::size_t kItemType = frame::kHeaderSize + 2;
    constexpr std::size_t kVendor = frame::kHeaderSize + 6 + 2 + 16;
    constexpr std::size_t kDeviceType = kVendor + 2;
    constexpr std::size_t kProductCode = kDeviceType + 2;
    constexpr std::size_t kRevision = kProductCode + 2;
    constexpr std::size_t kDeviceStatus = kRevision + 2;
    constexpr std::size_t kSerial = kDeviceStatus + 2;
    constexpr std::size_t kNameLength = kSerial + 4;

    if (reply.u16(frame::kCommand) != frame::kListIdentity || reply.u32(frame::kStatus) != 0 ||
        reply.u16(kItemType) != kIdentityItem || reply.size() <= kNameLength ||
        reply.size() < kNameLength + 1 + reply.u8(kNameLength))
        return std::nullopt;
    Identity identity;
    identity.vendor = reply.u16(kVendor);
    identity.deviceType = reply.u16(kDeviceType);
    identity.productCode = reply.u16(kProductCode);
    identity.majorRevision = reply.u8(kRevision);
    identity.minorRevision = reply.u8(kRevision + 1);
    identity.status = reply.u16(kDeviceStatus);
    identity.serial = reply.u32(kSerial);
    for (std::size_t i = 1; i <= reply.u8(kNameLength); ++i) {
        // A name is for people: nothing in it may move the cursor.
        const std::uint8_t c = reply.u8(kNameLength + i);
        identity.product.push_back(c >= 0x20 && c < 0x7F ? static_cast<char>(c) : '?');
    }
    return identity;
}

std::string vendorName(std::uint16_t vendor)
{
    return vendor == 1 ? "Rockwell Automation/Allen-Bradley" : "vendor " + std::to_string(vendor);
}

std::string deviceTypeName(std::uint16_t deviceType)
{
    switch (deviceType) {
    case 0x0C: return "communications adapter";
    case 0x0E: return "programmable logic controller";
    case 0x18: return "human-machine interface";
    default: return "device type " + std::to_string(deviceType);
    }
}

} // namespace panelhost
