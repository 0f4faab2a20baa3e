// The common start and end of read and write requests. Knows nothing of services or types.

#include "connected_request.h"

#include "Device_Driver.h"
#include "bounds.h"

#include <cstring>

namespace {

// Room for a path with an element segment and the data behind it, so that an ordinary frame is
// allocated once.
const int kUsualTail = 32;

void copyIdentifier(char* to, const QByteArray& from)
{
    std::memset(to, 0, wire::kIdentifierLength);
    std::memcpy(to, from.constData(),
                static_cast<size_t>(qMin(from.size(), wire::kIdentifierLength)));
}

} // namespace

ConnectionFields connectionFields(const PLCTAGCOMMUNICATION& station)
{
    ConnectionFields fields;
    copyIdentifier(fields.sessionHandle, station.sessionHandle);
    copyIdentifier(fields.connectionId, station.connectionId);
    fields.sequenceCount = station.sequenceCount;
    return fields;
}

QByteArray startConnectedRequest(const QByteArray& frameTemplate, const QString& tagName)
{
    QByteArray frame = frameTemplate;
    frame.reserve(frameTemplate.size() + qMin(tagName.size(), kMaxTagNameLength) + kUsualTail);
    appendSymbolicSegment(frame, tagName);
    return frame;
}

void endRequestPath(QByteArray& frame)
{
    const int words = (frame.size() - wire::kRequestPath) / 2;
    wire::putU8(wire::mutableBytes(frame) + wire::kRequestPathSize, static_cast<quint32>(words));
}

void appendElementCount(QByteArray& frame, quint32 elements)
{
    char* at = wire::grow(frame, wire::kElementCountLength);
    wire::putU32(at, elements);
    wire::putU16(at + 4, 0);
}

void finishConnectedRequest(QByteArray& frame, const ConnectionFields& connection)
{
    const quint32 length = static_cast<quint32>(frame.size());
    char* bytes = wire::mutableBytes(frame);
    wire::putU16(bytes + wire::kLength, length - wire::kEncapsulationHeaderSize);
    std::memcpy(bytes + wire::kSessionHandle, connection.sessionHandle, wire::kIdentifierLength);
    std::memcpy(bytes + wire::kConnectionId, connection.connectionId, wire::kIdentifierLength);
    wire::putU16(bytes + wire::kConnectedItemLength, length - wire::kSequenceCount);
    wire::putU16(bytes + wire::kSequenceCount, connection.sequenceCount);
}

void queueConnectedRequest(const QByteArray& frame, const RW_VAR& var, int fixedReplyLength)
{
    PLC_driver.requests.append(Protocol());
    Protocol& request = PLC_driver.requests.last();
    request.frame = frame;
    request.frameLength = frame.size();
    request.replyLength = kReplyLengthUnknown;
    request.fixedReplyLength = fixedReplyLength;
    request.var = var;

    COM_INFO& comInfo = comInfoRecord();
    comInfo.framesExpected = 1;
    comInfo.framesAnswered = 0;
}
