#include "NoLoopDispatcher.h"

bool NoLoopDispatcher::processEvents(QEventLoop::ProcessEventsFlags flags)
{
    Q_UNUSED(flags)
    return false;
}

bool NoLoopDispatcher::hasPendingEvents()
{
    return false;
}

void NoLoopDispatcher::registerSocketNotifier(QSocketNotifier* notifier)
{
    Q_UNUSED(notifier)
}

void NoLoopDispatcher::unregisterSocketNotifier(QSocketNotifier* notifier)
{
    Q_UNUSED(notifier)
}

void NoLoopDispatcher::registerTimer(int timerId, int interval, Qt::TimerType timerType, QObject* object)
{
    Q_UNUSED(timerId) Q_UNUSED(interval) Q_UNUSED(timerType) Q_UNUSED(object)
}

bool NoLoopDispatcher::unregisterTimer(int timerId)
{
    Q_UNUSED(timerId)
    return true;
}

bool NoLoopDispatcher::unregisterTimers(QObject* object)
{
    Q_UNUSED(object)
    return true;
}

QList<QAbstractEventDispatcher::TimerInfo> NoLoopDispatcher::registeredTimers(QObject* object) const
{
    Q_UNUSED(object)
    return {};
}

int NoLoopDispatcher::remainingTime(int timerId)
{
    Q_UNUSED(timerId)
    return -1;
}

void NoLoopDispatcher::wakeUp() {}

void NoLoopDispatcher::interrupt() {}

void NoLoopDispatcher::flush() {}
