// Turns a deadlock into a failure with a name.

#ifndef MICRO850_TESTS_WATCHDOG_H
#define MICRO850_TESTS_WATCHDOG_H

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

/// Aborts the process when it lives longer than allowed.
class Watchdog {
public:
    explicit Watchdog(std::chrono::seconds allowed) : thread_([this, allowed] { watch(allowed); })
    {
    }

    ~Watchdog()
    {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            done_ = true;
        }
        changed_.notify_one();
        thread_.join();
    }

private:
    void watch(std::chrono::seconds allowed)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        const auto end = std::chrono::system_clock::now() + allowed;
        if (changed_.wait_until(lock, end, [this] { return done_; }))
            return;
        std::fprintf(stderr, "no end after %lld s: deadlock?\n",
                     static_cast<long long>(allowed.count()));
        std::abort();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    bool done_ = false;
    std::thread thread_;
};

#endif // MICRO850_TESTS_WATCHDOG_H
