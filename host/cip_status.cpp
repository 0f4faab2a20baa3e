#include "cip_status.h"

#include <cstdio>

namespace panelhost {
namespace {

struct StatusWords {
    std::uint16_t code;
    const char* words;
};

constexpr StatusWords kTagStatuses[] = {
    {0x01, "connection failure inside the controller"},
    {0x02, "the controller is out of resources; try again"},
    {0x03, "invalid parameter value"},
    {0x04, "no such tag, or not a global variable"},
    {0x05, "no such tag, or not a global variable"},
    {0x06, "the reply would not fit one packet; ask for fewer elements"},
    {0x08, "service not supported for this tag"},
    {0x0A, "error in the attribute list"},
    {0x0C, "not possible in the controller's present mode"},
    {0x0E, "the tag is read-only"},
    {0x0F, "access denied: the controller's program lets nobody outside write this tag"},
    {0x10, "not possible in the controller's present state"},
    {0x11, "the reply is too large; ask for fewer elements"},
    {0x13, "not enough data in the request"},
    {0x14, "attribute not supported"},
    {0x15, "too much data in the request"},
    {0x1E, "error inside the controller"},
    {0x20, "invalid parameter"},
    {0x26, "the controller does not understand the tag path"},
};

constexpr StatusWords kTagExtendedStatuses[] = {
    {cip_status::kOffsetBeyondEnd, "beyond the end of the tag's data"},
    {cip_status::kBeyondEnd, "beyond the end of the array; arrays start at 0"},
    {0x2106, "the tag's data is in use; try again"},
    {cip_status::kTypeMismatch, "data type mismatch"},
};

constexpr StatusWords kConnectionExtendedStatuses[] = {
    {0x0100, "the connection is in use: another panel opened it in the same second, try again"},
    {0x0103, "transport class not supported"},
    {0x0106, "another originator owns the connection"},
    {0x0107, "connection not found"},
    {0x0109, "connection size not supported"},
    {0x0111, "packet interval not supported"},
    {0x0113, "the controller has no free connection; close other clients"},
    {0x0203, "connection timed out"},
    {0x0204, "the controller timed out on the request"},
    {0x0205, "error in a parameter of the request"},
    {0x0301, "the controller has no buffer memory"},
    {0x0311, "no such port in the connection path"},
    {0x0312, "no such link address in the connection path"},
    {0x0315, "the controller does not understand the connection path"},
};

constexpr StatusWords kEncapsulationStatuses[] = {
    {0x0001, "command not supported: this may not be an EtherNet/IP controller"},
    {0x0002, "no session granted: the controller is out of them; close other clients"},
    {0x0003, "malformed data"},
    {0x0064, "session handle unknown: the controller dropped the session"},
    {0x0065, "wrong length"},
    {0x0069, "protocol version not supported"},
};

template <std::size_t N>
const char* find(const StatusWords (&table)[N], std::uint32_t code)
{
    for (const StatusWords& entry : table)
        if (entry.code == code)
            return entry.words;
    return nullptr;
}

std::string withCode(const char* words, const CipStatus& status)
{
    char code[40];
    if (status.extended)
        std::snprintf(code, sizeof code, " (status 0x%02X/0x%04X)", unsigned{status.general},
                      unsigned{*status.extended});
    else
        std::snprintf(code, sizeof code, " (status 0x%02X)", unsigned{status.general});
    return std::string(words != nullptr ? words : "refused by the controller") + code;
}

} // namespace

std::string describeTagStatus(const CipStatus& status)
{
    const char* words = nullptr;
    if (status.general == cip_status::kGeneralError && status.extended)
        words = find(kTagExtendedStatuses, *status.extended);
    else
        words = find(kTagStatuses, status.general);
    return withCode(words, status);
}

std::string describeConnectionStatus(const CipStatus& status)
{
    const char* words = nullptr;
    if (status.general == cip_status::kConnectionFailure && status.extended)
        words = find(kConnectionExtendedStatuses, *status.extended);
    else
        words = find(kTagStatuses, status.general);
    return "Forward Open refused: " + withCode(words, status);
}

std::string describeEncapsulationStatus(std::uint32_t status)
{
    const char* words = find(kEncapsulationStatuses, status);
    char code[40];
    std::snprintf(code, sizeof code, " (encapsulation status 0x%04X)", status);
    return std::string(words != nullptr ? words : "refused by the controller") + code;
}

} // namespace panelhost
