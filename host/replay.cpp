#include "replay.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace panelhost {
namespace {

constexpr std::uint8_t kForwardClose = 0x4E;
constexpr std::uint8_t kWriteTag = 0x4D;

/// A host that waited less when it closed its link was told to stop.
constexpr std::chrono::milliseconds kShortestTimeout(200);
/// Controllers answer within a few milliseconds.
constexpr std::chrono::milliseconds kSlow(1000);

std::string milliseconds(Clock::duration duration)
{
    using std::chrono::duration_cast;
    return std::to_string(duration_cast<std::chrono::milliseconds>(duration).count()) + " ms";
}

std::string silence(Clock::duration waited)
{
    return "no answer within " + milliseconds(waited);
}

QByteArray copyOf(ByteView bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size())};
}

std::string hexByte(unsigned int byte)
{
    char text[8];
    std::snprintf(text, sizeof text, "0x%02X", byte);
    return text;
}

/// Names come from outside: one that could not be a tag's is not shown.
bool isShowable(ByteView name)
{
    return name.size() > 0 &&
           std::all_of(name.data(), name.data() + name.size(),
                       [](std::uint8_t c) { return std::isalnum(c) != 0 || c == '_'; });
}

/// The driver's registers of values as a write request carries them.
QByteArray registersOf(const CipType& type, ByteView values)
{
    QByteArray bytes = copyOf(values);
    if (type.form == RegisterForm::String)
        return bytes.mid(type.text.lengthFieldSize);
    if (type.form != RegisterForm::Byte)
        return bytes;
    QByteArray registers;
    for (const char byte : std::as_const(bytes))
        registers.append(byte).append('\0');
    return registers;
}

/// The values of a write request as people write them; empty when they cannot be told.
std::string writtenText(ByteView request)
{
    const std::size_t at = decodeTagPath(request).end;
    const bool isFragmented = request.u8(frame::connected::kService) == frame::kWriteTagFragmented;
    const std::size_t dataAt = at + (isFragmented ? 8 : 4);
    const CipType* type = findCipType(request.u8(at));
    if (type == nullptr || request.u8(at + 1) != 0 || !type->writable() || request.size() <= dataAt)
        return {};
    const ByteView data(request.data() + dataAt, request.size() - dataAt);
    const bool isText = type->kind == ValueKind::Text;
    const int textSize = isText ? measureText(*type, data) : 0;
    if (textSize < 0)
        return {};
    const int count = request.u16(at + 2);
    QByteArray registers = registersOf(*type, data);
    if (isText)
        registers.append('\0'); // the driver counts two characters for a register
    std::string text;
    for (const Value& value : decodeRegisters(*type, registers, count, textSize))
        text += (text.empty() ? "" : " ") + formatValue(*type, value);
    return text;
}

} // namespace

Replay::Replay(std::string libraryFile, EventSink onEvent, ChangeSink onChange)
    : libraryFile_(std::move(libraryFile)), onEvent_(std::move(onEvent)),
      onChange_(std::move(onChange))
{
}

Replay::~Replay() = default;

void Replay::found(const Link& link, Clock::time_point time, const std::string& what)
{
    onEvent_({time, link.station->name(), what, true});
}

void Replay::happened(const Link& link, Clock::time_point time, const std::string& what)
{
    onEvent_({time, link.station->name(), what, false});
}

Replay::Link& Replay::linkOf(const RecordedLink& recorded)
{
    Link& link = links_[recorded.number];
    if (link.station == nullptr)
        link.station = stationOf(recorded);
    return link;
}

/// Each host of the recording has a view of its own of a controller.
ReplayedStation* Replay::stationOf(const RecordedLink& recorded)
{
    ReplayedStation*& station = stationsByEnds_[{recorded.host.address, recorded.controller}];
    if (station != nullptr)
        return station;
    std::string name = recorded.controller.port == kEtherNetIpPort
                           ? recorded.controller.addressText()
                           : recorded.controller.text();
    const bool isTaken = std::any_of(stations_.begin(), stations_.end(),
                                     [&name](const auto& known) { return known->name() == name; });
    if (isTaken)
        name += " from " + recorded.host.addressText();
    stations_.push_back(std::make_unique<ReplayedStation>(name, libraryFile_));
    return station = stations_.back().get();
}

void Replay::frame(const RecordedLink& recorded, Clock::time_point time, bool fromHost,
                   ByteView bytes)
{
    Link& link = linkOf(recorded);
    if (link.lost)
        return;
    if (fromHost)
        request(&link, time, bytes);
    else
        reply(&link, time, bytes);
}

// --- Requests ---

