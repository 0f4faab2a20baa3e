// Write Tag Fragmented requests: the frame and how the host's words become elements.

#include "Func_Write.h"
#include "bounds.h"
#include "driver_fixture.h"

#include <climits>
#include <gtest/gtest.h>

namespace {

class WriteRequest : public DriverTest {
protected:
    void SetUp() override
    {
        DriverTest::SetUp();
        connectStation(1, "11 22 33 44", "AA BB CC DD", 0x0105);
    }

    /// The frame of the request that writing var appends; var comes out with its data rewritten.
    QByteArray frameOf(RW_VAR& var)
    {
        WriteRegister(&var);
        return PLC_driver.requests.isEmpty() ? QByteArray() : PLC_driver.requests.last().frame;
    }

    static RW_VAR arrayWrite(const char* tag, int startIndex, int count, const char* dataHex)
    {
        RW_VAR var = writeVar(tag, dataHex, count, 1);
        var.isArrayTag = 1;
        var.startIndex = startIndex;
        return var;
    }
};

// --- The frame ---

TEST_F(WriteRequest, OfThreeWordsToADintArrayWritesTwoElements)
{
    setTypeHeader(1, "Arr", "04 c4 00 ff");
    RW_VAR var = arrayWrite("Arr", 0, 3, "01 00 02 00 03 00");
    EXPECT_EQ(hex("70 00 2e 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                  "00 00 00 00 01 00 02 00 a1 00 04 00 aa bb cc dd b1 00 1a 00 05 01"
                  "53 03 91 03 41 72 72 00 c4 00 02 00 00 00 00 00 01 00 02 00 03 00 00 00"),
              frameOf(var));
    EXPECT_EQ(hex("01 00 02 00 03 00 00 00"), var.data);
}

TEST_F(WriteRequest, OfThreeSintsTakesTheLowByteOfEachWord)
{
    setTypeHeader(1, "Small", "02 c2 00 ff");
    RW_VAR var = writeVar("Small", "0a 00 0b 00 0c 00", 3, 1);
    EXPECT_EQ(hex("70 00 2b 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                  "00 00 00 00 01 00 02 00 a1 00 04 00 aa bb cc dd b1 00 17 00 05 01"
                  "53 04 91 05 53 6d 61 6c 6c 00 c2 00 03 00 00 00 00 00 0a 0b 0c"),
              frameOf(var));
    EXPECT_EQ(hex("0a 0b 0c"), var.data);
}

TEST_F(WriteRequest, OfAStringPutsItsLengthInFrontAndNamesNoElement)
{
    setTypeHeader(1, "Text", "01 da 00 ff");
    RW_VAR var = arrayWrite("Text", 5, 1, "41 42");
    EXPECT_EQ(hex("70 00 29 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                  "00 00 00 00 01 00 02 00 a1 00 04 00 aa bb cc dd b1 00 15 00 05 01"
                  "53 03 91 04 54 65 78 74 da 00 01 00 00 00 00 00 02 41 42"),
              frameOf(var));
    EXPECT_EQ(hex("02 41 42"), var.data);
}

TEST_F(WriteRequest, OfOneWordToALintFillsTheElementWithZeros)
{
    setTypeHeader(1, "Long", "05 c5 00 ff");
    RW_VAR var = writeVar("Long", "07 00", 1, 1);
    EXPECT_EQ(hex("70 00 2e 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                  "00 00 00 00 01 00 02 00 a1 00 04 00 aa bb cc dd b1 00 1a 00 05 01"
                  "53 03 91 04 4c 6f 6e 67 c5 00 01 00 00 00 00 00 07 00 00 00 00 00 00 00"),
              frameOf(var));
}

TEST_F(WriteRequest, OfASingleValueHasNoElementSegmentWhateverItsIndex)
{
    setTypeHeader(1, "Word", "03 c3 00 ff");
    RW_VAR var = writeVar("Word", "34 12", 1, 1);
    var.startIndex = 7;
    EXPECT_EQ(hex("91 04 57 6f 72 64 c3 00 01 00 00 00 00 00 34 12"), frameOf(var).mid(48));
}

TEST_F(WriteRequest, OfAnArrayElementCarriesItsElementSegment)
{
    setTypeHeader(1, "Arr", "03 c3 00 ff");
    RW_VAR var = arrayWrite("Arr", 300, 1, "34 12");
    const QByteArray frame = frameOf(var);
    EXPECT_EQ(hex("53 05 91 03 41 72 72 00 29 00 2c 01 c3 00 01 00 00 00 00 00 34 12"),
              frame.mid(46));
}

TEST_F(WriteRequest, CarriesTheElementSegmentOfEachWidth)
{
    setTypeHeader(1, "Arr", "03 c3 00 ff");
    const QByteArray tail = hex("c3 00 01 00 00 00 00 00 34 12");
    RW_VAR var = arrayWrite("Arr", 0, 1, "34 12");
    EXPECT_EQ(hex("53 03 91 03 41 72 72 00") + tail, frameOf(var).mid(46));
    var.startIndex = 255;
    EXPECT_EQ(hex("53 04 91 03 41 72 72 00 28 ff") + tail, frameOf(var).mid(46));
    var.startIndex = 256;
    EXPECT_EQ(hex("53 05 91 03 41 72 72 00 29 00 00 01") + tail, frameOf(var).mid(46));
    var.startIndex = 65536;
    EXPECT_EQ(hex("53 06 91 03 41 72 72 00 30 00 00 00 01 00") + tail, frameOf(var).mid(46));
    var.startIndex = -1;
    EXPECT_EQ(hex("53 06 91 03 41 72 72 00 30 00 ff ff ff ff") + tail, frameOf(var).mid(46));
}

TEST_F(WriteRequest, OfAnUnknownTypeSendsTheDataUnchanged)
{
    setTypeHeader(1, "Odd", "ff a0 02 ff");
    RW_VAR var = writeVar("Odd", "01 02 03 04 05", 9, 1);
    EXPECT_EQ(hex("91 03 4f 64 64 00 a0 02 09 00 00 00 00 00 01 02 03 04 05"),
              frameOf(var).mid(48));
    EXPECT_EQ(hex("01 02 03 04 05"), var.data);
}

TEST_F(WriteRequest, CopiesTheCipTypeBytesUnchanged)
{
    setTypeHeader(1, "Odd", "03 a3 c4 ff");
    RW_VAR var = writeVar("Odd", "01 02", 1, 1);
    EXPECT_EQ(hex("a3 c4 01 00 00 00 00 00 01 02"), frameOf(var).mid(54));
}

TEST_F(WriteRequest, CarriesTheHighHalfOfTheCountInTheByteOffset)
{
    setTypeHeader(1, "Odd", "06 d2 00 ff");
    RW_VAR var = writeVar("Odd", "01 02", 70000, 1);
    EXPECT_EQ(hex("d2 00 70 11 01 00 00 00 01 02"), frameOf(var).mid(54));
}

TEST_F(WriteRequest, ToATagWithoutHeaderCountsAsBooleanAndLeavesAnEmptyHeader)
{
    RW_VAR var = writeVar("Flag", "01 00", 1, 1);
    EXPECT_EQ(hex("91 04 46 6c 61 67 00 00 01 00 00 00 00 00 01"), frameOf(var).mid(48));
    ASSERT_TRUE(PLCDataStorage[1].tagTypeMap.contains(text("Flag")));
    EXPECT_EQ(QByteArray(), typeHeader(1, "Flag"));
}

TEST_F(WriteRequest, LeavesTheTypeHeaderAndTheSequenceCountAlone)
{
    setTypeHeader(1, "Word", "03 c3 00 ff");
    RW_VAR var = writeVar("Word", "34 12", 1, 1);
    frameOf(var);
    EXPECT_EQ(hex("03 c3 00 ff"), typeHeader(1, "Word"));
    EXPECT_EQ(0x0105, PLCDataStorage[1].sequenceCount);
}

TEST_F(WriteRequest, OfAStationWithoutRecordCarriesZerosAndCreatesTheRecord)
{
    RW_VAR var = writeVar("Flag", "01 00", 1, 9);
    const QByteArray frame = frameOf(var);
    EXPECT_EQ(hex("00 00 00 00"), frame.mid(4, 4));
    EXPECT_EQ(hex("00 00 00 00"), frame.mid(36, 4));
    EXPECT_EQ(hex("00 00"), frame.mid(44, 2));
    EXPECT_TRUE(PLCDataStorage.contains(9));
}

TEST_F(WriteRequest, WritesBytesThatHandleOrConnectionLackAsZero)
{
    setTypeHeader(1, "Word", "03 c3 00 ff");
    PLCDataStorage[1].sessionHandle = hex("11 22 33");
    PLCDataStorage[1].connectionId = hex("aa bb");
    RW_VAR var = writeVar("Word", "34 12", 1, 1);
    const QByteArray frame = frameOf(var);
    EXPECT_EQ(hex("11 22 33 00"), frame.mid(4, 4));
    EXPECT_EQ(hex("aa bb 00 00"), frame.mid(36, 4));
}

// --- The request record ---

TEST_F(WriteRequest, IsRecordedWithItsLengthsAndTheRewrittenVariable)
{
    setTypeHeader(1, "Small", "02 c2 00 ff");
    RW_VAR var = named(writeVar("Small", "0a 00 0b 00", 2, 1), 7, 8);
    WriteRegister(&var);
    ASSERT_EQ(1, PLC_driver.requests.size());
    const Protocol& request = PLC_driver.requests.first();
    EXPECT_EQ(66, request.frame.size());
    EXPECT_EQ(66, request.frameLength);
    EXPECT_EQ(-1, request.replyLength);
    EXPECT_EQ(0, request.fixedReplyLength);
    EXPECT_EQ(0, request.requestFlags);
    EXPECT_EQ(0, request.reserved0);
    EXPECT_EQ(0, request.reserved1);
    EXPECT_EQ(0, request.reserved2);
    EXPECT_EQ(text("Small"), request.var.tagName);
    EXPECT_EQ(1, request.var.station);
    EXPECT_EQ(2, request.var.count);
    EXPECT_EQ(7, request.var.hostArea);
    EXPECT_EQ(8, request.var.hostAddress);
    EXPECT_EQ(kAcceptWithoutStore, request.var.accessKind);
    EXPECT_EQ(2, request.var.onceFlag);
    EXPECT_EQ(hex("0a 0b"), request.var.data);
}

TEST_F(WriteRequest, AnnouncesOneFrameToTheHost)
{
    comInfo.framesExpected = 2;
    comInfo.framesAnswered = 2;
    RW_VAR var = writeVar("Flag", "01 00", 1, 1);
    frameOf(var);
    EXPECT_EQ(1, comInfo.framesExpected);
    EXPECT_EQ(0, comInfo.framesAnswered);
}

// --- Rewriting by type ---

struct RewriteCase {
    const char* header;
    int count;
    const char* data;
    const char* rewritten;
    const char* elementCount;
};

void PrintTo(const RewriteCase& c, std::ostream* out)
{
    *out << "header " << c.header << ", count " << c.count << ", data " << c.data;
}

class Rewriting : public WriteRequest, public testing::WithParamInterface<RewriteCase> {};

TEST_P(Rewriting, TurnsHostWordsIntoElements)
{
    setTypeHeader(1, "Word", GetParam().header);
    RW_VAR var = writeVar("Word", GetParam().data, GetParam().count, 1);
    const QByteArray frame = frameOf(var);
    EXPECT_EQ(hex(GetParam().rewritten), var.data);
    EXPECT_EQ(hex(GetParam().rewritten), PLC_driver.requests.first().var.data);
    EXPECT_EQ(hex(GetParam().elementCount) + hex("00 00") + hex(GetParam().rewritten),
              frame.mid(56));
    EXPECT_EQ(3, frame.at(47)) << "value bytes do not count as path";
}

INSTANTIATE_TEST_SUITE_P(
    Bits, Rewriting,
    testing::Values(RewriteCase{"00 c1 00 ff", 1, "01 00", "01", "01 00 00 00"},
                    RewriteCase{"00 c1 00 ff", 1, "01", "01", "01 00 00 00"},
                    RewriteCase{"00 c1 00 ff", 3, "01", "01 00 00", "03 00 00 00"},
                    RewriteCase{"00 c1 00 ff", 2, "01 01 01 01", "01 01", "02 00 00 00"},
                    RewriteCase{"00 c1 00 ff", 2, "", "00 00", "02 00 00 00"},
                    RewriteCase{"00 c1 00 ff", 0, "01", "", "00 00 00 00"}));

INSTANTIATE_TEST_SUITE_P(
    Strings, Rewriting,
    testing::Values(RewriteCase{"01 da 00 ff", 1, "", "00", "01 00 00 00"},
                    RewriteCase{"01 da 00 ff", 5, "48 49", "02 48 49", "01 00 00 00"},
                    RewriteCase{"01 da 00 ff", 0, "48 49 00", "03 48 49 00", "01 00 00 00"},
                    RewriteCase{"01 da 00 ff", -1, "48", "01 48", "01 00 00 00"}));

INSTANTIATE_TEST_SUITE_P(
    EightBitValues, Rewriting,
    testing::Values(RewriteCase{"02 c2 00 ff", 1, "ff 12", "ff", "01 00 00 00"},
                    RewriteCase{"02 c2 00 ff", 2, "0a 99 0b 99 0c 99", "0a 0b", "02 00 00 00"},
                    RewriteCase{"02 c2 00 ff", 3, "0a 00", "0a 00 00", "03 00 00 00"},
                    RewriteCase{"02 c2 00 ff", 3, "0a 00 0b", "0a 0b 00", "03 00 00 00"},
                    RewriteCase{"02 c2 00 ff", 2, "", "00 00", "02 00 00 00"},
                    RewriteCase{"02 c2 00 ff", 0, "0a 00", "", "00 00 00 00"}));

INSTANTIATE_TEST_SUITE_P(
    SixteenBitValues, Rewriting,
    testing::Values(RewriteCase{"03 c3 00 ff", 1, "34 12", "34 12", "01 00 00 00"},
                    RewriteCase{"03 c3 00 ff", 2, "34 12", "34 12 00 00", "02 00 00 00"},
                    RewriteCase{"03 c3 00 ff", 2, "34", "34 00 00 00", "02 00 00 00"},
                    RewriteCase{"03 c3 00 ff", 1, "34 12 78 56", "34 12", "01 00 00 00"},
                    RewriteCase{"03 c3 00 ff", 0, "34 12", "", "00 00 00 00"}));

INSTANTIATE_TEST_SUITE_P(
    ThirtyTwoBitValues, Rewriting,
    testing::Values(RewriteCase{"04 c4 00 ff", 1, "34 12", "34 12 00 00", "01 00 00 00"},
                    RewriteCase{"04 ca 00 ff", 2, "00 00 80 3f", "00 00 80 3f", "01 00 00 00"},
                    RewriteCase{"04 ca 00 ff", 2, "00 00 80 3f 11 22", "00 00 80 3f",
                                "01 00 00 00"},
                    RewriteCase{"04 c4 00 ff", 3, "01", "01 00 00 00 00 00 00 00", "02 00 00 00"},
                    RewriteCase{"04 c4 00 ff", 4, "01 00 00 00 02 00 00 00",
                                "01 00 00 00 02 00 00 00", "02 00 00 00"},
                    RewriteCase{"04 c4 00 ff", 0, "01 02", "", "00 00 00 00"}));

INSTANTIATE_TEST_SUITE_P(
    SixtyFourBitValues, Rewriting,
    testing::Values(RewriteCase{"05 c5 00 ff", 1, "07 00", "07 00 00 00 00 00 00 00",
                                "01 00 00 00"},
                    RewriteCase{"05 cb 00 ff", 4, "01 02 03 04 05 06 07 08 09",
                                "01 02 03 04 05 06 07 08", "01 00 00 00"},
                    RewriteCase{"05 cb 00 ff", 5, "01 02 03 04 05 06 07 08 09",
                                "01 02 03 04 05 06 07 08 09 00 00 00 00 00 00 00", "02 00 00 00"},
                    RewriteCase{"05 cb 00 ff", 8, "",
                                "00 00 00 00 00 00 00 00"
                                "00 00 00 00 00 00 00 00",
                                "02 00 00 00"},
                    RewriteCase{"05 c5 00 ff", 0, "07 00", "", "00 00 00 00"}));

INSTANTIATE_TEST_SUITE_P(
    OtherTypesAreLeftAsTheyAre, Rewriting,
    testing::Values(RewriteCase{"06 d2 00 ff", 2, "01 02 03", "01 02 03", "02 00 00 00"},
                    RewriteCase{"ff d2 00 ff", 0, "01 02 03", "01 02 03", "00 00 00 00"},
                    RewriteCase{"80 d2 00 ff", -1, "", "", "ff ff ff ff"}));

TEST_F(WriteRequest, OfALongStringKeepsTheLow8BitsOfItsLength)
{
    setTypeHeader(1, "Text", "01 da 00 ff");
    RW_VAR var = writeVar("Text", "", 1, 1);
    var.data = QByteArray(300, 'x');
    const QByteArray frame = frameOf(var);
    ASSERT_EQ(301, var.data.size());
    EXPECT_EQ(hex("2c 78 78"), var.data.left(3));
    EXPECT_EQ(QByteArray(300, 'x'), frame.right(300));
}

// --- Bad input ---

struct AbsurdCountCase {
    const char* header;
    int count;
};

void PrintTo(const AbsurdCountCase& c, std::ostream* out)
{
    *out << "header " << c.header << ", count " << c.count;
}

class AbsurdCount : public WriteRequest, public testing::WithParamInterface<AbsurdCountCase> {};

TEST_P(AbsurdCount, LeavesTheValueOutOfTheRequest)
{
    setTypeHeader(1, "Word", GetParam().header);
    RW_VAR var = writeVar("Word", "01 02 03 04 05 06 07 08", GetParam().count, 1);
    const QByteArray frame = frameOf(var);
    EXPECT_EQ(62, frame.size()) << "headers, path, type and count, no value";
    EXPECT_EQ(hex("53 03 91 04 57 6f 72 64"), frame.mid(46, 8));
    ASSERT_EQ(1, PLC_driver.requests.size())
        << "the request leaves, so that the controller refuses";
    EXPECT_EQ(frame.size(), PLC_driver.requests.first().frameLength);
    EXPECT_LE(var.data.size(), kMaxEncapsulationLength);
    EXPECT_LE(PLC_driver.requests.first().var.data.size(), kMaxEncapsulationLength);
}

INSTANTIATE_TEST_SUITE_P(
    TooLarge, AbsurdCount,
    testing::Values(
        AbsurdCountCase{"00 c1 00 ff", INT_MAX}, AbsurdCountCase{"02 c2 00 ff", INT_MAX},
        AbsurdCountCase{"03 c3 00 ff", INT_MAX}, AbsurdCountCase{"04 c4 00 ff", INT_MAX},
        AbsurdCountCase{"05 c5 00 ff", INT_MAX}, AbsurdCountCase{"05 c5 00 ff", INT_MAX - 2},
        AbsurdCountCase{"00 c1 00 ff", 65536}, AbsurdCountCase{"02 c2 00 ff", 65536},
        AbsurdCountCase{"03 c3 00 ff", 32768}, AbsurdCountCase{"04 c4 00 ff", 32768},
        AbsurdCountCase{"05 c5 00 ff", 32768}, AbsurdCountCase{"03 c3 00 ff", 0x40000001},
        AbsurdCountCase{"04 c4 00 ff", 0x7FFFFFFE}));

INSTANTIATE_TEST_SUITE_P(
    Negative, AbsurdCount,
    testing::Values(AbsurdCountCase{"00 c1 00 ff", -1}, AbsurdCountCase{"02 c2 00 ff", -1},
                    AbsurdCountCase{"03 c3 00 ff", -1}, AbsurdCountCase{"04 c4 00 ff", -2},
                    AbsurdCountCase{"05 c5 00 ff", -4}, AbsurdCountCase{"00 c1 00 ff", INT_MIN},
                    AbsurdCountCase{"02 c2 00 ff", INT_MIN},
                    AbsurdCountCase{"03 c3 00 ff", INT_MIN},
                    AbsurdCountCase{"04 c4 00 ff", INT_MIN},
                    AbsurdCountCase{"05 c5 00 ff", INT_MIN}));

TEST_F(WriteRequest, LeavesOutAValueThatNoFrameCanCarry)
{
    for (const char* header : {"01 da 00 ff", "06 d2 00 ff"}) {
        PLC_driver.requests.clear();
        setTypeHeader(1, "Text", header);
        RW_VAR var = writeVar("Text", "", 1, 1);
        var.data = QByteArray(kMaxEncapsulationLength + 1, '\xee');
        const QByteArray frame = frameOf(var);
        EXPECT_EQ(62, frame.size()) << header;
        EXPECT_FALSE(frame.contains('\xee')) << header;
    }
}

TEST_F(WriteRequest, CarriesAValueThatJustFits)
{
    setTypeHeader(1, "Flag", "00 c1 00 ff");
    const int room = kMaxEncapsulationLength - (62 - 24);
    RW_VAR var = writeVar("Flag", "01", room, 1);
    const QByteArray frame = frameOf(var);
    EXPECT_EQ(24 + kMaxEncapsulationLength, frame.size());
    EXPECT_EQ(hex("ff ff"), frame.mid(2, 2));
}

TEST_F(WriteRequest, CarriesAsMany8BitValuesAsFitThoughTheirWordsWouldNot)
{
    setTypeHeader(1, "Byte", "02 c2 00 ff");
    RW_VAR var = writeVar("Byte", "", 40000, 1);
    for (int i = 0; i < 40000; ++i)
        var.data.append(i == 39999 ? '\x22' : '\x11').append('\xee');
    const QByteArray frame = frameOf(var);
    ASSERT_EQ(62 + 40000, frame.size());
    EXPECT_EQ(QByteArray(39999, '\x11') + '\x22', frame.mid(62));
}

TEST_F(WriteRequest, LeavesOutAValueThatJustDoesNotFit)
{
    setTypeHeader(1, "Flag", "00 c1 00 ff");
    const int room = kMaxEncapsulationLength - (62 - 24);
    RW_VAR var = writeVar("Flag", "01", room + 1, 1);
    EXPECT_EQ(62, frameOf(var).size());
}

TEST_F(WriteRequest, LeavesOutANameThatNoFrameCanCarry)
{
    RW_VAR var = writeVar("", "01", 1, 1);
    var.tagName = QString(kMaxEncapsulationLength + 1, QLatin1Char('a'));
    const QByteArray frame = frameOf(var);
    EXPECT_LE(frame.size(), 24 + kMaxEncapsulationLength);
    EXPECT_FALSE(frame.contains('a'));
    EXPECT_EQ(1, PLC_driver.requests.size());
}

TEST_F(WriteRequest, OfNothingDoesNothing)
{
    WriteRegister(nullptr);
    EXPECT_TRUE(PLC_driver.requests.isEmpty());
}

} // namespace
