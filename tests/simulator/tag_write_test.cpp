#include "conversation.h"

using namespace plcsim;

namespace {

const char kTags[] = R"(
[[tag]]
name = "Ints"
type = "INT"
size = 4
value = [1, 2, 3, 4]
[[tag]]
name = "Text"
type = "STRING"
value = "HELLO"
max_length = 6
[[tag]]
name = "Texts"
type = "STRING"
size = 3
value = ["A", "B", "C"]
[[tag]]
name = "Lock"
type = "DINT"
value = 7
read_only = true
[[tag]]
name = "Uni"
type = "STRING2"
)";

const char kReadInts[] = "4c 03 91 04 49 6e 74 73 04 00";
const char kUntouched[] = "cc 00 00 00 c3 00 01 00 02 00 03 00 04 00";
const char kReadText[] = "4c 03 91 04 54 65 78 74 01 00";

} // namespace

class TagWrite : public Conversation {
protected:
    void SetUp() override
    {
        start(kTags);
        connect();
    }
};

TEST_F(TagWrite, ChangesExactlyTheElementsNamed)
{
    EXPECT_EQ(connected("4d 04 91 04 49 6e 74 73 28 01 c3 00 02 00 aa bb cc dd"), "cd 00 00 00");
    EXPECT_EQ(connected(kReadInts), "cc 00 00 00 c3 00 01 00 aa bb cc dd 04 00");
}

TEST_F(TagWrite, FragmentsFillTheRangeFromTheirOffset)
{
    EXPECT_EQ(connected("53 03 91 04 49 6e 74 73 c3 00 04 00 04 00 00 00 aa aa bb bb"),
              "d3 00 00 00");
    EXPECT_EQ(connected(kReadInts), "cc 00 00 00 c3 00 01 00 02 00 aa aa bb bb");
    EXPECT_EQ(connected("53 03 91 04 49 6e 74 73 c3 00 04 00 00 00 00 00 cc cc"), "d3 00 00 00");
    EXPECT_EQ(connected(kReadInts), "cc 00 00 00 c3 00 cc cc 02 00 aa aa bb bb");
}

TEST_F(TagWrite, AnswerHas50Bytes)
{
    const std::string answer =
        send("70 00 24 00 <session> 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
             "00 00 00 00 01 00 02 00 a1 00 04 00 <ot> b1 00 10 00 01 00 "
             "4d 03 91 04 49 6e 74 73 c3 00 01 00 aa bb");
    EXPECT_EQ(answer.substr(44 * 3), "01 00 cd 00 00 00");
    EXPECT_EQ(fromHex(answer).size(), 50u);
}

struct BadWrite {
    const char* what;
    const char* request;
    const char* reply;
};

class RefusedWrite : public TagWrite, public ::testing::WithParamInterface<BadWrite> {};

TEST_P(RefusedWrite, SaysWhyAndChangesNothing)
{
    EXPECT_EQ(connected(GetParam().request), GetParam().reply) << GetParam().what;
    EXPECT_EQ(connected(kReadInts), kUntouched);
    EXPECT_EQ(connected(kReadText), "cc 00 00 00 da 00 05 48 45 4c 4c 4f");
    EXPECT_EQ(connected("4c 03 91 04 4c 6f 63 6b 01 00"), "cc 00 00 00 c4 00 07 00 00 00");
}

