// The requests that real controllers were sent, put to the simulated one: its replies are theirs,
// but for what each of them chose. The recordings stand beside the project; without them these
// tests are skipped.
#include "conversation.h"

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <fstream>
#include <map>

using namespace plcsim;

namespace {

/// A field that a controller fills as it likes.
struct OwnField {
    std::size_t offset;
    std::size_t size;
};

constexpr OwnField kSessionHandle = {4, 4};
constexpr OwnField kSenderContext = {12, 8}; // in a SendUnitData reply echoed by some only
constexpr OwnField kTimeout = {28, 2}; // of the common packet format, of no meaning in a reply
constexpr OwnField kOriginatorToTarget = {44, 4}; // in a Forward Open reply

std::string capturesPath()
{
    const char* asked = std::getenv("MICRO850_CAPTURES");
    return asked != nullptr && *asked != '\0' ? asked : MICRO850_CAPTURES;
}

class Captures : public Conversation {
protected:
    void SetUp() override
    {
        std::ifstream file(capturesPath());
        if (!file)
            GTEST_SKIP() << "no recorded replies at " << capturesPath()
                         << "; name the file in MICRO850_CAPTURES";
        for (const auto& recording : nlohmann::json::parse(file))
            recordings_[recording.at("id")] = recording.at("hex");
        ASSERT_FALSE(recordings_.empty());
    }

    /// A controller in a rack, as most recordings address one, with a session.
    void startInRack(const std::string& tagFile)
    {
        ControllerOptions options;
        options.connections.acceptBackplanePath = true;
        start(tagFile, options);
        registerSession();
    }

    std::string recorded(const std::string& id) const
    {
        const auto found = recordings_.find(id);
        return found != recordings_.end() ? found->second : "no recording " + id;
    }

    /// Sends a recorded request within the session of this conversation.
    std::string sendRecorded(const std::string& id)
    {
        return send(with(recorded(id), kSessionHandle.offset, session_));
    }

    static std::string with(std::string hex, std::size_t offset, const std::string& bytes)
    {
        if (hex.size() < 3 * offset + bytes.size())
            return hex;
        return hex.replace(3 * offset, bytes.size(), bytes);
    }

    static std::string without(std::string hex, const std::vector<OwnField>& fields)
    {
        for (const OwnField& field : fields)
            hex = with(hex, field.offset, repeated("..", field.size));
        return hex;
    }

    void expectReply(const std::string& answer, const std::string& id,
                     const std::vector<OwnField>& ownFields) const
    {
        EXPECT_EQ(without(answer, ownFields), without(recorded(id), ownFields)) << id;
    }

    static std::string bytesFrom(const std::string& hex, std::size_t offset)
    {
        return hex.size() > 3 * offset ? hex.substr(3 * offset) : "";
    }

    std::map<std::string, std::string> recordings_;
};

const char kScada[] = "[[tag]]\nname = 'SCADA'\ntype = 'INT'\nsize = 30\nvalue = "
                      "[-32729, 0x104c, 8, 3, 2, 2, 2, 14, 0, 0, 0x42e6, 7, 0x40c8, 0x40c8, 0, "
                      "0xe4, 0, 0x64, 0x2b2, 0x40c8]\n";
const char kNoTag[] = "[[tag]]\nname = 'A'\ntype = 'INT'\nsize = 4\n";

} // namespace

TEST_F(Captures, RegisterSession)
{
    for (const char* name : {"cl-plc4x-register", "clgx-cpppo-register"}) {
        start(kNoTag);
        expectReply(send(recorded(name + std::string("-req"))), name + std::string("-reply"),
                    {kSessionHandle});
    }
}

TEST_F(Captures, ForwardOpenStraightAndByWayOfSlot0)
{
    const std::pair<const char*, const char*> opened[] = {
        {"cl-plc4x-largefo-req", "cl-plc4x-largefo-ok"},
        {"logix-cpppo-fo-req", "logix-cpppo-fo-ok"},
        {"mlgx1400-iti-fo-req", "mlgx1400-iti-fo-ok"},
        {"mlgx1400-iti-fo-req-2", "mlgx1400-iti-fo-ok-2"},
        {"clgx-w3h-fo-req", "clgx-w3h-fo-ok"},
        {"clgx-bu-fo-req", "clgx-bu-fo-ok"},
    };
    for (const auto& [request, reply] : opened) {
        startInRack(kNoTag);
        expectReply(sendRecorded(request), reply, {kSessionHandle, kTimeout, kOriginatorToTarget});
    }
}

