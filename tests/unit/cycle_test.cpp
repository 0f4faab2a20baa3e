// The communication cycle: whose turn it is, and what is asked.

#include "driver_fixture.h"

#include <gtest/gtest.h>

namespace {

class Cycle : public DriverTest {
protected:
    void SetUp() override
    {
        DriverTest::SetUp();
        connectStation(1);
        setTypeHeader(1, "Out", "03 c3 00 ff");
    }

    /// A write of Out on station 1 that none of the others resembles.
    static RW_VAR write(int hostAddress)
    {
        return named(writeVar("Out", "34 12", 1, 1), 1, hostAddress);
    }

    /// A once-read on station 1 that none of the others resembles.
    static RW_VAR onceRead(int hostAddress)
    {
        RW_VAR var = named(readVar("Once", 1), 2, hostAddress);
        var.onceFlag = 1;
        return var;
    }

    /// What the next call serves, as "write 3", "once 3", "cyclic Tag", "handshake 2" or "nothing".
    /// Reads and writes are answered well; handshakes are dropped.
    QString serve()
    {
        const Protocol* request = ComCommunication();
        if (request == nullptr)
            return text("nothing");
        if (request->replyLength != -1) {
            const QString station = QString::number(request->var.station);
            PLC_driver.requests.clear();
            return text("handshake ") + station;
        }
        const RW_VAR var = request->var;
        const bool isWrite = request->frame.at(46) == 0x53;
        EXPECT_EQ(kOk, answer(isWrite ? writeReply() : readReply("c3 00 01 00")));
        if (isWrite)
            return text("write ") + QString::number(var.hostAddress);
        if (PLC_driver.servedQueue == kServedOnceRead)
            return text("once ") + QString::number(var.hostAddress);
        return text("cyclic ") + var.tagName;
    }

    QStringList serve(int calls)
    {
        QStringList served;
        for (int call = 0; call < calls; ++call)
            served << serve();
        return served;
    }

