// The host's lists: cyclic reads, writes and tag names.

#include "Func_Initi.h"
#include "bounds.h"
#include "driver_fixture.h"
#include "waiting.h"

#include <climits>

namespace {

class CyclicList : public DriverTest {};
class TagNames : public DriverTest {};

class WriteQueue : public DriverTest {
protected:
    static int add(const RW_VAR& var, int mode = 0) { return AddListWriteVar(&var, mode); }

    /// The values that wait, front first.
    static QList<QByteArray> values()
    {
        QList<QByteArray> result;
        for (const RW_VAR& var : PLC_driver.writeQueue)
            result.append(var.data);
        return result;
    }

    /// Writes to 1024 different elements.
    static void fill()
    {
        for (int i = 0; i < 1024; ++i)
            ASSERT_EQ(i + 1, add(elementWrite(i, "00 00")));
    }

    static RW_VAR elementWrite(int startIndex, const char* dataHex)
    {
        RW_VAR var = writeVar("Arr", dataHex);
        var.isArrayTag = 1;
        var.startIndex = startIndex;
        return var;
    }
};

/// Every field set to a value of its own.
RW_VAR distinctVar()
{
    RW_VAR var;
    var.hostArea = 1;
    var.hostAddress = 2;
    var.accessKind = 3;
    var.hostWord3 = 4;
    var.deviceNo = 5;
    var.result = 6;
    var.tagName = text("Tag7");
    var.indexText = text("8");
    var.dataKind = 9;
    var.startIndex = 10;
    var.station = 11;
    var.count = 12;
    var.isArrayTag = 13;
    var.onceFlag = 14;
    var.data = hex("0F 10");
    return var;
}

void expectSameButData(const RW_VAR& expected, const RW_VAR& actual)
{
    EXPECT_EQ(expected.hostArea, actual.hostArea);
    EXPECT_EQ(expected.hostAddress, actual.hostAddress);
    EXPECT_EQ(expected.accessKind, actual.accessKind);
    EXPECT_EQ(expected.hostWord3, actual.hostWord3);
    EXPECT_EQ(expected.deviceNo, actual.deviceNo);
    EXPECT_EQ(expected.result, actual.result);
    EXPECT_EQ(expected.tagName, actual.tagName);
    EXPECT_EQ(expected.indexText, actual.indexText);
    EXPECT_EQ(expected.dataKind, actual.dataKind);
    EXPECT_EQ(expected.startIndex, actual.startIndex);
    EXPECT_EQ(expected.station, actual.station);
    EXPECT_EQ(expected.count, actual.count);
    EXPECT_EQ(expected.isArrayTag, actual.isArrayTag);
    EXPECT_EQ(expected.onceFlag, actual.onceFlag);
}

// --- Cyclic reads ---

TEST_F(CyclicList, EachVariableIsAppendedAsItStandsAndTheNewLengthReturned)
{
    const RW_VAR var = distinctVar();
    EXPECT_EQ(1, AddListReadVar(&var));
    EXPECT_EQ(2, AddListReadVar(&var)) << "equal ones are not merged";
    ASSERT_EQ(2, PLC_driver.readList.size());
    expectSameButData(var, PLC_driver.readList.value(1));
    EXPECT_EQ(var.data, PLC_driver.readList.value(1).data);
    EXPECT_TRUE(PLCDataStorage.isEmpty()) << "nothing is resolved";
}

TEST_F(CyclicList, TheDriverKeepsItsOwnCopy)
{
    RW_VAR var = distinctVar();
    AddListReadVar(&var);
    var.tagName[0] = QLatin1Char('X');
    var.data[0] = 0x55;
    var.count = 99;
    EXPECT_EQ(text("Tag7"), PLC_driver.readList.value(0).tagName);
    EXPECT_EQ(hex("0F 10"), PLC_driver.readList.value(0).data);
    EXPECT_EQ(12, PLC_driver.readList.value(0).count);
}

TEST_F(CyclicList, ANullVariableIsNotAppended)
{
    const RW_VAR var = distinctVar();
    AddListReadVar(&var);
    EXPECT_EQ(1, AddListReadVar(nullptr));
    EXPECT_EQ(1, PLC_driver.readList.size());
}

// --- Writes ---

TEST_F(WriteQueue, ASecondWriteToTheVariableInServiceIsAppendedAndAThirdReplacesTheSecond)
{
    EXPECT_EQ(1, add(writeVar("Tag", "01 00")));
    EXPECT_EQ(2, add(writeVar("Tag", "02 00")));
    EXPECT_EQ(2, add(writeVar("Tag", "03 00")));
    EXPECT_EQ(QList<QByteArray>() << hex("01 00") << hex("03 00"), values());
}

TEST_F(WriteQueue, AReplacementOverwritesEveryField)
{
    RW_VAR first = distinctVar();
    add(first);
    add(first);
    RW_VAR newer;
    newer.station = first.station;
    newer.dataKind = first.dataKind;
    newer.startIndex = first.startIndex;
    newer.count = first.count;
    newer.hostArea = 101;
    newer.hostAddress = 102;
    newer.accessKind = 103;
    newer.hostWord3 = 104;
    newer.deviceNo = 105;
    newer.result = 106;
    newer.tagName = text("Other");
    newer.indexText = text("108");
    newer.isArrayTag = 113;
    newer.onceFlag = 114;
    newer.data = hex("73");
    EXPECT_EQ(2, add(newer));
    expectSameButData(newer, PLC_driver.writeQueue.value(1));
    EXPECT_EQ(hex("73"), PLC_driver.writeQueue.value(1).data);
    expectSameButData(first, PLC_driver.writeQueue.value(0));
}

TEST_F(WriteQueue, StationDataKindFirstElementAndCountTellWaitingWritesApart)
{
    const RW_VAR base = writeVar("Tag", "01 00");
    RW_VAR otherStation = base;
    otherStation.station = 1;
    RW_VAR otherKind = base;
    otherKind.dataKind = 1;
    RW_VAR otherStart = base;
    otherStart.startIndex = 1;
    RW_VAR otherCount = base;
    otherCount.count = 2;
    add(base);
    add(base);
    EXPECT_EQ(3, add(otherStation));
    EXPECT_EQ(4, add(otherKind));
    EXPECT_EQ(5, add(otherStart));
    EXPECT_EQ(6, add(otherCount));
    for (const RW_VAR& again : {otherCount, otherStart, otherKind, otherStation, base})
        EXPECT_EQ(6, add(again));
}

TEST_F(WriteQueue, TheTagNameDoesNotTellWaitingWritesApart)
{
    add(writeVar("First", "01 00"));
    add(writeVar("Second", "02 00"));
    EXPECT_EQ(2, add(writeVar("Third", "03 00")));
    EXPECT_EQ(text("Third"), PLC_driver.writeQueue.value(1).tagName);
}

TEST_F(WriteQueue, OnlyTheFirstOfSeveralEqualWaitingWritesIsReplaced)
{
    add(writeVar("Tag", "01 00"), 1);
    add(writeVar("Tag", "02 00"), 1);
    add(writeVar("Tag", "03 00"), 1);
    EXPECT_EQ(3, add(writeVar("Tag", "04 00")));
    EXPECT_EQ(QList<QByteArray>() << hex("01 00") << hex("04 00") << hex("03 00"), values());
}

TEST_F(WriteQueue, ModeOneAlwaysAppends)
{
    for (int i = 1; i <= 4; ++i)
        EXPECT_EQ(i, add(writeVar("Tag", "01 00"), 1));
}

TEST_F(WriteQueue, EveryOtherModeReplaces)
{
    add(writeVar("Tag", "01 00"));
    add(writeVar("Tag", "02 00"));
    for (int mode : {0, 2, -1, INT_MIN, INT_MAX})
        EXPECT_EQ(2, add(writeVar("Tag", "03 00"), mode)) << "mode " << mode;
}

TEST_F(WriteQueue, With1024PendingANewVariableIsDroppedAndAPendingOneStillReplaced)
{
    fill();
    EXPECT_EQ(1024, add(elementWrite(5000, "77 77")));
    EXPECT_EQ(1023, PLC_driver.writeQueue.last().startIndex);

    EXPECT_EQ(1024, add(elementWrite(700, "88 88")));
    EXPECT_EQ(hex("88 88"), PLC_driver.writeQueue.value(700).data);
    EXPECT_EQ(1024, add(elementWrite(1023, "99 99")));
    EXPECT_EQ(hex("99 99"), PLC_driver.writeQueue.value(1023).data);
    EXPECT_EQ(1024, PLC_driver.writeQueue.size());
}

TEST_F(WriteQueue, With1024PendingAWriteToTheVariableInServiceIsDropped)
{
    fill();
    EXPECT_EQ(1024, add(elementWrite(0, "77 77")));
    EXPECT_EQ(hex("00 00"), PLC_driver.writeQueue.value(0).data);
    EXPECT_EQ(1024, PLC_driver.writeQueue.size());
}

TEST_F(WriteQueue, With1023PendingOneMoreIsTaken)
{
    fill();
    PLC_driver.writeQueue.removeLast();
    EXPECT_EQ(1024, add(elementWrite(5000, "77 77")));
    EXPECT_EQ(5000, PLC_driver.writeQueue.last().startIndex);
}

TEST_F(WriteQueue, ModeOneHasNoLimit)
{
    fill();
    EXPECT_EQ(1025, add(elementWrite(0, "77 77"), 1));
}

TEST_F(WriteQueue, ANullVariableIsNotQueued)
{
    add(writeVar("Tag", "01 00"));
    EXPECT_EQ(1, AddListWriteVar(nullptr, 0));
    EXPECT_EQ(1, AddListWriteVar(nullptr, 1));
    EXPECT_EQ(1, PLC_driver.writeQueue.size());
}

TEST_F(WriteQueue, QueuingTakesTheQueueLock)
{
    const RW_VAR var = writeVar("Tag", "01 00");
    EXPECT_TRUE(waitsFor(PLC_driver.queueMutex, [&] { AddListWriteVar(&var, 0); }));
    EXPECT_TRUE(waitsFor(PLC_driver.queueMutex, [&] { AddListWriteVar(&var, 1); }));
    EXPECT_EQ(2, PLC_driver.writeQueue.size());
}

// --- Tag names ---

TEST_F(TagNames, AnotherListReplacesTheNamesWhole)
{
    passNames(QList<varName>() << knownTag("A", 1) << knownTag("B", 2));
    passNames(QList<varName>() << knownTag("C", 2));
    ASSERT_EQ(1, plcAddList.size());
    EXPECT_EQ(text("C"), plcAddList.value(0).name);
    EXPECT_EQ(2, plcAddList.value(0).kind);
}

TEST_F(TagNames, NullAndEmptyListsChangeNothing)
{
    passNames(QList<varName>() << knownTag("A", 1));
    PassVarName(nullptr);
    passNames(QList<varName>());
    ASSERT_EQ(1, plcAddList.size());
    EXPECT_EQ(text("A"), plcAddList.value(0).name);
}

TEST_F(TagNames, TheHostsWordsAreCarriedAndTheListIsTheDriversOwn)
{
    varName tag = knownTag("A", 2);
    tag.hostWord = 42;
    tag.elements << text("x") << text("y");
    QList<varName> names;
    names << tag;
    passNames(names);
    names[0].kind = 1;
    names.append(tag);
    ASSERT_EQ(1, plcAddList.size());
    EXPECT_EQ(2, plcAddList.value(0).kind);
    EXPECT_EQ(42, plcAddList.value(0).hostWord);
    EXPECT_EQ(QStringList() << text("x") << text("y"), plcAddList.value(0).elements);
}

struct NameCase {
    const char* what;
    QList<varName> names;
    const char* asked;
    int answer;
};

TEST_F(TagNames, TheFirstEntryOfAnotherNameDecides)
{
    const varName a1 = knownTag("A", 1), a2 = knownTag("A", 2), b1 = knownTag("B", 1),
                  b2 = knownTag("B", 2), c2 = knownTag("C", 2);
    const NameCase cases[] = {
        {"no names", {}, "A", 0},
        {"B after A", {a1, b2}, "A", 1},
        {"B alone", {b2}, "A", 1},
        {"A alone", {a2}, "A", 0},
        {"A several times", {a2, a2, a2}, "A", 0},
        {"B of another kind", {b1}, "A", 0},
        {"only the first other name counts", {a2, b1, c2}, "A", 0},
        {"only the first other name counts", {b2, c2, a1}, "A", 1},
        {"names equal to the asked one are passed over", {a1, a1, b2}, "A", 1},
        {"an unknown name", {a1, b2}, "C", 0},
        {"an unknown name", {a2, b1}, "C", 1},
        {"case matters", {knownTag("a", 2)}, "A", 1},
        {"a longer name is another name", {knownTag("AB", 2)}, "A", 1},
        {"the empty name", {knownTag("", 2)}, "", 0},
        {"the empty name is another name", {knownTag("", 2)}, "A", 1},
        {"kind 3", {knownTag("B", 3)}, "A", 0},
        {"kind 0", {knownTag("B", 0)}, "A", 0},
        {"kind -2", {knownTag("B", -2)}, "A", 0},
    };
    for (const NameCase& c : cases) {
        plcAddList = c.names;
        EXPECT_EQ(c.answer, getPassVarName(text(c.asked))) << c.what;
    }
}

TEST_F(TagNames, ANullNameIsTheEmptyName)
{
    plcAddList = QList<varName>() << knownTag("", 2);
    EXPECT_EQ(0, getPassVarName(QString()));
}

// --- Copies of records ---

TEST_F(TagNames, PassRetValueCopiesEveryFieldAndLeavesTheValueBytesEmpty)
{
    const RW_VAR from = distinctVar();
    RW_VAR to = writeVar("Old", "01 02 03 04");
    passRetValue(from, to);
    expectSameButData(from, to);
    EXPECT_TRUE(to.data.isEmpty());
    EXPECT_EQ(hex("0F 10"), from.data);
}

} // namespace
