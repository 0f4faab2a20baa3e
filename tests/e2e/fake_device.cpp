#include "fake_device.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace e2e {

FakeDevice::FakeDevice(Kind kind) : kind_(kind)
{
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* plain = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener_, plain, size) != 0 || listen(listener_, 0) != 0 ||
        getsockname(listener_, plain, &size) != 0)
        throw std::runtime_error("no fake device");
    port_ = ntohs(address.sin_port);
    if (kind_ != Kind::AcceptsNobody) {
        thread_ = std::thread(&FakeDevice::serve, this);
        return;
    }
    constexpr int kMoreThanTheQueueHolds = 4;
    for (int i = 0; i < kMoreThanTheQueueHolds; ++i) {
        const int link = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        static_cast<void>(connect(link, plain, size)); // under way, or given up on
        links_.push_back(link);
    }
}

FakeDevice::~FakeDevice()
{
    stopping_ = true;
    if (thread_.joinable())
        thread_.join();
    for (const int link : links_)
        close(link);
    close(listener_);
}

void FakeDevice::serve()
{
    const std::string text = "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n";
    while (!stopping_) {
        pollfd descriptor = {listener_, POLLIN, 0};
        if (poll(&descriptor, 1, 20) <= 0)
            continue;
        const int link = accept(listener_, nullptr, nullptr);
        if (link < 0)
            continue;
        if (kind_ == Kind::HangsUp) {
            close(link);
            continue;
        }
        links_.push_back(link);
        char request[100];
        if (kind_ == Kind::AnswersText && read(link, request, sizeof request) <= 0)
            continue;
        if (kind_ != Kind::SaysNothing)
            static_cast<void>(send(link, text.data(), text.size(), MSG_NOSIGNAL));
    }
}

} // namespace e2e
