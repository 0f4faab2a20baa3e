// The plan of the cyclic reads: sorted, merged, cut into reads of at most 15 elements.

#include "Func_Initi.h"
#include "bounds.h"
#include "driver_fixture.h"
#include "waiting.h"

#include <climits>

namespace {

using Range = QPair<int, int>;
using Ranges = QList<Range>;

RW_VAR range(int startIndex, int count)
{
    return arrayVar("Arr", startIndex, count);
}

std::string listed(const Ranges& list)
{
    std::string result;
    for (const Range& entry : list)
        result += "(" + std::to_string(entry.first) + "," + std::to_string(entry.second) + ")";
    return result;
}

class Sorting : public DriverTest {
protected:
    static std::string sorted(const Ranges& entries)
    {
        QList<RW_VAR> list;
        for (const Range& entry : entries)
            list.append(range(entry.first, entry.second));
        Bubble_Sort(list);
        return listed(ranges(list));
    }
};

class Merging : public DriverTest {
protected:
    static std::string merged(const Ranges& entries, int chunk = 15)
    {
        PLC_driver.readList.clear();
        QList<RW_VAR> group;
        for (const Range& entry : entries)
            group.append(range(entry.first, entry.second));
        BitVarReCreat(group, chunk);
        return listed(ranges(PLC_driver.readList));
    }
};

class Cutting : public DriverTest {};

class Rebuild : public DriverTest {
protected:
    /// Hands the records in; the list returned must be as long as the driver says.
    static int rebuild(QList<ADDRESS_RECORD> records)
    {
        QList<ADDRESS_RECORD*> list;
        for (ADDRESS_RECORD& record : records)
            list.append(&record);
        const int size = ReCreatReadVarList(&list);
        EXPECT_EQ(PLC_driver.readList.size(), size);
        return size;
    }