    static QStringList tagsOf(const QList<RW_VAR>& list)
    {
        QStringList tags;
        for (const RW_VAR& var : list)
            tags << var.tagName;
        return tags;
    }
};

QStringList words(const char* commaSeparated)
{
    return text(commaSeparated).split(QLatin1String(", "));
}

// --- Nothing to do ---

TEST_F(Cycle, WithAllQueuesEmptyTheScanIsDoneAndNothingIsSent)
{
    PLC_driver.writesServed = 5;
    PLC_driver.onceReadsServed = 3;
    expectNothingSent();
    EXPECT_EQ(1, comInfo.scanDone);
    EXPECT_EQ(0, PLC_driver.writesServed);
    EXPECT_EQ(0, PLC_driver.onceReadsServed);
    EXPECT_EQ(kServedCyclicRead, PLC_driver.servedQueue);
}

TEST_F(Cycle, WithoutASettingsRecordNothingIsSentAndNothingBreaks)
{
    SetComInfo(nullptr);
    expectNothingSent();
    EXPECT_EQ(0, comInfo.scanDone);
}

TEST_F(Cycle, ANonEmptyReadListLeavesScanDoneAlone)
{
    PLC_driver.readList << readVar("Tag", 1);
    ComCommunication();
    EXPECT_EQ(0, comInfo.scanDone);
    comInfo.scanDone = 1;
    PLC_driver.requests.clear();
    ComCommunication();
    EXPECT_EQ(1, comInfo.scanDone);
}

// --- The request in flight ---

TEST_F(Cycle, ARequestInFlightIsReturnedAgainAndNoQueueIsTouched)
{
    comInfo.retryLimit = 3;
    PLC_driver.readList << readVar("Tag", 1);
    const Protocol* first = ComCommunication();
    ASSERT_NE(nullptr, first);
    const QByteArray frame = first->frame;
    reply(readReply("c3 00 01 00"));
    EXPECT_EQ(kResend, reply(QByteArray(), 0));

    PLC_driver.writeQueue << write(1);
    PLC_driver.onceReadQueue << onceRead(1);
    PLC_driver.writesServed = 2;
    PLC_driver.onceReadsServed = 3;
    const Protocol* again = ComCommunication();
    ASSERT_EQ(&PLC_driver.requests.first(), again);
    EXPECT_EQ(frame, again->frame);
    EXPECT_EQ(1, PLC_driver.requests.size());
    EXPECT_EQ(kServedCyclicRead, PLC_driver.servedQueue);
    EXPECT_EQ(2, PLC_driver.writesServed);
    EXPECT_EQ(3, PLC_driver.onceReadsServed);
    EXPECT_EQ(1, PLC_driver.writeQueue.size());
    EXPECT_EQ(1, PLC_driver.onceReadQueue.size());
    EXPECT_EQ(1, PLC_driver.readList.size());
}

TEST_F(Cycle, ARequestInFlightIsReturnedWithoutTheQueueLock)
{
    PLC_driver.readList << readVar("Tag", 1);
    const Protocol* first = ComCommunication();
    PLC_driver.queueMutex.lock();
    EXPECT_EQ(first, ComCommunication());
    PLC_driver.queueMutex.unlock();
}

// --- Priorities and caps ---

TEST_F(Cycle, SixWritesAndNoReadsStartFiveThenPauseOneCallThenTheSixth)
{
    for (int i = 1; i <= 6; ++i)
        PLC_driver.writeQueue << write(i);
    EXPECT_EQ(words("write 1, write 2, write 3, write 4, write 5, nothing, write 6"), serve(7));
    EXPECT_EQ(1, PLC_driver.writesServed);
    EXPECT_EQ(1, comInfo.scanDone);
}

TEST_F(Cycle, FiveWritesThenFiveOnceReadsThenOneCyclicRead)
{
    for (int i = 1; i <= 7; ++i)
        PLC_driver.writeQueue << write(i);
    for (int i = 1; i <= 7; ++i)
        PLC_driver.onceReadQueue << onceRead(i);
    PLC_driver.readList << readVar("A", 1) << readVar("B", 1);
    EXPECT_EQ(words("write 1, write 2, write 3, write 4, write 5, "
                    "once 1, once 2, once 3, once 4, once 5, cyclic A, "
                    "write 6, write 7, once 6, once 7, cyclic B, cyclic A"),
              serve(17));
}

TEST_F(Cycle, OnceReadsOvertakeTheCyclicScanAfterFewWrites)
{
    PLC_driver.writeQueue << write(1);
    PLC_driver.onceReadQueue << onceRead(1);
    PLC_driver.readList << readVar("A", 1);
    EXPECT_EQ(words("write 1, once 1, cyclic A, cyclic A"), serve(4));
}

TEST_F(Cycle, AWriteThatArrivesBetweenOnceReadsComesFirst)
{
    PLC_driver.onceReadQueue << onceRead(1) << onceRead(2);
    EXPECT_EQ(text("once 1"), serve());
    PLC_driver.writeQueue << write(1);
    EXPECT_EQ(words("write 1, once 2"), serve(2));
}

TEST_F(Cycle, ServingTheCyclicListClearsBothCounters)
{
    PLC_driver.readList << readVar("A", 1);
    PLC_driver.writesServed = 4;
    PLC_driver.onceReadsServed = 5;
    ASSERT_NE(nullptr, ComCommunication());
    EXPECT_EQ(0, PLC_driver.writesServed);
    EXPECT_EQ(0, PLC_driver.onceReadsServed);
}

TEST_F(Cycle, WritesAndOnceReadsCountSeparately)
{
    PLC_driver.writeQueue << write(1);
    PLC_driver.onceReadQueue << onceRead(1) << onceRead(2);
    serve(3);
    EXPECT_EQ(1, PLC_driver.writesServed);
    EXPECT_EQ(2, PLC_driver.onceReadsServed);
}

TEST_F(Cycle, AFifthWriteIsStartedAtFourServedAndASixthIsNotAtFive)
{
    PLC_driver.writeQueue << write(1) << write(2);
    PLC_driver.readList << readVar("A", 1);
    PLC_driver.writesServed = 4;
    EXPECT_EQ(words("write 1, cyclic A, write 2"), serve(3));
}

TEST_F(Cycle, AFifthOnceReadIsStartedAtFourServedAndASixthIsNotAtFive)
{
    PLC_driver.onceReadQueue << onceRead(1) << onceRead(2);
    PLC_driver.readList << readVar("A", 1);
    PLC_driver.onceReadsServed = 4;
    EXPECT_EQ(words("once 1, cyclic A, once 2"), serve(3));
}

TEST_F(Cycle, TheVariableServedStaysInItsQueue)
{
    PLC_driver.writeQueue << write(1);
    ComCommunication();
    EXPECT_EQ(1, PLC_driver.writeQueue.size());
    EXPECT_EQ(kServedWrite, PLC_driver.servedQueue);

    PLC_driver.writeQueue.clear();
    PLC_driver.requests.clear();
    PLC_driver.onceReadQueue << onceRead(1);
    ComCommunication();
    EXPECT_EQ(1, PLC_driver.onceReadQueue.size());
    EXPECT_EQ(kServedOnceRead, PLC_driver.servedQueue);

    PLC_driver.onceReadQueue.clear();
    PLC_driver.requests.clear();
    PLC_driver.readList << readVar("A", 1) << readVar("B", 1);
    ComCommunication();
    EXPECT_EQ(words("A, B"), tagsOf(PLC_driver.readList));
    EXPECT_EQ(kServedCyclicRead, PLC_driver.servedQueue);
}

// --- Requests and handshakes ---

TEST_F(Cycle, AConnectedStationIsRead)
{
    PLC_driver.readList << readVar("Tag", 1);
    expectSent("70 00 24 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
               "00 00 00 00 01 00 02 00 a1 00 04 00 aa bb cc dd b1 00 10 00 01 00"
               "4c 03 91 03 54 61 67 00 01 00 00 00 00 00");
}

TEST_F(Cycle, AConnectedStationIsReadOnce)
{
    PLC_driver.onceReadQueue << onceRead(1);
    const Protocol* request =
        expectSent("70 00 24 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                   "00 00 00 00 01 00 02 00 a1 00 04 00 aa bb cc dd b1 00 10 00 01 00"
                   "4c 03 91 04 4f 6e 63 65 01 00 00 00 00 00");
    EXPECT_EQ(1, request->var.hostAddress);
}

TEST_F(Cycle, AWriteOfAKnownTypeIsWritten)
{
    PLC_driver.writeQueue << write(1);
    expectSent("70 00 28 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
               "00 00 00 00 01 00 02 00 a1 00 04 00 aa bb cc dd b1 00 14 00 01 00"
               "53 03 91 03 4f 75 74 00 c3 00 01 00 00 00 00 00 34 12");
}

TEST_F(Cycle, AWriteRewritesTheDataOfTheQueuesOwnEntry)
{
    setTypeHeader(1, "Out", "02 c2 00 ff");
    PLC_driver.writeQueue << named(writeVar("Out", "0a 00 0b 00", 2, 1), 1, 1);
    ComCommunication();
    EXPECT_EQ(hex("0a 0b"), PLC_driver.writeQueue.first().data);
}

TEST_F(Cycle, AWriteOfUnknownTypeIsReadFirstAndRunsAsACyclicRead)
{
    setTypeHeader(1, "Out", "ff 00 00 00");
    PLC_driver.writeQueue << write(1);
    const Protocol* request =
        expectSent("70 00 24 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                   "00 00 00 00 01 00 02 00 a1 00 04 00 aa bb cc dd b1 00 10 00 01 00"
                   "4c 03 91 03 4f 75 74 00 01 00 00 00 00 00");
    EXPECT_EQ(kServedCyclicRead, PLC_driver.servedQueue);
    EXPECT_EQ(kAcceptWithoutStore, request->var.accessKind);
    EXPECT_EQ(1, PLC_driver.writesServed);
    EXPECT_EQ(1, PLC_driver.writeQueue.size());
    EXPECT_EQ(hex("34 12"), PLC_driver.writeQueue.first().data);
}

TEST_F(Cycle, ASubstituteReadOfAWriteIsNotStoredAndTheWriteGoesOnWaiting)
{
    setTypeHeader(1, "Out", "ff 00 00 00");
    PLC_driver.writeQueue << write(1);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(0x4C, ComCommunication()->frame.at(46)) << i;
        EXPECT_EQ(kOk, answer(readReply("c3 00 01 00"))) << i;
        EXPECT_EQ(hex("ff 00 00 00"), typeHeader(1, "Out")) << i;
        EXPECT_EQ(1, PLC_driver.writeQueue.size()) << i;
    }
    EXPECT_TRUE(done().empty());

