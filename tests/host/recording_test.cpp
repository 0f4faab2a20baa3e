#include "hex.h"
#include "recording.h"

#include <gtest/gtest.h>

#include <cstring>

namespace panelhost {
namespace {

const TcpEnd kHost{0x7F000001, 50112};
const TcpEnd kController{0x7F000001, 44818};

/// RegisterSession, 28 bytes.
const QByteArray kRegister =
    hex("65 00 04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
        "00 00 01 00 00 00");
/// Its answer, session handle 0x44332211.
const QByteArray kRegistered = hex("65 00 04 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                                   "00 00 00 01 00 00 00");

/// Writes down what it hears, one line each.
class Transcript : public RecordingListener {
public:
    void frame(const RecordedLink& link, Clock::time_point, bool fromHost, ByteView bytes) override
    {
        lines.push_back("link " + std::to_string(link.number) + (fromHost ? " host " : " plc ") +
                        std::to_string(bytes.size()));
        host = link.host;
    }
    void damaged(const RecordedLink&, Clock::time_point, const std::string& what) override
    {
        lines.push_back(what);
    }
    void closed(const RecordedLink&, Clock::time_point, RecordedEnd end) override
    {
        const char* const names[] = {"closed by host", "closed by plc", "reset by host",
                                     "reset by plc"};
        lines.emplace_back(names[static_cast<int>(end)]);
    }

    std::vector<std::string> lines;
    TcpEnd host;
};

class RecordingTest : public testing::Test {
protected:
    /// Bytes of the host or the controller at a position in its stream.
    void send(const TcpEnd& from, std::uint32_t at, const QByteArray& bytes)
    {
        segment(from, at, bytes);
    }
    TcpSegment make(const TcpEnd& from, std::uint32_t at, const QByteArray& bytes)
    {
        now_ += std::chrono::milliseconds(1);
        TcpSegment segment;
        segment.time = now_;
        segment.from = from;
        segment.to = from == kHost ? kController : kHost;
        segment.sequence = at;
        segment.ack = true;
        segment.payload = ByteView(bytes);
        return segment;
    }
    void segment(const TcpEnd& from, std::uint32_t at, const QByteArray& bytes)
    {
        recording_.add(make(from, at, bytes));
    }
    void wait(std::chrono::milliseconds time) { now_ += time; }

    using Lines = std::vector<std::string>;

    Transcript transcript_;
    Recording recording_{&transcript_};
    Clock::time_point now_{std::chrono::hours(1)};
};

TEST_F(RecordingTest, AFrameInTwoSegmentsIsOneFrame)
{
    send(kHost, 100, kRegister.left(10));
    send(kHost, 110, kRegister.mid(10));
    EXPECT_EQ(transcript_.lines, Lines{"link 0 host 28"});
}

TEST_F(RecordingTest, TwoFramesInOneSegmentAreTwoFrames)
{
    send(kHost, 100, kRegister + kRegister);
    EXPECT_EQ(transcript_.lines, (Lines{"link 0 host 28", "link 0 host 28"}));
    EXPECT_EQ(recording_.frames(), 2u);
}

TEST_F(RecordingTest, ASegmentSentAgainCountsOnce)
{
    send(kHost, 100, kRegister);
    send(kHost, 100, kRegister);
    send(kHost, 120, kRegister.mid(20) + kRegister);
    EXPECT_EQ(transcript_.lines, (Lines{"link 0 host 28", "link 0 host 28"}));
}

TEST_F(RecordingTest, SegmentsOutOfOrderAreSorted)
{
    send(kHost, 100, kRegister.left(4));
    send(kHost, 114, kRegister.mid(14));
    send(kHost, 104, kRegister.mid(4, 10));
    EXPECT_EQ(transcript_.lines, Lines{"link 0 host 28"});
}

TEST_F(RecordingTest, SequenceNumbersWrapAround)
{
    send(kHost, 0xFFFFFFF0, kRegister);
    send(kHost, 12, kRegister);
    EXPECT_EQ(transcript_.lines, (Lines{"link 0 host 28", "link 0 host 28"}));
}

TEST_F(RecordingTest, ASegmentThatTheCaptureLacksIsReportedAndPassedOver)
{
    send(kHost, 100, kRegister);
    send(kHost, 156, kRegister);
    wait(std::chrono::milliseconds(400));
    send(kController, 500, kRegistered);
    EXPECT_EQ(transcript_.lines,
              (Lines{"link 0 host 28", "link 0 plc 28", "28 bytes are missing from the capture",
                     "link 0 host 28"}));
}

TEST_F(RecordingTest, BytesThatTheCaptureCutOffAreReported)
{
    TcpSegment cut = make(kHost, 100, kRegister);
    const QByteArray kept = kRegister + kRegister.left(12);
    cut.payload = ByteView(kept);
    cut.cutOff = 16;
    recording_.add(cut);
    send(kHost, 156, kRegister);
    EXPECT_EQ(transcript_.lines,
              (Lines{"link 0 host 28", "16 bytes are missing from the capture", "link 0 host 28"}));
}

TEST_F(RecordingTest, ACaptureThatBeginsWithinAFrameGoesOnWithTheNext)
{
    send(kHost, 100, kRegister.mid(9));
    send(kHost, 119, kRegister);
    EXPECT_EQ(transcript_.lines, Lines{"link 0 host 28"});
}

TEST_F(RecordingTest, TheHostIsWhoOpensTheLinkOnAnyPort)
{
    const TcpEnd other{0x0A000001, 40000};
    TcpSegment syn = make(kController, 99, {});
    syn.to = other;
    syn.syn = true;
    syn.ack = false;
    recording_.add(syn);
    TcpSegment data = make(kController, 100, kRegister);
    data.to = other;
    recording_.add(data);
    EXPECT_EQ(transcript_.lines, Lines{"link 0 host 28"});
    EXPECT_TRUE(transcript_.host == kController);
}

TEST_F(RecordingTest, WithoutItsBeginningTheFramesTellWhoTheHostIs)
{
    const TcpEnd high{0x0A000001, 50001};
    const TcpEnd low{0x0A000001, 50000};
    TcpSegment reply = make(low, 100, kRegistered);
    reply.to = high;
    recording_.add(reply);
    EXPECT_EQ(transcript_.lines, Lines{"link 0 plc 28"});
    EXPECT_TRUE(transcript_.host == high);
}

TEST_F(RecordingTest, AnotherProtocolIsNoLink)
{
    send(kHost, 100, QByteArray("GET / HTTP/1.1\r\nHost: example\r\n\r\n"));
    send(kHost, 135, QByteArray(2000, '\0'));
    recording_.finish();
    EXPECT_EQ(transcript_.lines, Lines{});
    EXPECT_EQ(recording_.frames(), 0u);
}

TEST_F(RecordingTest, GarbageWithinALinkIsReported)
{
    send(kController, 100, kRegistered);
    send(kController, 128, QByteArray(30, '\x55'));
    send(kController, 158, kRegistered);
    EXPECT_EQ(transcript_.lines,
              (Lines{"link 0 plc 28", "30 bytes are no EtherNet/IP frame", "link 0 plc 28"}));
}

TEST_F(RecordingTest, WhoEndsALinkIsTold)
{
    send(kHost, 100, kRegister);
    TcpSegment fin = make(kController, 500, {});
    fin.fin = true;
    recording_.add(fin);
    TcpSegment answer = make(kHost, 128, {});
    answer.fin = true;
    recording_.add(answer);
    EXPECT_EQ(transcript_.lines, (Lines{"link 0 host 28", "closed by plc"}));

    send(kHost, 900, kRegister); // the ports again, a new link
    TcpSegment reset = make(kHost, 928, {});
    reset.reset = true;
    recording_.add(reset);
    EXPECT_EQ(transcript_.lines,
              (Lines{"link 0 host 28", "closed by plc", "link 1 host 28", "reset by host"}));
}

TEST_F(RecordingTest, ALinkThatEndsWithinAFrameIsReported)
{
    send(kHost, 100, kRegister.left(26));
    send(kHost, 126, kRegister.mid(26) + kRegister.left(26));
    TcpSegment fin = make(kHost, 154, {});
    fin.fin = true;
    recording_.add(fin);
    EXPECT_EQ(transcript_.lines, (Lines{"link 0 host 28", "the link ends in the middle of a frame",
                                        "closed by host"}));
}

} // namespace
} // namespace panelhost
