#include "controller.h"

#include <algorithm>
#include <utility>

namespace plcsim {

namespace {

// What an unconnected message carries; there is no connection to agree on more.
constexpr std::size_t kMostUnconnectedReply = 504;
constexpr std::size_t kSequenceCountSize = 2;
constexpr std::size_t kConnectionIdSize = 4;

} // namespace

Controller::Controller(Program program, ControllerOptions options, TimePoint now)
    : options_(options), identity_(program.identity),
      tags_(std::move(program.tags), program.trueByte, options.seed, now),
      tagServices_(tags_, options.tagServices), connections_(options.connections, options.seed + 1),
      random_(options.seed)
{
    interfere({});
}

void Controller::interfere(Interference interference)
{
    if (!interference.sessionRefusal)
        interference.sessionRefusal = [] { return std::nullopt; };
    if (!interference.openRefusal)
        interference.openRefusal = [] { return std::nullopt; };
    if (!interference.tagStatus)
        interference.tagStatus = [](const std::string&) { return std::nullopt; };
    interference_ = std::move(interference);
    connections_.refuseOpensWith(interference_.openRefusal);
}

void Controller::observeTags(TagStore::Observer observer)
{
    tagObserver_ = std::move(observer);
    tags_.observe(tagObserver_);
}

void Controller::download(Program program, TimePoint now)
{
    identity_ = program.identity;
    tags_ = TagStore(std::move(program.tags), program.trueByte, options_.seed, now);
    if (tagObserver_)
        tags_.observe(tagObserver_);
}

void Controller::scan(TimePoint now)
{
    tags_.scan(now);
    counters_.expired += connections_.expire(now);
}

void Controller::linkClosed(LinkId link)
{
    connections_.linkClosed(link);
    for (auto it = sessions_.begin(); it != sessions_.end();)
        it = it->second == link ? sessions_.erase(it) : std::next(it);
}

void Controller::dropSessions()
{
    sessions_.clear();
    connections_.closeAll();
}

Controller::Outcome Controller::handle(LinkId link, const Frame& request, TimePoint now)
{
    ++counters_.requests;
    counters_.expired += connections_.expire(now);
    Outcome outcome;
    if (request.options != 0 || request.command == command::kNop)
        return outcome; // options that nobody defined are to be ignored with their frame
    switch (request.command) {
    case command::kRegisterSession: outcome.reply = registerSession(link, request); break;
    case command::kUnregisterSession: outcome = unregisterSession(link, request); break;
    case command::kListServices:
        outcome.reply = answerTo(request);
        outcome.reply->data = listServicesData();
        break;
    case command::kListIdentity:
        outcome.reply = answerTo(request);
        outcome.reply->data = listIdentityData(identity_, address_);
        break;
    case command::kListInterfaces:
        outcome.reply = answerTo(request);
        ByteWriter(outcome.reply->data).u16(0);
        break;
    case command::kSendRrData: outcome.reply = sendRrData(link, request, now); break;
    case command::kSendUnitData: outcome.reply = sendUnitData(link, request, now); break;
    default: outcome.reply = answerTo(request, encap_status::kInvalidCommand); break;
    }
    if (!outcome.reply)
        ++counters_.unanswered;
    else if (outcome.reply->status != encap_status::kSuccess)
        ++counters_.refusals;
    counters_.replies += outcome.reply.has_value();
    return outcome;
}

void Controller::ignore()
{
    ++counters_.requests;
    ++counters_.unanswered;
}

Controller::Outcome Controller::refuseAbsurdLength(const Frame& header)
{
    ++counters_.requests;
    ++counters_.replies;
    ++counters_.refusals;
    return {answerTo(header, encap_status::kInvalidLength), true};
}

Frame Controller::registerSession(LinkId link, const Frame& request)
{
    ByteReader reader(request.data);
    const std::uint16_t version = reader.u16();
    const std::uint16_t optionFlags = reader.u16();
    if (!reader.ok() || reader.remaining() > 0)
        return answerTo(request, encap_status::kInvalidLength);

    Frame answer = answerTo(request);
    answer.session = 0;
    ByteWriter(answer.data).u16(kProtocolVersion).u16(0);
    if (version != kProtocolVersion || optionFlags != 0)
        answer.status = encap_status::kUnsupportedProtocol;
    else if (const auto forced = interference_.sessionRefusal())
        answer.status = *forced;
    else if (const auto own = std::find_if(sessions_.begin(), sessions_.end(),
                                           [link](const auto& s) { return s.second == link; });
             own != sessions_.end()) {
        answer.session = own->first; // one session per link: the second request is out of place
        answer.status = encap_status::kInvalidCommand;
    } else if (sessions_.size() >= options_.mostSessions)
        answer.status = encap_status::kNoMemory;
    else {
        answer.session = newSessionHandle();
        sessions_.emplace(answer.session, link);
    }
    return answer;
}

/// The end of a session is the end of its link; there is no answer.
Controller::Outcome Controller::unregisterSession(LinkId link, const Frame& request)
{
    if (!sessionIsOn(link, request.session))
        return {answerTo(request, encap_status::kInvalidSession), false};
    linkClosed(link);
    return {std::nullopt, true};
}

std::optional<Frame> Controller::sendRrData(LinkId link, const Frame& request, TimePoint now)
{
    if (!sessionIsOn(link, request.session))
        return answerTo(request, encap_status::kInvalidSession);
    std::optional<CommonPacket> packet = decodeCommonPacket(request.data);
    if (!packet || packet->addressType != item_type::kNullAddress || !packet->address.empty() ||
        packet->dataType != item_type::kUnconnectedData)
        return answerTo(request, encap_status::kIncorrectData);
    packet->data = encodeCounted(routeUnconnected(link, packet->data, now));
    Frame answer = answerTo(request);
    answer.data = encodeCommonPacket(*packet);
    return answer;
}

std::optional<Frame> Controller::sendUnitData(LinkId link, const Frame& request, TimePoint now)
{
    if (!sessionIsOn(link, request.session))
        return answerTo(request, encap_status::kInvalidSession);
    std::optional<CommonPacket> packet = decodeCommonPacket(request.data);
    if (!packet || packet->addressType != item_type::kConnectedAddress ||
        packet->address.size() != kConnectionIdSize ||
        packet->dataType != item_type::kConnectedData || packet->data.size() < kSequenceCountSize)
        return answerTo(request, encap_status::kIncorrectData);

    Connection* connection = connections_.find(ByteReader(packet->address).u32(), link);
    if (!connection)
        return std::nullopt; // as in a transport: nobody listens on that connection
    connection->lastActivity = now;

    packet->address.clear();
    ByteWriter(packet->address).u32(connection->targetToOriginator);
    packet->data = serveConnected(*connection, packet->data);
    Frame answer = answerTo(request);
    answer.data = encodeCommonPacket(*packet);
    return answer;
}

/// A sequence count that was served already is a request sent twice: it gets its answer again and
/// is not carried out again.
Bytes Controller::serveConnected(Connection& connection, ByteView message)
{
    ByteReader reader(message);
    const std::uint16_t sequence = reader.u16();
    if (connection.lastSequence == sequence) {
        ++counters_.duplicates;
    } else {
        const std::size_t mostReplyBytes = connection.replySize - kSequenceCountSize;
        const ByteView cip = reader.rest();
        const CipReply reply = message.size() > connection.requestSize
                                   ? refusal(cip[0], status::kTooMuchData)
                                   : route(cip, mostReplyBytes);
        connection.lastSequence = sequence;
        connection.lastReply = encodeCounted(reply);
    }
    Bytes answer;
    ByteWriter(answer).u16(sequence).append(connection.lastReply);
    return answer;
}

CipReply Controller::routeUnconnected(LinkId link, ByteView message, TimePoint now)
{
    const std::optional<CipRequest> request = decodeCipRequest(message);
    const std::optional<Path> path = request ? parsePath(request->path) : std::nullopt;
    if (path && addressesClass(*path, class_id::kConnectionManager))
        return connectionManagerService(link, *request, now);
    return route(message, kMostUnconnectedReply);
}

CipReply Controller::connectionManagerService(LinkId link, const CipRequest& request, TimePoint now)
{
    switch (request.service) {
    case service::kForwardOpen:
    case service::kLargeForwardOpen: return connections_.open(request, identity_, link, now);
    case service::kForwardClose: return connections_.close(request, link);
    case service::kUnconnectedSend: {
        const ConnectionManager::Unwrapped inner = connections_.unwrapUnconnectedSend(request);
        return inner.refused ? *inner.refused : route(inner.message, kMostUnconnectedReply);
    }
    default: return refusal(request.service, status::kServiceNotSupported);
    }
}

/// The message router: the request goes to the object or tag that its path names.
CipReply Controller::route(ByteView message, std::size_t mostReplyBytes, bool mayNest)
{
    const std::uint8_t serviceCode = message.empty() ? std::uint8_t{0} : message[0];
    const std::optional<CipRequest> request = decodeCipRequest(message);
    if (!request)
        return refusal(serviceCode,
                       message.size() < 2 ? status::kNotEnoughData : status::kPathSegmentError);
    const std::optional<Path> path = parsePath(request->path);
    if (!path || path->empty())
        return refusal(serviceCode, status::kPathSegmentError);
    if ((*path)[0].kind == SegmentKind::Symbol)
        return tagService(*request, *path, mostReplyBytes);
    if (addressesClass(*path, class_id::kIdentity))
        return identityService(*request, *path, identity_);
    if (addressesClass(*path, class_id::kMessageRouter)) {
        if (mayNest && request->service == service::kMultipleServicePacket)
            return multipleServices(*request, mostReplyBytes);
        return refusal(serviceCode, status::kServiceNotSupported);
    }
    return refusal(serviceCode, (*path)[0].kind == SegmentKind::Class
                                    ? status::kPathDestinationUnknown
                                    : status::kPathSegmentError);
}

CipReply Controller::tagService(const CipRequest& request, const Path& path,
                                std::size_t mostReplyBytes)
{
    if (const auto forced = interference_.tagStatus(path[0].symbol))
        return {request.service, forced->general, forced->extended, {}};
    return tagServices_.handle(request, path, mostReplyBytes);
}

/// Each embedded request is served on its own; one that fails marks the whole reply.
CipReply Controller::multipleServices(const CipRequest& request, std::size_t mostReplyBytes)
{
    constexpr std::size_t kOffsetSize = 2;
    ByteReader reader(request.data);
    const std::size_t count = reader.u16();
    const ByteView offsets = reader.take(count * kOffsetSize);
    if (!reader.ok() || count == 0)
        return refusal(request.service, status::kNotEnoughData);

    CipReply reply = success(request.service);
    Bytes bodies;
    ByteReader offsetReader(offsets);
    ByteReader nextReader(offsets);
    nextReader.u16();
    ByteWriter head(reply.data);
    head.u16(static_cast<std::uint16_t>(count));
    const std::size_t headSize = kOffsetSize * (count + 1);
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t begin = offsetReader.u16();
        const std::size_t end = i + 1 < count ? nextReader.u16() : request.data.size();
        if (begin < headSize || end < begin || end > request.data.size())
            return refusal(request.service, status::kNotEnoughData);
        const ByteView embedded(request.data.begin() + begin, end - begin);
        const CipReply embeddedReply = route(embedded, mostReplyBytes, false);
        if (embeddedReply.general != status::kSuccess)
            reply.general = status::kEmbeddedServiceError;
        head.u16(static_cast<std::uint16_t>(headSize + bodies.size()));
        ByteWriter(bodies).append(encodeCipReply(embeddedReply));
        if (kReplyHeaderSize + headSize + bodies.size() > mostReplyBytes)
            return refusal(request.service, status::kReplyTooLarge);
    }
    head.append(bodies);
    return reply;
}

Bytes Controller::encodeCounted(const CipReply& reply)
{
    counters_.refusals +=
        reply.general != status::kSuccess && reply.general != status::kPartialTransfer;
    return encodeCipReply(reply);
}

bool Controller::sessionIsOn(LinkId link, std::uint32_t session) const
{
    const auto found = sessions_.find(session);
    return found != sessions_.end() && found->second == link;
}

std::uint32_t Controller::newSessionHandle()
{
    for (;;) {
        const auto handle = static_cast<std::uint32_t>(random_());
        if (handle != 0 && sessions_.count(handle) == 0)
            return handle;
    }
}

} // namespace plcsim
