#include "faults.h"
#include "hex.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace plcsim;

namespace {

const char kReadTagAnswer[] =
    "70 00 1e 00 04 03 02 01 00 00 00 00 a0 a1 a2 a3 a4 a5 a6 a7 00 00 00 00 "
    "00 00 00 00 00 00 02 00 a1 00 04 00 01 00 fe 80 b1 00 0a 00 05 00 "
    "cc 00 00 00 c3 00 01 00";

std::vector<std::string> split(const std::string& text)
{
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

class FaultTest : public ::testing::Test {
protected:
    void add(const std::string& text) { faults_.add(split(text)); }

    std::string complaint(const std::string& text)
    {
        try {
            add(text);
            return "none";
        } catch (const std::invalid_argument& error) {
            const std::string message = error.what();
            return message.substr(0, message.find(';'));
        }
    }

    /// What becomes of an answer to a read over a connection.
    std::vector<Delivery> deliveries() { return faults_.plan(data_, fromHex(kReadTagAnswer)); }
    std::string onlyDelivery()
    {
        const auto all = deliveries();
        return all.size() == 1 ? toHex(all[0].bytes) : "several";
    }

    std::string good() const { return kReadTagAnswer; }

    static Frame frameOf(std::uint16_t commandCode, const std::string& data)
    {
        Frame frame;
        frame.command = commandCode;
        frame.data = fromHex(data);
        return frame;
    }

    TimePoint now_{};
    Faults faults_{1, [this] { return now_; }};
    const Frame data_ = frameOf(command::kSendUnitData, "");
    const Frame session_ = frameOf(command::kRegisterSession, "01 00 00 00");
    const Frame open_ =
        frameOf(command::kSendRrData, "00 00 00 00 00 00 02 00 00 00 00 00 b2 00 02 00 54 00");
    const Frame unconnected_ =
        frameOf(command::kSendRrData, "00 00 00 00 00 00 02 00 00 00 00 00 b2 00 02 00 4c 00");
};

} // namespace

TEST_F(FaultTest, NoneLeavesEverythingAlone)
{
    EXPECT_EQ(onlyDelivery(), good());
    EXPECT_FALSE(deliveries()[0].closeLink);
    EXPECT_FALSE(faults_.ignores(data_));
    EXPECT_FALSE(faults_.interference().tagStatus("A"));
    EXPECT_FALSE(faults_.interference().openRefusal());
    EXPECT_FALSE(faults_.interference().sessionRefusal());
}

TEST_F(FaultTest, SilenceEndsAfterItsSeconds)
{
    add("silence 3");
    EXPECT_TRUE(faults_.ignores(data_));
    EXPECT_TRUE(faults_.ignores(session_));
    now_ += std::chrono::milliseconds(2999);
    EXPECT_TRUE(faults_.ignores(data_));
    now_ += std::chrono::milliseconds(1);
    EXPECT_FALSE(faults_.ignores(data_));
    EXPECT_TRUE(faults_.list().empty());
}

TEST_F(FaultTest, SilenceWithoutSecondsLastsUntilCleared)
{
    add("silence");
    now_ += std::chrono::hours(10);
    EXPECT_TRUE(faults_.ignores(data_));
    EXPECT_EQ(faults_.list(), std::vector<std::string>{"silence"});
    faults_.clear();
    EXPECT_FALSE(faults_.ignores(data_));
}

TEST_F(FaultTest, CanBeLimitedToAPhase)
{
    add("silence on open");
    EXPECT_FALSE(faults_.ignores(data_));
    EXPECT_FALSE(faults_.ignores(session_));
    EXPECT_FALSE(faults_.ignores(unconnected_));
    EXPECT_TRUE(faults_.ignores(open_));
    faults_.clear();
    add("silence on data");
    EXPECT_TRUE(faults_.ignores(data_));
    EXPECT_TRUE(faults_.ignores(unconnected_));
    EXPECT_FALSE(faults_.ignores(open_));
    faults_.clear();
    add("silence on session");
    EXPECT_TRUE(faults_.ignores(session_));
    EXPECT_FALSE(faults_.ignores(data_));
}

TEST_F(FaultTest, CanBeLimitedToANumberOfTimes)
{
    add("lost-answer times 2");
    EXPECT_EQ(onlyDelivery(), "");
    EXPECT_EQ(onlyDelivery(), "");
    EXPECT_EQ(onlyDelivery(), good());
    EXPECT_TRUE(faults_.list().empty());
}

TEST_F(FaultTest, CanStrikeByChance)
{
    add("lost-answer chance 0.25");
    int lost = 0;
    for (int i = 0; i < 4000; ++i)
        lost += onlyDelivery().empty();
    EXPECT_NEAR(lost, 1000, 150);
}

TEST_F(FaultTest, StatusIsForOneTagOrForAll)
{
    add("status 0x05 Speed");
    const auto interference = faults_.interference();
    EXPECT_FALSE(interference.tagStatus("Level"));
    ASSERT_TRUE(interference.tagStatus("SPEED"));
    EXPECT_EQ(interference.tagStatus("Speed")->general, 0x05);
    EXPECT_TRUE(interference.tagStatus("Speed")->extended.empty());
    add("status 0xFF 0x2105");
    EXPECT_EQ(interference.tagStatus("Level")->general, 0xFF);
    EXPECT_EQ(interference.tagStatus("Level")->extended, std::vector<std::uint16_t>{0x2105});
}

TEST_F(FaultTest, OpenAndSessionAreRefusedWithTheirStatuses)
{
    add("refuse-open");
    add("refuse-session");
    EXPECT_EQ(faults_.interference().openRefusal(), 0x0113);
    EXPECT_EQ(faults_.interference().sessionRefusal(), 0x02u);
    faults_.clear();
    add("refuse-open 0x0100 times 1");
    EXPECT_EQ(faults_.interference().openRefusal(), 0x0100);
    EXPECT_FALSE(faults_.interference().openRefusal());
}

struct Edit {
    const char* fault;
    std::size_t offset; ///< where the answer differs
    const char* bytes;
};

class EditedAnswer : public FaultTest, public ::testing::WithParamInterface<Edit> {};

TEST_P(EditedAnswer, DiffersInOneFieldOnly)
{
    add(GetParam().fault);
    EXPECT_EQ(onlyDelivery(),
              good().replace(GetParam().offset * 3, std::string(GetParam().bytes).size(),
                             GetParam().bytes));
}

INSTANTIATE_TEST_SUITE_P(
    Fields, EditedAnswer,
    ::testing::Values(Edit{"wrong session", 4, "5e"}, Edit{"wrong context", 12, "fa"},
                      Edit{"wrong connection", 36, "5b"}, Edit{"wrong sequence", 44, "5f"},
                      Edit{"wrong service", 46, "cd"}, Edit{"wrong-header 5", 2, "23 00"},
                      Edit{"wrong-header -1", 2, "1d 00"}));

TEST_F(FaultTest, WrongLengthKeepsTheHeaderInStep)
{
    add("wrong-length 2");
    EXPECT_EQ(onlyDelivery(), good().replace(6, 2, "20") + " 00 00");
    faults_.clear();
    add("wrong-length -3");
    EXPECT_EQ(onlyDelivery(), good().replace(6, 2, "1b").substr(0, 51 * 3 - 1));
    faults_.clear();
    add("wrong-length -4000");
    EXPECT_EQ(fromHex(onlyDelivery()).size(), 24u);
}

TEST_F(FaultTest, EncapsulationStatusComesWithoutData)
{
    add("encap-status 0x64");
    EXPECT_EQ(onlyDelivery(),
              "70 00 00 00 04 03 02 01 64 00 00 00 a0 a1 a2 a3 a4 a5 a6 a7 00 00 00 00");
}

TEST_F(FaultTest, HalfAFrameEndsTheLink)
{
    add("half-frame");
    EXPECT_EQ(onlyDelivery(), good().substr(0, 27 * 3 - 1));
    EXPECT_TRUE(deliveries()[0].closeLink);
}

TEST_F(FaultTest, SplitAnswerIsWholeInTheEnd)
{
    add("split 30");
    const auto all = deliveries();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(toHex(all[0].bytes) + " " + toHex(all[1].bytes), good());
    EXPECT_EQ(all[0].delay, Duration{});
    EXPECT_EQ(all[1].delay, std::chrono::milliseconds(30));
}

TEST_F(FaultTest, LateDuplicateComesOnTop)
{
    add("late-duplicate 500");
    const auto all = deliveries();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(toHex(all[0].bytes), good());
    EXPECT_EQ(toHex(all[1].bytes), good());
    EXPECT_EQ(all[1].delay, std::chrono::milliseconds(500));
}

TEST_F(FaultTest, DelaysAddUp)
{
    add("delay 20");
    add("delay 30");
    EXPECT_EQ(deliveries()[0].delay, std::chrono::milliseconds(50));
    EXPECT_EQ(onlyDelivery(), good());
}

TEST_F(FaultTest, GarbageReplacesTheAnswer)
{
    add("garbage 10");
    EXPECT_EQ(fromHex(onlyDelivery()).size(), 10u);
    EXPECT_NE(onlyDelivery(), good().substr(0, 29));
}

TEST_F(FaultTest, WhatActsAtOnceDoesSo)
{
    std::string done;
    Faults::Actions actions;
    actions.dropLinks = [&done] { done += "links "; };
    actions.dropConnections = [&done] { done += "connections "; };
    actions.dropSessions = [&done] { done += "sessions "; };
    actions.goOffline = [&done](Duration lasting) {
        done += "offline " + std::to_string(secondsBetween(TimePoint{}, TimePoint{} + lasting));
    };
    actions.comeOnline = [&done] { done += " online"; };
    faults_.act(actions);
    add("drop-link");
    add("drop-connections");
    add("drop-sessions");
    add("offline 7");
    faults_.clear();
    EXPECT_EQ(done, "links connections sessions offline 7.000000 online");
    EXPECT_TRUE(faults_.list().empty());
}

TEST_F(FaultTest, DropLinkWithAConditionDropsInsteadOfAnswering)
{
    add("drop-link times 1");
    const auto all = deliveries();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_TRUE(all[0].bytes.empty());
    EXPECT_TRUE(all[0].closeLink);
    EXPECT_EQ(onlyDelivery(), good());
}

TEST_F(FaultTest, MistakesAreNamed)
{
    EXPECT_EQ(complaint("").substr(0, 24), "no kind of fault (known:");
    EXPECT_EQ(complaint("fire").substr(0, 20), "unknown fault \"fire\"");
    EXPECT_EQ(complaint("delay"), "a number is missing");
    EXPECT_EQ(complaint("delay soon"), "\"soon\" is not a number");
    EXPECT_EQ(complaint("delay -1"), "-1 is not within 0..3600000");
    EXPECT_EQ(complaint("status"), "a number is missing");
    EXPECT_EQ(complaint("status 0x100"), "0x100 is not within 1..255");
    EXPECT_EQ(complaint("wrong"), "something is missing");
    EXPECT_EQ(complaint("wrong colour"), "no field \"colour\"");
    EXPECT_EQ(complaint("silence for"), "something is missing");
    EXPECT_EQ(complaint("silence for ever"), "\"ever\" is not a number of seconds");
    EXPECT_EQ(complaint("silence times 0"), "\"0\" is not a number of times");
    EXPECT_EQ(complaint("silence chance 2"), "a chance is above 0 and at most 1");
    EXPECT_EQ(complaint("silence on monday"), "\"monday\" is neither session nor open nor data");
    EXPECT_EQ(complaint("half-frame twice"), "\"twice\" makes no sense here");
    EXPECT_TRUE(faults_.list().empty());
}
