// Shows ThreadSanitizer what it has to see of Qt. The distribution's QtCore is not instrumented: a
// QMutex is a futex behind atomics that the sanitizer never sees, so every access under one would be
// reported; and so would the last owner that frees a shared text whose other owner let go of it in an
// assignment. These definitions take the place of the library's. Those of the mutex announce what
// happens and call the original; lock-order inversions are reported as well. Those of the assignments
// do what the library does, in code that is instrumented. Compiled to nothing without the sanitizer.

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define MICRO850_UNDER_TSAN
#endif
#elif defined(__SANITIZE_THREAD__)
#define MICRO850_UNDER_TSAN
#endif

#ifdef MICRO850_UNDER_TSAN

#include <QByteArray>
#include <QMutex>
#include <QString>

#include <cstdlib>
#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>
#include <utility>

namespace {

template <typename Function>
Function original(const char* mangledName)
{
    void* found = dlsym(RTLD_NEXT, mangledName);
    if (found == nullptr)
        std::abort();
    return reinterpret_cast<Function>(found);
}

} // namespace

void QMutex::lock() noexcept(noexcept(std::declval<QMutex&>().lock()))
{
    static const auto lockMutex = original<void (*)(QMutex*)>("_ZN6QMutex4lockEv");
    __tsan_mutex_pre_lock(this, 0);
    lockMutex(this);
    __tsan_mutex_post_lock(this, 0, 0);
}

bool QMutex::tryLock(int timeout) noexcept(noexcept(std::declval<QMutex&>().tryLock(0)))
{
    static const auto tryLockMutex = original<bool (*)(QMutex*, int)>("_ZN6QMutex7tryLockEi");
    __tsan_mutex_pre_lock(this, __tsan_mutex_try_lock);
    const bool locked = tryLockMutex(this, timeout);
    const unsigned failed = locked ? 0 : __tsan_mutex_try_lock_failed;
    __tsan_mutex_post_lock(this, __tsan_mutex_try_lock | failed, 0);
    return locked;
}

void QMutex::unlock() noexcept
{
    static const auto unlockMutex = original<void (*)(QMutex*)>("_ZN6QMutex6unlockEv");
    __tsan_mutex_pre_unlock(this, 0);
    unlockMutex(this);
    __tsan_mutex_post_unlock(this, 0);
}

QString& QString::operator=(const QString& other) noexcept
{
    other.d->ref.ref();
    if (!d->ref.deref())
        Data::deallocate(d);
    d = other.d;
    return *this;
}

QByteArray& QByteArray::operator=(const QByteArray& other) noexcept
{
    other.d->ref.ref();
    if (!d->ref.deref())
        Data::deallocate(d);
    d = other.d;
    return *this;
}

#endif
