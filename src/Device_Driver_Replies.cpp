// What a reply means: checks, retries, return codes, the end of a transaction. Stores no value
// itself; what is asked next stands in Device_Driver.cpp.

#include "Device_Driver.h"
#include "Func_DealData.h"
#include "Func_Initi.h"
#include "tagcommunication.h"
#include "wire.h"
#include "wrapping.h"

#include <QMutexLocker>

#include <algorithm>

namespace {

const int kMaxReplyAttempts = 4;      // short replies, or refused Forward Opens, before giving up
const int kReplyLengthHopeless = 999; // one that no reply has, so that the length check fails
const int kStoredRemotely = -1;       // RW_VAR::isArrayTag of remote variables that are stored here

enum CallbackStatus { kDone = 1, kFailed = 2 };

/// What a data reply can be, in the order that GetDriverReturnValue() knows.
enum ReplyCondition {
    kAccepted = 0,
    kLocalKindRejected = 1,
    kLocalNothingReceived = 2,
    kLocalLengthDiffers = 3,
    kAcceptedRemotely = 4,
    kRemoteKindRejected = 5,
    kRemoteNothingReceived = 6,
    kRemoteLengthDiffers = 7
};

// Kept on purpose: one counter serves refused Forward Opens and short replies alike.
int readNumber = 0;

} // namespace

// --- Reply checks ---

int DataIntegrityJudgment(const QByteArray* reply)
{
    return reply != nullptr && reply->size() >= wire::kShortestDataReply ? 1 : 0;
}

int CheckGetData(QByteArray*, int)
{
    if (PLC_driver.requests.isEmpty())
        return kRejectReply;
    switch (PLC_driver.requests.at(0).var.accessKind) {
    case kStoreReply: return kStoreValues;
    case kAcceptWithoutStore: return kAcceptReply;
    default: return kRejectReply;
    }
}

int SwitchErrorReturn(int base)
{
    const int area = PLC_driver.requests.isEmpty() ? 0 : PLC_driver.requests.at(0).var.hostArea;
    return area >= 1 && area <= 11 ? base + area + 1 : base + 1;
}

int GetDriverReturnValue(int code)
{
    switch (code) {
    case kAccepted: return kOk;
    case kLocalKindRejected: return SwitchErrorReturn(kLocalAccessKind);
    case kLocalNothingReceived: return SwitchErrorReturn(kLocalNoReply);
    case kLocalLengthDiffers: return SwitchErrorReturn(kLocalWrongLength);
    case kAcceptedRemotely: return kOkRemote;
    case kRemoteKindRejected: return SwitchErrorReturn(kRemoteAccessKind);
    case kRemoteNothingReceived: return SwitchErrorReturn(kRemoteNoReply);
    case kRemoteLengthDiffers: return SwitchErrorReturn(kRemoteWrongLength);
    default: return kUnknownFailure;
    }
}

namespace {

bool isNothingReceived(int receivedLength, int expected)
{
    return receivedLength == 0 && expected != 0;
}

bool isLengthDifferent(int receivedLength, int expected)
{
    return receivedLength != 0 && receivedLength != expected && expected != kReplyLengthUnknown;
}

int expectedReplyLength()
{
    return PLC_driver.requests.isEmpty() ? kReplyLengthUnknown
                                         : PLC_driver.requests.at(0).replyLength;
}

ReplyCondition judgeLocalReply(QByteArray* reply, int receivedLength)
{
    const int expected = expectedReplyLength();
    if (isNothingReceived(receivedLength, expected))
        return kLocalNothingReceived;
    if (isLengthDifferent(receivedLength, expected))
        return kLocalLengthDiffers;
    const int verdict = CheckGetData(reply, receivedLength);
    if (verdict == kStoreValues) {
        QMutexLocker lock(&PLC_driver.dataMutex);
        SaveToLocalDataErea(reply);
    }
    return verdict == kRejectReply ? kLocalKindRejected : kAccepted;
}

ReplyCondition judgeRemoteReply(QByteArray* reply, int receivedLength)
{
    const int expected = expectedReplyLength();
    if (isNothingReceived(receivedLength, expected))
        return kRemoteNothingReceived;
    if (isLengthDifferent(receivedLength, expected))
        return kRemoteLengthDiffers;
    if (CheckGetData(reply, receivedLength) == kRejectReply)
        return kRemoteKindRejected;
    if (PLC_driver.requests.at(0).var.isArrayTag != kStoredRemotely)
        return kAcceptedRemotely;
    SaveToLocalDataErea(reply);
    return comInfoRecord().framesAnswered == 1 ? kAcceptedRemotely : kAccepted;
}

} // namespace

