// Every kind of fault ordered while plcsim runs, as a client sees it.
#include "panel.h"
#include "running_simulator.h"

#include <chrono>
#include <memory>
#include <thread>

using namespace plcsim;

namespace {

using Milliseconds = std::chrono::milliseconds;

const char kTags[] = "[[tag]]\nname = 'A'\ntype = 'INT'\nvalue = 1\n"
                     "[[tag]]\nname = 'B'\ntype = 'INT'\nvalue = 2\n";
const char kReadA[] = "4c 02 91 01 41 00 01 00";
const char kReadB[] = "4c 02 91 01 42 00 01 00";
const char kWriteA[] = "4d 02 91 01 41 00 c3 00 01 00 07 00";
const char kValueOfA[] = "cc 00 00 00 c3 00 01 00";
const char kValueOfB[] = "cc 00 00 00 c3 00 02 00";

class LiveFault : public ::testing::Test {
protected:
    void SetUp() override
    {
        panel_ = std::make_unique<Panel>(plcsim_.port());
        ASSERT_TRUE(panel_->connect(1));
        ASSERT_EQ(reply(kReadA), kValueOfA);
    }

    void fault(const std::string& words)
    {
        EXPECT_EQ(plcsim_.command("fault " + words), "fault " + words);
    }

    std::string reply(const char* request)
    {
        panel_->ask(fromHex(request));
        return panel_->answer();
    }

    /// One whole answer to a read of A, in hex.
    std::string frame()
    {
        panel_->ask(fromHex(kReadA));
        return toHex(panel_->client().frame());
    }

    /// The bytes at an offset of one answer.
    std::string fieldOfAnswer(std::size_t offset, std::size_t size)
    {
        return frame().substr(3 * offset, 3 * size - 1);
    }

    void expectGoodAgain()
    {
        EXPECT_EQ(plcsim_.command("fault clear"), "fault clear");
        EXPECT_EQ(reply(kReadA), kValueOfA);
    }

    RunningSimulator plcsim_{kTags};
    std::unique_ptr<Panel> panel_;
};

} // namespace

TEST_F(LiveFault, SilenceForATime)
{
    fault("silence 0.2");
    panel_->client().waitAtMost(Milliseconds(50));
    EXPECT_EQ(reply(kWriteA), Panel::kNoAnswer);
    std::this_thread::sleep_for(Milliseconds(200));
    panel_->client().waitAtMost(Milliseconds(5000));
    EXPECT_EQ(reply(kReadA), kValueOfA) << "the write was not served";
    EXPECT_EQ(plcsim_.command("fault list"), "faults 0");
}

TEST_F(LiveFault, LostAnswerToAWriteThatIsDone)
{
    fault("lost-answer times 1");
    panel_->client().waitAtMost(Milliseconds(50));
    EXPECT_EQ(reply(kWriteA), Panel::kNoAnswer);
    panel_->client().waitAtMost(Milliseconds(5000));
    EXPECT_EQ(reply(kReadA), "cc 00 00 00 c3 00 07 00");
}

TEST_F(LiveFault, StatusOfOneTagOrOfAll)
{
    fault("status 0x05 A");
    EXPECT_EQ(reply(kReadA), "cc 00 05 00");
    EXPECT_EQ(reply(kReadB), kValueOfB);
    fault("status 0xFF 0x2105");
    EXPECT_EQ(reply(kReadB), "cc 00 ff 01 05 21");
    expectGoodAgain();
}

TEST_F(LiveFault, DelayedAnswer)
{
    fault("delay 60");
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(reply(kReadA), kValueOfA);
    EXPECT_GE(std::chrono::steady_clock::now() - before, Milliseconds(60));
    expectGoodAgain();
}

TEST_F(LiveFault, AnswerInTwoPieces)
{
    fault("split 20");
    EXPECT_EQ(reply(kReadA), kValueOfA);
    expectGoodAgain();
}

TEST_F(LiveFault, AnswerSentTwice)
{
    fault("late-duplicate 20 times 1");
    const std::string first = frame();
    EXPECT_EQ(toHex(panel_->client().frame()), first);
    expectGoodAgain();
}

TEST_F(LiveFault, EncapsulationStatus)
{
    fault("encap-status 0x64");
    EXPECT_EQ(fieldOfAnswer(0, 4), "70 00 00 00") << "and no data";
    EXPECT_EQ(fieldOfAnswer(8, 4), "64 00 00 00");
    expectGoodAgain();
}

