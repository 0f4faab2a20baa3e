// The CIP elementary data types: names, widths, and how the driver hands their values over.

#ifndef PANELHOST_CIP_TYPE_H
#define PANELHOST_CIP_TYPE_H

#include <cstdint>
#include <string>

namespace panelhost {

enum class ValueKind {
    Bool,
    Signed,
    Unsigned,
    Real,
    Bits, ///< BYTE to LWORD, shown as 16#...
    Text,
};

/// How the driver lays a type's elements out in 16-bit host registers.
enum class RegisterForm {
    Bit,        ///< one byte per element
    String,     ///< the characters without their length, two per register
    Byte,       ///< one register per byte, upper half 0; wider types are put together again
    Word,       ///< one register per element
    DoubleWord, ///< two registers per element
    QuadWord,   ///< four registers per element
};

/// How a text type's bytes are arranged: fields of two bytes each, then the characters.
struct TextLayout {
    bool characterSizeField; ///< the size of a character comes first
    int lengthFieldSize;     ///< bytes of the field that counts the characters
    int characterSize;       ///< bytes; overruled by the size field
};

struct CipType {
    std::uint8_t code;
    const char* name;
    int width; ///< bytes of one element in a reply; 0 when it varies
    ValueKind kind;
    RegisterForm form;
    TextLayout text;

    /// The driver's write request counts bytes as elements for types it does not know as wide ones,
    /// so only those of one byte can be written.
    bool writable() const;
};

/// Null for a code that is no elementary type.
const CipType* findCipType(std::uint8_t code);
/// By name, any case; null when there is none.
const CipType* findCipType(const std::string& name);

} // namespace panelhost

#endif // PANELHOST_CIP_TYPE_H
