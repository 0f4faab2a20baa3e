// Proves that a call takes a lock.

#ifndef MICRO850_TESTS_WAITING_H
#define MICRO850_TESTS_WAITING_H

#include <QMutex>

#include <chrono>
#include <future>

/// True when call, made on another thread while mutex is held here, ends only after its release.
template <typename Call>
bool waitsFor(QMutex& mutex, Call call)
{
    mutex.lock();
    std::future<void> running = std::async(std::launch::async, call);
    const bool waited =
        running.wait_for(std::chrono::milliseconds(50)) == std::future_status::timeout;
    mutex.unlock();
    running.get();
    return waited;
}

#endif // MICRO850_TESTS_WAITING_H
