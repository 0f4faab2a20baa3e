#include "conversation.h"

using namespace plcsim;

namespace {

const char kTags[] = "[[tag]]\nname = 'A'\ntype = 'INT'\nvalue = 1\n";
const char kReadA[] = "4c 02 91 01 41 00 01 00";
const char kValueOfA[] = "cc 00 00 00 c3 00 01 00";

// The CIP part of a Forward Open, to change single fields of.
const char kOpen[] =
    "54 02 20 06 24 01 05 f7 02 00 00 80 01 00 fe 80 02 00 21 43 00 00 34 12 02 00 00 00 "
    "80 84 1e 00 f8 43 80 84 1e 00 f8 43 a3 02 20 02 24 01";

std::string changed(const char* hex, std::size_t offset, const std::string& bytes)
{
    std::string text = hex;
    return text.replace(offset * 3, bytes.size(), bytes);
}

std::string refusedWith(const std::string& extended)
{
    return "d4 00 01 01 " + extended + " 02 00 21 43 00 00 34 12 00 00";
}

} // namespace

class ConnectionTest : public Conversation {
protected:
    void SetUp() override
    {
        start(kTags);
        registerSession();
    }
};

TEST_F(ConnectionTest, IsOpenedWithAnIdOfTheControllersOwnAndTheOriginatorsEchoed)
{
    const std::string answer = send(forwardOpen());
    ASSERT_EQ(fromHex(answer).size(), 70u);
    EXPECT_EQ(answer.substr(24 * 3, 20 * 3 - 1),
              "00 00 00 00 00 00 02 00 00 00 00 00 b2 00 1e 00 d4 00 00 00");
    EXPECT_NE(answer.substr(44 * 3, 11), "02 00 00 80") << "the originator's proposal";
    EXPECT_EQ(answer.substr(48 * 3),
              "01 00 fe 80 02 00 21 43 00 00 34 12 80 84 1e 00 80 84 1e 00 00 00");
}

TEST_F(ConnectionTest, RepliesLeaveWithTheOriginatorsId)
{
    openConnection();
    EXPECT_EQ(
        send("70 00 1e 00 <session> 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
             "00 00 00 00 01 00 02 00 a1 00 04 00 <ot> b1 00 0a 00 05 00 4c 02 91 01 41 00 01 00"),
        filled("70 00 1e 00 <session> 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
               "00 00 00 00 00 00 02 00 a1 00 04 00 01 00 fe 80 b1 00 0a 00 05 00 "
               "cc 00 00 00 c3 00 01 00"));
}

TEST_F(ConnectionTest, OfTheLargeFormCarriesMore)
{
    start("[[tag]]\nname = 'A'\ntype = 'DINT'\nsize = 900\n");
    registerSession();
    const std::string answer = unconnected(
        "5b 02 20 06 24 01 0a 0e 00 00 00 00 98 84 00 00 43 0f 37 13 2a 00 00 00 03 00 00 00 "
        "80 84 1e 00 a2 0f 00 42 80 84 1e 00 a2 0f 00 42 a3 02 20 02 24 01");
    EXPECT_EQ(answer.substr(0, 11), "db 00 00 00");
    originatorToTarget_ = answer.substr(12, 11);
    const std::string values = connected("4c 02 91 01 41 00 84 03");
    EXPECT_EQ(fromHex(values).size(), 6u + 3600u);
}

TEST_F(ConnectionTest, AskedForTwiceIsRefused)
{
    openConnection();
    EXPECT_EQ(unconnected(kOpen), refusedWith("00 01"));
    EXPECT_EQ(unconnected(changed(kOpen, 22, "35")).substr(0, 11), "d4 00 00 00")
        << "another originator serial";
    EXPECT_EQ(unconnected(changed(kOpen, 16, "03")).substr(0, 11), "d4 00 00 00")
        << "another connection serial";
    EXPECT_EQ(unconnected(changed(kOpen, 18, "22")).substr(0, 11), "d4 00 00 00")
        << "another vendor";
}

TEST_F(ConnectionTest, RefusedFrameHas56Bytes)
{
    openConnection();
    EXPECT_EQ(fromHex(send(forwardOpen())).size(), 56u);
}

