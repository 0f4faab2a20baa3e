// What the host fetches of the values read, and how it queues its writes.

#include "Func_DealData.h"
#include "Func_GetOrSetData.h"
#include "bounds.h"
#include "driver_fixture.h"
#include "waiting.h"

#include <climits>

namespace {

class Scaling : public DriverTest {};

class ValueFetch : public DriverTest {
protected:
    void SetUp() override
    {
        DriverTest::SetUp();
        connectStation(1);
    }

    /// Stores a value of a tag on station 1.
    static void store(const char* tag, const char* headerHex, const char* dataHex)
    {
        setTypeHeader(1, tag, headerHex);
        setStoredData(1, tag, dataHex);
    }

    /// Fetches from station 1; the result must be 1.
    static QByteArray fetch(const char* tag, const char* index, unsigned int registers)
    {
        QByteArray out("old content");
        EXPECT_EQ(1, GetRegisterData(text(tag), 0, text(index), 1, &out, registers));
        return out;
    }

    /// A fetch that must fail and leave nothing behind.
    static void expectNothing(const char* tag, int station, unsigned int registers = 1,
                              const char* index = "")
    {
        QByteArray out("old content");
        EXPECT_EQ(0, GetRegisterData(text(tag), 0, text(index), station, &out, registers));
        EXPECT_EQ(QByteArray(), out);
    }
};

class ValueWrite : public DriverTest {
protected:
    void SetUp() override
    {
        DriverTest::SetUp();
        comInfo.writeMode = 2;
    }

