// The controller over real TCP links, server and clients in one thread.
#include "hex.h"
#include "server.h"

#include <gtest/gtest.h>

#include <memory>

using namespace plcsim;
using asio::ip::tcp;

namespace {

const char kRegister[] =
    "65 00 04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00";
const char kListServices[] =
    "04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";
constexpr std::size_t kListServicesAnswer = 50;

/// A client that waits for bytes by letting the server run.
class Client {
public:
    Client(asio::io_context& context, const tcp::endpoint& endpoint)
        : context_(context), socket_(context)
    {
        socket_.connect(endpoint);
    }

    void send(const std::string& hex) { asio::write(socket_, asio::buffer(fromHex(hex))); }
    void send(ByteView bytes) { asio::write(socket_, asio::buffer(bytes.begin(), bytes.size())); }

    /// Lets the server run until that many bytes came, the link ended or five seconds passed.
    Bytes receive(std::size_t size)
    {
        Bytes bytes(size);
        bool done = false;
        asio::async_read(socket_, asio::buffer(bytes),
                         [&](const asio::error_code& error, std::size_t n) {
                             ended_ = static_cast<bool>(error);
                             bytes.resize(n);
                             done = true;
                         });
        const auto deadline = Clock::now() + std::chrono::seconds(5);
        while (!done && Clock::now() < deadline)
            context_.run_one_for(std::chrono::milliseconds(100));
        if (!done) {
            socket_.cancel();
            while (!done)
                context_.run_one();
        }
        return bytes;
    }

    bool ended() const { return ended_; }
    void close() { socket_.close(); }

private:
    asio::io_context& context_;
    tcp::socket socket_;
    bool ended_ = false;
};

class ServerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        options_.responseTime = {};
        start();
    }

    void start()
    {
        server_.reset();
        controller_ = std::make_unique<Controller>(
            parseTagFile("[[tag]]\nname = 'A'\ntype = 'INT'\nvalue = 1\n", "test.toml"),
            ControllerOptions{}, Clock::now());
        const tcp::endpoint any(asio::ip::address_v4::loopback(), 0);
        server_ = std::make_unique<Server>(context_, any, *controller_, options_);
    }

    std::unique_ptr<Client> client()
    {
        return std::make_unique<Client>(context_, server_->endpoint());
    }

    /// Lets the server run until the condition holds; false if it does not in time.
    template <typename Condition>
    bool eventually(Condition condition, double seconds = 5)
    {
        const auto deadline = Clock::now() + fromSeconds(seconds);
        while (!condition() && Clock::now() < deadline)
            context_.run_one_for(std::chrono::milliseconds(20));
        return condition();
    }

    asio::io_context context_;
    Server::Options options_;
    std::unique_ptr<Controller> controller_;
    std::unique_ptr<Server> server_;
};

} // namespace

TEST_F(ServerTest, AnswersOverTcp)
{
    const auto panel = client();
    panel->send(kRegister);
    const Bytes answer = panel->receive(28);
    ASSERT_EQ(answer.size(), 28u);
    EXPECT_EQ(controller_->sessionCount(), 1u);
}

TEST_F(ServerTest, AnswersRequestsThatArriveInPiecesOrGlued)
{
    const auto panel = client();
    const Bytes request = fromHex(kListServices);
    for (const std::uint8_t byte : request)
        panel->send(ByteView(&byte, 1));
    EXPECT_EQ(panel->receive(kListServicesAnswer).size(), kListServicesAnswer);
    panel->send(std::string(kListServices) + kListServices + kRegister);
    const Bytes answers = panel->receive(2 * kListServicesAnswer + 28);
    ASSERT_EQ(answers.size(), 2 * kListServicesAnswer + 28);
    EXPECT_EQ(answers[2 * kListServicesAnswer], 0x65) << "answers keep the order of the requests";
}

TEST_F(ServerTest, SplitAtAnyByteAConversationIsTheSame)
{
    const std::string sent = std::string(kListServices) + " " + kRegister +
                             " 63 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                             "00 00 00 00";
    const Bytes requests = fromHex(sent);
    constexpr std::size_t kIdentityAnswer = 79;
    constexpr std::size_t kAnswers = kListServicesAnswer + 28 + kIdentityAnswer;
    for (std::size_t split = 1; split < requests.size(); ++split) {
        const auto panel = client();
        panel->send(ByteView(requests.data(), split));
        context_.run_one_for(std::chrono::milliseconds(1)); // the link is accepted
        context_.run_one_for(std::chrono::milliseconds(1)); // and read
        panel->send(ByteView(requests.data() + split, requests.size() - split));
        const Bytes answers = panel->receive(kAnswers);
        ASSERT_EQ(answers.size(), kAnswers) << "split at " << split;
        EXPECT_EQ(answers[0], command::kListServices);
        EXPECT_EQ(answers[kListServicesAnswer], command::kRegisterSession);
        EXPECT_EQ(answers[kListServicesAnswer + 28], command::kListIdentity);
        panel->close();
        ASSERT_TRUE(eventually([this] { return controller_->sessionCount() == 0; }));
    }
}

TEST_F(ServerTest, LinkThatClosesFreesItsSession)
{
    auto panel = client();
    panel->send(kRegister);
    panel->receive(28);
    panel->close();
    EXPECT_TRUE(eventually([this] { return controller_->sessionCount() == 0; }));
    EXPECT_EQ(server_->linkCount(), 0u);
}

