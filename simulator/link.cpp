#include "link.h"

#include <algorithm>
#include <utility>

namespace plcsim {

namespace {

// A client that sends without ever reading is not read from any more until it takes its answers.
constexpr std::size_t kMostWaitingAnswers = 64;

} // namespace

Link::Link(asio::ip::tcp::socket socket, LinkId id, Server& server)
    : socket_(std::move(socket)), id_(id), server_(server), departureTimer_(socket_.get_executor()),
      idleTimer_(socket_.get_executor())
{
}

void Link::start()
{
    asio::error_code ignored;
    socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
    socket_.non_blocking(true, ignored);
    lastHeardFrom_ = Clock::now();
    watchIdleness();
    read();
}

void Link::close()
{
    if (!socket_.is_open())
        return;
    asio::error_code ignored;
    socket_.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
    socket_.close(ignored);
    departureTimer_.cancel();
    idleTimer_.cancel();
    server_.forget(id_);
}

bool Link::mayTakeMore() const
{
    return socket_.is_open() && !ending_ && departures_.size() < kMostWaitingAnswers;
}

void Link::read()
{
    if (reading_ || !mayTakeMore())
        return;
    reading_ = true;
    socket_.async_read_some(
        asio::buffer(incoming_),
        [self = shared_from_this()](const asio::error_code& error, std::size_t size) {
            self->reading_ = false;
            if (error)
                return self->close();
            self->lastHeardFrom_ = Clock::now();
            self->assembler_.feed(ByteView(self->incoming_.data(), size));
            self->proceed();
        });
}

/// Takes up what waited for answers to leave, and then what comes.
void Link::proceed()
{
    serveFrames();
    read();
}

void Link::serveFrames()
{
    while (mayTakeMore()) {
        const std::optional<Frame> request = assembler_.next();
        if (!request)
            break;
        serve(*request);
    }
    if (const auto& absurd = assembler_.absurdHeader(); absurd && mayTakeMore())
        answer(*absurd, server_.controller_.refuseAbsurdLength(*absurd));
}

void Link::serve(const Frame& request)
{
    if (server_.ignores_(request))
        server_.controller_.ignore();
    else
        answer(request, server_.controller_.handle(id_, request, Clock::now()));
}

void Link::answer(const Frame& request, const Controller::Outcome& outcome)
{
    if (!outcome.reply) {
        if (outcome.closeLink)
            close();
        return;
    }
    Bytes bytes = encodeFrame(*outcome.reply);
    std::vector<Delivery> deliveries;
    if (server_.plan_)
        deliveries = server_.plan_(request, std::move(bytes));
    else
        deliveries.push_back({std::move(bytes), {}, false});
    ending_ = outcome.closeLink;
    if (outcome.closeLink && !deliveries.empty())
        deliveries.back().closeLink = true;
    for (Delivery& delivery : deliveries)
        queue(std::move(delivery));
}

/// Answers leave by due time, and in the order of their requests when that is the same.
void Link::queue(Delivery delivery)
{
    const TimePoint due = Clock::now() + server_.options_.responseTime + delivery.delay;
    const auto place = std::upper_bound(
        departures_.begin() + (sending_ ? 1 : 0), departures_.end(), due,
        [](TimePoint time, const Departure& departure) { return time < departure.due; });
    const auto added =
        departures_.insert(place, {due, std::move(delivery.bytes), delivery.closeLink});
    if (added == departures_.begin())
        sendWhenDue(); // else the one before it has set the timer
}

void Link::sendWhenDue()
{
    while (!sending_ && !departures_.empty() && socket_.is_open()) {
        if (departures_.front().due > Clock::now())
            return waitUntilDue();
        sendFirst();
    }
}

void Link::waitUntilDue()
{
    departureTimer_.expires_at(departures_.front().due);
    departureTimer_.async_wait([self = shared_from_this()](const asio::error_code& error) {
        if (error)
            return;
        self->sendWhenDue();
        self->proceed();
    });
}

/// What the system takes at once leaves at once; only a rest waits for the client.
void Link::sendFirst()
{
    asio::error_code error;
    const auto bytes = asio::buffer(departures_.front().bytes);
    const std::size_t sent = socket_.write_some(bytes, error);
    if (sent == bytes.size() || (error && error != asio::error::would_block))
        return firstLeft(error);
    sending_ = true;
    asio::async_write(socket_, bytes + sent,
                      [self = shared_from_this()](const asio::error_code& result, std::size_t) {
                          self->sending_ = false;
                          self->firstLeft(result);
                          self->sendWhenDue();
                          self->proceed();
                      });
}

void Link::firstLeft(const asio::error_code& error)
{
    const bool last = departures_.front().closeLink;
    departures_.pop_front();
    if (error || last)
        close();
}

/// Looks again when the link would be idle if nothing came meanwhile, rather than at each request.
void Link::watchIdleness()
{
    const TimePoint idle = lastHeardFrom_ + server_.options_.idleTimeout;
    if (idle <= Clock::now())
        return close();
    idleTimer_.expires_at(idle);
    idleTimer_.async_wait([self = shared_from_this()](const asio::error_code& error) {
        if (!error)
            self->watchIdleness();
    });
}

} // namespace plcsim
