#include "conversation.h"

using namespace plcsim;

namespace {

// Every elementary type, as a single value and as an array of four, with the extremes of its range.
const char kTags[] = R"(
[[tag]]
name = "Flag"
type = "BOOL"
value = true
[[tag]]
name = "Word16"
type = "INT"
value = -2
[[tag]]
name = "Ints"
type = "INT"
size = 4
value = [1, -1, 32767, -32768]
[[tag]]
name = "Long"
type = "DINT"
size = 70000
[[tag]]
name = "Text"
type = "STRING"
value = "HELLO"
[[tag]]
name = "Texts"
type = "STRING"
size = 3
value = ["A", "", "BCD"]
[[tag]]
name = "Wide"
type = "LINT"
size = 63
)";

struct TypeRow {
    const char* type;
    const char* values; // four, as TOML
    const char* code;
    const char* bytes[4];
};

const TypeRow kTypeRows[] = {
    {"BOOL", "[true, false, 1, 0]", "c1 00", {"01", "00", "01", "00"}},
    {"SINT", "[1, -1, 127, -128]", "c2 00", {"01", "ff", "7f", "80"}},
    {"INT", "[1, -2, 32767, -32768]", "c3 00", {"01 00", "fe ff", "ff 7f", "00 80"}},
    {"DINT",
     "[1, -2, 2147483647, -2147483648]",
     "c4 00",
     {"01 00 00 00", "fe ff ff ff", "ff ff ff 7f", "00 00 00 80"}},
    {"LINT",
     "[1, -2, 9223372036854775807, -9223372036854775808]",
     "c5 00",
     {"01 00 00 00 00 00 00 00", "fe ff ff ff ff ff ff ff", "ff ff ff ff ff ff ff 7f",
      "00 00 00 00 00 00 00 80"}},
    {"USINT", "[1, 2, 128, 255]", "c6 00", {"01", "02", "80", "ff"}},
    {"UINT", "[1, 0x1234, 32768, 65535]", "c7 00", {"01 00", "34 12", "00 80", "ff ff"}},
    {"UDINT",
     "[1, 0x12345678, 2147483648, 4294967295]",
     "c8 00",
     {"01 00 00 00", "78 56 34 12", "00 00 00 80", "ff ff ff ff"}},
    {"ULINT",
     "[1, 2, '9223372036854775808', '18446744073709551615']",
     "c9 00",
     {"01 00 00 00 00 00 00 00", "02 00 00 00 00 00 00 00", "00 00 00 00 00 00 00 80",
      "ff ff ff ff ff ff ff ff"}},
    {"REAL",
     "[1.0, -2.5, 0.1, 3]",
     "ca 00",
     {"00 00 80 3f", "00 00 20 c0", "cd cc cc 3d", "00 00 40 40"}},
    {"LREAL",
     "[1.0, -2.5, 0.1, 3]",
     "cb 00",
     {"00 00 00 00 00 00 f0 3f", "00 00 00 00 00 00 04 c0", "9a 99 99 99 99 99 b9 3f",
      "00 00 00 00 00 00 08 40"}},
    {"STIME",
     "[1, -2, 3, 4]",
     "cc 00",
     {"01 00 00 00", "fe ff ff ff", "03 00 00 00", "04 00 00 00"}},
    {"DATE", "[1, 2, 3, 65535]", "cd 00", {"01 00", "02 00", "03 00", "ff ff"}},
    {"TIME_OF_DAY",
     "[1, 2, 3, 86399999]",
     "ce 00",
     {"01 00 00 00", "02 00 00 00", "03 00 00 00", "ff 5b 26 05"}},
    {"DATE_AND_TIME",
     "[1, 2, 3, 0x4E2005265BFF]",
     "cf 00",
     {"01 00 00 00 00 00", "02 00 00 00 00 00", "03 00 00 00 00 00", "ff 5b 26 05 20 4e"}},
    {"LONG_STRING",
     "['A', '', 'BC', 'DEF']",
     "d0 00",
     {"01 00 41", "00 00", "02 00 42 43", "03 00 44 45 46"}},
    {"BYTE", "[1, 2, 128, 255]", "d1 00", {"01", "02", "80", "ff"}},
    {"WORD", "[1, 2, 0xA55A, 65535]", "d2 00", {"01 00", "02 00", "5a a5", "ff ff"}},
    {"DWORD",
     "[1, 2, 0xA55A0001, 4294967295]",
     "d3 00",
     {"01 00 00 00", "02 00 00 00", "01 00 5a a5", "ff ff ff ff"}},
    {"LWORD",
     "[1, 2, 3, '16#FFFFFFFFFFFFFFFF']",
     "d4 00",
     {"01 00 00 00 00 00 00 00", "02 00 00 00 00 00 00 00", "03 00 00 00 00 00 00 00",
      "ff ff ff ff ff ff ff ff"}},
    {"STRING2",
     "['A', '', 'BC', 'D']",
     "d5 00",
     {"01 00 41 00", "00 00", "02 00 42 00 43 00", "01 00 44 00"}},
    {"FTIME",
     "[1, -2, 3, 4]",
     "d6 00",
     {"01 00 00 00", "fe ff ff ff", "03 00 00 00", "04 00 00 00"}},
    {"LTIME",
     "[1, -2, 3, 4]",
     "d7 00",
     {"01 00 00 00 00 00 00 00", "fe ff ff ff ff ff ff ff", "03 00 00 00 00 00 00 00",
      "04 00 00 00 00 00 00 00"}},
    {"ITIME", "[1, -2, 3, 4]", "d8 00", {"01 00", "fe ff", "03 00", "04 00"}},
    {"STRINGN",
     "['A', '', 'BC', 'D']",
     "d9 00",
     {"01 00 01 00 41", "01 00 00 00", "01 00 02 00 42 43", "01 00 01 00 44"}},
    {"STRING", "['A', '', 'BC', 'DEF']", "da 00", {"01 41", "00", "02 42 43", "03 44 45 46"}},
    {"TIME",
     "[1, -2, 3, 4]",
     "db 00",
     {"01 00 00 00", "fe ff ff ff", "03 00 00 00", "04 00 00 00"}},
};

} // namespace

