// Whole stories, frame by frame: what the host sets, what goes out, what comes back, what it sees.

#include "driver_fixture.h"

#include <gtest/gtest.h>

namespace {

const char* const kRegisterSession =
    "65 00 04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00";
const char* const kRegisterSessionReply =
    "65 00 04 00 0a 00 0b 11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00";
const char* const kForwardOpenReply =
    "6f 00 2e 00 0a 00 0b 11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
    "00 00 00 00 00 00 02 00 00 00 00 00 b2 00 1e 00 d4 00 00 00"
    "e1 02 fe 80 01 00 fe 80 02 00 01 00 00 00 34 12 80 84 1e 00 80 84 1e 00 00 00";

/// The story runs on station 3, for a host of one station and for one of many.
class Transcript : public DriverTest, public testing::WithParamInterface<int> {
protected:
    void SetUp() override
    {
        DriverTest::SetUp();
        comInfo.multiStation = GetParam();
        comInfo.defaultStation = 3;
        comInfo.retryLimit = 1;
        comInfo.writeMode = 2;
        comInfo.hostHandle = 77;
    }

    /// The station argument of a host call: ignored where there is one station only.
    static int stationArgument() { return GetParam() != 0 ? 3 : 99; }

    /// The cyclic list as the host's screens make it: one tag.
    static void showOnScreen(const char* tag)
    {
        ADDRESS_RECORD screenAddress = address(tag, "", 1);
        const QList<ADDRESS_RECORD*> screen = QList<ADDRESS_RECORD*>() << &screenAddress;
        ASSERT_EQ(1, ReCreatReadVarList(&screen));
    }

    /// A Forward Open must leave; its vendor and the random half of its serial number are masked.
    void expectForwardOpenSent()
    {
        const Protocol* request = ComCommunication();
        ASSERT_NE(nullptr, request);
        ASSERT_EQ(86, request->frame.size());
        QByteArray frame = request->frame;
        for (const int at : {58, 59, 62, 63})
            frame[at] = '\0';
        EXPECT_EQ(hex("6f 00 3e 00 0a 00 0b 11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                      "00 00 00 00 00 00 02 00 00 00 00 00 b2 00 2e 00"
                      "54 02 20 06 24 01 05 f7 02 00 00 80 01 00 fe 80 02 00 00 00 00 00 00 00"
                      "02 00 00 00 80 84 1e 00 f8 43 80 84 1e 00 f8 43 a3 02 20 02 24 01"),
                  frame);
    }

    void connectOverTheWire()
    {
        expectSent(kRegisterSession);
        EXPECT_EQ(kOk, reply(kRegisterSessionReply));
        expectForwardOpenSent();
        EXPECT_EQ(kOk, reply(kForwardOpenReply));
    }