TEST_F(ServerTest, AbsurdLengthIsAnsweredAndTheLinkEnds)
{
    const auto panel = client();
    panel->send("6f 00 ff ff 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(toHex(panel->receive(1000)),
              "6f 00 00 00 00 00 00 00 65 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
    EXPECT_TRUE(panel->ended());
}

TEST_F(ServerTest, UnregisterEndsTheLink)
{
    const auto panel = client();
    panel->send(kRegister);
    const Bytes answer = panel->receive(28);
    panel->send("66 00 00 00 " + toHex(ByteView(answer.data() + 4, 4)) +
                " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(panel->receive(1).size(), 0u);
    EXPECT_TRUE(panel->ended());
}

TEST_F(ServerTest, TakesItsResponseTime)
{
    options_.responseTime = std::chrono::milliseconds(40);
    start();
    const auto panel = client();
    const TimePoint before = Clock::now();
    panel->send(kListServices);
    EXPECT_EQ(panel->receive(kListServicesAnswer).size(), kListServicesAnswer);
    EXPECT_GE(Clock::now() - before, std::chrono::milliseconds(40));
}

TEST_F(ServerTest, ClosesALinkOnWhichNothingArrives)
{
    options_.idleTimeout = std::chrono::milliseconds(30);
    start();
    const auto panel = client();
    EXPECT_EQ(panel->receive(1).size(), 0u);
    EXPECT_TRUE(panel->ended());
}

TEST_F(ServerTest, DropsAllLinksWhenTold)
{
    const auto panel = client();
    panel->send(kRegister);
    panel->receive(28);
    server_->dropLinks();
    EXPECT_EQ(server_->linkCount(), 0u);
    EXPECT_EQ(panel->receive(1).size(), 0u);
    EXPECT_TRUE(panel->ended());
}

TEST_F(ServerTest, LateAndSplitAnswersLeaveWhenTheyAreDue)
{
    server_->plan([](const Frame&, const Bytes& answer) {
        const auto middle = answer.begin() + 10;
        return std::vector<Delivery>{
            {Bytes(answer.begin(), middle), {}, false},
            {Bytes(middle, answer.end()), std::chrono::milliseconds(200), false}};
    });
    const auto panel = client();
    const TimePoint before = Clock::now();
    panel->send(kListServices);
    EXPECT_EQ(panel->receive(10).size(), 10u);
    EXPECT_LT(Clock::now() - before, std::chrono::milliseconds(200));
    EXPECT_EQ(panel->receive(kListServicesAnswer - 10).size(), kListServicesAnswer - 10);
    EXPECT_GE(Clock::now() - before, std::chrono::milliseconds(200));
}

TEST_F(ServerTest, IgnoredRequestIsNotServed)
{
    bool deaf = true;
    server_->ignore([&deaf](const Frame&) { return deaf; });
    const auto panel = client();
    panel->send(kRegister);
    ASSERT_FALSE(eventually([this] { return controller_->sessionCount() > 0; }, 0.05));
    deaf = false;
    panel->send(kListServices);
    EXPECT_EQ(panel->receive(kListServicesAnswer).size(), kListServicesAnswer);
    EXPECT_EQ(controller_->counters().requests, 2u);
    EXPECT_EQ(controller_->counters().unanswered, 1u);
}

TEST_F(ServerTest, OfflineRefusesLinksAndComesBackOnTheSamePort)
{
    const auto before = client();
    server_->goOffline(std::chrono::milliseconds(30));
    EXPECT_EQ(before->receive(1).size(), 0u);
    EXPECT_TRUE(before->ended());
    EXPECT_THROW(client(), asio::system_error);
    ASSERT_TRUE(eventually([this] { return !server_->isOffline(); }));
    const auto after = client();
    after->send(kListServices);
    EXPECT_EQ(after->receive(kListServicesAnswer).size(), kListServicesAnswer);
}

TEST_F(ServerTest, ServesHundredsOfClientsAtOnce)
{
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 300; ++i)
        clients.push_back(client());
    ASSERT_TRUE(eventually([this] { return server_->linkCount() == 300; }));
    for (const auto& each : clients)
        each->send(kListServices);
    for (const auto& each : clients)
        EXPECT_EQ(each->receive(kListServicesAnswer).size(), kListServicesAnswer);
}

TEST_F(ServerTest, ClientThatNeverReadsIsNotReadFromForEver)
{
    const auto panel = client();
    options_.responseTime = std::chrono::seconds(600);
    start();
    const auto flood = client();
    std::string requests;
    for (int i = 0; i < 1000; ++i)
        requests += kListServices;
    flood->send(requests);
    eventually([this] { return controller_->counters().requests >= 64; });
    context_.run_for(std::chrono::milliseconds(200));
    EXPECT_EQ(controller_->counters().requests, 64u);
}

TEST_F(ServerTest, TellsWhoItIsToADatagramAndServesNothingElseSo)
{
    asio::ip::udp::socket socket(context_, asio::ip::udp::v4());
    const asio::ip::udp::endpoint there(asio::ip::address_v4::loopback(),
                                        server_->endpoint().port());
    const auto answerTo = [&](const std::string& request) {
        socket.send_to(asio::buffer(fromHex(request)), there);
        if (!eventually([&socket] { return socket.available() > 0; }, 0.1))
            return std::string("none");
        Bytes answer(512);
        answer.resize(socket.receive(asio::buffer(answer)));
        return toHex(answer);
    };
    const std::string rest = " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";
    EXPECT_EQ(answerTo("63 00" + rest).substr(0, 6 + 22 * 3 + 11),
              "63 00 37 00" + rest.substr(6) + " 01 00 0c 00");
    EXPECT_EQ(answerTo("04 00" + rest).substr(0, 11), "04 00 1a 00");
    EXPECT_EQ(answerTo("64 00" + rest).substr(0, 11), "64 00 02 00");
    EXPECT_EQ(answerTo(kRegister), "none");
    EXPECT_EQ(answerTo("63 00"), "none");
}
