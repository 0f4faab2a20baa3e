// Frame templates against their tables of fields, and the typed access to bytes.

#include "bytes.h"
#include "wire.h"

#include <QList>

#include <gtest/gtest.h>

namespace {

// --- Templates ---

TEST(FrameTemplate, IsTwoDigitsAByteWithSingleBlanksBetween)
{
    EXPECT_EQ(hex("65 00 04 ff a1"), wire::parseTemplate("65 00 04 ff a1"));
    EXPECT_EQ(hex("7f"), wire::parseTemplate("7f"));
}

TEST(FrameTemplate, OfRegisterSessionAsksForProtocolVersion1)
{
    const QByteArray& frame = wire::registerSessionTemplate();
    ASSERT_EQ(28, frame.size());
    EXPECT_EQ(hex("65 00"), frame.left(2)) << "command";
    EXPECT_EQ(hex("04 00"), frame.mid(2, 2)) << "bytes after the header";
    EXPECT_EQ(QByteArray(20, '\0'), frame.mid(4, 20)) << "handle, status, context, options";
    EXPECT_EQ(hex("01 00"), frame.mid(24, 2)) << "protocol version";
    EXPECT_EQ(hex("00 00"), frame.mid(26, 2)) << "option flags";
}

struct Field {
    int at;
    const char* bytes;
    const char* name;
};

void expectFields(const QByteArray& frame, const QList<Field>& fields)
{
    int next = 0;
    for (const Field& field : fields) {
        const QByteArray bytes = hex(field.bytes);
        EXPECT_EQ(next, field.at) << "a gap before " << field.name;
        EXPECT_EQ(bytes, frame.mid(field.at, bytes.size())) << field.name;
        next = field.at + bytes.size();
    }
    EXPECT_EQ(next, frame.size());
}

QByteArray withoutVendorAndRandom(QByteArray forwardOpen)
{
    for (const int at : {58, 59, 62, 63})
        forwardOpen[at] = '\0';
    return forwardOpen;
}

TEST(FrameTemplate, OfForwardOpenEqualsItsFields)
{
    const QByteArray& frame = wire::forwardOpenTemplate();
    ASSERT_EQ(86, frame.size());
    expectFields(withoutVendorAndRandom(frame),
                 {{0, "6f 00", "command SendRRData"},
                  {2, "3e 00", "bytes after the header"},
                  {4, "00 00 00 00", "session handle"},
                  {8, "00 00 00 00", "status"},
                  {12, "00 00 00 00 00 00 00 00", "sender context"},
                  {20, "00 00 00 00", "options"},
                  {24, "00 00 00 00", "interface handle"},
                  {28, "00 00", "timeout"},
                  {30, "02 00", "item count"},
                  {32, "00 00 00 00", "null address item"},
                  {36, "b2 00", "unconnected data item"},
                  {38, "2e 00", "its length"},
                  {40, "54", "service"},
                  {41, "02 20 06 24 01", "path to the Connection Manager"},
                  {46, "05", "priority and tick"},
                  {47, "f7", "time-out ticks"},
                  {48, "02 00 00 80", "O->T connection ID"},
                  {52, "01 00 fe 80", "T->O connection ID"},
                  {56, "02 00", "connection serial number"},
                  {58, "00 00", "originator vendor ID, masked"},
                  {60, "00 00 00 00", "originator serial number, masked"},
                  {64, "02", "time-out multiplier"},
                  {65, "00 00 00", "reserved"},
                  {68, "80 84 1e 00", "O->T packet interval"},
                  {72, "f8 43", "O->T parameters"},
                  {74, "80 84 1e 00", "T->O packet interval"},
                  {78, "f8 43", "T->O parameters"},
                  {80, "a3", "transport class and trigger"},
                  {81, "02 20 02 24 01", "path to the Message Router"}});
}

void expectConnectedRequest(const QByteArray& frame, const char* service)
{
    expectFields(frame, {{0, "70 00", "command SendUnitData"},
                         {2, "00 00", "bytes after the header"},
                         {4, "00 00 00 00", "session handle"},
                         {8, "00 00 00 00", "status"},
                         {12, "00 00 00 00 00 00 00 00", "sender context"},
                         {20, "00 00 00 00", "options"},
                         {24, "00 00 00 00", "interface handle"},
                         {28, "01 00", "timeout"},
                         {30, "02 00", "item count"},
                         {32, "a1 00", "connected address item"},
                         {34, "04 00", "its length"},
                         {36, "00 00 00 00", "connection ID"},
                         {40, "b1 00", "connected data item"},
                         {42, "00 00", "its length"},
                         {44, "00 00", "sequence count"},
                         {46, service, "service"},
                         {47, "00", "path size"}});
}

TEST(FrameTemplate, OfReadTagEqualsItsFields)
{
    expectConnectedRequest(wire::readTagTemplate(), "4c");
}

TEST(FrameTemplate, OfWriteTagFragmentedEqualsItsFields)
{
    expectConnectedRequest(wire::writeTagFragmentedTemplate(), "53");
}

TEST(FrameTemplate, IsParsedOnce)
{
    EXPECT_EQ(&wire::readTagTemplate(), &wire::readTagTemplate());
    EXPECT_EQ(&wire::forwardOpenTemplate(), &wire::forwardOpenTemplate());
}

// --- Typed access ---

TEST(TypedAccess, WritesTheLowByteFirst)
{
    char bytes[5] = {'\x55', '\x55', '\x55', '\x55', '\x55'};
    wire::putU32(bytes, 0x81234567);
    EXPECT_EQ(hex("67 45 23 81 55"), QByteArray(bytes, 5));
    wire::putU16(bytes + 1, 0xFEDC);
    EXPECT_EQ(hex("67 dc fe 81 55"), QByteArray(bytes, 5));
    wire::putU8(bytes + 4, 0xAB);
    EXPECT_EQ(hex("67 dc fe 81 ab"), QByteArray(bytes, 5));
}

TEST(TypedAccess, KeepsTheLowBitsOfWhatDoesNotFit)
{
    char bytes[4] = {0, 0, 0, 0};
    wire::putU8(bytes, 0x1FF);
    wire::putU16(bytes + 1, 0x12345);
    EXPECT_EQ(hex("ff 45 23 00"), QByteArray(bytes, 4));
}

TEST(TypedAccess, ReadsBytesAsUnsigned)
{
    const QByteArray bytes = hex("7f 80 ff");
    EXPECT_EQ(0x7F, wire::getU8(bytes, 0));
    EXPECT_EQ(0x80, wire::getU8(bytes, 1));
    EXPECT_EQ(0xFF, wire::getU8(bytes, 2));
}

TEST(TypedAccess, GrowingMakesRoomAtTheEnd)
{
    QByteArray bytes = hex("01 02");
    wire::putU16(wire::grow(bytes, 2), 0x0403);
    EXPECT_EQ(hex("01 02 03 04"), bytes);
    wire::grow(bytes, 0);
    EXPECT_EQ(4, bytes.size());
}

TEST(TypedAccess, GrowingLeavesACopyAlone)
{
    QByteArray bytes = hex("01 02");
    const QByteArray copy = bytes;
    wire::putU8(wire::grow(bytes, 1), 3);
    EXPECT_EQ(hex("01 02"), copy);
    EXPECT_EQ(hex("01 02 03"), bytes);
}

} // namespace
