// ThreadSanitizer build only. Qt's libraries are not instrumented, so the
// sanitizer cannot see two hand-overs that Qt makes through its own futexes:
// QMutex's lock and unlock, and a QThread's end to the thread whose wait()
// returned. These definitions take the place of Qt's and of pthread_create
// for the calls this program and the plugin make, forward to the real ones
// and tell the sanitizer about the acquire and release.

#if defined(__SANITIZE_THREAD__)

#include <QMutex>
#include <QThread>

#include <dlfcn.h>
#include <pthread.h>
#include <sanitizer/tsan_interface.h>

namespace {

template <typename F>
F next(const char* name, const char* version = nullptr)
{
    return reinterpret_cast<F>(version ? dlvsym(RTLD_NEXT, name, version) : dlsym(RTLD_NEXT, name));
}

struct Start
{
    void* (*routine)(void*);
    void* argument;
};

// A QThread's start routine gets the QThread: once it has returned, the
// thread is done with the object.
void* startAndRelease(void* p)
{
    const Start start = *static_cast<Start*>(p);
    delete static_cast<Start*>(p);
    void* result = start.routine(start.argument);
    __tsan_release(start.argument);
    return result;
}

} // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                              void* argument)
{
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto real = next<Create>("pthread_create");
    return real(thread, attributes, startAndRelease, new Start {routine, argument});
}

bool QThread::wait(QDeadlineTimer deadline)
{
    static const auto real = next<bool (*)(QThread*, QDeadlineTimer)>("_ZN7QThread4waitE14QDeadlineTimer", "Qt_5");
    const bool finished = real(this, deadline);
    if (finished)
        __tsan_acquire(this);
    return finished;
}

bool QThread::wait(unsigned long time)
{
    static const auto real = next<bool (*)(QThread*, unsigned long)>("_ZN7QThread4waitEm", "Qt_5");
    const bool finished = real(this, time);
    if (finished)
        __tsan_acquire(this);
    return finished;
}

void QMutex::lock() QT_MUTEX_LOCK_NOEXCEPT
{
    static const auto real = next<void (*)(QMutex*)>("_ZN6QMutex4lockEv", "Qt_5");
    real(this);
    __tsan_acquire(this);
}

void QMutex::unlock() noexcept
{
    static const auto real = next<void (*)(QMutex*)>("_ZN6QMutex6unlockEv", "Qt_5");
    __tsan_release(this);
    real(this);
}

#endif
