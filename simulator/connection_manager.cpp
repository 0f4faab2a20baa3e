#include "connection_manager.h"

#include <algorithm>
#include <utility>

namespace plcsim {

namespace {

constexpr std::uint32_t kShortestRpi = 1000; // microseconds
constexpr std::uint8_t kLargestMultiplierCode = 7;
constexpr std::uint8_t kTransportClassMask = 0x0F;
constexpr std::uint8_t kTransportClass3 = 3;
constexpr std::size_t kSmallestConnection = 16;
constexpr std::size_t kLargestConnection = 4002;

/// One direction of a Forward Open: how often, and the network connection parameters.
struct Direction {
    std::uint32_t rpi = 0;
    bool pointToPoint = false;
    std::size_t size = 0;
};

struct ForwardOpen {
    std::uint32_t targetToOriginator = 0;
    ConnectionTriad triad;
    std::uint8_t multiplierCode = 0;
    Direction toTarget;
    Direction toOriginator;
    std::uint8_t transport = 0;
    ByteView path;
};

/// Network connection parameters: a word in a Forward Open, a double word in the large form, with
/// the connection type in the same place from the top and the size at the bottom.
Direction readDirection(ByteReader& reader, bool large)
{
    Direction direction;
    direction.rpi = reader.u32();
    const std::uint32_t parameters = large ? reader.u32() : reader.u16();
    const std::uint32_t connectionType = parameters >> (large ? 29 : 13) & 0x3;
    direction.pointToPoint = connectionType == 2;
    direction.size = parameters & (large ? 0xFFFFu : 0x1FFu);
    return direction;
}

ConnectionTriad readTriad(ByteReader& reader)
{
    ConnectionTriad triad;
    triad.serial = reader.u16();
    triad.vendor = reader.u16();
    triad.originatorSerial = reader.u32();
    return triad;
}

/// The path behind its size in words, which Forward Close and Unconnected Send follow by a reserved
/// byte.
ByteView readSizedPath(ByteReader& reader, bool reservedByte)
{
    const std::size_t words = reader.u8();
    if (reservedByte)
        reader.u8();
    return reader.take(2 * words);
}

/// Nothing if the request ends early.
std::optional<ForwardOpen> decodeForwardOpen(const CipRequest& request)
{
    const bool large = request.service == service::kLargeForwardOpen;
    ByteReader reader(request.data);
    ForwardOpen open;
    reader.u16(); // priority, tick and time-out: for routers on the way
    reader.u32(); // O->T connection ID: the target of a point-to-point connection chooses it
    open.targetToOriginator = reader.u32();
    open.triad = readTriad(reader);
    open.multiplierCode = reader.u8();
    reader.take(3); // reserved, and at times left as it happened to be
    open.toTarget = readDirection(reader, large);
    open.toOriginator = readDirection(reader, large);
    open.transport = reader.u8();
    open.path = readSizedPath(reader, false);
    if (!reader.ok())
        return std::nullopt;
    return open;
}

/// Refusals of the Connection Manager repeat the triad, with the words of path that were left.
CipReply refuseConnection(std::uint8_t serviceCode, const ConnectionTriad& triad,
                          std::uint16_t extendedStatus)
{
    CipReply reply = refusal(serviceCode, status::kConnectionFailure, extendedStatus);
    ByteWriter(reply.data)
        .u16(triad.serial)
        .u16(triad.vendor)
        .u32(triad.originatorSerial)
        .u8(0)
        .u8(0);
    return reply;
}

bool sizeFits(const Direction& direction)
{
    return direction.size >= kSmallestConnection && direction.size <= kLargestConnection;
}

/// What is wrong with the parameters themselves, whatever else is open.
std::optional<std::uint16_t> parameterRefusal(const ForwardOpen& open)
{
    if ((open.transport & kTransportClassMask) != kTransportClass3)
        return extended::kTransportNotSupported;
    if (!open.toTarget.pointToPoint || !open.toOriginator.pointToPoint ||
        open.multiplierCode > kLargestMultiplierCode)
        return extended::kInvalidNetworkParameters;
    if (!sizeFits(open.toTarget) || !sizeFits(open.toOriginator))
        return extended::kInvalidConnectionSize;
    if (open.toTarget.rpi < kShortestRpi || open.toOriginator.rpi < kShortestRpi)
        return extended::kRpiNotSupported;
    return std::nullopt;
}

/// A key of zeros fits every controller; the top bit of the major revision asks for compatibility.
bool keyFits(ByteView key, const ControllerIdentity& identity)
{
    ByteReader reader(key);
    const auto fits = [&reader](std::uint16_t own) {
        const std::uint16_t asked = reader.u16();
        return asked == 0 || asked == own;
    };
    const bool vendorFits = fits(identity.vendor);
    const bool deviceFits = fits(identity.deviceType);
    const bool productFits = fits(identity.productCode);
    const std::uint8_t major = reader.u8() & 0x7F;
    return vendorFits && deviceFits && productFits &&
           (major == 0 || major == identity.majorRevision);
}

bool isBackplane(const Segment& segment)
{
    return segment.kind == SegmentKind::Port && segment.value == 1 && segment.data == Bytes{0};
}

bool isMessageRouter(const Path& path, std::size_t from)
{
    return path.size() == from + 2 && path[from].kind == SegmentKind::Class &&
           path[from].value == class_id::kMessageRouter &&
           path[from + 1].kind == SegmentKind::Instance && path[from + 1].value == 1;
}

} // namespace

void ConnectionManager::refuseOpensWith(
    std::function<std::optional<std::uint16_t>()> extendedStatus)
{
    faultyOpen_ = std::move(extendedStatus);
}

CipReply ConnectionManager::open(const CipRequest& request, const ControllerIdentity& identity,
                                 LinkId link, TimePoint now)
{
    const std::optional<ForwardOpen> open = decodeForwardOpen(request);
    if (!open)
        return refusal(request.service, status::kNotEnoughData);
    const auto refuse = [&](std::uint16_t why) {
        return refuseConnection(request.service, open->triad, why);
    };
    if (const auto why = faultyOpen_())
        return refuse(*why);
    if (const auto why = parameterRefusal(*open))
        return refuse(*why);
    if (const auto why = pathRefusal(open->path, identity, true))
        return refuse(*why);
    const bool duplicate =
        std::any_of(connections_.begin(), connections_.end(),
                    [&open](const auto& entry) { return entry.second.triad == open->triad; });
    if (duplicate)
        return refuse(extended::kDuplicateConnection);
    if (connections_.size() >= options_.mostConnections)
        return refuse(extended::kOutOfConnections);

    Connection connection;
    connection.triad = open->triad;
    connection.link = link;
    connection.originatorToTarget = newConnectionId();
    connection.targetToOriginator = open->targetToOriginator;
    connection.requestSize = open->toTarget.size;
    connection.replySize = open->toOriginator.size;
    connection.timeout =
        std::chrono::microseconds(open->toTarget.rpi) * (4 << open->multiplierCode);
    connection.lastActivity = now;
    connections_.emplace(connection.originatorToTarget, connection);

    CipReply reply = success(request.service);
    ByteWriter(reply.data)
        .u32(connection.originatorToTarget)
        .u32(connection.targetToOriginator)
        .u16(open->triad.serial)
        .u16(open->triad.vendor)
        .u32(open->triad.originatorSerial)
        .u32(open->toTarget.rpi)
        .u32(open->toOriginator.rpi)
        .u8(0)
        .u8(0);
    return reply;
}

CipReply ConnectionManager::close(const CipRequest& request, LinkId link)
{
    ByteReader reader(request.data);
    reader.u16(); // priority, tick and time-out
    const ConnectionTriad triad = readTriad(reader);
    readSizedPath(reader, true);
    if (!reader.ok())
        return refusal(request.service, status::kNotEnoughData);
    const auto found =
        std::find_if(connections_.begin(), connections_.end(), [&](const auto& entry) {
            return entry.second.triad == triad && entry.second.link == link;
        });
    if (found == connections_.end())
        return refuseConnection(request.service, triad, extended::kConnectionNotFound);
    connections_.erase(found);

    CipReply reply = success(request.service);
    ByteWriter(reply.data)
        .u16(triad.serial)
        .u16(triad.vendor)
        .u32(triad.originatorSerial)
        .u8(0)
        .u8(0);
    return reply;
}

ConnectionManager::Unwrapped
ConnectionManager::unwrapUnconnectedSend(const CipRequest& request) const
{
    ByteReader reader(request.data);
    reader.u16(); // priority, tick and time-out
    const std::size_t length = reader.u16();
    Unwrapped unwrapped;
    unwrapped.message = reader.take(length);
    if (length % 2 == 1)
        reader.u8();
    const ByteView route = readSizedPath(reader, true);
    if (!reader.ok() || unwrapped.message.empty())
        unwrapped.refused = refusal(request.service, status::kConnectionFailure,
                                    extended::kUnconnectedSendParameters);
    else if (const auto why = pathRefusal(route, {}, false))
        unwrapped.refused = refusal(request.service, status::kConnectionFailure, *why);
    return unwrapped;
}

/// This controller has no backplane to route over: a port segment names a port it does not have,
/// unless it is told to pass for the first slot of a rack.
std::optional<std::uint16_t> ConnectionManager::pathRefusal(ByteView bytes,
                                                            const ControllerIdentity& identity,
                                                            bool endsAtRouter) const
{
    const std::optional<Path> path = parsePath(bytes);
    if (!path)
        return extended::kInvalidSegment;
    std::size_t at = 0;
    if (options_.acceptBackplanePath && at < path->size() && isBackplane((*path)[at]))
        ++at;
    if (at < path->size() && (*path)[at].kind == SegmentKind::Port)
        return extended::kPortNotAvailable;
    if (at < path->size() && (*path)[at].kind == SegmentKind::Key) {
        if (!keyFits((*path)[at].data, identity))
            return extended::kKeyMismatch;
        ++at;
    }
    if (endsAtRouter ? !isMessageRouter(*path, at) : at != path->size())
        return extended::kInvalidSegment;
    return std::nullopt;
}

Connection* ConnectionManager::find(std::uint32_t originatorToTarget, LinkId link)
{
    const auto found = connections_.find(originatorToTarget);
    if (found == connections_.end() || found->second.link != link)
        return nullptr;
    return &found->second;
}

std::size_t ConnectionManager::expire(TimePoint now)
{
    const std::size_t before = connections_.size();
    for (auto it = connections_.begin(); it != connections_.end();) {
        const bool expired = now - it->second.lastActivity > it->second.timeout;
        it = expired ? connections_.erase(it) : std::next(it);
    }
    return before - connections_.size();
}

void ConnectionManager::linkClosed(LinkId link)
{
    for (auto it = connections_.begin(); it != connections_.end();)
        it = it->second.link == link ? connections_.erase(it) : std::next(it);
}

std::uint32_t ConnectionManager::newConnectionId()
{
    for (;;) {
        const auto id = static_cast<std::uint32_t>(random_());
        if (id != 0 && connections_.count(id) == 0)
            return id;
    }
}

} // namespace plcsim