class TypeRead : public Conversation, public ::testing::WithParamInterface<TypeRow> {};

TEST_P(TypeRead, GivesFirstMiddleLastAndAllElements)
{
    const TypeRow& row = GetParam();
    const std::string type = row.type;
    start("[[tag]]\nname = 'T'\ntype = '" + type + "'\nsize = 4\nvalue = " + row.values + "\n");
    connect();
    const std::string head = std::string("cc 00 00 00 ") + row.code + " ";
    EXPECT_EQ(connected("4c 02 91 01 54 00 01 00"), head + row.bytes[0]);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(connected("4c 03 91 01 54 00 28 0" + std::to_string(i) + " 01 00"),
                  head + row.bytes[i]);
    EXPECT_EQ(connected("4c 03 91 01 54 00 28 01 02 00"), head + row.bytes[1] + " " + row.bytes[2]);
    EXPECT_EQ(connected("4c 02 91 01 54 00 04 00"),
              head + row.bytes[0] + " " + row.bytes[1] + " " + row.bytes[2] + " " + row.bytes[3]);
    EXPECT_EQ(connected("4c 02 91 01 54 00 05 00"), "cc 00 ff 01 05 21");
}

TEST_P(TypeRead, GivesASingleValueAlsoAsElement0)
{
    const TypeRow& row = GetParam();
    const std::string first =
        std::string(row.values).substr(1, std::string(row.values).find(',') - 1);
    start("[[tag]]\nname = 'T'\ntype = '" + std::string(row.type) + "'\nvalue = " + first + "\n");
    connect();
    const std::string value = std::string("cc 00 00 00 ") + row.code + " " + row.bytes[0];
    EXPECT_EQ(connected("4c 02 91 01 54 00 01 00"), value);
    EXPECT_EQ(connected("4c 03 91 01 54 00 28 00 01 00"), value);
    EXPECT_EQ(connected("4c 03 91 01 54 00 28 01 01 00"), "cc 00 ff 01 05 21");
    EXPECT_EQ(connected("4c 02 91 01 54 00 02 00"), "cc 00 ff 01 05 21");
}

