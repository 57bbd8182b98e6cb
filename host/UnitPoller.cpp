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

void UnitPoller::run()
{
    QTimer timer;
    connect(&timer, &QTimer::timeout, &timer, [this] { m_collector->poll(); }, Qt::DirectConnection);
    timer.start(kPollPeriodMs);
    m_collector->poll();
    exec();
}
