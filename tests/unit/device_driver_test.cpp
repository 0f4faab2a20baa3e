// The driver object, its settings and callbacks, and the switching of stations.

#include "Device_Driver.h"
#include "driver_fixture.h"
#include "waiting.h"

#include <climits>

namespace {

class DriverState : public DriverTest {};
class StationSwitch : public DriverTest {};
class HostCallbacks : public DriverTest {};

QList<int> switchedOff()
{
    return PLC_driver.disabledStations.keys();
}

// --- State after load, settings ---

TEST_F(DriverState, ANewDriverHasServedNothingYet)
{
    Device_Driver fresh;
    EXPECT_EQ(nullptr, fresh.comInfo);
    EXPECT_TRUE(fresh.readList.isEmpty());
    EXPECT_TRUE(fresh.writeQueue.isEmpty());
    EXPECT_TRUE(fresh.onceReadQueue.isEmpty());
    EXPECT_TRUE(fresh.spareList.isEmpty());
    EXPECT_TRUE(fresh.requests.isEmpty());
    EXPECT_TRUE(fresh.extendVars.isEmpty());
    EXPECT_TRUE(fresh.disabledStations.isEmpty());
    EXPECT_TRUE(fresh.lastVar.tagName.isEmpty());
    EXPECT_TRUE(fresh.lastVar.indexText.isEmpty());
    EXPECT_TRUE(fresh.lastVar.data.isEmpty());
    EXPECT_EQ(100, fresh.servedQueue);
    EXPECT_EQ(0, fresh.writesServed);
    EXPECT_EQ(0, fresh.onceReadsServed);
    EXPECT_EQ(0, fresh.scanPosition);
    EXPECT_FALSE(fresh.lastFailed);
    EXPECT_FALSE(fresh.spareFlag);
}

TEST_F(DriverState, ANewDriversLocksAreFreeAndNotRecursive)
{
    Device_Driver fresh;
    for (QMutex* mutex : {&fresh.queueMutex, &fresh.dataMutex, &fresh.stationMutex}) {
        EXPECT_TRUE(mutex->tryLock());
        EXPECT_FALSE(mutex->tryLock());
        mutex->unlock();
    }
}

TEST_F(DriverState, SetComInfoKeepsThePointerAndClearsTheLinkWordsOnly)
{
    COM_INFO other;
    qint32* words = &other.hostWords[0];
    for (int i = 0; i < 19; ++i)
        words[i] = 1000 + i;
    SetComInfo(&other);
    EXPECT_EQ(&other, PLC_driver.comInfo);
    EXPECT_EQ(&other, &comInfoRecord());
    for (int i = 0; i < 19; ++i) {
        const bool linkWord = i == 10 || i == 13;
        EXPECT_EQ(linkWord ? 0 : 1000 + i, words[i]) << "word " << i;
    }
}

TEST_F(DriverState, WithoutAHostRecordTheDriverSeesZeros)
{
    comInfo.defaultStation = 7;
    SetComInfo(nullptr);
    EXPECT_EQ(nullptr, PLC_driver.comInfo);
    EXPECT_EQ(0, comInfoRecord().defaultStation);
    EXPECT_EQ(0, comInfoRecord().writeMode);
    EXPECT_EQ(7, comInfo.defaultStation);
}

TEST_F(DriverState, WithoutAHostRecordTheCycleStillRuns)
{
    SetComInfo(nullptr);
    expectNothingSent();
    const RW_VAR var = readVar("Tag");
    AddListOnceReadVar(&var, 0);
    handshake(0);
    ASSERT_NE(nullptr, ComCommunication());
    EXPECT_EQ(kOk, answer(readReply("C3 00 01 00")));
    EXPECT_EQ(hex("01 00"), storedData(0, "Tag"));
    EXPECT_EQ(COM_INFO().framesAnswered, comInfo.framesAnswered);
}

TEST_F(DriverState, TheHostsOwnWordsAreNeverTouched)
{
    for (int i = 0; i < 6; ++i)
        comInfo.hostWords[i] = 77 + i;
    SetComInfo(&comInfo);
    comInfo.linkWord0 = 5;
    comInfo.linkWord1 = 6;
    comInfo.hostHandle = 99;
    const RW_VAR var = readVar("Tag");
    AddListReadVar(&var);
    handshake(0);
    ASSERT_NE(nullptr, ComCommunication());
    EXPECT_EQ(kOk, answer(readReply("C3 00 01 00")));
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(77 + i, comInfo.hostWords[i]);
    EXPECT_EQ(5, comInfo.linkWord0);
    EXPECT_EQ(6, comInfo.linkWord1);
    EXPECT_EQ(99, comInfo.hostHandle);
}

TEST_F(DriverState, LocalAreasAreKeptInTheOrderBitsWordsRwi)
{
    int bits = 0, words = 0, rwi = 0;
    FlashLocalRegister(&bits, &words, &rwi);
    EXPECT_EQ(&bits, LB);
    EXPECT_EQ(&words, LW);
    EXPECT_EQ(&rwi, RWI);
    FlashLocalRegister(nullptr, nullptr, nullptr);
    EXPECT_EQ(nullptr, LB);
    EXPECT_EQ(nullptr, LW);
    EXPECT_EQ(nullptr, RWI);
}

TEST_F(DriverState, FixedAnswersDoNotDependOnTheState)
{
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(1, QueryFinishFlag());
        EXPECT_EQ(-1, StringAddressToInt(0, text("Tag")));
        EXPECT_EQ(-1, StringAddressToInt(INT_MIN, QString()));
        EXPECT_EQ(-1, StringAddressToInt(3, text("123")));
        EXPECT_EQ(-1, PLCAddressChangeIntef());
        connectStation(1);
        const RW_VAR var = readVar("Tag", 1);
        AddListReadVar(&var);
        ASSERT_NE(nullptr, ComCommunication());
    }
}

