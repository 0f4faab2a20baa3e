// Storing read replies: type headers, values, array images, and the scaling by type.

#include "Func_DealData.h"
#include "bounds.h"
#include "driver_fixture.h"

#include <climits>
#include <gtest/gtest.h>

namespace {

class Storage : public DriverTest {
protected:
    /// Puts a read of var in flight.
    static void request(const RW_VAR& var, int valueOffset = 52)
    {
        Protocol read;
        read.fixedReplyLength = valueOffset;
        read.var = var;
        PLC_driver.requests = QList<Protocol>() << read;
    }

    static void store(const QByteArray& bytes)
    {
        QByteArray copy = bytes;
        SaveToLocalDataErea(&copy);
    }

    static void storeReply(const RW_VAR& var, const char* typeAndValues)
    {
        request(var);
        store(readReply(typeAndValues));
    }

    static bool hasValue(int station, const char* tag)
    {
        return PLCDataStorage.value(station).tagDataMap.contains(text(tag));
    }
};

// --- Register types ---

struct TypeCase {
    const char* typeBytes;
    int registerType;
};

void PrintTo(const TypeCase& c, std::ostream* out)
{
    *out << "type bytes " << c.typeBytes;
}

class RegisterTypeOf : public testing::TestWithParam<TypeCase> {};

TEST_P(RegisterTypeOf, FollowsTheCipType)
{
    EXPECT_EQ(GetParam().registerType, getRegType(hex(GetParam().typeBytes)));
}

INSTANTIATE_TEST_SUITE_P(
    AllElementaryTypes, RegisterTypeOf,
    testing::Values(TypeCase{"c1 00", 0}, TypeCase{"c2 00", 2}, TypeCase{"c3 00", 3},
                    TypeCase{"c4 00", 4}, TypeCase{"c5 00", 5}, TypeCase{"c6 00", 2},
                    TypeCase{"c7 00", 3}, TypeCase{"c8 00", 4}, TypeCase{"c9 00", 5},
                    TypeCase{"ca 00", 4}, TypeCase{"cb 00", 5}, TypeCase{"cc 00", 2},
                    TypeCase{"cd 00", 2}, TypeCase{"ce 00", 2}, TypeCase{"cf 00", 2},
                    TypeCase{"d0 00", 2}, TypeCase{"d1 00", 2}, TypeCase{"d2 00", 2},
                    TypeCase{"d3 00", 2}, TypeCase{"d4 00", 2}, TypeCase{"d5 00", 2},
                    TypeCase{"d6 00", 2}, TypeCase{"d7 00", 2}, TypeCase{"d8 00", 2},
                    TypeCase{"d9 00", 2}, TypeCase{"da 00", 1}));

INSTANTIATE_TEST_SUITE_P(OtherCodesAre8Bit, RegisterTypeOf,
                         testing::Values(TypeCase{"00 00", 2}, TypeCase{"c0 00", 2},
                                         TypeCase{"db 00", 2}, TypeCase{"ff ff", 2},
                                         TypeCase{"a0 02", 2}, TypeCase{"a2 c4", 2},
                                         TypeCase{"41 00", 2}, TypeCase{"7f 00", 2}));

INSTANTIATE_TEST_SUITE_P(TheSecondByteCountsAfterA3, RegisterTypeOf,
                         testing::Values(TypeCase{"a3 c1", 0}, TypeCase{"a3 c2", 2},
                                         TypeCase{"a3 c3", 3}, TypeCase{"a3 c4", 4},
                                         TypeCase{"a3 cb", 5}, TypeCase{"a3 da", 1},
                                         TypeCase{"a3 a3", 2}, TypeCase{"a3 00", 2},
                                         TypeCase{"c3 c4", 3}, TypeCase{"c4 a3", 4}));

INSTANTIATE_TEST_SUITE_P(MissingBytesCountAsZero, RegisterTypeOf,
                         testing::Values(TypeCase{"", 2}, TypeCase{"a3", 2}, TypeCase{"c3", 3}));

// --- Scaling ---

struct ScaleCase {
    int registerType;
    quint32 address;
    quint32 count;
    quint32 scaledAddress;
    quint32 scaledCount;
};

void PrintTo(const ScaleCase& c, std::ostream* out)
{
    *out << "type " << c.registerType << ", address " << c.address << ", count " << c.count;
}

class Scaling : public testing::TestWithParam<ScaleCase> {};

TEST_P(Scaling, TurnsAnIndexIntoBytesAndRegistersIntoElements)
{
    quint32 address = GetParam().address;
    quint32 count = GetParam().count;
    EXPECT_EQ(1, getPlcAdd(GetParam().registerType, address, count));
    EXPECT_EQ(GetParam().scaledAddress, address);
    EXPECT_EQ(GetParam().scaledCount, count);
}

INSTANTIATE_TEST_SUITE_P(Table, Scaling,
                         testing::Values(ScaleCase{0, 7, 5, 7, 5}, ScaleCase{1, 7, 5, 7, 5},
                                         ScaleCase{2, 7, 5, 7, 5}, ScaleCase{3, 7, 5, 14, 5},
                                         ScaleCase{4, 7, 5, 28, 3}, ScaleCase{4, 7, 4, 28, 2},
                                         ScaleCase{4, 0, 1, 0, 1}, ScaleCase{4, 0, 0, 0, 0},
                                         ScaleCase{5, 7, 1, 56, 1}, ScaleCase{5, 7, 4, 56, 1},
                                         ScaleCase{5, 7, 5, 56, 2}, ScaleCase{5, 0, 0, 0, 0},
                                         ScaleCase{6, 7, 5, 7, 5}, ScaleCase{255, 7, 5, 7, 5},
                                         ScaleCase{-1, 7, 5, 7, 5}));

INSTANTIATE_TEST_SUITE_P(Modulo32Bits, Scaling,
                         testing::Values(ScaleCase{3, 0xFFFFFFFF, 9, 0xFFFFFFFE, 9},
                                         ScaleCase{4, 0x40000001, 0xFFFFFFFF, 4, 0},
                                         ScaleCase{5, 0x20000001, 0xFFFFFFFF, 8, 0}));

// --- A tag read as a whole ---

TEST_F(Storage, OfABoolKeepsItsHeaderAndItsByte)
{
    storeReply(readVar("Flag", 1), "c1 00 01");
    EXPECT_EQ(hex("00 c1 00 ff"), typeHeader(1, "Flag"));
    EXPECT_EQ(hex("01"), storedData(1, "Flag"));
}

TEST_F(Storage, OfAShortStringDropsTheLengthByte)
{
    storeReply(readVar("Text", 1), "da 00 05 48 45 4c 4c 4f");
    EXPECT_EQ(hex("01 da 00 ff"), typeHeader(1, "Text"));
    EXPECT_EQ(hex("48 45 4c 4c 4f"), storedData(1, "Text"));
}

TEST_F(Storage, OfAShorterStringLeavesTheOldTailStanding)
{
    storeReply(readVar("Text", 1), "da 00 05 48 45 4c 4c 4f");
    storeReply(readVar("Text", 1), "da 00 02 48 49");
    EXPECT_EQ(hex("48 49 4c 4c 4f"), storedData(1, "Text"));
}

TEST_F(Storage, OfAnEmptyStringCreatesNoValue)
{
    storeReply(readVar("Text", 1), "da 00 00");
    EXPECT_EQ(hex("01 da 00 ff"), typeHeader(1, "Text"));
    EXPECT_FALSE(hasValue(1, "Text"));
    storeReply(readVar("Bare", 1), "da 00");
    EXPECT_FALSE(hasValue(1, "Bare"));
}

TEST_F(Storage, KeepsBytesInTheOrderOfTheReply)
{
    storeReply(readVar("Long", 1), "c5 00 08 07 06 05 04 03 02 81");
    EXPECT_EQ(hex("05 c5 00 ff"), typeHeader(1, "Long"));
    EXPECT_EQ(hex("08 07 06 05 04 03 02 81"), storedData(1, "Long"));
}

TEST_F(Storage, OfASingleValueIgnoresTheStartIndex)
{
    RW_VAR var = readVar("Word", 1);
    var.startIndex = 5;
    storeReply(var, "c3 00 34 12");
    EXPECT_EQ(hex("34 12"), storedData(1, "Word"));
}

TEST_F(Storage, OfAShorterValueOverwritesTheLeadingBytesOnly)
{
    setStoredData(1, "Word", "aa bb cc dd");
    storeReply(readVar("Word", 1), "c3 00 34 12");
    EXPECT_EQ(hex("34 12 cc dd"), storedData(1, "Word"));
}

TEST_F(Storage, KeepsTagsAndStationsApart)
{
    storeReply(readVar("Word", 1), "c3 00 01 00");
    storeReply(readVar("Word", 2), "c3 00 02 00");
    storeReply(readVar("WORD", 1), "c4 00 03 00 00 00");
    EXPECT_EQ(hex("01 00"), storedData(1, "Word"));
    EXPECT_EQ(hex("02 00"), storedData(2, "Word"));
    EXPECT_EQ(hex("03 00 00 00"), storedData(1, "WORD"));
}

TEST_F(Storage, CreatesAMissingStation)
{
    storeReply(readVar("Word", -4), "c3 00 01 00");
    ASSERT_TRUE(PLCDataStorage.contains(-4));
    EXPECT_FALSE(PLCDataStorage[-4].handshakeDone);
    EXPECT_EQ(0, PLCDataStorage[-4].sequenceCount);
}

TEST_F(Storage, TakesTheValuesFromTheOffsetOfTheRequest)
{
    request(readVar("Word", 1), 54);
    store(readReply("c3 00 01 00 02 00"));
    EXPECT_EQ(hex("02 00"), storedData(1, "Word"));
    EXPECT_EQ(hex("03 c3 00 ff"), typeHeader(1, "Word"));
}

TEST_F(Storage, LooksAtNeitherServiceNorStatus)
{
    request(readVar("Word", 1));
    QByteArray bytes = readReply("c3 00 34 12");
    bytes[46] = '\x00';
    bytes[48] = '\x05';
    store(bytes);
    EXPECT_EQ(hex("34 12"), storedData(1, "Word"));
}

TEST_F(Storage, LeavesTheRequestAtTheFront)
{
    storeReply(readVar("Word", 1), "c3 00 34 12");
    ASSERT_EQ(1, PLC_driver.requests.size());
    EXPECT_EQ(52, PLC_driver.requests.first().fixedReplyLength);
    EXPECT_EQ(0, PLC_driver.requests.first().var.startIndex);
}

// --- Type headers ---

TEST_F(Storage, OfAnArrayTypeTakesTheElementTypeAndRecordsBothBytes)
{
    storeReply(readVar("Arr", 1), "a3 c4 01 00 00 00");
    EXPECT_EQ(hex("04 a3 c4 ff"), typeHeader(1, "Arr"));
    EXPECT_EQ(hex("01 00 00 00"), storedData(1, "Arr"));
}

TEST_F(Storage, OfAnotherTypeLaterKeepsTheFirstHeader)
{
    storeReply(readVar("Word", 1), "c3 00 34 12");
    storeReply(readVar("Word", 1), "c4 00 78 56 34 12");
    EXPECT_EQ(hex("03 c3 00 ff"), typeHeader(1, "Word"));
    EXPECT_EQ(hex("78 56 34 12"), storedData(1, "Word"));
}

TEST_F(Storage, ScalesByTheTypeOfTheReplyAtHandNotOfTheHeader)
{
    setTypeHeader(1, "Arr", "03 c3 00 ff");
    storeReply(arrayVar("Arr", 2, 1, 1), "c4 00 78 56 34 12");
    EXPECT_EQ(hex("00 00 00 00 00 00 00 00 78 56 34 12"), storedData(1, "Arr"));
}

TEST_F(Storage, CompletesTheHeaderOfAnUnknownType)
{
    setTypeHeader(1, "Word", "ff 00 00 00");
    storeReply(readVar("Word", 1), "c3 00 34 12");
    EXPECT_EQ(hex("03 c3 00 ff"), typeHeader(1, "Word"));

    setTypeHeader(1, "Probe", "ff");
    storeReply(readVar("Probe", 1), "c3 00 34 12");
    EXPECT_EQ(hex("03 c3 00 ff"), typeHeader(1, "Probe"));
}

TEST_F(Storage, CompletesAHeaderWithoutMarkerAndKeepsItsFurtherBytes)
{
    setTypeHeader(1, "Word", "05 c5 00 fe 77");
    storeReply(readVar("Word", 1), "c3 00 34 12");
    EXPECT_EQ(hex("03 c3 00 ff 77"), typeHeader(1, "Word"));
}

TEST_F(Storage, KeepsAHeaderWhoseMarkerStandsThoughItsTypeIsUnknown)
{
    setTypeHeader(1, "Word", "ff 00 00 ff");
    storeReply(readVar("Word", 1), "c3 00 34 12");
    EXPECT_EQ(hex("ff 00 00 ff"), typeHeader(1, "Word"));
}

TEST_F(Storage, OfAnUnknownCipTypeIsStoredAs8Bit)
{
    storeReply(readVar("Odd", 1), "a0 02 ce 0f 2b");
    EXPECT_EQ(hex("02 a0 02 ff"), typeHeader(1, "Odd"));
    EXPECT_EQ(hex("ce 0f 2b"), storedData(1, "Odd"));
}

// --- Replies without values ---

TEST_F(Storage, OfAReplyThatEndsAtItsTypeStoresNoValue)
{
    storeReply(readVar("Word", 1), "c3 00");
    EXPECT_EQ(hex("03 c3 00 ff"), typeHeader(1, "Word"));
    EXPECT_FALSE(hasValue(1, "Word"));
}

TEST_F(Storage, OfAReplyWithoutValuesLeavesTheOldValue)
{
    setStoredData(1, "Word", "34 12");
    storeReply(readVar("Word", 1), "c3 00");
    EXPECT_EQ(hex("34 12"), storedData(1, "Word"));
}

TEST_F(Storage, OfAReplyThatEndsAtByte50GivesAnEightBitHeader)
{
    storeReply(readVar("Word", 1), "");
    EXPECT_EQ(hex("02 00 00 ff"), typeHeader(1, "Word"));
    EXPECT_FALSE(hasValue(1, "Word"));
}

TEST_F(Storage, OfAReplyWithOneTypeByteCountsTheOtherAsZero)
{
    storeReply(readVar("Word", 1), "c3");
    EXPECT_EQ(hex("03 c3 00 ff"), typeHeader(1, "Word"));
    storeReply(readVar("Arr", 1), "a3");
    EXPECT_EQ(hex("02 a3 00 ff"), typeHeader(1, "Arr"));
    EXPECT_FALSE(hasValue(1, "Word"));
}

TEST_F(Storage, OfAReplyCutAnywhereReadsNothingBeyondItsEnd)
{
    const QByteArray whole = readReply("c4 00 01 00 00 00 02 00 00 00");
    ASSERT_EQ(60, whole.size());
    for (int length = 0; length <= whole.size(); ++length) {
        for (int isArrayTag = 0; isArrayTag <= 1; ++isArrayTag) {
            PLCDataStorage.clear();
            RW_VAR var = readVar("Word", 1);
            var.isArrayTag = isArrayTag;
            request(var);
            store(whole.left(length));
            EXPECT_EQ(qMax(0, length - 52), storedData(1, "Word").size()) << length;
            EXPECT_EQ(length > 52, hasValue(1, "Word")) << length;
        }
    }
}

TEST_F(Storage, OfNoReplyStoresNoValue)
{
    request(readVar("Word", 1));
    SaveToLocalDataErea(nullptr);
    EXPECT_FALSE(hasValue(1, "Word"));
}

TEST_F(Storage, WithoutARequestDoesNothing)
{
    store(readReply("c3 00 34 12"));
    EXPECT_TRUE(PLCDataStorage.isEmpty() || PLCDataStorage.first().tagDataMap.isEmpty());
}

// --- Array ranges ---

struct RangeCase {
    int startIndex;
    const char* typeAndValues;
    const char* image;
};

void PrintTo(const RangeCase& c, std::ostream* out)
{
    *out << "from element " << c.startIndex << ": " << c.typeAndValues;
}

class ArrayRange : public Storage, public testing::WithParamInterface<RangeCase> {};

TEST_P(ArrayRange, LandsAtIndexTimesWidth)
{
    storeReply(arrayVar("Arr", GetParam().startIndex, 2, 1), GetParam().typeAndValues);
    EXPECT_EQ(hex(GetParam().image), storedData(1, "Arr"));
}

INSTANTIATE_TEST_SUITE_P(
    EachWidth, ArrayRange,
    testing::Values(RangeCase{0, "c1 00 01 00", "01 00"},
                    RangeCase{2, "c1 00 01 01", "00 00 01 01"},
                    RangeCase{3, "c2 00 fe ff", "00 00 00 fe ff"},
                    RangeCase{1, "d3 00 01 02 03 04", "00 01 02 03 04"},
                    RangeCase{2, "c3 00 34 12 78 56", "00 00 00 00 34 12 78 56"},
                    RangeCase{1, "ca 00 00 00 80 3f", "00 00 00 00 00 00 80 3f"},
                    RangeCase{1, "cb 00 00 00 00 00 00 00 f0 3f",
                              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 f0 3f"},
                    RangeCase{2, "da 00 02 48 49", "00 00 48 49"}));

INSTANTIATE_TEST_SUITE_P(APartialLastElementKeepsTheBytesThatExist, ArrayRange,
                         testing::Values(RangeCase{0, "c3 00 34 12 78", "34 12 78"},
                                         RangeCase{1, "c4 00 01 02 03", "00 00 00 00 01 02 03"},
                                         RangeCase{0, "c5 00 01", "01"}));

TEST_F(Storage, OfADintAtIndex3LandsAtBytes12To15)
{
    storeReply(arrayVar("Arr", 3, 1, 1), "c4 00 01 02 03 04");
    EXPECT_EQ(hex("00 00 00 00 00 00 00 00 00 00 00 00 01 02 03 04"), storedData(1, "Arr"));
}

TEST_F(Storage, OfARangeLeavesTheRestOfTheImage)
{
    setStoredData(1, "Arr", "a0 a1 b0 b1 c0 c1 d0 d1");
    storeReply(arrayVar("Arr", 1, 2, 1), "c3 00 11 22 33 44");
    EXPECT_EQ(hex("a0 a1 11 22 33 44 d0 d1"), storedData(1, "Arr"));
}

TEST_F(Storage, OfARangeAcrossTheEndGrowsTheImage)
{
    setStoredData(1, "Arr", "a0 a1 b0 b1");
    storeReply(arrayVar("Arr", 1, 2, 1), "c3 00 11 22 33 44");
    EXPECT_EQ(hex("a0 a1 11 22 33 44"), storedData(1, "Arr"));
}

TEST_F(Storage, FillsTheGapBeforeARangeWithZeros)
{
    setStoredData(1, "Arr", "a0 a1");
    storeReply(arrayVar("Arr", 3, 1, 1), "c3 00 11 22");
    EXPECT_EQ(hex("a0 a1 00 00 00 00 11 22"), storedData(1, "Arr"));
}

TEST_F(Storage, OfAnArrayReplyWithoutValuesCreatesNoValue)
{
    storeReply(arrayVar("Arr", 3, 1, 1), "c3 00");
    EXPECT_EQ(hex("03 c3 00 ff"), typeHeader(1, "Arr"));
    EXPECT_FALSE(hasValue(1, "Arr"));
}

TEST_F(Storage, OfAnyOtherArrayFlagKeepsTheHeaderOnly)
{
    for (const int flag : {-1, 2, INT_MAX, INT_MIN}) {
        PLCDataStorage.clear();
        RW_VAR var = readVar("Odd", 1);
        var.isArrayTag = flag;
        storeReply(var, "c3 00 34 12");
        EXPECT_EQ(hex("03 c3 00 ff"), typeHeader(1, "Odd")) << flag;
        EXPECT_FALSE(hasValue(1, "Odd")) << flag;
    }
}

// --- Bounds ---

TEST_F(Storage, ReachesTheLastByteOfTheLargestImage)
{
    storeReply(arrayVar("Arr", kMaxTagImageBytes / 4 - 1, 1, 1), "c4 00 01 02 03 04");
    ASSERT_EQ(kMaxTagImageBytes, storedData(1, "Arr").size());
    EXPECT_EQ(hex("01 02 03 04"), storedData(1, "Arr").right(4));
}

TEST_F(Storage, KeepsNothingBeyondTheLargestImage)
{
    for (const int index : {kMaxTagImageBytes / 4, INT_MAX, -1, 0x3FFFFFFF, 0x3FFFFFFE}) {
        PLCDataStorage.clear();
        storeReply(arrayVar("Arr", index, 1, 1), "c4 00 01 02 03 04 05 06 07 08");
        EXPECT_LE(storedData(1, "Arr").size(), kMaxTagImageBytes) << index;
        EXPECT_EQ(0, storedData(1, "Arr").count('\x01')) << index;
        EXPECT_EQ(hex("04 c4 00 ff"), typeHeader(1, "Arr")) << index;
    }
}

TEST_F(Storage, OfAnIndexWhoseOffsetWrapsLandsWhereTheOffsetDoes)
{
    storeReply(arrayVar("Arr", 0x40000001, 1, 1), "c4 00 01 02 03 04");
    EXPECT_EQ(hex("00 00 00 00 01 02 03 04"), storedData(1, "Arr"));
    storeReply(arrayVar("Arr", INT_MIN, 1, 1), "c4 00 05 06 07 08");
    EXPECT_EQ(hex("05 06 07 08 01 02 03 04"), storedData(1, "Arr"));
}

TEST_F(Storage, NeverGrowsAnImageBeyondItsBound)
{
    storeReply(arrayVar("Arr", kMaxTagImageBytes / 4 - 1, 2, 1), "c4 00 01 02 03 04 05 06 07 08");
    EXPECT_LE(storedData(1, "Arr").size(), kMaxTagImageBytes);

    request(readVar("Whole", 1));
    store(readReply("c2 00") + QByteArray(kMaxTagImageBytes + 1, 'x'));
    EXPECT_LE(storedData(1, "Whole").size(), kMaxTagImageBytes);

    request(arrayVar("Bytes", 10, 1, 1));
    store(readReply("c2 00") + QByteArray(kMaxTagImageBytes, 'x'));
    EXPECT_LE(storedData(1, "Bytes").size(), kMaxTagImageBytes);
}

} // namespace
