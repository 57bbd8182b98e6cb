// ThreadSanitizer build only. Qt is not instrumented, so the sanitizer cannot see two hand-overs Qt
// makes through its own futexes: QMutex's lock and unlock, and a QThread's end to its waiter. These
// definitions replace Qt's and pthread_create in the whole program, call the real ones and announce
// the hand-over.
//
// QThread::wait() returns once QThread marks itself finished, before the start routine has returned,
// so a release after the routine could follow the waiter's acquire: wait() also waits, briefly, for
// the routine's return through an intercepted mutex and condition variable. QtTest's watchdog thread
// is joined the same way, so it needs no suppression.

#if defined(__SANITIZE_THREAD__)

#include <QMutex>
#include <QThread>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>

#include <dlfcn.h>
#include <pthread.h>
#include <sanitizer/tsan_interface.h>

namespace {

template <typename F>
F next(const char* name, const char* version = nullptr)
{
    return reinterpret_cast<F>(version ? dlvsym(RTLD_NEXT, name, version) : dlsym(RTLD_NEXT, name));
}

// Start routines started and returned, per argument (a QThread's gets the QThread). Counts, since a
// QThread deleted from its own finished() can leave its address to a new one while its routine returns.
class Lifetimes
{
public:
    static Lifetimes& instance()
    {
        static auto* lifetimes = new Lifetimes; // outlives every thread
        return *lifetimes;
    }

    void started(const void* argument)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++counts_[argument].started;
    }

    void ended(const void* argument)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++counts_[argument].ended;
        changed_.notify_all();
    }

    // Once every routine started with this argument has returned; the bound only keeps a thread that
    // never returns (cancelled, its unwinding skipped) from hanging the test.
    void awaitEnd(const void* argument)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        const auto found = counts_.find(argument);
        if (found == counts_.end())
            return;
        changed_.wait_for(lock, std::chrono::seconds(10),
                          [&] { return found->second.ended >= found->second.started; });
        if (found->second.ended >= found->second.started)
            counts_.erase(found);
    }

private:
    struct Count
    {
        unsigned started = 0;
        unsigned ended = 0;
    };
    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<const void*, Count> counts_;
};

struct Start
{
    void* (*routine)(void*);
    void* argument;
};

// Counts the routine's end whether it returns or unwinds from a cancellation.
struct EndOnExit
{
    const void* argument;
    ~EndOnExit() { Lifetimes::instance().ended(argument); }
};

void* startCounted(void* p)
{
    const Start start = *static_cast<Start*>(p);
    delete static_cast<Start*>(p);
    const EndOnExit end {start.argument};
    return start.routine(start.argument);
}

} // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                              void* argument)
{
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto real = next<Create>("pthread_create");
    Lifetimes::instance().started(argument);
    auto* start = new Start {routine, argument};
    const int result = real(thread, attributes, startCounted, start);
    if (result != 0) {
        delete start;
        Lifetimes::instance().ended(argument);
    }
    return result;
}

template <typename Limit>
bool waitForEnd(QThread* thread, Limit limit, const char* symbol)
{
    static const auto real = next<bool (*)(QThread*, Limit)>(symbol, "Qt_5");
    const bool finished = real(thread, limit);
    if (finished)
        Lifetimes::instance().awaitEnd(thread);
    return finished;
}

bool QThread::wait(QDeadlineTimer deadline) { return waitForEnd(this, deadline, "_ZN7QThread4waitE14QDeadlineTimer"); }
bool QThread::wait(unsigned long time) { return waitForEnd(this, time, "_ZN7QThread4waitEm"); }

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
