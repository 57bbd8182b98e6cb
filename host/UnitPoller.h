#ifndef UNITPOLLER_H
#define UNITPOLLER_H

// pollMode=interval: a thread of the host's that calls the collector's
// poll() every 100 ms. The collector then runs a cycle once per configured
// interval, or at once when a command is queued; its own thread is never
// started.

#include <QThread>

#include <atomic>

class CollectThread;

class UnitPoller : public QThread
{
    Q_OBJECT
public:
    explicit UnitPoller(CollectThread* collector, QObject* parent = nullptr);

    // True once run() has returned. Read after wait(): the atomic makes the
    // end of the thread visible to ThreadSanitizer, which cannot see the
    // join inside Qt.
    bool hasFinished() const { return m_finished.load(std::memory_order_acquire); }

protected:
    void run() override;

private:
    CollectThread* m_collector;
    std::atomic<bool> m_finished{false};
};

#endif // UNITPOLLER_H