TEST_P(TypeRead, WritesBackWhatItRead)
{
    const TypeRow& row = GetParam();
    start("[[tag]]\nname = 'T'\ntype = '" + std::string(row.type) + "'\nsize = 4\n");
    connect();
    for (int i = 0; i < 4; ++i) {
        const std::string path = " 03 91 01 54 00 28 0" + std::to_string(i);
        const std::string service = i % 2 ? "4d" : "53";
        const std::string offset = i % 2 ? "" : "00 00 00 00 ";
        EXPECT_EQ(connected(service + path + " " + row.code + " 01 00 " + offset + row.bytes[i]),
                  i % 2 ? "cd 00 00 00" : "d3 00 00 00");
    }
    EXPECT_EQ(connected("4c 02 91 01 54 00 04 00"), std::string("cc 00 00 00 ") + row.code + " " +
                                                        row.bytes[0] + " " + row.bytes[1] + " " +
                                                        row.bytes[2] + " " + row.bytes[3]);
}

INSTANTIATE_TEST_SUITE_P(Types, TypeRead, ::testing::ValuesIn(kTypeRows),
                         [](const auto& row) { return std::string(row.param.type); });

class TagRead : public Conversation {
protected:
    void SetUp() override
    {
        start(kTags);
        connect();
    }
};

TEST_F(TagRead, FindsANameInAnyCase)
{
    EXPECT_EQ(connected("4c 04 91 06 77 4f 52 44 31 36 01 00"), "cc 00 00 00 c3 00 fe ff");
}

TEST_F(TagRead, OfAnUnknownTagAnswers50BytesWithStatus05)
{
    const std::string answer =
        send("70 00 1e 00 <session> 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
             "00 00 00 00 01 00 02 00 a1 00 04 00 <ot> b1 00 0a 00 01 00 4c 02 91 02 58 58 01 00");
    EXPECT_EQ(fromHex(answer).size(), 50u);
    EXPECT_EQ(answer.substr(46 * 3), "cc 00 05 00");
}

TEST_F(TagRead, TakesIndexesOf8And16And32Bits)
{
    Tag& tag = *controller_->tags().find("Long");
    controller_->tags().write(tag, 5, std::int64_t{5}, ChangeCause::Operator);
    controller_->tags().write(tag, 0x0105, std::int64_t{0x105}, ChangeCause::Operator);
    controller_->tags().write(tag, 0x10005, std::int64_t{0x10005}, ChangeCause::Operator);
    EXPECT_EQ(connected("4c 04 91 04 4c 6f 6e 67 28 05 01 00"), "cc 00 00 00 c4 00 05 00 00 00");
    EXPECT_EQ(connected("4c 05 91 04 4c 6f 6e 67 29 00 05 01 01 00"),
              "cc 00 00 00 c4 00 05 01 00 00");
    EXPECT_EQ(connected("4c 06 91 04 4c 6f 6e 67 2a 00 05 00 01 00 01 00"),
              "cc 00 00 00 c4 00 05 00 01 00");
    EXPECT_EQ(connected("4c 06 91 04 4c 6f 6e 67 2a 00 ff ff ff ff 01 00"), "cc 00 ff 01 05 21");
}

TEST_F(TagRead, RefusesAnAttributeSegmentInPlaceOfAnIndex)
{
    EXPECT_EQ(connected("4c 06 91 04 4c 6f 6e 67 30 00 00 00 01 00 01 00"), "cc 00 04 00");
    EXPECT_EQ(connected("4c 04 91 04 4c 6f 6e 67 30 05 01 00"), "cc 00 04 00");
}

struct BadPath {
    const char* what;
    const char* request;
    const char* reply;
};

class RefusedPath : public TagRead, public ::testing::WithParamInterface<BadPath> {};

TEST_P(RefusedPath, SaysWhy)
{
    EXPECT_EQ(connected(GetParam().request), GetParam().reply) << GetParam().what;
}

