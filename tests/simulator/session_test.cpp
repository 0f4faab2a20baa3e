#include "conversation.h"

using namespace plcsim;

namespace {

const char kTags[] = "[[tag]]\nname = 'A'\ntype = 'INT'\nvalue = 1\n";
const char kRegister[] = "65 00 04 00 00 00 00 00 00 00 00 00 31 32 33 34 35 36 37 38 00 00 00 00 "
                         "01 00 00 00";

std::string statusOf(const std::string& answer)
{
    return answer.substr(8 * 3, 4 * 3 - 1);
}

} // namespace

class Session : public Conversation {
protected:
    void SetUp() override { start(kTags); }
};

TEST_F(Session, IsRegisteredWithAHandleAndTheContextEchoed)
{
    registerSession();
    EXPECT_NE(session_, "00 00 00 00");
    start(kTags);
    session_ = "99 99 99 99";
    const std::string answer = send(kRegister);
    EXPECT_EQ(answer.substr(0, 12), "65 00 04 00 ");
    EXPECT_EQ(answer.substr(24), "00 00 00 00 31 32 33 34 35 36 37 38 00 00 00 00 01 00 00 00");
    EXPECT_EQ(controller_->sessionCount(), 1u);
}

TEST_F(Session, OfAnotherProtocolVersionIsRefusedWithTheVersionServed)
{
    EXPECT_EQ(
        send("65 00 04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 02 00 00 00"),
        "65 00 04 00 00 00 00 00 69 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00");
    EXPECT_EQ(controller_->sessionCount(), 0u);
}

TEST_F(Session, WithOptionsIsRefused)
{
    EXPECT_EQ(
        statusOf(send("65 00 04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                      "01 00 01 00")),
        "69 00 00 00");
}

TEST_F(Session, WithTooFewOrTooManyBytesIsRefused)
{
    const std::string header =
        " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 ";
    EXPECT_EQ(statusOf(send("65 00 02 00" + header.substr(6) + "01 00")), "65 00 00 00");
    EXPECT_EQ(statusOf(send("65 00 05 00" + header.substr(6) + "01 00 00 00 00")), "65 00 00 00");
}

TEST_F(Session, ASecondOneOnTheSameLinkIsRefused)
{
    registerSession();
    const std::string answer = send(kRegister);
    EXPECT_EQ(statusOf(answer), "01 00 00 00");
    EXPECT_EQ(controller_->sessionCount(), 1u);
}

TEST_F(Session, TheTwentyFourthIsRefusedUntilALinkCloses)
{
    for (LinkId link = 1; link <= 23; ++link)
        registerSession(link);
    EXPECT_EQ(statusOf(send(kRegister, 24)), "02 00 00 00");
    controller_->linkClosed(5);
    EXPECT_EQ(statusOf(send(kRegister, 24)), "00 00 00 00");
}

TEST_F(Session, UnregisterEndsItAndTheLinkWithoutAnAnswer)
{
    connect();
    EXPECT_EQ(send("66 00 00 00 <session> 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"), "");
    EXPECT_TRUE(linkClosed_);
    EXPECT_EQ(controller_->sessionCount(), 0u);
    EXPECT_EQ(controller_->connectionCount(), 0u);
}

TEST_F(Session, UnregisterOfAnotherLinksSessionIsRefused)
{
    registerSession();
    EXPECT_EQ(
        statusOf(send("66 00 00 00 <session> 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00", 8)),
        "64 00 00 00");
    EXPECT_FALSE(linkClosed_);
    EXPECT_EQ(controller_->sessionCount(), 1u);
}

TEST_F(Session, IsNeededForSendRrData)
{
    EXPECT_EQ(statusOf(send(forwardOpen())), "64 00 00 00");
    registerSession();
    EXPECT_EQ(statusOf(send(forwardOpen(), 8)), "64 00 00 00") << "a session of another link";
}

TEST_F(Session, IsNeededForSendUnitData)
{
    connect();
    session_ = "01 02 03 04";
    EXPECT_EQ(
        send("70 00 1e 00 <session> 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
             "00 00 00 00 00 00 02 00 a1 00 04 00 <ot> b1 00 0a 00 01 00 4c 02 91 01 41 00 01 00"),
        "70 00 00 00 01 02 03 04 64 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
}

TEST_F(Session, LinkThatClosesTakesSessionAndConnectionsWithIt)
{
    connect();
    controller_->linkClosed(kLink);
    EXPECT_EQ(controller_->sessionCount(), 0u);
    EXPECT_EQ(controller_->connectionCount(), 0u);
}

TEST_F(Session, UnknownCommandIsRefused)
{
    EXPECT_EQ(send("c8 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"),
              "c8 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
}

TEST_F(Session, NopIsNotAnswered)
{
    EXPECT_EQ(send("00 00 02 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 02"),
              "");
    EXPECT_FALSE(linkClosed_);
}

TEST_F(Session, FrameWithUndefinedOptionsIsIgnored)
{
    EXPECT_EQ(
        send("65 00 04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00 01 00 00 00"),
        "");
    EXPECT_EQ(controller_->sessionCount(), 0u);
}

TEST_F(Session, AbsurdLengthIsRefusedAndClosesTheLink)
{
    Frame header;
    header.command = command::kSendRrData;
    const auto outcome = controller_->refuseAbsurdLength(header);
    EXPECT_EQ(outcome.reply->status, encap_status::kInvalidLength);
    EXPECT_TRUE(outcome.closeLink);
}

TEST_F(Session, ListServicesOffersCipOverTcp)
{
    EXPECT_EQ(send("04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"),
              "04 00 1a 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "01 00 00 01 14 00 01 00 20 00 43 6f 6d 6d 75 6e 69 63 61 74 69 6f 6e 73 00 00");
}

TEST_F(Session, ListInterfacesHasNone)
{
    EXPECT_EQ(send("64 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"),
              "64 00 02 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
}

TEST_F(Session, ListIdentityTellsWhatTheTagFileSays)
{
    start("[controller]\nname = 'Rig'\nvendor = 2\ndevice_type = 3\nproduct_code = 0x0405\n"
          "revision = '12.11'\nserial = 0x0A0B0C0D\n[[tag]]\nname = 'A'\ntype = 'INT'\n");
    controller_->listensOn({{192, 168, 1, 20}, 44818});
    EXPECT_EQ(send("63 00 00 00 00 00 00 00 00 00 00 00 41 42 43 44 45 46 47 48 00 00 00 00"),
              "63 00 2b 00 00 00 00 00 00 00 00 00 41 42 43 44 45 46 47 48 00 00 00 00 "
              "01 00 0c 00 25 00 01 00 00 02 af 12 c0 a8 01 14 00 00 00 00 00 00 00 00 "
              "02 00 03 00 05 04 0c 0b 34 00 0d 0c 0b 0a 03 52 69 67 03");
}

TEST_F(Session, MalformedPacketIsRefused)
{
    registerSession();
    const std::string rest = " <session> 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 ";
    EXPECT_EQ(statusOf(send("6f 00 06 00" + rest + "00 00 00 00 00 00")), "03 00 00 00");
    EXPECT_EQ(statusOf(send("6f 00 12 00" + rest +
                            "00 00 00 00 00 00 02 00 00 00 00 00 b1 00 02 00 4c 00")),
              "03 00 00 00")
        << "connected data in SendRRData";
    EXPECT_EQ(
        statusOf(send("70 00 10 00" + rest + "00 00 00 00 00 00 02 00 00 00 00 00 b1 00 00 00")),
        "03 00 00 00")
        << "null address in SendUnitData";
}