Replay::Waiting Replay::classify(ByteView bytes)
{
    Waiting waiting;
    switch (bytes.u16(frame::kCommand)) {
    case frame::kRegisterSession:
        waiting.kind = Kind::RegisterSession;
        waiting.what = "RegisterSession";
        break;
    case frame::kSendUnitData: return classifyConnected(bytes);
    default:
        const std::uint8_t service = bytes.u8(frame::unconnected::kService);
        waiting.kind = service == frame::kForwardOpen ? Kind::ForwardOpen : Kind::OtherUnconnected;
        waiting.what = service == frame::kForwardOpen ? "Forward Open"
                                                      : "unconnected service " + hexByte(service);
        if (service != frame::kForwardOpen && service != kForwardClose)
            ++leftOut_[waiting.what];
        break;
    }
    return waiting;
}

Replay::Waiting Replay::classifyConnected(ByteView bytes)
{
    const std::uint8_t service = bytes.u8(frame::connected::kService);
    const bool writes = service == frame::kWriteTagFragmented || service == kWriteTag;
    const TagPath path = decodeTagPath(bytes);
    const ReadRequest read = decodeReadRequest(bytes);
    Waiting waiting;
    waiting.kind = Kind::OtherConnected;
    waiting.what = "service " + hexByte(service);
    const int elements = writes ? bytes.u16(path.end + 2) : static_cast<int>(read.elements);
    const bool isUsual =
        path.valid && isShowable(path.name) && (read.valid || writes) && elements > 0;
    if (isUsual) {
        const int first = static_cast<int>(path.firstElement);
        waiting.kind = writes ? Kind::Write : Kind::Read;
        waiting.tag.name.assign(path.name.data(), path.name.data() + path.name.size());
        waiting.tag.first = first;
        waiting.tag.count = elements;
        waiting.tag.indexed = first != 0 || elements != 1;
        waiting.what = (writes ? "write of " : "read of ") + waiting.tag.text();
    } else {
        ++leftOut_[waiting.what + (path.valid ? "" : " with a path of another kind")];
    }
    return waiting;
}

void Replay::request(Link* link, Clock::time_point time, ByteView bytes)
{
    const std::uint16_t command = bytes.u16(frame::kCommand);
    if (command != frame::kRegisterSession && command != frame::kSendRRData &&
        command != frame::kSendUnitData)
        return;
    link->sawRequest = true;
    ++link->station->statistics.requests;
    const QByteArray frame = copyOf(bytes);
    const auto same =
        std::find_if(link->waiting.begin(), link->waiting.end(),
                     [&frame](const Waiting& waiting) { return waiting.frame == frame; });
    if (same != link->waiting.end()) {
        found(*link, time, same->what + ": " + silence(time - same->sentAt) + ", asked again");
        ++link->station->statistics.timeouts;
        same->sentAt = time;
        return;
    }
    Waiting waiting = classify(bytes);
    waiting.frame = frame;
    waiting.firstSentAt = waiting.sentAt = time;
    link->waiting.push_back(std::move(waiting));
}

// --- Replies ---

Screened Replay::screen(Link* link, const Waiting& request, ByteView reply)
{
    const ByteView sent(request.frame);
    if (sent.u16(frame::kCommand) != reply.u16(frame::kCommand))
        return {Verdict::NotOurs, {}, "reply to another command"};
    switch (request.kind) {
    case Kind::RegisterSession: return screenRegisterSession(reply);
    case Kind::ForwardOpen: return screenForwardOpen(sent, reply);
    case Kind::OtherUnconnected:
        if (reply.u8(frame::unconnected::kService) == (frame::kForwardOpen | frame::kReplyBit))
            return {Verdict::NotOurs, {}, "answer to a Forward Open"};
        return {};
    default: break;
    }
    // A capture that begins within a conversation does not show the Forward Open's answer.
    const std::uint32_t id = link->connections
                                 .emplace(sent.u32(frame::connected::kConnectionId),
                                          reply.u32(frame::connected::kConnectionId))
                                 .first->second;
    return screenDataReply(sent, id, reply);
}

void Replay::reply(Link* link, Clock::time_point time, ByteView bytes)
{
    const std::uint16_t command = bytes.u16(frame::kCommand);
    if (command != frame::kRegisterSession && command != frame::kSendRRData &&
        command != frame::kSendUnitData)
        return;
    std::string why = "nobody waited for it: late, or sent twice";
    for (auto request = link->waiting.begin(); request != link->waiting.end(); ++request) {
        const Screened screened = screen(link, *request, bytes);
        if (screened.verdict == Verdict::NotOurs) {
            why = screened.reason;
            continue;
        }
        const Waiting answeredRequest = *request;
        link->waiting.erase(request);
        answered(link, answeredRequest, time, bytes, screened);
        return;
    }
    if (!link->sawRequest)
        return; // the capture begins behind the request
    found(*link, time, "reply dropped: " + why);
    ++link->station->statistics.discarded;
}

