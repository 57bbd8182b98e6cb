#ifndef NOLOOPDISPATCHER_H
#define NOLOOPDISPATCHER_H

// The event dispatcher of a thread that never runs an event loop: a poller
// waits on its own condition, and its collector's socket waits in poll()
// itself. The default dispatcher would still take every socket notifier
// the socket turns on and off around each request and wake its (unwatched)
// loop for it: eight system calls a read. Here registering is free.
// Timers never fire and events posted to the thread's objects wait for
// the thread's end, as they would under any dispatcher that is not run.

#include <QAbstractEventDispatcher>

class NoLoopDispatcher : public QAbstractEventDispatcher
{
    Q_OBJECT
public:
    using QAbstractEventDispatcher::QAbstractEventDispatcher;

    bool processEvents(QEventLoop::ProcessEventsFlags flags) override;
    bool hasPendingEvents() override;
    void registerSocketNotifier(QSocketNotifier* notifier) override;
    void unregisterSocketNotifier(QSocketNotifier* notifier) override;
    void registerTimer(int timerId, int interval, Qt::TimerType timerType, QObject* object) override;
    bool unregisterTimer(int timerId) override;
    bool unregisterTimers(QObject* object) override;
    QList<TimerInfo> registeredTimers(QObject* object) const override;
    int remainingTime(int timerId) override;
    void wakeUp() override;
    void interrupt() override;
    void flush() override;
};

#endif // NOLOOPDISPATCHER_H
