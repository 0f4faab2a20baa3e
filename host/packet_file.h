// Takes the TCP segments out of a capture file, whatever the capture was made with. Knows nothing of
// EtherNet/IP: that is recording.h.

#ifndef PANELHOST_PACKET_FILE_H
#define PANELHOST_PACKET_FILE_H

#include "frame_view.h"
#include "tcp_link.h"

#include <cstdint>
#include <string>
#include <utility>

struct pcap;

namespace panelhost {

/// One end of a link.
struct TcpEnd {
    std::uint32_t address = 0;
    std::uint16_t port = 0;

    bool operator==(const TcpEnd& other) const
    {
        return address == other.address && port == other.port;
    }
    bool operator<(const TcpEnd& other) const
    {
        return std::make_pair(address, port) < std::make_pair(other.address, other.port);
    }
    /// "192.168.1.10:50112".
    std::string text() const;
    std::string addressText() const;
};

struct TcpSegment {
    Clock::time_point time; ///< since 1970, as everything recorded
    TcpEnd from;
    TcpEnd to;
    std::uint32_t sequence = 0;
    bool syn = false;
    bool ack = false;
    bool fin = false;
    bool reset = false;
    ByteView payload;       ///< valid until the next segment
    std::size_t cutOff = 0; ///< payload bytes behind these that the capture did not keep
};

class PacketFile {
public:
    /// Throws UsageError when file is no capture, or of a kind of network that cannot be taken apart.
    explicit PacketFile(std::string file);
    ~PacketFile();
    PacketFile(const PacketFile&) = delete;
    PacketFile& operator=(const PacketFile&) = delete;

    /// The next TCP segment over IPv4; false at the end. Throws UsageError where the file is damaged.
    bool next(TcpSegment* segment);

    std::uint64_t packets() const { return packets_; }

private:
    std::string file_;
    pcap* handle_ = nullptr;
    int linkType_ = 0;
    std::uint64_t packets_ = 0;
};

} // namespace panelhost

#endif // PANELHOST_PACKET_FILE_H
