// The stations' records: how they come to be, how a sequence count advances.

#include "driver_fixture.h"
#include "tagcommunication.h"

#include <climits>

namespace {

class StationRegistry : public DriverTest {
protected:
    static void expectEmptySession(int station)
    {
        const PLCTAGCOMMUNICATION record = PLCDataStorage.value(station);
        EXPECT_TRUE(record.sessionHandle.isEmpty());
        EXPECT_TRUE(record.connectionId.isEmpty());
        EXPECT_TRUE(record.tagDataMap.isEmpty());
        EXPECT_TRUE(record.tagTypeMap.isEmpty());
    }
};

TEST_F(StationRegistry, AskingForAnUnseenStationCreatesItDisconnectedWithCountOne)
{
    ASSERT_TRUE(PLCDataStorage.isEmpty());
    EXPECT_EQ(0, getHandshakeInformation(5));
    ASSERT_TRUE(PLCDataStorage.contains(5));
    EXPECT_FALSE(PLCDataStorage[5].handshakeDone);
    EXPECT_EQ(1, PLCDataStorage[5].sequenceCount);
    expectEmptySession(5);

    EXPECT_EQ(0, getHandshakeInformation(6)) << "the map is no longer empty";
    EXPECT_EQ(1, PLCDataStorage[6].sequenceCount);
    EXPECT_EQ(2, PLCDataStorage.size());
}

TEST_F(StationRegistry, AskingAgainChangesNothing)
{
    getHandshakeInformation(5);
    PLCDataStorage[5].sequenceCount = 9;
    PLCDataStorage[5].sessionHandle = hex("01 02 03 04");
    EXPECT_EQ(0, getHandshakeInformation(5));
    EXPECT_EQ(9, PLCDataStorage[5].sequenceCount);
    EXPECT_EQ(hex("01 02 03 04"), PLCDataStorage[5].sessionHandle);
    EXPECT_EQ(1, PLCDataStorage.size());
}

TEST_F(StationRegistry, AConnectedStationAnswersTrueAndKeepsItsRecord)
{
    connectStation(5, "11 22 33 44", "AA BB CC DD", 7);
    EXPECT_NE(0, getHandshakeInformation(5));
    EXPECT_EQ(7, PLCDataStorage[5].sequenceCount);
    EXPECT_EQ(hex("AA BB CC DD"), PLCDataStorage[5].connectionId);
}

TEST_F(StationRegistry, ARecordThatALookupCreatedHasCountZero)
{
    EXPECT_FALSE(PLCDataStorage[4].handshakeDone);
    EXPECT_EQ(0, PLCDataStorage[4].sequenceCount);
    expectEmptySession(4);
    EXPECT_EQ(0, getHandshakeInformation(4));
    EXPECT_EQ(0, PLCDataStorage[4].sequenceCount) << "it exists, so it is not created again";
}

TEST_F(StationRegistry, TheSequenceCountAdvancesAndNeverBecomesZero)
{
    const struct {
        quint16 before;
        quint16 after;
    } steps[] = {{0, 1}, {1, 2}, {254, 255}, {255, 256}, {65534, 65535}, {65535, 1}};
    for (const auto& step : steps) {
        PLCDataStorage[2].sequenceCount = step.before;
        EXPECT_EQ(1, addPlcNumber(2));
        EXPECT_EQ(step.after, PLCDataStorage[2].sequenceCount) << "from " << step.before;
    }
}

TEST_F(StationRegistry, AdvancingAnUnknownStationCreatesItAndLeavesItsCountAtOne)
{
    EXPECT_EQ(1, addPlcNumber(8));
    ASSERT_TRUE(PLCDataStorage.contains(8));
    EXPECT_EQ(1, PLCDataStorage[8].sequenceCount);
    EXPECT_FALSE(PLCDataStorage[8].handshakeDone);
    expectEmptySession(8);
}

TEST_F(StationRegistry, AdvancingOneStationLeavesTheOthersAlone)
{
    connectStation(1);
    connectStation(2);
    addPlcNumber(1);
    EXPECT_EQ(2, PLCDataStorage[1].sequenceCount);
    EXPECT_EQ(1, PLCDataStorage[2].sequenceCount);
}

TEST_F(StationRegistry, AFreshRecordReplacesEverythingAConnectedStationHad)
{
    connectStation(5, "11 22 33 44", "AA BB CC DD", 77);
    setTypeHeader(5, "Tag", "03 C3 00 FF");
    setStoredData(5, "Tag", "34 12");
    EXPECT_EQ(1, AddTheTagInformationContainer(5));
    EXPECT_FALSE(PLCDataStorage[5].handshakeDone);
    EXPECT_EQ(1, PLCDataStorage[5].sequenceCount);
    expectEmptySession(5);
    EXPECT_EQ(0, getHandshakeInformation(5));
}

TEST_F(StationRegistry, AFreshRecordForANewStationIsDisconnectedWithCountOne)
{
    EXPECT_EQ(1, AddTheTagInformationContainer(3));
    EXPECT_EQ(1, PLCDataStorage.size());
    EXPECT_FALSE(PLCDataStorage[3].handshakeDone);
    EXPECT_EQ(1, PLCDataStorage[3].sequenceCount);
    expectEmptySession(3);
}

TEST_F(StationRegistry, NegativeAndZeroStationsAreOrdinaryStations)
{
    for (int station : {0, -1, INT_MIN, INT_MAX}) {
        EXPECT_EQ(0, getHandshakeInformation(station));
        handshake(station);
        EXPECT_NE(0, getHandshakeInformation(station)) << station;
        addPlcNumber(station);
        EXPECT_EQ(2, PLCDataStorage[station].sequenceCount) << station;
    }
    EXPECT_EQ(QList<int>() << INT_MIN << -1 << 0 << INT_MAX, PLCDataStorage.keys());
}

TEST_F(StationRegistry, AHandshakeEntersTheConnectedStateWithCountOne)
{
    PLCDataStorage[5].sequenceCount = 1234;
    handshake(5, "01 02 03 04", "0A 0B 0C 0D");
    EXPECT_TRUE(PLCDataStorage[5].handshakeDone);
    EXPECT_EQ(1, PLCDataStorage[5].sequenceCount);
    EXPECT_EQ(hex("01 02 03 04"), PLCDataStorage[5].sessionHandle);
    EXPECT_EQ(hex("0A 0B 0C 0D"), PLCDataStorage[5].connectionId);
}

TEST_F(StationRegistry, AFailedStationIsResetInPlaceAndRegistersAgain)
{
    const RW_VAR var = readVar("Tag", 5);
    AddListReadVar(&var);
    handshake(5);
    ASSERT_NE(nullptr, ComCommunication());
    EXPECT_EQ(kOk, answer(readReply("C3 00 34 12")));
    EXPECT_EQ(2, PLCDataStorage[5].sequenceCount);

    ASSERT_NE(nullptr, ComCommunication());
    EXPECT_EQ(kOk, reply(readReply("C3 00 34 12")));
    EXPECT_EQ(kLocalWrongLength + 1, reply(readReply("C3 00 34 12 00")));
    ASSERT_TRUE(PLCDataStorage.contains(5));
    EXPECT_FALSE(PLCDataStorage[5].handshakeDone);
    EXPECT_EQ(1, PLCDataStorage[5].sequenceCount);
    expectEmptySession(5);
    expectSent("65 00 04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
               "01 00 00 00");
}

TEST_F(StationRegistry, ATypeHeaderIsCompleteWithItsFourthByteFF)
{
    EXPECT_TRUE(isCompleteTypeHeader(hex("03 C3 00 FF")));
    EXPECT_TRUE(isCompleteTypeHeader(hex("FF 00 00 FF")));
    EXPECT_TRUE(isCompleteTypeHeader(hex("03 C3 00 FF 00")));
    EXPECT_FALSE(isCompleteTypeHeader(hex("")));
    EXPECT_FALSE(isCompleteTypeHeader(hex("FF FF FF")));
    EXPECT_FALSE(isCompleteTypeHeader(hex("03 C3 00 FE")));
    EXPECT_FALSE(isCompleteTypeHeader(hex("FF 00 00 00 FF")));
}

} // namespace
