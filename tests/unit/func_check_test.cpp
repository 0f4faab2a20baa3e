// Check sums and digits, with published check values where there are any.

#include "Func_Check.h"
#include "bytes.h"

#include <climits>
#include <gtest/gtest.h>

namespace {

const quint8* raw(const QByteArray& bytes)
{
    return reinterpret_cast<const quint8*>(bytes.constData());
}

quint16 length16(const QByteArray& bytes)
{
    return static_cast<quint16>(bytes.size());
}

quint32 length32(const QByteArray& bytes)
{
    return static_cast<quint32>(bytes.size());
}

int sum(const char* bytesHex)
{
    const QByteArray bytes = hex(bytesHex);
    return CalSUM(raw(bytes), length16(bytes));
}

int lrc(const char* bytesHex)
{
    const QByteArray bytes = hex(bytesHex);
    return CalLRC(raw(bytes), length16(bytes));
}

int crc(const char* bytesHex)
{
    const QByteArray bytes = hex(bytesHex);
    return CalCRC(raw(bytes), length16(bytes));
}

int arc(const char* bytesHex)
{
    const QByteArray bytes = hex(bytesHex);
    return CRC16_IBM(raw(bytes), length32(bytes));
}

const char* const kDigits1To9 = "31 32 33 34 35 36 37 38 39";

TEST(ByteSum, AddsBytesAndKeepsSixteenBits)
{
    EXPECT_EQ(0, sum(""));
    EXPECT_EQ(0x01, sum("01"));
    EXPECT_EQ(0xFF, sum("FF"));
    EXPECT_EQ(0x1DD, sum(kDigits1To9));
    EXPECT_EQ(0x1FE, sum("FF FF"));
    const QByteArray most(65535, '\xFF');
    EXPECT_EQ(0xFF01, CalSUM(raw(most), 65535));
}

TEST(ByteSum, OfNoBytesReadsNothing)
{
    EXPECT_EQ(0, CalSUM(nullptr, 0));
}

TEST(Lrc, IsTheComplementOfTheByteSumPlusOne)
{
    EXPECT_EQ(0xFA, lrc("01 02 03"));
    EXPECT_EQ(0x23, lrc(kDigits1To9));
    EXPECT_EQ(1, lrc("FF"));
    EXPECT_EQ(0xFF, lrc("01"));
    EXPECT_EQ(2, lrc("FF FF"));
}

TEST(Lrc, OfASumThatIsAMultipleOf256Is256)
{
    EXPECT_EQ(256, lrc(""));
    EXPECT_EQ(256, lrc("00"));
    EXPECT_EQ(256, lrc("80 80"));
    EXPECT_EQ(256, lrc("FF 01"));
    EXPECT_EQ(256, lrc("FF FF 02"));
    EXPECT_EQ(256, CalLRC(nullptr, 0));
}

TEST(Xor, CombinesAllBytes)
{
    const QByteArray bytes = hex("01 02 04 80 FF");
    EXPECT_EQ(0x03, CalXOR(raw(bytes), 2));
    EXPECT_EQ(0x87, CalXOR(raw(bytes), 4));
    EXPECT_EQ(0x78, CalXOR(raw(bytes), 5));
}

TEST(Xor, OfLengthZeroOrOneIsTheFirstByte)
{
    const QByteArray bytes = hex("5A A5");
    EXPECT_EQ(0x5A, CalXOR(raw(bytes), 0));
    EXPECT_EQ(0x5A, CalXOR(raw(bytes), 1));
}

TEST(ModbusCrc, GivesItsPublishedCheckValue)
{
    EXPECT_EQ(0x4B37, crc(kDigits1To9));
    EXPECT_EQ(0xCDC5, crc("01 03 00 00 00 0A")) << "sent as C5 CD";
}

TEST(ModbusCrc, OfNoBytesIsItsInitialValue)
{
    EXPECT_EQ(0xFFFF, crc(""));
    EXPECT_EQ(0xFFFF, CalCRC(nullptr, 0));
}

TEST(ModbusCrc, OfAMessageWithItsOwnCrcIsZero)
{
    EXPECT_EQ(0, crc("01 03 00 00 00 0A C5 CD"));
    EXPECT_EQ(0, crc("31 32 33 34 35 36 37 38 39 37 4B"));
}

TEST(ArcCrc, GivesItsPublishedCheckValue)
{
    EXPECT_EQ(0xBB3D, arc(kDigits1To9));
    EXPECT_EQ(0x0000, arc(""));
    EXPECT_EQ(0x0000, arc("00 00 00"));
    EXPECT_EQ(0xC0C1, arc("01")) << "the second entry of the published table";
    EXPECT_EQ(0x4040, arc("FF")) << "its last entry";
    EXPECT_EQ(0, CRC16_IBM(nullptr, 0));
}

TEST(ArcCrc, TakesMoreThan65535Bytes)
{
    QByteArray message(70000, '\x5A');
    const quint16 value = CRC16_IBM(raw(message), length32(message));
    EXPECT_NE(value, CRC16_IBM(raw(message), 70000 - 65536));
    message.append(static_cast<char>(value & 0xFF)).append(static_cast<char>(value >> 8));
    EXPECT_EQ(0, CRC16_IBM(raw(message), length32(message))) << "a message with its own CRC";
}

TEST(BitReversal, ReversesSixteenBits)
{
    const struct {
        quint16 source;
        quint16 reversed;
    } cases[] = {{0x8005, 0xA001}, {0x0001, 0x8000}, {0x8000, 0x0001}, {0x0000, 0x0000},
                 {0xFFFF, 0xFFFF}, {0x1234, 0x2C48}, {0x00FF, 0xFF00}, {0x0180, 0x0180}};
    for (const auto& c : cases) {
        quint16 reversed = 0x5A5A;
        InvertUint16(&reversed, c.source);
        EXPECT_EQ(c.reversed, reversed) << std::hex << c.source;
    }
}

TEST(BitReversal, TwiceGivesEveryValueBack)
{
    for (int value = 0; value <= 0xFFFF; ++value) {
        quint16 once = 0, twice = 0;
        InvertUint16(&once, static_cast<quint16>(value));
        InvertUint16(&twice, once);
        ASSERT_EQ(value, twice);
    }
}

TEST(Digits, BecomeCharacters)
{
    EXPECT_EQ('0', DigitalToASCII(0));
    EXPECT_EQ('9', DigitalToASCII(9));
    EXPECT_EQ('A', DigitalToASCII(10));
    EXPECT_EQ('F', DigitalToASCII(15));
}

TEST(Digits, Above15GoOnAlongTheAlphabet)
{
    EXPECT_EQ('G', DigitalToASCII(16));
    EXPECT_EQ('Z', DigitalToASCII(35));
    EXPECT_EQ(0x137, DigitalToASCII(0x100));
}

TEST(Digits, BelowZeroStayBelowTheCharacterZero)
{
    EXPECT_EQ(0x2F, DigitalToASCII(-1));
    EXPECT_EQ(INT_MIN + 0x30, DigitalToASCII(INT_MIN));
}

TEST(Digits, OfTheGreatestValueWrapAround)
{
    EXPECT_EQ(INT_MIN + 0x36, DigitalToASCII(INT_MAX));
}

TEST(Characters, BecomeDigits)
{
    for (int digit = 0; digit <= 9; ++digit)
        EXPECT_EQ(digit, ASCIIToDigital('0' + digit));
    for (int digit = 10; digit <= 15; ++digit)
        EXPECT_EQ(digit, ASCIIToDigital('A' + digit - 10));
}

TEST(Characters, BetweenNineAndAGoOnCountingUpToTheQuestionMark)
{
    EXPECT_EQ(10, ASCIIToDigital(':'));
    EXPECT_EQ(15, ASCIIToDigital('?'));
    EXPECT_EQ(0, ASCIIToDigital('@'));
}

TEST(Characters, BelowZeroAreZero)
{
    EXPECT_EQ(0, ASCIIToDigital('/'));
    EXPECT_EQ(0, ASCIIToDigital(0));
    EXPECT_EQ(0, ASCIIToDigital(-1));
    EXPECT_EQ(0, ASCIIToDigital(INT_MIN));
}

TEST(Characters, OfLowerCaseAreNotFolded)
{
    EXPECT_EQ(42, ASCIIToDigital('a'));
    EXPECT_EQ(16, ASCIIToDigital('G'));
    EXPECT_EQ(200, ASCIIToDigital(255));
    EXPECT_EQ(INT_MAX - 0x37, ASCIIToDigital(INT_MAX));
}

} // namespace
