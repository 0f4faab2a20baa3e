#include "bytes.h"

#include <QStringList>

#include <gtest/gtest.h>

QByteArray hex(const char* text)
{
    QByteArray digits(text);
    digits.replace(' ', "").replace('\n', "");
    const QByteArray bytes = QByteArray::fromHex(digits);
    EXPECT_EQ(digits.size(), 2 * bytes.size()) << "not hexadecimal: " << text;
    return bytes;
}

QString spaced(const QByteArray& bytes)
{
    QStringList pairs;
    for (int i = 0; i < bytes.size(); ++i)
        pairs.append(QString::fromLatin1(bytes.mid(i, 1).toHex()).toUpper());
    return pairs.join(QLatin1String(" "));
}

void PrintTo(const QByteArray& bytes, std::ostream* out)
{
    *out << bytes.size() << " bytes: " << spaced(bytes).toStdString();
}

void PrintTo(const QString& string, std::ostream* out)
{
    *out << '"' << string.toStdString() << '"';
}
