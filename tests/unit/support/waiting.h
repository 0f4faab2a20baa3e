// Proves that a call takes a lock, or does without it.

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

/// True when call, made on another thread while mutex is held here, ends all the same.
template <typename Call>
bool doesWithout(QMutex& mutex, Call call)
{
    mutex.lock();
    std::future<void> running = std::async(std::launch::async, call);
    const bool ended = running.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    mutex.unlock();
    running.get();
    return ended;
}

#endif // MICRO850_TESTS_WAITING_H
