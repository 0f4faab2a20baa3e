// Something on a port of this computer that is no controller.

#ifndef TESTS_E2E_FAKE_DEVICE_H
#define TESTS_E2E_FAKE_DEVICE_H

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace e2e {

class FakeDevice {
public:
    enum class Kind {
        Greets,      ///< sends a text at once, as SSH does
        AnswersText, ///< answers what it gets with a text, as a web server does
        HangsUp,     ///< closes every link
        SaysNothing,
        AcceptsNobody, ///< its queue of links is full: attempts are left unanswered
    };

    explicit FakeDevice(Kind kind);
    ~FakeDevice();
    FakeDevice(const FakeDevice&) = delete;
    FakeDevice& operator=(const FakeDevice&) = delete;

    /// "127.0.0.1:PORT".
    std::string address() const { return "127.0.0.1:" + std::to_string(port_); }

private:
    void serve();

    Kind kind_;
    int listener_ = -1;
    int port_ = 0;
    std::vector<int> links_;
    std::atomic<bool> stopping_{false};
    std::thread thread_;
};

} // namespace e2e

#endif // TESTS_E2E_FAKE_DEVICE_H