    PLC_driver.onceReadQueue << readVar("Out", 1);
    PLC_driver.writesServed = 5;
    EXPECT_EQ(0x4C, ComCommunication()->frame.at(46));
    EXPECT_EQ(kOk, answer(readReply("c3 00 01 00")));
    PLC_driver.writesServed = 0;
    EXPECT_EQ(text("write 1"), serve());
    EXPECT_TRUE(PLC_driver.writeQueue.isEmpty());
}

TEST_F(Cycle, ASubstituteReadOfAStoringWriteLearnsTheTypeAndTheWriteFollows)
{
    setTypeHeader(1, "Out", "ff 00 00 00");
    RW_VAR var = write(1);
    var.accessKind = kStoreReply;
    PLC_driver.writeQueue << var;
    EXPECT_EQ(0x4C, ComCommunication()->frame.at(46));
    EXPECT_EQ(kOk, answer(readReply("c3 00 01 00")));
    EXPECT_EQ(text("write 1"), serve());
    EXPECT_TRUE(PLC_driver.writeQueue.isEmpty());
}

TEST_F(Cycle, AStationWithoutSessionIsGivenItsHandshakeFirst)
{
    PLC_driver.readList << readVar("Tag", 2);
    const Protocol* request = ComCommunication();
    ASSERT_NE(nullptr, request);
    EXPECT_EQ(28, request->frameLength);
    EXPECT_EQ(2, request->var.station);
    EXPECT_EQ(2, PLC_driver.requests.size());
    EXPECT_EQ(kServedCyclicRead, PLC_driver.servedQueue);
    EXPECT_EQ(words("Tag"), tagsOf(PLC_driver.readList));
    EXPECT_FALSE(PLCDataStorage.value(2).handshakeDone);
    EXPECT_EQ(1, PLCDataStorage.value(2).sequenceCount);
}

