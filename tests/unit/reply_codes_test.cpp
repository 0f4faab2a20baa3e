// What a reply is worth: return codes by failure and host area, local and remote.

#include "dispatch_fixture.h"

#include <climits>
#include <gtest/gtest.h>

#include <string>

namespace {

// --- Return codes ---

struct CodeCase {
    int hostArea;
    int offset;
};

class FailureCode : public Dispatch, public testing::WithParamInterface<CodeCase> {
protected:
    void SetUp() override
    {
        Dispatch::SetUp();
        comInfo.retryLimit = 0;
        comInfo.localDeviceNo = 6;
    }

    /// The request of a cyclic read of that device with its reply length learned.
    void inFlight(int deviceNo, int accessKind = kStoreReply)
    {
        connectStation(1);
        RW_VAR var = named(readVar("A", 1), GetParam().hostArea, 9);
        var.deviceNo = deviceNo;
        var.accessKind = accessKind;
        PLC_driver.readList = QList<RW_VAR>() << var;
        startAndLearn();
    }
};

TEST_P(FailureCode, OfLocalVariablesFollowsTheHostArea)
{
    const int offset = GetParam().offset;
    inFlight(6, 2);
    EXPECT_EQ(10 + offset, reply(goodRead()));
    inFlight(6, -1);
    EXPECT_EQ(10 + offset, reply(goodRead()));
    inFlight(6);
    EXPECT_EQ(40 + offset, reply(goodRead(), 0));
    inFlight(6);
    EXPECT_EQ(70 + offset, reply(goodRead(), 53));
    EXPECT_TRUE(PLCDataStorage[1].tagDataMap.isEmpty());
}

TEST_P(FailureCode, OfRemoteVariablesFollowsTheHostArea)
{
    const int offset = GetParam().offset;
    inFlight(7, 2);
    EXPECT_EQ(110 + offset, reply(goodRead()));
    inFlight(7, INT_MIN);
    EXPECT_EQ(110 + offset, reply(goodRead()));
    inFlight(7);
    EXPECT_EQ(140 + offset, reply(goodRead(), 0));
    inFlight(7);
    EXPECT_EQ(170 + offset, reply(goodRead(), 55));
}

TEST_P(FailureCode, IsBasePlusOnePlusTheHostAreaOneToEleven)
{
    inFlight(6);
    EXPECT_EQ(500 + GetParam().offset, SwitchErrorReturn(500));
    EXPECT_EQ(1, GetDriverReturnValue(0));
    EXPECT_EQ(10 + GetParam().offset, GetDriverReturnValue(1));
    EXPECT_EQ(40 + GetParam().offset, GetDriverReturnValue(2));
    EXPECT_EQ(70 + GetParam().offset, GetDriverReturnValue(3));
    EXPECT_EQ(100, GetDriverReturnValue(4));
    EXPECT_EQ(110 + GetParam().offset, GetDriverReturnValue(5));
    EXPECT_EQ(140 + GetParam().offset, GetDriverReturnValue(6));
    EXPECT_EQ(170 + GetParam().offset, GetDriverReturnValue(7));
    EXPECT_EQ(200, GetDriverReturnValue(8));
    EXPECT_EQ(200, GetDriverReturnValue(INT_MAX));
}

INSTANTIATE_TEST_SUITE_P(HostAreas, FailureCode,
                         testing::Values(CodeCase{-1, 1}, CodeCase{0, 1}, CodeCase{1, 2},
                                         CodeCase{2, 3}, CodeCase{3, 4}, CodeCase{4, 5},
                                         CodeCase{5, 6}, CodeCase{6, 7}, CodeCase{7, 8},
                                         CodeCase{8, 9}, CodeCase{9, 10}, CodeCase{10, 11},
                                         CodeCase{11, 12}, CodeCase{12, 1}, CodeCase{13, 1}),
                         [](const testing::TestParamInfo<CodeCase>& test) {
                             return test.param.hostArea < 0 ? std::string("minus1")
                                                            : std::to_string(test.param.hostArea);
                         });

TEST_F(Dispatch, ALocalWrongLengthYields76ForHostArea5And71ForHostArea0Or12)
{
    comInfo.retryLimit = 0;
    for (const auto& expected : {qMakePair(5, 76), qMakePair(0, 71), qMakePair(12, 71)}) {
        connectStation(1);
        PLC_driver.readList = QList<RW_VAR>() << named(readVar("A", 1), expected.first, 1);
        startAndLearn();
        EXPECT_EQ(expected.second, reply(goodRead(), 55)) << "host area " << expected.first;
    }
}

TEST_F(Dispatch, CodesWithoutAMeaningYield200)
{
    PLC_driver.readList << readVar("A", 1);
    ComCommunication();
    EXPECT_EQ(200, GetDriverReturnValue(-1));
    EXPECT_EQ(200, GetDriverReturnValue(INT_MIN));
}

TEST_F(Dispatch, WithNothingInFlightAFailureCodeIsBasePlusOne)
{
    EXPECT_EQ(11, SwitchErrorReturn(10));
    EXPECT_EQ(71, GetDriverReturnValue(3));
    QByteArray bytes = goodRead();
    EXPECT_NE(kStoreValues, CheckGetData(&bytes, bytes.size()));
    const int local = DealDataOfLocalArea(&bytes, bytes.size());
    EXPECT_NE(kOk, local);
    const int remote = DealDataOfRemoteArea(&bytes, bytes.size());
    EXPECT_NE(kOk, remote);
    EXPECT_NE(kOkRemote, remote);
}

TEST_F(Dispatch, TheVerdictFollowsTheAccessKindAlone)
{
    PLC_driver.readList << readVar("A", 1);
    ComCommunication();
    QByteArray empty;
    front().var.accessKind = 0;
    EXPECT_EQ(1, CheckGetData(&empty, 0));
    EXPECT_EQ(1, CheckGetData(nullptr, -5));
    front().var.accessKind = 1;
    EXPECT_EQ(2, CheckGetData(&empty, 0));
    for (const int kind : {2, -1, INT_MAX}) {
        front().var.accessKind = kind;
        EXPECT_NE(1, CheckGetData(&empty, 0));
        EXPECT_NE(2, CheckGetData(&empty, 0));
    }
}

TEST_F(Dispatch, LengthsAreJudgedBeforeTheAccessKind)
{
    comInfo.retryLimit = 0;
    RW_VAR var = readVar("A", 1);
    var.accessKind = 9;
    PLC_driver.readList << var;
    startAndLearn();
    EXPECT_EQ(41, reply(goodRead(), 0));
}

TEST_F(Dispatch, AnUnknownExpectedLengthAcceptsEveryReportedLengthButZero)
{
    PLC_driver.readList << readVar("A", 1);
    ComCommunication();
    ASSERT_EQ(-1, front().replyLength);
    QByteArray bytes = goodRead();
    EXPECT_EQ(1, DealDataOfLocalArea(&bytes, 7));
    EXPECT_EQ(41, DealDataOfLocalArea(&bytes, 0));
    EXPECT_EQ(100, DealDataOfRemoteArea(&bytes, 7));
    EXPECT_EQ(141, DealDataOfRemoteArea(&bytes, 0));
}

TEST_F(Dispatch, AnExpectedLengthOfZeroAcceptsZeroOnly)
{
    PLC_driver.readList << readVar("A", 1);
    ComCommunication();
    front().replyLength = 0;
    QByteArray bytes = goodRead();
    EXPECT_EQ(1, DealDataOfLocalArea(&bytes, 0));
    EXPECT_EQ(71, DealDataOfLocalArea(&bytes, 54));
    EXPECT_EQ(171, DealDataOfRemoteArea(&bytes, 54));
}

TEST_F(Dispatch, AcceptWithoutStoreKeepsNothing)
{
    RW_VAR var = readVar("A", 1);
    var.accessKind = kAcceptWithoutStore;
    PLC_driver.readList << var;
    serveWell();
    EXPECT_TRUE(PLCDataStorage[1].tagDataMap.isEmpty());
    EXPECT_FALSE(PLCDataStorage[1].tagTypeMap.contains(text("A")));
    EXPECT_EQ(2, PLCDataStorage[1].sequenceCount);
}

TEST_F(Dispatch, AnErrorReplyOfSufficientLengthIsStoredAsData)
{
    PLC_driver.readList << readVar("A", 1);
    ComCommunication();
    QByteArray bytes = readReply("05 21");
    bytes[48] = '\xff';
    bytes[49] = '\x01';
    EXPECT_EQ(kOk, answer(bytes));
    EXPECT_EQ(hex("02 05 21 ff"), typeHeader(1, "A"));
}

// --- Variables of another device ---

class RemoteDispatch : public Dispatch {
protected:
    void SetUp() override
    {
        Dispatch::SetUp();
        comInfo.localDeviceNo = 6;
    }