int DealDataOfLocalArea(QByteArray* reply, int receivedLength)
{
    return GetDriverReturnValue(judgeLocalReply(reply, receivedLength));
}

int DealDataOfRemoteArea(QByteArray* reply, int receivedLength)
{
    return GetDriverReturnValue(judgeRemoteReply(reply, receivedLength));
}

// --- Reply dispatch: what a reply means ---

namespace {

void retireFrontRequest()
{
    if (!PLC_driver.requests.isEmpty())
        PLC_driver.requests.removeFirst();
    COM_INFO& comInfo = comInfoRecord();
    comInfo.framesAnswered = wrappingAdd(comInfo.framesAnswered, 1);
}

// --- Handshake replies ---

/// A refused RegisterSession ends the handshake; a refused Forward Open is tried again with another
/// originator serial number, so that the controller does not take it for the same connection.
void refuseHandshake()
{
    PLC_driver.lastVar.result = kHandshakeRefused;
    if (comInfoRecord().framesAnswered != 1) {
        PLC_driver.requests.clear();
        return;
    }
    if (++readNumber < kMaxReplyAttempts) {
        renewOriginatorSerial(PLC_driver.requests.first().frame);
        return;
    }
    readNumber = 0;
    PLC_driver.requests.clear();
}

void advanceHandshake(int station)
{
    PLC_driver.lastVar.result = kOk;
    readNumber = 0;
    retireFrontRequest();
    if (comInfoRecord().framesAnswered == 2) {
        PLC_driver.requests.clear();
        setHandshakeInformation(station, true);
    }
}

// --- Data replies, first call: how long is the reply? ---

void learnReplyLength(const QByteArray* reply, int receivedLength)
{
    Protocol& request = PLC_driver.requests.first();
    if (DataIntegrityJudgment(reply) != 0) {
        readNumber = 0;
        request.replyLength = receivedLength;
        return;
    }
    if (++readNumber < kMaxReplyAttempts) {
        PLC_driver.lastVar.result = kResend;
        return;
    }
    readNumber = 0;
    request.replyLength = kReplyLengthHopeless;
}

// --- Data replies, second call: the transaction ---

void countTowardsScan()
{
    QMutexLocker lock(&PLC_driver.queueMutex);
    COM_INFO& comInfo = comInfoRecord();
    if (comInfo.scanDone != 0)
        return;
    ++PLC_driver.scanPosition;
    if (PLC_driver.scanPosition > PLC_driver.readList.size()) {
        PLC_driver.scanPosition = 0;
        comInfo.scanDone = 1;
    }
}

void setLastFailed(bool failed)
{
    QMutexLocker lock(&PLC_driver.queueMutex);
    PLC_driver.lastFailed = failed;
}

void setResult(int code)
{
    QMutexLocker lock(&PLC_driver.queueMutex);
    PLC_driver.lastVar.result = code;
}

/// True when the transaction is over.
bool acceptDataReply(int station, int code, bool viaLocal)
{
    setLastFailed(false);
    retireFrontRequest();
    const COM_INFO& comInfo = comInfoRecord();
    const bool over = comInfo.framesAnswered >= comInfo.framesExpected;
    if (over && viaLocal)
        countTowardsScan();
    addPlcNumber(station);
    if (!over)
        setResult(code);
    return over;
}

/// True when the transaction is over: it failed once too often, and the station's session is gone.
/// Kept on purpose: failures add up across transactions, no success clears their count.
bool countFailure(int station)
{
    COM_INFO& comInfo = comInfoRecord();
    {
        QMutexLocker lock(&PLC_driver.queueMutex);
        PLC_driver.lastFailed = true;
        PLC_driver.scanPosition = 0;
        comInfo.scanDone = 0;
        comInfo.failCount = wrappingAdd(comInfo.failCount, 1);
        if (comInfo.failCount <= comInfo.retryLimit) {
            PLC_driver.lastVar.result = kResend;
            return false;
        }
        comInfo.failCount = 0;
    }
    PLC_driver.requests.clear();
    setHandshakeInformation(station, false);
    return true;
}

// --- The end of a transaction. All of it runs with queueMutex held ---

/// True when another entry of the front's variable waits behind it.
bool isFrontAwaitedAgain(const QList<RW_VAR>& queue)
{
    const RW_VAR& front = queue.at(0);
    for (int i = 1; i < queue.size(); ++i) {
        if (queue.at(i).hostArea == front.hostArea && queue.at(i).hostAddress == front.hostAddress)
            return true;
    }
    return false;
}

void reportDone(const RW_VAR& var)
{
    if (PLC_driver.doneCallback == nullptr)
        return;
    PLC_driver.doneCallback(comInfoRecord().hostHandle, var.hostArea, var.hostAddress,
                            PLC_driver.lastFailed ? kFailed : kDone);
}

void takeFrontAsResult(QList<RW_VAR>& queue)
{
    passRetValue(queue.at(0), PLC_driver.lastVar);
    queue.removeFirst();
}

void finishWrite()
{
    QList<RW_VAR>& queue = PLC_driver.writeQueue;
    if (queue.isEmpty())
        return;
    if (PLC_driver.lastFailed || !isFrontAwaitedAgain(queue))
        reportDone(queue.at(0));
    takeFrontAsResult(queue);
}

void finishOnceRead(bool viaLocal)
{
    QList<RW_VAR>& queue = PLC_driver.onceReadQueue;
    if (queue.isEmpty())
        return;
    // Kept on purpose: unlike a write, a once-read that is awaited again reports no failure either.
    if (viaLocal && !isFrontAwaitedAgain(queue))
        reportDone(queue.at(0));
    takeFrontAsResult(queue);
}

void finishCyclicRead()
{
    QList<RW_VAR>& list = PLC_driver.readList;
    if (list.isEmpty())
        return;
    passRetValue(list.at(0), PLC_driver.lastVar);
    moveFrontToBack(list);
}

void finishServedQueue(bool viaLocal)
{
    switch (PLC_driver.servedQueue) {
    case kServedWrite: finishWrite(); break;
    case kServedOnceRead: finishOnceRead(viaLocal); break;
    case kServedCyclicRead: finishCyclicRead(); break;
    default: break;
    }
}

void reportFailure()
{
    if (PLC_driver.failCallback == nullptr)
        return;
    QList<RW_VAR> empty;
    PLC_driver.failCallback(&empty, PLC_driver.lastVar.hostArea, 1);
}

/// In one pass: a host may queue any number of variables.
template <typename Condition>
void removeWhere(QList<RW_VAR>& queue, Condition condition)
{
    queue.erase(std::remove_if(queue.begin(), queue.end(), condition), queue.end());
}

void purgeOnceReads(bool ofOneStation)
{
    removeWhere(PLC_driver.onceReadQueue, [ofOneStation](const RW_VAR& var) {
        const RW_VAR& failed = PLC_driver.lastVar;
        return var.hostArea == failed.hostArea && var.hostAddress == failed.hostAddress &&
               (!ofOneStation || var.station == failed.station);
    });
}

void purgeWrites(bool ofOneStation)
{
    if (!ofOneStation) {
        PLC_driver.writeQueue.clear();
        return;
    }
    const int station = PLC_driver.lastVar.station;
    removeWhere(PLC_driver.writeQueue,
                [station](const RW_VAR& var) { return var.station == station; });
}

void finishTransaction(int code, bool viaLocal)
{
    QMutexLocker lock(&PLC_driver.queueMutex);
    finishServedQueue(viaLocal);
    if (PLC_driver.lastFailed) {
        reportFailure();
        const bool ofOneStation = comInfoRecord().multiStation != 0;
        purgeOnceReads(ofOneStation);
        purgeWrites(ofOneStation);
    }
    PLC_driver.lastVar.result = code;
}

void dispatchHandshakeReply(const QByteArray* reply, int station)
{
    if (HandshakeFunctionCheck(reply) != 0)
        advanceHandshake(station);
    else
        refuseHandshake();
}

void dispatchDataReply(QByteArray* reply, int receivedLength, int station)
{
    const bool viaLocal = PLC_driver.requests.at(0).var.deviceNo == comInfoRecord().localDeviceNo;
    const int code = viaLocal ? DealDataOfLocalArea(reply, receivedLength)
                              : DealDataOfRemoteArea(reply, receivedLength);
    const bool good = code == kOk || code == kOkRemote;
    const bool over = good ? acceptDataReply(station, code, viaLocal) : countFailure(station);
    if (over)
        finishTransaction(code, viaLocal);
}

} // namespace

RW_VAR* DataCom(QByteArray* reply, int receivedLength)
{
    QByteArray nothing;
    QByteArray* received = reply != nullptr ? reply : &nothing;
    PLC_driver.lastVar.result = kOk;
    if (PLC_driver.requests.isEmpty())
        return &PLC_driver.lastVar;

    const int station = PLC_driver.requests.at(0).var.station;
    if (getHandshakeInformation(station) == 0)
        dispatchHandshakeReply(received, station);
    else if (PLC_driver.requests.at(0).replyLength == kReplyLengthUnknown)
        learnReplyLength(received, receivedLength);
    else
        dispatchDataReply(received, receivedLength, station);
    return &PLC_driver.lastVar;
}
