// The records that host and driver share: sizes and offsets. Where pointers have four bytes they
// are the interface; on 64-bit machines they follow from the same order of fields.

#include <micro850/host_interface.h>

#include <gtest/gtest.h>

#include <cstddef>

namespace {

/// The offset on this machine: 32-bit panels on the left.
constexpr std::size_t here(std::size_t with32Bits, std::size_t with64Bits)
{
    return sizeof(void*) == 4 ? with32Bits : with64Bits;
}

TEST(RecordLayout, ComInfoWordsStandAtTheSameOffsetsOnEveryMachine)
{
    EXPECT_EQ(76u, sizeof(COM_INFO));
    EXPECT_EQ(0u, offsetof(COM_INFO, hostWords));
    EXPECT_EQ(24u, offsetof(COM_INFO, defaultStation));
    EXPECT_EQ(28u, offsetof(COM_INFO, retryLimit));
    EXPECT_EQ(32u, offsetof(COM_INFO, failCount));
    EXPECT_EQ(36u, offsetof(COM_INFO, multiStation));
    EXPECT_EQ(40u, offsetof(COM_INFO, linkWord0));
    EXPECT_EQ(44u, offsetof(COM_INFO, framesExpected));
    EXPECT_EQ(48u, offsetof(COM_INFO, framesAnswered));
    EXPECT_EQ(52u, offsetof(COM_INFO, linkWord1));
    EXPECT_EQ(56u, offsetof(COM_INFO, remoteMode));
    EXPECT_EQ(60u, offsetof(COM_INFO, localDeviceNo));
    EXPECT_EQ(64u, offsetof(COM_INFO, writeMode));
    EXPECT_EQ(68u, offsetof(COM_INFO, scanDone));
    EXPECT_EQ(72u, offsetof(COM_INFO, hostHandle));
}

TEST(RecordLayout, AVariableTakes60BytesWherePointersHaveFour)
{
    EXPECT_EQ(here(60, 72), sizeof(RW_VAR));
    EXPECT_EQ(0u, offsetof(RW_VAR, hostArea));
    EXPECT_EQ(4u, offsetof(RW_VAR, hostAddress));
    EXPECT_EQ(8u, offsetof(RW_VAR, accessKind));
    EXPECT_EQ(12u, offsetof(RW_VAR, hostWord3));
    EXPECT_EQ(16u, offsetof(RW_VAR, deviceNo));
    EXPECT_EQ(20u, offsetof(RW_VAR, result));
    EXPECT_EQ(24u, offsetof(RW_VAR, tagName));
    EXPECT_EQ(here(28, 32), offsetof(RW_VAR, indexText));
    EXPECT_EQ(here(32, 40), offsetof(RW_VAR, dataKind));
    EXPECT_EQ(here(36, 44), offsetof(RW_VAR, startIndex));
    EXPECT_EQ(here(40, 48), offsetof(RW_VAR, station));
    EXPECT_EQ(here(44, 52), offsetof(RW_VAR, count));
    EXPECT_EQ(here(48, 56), offsetof(RW_VAR, isArrayTag));
    EXPECT_EQ(here(52, 60), offsetof(RW_VAR, onceFlag));
    EXPECT_EQ(here(56, 64), offsetof(RW_VAR, data));
}

TEST(RecordLayout, ARequestTakes92BytesWherePointersHaveFour)
{
    EXPECT_EQ(here(92, 112), sizeof(Protocol));
    EXPECT_EQ(0u, offsetof(Protocol, frame));
    EXPECT_EQ(here(4, 8), offsetof(Protocol, frameLength));
    EXPECT_EQ(here(8, 12), offsetof(Protocol, replyLength));
    EXPECT_EQ(here(12, 16), offsetof(Protocol, fixedReplyLength));
    EXPECT_EQ(here(16, 20), offsetof(Protocol, requestFlags));
    EXPECT_EQ(here(20, 24), offsetof(Protocol, var));
    EXPECT_EQ(here(80, 96), offsetof(Protocol, reserved0));
    EXPECT_EQ(here(84, 100), offsetof(Protocol, reserved1));
    EXPECT_EQ(here(88, 104), offsetof(Protocol, reserved2));
}

TEST(RecordLayout, AnAddressRecordTakes20BytesWherePointersHaveFour)
{
    EXPECT_EQ(here(20, 32), sizeof(ADDRESS_RECORD));
    EXPECT_EQ(1u, offsetof(ADDRESS_RECORD, dataKind));
    EXPECT_EQ(8u, offsetof(ADDRESS_RECORD, indexText));
    EXPECT_EQ(here(12, 16), offsetof(ADDRESS_RECORD, tagName));
    EXPECT_EQ(here(16, 24), offsetof(ADDRESS_RECORD, count));
}

TEST(RecordLayout, ATagNameIsFollowedByItsKindAndTheHostsOwn)
{
    EXPECT_EQ(here(16, 24), sizeof(varName));
    EXPECT_EQ(0u, offsetof(varName, name));
    EXPECT_EQ(here(4, 8), offsetof(varName, kind));
    EXPECT_EQ(here(8, 12), offsetof(varName, hostWord));
    EXPECT_EQ(here(12, 16), offsetof(varName, elements));
}

TEST(RecordLayout, NewRecordsHoldZerosAndNothing)
{
    const RW_VAR var;
    EXPECT_EQ(0, var.hostArea | var.hostAddress | var.accessKind | var.hostWord3 | var.deviceNo |
                     var.result | var.dataKind | var.startIndex | var.station | var.count |
                     var.isArrayTag | var.onceFlag);
    EXPECT_TRUE(var.tagName.isEmpty());
    EXPECT_TRUE(var.data.isEmpty());

    const Protocol request;
    EXPECT_EQ(0, request.frameLength | request.replyLength | request.fixedReplyLength |
                     request.requestFlags | request.reserved0 | request.reserved1 |
                     request.reserved2);
    EXPECT_TRUE(request.frame.isEmpty());
}

} // namespace
