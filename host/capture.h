// Keeps what goes over the links: as a capture that Wireshark opens, and as a log in plain words.

#ifndef PANELHOST_CAPTURE_H
#define PANELHOST_CAPTURE_H

#include "traffic.h"

#include <chrono>
#include <cstdint>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

struct pcap;
struct pcap_dumper;

namespace panelhost {

/// Writes a libpcap file of raw IPv4 packets. The frames are real; the TCP segments around them are
/// made up, one segment per frame, so that no privilege is needed to capture.
class Capture : public Traffic {
public:
    /// Throws std::runtime_error when the file cannot be written.
    explicit Capture(const std::string& file);
    ~Capture() override;

    void opened(const std::string& station, const Link& link) override;
    void closed(const std::string& station, const Link& link) override;
    void frame(const std::string& station, const Link& link, bool sent, ByteView bytes) override;
    void note(const std::string&, const std::string&) override {}

private:
    /// Next TCP sequence numbers of a link, own end first.
    struct Positions {
        std::uint32_t own = 1000;
        std::uint32_t peer = 5000;
    };

    void segment(const Link& link, bool sent, std::uint8_t flags, ByteView payload);

    std::mutex mutex_;
    pcap* handle_ = nullptr;
    pcap_dumper* dumper_ = nullptr;
    std::map<std::pair<std::uint16_t, std::uint32_t>, Positions> positions_;
};

/// One line per event, with time and station.
class Log : public Traffic {
public:
    /// Throws std::runtime_error when the file cannot be written.
    explicit Log(const std::string& file);

    void opened(const std::string& station, const Link& link) override;
    void closed(const std::string& station, const Link& link) override;
    void frame(const std::string&, const Link&, bool, ByteView) override {}
    void note(const std::string& station, const std::string& what) override;

private:
    std::mutex mutex_;
    std::ofstream file_;
};

/// Passes everything on to several listeners.
class TrafficFan : public Traffic {
public:
    void add(std::unique_ptr<Traffic> listener) { listeners_.push_back(std::move(listener)); }
    bool empty() const { return listeners_.empty(); }

    void opened(const std::string& station, const Link& link) override;
    void closed(const std::string& station, const Link& link) override;
    void frame(const std::string& station, const Link& link, bool sent, ByteView bytes) override;
    void note(const std::string& station, const std::string& what) override;

private:
    std::vector<std::unique_ptr<Traffic>> listeners_;
};

/// "2026-11-21T15:04:05.678Z": now, or at a time given since 1970.
std::string utcTime();
std::string utcTime(std::chrono::microseconds since1970);

} // namespace panelhost

#endif // PANELHOST_CAPTURE_H
