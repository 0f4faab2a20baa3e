// Signed arithmetic that wraps instead of overflowing: the operands are the host's.

#ifndef MICRO850_WRAPPING_H
#define MICRO850_WRAPPING_H

#include <QtGlobal>

inline qint32 wrappingAdd(qint32 a, qint32 b)
{
    return static_cast<qint32>(static_cast<quint32>(a) + static_cast<quint32>(b));
}

inline qint32 wrappingSubtract(qint32 a, qint32 b)
{
    return static_cast<qint32>(static_cast<quint32>(a) - static_cast<quint32>(b));
}

#endif // MICRO850_WRAPPING_H
