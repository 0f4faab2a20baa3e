#include "plan.h"

#include <gtest/gtest.h>

namespace panelhost {
namespace {

const CipType& type(const char* name)
{
    return *findCipType(std::string(name));
}

std::string shown(const std::vector<ElementRange>& reads)
{
    std::string text;
    for (const ElementRange& range : reads)
        text += (text.empty() ? "" : " ") + std::to_string(range.first) + "+" +
                std::to_string(range.count);
    return text;
}

TEST(Plan, NeighboursAndRangesWithAGapShareARead)
{
    EXPECT_EQ(shown(planReads(type("INT"), {{5, 1}, {0, 2}, {10, 3}})), "0+13");
}

TEST(Plan, RangesTooFarApartForOneReplyStayApart)
{
    EXPECT_EQ(shown(planReads(type("DINT"), {{0, 1}, {123, 1}})), "0+124");
    EXPECT_EQ(shown(planReads(type("DINT"), {{0, 1}, {124, 1}})), "0+1 124+1");
}

TEST(Plan, ALongRangeIsCutAtWhatOneReplyHolds)
{
    EXPECT_EQ(shown(planReads(type("SINT"), {{0, 1000}})), "0+496 496+496 992+8");
    EXPECT_EQ(shown(planReads(type("INT"), {{0, 300}})), "0+248 248+52");
    EXPECT_EQ(shown(planReads(type("DINT"), {{7, 125}})), "7+124 131+1");
    EXPECT_EQ(shown(planReads(type("LREAL"), {{0, 63}})), "0+62 62+1");
}

TEST(Plan, AContainedRangeCostsNothing)
{
    EXPECT_EQ(shown(planReads(type("INT"), {{0, 100}, {20, 5}, {99, 1}})), "0+100");
}

TEST(Plan, OverlappingLongRangesAreJoinedBeforeTheyAreCut)
{
    EXPECT_EQ(shown(planReads(type("DINT"), {{0, 100}, {50, 100}})), "0+124 124+26");
}

TEST(Plan, SeparateReadsJoinNothing)
{
    EXPECT_EQ(shown(planSeparateReads(type("INT"), {{5, 1}, {0, 2}, {0, 249}})),
              "5+1 0+2 0+248 248+1");
}

TEST(Plan, LongTextsAreReadOneByOne)
{
    EXPECT_EQ(shown(planReads(type("LONG_STRING"), {{0, 2}})), "0+1 1+1");
}

TEST(Counts, ACyclicReadNeedsOneMoreWordFor32BitAndThreeMoreFor64Bit)
{
    EXPECT_EQ(cyclicCount(type("BOOL"), 5), 5);
    EXPECT_EQ(cyclicCount(type("SINT"), 5), 5);
    EXPECT_EQ(cyclicCount(type("INT"), 5), 5);
    EXPECT_EQ(cyclicCount(type("DWORD"), 5), 5);
    EXPECT_EQ(cyclicCount(type("REAL"), 5), 6);
    EXPECT_EQ(cyclicCount(type("LINT"), 5), 8);
}

TEST(Counts, AOnceReadCountsInWords)
{
    EXPECT_EQ(onceCount(type("INT"), 5), 5);
    EXPECT_EQ(onceCount(type("DINT"), 5), 10);
    EXPECT_EQ(onceCount(type("LREAL"), 5), 20);
}

TEST(Obstacles, OnlyTheFirstStringOfAnArrayCanBeReadOrWritten)
{
    EXPECT_EQ(readObstacle(type("STRING"), {0, 1}), "");
    EXPECT_EQ(readObstacle(type("STRING"), {1, 1}), "only element 0 of a string array can be read");
    EXPECT_EQ(writeObstacle(type("STRING"), "S", {1, 1}),
              "only element 0 of a string array can be written");
}

TEST(Obstacles, TypesTheDriverCountsByteByByteAreReadOnly)
{
    EXPECT_EQ(writeObstacle(type("BYTE"), "B", {0, 1}), "");
    EXPECT_EQ(writeObstacle(type("WORD"), "W", {0, 1}),
              "WORD tags can be read, but the driver has no write for them");
}

TEST(Obstacles, AWriteLongerThanTheConnectionIsRefusedWithTheLimit)
{
    EXPECT_EQ(writeObstacle(type("DINT"), "Arr", {0, 120}), "");
    EXPECT_EQ(writeObstacle(type("DINT"), "Arr", {0, 121}),
              "one write carries at most 120 elements of this tag");
}

} // namespace
} // namespace panelhost
