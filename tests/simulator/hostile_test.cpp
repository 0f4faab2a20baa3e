// Bytes that nobody in his right mind sends: nothing crashes, hangs or grows.
#include "conversation.h"

#include <random>

using namespace plcsim;

namespace {

const char kTags[] = "[[tag]]\nname = 'A'\ntype = 'INT'\nsize = 4\nvalue = [1, 2, 3, 4]\n"
                     "[[tag]]\nname = 'S'\ntype = 'STRING'\nvalue = 'text'\n";

const char* const kGoodRequests[] = {
    "4c 02 91 01 41 00 01 00",
    "4c 03 91 01 41 00 28 02 01 00",
    "52 02 91 01 41 00 04 00 02 00 00 00",
    "4d 02 91 01 53 00 da 00 01 00 02 48 49",
    "53 02 91 01 41 00 c3 00 01 00 00 00 00 00 07 00",
    "0a 02 20 02 24 01 01 00 04 00 4c 02 91 01 41 00 01 00",
    "54 02 20 06 24 01 05 f7 02 00 00 80 01 00 fe 80 03 00 21 43 00 00 34 12 02 00 00 00 "
    "80 84 1e 00 f8 43 80 84 1e 00 f8 43 a3 02 20 02 24 01",
    "4e 02 20 06 24 01 05 f7 03 00 21 43 00 00 34 12 02 00 20 02 24 01",
    "52 02 20 06 24 01 05 9d 08 00 4c 02 91 01 41 00 01 00 00 00",
    "0e 03 20 01 24 01 30 03",
};

} // namespace

class Hostile : public Conversation {
protected:
    void SetUp() override
    {
        start(kTags);
        connect();
    }

    void expectAlive()
    {
        start(kTags);
        connect();
        EXPECT_EQ(connected("4c 02 91 01 53 00 01 00"), "cc 00 00 00 da 00 04 74 65 78 74");
    }

    std::mt19937 random_{20260101};
};

TEST_F(Hostile, EveryPrefixOfAGoodRequestIsAnswered)
{
    for (const char* request : kGoodRequests) {
        const std::string hex = request;
        for (std::size_t size = 0; size <= hex.size(); size += 3) {
            const std::string part = hex.substr(0, size);
            EXPECT_NE(connected(part), "") << part;
            EXPECT_NE(unconnected(part), "") << part;
        }
    }
    expectAlive();
}

TEST_F(Hostile, RequestsWithBytesChangedAreAnswered)
{
    for (int round = 0; round < 20000; ++round) {
        Bytes bytes = fromHex(kGoodRequests[random_() % std::size(kGoodRequests)]);
        for (auto changes = 1 + random_() % 3; changes > 0; --changes)
            bytes[random_() % bytes.size()] = static_cast<std::uint8_t>(random_());
        EXPECT_NE(connected(toHex(bytes)), "");
        EXPECT_NE(unconnected(toHex(bytes)), "");
    }
    EXPECT_LE(controller_->connectionCount(), 24u);
    expectAlive();
}

TEST_F(Hostile, RandomFramesNeverGrowTheSessions)
{
    for (int round = 0; round < 20000; ++round) {
        Frame frame;
        const std::uint16_t commands[] = {0x04, 0x63, 0x64, 0x65,
                                          0x66, 0x6F, 0x70, static_cast<std::uint16_t>(random_())};
        frame.command = commands[random_() % std::size(commands)];
        frame.session = static_cast<std::uint32_t>(random_());
        frame.data.resize(random_() % 64);
        for (std::uint8_t& byte : frame.data)
            byte = static_cast<std::uint8_t>(random_());
        controller_->handle(random_() % 100, frame, now_);
    }
    EXPECT_LE(controller_->sessionCount(), 23u);
    expectAlive();
}

TEST_F(Hostile, RandomStreamsLeaveTheAssemblerSmallAndSane)
{
    for (int round = 0; round < 200; ++round) {
        FrameAssembler assembler;
        std::size_t fed = 0;
        std::size_t taken = 0;
        for (int chunk = 0; chunk < 50; ++chunk) {
            Bytes bytes(random_() % 300);
            for (std::uint8_t& byte : bytes)
                byte = static_cast<std::uint8_t>(random_());
            fed += bytes.size();
            assembler.feed(bytes);
            while (const auto frame = assembler.next())
                taken += kHeaderSize + frame->data.size();
        }
        EXPECT_LE(taken, fed);
    }
}
