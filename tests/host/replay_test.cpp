// Recorded conversations written by hand, fed to the real library.

#include "hex.h"
#include "replay.h"

#include <gtest/gtest.h>

namespace panelhost {
namespace {

using std::chrono::milliseconds;

QByteArray u16(int value)
{
    QByteArray bytes;
    bytes.append(static_cast<char>(value)).append(static_cast<char>(value >> 8));
    return bytes;
}

/// A SendUnitData frame around sequence count and message.
QByteArray connectedFrame(const char* connectionId, int sequence, const QByteArray& message)
{
    const QByteArray item = u16(sequence) + message;
    return hex("70 00") + u16(20 + item.size()) +
           hex("11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
               "00 00 00 00 00 00 02 00 a1 00 04 00") +
           hex(connectionId) + hex("b1 00") + u16(item.size()) + item;
}

/// Read Tag of name, whose length is even, from element first on.
QByteArray readRequest(int sequence, const char* name, int first, int count)
{
    const QByteArray text(name);
    QByteArray path = hex("91") + QByteArray(1, static_cast<char>(text.size())) + text;
    if (first > 0)
        path += hex("28") + QByteArray(1, static_cast<char>(first));
    return connectedFrame("4c 8a 81 09", sequence,
                          hex("4c") + QByteArray(1, static_cast<char>(path.size() / 2)) + path +
                              u16(count) + hex("00 00 00 00"));
}

/// service and status, then data type and values.
QByteArray answer(int sequence, const char* message)
{
    return connectedFrame("01 00 fe 80", sequence, hex(message));
}

const QByteArray kRegister =
    hex("65 00 04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
        "00 00 01 00 00 00");
const QByteArray kRegistered = hex("65 00 04 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                                   "00 00 00 01 00 00 00");
const QByteArray kForwardOpen = hex("6f 00 3e 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00"
                                    "00 00 00 00 00 00 00 00 00 00 02 00 00 00 00 00 b2 00 2e 00"
                                    "54 02 20 06 24 01 05 f7 02 00 00 80 01 00 fe 80 02 00 50 f8"
                                    "00 00 5b f4 02 00 00 00 80 84 1e 00 f8 43 80 84 1e 00 f8 43"
                                    "a3 02 20 02 24 01");
const QByteArray kOpened =
    hex("6f 00 2e 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
        "00 00 00 00 00 00 02 00 00 00 00 00 b2 00 1e 00 d4 00 00 00 4c 8a 81 09"
        "01 00 fe 80 02 00 50 f8 00 00 5b f4 80 84 1e 00 80 84 1e 00 00 00");
const QByteArray kOpenRefused =
    hex("6f 00 20 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
        "00 00 00 00 00 00 02 00 00 00 00 00 b2 00 10 00 d4 00 01 01 13 01"
        "02 00 50 f8 00 00 5b f4 00 00");

class ReplayTest : public testing::Test {
protected:
    void host(const QByteArray& bytes) { frame(true, bytes); }
    void plc(const QByteArray& bytes) { frame(false, bytes); }
    void later(milliseconds time) { now_ += time; }

    void connect()
    {
        host(kRegister);
        plc(kRegistered);
        host(kForwardOpen);
        plc(kOpened);
    }

    void connectAndReadSeven()
    {
        connect();
        host(readRequest(1, "Tank", 0, 1));
        plc(answer(1, "cc 00 00 00 c4 00 07 00 00 00"));
    }

    /// "good 7", "stale 7 (why)", "bad (why)".
    std::string shown(const TagReference& reference)
    {
        const Snapshot shown = replay_.stations().at(0)->shown(reference, now_);
        std::string text = shown.quality == Quality::Good    ? "good"
                           : shown.quality == Quality::Stale ? "stale"
                                                             : "bad";
        for (const Value& value : shown.values)
            text += " " + formatValue(*shown.type, value);
        return shown.reason.empty() ? text : text + " (" + shown.reason + ")";
    }
    std::string shown(const char* name) { return shown(TagReference{name, 0, 1, false}); }

    using Lines = std::vector<std::string>;

    RecordedLink link_{0, {0x7F000001, 50112}, {0x7F000001, kEtherNetIpPort}};
    Clock::time_point now_{std::chrono::hours(1)};
    Lines findings_;
    Lines events_;
    Replay replay_{DRIVER_LIBRARY,
                   [this](const Replay::Event& event) {
                       (event.isFinding ? findings_ : events_).push_back(event.what);
                   },
                   [](const ReplayedStation&, const std::string&, Clock::time_point) {}};

private:
    void frame(bool fromHost, const QByteArray& bytes)
    {
        now_ += milliseconds(5);
        replay_.frame(link_, now_, fromHost, ByteView(bytes));
    }
};

TEST_F(ReplayTest, AGoodReplyIsStoredByTheDriverAndShown)
{
    connectAndReadSeven();
    EXPECT_EQ(shown("Tank"), "good 7");
    EXPECT_EQ(findings_, Lines{});
    EXPECT_EQ(events_, Lines{"connected"});
}

TEST_F(ReplayTest, ElementsAreShownWhereTheRequestNamedThem)
{
    connect();
    host(readRequest(1, "Tank", 7, 3));
    plc(answer(1, "cc 00 00 00 c3 00 0a 00 0b 00 0c 00"));
    EXPECT_EQ(shown({"Tank", 7, 3, true}), "good 10 11 12");
    EXPECT_EQ(shown({"Tank", 8, 1, true}), "good 11");
    EXPECT_EQ(shown({"Tank", 9, 2, true}), "bad (element 10 was not asked for in this recording)");
    EXPECT_EQ(shown("Tank"), "bad (element 0 was not asked for in this recording)");
}

TEST_F(ReplayTest, ManyTagsInARowAreAllStored)
{
    connect();
    int sequence = 1;
    for (int round = 0; round < 3; ++round) {
        for (const char* name : {"Aa", "Bb", "Cc", "Dd", "Ee", "Ff", "Gg", "Hh"}) {
            host(readRequest(sequence, name, 0, 2));
            plc(answer(sequence++, "cc 00 00 00 ca 00 00 00 80 3f 00 00 00 40"));
            EXPECT_EQ(shown({name, 0, 2, true}), "good 1 2");
        }
    }
    EXPECT_EQ(findings_, Lines{});
}

TEST_F(ReplayTest, ALateAnswerIsDroppedAndChangesNothing)
{
    connectAndReadSeven();
    host(readRequest(2, "Tank", 0, 1));
    plc(answer(1, "cc 00 00 00 c4 00 63 00 00 00"));
    EXPECT_EQ(shown("Tank"), "good 7");
    EXPECT_EQ(findings_, Lines{"reply dropped: late answer to an earlier request"});
    plc(answer(2, "cc 00 00 00 c4 00 08 00 00 00"));
    EXPECT_EQ(shown("Tank"), "good 8");
}

TEST_F(ReplayTest, ARefusalIsBadInTheControllersWordsAndPoisonsNoType)
{
    connect();
    host(readRequest(1, "Tank", 0, 1));
    plc(answer(1, "cc 00 05 00"));
    EXPECT_EQ(shown("Tank"), "bad (no such tag, or not a global variable (status 0x05))");
    host(readRequest(2, "Tank", 0, 1));
    plc(answer(2, "cc 00 00 00 c4 00 07 00 00 00"));
    EXPECT_EQ(shown("Tank"), "good 7");
    EXPECT_EQ(findings_, Lines{"read of Tank refused: no such tag, or not a global variable "
                               "(status 0x05)"});
}

TEST_F(ReplayTest, BeyondTheEndIsBadForThoseElementsAlone)
{
    connectAndReadSeven();
    host(readRequest(2, "Tank", 9, 1));
    plc(answer(2, "cc 00 ff 01 05 21"));
    EXPECT_EQ(shown("Tank"), "good 7");
    EXPECT_EQ(shown({"Tank", 9, 1, true}),
              "bad (beyond the end of the array; arrays start at 0 (status 0xFF/0x2105))");
}

TEST_F(ReplayTest, AnotherTypeThanBeforeEndsTheSession)
{
    connectAndReadSeven();
    host(readRequest(2, "Tank", 0, 1));
    plc(answer(2, "cc 00 00 00 c3 00 07 00"));
    EXPECT_EQ(findings_,
              Lines{"read of Tank: the data type of Tank changed: another program was downloaded"});
    EXPECT_EQ(shown("Tank"),
              "stale 7 (the data type of Tank changed: another program was downloaded)");
    // The host would have connected anew, and read the new type.
    link_.number = 1;
    connect();
    host(readRequest(1, "Tank", 0, 1));
    plc(answer(1, "cc 00 00 00 c3 00 09 00"));
    EXPECT_EQ(shown("Tank"), "good 9");
}

TEST_F(ReplayTest, ValuesOfAnotherTypeThanTheTagHasNowAreNotShown)
{
    connect();
    host(readRequest(1, "Tank", 0, 2));
    plc(answer(1, "cc 00 00 00 da 00 01 41"));
    host(readRequest(2, "Tank", 4, 1));
    plc(answer(2, "cc 00 00 00 c3 00 07 00"));
    EXPECT_EQ(shown({"Tank", 0, 2, true}).substr(0, 5), "bad (");
    link_.number = 1;
    connect();
    host(readRequest(1, "Tank", 0, 1));
    plc(answer(1, "cc 00 00 00 ca 00 00 00 80 3f"));
    host(readRequest(2, "Tank", 5, 1));
    plc(answer(2, "cc 00 00 00 ca 00 00 00 00 40"));
    link_.number = 2;
    connect();
    host(readRequest(1, "Tank", 5, 1));
    plc(answer(1, "cc 00 00 00 c3 00 07 00"));
    EXPECT_EQ(shown({"Tank", 5, 1, true}), "good 7");
    EXPECT_EQ(shown("Tank"), "bad (not read yet)");
}

TEST_F(ReplayTest, SilenceIsATimeOutAndTheValueStale)
{
    connectAndReadSeven();
    host(readRequest(2, "Tank", 0, 1));
    later(milliseconds(1995));
    host(readRequest(2, "Tank", 0, 1));
    later(milliseconds(2000));
    replay_.closed(link_, now_, RecordedEnd::ByHost);
    EXPECT_EQ(findings_,
              (Lines{"read of Tank: no answer within 2000 ms, asked again",
                     "read of Tank: no answer within 2000 ms, the host closed the link"}));
    EXPECT_EQ(shown("Tank"), "stale 7 (no answer within 2000 ms)");
}

TEST_F(ReplayTest, ALinkThatTheControllerClosedMakesItsValuesStale)
{
    connectAndReadSeven();
    host(readRequest(2, "Tank", 0, 1));
    replay_.closed(link_, now_, RecordedEnd::ResetByController);
    EXPECT_EQ(findings_, Lines{"the controller reset the link, read of Tank unanswered"});
    EXPECT_EQ(shown("Tank"), "stale 7 (the controller reset the link)");
}

TEST_F(ReplayTest, AHostThatStopsLeavesItsValuesAsTheyWere)
{
    connectAndReadSeven();
    replay_.closed(link_, now_, RecordedEnd::ByHost);
    later(std::chrono::hours(1));
    EXPECT_EQ(shown("Tank"), "good 7");
    EXPECT_EQ(findings_, Lines{});
}

TEST_F(ReplayTest, AValueThatIsNotReadAgainGetsStale)
{
    connectAndReadSeven();
    later(milliseconds(10001));
    EXPECT_EQ(shown("Tank"), "stale 7 (not refreshed in time)");
}

TEST_F(ReplayTest, ACaptureThatBeginsWithinASessionIsUnderstood)
{
    plc(answer(8, "cc 00 00 00 c4 00 05 00 00 00")); // its request came before the capture
    host(readRequest(9, "Tank", 0, 1));
    plc(answer(9, "cc 00 00 00 c4 00 07 00 00 00"));
    EXPECT_EQ(shown("Tank"), "good 7");
    EXPECT_EQ(findings_, Lines{});
}

TEST_F(ReplayTest, RequestsAheadOfTheirAnswersAreToldApartByTheirSequenceCount)
{
    connect();
    host(readRequest(1, "Tank", 0, 1));
    host(readRequest(2, "Pump", 0, 1));
    plc(answer(2, "cc 00 00 00 c4 00 02 00 00 00"));
    plc(answer(1, "cc 00 00 00 c4 00 01 00 00 00"));
    EXPECT_EQ(shown("Tank"), "good 1");
    EXPECT_EQ(shown("Pump"), "good 2");
    EXPECT_EQ(findings_, Lines{});
}

TEST_F(ReplayTest, ARefusedForwardOpenIsToldInWords)
{
    host(kRegister);
    plc(kRegistered);
    host(kForwardOpen);
    plc(kOpenRefused);
    EXPECT_EQ(findings_, Lines{"Forward Open refused: the controller has no free connection; close "
                               "other clients (status 0x01/0x0113)"});
}

TEST_F(ReplayTest, AMalformedReplyEndsWhatCanBeTrustedOfTheLink)
{
    connect();
    host(readRequest(1, "Tank", 0, 1));
    QByteArray broken = answer(1, "cc 00 00 00 c4 00 07 00 00 00");
    broken[42] = 0x0B; // the data item's length
    plc(broken);
    EXPECT_EQ(findings_, Lines{"read of Tank: not a valid EtherNet/IP reply: its items are wrong"});
    host(readRequest(2, "Tank", 0, 1));
    plc(answer(2, "cc 00 00 00 c4 00 07 00 00 00"));
    EXPECT_EQ(replay_.stations().at(0)->knows("Tank"), false);
}

TEST_F(ReplayTest, AReplyOfAWrongNumberOfBytesIsNotShown)
{
    connect();
    host(readRequest(1, "Tank", 0, 2));
    plc(answer(1, "cc 00 00 00 c4 00 07 00 00 00"));
    EXPECT_EQ(shown({"Tank", 0, 2, true}),
              "bad (the reply holds a wrong number of bytes for Tank)");
}

TEST_F(ReplayTest, RequestsThatThisDriverNeverMakesAreCounted)
{
    connect();
    host(connectedFrame("4c 8a 81 09", 1, hex("0a 02 20 02 24 01 00 00")));
    plc(answer(1, "8a 00 00 00 00 00"));
    host(connectedFrame("4c 8a 81 09", 2, hex("4c 02 20 6b 25 00 01 00")));
    plc(answer(2, "cc 00 05 00"));
    replay_.finish(now_);
    EXPECT_EQ(findings_,
              (Lines{"service 0x4C refused: no such tag, or not a global variable "
                     "(status 0x05)",
                     "service 0x0A with a path of another kind: left out, as this driver "
                     "makes no such request (1 seen)",
                     "service 0x4C with a path of another kind: left out, as this driver "
                     "makes no such request (1 seen)"}));
}

TEST_F(ReplayTest, AWriteIsToldWithItsValues)
{
    connect();
    host(connectedFrame("4c 8a 81 09", 1,
                        hex("53 03 91 04 54 61 6e 6b ca 00 02 00 00 00 00 00"
                            "00 00 80 3f 00 00 00 c0")));
    plc(answer(1, "d3 00 00 00"));
    host(connectedFrame("4c 8a 81 09", 2,
                        hex("53 03 91 04 4e 61 6d 65 da 00 01 00 00 00 00 00 03 41 42 43")));
    plc(answer(2, "d3 00 0f 00"));
    EXPECT_EQ(events_, (Lines{"connected", "Tank[0..1] written: 1 -2"}));
    EXPECT_EQ(findings_,
              Lines{"write of Name refused: access denied: the controller's program lets "
                    "nobody outside write this tag (status 0x0F)"});
}

TEST_F(ReplayTest, WhatTheCaptureLacksIsNoTimeOut)
{
    connect();
    host(readRequest(1, "Tank", 0, 1));
    replay_.damaged(link_, now_, "68 bytes are missing from the capture");
    later(std::chrono::seconds(5));
    replay_.closed(link_, now_, RecordedEnd::ByHost);
    EXPECT_EQ(findings_, Lines{"68 bytes are missing from the capture"});
}

} // namespace
} // namespace panelhost
