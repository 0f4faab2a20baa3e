#include "request_path.h"

namespace plcsim {

namespace {

constexpr std::uint8_t kSegmentTypeMask = 0xE0;
constexpr std::uint8_t kPortSegment = 0x00;
constexpr std::uint8_t kLogicalSegment = 0x20;
constexpr std::uint8_t kExtendedSymbol = 0x91;
constexpr std::uint8_t kElectronicKey = 0x34;
constexpr std::uint8_t kKeyFormat = 0x04;
constexpr std::size_t kKeySize = 8;

std::optional<Segment> parsePort(std::uint8_t first, ByteReader& reader)
{
    constexpr std::uint8_t kLongLinkAddress = 0x10;
    constexpr std::uint8_t kExtendedPort = 0x0F;
    const std::uint8_t port = first & 0x0F;
    if (port == 0)
        return std::nullopt;
    Segment segment;
    segment.kind = SegmentKind::Port;
    const std::size_t length = (first & kLongLinkAddress) ? reader.u8() : 1;
    segment.value = port == kExtendedPort ? reader.u16() : port;
    segment.data = reader.take(length).toBytes();
    if ((first & kLongLinkAddress) && length % 2 == 1)
        reader.u8();
    return segment;
}

std::optional<Segment> parseKey(ByteReader& reader)
{
    if (reader.u8() != kKeyFormat)
        return std::nullopt;
    Segment segment;
    segment.kind = SegmentKind::Key;
    segment.data = reader.take(kKeySize).toBytes();
    return segment;
}

std::optional<Segment> parseLogical(std::uint8_t first, ByteReader& reader)
{
    constexpr SegmentKind kKinds[] = {SegmentKind::Class, SegmentKind::Instance,
                                      SegmentKind::Member, SegmentKind::ConnectionPoint,
                                      SegmentKind::Attribute};
    if (first == kElectronicKey)
        return parseKey(reader);
    const unsigned type = (first >> 2) & 0x07;
    const unsigned format = first & 0x03;
    if (type >= std::size(kKinds) || format > 2)
        return std::nullopt;
    Segment segment;
    segment.kind = kKinds[type];
    if (format == 0) {
        segment.value = reader.u8();
        return segment;
    }
    reader.u8(); // pad, so that the wider value begins on an even byte
    segment.value = format == 1 ? reader.u16() : reader.u32();
    return segment;
}

std::optional<Segment> parseSymbol(ByteReader& reader)
{
    const std::size_t length = reader.u8();
    const ByteView name = reader.take(length);
    if (length % 2 == 1)
        reader.u8();
    if (length == 0)
        return std::nullopt;
    Segment segment;
    segment.kind = SegmentKind::Symbol;
    segment.symbol.assign(name.begin(), name.end());
    return segment;
}

std::optional<Segment> parseSegment(ByteReader& reader)
{
    const std::uint8_t first = reader.u8();
    if (first == kExtendedSymbol)
        return parseSymbol(reader);
    if ((first & kSegmentTypeMask) == kPortSegment)
        return parsePort(first, reader);
    if ((first & kSegmentTypeMask) == kLogicalSegment)
        return parseLogical(first, reader);
    return std::nullopt;
}

} // namespace

std::optional<Path> parsePath(ByteView bytes)
{
    ByteReader reader(bytes);
    Path path;
    while (reader.remaining() > 0) {
        const std::optional<Segment> segment = parseSegment(reader);
        if (!segment || !reader.ok())
            return std::nullopt;
        path.push_back(*segment);
    }
    return path;
}

bool addressesClass(const Path& path, std::uint32_t classId)
{
    return !path.empty() && path[0].kind == SegmentKind::Class && path[0].value == classId;
}

} // namespace plcsim
