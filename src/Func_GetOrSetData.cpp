// The host's access to values. Reads what the last reply left in the store; never asks a
// controller.

#include "Func_GetOrSetData.h"

#include "Device_Driver.h"
#include "Func_DealData.h"
#include "Func_Initi.h"
#include "bounds.h"
#include "tag_resolution.h"
#include "tagcommunication.h"
#include "wire.h"

#include <QMutexLocker>

#include <cstring>

namespace {

const int kWritesReachController = 2; // COM_INFO::writeMode
const int kFromSetRegisterData = 2;   // RW_VAR::onceFlag

/// A stretch of a tag's image as the host wants it: so many elements of a width.
struct Answer {
    quint64 elements;
    int storedWidth; ///< bytes an element takes in the image
    int hostWidth;   ///< bytes it takes in the answer; the rest is zero
};

// Kept on purpose: a string's length comes from the host's registers, every other from the count as
// tag resolution left it.
Answer planAnswer(int registerType, quint32 count, unsigned int registers)
{
    switch (registerType) {
    case kRegisterBit: return {count, 1, 1};
    case kRegisterString: return {quint64(2) * registers, 1, 1};
    case kRegister8Bit: return {count, 1, 2};
    case kRegister16Bit: return {count, 2, 2};
    case kRegister32Bit: return {count, 4, 4};
    case kRegister64Bit: return {count, 8, 8};
    default: return {0, 1, 1};
    }
}

/// Copies wanted bytes from position on; what lies beyond the image is 0.
void copyImage(const QByteArray& image, quint32 position, char* to, int wanted)
{
    const qint64 held = qBound(qint64(0), qint64(image.size()) - position, qint64(wanted));
    if (held > 0)
        std::memcpy(to, image.constData() + position, static_cast<size_t>(held));
    std::memset(to + held, 0, static_cast<size_t>(wanted - held));
}

/// Widens each byte to a register, from the back so that it can be done in place.
void widenBytes(char* bytes, int elements)
{
    for (int i = elements - 1; i >= 0; --i) {
        bytes[2 * i] = bytes[i];
        bytes[2 * i + 1] = '\0';
    }
}

/// 1 with out filled, or 0 when the host asks for more than one answer may hold.
int fillAnswer(const QByteArray& image, quint32 position, const Answer& answer, QByteArray& out)
{
    const quint64 size = answer.elements * static_cast<quint64>(answer.hostWidth);
    if (size > static_cast<quint64>(kMaxAnswerBytes))
        return 0;
    const int elements = static_cast<int>(answer.elements);
    out.resize(static_cast<int>(size));
    copyImage(image, position, out.data(), elements * answer.storedWidth);
    if (answer.hostWidth > answer.storedWidth)
        widenBytes(out.data(), elements);
    return 1;
}

/// The value at a tag's address. Caller holds stationStoreMutex.
int fetchValue(PLCTAGCOMMUNICATION& station, const QString& tagName, const TagAddress& address,
               unsigned int registers, QByteArray& out)
{
    const QByteArray& typeHeader = ensureTypeHeader(station, tagName);
    if (!station.handshakeDone)
        return 0;
    const QMap<QString, QByteArray>::const_iterator image = station.tagDataMap.constFind(tagName);
    if (image == station.tagDataMap.constEnd())
        return 0;

    const int registerType = wire::getU8(typeHeader, kTypeRegister);
    quint32 position = static_cast<quint32>(address.startIndex);
    quint32 count = static_cast<quint32>(address.count);
    getPlcAdd(registerType, position, count);
    if (count == 0)
        return 1;
    return fillAnswer(image.value(), position, planAnswer(registerType, count, registers), out);
}

} // namespace

int getTagData(RW_VAR* var)
{
    if (var == nullptr)
        return 0;
    QMutexLocker store(&stationStoreMutex);
    return PLCDataStorage[var->station].tagDataMap.contains(var->tagName) ? 1 : 0;
}

void WriteDataToLocal(RW_VAR*)
{
}

int GetRegisterData(const QString& tagName, int, const QString& indexText, int station,
                    QByteArray* out, unsigned int registers)
{
    if (out == nullptr)
        return 0;
    QMutexLocker data(&PLC_driver.dataMutex);
    out->clear();
    const TagAddress address = resolveAddress(tagName, indexText, static_cast<qint32>(registers));

    QMutexLocker store(&stationStoreMutex);
    return fetchValue(PLCDataStorage[station], tagName, address, registers, *out);
}

int SetRegisterData(const QString& tagName, int dataKind, const QString& indexText, int station,
                    const QByteArray& value, int count, int hostArea, int hostAddress)
{
    const COM_INFO& comInfo = comInfoRecord();
    RW_VAR var;
    var.hostArea = hostArea;
    var.hostAddress = hostAddress;
    var.accessKind = kAcceptWithoutStore;
    var.hostWord3 = comInfo.remoteMode;
    var.deviceNo = comInfo.localDeviceNo;
    var.tagName = tagName;
    var.indexText = indexText;
    var.dataKind = dataKind;
    var.station = comInfo.multiStation != 0 ? station : comInfo.defaultStation;
    var.count = count;
    var.onceFlag = kFromSetRegisterData;
    var.data = value;
    updateRwVar(&var);

    if (comInfo.writeMode != kWritesReachController) {
        WriteDataToLocal(&var);
        return 1;
    }
    const int waiting = AddListWriteVar(&var, 0);
    QMutexLocker queue(&PLC_driver.queueMutex);
    if (PLC_driver.lastFailed)
        WriteDataToLocal(&var);
    return waiting;
}
