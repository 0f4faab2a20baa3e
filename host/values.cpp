#include "values.h"

#include "tag_reference.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

namespace panelhost {
namespace {

/// Bytes that one element takes in the registers.
int registerBytes(const CipType& type)
{
    switch (type.form) {
    case RegisterForm::Bit: return 1;
    case RegisterForm::String: return 1;
    case RegisterForm::Byte: return 2 * type.width;
    case RegisterForm::Word: return 2;
    case RegisterForm::DoubleWord: return 4;
    case RegisterForm::QuadWord: return 8;
    }
    return 0;
}

/// The controller's bytes of an element as one number, first byte lowest.
std::uint64_t elementBits(const CipType& type, const char* registers)
{
    const int step = type.form == RegisterForm::Byte ? 2 : 1;
    std::uint64_t bits = 0;
    for (int i = type.width - 1; i >= 0; --i)
        bits = bits << 8 | static_cast<std::uint8_t>(registers[i * step]);
    return bits;
}

std::int64_t signExtend(std::uint64_t bits, int width)
{
    const int unused = 64 - 8 * width;
    return static_cast<std::int64_t>(bits << unused) >> unused;
}

Value realFromBits(std::uint64_t bits, int width)
{
    if (width == 4) {
        const auto narrow = static_cast<std::uint32_t>(bits);
        float value = 0;
        std::memcpy(&value, &narrow, sizeof value);
        return value;
    }
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

Value decodeElement(const CipType& type, const char* registers)
{
    const std::uint64_t bits = elementBits(type, registers);
    switch (type.kind) {
    case ValueKind::Bool: return bits != 0; // a controller says 01, or FF
    case ValueKind::Signed: return signExtend(bits, type.width);
    case ValueKind::Real: return realFromBits(bits, type.width);
    default: return bits;
    }
}

void appendUtf8(std::string* utf8, unsigned int character)
{
    if (character < 0x80) {
        utf8->push_back(static_cast<char>(character));
    } else if (character < 0x800) {
        utf8->push_back(static_cast<char>(0xC0 | character >> 6));
        utf8->push_back(static_cast<char>(0x80 | (character & 0x3F)));
    } else {
        utf8->push_back(static_cast<char>(0xE0 | character >> 12));
        utf8->push_back(static_cast<char>(0x80 | (character >> 6 & 0x3F)));
        utf8->push_back(static_cast<char>(0x80 | (character & 0x3F)));
    }
}

/// The low byte of every register.
QByteArray joinBytes(const QByteArray& registers)
{
    QByteArray bytes;
    for (int i = 0; i < registers.size(); i += 2)
        bytes.append(registers.at(i));
    return bytes;
}

/// Where the characters of a text begin, how many there are and how wide they are.
struct TextExtent {
    std::size_t begin = 0;
    std::size_t characters = 0;
    std::size_t characterSize = 1;

    std::size_t end() const { return begin + characters * characterSize; }
};

TextExtent textExtent(const TextLayout& layout, ByteView bytes)
{
    TextExtent extent;
    extent.characterSize = static_cast<std::size_t>(layout.characterSize);
    if (layout.characterSizeField) {
        extent.characterSize = bytes.u16(0);
        extent.begin = 2;
    }
    extent.characters =
        layout.lengthFieldSize == 1 ? bytes.u8(extent.begin) : bytes.u16(extent.begin);
    extent.begin += static_cast<std::size_t>(layout.lengthFieldSize);
    return extent;
}

std::string decodeText(const CipType& type, const QByteArray& registers, int textSize)
{
    QByteArray bytes;
    TextExtent extent;
    if (type.form == RegisterForm::String) {
        // The driver dropped the length field.
        bytes = registers;
        extent.characters = static_cast<std::size_t>(textSize - type.text.lengthFieldSize);
    } else {
        bytes = joinBytes(registers);
        extent = textExtent(type.text, ByteView(bytes));
    }
    const ByteView view(bytes);
    std::string text;
    for (std::size_t at = extent.begin; at < extent.end(); at += extent.characterSize)
        appendUtf8(&text, extent.characterSize == 1 ? view.u8(at) : view.u16(at));
    return text;
}

/// A text never breaks the line it is shown in.
std::string quote(const std::string& text)
{
    std::string quoted = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02X", unsigned{byte});
            quoted += escape;
            continue;
        }
        if (c == '"' || c == '\\')
            quoted += '\\';
        quoted += c;
    }
    return quoted + '"';
}

template <typename Number>
std::string shortest(Number number)
{
    char text[64];
    const auto [end, error] = std::to_chars(text, text + sizeof text, number);
    return error == std::errc() ? std::string(text, end) : std::string();
}

[[noreturn]] void refuse(const std::string& what)
{
    throw UsageError(what);
}

std::string upper(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

std::string rangeOf(const CipType& type)
{
    const int bits = 8 * type.width;
    if (type.kind == ValueKind::Signed) {
        const std::int64_t highest = std::numeric_limits<std::int64_t>::max() >> (64 - bits);
        return std::to_string(-highest - 1) + ".." + std::to_string(highest);
    }
    const std::uint64_t highest = std::numeric_limits<std::uint64_t>::max() >> (64 - bits);
    if (type.kind == ValueKind::Bits) {
        char text[40];
        std::snprintf(text, sizeof text, "16#0..16#%llX", static_cast<unsigned long long>(highest));
        return text;
    }
    return "0.." + std::to_string(highest);
}

Value parseBool(const CipType& type, const std::string& text)
{
    const std::string word = upper(text);
    if (word == "1" || word == "TRUE" || word == "ON")
        return true;
    if (word == "0" || word == "FALSE" || word == "OFF")
        return false;
    refuse(text + " does not fit " + type.name + " (0 or 1)");
}

/// Sign and magnitude of a whole number, decimal or with 16# or 0x in front.
struct WholeNumber {
    bool negative = false;
    std::uint64_t magnitude = 0;
};

WholeNumber parseWhole(const CipType& type, const std::string& text)
{
    WholeNumber number;
    std::string digits = text;
    if (!digits.empty() && (digits.front() == '-' || digits.front() == '+')) {
        number.negative = digits.front() == '-';
        digits.erase(0, 1);
    }
    int base = 10;
    const std::string prefix = upper(digits.substr(0, std::min<std::size_t>(3, digits.size())));
    if (prefix == "16#" || prefix.rfind("0X", 0) == 0) {
        base = 16;
        digits.erase(0, prefix == "16#" ? 3 : 2);
    }
    const char* end = digits.data() + digits.size();
    const auto [stopped, error] = std::from_chars(digits.data(), end, number.magnitude, base);
    if (error == std::errc::result_out_of_range && stopped == end)
        refuse(text + " does not fit " + type.name + " (" + rangeOf(type) + ")");
    if (digits.empty() || error != std::errc() || stopped != end)
        refuse("'" + text + "' is not a whole number, as " + type.name + " needs");
    return number;
}

Value parseInteger(const CipType& type, const std::string& text)
{
    const WholeNumber number = parseWhole(type, text);
    const int bits = 8 * type.width;
    if (type.kind == ValueKind::Signed) {
        const std::uint64_t highest = std::uint64_t{1} << (bits - 1);
        if (number.magnitude > (number.negative ? highest : highest - 1))
            refuse(text + " does not fit " + type.name + " (" + rangeOf(type) + ")");
        return static_cast<std::int64_t>(number.negative ? 0 - number.magnitude : number.magnitude);
    }
    const std::uint64_t highest = std::numeric_limits<std::uint64_t>::max() >> (64 - bits);
    if (number.magnitude > highest || (number.negative && number.magnitude != 0))
        refuse(text + " does not fit " + type.name + " (" + rangeOf(type) + ")");
    return number.magnitude;
}

template <typename Number>
Value parseReal(const CipType& type, const std::string& text)
{
    Number number{};
    const std::string digits = !text.empty() && text.front() == '+' ? text.substr(1) : text;
    const char* end = digits.data() + digits.size();
    const auto [stopped, error] = std::from_chars(digits.data(), end, number);
    if (digits.empty() || stopped != end || error == std::errc::invalid_argument)
        refuse("'" + text + "' is not a number, as " + type.name + " needs");
    if (error == std::errc::result_out_of_range)
        refuse(text + " does not fit " + type.name);
    return number;
}

/// A character that Latin-1 lacks has no place in a controller.
std::string utf8ToLatin1(const std::string& text)
{
    std::string latin1;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x80) {
            latin1.push_back(text[i]);
        } else if ((byte == 0xC2 || byte == 0xC3) && i + 1 < text.size()) {
            const auto next = static_cast<unsigned char>(text[++i]);
            latin1.push_back(static_cast<char>((byte & 0x03) << 6 | (next & 0x3F)));
        } else {
            refuse("'" + text + "' holds a character that controller strings (Latin-1) lack");
        }
    }
    return latin1;
}