INSTANTIATE_TEST_SUITE_P(
    Writes, RefusedWrite,
    ::testing::Values(
        BadWrite{"another type", "4d 03 91 04 49 6e 74 73 c4 00 01 00 aa bb cc dd",
                 "cd 00 ff 01 07 21"},
        BadWrite{"type of the same width", "4d 03 91 04 49 6e 74 73 c7 00 01 00 aa bb",
                 "cd 00 ff 01 07 21"},
        BadWrite{"index beyond the end", "4d 04 91 04 49 6e 74 73 28 04 c3 00 01 00 aa bb",
                 "cd 00 ff 01 05 21"},
        BadWrite{"count beyond the end", "4d 04 91 04 49 6e 74 73 28 03 c3 00 02 00 aa bb cc dd",
                 "cd 00 ff 01 05 21"},
        BadWrite{"no elements", "4d 03 91 04 49 6e 74 73 c3 00 00 00 aa bb", "cd 00 20 00"},
        BadWrite{"no values", "4d 03 91 04 49 6e 74 73 c3 00 01 00", "cd 00 13 00"},
        BadWrite{"too few values", "4d 03 91 04 49 6e 74 73 c3 00 02 00 aa bb cc", "cd 00 13 00"},
        BadWrite{"too many values", "4d 03 91 04 49 6e 74 73 c3 00 01 00 aa bb cc", "cd 00 15 00"},
        BadWrite{"no type", "4d 03 91 04 49 6e 74 73 c3", "cd 00 13 00"},
        BadWrite{"fragment without offset", "53 03 91 04 49 6e 74 73 c3 00 01 00 aa",
                 "d3 00 13 00"},
        BadWrite{"fragment beyond the range",
                 "53 03 91 04 49 6e 74 73 c3 00 02 00 02 00 00 00 aa bb cc dd", "d3 00 15 00"},
        BadWrite{"offset beyond everything",
                 "53 03 91 04 49 6e 74 73 c3 00 02 00 ff ff ff ff aa bb", "d3 00 15 00"},
        BadWrite{"fragment within an element",
                 "53 03 91 04 49 6e 74 73 c3 00 02 00 01 00 00 00 aa bb", "d3 00 13 00"},
        BadWrite{"half an element", "53 03 91 04 49 6e 74 73 c3 00 02 00 00 00 00 00 aa",
                 "d3 00 13 00"},
        BadWrite{"unknown tag", "4d 02 91 02 58 58 c3 00 01 00 aa bb", "cd 00 05 00"},
        BadWrite{"read-only tag", "4d 03 91 04 4c 6f 63 6b c4 00 01 00 aa bb cc dd", "cd 00 0f 00"},
        BadWrite{"text longer than the tag",
                 "4d 03 91 04 54 65 78 74 da 00 01 00 07 41 41 41 41 41 41 41", "cd 00 15 00"},
        BadWrite{"text shorter than its length", "4d 03 91 04 54 65 78 74 da 00 01 00 03 41 41",
                 "cd 00 13 00"},
        BadWrite{"bytes behind the text", "4d 03 91 04 54 65 78 74 da 00 01 00 01 41 41",
                 "cd 00 15 00"},
        BadWrite{"fragment of a text", "53 03 91 04 54 65 78 74 da 00 01 00 01 00 00 00 41",
                 "d3 00 20 00"}));

TEST_F(TagWrite, TextTakesItsNewLength)
{
    EXPECT_EQ(connected("53 03 91 04 54 65 78 74 da 00 01 00 00 00 00 00 02 48 49"), "d3 00 00 00");
    EXPECT_EQ(connected(kReadText), "cc 00 00 00 da 00 02 48 49");
    EXPECT_EQ(connected("53 03 91 04 54 65 78 74 da 00 01 00 00 00 00 00 00"), "d3 00 00 00");
    EXPECT_EQ(connected(kReadText), "cc 00 00 00 da 00 00");
}

TEST_F(TagWrite, SeveralTextsAreWrittenTogetherOrNotAtAll)
{
    EXPECT_EQ(connected("4d 05 91 05 54 65 78 74 73 00 28 01 da 00 02 00 02 58 59 01 5a"),
              "cd 00 00 00");
    EXPECT_EQ(connected("4c 04 91 05 54 65 78 74 73 00 03 00"),
              "cc 00 00 00 da 00 01 41 02 58 59 01 5a");
    EXPECT_EQ(connected("4d 05 91 05 54 65 78 74 73 00 28 01 da 00 02 00 01 51 05 5a"),
              "cd 00 13 00");
    EXPECT_EQ(connected("4c 04 91 05 54 65 78 74 73 00 03 00"),
              "cc 00 00 00 da 00 01 41 02 58 59 01 5a");
}

TEST_F(TagWrite, CharacterOfTwoBytesThatIsNotCarriedIsRefused)
{
    EXPECT_EQ(connected("4d 03 91 03 55 6e 69 00 d5 00 01 00 01 00 00 01"), "cd 00 13 00");
}

TEST_F(TagWrite, AnyByteButZeroIsTrue)
{
    start("[[tag]]\nname = 'B'\ntype = 'BOOL'\n");
    connect();
    EXPECT_EQ(connected("4d 02 91 01 42 00 c1 00 01 00 ff"), "cd 00 00 00");
    EXPECT_EQ(connected("4c 02 91 01 42 00 01 00"), "cc 00 00 00 c1 00 01");
}
