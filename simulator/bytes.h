// Bytes as they travel: little-endian reading that cannot run past the end, and writing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace plcsim {

using Bytes = std::vector<std::uint8_t>;

/// A look at bytes that somebody else owns.
class ByteView {
public:
    ByteView() = default;
    ByteView(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    ByteView(const Bytes& bytes) : data_(bytes.data()), size_(bytes.size()) {}

    const std::uint8_t* begin() const { return data_; }
    const std::uint8_t* end() const { return data_ + size_; }
    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    std::uint8_t operator[](std::size_t i) const { return data_[i]; }

    Bytes toBytes() const { return Bytes(begin(), end()); }

private:
    const std::uint8_t* data_ = nullptr;
    std::size_t size_ = 0;
};

/// Takes fields off the front. A read past the end yields zeros and makes ok() false for good, so a
/// decoder reads all its fields first and asks once.
class ByteReader {
public:
    explicit ByteReader(ByteView bytes) : bytes_(bytes) {}

    std::uint8_t u8() { return static_cast<std::uint8_t>(little(1)); }
    std::uint16_t u16() { return static_cast<std::uint16_t>(little(2)); }
    std::uint32_t u32() { return static_cast<std::uint32_t>(little(4)); }

    std::uint64_t little(std::size_t width)
    {
        const ByteView field = take(width);
        std::uint64_t value = 0;
        for (std::size_t i = field.size(); i-- > 0;)
            value = value << 8 | field[i];
        return value;
    }

    ByteView take(std::size_t count)
    {
        if (count > remaining()) {
            ok_ = false;
            position_ = bytes_.size();
            return {};
        }
        const ByteView field(bytes_.begin() + position_, count);
        position_ += count;
        return field;
    }

    ByteView rest() { return take(remaining()); }
    std::size_t remaining() const { return bytes_.size() - position_; }
    bool ok() const { return ok_; }

private:
    ByteView bytes_;
    std::size_t position_ = 0;
    bool ok_ = true;
};

/// Appends fields to a byte vector.
class ByteWriter {
public:
    /// Most messages are short: one allocation is enough for them.
    explicit ByteWriter(Bytes& target) : target_(target)
    {
        if (target.empty())
            target.reserve(kShortMessage);
    }

    ByteWriter& u8(std::uint8_t value) { return little(value, 1); }
    ByteWriter& u16(std::uint16_t value) { return little(value, 2); }
    ByteWriter& u32(std::uint32_t value) { return little(value, 4); }

    ByteWriter& little(std::uint64_t value, std::size_t width)
    {
        for (std::size_t i = 0; i < width; ++i, value >>= 8)
            target_.push_back(static_cast<std::uint8_t>(value & 0xFF));
        return *this;
    }

    ByteWriter& append(ByteView bytes)
    {
        target_.insert(target_.end(), bytes.begin(), bytes.end());
        return *this;
    }

    ByteWriter& append(std::string_view text)
    {
        target_.insert(target_.end(), text.begin(), text.end());
        return *this;
    }

private:
    static constexpr std::size_t kShortMessage = 64;

    Bytes& target_;
};

} // namespace plcsim
