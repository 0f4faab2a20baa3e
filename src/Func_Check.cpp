// Check sums, digit conversion and the log handler. The driver's own path uses none of them.

#include "Func_Check.h"

#include <QDateTime>
#include <QFile>
#include <QMutex>
#include <QMutexLocker>

#include <cstdlib>

namespace {

const quint16 kReflectedPolynomial = 0xA001; // 0x8005 with its bits reversed
const quint16 kPolynomial = 0x8005;
const int kDigitZero = 0x30;
const int kBeforeLetterA = 0x37; // 'A' is this and 10

quint32 sumOf(const quint8* bytes, quint32 length)
{
    quint32 sum = 0;
    for (quint32 i = 0; bytes != nullptr && i < length; ++i)
        sum += bytes[i];
    return sum;
}

quint16 reflectedCrc(const quint8* bytes, quint32 length, quint16 initial, quint16 polynomial)
{
    quint32 crc = initial;
    for (quint32 i = 0; bytes != nullptr && i < length; ++i) {
        crc ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) != 0 ? (crc >> 1) ^ polynomial : crc >> 1;
    }
    return static_cast<quint16>(crc);
}

/// The name of a message type in the log, null for types that the log does not know.
const char* typeName(QtMsgType type)
{
    switch (static_cast<int>(type)) {
    case QtDebugMsg: return "Debug";
    case QtWarningMsg: return "Warning";
    case QtCriticalMsg: return "Critical";
    default: return nullptr;
    }
}

// Kept on purpose: the closing parenthesis has no opening one; programs that read the log rely on
// it.
QByteArray logLine(QtMsgType type, const char* text)
{
    const char* name = typeName(type);
    if (name == nullptr)
        return QByteArray();
    const QString stamp =
        QDateTime::currentDateTime().toString(QLatin1String("[ yyyy-MM-dd HH:mm:ss:zzz ]"));
    QByteArray line = stamp.toLatin1();
    line.append(": ").append(name).append(":\t").append(text).append(')');
    return line;
}

} // namespace

void myMsgOutput(QtMsgType type, const char* text)
{
    static QMutex mutex;
    static bool check = false;

    QMutexLocker lock(&mutex);
    if (type == QtFatalMsg)
        std::abort();
    QByteArray line = logLine(type, text);
    line.append("\r\n");

    QFile file(QString::fromLatin1("debug.txt"));
    const QIODevice::OpenMode mode = check ? QIODevice::ReadWrite | QIODevice::Append
                                           : QIODevice::OpenMode(QIODevice::WriteOnly);
    check = true;
    if (!file.open(mode))
        return;
    file.write(line);
    file.flush();
    file.close();
}

quint16 CalSUM(const quint8* bytes, quint16 length)
{
    return static_cast<quint16>(sumOf(bytes, length));
}

quint16 CalCRC(const quint8* bytes, quint16 length)
{
    return reflectedCrc(bytes, length, 0xFFFF, kReflectedPolynomial);
}

// Kept on purpose: the sum is cut to 8 bits before the increment, so 256 is a possible result.
int CalLRC(const quint8* bytes, quint16 length)
{
    return static_cast<int>(~sumOf(bytes, length) & 0xFF) + 1;
}

// Kept on purpose: the first byte is read even when length is 0.
quint8 CalXOR(const quint8* bytes, quint16 length)
{
    if (bytes == nullptr)
        return 0;
    quint32 check = bytes[0];
    for (quint32 i = 1; i < length; ++i)
        check ^= bytes[i];
    return static_cast<quint8>(check);
}

void InvertUint16(quint16* destination, quint16 source)
{
    if (destination == nullptr)
        return;
    quint32 inverted = 0;
    for (int bit = 0; bit < 16; ++bit) {
        if ((source & (1U << bit)) != 0)
            inverted |= 1U << (15 - bit);
    }
    *destination = static_cast<quint16>(inverted);
}

quint16 CRC16_IBM(const quint8* bytes, quint32 length)
{
    quint16 polynomial = 0;
    InvertUint16(&polynomial, kPolynomial);
    return reflectedCrc(bytes, length, 0, polynomial);
}

int DigitalToASCII(int value)
{
    const quint32 offset = value <= 9 ? kDigitZero : kBeforeLetterA;
    return static_cast<int>(static_cast<quint32>(value) + offset);
}

// Kept on purpose: ':' to '?' count on to 10..15, and lower case is not folded.
int ASCIIToDigital(int character)
{
    if (character < '0' || character == '@')
        return 0;
    return character <= '?' ? character - kDigitZero : character - kBeforeLetterA;
}
