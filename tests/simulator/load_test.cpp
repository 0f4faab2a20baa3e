// plcsim with hundreds of clients at once: good ones, ones that send anything, ones that never
// read. Nobody is served wrongly for their sake, and half a frame takes little memory.
#include "panel.h"
#include "running_simulator.h"

#include <fstream>
#include <memory>
#include <random>

using namespace plcsim;

namespace {

constexpr std::size_t kClients = 300;

#if defined(__SANITIZE_ADDRESS__)
constexpr std::size_t kMemoryFactor = 8; // freed memory is kept in quarantine
#else
constexpr std::size_t kMemoryFactor = 1;
#endif

const char kReadOfText[] = "4c 03 91 04 54 65 78 74 01 00";

class LoadTest : public ::testing::Test {
protected:
    std::vector<std::unique_ptr<Panel>> connectedPanels(std::size_t count)
    {
        std::vector<std::unique_ptr<Panel>> panels;
        for (std::size_t i = 0; i < count; ++i)
            panels.push_back(std::make_unique<Panel>(plcsim_.port()));
        for (const auto& panel : panels)
            panel->askForSession();
        for (const auto& panel : panels)
            EXPECT_TRUE(panel->takeSession());
        for (const auto& panel : panels)
            panel->askForConnection(++connectionSerial_);
        for (const auto& panel : panels)
            EXPECT_TRUE(panel->takeConnection());
        return panels;
    }

    void expectRightAnswers(Panel& panel)
    {
        panel.ask(fromHex(kReadOfText));
        EXPECT_EQ(panel.answer(), "cc 00 00 00 da 00 04 68 65 6c 64");
    }

    std::size_t residentKilobytes() const
    {
        std::ifstream file("/proc/" + std::to_string(plcsim_.pid()) + "/status");
        for (std::string line; std::getline(file, line);)
            if (line.compare(0, 6, "VmRSS:") == 0)
                return std::stoul(line.substr(6));
        return 0;
    }

    RunningSimulator plcsim_{"[[tag]]\nname = 'Own'\ntype = 'DINT'\nsize = 1000\n"
                             "[[tag]]\nname = 'Text'\ntype = 'STRING'\nvalue = 'held'\n",
                             {"--max-sessions", "1000", "--max-connections", "1000"}};
    std::uint16_t connectionSerial_ = 0;
};

/// Path to element `index` of Own, behind the service.
Bytes ownElement(std::uint8_t service, std::size_t index)
{
    Bytes request;
    ByteWriter(request).u8(service).append(fromHex("05 91 03 4f 77 6e 00 29 00"));
    ByteWriter(request).u16(static_cast<std::uint16_t>(index));
    return request;
}

Bytes readOf(std::size_t index)
{
    Bytes request = ownElement(0x4C, index);
    ByteWriter(request).u16(1);
    return request;
}

Bytes writeOf(std::size_t index, std::uint32_t value)
{
    Bytes request = ownElement(0x4D, index);
    ByteWriter(request).u16(0xC4).u16(1).u32(value);
    return request;
}

std::string inHex(std::uint32_t value)
{
    Bytes bytes;
    ByteWriter(bytes).u32(value);
    return toHex(bytes);
}

} // namespace

TEST_F(LoadTest, HundredsOfConnectionsWriteAndReadTheirOwnAtOnce)
{
    const auto panels = connectedPanels(kClients);
    EXPECT_EQ(plcsim_.command("status").substr(0, 44),
              "status links 300 sessions 300 connections 30");
    for (std::uint32_t round = 1; round <= 5; ++round) {
        const auto value = [round](std::size_t i) {
            return round * 0x01010101u + static_cast<std::uint32_t>(i);
        };
        for (std::size_t i = 0; i < panels.size(); ++i)
            panels[i]->ask(writeOf(i, value(i)));
        for (const auto& panel : panels)
            ASSERT_EQ(panel->answer(), "cd 00 00 00");
        for (std::size_t i = 0; i < panels.size(); ++i)
            panels[i]->ask(readOf(i));
        for (std::size_t i = 0; i < panels.size(); ++i)
            ASSERT_EQ(panels[i]->answer(), "cc 00 00 00 c4 00 " + inHex(value(i)));
    }
}

