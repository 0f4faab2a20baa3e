#include "tiny_controller.h"

namespace controller {

namespace {

const int kHeaderSize = 24;
const int kConnectedItemHead = 44; // up to the sequence count
const int kServiceAt = 46;
const quint8 kRegisterSession = 0x65;
const quint8 kSendRrData = 0x6F;
const quint8 kReadService = 0x4C;
const quint8 kReplyBit = 0x80;

void putUint16(QByteArray& bytes, int at, int value)
{
    bytes[at] = static_cast<char>(value & 0xFF);
    bytes[at + 1] = static_cast<char>(value >> 8 & 0xFF);
}

void putUint32(QByteArray& bytes, int at, quint32 value)
{
    putUint16(bytes, at, static_cast<int>(value & 0xFFFF));
    putUint16(bytes, at + 2, static_cast<int>(value >> 16));
}

QByteArray encapsulated(quint8 command, int size, quint32 session)
{
    QByteArray bytes(size, '\0');
    bytes[0] = static_cast<char>(command);
    putUint16(bytes, 2, size - kHeaderSize);
    putUint32(bytes, 4, session);
    return bytes;
}

/// A connected reply up to its extended status size: 50 bytes.
QByteArray connectedReply(quint8 service, quint8 generalStatus)
{
    QByteArray bytes = encapsulated(0x70, 50, 0);
    bytes[30] = 2;
    putUint16(bytes, 32, 0xA1);
    putUint16(bytes, 34, 4);
    putUint16(bytes, 40, 0xB1);
    bytes[kServiceAt] = static_cast<char>(service | kReplyBit);
    bytes[48] = static_cast<char>(generalStatus);
    return bytes;
}

QByteArray withLengths(QByteArray bytes)
{
    putUint16(bytes, 2, bytes.size() - kHeaderSize);
    putUint16(bytes, 42, bytes.size() - kConnectedItemHead);
    return bytes;
}

} // namespace

Asked askedBy(const Protocol& request)
{
    const quint8 command = static_cast<quint8>(request.frame.at(0));
    if (command == kRegisterSession)
        return Asked::RegisterSession;
    if (command == kSendRrData)
        return Asked::ForwardOpen;
    const quint8 service = static_cast<quint8>(request.frame.at(kServiceAt));
    return service == kReadService ? Asked::Read : Asked::Write;
}

QByteArray registerSessionReply(quint32 session)
{
    QByteArray bytes = encapsulated(kRegisterSession, 28, session);
    bytes[kHeaderSize] = 1;
    return bytes;
}

QByteArray forwardOpenReply(quint32 session, quint32 connectionId)
{
    QByteArray bytes = encapsulated(kSendRrData, 70, session);
    bytes[30] = 2;
    putUint16(bytes, 36, 0xB2);
    putUint16(bytes, 38, 30);
    bytes[40] = static_cast<char>(0x54 | kReplyBit);
    putUint32(bytes, 44, connectionId);
    return bytes;
}

QByteArray readReply(quint8 cipType, const QByteArray& values)
{
    QByteArray bytes = connectedReply(kReadService, 0);
    bytes.append(static_cast<char>(cipType)).append('\0').append(values);
    return withLengths(bytes);
}

QByteArray writeReply()
{
    return withLengths(connectedReply(0x53, 0));
}

QByteArray refusal(quint8 generalStatus)
{
    return withLengths(connectedReply(kReadService, generalStatus));
}

QByteArray goodReply(const Protocol& request, quint8 cipType, const QByteArray& values)
{
    const quint32 session = static_cast<quint32>(request.var.station) + 1;
    switch (askedBy(request)) {
    case Asked::RegisterSession: return registerSessionReply(session);
    case Asked::ForwardOpen: return forwardOpenReply(session, session);
    case Asked::Read: return readReply(cipType, values);
    case Asked::Write: break;
    }
    return writeReply();
}

QByteArray writtenValues(const Protocol& request, int count)
{
    return request.frame.right(count);
}

} // namespace controller
