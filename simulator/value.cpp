#include "value.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <system_error>

namespace plcsim {

namespace {

std::string rangeOf(const CipType& type)
{
    if (type.kind == TypeKind::Signed)
        return std::to_string(type.minSigned()) + ".." + std::to_string(type.maxSigned());
    return "0.." + std::to_string(type.maxUnsigned());
}

[[noreturn]] void refuse(const CipType& type, std::string_view text)
{
    throw ValueError(std::string(text) + " does not fit " + type.name + " (" + rangeOf(type) + ")");
}

/// The digits behind 16# or 0x, or nothing.
std::optional<std::string_view> hexDigits(std::string_view text)
{
    for (const std::string_view prefix : {"16#", "0x", "0X"})
        if (text.substr(0, prefix.size()) == prefix)
            return text.substr(prefix.size());
    return std::nullopt;
}

template <typename Number>
std::errc parseWhole(std::string_view text, int base, Number& number)
{
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number, base);
    if (result.ec == std::errc() && result.ptr != end)
        return std::errc::invalid_argument;
    return result.ec;
}

Value parseInteger(const CipType& type, std::string_view text)
{
    if (type.kind == TypeKind::Boolean && (text == "true" || text == "false"))
        return std::uint64_t{text == "true"};
    const auto hex = hexDigits(text);
    const int base = hex ? 16 : 10;
    const std::string_view digits = hex.value_or(text);
    std::int64_t number = 0;
    std::uint64_t big = 0;
    std::errc error = parseWhole(digits, base, number);
    if (error == std::errc())
        return integerValue(type, number);
    if (type.kind != TypeKind::Signed && parseWhole(digits, base, big) == std::errc()) {
        if (big > type.maxUnsigned())
            refuse(type, text);
        return big;
    }
    if (error == std::errc::result_out_of_range)
        refuse(type, text);
    throw ValueError("\"" + std::string(text) + "\" is not a whole number");
}

Value parseReal(const CipType& type, std::string_view text)
{
    double number = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end)
        throw ValueError("\"" + std::string(text) + "\" is not a number");
    return realValue(type, number);
}

/// The character that the escape at the head of the text stands for; takes it off.
char takeEscape(std::string_view& text)
{
    unsigned code = 0;
    if (text[0] == 'x' && text.size() > 2 &&
        parseWhole(text.substr(1, 2), 16, code) == std::errc()) {
        text.remove_prefix(3);
        return static_cast<char>(code);
    }
    const char character = text[0];
    if (character != '"' && character != '\\')
        throw ValueError("a text knows the escapes \\\", \\\\ and \\x with two hex digits");
    text.remove_prefix(1);
    return character;
}

Value parseText(const CipType& type, std::string_view text)
{
    if (text.size() < 2 || text.front() != '"' || text.back() != '"')
        throw ValueError("a text stands in double quotes: \"like this\"");
    std::string plain;
    for (text = text.substr(1, text.size() - 2); !text.empty();) {
        const char character = text[0];
        text.remove_prefix(1);
        if (character == '"' || (character == '\\' && text.empty()))
            throw ValueError(
                "a double quote or backslash within a text needs a backslash before it");
        plain += character == '\\' ? takeEscape(text) : character;
    }
    if (plain.size() > type.longestText())
        throw ValueError("the text has " + std::to_string(plain.size()) + " characters, " +
                         type.name + " holds at most " + std::to_string(type.longestText()));
    return plain;
}

template <typename Real>
std::string shortest(Real number)
{
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
    return std::string(buffer, result.ptr);
}

/// Control characters are escaped as well: a text never breaks the line it is shown in.
std::string quoted(const std::string& text)
{
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string result = "\"";
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        if (code < 0x20 || code == 0x7F) {
            result += {'\\', 'x', kHex[code >> 4], kHex[code & 0xF]};
            continue;
        }
        if (c == '"' || c == '\\')
            result += '\\';
        result += c;
    }
    return result + '"';
}

std::uint64_t realBits(const CipType& type, double number)
{
    if (type.width == 8) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &number, sizeof bits);
        return bits;
    }
    const float single = static_cast<float>(number);
    std::uint32_t bits = 0;
    std::memcpy(&bits, &single, sizeof bits);
    return bits;
}

double realFromBits(const CipType& type, std::uint64_t bits)
{
    if (type.width == 8) {
        double number = 0;
        std::memcpy(&number, &bits, sizeof number);
        return number;
    }
    const auto low = static_cast<std::uint32_t>(bits);
    float single = 0;
    std::memcpy(&single, &low, sizeof single);
    return static_cast<double>(single);
}

