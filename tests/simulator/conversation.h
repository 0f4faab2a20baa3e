// A test's conversation with a controller: hex in, hex out, on a clock that stands still.
#pragma once

#include "controller.h"
#include "hex.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

class Conversation : public ::testing::Test {
protected:
    static constexpr plcsim::LinkId kLink = 7;

    /// Begins anew with that tag file.
    void start(const std::string& tagFile, plcsim::ControllerOptions options = {})
    {
        controller_ = std::make_unique<plcsim::Controller>(
            plcsim::parseTagFile(tagFile, "test.toml"), options, now_);
    }

    /// Sends one frame, given in hex with <session> and <ot> for what the controller chose. Returns
    /// the answer in hex, or "" for silence.
    std::string send(const std::string& hex, plcsim::LinkId link = kLink)
    {
        plcsim::FrameAssembler assembler;
        assembler.feed(fromHex(filled(hex)));
        const auto frame = assembler.next();
        if (!frame)
            return "not a whole frame";
        const auto outcome = controller_->handle(link, *frame, now_);
        linkClosed_ = outcome.closeLink;
        return outcome.reply ? toHex(encodeFrame(*outcome.reply)) : "";
    }

    void registerSession(plcsim::LinkId link = kLink)
    {
        const auto answer =
            fromHex(send("65 00 04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                         "00 00 00 00 01 00 00 00",
                         link));
        ASSERT_EQ(answer.size(), 28u);
        session_ = toHex(plcsim::ByteView(answer.data() + 4, 4));
    }

    /// Opens the connection of serial number 2 with 504 bytes and 32 s of time-out.
    void openConnection(plcsim::LinkId link = kLink)
    {
        const auto answer = fromHex(send(forwardOpen(), link));
        ASSERT_EQ(answer.size(), 70u);
        originatorToTarget_ = toHex(plcsim::ByteView(answer.data() + 44, 4));
    }

    void connect()
    {
        registerSession();
        openConnection();
    }

    static std::string forwardOpen()
    {
        return "6f 00 3e 00 <session> 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
               "00 00 00 00 00 00 02 00 00 00 00 00 b2 00 2e 00 "
               "54 02 20 06 24 01 05 f7 02 00 00 80 01 00 fe 80 02 00 21 43 00 00 34 12 02 00 00 "
               "00 "
               "80 84 1e 00 f8 43 80 84 1e 00 f8 43 a3 02 20 02 24 01";
    }

    /// The CIP reply to a CIP request over the connection, with a sequence count of its own.
    std::string connected(const std::string& cip)
    {
        ++sequence_;
        const std::size_t size = fromHex(cip).size() + 2;
        const std::string answer =
            send("70 00 " + word(size + 20) +
                 " <session> 00 00 00 00 00 00 00 00 00 00 00 00 "
                 "00 00 00 00 00 00 00 00 01 00 02 00 a1 00 04 00 <ot> b1 00 " +
                 word(size) + " " + word(sequence_) + " " + cip);
        constexpr std::size_t kBeforeCip = 46 * 3;
        return answer.size() > kBeforeCip ? answer.substr(kBeforeCip) : answer;
    }

    /// The CIP reply to a CIP request without a connection.
    std::string unconnected(const std::string& cip)
    {
        const std::size_t size = fromHex(cip).size();
        const std::string answer = send("6f 00 " + word(size + 16) +
                                        " <session> 00 00 00 00 00 00 00 00 00 00 00 00 "
                                        "00 00 00 00 00 00 00 00 00 00 02 00 00 00 00 00 b2 00 " +
                                        word(size) + " " + cip);
        constexpr std::size_t kBeforeCip = 40 * 3;
        return answer.size() > kBeforeCip ? answer.substr(kBeforeCip) : answer;
    }

    static std::string word(std::size_t value)
    {
        return toHex(plcsim::Bytes{static_cast<std::uint8_t>(value & 0xFF),
                                   static_cast<std::uint8_t>(value >> 8 & 0xFF)});
    }

    static std::string repeated(const std::string& hex, std::size_t times)
    {
        std::string all;
        for (std::size_t i = 0; i < times; ++i)
            all += (all.empty() ? "" : " ") + hex;
        return all;
    }

    void pass(double seconds)
    {
        now_ += plcsim::fromSeconds(seconds);
        controller_->scan(now_);
    }

    std::string filled(std::string hex) const
    {
        replace(hex, "<session>", session_);
        replace(hex, "<ot>", originatorToTarget_);
        return hex;
    }

    static void replace(std::string& text, const std::string& mark, const std::string& by)
    {
        for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark))
            text.replace(at, mark.size(), by);
    }

    plcsim::TimePoint now_{};
    std::unique_ptr<plcsim::Controller> controller_;
    std::string session_ = "99 99 99 99";
    std::string originatorToTarget_ = "88 88 88 88";
    std::size_t sequence_ = 0;
    bool linkClosed_ = false;
};
