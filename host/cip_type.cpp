#include "cip_type.h"

#include <algorithm>
#include <cctype>
#include <iterator>

namespace panelhost {
namespace {

constexpr TextLayout kNoText = {false, 0, 0};

// A controller's STRING is what CIP calls SHORT_STRING; the CIP type of the name STRING, with a length
// of two bytes, is called LONG_STRING here, as programming tools never show it.
constexpr CipType kTypes[] = {
    {0xC1, "BOOL", 1, ValueKind::Bool, RegisterForm::Bit, kNoText},
    {0xC2, "SINT", 1, ValueKind::Signed, RegisterForm::Byte, kNoText},
    {0xC3, "INT", 2, ValueKind::Signed, RegisterForm::Word, kNoText},
    {0xC4, "DINT", 4, ValueKind::Signed, RegisterForm::DoubleWord, kNoText},
    {0xC5, "LINT", 8, ValueKind::Signed, RegisterForm::QuadWord, kNoText},
    {0xC6, "USINT", 1, ValueKind::Unsigned, RegisterForm::Byte, kNoText},
    {0xC7, "UINT", 2, ValueKind::Unsigned, RegisterForm::Word, kNoText},
    {0xC8, "UDINT", 4, ValueKind::Unsigned, RegisterForm::DoubleWord, kNoText},
    {0xC9, "ULINT", 8, ValueKind::Unsigned, RegisterForm::QuadWord, kNoText},
    {0xCA, "REAL", 4, ValueKind::Real, RegisterForm::DoubleWord, kNoText},
    {0xCB, "LREAL", 8, ValueKind::Real, RegisterForm::QuadWord, kNoText},
    {0xCC, "STIME", 4, ValueKind::Signed, RegisterForm::Byte, kNoText},
    {0xCD, "DATE", 2, ValueKind::Unsigned, RegisterForm::Byte, kNoText},
    {0xCE, "TIME_OF_DAY", 4, ValueKind::Unsigned, RegisterForm::Byte, kNoText},
    {0xCF, "DATE_AND_TIME", 6, ValueKind::Unsigned, RegisterForm::Byte, kNoText},
    {0xD0, "LONG_STRING", 0, ValueKind::Text, RegisterForm::Byte, {false, 2, 1}},
    {0xD1, "BYTE", 1, ValueKind::Bits, RegisterForm::Byte, kNoText},
    {0xD2, "WORD", 2, ValueKind::Bits, RegisterForm::Byte, kNoText},
    {0xD3, "DWORD", 4, ValueKind::Bits, RegisterForm::Byte, kNoText},
    {0xD4, "LWORD", 8, ValueKind::Bits, RegisterForm::Byte, kNoText},
    {0xD5, "STRING2", 0, ValueKind::Text, RegisterForm::Byte, {false, 2, 2}},
    {0xD6, "FTIME", 4, ValueKind::Signed, RegisterForm::Byte, kNoText},
    {0xD7, "LTIME", 8, ValueKind::Signed, RegisterForm::Byte, kNoText},
    {0xD8, "ITIME", 2, ValueKind::Signed, RegisterForm::Byte, kNoText},
    {0xD9, "STRINGN", 0, ValueKind::Text, RegisterForm::Byte, {true, 2, 1}},
    {0xDA, "STRING", 0, ValueKind::Text, RegisterForm::String, {false, 1, 1}},
    {0xDB, "TIME", 4, ValueKind::Signed, RegisterForm::Byte, kNoText},
};

bool sameIgnoringCase(const std::string& a, const char* b)
{
    return std::equal(
        a.begin(), a.end(), b, b + std::char_traits<char>::length(b),
        [](unsigned char x, unsigned char y) { return std::toupper(x) == std::toupper(y); });
}

} // namespace

bool CipType::writable() const
{
    return form != RegisterForm::Byte || width == 1;
}

const CipType* findCipType(std::uint8_t code)
{
    const auto* found = std::find_if(std::begin(kTypes), std::end(kTypes),
                                     [code](const CipType& type) { return type.code == code; });
    return found != std::end(kTypes) ? found : nullptr;
}

const CipType* findCipType(const std::string& name)
{
    const auto* found =
        std::find_if(std::begin(kTypes), std::end(kTypes),
                     [&name](const CipType& type) { return sameIgnoringCase(name, type.name); });
    return found != std::end(kTypes) ? found : nullptr;
}

} // namespace panelhost
