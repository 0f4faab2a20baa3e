// What a fuzzer's bytes are read as: numbers and texts, many of them at the edges where code breaks.

#ifndef MICRO850_TESTS_FUZZ_INPUT_H
#define MICRO850_TESTS_FUZZ_INPUT_H

#include <QByteArray>
#include <QString>
#include <QtGlobal>

#include <cstddef>

/// Hands out the input from its front; what is read beyond its end is 0.
class FuzzInput {
public:
    FuzzInput(const quint8* bytes, size_t size);

    bool isAtEnd() const { return at_ == end_; }

    quint8 byte();
    bool flag() { return (byte() & 1) != 0; }
    /// 0 to limit - 1.
    int below(int limit) { return byte() % limit; }

    /// A number of any size: mostly small, often one of the extremes, else four raw bytes.
    qint32 number();
    /// The like of number(), but never so large that a rebuild takes long.
    qint32 modestNumber();

    /// As many raw bytes as a length byte says, at most limit.
    QByteArray bytes(int limit = 255);
    /// Bytes whose number may also be huge; the huge ones repeat one byte.
    QByteArray manyBytes();

    /// A tag name of the lengths that matter: 0, 1, 254 to 256, around the longest that fits a
    /// frame, 70,000; Latin-1, beyond Latin-1 or zeros.
    QString hostileName();
    /// One of a few short names, so that calls meet at the same tag.
    QString familiarName();
    /// Decimal text of a number, or text that is none.
    QString indexText();

private:
    const quint8* at_;
    const quint8* end_;
};

#endif // MICRO850_TESTS_FUZZ_INPUT_H
