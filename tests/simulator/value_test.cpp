#include "value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace plcsim;

namespace {

std::string roundTrip(const char* type, const char* text)
{
    const CipType& t = *findType(type);
    return formatValue(t, parseValue(t, text));
}

std::string complaint(const char* type, const char* text)
{
    try {
        parseValue(*findType(type), text);
        return "none";
    } catch (const ValueError& error) {
        return error.what();
    }
}

} // namespace

TEST(Value, IsShownAsItIsWritten)
{
    EXPECT_EQ(roundTrip("BOOL", "1"), "1");
    EXPECT_EQ(roundTrip("SINT", "-128"), "-128");
    EXPECT_EQ(roundTrip("ULINT", "18446744073709551615"), "18446744073709551615");
    EXPECT_EQ(roundTrip("LINT", "-9223372036854775808"), "-9223372036854775808");
    EXPECT_EQ(roundTrip("WORD", "16#a5"), "16#00A5");
    EXPECT_EQ(roundTrip("LWORD", "0xFFFFFFFFFFFFFFFF"), "16#FFFFFFFFFFFFFFFF");
    EXPECT_EQ(roundTrip("STRING", R"("say \"hi\" \\ \x0A")"), R"("say \"hi\" \\ \x0A")");
}

TEST(Value, TruthHasWords)
{
    EXPECT_EQ(roundTrip("BOOL", "true"), "1");
    EXPECT_EQ(roundTrip("BOOL", "false"), "0");
}

TEST(Value, RealsAreShownAsShortAsTheyCanBeReadBack)
{
    EXPECT_EQ(roundTrip("REAL", "0.1"), "0.1");
    EXPECT_EQ(roundTrip("REAL", "16777217"), "16777216") << "the nearest REAL";
    EXPECT_EQ(roundTrip("LREAL", "0.1"), "0.1");
    EXPECT_EQ(roundTrip("LREAL", "1234.56789012345"), "1234.56789012345");
    EXPECT_EQ(roundTrip("REAL", "inf"), "inf");
}

TEST(Value, ThatDoesNotFitNamesTheRange)
{
    EXPECT_EQ(complaint("SINT", "300"), "300 does not fit SINT (-128..127)");
    EXPECT_EQ(complaint("SINT", "-129"), "-129 does not fit SINT (-128..127)");
    EXPECT_EQ(complaint("BOOL", "2"), "2 does not fit BOOL (0..1)");
    EXPECT_EQ(complaint("UINT", "-1"), "-1 does not fit UINT (0..65535)");
    EXPECT_EQ(complaint("ULINT", "18446744073709551616"),
              "18446744073709551616 does not fit ULINT (0..18446744073709551615)");
    EXPECT_EQ(complaint("UDINT", "18446744073709551615"),
              "18446744073709551615 does not fit UDINT (0..4294967295)");
    EXPECT_EQ(complaint("REAL", "1e39"), "1e+39 does not fit REAL");
}

TEST(Value, ThatIsNoneIsSaidSo)
{
    EXPECT_EQ(complaint("INT", "12x"), "\"12x\" is not a whole number");
    EXPECT_EQ(complaint("INT", ""), "\"\" is not a whole number");
    EXPECT_EQ(complaint("REAL", "fast"), "\"fast\" is not a number");
    EXPECT_EQ(complaint("STRING", "bare"), "a text stands in double quotes: \"like this\"");
    EXPECT_NE(complaint("STRING", "\"a\"b\""), "none");
    EXPECT_NE(complaint("STRING", "\"a\\q\""), "none");
}

TEST(Value, RealBitsSurviveNegativeZeroAndNotANumber)
{
    const CipType& real = *findType("REAL");
    EXPECT_EQ(encodeValue(real, -0.0, 1), (Bytes{0, 0, 0, 0x80}));
    const Bytes nan = encodeValue(real, std::numeric_limits<double>::quiet_NaN(), 1);
    ByteReader reader(nan);
    EXPECT_TRUE(std::isnan(std::get<double>(*decodeValue(real, reader))));
}

TEST(Value, StringAndShortStringAreOneType)
{
    EXPECT_EQ(findType("STRING"), findType("SHORT_STRING"));
    EXPECT_EQ(findType("FLOAT"), nullptr);
}
