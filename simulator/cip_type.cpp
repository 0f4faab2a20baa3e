#include "cip_type.h"

#include <algorithm>
#include <array>
#include <limits>

namespace plcsim {

namespace {

// The date and time types are counts; DATE_AND_TIME is a time of day in its low four bytes and a
// date in the upper two. A controller's STRING is CIP's SHORT_STRING; the CIP type of the name
// STRING, with a two-byte length, is called LONG_STRING here.
constexpr std::array kTypes = {
    CipType{0xC1, "BOOL", TypeKind::Boolean, 1},
    CipType{0xC2, "SINT", TypeKind::Signed, 1},
    CipType{0xC3, "INT", TypeKind::Signed, 2},
    CipType{0xC4, "DINT", TypeKind::Signed, 4},
    CipType{0xC5, "LINT", TypeKind::Signed, 8},
    CipType{0xC6, "USINT", TypeKind::Unsigned, 1},
    CipType{0xC7, "UINT", TypeKind::Unsigned, 2},
    CipType{0xC8, "UDINT", TypeKind::Unsigned, 4},
    CipType{0xC9, "ULINT", TypeKind::Unsigned, 8},
    CipType{0xCA, "REAL", TypeKind::Real, 4},
    CipType{0xCB, "LREAL", TypeKind::Real, 8},
    CipType{0xCC, "STIME", TypeKind::Signed, 4},
    CipType{0xCD, "DATE", TypeKind::Unsigned, 2},
    CipType{0xCE, "TIME_OF_DAY", TypeKind::Unsigned, 4},
    CipType{0xCF, "DATE_AND_TIME", TypeKind::Unsigned, 6},
    CipType{0xD0, "LONG_STRING", TypeKind::Text, 0, {false, 2, 1}},
    CipType{0xD1, "BYTE", TypeKind::Bits, 1},
    CipType{0xD2, "WORD", TypeKind::Bits, 2},
    CipType{0xD3, "DWORD", TypeKind::Bits, 4},
    CipType{0xD4, "LWORD", TypeKind::Bits, 8},
    CipType{0xD5, "STRING2", TypeKind::Text, 0, {false, 2, 2}},
    CipType{0xD6, "FTIME", TypeKind::Signed, 4},
    CipType{0xD7, "LTIME", TypeKind::Signed, 8},
    CipType{0xD8, "ITIME", TypeKind::Signed, 2},
    CipType{0xD9, "STRINGN", TypeKind::Text, 0, {true, 2, 1}},
    CipType{0xDA, "STRING", TypeKind::Text, 0, {false, 1, 1}},
    CipType{0xDB, "TIME", TypeKind::Signed, 4},
};

} // namespace

std::int64_t CipType::maxSigned() const
{
    return static_cast<std::int64_t>(std::numeric_limits<std::uint64_t>::max() >> (65 - bits()));
}

std::int64_t CipType::minSigned() const
{
    return -maxSigned() - 1;
}

std::uint64_t CipType::maxUnsigned() const
{
    return std::numeric_limits<std::uint64_t>::max() >> (64 - bits());
}

std::size_t CipType::longestText() const
{
    return text.lengthBytes == 1 ? 0xFF : 0xFFFF;
}

const CipType* findType(std::string_view name)
{
    if (name == "SHORT_STRING")
        name = "STRING";
    const auto found = std::find_if(kTypes.begin(), kTypes.end(),
                                    [name](const CipType& type) { return name == type.name; });
    return found == kTypes.end() ? nullptr : &*found;
}

const std::vector<std::string>& typeNames()
{
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        for (const CipType& type : kTypes)
            all.emplace_back(type.name);
        return all;
    }();
    return names;
}

} // namespace plcsim
