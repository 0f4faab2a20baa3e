// The TCP side: accepts links, cuts their bytes into frames and sends the answers when they are
// due.
#pragma once

#include "controller.h"
#include "delivery.h"

#include <asio.hpp>

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace plcsim {

class Link;

class Server {
public:
    struct Options {
        Duration responseTime = std::chrono::milliseconds(5);
        Duration scanTime = std::chrono::milliseconds(10);
        Duration idleTimeout = std::chrono::seconds(120); ///< of a link on which nothing arrives
    };

    /// What becomes of an answer; by default it is delivered once and at once.
    using DeliveryPlan = std::function<std::vector<Delivery>(const Frame& request, Bytes answer)>;
    /// Whether a request is to be met with silence.
    using Deafness = std::function<bool(const Frame& request)>;

    /// Listens at once; throws asio::system_error if it cannot.
    Server(asio::io_context& context, const asio::ip::tcp::endpoint& endpoint,
           Controller& controller, Options options);
    ~Server();

    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    void plan(DeliveryPlan plan) { plan_ = std::move(plan); }
    void ignore(Deafness ignores) { ignores_ = std::move(ignores); }

    asio::ip::tcp::endpoint endpoint() const { return endpoint_; }
    std::size_t linkCount() const { return links_.size(); }
    void dropLinks();

    /// Closes all links and refuses new ones for a while, as a controller without power.
    void goOffline(Duration lasting);
    void comeOnline();
    bool isOffline() const { return !acceptor_.is_open(); }

    void stop();

private:
    friend class Link;

    void accept();
    void acceptLater();
    void scanLater();
    void openDatagrams();
    void receiveDatagram();
    void answerDatagram(std::size_t size);
    void forget(LinkId link);

    Controller& controller_;
    Options options_;
    DeliveryPlan plan_;
    Deafness ignores_ = [](const Frame&) { return false; };
    asio::ip::tcp::acceptor acceptor_;
    asio::ip::tcp::endpoint endpoint_;
    asio::ip::udp::socket datagrams_;
    asio::ip::udp::endpoint datagramSender_;
    std::array<std::uint8_t, 512> datagram_ = {};
    asio::steady_timer scanTimer_;
    asio::steady_timer acceptTimer_;
    asio::steady_timer offlineTimer_;
    std::map<LinkId, std::shared_ptr<Link>> links_;
    LinkId nextLink_ = 1;
};

} // namespace plcsim
