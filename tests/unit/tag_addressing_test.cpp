// How a tag is named on the wire, and when its type counts as known.

#include "driver_fixture.h"
#include "tagcommunication.h"

#include <gtest/gtest.h>

namespace {

QByteArray symbolicSegment(const QString& tagName)
{
    QByteArray path;
    appendSymbolicSegment(path, tagName);
    return path;
}

QByteArray elementSegment(quint32 index)
{
    QByteArray path;
    appendElementSegment(path, index);
    return path;
}

// --- Element segment ---

struct ElementSegmentCase {
    quint32 index;
    const char* segment;
};

class ElementSegment : public testing::TestWithParam<ElementSegmentCase> {};

TEST_P(ElementSegment, IsChosenByTheUnsignedIndex)
{
    EXPECT_EQ(hex(GetParam().segment), elementSegment(GetParam().index));
}

INSTANTIATE_TEST_SUITE_P(
    Table, ElementSegment,
    testing::Values(ElementSegmentCase{0, ""}, ElementSegmentCase{1, "28 01"},
                    ElementSegmentCase{0x7F, "28 7f"}, ElementSegmentCase{0x80, "28 80"},
                    ElementSegmentCase{254, "28 fe"}, ElementSegmentCase{255, "28 ff"},
                    ElementSegmentCase{256, "29 00 00 01"}, ElementSegmentCase{257, "29 00 01 01"},
                    ElementSegmentCase{0x1234, "29 00 34 12"},
                    ElementSegmentCase{65535, "29 00 ff ff"},
                    ElementSegmentCase{65536, "30 00 00 00 01 00"},
                    ElementSegmentCase{0x12345678, "30 00 78 56 34 12"},
                    ElementSegmentCase{0x7FFFFFFF, "30 00 ff ff ff 7f"},
                    ElementSegmentCase{0x80000000, "30 00 00 00 00 80"},
                    ElementSegmentCase{0xFFFFFFFF, "30 00 ff ff ff ff"}));

TEST(TagPath, Index255TakesThe8BitSegment)
{
    EXPECT_EQ(hex("28 ff"), elementSegment(255));
}

TEST(TagPath, Index256TakesThe16BitSegment)
{
    EXPECT_EQ(hex("29 00 00 01"), elementSegment(256));
}

TEST(TagPath, Index65535TakesThe16BitSegment)
{
    EXPECT_EQ(hex("29 00 ff ff"), elementSegment(65535));
}

TEST(TagPath, Index65536TakesThe32BitSegmentThatBeginsWith30)
{
    EXPECT_EQ(hex("30 00 00 00 01 00"), elementSegment(65536));
}

TEST(TagPath, IndexMinusOneTakesThe32BitSegment)
{
    EXPECT_EQ(hex("30 00 ff ff ff ff"), elementSegment(static_cast<quint32>(-1)));
}

TEST(TagPath, SegmentsAreAppendedToWhatIsThere)
{
    QByteArray path = hex("4c 00");
    appendSymbolicSegment(path, text("Arr"));
    appendElementSegment(path, 10);
    EXPECT_EQ(hex("4c 00 91 03 41 72 72 00 28 0a"), path);
}

// --- Symbolic segment ---

TEST(TagPath, ANameOfFourCharactersGetsNoPadByte)
{
    EXPECT_EQ(hex("91 04 54 65 6d 70"), symbolicSegment(text("Temp")));
}

TEST(TagPath, ANameOfFiveCharactersGetsOnePadByte)
{
    EXPECT_EQ(hex("91 05 53 70 65 65 64 00"), symbolicSegment(text("Speed")));
}

TEST(TagPath, ANameOfOneCharacterGetsOnePadByte)
{
    EXPECT_EQ(hex("91 01 58 00"), symbolicSegment(text("X")));
}

TEST(TagPath, AnEmptyNameGivesTwoBytesAndNothingElse)
{
    EXPECT_EQ(hex("91 00"), symbolicSegment(QString()));
    EXPECT_EQ(hex("91 00"), symbolicSegment(text("")));
}

TEST(TagPath, CharactersBecomeTheirLatin1Codes)
{
    const QString name = QString(QChar(0x00E9)) + QChar(0x00FF) + QChar(0x0080) + QChar(0x0041);
    EXPECT_EQ(hex("91 04 e9 ff 80 41"), symbolicSegment(name));
}

TEST(TagPath, ACharacterBeyondLatin1BecomesZero)
{
    const QString name = QString(QChar(0x20AC)) + QChar(0x0042) + QChar(0x0100);
    EXPECT_EQ(hex("91 03 00 42 00 00"), symbolicSegment(name));
}

TEST(TagPath, ANameOf255CharactersIsTheLongestWithAnHonestLength)
{
    const QByteArray path = symbolicSegment(QString(255, QLatin1Char('a')));
    ASSERT_EQ(258, path.size());
    EXPECT_EQ(hex("91 ff 61"), path.left(3));
    EXPECT_EQ(hex("61 00"), path.right(2));
}

TEST(TagPath, ANameOf256CharactersIsWrittenWholeUnderLengthZero)
{
    const QByteArray path = symbolicSegment(QString(256, QLatin1Char('a')));
    ASSERT_EQ(258, path.size());
    EXPECT_EQ(hex("91 00 61"), path.left(3));
    EXPECT_EQ(hex("61 61"), path.right(2));
}

TEST(TagPath, ANameOf257CharactersIsWrittenWholeUnderLengthOneAndPadded)
{
    const QByteArray path = symbolicSegment(QString(257, QLatin1Char('a')));
    ASSERT_EQ(260, path.size());
    EXPECT_EQ(hex("91 01 61"), path.left(3));
    EXPECT_EQ(hex("61 00"), path.right(2));
}

// --- Is the type known? ---

class AddressType : public DriverTest {
protected:
    quint32 addressTypeWithHeader(const QByteArray& header)
    {
        PLCDataStorage[1].tagTypeMap[text("Level")] = header;
        RW_VAR var = variable("Level");
        return getAddressType(&var);
    }

