#include "server.h"

#include "link.h"

#include <algorithm>
#include <utility>

namespace plcsim {

namespace {

using asio::ip::tcp;
using asio::ip::udp;

constexpr auto kPauseAfterFailedAccept = std::chrono::milliseconds(50);

SocketAddress reported(const tcp::endpoint& endpoint)
{
    SocketAddress address;
    if (endpoint.address().is_v4())
        address.ip = endpoint.address().to_v4().to_bytes();
    address.port = endpoint.port();
    return address;
}

/// The commands that need no link: they ask who is there.
bool servedByDatagram(std::uint16_t commandCode)
{
    return commandCode == command::kListIdentity || commandCode == command::kListServices ||
           commandCode == command::kListInterfaces;
}

} // namespace

Server::Server(asio::io_context& context, const tcp::endpoint& endpoint, Controller& controller,
               Options options)
    : controller_(controller), options_(options), acceptor_(context, endpoint),
      endpoint_(acceptor_.local_endpoint()), datagrams_(context), scanTimer_(context),
      acceptTimer_(context), offlineTimer_(context)
{
    controller_.listensOn(reported(endpoint_));
    accept();
    scanLater();
    openDatagrams();
}

Server::~Server()
{
    stop();
}

void Server::dropLinks()
{
    const auto links = links_; // closing a link takes it out of the map
    for (const auto& [id, link] : links)
        link->close();
}

void Server::stop()
{
    asio::error_code ignored;
    acceptor_.close(ignored);
    datagrams_.close(ignored);
    scanTimer_.cancel();
    acceptTimer_.cancel();
    offlineTimer_.cancel();
    dropLinks();
}

void Server::accept()
{
    acceptor_.async_accept([this](const asio::error_code& error, tcp::socket socket) {
        if (error == asio::error::operation_aborted)
            return;
        if (error)
            return acceptLater();
        const LinkId id = nextLink_++;
        const auto link = std::make_shared<Link>(std::move(socket), id, *this);
        links_.emplace(id, link);
        link->start();
        accept();
    });
}

/// Out of descriptors, say, an accept fails at once and again; the pause keeps others served.
void Server::acceptLater()
{
    acceptTimer_.expires_after(kPauseAfterFailedAccept);
    acceptTimer_.async_wait([this](const asio::error_code& error) {
        if (!error)
            accept();
    });
}

void Server::goOffline(Duration lasting)
{
    asio::error_code ignored;
    acceptor_.close(ignored);
    acceptTimer_.cancel();
    dropLinks();
    offlineTimer_.expires_after(lasting);
    offlineTimer_.async_wait([this](const asio::error_code& error) {
        if (!error)
            comeOnline();
    });
}

void Server::comeOnline()
{
    if (!isOffline())
        return;
    asio::error_code error;
    acceptor_.open(endpoint_.protocol(), error);
    acceptor_.set_option(tcp::acceptor::reuse_address(true), error);
    acceptor_.bind(endpoint_, error);
    if (!error)
        acceptor_.listen(asio::socket_base::max_listen_connections, error);
    if (error)
        return goOffline(kPauseAfterFailedAccept); // somebody took the port; it may be free again
    offlineTimer_.cancel();
    accept();
}

void Server::scanLater()
{
    scanTimer_.expires_after(options_.scanTime);
    scanTimer_.async_wait([this](const asio::error_code& error) {
        if (error)
            return;
        controller_.scan(Clock::now());
        scanLater();
    });
}

/// ListIdentity is asked by broadcast as well. A machine on which the port is taken for datagrams
/// does without.
void Server::openDatagrams()
{
    asio::error_code error;
    const udp::endpoint local(endpoint_.address(), endpoint_.port());
    datagrams_.open(local.protocol(), error);
    if (!error)
        datagrams_.bind(local, error);
    if (!error)
        receiveDatagram();
}

void Server::receiveDatagram()
{
    datagrams_.async_receive_from(asio::buffer(datagram_), datagramSender_,
                                  [this](const asio::error_code& error, std::size_t size) {
                                      if (error == asio::error::operation_aborted)
                                          return;
                                      if (!error)
                                          answerDatagram(size);
                                      receiveDatagram();
                                  });
}

void Server::answerDatagram(std::size_t size)
{
    FrameAssembler assembler;
    assembler.feed(ByteView(datagram_.data(), size));
    const std::optional<Frame> request = assembler.next();
    if (request && servedByDatagram(request->command) && !isOffline() && !ignores_(*request)) {
        const Controller::Outcome outcome = controller_.handle(0, *request, Clock::now());
        asio::error_code ignored;
        if (outcome.reply)
            datagrams_.send_to(asio::buffer(encodeFrame(*outcome.reply)), datagramSender_, 0,
                               ignored);
    }
}

void Server::forget(LinkId link)
{
    links_.erase(link);
    controller_.linkClosed(link);
}

} // namespace plcsim
