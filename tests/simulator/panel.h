// A client with a session and a connection of its own, as a test speaks for it.
#pragma once

#include "encapsulation.h"
#include "hex.h"
#include "raw_client.h"

#include <string>

class Panel {
public:
    /// What stands for the reply when none comes in time, or one to another request.
    static constexpr char kNoAnswer[] = "no answer to that request";

    explicit Panel(std::uint16_t port) : client_(port) {}

    RawClient& client() { return client_; }

    void askForSession()
    {
        client_.send(fromHex("65 00 04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                             "00 00 00 00 01 00 00 00"));
    }
    bool takeSession()
    {
        const plcsim::Bytes answer = client_.frame();
        session_ = answer.size() == 28 ? fieldAt(answer, 4) : 0;
        return session_ != 0;
    }

    void askForConnection(std::uint16_t serial)
    {
        plcsim::CommonPacket packet;
        packet.dataType = plcsim::item_type::kUnconnectedData;
        packet.data = fromHex("54 02 20 06 24 01 05 f7 02 00 00 80 01 00 fe 80 02 00 21 43 "
                              "00 00 34 12 02 00 00 00 80 84 1e 00 f8 43 80 84 1e 00 f8 43 "
                              "a3 02 20 02 24 01");
        packet.data[16] = static_cast<std::uint8_t>(serial & 0xFF);
        packet.data[17] = static_cast<std::uint8_t>(serial >> 8);
        send(plcsim::command::kSendRrData, packet);
    }
    bool takeConnection()
    {
        const plcsim::Bytes answer = client_.frame();
        connection_ = answer.size() == 70 ? fieldAt(answer, 44) : 0;
        return connection_ != 0;
    }

    bool connect(std::uint16_t serial)
    {
        askForSession();
        if (!takeSession())
            return false;
        askForConnection(serial);
        return takeConnection();
    }

    void ask(plcsim::ByteView cip)
    {
        plcsim::CommonPacket packet;
        packet.addressType = plcsim::item_type::kConnectedAddress;
        plcsim::ByteWriter(packet.address).u32(connection_);
        packet.dataType = plcsim::item_type::kConnectedData;
        plcsim::ByteWriter(packet.data).u16(++sequence_).append(cip);
        send(plcsim::command::kSendUnitData, packet);
    }

    /// The CIP reply to the latest request, in hex.
    std::string answer()
    {
        constexpr std::size_t kSequenceAt = 44;
        constexpr std::size_t kCipAt = 46;
        const plcsim::Bytes frame = client_.frame();
        if (frame.size() < kCipAt)
            return kNoAnswer;
        const plcsim::ByteView sequence(frame.data() + kSequenceAt, 2);
        if (plcsim::ByteReader(sequence).u16() != sequence_)
            return kNoAnswer;
        return toHex(plcsim::ByteView(frame.data() + kCipAt, frame.size() - kCipAt));
    }

private:
    static std::uint32_t fieldAt(const plcsim::Bytes& bytes, std::size_t at)
    {
        return plcsim::ByteReader(plcsim::ByteView(bytes.data() + at, 4)).u32();
    }

    void send(std::uint16_t commandCode, const plcsim::CommonPacket& packet)
    {
        plcsim::Frame frame;
        frame.command = commandCode;
        frame.session = session_;
        frame.data = plcsim::encodeCommonPacket(packet);
        client_.send(plcsim::encodeFrame(frame));
    }

    RawClient client_;
    std::uint32_t session_ = 0;
    std::uint32_t connection_ = 0;
    std::uint16_t sequence_ = 0;
};
