#include "driver_under_fuzz.h"

#include "Device_Driver.h"
#include "Func_Initi.h"
#include "bounds.h"
#include "tagcommunication.h"
#include "tiny_controller.h"

#include <cstdio>
#include <cstdlib>
#include <new>

namespace {

const int kShortestConnectedFrame = 54;
const int kElementsPerRead = 15;

quint64 digest = 0;

void observe(quint64 value)
{
    digest = (digest ^ value) * 1099511628211u;
}

void observe(const QByteArray& bytes)
{
    observe(static_cast<quint64>(bytes.size()));
    for (int i = 0; i < bytes.size(); ++i)
        observe(static_cast<quint8>(bytes.at(i)));
}

void require(bool holds, const char* promise)
{
    if (holds)
        return;
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
}

int stillClock()
{
    return 43200;
}

void judgeMessage(QtMsgType type, const char* text)
{
    if (type != QtDebugMsg)
        std::fprintf(stderr, "%s\n", text);
    require(type == QtDebugMsg, "Qt finds nothing to warn of");
}

void noteDone(int handle, int area, int address, int status)
{
    require(status == 1 || status == 2, "a done callback says done or failed");
    observe(static_cast<quint64>(handle ^ area ^ address ^ status));
}

void noteFailed(void* list, int area, int one)
{
    require(static_cast<QList<RW_VAR>*>(list)->isEmpty() && one == 1,
            "a fail callback brings an empty list");
    observe(static_cast<quint64>(area));
}

/// The count of short replies is hidden inside DataCom(); a reply that is long enough clears it.
void restartReplyCounter()
{
    Protocol read;
    read.replyLength = kReplyLengthUnknown;
    PLC_driver.requests.append(read);
    PLCDataStorage[0].handshakeDone = true;
    QByteArray longEnough(50, '\0');
    DataCom(&longEnough, longEnough.size());
}

void forgetEverything()
{
    PLC_driver.comInfo = nullptr;
    comInfoRecord() = COM_INFO();
    PLC_driver.requests.clear();
    restartReplyCounter();
    PLC_driver.~Device_Driver();
    new (&PLC_driver) Device_Driver();
    PLCDataStorage.clear();
    plcAddList.clear();
    LB = LW = RWI = nullptr;
}

bool isFree(QMutex& mutex)
{
    if (!mutex.tryLock())
        return false;
    mutex.unlock();
    return true;
}

int uint16At(const QByteArray& bytes, int at)
{
    return quint8(bytes.at(at)) | quint8(bytes.at(at + 1)) << 8;
}

void checkRequest(const Protocol& request)
{
    const QByteArray& frame = request.frame;
    require(request.frameLength == frame.size(), "frameLength is the frame's length");
    require(frame.size() >= 28, "a frame holds a header and a command");
    require(frame.size() - 24 <= kMaxEncapsulationLength, "a frame fits its length field");
    require(uint16At(frame, 2) == frame.size() - 24, "the encapsulation length is right");
    const bool connected = frame.at(0) == 0x70;
    require(!connected || frame.size() >= kShortestConnectedFrame, "a request is complete");
    require(!connected || uint16At(frame, 42) == frame.size() - 44, "the item length is right");
}

void checkStation(const PLCTAGCOMMUNICATION& station)
{
    require(station.sessionHandle.size() % 4 == 0 && station.sessionHandle.size() <= 4,
            "a session handle has four bytes");
    require(station.connectionId.size() % 4 == 0 && station.connectionId.size() <= 4,
            "a connection ID has four bytes");
    require(!station.handshakeDone || station.sequenceCount != 0, "no sequence count is 0");
    for (const QByteArray& image : station.tagDataMap)
        require(image.size() <= kMaxTagImageBytes, "a tag's image keeps its bound");
    for (const QByteArray& header : station.tagTypeMap)
        require(header.size() <= kTypeHeaderSize, "a type header has four bytes");
}

bool isKnownResult(int code)
{
    const auto isIn = [code](int band) { return code > band && code <= band + 12; };
    return code == kResend || code == kOk || code == kOkRemote || code == kHandshakeRefused ||
           isIn(kLocalAccessKind) || isIn(kLocalNoReply) || isIn(kLocalWrongLength) ||
           isIn(kRemoteAccessKind) || isIn(kRemoteNoReply) || isIn(kRemoteWrongLength);
}

ADDRESS_RECORD addressRecord(FuzzInput& input, const QString& name)
{
    ADDRESS_RECORD record;
    record.tagName = name;
    record.indexText = input.indexText();
    record.count = input.below(16) == 0 ? input.number() : input.modestNumber();
    record.dataKind = input.byte();
    return record;
}

} // namespace

