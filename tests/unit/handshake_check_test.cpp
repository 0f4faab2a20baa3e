// Replies to RegisterSession and Forward Open: what is accepted, kept, tried again and dropped.

#include "driver_fixture.h"

#include <gtest/gtest.h>

namespace {

class HandshakeCheck : public DriverTest {
protected:
    void SetUp() override
    {
        DriverTest::SetUp();
        PLC_driver.readList.append(readVar("Any", 3));
    }

    /// Starts the handshake of station 3 and, when asked, has its RegisterSession accepted.
    void start() { ASSERT_EQ(28, ComCommunication()->frameLength); }
    void startAndRegister()
    {
        start();
        ASSERT_EQ(kOk, reply(registerSessionReply("11 22 33 44")));
        ASSERT_EQ(86, ComCommunication()->frameLength);
        forgetMessages();
    }

    static int check(const QByteArray& bytes) { return HandshakeFunctionCheck(&bytes); }
    static PLCTAGCOMMUNICATION record() { return PLCDataStorage.value(3); }
    static QByteArray serialOfFront() { return PLC_driver.requests.first().frame.mid(60, 4); }
};

// --- RegisterSession ---

TEST_F(HandshakeCheck, RegisterSessionReplyOf28BytesGivesItsHandleToForwardOpenAndStation)
{
    start();
    forgetMessages();
    EXPECT_EQ(1, check(registerSessionReply("11 22 33 44")));
    EXPECT_EQ(hex("6f 00 3e 00 11 22 33 44 00"), PLC_driver.requests.at(1).frame.left(9));
    EXPECT_EQ(hex("11 22 33 44"), record().sessionHandle);
    ASSERT_EQ(1, messages().size());
    EXPECT_EQ(text("HandshakeFunctionCheck  1 "
                   "\"65000400112233440000000000000000000000000000000001000000\" "),
              messages().first());
}

TEST_F(HandshakeCheck, TheCheckItselfRetiresNothing)
{
    start();
    check(registerSessionReply("11 22 33 44"));
    EXPECT_EQ(2, PLC_driver.requests.size());
    EXPECT_EQ(0, comInfo.framesAnswered);
    EXPECT_FALSE(record().handshakeDone);
}

TEST_F(HandshakeCheck, RegisterSessionReplyOf27BytesIsRefusedAndBothRequestsDropped)
{
    start();
    EXPECT_EQ(kHandshakeRefused, reply(registerSessionReply("11 22 33 44").left(27)));
    EXPECT_TRUE(PLC_driver.requests.isEmpty());
    EXPECT_FALSE(record().handshakeDone);
    EXPECT_EQ(QByteArray(), record().sessionHandle);
}

TEST_F(HandshakeCheck, RegisterSessionReplyOf29BytesIsRefusedAndBothRequestsDropped)
{
    start();
    EXPECT_EQ(kHandshakeRefused, reply(registerSessionReply("11 22 33 44") + hex("00")));
    EXPECT_TRUE(PLC_driver.requests.isEmpty());
    EXPECT_FALSE(record().handshakeDone);
    EXPECT_EQ(QByteArray(), record().sessionHandle);
}

TEST_F(HandshakeCheck, ARefusedRegisterSessionIsTriedAgainWithoutLimit)
{
    for (int attempt = 0; attempt < 20; ++attempt) {
        start();
        EXPECT_EQ(2, PLC_driver.requests.size());
        EXPECT_EQ(kHandshakeRefused, reply(QByteArray()));
    }
    start();
    EXPECT_EQ(kOk, reply(registerSessionReply("11 22 33 44")));
}

TEST_F(HandshakeCheck, OnlyTheLengthOfARegisterSessionReplyCounts)
{
    start();
    EXPECT_EQ(kOk, reply(registerSessionReply("11 22 33 44", "69 00 00 00")));
    EXPECT_EQ(hex("11 22 33 44"), record().sessionHandle);
    EXPECT_EQ(1, PLC_driver.requests.size());
}

TEST_F(HandshakeCheck, TheReportedLengthOfAHandshakeReplyDoesNotCount)
{
    start();
    EXPECT_EQ(kOk, reply(registerSessionReply("11 22 33 44"), 0));
    EXPECT_EQ(kHandshakeRefused, reply(forwardOpenReply("aa bb cc dd").left(69), 70));
    EXPECT_EQ(kOk, reply(forwardOpenReply("aa bb cc dd"), 999));
    EXPECT_TRUE(record().handshakeDone);
}

TEST_F(HandshakeCheck, AnAcceptedRegisterSessionLeavesTheForwardOpenInFlight)
{
    start();
    EXPECT_EQ(kOk, reply(registerSessionReply("11 22 33 44")));
    ASSERT_EQ(1, PLC_driver.requests.size());
    EXPECT_EQ(86, PLC_driver.requests.first().frameLength);
    EXPECT_EQ(1, comInfo.framesAnswered);
    EXPECT_EQ(2, comInfo.framesExpected);
    EXPECT_FALSE(record().handshakeDone);
}

TEST_F(HandshakeCheck, ANewSessionHandleReplacesTheOldOne)
{
    PLCDataStorage[3].sessionHandle = hex("99 98 97 96");
    start();
    reply(registerSessionReply("11 22 33 44"));
    EXPECT_EQ(hex("11 22 33 44"), record().sessionHandle);
}

// --- Forward Open ---

TEST_F(HandshakeCheck, ForwardOpenReplyOf70BytesConnectsTheStation)
{
    startAndRegister();
    EXPECT_EQ(kOk, reply(forwardOpenReply("aa bb cc dd")));
    EXPECT_EQ(hex("aa bb cc dd"), record().connectionId);
    EXPECT_EQ(hex("11 22 33 44"), record().sessionHandle);
    EXPECT_TRUE(record().handshakeDone);
    EXPECT_EQ(1, record().sequenceCount);
    EXPECT_EQ(2, comInfo.framesAnswered);
    EXPECT_TRUE(PLC_driver.requests.isEmpty());
}

TEST_F(HandshakeCheck, ForwardOpenReplyIsLoggedAndThenTheSuccess)
{
    startAndRegister();
    reply(forwardOpenReply("aa bb cc dd"));
    ASSERT_EQ(2, messages().size());
    EXPECT_EQ(text("HandshakeFunctionCheck  1 \""
                   "6f002e00112233440000000000000000000000000000000000000000000002000000"
                   "0000b2001e00d4000000aabbccdd0100fe80020001000000341280841e0080841e000000\" "),
              messages().at(0));
    EXPECT_EQ(text("setHandshakeInformation success! "), messages().at(1));
}

TEST_F(HandshakeCheck, OnlyTheLengthOfAForwardOpenReplyCounts)
{
    startAndRegister();
    EXPECT_EQ(kOk, reply(QByteArray(70, '\xee')));
    EXPECT_EQ(hex("ee ee ee ee"), record().connectionId);
    EXPECT_TRUE(record().handshakeDone);
}

TEST_F(HandshakeCheck, ARefusedForwardOpenStaysInFlightWithANewSerialNumber)
{
    startAndRegister();
    const QByteArray first = PLC_driver.requests.first().frame;
    holdClock(50000);
    EXPECT_EQ(kHandshakeRefused, reply(forwardOpenReply("aa bb cc dd").left(56)));
    ASSERT_EQ(1, PLC_driver.requests.size());
    const QByteArray second = ComCommunication()->frame;
    const int number = randomAt(50000);
    EXPECT_EQ(number & 0xFF, static_cast<quint8>(second.at(62)));
    EXPECT_EQ(number >> 8, static_cast<quint8>(second.at(63)));
    EXPECT_EQ(first.left(62), second.left(62));
    EXPECT_EQ(first.mid(64), second.mid(64));
    EXPECT_NE(first, second);
    EXPECT_EQ(1, comInfo.framesAnswered);
}

TEST_F(HandshakeCheck, ARefusedForwardOpenKeepsTheSerialNumberWithinOneSecond)
{
    startAndRegister();
    const QByteArray serial = serialOfFront();
    reply(QByteArray(56, '\0'));
    EXPECT_EQ(serial, serialOfFront());
}

TEST_F(HandshakeCheck, FourRefusalsOfTheForwardOpenAbandonTheHandshake)
{
    startAndRegister();
    for (int refusal = 1; refusal <= 3; ++refusal) {
        holdClock(43200 + refusal);
        EXPECT_EQ(kHandshakeRefused, reply(QByteArray(56, '\0'))) << refusal;
        ASSERT_EQ(1, PLC_driver.requests.size()) << refusal;
        const int number = randomAt(43200 + refusal);
        EXPECT_EQ(number & 0xFF, static_cast<quint8>(serialOfFront().at(2))) << refusal;
        EXPECT_EQ(number >> 8, static_cast<quint8>(serialOfFront().at(3))) << refusal;
    }
    EXPECT_EQ(kHandshakeRefused, reply(QByteArray(56, '\0')));
    EXPECT_TRUE(PLC_driver.requests.isEmpty());
    EXPECT_FALSE(record().handshakeDone);
    EXPECT_EQ(hex("11 22 33 44"), record().sessionHandle) << "only a reset forgets the session";
    EXPECT_EQ(QByteArray(), record().connectionId);
}

TEST_F(HandshakeCheck, AnAbandonedHandshakeStartsAfreshWithAllItsRetries)
{
    for (int round = 0; round < 2; ++round) {
        startAndRegister();
        for (int refusal = 1; refusal <= 3; ++refusal) {
            reply(QByteArray(71, '\0'));
            ASSERT_EQ(1, PLC_driver.requests.size()) << round << ' ' << refusal;
        }
        reply(QByteArray(71, '\0'));
        ASSERT_TRUE(PLC_driver.requests.isEmpty()) << round;
    }
}

TEST_F(HandshakeCheck, AForwardOpenAcceptedAtItsFourthAttemptConnects)
{
    startAndRegister();
    for (int refusal = 1; refusal <= 3; ++refusal)
        reply(QByteArray());
    EXPECT_EQ(kOk, reply(forwardOpenReply("aa bb cc dd")));
    EXPECT_TRUE(record().handshakeDone);
}

TEST_F(HandshakeCheck, ARefusalIsLoggedWithTheWholeReply)
{
    startAndRegister();
    reply("6f 00 03 00 00 de ad");
    ASSERT_EQ(1, messages().size());
    EXPECT_EQ(text("HandshakeFunctionCheck  0 \"6f00030000dead\" "), messages().first());
}

TEST_F(HandshakeCheck, NoReplyCountsAsAnEmptyOne)
{
    start();
    forgetMessages();
    const RW_VAR* outcome = DataCom(nullptr, 0);
    ASSERT_NE(nullptr, outcome);
    EXPECT_EQ(kHandshakeRefused, outcome->result);
    EXPECT_TRUE(PLC_driver.requests.isEmpty());
    ASSERT_EQ(1, messages().size());
    EXPECT_EQ(text("HandshakeFunctionCheck  0 \"\" "), messages().first());
}

TEST_F(HandshakeCheck, CutRepliesOfEveryLengthAreRefused)
{
    const QByteArray registered = registerSessionReply("11 22 33 44");
    const QByteArray opened = forwardOpenReply("aa bb cc dd");
    for (int length = 0; length < registered.size(); ++length) {
        start();
        EXPECT_EQ(kHandshakeRefused, reply(registered.left(length))) << length;
    }
    for (int length = 0; length < opened.size(); ++length) {
        PLC_driver.requests.clear();
        startAndRegister();
        EXPECT_EQ(kHandshakeRefused, reply(opened.left(length))) << length;
    }
    EXPECT_FALSE(record().handshakeDone);
}

// --- The check by itself ---

TEST_F(HandshakeCheck, AtAnyOtherStepARightLengthIsAcceptedAndNothingStored)
{
    start();
    for (const int step : {-1, 2, 3}) {
        comInfo.framesAnswered = step;
        EXPECT_EQ(1, check(registerSessionReply("11 22 33 44"))) << step;
        EXPECT_EQ(hex("00 00 00 00"), PLC_driver.requests.at(1).frame.mid(4, 4)) << step;
    }
    PLC_driver.requests.removeFirst();
    for (const int step : {-1, 2, 3}) {
        comInfo.framesAnswered = step;
        EXPECT_EQ(1, check(forwardOpenReply("aa bb cc dd"))) << step;
    }
    EXPECT_EQ(QByteArray(), record().sessionHandle);
    EXPECT_EQ(QByteArray(), record().connectionId);
}

TEST_F(HandshakeCheck, AForwardOpenReplyAtAnyOtherStepIsAcceptedAndNothingStored)
{
    start();
    PLC_driver.requests.removeFirst();
    for (const int step : {2, 3, -1}) {
        comInfo.framesAnswered = step;
        EXPECT_EQ(1, check(forwardOpenReply("AA BB CC DD")));
        EXPECT_EQ(QByteArray(), record().sessionHandle) << "step " << step;
        EXPECT_EQ(QByteArray(), record().connectionId) << "step " << step;
    }
}

TEST_F(HandshakeCheck, RegisterSessionAloneInFlightWritesIntoNoSecondRequest)
{
    start();
    PLC_driver.requests.removeLast();
    EXPECT_EQ(1, check(registerSessionReply("11 22 33 44")));
    EXPECT_EQ(hex("11 22 33 44"), record().sessionHandle);
    ASSERT_EQ(1, PLC_driver.requests.size());
    EXPECT_EQ(hex("00 00 00 00"), PLC_driver.requests.first().frame.mid(4, 4));
}

TEST_F(HandshakeCheck, ASecondRequestTooShortForAHandleIsLeftAlone)
{
    start();
    PLC_driver.requests[1].frame = hex("6f 00 3e 00 00");
    EXPECT_EQ(1, check(registerSessionReply("11 22 33 44")));
    EXPECT_EQ(5, PLC_driver.requests.at(1).frame.left(5).size());
}

TEST_F(HandshakeCheck, WithoutARequestNothingIsAccepted)
{
    PLC_driver.requests.clear();
    EXPECT_EQ(0, check(registerSessionReply("11 22 33 44")));
    EXPECT_EQ(0, HandshakeFunctionCheck(nullptr));
}

TEST_F(HandshakeCheck, AReplyShorterThanItsFieldsIsNotReadBeyondItsEnd)
{
    start();
    for (int step = 0; step <= 2; ++step) {
        for (int length = 0; length <= 48; ++length) {
            comInfo.framesAnswered = step;
            PLC_driver.requests[0].replyLength = length;
            check(QByteArray(length, '\x11'));
        }
    }
    EXPECT_LE(record().sessionHandle.size(), 4);
    EXPECT_LE(record().connectionId.size(), 4);
}

TEST_F(HandshakeCheck, CreatesAMissingStation)
{
    start();
    PLCDataStorage.clear();
    EXPECT_EQ(1, check(registerSessionReply("11 22 33 44")));
    EXPECT_EQ(hex("11 22 33 44"), record().sessionHandle);
    EXPECT_EQ(0, record().sequenceCount);
}

// --- setHandshakeInformation ---

TEST_F(HandshakeCheck, AFailureForgetsSessionAndTags)
{
    connectStation(3, "11 22 33 44", "AA BB CC DD", 77);
    setTypeHeader(3, "Word", "03 c3 00 ff");
    setStoredData(3, "Word", "34 12");
    EXPECT_EQ(1, setHandshakeInformation(3, false));
    ASSERT_TRUE(PLCDataStorage.contains(3));
    EXPECT_FALSE(record().handshakeDone);
    EXPECT_EQ(1, record().sequenceCount);
    EXPECT_EQ(QByteArray(), record().sessionHandle);
    EXPECT_EQ(QByteArray(), record().connectionId);
    EXPECT_TRUE(record().tagDataMap.isEmpty());
    EXPECT_TRUE(record().tagTypeMap.isEmpty());
    EXPECT_EQ(QList<QString>() << text("setHandshakeInformation error! "), messages());
}

TEST_F(HandshakeCheck, AFailureOfOneStationLeavesTheOthers)
{
    connectStation(3);
    connectStation(4);
    setStoredData(4, "Word", "34 12");
    setHandshakeInformation(3, false);
    EXPECT_TRUE(PLCDataStorage[4].handshakeDone);
    EXPECT_EQ(hex("34 12"), storedData(4, "Word"));
}

TEST_F(HandshakeCheck, ASuccessOfAStationNeverSeenCreatesAConnectedRecord)
{
    EXPECT_EQ(1, setHandshakeInformation(88, true));
    ASSERT_TRUE(PLCDataStorage.contains(88));
    const PLCTAGCOMMUNICATION station = PLCDataStorage.value(88);
    EXPECT_TRUE(station.handshakeDone);
    EXPECT_EQ(1, station.sequenceCount);
    EXPECT_EQ(QByteArray(), station.sessionHandle);
    EXPECT_EQ(QByteArray(), station.connectionId);
    EXPECT_TRUE(station.tagDataMap.isEmpty());
    EXPECT_TRUE(station.tagTypeMap.isEmpty());
    EXPECT_EQ(QList<QString>() << text("setHandshakeInformation success! "), messages());
}

TEST_F(HandshakeCheck, ASuccessKeepsHandleConnectionAndTags)
{
    connectStation(3, "11 22 33 44", "AA BB CC DD", 77);
    PLCDataStorage[3].handshakeDone = false;
    setTypeHeader(3, "Word", "03 c3 00 ff");
    setStoredData(3, "Word", "34 12");
    setHandshakeInformation(3, true);
    EXPECT_TRUE(record().handshakeDone);
    EXPECT_EQ(1, record().sequenceCount);
    EXPECT_EQ(hex("11 22 33 44"), record().sessionHandle);
    EXPECT_EQ(hex("AA BB CC DD"), record().connectionId);
    EXPECT_EQ(hex("03 c3 00 ff"), typeHeader(3, "Word"));
    EXPECT_EQ(hex("34 12"), storedData(3, "Word"));
}

} // namespace
