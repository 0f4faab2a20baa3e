// Stores read values as they arrive: little-endian, no conversion. Decides nothing about a reply:
// whether it is good was settled before.

#include "Func_DealData.h"

#include "Device_Driver.h"
#include "bounds.h"
#include "tagcommunication.h"
#include "wire.h"

#include <QMutexLocker>

#include <cstring>

namespace {

const quint8 kFirstElementaryType = 0xC1; // BOOL
const quint8 kStructuredArrayType = 0xA3; // the element's own type stands in the second byte

// By CIP elementary data type from BOOL on. Kept on purpose: bit strings, dates and times and long
// strings are 8-bit values here, which hosts put together again.
const quint8 kRegisterTypes[] = {
    kRegisterBit,    // 0xC1 BOOL
    kRegister8Bit,   // 0xC2 SINT
    kRegister16Bit,  // 0xC3 INT
    kRegister32Bit,  // 0xC4 DINT
    kRegister64Bit,  // 0xC5 LINT
    kRegister8Bit,   // 0xC6 USINT
    kRegister16Bit,  // 0xC7 UINT
    kRegister32Bit,  // 0xC8 UDINT
    kRegister64Bit,  // 0xC9 ULINT
    kRegister32Bit,  // 0xCA REAL
    kRegister64Bit,  // 0xCB LREAL
    kRegister8Bit,   // 0xCC STIME
    kRegister8Bit,   // 0xCD DATE
    kRegister8Bit,   // 0xCE TIME_OF_DAY
    kRegister8Bit,   // 0xCF DATE_AND_TIME
    kRegister8Bit,   // 0xD0 STRING
    kRegister8Bit,   // 0xD1 BYTE
    kRegister8Bit,   // 0xD2 WORD
    kRegister8Bit,   // 0xD3 DWORD
    kRegister8Bit,   // 0xD4 LWORD
    kRegister8Bit,   // 0xD5 STRING2
    kRegister8Bit,   // 0xD6 FTIME
    kRegister8Bit,   // 0xD7 LTIME
    kRegister8Bit,   // 0xD8 ITIME
    kRegister8Bit,   // 0xD9 STRINGN
    kRegisterString, // 0xDA SHORT_STRING
};
const int kRegisterTypeCount = sizeof kRegisterTypes / sizeof kRegisterTypes[0];

/// A Read Tag reply, seen as type and values.
struct ReadReply {
    quint8 typeBytes[2];
    int registerType;
    const char* values;
    int valueCount;
};

quint8 byteOrZero(const QByteArray& bytes, int at)
{
    return at < bytes.size() ? wire::getU8(bytes, at) : quint8(0);
}

int registerTypeOf(quint8 first, quint8 second)
{
    const int code = first == kStructuredArrayType ? second : first;
    const int row = code - kFirstElementaryType;
    return row >= 0 && row < kRegisterTypeCount ? int(kRegisterTypes[row]) : int(kRegister8Bit);
}

ReadReply dissectReply(const QByteArray& reply, int valueOffset)
{
    ReadReply read;
    read.typeBytes[0] = byteOrZero(reply, wire::kReplyDataType);
    read.typeBytes[1] = byteOrZero(reply, wire::kReplyDataType + 1);
    read.registerType = registerTypeOf(read.typeBytes[0], read.typeBytes[1]);
    const int begin = qBound(0, valueOffset, reply.size());
    read.values = reply.constData() + begin;
    read.valueCount = reply.size() - begin;
    const bool hasLengthByte = read.registerType == kRegisterString && read.valueCount > 0;
    if (hasLengthByte) {
        ++read.values;
        --read.valueCount;
    }
    return read;
}

/// The first reply settles a tag's type until the station's tags are forgotten.
void settleType(QByteArray& typeHeader, const ReadReply& read)
{
    if (isCompleteTypeHeader(typeHeader))
        return;
    if (typeHeader.size() < kTypeHeaderSize)
        typeHeader.resize(kTypeHeaderSize);
    char* bytes = wire::mutableBytes(typeHeader);
    wire::putU8(bytes + kTypeRegister, static_cast<quint32>(read.registerType));
    wire::putU8(bytes + kTypeCip0, read.typeBytes[0]);
    wire::putU8(bytes + kTypeCip1, read.typeBytes[1]);
    wire::putU8(bytes + kTypeMarker, kTypeHeaderComplete);
}

/// Copies the values into the tag's image, which only grows; a gap is filled with zeros.
void storeValues(PLCTAGCOMMUNICATION& station, const QString& tagName, quint32 position,
                 const ReadReply& read)
{
    const quint64 end = quint64(position) + static_cast<quint64>(read.valueCount);
    if (read.valueCount == 0 || end > static_cast<quint64>(kMaxTagImageBytes))
        return;
    QByteArray& image = station.tagDataMap[tagName];
    const int before = image.size();
    if (static_cast<int>(end) > before) {
        image.resize(static_cast<int>(end));
        std::memset(image.data() + before, 0, static_cast<size_t>(image.size() - before));
    }
    std::memcpy(image.data() + position, read.values, static_cast<size_t>(read.valueCount));
}

} // namespace

int getRegType(const QByteArray& typeBytes)
{
    return registerTypeOf(byteOrZero(typeBytes, 0), byteOrZero(typeBytes, 1));
}

int getPlcAdd(int regType, quint32& address, quint32& count)
{
    switch (regType) {
    case kRegister16Bit: address *= 2; break;
    case kRegister32Bit:
        address *= 4;
        count = (count + 1) >> 1;
        break;
    case kRegister64Bit:
        address *= 8;
        count = (count + 3) >> 2;
        break;
    default: break;
    }
    return 1;
}

void SaveToLocalDataErea(QByteArray* reply)
{
    if (reply == nullptr || PLC_driver.requests.isEmpty())
        return;
    const Protocol& request = PLC_driver.requests.at(0);
    const RW_VAR& var = request.var;
    const ReadReply read = dissectReply(*reply, request.fixedReplyLength);
    quint32 position = static_cast<quint32>(var.startIndex);
    quint32 count = static_cast<quint32>(var.count);
    getPlcAdd(read.registerType, position, count);

    QMutexLocker store(&stationStoreMutex);
    PLCTAGCOMMUNICATION& station = PLCDataStorage[var.station];
    settleType(station.tagTypeMap[var.tagName], read);
    if (var.isArrayTag == 0)
        storeValues(station, var.tagName, 0, read);
    else if (var.isArrayTag == 1)
        storeValues(station, var.tagName, position, read);
}
