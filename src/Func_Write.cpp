// Builds Write Tag Fragmented requests: always whole elements, always from offset 0.

#include "Func_Write.h"

#include "Func_DealData.h"
#include "Func_GetOrSetData.h"
#include "bounds.h"
#include "connected_request.h"

#include <QMutexLocker>

namespace {

/// What a tag's type header says about a write to it.
struct WriteType {
    int registerType;
    char cipType[2];
};

WriteType writeType(const QByteArray& typeHeader)
{
    WriteType type = {kRegisterBit, {0, 0}};
    if (!typeHeader.isEmpty())
        type.registerType = wire::getU8(typeHeader, kTypeRegister);
    if (typeHeader.size() > kTypeCip1) {
        type.cipType[0] = typeHeader.at(kTypeCip0);
        type.cipType[1] = typeHeader.at(kTypeCip1);
    }
    return type;
}

/// Pads with zeros or cuts to size; leaves nothing when no frame could carry as much.
void fitTo(QByteArray& data, quint64 size, int most = kMaxEncapsulationLength)
{
    if (size > static_cast<quint64>(most)) {
        data.clear();
        return;
    }
    const int target = static_cast<int>(size);
    const int before = data.size();
    data.resize(target);
    for (int i = before; i < target; ++i)
        data[i] = '\0';
}

/// Keeps the low byte of each host word. Short data is padded to whole words first.
void keepLowBytes(QByteArray& data, quint32 count)
{
    fitTo(data, quint64(2) * count, 2 * kMaxEncapsulationLength);
    const int bytes = data.size() / 2;
    char* at = data.data();
    for (int i = 0; i < bytes; ++i)
        at[i] = at[2 * i];
    data.resize(bytes);
}

void prependLength(QByteArray& text)
{
    text.prepend(static_cast<char>(static_cast<quint8>(text.size())));
}

/// Rewrites data from the host's words to the controller's elements; returns their number.
quint32 layOutElements(QByteArray& data, int registerType, quint32 count)
{
    switch (registerType) {
    case kRegisterBit: fitTo(data, count); return count;
    case kRegisterString: prependLength(data); return 1;
    case kRegister8Bit: keepLowBytes(data, count); return count;
    case kRegister16Bit: fitTo(data, quint64(2) * count); return count;
    case kRegister32Bit: {
        const quint32 elements = (count + 1) >> 1;
        fitTo(data, quint64(4) * elements);
        return elements;
    }
    case kRegister64Bit: {
        const quint32 elements = (count + 3) >> 2;
        fitTo(data, quint64(8) * elements);
        return elements;
    }
    default: return count;
    }
}

bool fitsOneFrame(const QByteArray& frame, const QByteArray& data)
{
    return qint64(frame.size()) + data.size() - wire::kEncapsulationHeaderSize <=
           kMaxEncapsulationLength;
}

} // namespace

void WriteRegister(RW_VAR* var)
{
    if (var == nullptr)
        return;
    ConnectionFields connection;
    WriteType type;
    {
        QMutexLocker store(&stationStoreMutex);
        PLCTAGCOMMUNICATION& station = PLCDataStorage[var->station];
        type = writeType(station.tagTypeMap[var->tagName]);
        connection = connectionFields(station);
    }
    const quint32 elements =
        layOutElements(var->data, type.registerType, static_cast<quint32>(var->count));

    QByteArray frame = startConnectedRequest(wire::writeTagFragmentedTemplate(), var->tagName);
    if (type.registerType != kRegisterString && var->isArrayTag != 0)
        appendElementSegment(frame, static_cast<quint32>(var->startIndex));
    endRequestPath(frame);
    frame.append(type.cipType, sizeof type.cipType);
    appendElementCount(frame, elements);
    if (!fitsOneFrame(frame, var->data))
        var->data.clear();
    frame.append(var->data);
    finishConnectedRequest(frame, connection);
    queueConnectedRequest(frame, *var, 0);
    WriteDataToLocal(var);
}