TEST_F(Captures, ForwardClose)
{
    const std::pair<const char*, const char*> closed[] = {
        {"cl-plc4x-largefo-req", "cl-plc4x-fc"}, {"mlgx1400-iti-fo-req", "mlgx1400-iti-fc"}};
    for (const auto& [open, close] : closed) {
        startInRack(kNoTag);
        sendRecorded(open);
        expectReply(sendRecorded(close + std::string("-req")), close + std::string("-ok"),
                    {kSessionHandle, kTimeout});
    }
}

TEST_F(Captures, ForwardOpenRefusedHasTheShapeAndStatusOfTheRecordedOne)
{
    start(kNoTag);
    registerSession();
    const std::string answer = sendRecorded("logix-cpppo-fo-req"); // by way of a slot
    const std::string refused = recorded("logix-cpppo-fo-refused");
    EXPECT_EQ(answer.size(), refused.size());
    const OwnField triadAndPathSize = {46, 10};
    expectReply(answer, "logix-cpppo-fo-refused",
                {kSessionHandle, kSenderContext, kTimeout, triadAndPathSize});
}

TEST_F(Captures, ConnectedReadTag)
{
    startInRack("[[tag]]\nname = 'HorizontalPosition'\ntype = 'REAL'\n");
    const std::string opened = sendRecorded("cl-plc4x-largefo-req");
    const std::string request = with(with(recorded("cl-plc4x-read-real-req"), 4, session_), 36,
                                     opened.substr(3 * kOriginatorToTarget.offset, 11));
    expectReply(send(request), "cl-plc4x-read-real-reply",
                {kSessionHandle, kSenderContext, kTimeout});
}

TEST_F(Captures, ReadTagFragmentedFromItsOffsetOn)
{
    startInRack(kScada);
    expectReply(sendRecorded("clgx-cpppo-rfrag-int-req"), "clgx-cpppo-rfrag-int-reply",
                {kSessionHandle, kTimeout});
    expectReply(sendRecorded("clgx-cpppo-rfrag-int20-req"), "clgx-cpppo-rfrag-int20-reply",
                {kSessionHandle, kTimeout});
}

TEST_F(Captures, WriteTagFragmented)
{
    startInRack(kScada);
    expectReply(sendRecorded("clgx-cpppo-wfrag-req"), "clgx-cpppo-wfrag-ok",
                {kSessionHandle, kTimeout});
    EXPECT_EQ(std::get<std::int64_t>(controller_->tags().find("SCADA")->value(12)), 0x40c9);
}

TEST_F(Captures, ReadBeyondTheEnd)
{
    start(kNoTag);
    connect();
    EXPECT_EQ(connected("4c 02 91 01 41 00 05 00"), bytesFrom(recorded("clgx-w3h-4c-ff2105"), 46));
}

TEST_F(Captures, StatusWithoutExtendedStatus)
{
    start(kNoTag);
    connect();
    const std::string missing = connected("4c 02 91 01 42 00 01 00");
    EXPECT_EQ(bytesFrom(missing, 1), bytesFrom(recorded("clgx-w3h-connected-05"), 47));
    const std::string unsupported = unconnected("55 02 91 01 41 00");
    EXPECT_EQ(bytesFrom(unsupported, 1),
              bytesFrom(recorded("logix-plc4x-service-unsupported"), 41));
}

TEST_F(Captures, ListIdentityOfAMicro850)
{
    start("[controller]\nserial = 0x604e1ef7\n" + std::string(kNoTag));
    controller_->listensOn({{192, 168, 200, 140}, 44818});
    EXPECT_EQ(send("63 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"),
              recorded("m850-bu-listidentity-reply"));
}
