// Frames written by hand, as hexadecimal.

#ifndef TESTS_HOST_HEX_H
#define TESTS_HOST_HEX_H

#include "frame_view.h"

#include <QByteArray>

namespace panelhost {

/// "70 00 0c" as bytes; blanks and line breaks only separate.
QByteArray hex(const char* text);

} // namespace panelhost

#endif // TESTS_HOST_HEX_H
