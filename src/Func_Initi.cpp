// The host's lists, and the plan that turns addresses on screens into few reads. Sends nothing.

#include "Func_Initi.h"

#include "Device_Driver.h"
#include "bounds.h"
#include "wrapping.h"

#include <QMap>
#include <QMutexLocker>

#include <algorithm>

QList<varName> plcAddList;

namespace {

const int kAppendAsItIs = 1;     // mode of the queueing entry points
const int kArrayKind = 2;        // varName::kind
const int kElementsPerRead = 15; // what one cyclic read asks for at most
const int kNoHostAddress = -1;

using TagGroups = QMap<QString, QList<RW_VAR>>;
using StationGroups = QMap<int, TagGroups>;

bool isSameWrite(const RW_VAR& a, const RW_VAR& b)
{
    return a.station == b.station && a.dataKind == b.dataKind && a.startIndex == b.startIndex &&
           a.count == b.count;
}

bool isSameOnceRead(const RW_VAR& a, const RW_VAR& b)
{
    return a.hostArea == b.hostArea && a.hostAddress == b.hostAddress && isSameWrite(a, b);
}

/// Replaces a waiting write of the same place. The front is in service and stays.
bool refreshWaitingWrite(QList<RW_VAR>& queue, const RW_VAR& var)
{
    for (int i = 1; i < queue.size(); ++i) {
        if (isSameWrite(queue.at(i), var)) {
            queue[i] = var;
            return true;
        }
    }
    return false;
}

bool isOnceReadWaiting(const QList<RW_VAR>& queue, const RW_VAR& var)
{
    return std::any_of(queue.constBegin(), queue.constEnd(),
                       [&var](const RW_VAR& waiting) { return isSameOnceRead(waiting, var); });
}

bool isReadListFull()
{
    return PLC_driver.readList.size() >= kMaxReadListEntries;
}

void appendPiece(const RW_VAR& var, int count)
{
    if (isReadListFull())
        return;
    PLC_driver.readList.append(var);
    PLC_driver.readList.last().count = count;
}

RW_VAR cyclicReadTemplate()
{
    const COM_INFO& comInfo = comInfoRecord();
    RW_VAR var;
    var.hostAddress = kNoHostAddress;
    var.accessKind = kStoreReply;
    var.hostWord3 = comInfo.remoteMode;
    var.deviceNo = comInfo.localDeviceNo;
    var.station = comInfo.defaultStation;
    return var;
}

StationGroups groupByStationAndTag(const QList<ADDRESS_RECORD*>& addresses)
{
    const RW_VAR blank = cyclicReadTemplate();
    StationGroups groups;
    for (const ADDRESS_RECORD* address : addresses) {
        if (address == nullptr)
            continue;
        RW_VAR var = blank;
        var.tagName = address->tagName;
        var.indexText = address->indexText;
        var.dataKind = address->dataKind;
        var.count = address->count;
        updateRwVar(&var);
        groups[var.station][var.tagName].append(var);
    }
    return groups;
}

/// True when next touches or overlaps current, or begins so near that reading the gap is cheaper
/// than a request of its own.
bool belongTogether(const RW_VAR& current, const RW_VAR& next, int chunk)
{
    const qint64 start = current.startIndex;
    return start + current.count >= next.startIndex || next.startIndex <= start + chunk;
}

bool startsEarlier(const RW_VAR& a, const RW_VAR& b)
{
    return a.startIndex < b.startIndex;
}

} // namespace

int AddListReadVar(const RW_VAR* var)
{
    if (var != nullptr)
        PLC_driver.readList.append(*var);
    return PLC_driver.readList.size();
}

int AddListWriteVar(const RW_VAR* var, int mode)
{
    QMutexLocker lock(&PLC_driver.queueMutex);
    QList<RW_VAR>& queue = PLC_driver.writeQueue;
    if (var == nullptr)
        return queue.size();
    if (mode == kAppendAsItIs || queue.size() < 2)
        queue.append(*var);
    else if (!refreshWaitingWrite(queue, *var) && queue.size() < kMaxWaiting)
        queue.append(*var);
    return queue.size();
}

int AddListOnceReadVar(const RW_VAR* var, int mode)
{
    RW_VAR wanted;
    if (var != nullptr)
        wanted = *var;
    if (var != nullptr && mode != kAppendAsItIs) {
        const COM_INFO& comInfo = comInfoRecord();
        wanted.isArrayTag = 0;
        wanted.onceFlag = 1;
        if (comInfo.multiStation == 0)
            wanted.station = comInfo.defaultStation;
        updateRwVar(&wanted);
    }

    QMutexLocker lock(&PLC_driver.queueMutex);
    QList<RW_VAR>& queue = PLC_driver.onceReadQueue;
    if (var == nullptr)
        return queue.size();
    if (mode == kAppendAsItIs)
        queue.append(wanted);
    else if (!isOnceReadWaiting(queue, wanted) && queue.size() < kMaxWaiting)
        queue.append(wanted);
    return queue.size();
}

void PassVarName(const QList<varName>* names)
{
    if (names != nullptr && !names->isEmpty())
        plcAddList = *names;
}

// Kept on purpose: the first entry of *another* name decides. Hosts pass a list headed by a name
// that no tag bears to have every tag treated alike.
// NOLINTNEXTLINE(performance-unnecessary-value-param): the signature is fixed
int getPassVarName(QString name)
{
    const QList<varName>& names = plcAddList;
    for (const varName& known : names) {
        if (known.name.compare(name) != 0)
            return known.kind == kArrayKind ? 1 : 0;
    }
    return 0;
}

void passRetValue(const RW_VAR& from, RW_VAR& to)
{
    to = from;
    to.data.clear();
}

int ReCreatReadVarList(const QList<ADDRESS_RECORD*>* addresses)
{
    QMutexLocker lock(&PLC_driver.queueMutex);
    PLC_driver.readList.clear();
    if (addresses == nullptr || addresses->isEmpty())
        return 0;
    PLC_driver.scanPosition = 0;
    comInfoRecord().scanDone = 0;

    StationGroups stations = groupByStationAndTag(*addresses);
    for (TagGroups& tags : stations) {
        for (QList<RW_VAR>& group : tags) {
            Bubble_Sort(group);
            BitVarReCreat(group, kElementsPerRead);
        }
    }
    return PLC_driver.readList.size();
}

void Bubble_Sort(QList<RW_VAR>& list)
{
    std::stable_sort(list.begin(), list.end(), startsEarlier);
}

void BitVarReCreat(QList<RW_VAR>& group, int chunk)
{
    if (group.isEmpty())
        return;
    RW_VAR current = group.at(0);
    addressAdd(current, chunk, false);
    for (int i = 1; i < group.size(); ++i) {
        const RW_VAR& next = group.at(i);
        if (current.count == 0) {
            current = next;
        } else if (belongTogether(current, next, chunk)) {
            // Kept on purpose: the range ends where next ends, even when that shortens it.
            const qint32 end = wrappingAdd(next.startIndex, next.count);
            current.count = wrappingSubtract(end, current.startIndex);
        } else {
            addressAdd(current, chunk, true);
            current = next;
        }
    }
    addressAdd(current, chunk, true);
}

void addressAdd(RW_VAR& var, int chunk, bool emitRest)
{
    while (chunk > 0 && chunk <= var.count && !isReadListFull()) {
        appendPiece(var, chunk);
        var.count -= chunk;
        var.startIndex = wrappingAdd(var.startIndex, chunk);
    }
    if (var.count >= 1 && emitRest)
        appendPiece(var, var.count);
}
