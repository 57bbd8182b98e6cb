#ifndef UNITPOLLER_H
#define UNITPOLLER_H

// pollMode=interval: a thread of the host's that calls the collector's
// poll() when the unit's interval is due, and sleeps in between until then
// or until a command or stop() wakes it; nothing wakes it on a fixed tick.
// The collector's own thread is never started. Commands are handed to
// control() on this thread too, so the collector's command queue is only
// ever touched by one thread. A blocking driver call (a slow serial line, a
// TCP connect) holds up this unit alone.

#include <QList>
#include <QPair>
#include <QString>
#include <QThread>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <ctime>
#include <mutex>

class CollectThread;

class UnitPoller : public QThread
{
    Q_OBJECT
public:
    // `intervalSec`: the unit's configured interval, the one the collector
    // applies in poll().
    UnitPoller(CollectThread* collector, int intervalSec, QObject* parent = nullptr);

    // Any thread: wakes the poller, which hands the command to control() and
    // polls at once.
    void queueCommand(int id, const QString& value);
    // Any thread: the poller leaves as soon as it is not inside poll().
    void stop();

    // True once run() has returned. Read after wait(): the atomic makes the
    // end of the thread visible to ThreadSanitizer, which cannot see the
    // join inside Qt.
    bool hasFinished() const { return m_finished.load(std::memory_order_acquire); }

protected:
    void run() override;

private:
    CollectThread* m_collector;
    const int m_intervalSec;
    bool m_cycleRan = false;    // poller thread only
    std::atomic<bool> m_finished{false};
    std::mutex m_lock;          // over the commands and the stop flag
    std::condition_variable m_wake;
    bool m_stopping = false;
    QList<QPair<int, QString>> m_commands;
};

#endif // UNITPOLLER_H
