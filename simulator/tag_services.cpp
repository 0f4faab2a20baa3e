#include "tag_services.h"

#include <algorithm>

namespace plcsim {

namespace {

constexpr std::size_t kTypeCodeSize = 2;

/// A tag path is a symbol and, for an element of an array, one member segment.
bool isTagPath(const Path& path)
{
    return path.size() == 1 || (path.size() == 2 && path[1].kind == SegmentKind::Member);
}

bool isMemberOfStructure(const Path& path)
{
    return path.size() > 1 && path[1].kind == SegmentKind::Symbol;
}

/// Why no elements [first, first + count) can be had of the tag, if so.
std::optional<CipReply> rangeRefusal(std::uint8_t serviceCode, const Tag& tag, std::size_t first,
                                     std::size_t count)
{
    if (count == 0)
        return refusal(serviceCode, status::kInvalidParameter);
    if (first + count > tag.size())
        return refusal(serviceCode, status::kGeneralError, extended::kBeyondEnd);
    return std::nullopt;
}

Bytes typeAnd(const Tag& tag, ByteView values)
{
    Bytes data;
    ByteWriter(data).u16(tag.type().code).append(values);
    return data;
}

} // namespace

CipReply TagServices::handle(const CipRequest& request, const Path& path,
                             std::size_t mostReplyBytes)
{
    Target target;
    target.tag = store_.find(path[0].symbol);
    if (!target.tag || isMemberOfStructure(path))
        return refusal(request.service, status::kPathDestinationUnknown);
    if (!isTagPath(path))
        return refusal(request.service, status::kPathSegmentError);
    target.first = path.size() == 2 ? path[1].value : 0;

    switch (request.service) {
    case service::kReadTag: return read(request, target, mostReplyBytes);
    case service::kReadTagFragmented: return readFragmented(request, target, mostReplyBytes);
    case service::kWriteTag:
    case service::kWriteTagFragmented: return write(request, target);
    default: return refusal(request.service, status::kServiceNotSupported);
    }
}

CipReply TagServices::read(const CipRequest& request, Target target, std::size_t mostReplyBytes)
{
    ByteReader reader(request.data);
    target.count = reader.u16();
    if (!reader.ok())
        return refusal(request.service, status::kNotEnoughData);
    if (reader.remaining() > 0 && options_.refuseLongReadData)
        return refusal(request.service, status::kTooMuchData);
    return readRange(request.service, target, 0, mostReplyBytes);
}

CipReply TagServices::readFragmented(const CipRequest& request, Target target,
                                     std::size_t mostReplyBytes)
{
    ByteReader reader(request.data);
    target.count = reader.u16();
    const std::size_t offset = reader.u32();
    if (!reader.ok())
        return refusal(request.service, status::kNotEnoughData);
    if (reader.remaining() > 0)
        return refusal(request.service, status::kTooMuchData);
    return readRange(request.service, target, offset, mostReplyBytes);
}

/// The bytes of the range from `offset` on; what does not fit the reply is cut between two
/// elements, and the status says so.
CipReply TagServices::readRange(std::uint8_t serviceCode, const Target& target, std::size_t offset,
                                std::size_t mostReplyBytes)
{
    if (auto refused = rangeRefusal(serviceCode, *target.tag, target.first, target.count))
        return *refused;
    const Bytes all = target.tag->bytes(target.first, target.count);
    if (offset >= all.size())
        return refusal(serviceCode, status::kGeneralError, extended::kBeyondEnd);
    const std::size_t width = std::max<std::size_t>(target.tag->type().width, 1);
    const std::size_t room = mostReplyBytes - kReplyHeaderSize - kTypeCodeSize;
    const std::size_t left = all.size() - offset;
    const std::size_t sent = left <= room ? left : room / width * width;
    CipReply reply =
        success(serviceCode, typeAnd(*target.tag, ByteView(all.data() + offset, sent)));
    if (sent < left)
        reply.general = status::kPartialTransfer;
    return reply;
}

CipReply TagServices::write(const CipRequest& request, Target target)
{
    WriteData data;
    data.fragmented = request.service == service::kWriteTagFragmented;
    ByteReader reader(request.data);
    data.typeCode = reader.u16();
    target.count = reader.u16();
    data.offset = data.fragmented ? reader.u32() : 0;
    data.values = reader.rest();
    if (!reader.ok() || data.values.empty())
        return refusal(request.service, status::kNotEnoughData);
    if (target.tag->definition().readOnly)
        return refusal(request.service, status::kPrivilegeViolation);
    if (data.typeCode != target.tag->type().code)
        return refusal(request.service, status::kGeneralError, extended::kTypeMismatch);
    if (auto refused = rangeRefusal(request.service, *target.tag, target.first, target.count))
        return *refused;
    const std::uint8_t general =
        target.tag->type().isText() ? writeText(target, data) : writeFixedWidth(target, data);
    return refusal(request.service, general); // with status 0 when the write was done
}

/// A fragment carries whole elements, beginning `offset` bytes into the range.
std::uint8_t TagServices::writeFixedWidth(const Target& target, const WriteData& data)
{
    const CipType& type = target.tag->type();
    const std::size_t total = target.count * type.width;
    if (data.offset + data.values.size() > total)
        return status::kTooMuchData;
    if (!data.fragmented && data.values.size() < total)
        return status::kNotEnoughData;
    if (data.offset % type.width != 0 || data.values.size() % type.width != 0)
        return status::kNotEnoughData;
    ByteReader reader(data.values);
    for (std::size_t i = target.first + data.offset / type.width; reader.remaining() > 0; ++i)
        store_.write(*target.tag, i, *decodeValue(type, reader), ChangeCause::Client);
    return status::kSuccess;
}

/// Texts are written whole: nobody could tell where an element begins within a fragment.
std::uint8_t TagServices::writeText(const Target& target, const WriteData& data)
{
    if (data.offset != 0)
        return status::kInvalidParameter;
    ByteReader reader(data.values);
    std::vector<Value> texts;
    for (std::size_t i = 0; i < target.count; ++i) {
        const std::optional<Value> text = decodeValue(target.tag->type(), reader);
        if (!text)
            return status::kNotEnoughData;
        if (std::get<std::string>(*text).size() > target.tag->definition().maxLength)
            return status::kTooMuchData;
        texts.push_back(*text);
    }
    if (reader.remaining() > 0)
        return status::kTooMuchData;
    for (std::size_t i = 0; i < texts.size(); ++i)
        store_.write(*target.tag, target.first + i, texts[i], ChangeCause::Client);
    return status::kSuccess;
}

} // namespace plcsim
