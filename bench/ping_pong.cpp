// What the kernel alone costs: two plain loops that send each other, over loopback, the bytes of a
// read and of its reply. Prints round trips per second and the client's processor time for each.
//
//   ping_pong SECONDS

#include "scenario.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const int kTripsBetweenLooksAtTheClock = 100;

[[noreturn]] void fail(const char* what)
{
    std::perror(what);
    std::exit(1);
}

void sendAll(int link, const QByteArray& message)
{
    if (send(link, message.constData(), static_cast<size_t>(message.size()), MSG_NOSIGNAL) !=
        message.size())
        fail("send");
}

/// False when the other side has closed the link.
bool receiveAll(int link, char* to, int size)
{
    for (int held = 0; held < size;) {
        const ssize_t got = recv(link, to + held, static_cast<size_t>(size - held), 0);
        if (got < 0)
            fail("recv");
        if (got == 0)
            return false;
        held += static_cast<int>(got);
    }
    return true;
}

void sendAtOnce(int link)
{
    const int on = 1;
    setsockopt(link, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

int listenAnywhere(sockaddr_in& address)
{
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    address = sockaddr_in();
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    sockaddr* generic = reinterpret_cast<sockaddr*>(&address);
    if (listener < 0 || bind(listener, generic, size) != 0 || listen(listener, 1) != 0 ||
        getsockname(listener, generic, &size) != 0)
        fail("listen");
    return listener;
}

void answerRequests(int listener, int requestSize, const QByteArray& reply)
{
    const int link = accept(listener, nullptr, nullptr);
    if (link < 0)
        fail("accept");
    sendAtOnce(link);
    QByteArray request(requestSize, '\0');
    while (receiveAll(link, request.data(), requestSize))
        sendAll(link, reply);
    close(link);
}

double now(clockid_t clock)
{
    timespec time;
    clock_gettime(clock, &time);
    return double(time.tv_sec) + 1e-9 * double(time.tv_nsec);
}

void askForSeconds(const sockaddr_in& address, double seconds, const QByteArray& request,
                   int replySize)
{
    const int link = socket(AF_INET, SOCK_STREAM, 0);
    if (link < 0 || connect(link, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        fail("connect");
    sendAtOnce(link);
    QByteArray reply(replySize, '\0');
    const double began = now(CLOCK_MONOTONIC);
    const double processorBegan = now(CLOCK_PROCESS_CPUTIME_ID);
    long trips = 0;
    while (now(CLOCK_MONOTONIC) < began + seconds) {
        for (int i = 0; i < kTripsBetweenLooksAtTheClock; ++i, ++trips) {
            sendAll(link, request);
            if (!receiveAll(link, reply.data(), replySize))
                fail("the server has closed the link");
        }
    }
    const double taken = now(CLOCK_MONOTONIC) - began;
    const double processor = now(CLOCK_PROCESS_CPUTIME_ID) - processorBegan;
    std::printf("ping_pong_per_second %.0f\n", double(trips) / taken);
    std::printf("ping_pong_processor_us %.2f\n", 1e6 * processor / double(trips));
    close(link);
}

} // namespace

int main(int argc, char** argv)
{
    const double seconds = argc == 2 ? std::atof(argv[1]) : 0;
    if (seconds <= 0) {
        std::fputs("usage: ping_pong SECONDS\n", stderr);
        return 2;
    }
    const bench::Scenario scenario(1, 1);
    const QByteArray request = ComCommunication()->frame;
    const QByteArray reply = scenario.readReply();

    sockaddr_in address;
    const int listener = listenAnywhere(address);
    const pid_t server = fork();
    if (server < 0)
        fail("fork");
    if (server == 0) {
        answerRequests(listener, request.size(), reply);
        _exit(0);
    }
    askForSeconds(address, seconds, request, reply.size());
    int status = 0;
    waitpid(server, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : 1;
}
