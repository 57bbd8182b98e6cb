#ifndef UNITPOLLER_H
#define UNITPOLLER_H

// pollMode=interval: a thread of the host's that calls the collector's
// poll() every 100 ms. The collector then runs a cycle once per configured
// interval, or at once when a command is queued; its own thread is never
// started. Commands are handed to control() on this thread too, so the
// collector's command queue is only ever touched by one thread.

#include <QList>
#include <QPair>
#include <QString>
#include <QThread>

#include <atomic>
#include <mutex>

class CollectThread;

class UnitPoller : public QThread
{
    Q_OBJECT
public:
    explicit UnitPoller(CollectThread* collector, QObject* parent = nullptr);

    // Any thread: the command goes to control() before the next poll().
    void queueCommand(int id, const QString& value);

    // True once run() has returned. Read after wait(): the atomic makes the
    // end of the thread visible to ThreadSanitizer, which cannot see the
    // join inside Qt.
    bool hasFinished() const { return m_finished.load(std::memory_order_acquire); }

protected:
    void run() override;

private:
    CollectThread* m_collector;
    std::atomic<bool> m_finished{false};
    std::mutex m_commandLock;
    QList<QPair<int, QString>> m_commands;
};

#endif // UNITPOLLER_H