    static std::string planned()
    {
        std::string result;
        for (const RW_VAR& var : PLC_driver.readList)
            result += var.tagName.toStdString() + listed(ranges(QList<RW_VAR>() << var));
        return result;
    }
};

// --- Sorting ---

TEST_F(Sorting, OrdersByFirstElement)
{
    EXPECT_EQ("", sorted({}));
    EXPECT_EQ("(9,1)", sorted({{9, 1}}));
    EXPECT_EQ("(1,1)(2,1)", sorted({{2, 1}, {1, 1}}));
    EXPECT_EQ("(-3,1)(0,1)(2,1)(7,1)(9,1)", sorted({{9, 1}, {2, 1}, {7, 1}, {-3, 1}, {0, 1}}));
    EXPECT_EQ("(-2147483648,1)(0,1)(2147483647,1)", sorted({{INT_MAX, 1}, {INT_MIN, 1}, {0, 1}}));
}

TEST_F(Sorting, EntriesWithEqualFirstElementKeepTheirOrder)
{
    EXPECT_EQ("(1,9)(4,3)(4,1)(4,2)(8,7)", sorted({{4, 3}, {8, 7}, {4, 1}, {1, 9}, {4, 2}}));
}

// --- Cutting ---

TEST_F(Cutting, WholeChunksGoToTheListAndTheRestStays)
{
    RW_VAR var = range(3, 35);
    addressAdd(var, 15, false);
    EXPECT_EQ("(3,15)(18,15)", listed(ranges(PLC_driver.readList)));
    EXPECT_EQ(33, var.startIndex);
    EXPECT_EQ(5, var.count);
    addressAdd(var, 15, true);
    EXPECT_EQ("(3,15)(18,15)(33,5)", listed(ranges(PLC_driver.readList)));
    EXPECT_EQ(5, var.count) << "emitting the rest does not consume it";
}

TEST_F(Cutting, AnExactMultipleLeavesNoRest)
{
    RW_VAR var = range(0, 30);
    addressAdd(var, 15, true);
    EXPECT_EQ("(0,15)(15,15)", listed(ranges(PLC_driver.readList)));
    EXPECT_EQ(30, var.startIndex);
    EXPECT_EQ(0, var.count);
}

TEST_F(Cutting, CountsBelowOneAreNeverEmitted)
{
    for (int count : {0, -1, -15, INT_MIN}) {
        RW_VAR var = range(4, count);
        addressAdd(var, 15, true);
        EXPECT_TRUE(PLC_driver.readList.isEmpty()) << count;
        EXPECT_EQ(count, var.count);
    }
}

TEST_F(Cutting, PiecesKeepEveryOtherField)
{
    RW_VAR var = named(range(0, 20), 6, 7);
    var.station = 3;
    var.dataKind = 8;
    var.hostWord3 = 9;
    var.deviceNo = 10;
    addressAdd(var, 15, true);
    ASSERT_EQ(2, PLC_driver.readList.size());
    for (const RW_VAR& piece : PLC_driver.readList) {
        EXPECT_EQ(text("Arr"), piece.tagName);
        EXPECT_EQ(text("0"), piece.indexText);
        EXPECT_EQ(6, piece.hostArea);
        EXPECT_EQ(7, piece.hostAddress);
        EXPECT_EQ(3, piece.station);
        EXPECT_EQ(8, piece.dataKind);
        EXPECT_EQ(9, piece.hostWord3);
        EXPECT_EQ(10, piece.deviceNo);
        EXPECT_EQ(1, piece.isArrayTag);
    }
}

// --- Merging ---

TEST_F(Merging, NothingYieldsNothing)
{
    EXPECT_EQ("", merged({}));
}

TEST_F(Merging, ALongFirstEntryIsCut)
{
    EXPECT_EQ("(0,1)", merged({{0, 1}}));
    EXPECT_EQ("(0,15)", merged({{0, 15}}));
    EXPECT_EQ("(0,15)(15,1)", merged({{0, 16}}));
    EXPECT_EQ("(0,15)(15,15)(30,10)", merged({{0, 40}}));
}

TEST_F(Merging, ALongLaterEntryIsCutToo)
{
    EXPECT_EQ("(0,2)(100,15)(115,15)(130,10)", merged({{0, 2}, {100, 40}}));
}

TEST_F(Merging, TouchingAndOverlappingEntriesBecomeOne)
{
    EXPECT_EQ("(0,4)", merged({{0, 2}, {2, 2}}));
    EXPECT_EQ("(0,5)", merged({{0, 4}, {2, 3}}));
    EXPECT_EQ("(0,15)(15,15)", merged({{0, 10}, {10, 10}, {20, 10}}));
    EXPECT_EQ("(0,15)(15,2)", merged({{0, 16}, {16, 1}}));
    EXPECT_EQ("(0,15)(15,7)", merged({{0, 20}, {18, 4}}));
}

TEST_F(Merging, AnEntryWithinOneChunkOfTheStartIsTakenInAcrossTheGap)
{
    EXPECT_EQ("(0,12)", merged({{0, 2}, {10, 2}}));
    EXPECT_EQ("(0,15)(15,2)", merged({{0, 2}, {15, 2}})) << "15 is the last that merges";
    EXPECT_EQ("(0,2)(16,2)", merged({{0, 2}, {16, 2}}));
    EXPECT_EQ("(100,2)(116,2)", merged({{100, 2}, {116, 2}}));
    EXPECT_EQ("(100,15)(115,2)", merged({{100, 2}, {115, 2}}));
}

TEST_F(Merging, TheChunkIsMeasuredFromTheStartOfTheMergedEntry)
{
    EXPECT_EQ("(0,15)(15,1)(30,1)", merged({{0, 14}, {14, 2}, {30, 1}}));
    EXPECT_EQ("(0,12)(16,2)", merged({{0, 2}, {10, 2}, {16, 2}}));
    EXPECT_EQ("(0,11)(16,10)", merged({{0, 1}, {10, 1}, {16, 1}, {25, 1}}));
}

TEST_F(Merging, AnEntryThatEndsInsideItsPredecessorShortensIt)
{
    EXPECT_EQ("(0,3)", merged({{0, 10}, {2, 1}}));
    EXPECT_EQ("(0,2)(100,6)", merged({{0, 2}, {100, 40}, {105, 1}}));
    EXPECT_EQ("(0,4)", merged({{0, 10}, {2, 1}, {3, 1}}));
}

TEST_F(Merging, AFirstEntryOfWholeChunksLeavesNothingToMergeWith)
{
    EXPECT_EQ("(0,15)(15,5)", merged({{0, 15}, {15, 5}}));
    EXPECT_EQ("(0,15)(3,2)", merged({{0, 15}, {3, 2}}));
    EXPECT_EQ("(0,15)(0,15)", merged({{0, 15}, {0, 15}}));
}

TEST_F(Merging, AnEntryInsideTheChunksAlreadyCutTakesTheRestAway)
{
    // The rest (15,5) is shortened by (5,2) to -8 elements.
    EXPECT_EQ("(0,15)", merged({{0, 20}, {5, 2}}));
    EXPECT_EQ("(0,15)(15,15)(30,2)", merged({{0, 20}, {5, 2}, {30, 2}}));
    EXPECT_EQ("(0,15)(31,2)", merged({{0, 20}, {5, 2}, {31, 2}}));
}

TEST_F(Merging, EqualEntriesBecomeOne)
{
    EXPECT_EQ("(4,3)", merged({{4, 3}, {4, 3}}));
    EXPECT_EQ("(4,3)", merged({{4, 3}, {4, 3}, {4, 3}}));
    EXPECT_EQ("(0,15)(15,5)", merged({{0, 20}, {0, 20}}));
}

TEST_F(Merging, CountsOfZeroFollowTheArithmetic)
{
    EXPECT_EQ("", merged({{5, 0}}));
    EXPECT_EQ("(7,3)", merged({{5, 0}, {7, 3}})) << "an entry of 0 is replaced by its successor";
    EXPECT_EQ("(0,2)", merged({{0, 2}, {2, 0}}));
    EXPECT_EQ("(0,1)", merged({{0, 2}, {1, 0}}));
    EXPECT_EQ("(0,10)", merged({{0, 3}, {10, 0}}));
    EXPECT_EQ("", merged({{0, 2}, {0, 0}}));
    EXPECT_EQ("(4,1)", merged({{0, 2}, {0, 0}, {4, 1}}));
    EXPECT_EQ("(0,2)", merged({{0, 2}, {40, 0}}));
}

TEST_F(Merging, NegativeCountsFollowTheArithmetic)
{
    EXPECT_EQ("", merged({{3, -2}}));
    EXPECT_EQ("(3,8)", merged({{3, -2}, {10, 1}}));
    EXPECT_EQ("(19,1)", merged({{3, -2}, {19, 1}}));
    EXPECT_EQ("(0,1)", merged({{0, 5}, {2, -1}}));
    EXPECT_EQ("", merged({{0, 5}, {2, -4}}));
}

TEST_F(Merging, NegativeFirstElementsFollowTheArithmetic)
{
    EXPECT_EQ("(-5,11)", merged({{-5, 10}, {5, 1}}));
    EXPECT_EQ("(-20,1)(-4,2)", merged({{-20, 1}, {-4, 2}}));
    EXPECT_EQ("(-20,15)(-5,2)", merged({{-20, 1}, {-5, 2}}));
}

TEST_F(Merging, AnotherChunkSizeCutsAndMergesByThatSize)
{
    EXPECT_EQ("(0,4)(4,4)(8,2)", merged({{0, 10}}, 4));
    EXPECT_EQ("(0,4)(4,1)", merged({{0, 1}, {4, 1}}, 4));
    EXPECT_EQ("(0,1)(5,1)", merged({{0, 1}, {5, 1}}, 4));
}

// --- The whole rebuild ---

TEST_F(Rebuild, AnEmptyOrMissingListEmptiesThePlanAndReturnsZero)
{
    const RW_VAR old = readVar("Old");
    AddListReadVar(&old);
    comInfo.scanDone = 1;
    PLC_driver.scanPosition = 3;
    EXPECT_EQ(0, rebuild({}));
    EXPECT_TRUE(PLC_driver.readList.isEmpty());
    EXPECT_EQ(1, comInfo.scanDone) << "the scan is not restarted";
    EXPECT_EQ(3, PLC_driver.scanPosition);

    AddListReadVar(&old);
    EXPECT_EQ(0, ReCreatReadVarList(nullptr));
    EXPECT_TRUE(PLC_driver.readList.isEmpty());
}

TEST_F(Rebuild, FortyElementsBecomeThreeReads)
{
    makeAllTagsArrays();
    EXPECT_EQ(3, rebuild({address("Arr", "0", 40)}));
    EXPECT_EQ("Arr(0,15)Arr(15,15)Arr(30,10)", planned());
}

TEST_F(Rebuild, NeighboursWithinFifteenElementsMerge)
{
    makeAllTagsArrays();
    EXPECT_EQ(1, rebuild({address("Arr", "0", 2), address("Arr", "10", 2)}));
    EXPECT_EQ("Arr(0,12)", planned());
    EXPECT_EQ(2, rebuild({address("Arr", "0", 2), address("Arr", "16", 2)}));
    EXPECT_EQ("Arr(0,2)Arr(16,2)", planned());
}

TEST_F(Rebuild, AnEntryInsideAnotherShortensIt)
{
    makeAllTagsArrays();
    EXPECT_EQ(1, rebuild({address("Arr", "0", 10), address("Arr", "2", 1)}));
    EXPECT_EQ("Arr(0,3)", planned());
}

TEST_F(Rebuild, TheSameRecordTwiceYieldsOneEntry)
{
    makeAllTagsArrays();
    EXPECT_EQ(1, rebuild({address("Arr", "3", 4), address("Arr", "3", 4)}));
    EXPECT_EQ("Arr(3,4)", planned());
    plcAddList.clear();
    EXPECT_EQ(1, rebuild({address("Single", "", 1), address("Single", "", 1)}));
    EXPECT_EQ("Single(0,1)", planned());
}

TEST_F(Rebuild, RecordsAreSortedByElementWhateverTheirOrder)
{
    makeAllTagsArrays();
    rebuild({address("Arr", "60", 1), address("Arr", "0", 1), address("Arr", "30", 1)});
    EXPECT_EQ("Arr(0,1)Arr(30,1)Arr(60,1)", planned());
}

TEST_F(Rebuild, RecordsOfTwoTagsAreNeverMerged)
{
    makeAllTagsArrays();
    EXPECT_EQ(2, rebuild({address("B", "0", 2), address("A", "2", 2)}));
    EXPECT_EQ("A(2,2)B(0,2)", planned());
}

TEST_F(Rebuild, TagsStandInTheOrderOfTheirCharacterCodes)
{
    rebuild({address("b", "", 1), address("B", "", 1), address("a10", "", 1), address("a", "", 1),
             address("a9", "", 1), address("_z", "", 1), address("", "", 1)});
    EXPECT_EQ("(0,1)B(0,1)_z(0,1)a(0,1)a10(0,1)a9(0,1)b(0,1)", planned());
}

TEST_F(Rebuild, TheSameTagOnTwoStationsIsNeverMerged)
{
    makeAllTagsArrays();
    comInfo.defaultStation = 2;
    EXPECT_EQ(1, rebuild({address("Arr", "0", 2)}));
    EXPECT_EQ(2, PLC_driver.readList.value(0).station);
    const RW_VAR otherStation = arrayVar("Arr", 2, 2, 1);
    EXPECT_EQ(2, AddListReadVar(&otherStation));
    EXPECT_EQ("Arr(0,2)Arr(2,2)", planned());
    EXPECT_EQ(2, PLC_driver.readList.value(0).station);
    EXPECT_EQ(1, PLC_driver.readList.value(1).station);

    comInfo.defaultStation = 1;
    EXPECT_EQ(1, rebuild({address("Arr", "2", 2)}));
    EXPECT_EQ("Arr(2,2)", planned());
    EXPECT_EQ(1, PLC_driver.readList.value(0).station);
    EXPECT_TRUE(PLCDataStorage.contains(1));
    EXPECT_TRUE(PLCDataStorage.contains(2));
}

TEST_F(Rebuild, ASingleValueIsOneElementFromZeroWhateverTheRecordSays)
{
    passNames(QList<varName>() << knownTag("Other", 1));
    EXPECT_EQ(1, rebuild({address("Single", "7", 40), address("Single", "90", 3)}));
    EXPECT_EQ("Single(0,1)", planned());
    EXPECT_EQ(0, PLC_driver.readList.value(0).isArrayTag);
}

TEST_F(Rebuild, EntriesCarryTheHostsSettingsAndStoreWhatIsRead)
{
    makeAllTagsArrays();
    comInfo.remoteMode = 31;
    comInfo.localDeviceNo = 32;
    comInfo.defaultStation = 33;
    comInfo.multiStation = 1;
    rebuild({address("Arr", " 4", 2, 255)});
    ASSERT_EQ(1, PLC_driver.readList.size());
    const RW_VAR& entry = PLC_driver.readList.value(0);
    EXPECT_EQ(0, entry.hostArea);
    EXPECT_EQ(-1, entry.hostAddress);
    EXPECT_EQ(kStoreReply, entry.accessKind);
    EXPECT_EQ(31, entry.hostWord3);
    EXPECT_EQ(32, entry.deviceNo);
    EXPECT_EQ(0, entry.result);
    EXPECT_EQ(text("Arr"), entry.tagName);
    EXPECT_EQ(text(" 4"), entry.indexText);
    EXPECT_EQ(255, entry.dataKind);
    EXPECT_EQ(4, entry.startIndex);
    EXPECT_EQ(33, entry.station);
    EXPECT_EQ(2, entry.count);
    EXPECT_EQ(1, entry.isArrayTag);
    EXPECT_EQ(0, entry.onceFlag);
    EXPECT_TRUE(entry.data.isEmpty());
}

TEST_F(Rebuild, EachTagGetsAHeaderOfUnknownType)
{
    comInfo.defaultStation = 4;
    rebuild({address("A", "", 1), address("B", "", 1)});
    EXPECT_EQ(hex("FF 00 00 00"), typeHeader(4, "A"));
    EXPECT_EQ(hex("FF 00 00 00"), typeHeader(4, "B"));
}

TEST_F(Rebuild, TheScanStartsAnew)
{
    comInfo.scanDone = 1;
    PLC_driver.scanPosition = 3;
    const RW_VAR old = readVar("Old");
    AddListReadVar(&old);
    rebuild({address("New", "", 1)});
    EXPECT_EQ("New(0,1)", planned());
    EXPECT_EQ(0, comInfo.scanDone);
    EXPECT_EQ(0, PLC_driver.scanPosition);
}

TEST_F(Rebuild, RecordsOfNoElementsLeaveNothingToRead)
{
    makeAllTagsArrays();
    EXPECT_EQ(0, rebuild({address("Arr", "0", 0), address("Neg", "0", -3)}));
    EXPECT_EQ(0, rebuild({address("Neg", "5", INT_MIN)}));
}

TEST_F(Rebuild, NullRecordsArePassedOver)
{
    ADDRESS_RECORD record = address("Tag", "", 1);
    QList<ADDRESS_RECORD*> list;
    list << nullptr << &record << nullptr;
    EXPECT_EQ(1, ReCreatReadVarList(&list));
    EXPECT_EQ("Tag(0,1)", planned());

    list.clear();
    list << nullptr;
    EXPECT_EQ(0, ReCreatReadVarList(&list));
    EXPECT_TRUE(PLC_driver.readList.isEmpty());
}

TEST_F(Rebuild, AWildCountStaysWithinTheBound)
{
    makeAllTagsArrays();
    for (const char* index : {"0", "2147483647", "-2147483648", "2147483640"}) {
        const int size = rebuild({address("Arr", index, INT_MAX), address("Other", "0", 2)});
        EXPECT_LE(size, kMaxReadListEntries) << index;
    }
}

TEST_F(Rebuild, SeveralWildCountsStayWithinTheBoundTogether)
{
    makeAllTagsArrays();
    QList<ADDRESS_RECORD> records;
    for (char name = 'A'; name <= 'Z'; ++name) {
        const char tag[] = {name, '\0'};
        records << address(tag, "0", INT_MAX) << address(tag, "2147483647", INT_MAX)
                << address(tag, "-2147483648", INT_MIN) << address(tag, "5", INT_MIN);
    }
    EXPECT_LE(rebuild(records), kMaxReadListEntries);
}

TEST_F(Rebuild, ExactlyTheBoundIsStillPlannedInFull)
{
    makeAllTagsArrays();
    EXPECT_EQ(kMaxReadListEntries, rebuild({address("Arr", "0", 15 * kMaxReadListEntries)}));
    EXPECT_EQ(15 * (kMaxReadListEntries - 1), PLC_driver.readList.last().startIndex);
    EXPECT_EQ(15, PLC_driver.readList.last().count);
}

TEST_F(Rebuild, WildIndexesOfOneTagDoNotCrashTheMerge)
{
    makeAllTagsArrays();
    rebuild({address("Arr", "2147483647", 2), address("Arr", "-2147483648", 2),
             address("Arr", "2147483647", INT_MIN), address("Arr", "-2147483648", INT_MIN),
             address("Arr", "0", -1)});
    EXPECT_LE(PLC_driver.readList.size(), kMaxReadListEntries);
}

TEST_F(Rebuild, TheWholeRebuildHoldsTheQueueLock)
{
    ADDRESS_RECORD record = address("Tag", "", 1);
    QList<ADDRESS_RECORD*> list;
    list << &record;
    EXPECT_TRUE(waitsFor(PLC_driver.queueMutex, [&] { ReCreatReadVarList(&list); }));
    EXPECT_EQ(1, PLC_driver.readList.size());
}

} // namespace
