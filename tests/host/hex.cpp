#include "hex.h"

namespace panelhost {

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(QByteArray(text));
}

} // namespace panelhost
