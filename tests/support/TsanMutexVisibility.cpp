// ThreadSanitizer build only: QMutex::lock/unlock live in the uninstrumented
// Qt library, so the sanitizer cannot see the hand-over that the information
// lock provides and reports every locked access as a race. These definitions
// take the place of Qt's for the calls this program and the plugin make, forward to
// Qt's own implementation and tell the sanitizer about the acquire/release.

#if defined(__SANITIZE_THREAD__)

#include <QMutex>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

namespace {

template <typename F>
F qtEntry(const char* name)
{
    return reinterpret_cast<F>(dlvsym(RTLD_NEXT, name, "Qt_5"));
}

} // namespace

void QMutex::lock() QT_MUTEX_LOCK_NOEXCEPT
{
    static const auto real = qtEntry<void (*)(QMutex*)>("_ZN6QMutex4lockEv");
    real(this);
    __tsan_acquire(this);
}

void QMutex::unlock() noexcept
{
    static const auto real = qtEntry<void (*)(QMutex*)>("_ZN6QMutex6unlockEv");
    __tsan_release(this);
    real(this);
}

#endif