TEST_F(LoadTest, RandomBytesOverHundredsOfLinksHarmNobody)
{
    const auto good = connectedPanels(1);
    std::mt19937 random(20261121);
    const std::size_t before = residentKilobytes();
    for (int wave = 0; wave < 3; ++wave) {
        std::vector<std::unique_ptr<RawClient>> others;
        for (std::size_t i = 0; i < kClients; ++i)
            others.push_back(std::make_unique<RawClient>(plcsim_.port()));
        for (int round = 0; round < 10; ++round)
            for (const auto& other : others) {
                Bytes bytes(random() % 600);
                for (std::uint8_t& byte : bytes)
                    byte = static_cast<std::uint8_t>(random());
                if (bytes.size() > 4 && random() % 2 == 0) // a header of sense now and then
                    std::copy_n(fromHex("6f 00 40 00").begin(), 4, bytes.begin());
                other->sendWithoutWaiting(bytes);
            }
        expectRightAnswers(*good[0]);
    }
    EXPECT_LT(residentKilobytes(), before + kMemoryFactor * 16 * 1024);
}

TEST_F(LoadTest, GoodRequestsWithBytesChangedHarmNobody)
{
    const auto good = connectedPanels(1);
    const auto others = connectedPanels(100);
    std::mt19937 random(20261122);
    const Bytes requests[] = {readOf(1), writeOf(2, 3), fromHex(kReadOfText),
                              fromHex("52 03 91 04 54 65 78 74 01 00 00 00 00 00"),
                              fromHex("0a 02 20 02 24 01 01 00 04 00 4c 02 91 01 41 00 01 00")};
    for (int round = 0; round < 20; ++round) {
        for (const auto& other : others) {
            Bytes request = requests[random() % std::size(requests)];
            request[random() % request.size()] = static_cast<std::uint8_t>(random());
            other->ask(request);
        }
        for (const auto& other : others)
            ASSERT_NE(other->answer(), Panel::kNoAnswer);
    }
    plcsim_.command("set Text \"held\"");
    expectRightAnswers(*good[0]);
}

TEST_F(LoadTest, HalfAFrameOnEveryLinkTakesLittleMemory)
{
    const auto good = connectedPanels(1);
    const std::size_t before = residentKilobytes();
    Bytes half = fromHex("6f 00 ff 1f"); // claims nearly as much as a frame may have
    half.resize(24 + 8000);
    std::vector<std::unique_ptr<RawClient>> others;
    for (std::size_t i = 0; i < kClients; ++i) {
        others.push_back(std::make_unique<RawClient>(plcsim_.port()));
        others.back()->send(half);
    }
    expectRightAnswers(*good[0]);
    EXPECT_LT(residentKilobytes(), before + kMemoryFactor * kClients * 32);
}

TEST_F(LoadTest, ClientsThatNeverReadTakeNobodysTime)
{
    const auto good = connectedPanels(1);
    std::vector<std::unique_ptr<RawClient>> others;
    constexpr int kLittleRoom = 2048;
    constexpr std::size_t kDeaf = 20;
    for (std::size_t i = 0; i < kDeaf; ++i)
        others.push_back(std::make_unique<RawClient>(plcsim_.port(), kLittleRoom));
    const Bytes listIdentity =
        fromHex("63 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
    Bytes flood;
    for (int i = 0; i < 10000; ++i)
        flood.insert(flood.end(), listIdentity.begin(), listIdentity.end());
    for (int round = 0; round < 20; ++round) {
        for (const auto& other : others)
            other->sendWithoutWaiting(flood);
        expectRightAnswers(*good[0]);
    }
}
