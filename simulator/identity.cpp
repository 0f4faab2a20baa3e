#include "identity.h"

#include "encapsulation.h"

namespace plcsim {

namespace {

constexpr std::uint16_t kDeviceStatus = 0x0034; // owned by nobody, run mode, no fault
constexpr std::uint8_t kStateOperational = 3;
constexpr std::size_t kAttributes = 7;

void appendShortString(const std::string& text, Bytes& bytes)
{
    ByteWriter(bytes).u8(static_cast<std::uint8_t>(text.size())).append(std::string_view(text));
}

Bytes attribute(const ControllerIdentity& identity, std::size_t number)
{
    Bytes bytes;
    ByteWriter writer(bytes);
    switch (number) {
    case 1: writer.u16(identity.vendor); break;
    case 2: writer.u16(identity.deviceType); break;
    case 3: writer.u16(identity.productCode); break;
    case 4: writer.u8(identity.majorRevision).u8(identity.minorRevision); break;
    case 5: writer.u16(kDeviceStatus); break;
    case 6: writer.u32(identity.serial); break;
    case 7: appendShortString(identity.name, bytes); break;
    default: break;
    }
    return bytes;
}

Bytes allAttributes(const ControllerIdentity& identity)
{
    Bytes bytes;
    for (std::size_t number = 1; number <= kAttributes; ++number)
        ByteWriter(bytes).append(attribute(identity, number));
    return bytes;
}

/// The socket address in an identity item is big-endian, as sockaddr_in is.
void appendSocketAddress(const SocketAddress& address, ByteWriter& writer)
{
    constexpr std::uint8_t kAddressFamilyInternet = 2;
    writer.u8(0).u8(kAddressFamilyInternet);
    writer.u8(static_cast<std::uint8_t>(address.port >> 8));
    writer.u8(static_cast<std::uint8_t>(address.port & 0xFF));
    writer.append(ByteView(address.ip.data(), address.ip.size()));
    writer.little(0, 8);
}

} // namespace

Bytes listIdentityData(const ControllerIdentity& identity, const SocketAddress& address)
{
    Bytes item;
    ByteWriter itemWriter(item);
    itemWriter.u16(kProtocolVersion);
    appendSocketAddress(address, itemWriter);
    itemWriter.append(allAttributes(identity)).u8(kStateOperational);

    Bytes data;
    ByteWriter(data)
        .u16(1)
        .u16(item_type::kListIdentity)
        .u16(static_cast<std::uint16_t>(item.size()))
        .append(item);
    return data;
}

Bytes listServicesData()
{
    constexpr std::uint16_t kCipOverTcp = 0x0020;
    constexpr std::size_t kServiceNameSize = 16;
    std::string name = "Communications";
    name.resize(kServiceNameSize);

    Bytes data;
    ByteWriter(data)
        .u16(1)
        .u16(item_type::kListServices)
        .u16(static_cast<std::uint16_t>(2 + 2 + kServiceNameSize))
        .u16(kProtocolVersion)
        .u16(kCipOverTcp)
        .append(std::string_view(name));
    return data;
}

CipReply identityService(const CipRequest& request, const Path& path,
                         const ControllerIdentity& identity)
{
    if (path.size() < 2 || path[1].kind != SegmentKind::Instance)
        return refusal(request.service, status::kPathSegmentError);
    if (path[1].value != 1)
        return refusal(request.service, status::kPathDestinationUnknown);
    if (request.service == service::kGetAttributesAll)
        return success(request.service, allAttributes(identity));
    if (request.service != service::kGetAttributeSingle)
        return refusal(request.service, status::kServiceNotSupported);
    if (path.size() != 3 || path[2].kind != SegmentKind::Attribute)
        return refusal(request.service, status::kPathSegmentError);
    if (path[2].value < 1 || path[2].value > kAttributes)
        return refusal(request.service, status::kAttributeNotSupported);
    return success(request.service, attribute(identity, path[2].value));
}

} // namespace plcsim
