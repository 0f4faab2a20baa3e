// A TCP client of few words for tests that start plcsim as a program: bytes out, frames in.
#pragma once

#include "bytes.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

class RawClient {
public:
    /// `room` is what the system may keep of bytes that nobody reads; 0 leaves it to the system.
    explicit RawClient(std::uint16_t port, int room = 0)
        : socket_(::socket(AF_INET, SOCK_STREAM, 0))
    {
        if (room > 0)
            ::setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
        sockaddr_in there = {};
        there.sin_family = AF_INET;
        there.sin_port = htons(port);
        there.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(socket_, reinterpret_cast<const sockaddr*>(&there), sizeof there) != 0) {
            ::close(socket_);
            throw std::runtime_error("no link to plcsim");
        }
        waitAtMost(std::chrono::seconds(10));
    }

    ~RawClient() { ::close(socket_); }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    /// How long sending and receiving take at most.
    void waitAtMost(std::chrono::microseconds patience)
    {
        constexpr int kPerSecond = 1000000;
        const timeval time = {patience.count() / kPerSecond, patience.count() % kPerSecond};
        ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
        ::setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
    }

    /// False when the other side has closed the link.
    bool send(plcsim::ByteView bytes)
    {
        return ::send(socket_, bytes.begin(), bytes.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(bytes.size());
    }

    /// Sends as much as the link takes at once.
    std::size_t sendWithoutWaiting(plcsim::ByteView bytes)
    {
        const ssize_t sent =
            ::send(socket_, bytes.begin(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        return sent > 0 ? static_cast<std::size_t>(sent) : 0;
    }

    /// One encapsulation frame; empty at the end of the link or when none comes in time.
    plcsim::Bytes frame()
    {
        constexpr std::size_t kHeaderSize = 24;
        plcsim::Bytes bytes = take(kHeaderSize);
        if (bytes.size() < kHeaderSize)
            return {};
        const plcsim::Bytes data = take(bytes[2] + 256u * bytes[3]);
        bytes.insert(bytes.end(), data.begin(), data.end());
        return bytes;
    }

    /// As many bytes; fewer at the end of the link or when no more come in time.
    plcsim::Bytes take(std::size_t size)
    {
        plcsim::Bytes bytes(size);
        std::size_t taken = 0;
        while (taken < size) {
            const ssize_t got = ::recv(socket_, bytes.data() + taken, size - taken, 0);
            if (got <= 0)
                break;
            taken += static_cast<std::size_t>(got);
        }
        bytes.resize(taken);
        return bytes;
    }

    /// Whether the other side ends the link now, without another byte.
    bool ends()
    {
        char byte = 0;
        const ssize_t got = ::recv(socket_, &byte, 1, 0);
        return got == 0 || (got < 0 && errno == ECONNRESET);
    }

private:
    int socket_;
};
