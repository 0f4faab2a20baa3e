// The driver object and the communication cycle: what to ask next, and what a reply means.

#ifndef MICRO850_DEVICE_DRIVER_H
#define MICRO850_DEVICE_DRIVER_H

#include "micro850/host_interface.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QMutex>

/// Kept for the object's layout only: the driver creates an empty list of these and clears it.
struct EXTENDVAR {
    qint32 word0;
    qint32 word1;
    qint32 word2;
    QByteArray data;
};

/// Protocol::replyLength of a read or write until DataCom() has learned it.
const qint32 kReplyLengthUnknown = -1;

/// Where the request in flight came from, Device_Driver::servedQueue.
enum ServedQueue {
    kServedCyclicRead = 0,
    kServedWrite = 1,
    kServedOnceRead = 2,
    kServedNothingYet = 100
};

/// All state of the driver besides the station store and the tag names; one instance, PLC_driver.
///
/// Locks, always taken in this order and never the other way round:
///   queueMutex, then stationMutex; queueMutex or dataMutex, then stationStoreMutex
///   (tagcommunication.h). queueMutex and dataMutex are never held together.
class Device_Driver {
public:
    Device_Driver() = default;

    COM_INFO* comInfo = nullptr; ///< the host's; read it through comInfoRecord()

    QList<RW_VAR> readList;      ///< queueMutex; the front is served next
    QList<RW_VAR> writeQueue;    ///< queueMutex; the front is in service
    QList<RW_VAR> onceReadQueue; ///< queueMutex; the front is in service
    QList<RW_VAR> spareList;     ///< unused
    QList<Protocol> requests;    ///< communication thread; the front is the one in flight
    QList<EXTENDVAR> extendVars; ///< unused

    QMap<int, int> disabledStations; ///< stationMutex; only the keys matter

    DoneCallback doneCallback = nullptr; ///< set before the cycle starts; may be null
    FailCallback failCallback = nullptr; ///< set before the cycle starts; may be null

    QMutex queueMutex;
    QMutex dataMutex; ///< held while a reply is stored or the host reads a value
    QMutex stationMutex;

    RW_VAR lastVar; ///< communication thread; the record that DataCom() returns

    qint32 servedQueue = kServedNothingYet; ///< queueMutex; a ServedQueue
    qint32 writesServed = 0;    ///< queueMutex; writes started since the last cyclic read
    qint32 onceReadsServed = 0; ///< queueMutex; once-reads started since the last cyclic read
    qint32 scanPosition = 0;    ///< queueMutex; good local replies since the last full scan
    bool lastFailed = false;    ///< queueMutex; the last data transaction failed
    bool spareFlag = false;     ///< unused

private:
    Q_DISABLE_COPY(Device_Driver)
};

extern Device_Driver PLC_driver;

/// The host's local areas, as FlashLocalRegister() left them. The driver keeps them and no more.
extern void* LB;
extern void* LW;
extern void* RWI;

/// The host's record, or a record of zeros of the driver's own while the host has given none.
COM_INFO& comInfoRecord();

/// 1 when station is switched off, else 0. Takes stationMutex.
int Ethernetcontains(int station);

/// Resolves var's tag: array or single value, first element, count; and makes sure that its station
/// holds a type header for it. Always 1. Takes stationStoreMutex.
int updateRwVar(RW_VAR* var);

/// Moves the front entry of a list that is not empty to its back. Caller holds queueMutex.
void moveFrontToBack(QList<RW_VAR>& list);

// --- Reply dispatch, used by DataCom() ---

/// What CheckGetData() says of a reply.
enum ReplyVerdict { kRejectReply = 0, kStoreValues = 1, kAcceptReply = 2 };

/// 1 when a reply is long enough to be an answer to a read or write, else 0.
int DataIntegrityJudgment(const QByteArray* reply);

/// A ReplyVerdict, by the access kind of the request in flight alone.
int CheckGetData(QByteArray* reply, int receivedLength);

/// Judges the reply to a variable of the driver's own, and stores it. Returns a driver return code.
/// Takes dataMutex.
int DealDataOfLocalArea(QByteArray* reply, int receivedLength);

/// Judges the reply to a variable of another device. Returns a driver return code.
int DealDataOfRemoteArea(QByteArray* reply, int receivedLength);

/// Turns a condition, 0 to 7, into a driver return code.
int GetDriverReturnValue(int code);

/// base + 1, or base + 1 + the area of the request in flight when that is 1 to 11.
int SwitchErrorReturn(int base);

#endif // MICRO850_DEVICE_DRIVER_H
