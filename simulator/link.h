// One TCP link: bytes in, frames to the controller, answers out in order and in their time.
#pragma once

#include "server.h"

#include <deque>

namespace plcsim {

class Link : public std::enable_shared_from_this<Link> {
public:
    Link(asio::ip::tcp::socket socket, LinkId id, Server& server);

    void start();
    void close();

private:
    struct Departure {
        TimePoint due;
        Bytes bytes;
        bool closeLink = false;
    };

    bool mayTakeMore() const;
    void read();
    void proceed();
    void serveFrames();
    void serve(const Frame& request);
    void answer(const Frame& request, const Controller::Outcome& outcome);
    void queue(Delivery delivery);
    void sendWhenDue();
    void waitUntilDue();
    void sendFirst();
    void firstLeft(const asio::error_code& error);
    void watchIdleness();

    asio::ip::tcp::socket socket_;
    LinkId id_;
    Server& server_;
    FrameAssembler assembler_;
    std::array<std::uint8_t, 4096> incoming_ = {};
    std::deque<Departure> departures_; ///< by due time
    bool sending_ = false;
    bool reading_ = false;
    bool ending_ = false; ///< nothing is served any more once the last answer is on its way
    TimePoint lastHeardFrom_;
    asio::steady_timer departureTimer_;
    asio::steady_timer idleTimer_;
};

} // namespace plcsim
