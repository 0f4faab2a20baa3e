// What a reply does when it is bad: retries, the station dropped, callbacks, purges.

#include "dispatch_fixture.h"

#include <QStringList>

#include <climits>
#include <gtest/gtest.h>

namespace {

// --- Failure: retries ---

TEST_F(Dispatch, AFailedReplyIsTriedAgainUpToTheRetryLimit)
{
    PLC_driver.readList << named(readVar("A", 1), 3, 30) << readVar("B", 1);
    startAndLearn();
    const QByteArray frame = front().frame;
    for (int retry = 1; retry <= kRetryLimit; ++retry) {
        EXPECT_EQ(kResend, reply(QByteArray(), 0));
        EXPECT_EQ(retry, comInfo.failCount);
        ASSERT_NE(nullptr, ComCommunication());
        EXPECT_EQ(frame, ComCommunication()->frame);
        EXPECT_EQ(54, front().replyLength) << "the length stays learned";
        EXPECT_TRUE(PLCDataStorage[1].handshakeDone);
        EXPECT_TRUE(failed().empty());
        EXPECT_EQ(30, PLC_driver.readList.first().hostAddress);
    }
    EXPECT_EQ(44, reply(QByteArray(), 0));
    EXPECT_EQ(0, comInfo.failCount);
    EXPECT_TRUE(PLC_driver.requests.isEmpty());
    EXPECT_FALSE(PLCDataStorage[1].handshakeDone);
    EXPECT_EQ(QByteArray(), PLCDataStorage[1].sessionHandle);
    EXPECT_EQ(QByteArray(), PLCDataStorage[1].connectionId);
    EXPECT_TRUE(PLCDataStorage[1].tagTypeMap.isEmpty());
    EXPECT_EQ(std::vector<FailEvent>({FailEvent{true, 3, 1}}), failed());
    EXPECT_TRUE(callbacksHeldTheQueueLock());
    EXPECT_EQ(30, PLC_driver.readList.last().hostAddress) << "the entry moved to the back";
    EXPECT_EQ(44, PLC_driver.lastVar.result);
    EXPECT_EQ(30, PLC_driver.lastVar.hostAddress);
    EXPECT_TRUE(done().empty());
    EXPECT_EQ(QList<QString>() << text("setHandshakeInformation error! "), messages());
}

TEST_F(Dispatch, AGoodReplyAfterARetryIsAGoodReply)
{
    PLC_driver.readList << readVar("A", 1);
    startAndLearn();
    EXPECT_EQ(kResend, reply(QByteArray(), 0));
    EXPECT_EQ(kOk, reply(goodRead()));
    EXPECT_FALSE(PLC_driver.lastFailed);
    EXPECT_EQ(hex("34 12"), storedData(1, "A"));
}

TEST_F(Dispatch, ASuccessDoesNotForgiveEarlierFailures)
{
    PLC_driver.readList << readVar("A", 1);
    startAndLearn();
    EXPECT_EQ(kResend, reply(QByteArray(), 0));
    EXPECT_EQ(kResend, reply(QByteArray(), 0));
    EXPECT_EQ(kOk, reply(goodRead()));
    EXPECT_EQ(2, comInfo.failCount);
    startAndLearn();
    EXPECT_EQ(41, reply(QByteArray(), 0)) << "the third failure in all";
    EXPECT_EQ(0, comInfo.failCount);
}

TEST_F(Dispatch, ANegativeRetryLimitAllowsNoRetry)
{
    comInfo.retryLimit = -5;
    PLC_driver.readList << readVar("A", 1);
    startAndLearn();
    EXPECT_EQ(41, reply(QByteArray(), 0));
}

TEST_F(Dispatch, AFailCountAtItsLargestDoesNotOverflow)
{
    comInfo.failCount = INT_MAX;
    comInfo.retryLimit = INT_MAX;
    PLC_driver.readList << readVar("A", 1);
    startAndLearn();
    EXPECT_EQ(kResend, reply(QByteArray(), 0));
}

TEST_F(Dispatch, AFailedStationStartsANewHandshake)
{
    PLC_driver.readList << readVar("A", 1);
    serveUntilFailed();
    const Protocol* request = ComCommunication();
    ASSERT_NE(nullptr, request);
    EXPECT_EQ(28, request->frameLength);
}

// --- Failure: callbacks of the queue served ---

TEST_F(Dispatch, AFailedWriteIsReportedAsFailed)
{
    PLC_driver.writeQueue << write(2, 7);
    EXPECT_EQ(43, serveUntilFailed());
    EXPECT_EQ(Events({DoneEvent{4242, 2, 7, 2}}), done());
    EXPECT_EQ(std::vector<FailEvent>({FailEvent{true, 2, 1}}), failed());
    EXPECT_TRUE(callbacksHeldTheQueueLock());
}

TEST_F(Dispatch, AFailedWriteWithAnotherWaitingIsReportedAllTheSame)
{
    PLC_driver.writeQueue << write(2, 7) << write(2, 7);
    serveUntilFailed();
    EXPECT_EQ(Events({DoneEvent{4242, 2, 7, 2}}), done());
}

TEST_F(Dispatch, AFailedOnceReadIsReportedAsFailed)
{
    PLC_driver.onceReadQueue << onceRead(2, 7);
    EXPECT_EQ(43, serveUntilFailed());
    EXPECT_EQ(Events({DoneEvent{4242, 2, 7, 2}}), done());
}

TEST_F(Dispatch, AFailedOnceReadWithAnotherWaitingIsNotReported)
{
    PLC_driver.onceReadQueue << onceRead(2, 7) << onceRead(2, 7);
    serveUntilFailed();
    EXPECT_TRUE(done().empty());
    EXPECT_EQ(1u, failed().size());
}

struct CallbackOrder {
    QStringList calls;
    int writesWaiting = -1;
    int resultHostAddress = -1;
};
CallbackOrder callbackOrder;

void noteDoneInOrder(int, int, int, int)
{
    callbackOrder.calls << text("done");
}

void noteFailedInOrder(void*, int, int)
{
    callbackOrder.calls << text("failed");
    callbackOrder.writesWaiting = PLC_driver.writeQueue.size();
    callbackOrder.resultHostAddress = PLC_driver.lastVar.hostAddress;
}

TEST_F(Dispatch, AFailureIsReportedAfterItsVariableIsFinishedAndBeforeThePurge)
{
    callbackOrder = CallbackOrder();
    RegistCallBackFuncIntf(noteDoneInOrder, noteFailedInOrder);
    PLC_driver.writeQueue << write(2, 7) << write(2, 8) << write(2, 9);
    serveUntilFailed();
    EXPECT_EQ(QStringList() << text("done") << text("failed"), callbackOrder.calls);
    EXPECT_EQ(2, callbackOrder.writesWaiting);
    EXPECT_EQ(7, callbackOrder.resultHostAddress);
    EXPECT_TRUE(PLC_driver.writeQueue.isEmpty());
}

// --- Failure: purges ---

TEST_F(Dispatch, WithManyStationsAFailureDropsTheStationsWritesAndTheVariablesOnceReads)
{
    comInfo.multiStation = 1;
    connectStation(2);
    PLC_driver.writeQueue << write(5, 1, 1) << write(5, 2, 2) << write(5, 3, 1) << write(5, 4, 2);
    PLC_driver.onceReadQueue << onceRead(5, 1, 1) << onceRead(5, 2, 1) << onceRead(5, 1, 2)
                             << onceRead(6, 1, 1) << onceRead(5, 1, 1);
    EXPECT_EQ(46, serveUntilFailed());
    EXPECT_EQ(QList<int>() << 2 << 4, addressesOf(PLC_driver.writeQueue));
    ASSERT_EQ(3, PLC_driver.onceReadQueue.size());
    EXPECT_EQ(2, PLC_driver.onceReadQueue.at(0).hostAddress);
    EXPECT_EQ(2, PLC_driver.onceReadQueue.at(1).station);
    EXPECT_EQ(6, PLC_driver.onceReadQueue.at(2).hostArea);
    EXPECT_TRUE(PLCDataStorage[2].handshakeDone);
}

TEST_F(Dispatch, WithOneStationAFailureDropsAllWritesAndTheVariablesOnceReads)
{
    comInfo.multiStation = 0;
    PLC_driver.writeQueue << write(5, 1, 1) << write(5, 2, 2) << write(5, 3, 1);
    PLC_driver.onceReadQueue << onceRead(5, 1, 1) << onceRead(5, 2, 1) << onceRead(5, 1, 2)
                             << onceRead(6, 1, 1);
    EXPECT_EQ(46, serveUntilFailed());
    EXPECT_TRUE(PLC_driver.writeQueue.isEmpty());
    ASSERT_EQ(2, PLC_driver.onceReadQueue.size());
    EXPECT_EQ(2, PLC_driver.onceReadQueue.at(0).hostAddress);
    EXPECT_EQ(6, PLC_driver.onceReadQueue.at(1).hostArea);
}

TEST_F(Dispatch, PurgedEntriesMakeNoDoneCallback)
{
    PLC_driver.writeQueue << write(5, 1) << write(5, 2) << write(5, 3);
    PLC_driver.onceReadQueue << onceRead(5, 1);
    serveUntilFailed();
    EXPECT_EQ(Events({DoneEvent{4242, 5, 1, 2}}), done());
    EXPECT_EQ(1u, failed().size());
}

TEST_F(Dispatch, AFailedCyclicReadPurgesToo)
{
    PLC_driver.readList << named(readVar("A", 1), 5, 1);
    startAndLearn();
    PLC_driver.writeQueue << write(5, 9);
    PLC_driver.onceReadQueue << onceRead(5, 1) << onceRead(5, 2);
    reply(QByteArray(), 0);
    reply(QByteArray(), 0);
    EXPECT_EQ(1, PLC_driver.writeQueue.size()) << "retries purge nothing";
    EXPECT_EQ(46, reply(QByteArray(), 0));
    EXPECT_TRUE(PLC_driver.writeQueue.isEmpty());
    EXPECT_EQ(QList<int>() << 2, addressesOf(PLC_driver.onceReadQueue));
}

TEST_F(Dispatch, AFailedSubstituteReadPurgesByTheVariableLastFinished)
{
    comInfo.multiStation = 1;
    connectStation(2);
    PLC_driver.readList << named(readVar("A", 1), 8, 1);
    PLC_driver.writeQueue << write(5, 7, 2) << write(5, 8, 1);
    EXPECT_EQ(46, serveUntilFailed());
    EXPECT_FALSE(PLCDataStorage[2].handshakeDone) << "the station asked is the one dropped";
    EXPECT_TRUE(PLCDataStorage[1].handshakeDone);
    EXPECT_EQ(std::vector<FailEvent>({FailEvent{true, 8, 1}}), failed());
    EXPECT_EQ(QList<int>() << 7, addressesOf(PLC_driver.writeQueue));
    EXPECT_TRUE(done().empty());
}

TEST_F(Dispatch, PurgingEmptyQueuesIsFine)
{
    for (const int multiStation : {0, 1}) {
        connectStation(1);
        comInfo.multiStation = multiStation;
        PLC_driver.readList = QList<RW_VAR>() << readVar("A", 1);
        EXPECT_EQ(41, serveUntilFailed());
    }
    EXPECT_EQ(2u, failed().size());
}

} // namespace
