// The elementary CIP data types: code on the wire, name, width and kind.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace plcsim {

enum class TypeKind { Boolean, Signed, Unsigned, Bits, Real, Text };

/// How a text type puts its characters on the wire.
struct TextLayout {
    bool namesCharacterSize; ///< STRINGN leads with the size of one character
    std::uint8_t lengthBytes;
    std::uint8_t characterBytes;
};

struct CipType {
    std::uint16_t code;
    const char* name;
    TypeKind kind;
    std::uint8_t width; ///< bytes per element; 0 for texts, whose width varies
    TextLayout text = {false, 0, 0};

    bool isText() const { return kind == TypeKind::Text; }
    bool isInteger() const { return kind != TypeKind::Real && kind != TypeKind::Text; }
    unsigned bits() const { return kind == TypeKind::Boolean ? 1u : 8u * width; }
    std::int64_t minSigned() const;    ///< of a Signed type
    std::int64_t maxSigned() const;    ///< of a Signed type
    std::uint64_t maxUnsigned() const; ///< of a Boolean, Unsigned or Bits type
    std::size_t longestText() const;   ///< in characters, as the length field allows
};

/// The type of that name, or null. STRING and SHORT_STRING are one type, as in the controllers.
const CipType* findType(std::string_view name);

/// Every name that findType() knows, for messages.
const std::vector<std::string>& typeNames();

} // namespace plcsim