TEST_F(Cycle, AHandshakeCountsAsAWriteOrOnceReadStarted)
{
    PLC_driver.writeQueue << named(writeVar("Out", "34 12", 1, 2), 1, 1);
    EXPECT_EQ(text("handshake 2"), serve());
    EXPECT_EQ(kServedWrite, PLC_driver.servedQueue);
    EXPECT_EQ(1, PLC_driver.writesServed);
    EXPECT_EQ(1, PLC_driver.writeQueue.size());
    PLC_driver.writeQueue.clear();

    PLC_driver.onceReadQueue << readVar("Once", 2);
    EXPECT_EQ(text("handshake 2"), serve());
    EXPECT_EQ(kServedOnceRead, PLC_driver.servedQueue);
    EXPECT_EQ(1, PLC_driver.onceReadsServed);
    EXPECT_EQ(1, PLC_driver.onceReadQueue.size());
}

TEST_F(Cycle, AHandshakeHoldsUpEveryOtherStation)
{
    PLC_driver.readList << readVar("Tag", 2);
    const Protocol* first = ComCommunication();
    PLC_driver.writeQueue << write(1);
    EXPECT_EQ(first, ComCommunication());
    reply(registerSessionReply("55 66 77 88"));
    EXPECT_EQ(86, ComCommunication()->frameLength);
    reply(forwardOpenReply("01 02 03 04"));
    EXPECT_EQ(text("write 1"), serve());
}

// --- Variables of another device ---

TEST_F(Cycle, InRemoteModeNothingIsBuiltAndTheCountersRunOn)
{
    comInfo.remoteMode = 1;
    PLC_driver.writeQueue << named(writeVar("Out", "34 12", 1, 9), 1, 1);
    PLC_driver.onceReadQueue << readVar("Once", 9);
    PLC_driver.readList << readVar("A", 9);
    for (int i = 1; i <= 5; ++i) {
        expectNothingSent();
        EXPECT_EQ(kServedWrite, PLC_driver.servedQueue);
        EXPECT_EQ(i, PLC_driver.writesServed);
    }
    for (int i = 1; i <= 5; ++i) {
        expectNothingSent();
        EXPECT_EQ(kServedOnceRead, PLC_driver.servedQueue);
        EXPECT_EQ(i, PLC_driver.onceReadsServed);
    }
    expectNothingSent();
    EXPECT_EQ(kServedCyclicRead, PLC_driver.servedQueue);
    EXPECT_EQ(0, PLC_driver.writesServed);
    EXPECT_EQ(0, PLC_driver.onceReadsServed);
    EXPECT_FALSE(PLCDataStorage.contains(9)) << "nobody asks for the station";
    EXPECT_EQ(1, PLC_driver.writeQueue.size());
    EXPECT_EQ(1, PLC_driver.onceReadQueue.size());
}

// --- Stations switched off ---

TEST_F(Cycle, AStationIsKnownAsSwitchedOffByItsKey)
{
    EXPECT_EQ(0, Ethernetcontains(3));
    EnCommStation(3, 0);
    EXPECT_EQ(1, Ethernetcontains(3));
    EXPECT_EQ(0, Ethernetcontains(4));
    EnCommStation(3, 1);
    EXPECT_EQ(0, Ethernetcontains(3));
    PLC_driver.disabledStations[4] = 77;
    EXPECT_EQ(1, Ethernetcontains(4)) << "values play no part";
}

