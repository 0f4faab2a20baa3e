// Stations, their handshake, and tags on the wire. Decides nothing about retries: DataCom() does.

#include "tagcommunication.h"

#include "Device_Driver.h"
#include "bounds.h"
#include "qt_compat.h"
#include "wire.h"

#include <QMutexLocker>
#include <QTime>

#include <cstring>
#include <utility>

QMap<int, PLCTAGCOMMUNICATION> PLCDataStorage;
QMutex stationStoreMutex;

namespace {

const quint16 kFirstSequenceCount = 1;
const int kRandomRange = 65535;

int secondsOfLocalClock()
{
    return QTime(0, 0).secsTo(QTime::currentTime());
}

QByteArray quotedHex(const QByteArray& frame)
{
    return '"' + frame.toHex() + '"';
}

PLCTAGCOMMUNICATION disconnectedStation()
{
    PLCTAGCOMMUNICATION station;
    station.sequenceCount = kFirstSequenceCount;
    return station;
}

void queueHandshakeRequest(const QByteArray& frame, int replyLength, int station)
{
    Protocol request;
    request.frame = frame;
    request.frameLength = frame.size();
    request.replyLength = replyLength;
    request.var.station = station;
    PLC_driver.requests.append(request);
}

/// Overwrites the first four bytes, growing to them; bytes beyond stay.
void storeIdentifier(QByteArray& identifier, const char* bytes)
{
    if (identifier.size() < wire::kIdentifierLength)
        identifier.resize(wire::kIdentifierLength);
    std::memcpy(identifier.data(), bytes, wire::kIdentifierLength);
}

void keepSessionHandle(const QByteArray& reply, int station)
{
    const char* handle = reply.constData() + wire::kSessionHandle;
    if (PLC_driver.requests.size() > 1) {
        QByteArray& forwardOpen = PLC_driver.requests[1].frame;
        if (forwardOpen.size() >= wire::kEncapsulationHeaderSize)
            std::memcpy(wire::mutableBytes(forwardOpen) + wire::kSessionHandle, handle,
                        wire::kIdentifierLength);
    }
    QMutexLocker store(&stationStoreMutex);
    storeIdentifier(PLCDataStorage[station].sessionHandle, handle);
}

void keepConnectionId(const QByteArray& reply, int station)
{
    QMutexLocker store(&stationStoreMutex);
    storeIdentifier(PLCDataStorage[station].connectionId,
                    reply.constData() + wire::kReplyConnectionId);
}

/// 1 when the reply is as long as the request in flight expects; keeps what it brought.
// Kept on purpose: only the length is looked at. A refused Forward Open is shorter, and a
// RegisterSession reply counts whatever its status says.
int acceptHandshakeReply(const QByteArray& reply)
{
    if (PLC_driver.requests.isEmpty())
        return 0;
    const Protocol& request = PLC_driver.requests.at(0);
    if (reply.size() != request.replyLength)
        return 0;
    const int station = request.var.station;
    const int step = comInfoRecord().framesAnswered;
    if (step == 0 && reply.size() >= wire::kSessionHandle + wire::kIdentifierLength)
        keepSessionHandle(reply, station);
    else if (step == 1 && reply.size() >= wire::kReplyConnectionId + wire::kIdentifierLength)
        keepConnectionId(reply, station);
    return 1;
}

/// Forgets the station's session and tags. What the maps held is handed out, to be destroyed when
/// no lock is held any more.
PLCTAGCOMMUNICATION resetStation(int station)
{
    PLCTAGCOMMUNICATION fresh = disconnectedStation();
    QMutexLocker store(&stationStoreMutex);
    std::swap(PLCDataStorage[station], fresh);
    return fresh;
}

char latin1OrZero(QChar character)
{
    // Kept on purpose: a character without an 8-bit code becomes 0, not a question mark.
    const ushort code = character.unicode();
    return code > 0xFF ? '\0' : static_cast<char>(static_cast<quint8>(code));
}

} // namespace

// --- Registry ---

bool isCompleteTypeHeader(const QByteArray& header)
{
    return header.size() > kTypeMarker && wire::getU8(header, kTypeMarker) == kTypeHeaderComplete;
}

int getHandshakeInformation(const int& station)
{
    QMutexLocker store(&stationStoreMutex);
    const QMap<int, PLCTAGCOMMUNICATION>::const_iterator record = PLCDataStorage.constFind(station);
    if (record != PLCDataStorage.constEnd())
        return record->handshakeDone ? 1 : 0;
    PLCDataStorage.insert(station, disconnectedStation());
    return 0;
}

