// RegisterSession and Forward Open as the driver queues them.

#include "Func_Initi.h"
#include "driver_fixture.h"

#include <QDateTime>
#include <QTime>

#include <gtest/gtest.h>

namespace {

class HandshakeRequest : public DriverTest {
protected:
    /// The Forward Open of a new handshake, with bytes 58, 59 (vendor) and 62, 63 (random) zeroed.
    static QByteArray maskedForwardOpen(QByteArray frame)
    {
        for (const int at : {58, 59, 62, 63})
            frame[at] = '\0';
        return frame;
    }

    static QByteArray forwardOpenOf(int station)
    {
        PLC_driver.requests.clear();
        HandshakeFunction(station);
        return PLC_driver.requests.at(1).frame;
    }
};

TEST_F(HandshakeRequest, QueuesRegisterSessionThenForwardOpen)
{
    EXPECT_EQ(1, HandshakeFunction(5));
    ASSERT_EQ(2, PLC_driver.requests.size());

    const Protocol& first = PLC_driver.requests.at(0);
    EXPECT_EQ(hex("65 00 04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                  "01 00 00 00"),
              first.frame);
    EXPECT_EQ(28, first.frameLength);
    EXPECT_EQ(28, first.replyLength);
    EXPECT_EQ(5, first.var.station);

    const Protocol& second = PLC_driver.requests.at(1);
    EXPECT_EQ(hex("6f 00 3e 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                  "00 00 00 00 00 00 02 00 00 00 00 00 b2 00 2e 00"
                  "54 02 20 06 24 01 05 f7 02 00 00 80 01 00 fe 80 02 00 00 00"
                  "00 00 00 00 02 00 00 00 80 84 1e 00 f8 43 80 84 1e 00 f8 43"
                  "a3 02 20 02 24 01"),
              maskedForwardOpen(second.frame));
    EXPECT_EQ(86, second.frameLength);
    EXPECT_EQ(86, second.frame.size());
    EXPECT_EQ(70, second.replyLength);
    EXPECT_EQ(5, second.var.station);
}

TEST_F(HandshakeRequest, AnnouncesTwoFramesToTheHost)
{
    comInfo.framesExpected = 1;
    comInfo.framesAnswered = 1;
    HandshakeFunction(5);
    EXPECT_EQ(2, comInfo.framesExpected);
    EXPECT_EQ(0, comInfo.framesAnswered);
}

TEST_F(HandshakeRequest, SetsNothingOfTheVariableButItsStation)
{
    HandshakeFunction(5);
    for (const Protocol& request : PLC_driver.requests) {
        EXPECT_EQ(0, request.fixedReplyLength);
        EXPECT_EQ(0, request.requestFlags);
        EXPECT_EQ(0, request.reserved0);
        EXPECT_EQ(0, request.reserved1);
        EXPECT_EQ(0, request.reserved2);
        EXPECT_EQ(0, request.var.hostArea);
        EXPECT_EQ(0, request.var.hostAddress);
        EXPECT_EQ(0, request.var.accessKind);
        EXPECT_EQ(0, request.var.hostWord3);
        EXPECT_EQ(0, request.var.deviceNo);
        EXPECT_EQ(0, request.var.result);
        EXPECT_EQ(QString(), request.var.tagName);
        EXPECT_EQ(QString(), request.var.indexText);
        EXPECT_EQ(0, request.var.dataKind);
        EXPECT_EQ(0, request.var.startIndex);
        EXPECT_EQ(0, request.var.count);
        EXPECT_EQ(0, request.var.isArrayTag);
        EXPECT_EQ(0, request.var.onceFlag);
        EXPECT_EQ(QByteArray(), request.var.data);
    }
}

TEST_F(HandshakeRequest, CarriesNoSessionHandleEvenWhenAnOldOneIsKnown)
{
    connectStation(5, "11 22 33 44");
    HandshakeFunction(5);
    EXPECT_EQ(hex("00 00 00 00"), PLC_driver.requests.at(0).frame.mid(4, 4));
    EXPECT_EQ(hex("00 00 00 00"), PLC_driver.requests.at(1).frame.mid(4, 4));
}

TEST_F(HandshakeRequest, ForwardOpenGetsItsSessionHandleWhenRegisterSessionIsAccepted)
{
    PLC_driver.readList.append(readVar("Any", 5));
    ASSERT_EQ(28, ComCommunication()->frameLength);
    EXPECT_EQ(hex("00 00 00 00"), PLC_driver.requests.at(1).frame.mid(4, 4));
    reply(registerSessionReply("11 22 33 44"));
    EXPECT_EQ(hex("11 22 33 44"), ComCommunication()->frame.mid(4, 4));
}

TEST_F(HandshakeRequest, LogsBothFrames)
{
    HandshakeFunction(5);
    ASSERT_EQ(2, messages().size());
    EXPECT_EQ(text("HandshakeFunction *****1  "
                   "\"65000400000000000000000000000000000000000000000001000000\" "),
              messages().at(0));
    const QByteArray forwardOpen = PLC_driver.requests.at(1).frame;
    EXPECT_EQ(text("HandshakeFunction *****2  \""
                   "6f003e0000000000000000000000000000000000000000000000000000000200"
                   "00000000b2002e00540220062401"
                   "05f702000080"
                   "0100fe800200") +
                  QString::fromLatin1(forwardOpen.mid(58, 2).toHex()) + text("0000") +
                  QString::fromLatin1(forwardOpen.mid(62, 2).toHex()) +
                  text("0200000080841e00f84380841e00f843a30220022401\" "),
              messages().at(1));
}

TEST_F(HandshakeRequest, IsTheSameForEveryStation)
{
    const QByteArray one = forwardOpenOf(1);
    EXPECT_EQ(one, forwardOpenOf(2));
    EXPECT_EQ(one, forwardOpenOf(-7));
}

TEST_F(HandshakeRequest, CarriesTheSameVendorIdEveryTime)
{
    const QByteArray vendor = forwardOpenOf(1).mid(58, 2);
    for (int second = 0; second < 20; ++second) {
        holdClock(second * 4321);
        EXPECT_EQ(vendor, forwardOpenOf(second).mid(58, 2));
    }
}

TEST_F(HandshakeRequest, WithinOneSecondCarriesTheSameSerialNumber)
{
    EXPECT_EQ(forwardOpenOf(1).mid(60, 4), forwardOpenOf(1).mid(60, 4));
}

TEST_F(HandshakeRequest, CarriesTheRandomValueInTheHighHalfOfTheSerialNumber)
{
    for (int second = 0; second < 86400; second += 777) {
        holdClock(second);
        const int number = randomAt(second);
        const QByteArray frame = forwardOpenOf(1);
        EXPECT_EQ(hex("00 00"), frame.mid(60, 2));
        EXPECT_EQ(number & 0xFF, static_cast<quint8>(frame.at(62)));
        EXPECT_EQ(number >> 8, static_cast<quint8>(frame.at(63)));
    }
}

TEST_F(HandshakeRequest, RenewingTheSerialNumberChangesNothingElse)
{
    const QByteArray before = forwardOpenOf(1);
    QByteArray after = before;
    holdClock(12345);
    renewOriginatorSerial(after);
    const int number = randomAt(12345);
    EXPECT_EQ(number & 0xFF, static_cast<quint8>(after.at(62)));
    EXPECT_EQ(number >> 8, static_cast<quint8>(after.at(63)));
    EXPECT_NE(before.mid(62, 2), after.mid(62, 2));
    EXPECT_EQ(maskedForwardOpen(before), maskedForwardOpen(after));
}

TEST_F(HandshakeRequest, RenewingAFrameTooShortChangesNothing)
{
    for (const int length : {0, 28, 62, 63}) {
        QByteArray frame(length, '\x55');
        renewOriginatorSerial(frame);
        EXPECT_EQ(length, frame.size());
    }
}

TEST_F(HandshakeRequest, NeedsNoSettingsRecord)
{
    SetComInfo(nullptr);
    EXPECT_EQ(1, HandshakeFunction(5));
    EXPECT_EQ(2, PLC_driver.requests.size());
}

// --- The random number ---

TEST_F(HandshakeRequest, RandomNumberIsTheSameAllThroughOneSecond)
{
    holdClock(4711);
    const int first = get_random_number();
    EXPECT_EQ(first, get_random_number());
    EXPECT_EQ(first, get_random_number());
}

TEST_F(HandshakeRequest, RandomNumberIsSeededBySecondsSinceMidnight)
{
    for (int second = 0; second < 86400; second += 331) {
        holdClock(second);
        EXPECT_EQ(randomAt(second), get_random_number());
    }
}

TEST_F(HandshakeRequest, RandomNumberStaysBelow65535)
{
    for (int second = 0; second < 86400; ++second) {
        holdClock(second);
        const int number = get_random_number();
        ASSERT_GE(number, 0);
        ASSERT_LE(number, 65534);
    }
}

TEST(Clock, TellsTheSecondsSinceLocalMidnight)
{
    const int before = QTime(0, 0).secsTo(QTime::currentTime());
    const int now = secondsSinceMidnight();
    const int after = QTime(0, 0).secsTo(QTime::currentTime());
    if (before <= after)
        EXPECT_TRUE(before <= now && now <= after) << before << ' ' << now << ' ' << after;
    else // midnight passed meanwhile
        EXPECT_TRUE(now >= before || now <= after) << before << ' ' << now << ' ' << after;
}

} // namespace