    static RW_VAR variable(const char* tagName)
    {
        RW_VAR var;
        var.tagName = text(tagName);
        var.station = 1;
        return var;
    }
};

TEST_F(AddressType, AStationNeverSeenBeforeGivesZeroAndADefaultRecord)
{
    RW_VAR var = variable("Level");
    var.station = 77;
    EXPECT_EQ(0u, getAddressType(&var));

    ASSERT_TRUE(PLCDataStorage.contains(77));
    EXPECT_EQ(1, PLCDataStorage.size());
    const PLCTAGCOMMUNICATION record = PLCDataStorage.value(77);
    EXPECT_FALSE(record.handshakeDone);
    EXPECT_EQ(0, record.sequenceCount);
    EXPECT_TRUE(record.sessionHandle.isEmpty());
    EXPECT_TRUE(record.connectionId.isEmpty());
    EXPECT_TRUE(record.tagDataMap.isEmpty());
    EXPECT_TRUE(record.tagTypeMap.isEmpty());
}

TEST_F(AddressType, ATagWithoutHeaderGivesZeroAndNothingIsInserted)
{
    PLCDataStorage[1].tagTypeMap[text("Other")] = hex("04 c4 00 ff");
    RW_VAR var = variable("Level");
    EXPECT_EQ(0u, getAddressType(&var));
    EXPECT_EQ(1, PLCDataStorage[1].tagTypeMap.size());
}

TEST_F(AddressType, TagNamesAreCaseSensitive)
{
    PLCDataStorage[1].tagTypeMap[text("LEVEL")] = hex("04 c4 00 ff");
    RW_VAR var = variable("Level");
    EXPECT_EQ(0u, getAddressType(&var));
}

TEST_F(AddressType, HeadersOfOtherStationsDoNotCount)
{
    PLCDataStorage[2].tagTypeMap[text("Level")] = hex("04 c4 00 ff");
    PLCDataStorage[1].tagTypeMap[text("Other")] = hex("04 c4 00 ff");
    RW_VAR var = variable("Level");
    EXPECT_EQ(0u, getAddressType(&var));
}

TEST_F(AddressType, AnEmptyHeaderGivesZero)
{
    EXPECT_EQ(0u, addressTypeWithHeader(QByteArray()));
}

TEST_F(AddressType, AHeaderOfThreeBytesGivesZeroEvenWithAllThreeSet)
{
    EXPECT_EQ(0u, addressTypeWithHeader(hex("ff ff ff")));
    EXPECT_EQ(0u, addressTypeWithHeader(hex("04 c4 ff")));
}

TEST_F(AddressType, ACompleteHeaderGivesOneAndByte0PlaysNoPart)
{
    EXPECT_EQ(1u, addressTypeWithHeader(hex("00 c4 00 ff")));
}

TEST_F(AddressType, APendingProbeWithACompleteMarkerStillGivesOne)
{
    EXPECT_EQ(1u, addressTypeWithHeader(hex("ff c4 00 ff")));
}

TEST_F(AddressType, AMarkerOtherThan255GivesZero)
{
    EXPECT_EQ(0u, addressTypeWithHeader(hex("04 c4 00 00")));
    EXPECT_EQ(0u, addressTypeWithHeader(hex("04 c4 00 fe")));
    EXPECT_EQ(0u, addressTypeWithHeader(hex("04 c4 00 7f")));
}

TEST_F(AddressType, BytesBeyondTheMarkerPlayNoPart)
{
    EXPECT_EQ(1u, addressTypeWithHeader(hex("04 c4 00 ff 00 00")));
    EXPECT_EQ(0u, addressTypeWithHeader(hex("04 c4 00 00 ff ff")));
}

TEST_F(AddressType, TheVariableIsLeftAsItIs)
{
    RW_VAR var = variable("Level");
    var.startIndex = 5;
    var.count = 3;
    var.isArrayTag = 1;
    var.data = hex("01 02");
    getAddressType(&var);
    EXPECT_EQ(text("Level"), var.tagName);
    EXPECT_EQ(5, var.startIndex);
    EXPECT_EQ(3, var.count);
    EXPECT_EQ(1, var.isArrayTag);
    EXPECT_EQ(hex("01 02"), var.data);
}

TEST_F(AddressType, ANullVariableGivesZero)
{
    EXPECT_EQ(0u, getAddressType(nullptr));
}

TEST(CompleteTypeHeader, NeedsFourBytesAndTheMarker)
{
    EXPECT_FALSE(isCompleteTypeHeader(QByteArray()));
    EXPECT_FALSE(isCompleteTypeHeader(hex("ff")));
    EXPECT_FALSE(isCompleteTypeHeader(hex("ff ff ff")));
    EXPECT_FALSE(isCompleteTypeHeader(hex("03 c3 00 00")));
    EXPECT_TRUE(isCompleteTypeHeader(hex("03 c3 00 ff")));
    EXPECT_TRUE(isCompleteTypeHeader(hex("03 c3 00 ff 00")));
}

} // namespace