int AddTheTagInformationContainer(const int& station)
{
    resetStation(station);
    return 1;
}

int addPlcNumber(int station)
{
    QMutexLocker store(&stationStoreMutex);
    quint16& sequenceCount = PLCDataStorage[station].sequenceCount;
    ++sequenceCount;
    if (sequenceCount == 0)
        ++sequenceCount;
    return 1;
}

// --- Handshake ---

int (*secondsSinceMidnight)() = secondsOfLocalClock;

int get_random_number()
{
    return compat::seededRandom(static_cast<uint>(secondsSinceMidnight())) % kRandomRange;
}

void renewOriginatorSerial(QByteArray& forwardOpen)
{
    if (forwardOpen.size() < wire::kOriginatorSerialHigh + 2)
        return;
    wire::putU16(wire::mutableBytes(forwardOpen) + wire::kOriginatorSerialHigh,
                 static_cast<quint32>(get_random_number()));
}

int HandshakeFunction(const int& station)
{
    const QByteArray& registerSession = wire::registerSessionTemplate();
    queueHandshakeRequest(registerSession, wire::kRegisterSessionReplyLength, station);
    compat::debugMessage("HandshakeFunction *****1  " + quotedHex(registerSession) + ' ');

    QByteArray forwardOpen = wire::forwardOpenTemplate();
    renewOriginatorSerial(forwardOpen);
    queueHandshakeRequest(forwardOpen, wire::kForwardOpenReplyLength, station);
    compat::debugMessage("HandshakeFunction *****2  " + quotedHex(forwardOpen) + ' ');

    COM_INFO& comInfo = comInfoRecord();
    comInfo.framesExpected = 2;
    comInfo.framesAnswered = 0;
    return 1;
}

int HandshakeFunctionCheck(const QByteArray* reply)
{
    const QByteArray received = reply != nullptr ? *reply : QByteArray();
    const int result = acceptHandshakeReply(received);
    compat::debugMessage("HandshakeFunctionCheck  " + QByteArray::number(result) + ' ' +
                         quotedHex(received) + ' ');
    return result;
}

int setHandshakeInformation(const int& station, bool ok)
{
    if (!ok) {
        compat::debugMessage("setHandshakeInformation error! ");
        resetStation(station);
        return 1;
    }
    compat::debugMessage("setHandshakeInformation success! ");
    QMutexLocker store(&stationStoreMutex);
    PLCTAGCOMMUNICATION& record = PLCDataStorage[station];
    record.handshakeDone = true;
    record.sequenceCount = kFirstSequenceCount;
    return 1;
}

// --- Tag addressing ---

quint32 getAddressType(RW_VAR* var)
{
    if (var == nullptr)
        return 0;
    QMutexLocker store(&stationStoreMutex);
    const QMap<QString, QByteArray>& types = PLCDataStorage[var->station].tagTypeMap;
    const QMap<QString, QByteArray>::const_iterator header = types.constFind(var->tagName);
    return header != types.constEnd() && isCompleteTypeHeader(header.value()) ? 1 : 0;
}

void appendSymbolicSegment(QByteArray& path, const QString& tagName)
{
    const int length = tagName.size() <= kMaxTagNameLength ? tagName.size() : 0;
    const int pad = length % 2;
    char* at = wire::grow(path, 2 + length + pad);
    wire::putU8(at++, wire::kSymbolicSegment);
    wire::putU8(at++, static_cast<quint32>(length));
    const QChar* characters = tagName.constData();
    for (int i = 0; i < length; ++i)
        *at++ = latin1OrZero(characters[i]);
    if (pad != 0)
        *at = '\0';
}

void appendElementSegment(QByteArray& path, quint32 index)
{
    if (index == 0)
        return;
    if (index <= 0xFF) {
        char* at = wire::grow(path, 2);
        wire::putU8(at, wire::kElement8Bit);
        wire::putU8(at + 1, index);
    } else if (index <= 0xFFFF) {
        char* at = wire::grow(path, 4);
        wire::putU16(at, wire::kElement16Bit);
        wire::putU16(at + 2, index);
    } else {
        char* at = wire::grow(path, 6);
        wire::putU16(at, wire::kElement32Bit);
        wire::putU32(at + 2, index);
    }
}