TEST_F(Cycle, OnlyStationsSwitchedOffInTheWriteQueueEmptyItInOneCallAndNothingIsSent)
{
    EnCommStation(2, 0);
    EnCommStation(3, 0);
    PLC_driver.writeQueue << writeVar("Out", "01", 1, 2) << writeVar("Out", "01", 1, 3)
                          << writeVar("Out", "01", 1, 2);
    PLC_driver.onceReadQueue << onceRead(1);
    PLC_driver.readList << readVar("A", 1);
    expectNothingSent();
    EXPECT_TRUE(PLC_driver.writeQueue.isEmpty());
    EXPECT_EQ(1, PLC_driver.onceReadQueue.size());
    EXPECT_EQ(0, PLC_driver.writesServed);
    EXPECT_EQ(kServedWrite, PLC_driver.servedQueue);
    EXPECT_TRUE(done().empty()) << "dropped without a callback";
    EXPECT_EQ(text("once 1"), serve());
}

TEST_F(Cycle, OnlyStationsSwitchedOffInTheOnceReadQueueEmptyItInOneCallAndNothingIsSent)
{
    EnCommStation(2, 0);
    PLC_driver.onceReadQueue << readVar("Once", 2) << readVar("Once", 2);
    PLC_driver.readList << readVar("A", 1);
    expectNothingSent();
    EXPECT_TRUE(PLC_driver.onceReadQueue.isEmpty());
    EXPECT_EQ(0, PLC_driver.onceReadsServed);
    EXPECT_EQ(kServedOnceRead, PLC_driver.servedQueue);
    EXPECT_EQ(text("cyclic A"), serve());
}

TEST_F(Cycle, WritesOfStationsSwitchedOffAreDroppedUntilOneIsOn)
{
    EnCommStation(2, 0);
    PLC_driver.writeQueue << writeVar("Out", "01", 1, 2) << writeVar("Out", "01", 1, 2) << write(7)
                          << writeVar("Out", "01", 1, 2);
    const Protocol* request = ComCommunication();
    ASSERT_NE(nullptr, request);
    EXPECT_EQ(7, request->var.hostAddress);
    EXPECT_EQ(2, PLC_driver.writeQueue.size()) << "entries behind the front wait for their turn";
}

TEST_F(Cycle, OnceReadsOfStationsSwitchedOffAreDroppedUntilOneIsOn)
{
    EnCommStation(2, 0);
    PLC_driver.onceReadQueue << readVar("Once", 2) << onceRead(7) << readVar("Once", 2);
    const Protocol* request = ComCommunication();
    ASSERT_NE(nullptr, request);
    EXPECT_EQ(7, request->var.hostAddress);
    EXPECT_EQ(2, PLC_driver.onceReadQueue.size());
}

TEST_F(Cycle, CyclicEntriesOfStationsSwitchedOffAreSkippedAndKept)
{
    EnCommStation(2, 0);
    PLC_driver.readList << readVar("A", 2) << readVar("B", 2) << readVar("C", 1) << readVar("D", 2);
    const Protocol* request = ComCommunication();
    ASSERT_NE(nullptr, request);
    EXPECT_EQ(text("C"), request->var.tagName);
    EXPECT_EQ(words("C, D, A, B"), tagsOf(PLC_driver.readList));
}

TEST_F(Cycle, WithEveryCyclicStationOffNothingIsSentAndCappedWritesStayCapped)
{
    EnCommStation(2, 0);
    PLC_driver.readList << readVar("A", 2) << readVar("B", 2);
    PLC_driver.writeQueue << write(1);
    PLC_driver.onceReadQueue << onceRead(1);
    PLC_driver.writesServed = 5;
    PLC_driver.onceReadsServed = 5;
    for (int i = 0; i < 3; ++i) {
        expectNothingSent();
        EXPECT_EQ(5, PLC_driver.writesServed);
        EXPECT_EQ(5, PLC_driver.onceReadsServed);
        EXPECT_EQ(kServedCyclicRead, PLC_driver.servedQueue);
    }
    EXPECT_EQ(words("A, B"), tagsOf(PLC_driver.readList)) << "once around";
    EXPECT_EQ(0, comInfo.scanDone);
    EnCommStation(2, 1);
    EXPECT_EQ(text("handshake 2"), serve());
    EXPECT_EQ(text("write 1"), serve());
}

TEST_F(Cycle, ARequestInFlightIsSentEvenIfItsStationIsSwitchedOff)
{
    PLC_driver.readList << readVar("A", 1);
    const Protocol* request = ComCommunication();
    EnCommStation(1, 0);
    EXPECT_EQ(request, ComCommunication());
}

TEST_F(Cycle, ManySwitchedOffEntriesAreDroppedInOneCall)
{
    EnCommStation(2, 0);
    for (int i = 0; i < 1024; ++i)
        PLC_driver.writeQueue << named(writeVar("Out", "01", 1, 2), 1, i);
    expectNothingSent();
    EXPECT_TRUE(PLC_driver.writeQueue.isEmpty());
}

} // namespace
