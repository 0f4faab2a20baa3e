#include "tag_reference.h"

#include <gtest/gtest.h>

namespace panelhost {
namespace {

std::string complaint(const std::string& text)
{
    try {
        parseTagReference(text);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "accepted";
}

TEST(TagReference, ANameAloneIsElementZero)
{
    const TagReference reference = parseTagReference("Counter");
    EXPECT_EQ(reference.name, "Counter");
    EXPECT_EQ(reference.first, 0);
    EXPECT_EQ(reference.count, 1);
    EXPECT_EQ(reference.text(), "Counter");
}

TEST(TagReference, AnIndexAndARangeAreTakenAsWritten)
{
    const TagReference one = parseTagReference("Arr[3]");
    EXPECT_EQ(one.first, 3);
    EXPECT_EQ(one.count, 1);
    EXPECT_EQ(one.text(), "Arr[3]");
    const TagReference range = parseTagReference("_Arr_1[3..7]");
    EXPECT_EQ(range.name, "_Arr_1");
    EXPECT_EQ(range.first, 3);
    EXPECT_EQ(range.count, 5);
    EXPECT_EQ(range.text(), "_Arr_1[3..7]");
}

TEST(TagReference, TheHighestIndexIs65535)
{
    EXPECT_EQ(parseTagReference("A[65535]").first, 65535);
    EXPECT_EQ(complaint("A[65536]"), "'A[65536]': indexes go from 0 to 65535");
    EXPECT_EQ(complaint("A[99999999999999999999]"),
              "'A[99999999999999999999]': indexes go from 0 to 65535");
}

TEST(TagReference, WhatControllersCannotBeAskedForIsRefusedWithTheReason)
{
    EXPECT_EQ(complaint("Motor.Speed"), "'Motor.Speed': members of structures cannot be addressed, "
                                        "only whole global variables");
    EXPECT_EQ(complaint("Program:Main"), "'Program:Main': program-local variables cannot be "
                                         "addressed, only global ones");
    EXPECT_EQ(complaint("A[1,2]"), "'A[1,2]': only arrays of one dimension can be addressed");
    EXPECT_EQ(complaint(std::string(256, 'x')),
              "'" + std::string(256, 'x') + "': a tag name has at most 255 characters");
}

TEST(TagReference, EveryMistakeOfFormIsRefused)
{
    for (const char* text : {"", "[3]", "A[", "A[3", "A[]", "A[x]", "A[-1]", "A[3..]", "A[..3]",
                             "A[3..1]", "A[3]x", "A B", "1A", "A[1 ]", "A[+1]", "A[0..10000]"})
        EXPECT_NE(complaint(text), "accepted") << text;
}

} // namespace
} // namespace panelhost
