#include "capture.h"

#include <pcap/pcap.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <stdexcept>

namespace panelhost {
namespace {

constexpr std::uint8_t kFin = 0x01;
constexpr std::uint8_t kSyn = 0x02;
constexpr std::uint8_t kReset = 0x04;
constexpr std::uint8_t kPush = 0x08;
constexpr std::uint8_t kAck = 0x10;

constexpr std::size_t kIpHeader = 20;
constexpr std::size_t kTcpHeader = 20;

using Packet = std::vector<std::uint8_t>;

void put16(Packet* packet, std::size_t at, std::uint32_t value)
{
    (*packet)[at] = static_cast<std::uint8_t>(value >> 8);
    (*packet)[at + 1] = static_cast<std::uint8_t>(value);
}

void put32(Packet* packet, std::size_t at, std::uint32_t value)
{
    put16(packet, at, value >> 16);
    put16(packet, at + 2, value & 0xFFFF);
}

/// Adds bytes to an Internet checksum, as big-endian words.
std::uint32_t addWords(std::uint32_t sum, const Packet& packet, std::size_t begin, std::size_t end)
{
    for (std::size_t i = begin; i < end; i += 2)
        sum += static_cast<std::uint32_t>(packet[i] << 8 | (i + 1 < end ? packet[i + 1] : 0));
    return sum;
}

std::uint32_t folded(std::uint32_t sum)
{
    while (sum > 0xFFFF)
        sum = (sum & 0xFFFF) + (sum >> 16);
    return ~sum & 0xFFFF;
}

struct End {
    std::uint32_t address;
    std::uint16_t port;
};

Packet tcpPacket(const End& from, const End& to, std::uint32_t sequence, std::uint32_t acknowledged,
                 std::uint8_t flags, ByteView payload)
{
    constexpr std::uint32_t kTcp = 6;
    const std::size_t size = kIpHeader + kTcpHeader + payload.size();
    Packet packet(kIpHeader + kTcpHeader);
    packet[0] = 0x45; // IPv4, five words of header
    put16(&packet, 2, static_cast<std::uint32_t>(size));
    packet[8] = 64; // time to live
    packet[9] = kTcp;
    put32(&packet, 12, from.address);
    put32(&packet, 16, to.address);
    put16(&packet, 10, folded(addWords(0, packet, 0, kIpHeader)));

    put16(&packet, kIpHeader, from.port);
    put16(&packet, kIpHeader + 2, to.port);
    put32(&packet, kIpHeader + 4, sequence);
    put32(&packet, kIpHeader + 8, acknowledged);
    packet[kIpHeader + 12] = 0x50; // five words of header
    packet[kIpHeader + 13] = flags;
    put16(&packet, kIpHeader + 14, 0xFFFF); // window
    if (payload.size() > 0)
        packet.insert(packet.end(), payload.data(), payload.data() + payload.size());
    const auto tcpLength = static_cast<std::uint32_t>(kTcpHeader + payload.size());
    const std::uint32_t pseudoHeader = addWords(kTcp + tcpLength, packet, 12, kIpHeader);
    put16(&packet, kIpHeader + 16, folded(addWords(pseudoHeader, packet, kIpHeader, size)));
    return packet;
}

timeval timeOfDay()
{
    using std::chrono::microseconds;
    const auto now = std::chrono::duration_cast<microseconds>(
        std::chrono::system_clock::now().time_since_epoch());
    timeval time{};
    time.tv_sec = static_cast<time_t>(now.count() / 1000000);
    time.tv_usec = static_cast<suseconds_t>(now.count() % 1000000);
    return time;
}

} // namespace

Capture::Capture(const std::string& file)
{
    constexpr int kMaxPacket = 65535;
    handle_ = pcap_open_dead(DLT_RAW, kMaxPacket);
    dumper_ = handle_ != nullptr ? pcap_dump_open(handle_, file.c_str()) : nullptr;
    if (dumper_ != nullptr)
        return;
    const std::string why = handle_ != nullptr ? pcap_geterr(handle_) : "out of memory";
    if (handle_ != nullptr)
        pcap_close(handle_);
    throw std::runtime_error("no capture: " + why);
}

Capture::~Capture()
{
    pcap_dump_close(dumper_);
    pcap_close(handle_);
}

void Capture::segment(const Link& link, bool sent, std::uint8_t flags, ByteView payload)
{
    Positions& positions = positions_[{link.localPort(), link.remoteAddress()}];
    const End own{link.localAddress(), link.localPort()};
    const End peer{link.remoteAddress(), link.remotePort()};
    std::uint32_t& sequence = sent ? positions.own : positions.peer;
    const std::uint32_t acknowledged = sent ? positions.peer : positions.own;
    const Packet packet = tcpPacket(sent ? own : peer, sent ? peer : own, sequence,
                                    (flags & kAck) != 0 ? acknowledged : 0, flags, payload);
    sequence += static_cast<std::uint32_t>(payload.size()) + ((flags & (kSyn | kFin)) != 0 ? 1 : 0);

    pcap_pkthdr header{};
    header.ts = timeOfDay();
    header.caplen = header.len = static_cast<bpf_u_int32>(packet.size());
    pcap_dump(reinterpret_cast<u_char*>(dumper_), &header, packet.data());
    // A capture made to catch a rare fault is worth most when the panel died with it.
    pcap_dump_flush(dumper_);
}

void Capture::opened(const std::string&, const Link& link)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    positions_[{link.localPort(), link.remoteAddress()}] = Positions();
    segment(link, true, kSyn, ByteView());
    segment(link, false, kSyn | kAck, ByteView());
    segment(link, true, kAck, ByteView());
}

