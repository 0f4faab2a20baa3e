#include "fuzz_input.h"

#include "bounds.h"

#include <limits>

namespace {

const qint32 kMin = std::numeric_limits<qint32>::min();
const qint32 kMax = std::numeric_limits<qint32>::max();

const qint32 kExtremes[] = {
    0,          -1,          1,    kMin,  kMax,    kMin + 1, kMax - 1,  0x40000000,
    0x20000000, 255,         256,  65535, 65536,   0x7FFFF,  0x100000,  0x00FFFFFF,
    0x10000000, -0x40000000, 1023, 1024,  1048576, 0x200000, -0x100000,
};

const int kNameLengths[] = {
    0, 1, 2, 3, 40, 254, 255, 256, 257, kMaxTagNameLength, 70000, 504, kMaxTagNameLength + 1};

const ushort kFillers[] = {'A', 0x00E9, 0x0416, 0, 0xD800, 0xFFFF};

const char* const kOddIndexes[] = {"", "x", " 7", "7 ", "-0", "99999999999999999999", "0x10", "+5"};

template <size_t n, typename T>
T pick(const T (&choices)[n], FuzzInput& input)
{
    return choices[static_cast<size_t>(input.byte()) % n];
}

} // namespace

FuzzInput::FuzzInput(const quint8* bytes, size_t size) : at_(bytes), end_(bytes + size)
{
}

quint8 FuzzInput::byte()
{
    return at_ == end_ ? quint8(0) : *at_++;
}

qint32 FuzzInput::number()
{
    switch (below(4)) {
    case 0: return pick(kExtremes, *this);
    case 1: {
        quint32 raw = 0;
        for (int i = 0; i < 4; ++i)
            raw = raw << 8 | byte();
        return static_cast<qint32>(raw);
    }
    default: return byte();
    }
}

qint32 FuzzInput::modestNumber()
{
    const qint32 any = number();
    return any > 4096 ? any % 4096 : any;
}

QByteArray FuzzInput::bytes(int limit)
{
    const qint64 left = end_ - at_;
    const int length =
        static_cast<int>(qMin(qint64(byte() % (limit + 1)), qMax(left - 1, qint64(0))));
    const QByteArray taken(reinterpret_cast<const char*>(at_), length);
    at_ += length;
    return taken;
}

QByteArray FuzzInput::manyBytes()
{
    const quint8 kind = byte();
    if (kind < 192)
        return bytes();
    const int lengths[] = {1000, 65535, 65536, 70000, kMaxTagImageBytes, kMaxTagImageBytes + 53};
    return QByteArray(lengths[kind % 6], static_cast<char>(byte()));
}

QString FuzzInput::hostileName()
{
    if (flag())
        return familiarName();
    const int length = pick(kNameLengths, *this);
    const QChar filler(pick(kFillers, *this));
    return QString(length, filler);
}

QString FuzzInput::familiarName()
{
    return QString(1, QLatin1Char(static_cast<char>('A' + below(4))));
}

QString FuzzInput::indexText()
{
    if (below(4) == 0)
        return QString::fromLatin1(pick(kOddIndexes, *this));
    return QString::number(number());
}
