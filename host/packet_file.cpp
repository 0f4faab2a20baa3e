#include "packet_file.h"

#include "tag_reference.h"

#include <pcap/pcap.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

namespace panelhost {
namespace {

constexpr std::uint16_t kIpv4 = 0x0800;
constexpr std::uint16_t kVlan = 0x8100;
constexpr std::uint16_t kServiceVlan = 0x88A8;

/// Headers of the network are big-endian.
std::uint16_t bigEndian16(ByteView bytes, std::size_t at)
{
    return static_cast<std::uint16_t>(bytes.u8(at) << 8 | bytes.u8(at + 1));
}

std::uint32_t bigEndian32(ByteView bytes, std::size_t at)
{
    return static_cast<std::uint32_t>(bigEndian16(bytes, at)) << 16 | bigEndian16(bytes, at + 2);
}

ByteView behind(ByteView bytes, std::size_t count)
{
    count = std::min(count, bytes.size());
    return {bytes.data() + count, bytes.size() - count};
}

bool isSupported(int linkType)
{
    switch (linkType) {
    case DLT_EN10MB:
    case DLT_RAW:
    case DLT_IPV4:
    case DLT_LINUX_SLL:
    case DLT_LINUX_SLL2:
    case DLT_NULL:
    case DLT_LOOP: return true;
    default: return false;
    }
}

/// Skips an EtherType at typeAt, VLAN tags behind it too.
std::optional<ByteView> behindEtherType(ByteView packet, std::size_t typeAt)
{
    while (bigEndian16(packet, typeAt) == kVlan || bigEndian16(packet, typeAt) == kServiceVlan)
        typeAt += 4;
    if (bigEndian16(packet, typeAt) != kIpv4)
        return std::nullopt;
    return behind(packet, typeAt + 2);
}

/// The IPv4 packet in a packet of the network.
std::optional<ByteView> ipv4In(ByteView packet, int linkType)
{
    constexpr std::size_t kSll2Header = 20;
    constexpr std::size_t kNullHeader = 4;
    switch (linkType) {
    case DLT_EN10MB: return behindEtherType(packet, 12);
    case DLT_LINUX_SLL: return behindEtherType(packet, 14);
    case DLT_LINUX_SLL2:
        if (bigEndian16(packet, 0) != kIpv4)
            return std::nullopt;
        return behind(packet, kSll2Header);
    case DLT_NULL:
    case DLT_LOOP: return behind(packet, kNullHeader);
    default: return packet;
    }
}

/// Fills all but the time; false when the packet carries no whole TCP header over IPv4.
bool parseTcp(ByteView ip, TcpSegment* segment)
{
    constexpr std::uint8_t kTcp = 6;
    constexpr std::size_t kLeastHeader = 20;
    if (ip.u8(0) >> 4 != 4 || ip.u8(9) != kTcp)
        return false;
    // Pieces of an IP packet: EtherNet/IP never needs them.
    constexpr std::uint16_t kMoreFragmentsOrOffset = 0x3FFF;
    if ((bigEndian16(ip, 6) & kMoreFragmentsOrOffset) != 0)
        return false;
    const std::size_t ipHeader = 4u * (ip.u8(0) & 0x0Fu);
    const ByteView tcp = behind(ip, ipHeader);
    const std::size_t tcpHeader = 4u * (tcp.u8(12) >> 4);
    // Length 0 is what a network card that cuts long packets itself leaves there.
    const std::size_t announced =
        bigEndian16(ip, 2) != 0 ? std::size_t{bigEndian16(ip, 2)} : ip.size();
    if (ipHeader < kLeastHeader || tcpHeader < kLeastHeader || tcp.size() < tcpHeader ||
        announced < ipHeader + tcpHeader)
        return false;

    segment->from = {bigEndian32(ip, 12), bigEndian16(tcp, 0)};
    segment->to = {bigEndian32(ip, 16), bigEndian16(tcp, 2)};
    segment->sequence = bigEndian32(tcp, 4);
    const std::uint8_t flags = tcp.u8(13);
    segment->fin = (flags & 0x01) != 0;
    segment->syn = (flags & 0x02) != 0;
    segment->reset = (flags & 0x04) != 0;
    segment->ack = (flags & 0x10) != 0;
    // Short packets are padded on Ethernet: what follows the announced length is no payload.
    const std::size_t payload = announced - ipHeader - tcpHeader;
    const ByteView captured = behind(tcp, tcpHeader);
    segment->payload = ByteView(captured.data(), std::min(captured.size(), payload));
    segment->cutOff = payload - segment->payload.size();
    return true;
}

} // namespace

std::string TcpEnd::addressText() const
{
    char text[20];
    std::snprintf(text, sizeof text, "%u.%u.%u.%u", address >> 24, address >> 16 & 0xFF,
                  address >> 8 & 0xFF, address & 0xFF);
    return text;
}

std::string TcpEnd::text() const
{
    return addressText() + ":" + std::to_string(port);
}

PacketFile::PacketFile(std::string file) : file_(std::move(file))
{
    std::FILE* stream = std::fopen(file_.c_str(), "rb");
    if (stream == nullptr)
        throw UsageError(file_ + ": cannot be read: " + std::strerror(errno));
    char why[PCAP_ERRBUF_SIZE] = "";
    handle_ = pcap_fopen_offline(stream, why);
    if (handle_ == nullptr) {
        std::fclose(stream);
        throw UsageError(file_ + ": not a capture file that can be read: " + why);
    }
    linkType_ = pcap_datalink(handle_);
    if (isSupported(linkType_))
        return;
    const char* name = pcap_datalink_val_to_description(linkType_);
    const std::string network = name != nullptr ? name : "type " + std::to_string(linkType_);
    pcap_close(handle_);
    throw UsageError(file_ + ": captured on a network of another kind (" + network +
                     "); capture on Ethernet, or with --capture");
}

PacketFile::~PacketFile()
{
    pcap_close(handle_);
}

bool PacketFile::next(TcpSegment* segment)
{
    pcap_pkthdr* header = nullptr;
    const u_char* bytes = nullptr;
    for (;;) {
        const int result = pcap_next_ex(handle_, &header, &bytes);
        if (result == PCAP_ERROR_BREAK)
            return false;
        if (result != 1)
            throw UsageError(file_ + ": damaged or cut off behind packet " +
                             std::to_string(packets_) + ": " + pcap_geterr(handle_));
        ++packets_;
        const auto ip = ipv4In(ByteView(bytes, header->caplen), linkType_);
        if (!ip || !parseTcp(*ip, segment))
            continue;
        segment->time = Clock::time_point(std::chrono::seconds(header->ts.tv_sec) +
                                          std::chrono::microseconds(header->ts.tv_usec));
        return true;
    }
}

} // namespace panelhost
