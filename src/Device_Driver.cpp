// The driver object, its settings, and what the driver asks next. Builds no frame itself; what a
// reply means stands in Device_Driver_Replies.cpp.

#include "Device_Driver.h"

#include "Func_Initi.h"
#include "Func_Read.h"
#include "Func_Remote.h"
#include "Func_Write.h"
#include "tag_resolution.h"
#include "tagcommunication.h"
#include "wire.h"

#include <QMutexLocker>

Device_Driver PLC_driver;
void* LB = nullptr;
void* LW = nullptr;
void* RWI = nullptr;

namespace {

const int kMaxStartedInARow = 5; // writes, or once-reads, before a cyclic read

COM_INFO zeroComInfo; // stands in while the host has given no record

} // namespace

// --- State ---

COM_INFO& comInfoRecord()
{
    return PLC_driver.comInfo != nullptr ? *PLC_driver.comInfo : zeroComInfo;
}

void SetComInfo(COM_INFO* comInfo)
{
    PLC_driver.comInfo = comInfo;
    comInfoRecord().linkWord0 = 0;
    comInfoRecord().linkWord1 = 0;
}

void RegistCallBackFuncIntf(DoneCallback doneCallback, FailCallback failCallback)
{
    PLC_driver.doneCallback = doneCallback;
    PLC_driver.failCallback = failCallback;
}

void FlashLocalRegister(void* localBits, void* localWords, void* localRwi)
{
    LB = localBits;
    LW = localWords;
    RWI = localRwi;
}

int QueryFinishFlag()
{
    return 1;
}

int StringAddressToInt(int, const QString&)
{
    return -1;
}

int PLCAddressChangeIntef()
{
    return -1;
}

// --- Station switching ---

void EnCommStation(int station, int flag)
{
    QMutexLocker lock(&PLC_driver.stationMutex);
    QMap<int, int>& disabled = PLC_driver.disabledStations;
    if (station < 0)
        disabled.clear();
    else if (flag == 0)
        disabled.insert(station, 0);
    else if (flag == 1)
        disabled.remove(station);
}

int Ethernetcontains(int station)
{
    QMutexLocker lock(&PLC_driver.stationMutex);
    return PLC_driver.disabledStations.contains(station) ? 1 : 0;
}

// --- Tag resolution ---

namespace {

/// Index text as a number, 0 when it is none. Most indexes are a few digits, which need no locale.
qint32 parseIndex(const QString& text)
{
    const int kSurelyFits = 9;
    if (text.isEmpty() || text.size() > kSurelyFits)
        return text.toInt();
    qint32 index = 0;
    for (int i = 0; i < text.size(); ++i) {
        const int digit = text.at(i).unicode() - '0';
        if (digit < 0 || digit > 9)
            return text.toInt();
        index = 10 * index + digit;
    }
    return index;
}

} // namespace

TagAddress resolveAddress(const QString& tagName, const QString& indexText, qint32 count)
{
    if (getPassVarName(tagName) == 0)
        return {false, 0, 1};
    return {true, parseIndex(indexText), count};
}

const QByteArray& ensureTypeHeader(PLCTAGCOMMUNICATION& station, const QString& tagName)
{
    QByteArray& header = station.tagTypeMap[tagName];
    if (isCompleteTypeHeader(header))
        return header;
    if (header.size() < kTypeHeaderSize)
        header.resize(kTypeHeaderSize);
    char* bytes = wire::mutableBytes(header);
    wire::putU32(bytes, 0);
    wire::putU8(bytes + kTypeRegister, kTypeUnknown);
    return header;
}

int updateRwVar(RW_VAR* var)
{
    if (var == nullptr)
        return 1;
    const TagAddress address = resolveAddress(var->tagName, var->indexText, var->count);
    var->isArrayTag = address.isArray ? 1 : 0;
    var->startIndex = address.startIndex;
    var->count = address.count;
    QMutexLocker store(&stationStoreMutex);
    ensureTypeHeader(PLCDataStorage[var->station], var->tagName);
    return 1;
}

// --- The cycle: what to ask next. All of it runs with queueMutex held ---

void moveFrontToBack(QList<RW_VAR>& list)
{
    list.append(list.takeFirst());
}

namespace {

bool isServedRemotely()
{
    return comInfoRecord().remoteMode != 0;
}

/// Drops entries of stations that are switched off from the front; false when nothing is left.
bool dropSwitchedOff(QList<RW_VAR>& queue)
{
    while (!queue.isEmpty() && Ethernetcontains(queue.at(0).station) != 0)
        queue.removeFirst();
    return !queue.isEmpty();
}

/// Rotates the read list until its front is switched on; false when no entry is.
bool skipSwitchedOff(QList<RW_VAR>& list)
{
    for (int rotations = 0; rotations < list.size(); ++rotations) {
        if (Ethernetcontains(list.at(0).station) == 0)
            return true;
        moveFrontToBack(list);
    }
    return Ethernetcontains(list.at(0).station) == 0;
}

void requestRead(RW_VAR& var)
{
    if (isServedRemotely())
        Remote_ReadVar(&var);
    else if (getHandshakeInformation(var.station) != 0)
        ReadRegister(&var);
    else
        HandshakeFunction(var.station);
}

void requestWrite(RW_VAR& var)
{
    if (isServedRemotely()) {
        Remote_WriteVar(&var);
    } else if (getHandshakeInformation(var.station) == 0) {
        HandshakeFunction(var.station);
    } else if (getAddressType(&var) != 0) {
        WriteRegister(&var);
    } else {
        // A write needs the tag's type, which only a read tells. Kept on purpose: the read is made
        // with the write's own access kind and ends like a cyclic one.
        PLC_driver.servedQueue = kServedCyclicRead;
        ReadRegister(&var);
    }
}

void serveWriteQueue()
{
    PLC_driver.servedQueue = kServedWrite;
    if (!dropSwitchedOff(PLC_driver.writeQueue))
        return;
    requestWrite(PLC_driver.writeQueue.first());
    ++PLC_driver.writesServed;
}

void serveOnceReadQueue()
{
    PLC_driver.servedQueue = kServedOnceRead;
    if (!dropSwitchedOff(PLC_driver.onceReadQueue))
        return;
    requestRead(PLC_driver.onceReadQueue.first());
    ++PLC_driver.onceReadsServed;
}

void serveReadList()
{
    PLC_driver.servedQueue = kServedCyclicRead;
    if (PLC_driver.readList.isEmpty()) {
        comInfoRecord().scanDone = 1;
    } else {
        if (!skipSwitchedOff(PLC_driver.readList))
            return;
        requestRead(PLC_driver.readList.first());
    }
    PLC_driver.writesServed = 0;
    PLC_driver.onceReadsServed = 0;
}

Protocol* frontRequest()
{
    return PLC_driver.requests.isEmpty() ? nullptr : &PLC_driver.requests.first();
}

} // namespace

Protocol* ComCommunication()
{
    if (Protocol* pending = frontRequest())
        return pending;
    QMutexLocker lock(&PLC_driver.queueMutex);
    if (!PLC_driver.writeQueue.isEmpty() && PLC_driver.writesServed < kMaxStartedInARow)
        serveWriteQueue();
    else if (!PLC_driver.onceReadQueue.isEmpty() && PLC_driver.onceReadsServed < kMaxStartedInARow)
        serveOnceReadQueue();
    else
        serveReadList();
    return frontRequest();
}