void Replay::answered(Link* link, const Waiting& request, Clock::time_point time, ByteView reply,
                      const Screened& screened)
{
    Statistics& statistics = link->station->statistics;
    ++statistics.replies;
    if (request.kind == Kind::Read || request.kind == Kind::Write)
        statistics.roundTrips.add(time - request.sentAt);
    if (time - request.sentAt >= kSlow)
        found(*link, time,
              request.what + ": answered after " + milliseconds(time - request.sentAt));
    switch (screened.verdict) {
    case Verdict::Good: good(link, request, time, reply); break;
    case Verdict::Refused:
        ++statistics.refusals;
        if (request.kind == Kind::ForwardOpen) {
            lose(link, time, screened.reason, screened.reason);
            break;
        }
        found(*link, time, request.what + " refused: " + screened.reason);
        if (request.kind == Kind::Read) {
            link->station->refuse(request.tag, screened);
            onChange_(*link->station, request.tag.name, time);
        }
        break;
    default: lose(link, time, request.what + ": " + screened.reason, screened.reason); break;
    }
}

void Replay::good(Link* link, const Waiting& request, Clock::time_point time, ByteView reply)
{
    ReplayedStation* station = link->station;
    switch (request.kind) {
    case Kind::RegisterSession: link->registerReply = copyOf(reply); break;
    case Kind::ForwardOpen: {
        namespace at = frame::unconnected;
        link->connections[reply.u32(at::kReplyData)] =
            reply.u32(frame::forward_open::kReplyTargetToOriginatorId);
        station->beginSession(link->registerReply, copyOf(reply));
        onChange_(*station, {}, time);
        ++station->statistics.sessions;
        happened(*link, time, "connected");
        break;
    }
    case Kind::Read: {
        station->continueSession();
        const std::string failure = station->store(request.tag, reply, request.firstSentAt);
        if (!failure.empty())
            found(*link, time, request.what + ": " + failure);
        onChange_(*station, request.tag.name, time);
        break;
    }
    case Kind::Write: {
        const std::string text = writtenText(ByteView(request.frame));
        happened(*link, time,
                 request.tag.text() + " written" + (text.empty() ? text : ": " + text));
        break;
    }
    default: break;
    }
}

void Replay::lose(Link* link, Clock::time_point time, const std::string& finding,
                  const std::string& reason)
{
    found(*link, time, finding);
    ++link->station->statistics.failures;
    link->station->lose(reason);
    link->waiting.clear();
    link->lost = true;
    onChange_(*link->station, {}, time);
}

// --- Links ---

void Replay::damaged(const RecordedLink& recorded, Clock::time_point time, const std::string& what)
{
    Link& link = linkOf(recorded);
    found(link, time, what);
    // What waits may have been answered in the part that is missing.
    link.waiting.clear();
}

void Replay::closed(const RecordedLink& recorded, Clock::time_point time, RecordedEnd end)
{
    Link& link = linkOf(recorded);
    const bool byHost = end == RecordedEnd::ByHost || end == RecordedEnd::ResetByHost;
    const auto timedOut = [time](const Waiting& waiting) {
        return time - waiting.sentAt >= kShortestTimeout;
    };
    const auto silent = std::find_if(link.waiting.begin(), link.waiting.end(), timedOut);
    if (link.lost) {
        happened(link, time,
                 byHost ? "the host closed the link" : "the controller closed the link");
    } else if (!byHost) {
        const std::string what = end == RecordedEnd::ResetByController
                                     ? "the controller reset the link"
                                     : "the controller closed the link";
        const std::string owed =
            link.waiting.empty() ? "" : ", " + link.waiting.front().what + " unanswered";
        lose(&link, time, what + owed, what);
    } else if (silent != link.waiting.end()) {
        const std::string reason = silence(time - silent->sentAt);
        ++link.station->statistics.timeouts;
        lose(&link, time, silent->what + ": " + reason + ", the host closed the link", reason);
    } else {
        link.station->leave(time);
        happened(link, time, "the host closed the link");
    }
    links_.erase(recorded.number);
}

void Replay::finish(Clock::time_point time)
{
    for (auto& [number, link] : links_) {
        const auto& waiting = link.waiting;
        if (!waiting.empty() && time - waiting.front().sentAt >= kSlow)
            found(link, time,
                  waiting.front().what + ": no answer in the last " +
                      milliseconds(time - waiting.front().sentAt) + " of the recording");
    }
    for (const auto& [what, count] : leftOut_)
        onEvent_({time, "all stations",
                  what + ": left out, as this driver makes no such request (" +
                      std::to_string(count) + " seen)",
                  true});
}

} // namespace panelhost