// --- Switching stations off and on ---

TEST_F(StationSwitch, FlagZeroSwitchesAStationOffAndFlagOneOnAgain)
{
    EnCommStation(3, 0);
    EXPECT_EQ(1, Ethernetcontains(3));
    EXPECT_EQ(0, Ethernetcontains(4));
    EXPECT_EQ(0, PLC_driver.disabledStations.value(3, -1));
    EnCommStation(3, 1);
    EXPECT_EQ(0, Ethernetcontains(3));
    EXPECT_TRUE(switchedOff().isEmpty());
}

TEST_F(StationSwitch, SwitchingOffTwiceLeavesOneEntryAndFlagTwoChangesNothing)
{
    EnCommStation(3, 0);
    EnCommStation(3, 0);
    EXPECT_EQ(QList<int>() << 3, switchedOff());
    EnCommStation(3, 2);
    EXPECT_EQ(QList<int>() << 3, switchedOff());
    EnCommStation(5, 2);
    EnCommStation(5, -1);
    EnCommStation(5, INT_MAX);
    EnCommStation(3, INT_MIN);
    EXPECT_EQ(QList<int>() << 3, switchedOff());
}

TEST_F(StationSwitch, ANegativeStationSwitchesEveryStationOnWhateverTheFlag)
{
    for (int flag : {1, 0, 2, -1, INT_MIN}) {
        EnCommStation(3, 0);
        EnCommStation(0, 0);
        EnCommStation(-1, flag);
        EXPECT_TRUE(switchedOff().isEmpty()) << "flag " << flag;
    }
    EnCommStation(3, 0);
    EnCommStation(INT_MIN, 0);
    EXPECT_TRUE(switchedOff().isEmpty());
}

TEST_F(StationSwitch, StationZeroAndTheGreatestNumberAreOrdinaryStations)
{
    EnCommStation(0, 0);
    EnCommStation(INT_MAX, 0);
    EXPECT_EQ(QList<int>() << 0 << INT_MAX, switchedOff());
    EnCommStation(0, 1);
    EXPECT_EQ(QList<int>() << INT_MAX, switchedOff());
}

TEST_F(StationSwitch, SwitchingOnAStationThatIsOnChangesNothing)
{
    EnCommStation(3, 0);
    EnCommStation(4, 1);
    EXPECT_EQ(QList<int>() << 3, switchedOff());
}

TEST_F(StationSwitch, SwitchingAndAskingTakeTheStationLock)
{
    EXPECT_TRUE(waitsFor(PLC_driver.stationMutex, [] { EnCommStation(3, 0); }));
    EXPECT_TRUE(waitsFor(PLC_driver.stationMutex, [] { Ethernetcontains(3); }));
    EXPECT_TRUE(doesWithout(PLC_driver.queueMutex, [] { EnCommStation(3, 1); }));
}

// --- Callbacks ---

TEST_F(HostCallbacks, ADoneWriteIsReportedWithHandleAreaAddressAndStatusOne)
{
    comInfo.hostHandle = 4711;
    connectStation(0);
    setTypeHeader(0, "Tag", "03 C3 00 FF");
    const RW_VAR write = named(writeVar("Tag", "05 00"), 5, 12);
    AddListWriteVar(&write, 0);
    ASSERT_NE(nullptr, ComCommunication());
    EXPECT_EQ(kOk, answer(writeReply()));
    ASSERT_EQ(1u, done().size());
    EXPECT_EQ((DoneEvent{4711, 5, 12, 1}), done()[0]);
    EXPECT_TRUE(failed().empty());
    EXPECT_TRUE(callbacksHeldTheQueueLock());
}

TEST_F(HostCallbacks, AFailureIsReportedWithAnEmptyListTheAreaAndOne)
{
    connectStation(0);
    setTypeHeader(0, "Tag", "03 C3 00 FF");
    const RW_VAR write = named(writeVar("Tag", "05 00"), 5, 12);
    AddListWriteVar(&write, 0);
    ASSERT_NE(nullptr, ComCommunication());
    EXPECT_EQ(kOk, reply(writeReply()));
    EXPECT_EQ(kLocalNoReply + 1 + 5, reply(QByteArray(), 0));
    ASSERT_EQ(1u, failed().size());
    EXPECT_EQ((FailEvent{true, 5, 1}), failed()[0]);
    ASSERT_EQ(1u, done().size());
    EXPECT_EQ((DoneEvent{0, 5, 12, 2}), done()[0]);
    EXPECT_TRUE(callbacksHeldTheQueueLock());
}

TEST_F(HostCallbacks, WithoutCallbacksNothingIsCalled)
{
    RegistCallBackFuncIntf(nullptr, nullptr);
    for (const bool good : {true, false}) {
        connectStation(0);
        setTypeHeader(0, "Tag", "03 C3 00 FF");
        const RW_VAR write = named(writeVar("Tag", "05 00"), 5, 12);
        AddListWriteVar(&write, 0);
        ASSERT_NE(nullptr, ComCommunication());
        EXPECT_EQ(kOk, reply(writeReply()));
        reply(writeReply(), good ? 50 : 0);
        EXPECT_TRUE(PLC_driver.writeQueue.isEmpty());
    }
    EXPECT_TRUE(done().empty());
    EXPECT_TRUE(failed().empty());
}

} // namespace
