#include "UnitPoller.h"

#include <QTimer>

#include "CollectThread.h"

namespace {
const int kPollPeriodMs = 100;
}

UnitPoller::UnitPoller(CollectThread* collector, QObject* parent)
    : QThread(parent), m_collector(collector)
{
}

void UnitPoller::queueCommand(int id, const QString& value)
{
    const std::lock_guard<std::mutex> locker(m_commandLock);
    m_commands.append(qMakePair(id, value));
}

void UnitPoller::run()
{
    QTimer timer;
    connect(&timer, &QTimer::timeout, &timer, [this] {
        QList<QPair<int, QString>> commands;
        {
            const std::lock_guard<std::mutex> locker(m_commandLock);
            commands.swap(m_commands);
        }
        for (const auto& c : qAsConst(commands))
            m_collector->control(c.first, c.second);
        m_collector->poll();
    }, Qt::DirectConnection);
    timer.start(kPollPeriodMs);
    m_collector->poll();
    exec();
    m_finished.store(true, std::memory_order_release);
}
