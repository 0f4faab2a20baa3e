#include "hex.h"
#include "screening.h"

#include <gtest/gtest.h>

namespace panelhost {
namespace {

constexpr std::uint32_t kConnection = 0x01FE8001;

// Read Tag of Counter, one element, session 11 22 33 44, sequence count 5.
const QByteArray kReadRequest = hex("70 00 28 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00"
                                    "00 00 00 00 00 00 00 00 01 00 02 00 a1 00 04 00 aa bb cc dd"
                                    "b1 00 14 00 05 00 4c 05 91 07 43 6f 75 6e 74 65 72 00 01 00"
                                    "00 00 00 00");
// Its answer: DINT 7.
const QByteArray kReadReply = hex("70 00 20 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00"
                                  "00 00 00 00 00 00 00 00 00 00 02 00 a1 00 04 00 01 80 fe 01"
                                  "b1 00 0c 00 05 00 cc 00 00 00 c4 00 07 00 00 00");
const QByteArray kForwardOpen = hex("6f 00 3e 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00"
                                    "00 00 00 00 00 00 00 00 00 00 02 00 00 00 00 00 b2 00 2e 00"
                                    "54 02 20 06 24 01 05 f7 02 00 00 80 01 00 fe 80 02 00 50 f8"
                                    "00 00 5b f4 02 00 00 00 80 84 1e 00 f8 43 80 84 1e 00 f8 43"
                                    "a3 02 20 02 24 01");
const QByteArray kForwardOpenReply =
    hex("6f 00 2e 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
        "00 00 00 00 00 00 02 00 00 00 00 00 b2 00 1e 00 d4 00 00 00 4c 8a 81 09"
        "01 00 fe 80 02 00 50 f8 00 00 5b f4 80 84 1e 00 80 84 1e 00 00 00");
const QByteArray kRegisterReply =
    hex("65 00 04 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00");

QByteArray with(QByteArray bytes, int at, int value)
{
    bytes[at] = static_cast<char>(value);
    return bytes;
}

Screened screenRead(const QByteArray& reply)
{
    return screenDataReply(ByteView(kReadRequest), kConnection, ByteView(reply));
}

Screened screenOpen(const QByteArray& reply)
{
    return screenForwardOpen(ByteView(kForwardOpen), ByteView(reply));
}

TEST(Screening, AnAnswerToTheReadIsGood)
{
    const Screened screened = screenRead(kReadReply);
    EXPECT_EQ(screened.verdict, Verdict::Good);
    EXPECT_EQ(screened.reason, "");
}

TEST(Screening, AnotherSequenceCountIsALateAnswerAndNotOurs)
{
    EXPECT_EQ(screenRead(with(kReadReply, 44, 4)).verdict, Verdict::NotOurs);
    EXPECT_EQ(screenRead(with(kReadReply, 45, 1)).verdict, Verdict::NotOurs);
}

TEST(Screening, AnotherConnectionOrSessionIsNotOurs)
{
    EXPECT_EQ(screenRead(with(kReadReply, 36, 2)).verdict, Verdict::NotOurs);
    EXPECT_EQ(screenRead(with(kReadReply, 39, 2)).verdict, Verdict::NotOurs);
    EXPECT_EQ(screenRead(with(kReadReply, 4, 0x12)).verdict, Verdict::NotOurs);
}

TEST(Screening, AFiftyByteRefusalWithStatusFiveNamesTheMissingTag)
{
    const QByteArray reply = hex("70 00 1a 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00"
                                 "00 00 00 00 00 00 00 00 00 00 02 00 a1 00 04 00 01 80 fe 01"
                                 "b1 00 06 00 05 00 cc 00 05 00");
    const Screened screened = screenRead(reply);
    EXPECT_EQ(screened.verdict, Verdict::Refused);
    EXPECT_EQ(screened.status.general, 0x05);
    EXPECT_FALSE(screened.status.extended.has_value());
    EXPECT_EQ(screened.reason, "no such tag, or not a global variable (status 0x05)");
}

TEST(Screening, AnExtendedStatusTellsBeyondTheEndFromTypeMismatch)
{
    const QByteArray beyond = hex("70 00 1c 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00"
                                  "00 00 00 00 00 00 00 00 00 00 02 00 a1 00 04 00 01 80 fe 01"
                                  "b1 00 08 00 05 00 cc 00 ff 01 05 21");
    EXPECT_EQ(screenRead(beyond).reason,
              "beyond the end of the array; arrays start at 0 (status 0xFF/0x2105)");
    EXPECT_EQ(screenRead(with(beyond, 50, 0x07)).reason, "data type mismatch (status 0xFF/0x2107)");
}

TEST(Screening, AnUnknownStatusIsRefusedWithItsNumber)
{
    EXPECT_EQ(screenRead(with(kReadReply, 48, 0x77)).reason,
              "refused by the controller (status 0x77)");
}

TEST(Screening, AnEncapsulationStatusMeansThatTheSessionIsLost)
{
    const QByteArray reply = hex("70 00 00 00 11 22 33 44 64 00 00 00 00 00 00 00 00 00 00 00"
                                 "00 00 00 00");
    const Screened screened = screenRead(reply);
    EXPECT_EQ(screened.verdict, Verdict::SessionLost);
    EXPECT_EQ(screened.reason, "session handle unknown: the controller dropped the session "
                               "(encapsulation status 0x0064)");
}

TEST(Screening, EveryBrokenFieldOfADataReplyIsMalformed)
{
    const int positions[] = {0, 2, 30, 32, 34, 40, 42, 46};
    for (const int position : positions) {
        const int changed = kReadReply.at(position) ^ 0x10;
        EXPECT_EQ(screenRead(with(kReadReply, position, changed)).verdict, Verdict::Malformed)
            << "byte " << position;
    }
}

TEST(Screening, EveryTruncatedDataReplyIsMalformed)
{
    for (int size = 0; size < 50; ++size) {
        QByteArray reply = kReadReply.left(size);
        if (size >= 24)
            reply[2] = static_cast<char>(size - 24);
        if (size >= 44)
            reply[42] = static_cast<char>(size - 44);
        EXPECT_EQ(screenRead(reply).verdict, Verdict::Malformed) << size << " bytes";
    }
}

TEST(Screening, AStatusThatPromisesMoreWordsThanThereAreIsMalformed)
{
    EXPECT_EQ(screenRead(with(with(kReadReply, 48, 0xFF), 49, 4)).verdict, Verdict::Malformed);
}

TEST(Screening, ARegisteredSessionIsGoodUnlessItsHandleIsZeroOrItsStatusIsNot)
{
    EXPECT_EQ(screenRegisterSession(ByteView(kRegisterReply)).verdict, Verdict::Good);
    const QByteArray handleZero =
        hex("65 00 04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00");
    EXPECT_EQ(screenRegisterSession(ByteView(handleZero)).verdict, Verdict::Malformed);
    const QByteArray refused = with(kRegisterReply, 8, 0x02);
    EXPECT_EQ(screenRegisterSession(ByteView(refused)).verdict, Verdict::SessionLost);
    const QByteArray version = with(kRegisterReply, 24, 2);
    EXPECT_EQ(screenRegisterSession(ByteView(version)).verdict, Verdict::Malformed);
}

TEST(Screening, AnAcceptedForwardOpenIsGood)
{
    EXPECT_EQ(screenOpen(kForwardOpenReply).verdict, Verdict::Good);
}

TEST(Screening, ASeventyByteForwardOpenReplyWithAnErrorStatusIsRefused)
{
    EXPECT_EQ(screenOpen(with(kForwardOpenReply, 42, 0x02)).verdict, Verdict::Refused);
}

TEST(Screening, TheAnswerToAnEarlierForwardOpenIsNotOurs)
{
    EXPECT_EQ(screenOpen(with(kForwardOpenReply, 58, 0x5c)).verdict, Verdict::NotOurs);
}

TEST(Screening, ARefusedForwardOpenSaysWhy)
{
    const QByteArray refused =
        hex("6f 00 20 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
            "00 00 00 00 00 00 02 00 00 00 00 00 b2 00 10 00 d4 00 01 01 13 01"
            "02 00 50 f8 00 00 5b f4 00 00");
    const Screened screened = screenOpen(refused);
    EXPECT_EQ(screened.verdict, Verdict::Refused);
    EXPECT_EQ(screened.reason, "Forward Open refused: the controller has no free connection; close "
                               "other clients (status 0x01/0x0113)");
}

TEST(ReadRequestOnTheWire, IsDecodedWithAndWithoutAnElementSegment)
{
    const ReadRequest plain = decodeReadRequest(ByteView(kReadRequest));
    EXPECT_TRUE(plain.valid);
    EXPECT_EQ(plain.firstElement, 0u);
    EXPECT_EQ(plain.elements, 1u);

    const QByteArray prefix = kReadRequest.left(47);
    const auto decode = [&prefix](const char* rest) {
        const QByteArray request = prefix + hex(rest);
        return decodeReadRequest(ByteView(request));
    };
    const ReadRequest narrow = decode("04 91 03 41 72 72 00 28 0a 04 00 00 00 00 00");
    EXPECT_TRUE(narrow.valid);
    EXPECT_EQ(narrow.firstElement, 10u);
    EXPECT_EQ(narrow.elements, 4u);
    const ReadRequest wide = decode("05 91 03 41 72 72 00 29 00 2c 01 14 00 00 00 00 00");
    EXPECT_TRUE(wide.valid);
    EXPECT_EQ(wide.firstElement, 300u);
    EXPECT_EQ(wide.elements, 20u);
}

TEST(ReadRequestOnTheWire, WithA32BitElementSegmentIsNotTrusted)
{
    const QByteArray request =
        kReadRequest.left(47) + hex("06 91 03 41 72 72 00 30 00 00 00 01 00 04 00 00 00 00 00");
    EXPECT_FALSE(decodeReadRequest(ByteView(request)).valid);
}

} // namespace
} // namespace panelhost