    static RW_VAR remote(RW_VAR var)
    {
        var.deviceNo = 7;
        return var;
    }
};

TEST_F(RemoteDispatch, AGoodReplyYields100AndIsNotStored)
{
    PLC_driver.readList << remote(readVar("A", 1));
    startAndLearn();
    EXPECT_EQ(kOkRemote, reply(goodRead()));
    EXPECT_FALSE(PLCDataStorage[1].tagTypeMap.contains(text("A")));
    EXPECT_TRUE(PLCDataStorage[1].tagDataMap.isEmpty());
    EXPECT_TRUE(PLC_driver.requests.isEmpty());
    EXPECT_EQ(2, PLCDataStorage[1].sequenceCount);
    EXPECT_EQ(text("A"), PLC_driver.lastVar.tagName);
    EXPECT_EQ(0, PLC_driver.scanPosition) << "only local replies count for the scan";
    EXPECT_EQ(0, comInfo.scanDone);
}

TEST_F(RemoteDispatch, AnArrayFlagOfMinusOneYieldsOkAndKeepsTheHeaderOnly)
{
    RW_VAR var = remote(readVar("A", 1));
    var.isArrayTag = -1;
    PLC_driver.readList << var;
    startAndLearn();
    EXPECT_EQ(kOk, reply(goodRead()));
    EXPECT_EQ(hex("03 c3 00 ff"), typeHeader(1, "A"));
    EXPECT_TRUE(PLCDataStorage[1].tagDataMap.isEmpty());
}

TEST_F(RemoteDispatch, AnArrayFlagOfMinusOneYields100AfterTheFirstOfTwoFrames)
{
    RW_VAR var = remote(readVar("A", 1));
    var.isArrayTag = -1;
    PLC_driver.readList << var;
    startAndLearn();
    comInfo.framesAnswered = 1;
    EXPECT_EQ(kOkRemote, reply(goodRead()));
    EXPECT_EQ(hex("03 c3 00 ff"), typeHeader(1, "A"));
}

TEST_F(RemoteDispatch, AnAcceptedReplyOfMinusOneIsStoredThoughItsAccessKindSaysNot)
{
    RW_VAR var = remote(readVar("A", 1));
    var.isArrayTag = -1;
    var.accessKind = kAcceptWithoutStore;
    PLC_driver.readList << var;
    startAndLearn();
    EXPECT_EQ(kOk, reply(goodRead()));
    EXPECT_EQ(hex("03 c3 00 ff"), typeHeader(1, "A"));
}

TEST_F(RemoteDispatch, AFinishedOnceReadMakesNoCallback)
{
    PLC_driver.onceReadQueue << remote(onceRead(2, 7));
    serveWell();
    EXPECT_TRUE(done().empty());
    EXPECT_TRUE(PLC_driver.onceReadQueue.isEmpty());
    EXPECT_EQ(7, PLC_driver.lastVar.hostAddress);
}

TEST_F(RemoteDispatch, AFailedOnceReadMakesTheFailCallbackOnly)
{
    PLC_driver.onceReadQueue << remote(onceRead(2, 7));
    EXPECT_EQ(143, serveUntilFailed());
    EXPECT_TRUE(done().empty());
    EXPECT_EQ(std::vector<FailEvent>({FailEvent{true, 2, 1}}), failed());
}

TEST_F(RemoteDispatch, AFinishedWriteMakesItsCallback)
{
    PLC_driver.writeQueue << remote(write(2, 7));
    serveWell();
    EXPECT_EQ(Events({DoneEvent{4242, 2, 7, 1}}), done());
}

} // namespace