TEST_F(ConnectionTest, TheTwentyFifthIsRefused)
{
    for (std::uint8_t i = 0; i < 24; ++i)
        ASSERT_EQ(unconnected(changed(kOpen, 16, toHex(Bytes{i}))).substr(0, 11), "d4 00 00 00");
    EXPECT_EQ(unconnected(changed(kOpen, 16, "18")).substr(0, 17), "d4 00 01 01 13 01");
}

struct BadOpen {
    const char* what;
    std::size_t offset;
    const char* bytes;
    const char* extended;
};

class RefusedOpen : public ConnectionTest, public ::testing::WithParamInterface<BadOpen> {};

TEST_P(RefusedOpen, SaysWhy)
{
    EXPECT_EQ(unconnected(changed(kOpen, GetParam().offset, GetParam().bytes)),
              refusedWith(GetParam().extended));
    EXPECT_EQ(controller_->connectionCount(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Fields, RefusedOpen,
                         ::testing::Values(BadOpen{"transport class 1", 40, "a1", "03 01"},
                                           BadOpen{"multicast O->T", 32, "f8 23", "08 01"},
                                           BadOpen{"null T->O", 38, "f8 03", "08 01"},
                                           BadOpen{"time-out multiplier 8", 24, "08", "08 01"},
                                           BadOpen{"8 bytes O->T", 32, "08 42", "09 01"},
                                           BadOpen{"0 bytes T->O", 38, "00 42", "09 01"},
                                           BadOpen{"no RPI", 28, "00 00 00 00", "11 01"},
                                           BadOpen{"path to class 4", 43, "04", "15 03"},
                                           BadOpen{"path to instance 2", 45, "02", "15 03"},
                                           BadOpen{"port segment", 42, "01 00 24 01", "11 03"},
                                           BadOpen{"no path at all", 42, "e0 00 00 00", "15 03"}));

TEST_F(ConnectionTest, PathOverTheBackplaneIsAcceptedWhenToldSo)
{
    const std::string open = changed(kOpen, 41, "03 01 00 20 02 24 01");
    EXPECT_EQ(unconnected(open), refusedWith("11 03"));
    ControllerOptions options;
    options.connections.acceptBackplanePath = true;
    start(kTags, options);
    registerSession();
    EXPECT_EQ(unconnected(open).substr(0, 11), "d4 00 00 00");
}

TEST_F(ConnectionTest, ElectronicKeyMustFit)
{
    const auto withKey = [](const std::string& key) {
        return changed(kOpen, 41, "07 34 04 " + key + " 20 02 24 01");
    };
    EXPECT_EQ(unconnected(withKey("01 00 0e 00 8e 00 06 0b")), refusedWith("14 01"));
    EXPECT_EQ(unconnected(withKey("01 00 0e 00 8d 00 06 0b")).substr(0, 11), "d4 00 00 00");
}

TEST_F(ConnectionTest, OpenCutShortIsRefused)
{
    EXPECT_EQ(unconnected("54 02 20 06 24 01 05 f7 02 00"), "d4 00 13 00");
}

TEST_F(ConnectionTest, IsClosedByItsTriad)
{
    openConnection();
    EXPECT_EQ(unconnected("4e 02 20 06 24 01 05 f7 02 00 21 43 00 00 34 12 02 00 20 02 24 01"),
              "ce 00 00 00 02 00 21 43 00 00 34 12 00 00");
    EXPECT_EQ(controller_->connectionCount(), 0u);
    EXPECT_EQ(unconnected("4e 02 20 06 24 01 05 f7 02 00 21 43 00 00 34 12 02 00 20 02 24 01"),
              "ce 00 01 01 07 01 02 00 21 43 00 00 34 12 00 00");
    EXPECT_EQ(unconnected("4e 02 20 06 24 01 05 f7 02"), "ce 00 13 00");
}

TEST_F(ConnectionTest, OtherServicesOfTheManagerAreNotSupported)
{
    EXPECT_EQ(unconnected("01 02 20 06 24 01"), "81 00 08 00");
}

TEST_F(ConnectionTest, ThatNobodyOpenedIsMetWithSilence)
{
    openConnection();
    originatorToTarget_ = "01 02 03 04";
    EXPECT_EQ(connected(kReadA), "");
    EXPECT_EQ(controller_->counters().unanswered, 1u);
}

TEST_F(ConnectionTest, OfAnotherLinkIsMetWithSilence)
{
    openConnection();
    const std::string own = session_;
    registerSession(8);
    EXPECT_EQ(
        send("70 00 1e 00 <session> 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
             "00 00 00 00 01 00 02 00 a1 00 04 00 <ot> b1 00 0a 00 05 00 4c 02 91 01 41 00 01 00",
             8),
        "");
    session_ = own;
    EXPECT_EQ(connected(kReadA), kValueOfA);
}

TEST_F(ConnectionTest, LivesAsLongAsItIsUsedWithinItsTimeOut)
{
    openConnection();
    for (int i = 0; i < 4; ++i) {
        pass(32);
        EXPECT_EQ(connected(kReadA), kValueOfA);
    }
}

TEST_F(ConnectionTest, TimesOutAfterRpiTimesMultiplier)
{
    openConnection();
    pass(32.001);
    EXPECT_EQ(controller_->connectionCount(), 0u);
    EXPECT_EQ(controller_->counters().expired, 1u);
    EXPECT_EQ(connected(kReadA), "");
}

TEST_F(ConnectionTest, TimeOutIsSeenAlsoBetweenTwoScans)
{
    openConnection();
    now_ += fromSeconds(40);
    EXPECT_EQ(connected(kReadA), "");
}

TEST_F(ConnectionTest, EveryMultiplierCodeDoublesTheTimeOut)
{
    for (std::uint8_t code = 0; code <= 7; ++code) {
        start(kTags);
        registerSession();
        ASSERT_EQ(unconnected(changed(kOpen, 24, toHex(Bytes{code}))).substr(0, 11), "d4 00 00 00");
        pass(2.0 * (4 << code));
        EXPECT_EQ(controller_->connectionCount(), 1u) << int{code};
        pass(0.001);
        EXPECT_EQ(controller_->connectionCount(), 0u) << int{code};
    }
}

TEST_F(ConnectionTest, RequestSentTwiceIsAnsweredFromMemoryAndDoneOnce)
{
    openConnection();
    const std::string read =
        "70 00 1e 00 <session> 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
        "00 00 00 00 01 00 02 00 a1 00 04 00 <ot> b1 00 0a 00 09 00 "
        "4c 02 91 01 41 00 01 00";
    const std::string first = send(read);
    Tag& tag = *controller_->tags().find("A");
    controller_->tags().write(tag, 0, std::int64_t{2}, ChangeCause::Operator);
    EXPECT_EQ(send(read), first);
    EXPECT_EQ(controller_->counters().duplicates, 1u);
    EXPECT_EQ(connected(kReadA), "cc 00 00 00 c3 00 02 00");
}

TEST_F(ConnectionTest, RequestLongerThanTheConnectionIsRefused)
{
    openConnection();
    EXPECT_EQ(connected(std::string(kReadA) + " " + repeated("00", 495)), "cc 00 15 00");
    EXPECT_EQ(connected(std::string(kReadA) + " " + repeated("00", 494)), kValueOfA);
}

TEST_F(ConnectionTest, UnconnectedSendIsUnwrapped)
{
    EXPECT_EQ(unconnected("52 02 20 06 24 01 05 9d 08 00 4c 02 91 01 41 00 01 00 00 00"),
              kValueOfA);
}

TEST_F(ConnectionTest, UnconnectedSendOverABackplaneIsRefused)
{
    EXPECT_EQ(unconnected("52 02 20 06 24 01 05 9d 08 00 4c 02 91 01 41 00 01 00 01 00 01 00"),
              "d2 00 01 01 11 03");
}

TEST_F(ConnectionTest, UnconnectedSendCutShortIsRefused)
{
    EXPECT_EQ(unconnected("52 02 20 06 24 01 05 9d 09 00 4c 02 91 01 41 00 01 00"),
              "d2 00 01 01 05 02");
    EXPECT_EQ(unconnected("52 02 20 06 24 01 05 9d 00 00 00 00"), "d2 00 01 01 05 02");
}
