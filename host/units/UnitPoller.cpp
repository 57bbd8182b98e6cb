#include "UnitPoller.h"

#include <chrono>

#include "CollectThread.h"
#include "EventFormatter.h"

UnitPoller::UnitPoller(CollectThread* collector, int intervalSec, QObject* parent)
    : QThread(parent), m_collector(collector), m_intervalSec(intervalSec > 0 ? intervalSec : 1)
{
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
    // The collector's poll() runs a cycle when time() has reached the time
    // it set at its last cycle (that cycle's time() plus the interval), or
    // when a command waits. `due` follows it from this side.
    std::time_t due = 0;
    std::unique_lock<std::mutex> lock(m_lock);
    for (;;) {
        m_wake.wait_until(lock, std::chrono::system_clock::from_time_t(due),
                          [this] { return m_stopping || !m_commands.isEmpty(); });
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
        lock.lock();
    }
    m_finished.store(true, std::memory_order_release);
}