Value parseText(const CipType& type, const std::string& text)
{
    std::string characters = text;
    if (characters.size() >= 2 && characters.front() == '"' && characters.back() == '"')
        characters = characters.substr(1, characters.size() - 2);
    const std::size_t length = utf8ToLatin1(characters).size();
    if (length > static_cast<std::size_t>(kMaxTextLength))
        refuse("a text of " + std::to_string(length) + " characters does not fit " + type.name +
               " (at most 255)");
    return characters;
}

/// The low width bytes of bits, and zeros up to size bytes.
void appendLittleEndian(QByteArray* bytes, std::uint64_t bits, int width, int size)
{
    for (int i = 0; i < size; ++i)
        bytes->append(i < width ? static_cast<char>(bits >> (8 * i) & 0xFF) : '\0');
}

std::uint64_t bitsOf(const Value& value)
{
    struct Bits {
        std::uint64_t operator()(bool b) const { return b ? 1 : 0; }
        std::uint64_t operator()(std::int64_t i) const { return static_cast<std::uint64_t>(i); }
        std::uint64_t operator()(std::uint64_t u) const { return u; }
        std::uint64_t operator()(float f) const
        {
            std::uint32_t bits = 0;
            std::memcpy(&bits, &f, sizeof bits);
            return bits;
        }
        std::uint64_t operator()(double d) const
        {
            std::uint64_t bits = 0;
            std::memcpy(&bits, &d, sizeof bits);
            return bits;
        }
        std::uint64_t operator()(const std::string&) const { return 0; }
    };
    return std::visit(Bits(), value);
}

} // namespace