quint64 observedDigest()
{
    return digest;
}

DriverUnderFuzz::DriverUnderFuzz()
{
    micro850::installMessageHandler(judgeMessage);
    secondsSinceMidnight = stillClock;
    digest = 14695981039346656037u;
    forgetEverything();
    SetComInfo(&comInfo);
    RegistCallBackFuncIntf(noteDone, noteFailed);
}

DriverUnderFuzz::~DriverUnderFuzz()
{
    forgetEverything();
}

void DriverUnderFuzz::settings(FuzzInput& input)
{
    comInfo.defaultStation = input.below(3);
    comInfo.retryLimit = input.below(4) == 0 ? input.number() : input.below(4);
    comInfo.multiStation = input.flag();
    comInfo.localDeviceNo = input.below(4) == 0;
    comInfo.writeMode = input.below(8) == 0 ? input.number() : 2;
    comInfo.remoteMode = input.below(16) == 0;
    comInfo.failCount = input.below(16) == 0 ? input.number() : 0;
}

void DriverUnderFuzz::treatTagsAsArrays(bool arrays)
{
    varName other;
    other.name = QLatin1String("*");
    other.kind = arrays ? 2 : 1;
    const QList<varName> names = QList<varName>() << other;
    PassVarName(&names);
}

void DriverUnderFuzz::connectStation(int station)
{
    const QList<RW_VAR> reads = PLC_driver.readList;
    RW_VAR any;
    any.station = station;
    PLC_driver.readList = QList<RW_VAR>() << any;
    for (int step = 0; step < 2; ++step) {
        Protocol* request = communicate();
        require(request != nullptr, "a station without a session is asked for one");
        QByteArray good = controller::goodReply(*request, controller::kInt, QByteArray());
        reply(&good, good.size());
    }
    PLC_driver.readList = reads;
}

Protocol* DriverUnderFuzz::communicate()
{
    Protocol* request = ComCommunication();
    require(PLC_driver.requests.isEmpty() == (request == nullptr),
            "a request is returned when there is one");
    require(request == nullptr || request == &PLC_driver.requests.at(0),
            "the front request is returned");
    if (request != nullptr)
        observe(request->frame);
    check();
    return request;
}

RW_VAR* DriverUnderFuzz::reply(QByteArray* bytes, int receivedLength)
{
    RW_VAR* outcome = DataCom(bytes, receivedLength);
    require(outcome == &PLC_driver.lastVar, "the result record is returned");
    require(isKnownResult(outcome->result), "the result is one of the return codes");
    observe(static_cast<quint64>(outcome->result));
    check();
    return outcome;
}

int DriverUnderFuzz::rebuild(FuzzInput& input, QString (FuzzInput::*name)())
{
    QList<ADDRESS_RECORD> records;
    for (int i = input.below(8); i > 0; --i)
        records.append(addressRecord(input, (input.*name)()));
    QList<ADDRESS_RECORD*> pointers;
    for (int i = 0; i < records.size(); ++i)
        pointers.append(input.below(16) == 0 ? nullptr : &records[i]);
    const int entries = ReCreatReadVarList(input.below(16) == 0 ? nullptr : &pointers);
    cyclicAppended_ = 0;
    require(entries == PLC_driver.readList.size(), "a rebuild returns the list's length");
    for (int i = 0; i < entries; ++i) {
        const RW_VAR& var = PLC_driver.readList.at(i);
        require(var.count >= 1 && var.count <= kElementsPerRead, "a rebuilt read is 1 to 15 wide");
    }
    observe(static_cast<quint64>(entries));
    check();
    return entries;
}

int DriverUnderFuzz::addRead(const RW_VAR* var)
{
    cyclicAppended_ += var != nullptr;
    const int entries = AddListReadVar(var);
    check();
    return entries;
}

