// Read Tag requests: the frame, the element count by type, probes of unknown tags.

#include "Func_Read.h"
#include "bounds.h"
#include "driver_fixture.h"

#include <climits>
#include <gtest/gtest.h>

#include <string>

namespace {

class ReadRequest : public DriverTest {
protected:
    void SetUp() override
    {
        DriverTest::SetUp();
        connectStation(1, "11 22 33 44", "AA BB CC DD", 5);
    }

    /// The frame of the request that reading var appends.
    QByteArray frameOf(RW_VAR var)
    {
        ReadRegister(&var);
        return PLC_driver.requests.isEmpty() ? QByteArray() : PLC_driver.requests.last().frame;
    }

    static QByteArray pathIn(const QByteArray& frame) { return frame.mid(48, frame.size() - 54); }
    static QByteArray countIn(const QByteArray& frame) { return frame.right(6); }
};

// --- The frame ---

TEST_F(ReadRequest, OfASevenCharacterTagIs64BytesLong)
{
    EXPECT_EQ(hex("70 00 28 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                  "00 00 00 00 01 00 02 00 a1 00 04 00 aa bb cc dd b1 00 14 00 05 00"
                  "4c 05 91 07 43 6f 75 6e 74 65 72 00 01 00 00 00 00 00"),
              frameOf(readVar("Counter", 1)));
}

TEST_F(ReadRequest, OfAnArrayElementCarriesItsElementSegment)
{
    setTypeHeader(1, "Arr", "03 c3 00 ff");
    EXPECT_EQ(hex("70 00 26 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                  "00 00 00 00 01 00 02 00 a1 00 04 00 aa bb cc dd b1 00 12 00 05 00"
                  "4c 04 91 03 41 72 72 00 28 0a 04 00 00 00 00 00"),
              frameOf(arrayVar("Arr", 10, 4, 1)));
}

TEST_F(ReadRequest, CarriesTheElementSegmentOfEachWidth)
{
    setTypeHeader(1, "Arr", "03 c3 00 ff");
    EXPECT_EQ(hex("91 03 41 72 72 00"), pathIn(frameOf(arrayVar("Arr", 0, 1, 1))));
    EXPECT_EQ(hex("91 03 41 72 72 00 28 ff"), pathIn(frameOf(arrayVar("Arr", 255, 1, 1))));
    EXPECT_EQ(hex("91 03 41 72 72 00 29 00 00 01"), pathIn(frameOf(arrayVar("Arr", 256, 1, 1))));
    EXPECT_EQ(hex("91 03 41 72 72 00 29 00 ff ff"), pathIn(frameOf(arrayVar("Arr", 65535, 1, 1))));
    EXPECT_EQ(hex("91 03 41 72 72 00 30 00 00 00 01 00"),
              pathIn(frameOf(arrayVar("Arr", 65536, 1, 1))));
    EXPECT_EQ(hex("91 03 41 72 72 00 30 00 ff ff ff ff"),
              pathIn(frameOf(arrayVar("Arr", -1, 1, 1))));
    EXPECT_EQ(6, PLC_driver.requests.last().frame.at(47)) << "path size in words";
}

TEST_F(ReadRequest, OfAnEmptyNameIs56BytesLong)
{
    EXPECT_EQ(hex("70 00 20 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                  "00 00 00 00 01 00 02 00 a1 00 04 00 aa bb cc dd b1 00 0c 00 05 00"
                  "4c 01 91 00 01 00 00 00 00 00"),
              frameOf(readVar("", 1)));
}

TEST_F(ReadRequest, CarriesBothBytesOfTheSequenceCount)
{
    PLCDataStorage[1].sequenceCount = 0xFE12;
    EXPECT_EQ(hex("12 fe"), frameOf(readVar("Counter", 1)).mid(44, 2));
}

TEST_F(ReadRequest, LeavesTheSequenceCountAlone)
{
    frameOf(readVar("Counter", 1));
    frameOf(readVar("Counter", 1));
    EXPECT_EQ(5, PLCDataStorage[1].sequenceCount);
}

TEST_F(ReadRequest, OfAStationWithoutRecordCarriesZerosAndCreatesTheRecord)
{
    EXPECT_EQ(hex("70 00 28 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                  "00 00 00 00 01 00 02 00 a1 00 04 00 00 00 00 00 b1 00 14 00 00 00"
                  "4c 05 91 07 43 6f 75 6e 74 65 72 00 01 00 00 00 00 00"),
              frameOf(readVar("Counter", 9)));
    ASSERT_TRUE(PLCDataStorage.contains(9));
    EXPECT_FALSE(PLCDataStorage[9].handshakeDone);
    EXPECT_TRUE(PLCDataStorage[9].sessionHandle.isEmpty());
}

TEST_F(ReadRequest, WritesBytesThatHandleOrConnectionLackAsZero)
{
    PLCDataStorage[1].sessionHandle = hex("11 22");
    PLCDataStorage[1].connectionId = hex("aa");
    const QByteArray frame = frameOf(readVar("Counter", 1));
    EXPECT_EQ(hex("11 22 00 00"), frame.mid(4, 4));
    EXPECT_EQ(hex("aa 00 00 00"), frame.mid(36, 4));
}

TEST_F(ReadRequest, PathSizeKeepsItsLow8Bits)
{
    const QString name(510, QLatin1Char('a'));
    RW_VAR var = readVar("", 1);
    var.tagName = name;
    const QByteArray frame = frameOf(var);
    ASSERT_EQ(54 + 512, frame.size());
    EXPECT_EQ(hex("4c 00 91 fe 61"), frame.mid(46, 5)) << "256 words, name length 510";
    EXPECT_EQ(hex("1e 02"), frame.mid(2, 2));
    EXPECT_EQ(hex("0a 02"), frame.mid(42, 2));
}

// --- The request record ---

TEST_F(ReadRequest, IsRecordedWithItsLengthsAndACopyOfTheVariable)
{
    RW_VAR var = named(readVar("Counter", 1, 3), 7, 8);
    var.accessKind = kAcceptWithoutStore;
    var.hostWord3 = 31;
    var.deviceNo = 4;
    var.result = 6;
    var.indexText = text("12");
    var.dataKind = 5;
    var.startIndex = 12;
    var.onceFlag = 1;
    var.data = hex("01 02");
    ReadRegister(&var);

    ASSERT_EQ(1, PLC_driver.requests.size());
    const Protocol& request = PLC_driver.requests.first();
    EXPECT_EQ(64, request.frameLength);
    EXPECT_EQ(64, request.frame.size());
    EXPECT_EQ(-1, request.replyLength);
    EXPECT_EQ(52, request.fixedReplyLength);
    EXPECT_EQ(0, request.requestFlags);
    EXPECT_EQ(0, request.reserved0);
    EXPECT_EQ(0, request.reserved1);
    EXPECT_EQ(0, request.reserved2);
    EXPECT_EQ(7, request.var.hostArea);
    EXPECT_EQ(8, request.var.hostAddress);
    EXPECT_EQ(kAcceptWithoutStore, request.var.accessKind);
    EXPECT_EQ(31, request.var.hostWord3);
    EXPECT_EQ(4, request.var.deviceNo);
    EXPECT_EQ(6, request.var.result);
    EXPECT_EQ(text("Counter"), request.var.tagName);
    EXPECT_EQ(text("12"), request.var.indexText);
    EXPECT_EQ(5, request.var.dataKind);
    EXPECT_EQ(12, request.var.startIndex);
    EXPECT_EQ(1, request.var.station);
    EXPECT_EQ(3, request.var.count);
    EXPECT_EQ(0, request.var.isArrayTag);
    EXPECT_EQ(1, request.var.onceFlag);
    EXPECT_EQ(hex("01 02"), request.var.data);
}

TEST_F(ReadRequest, GoesBehindTheRequestsThatWait)
{
    frameOf(readVar("First", 1));
    frameOf(readVar("Second", 1));
    ASSERT_EQ(2, PLC_driver.requests.size());
    EXPECT_EQ(text("First"), PLC_driver.requests.at(0).var.tagName);
    EXPECT_EQ(text("Second"), PLC_driver.requests.at(1).var.tagName);
}

TEST_F(ReadRequest, AnnouncesOneFrameToTheHost)
{
    comInfo.framesExpected = 2;
    comInfo.framesAnswered = 2;
    frameOf(readVar("Counter", 1));
    EXPECT_EQ(1, comInfo.framesExpected);
    EXPECT_EQ(0, comInfo.framesAnswered);
}

// --- Element counts ---

TEST_F(ReadRequest, WritesTheCountOfASingleValueAs32BitsAndTwoZeros)
{
    EXPECT_EQ(hex("70 11 01 00 00 00"), countIn(frameOf(readVar("Counter", 1, 70000))));
    EXPECT_EQ(hex("ff ff ff ff 00 00"), countIn(frameOf(readVar("Counter", 1, -1))));
    EXPECT_EQ(hex("00 00 00 80 00 00"), countIn(frameOf(readVar("Counter", 1, INT_MIN))));
    EXPECT_EQ(hex("ff ff ff 7f 00 00"), countIn(frameOf(readVar("Counter", 1, INT_MAX))));
}

TEST_F(ReadRequest, OfASingleValueIgnoresTheTypeAndTheIndex)
{
    setTypeHeader(1, "Counter", "05 c5 00 ff");
    RW_VAR var = readVar("Counter", 1, 10);
    var.startIndex = 300;
    const QByteArray frame = frameOf(var);
    EXPECT_EQ(hex("91 07 43 6f 75 6e 74 65 72 00"), pathIn(frame));
    EXPECT_EQ(hex("0a 00 00 00 00 00"), countIn(frame));
}

TEST_F(ReadRequest, OfASingleValueLeavesTheTypeHeadersAlone)
{
    frameOf(readVar("Counter", 1));
    EXPECT_TRUE(PLCDataStorage[1].tagTypeMap.isEmpty());
    setTypeHeader(1, "Counter", "04 c4 00");
    frameOf(readVar("Counter", 1));
    EXPECT_EQ(hex("04 c4 00"), typeHeader(1, "Counter"));
}

TEST_F(ReadRequest, Of32BitArraysAsksForHalfTheCountOnceAndForOneLessCyclically)
{
    setTypeHeader(1, "Arr", "04 c4 00 ff");
    RW_VAR var = arrayVar("Arr", 0, 10, 1);
    EXPECT_EQ(hex("09 00 00 00 00 00"), countIn(frameOf(var)));
    var.onceFlag = 1;
    EXPECT_EQ(hex("05 00 00 00 00 00"), countIn(frameOf(var)));
}

TEST_F(ReadRequest, Of64BitArraysWithCount2AsksCyclicallyForMinusOneElements)
{
    setTypeHeader(1, "Arr", "05 c5 00 ff");
    EXPECT_EQ(hex("ff ff ff ff 00 00"), countIn(frameOf(arrayVar("Arr", 0, 2, 1))));
}

struct ElementCountCase {
    const char* header;
    int onceFlag;
    int count;
    const char* elementCount;
    bool hasElementSegment;
};

void PrintTo(const ElementCountCase& c, std::ostream* out)
{
    *out << "header " << c.header << ", onceFlag " << c.onceFlag << ", count " << c.count;
}

class ElementCount : public ReadRequest, public testing::WithParamInterface<ElementCountCase> {};

TEST_P(ElementCount, OfAnArrayFollowsItsTypeAndTheOnceFlag)
{
    setTypeHeader(1, "Arr", GetParam().header);
    RW_VAR var = arrayVar("Arr", 9, GetParam().count, 1);
    var.onceFlag = GetParam().onceFlag;
    const QByteArray frame = frameOf(var);
    EXPECT_EQ(hex(GetParam().elementCount) + hex("00 00"), countIn(frame));
    EXPECT_EQ(hex(GetParam().hasElementSegment ? "91 03 41 72 72 00 28 09" : "91 03 41 72 72 00"),
              pathIn(frame));
    EXPECT_EQ(GetParam().hasElementSegment ? 4 : 3, frame.at(47));
    EXPECT_EQ(hex(GetParam().header), typeHeader(1, "Arr"));
}

INSTANTIATE_TEST_SUITE_P(
    BitsAndSmallTypesKeepTheCount, ElementCount,
    testing::Values(ElementCountCase{"00 c1 00 ff", 0, 10, "0a 00 00 00", true},
                    ElementCountCase{"00 c1 00 ff", 1, 10, "0a 00 00 00", true},
                    ElementCountCase{"02 c2 00 ff", 0, 10, "0a 00 00 00", true},
                    ElementCountCase{"02 c2 00 ff", 1, 10, "0a 00 00 00", true},
                    ElementCountCase{"03 c3 00 ff", 0, 10, "0a 00 00 00", true},
                    ElementCountCase{"03 c3 00 ff", 1, 10, "0a 00 00 00", true},
                    ElementCountCase{"03 c3 00 ff", 0, 0, "00 00 00 00", true},
                    ElementCountCase{"03 c3 00 ff", 0, -2, "fe ff ff ff", true},
                    ElementCountCase{"06 c3 00 ff", 0, 10, "0a 00 00 00", true},
                    ElementCountCase{"fe c3 00 ff", 1, 10, "0a 00 00 00", true}));

INSTANTIATE_TEST_SUITE_P(
    StringsAndUnknownTypesAskForOneElementWithoutIndex, ElementCount,
    testing::Values(ElementCountCase{"01 da 00 ff", 0, 10, "01 00 00 00", false},
                    ElementCountCase{"01 da 00 ff", 1, 10, "01 00 00 00", false},
                    ElementCountCase{"01 da 00 ff", 0, 0, "01 00 00 00", false},
                    ElementCountCase{"ff da 00 ff", 0, 10, "01 00 00 00", false},
                    ElementCountCase{"ff 00 00 00", 0, 10, "01 00 00 00", false}));

INSTANTIATE_TEST_SUITE_P(
    ThirtyTwoBitTypes, ElementCount,
    testing::Values(ElementCountCase{"04 c4 00 ff", 0, 15, "0e 00 00 00", true},
                    ElementCountCase{"04 c4 00 ff", 0, 2, "01 00 00 00", true},
                    ElementCountCase{"04 c4 00 ff", 0, 1, "00 00 00 00", true},
                    ElementCountCase{"04 c4 00 ff", 0, 0, "ff ff ff ff", true},
                    ElementCountCase{"04 c4 00 ff", 0, INT_MIN, "ff ff ff 7f", true},
                    ElementCountCase{"04 c4 00 ff", 1, 1, "00 00 00 00", true},
                    ElementCountCase{"04 c4 00 ff", 1, 11, "05 00 00 00", true},
                    ElementCountCase{"04 c4 00 ff", 2, 11, "05 00 00 00", true},
                    ElementCountCase{"04 c4 00 ff", -1, 11, "05 00 00 00", true},
                    ElementCountCase{"04 ca 00 ff", 1, 140000, "70 11 01 00", true},
                    ElementCountCase{"04 ca 00 ff", 1, -1, "ff ff ff 7f", true},
                    ElementCountCase{"04 ca 00 ff", 1, INT_MIN, "00 00 00 40", true}));

INSTANTIATE_TEST_SUITE_P(
    SixtyFourBitTypes, ElementCount,
    testing::Values(ElementCountCase{"05 c5 00 ff", 0, 15, "0c 00 00 00", true},
                    ElementCountCase{"05 c5 00 ff", 0, 4, "01 00 00 00", true},
                    ElementCountCase{"05 c5 00 ff", 0, 3, "00 00 00 00", true},
                    ElementCountCase{"05 c5 00 ff", 0, 2, "ff ff ff ff", true},
                    ElementCountCase{"05 c5 00 ff", 0, INT_MIN + 2, "ff ff ff 7f", true},
                    ElementCountCase{"05 c5 00 ff", 1, 3, "00 00 00 00", true},
                    ElementCountCase{"05 c5 00 ff", 1, 8, "02 00 00 00", true},
                    ElementCountCase{"05 c5 00 ff", 1, 11, "02 00 00 00", true},
                    ElementCountCase{"05 cb 00 ff", 2, 11, "02 00 00 00", true},
                    ElementCountCase{"05 cb 00 ff", 1, -1, "ff ff ff 3f", true}));

// --- Probes ---

TEST_F(ReadRequest, OfAnArrayNeverReadIsAProbeOfOneElementWithoutIndex)
{
    EXPECT_EQ(hex("70 00 24 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                  "00 00 00 00 01 00 02 00 a1 00 04 00 aa bb cc dd b1 00 10 00 05 00"
                  "4c 03 91 03 41 72 72 00 01 00 00 00 00 00"),
              frameOf(arrayVar("Arr", 300, 20, 1)));
    EXPECT_EQ(hex("ff"), typeHeader(1, "Arr"));
}

TEST_F(ReadRequest, StaysAProbeUntilTheTypeIsKnown)
{
    frameOf(arrayVar("Arr", 300, 20, 1));
    EXPECT_EQ(hex("01 00 00 00 00 00"), countIn(frameOf(arrayVar("Arr", 300, 20, 1))));
    EXPECT_EQ(hex("ff"), typeHeader(1, "Arr"));
    setTypeHeader(1, "Arr", "03 c3 00 ff");
    const QByteArray frame = frameOf(arrayVar("Arr", 300, 20, 1));
    EXPECT_EQ(hex("91 03 41 72 72 00 29 00 2c 01"), pathIn(frame));
    EXPECT_EQ(hex("14 00 00 00 00 00"), countIn(frame));
}

TEST_F(ReadRequest, MarksByte0OfAnIncompleteHeaderAndKeepsTheRest)
{
    setTypeHeader(1, "Arr", "04 c4 00");
    const QByteArray frame = frameOf(arrayVar("Arr", 3, 20, 1));
    EXPECT_EQ(hex("ff c4 00"), typeHeader(1, "Arr"));
    EXPECT_EQ(hex("01 00 00 00 00 00"), countIn(frame));
    EXPECT_EQ(hex("91 03 41 72 72 00"), pathIn(frame));

    setTypeHeader(1, "Arr", "04 c4 00 fe 55");
    frameOf(arrayVar("Arr", 3, 20, 1));
    EXPECT_EQ(hex("ff c4 00 fe 55"), typeHeader(1, "Arr"));
}

TEST_F(ReadRequest, OfAnArrayOnAStationWithoutRecordIsAProbe)
{
    EXPECT_EQ(hex("01 00 00 00 00 00"), countIn(frameOf(arrayVar("Arr", 3, 20, 9))));
    EXPECT_EQ(hex("ff"), typeHeader(9, "Arr"));
}

TEST_F(ReadRequest, TakesAnyNonzeroArrayFlagForAnArray)
{
    setTypeHeader(1, "Arr", "04 c4 00 ff");
    RW_VAR var = arrayVar("Arr", 3, 20, 1);
    var.isArrayTag = -1;
    const QByteArray frame = frameOf(var);
    EXPECT_EQ(hex("91 03 41 72 72 00 28 03"), pathIn(frame));
    EXPECT_EQ(hex("13 00 00 00 00 00"), countIn(frame));
}

// --- Bad input ---

TEST_F(ReadRequest, LeavesOutANameThatNoFrameCanCarry)
{
    RW_VAR var = readVar("", 1);
    var.tagName = QString(kMaxEncapsulationLength + 1, QLatin1Char('a'));
    const QByteArray frame = frameOf(var);
    EXPECT_LE(frame.size(), 24 + kMaxEncapsulationLength);
    EXPECT_FALSE(frame.contains('a'));
    ASSERT_EQ(1, PLC_driver.requests.size())
        << "the request leaves, so that the controller refuses";
    EXPECT_EQ(frame.size(), PLC_driver.requests.first().frameLength);
}

TEST_F(ReadRequest, OfNothingDoesNothing)
{
    ReadRegister(nullptr);
    EXPECT_TRUE(PLC_driver.requests.isEmpty());
}

TEST_F(ReadRequest, NeedsNoSettingsRecord)
{
    SetComInfo(nullptr);
    EXPECT_EQ(64, frameOf(readVar("Counter", 1)).size());
    EXPECT_EQ(0, comInfo.framesExpected);
}

} // namespace