INSTANTIATE_TEST_SUITE_P(
    Paths, RefusedPath,
    ::testing::Values(
        BadPath{"no path", "4c 00 01 00", "cc 00 04 00"},
        BadPath{"path longer than the message", "4c 09 91 04 46 6c 61 67 01 00", "cc 00 04 00"},
        BadPath{"empty name", "4c 01 91 00 01 00", "cc 00 04 00"},
        BadPath{"name longer than the path", "4c 03 91 09 46 6c 61 67 01 00", "cc 00 04 00"},
        BadPath{"two indexes", "4c 05 91 04 49 6e 74 73 28 00 28 00 01 00", "cc 00 04 00"},
        BadPath{"member of a structure", "4c 05 91 04 46 6c 61 67 91 02 41 42 01 00",
                "cc 00 05 00"},
        BadPath{"unknown class", "4c 02 20 6b 24 01 01 00", "cc 00 05 00"},
        BadPath{"index without a name", "4c 01 28 00 01 00", "cc 00 04 00"},
        BadPath{"service alone", "4c", "cc 00 13 00"},
        BadPath{"unknown service", "4e 03 91 04 46 6c 61 67", "ce 00 08 00"},
        BadPath{"index cut short", "4c 04 91 04 49 6e 74 73 29 00 01 00", "cc 00 04 00"}));

TEST_F(TagRead, NeedsAnElementCount)
{
    EXPECT_EQ(connected("4c 03 91 04 46 6c 61 67"), "cc 00 13 00");
    EXPECT_EQ(connected("4c 03 91 04 46 6c 61 67 01"), "cc 00 13 00");
}

TEST_F(TagRead, OfNoElementsIsRefused)
{
    EXPECT_EQ(connected("4c 03 91 04 49 6e 74 73 00 00"), "cc 00 20 00");
}

TEST_F(TagRead, BeyondTheEndIsRefusedWholly)
{
    EXPECT_EQ(connected("4c 03 91 04 49 6e 74 73 05 00"), "cc 00 ff 01 05 21");
    EXPECT_EQ(connected("4c 04 91 04 49 6e 74 73 28 03 02 00"), "cc 00 ff 01 05 21");
    EXPECT_EQ(connected("4c 04 91 04 49 6e 74 73 28 04 01 00"), "cc 00 ff 01 05 21");
    EXPECT_EQ(connected("4c 03 91 04 49 6e 74 73 ff ff ff ff 00 00"), "cc 00 ff 01 05 21");
}

TEST_F(TagRead, ToleratesBytesBehindTheElementCount)
{
    EXPECT_EQ(connected("4c 03 91 04 46 6c 61 67 01 00 00 00 00 00"), "cc 00 00 00 c1 00 01");
}

TEST_F(TagRead, RefusesBytesBehindTheElementCountWhenToldSo)
{
    ControllerOptions options;
    options.tagServices.refuseLongReadData = true;
    start(kTags, options);
    connect();
    EXPECT_EQ(connected("4c 03 91 04 46 6c 61 67 01 00 00 00 00 00"), "cc 00 15 00");
    EXPECT_EQ(connected("4c 03 91 04 46 6c 61 67 01 00"), "cc 00 00 00 c1 00 01");
}

TEST_F(TagRead, FillsTheConnectionAndNoMore)
{
    // 504 bytes hold the sequence count, four bytes of reply header, the type and 124 elements.
    EXPECT_EQ(fromHex(connected("4c 03 91 04 4c 6f 6e 67 7c 00")).size(), 4u + 2u + 496u);
    const std::string tooMuch = connected("4c 03 91 04 4c 6f 6e 67 7d 00");
    EXPECT_EQ(tooMuch.substr(0, 17), "cc 00 06 00 c4 00")
        << "part of the data, and the status says so";
    EXPECT_EQ(fromHex(tooMuch).size(), 4u + 2u + 496u);
}

TEST_F(TagRead, WorksWithoutAConnection)
{
    EXPECT_EQ(unconnected("4c 04 91 06 57 6f 72 64 31 36 01 00"), "cc 00 00 00 c3 00 fe ff");
    EXPECT_EQ(unconnected("4c 02 91 02 58 58 01 00"), "cc 00 05 00");
    EXPECT_EQ(unconnected("4c 03 91 04 4c 6f 6e 67 7d 00").substr(0, 11), "cc 00 06 00");
}

TEST_F(TagRead, TrueCanReadAsFF)
{
    start("[controller]\nbool_true = 255\n[[tag]]\nname = 'B'\ntype = 'BOOL'\nvalue = true\n");
    connect();
    EXPECT_EQ(connected("4c 02 91 01 42 00 01 00"), "cc 00 00 00 c1 00 ff");
    EXPECT_EQ(connected("4d 02 91 01 42 00 c1 00 01 00 01"), "cd 00 00 00");
    EXPECT_EQ(connected("4c 02 91 01 42 00 01 00"), "cc 00 00 00 c1 00 ff");
}

