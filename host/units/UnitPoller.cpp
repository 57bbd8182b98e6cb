#include "UnitPoller.h"

#include <algorithm>

#include "CollectThread.h"
#include "EventFormatter.h"
#include "NoLoopDispatcher.h"

namespace {

// How far into its due second a poller wakes: a few clock ticks, so that
// time() has turned too.
const std::chrono::milliseconds kIntoSecond(20);
const std::chrono::milliseconds kLagRetry(10);

} // namespace

UnitPoller::UnitPoller(CollectThread* collector, int intervalSec, QObject* parent)
    : QThread(parent), m_collector(collector), m_intervalSec(intervalSec > 0 ? intervalSec : 1)
{
    setEventDispatcher(new NoLoopDispatcher);
    // Every cycle ends with the data report: that is how the poller learns
    // whether poll() ran one.
    connect(m_collector, &CollectThread::postDEvent, this,
            [this](int type, const QMap<QString, QVariant>&) {
                if (type == EventFormatter::DataReport)
                    m_cycleRan = true;
            },
            Qt::DirectConnection);
}

void UnitPoller::queueCommand(int id, const QString& value)
{
    {
        const std::lock_guard<std::mutex> locker(m_lock);
        m_commands.append(qMakePair(id, value));
    }
    m_wake.notify_one();
}

void UnitPoller::stop()
{
    {
        const std::lock_guard<std::mutex> locker(m_lock);
        m_stopping = true;
    }
    m_wake.notify_one();
}

void UnitPoller::run()
{
    using Clock = std::chrono::system_clock;
    // The collector's poll() runs a cycle when time() has reached the time
    // it set at its last cycle (that cycle's time() plus the interval), or
    // when a command waits. `due` follows it from this side. time() reads a
    // clock that may lag the one the wait uses by a tick, so the poller
    // wakes a little into the second. Every poller at the same point of it:
    // units whose cycles fall together run them back to back on cores and
    // caches the one before left warm. Spread over the second, each cycle
    // found them cold and cost up to twice the CPU.
    std::time_t due = 0;
    Clock::time_point wakeAt = Clock::from_time_t(due);
    std::unique_lock<std::mutex> lock(m_lock);
    for (;;) {
        m_wake.wait_until(lock, wakeAt, [this] { return m_stopping || !m_commands.isEmpty(); });
        if (m_stopping)
            break;
        QList<QPair<int, QString>> commands;
        commands.swap(m_commands);
        lock.unlock();
        for (const auto& c : qAsConst(commands))
            m_collector->control(c.first, c.second);
        const std::time_t now = std::time(nullptr);
        if (!commands.isEmpty() || now >= due) {
            m_cycleRan = false;
            m_collector->poll();
            if (m_cycleRan)
                due = now + m_intervalSec;
            else if (now >= due)
                // The collector's second had not come yet (its time() was
                // read after a cycle that crossed into a new second): the
                // next whole second.
                due = now + 1;
        }
        wakeAt = Clock::from_time_t(due) + kIntoSecond;
        // time() still behind the wait's clock: look again shortly, not at once.
        wakeAt = std::max(wakeAt, Clock::now() + kLagRetry);
        lock.lock();
    }
    m_finished.store(true, std::memory_order_release);
}
