#ifndef UNITPOLLER_H
#define UNITPOLLER_H

// pollMode=interval: a thread of the host's that calls the collector's
// poll() every 100 ms. The collector then runs a cycle once per configured
// interval, or at once when a command is queued; its own thread is never
// started.

#include <QThread>

class CollectThread;

class UnitPoller : public QThread
{
    Q_OBJECT
public:
    explicit UnitPoller(CollectThread* collector, QObject* parent = nullptr);

protected:
    void run() override;

private:
    CollectThread* m_collector;
};

#endif // UNITPOLLER_H
