#include "hex.h"
#include "packet_file.h"
#include "tag_reference.h"

#include <gtest/gtest.h>
#include <pcap/pcap.h>

#include <fstream>
#include <unistd.h>

namespace panelhost {
namespace {

/// IPv4 and TCP headers of 5 bytes from 10.0.0.1:50112 to 10.0.0.2:44818, sequence 0x01020304.
const QByteArray kIpPacket = hex("45 00 00 2d 00 00 00 00 40 06 00 00 0a 00 00 01 0a 00 00 02"
                                 "c3 c0 af 12 01 02 03 04 00 00 00 00 50 18 ff ff 00 00 00 00"
                                 "68 65 6c 6c 6f");

class CaptureFile {
public:
    CaptureFile()
    {
        const int descriptor = mkstemp(path_);
        close(descriptor);
    }
    CaptureFile(int linkType, const std::vector<QByteArray>& packets) : CaptureFile()
    {
        pcap* handle = pcap_open_dead(linkType, 65535);
        pcap_dumper* dumper = pcap_dump_open(handle, path_);
        for (const QByteArray& packet : packets) {
            pcap_pkthdr header{};
            header.ts.tv_sec = 1700000000;
            header.ts.tv_usec = 250000;
            header.caplen = header.len = static_cast<bpf_u_int32>(packet.size());
            pcap_dump(reinterpret_cast<u_char*>(dumper), &header,
                      reinterpret_cast<const u_char*>(packet.constData()));
        }
        pcap_dump_close(dumper);
        pcap_close(handle);
    }
    ~CaptureFile() { unlink(path_); }
    CaptureFile(const CaptureFile&) = delete;
    CaptureFile& operator=(const CaptureFile&) = delete;

    std::string path() const { return path_; }

private:
    char path_[32] = "/tmp/packet_file_XXXXXX";
};

std::string complaintOf(const std::string& path)
{
    try {
        PacketFile file(path);
        TcpSegment segment;
        while (file.next(&segment)) {
        }
    } catch (const UsageError& error) {
        return error.what();
    }
    return "none";
}

struct Network {
    const char* name;
    int linkType;
    const char* header;
};

void PrintTo(const Network& network, std::ostream* out)
{
    *out << network.name;
}

class PacketFileOn : public testing::TestWithParam<Network> {};

TEST_P(PacketFileOn, ThisNetworkGivesTheSegment)
{
    const CaptureFile capture(GetParam().linkType, {hex(GetParam().header) + kIpPacket});
    PacketFile file(capture.path());
    TcpSegment segment;
    ASSERT_TRUE(file.next(&segment));
    EXPECT_EQ(segment.from.text(), "10.0.0.1:50112");
    EXPECT_EQ(segment.to.text(), "10.0.0.2:44818");
    EXPECT_EQ(segment.sequence, 0x01020304u);
    EXPECT_EQ(std::string(segment.payload.data(), segment.payload.data() + segment.payload.size()),
              "hello");
    EXPECT_EQ(segment.time.time_since_epoch(), std::chrono::milliseconds(1700000000250));
    EXPECT_FALSE(file.next(&segment));
    EXPECT_EQ(file.packets(), 1u);
}

INSTANTIATE_TEST_SUITE_P(
    Networks, PacketFileOn,
    testing::Values(
        Network{"Raw", DLT_RAW, ""},
        Network{"Ethernet", DLT_EN10MB, "02 00 00 00 00 01 02 00 00 00 00 02 08 00"},
        Network{"Vlan", DLT_EN10MB, "02 00 00 00 00 01 02 00 00 00 00 02 81 00 00 07 08 00"},
        Network{"LinuxCooked", DLT_LINUX_SLL, "00 00 00 01 00 06 02 00 00 00 00 01 00 00 08 00"},
        Network{"LinuxCookedTwo", DLT_LINUX_SLL2,
                "08 00 00 00 00 00 00 02 00 01 00 06 02 00 00 00 00 01 00 00"},
        Network{"Loopback", DLT_NULL, "02 00 00 00"}),
    [](const testing::TestParamInfo<Network>& network) { return network.param.name; });

TEST(PacketFileTest, EthernetPaddingIsNoPayload)
{
    const CaptureFile capture(DLT_RAW, {kIpPacket + hex("00 00 00 00 00 00")});
    PacketFile file(capture.path());
    TcpSegment segment;
    ASSERT_TRUE(file.next(&segment));
    EXPECT_EQ(segment.payload.size(), 5u);
    EXPECT_EQ(segment.cutOff, 0u);
}

TEST(PacketFileTest, APayloadCutByTheCaptureSaysHowMuchIsMissing)
{
    const CaptureFile capture(DLT_RAW, {kIpPacket.left(42)});
    PacketFile file(capture.path());
    TcpSegment segment;
    ASSERT_TRUE(file.next(&segment));
    EXPECT_EQ(segment.payload.size(), 2u);
    EXPECT_EQ(segment.cutOff, 3u);
}

TEST(PacketFileTest, WhatIsNoTcpOverIpv4IsPassedOver)
{
    QByteArray udp = kIpPacket;
    udp[9] = 17;
    QByteArray piece = kIpPacket;
    piece[7] = 1;
    const CaptureFile capture(
        DLT_RAW, {udp, piece, kIpPacket.left(30), hex("60 00"), QByteArray(), kIpPacket});
    PacketFile file(capture.path());
    TcpSegment segment;
    EXPECT_TRUE(file.next(&segment));
    EXPECT_FALSE(file.next(&segment));
    EXPECT_EQ(file.packets(), 6u);
}

TEST(PacketFileTest, ComplaintsNameTheFileAndTheCause)
{
    EXPECT_EQ(complaintOf("/nowhere/x.pcap"),
              "/nowhere/x.pcap: cannot be read: No such file or directory");

    const CaptureFile text;
    std::ofstream(text.path()) << "this is no capture, only some text\n";
    EXPECT_EQ(complaintOf(text.path()),
              text.path() + ": not a capture file that can be read: unknown file format");

    const CaptureFile radio(DLT_IEEE802_11, {kIpPacket});
    EXPECT_EQ(complaintOf(radio.path()), radio.path() + ": captured on a network of another kind "
                                                        "(802.11); capture on Ethernet, or with "
                                                        "--capture");
}

TEST(PacketFileTest, ADamagedFileSaysBehindWhichPacket)
{
    const CaptureFile capture(DLT_RAW, {kIpPacket, kIpPacket});
    ASSERT_EQ(truncate(capture.path().c_str(), 24 + 16 + kIpPacket.size() + 9), 0);
    const std::string complaint = complaintOf(capture.path());
    EXPECT_EQ(complaint.rfind(capture.path() + ": damaged or cut off behind packet 1: ", 0), 0u)
        << complaint;
}

} // namespace
} // namespace panelhost