    static int write(const char* tag, const char* dataHex, int count = 1, int startIndex = 0,
                     int station = 0)
    {
        return SetRegisterData(text(tag), 0, QString::number(startIndex), station, hex(dataHex),
                               count, 1, 2);
    }
};

// --- Scaling ---

TEST_F(Scaling, AddressesBecomeOffsetsAndRegistersBecomeElements)
{
    const struct {
        int type;
        quint32 address, count;
        quint32 offset, elements;
    } cases[] = {
        {kRegisterBit, 7, 9, 7, 9},
        {kRegisterString, 7, 9, 7, 9},
        {kRegister8Bit, 7, 9, 7, 9},
        {kRegister16Bit, 7, 9, 14, 9},
        {kRegister32Bit, 7, 9, 28, 5},
        {kRegister32Bit, 0, 0, 0, 0},
        {kRegister32Bit, 1, 1, 4, 1},
        {kRegister32Bit, 1, 2, 4, 1},
        {kRegister32Bit, 1, 3, 4, 2},
        {kRegister64Bit, 7, 9, 56, 3},
        {kRegister64Bit, 0, 0, 0, 0},
        {kRegister64Bit, 1, 1, 8, 1},
        {kRegister64Bit, 1, 4, 8, 1},
        {kRegister64Bit, 1, 5, 8, 2},
        {6, 7, 9, 7, 9},
        {255, 7, 9, 7, 9},
        {-1, 7, 9, 7, 9},
        {kRegister16Bit, 0x80000001, 0xFFFFFFFF, 2, 0xFFFFFFFF},
        {kRegister32Bit, 0xC0000001, 0xFFFFFFFF, 4, 0},
        {kRegister32Bit, 0, 0xFFFFFFFE, 0, 0x7FFFFFFF},
        {kRegister64Bit, 0xE0000001, 0xFFFFFFFD, 8, 0},
        {kRegister64Bit, 0, 0xFFFFFFFC, 0, 0x3FFFFFFF},
    };
    for (const auto& c : cases) {
        quint32 address = c.address, count = c.count;
        EXPECT_EQ(1, getPlcAdd(c.type, address, count));
        EXPECT_EQ(c.offset, address) << "type " << c.type << " address " << c.address;
        EXPECT_EQ(c.elements, count) << "type " << c.type << " count " << c.count;
    }
}

// --- Fetching ---

TEST_F(ValueFetch, AnIntFillsOneRegister)
{
    store("Tag", "03 C3 00 FF", "34 12");
    EXPECT_EQ(hex("34 12"), fetch("Tag", "", 1));
}

TEST_F(ValueFetch, ASintIsWidenedWithoutSignExtension)
{
    store("Tag", "02 C2 00 FF", "FF");
    EXPECT_EQ(hex("FF 00"), fetch("Tag", "", 1));
}

TEST_F(ValueFetch, OneRegisterOfADintIsRoundedUpToOneElement)
{
    makeAllTagsArrays();
    store("Tag", "04 C4 00 FF", "78 56 34 12");
    EXPECT_EQ(hex("78 56 34 12"), fetch("Tag", "0", 1));
    EXPECT_EQ(hex("78 56 34 12"), fetch("Tag", "0", 2));
}

TEST_F(ValueFetch, ZeroRegistersOfAnArrayAreEmpty)
{
    makeAllTagsArrays();
    for (const char* header : {"00 C1 00 FF", "01 DA 00 FF", "02 C2 00 FF", "03 C3 00 FF",
                               "04 C4 00 FF", "05 C5 00 FF"}) {
        store("Tag", header, "01 02 03 04 05 06 07 08");
        EXPECT_EQ(QByteArray(), fetch("Tag", "0", 0)) << header;
    }
}

TEST_F(ValueFetch, ZeroRegistersOfASingleValueAreOneElement)
{
    store("Dint", "04 C4 00 FF", "78 56 34 12");
    EXPECT_EQ(hex("78 56 34 12"), fetch("Dint", "", 0));
    store("Lint", "05 C5 00 FF", "01 02 03 04 05 06 07 08");
    EXPECT_EQ(hex("01 02 03 04 05 06 07 08"), fetch("Lint", "", 0));
    store("Text", "01 DA 00 FF", "41 42");
    EXPECT_EQ(QByteArray(), fetch("Text", "", 0)) << "a string goes by the registers asked for";
}

TEST_F(ValueFetch, ASingleValueIsOneElementHoweverManyRegistersAreAsked)
{
    store("Dint", "04 C4 00 FF", "78 56 34 12 01 00 00 00");
    EXPECT_EQ(hex("78 56 34 12"), fetch("Dint", "1", 4));
    store("Bool", "00 C1 00 FF", "01 01");
    EXPECT_EQ(hex("01"), fetch("Bool", "", 4));
}

TEST_F(ValueFetch, ThreeRegistersOfAnLrealAreOneElement)
{
    makeAllTagsArrays();
    store("Tag", "05 CB 00 FF", "00 00 00 00 00 00 F0 3F 01 02 03 04 05 06 07 08");
    EXPECT_EQ(hex("00 00 00 00 00 00 F0 3F"), fetch("Tag", "0", 3));
    EXPECT_EQ(hex("00 00 00 00 00 00 F0 3F"), fetch("Tag", "0", 4));
    EXPECT_EQ(16, fetch("Tag", "0", 5).size());
}

TEST_F(ValueFetch, AShortStringHasTwoCharactersPerRegister)
{
    store("Text", "01 DA 00 FF", "48 45 4C 4C 4F");
    EXPECT_EQ(hex("48 45 4C 4C 4F 00"), fetch("Text", "", 3));
    EXPECT_EQ(hex("48 45"), fetch("Text", "", 1));
    EXPECT_EQ(hex("48 45 4C 4C 4F 00 00 00"), fetch("Text", "", 4));
}

TEST_F(ValueFetch, AnIntArrayIsReadFromItsElement)
{
    makeAllTagsArrays();
    store("Arr", "03 C3 00 FF", "00 01 02 03 04 05 06 07 08 09");
    EXPECT_EQ(hex("04 05 06 07"), fetch("Arr", "2", 2));
}

TEST_F(ValueFetch, EveryTypeIsReadFromItsElementInItsWidth)
{
    makeAllTagsArrays();
    const struct {
        const char* header;
        const char* index;
        unsigned int registers;
        const char* out;
    } cases[] = {
        {"00 C1 00 FF", "2", 3, "02 03 04"},
        {"01 DA 00 FF", "2", 2, "02 03 04 05"},
        {"02 C2 00 FF", "2", 3, "02 00 03 00 04 00"},
        {"02 D3 00 FF", "0", 4, "00 00 01 00 02 00 03 00"},
        {"03 C3 00 FF", "2", 2, "04 05 06 07"},
        {"04 C4 00 FF", "2", 3, "08 09 0A 0B 0C 0D 0E 0F"},
        {"04 CA 00 FF", "1", 2, "04 05 06 07"},
        {"05 C5 00 FF", "1", 4, "08 09 0A 0B 0C 0D 0E 0F"},
        {"05 C5 00 FF", "0", 5, "00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F"},
    };
    for (const auto& c : cases) {
        store("Arr", c.header, "00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F");
        EXPECT_EQ(hex(c.out), fetch("Arr", c.index, c.registers))
            << c.header << " from " << c.index;
    }
}

TEST_F(ValueFetch, BytesNeverReadAreZero)
{
    makeAllTagsArrays();
    const struct {
        const char* header;
        const char* index;
        unsigned int registers;
        const char* out;
    } cases[] = {
        {"00 C1 00 FF", "1", 3, "02 03 00"},
        {"01 DA 00 FF", "2", 1, "03 00"},
        {"02 C2 00 FF", "2", 2, "03 00 00 00"},
        {"03 C3 00 FF", "1", 2, "03 00 00 00"},
        {"04 C4 00 FF", "0", 3, "01 02 03 00 00 00 00 00"},
        {"05 C5 00 FF", "0", 1, "01 02 03 00 00 00 00 00"},
        {"03 C3 00 FF", "1000", 2, "00 00 00 00"},
    };
    for (const auto& c : cases) {
        store("Arr", c.header, "01 02 03");
        EXPECT_EQ(hex(c.out), fetch("Arr", c.index, c.registers))
            << c.header << " from " << c.index;
    }
    EXPECT_EQ(hex("01 02 03"), storedData(1, "Arr")) << "fetching stores nothing";
}

TEST_F(ValueFetch, AValueStoredEmptyReadsAsZeros)
{
    store("Tag", "03 C3 00 FF", "");
    EXPECT_EQ(hex("00 00"), fetch("Tag", "", 1));
}

TEST_F(ValueFetch, ANegativeIndexReadsNothingThatIsNotThere)
{
    makeAllTagsArrays();
    for (const char* header : {"00 C1 00 FF", "01 DA 00 FF", "02 C2 00 FF", "03 C3 00 FF",
                               "04 C4 00 FF", "05 C5 00 FF"}) {
        store("Arr", header, "01 02 03 04 05 06 07 08");
        for (const char* index : {"-1", "-2"}) {
            const QByteArray out = fetch("Arr", index, 1);
            ASSERT_FALSE(out.isEmpty());
            EXPECT_EQ(0, out[0]) << header << " from " << index;
        }
    }
}

TEST_F(ValueFetch, IndexesWrapAround32BitsOfOffset)
{
    makeAllTagsArrays();
    store("Arr", "03 C3 00 FF", "01 02 03 04");
    EXPECT_EQ(hex("03 04"), fetch("Arr", "-2147483647", 1));
    store("Arr", "04 C4 00 FF", "01 02 03 04 05 06 07 08");
    EXPECT_EQ(hex("05 06 07 08"), fetch("Arr", "1073741825", 2));
}

TEST_F(ValueFetch, ATypeThatIsUnknownHasNoValues)
{
    makeAllTagsArrays();
    store("Tag", "", "34 12");
    EXPECT_EQ(QByteArray(), fetch("Tag", "0", 1)) << "resolved as unknown first";
    EXPECT_EQ(hex("FF 00 00 00"), typeHeader(1, "Tag"));
    store("Tag", "06 00 00 FF", "34 12");
    EXPECT_EQ(QByteArray(), fetch("Tag", "0", 1));
    EXPECT_EQ(QByteArray(), fetch("Tag", "0", 0xFFFFFFFF));
}

TEST_F(ValueFetch, WithoutASessionThereIsNothingEvenIfValuesWereStored)
{
    store("Tag", "03 C3 00 FF", "34 12");
    PLCDataStorage[1].handshakeDone = false;
    expectNothing("Tag", 1);
    EXPECT_EQ(hex("34 12"), storedData(1, "Tag"));
}

TEST_F(ValueFetch, ATagThatWasNeverReadHasNothing)
{
    expectNothing("Tag", 1);
    store("Other", "03 C3 00 FF", "34 12");
    expectNothing("Tag", 1);
    expectNothing("other", 1);
}

TEST_F(ValueFetch, AnUnseenStationIsCreatedAndHasNothing)
{
    expectNothing("Tag", 7);
    ASSERT_TRUE(PLCDataStorage.contains(7));
    EXPECT_FALSE(PLCDataStorage[7].handshakeDone);
    EXPECT_EQ(0, PLCDataStorage[7].sequenceCount);
    EXPECT_EQ(hex("FF 00 00 00"), typeHeader(7, "Tag"));
    expectNothing("Tag", INT_MIN);
    expectNothing("Tag", INT_MAX);
}

TEST_F(ValueFetch, TheStationIsUsedAsGivenAndTheSecondArgumentIgnored)
{
    comInfo.defaultStation = 9;
    connectStation(9);
    store("Tag", "03 C3 00 FF", "34 12");
    setTypeHeader(9, "Tag", "03 C3 00 FF");
    setStoredData(9, "Tag", "99 99");
    for (int ignored : {0, 1, -1, INT_MIN, INT_MAX}) {
        QByteArray out;
        EXPECT_EQ(1, GetRegisterData(text("Tag"), ignored, QString(), 1, &out, 1));
        EXPECT_EQ(hex("34 12"), out);
    }
}

TEST_F(ValueFetch, WithoutAPlaceForTheAnswerThereIsNone)
{
    store("Tag", "03 C3 00 FF", "34 12");
    EXPECT_EQ(0, GetRegisterData(text("Tag"), 0, QString(), 1, nullptr, 1));
    EXPECT_EQ(0, GetRegisterData(text("Tag"), 0, QString(), 8, nullptr, 1));
}

TEST_F(ValueFetch, AnAnswerOfTheGreatestSizeIsGivenInFull)
{
    makeAllTagsArrays();
    const struct {
        const char* header;
        unsigned int registers;
    } cases[] = {{"00 C1 00 FF", kMaxAnswerBytes},     {"01 DA 00 FF", kMaxAnswerBytes / 2},
                 {"02 C2 00 FF", kMaxAnswerBytes / 2}, {"03 C3 00 FF", kMaxAnswerBytes / 2},
                 {"04 C4 00 FF", kMaxAnswerBytes / 2}, {"05 C5 00 FF", kMaxAnswerBytes / 2}};
    for (const auto& c : cases) {
        store("Arr", c.header, "01 02");
        EXPECT_EQ(kMaxAnswerBytes, fetch("Arr", "0", c.registers).size()) << c.header;
        expectNothing("Arr", 1, c.registers + 1, "0");
    }
}

TEST_F(ValueFetch, WildRegisterCountsGiveNothing)
{
    makeAllTagsArrays();
    for (const char* header : {"00 C1 00 FF", "01 DA 00 FF", "02 C2 00 FF", "03 C3 00 FF",
                               "04 C4 00 FF", "05 C5 00 FF", "06 00 00 FF"}) {
        store("Arr", header, "01 02 03 04 05 06 07 08");
        for (unsigned int registers :
             {0xFFFFFFFFu, 0xFFFFFFFDu, 0x80000000u, 0x7FFFFFFFu, 0x80000001u}) {
            QByteArray out("old content");
            GetRegisterData(text("Arr"), 0, text("0"), 1, &out, registers);
            EXPECT_EQ(QByteArray(), out) << header << ", " << registers << " registers";
        }
    }
    plcAddList.clear();
    store("Text", "01 DA 00 FF", "41 42");
    expectNothing("Text", 1, 0xFFFFFFFF);
}

TEST_F(ValueFetch, NamesOutsideLatin1AreFound)
{
    const ushort characters[] = {0x6E29, 0x5EA6, 0xD83D, 0xFFFF};
    const QString name = QString::fromUtf16(characters, 4);
    PLCDataStorage[1].tagTypeMap[name] = hex("03 C3 00 FF");
    PLCDataStorage[1].tagDataMap[name] = hex("34 12");
    QByteArray out;
    EXPECT_EQ(1, GetRegisterData(name, 0, QString(), 1, &out, 1));
    EXPECT_EQ(hex("34 12"), out);
}

TEST_F(ValueFetch, AValueReadThroughTheCycleIsFetchedAsTheControllerSentIt)
{
    const RW_VAR var = readVar("Tag", 1);
    AddListReadVar(&var);
    ASSERT_NE(nullptr, ComCommunication());
    EXPECT_EQ(kOk, answer(readReply("C4 00 78 56 34 12")));
    EXPECT_EQ(hex("78 56 34 12"), fetch("Tag", "", 2));
}

TEST_F(ValueFetch, TheDataLockIsHeldWhileFetching)
{
    store("Tag", "03 C3 00 FF", "34 12");
    QByteArray out;
    const auto get = [&] { GetRegisterData(text("Tag"), 0, QString(), 1, &out, 1); };
    EXPECT_TRUE(waitsFor(PLC_driver.dataMutex, get));
    EXPECT_TRUE(waitsFor(stationStoreMutex, get));
    EXPECT_TRUE(doesWithout(PLC_driver.queueMutex, get));
    EXPECT_EQ(hex("34 12"), out);
}

TEST_F(ValueFetch, GetTagDataTellsWhetherAValueIsStored)
{
    RW_VAR var = readVar("Tag", 6);
    EXPECT_EQ(0, getTagData(&var));
    ASSERT_TRUE(PLCDataStorage.contains(6)) << "asking creates the station";
    EXPECT_EQ(0, PLCDataStorage[6].sequenceCount);
    setStoredData(6, "Other", "01");
    EXPECT_EQ(0, getTagData(&var));
    EXPECT_EQ(1, PLCDataStorage[6].tagDataMap.size()) << "a missing tag is not created";
    setStoredData(6, "Tag", "");
    EXPECT_EQ(1, getTagData(&var));
    EXPECT_TRUE(PLCDataStorage[6].tagTypeMap.isEmpty());
}

// --- Writing ---

TEST_F(ValueWrite, QueuesAVariableWithItsArgumentsAndTheHostsSettings)
{
    makeAllTagsArrays();
    comInfo.multiStation = 1;
    comInfo.defaultStation = 9;
    comInfo.remoteMode = 21;
    comInfo.localDeviceNo = 22;
    EXPECT_EQ(1, SetRegisterData(text("Tag"), 3, text("4"), 5, hex("01 02 03 04"), 6, 7, 8));
    ASSERT_EQ(1, PLC_driver.writeQueue.size());
    const RW_VAR& queued = PLC_driver.writeQueue.value(0);
    EXPECT_EQ(text("Tag"), queued.tagName);
    EXPECT_EQ(3, queued.dataKind);
    EXPECT_EQ(text("4"), queued.indexText);
    EXPECT_EQ(5, queued.station);
    EXPECT_EQ(hex("01 02 03 04"), queued.data);
    EXPECT_EQ(6, queued.count);
    EXPECT_EQ(7, queued.hostArea);
    EXPECT_EQ(8, queued.hostAddress);
    EXPECT_EQ(kAcceptWithoutStore, queued.accessKind);
    EXPECT_EQ(21, queued.hostWord3);
    EXPECT_EQ(22, queued.deviceNo);
    EXPECT_EQ(0, queued.result);
    EXPECT_EQ(4, queued.startIndex);
    EXPECT_EQ(1, queued.isArrayTag);
    EXPECT_EQ(2, queued.onceFlag);
    EXPECT_EQ(hex("FF 00 00 00"), typeHeader(5, "Tag"));
}

TEST_F(ValueWrite, ASingleValueIsWrittenAsOneElementFromZero)
{
    write("Tag", "01 00 02 00", 2, 7);
    const RW_VAR& queued = PLC_driver.writeQueue.value(0);
    EXPECT_EQ(0, queued.startIndex);
    EXPECT_EQ(1, queued.count);
    EXPECT_EQ(0, queued.isArrayTag);
    EXPECT_EQ(hex("01 00 02 00"), queued.data);
}

TEST_F(ValueWrite, OnlyWriteModeTwoQueuesWrites)
{
    for (int mode : {0, 1, 3, -2, INT_MIN, INT_MAX}) {
        comInfo.writeMode = mode;
        EXPECT_EQ(1, write("Tag", "01 00")) << "mode " << mode;
        EXPECT_TRUE(PLC_driver.writeQueue.isEmpty()) << "mode " << mode;
    }
    comInfo.writeMode = 2;
    write("Tag", "01 00");
    write("Tag", "02 00");
    comInfo.writeMode = 0;
    EXPECT_EQ(1, write("Tag", "03 00")) << "1 whatever the queue holds";
    EXPECT_EQ(2, PLC_driver.writeQueue.size());
}

TEST_F(ValueWrite, WithWritesOffTheTagIsResolvedAllTheSame)
{
    comInfo.writeMode = 0;
    comInfo.defaultStation = 3;
    write("Tag", "01 00");
    EXPECT_EQ(hex("FF 00 00 00"), typeHeader(3, "Tag"));
}

TEST_F(ValueWrite, WithOneStationTheDefaultStationIsUsed)
{
    comInfo.defaultStation = 3;
    write("Tag", "01 00", 1, 0, 5);
    EXPECT_EQ(3, PLC_driver.writeQueue.value(0).station);
    EXPECT_FALSE(PLCDataStorage.contains(5));
    comInfo.multiStation = -1;
    write("Tag", "01 00", 1, 0, 5);
    EXPECT_EQ(5, PLC_driver.writeQueue.value(1).station) << "any multiStation but 0";
}

TEST_F(ValueWrite, ANewerValueReplacesTheWaitingOne)
{
    EXPECT_EQ(1, write("Tag", "01 00"));
    EXPECT_EQ(2, write("Tag", "02 00"));
    EXPECT_EQ(2, write("Tag", "03 00"));
    EXPECT_EQ(hex("01 00"), PLC_driver.writeQueue.value(0).data);
    EXPECT_EQ(hex("03 00"), PLC_driver.writeQueue.value(1).data);
}

TEST_F(ValueWrite, AFullQueueDropsTheWriteAndSays1024)
{
    makeAllTagsArrays();
    for (int i = 0; i < 1024; ++i)
        ASSERT_EQ(i + 1, write("Arr", "01 00", 1, i));
    EXPECT_EQ(1024, write("Arr", "01 00", 1, 2000));
    EXPECT_EQ(1024, PLC_driver.writeQueue.size());
    EXPECT_EQ(1023, PLC_driver.writeQueue.last().startIndex);
}

TEST_F(ValueWrite, AfterAFailureAWriteIsQueuedLikeAnyOther)
{
    PLC_driver.lastFailed = true;
    EXPECT_EQ(1, write("Tag", "01 00"));
    EXPECT_EQ(1, PLC_driver.writeQueue.size());
}

TEST_F(ValueWrite, TheQueueKeepsItsOwnCopyOfTheValue)
{
    QByteArray value = hex("01 00");
    SetRegisterData(text("Tag"), 0, QString(), 0, value, 1, 1, 2);
    value[0] = 0x55;
    EXPECT_EQ(hex("01 00"), PLC_driver.writeQueue.value(0).data);
}

TEST_F(ValueWrite, WildCountsAndEmptyValuesAreQueuedAsGiven)
{
    makeAllTagsArrays();
    EXPECT_EQ(1, write("Tag", "", INT_MIN));
    EXPECT_EQ(2, write("Tag", "", INT_MAX));
    EXPECT_EQ(3, write("", "", -1));
    EXPECT_EQ(INT_MIN, PLC_driver.writeQueue.value(0).count);
    EXPECT_EQ(INT_MAX, PLC_driver.writeQueue.value(1).count);
}

TEST_F(ValueWrite, QueuingTakesTheQueueLock)
{
    EXPECT_TRUE(waitsFor(PLC_driver.queueMutex, [] { write("Tag", "01 00"); }));
    EXPECT_TRUE(doesWithout(PLC_driver.dataMutex, [] { write("Tag", "01 00"); }));
    EXPECT_EQ(2, PLC_driver.writeQueue.size());
}

TEST_F(ValueWrite, MirroringAWriteDoesNothing)
{
    quint8 areas[16] = {1, 2, 3};
    FlashLocalRegister(areas, areas + 4, areas + 8);
    RW_VAR var = writeVar("Tag", "77 77");
    WriteDataToLocal(&var);
    comInfo.writeMode = 0;
    write("Tag", "77 77");
    EXPECT_EQ(hex("77 77"), var.data);
    EXPECT_EQ(QByteArray("\1\2\3", 3) + QByteArray(13, '\0'),
              QByteArray(reinterpret_cast<const char*>(areas), 16));
}

} // namespace
