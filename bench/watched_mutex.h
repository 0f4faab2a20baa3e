// Sees one mutex being locked and unlocked, and has callgrind count what runs in between.

#ifndef BENCH_WATCHED_MUTEX_H
#define BENCH_WATCHED_MUTEX_H

#include <QMutex>

#include <string>

namespace bench {

/// While it lives, every time that mutex is held is dumped under name: the instructions from lock to
/// unlock, without those of either. With an interval of n only each n-th time is.
class MutexWatch {
public:
    MutexWatch(const QMutex& mutex, std::string name, int interval = 1);
    ~MutexWatch();

    MutexWatch(const MutexWatch&) = delete;
    MutexWatch& operator=(const MutexWatch&) = delete;

    /// How often the mutex was held so far.
    int timesHeld() const { return timesHeld_; }

    void locked();
    void unlocking();

private:
    bool isSample() const { return timesHeld_ % interval_ == 0; }

    const std::string name_;
    const int interval_;
    int timesHeld_ = 0;
};

} // namespace bench

#endif // BENCH_WATCHED_MUTEX_H