TEST_F(TagRead, FragmentsFollowOneAnother)
{
    // 63 elements of 8 bytes are 504; one fragment carries 62 of them.
    const std::string zeros = repeated("00", 496);
    EXPECT_EQ(connected("52 03 91 04 57 69 64 65 3f 00 00 00 00 00"), "d2 00 06 00 c5 00 " + zeros);
    EXPECT_EQ(connected("52 03 91 04 57 69 64 65 3f 00 f0 01 00 00"),
              "d2 00 00 00 c5 00 00 00 00 00 00 00 00 00");
}

TEST_F(TagRead, FragmentsCoverRangesOfArraysAndTexts)
{
    EXPECT_EQ(connected("52 04 91 04 49 6e 74 73 28 01 03 00 02 00 00 00"),
              "d2 00 00 00 c3 00 ff 7f 00 80");
    EXPECT_EQ(connected("52 03 91 04 54 65 78 74 01 00 03 00 00 00"), "d2 00 00 00 da 00 4c 4c 4f");
}

TEST_F(TagRead, FragmentedIsRefusedLikeThePlainOne)
{
    EXPECT_EQ(connected("52 03 91 04 57 69 64 65 3f 00"), "d2 00 13 00");
    EXPECT_EQ(connected("52 03 91 04 57 69 64 65 3f 00 00 00 00 00 00"), "d2 00 15 00");
    EXPECT_EQ(connected("52 03 91 04 57 69 64 65 00 00 00 00 00 00"), "d2 00 20 00");
    EXPECT_EQ(connected("52 03 91 04 57 69 64 65 40 00 00 00 00 00"), "d2 00 ff 01 05 21");
    EXPECT_EQ(connected("52 03 91 04 57 69 64 65 3f 00 f8 01 00 00"), "d2 00 ff 01 05 21");
}

TEST_F(TagRead, SeveralServicesTravelInOnePacket)
{
    // Two embedded requests at offsets 6 and 16: Flag, and a tag that does not exist.
    EXPECT_EQ(connected("0a 02 20 02 24 01 02 00 06 00 10 00 "
                        "4c 03 91 04 46 6c 61 67 01 00 4c 02 91 02 58 58 01 00"),
              "8a 00 1e 00 02 00 06 00 0d 00 cc 00 00 00 c1 00 01 cc 00 05 00");
}

TEST_F(TagRead, PacketOfServicesIsCheckedBeforeItIsTrusted)
{
    EXPECT_EQ(connected("0a 02 20 02 24 01 00 00"), "8a 00 13 00");
    EXPECT_EQ(connected("0a 02 20 02 24 01 ff ff 06 00"), "8a 00 13 00");
    EXPECT_EQ(connected("0a 02 20 02 24 01 01 00 ff 00 4c"), "8a 00 13 00");
    EXPECT_EQ(connected("0a 02 20 02 24 01 01 00 00 00 4c"), "8a 00 13 00");
    EXPECT_EQ(connected("0a 02 20 02 24 01 01 00 04 00 0a 02 20 02 24 01 01 00 04 00"),
              "8a 00 1e 00 01 00 04 00 8a 00 08 00")
        << "a packet within a packet";
}

TEST_F(TagRead, IdentityObjectAnswers)
{
    EXPECT_EQ(connected("01 02 20 01 24 01"),
              "81 00 00 00 01 00 0e 00 8d 00 06 0b 34 00 01 00 ed 5e "
              "0f 32 30 38 30 2d 4c 43 35 30 2d 32 34 51 57 42");
    EXPECT_EQ(connected("0e 03 20 01 24 01 30 03"), "8e 00 00 00 8d 00");
    EXPECT_EQ(connected("0e 03 20 01 24 01 30 08"), "8e 00 14 00");
    EXPECT_EQ(connected("0e 02 20 01 24 02"), "8e 00 05 00");
    EXPECT_EQ(connected("0e 01 20 01"), "8e 00 04 00");
    EXPECT_EQ(connected("05 02 20 01 24 01"), "85 00 08 00");
}
