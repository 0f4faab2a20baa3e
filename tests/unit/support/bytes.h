// Bytes as hand-written hexadecimal text, and how byte arrays and strings print when a test fails.

#ifndef MICRO850_TESTS_BYTES_H
#define MICRO850_TESTS_BYTES_H

#include <QByteArray>
#include <QString>

#include <ostream>

/// The bytes of a text such as "70 00 28 00"; blanks and line ends may stand anywhere between them.
/// A text that is no such list fails the running test.
QByteArray hex(const char* text);

/// The text of bytes: "70 00 28 00", upper case.
QString spaced(const QByteArray& bytes);

/// Latin-1 text, as tag names and index texts are written in tests.
inline QString text(const char* latin1)
{
    return QString::fromLatin1(latin1);
}

// GoogleTest finds these by argument-dependent lookup.
void PrintTo(const QByteArray& bytes, std::ostream* out);
void PrintTo(const QString& string, std::ostream* out);

#endif // MICRO850_TESTS_BYTES_H
