#include "hex.h"
#include "identity.h"

#include <gtest/gtest.h>

namespace panelhost {
namespace {

const QByteArray kReply =
    hex("63 00 2f 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
        "01 00 0c 00 29 00 01 00 00 02 af 12 c0 a8 01 0a 00 00 00 00 00 00 00 00"
        "01 00 0e 00 8d 00 0c 0b 34 00 78 56 34 12 08 32 30 38 30 2d 4c 35 30 03");

TEST(Identity, IsReadFromAListIdentityReply)
{
    const auto identity = parseIdentity(ByteView(kReply));
    ASSERT_TRUE(identity.has_value());
    EXPECT_EQ(vendorName(identity->vendor), "Rockwell Automation/Allen-Bradley");
    EXPECT_EQ(deviceTypeName(identity->deviceType), "programmable logic controller");
    EXPECT_EQ(identity->productCode, 141);
    EXPECT_EQ(identity->majorRevision, 12);
    EXPECT_EQ(identity->minorRevision, 11);
    EXPECT_EQ(identity->serial, 0x12345678u);
    EXPECT_EQ(identity->product, "2080-L50");
}

TEST(Identity, ATruncatedReplyIsNone)
{
    for (int size = 0; size < kReply.size() - 1; ++size) {
        const QByteArray cut = kReply.left(size);
        EXPECT_FALSE(parseIdentity(ByteView(cut)).has_value()) << size;
    }
}

TEST(Identity, ANameCannotMoveTheCursor)
{
    QByteArray reply = kReply;
    reply[reply.size() - 2] = '\x1b';
    EXPECT_EQ(parseIdentity(ByteView(reply))->product, "2080-L5?");
}

TEST(Identity, TheRequestIsAHeaderAlone)
{
    EXPECT_EQ(listIdentityRequest().toHex(), "63" + QByteArray(46, '0'));
}

} // namespace
} // namespace panelhost
