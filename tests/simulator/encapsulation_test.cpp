#include "encapsulation.h"
#include "hex.h"

#include <gtest/gtest.h>

using namespace plcsim;

namespace {

const char kNopWithData[] =
    "00 00 03 00 04 03 02 01 00 00 00 00 a0 a1 a2 a3 a4 a5 a6 a7 00 00 00 00 "
    "11 22 33";
const char kListIdentity[] =
    "63 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";

} // namespace

TEST(FrameAssembler, GivesTheFieldsOfAFrame)
{
    FrameAssembler assembler;
    assembler.feed(fromHex(kNopWithData));
    const auto frame = assembler.next();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->command, command::kNop);
    EXPECT_EQ(frame->session, 0x01020304u);
    EXPECT_EQ(toHex(ByteView(frame->context.data(), 8)), "a0 a1 a2 a3 a4 a5 a6 a7");
    EXPECT_EQ(toHex(frame->data), "11 22 33");
    EXPECT_FALSE(assembler.next());
}

TEST(FrameAssembler, PutsTogetherAFrameThatArrivesByteByByte)
{
    FrameAssembler assembler;
    const Bytes bytes = fromHex(kNopWithData);
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i) {
        assembler.feed(ByteView(&bytes[i], 1));
        EXPECT_FALSE(assembler.next()) << "after byte " << i;
    }
    assembler.feed(ByteView(&bytes.back(), 1));
    EXPECT_TRUE(assembler.next());
}

TEST(FrameAssembler, TakesApartFramesGluedTogether)
{
    FrameAssembler assembler;
    const Bytes all = fromHex(std::string(kNopWithData) + kListIdentity + kNopWithData);
    assembler.feed(ByteView(all.data(), all.size() - 1));
    EXPECT_EQ(assembler.next()->command, command::kNop);
    EXPECT_EQ(assembler.next()->command, command::kListIdentity);
    EXPECT_FALSE(assembler.next());
    assembler.feed(ByteView(&all.back(), 1));
    EXPECT_EQ(toHex(assembler.next()->data), "11 22 33");
}

TEST(FrameAssembler, AbsurdLengthEndsTheStreamAndKeepsTheHeader)
{
    FrameAssembler assembler;
    assembler.feed(
        fromHex("6f 00 ff ff 04 03 02 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"));
    EXPECT_FALSE(assembler.next());
    ASSERT_TRUE(assembler.absurdHeader());
    EXPECT_EQ(assembler.absurdHeader()->command, command::kSendRrData);
    assembler.feed(fromHex(kListIdentity));
    EXPECT_FALSE(assembler.next());
}

TEST(EncodeFrame, WritesEveryFieldLittleEndian)
{
    Frame frame;
    frame.command = 0x0102;
    frame.session = 0x03040506;
    frame.status = 0x0708090A;
    frame.context = {1, 2, 3, 4, 5, 6, 7, 8};
    frame.options = 0x0B0C0D0E;
    frame.data = fromHex("aa bb");
    EXPECT_EQ(toHex(encodeFrame(frame)),
              "02 01 02 00 06 05 04 03 0a 09 08 07 01 02 03 04 05 06 07 08 "
              "0e 0d 0c 0b aa bb");
}

TEST(CommonPacket, NamesAddressAndData)
{
    const auto packet = decodeCommonPacket(
        fromHex("00 00 00 00 01 00 02 00 a1 00 04 00 44 33 22 11 b1 00 03 00 05 00 4c"));
    ASSERT_TRUE(packet);
    EXPECT_EQ(packet->addressType, item_type::kConnectedAddress);
    EXPECT_EQ(toHex(packet->address), "44 33 22 11");
    EXPECT_EQ(packet->dataType, item_type::kConnectedData);
    EXPECT_EQ(toHex(packet->data), "05 00 4c");
}

TEST(CommonPacket, SkipsFurtherItems)
{
    EXPECT_TRUE(decodeCommonPacket(
        fromHex("00 00 00 00 00 00 03 00 00 00 00 00 b2 00 01 00 4c 00 80 02 00 01 02")));
}

TEST(CommonPacket, IsRefusedWhenItsItemsDoNotFillItExactly)
{
    for (const char* hex : {
             "", "00 00 00 00 00 00",
             "00 00 00 00 00 00 01 00 00 00 00 00",             // one item
             "01 00 00 00 00 00 02 00 00 00 00 00 b2 00 00 00", // interface handle other than CIP
             "00 00 00 00 00 00 02 00 00 00 00 00 b2 00 02 00 4c", // data item cut short
             "00 00 00 00 00 00 02 00 00 00 00 00 b2 00 00 00 4c", // a byte left over
             "00 00 00 00 00 00 02 00 00 00 ff ff b2 00 00 00",    // address item of absurd length
         })
        EXPECT_FALSE(decodeCommonPacket(fromHex(hex))) << hex;
}
