// One TCP link to one controller: connect with a time-out, send a frame, receive whole frames.

#ifndef PANELHOST_TCP_LINK_H
#define PANELHOST_TCP_LINK_H

#include <QByteArray>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace panelhost {

using Clock = std::chrono::steady_clock;

constexpr std::uint16_t kEtherNetIpPort = 44818;

/// Lets another thread end a wait at once.
class Interrupt {
public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    /// From any thread, also from a signal handler. Stays set until clear().
    void set();
    void clear();
    int descriptor() const { return descriptor_; }

private:
    int descriptor_;
};

enum class LinkResult {
    Ok,
    TimedOut,
    Closed,    ///< the peer is gone; error() says how
    Malformed, ///< bytes that are no EtherNet/IP frame
    Interrupted,
};

/// Who ended a link.
enum class EndedBy {
    Self,
    Peer,
    PeerReset, ///< it did not say good-bye
};

class Link {
public:
    explicit Link(const Interrupt* interrupt) : interrupt_(interrupt) {}
    ~Link() { close(); }
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    /// Resolves and connects, replacing an open link.
    LinkResult connect(const std::string& host, std::uint16_t port, Clock::time_point deadline);
    void close();
    bool isOpen() const { return socket_ >= 0; }
    int descriptor() const { return socket_; }

    LinkResult send(const char* frame, std::size_t size, Clock::time_point deadline);

    /// Receives one frame, as long as its header announces, into frame.
    LinkResult receive(QByteArray* frame, Clock::time_point deadline);

    /// In words, after any result but Ok.
    const std::string& error() const { return error_; }
    EndedBy endedBy() const { return endedBy_; }
    /// The own end's address, for captures.
    std::uint32_t localAddress() const { return localAddress_; }
    std::uint32_t remoteAddress() const { return remoteAddress_; }
    std::uint16_t localPort() const { return localPort_; }
    std::uint16_t remotePort() const { return remotePort_; }

private:
    LinkResult waitFor(short events, Clock::time_point deadline);
    LinkResult fill(Clock::time_point deadline);
    LinkResult closedBy(int systemError);
    void noteAddresses();

    const Interrupt* interrupt_;
    int socket_ = -1;
    std::string error_;
    EndedBy endedBy_ = EndedBy::Self;
    std::vector<char> buffer_;
    std::size_t begin_ = 0; ///< first byte in buffer_ not yet given out
    std::size_t end_ = 0;   ///< one past the last byte received
    std::uint32_t localAddress_ = 0;
    std::uint32_t remoteAddress_ = 0;
    std::uint16_t localPort_ = 0;
    std::uint16_t remotePort_ = 0;
};

/// Waits until the interrupt is set, the peer closes one of the links, or the time is over. The answer
/// lists the places of the closed links.
std::vector<std::size_t> waitForHangUp(const Interrupt& interrupt,
                                       const std::vector<const Link*>& links,
                                       Clock::time_point deadline);

} // namespace panelhost

#endif // PANELHOST_TCP_LINK_H
