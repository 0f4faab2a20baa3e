#include "hex.h"
#include "tag_reference.h"
#include "values.h"

#include <gtest/gtest.h>

namespace panelhost {
namespace {

const CipType& type(const char* name)
{
    return *findCipType(std::string(name));
}

/// The elements that these registers decode to, as shown to people.
std::string decoded(const char* name, const char* registers, int count, int textSize = 0)
{
    std::string text;
    for (const Value& value : decodeRegisters(type(name), hex(registers), count, textSize))
        text += (text.empty() ? "" : " ") + formatValue(type(name), value);
    return text;
}

std::string complaint(const char* name, const std::string& text)
{
    try {
        parseValue(type(name), text);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "accepted";
}

std::string encoded(const char* name, const std::vector<std::string>& texts)
{
    std::vector<Value> values;
    for (const std::string& text : texts)
        values.push_back(parseValue(type(name), text));
    return encodeRegisters(type(name), values).toHex().toStdString();
}

struct Decoding {
    const char* type;
    const char* registers;
    int count;
    const char* shown;
};

class DecodedRegisters : public testing::TestWithParam<Decoding> {};

TEST_P(DecodedRegisters, ShowTheControllersValue)
{
    const Decoding& row = GetParam();
    EXPECT_EQ(decoded(row.type, row.registers, row.count), row.shown);
}

INSTANTIATE_TEST_SUITE_P(
    Types, DecodedRegisters,
    testing::Values(Decoding{"BOOL", "00 01 ff", 3, "0 1 1"},
                    Decoding{"SINT", "80 00 ff 00 7f 00", 3, "-128 -1 127"},
                    Decoding{"USINT", "80 00 ff 00", 2, "128 255"},
                    Decoding{"INT", "34 12 00 80", 2, "4660 -32768"},
                    Decoding{"UINT", "ff ff", 1, "65535"},
                    Decoding{"DINT", "ff ff ff ff 00 00 00 80", 2, "-1 -2147483648"},
                    Decoding{"UDINT", "00 00 00 80", 1, "2147483648"},
                    Decoding{"LINT", "00 00 00 00 00 00 00 80", 1, "-9223372036854775808"},
                    Decoding{"ULINT", "ff ff ff ff ff ff ff ff", 1, "18446744073709551615"},
                    Decoding{"REAL", "cd cc cc 3d", 1, "0.1"},
                    Decoding{"REAL", "00 00 80 7f 00 00 c0 7f", 2, "inf nan"},
                    Decoding{"LREAL", "9a 99 99 99 99 99 b9 3f", 1, "0.1"},
                    Decoding{"BYTE", "a5 00", 1, "16#A5"},
                    Decoding{"WORD", "34 00 12 00 ff 00 00 00", 2, "16#1234 16#00FF"},
                    Decoding{"DWORD", "78 00 56 00 34 00 12 00", 1, "16#12345678"},
                    Decoding{"LWORD", "08 00 07 00 06 00 05 00 04 00 03 00 02 00 01 00", 1,
                             "16#0102030405060708"},
                    Decoding{"TIME", "ff 00 ff 00 ff 00 ff 00", 1, "-1"},
                    Decoding{"LTIME", "01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00", 1, "1"},
                    Decoding{"DATE_AND_TIME", "01 00 00 00 00 00 00 00 00 00 01 00", 1,
                             "1099511627777"}));

TEST(Values, AShorterTextAfterALongerOneShowsItsTrueLength)
{
    // The driver's store still holds the tail of HELLO behind HI; the reply said two characters.
    EXPECT_EQ(measureText(type("STRING"), ByteView(hex("02 48 49"))), 3);
    EXPECT_EQ(decoded("STRING", "48 49 4c 4c", 1, 3), "\"HI\"");
}

TEST(Values, AnEmptyTextIsEmpty)
{
    EXPECT_EQ(measureText(type("STRING"), ByteView(hex("00"))), 1);
    EXPECT_EQ(registersFor(type("STRING"), 1, 1), 0u);
    EXPECT_EQ(decoded("STRING", "", 1, 1), "\"\"");
}

TEST(Values, ATextShorterThanItsLengthFieldIsNoText)
{
    EXPECT_EQ(measureText(type("STRING"), ByteView(hex("03 48 49"))), -1);
    EXPECT_EQ(measureText(type("STRING"), ByteView()), -1);
    EXPECT_EQ(measureText(type("LONG_STRING"), ByteView(hex("02 00 48"))), -1);
    EXPECT_EQ(measureText(type("STRINGN"), ByteView(hex("09 00 01 00 48"))), -1);
}

TEST(Values, TextsOfEveryLayoutAreRead)
{
    EXPECT_EQ(decoded("LONG_STRING", "02 00 00 00 48 00 49 00", 1, 4), "\"HI\"");
    EXPECT_EQ(decoded("STRING2", "01 00 00 00 ac 00 20 00", 1, 4), "\"\u20ac\"");
    EXPECT_EQ(decoded("STRINGN", "01 00 00 00 02 00 00 00 48 00 49 00", 1, 6), "\"HI\"");
}

TEST(Values, ATextNeverBreaksTheLine)
{
    EXPECT_EQ(decoded("STRING", "0a 22 5c e9", 1, 5), "\"\\x0A\\\"\\\\\u00e9\"");
}

TEST(Values, MissingRegistersDecodeToNothing)
{
    EXPECT_EQ(decodeRegisters(type("DINT"), hex("01 02 03"), 1, 0).size(), 0u);
    EXPECT_EQ(decodeRegisters(type("INT"), hex("01 02"), 2, 0).size(), 0u);
}

TEST(Values, RegistersAreCountedByForm)
{
    EXPECT_EQ(registersFor(type("BOOL"), 3, 0), 3u);
    EXPECT_EQ(registersFor(type("SINT"), 3, 0), 3u);
    EXPECT_EQ(registersFor(type("INT"), 3, 0), 3u);
    EXPECT_EQ(registersFor(type("DINT"), 3, 0), 6u);
    EXPECT_EQ(registersFor(type("LINT"), 3, 0), 12u);
    EXPECT_EQ(registersFor(type("WORD"), 3, 0), 6u);
    EXPECT_EQ(registersFor(type("LWORD"), 3, 0), 24u);
    EXPECT_EQ(registersFor(type("STRING"), 1, 6), 3u);
}

TEST(Range, NumbersThatDoNotFitAreRefusedWithTheRange)
{
    EXPECT_EQ(complaint("SINT", "300"), "300 does not fit SINT (-128..127)");
    EXPECT_EQ(complaint("SINT", "-129"), "-129 does not fit SINT (-128..127)");
    EXPECT_EQ(complaint("USINT", "-1"), "-1 does not fit USINT (0..255)");
    EXPECT_EQ(complaint("INT", "32768"), "32768 does not fit INT (-32768..32767)");
    EXPECT_EQ(complaint("UDINT", "4294967296"), "4294967296 does not fit UDINT (0..4294967295)");
    EXPECT_EQ(complaint("LINT", "9223372036854775808"),
              "9223372036854775808 does not fit LINT "
              "(-9223372036854775808..9223372036854775807)");
    EXPECT_EQ(complaint("ULINT", "18446744073709551616"),
              "18446744073709551616 does not fit ULINT (0..18446744073709551615)");
    EXPECT_EQ(complaint("BYTE", "256"), "256 does not fit BYTE (16#0..16#FF)");
    EXPECT_EQ(complaint("BOOL", "2"), "2 does not fit BOOL (0 or 1)");
    EXPECT_EQ(complaint("REAL", "1e39"), "1e39 does not fit REAL");
    EXPECT_EQ(complaint("STRING", std::string(256, 'x')),
              "a text of 256 characters does not fit STRING (at most 255)");
}

TEST(Range, TheLimitsThemselvesFit)
{
    for (const auto& [name, text] :
         std::vector<std::pair<const char*, const char*>>{{"SINT", "-128"},
                                                          {"SINT", "127"},
                                                          {"USINT", "255"},
                                                          {"INT", "-32768"},
                                                          {"DINT", "-2147483648"},
                                                          {"UDINT", "4294967295"},
                                                          {"LINT", "-9223372036854775808"},
                                                          {"LINT", "9223372036854775807"},
                                                          {"ULINT", "18446744073709551615"},
                                                          {"REAL", "3.4028235e38"},
                                                          {"LREAL", "-1e308"},
                                                          {"BYTE", "16#FF"}})
        EXPECT_EQ(complaint(name, text), "accepted") << name << " " << text;
}

TEST(Range, WhatIsNoValueOfTheTypeIsRefused)
{
    for (const auto& [name, text] :
         std::vector<std::pair<const char*, const char*>>{{"INT", ""},
                                                          {"INT", "1.5"},
                                                          {"INT", "12x"},
                                                          {"INT", "0x"},
                                                          {"INT", "--1"},
                                                          {"REAL", ""},
                                                          {"REAL", "1,5"},
                                                          {"REAL", "x"},
                                                          {"BOOL", "yes"},
                                                          {"STRING", "\xE2\x82\xAC"}})
        EXPECT_NE(complaint(name, text), "accepted") << name << " " << text;
}

TEST(Encoding, RegistersCarryLittleEndianValues)
{
    EXPECT_EQ(encoded("BOOL", {"1", "false"}), "0100");
    EXPECT_EQ(encoded("SINT", {"-1", "10"}), "ff000a00");
    EXPECT_EQ(encoded("INT", {"-2", "0x1234"}), "feff3412");
    EXPECT_EQ(encoded("DINT", {"1", "-1"}), "01000000ffffffff");
    EXPECT_EQ(encoded("LINT", {"7"}), "0700000000000000");
    EXPECT_EQ(encoded("REAL", {"0.1"}), "cdcccc3d");
    EXPECT_EQ(encoded("LREAL", {"0.1"}), "9a9999999999b93f");
    EXPECT_EQ(encoded("STRING", {"HI"}), "4849");
    EXPECT_EQ(encoded("STRING", {"\"\u00e9\""}), "e9");
}

TEST(Encoding, CountsAreInWords)
{
    const auto count = [](const char* name, std::size_t elements) {
        return writeCount(type(name), std::vector<Value>(elements, Value(std::uint64_t{0})));
    };
    EXPECT_EQ(count("BOOL", 3), 3);
    EXPECT_EQ(count("SINT", 3), 3);
    EXPECT_EQ(count("INT", 3), 3);
    EXPECT_EQ(count("DINT", 3), 6);
    EXPECT_EQ(count("LINT", 3), 12);
}

} // namespace
} // namespace panelhost