    QByteArray registers(const char* tag, unsigned int count, int expected = 1)
    {
        QByteArray out;
        EXPECT_EQ(expected, GetRegisterData(text(tag), 0, QString(), 3, &out, count));
        return out;
    }
};

INSTANTIATE_TEST_SUITE_P(MultiStation, Transcript, testing::Values(0, 1),
                         testing::PrintToStringParamName());

TEST_P(Transcript, OfACyclicReadOnAStationNeverContacted)
{
    showOnScreen("Speed");
    EXPECT_EQ(hex("ff 00 00 00"), typeHeader(3, "Speed"));
    EXPECT_EQ(QByteArray(), registers("Speed", 1, 0));

    expectSent(kRegisterSession);
    EXPECT_EQ(2, comInfo.framesExpected);
    EXPECT_EQ(0, comInfo.framesAnswered);
    EXPECT_EQ(kOk, reply(kRegisterSessionReply));
    EXPECT_EQ(1, comInfo.framesAnswered);
    EXPECT_EQ(hex("0a 00 0b 11"), PLCDataStorage.value(3).sessionHandle);

    expectForwardOpenSent();
    EXPECT_EQ(kOk, reply(kForwardOpenReply));
    EXPECT_EQ(2, comInfo.framesAnswered);
    EXPECT_EQ(hex("e1 02 fe 80"), PLCDataStorage.value(3).connectionId);
    EXPECT_TRUE(PLCDataStorage.value(3).handshakeDone);
    EXPECT_EQ(QByteArray(), registers("Speed", 1, 0)) << "connected, but never read";

    const Protocol* read =
        expectSent("70 00 26 00 0a 00 0b 11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                   "00 00 00 00 01 00 02 00 a1 00 04 00 e1 02 fe 80 b1 00 12 00 01 00"
                   "4c 04 91 05 53 70 65 65 64 00 01 00 00 00 00 00");
    ASSERT_NE(nullptr, read);
    EXPECT_EQ(-1, read->replyLength);
    EXPECT_EQ(1, comInfo.framesExpected);
    EXPECT_EQ(0, comInfo.framesAnswered);

    const char* const answer1234 =
        "70 00 1e 00 0a 00 0b 11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
        "00 00 00 00 00 00 02 00 a1 00 04 00 01 00 fe 80 b1 00 0a 00 01 00"
        "cc 00 00 00 c3 00 d2 04";
    EXPECT_EQ(kOk, reply(answer1234));
    EXPECT_EQ(54, read->replyLength);
    EXPECT_EQ(QByteArray(), registers("Speed", 1, 0)) << "the first call only learns the length";
    EXPECT_EQ(kOk, reply(answer1234));
    EXPECT_EQ(hex("03 c3 00 ff"), typeHeader(3, "Speed"));
    EXPECT_EQ(hex("d2 04"), registers("Speed", 1));
    EXPECT_EQ(text("Speed"), PLC_driver.lastVar.tagName);
    EXPECT_EQ(3, PLC_driver.lastVar.station);
    EXPECT_EQ(1, comInfo.framesAnswered);
    EXPECT_EQ(0, comInfo.scanDone);

    expectSent("70 00 26 00 0a 00 0b 11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
               "00 00 00 00 01 00 02 00 a1 00 04 00 e1 02 fe 80 b1 00 12 00 02 00"
               "4c 04 91 05 53 70 65 65 64 00 01 00 00 00 00 00");
    const char* const answerMinus2 =
        "70 00 1e 00 0a 00 0b 11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
        "00 00 00 00 00 00 02 00 a1 00 04 00 01 00 fe 80 b1 00 0a 00 02 00"
        "cc 00 00 00 c3 00 fe ff";
    EXPECT_EQ(kOk, reply(answerMinus2));
    EXPECT_EQ(kOk, reply(answerMinus2));
    EXPECT_EQ(hex("fe ff"), registers("Speed", 1));
    EXPECT_EQ(1, comInfo.scanDone) << "two good replies exceed one entry";

    EXPECT_TRUE(done().empty());
    EXPECT_TRUE(failed().empty());
    ASSERT_EQ(5, messages().size());
    EXPECT_TRUE(messages().at(0).startsWith(text("HandshakeFunction *****1  \"6500")));
    EXPECT_TRUE(messages().at(1).startsWith(text("HandshakeFunction *****2  \"6f00")));
    EXPECT_TRUE(messages().at(2).startsWith(text("HandshakeFunctionCheck  1 \"6500")));
    EXPECT_TRUE(messages().at(3).startsWith(text("HandshakeFunctionCheck  1 \"6f00")));
    EXPECT_EQ(text("setHandshakeInformation success! "), messages().at(4));
}

TEST_P(Transcript, OfAWrite)
{
    showOnScreen("Setpoint");
    EXPECT_EQ(1, SetRegisterData(text("Setpoint"), 4, QString(), stationArgument(),
                                 hex("39 30 00 00"), 2, 4, 100));
    EXPECT_EQ(3, PLC_driver.writeQueue.first().station);
    connectOverTheWire();

    // The write waits, read as a substitute, until the cyclic scan has stored the tag's type.
    const char* const read =
        "70 00 28 00 0a 00 0b 11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
        "00 00 00 00 01 00 02 00 a1 00 04 00 e1 02 fe 80 b1 00 14 00 01 00"
        "4c 05 91 08 53 65 74 70 6f 69 6e 74 01 00 00 00 00 00";
    const char* const readAnswer =
        "70 00 20 00 0a 00 0b 11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
        "00 00 00 00 00 00 02 00 a1 00 04 00 01 00 fe 80 b1 00 0c 00 01 00"
        "cc 00 00 00 c4 00 0a 00 00 00";
    expectSent(read);
    EXPECT_EQ(kServedCyclicRead, PLC_driver.servedQueue);
    EXPECT_EQ(kOk, answer(hex(readAnswer)));
    EXPECT_EQ(hex("ff 00 00 00"), typeHeader(3, "Setpoint"));
    EXPECT_EQ(1, PLC_driver.writeQueue.size());

    PLC_driver.writesServed = 5; // as after a burst of writes: now the cyclic read has its turn
    expectSent("70 00 28 00 0a 00 0b 11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
               "00 00 00 00 01 00 02 00 a1 00 04 00 e1 02 fe 80 b1 00 14 00 02 00"
               "4c 05 91 08 53 65 74 70 6f 69 6e 74 01 00 00 00 00 00");
    EXPECT_EQ(kOk, answer(hex(readAnswer)));
    EXPECT_EQ(hex("04 c4 00 ff"), typeHeader(3, "Setpoint"));
    EXPECT_EQ(hex("0a 00 00 00"), registers("Setpoint", 2));

    const Protocol* write =
        expectSent("70 00 2e 00 0a 00 0b 11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                   "00 00 00 00 01 00 02 00 a1 00 04 00 e1 02 fe 80 b1 00 1a 00 03 00"
                   "53 05 91 08 53 65 74 70 6f 69 6e 74 c4 00 01 00 00 00 00 00 39 30 00 00");
    ASSERT_NE(nullptr, write);
    EXPECT_EQ(-1, write->replyLength);
    EXPECT_EQ(0, write->fixedReplyLength);
    EXPECT_EQ(kServedWrite, PLC_driver.servedQueue);

    const char* const writeAnswer =
        "70 00 1a 00 0a 00 0b 11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
        "00 00 00 00 00 00 02 00 a1 00 04 00 01 00 fe 80 b1 00 06 00 03 00"
        "d3 00 00 00";
    EXPECT_EQ(kOk, reply(writeAnswer));
    EXPECT_TRUE(done().empty());
    EXPECT_EQ(kOk, reply(writeAnswer));
    EXPECT_EQ(std::vector<DoneEvent>({DoneEvent{77, 4, 100, 1}}), done());
    EXPECT_TRUE(PLC_driver.writeQueue.isEmpty());
    EXPECT_EQ(100, PLC_driver.lastVar.hostAddress);
    EXPECT_EQ(kOk, PLC_driver.lastVar.result);
    EXPECT_EQ(hex("0a 00 00 00"), registers("Setpoint", 2)) << "a write stores nothing";
    EXPECT_EQ(4, PLCDataStorage.value(3).sequenceCount);
    EXPECT_TRUE(failed().empty());
}

TEST_P(Transcript, OfAOnceRead)
{
    RW_VAR var = named(readVar("Temp", stationArgument(), 9), 6, 200);
    EXPECT_EQ(1, AddListOnceReadVar(&var, 0));
    EXPECT_EQ(1, AddListOnceReadVar(&var, 0)) << "an equal one waits";
    connectOverTheWire();
    EXPECT_EQ(1, PLC_driver.onceReadQueue.size());

    const Protocol* read =
        expectSent("70 00 24 00 0a 00 0b 11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                   "00 00 00 00 01 00 02 00 a1 00 04 00 e1 02 fe 80 b1 00 10 00 01 00"
                   "4c 03 91 04 54 65 6d 70 01 00 00 00 00 00");
    ASSERT_NE(nullptr, read);
    EXPECT_EQ(3, read->var.station);
    EXPECT_EQ(1, read->var.onceFlag);
    EXPECT_EQ(kServedOnceRead, PLC_driver.servedQueue);
    const char* const answer20 =
        "70 00 20 00 0a 00 0b 11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
        "00 00 00 00 00 00 02 00 a1 00 04 00 01 00 fe 80 b1 00 0c 00 01 00"
        "cc 00 00 00 ca 00 00 00 a0 41";
    EXPECT_EQ(kOk, reply(answer20));
    EXPECT_TRUE(done().empty());
    EXPECT_EQ(kOk, reply(answer20));
    EXPECT_EQ(std::vector<DoneEvent>({DoneEvent{77, 6, 200, 1}}), done());
    EXPECT_TRUE(PLC_driver.onceReadQueue.isEmpty());
    EXPECT_EQ(hex("04 ca 00 ff"), typeHeader(3, "Temp"));
    EXPECT_EQ(hex("00 00 a0 41"), registers("Temp", 2));
    expectNothingSent();
    EXPECT_EQ(1, comInfo.scanDone);
}

TEST_P(Transcript, OfAFailurePastTheRetryLimit)
{
    connectStation(5);
    setTypeHeader(5, "Other", "03 c3 00 ff");
    showOnScreen("Speed");
    connectOverTheWire();
    const char* const readAnswer =
        "70 00 1e 00 0a 00 0b 11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
        "00 00 00 00 00 00 02 00 a1 00 04 00 01 00 fe 80 b1 00 0a 00 01 00"
        "cc 00 00 00 c3 00 d2 04";
    ASSERT_NE(nullptr, ComCommunication());
    EXPECT_EQ(kOk, answer(hex(readAnswer)));
    EXPECT_EQ(hex("d2 04"), registers("Speed", 1));

    // Writes of this station and of another, and once-reads, wait while a write fails.
    for (const int address : {100, 101})
        SetRegisterData(text("Speed"), address, QString(), stationArgument(), hex("05 00"), 1, 4,
                        address);
    RW_VAR elsewhere = named(writeVar("Other", "06 00", 1, 5), 4, 102);
    AddListWriteVar(&elsewhere, 1);
    RW_VAR sameVariable = named(readVar("Speed", 3), 4, 100);
    RW_VAR sameElsewhere = named(readVar("Speed", 5), 4, 100);
    RW_VAR otherVariable = named(readVar("Speed", 3), 4, 300);
    AddListOnceReadVar(&sameVariable, 1);
    AddListOnceReadVar(&sameElsewhere, 1);
    AddListOnceReadVar(&otherVariable, 1);

    const char* const write =
        "70 00 2a 00 0a 00 0b 11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
        "00 00 00 00 01 00 02 00 a1 00 04 00 e1 02 fe 80 b1 00 16 00 02 00"
        "53 04 91 05 53 70 65 65 64 00 c3 00 01 00 00 00 00 00 05 00";
    const char* const writeAnswer =
        "70 00 1a 00 0a 00 0b 11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
        "00 00 00 00 00 00 02 00 a1 00 04 00 01 00 fe 80 b1 00 06 00 02 00"
        "d3 00 00 00";
    expectSent(write);
    EXPECT_EQ(kOk, reply(writeAnswer));
    forgetMessages();
    EXPECT_EQ(kResend, reply(QByteArray(), 0)) << "a time-out";
    EXPECT_EQ(1, comInfo.failCount);
    expectSent(write);
    EXPECT_TRUE(failed().empty());
    EXPECT_EQ(kLocalWrongLength + 1 + 4, reply(hex(writeAnswer), 51));

    EXPECT_EQ(std::vector<DoneEvent>({DoneEvent{77, 4, 100, 2}}), done());
    EXPECT_EQ(std::vector<FailEvent>({FailEvent{true, 4, 1}}), failed());
    EXPECT_TRUE(callbacksHeldTheQueueLock());
    EXPECT_EQ(100, PLC_driver.lastVar.hostAddress);
    EXPECT_EQ(75, PLC_driver.lastVar.result);
    EXPECT_EQ(0, comInfo.failCount);
    EXPECT_EQ(QList<QString>() << text("setHandshakeInformation error! "), messages());
    if (GetParam() != 0) {
        ASSERT_EQ(1, PLC_driver.writeQueue.size()) << "the other station's";
        EXPECT_EQ(102, PLC_driver.writeQueue.first().hostAddress);
        ASSERT_EQ(2, PLC_driver.onceReadQueue.size());
        EXPECT_EQ(5, PLC_driver.onceReadQueue.at(0).station);
        EXPECT_EQ(300, PLC_driver.onceReadQueue.at(1).hostAddress);
    } else {
        EXPECT_TRUE(PLC_driver.writeQueue.isEmpty());
        ASSERT_EQ(1, PLC_driver.onceReadQueue.size());
        EXPECT_EQ(300, PLC_driver.onceReadQueue.at(0).hostAddress);
    }
    EXPECT_EQ(QByteArray(), registers("Speed", 1, 0)) << "the session is gone, and its values";
    EXPECT_TRUE(PLCDataStorage.value(5).handshakeDone);

    // The station starts again from its handshake, the tag from its type.
    PLC_driver.writeQueue.clear();
    PLC_driver.onceReadQueue.clear();
    connectOverTheWire();
    expectSent("70 00 26 00 0a 00 0b 11 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
               "00 00 00 00 01 00 02 00 a1 00 04 00 e1 02 fe 80 b1 00 12 00 01 00"
               "4c 04 91 05 53 70 65 65 64 00 01 00 00 00 00 00");
    EXPECT_EQ(kOk, answer(hex(readAnswer)));
    EXPECT_EQ(hex("d2 04"), registers("Speed", 1));
}

} // namespace
