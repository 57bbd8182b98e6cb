// ThreadSanitizer build only. Qt's libraries are not instrumented, so the
// sanitizer cannot see two hand-overs Qt makes through its own futexes:
// QMutex's lock and unlock, and a QThread's end to the thread whose wait()
// returned. These definitions take the place of Qt's and of pthread_create
// for this program, the plugin and QtTest, forward to the real ones and tell
// the sanitizer about the hand-over.
//
// QThread::wait() returns once QThread marks itself finished, in a clean-up
// handler before the start routine has returned to us: a release made after
// the routine could come after the waiter's acquire. So wait() also waits,
// briefly, until the routine has really returned, through a real
// (intercepted) mutex and condition variable; every access the thread made is
// then ordered before the waiter goes on, on every schedule. QtTest's
// watchdog thread is joined the same way, so it needs no suppression.

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

// Start routines counted per argument (a QThread's routine gets the
// QThread): how many were started and how many have returned. Counts rather
// than a flag, because a QThread deleted from its own finished() signal can
// leave its address to a new one while its routine is still returning.
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

    // Returns once every routine started with this argument has returned.
    // The bound only keeps a thread that never returns (a cancelled one whose
    // unwinding was skipped) from hanging the test.
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

// Counts the routine's end however it leaves: by returning, or by the
// unwinding of a cancellation.
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

// Both overloads of QThread::wait().
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
