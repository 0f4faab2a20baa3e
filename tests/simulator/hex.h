// Bytes written as hex text, both ways.
#pragma once

#include "bytes.h"

#include <string>

inline plcsim::Bytes fromHex(const std::string& text)
{
    plcsim::Bytes bytes;
    std::string digits;
    for (const char c : text) {
        if (c == ' ' || c == '\n')
            continue;
        digits += c;
        if (digits.size() == 2) {
            bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits, nullptr, 16)));
            digits.clear();
        }
    }
    return bytes;
}

inline std::string toHex(plcsim::ByteView bytes)
{
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        if (!text.empty())
            text += ' ';
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0xF];
    }
    return text;
}