void Capture::closed(const std::string&, const Link& link)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (link.endedBy() == EndedBy::PeerReset) {
        segment(link, false, kReset | kAck, ByteView());
        return;
    }
    const bool selfFirst = link.endedBy() == EndedBy::Self;
    segment(link, selfFirst, kFin | kAck, ByteView());
    segment(link, !selfFirst, kFin | kAck, ByteView());
    segment(link, selfFirst, kAck, ByteView());
}

void Capture::frame(const std::string&, const Link& link, bool sent, ByteView bytes)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    segment(link, sent, kPush | kAck, bytes);
}

Log::Log(const std::string& file) : file_(file, std::ios::app)
{
    if (!file_)
        throw std::runtime_error(file + ": cannot be written");
}

void Log::note(const std::string& station, const std::string& what)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    file_ << utcTime() << ' ' << station << ": " << what << std::endl;
}

void Log::opened(const std::string& station, const Link&)
{
    note(station, "link opened");
}

void Log::closed(const std::string& station, const Link&)
{
    note(station, "link closed");
}

void TrafficFan::opened(const std::string& station, const Link& link)
{
    for (const auto& listener : listeners_)
        listener->opened(station, link);
}

void TrafficFan::closed(const std::string& station, const Link& link)
{
    for (const auto& listener : listeners_)
        listener->closed(station, link);
}

void TrafficFan::frame(const std::string& station, const Link& link, bool sent, ByteView bytes)
{
    for (const auto& listener : listeners_)
        listener->frame(station, link, sent, bytes);
}

void TrafficFan::note(const std::string& station, const std::string& what)
{
    for (const auto& listener : listeners_)
        listener->note(station, what);
}

std::string utcTime()
{
    const timeval now = timeOfDay();
    return utcTime(std::chrono::seconds(now.tv_sec) + std::chrono::microseconds(now.tv_usec));
}

std::string utcTime(std::chrono::microseconds since1970)
{
    const auto whole = std::chrono::duration_cast<std::chrono::seconds>(since1970);
    const time_t seconds = whole.count();
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 40> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text.data() + length, text.size() - length, ".%03dZ",
                  static_cast<int>((since1970 - whole).count() / 1000));
    return text.data();
}

} // namespace panelhost
