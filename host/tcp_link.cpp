#include "tcp_link.h"

#include "frame_view.h"

#include <asio.hpp>

#include <cerrno>
#include <cstring>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace panelhost {
namespace {

/// No reply over a connection of 504 bytes comes near this; more is not EtherNet/IP, or not sane.
constexpr std::size_t kMaxFrameSize = 4096;

int millisecondsUntil(Clock::time_point deadline)
{
    using std::chrono::milliseconds;
    const auto left =
        std::chrono::duration_cast<milliseconds>(deadline - Clock::now() + milliseconds(1));
    return left.count() > 0 ? static_cast<int>(left.count()) : 0;
}

} // namespace

Interrupt::Interrupt() : descriptor_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
{
    if (descriptor_ < 0)
        throw std::runtime_error(std::string("eventfd: ") + std::strerror(errno));
}

Interrupt::~Interrupt()
{
    ::close(descriptor_);
}

void Interrupt::set()
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(descriptor_, &one, sizeof one);
}

void Interrupt::clear()
{
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t taken = ::read(descriptor_, &count, sizeof count);
}

LinkResult Link::connect(const std::string& host, std::uint16_t port, Clock::time_point deadline)
{
    close();
    endedBy_ = EndedBy::Self;
    buffer_.resize(kMaxFrameSize);

    asio::io_context context;
    asio::error_code error;
    asio::ip::tcp::resolver resolver(context);
    const auto addresses = resolver.resolve(asio::ip::tcp::v4(), host, std::to_string(port), error);
    if (error) {
        error_ = "host name '" + host + "' not found";
        return LinkResult::Closed;
    }
    asio::ip::tcp::socket socket(context);
    bool finished = false;
    asio::async_connect(socket, addresses,
                        [&](const asio::error_code& result, const asio::ip::tcp::endpoint&) {
                            error = result;
                            finished = true;
                        });
    asio::posix::stream_descriptor interrupted(context, ::dup(interrupt_->descriptor()));
    bool stopped = false;
    interrupted.async_wait(asio::posix::stream_descriptor::wait_read,
                           [&](const asio::error_code& result) { stopped = !result; });
    while (!finished && !stopped && Clock::now() < deadline)
        context.run_one_until(deadline);
    if (stopped) {
        error_ = "interrupted";
        return LinkResult::Interrupted;
    }
    if (!finished) {
        error_ = "no answer to the connection attempt: wrong address, or the controller is off";
        return LinkResult::TimedOut;
    }
    if (error)
        return closedBy(error.value());
    interrupted.cancel();
    socket.non_blocking(true, error);
    socket.set_option(asio::ip::tcp::no_delay(true), error);
    socket_ = socket.release();
    noteAddresses();
    return LinkResult::Ok;
}

void Link::noteAddresses()
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size) == 0) {
        localAddress_ = ntohl(address.sin_addr.s_addr);
        localPort_ = ntohs(address.sin_port);
    }
    size = sizeof address;
    if (getpeername(socket_, reinterpret_cast<sockaddr*>(&address), &size) == 0) {
        remoteAddress_ = ntohl(address.sin_addr.s_addr);
        remotePort_ = ntohs(address.sin_port);
    }
}

void Link::close()
{
    if (socket_ >= 0)
        ::close(socket_);
    socket_ = -1;
    begin_ = end_ = 0;
}

LinkResult Link::closedBy(int systemError)
{
    endedBy_ = systemError == 0 ? EndedBy::Peer : EndedBy::PeerReset;
    switch (systemError) {
    case 0: error_ = "the controller closed the link"; break;
    case ECONNREFUSED:
        error_ = "connection refused: nothing listens on that port of the host";
        break;
    case ECONNRESET:
    case EPIPE: error_ = "the controller reset the link"; break;
    case EHOSTUNREACH:
    case ENETUNREACH: error_ = "no route to the host: check address, cable and network"; break;
    default: error_ = std::strerror(systemError); break;
    }
    return LinkResult::Closed;
}

LinkResult Link::waitFor(short events, Clock::time_point deadline)
{
    pollfd descriptors[2] = {{socket_, events, 0}, {interrupt_->descriptor(), POLLIN, 0}};
    for (;;) {
        const int ready = poll(descriptors, 2, millisecondsUntil(deadline));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready < 0)
            return closedBy(errno);
        if (descriptors[1].revents != 0) {
            error_ = "interrupted";
            return LinkResult::Interrupted;
        }
        if (ready > 0)
            return LinkResult::Ok;
        error_ = "no answer";
        return LinkResult::TimedOut;
    }
}

LinkResult Link::send(const char* frame, std::size_t size, Clock::time_point deadline)
{
    if (socket_ < 0)
        return closedBy(0);
    while (size > 0) {
        const ssize_t sent = ::send(socket_, frame, size, MSG_NOSIGNAL);
        if (sent > 0) {
            frame += sent;
            size -= static_cast<std::size_t>(sent);
            continue;
        }
        if (errno != EAGAIN && errno != EINTR)
            return closedBy(errno);
        const LinkResult writable = waitFor(POLLOUT, deadline);
        if (writable != LinkResult::Ok)
            return writable;
    }
    return LinkResult::Ok;
}

LinkResult Link::fill(Clock::time_point deadline)
{
    if (begin_ > 0) {
        std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    for (;;) {
        const LinkResult readable = waitFor(POLLIN, deadline);
        if (readable != LinkResult::Ok)
            return readable;
        const ssize_t received = ::recv(socket_, buffer_.data() + end_, buffer_.size() - end_, 0);
        if (received > 0) {
            end_ += static_cast<std::size_t>(received);
            return LinkResult::Ok;
        }
        if (received == 0)
            return closedBy(0);
        if (errno != EAGAIN && errno != EINTR)
            return closedBy(errno);
    }
}

LinkResult Link::receive(QByteArray* frame, Clock::time_point deadline)
{
    if (socket_ < 0)
        return closedBy(0);
    for (;;) {
        const ByteView received(buffer_.data() + begin_, end_ - begin_);
        if (received.size() >= frame::kHeaderSize) {
            const std::size_t size = frame::kHeaderSize + received.u16(frame::kLength);
            if (size > kMaxFrameSize) {
                error_ = "not an EtherNet/IP device: it sends something else";
                return LinkResult::Malformed;
            }
            if (received.size() >= size) {
                frame->resize(static_cast<int>(size));
                std::memcpy(frame->data(), received.data(), size);
                begin_ += size;
                return LinkResult::Ok;
            }
        }
        const LinkResult more = fill(deadline);
        if (more != LinkResult::Ok)
            return more;
    }
}

/// What arrives unasked, such as a late answer, is no reason to wake up: the next exchange drops it.
std::vector<std::size_t> waitForHangUp(const Interrupt& interrupt,
                                       const std::vector<const Link*>& links,
                                       Clock::time_point deadline)
{
    std::vector<pollfd> descriptors = {{interrupt.descriptor(), POLLIN, 0}};
    for (const Link* link : links)
        descriptors.push_back({link->descriptor(), POLLRDHUP, 0});
    poll(descriptors.data(), descriptors.size(), millisecondsUntil(deadline));
    std::vector<std::size_t> hungUp;
    for (std::size_t i = 1; i < descriptors.size(); ++i)
        if (descriptors[i].revents != 0)
            hungUp.push_back(i - 1);
    return hungUp;
}

} // namespace panelhost
