// What a reply does when it is good: lengths learned, queues finished, callbacks made.

#include "dispatch_fixture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

namespace {

// --- Nothing in flight ---

TEST_F(Dispatch, WithNothingInFlightTheResultIsOkAndNothingElseChanges)
{
    PLC_driver.lastVar = named(readVar("Last", 7), 3, 4);
    PLC_driver.lastVar.result = 82;
    PLC_driver.lastFailed = true;
    PLC_driver.scanPosition = 2;
    PLC_driver.servedQueue = kServedWrite;
    PLC_driver.writeQueue << write(1, 1);
    PLC_driver.readList << readVar("A", 1);
    comInfo.failCount = 1;
    const COM_INFO before = comInfo;
    const int stations = PLCDataStorage.size();

    EXPECT_EQ(kOk, reply(goodRead()));
    EXPECT_EQ(text("Last"), PLC_driver.lastVar.tagName);
    EXPECT_EQ(3, PLC_driver.lastVar.hostArea);
    EXPECT_TRUE(PLC_driver.lastFailed);
    EXPECT_EQ(2, PLC_driver.scanPosition);
    EXPECT_EQ(1, PLC_driver.writeQueue.size());
    EXPECT_EQ(0, std::memcmp(&before, &comInfo, sizeof before));
    EXPECT_EQ(stations, PLCDataStorage.size());
    EXPECT_EQ(1, PLCDataStorage[1].sequenceCount);
    EXPECT_TRUE(done().empty());
    EXPECT_TRUE(failed().empty());
    EXPECT_TRUE(messages().isEmpty());
}

TEST_F(Dispatch, WithNothingInFlightNoReplyIsFineToo)
{
    EXPECT_EQ(&PLC_driver.lastVar, DataCom(nullptr, 5));
    EXPECT_EQ(kOk, PLC_driver.lastVar.result);
}

// --- Learning the length ---

TEST_F(Dispatch, TheFirstGoodReplyOnlyTellsItsLength)
{
    PLC_driver.readList << readVar("A", 1);
    ComCommunication();
    EXPECT_EQ(kOk, reply(goodRead(), 54));
    ASSERT_EQ(1, PLC_driver.requests.size());
    EXPECT_EQ(54, front().replyLength);
    EXPECT_TRUE(PLCDataStorage[1].tagDataMap.isEmpty());
    EXPECT_EQ(QByteArray(), typeHeader(1, "A"));
    EXPECT_EQ(1, PLCDataStorage[1].sequenceCount);
    EXPECT_EQ(0, comInfo.framesAnswered);

    EXPECT_EQ(kOk, reply(goodRead(), 54));
    EXPECT_TRUE(PLC_driver.requests.isEmpty());
    EXPECT_EQ(hex("34 12"), storedData(1, "A"));
    EXPECT_EQ(hex("03 c3 00 ff"), typeHeader(1, "A"));
    EXPECT_EQ(2, PLCDataStorage[1].sequenceCount);
    EXPECT_EQ(1, comInfo.framesAnswered);
}

TEST_F(Dispatch, FiftyBytesAreLongEnoughAndFortyNineAreNot)
{
    const QByteArray fifty(50, '\0');
    const QByteArray fortyNine(49, '\0');
    EXPECT_EQ(1, DataIntegrityJudgment(&fifty));
    EXPECT_EQ(0, DataIntegrityJudgment(&fortyNine));
    EXPECT_EQ(0, DataIntegrityJudgment(nullptr));

    PLC_driver.readList << readVar("A", 1);
    ComCommunication();
    EXPECT_EQ(kResend, reply(fortyNine));
    EXPECT_EQ(-1, front().replyLength);
    EXPECT_EQ(kOk, reply(fifty));
    EXPECT_EQ(50, front().replyLength);
}

TEST_F(Dispatch, TheReportedLengthIsLearnedNotTheReplysOwn)
{
    PLC_driver.readList << readVar("A", 1);
    ComCommunication();
    EXPECT_EQ(kOk, reply(goodRead(), 1234));
    EXPECT_EQ(1234, front().replyLength);
    EXPECT_EQ(kOk, reply(goodRead(), 1234));
    EXPECT_EQ(hex("34 12"), storedData(1, "A"));
}

TEST_F(Dispatch, FourShortRepliesSetTheLengthTo999)
{
    PLC_driver.readList << readVar("A", 1);
    ComCommunication();
    for (int i = 1; i <= 3; ++i) {
        EXPECT_EQ(kResend, reply(QByteArray(49, '\0'))) << i;
        EXPECT_EQ(-1, front().replyLength) << i;
        EXPECT_EQ(&front(), ComCommunication()) << i;
    }
    EXPECT_EQ(kOk, reply(QByteArray(49, '\0')));
    ASSERT_EQ(1, PLC_driver.requests.size());
    EXPECT_EQ(999, front().replyLength);
    EXPECT_EQ(0, comInfo.failCount);
    EXPECT_FALSE(PLC_driver.lastFailed);
}

TEST_F(Dispatch, AfterFourShortRepliesEveryReplyIsOfTheWrongLength)
{
    PLC_driver.readList << readVar("A", 1);
    ComCommunication();
    for (int i = 1; i <= 4; ++i)
        reply(QByteArray(49, '\0'));
    EXPECT_EQ(kResend, reply(goodRead()));
    EXPECT_EQ(1, comInfo.failCount);
    EXPECT_EQ(kResend, reply(goodRead()));
    EXPECT_EQ(kLocalWrongLength + 1, reply(goodRead()));
    EXPECT_TRUE(PLC_driver.requests.isEmpty());
    EXPECT_FALSE(PLCDataStorage[1].handshakeDone);
}

TEST_F(Dispatch, AReplyReportedAs999PassesAfterFourShortOnes)
{
    PLC_driver.readList << readVar("A", 1);
    ComCommunication();
    for (int i = 1; i <= 4; ++i)
        reply(QByteArray(49, '\0'));
    EXPECT_EQ(kOk, reply(goodRead(), 999));
    EXPECT_TRUE(PLC_driver.requests.isEmpty());
}

TEST_F(Dispatch, AGoodReplyForgivesTheShortOnesBeforeIt)
{
    PLC_driver.readList << readVar("A", 1);
    for (int round = 0; round < 2; ++round) {
        ComCommunication();
        for (int i = 1; i <= 3; ++i)
            EXPECT_EQ(kResend, reply(QByteArray(49, '\0')));
        EXPECT_EQ(kOk, answer(goodRead())) << round;
    }
}

TEST_F(Dispatch, ShortRepliesAndRefusedForwardOpensShareOneCounter)
{
    PLC_driver.readList << readVar("A", 1);
    ComCommunication();
    EXPECT_EQ(kResend, reply(QByteArray(49, '\0')));
    EXPECT_EQ(kResend, reply(QByteArray(49, '\0')));

    // The same counter goes on with a Forward Open of another station: two refusals are enough.
    PLC_driver.requests.clear();
    HandshakeFunction(2);
    PLC_driver.requests.removeFirst();
    comInfo.framesAnswered = 1;
    EXPECT_EQ(kHandshakeRefused, reply(QByteArray(56, '\0')));
    EXPECT_EQ(1, PLC_driver.requests.size());
    EXPECT_EQ(kHandshakeRefused, reply(QByteArray(56, '\0')));
    EXPECT_TRUE(PLC_driver.requests.isEmpty());
}

TEST_F(Dispatch, RefusedForwardOpensCountTowardsTheShortReplies)
{
    HandshakeFunction(2);
    PLC_driver.requests.removeFirst();
    comInfo.framesAnswered = 1;
    for (int i = 0; i < 3; ++i)
        reply(QByteArray(56, '\0'));
    PLC_driver.requests.clear();

    PLC_driver.readList << readVar("A", 1);
    ComCommunication();
    EXPECT_EQ(kOk, reply(QByteArray(49, '\0')));
    EXPECT_EQ(999, front().replyLength);
}

TEST_F(Dispatch, ARefusedRegisterSessionLeavesTheShortReplyCounterAlone)
{
    PLC_driver.readList << readVar("A", 1);
    ComCommunication();
    for (int i = 0; i < 3; ++i)
        reply(QByteArray(49, '\0'));
    PLC_driver.requests.clear();
    HandshakeFunction(2);
    EXPECT_EQ(kHandshakeRefused, reply(QByteArray(27, '\0')));
    ComCommunication();
    EXPECT_EQ(kOk, reply(QByteArray(49, '\0')));
    EXPECT_EQ(999, front().replyLength);
}

TEST_F(Dispatch, AnAcceptedRegisterSessionClearsTheShortReplyCounter)
{
    PLC_driver.readList << readVar("A", 1);
    ComCommunication();
    for (int i = 0; i < 3; ++i)
        reply(QByteArray(49, '\0'));
    PLC_driver.requests.clear();
    HandshakeFunction(2);
    EXPECT_EQ(kOk, reply(registerSessionReply("11 22 33 44")));
    PLC_driver.requests.clear();
    ComCommunication();
    EXPECT_EQ(kResend, reply(QByteArray(49, '\0')));
}

TEST_F(Dispatch, AFailureOfKnownLengthLeavesTheShortReplyCounterAlone)
{
    PLC_driver.readList << readVar("A", 1);
    startAndLearn();
    for (int i = 0; i < 2; ++i)
        reply(QByteArray(), 0);
    front().replyLength = -1;
    for (int i = 1; i <= 3; ++i)
        EXPECT_EQ(kResend, reply(QByteArray(49, '\0'))) << i;
    EXPECT_EQ(kOk, reply(QByteArray(49, '\0')));
}

TEST_F(Dispatch, RepliesCutAnywhereAreJudgedByTheirLengthAlone)
{
    const QByteArray whole = readReply("c4 00 01 00 00 00 02 00 00 00");
    ASSERT_EQ(60, whole.size());
    for (int length = 0; length <= whole.size(); ++length) {
        connectStation(1);
        PLC_driver.readList = QList<RW_VAR>() << readVar("A", 1);
        ASSERT_NE(nullptr, ComCommunication());
        EXPECT_EQ(length >= 50 ? kOk : kResend, reply(whole.left(length))) << length;
        EXPECT_EQ(length >= 50 ? length : -1, front().replyLength) << length;
        front().replyLength = length;
        EXPECT_EQ(kOk, reply(whole.left(length))) << length;
        EXPECT_EQ(qMax(0, length - 52) > 0, PLCDataStorage[1].tagDataMap.contains(text("A")));
        PLCDataStorage.clear();
        connectStation(1); // the next good reply clears the counter of short ones
        ASSERT_NE(nullptr, ComCommunication());
        EXPECT_EQ(kOk, answer(whole)) << length;
        PLCDataStorage.clear();
    }
}

TEST_F(Dispatch, NoReplyCountsAsAShortOne)
{
    PLC_driver.readList << readVar("A", 1);
    ComCommunication();
    EXPECT_EQ(kResend, DataCom(nullptr, 0)->result);
    EXPECT_EQ(-1, front().replyLength);
}

TEST_F(Dispatch, NoReplyOfTheExpectedLengthStoresNoValue)
{
    PLC_driver.readList << readVar("A", 1);
    startAndLearn();
    EXPECT_EQ(kOk, DataCom(nullptr, 54)->result);
    EXPECT_TRUE(PLCDataStorage[1].tagDataMap.isEmpty());
}

// --- Locks ---

TEST_F(Dispatch, ALocalReplyWaitsWhileTheHostReadsValues)
{
    PLC_driver.readList << readVar("A", 1);
    startAndLearn();
    std::atomic<bool> stored(false);
    PLC_driver.dataMutex.lock();
    std::thread communication([&] {
        QByteArray bytes = goodRead();
        DataCom(&bytes, bytes.size());
        stored = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(stored);
    PLC_driver.dataMutex.unlock();
    communication.join();
    EXPECT_EQ(hex("34 12"), storedData(1, "A"));
}

TEST_F(Dispatch, ARemoteReplyDoesNotWaitForTheHostsReads)
{
    RW_VAR var = readVar("A", 1);
    var.deviceNo = 7;
    var.isArrayTag = -1;
    PLC_driver.readList << var;
    startAndLearn();
    PLC_driver.dataMutex.lock();
    std::thread communication([&] {
        QByteArray bytes = goodRead();
        DataCom(&bytes, bytes.size());
    });
    communication.join();
    PLC_driver.dataMutex.unlock();
    EXPECT_EQ(hex("03 c3 00 ff"), typeHeader(1, "A"));
}

// --- Success: scan, sequence, result record ---

TEST_F(Dispatch, ACyclicReadMovesToTheBackAndBecomesTheResult)
{
    RW_VAR first = named(readVar("A", 1), 3, 30);
    first.data = hex("99");
    first.result = 55;
    PLC_driver.readList << first << named(readVar("B", 1), 4, 40);
    PLC_driver.lastVar.data = hex("77");
    startAndLearn();
    EXPECT_EQ(kOk, reply(goodRead()));
    EXPECT_EQ(QList<int>() << 40 << 30, addressesOf(PLC_driver.readList));
    EXPECT_EQ(hex("99"), PLC_driver.readList.last().data);
    EXPECT_EQ(text("A"), PLC_driver.lastVar.tagName);
    EXPECT_EQ(3, PLC_driver.lastVar.hostArea);
    EXPECT_EQ(30, PLC_driver.lastVar.hostAddress);
    EXPECT_EQ(1, PLC_driver.lastVar.result);
    EXPECT_EQ(QByteArray(), PLC_driver.lastVar.data);
    EXPECT_TRUE(done().empty());
    EXPECT_TRUE(failed().empty());
}

TEST_F(Dispatch, TheScanIsDoneWhenGoodRepliesExceedTheEntries)
{
    PLC_driver.readList << readVar("A", 1) << readVar("B", 1);
    serveWell();
    EXPECT_EQ(1, PLC_driver.scanPosition);
    serveWell();
    EXPECT_EQ(2, PLC_driver.scanPosition);
    EXPECT_EQ(0, comInfo.scanDone);
    serveWell();
    EXPECT_EQ(0, PLC_driver.scanPosition);
    EXPECT_EQ(1, comInfo.scanDone);
    serveWell();
    EXPECT_EQ(0, PLC_driver.scanPosition) << "nothing counts while the scan is done";
    EXPECT_EQ(1, comInfo.scanDone);
}

TEST_F(Dispatch, WritesAndOnceReadsCountForTheScanToo)
{
    PLC_driver.readList << readVar("A", 1) << readVar("B", 1);
    PLC_driver.writeQueue << write(1, 1);
    PLC_driver.onceReadQueue << onceRead(1, 1);
    serveWell();
    serveWell();
    EXPECT_EQ(2, PLC_driver.scanPosition);
    serveWell();
    EXPECT_EQ(1, comInfo.scanDone);
}

TEST_F(Dispatch, AFailureEndsTheScanEvenWithinItsRetries)
{
    PLC_driver.readList << readVar("A", 1) << readVar("B", 1);
    serveWell();
    startAndLearn();
    comInfo.scanDone = 1;
    EXPECT_EQ(kResend, reply(QByteArray(), 0));
    EXPECT_EQ(0, PLC_driver.scanPosition);
    EXPECT_EQ(0, comInfo.scanDone);
    EXPECT_TRUE(PLC_driver.lastFailed);
}

TEST_F(Dispatch, EveryGoodDataReplyAdvancesTheSequence)
{
    PLC_driver.readList << readVar("A", 1);
    PLC_driver.writeQueue << write(1, 1);
    PLC_driver.onceReadQueue << onceRead(1, 1);
    serveWell();
    serveWell();
    serveWell();
    EXPECT_EQ(4, PLCDataStorage[1].sequenceCount);
    PLCDataStorage[1].sequenceCount = 0xFFFF;
    serveWell();
    EXPECT_EQ(1, PLCDataStorage[1].sequenceCount);
}

TEST_F(Dispatch, AFailedReplyLeavesTheSequence)
{
    PLC_driver.readList << readVar("A", 1);
    startAndLearn();
    reply(QByteArray(), 0);
    EXPECT_EQ(1, PLCDataStorage[1].sequenceCount);
}

TEST_F(Dispatch, AFrameOfALongerTransactionFinishesNoQueue)
{
    PLC_driver.writeQueue << write(1, 1);
    PLC_driver.readList << readVar("A", 1);
    startAndLearn();
    comInfo.framesExpected = 2;
    EXPECT_EQ(kOk, reply(goodRead()));
    EXPECT_TRUE(PLC_driver.requests.isEmpty());
    EXPECT_EQ(1, comInfo.framesAnswered);
    EXPECT_EQ(1, PLC_driver.writeQueue.size());
    EXPECT_EQ(2, PLCDataStorage[1].sequenceCount);
    EXPECT_EQ(0, PLC_driver.scanPosition);
    EXPECT_TRUE(done().empty());
}

TEST_F(Dispatch, AnEmptyReadListTakesAReplyWithoutAResultVariable)
{
    PLC_driver.readList << readVar("A", 1);
    startAndLearn();
    PLC_driver.readList.clear();
    PLC_driver.lastVar.tagName = text("Before");
    EXPECT_EQ(kOk, reply(goodRead()));
    EXPECT_EQ(text("Before"), PLC_driver.lastVar.tagName);
    EXPECT_TRUE(PLC_driver.readList.isEmpty());
}

TEST_F(Dispatch, AnUnknownQueueFinishesNothing)
{
    PLC_driver.readList << readVar("A", 1) << readVar("B", 1);
    PLC_driver.writeQueue << write(1, 1);
    PLC_driver.writesServed = 5;
    startAndLearn();
    PLC_driver.servedQueue = kServedNothingYet;
    EXPECT_EQ(kOk, reply(goodRead()));
    EXPECT_EQ(text("A"), PLC_driver.readList.first().tagName);
    EXPECT_EQ(1, PLC_driver.writeQueue.size());
    EXPECT_EQ(QString(), PLC_driver.lastVar.tagName);
}

// --- Success: callbacks ---

TEST_F(Dispatch, AFinishedWriteLeavesItsQueueWithACallback)
{
    PLC_driver.writeQueue << write(2, 7) << write(2, 8);
    serveWell();
    EXPECT_EQ(Events({DoneEvent{4242, 2, 7, 1}}), done());
    EXPECT_EQ(QList<int>() << 8, addressesOf(PLC_driver.writeQueue));
    EXPECT_EQ(7, PLC_driver.lastVar.hostAddress);
    EXPECT_EQ(1, PLC_driver.lastVar.result);
    EXPECT_EQ(QByteArray(), PLC_driver.lastVar.data);
    EXPECT_TRUE(callbacksHeldTheQueueLock());
    EXPECT_TRUE(failed().empty());
}

TEST_F(Dispatch, AFinishedWriteWithAnotherWaitingForItsVariableMakesNoCallback)
{
    PLC_driver.writeQueue << write(2, 7) << write(2, 8) << write(2, 7);
    serveWell();
    EXPECT_TRUE(done().empty());
    EXPECT_EQ(QList<int>() << 8 << 7, addressesOf(PLC_driver.writeQueue));
    EXPECT_EQ(7, PLC_driver.lastVar.hostAddress);
    serveWell();
    serveWell();
    EXPECT_EQ(Events({DoneEvent{4242, 2, 8, 1}, DoneEvent{4242, 2, 7, 1}}), done());
}

TEST_F(Dispatch, AnotherWriteOfAnotherAreaOrAddressDoesNotHoldTheCallback)
{
    PLC_driver.writeQueue << write(2, 7) << write(3, 7) << write(2, 6);
    serveWell();
    EXPECT_EQ(Events({DoneEvent{4242, 2, 7, 1}}), done());
}

TEST_F(Dispatch, AFinishedOnceReadLeavesItsQueueWithACallback)
{
    PLC_driver.onceReadQueue << onceRead(2, 7) << onceRead(2, 8);
    serveWell();
    EXPECT_EQ(Events({DoneEvent{4242, 2, 7, 1}}), done());
    EXPECT_EQ(QList<int>() << 8, addressesOf(PLC_driver.onceReadQueue));
    EXPECT_EQ(7, PLC_driver.lastVar.hostAddress);
    EXPECT_TRUE(callbacksHeldTheQueueLock());
    EXPECT_EQ(hex("34 12"), storedData(1, "Once"));
}

TEST_F(Dispatch, AFinishedOnceReadWithAnotherWaitingMakesNoCallback)
{
    PLC_driver.onceReadQueue << onceRead(2, 7) << onceRead(2, 7);
    serveWell();
    EXPECT_TRUE(done().empty());
    serveWell();
    EXPECT_EQ(Events({DoneEvent{4242, 2, 7, 1}}), done());
}

TEST_F(Dispatch, AQueueEmptiedMeanwhileMakesNoCallback)
{
    PLC_driver.lastVar.tagName = text("Before");
    for (const int queue : {kServedWrite, kServedOnceRead}) {
        PLC_driver.readList = QList<RW_VAR>() << readVar("A", 1);
        startAndLearn();
        PLC_driver.servedQueue = queue;
        EXPECT_EQ(kOk, reply(goodRead()));
        EXPECT_TRUE(done().empty());
        EXPECT_EQ(text("Before"), PLC_driver.lastVar.tagName);
    }
}

TEST_F(Dispatch, CallbacksMayBeMissing)
{
    RegistCallBackFuncIntf(nullptr, nullptr);
    PLC_driver.writeQueue << write(2, 7);
    serveWell();
    PLC_driver.onceReadQueue << onceRead(2, 7);
    serveWell();
    PLC_driver.writeQueue << write(2, 7);
    EXPECT_EQ(43, serveUntilFailed());
    EXPECT_TRUE(PLC_driver.writeQueue.isEmpty());
}

TEST_F(Dispatch, WithoutASettingsRecordAReplyIsStillServed)
{
    SetComInfo(nullptr);
    PLC_driver.writeQueue << write(2, 7);
    serveWell();
    EXPECT_EQ(Events({DoneEvent{0, 2, 7, 1}}), done());
    PLC_driver.readList << readVar("A", 1);
    startAndLearn();
    EXPECT_EQ(41, reply(QByteArray(), 0)) << "a retry limit of 0";
}

} // namespace
