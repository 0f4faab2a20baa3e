// These definitions take the place of QtCore's and call them.

#include "watched_mutex.h"

#include <cstdlib>
#include <dlfcn.h>
#include <utility>
#include <valgrind/callgrind.h>

namespace {

bench::MutexWatch* activeWatch = nullptr;
const QMutex* watchedMutex = nullptr;

using MutexFunction = void (*)(QMutex*);

MutexFunction original(const char* mangledName)
{
    void* found = dlsym(RTLD_NEXT, mangledName);
    if (found == nullptr)
        std::abort();
    return reinterpret_cast<MutexFunction>(found);
}

} // namespace

void QMutex::lock() noexcept(noexcept(std::declval<QMutex&>().lock()))
{
    static const MutexFunction lockMutex = original("_ZN6QMutex4lockEv");
    lockMutex(this);
    if (this == watchedMutex)
        activeWatch->locked();
}

void QMutex::unlock() noexcept
{
    static const MutexFunction unlockMutex = original("_ZN6QMutex6unlockEv");
    if (this == watchedMutex)
        activeWatch->unlocking();
    unlockMutex(this);
}

namespace bench {

MutexWatch::MutexWatch(const QMutex& mutex, std::string name, int interval)
    : name_(std::move(name)), interval_(interval)
{
    activeWatch = this;
    watchedMutex = &mutex;
}

MutexWatch::~MutexWatch()
{
    watchedMutex = nullptr;
    activeWatch = nullptr;
}

void MutexWatch::locked()
{
    ++timesHeld_;
    if (!isSample())
        return;
    CALLGRIND_ZERO_STATS;
    CALLGRIND_TOGGLE_COLLECT;
}

void MutexWatch::unlocking()
{
    if (!isSample())
        return;
    CALLGRIND_TOGGLE_COLLECT;
    CALLGRIND_DUMP_STATS_AT(name_.c_str());
}

} // namespace bench
