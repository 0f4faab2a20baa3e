// Builds Read Tag requests. Splits nothing: long variables were cut when the read list was made.

#include "Func_Read.h"

#include "Func_DealData.h"
#include "connected_request.h"

#include <QMutexLocker>

namespace {

/// What an array tag's type says about a request for it.
struct ArrayRead {
    quint32 elements;
    bool withElementSegment;
};

// Kept on purpose: hosts count 32-bit and 64-bit values in 16-bit words, which a once-read divides
// by the width and a cyclic read corrects by a subtraction.
ArrayRead planArrayRead(const RW_VAR& var, const QByteArray& typeHeader)
{
    const quint32 count = static_cast<quint32>(var.count);
    const bool once = var.onceFlag != 0;
    if (typeHeader.isEmpty())
        return {count, true};
    switch (wire::getU8(typeHeader, kTypeRegister)) {
    case kTypeUnknown:
    case kRegisterString: return {1, false};
    case kRegister32Bit: return {once ? count >> 1 : count - 1, true};
    case kRegister64Bit: return {once ? count >> 2 : count - 3, true};
    default: return {count, true};
    }
}

/// Marks a tag whose type no reply has told yet: this request is a probe.
void markUnknownType(QByteArray& typeHeader)
{
    if (isCompleteTypeHeader(typeHeader))
        return;
    const char mark = static_cast<char>(kTypeUnknown);
    if (typeHeader.isEmpty())
        typeHeader.append(mark);
    else
        typeHeader[kTypeRegister] = mark;
}

} // namespace

void ReadRegister(RW_VAR* var)
{
    if (var == nullptr)
        return;
    ArrayRead read = {static_cast<quint32>(var->count), false};
    ConnectionFields connection;
    {
        QMutexLocker store(&stationStoreMutex);
        PLCTAGCOMMUNICATION& station = PLCDataStorage[var->station];
        if (var->isArrayTag != 0) {
            QByteArray& typeHeader = station.tagTypeMap[var->tagName];
            markUnknownType(typeHeader);
            read = planArrayRead(*var, typeHeader);
        }
        connection = connectionFields(station);
    }

    QByteArray frame = startConnectedRequest(wire::readTagTemplate(), var->tagName);
    if (read.withElementSegment)
        appendElementSegment(frame, static_cast<quint32>(var->startIndex));
    endRequestPath(frame);
    appendElementCount(frame, read.elements);
    finishConnectedRequest(frame, connection);
    queueConnectedRequest(frame, *var, wire::kReplyValues);
}