int DriverUnderFuzz::addWrite(const RW_VAR* var, int mode)
{
    writesAppended_ += mode == 1;
    const int waiting = AddListWriteVar(var, mode);
    require(waiting == PLC_driver.writeQueue.size(), "the queue's length is returned");
    check();
    return waiting;
}

int DriverUnderFuzz::addOnceRead(const RW_VAR* var, int mode)
{
    onceReadsAppended_ += mode == 1;
    const int waiting = AddListOnceReadVar(var, mode);
    require(waiting == PLC_driver.onceReadQueue.size(), "the queue's length is returned");
    check();
    return waiting;
}

int DriverUnderFuzz::fetch(const QString& tag, const QString& index, int station,
                           unsigned int registers)
{
    QByteArray out("left over");
    const int found = GetRegisterData(tag, 0, index, station, &out, registers);
    require(found == 0 || found == 1, "a fetch finds or does not");
    require(found == 1 || out.isEmpty(), "nothing found leaves nothing");
    require(out.size() <= kMaxAnswerBytes, "an answer keeps its bound");
    observe(out.size() > 4096 ? out.left(4096) : out);
    check();
    return found;
}

int DriverUnderFuzz::write(const QString& tag, int kind, const QString& index, int station,
                           const QByteArray& value, int count)
{
    const int waiting = SetRegisterData(tag, kind, index, station, value, count, 1, kind);
    require(waiting >= 1, "a write returns at least 1");
    observe(static_cast<quint64>(waiting));
    check();
    return waiting;
}

void DriverUnderFuzz::switchStation(int station, int flag)
{
    EnCommStation(station, flag);
    check();
}

QByteArray DriverUnderFuzz::plausibleReply(FuzzInput& input) const
{
    if (PLC_driver.requests.isEmpty() || input.below(4) == 0)
        return input.bytes();
    const quint8 type = input.below(8) == 0 ? input.byte() : quint8(0xC1 + input.below(26));
    QByteArray bytes = controller::goodReply(PLC_driver.requests.at(0), type, input.manyBytes());
    if (input.below(8) == 0)
        bytes.truncate(input.byte());
    return bytes;
}

void DriverUnderFuzz::check() const
{
    require(isFree(PLC_driver.queueMutex) && isFree(PLC_driver.dataMutex) &&
                isFree(PLC_driver.stationMutex) && isFree(stationStoreMutex),
            "no lock stays locked");
    require(PLC_driver.requests.size() <= 2, "two requests wait at most");
    for (int i = 0; i < PLC_driver.requests.size(); ++i)
        checkRequest(PLC_driver.requests.at(i));
    const QMap<int, PLCTAGCOMMUNICATION>& stations = PLCDataStorage;
    for (const PLCTAGCOMMUNICATION& station : stations)
        checkStation(station);
    require(PLC_driver.writeQueue.size() <= kMaxWaiting + writesAppended_, "writes are bounded");
    require(PLC_driver.onceReadQueue.size() <= kMaxWaiting + onceReadsAppended_,
            "once-reads are bounded");
    require(PLC_driver.readList.size() <= kMaxReadListEntries + cyclicAppended_,
            "the read list is bounded");
    require(PLC_driver.writesServed <= 5 && PLC_driver.onceReadsServed <= 5,
            "five in a row at most");
}

RW_VAR hostileVariable(FuzzInput& input)
{
    RW_VAR var;
    var.hostArea = input.number();
    var.hostAddress = input.number();
    var.accessKind = input.number();
    var.deviceNo = input.number();
    var.tagName = input.hostileName();
    var.indexText = input.indexText();
    var.dataKind = input.number();
    var.startIndex = input.number();
    var.station = input.number();
    var.count = input.number();
    var.isArrayTag = input.number();
    var.onceFlag = input.number();
    var.data = input.manyBytes();
    return var;
}

RW_VAR familiarVariable(FuzzInput& input)
{
    RW_VAR var;
    var.hostArea = input.below(13);
    var.hostAddress = input.below(3);
    var.accessKind = input.below(3);
    var.deviceNo = input.below(8) == 0;
    var.tagName = input.familiarName();
    var.indexText = input.indexText();
    var.dataKind = input.below(3);
    var.startIndex = input.number();
    var.station = input.below(3);
    var.count = input.number();
    var.isArrayTag = input.below(4) - 1;
    var.onceFlag = input.flag();
    var.data = input.bytes();
    return var;
}
