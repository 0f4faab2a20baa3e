// The frames that the driver sends, as text, and what reads them.

#include "wire.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace wire {

QByteArray parseTemplate(const char* text)
{
    const QStringList digits = QString::fromLatin1(text).split(QLatin1Char(' '));
    QByteArray bytes;
    bytes.reserve(digits.size());
    for (int i = 0; i < digits.size(); ++i)
        bytes.append(static_cast<char>(digits.at(i).toInt(nullptr, 16)));
    return bytes;
}

const QByteArray& registerSessionTemplate()
{
    static const QByteArray bytes =
        parseTemplate("65 00 04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                      "01 00 00 00");
    return bytes;
}

// Forward Open to the Connection Manager: class 3, 2 s packet intervals with time-out x16, 504
// bytes each way, connected to the Message Router. Vendor ID 0xF850 lies outside the assigned range
// and is easy to find in a trace.
const QByteArray& forwardOpenTemplate()
{
    static const QByteArray bytes = parseTemplate(
        "6f 00 3e 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 " // encapsulation
        "00 00 00 00 00 00 02 00 00 00 00 00 b2 00 2e 00 "                         // items
        "54 02 20 06 24 01 05 f7 " // service, path, tick, time-out ticks
        "02 00 00 80 01 00 fe 80 " // O->T and T->O connection IDs
        "02 00 50 f8 00 00 00 00 " // connection serial, vendor, originator serial
        "02 00 00 00 "             // time-out multiplier, reserved
        "80 84 1e 00 f8 43 "       // O->T packet interval and parameters
        "80 84 1e 00 f8 43 "       // T->O packet interval and parameters
        "a3 02 20 02 24 01");      // transport, connection path
    return bytes;
}

const QByteArray& readTagTemplate()
{
    static const QByteArray bytes =
        parseTemplate("70 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                      "00 00 00 00 01 00 02 00 a1 00 04 00 00 00 00 00 b1 00 00 00 00 00 4c 00");
    return bytes;
}

const QByteArray& writeTagFragmentedTemplate()
{
    static const QByteArray bytes =
        parseTemplate("70 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                      "00 00 00 00 01 00 02 00 a1 00 04 00 00 00 00 00 b1 00 00 00 00 00 53 00");
    return bytes;
}

char* mutableBytes(QByteArray& bytes)
{
    return bytes.data();
}

char* grow(QByteArray& bytes, int size)
{
    const int before = bytes.size();
    bytes.resize(before + size);
    return bytes.data() + before;
}

} // namespace wire