int measureText(const CipType& type, ByteView valueBytes)
{
    const TextExtent extent = textExtent(type.text, valueBytes);
    const bool knownWidth = extent.characterSize == 1 || extent.characterSize == 2;
    if (!knownWidth || extent.begin > valueBytes.size() || extent.end() > valueBytes.size())
        return -1;
    return static_cast<int>(extent.end());
}

unsigned int registersFor(const CipType& type, int count, int textSize)
{
    if (type.form == RegisterForm::String)
        return static_cast<unsigned int>(textSize - type.text.lengthFieldSize + 1) / 2;
    if (type.kind == ValueKind::Text)
        return static_cast<unsigned int>(textSize);
    if (type.form == RegisterForm::Bit)
        return static_cast<unsigned int>(count);
    return static_cast<unsigned int>(count * registerBytes(type) / 2);
}

std::vector<Value> decodeRegisters(const CipType& type, const QByteArray& registers, int count,
                                   int textSize)
{
    std::vector<Value> values;
    const int width =
        type.kind == ValueKind::Text
            ? 2 * static_cast<int>(registersFor(type, 1, textSize)) // one element, as a whole
            : registerBytes(type);
    if (registers.size() < count * width)
        return values;
    values.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        if (type.kind == ValueKind::Text)
            values.emplace_back(decodeText(type, registers, textSize));
        else
            values.push_back(decodeElement(type, registers.constData() + i * width));
    }
    return values;
}

std::string formatValue(const CipType& type, const Value& value)
{
    if (std::holds_alternative<std::string>(value))
        return quote(std::get<std::string>(value));
    return plainValue(type, value);
}

std::string plainValue(const CipType& type, const Value& value)
{
    if (type.kind == ValueKind::Bits) {
        char text[24];
        std::snprintf(text, sizeof text, "16#%0*llX", 2 * type.width,
                      static_cast<unsigned long long>(bitsOf(value)));
        return text;
    }
    struct Plain {
        std::string operator()(bool b) const { return b ? "1" : "0"; }
        std::string operator()(std::int64_t i) const { return std::to_string(i); }
        std::string operator()(std::uint64_t u) const { return std::to_string(u); }
        std::string operator()(float f) const { return shortest(f); }
        std::string operator()(double d) const { return shortest(d); }
        std::string operator()(const std::string& s) const { return s; }
    };
    return std::visit(Plain(), value);
}

double toNumber(const Value& value)
{
    struct Number {
        double operator()(bool b) const { return b ? 1 : 0; }
        double operator()(std::int64_t i) const { return static_cast<double>(i); }
        double operator()(std::uint64_t u) const { return static_cast<double>(u); }
        double operator()(float f) const { return static_cast<double>(f); }
        double operator()(double d) const { return d; }
        double operator()(const std::string&) const { return 0; }
    };
    return std::visit(Number(), value);
}

Value parseValue(const CipType& type, const std::string& text)
{
    switch (type.kind) {
    case ValueKind::Bool: return parseBool(type, text);
    case ValueKind::Signed:
    case ValueKind::Unsigned:
    case ValueKind::Bits: return parseInteger(type, text);
    case ValueKind::Real:
        return type.width == 4 ? parseReal<float>(type, text) : parseReal<double>(type, text);
    case ValueKind::Text: return parseText(type, text);
    }
    refuse(std::string(type.name) + " values cannot be written");
}

QByteArray encodeRegisters(const CipType& type, const std::vector<Value>& values)
{
    QByteArray bytes;
    for (const Value& value : values) {
        if (const auto* text = std::get_if<std::string>(&value))
            bytes.append(QByteArray::fromStdString(utf8ToLatin1(*text)));
        else
            appendLittleEndian(&bytes, bitsOf(value), type.width, registerBytes(type));
    }
    return bytes;
}

int writeCount(const CipType& type, const std::vector<Value>& values)
{
    const int elements = static_cast<int>(values.size());
    switch (type.form) {
    case RegisterForm::Bit:
    case RegisterForm::Byte:
    case RegisterForm::Word: return elements;
    case RegisterForm::DoubleWord: return 2 * elements;
    case RegisterForm::QuadWord: return 4 * elements;
    case RegisterForm::String: return 1;
    }
    return elements;
}

} // namespace panelhost
