// One value of an elementary type: as bytes on the wire and as text for people.
#pragma once

#include "bytes.h"
#include "cip_type.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>

namespace plcsim {

/// Signed types hold int64_t, booleans, unsigned and bit types uint64_t, reals double, texts
/// string.
using Value = std::variant<std::int64_t, std::uint64_t, double, std::string>;

/// A value that its type cannot hold, or a text that is none; what() says so in words.
class ValueError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

Value zeroOf(const CipType& type);

/// The value a person wrote: 12, -3, 16#FF, 0xFF, true, 2.5, "text". Throws ValueError.
Value parseValue(const CipType& type, std::string_view text);

/// Turns a whole or a real number into a value of the type. Throws ValueError if it does not fit.
Value integerValue(const CipType& type, std::int64_t number);
Value realValue(const CipType& type, double number);

/// How a person reads it; parseValue() takes it back unchanged.
std::string formatValue(const CipType& type, const Value& value);

/// The value's bytes on the wire; `trueByte` stands for a true BOOL.
Bytes encodeValue(const CipType& type, const Value& value, std::uint8_t trueByte);

/// Takes one value off the reader. Nothing if the bytes end early or hold a character that this
/// simulator does not carry.
std::optional<Value> decodeValue(const CipType& type, ByteReader& reader);

} // namespace plcsim
