// How a variable finds its tag, and the host's one-shot reads.

#include "Device_Driver.h"
#include "driver_fixture.h"
#include "waiting.h"

#include <climits>

namespace {

class TagResolution : public DriverTest {
protected:
    static RW_VAR resolved(const char* tag, const QString& indexText, int count, int station = 0)
    {
        RW_VAR var = readVar(tag, station, count);
        var.indexText = indexText;
        var.startIndex = 99;
        var.isArrayTag = 99;
        EXPECT_EQ(1, updateRwVar(&var));
        return var;
    }
};

class OnceReadQueue : public DriverTest {
protected:
    static int add(const RW_VAR& var, int mode = 0) { return AddListOnceReadVar(&var, mode); }

    static void fill()
    {
        for (int i = 0; i < 1024; ++i)
            ASSERT_EQ(i + 1, add(named(readVar("Tag"), 1, i)));
    }
};

// --- Resolution ---

TEST_F(TagResolution, ASingleValueIsOneElementFromZero)
{
    const RW_VAR var = resolved("Tag", text("7"), 5);
    EXPECT_EQ(0, var.startIndex);
    EXPECT_EQ(1, var.count);
    EXPECT_EQ(0, var.isArrayTag);
}

TEST_F(TagResolution, AnArrayKeepsItsIndexAndCount)
{
    makeAllTagsArrays();
    const RW_VAR var = resolved("Tag", text("7"), 5);
    EXPECT_EQ(7, var.startIndex);
    EXPECT_EQ(5, var.count);
    EXPECT_EQ(1, var.isArrayTag);
}

TEST_F(TagResolution, CountsOfArraysAreNotJudged)
{
    makeAllTagsArrays();
    for (int count : {0, -1, INT_MIN, INT_MAX})
        EXPECT_EQ(count, resolved("Tag", text("1"), count).count);
}

TEST_F(TagResolution, NoOtherFieldChanges)
{
    makeAllTagsArrays();
    RW_VAR var = named(writeVar("Tag", "01 02", 3, 4), 5, 6);
    var.indexText = text("7");
    var.hostWord3 = 8;
    var.deviceNo = 9;
    var.result = 10;
    var.dataKind = 11;
    updateRwVar(&var);
    EXPECT_EQ(text("Tag"), var.tagName);
    EXPECT_EQ(text("7"), var.indexText);
    EXPECT_EQ(4, var.station);
    EXPECT_EQ(5, var.hostArea);
    EXPECT_EQ(6, var.hostAddress);
    EXPECT_EQ(kAcceptWithoutStore, var.accessKind);
    EXPECT_EQ(8, var.hostWord3);
    EXPECT_EQ(9, var.deviceNo);
    EXPECT_EQ(10, var.result);
    EXPECT_EQ(11, var.dataKind);
    EXPECT_EQ(2, var.onceFlag);
    EXPECT_EQ(hex("01 02"), var.data);
}

TEST_F(TagResolution, IndexTextThatIsNoDecimalNumberIsIndexZero)
{
    makeAllTagsArrays();
    for (const char* junk : {"", " ", "abc", "7x", "x7", "0x10", "1.5", "1e3", "--1", "- 1", "1 2",
                             "2147483648", "-2147483649", "99999999999999999999"})
        EXPECT_EQ(0, resolved("Tag", text(junk), 1).startIndex) << '"' << junk << '"';
    EXPECT_EQ(0, resolved("Tag", QString(), 1).startIndex);
    EXPECT_EQ(0, resolved("Tag", QString(QChar(0)), 1).startIndex);
    EXPECT_EQ(0, resolved("Tag", QString(100000, QLatin1Char('9')), 1).startIndex);
}

TEST_F(TagResolution, IndexTextIsDecimalWithAnOptionalSign)
{
    makeAllTagsArrays();
    const struct {
        const char* text;
        int index;
    } cases[] = {{"0", 0},
                 {"7", 7},
                 {"010", 10},
                 {" 7 ", 7},
                 {"+7", 7},
                 {"-3", -3},
                 {"65536", 65536},
                 {"2147483647", INT_MAX},
                 {"-2147483648", INT_MIN}};
    for (const auto& c : cases)
        EXPECT_EQ(c.index, resolved("Tag", text(c.text), 1).startIndex) << '"' << c.text << '"';
}

TEST_F(TagResolution, AnUnknownStationGetsARecordAndAHeaderOfUnknownType)
{
    resolved("Tag", text("0"), 1, 6);
    ASSERT_TRUE(PLCDataStorage.contains(6));
    EXPECT_FALSE(PLCDataStorage[6].handshakeDone);
    EXPECT_EQ(0, PLCDataStorage[6].sequenceCount) << "a lookup's record, not the registry's";
    EXPECT_TRUE(PLCDataStorage[6].tagDataMap.isEmpty());
    EXPECT_EQ(1, PLCDataStorage[6].tagTypeMap.size());
    EXPECT_EQ(hex("FF 00 00 00"), typeHeader(6, "Tag"));
    EXPECT_EQ(1, PLCDataStorage.size());
}

TEST_F(TagResolution, AKnownStationKeepsItsSession)
{
    connectStation(6, "11 22 33 44", "AA BB CC DD", 9);
    setTypeHeader(6, "Other", "03 C3 00 FF");
    resolved("Tag", text("0"), 1, 6);
    EXPECT_TRUE(PLCDataStorage[6].handshakeDone);
    EXPECT_EQ(9, PLCDataStorage[6].sequenceCount);
    EXPECT_EQ(hex("03 C3 00 FF"), typeHeader(6, "Other"));
}

TEST_F(TagResolution, AHeaderIsWrittenUnlessItsFourthByteIsFF)
{
    const struct {
        const char* before;
        const char* after;
    } cases[] = {
        {"", "FF 00 00 00"},
        {"FF", "FF 00 00 00"},
        {"04 C4", "FF 00 00 00"},
        {"04 C4 FF", "FF 00 00 00"},
        {"04 C4 00 00", "FF 00 00 00"},
        {"04 C4 00 FE", "FF 00 00 00"},
        {"04 C4 00 00 55 66", "FF 00 00 00 55 66"},
        {"04 C4 00 00 FF", "FF 00 00 00 FF"},
        {"04 C4 00 FF", "04 C4 00 FF"},
        {"FF 00 00 FF", "FF 00 00 FF"},
        {"00 00 00 FF", "00 00 00 FF"},
        {"04 C4 00 FF 55", "04 C4 00 FF 55"},
    };
    for (const auto& c : cases) {
        setTypeHeader(0, "Tag", c.before);
        resolved("Tag", text("0"), 1);
        EXPECT_EQ(hex(c.after), typeHeader(0, "Tag")) << "from " << c.before;
    }
}

TEST_F(TagResolution, HeadersBelongToOneStationAndOneSpelling)
{
    setTypeHeader(1, "Tag", "04 C4 00 FF");
    resolved("Tag", text("0"), 1, 2);
    resolved("tag", text("0"), 1, 1);
    EXPECT_EQ(hex("04 C4 00 FF"), typeHeader(1, "Tag"));
    EXPECT_EQ(hex("FF 00 00 00"), typeHeader(2, "Tag"));
    EXPECT_EQ(hex("FF 00 00 00"), typeHeader(1, "tag"));
}

TEST_F(TagResolution, AResetStationsTagsAreUnknownAgain)
{
    connectStation(1);
    setTypeHeader(1, "Tag", "04 C4 00 FF");
    setHandshakeInformation(1, false);
    EXPECT_TRUE(typeHeader(1, "Tag").isEmpty());
    resolved("Tag", text("0"), 1, 1);
    EXPECT_EQ(hex("FF 00 00 00"), typeHeader(1, "Tag"));
}

TEST_F(TagResolution, NamesOutsideLatin1AreNamesLikeAnyOther)
{
    RW_VAR var = readVar("");
    const ushort characters[] = {0x6E29, 0x5EA6, 0xD83D, 0x0000, 0xFFFF};
    var.tagName = QString::fromUtf16(characters, 5);
    updateRwVar(&var);
    EXPECT_EQ(hex("FF 00 00 00"), PLCDataStorage[0].tagTypeMap.value(var.tagName));
    EXPECT_EQ(1, PLCDataStorage[0].tagTypeMap.size());
}

// --- Once-reads ---

TEST_F(OnceReadQueue, AVariableIsResolvedAndMarkedAsAOnceRead)
{
    makeAllTagsArrays();
    comInfo.multiStation = 1;
    RW_VAR var = named(readVar("Tag", 5, 3), 6, 7);
    var.indexText = text("4");
    var.accessKind = 8;
    var.dataKind = 9;
    EXPECT_EQ(1, add(var));
    const RW_VAR& queued = PLC_driver.onceReadQueue.value(0);
    EXPECT_EQ(1, queued.onceFlag);
    EXPECT_EQ(1, queued.isArrayTag);
    EXPECT_EQ(4, queued.startIndex);
    EXPECT_EQ(3, queued.count);
    EXPECT_EQ(5, queued.station);
    EXPECT_EQ(6, queued.hostArea);
    EXPECT_EQ(7, queued.hostAddress);
    EXPECT_EQ(8, queued.accessKind);
    EXPECT_EQ(9, queued.dataKind);
    EXPECT_EQ(hex("FF 00 00 00"), typeHeader(5, "Tag"));

    EXPECT_EQ(0, var.onceFlag) << "the host's own record stays as it was";
    EXPECT_EQ(0, var.startIndex);
}

TEST_F(OnceReadQueue, ASingleValueLosesItsArrayMark)
{
    RW_VAR var = arrayVar("Tag", 4, 3);
    add(var);
    EXPECT_EQ(0, PLC_driver.onceReadQueue.value(0).isArrayTag);
    EXPECT_EQ(0, PLC_driver.onceReadQueue.value(0).startIndex);
    EXPECT_EQ(1, PLC_driver.onceReadQueue.value(0).count);
}

TEST_F(OnceReadQueue, WithOneStationTheDefaultStationIsUsed)
{
    comInfo.defaultStation = 3;
    add(readVar("Tag", 5));
    EXPECT_EQ(3, PLC_driver.onceReadQueue.value(0).station);
    EXPECT_EQ(hex("FF 00 00 00"), typeHeader(3, "Tag"));
    EXPECT_FALSE(PLCDataStorage.contains(5));

    comInfo.multiStation = -1;
    add(readVar("Tag", 5));
    EXPECT_EQ(5, PLC_driver.onceReadQueue.value(1).station) << "any multiStation but 0";
}

TEST_F(OnceReadQueue, ModeOneAppendsTheVariableUnchanged)
{
    comInfo.defaultStation = 3;
    RW_VAR var = readVar("Tag", 5, 9);
    var.indexText = text("7");
    var.startIndex = 2;
    var.onceFlag = 4;
    EXPECT_EQ(1, add(var, 1));
    EXPECT_EQ(2, add(var, 1)) << "duplicates included";
    const RW_VAR& queued = PLC_driver.onceReadQueue.value(1);
    EXPECT_EQ(5, queued.station);
    EXPECT_EQ(9, queued.count);
    EXPECT_EQ(2, queued.startIndex);
    EXPECT_EQ(4, queued.onceFlag);
    EXPECT_TRUE(PLCDataStorage.isEmpty()) << "nothing is resolved";
}

TEST_F(OnceReadQueue, EveryOtherModeResolves)
{
    for (int mode : {0, 2, -1, INT_MIN, INT_MAX}) {
        PLC_driver.onceReadQueue.clear();
        EXPECT_EQ(1, add(readVar("Tag"), mode)) << "mode " << mode;
        EXPECT_EQ(1, PLC_driver.onceReadQueue.value(0).onceFlag) << "mode " << mode;
    }
}

TEST_F(OnceReadQueue, AnEqualOfTheEntryInServiceIsNotQueuedAgain)
{
    EXPECT_EQ(1, add(named(readVar("Tag"), 1, 2)));
    EXPECT_EQ(1, add(named(readVar("Tag"), 1, 2)));
    EXPECT_EQ(2, add(named(readVar("Tag"), 1, 3)));
    EXPECT_EQ(2, add(named(readVar("Tag"), 1, 2))) << "equal to the first";
    EXPECT_EQ(2, add(named(readVar("Tag"), 1, 3))) << "equal to the last";
    EXPECT_EQ(2, PLC_driver.onceReadQueue.size());
}

TEST_F(OnceReadQueue, EqualityIsJudgedAfterResolution)
{
    RW_VAR seven = named(readVar("Tag", 5, 3), 1, 2);
    seven.indexText = text("7");
    RW_VAR eight = named(readVar("Tag", 6, 4), 1, 2);
    eight.indexText = text("8");
    EXPECT_EQ(1, add(seven));
    EXPECT_EQ(1, add(eight)) << "both are one element from 0 of the default station";
}

TEST_F(OnceReadQueue, SixFieldsTellOnceReadsApart)
{
    makeAllTagsArrays();
    comInfo.multiStation = 1;
    const RW_VAR base = named(readVar("Tag", 1, 1), 1, 1);
    RW_VAR otherStation = base, otherKind = base, otherIndex = base, otherCount = base;
    otherStation.station = 2;
    otherKind.dataKind = 2;
    otherIndex.indexText = text("2");
    otherCount.count = 2;
    EXPECT_EQ(1, add(base));
    EXPECT_EQ(2, add(named(base, 2, 1)));
    EXPECT_EQ(3, add(named(base, 1, 2)));
    EXPECT_EQ(4, add(otherStation));
    EXPECT_EQ(5, add(otherKind));
    EXPECT_EQ(6, add(otherIndex));
    EXPECT_EQ(7, add(otherCount));
    for (const RW_VAR& again : {base, otherStation, otherKind, otherIndex, otherCount})
        EXPECT_EQ(7, add(again));
}

TEST_F(OnceReadQueue, ADuplicateIsDroppedAndRefreshesNothing)
{
    RW_VAR first = readVar("First");
    first.hostWord3 = 1;
    RW_VAR second = readVar("Second");
    second.hostWord3 = 2;
    EXPECT_EQ(1, add(first));
    EXPECT_EQ(1, add(second)) << "the tag name is not compared";
    EXPECT_EQ(text("First"), PLC_driver.onceReadQueue.value(0).tagName);
    EXPECT_EQ(1, PLC_driver.onceReadQueue.value(0).hostWord3);
}

TEST_F(OnceReadQueue, With1024PendingANewOneIsDropped)
{
    fill();
    EXPECT_EQ(1024, add(named(readVar("Tag"), 2, 0)));
    EXPECT_EQ(1023, PLC_driver.onceReadQueue.last().hostAddress);
    EXPECT_EQ(1024, PLC_driver.onceReadQueue.size());
}

TEST_F(OnceReadQueue, With1023PendingOneMoreIsTaken)
{
    fill();
    PLC_driver.onceReadQueue.removeLast();
    EXPECT_EQ(1024, add(named(readVar("Tag"), 2, 0)));
    EXPECT_EQ(2, PLC_driver.onceReadQueue.last().hostArea);
}

TEST_F(OnceReadQueue, ModeOneHasNoLimit)
{
    fill();
    EXPECT_EQ(1025, add(named(readVar("Tag"), 1, 0), 1));
}

TEST_F(OnceReadQueue, ANullVariableIsNotQueued)
{
    add(readVar("Tag"));
    EXPECT_EQ(1, AddListOnceReadVar(nullptr, 0));
    EXPECT_EQ(1, AddListOnceReadVar(nullptr, 1));
    EXPECT_EQ(1, PLC_driver.onceReadQueue.size());
}

TEST_F(OnceReadQueue, QueuingTakesTheQueueLock)
{
    const RW_VAR var = named(readVar("Tag"), 1, 2);
    EXPECT_TRUE(waitsFor(PLC_driver.queueMutex, [&] { AddListOnceReadVar(&var, 1); }));
    EXPECT_TRUE(waitsFor(PLC_driver.queueMutex, [&] { AddListOnceReadVar(&var, 0); }));
}

TEST_F(OnceReadQueue, ResolvingTakesTheStoreLock)
{
    const RW_VAR var = readVar("Tag");
    EXPECT_TRUE(waitsFor(stationStoreMutex, [&] { AddListOnceReadVar(&var, 0); }));
}

} // namespace
