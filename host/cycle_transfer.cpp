#include "cycle.h"

#include <algorithm>
#include <utility>

namespace panelhost {
namespace {

} // namespace

void Cycle::note(const Station& station, const std::string& what)
{
    if (traffic_ != nullptr)
        traffic_->note(station.settings.name, what);
}

/// Sends a request and waits for the reply that answers it; reply_ holds it then.
template <typename Screen>
Cycle::Exchange Cycle::exchange(Station& station, const QByteArray& request, const Screen& screen)
{
    Exchange result;
    result.sentAt = result.receivedAt = Clock::now();
    station.lastSentAt = result.sentAt;
    const Clock::time_point deadline = result.sentAt + station.settings.timeout;
    if (traffic_ != nullptr)
        traffic_->frame(station.settings.name, station.link, true, ByteView(request));
    result.link =
        station.link.send(request.constData(), static_cast<std::size_t>(request.size()), deadline);
    std::uint64_t discarded = 0;
    while (result.link == LinkResult::Ok) {
        result.link = station.link.receive(&reply_, deadline);
        if (result.link != LinkResult::Ok)
            break;
        if (traffic_ != nullptr)
            traffic_->frame(station.settings.name, station.link, false, ByteView(reply_));
        result.screened = screen(ByteView(reply_));
        if (result.screened.verdict != Verdict::NotOurs)
            break;
        ++discarded;
        note(station, "reply dropped: " + result.screened.reason);
    }
    result.receivedAt = Clock::now();
    if (result.link == LinkResult::TimedOut)
        station.stalled += result.receivedAt - result.sentAt;

    const std::lock_guard<std::mutex> lock(mutex_);
    Statistics& statistics = station.statistics;
    ++statistics.requests;
    statistics.discarded += discarded;
    if (result.link == LinkResult::TimedOut)
        ++statistics.timeouts;
    if (result.link == LinkResult::Ok)
        ++statistics.replies;
    return result;
}

void Cycle::serve(const Protocol& request)
{
    Station& station = *stations_[static_cast<std::size_t>(request.var.station)];
    switch (ByteView(request.frame).u16(frame::kCommand)) {
    case frame::kRegisterSession: registerSession(station, request); break;
    case frame::kSendRRData: openConnection(station, request); break;
    default: transfer(station, request); break;
    }
}

/// A session lives and dies with its TCP link: closing the old link is what frees the old session in
/// the controller, as the driver never says good-bye.
void Cycle::registerSession(Station& station, const Protocol& request)
{
    if (!std::exchange(station.linkIsFresh, false)) {
        const StationSettings& settings = station.settings;
        const LinkResult connected =
            station.link.connect(settings.host, settings.port, Clock::now() + settings.timeout);
        if (connected != LinkResult::Ok) {
            driver_.abandonHandshake();
            takeDown(station, station.link.error(), StationTrouble::Unreachable);
            return;
        }
        if (traffic_ != nullptr)
            traffic_->opened(settings.name, station.link);
    }
    const Exchange result = exchange(station, request.frame, screenRegisterSession);
    if (result.link != LinkResult::Ok || result.screened.verdict != Verdict::Good)
        abandon(station, result);
    else
        driver_.acceptHandshake(&reply_);
}

void Cycle::openConnection(Station& station, const Protocol& request)
{
    const QByteArray sent = request.frame;
    const Exchange result = exchange(station, sent, [&sent](ByteView reply) {
        return screenForwardOpen(ByteView(sent), reply);
    });
    if (result.link != LinkResult::Ok || result.screened.verdict != Verdict::Good) {
        abandon(station, result);
        return;
    }
    station.targetToOriginatorId =
        ByteView(reply_).u32(frame::forward_open::kReplyTargetToOriginatorId);
    driver_.acceptHandshake(&reply_);
    note(station, "connected");
    const std::lock_guard<std::mutex> lock(mutex_);
    ++station.statistics.sessions;
    station.view = {};
    station.view.online = true;
    notifyChange();
}

/// Ends a handshake that failed. The driver would go on at once with the same identity; a new attempt
/// after a pause has a new one.
void Cycle::abandon(Station& station, const Exchange& exchange)
{
    driver_.abandonHandshake();
    if (exchange.link == LinkResult::TimedOut)
        takeDown(station, silenceInWords(station.settings), StationTrouble::Silent);
    else if (exchange.link == LinkResult::Closed)
        takeDown(station,
                 station.link.error() + " during the handshake: no free session, or not "
                                        "an EtherNet/IP device",
                 StationTrouble::Refused);
    else if (exchange.link == LinkResult::Malformed)
        takeDown(station, station.link.error(), StationTrouble::NotEtherNetIp);
    else if (exchange.link != LinkResult::Ok)
        takeDown(station, station.link.error(), StationTrouble::LinkLost);
    else if (exchange.screened.verdict == Verdict::Malformed)
        takeDown(station, exchange.screened.reason, StationTrouble::NotEtherNetIp);
    else if (exchange.screened.status.extended == cip_status::kDuplicateConnection)
        takeDown(station, exchange.screened.reason, StationTrouble::ConnectionBusy);
    else
        takeDown(station, exchange.screened.reason, StationTrouble::Refused);
}

void Cycle::transfer(Station& station, const Protocol& request)
{
    const ByteView sent(request.frame);
    const Served served{static_cast<Purpose>(request.var.hostArea), request.var.hostAddress,
                        request.var.hostWord3,
                        sent.u8(frame::connected::kService) == frame::kReadTag};
    if (!requestPending_) {
        station.resends = 0;
        station.firstSentAt = Clock::now();
    }
    requestPending_ = false;
    if (served.purpose == kWrite && !served.isRead)
        station.writeSent = true;

    const Exchange result = exchange(station, request.frame, [&](ByteView reply) {
        return screenDataReply(sent, station.targetToOriginatorId, reply);
    });
    if (result.link == LinkResult::TimedOut) {
        const int limit = std::min(station.settings.retries, int{Driver::kMaxResends});
        if (station.resends < limit) {
            ++station.resends;
            driver_.keepForResend();
            requestPending_ = true;
            note(station, silenceInWords(station.settings) + ", asking again");
            return;
        }
        giveUp(station, silenceInWords(station.settings), StationTrouble::Silent);
    } else if (result.link == LinkResult::Interrupted) {
        return;
    } else if (result.link != LinkResult::Ok) {
        giveUp(station, station.link.error(), StationTrouble::LinkLost);
    } else if (result.screened.verdict == Verdict::Refused) {
        refuse(station, request, served, result);
    } else if (result.screened.verdict == Verdict::Good) {
        accept(station, request, served, result);
    } else {
        giveUp(station, result.screened.reason, StationTrouble::LinkLost);
    }
}

/// Why a reply of good status must not reach the driver all the same; empty when it may.
std::string Cycle::objection(const Station& station, const Protocol& request, const Served& served)
{
    if (served.purpose == kWrite)
        return {};
    const ByteView reply(reply_);
    if (reply.size() < frame::connected::kValues || !station.table.knows(served.tag))
        return "the reply names no data type";
    const Tag& tag = station.table.tag(served.tag);
    const TagType type = typeOf(reply);
    const bool stores = request.var.accessKind == kStoreReply;
    // The driver goes by the first type it saw until the session ends.
    if ((tag.typeStored || (stores && tag.typeKnown)) && tag.type != type)
        return "the data type of " + tag.name + " changed: another program was downloaded";
    if (!stores)
        return {};

    ElementRange range{0, 1};
    if (served.purpose == kCyclicRead) {
        if (!station.table.valid(served.tag, served.block))
            return "a read that nobody asked for";
        range = tag.blocks[static_cast<std::size_t>(served.block)].range;
    }
    const ReadRequest asked = decodeReadRequest(ByteView(request.frame));
    if (!asked.valid || asked.firstElement != static_cast<std::uint32_t>(range.first) ||
        asked.elements != static_cast<std::uint32_t>(range.count))
        return "the request named other elements of " + tag.name + " than were wanted";
    return valueObstacle(reply, tag.name, range.count);
}

void Cycle::accept(Station& station, const Protocol& request, const Served& served,
                   const Exchange& exchange)
{
    std::unique_lock<std::mutex> lock(mutex_);
    const std::string why = objection(station, request, served);
    if (!why.empty() || !driver_.acceptReply(request, &reply_)) {
        lock.unlock();
        giveUp(station, why.empty() ? "the driver did not accept the reply" : why,
               StationTrouble::ProgramChanged);
        return;
    }
    station.backOff.reset();
    station.stalled = {};
    station.statistics.roundTrips.add(exchange.receivedAt - exchange.sentAt);
    if (served.purpose == kWrite && !served.isRead) {
        finishWrite(station, {true, {}, exchange.receivedAt});
        nextScanAt_ = exchange.receivedAt; // people wait to see what they wrote
    } else if (served.purpose != kWrite) {
        filed(station, served, exchange.receivedAt);
    }
}

/// Books a good read: the driver has stored it, or only accepted it.
void Cycle::filed(Station& station, const Served& served, Clock::time_point now)
{
    const ByteView reply(reply_);
    ListChange change = ListChange::None;
    if (served.purpose == kScout) {
        station.onceReadQueued = false;
        const int valueBytes = static_cast<int>(valueBytesOf(reply).size());
        change = station.table.scouted(served.tag, typeOf(reply), valueBytes, now);
        if (station.table.tag(served.tag).stage == Tag::Stage::Refused)
            notifyChange();
    } else {
        change = station.table.stored(served.tag);
        if (served.purpose == kProbe)
            station.onceReadQueued = false;
        else
            publish(station, served);
    }
    apply(station, served.tag, change);
    if (served.purpose == kCyclicRead)
        countScan(station, served.tag);
}

/// Fetches what the driver has just stored. At once, as blocks of types that it hands over byte by
/// byte overlap in its store.
void Cycle::publish(Station& station, const Served& served)
{
    const Tag& tag = station.table.tag(served.tag);
    Block& block = station.table.block(served.tag, served.block);
    int textSize = 0;
    unsigned int registers = block.registers;
    if (tag.type.element->kind == ValueKind::Text) {
        textSize = measureText(*tag.type.element, valueBytesOf(ByteView(reply_)));
        registers = registersFor(*tag.type.element, 1, textSize);
    }
    // The driver has no entry for a text that was empty from the start.
    fetched_.clear();
    if (registers > 0 &&
        !driver_.fetch(tag.driverName, block.var.indexText, station.number, registers, &fetched_))
        return;
    block.sample.swap(fetched_);
    block.textSize = textSize;
    block.readAt = station.firstSentAt;
    block.current = true;
    block.everRead = true;
    block.refusal.clear();
    ++station.statistics.values;
}

void Cycle::refuse(Station& station, const Protocol& request, const Served& served,
                   const Exchange& exchange)
{
    std::unique_lock<std::mutex> lock(mutex_);
    ++station.statistics.refusals;
    const std::string& reason = exchange.screened.reason;
    const bool known = station.table.knows(served.tag);
    const std::string name = known ? station.table.tag(served.tag).name : std::string("?");
    note(station, name + " refused: " + reason);
    const bool wouldPoison =
        request.var.accessKind == kStoreReply && known && !station.table.tag(served.tag).typeStored;
    const bool wouldRepeatForEver = served.purpose == kWrite && served.isRead;
    if (wouldPoison || wouldRepeatForEver || !driver_.acceptRefusal(request, &reply_)) {
        lock.unlock();
        giveUp(station, name + ": " + reason, StationTrouble::ProgramChanged);
        return;
    }
    station.backOff.reset();
    station.stalled = {};
    station.statistics.roundTrips.add(exchange.receivedAt - exchange.sentAt);
    if (served.purpose == kWrite) {
        finishWrite(station, {false, reason, exchange.receivedAt});
        return;
    }
    if (served.purpose == kScout || served.purpose == kProbe)
        station.onceReadQueued = false;
    const ListChange change =
        served.purpose == kCyclicRead && station.table.valid(served.tag, served.block)
            ? station.table.blockRefused(served.tag, served.block, exchange.screened,
                                         exchange.receivedAt)
            : station.table.tagRefused(served.tag, reason, exchange.receivedAt);
    apply(station, served.tag, change);
    if (served.purpose == kCyclicRead)
        countScan(station, served.tag);
    notifyChange();
}

void Cycle::giveUp(Station& station, const std::string& reason, StationTrouble trouble)
{
    driver_.failTransaction();
    takeDown(station, reason, trouble);
}

/// Closes the link, switches the station off in the driver and forgets what its session knew.
void Cycle::takeDown(Station& station, const std::string& reason, StationTrouble trouble)
{
    if (traffic_ != nullptr && station.link.isOpen())
        traffic_->closed(station.settings.name, station.link);
    station.link.close();
    driver_.enableStation(station.number, false);
    const bool alone = stations_.size() == 1;
    const auto pause = station.backOff.next(trouble, alone ? Clock::duration() : station.stalled);
    station.stalled = {};
    note(station, "down: " + reason + "; next attempt in " + std::to_string(pause.count()) + " ms");

    const std::lock_guard<std::mutex> lock(mutex_);
    const Clock::time_point now = Clock::now();
    listDirty_ = listDirty_ || station.up;
    station.up = false;
    station.upAgainAt = now + pause;
    station.onceReadQueued = false;
    station.linkIsFresh = false;
    station.hungUp = false;
    ++station.statistics.failures;
    station.view.online = false;
    station.view.reason = reason;
    station.view.trouble = trouble;
    station.view.attempts = station.backOff.failures();
    station.table.startSession();
    if (station.writeSent)
        finishWrite(station, {false, reason + "; the value may or may not have arrived", now});
    failWrites(station, "not written: " + reason);
    notifyChange();
}

} // namespace panelhost