TEST_F(LiveFault, FalsifiedFields)
{
    const std::string good = frame();
    const std::pair<const char*, std::size_t> falsified[] = {{"wrong session", 4},
                                                             {"wrong context", 12},
                                                             {"wrong connection", 36},
                                                             {"wrong service", 46}};
    for (const auto& [order, offset] : falsified) {
        fault(order + std::string(" times 1"));
        EXPECT_NE(fieldOfAnswer(offset, 1), good.substr(3 * offset, 2)) << order;
    }
    fault("wrong sequence times 1");
    EXPECT_EQ(reply(kReadA), Panel::kNoAnswer);
    expectGoodAgain();
}

TEST_F(LiveFault, WrongLength)
{
    fault("wrong-length 3 times 1");
    EXPECT_EQ(reply(kReadA), kValueOfA + std::string(" 00 00 00"));
    fault("wrong-length -2 times 1");
    EXPECT_EQ(reply(kReadA), "cc 00 00 00 c3 00");
    expectGoodAgain();
}

TEST_F(LiveFault, GarbageInsteadOfAnAnswer)
{
    const std::string good = frame();
    fault("garbage 54 times 1");
    panel_->ask(fromHex(kReadA));
    const Bytes bytes = panel_->client().take(54);
    EXPECT_EQ(bytes.size(), 54u);
    EXPECT_NE(toHex(bytes).substr(0, 70), good.substr(0, 70));
    expectGoodAgain();
}

TEST_F(LiveFault, HalfAFrameAndTheEndOfTheLink)
{
    fault("half-frame times 1");
    panel_->ask(fromHex(kReadA));
    EXPECT_EQ(panel_->client().take(1000).size(), 27u);
    EXPECT_TRUE(panel_->client().ends());
}

TEST_F(LiveFault, DroppedLinks)
{
    fault("drop-link");
    EXPECT_TRUE(panel_->client().ends());
    Panel next(plcsim_.port());
    EXPECT_TRUE(next.connect(1)) << "the triad is free again";
}

TEST_F(LiveFault, DroppedConnectionsAreSilentAndTheSessionLives)
{
    fault("drop-connections");
    panel_->client().waitAtMost(Milliseconds(50));
    EXPECT_EQ(reply(kReadA), Panel::kNoAnswer);
    panel_->client().waitAtMost(Milliseconds(5000));
    panel_->askForConnection(1);
    EXPECT_TRUE(panel_->takeConnection());
    EXPECT_EQ(reply(kReadA), kValueOfA);
}

TEST_F(LiveFault, DroppedSessionsAreNamedSo)
{
    fault("drop-sessions");
    EXPECT_EQ(fieldOfAnswer(8, 4), "64 00 00 00");
}

TEST_F(LiveFault, RefusedOpenAndSession)
{
    fault("refuse-open 0x0100 times 1");
    Panel other(plcsim_.port());
    EXPECT_FALSE(other.connect(2));
    other.askForConnection(2);
    EXPECT_TRUE(other.takeConnection());
    fault("refuse-session times 1");
    Panel third(plcsim_.port());
    EXPECT_FALSE(third.connect(3));
    third.askForSession();
    EXPECT_TRUE(third.takeSession());
    expectGoodAgain();
}

TEST_F(LiveFault, OfflineForATime)
{
    fault("offline 1");
    EXPECT_TRUE(panel_->client().ends());
    EXPECT_THROW(Panel(plcsim_.port()), std::runtime_error);
    std::this_thread::sleep_for(Milliseconds(1100));
    Panel back(plcsim_.port());
    EXPECT_TRUE(back.connect(1));
}

TEST_F(LiveFault, ADownloadKeepsTheConnectionAndChangesTheTags)
{
    const TagFile other("[[tag]]\nname = 'A'\ntype = 'DINT'\nvalue = 5\n", "other");
    EXPECT_EQ(plcsim_.command("download " + other.path()), "download " + other.path() + ": 1 tags");
    EXPECT_EQ(reply(kReadA), "cc 00 00 00 c4 00 05 00 00 00");
    EXPECT_EQ(reply(kReadB), "cc 00 05 00");
    EXPECT_EQ(plcsim_.command("set A 6"), "set A = 6");
    EXPECT_EQ(reply(kReadA), "cc 00 00 00 c4 00 06 00 00 00");
}