void encodeText(const TextLayout& layout, const std::string& text, ByteWriter& writer)
{
    if (layout.namesCharacterSize)
        writer.u16(layout.characterBytes);
    writer.little(text.size(), layout.lengthBytes);
    for (const char c : text)
        writer.little(static_cast<std::uint8_t>(c), layout.characterBytes);
}

std::optional<Value> decodeText(const TextLayout& layout, ByteReader& reader)
{
    if (layout.namesCharacterSize && reader.u16() != layout.characterBytes)
        return std::nullopt;
    const std::uint64_t length = reader.little(layout.lengthBytes);
    if (!reader.ok() || reader.remaining() < length * layout.characterBytes)
        return std::nullopt;
    std::string text;
    for (std::uint64_t i = 0; i < length; ++i) {
        const std::uint64_t character = reader.little(layout.characterBytes);
        if (character > 0xFF)
            return std::nullopt;
        text += static_cast<char>(character);
    }
    return text;
}

} // namespace

Value zeroOf(const CipType& type)
{
    switch (type.kind) {
    case TypeKind::Signed: return std::int64_t{0};
    case TypeKind::Real: return 0.0;
    case TypeKind::Text: return std::string();
    default: return std::uint64_t{0};
    }
}

Value integerValue(const CipType& type, std::int64_t number)
{
    if (type.kind == TypeKind::Real)
        return realValue(type, static_cast<double>(number));
    if (type.isText())
        throw ValueError(std::to_string(number) + " is a number, " + type.name + " holds text");
    if (type.kind == TypeKind::Signed) {
        if (number < type.minSigned() || number > type.maxSigned())
            refuse(type, std::to_string(number));
        return number;
    }
    if (number < 0 || static_cast<std::uint64_t>(number) > type.maxUnsigned())
        refuse(type, std::to_string(number));
    return static_cast<std::uint64_t>(number);
}

Value realValue(const CipType& type, double number)
{
    if (type.kind != TypeKind::Real)
        throw ValueError(shortest(number) + " is not a value of type " + type.name);
    if (type.width == 4) {
        if (std::isfinite(number) &&
            std::abs(number) > static_cast<double>(std::numeric_limits<float>::max()))
            throw ValueError(shortest(number) + " does not fit REAL");
        number = static_cast<double>(static_cast<float>(number));
    }
    return number;
}

Value parseValue(const CipType& type, std::string_view text)
{
    if (type.isText())
        return parseText(type, text);
    return type.kind == TypeKind::Real ? parseReal(type, text) : parseInteger(type, text);
}

std::string formatValue(const CipType& type, const Value& value)
{
    switch (type.kind) {
    case TypeKind::Signed: return std::to_string(std::get<std::int64_t>(value));
    case TypeKind::Text: return quoted(std::get<std::string>(value));
    case TypeKind::Real: {
        const double number = std::get<double>(value);
        return type.width == 4 ? shortest(static_cast<float>(number)) : shortest(number);
    }
    case TypeKind::Bits: {
        char buffer[16];
        const auto bits = std::get<std::uint64_t>(value);
        std::string digits(buffer, std::to_chars(buffer, buffer + sizeof buffer, bits, 16).ptr);
        for (char& digit : digits)
            digit = static_cast<char>(std::toupper(static_cast<unsigned char>(digit)));
        return "16#" + std::string(type.width * 2u - digits.size(), '0') + digits;
    }
    default: return std::to_string(std::get<std::uint64_t>(value));
    }
}

Bytes encodeValue(const CipType& type, const Value& value, std::uint8_t trueByte)
{
    Bytes bytes;
    ByteWriter writer(bytes);
    switch (type.kind) {
    case TypeKind::Boolean: writer.u8(std::get<std::uint64_t>(value) ? trueByte : 0); break;
    case TypeKind::Signed:
        writer.little(static_cast<std::uint64_t>(std::get<std::int64_t>(value)), type.width);
        break;
    case TypeKind::Real: writer.little(realBits(type, std::get<double>(value)), type.width); break;
    case TypeKind::Text: encodeText(type.text, std::get<std::string>(value), writer); break;
    default: writer.little(std::get<std::uint64_t>(value), type.width); break;
    }
    return bytes;
}

std::optional<Value> decodeValue(const CipType& type, ByteReader& reader)
{
    if (type.isText())
        return decodeText(type.text, reader);
    const std::uint64_t bits = reader.little(type.width);
    if (!reader.ok())
        return std::nullopt;
    switch (type.kind) {
    case TypeKind::Boolean: return std::uint64_t{bits != 0};
    case TypeKind::Real: return realFromBits(type, bits);
    case TypeKind::Signed: {
        const unsigned unused = 64 - type.bits();
        return static_cast<std::int64_t>(bits << unused) >> unused;
    }
    default: return bits;
    }
}

} // namespace plcsim
