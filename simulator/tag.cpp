#include "tag.h"

#include <algorithm>
#include <utility>

namespace plcsim {

Tag::Tag(TagDefinition definition, std::uint8_t trueByte)
    : definition_(std::move(definition)), trueByte_(trueByte), fixedWidth_(size() * type().width),
      texts_(type().isText() ? size() : 0), held_(size(), false)
{
    for (std::size_t i = 0; i < definition_.values.size(); ++i)
        setValue(i, definition_.values[i]);
}

Value Tag::value(std::size_t index) const
{
    if (type().isText())
        return texts_[index];
    ByteReader reader(ByteView(fixedWidth_.data() + index * type().width, type().width));
    return *decodeValue(type(), reader);
}

void Tag::setValue(std::size_t index, const Value& value)
{
    if (type().isText()) {
        texts_[index] = std::get<std::string>(value);
        return;
    }
    const Bytes encoded = encodeValue(type(), value, trueByte_);
    std::copy(encoded.begin(), encoded.end(),
              fixedWidth_.begin() + static_cast<std::ptrdiff_t>(index * type().width));
}

Bytes Tag::bytes(std::size_t first, std::size_t count) const
{
    if (!type().isText())
        return ByteView(fixedWidth_.data() + first * type().width, count * type().width).toBytes();
    Bytes all;
    for (std::size_t i = first; i < first + count; ++i)
        ByteWriter(all).append(encodeValue(type(), texts_[i], trueByte_));
    return all;
}

} // namespace plcsim
