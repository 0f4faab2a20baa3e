// Every place where Qt 4.8 and Qt 5.15 differ for the driver.

#ifndef MICRO850_QT_COMPAT_H
#define MICRO850_QT_COMPAT_H

#include <QByteArray>
#include <QtGlobal>

namespace compat {

/// Emits text as a debug message, unchanged. Streaming it into qDebug() would lose a blank at its
/// end on Qt 5 and escape its quotation marks.
inline void debugMessage(const QByteArray& text)
{
    qDebug("%s", text.constData());
}

/// The pseudo-random generator that both generations have. Qt 5.15 prefers another one, which
/// Qt 4.8 lacks; drop the pragma together with Qt 4.8.
inline int seededRandom(uint seed)
{
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#endif
    qsrand(seed);
    return qrand();
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
}

} // namespace compat

#endif // MICRO850_QT_COMPAT_H
