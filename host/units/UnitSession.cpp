#include "UnitSession.h"

#include <QDateTime>
#include <QDebug>

#include "CollectThread.h"
#include "CollectView.h"
#include "RecordKeys.h"
#include "EventFormatter.h"
#include "InboxBell.h"
#include "UnitPoller.h"

UnitSession::UnitSession(const UnitSettings& settings, CollectThread* collector,
                         const EventFormatter* formatter, const StatusModel::Limits& limits,
                         InboxBell* bell, QObject* parent)
    : QObject(parent), m_settings(settings), m_collector(collector), m_formatter(formatter), m_bell(bell),
      m_model(settings.name, formatter->eventTexts(), limits, QDateTime::currentMSecsSinceEpoch())
{
    qRegisterMetaType<HostEvent>();
    qRegisterMetaType<UnitStatus>();
    qRegisterMetaType<DerivedEvent>();
    m_answerTimer.setSingleShot(true);
    connect(&m_answerTimer, &QTimer::timeout, this, &UnitSession::notAnswered);
}

UnitSession::~UnitSession()
{
    stop();
    m_bell->forget(this);
}

void UnitSession::start(bool withView, int answerTimeoutSec)
{
    m_collector->m_devName = m_settings.name;
    connect(m_collector, &CollectThread::postDEvent, this,
            [this](int type, const QMap<QString, QVariant>& record) {
                bool first;
                {
                    const std::lock_guard<std::mutex> locker(m_inboxLock);
                    first = m_inbox.isEmpty();
                    m_inbox.append(qMakePair(type, record));
                }
                // One wake-up of the host's thread per batch: the records
                // of a cycle arrive together and are drained together.
                if (first)
                    m_bell->ring(this);
            },
            Qt::DirectConnection);
    m_collector->loadConfig();
    if (withView) {
        m_view = m_collector->getView();
        if (!m_view)
            qInfo() << "unit" << m_settings.name << "has no panel";
    }
    m_answerTimer.start(answerTimeoutSec * 1000);
    if (m_settings.pollMode == UnitSettings::PollTimer) {
        m_collector->start();
    } else {
        m_poller = new UnitPoller(m_collector, m_settings.interval);
        m_poller->start();
    }
}

void UnitSession::requestStop()
{
    m_answerTimer.stop();
    if (m_poller)
        m_poller->stop();
    else if (m_collector)
        m_collector->quit();
}

bool UnitSession::stop(QDeadlineTimer deadline)
{
    requestStop();
    if (!m_collector)
        return true;
    QThread* thread = m_poller ? static_cast<QThread*>(m_poller) : m_collector;
    if (!thread->wait(deadline) || (m_poller && !m_poller->hasFinished())) {
        // Deleting a running QThread aborts the process; leave it to the exit.
        qWarning().noquote() << QStringLiteral("collector of %1 (%2) is blocked in a cycle; abandoned")
                                    .arg(m_settings.name, m_settings.target());
        disconnect(m_collector, nullptr, this, nullptr);
        m_collector = nullptr;
        m_poller = nullptr;
        m_view = nullptr;
        return false;
    }
    delete m_poller;
    m_poller = nullptr;
    delete m_collector;
    m_collector = nullptr;
    m_view = nullptr;
    return true;
}

void UnitSession::drain()
{
    QList<QPair<int, QMap<QString, QVariant>>> records;
    {
        const std::lock_guard<std::mutex> locker(m_inboxLock);
        records.swap(m_inbox);
    }
    for (const auto& r : qAsConst(records))
        onRecord(r.first, r.second);
}

void UnitSession::sendCommand(int id, const QString& value)
{
    if (m_poller)
        m_poller->queueCommand(id, value);
    else if (m_collector)
        m_collector->control(id, value);
}

void UnitSession::publish(const QList<DerivedEvent>& events)
{
    // The snapshot carries its data age as of now; readers add the time since.
    m_model.age(QDateTime::currentMSecsSinceEpoch());
    emit statusChanged(m_model.status());
    for (const DerivedEvent& e : events)
        emit derivedEvent(e);
    m_stateDue = m_stateDue || !events.isEmpty();
}

void UnitSession::tick(qint64 nowMs)
{
    const QList<DerivedEvent> events = m_model.tick(nowMs);
    if (!events.isEmpty())
        publish(events);
}

void UnitSession::setForcedShutdown(bool on)
{
    publish(m_model.setForcedShutdown(on));
}

void UnitSession::onRecord(int type, QMap<QString, QVariant> record)
{
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    if (EventFormatter::isControlRequest(type, record)) {
        sendCommand(record.value(QLatin1String(RecordKey::ControlId)).toInt(),
                    record.value(QLatin1String(RecordKey::ControlValue)).toString());
    } else if (type == EventFormatter::CommRestored || type == EventFormatter::CommLost) {
        const int state = type == EventFormatter::CommLost ? Lost : Communicating;
        if (state == Communicating && !m_answered) {
            m_answered = true;
            m_answerTimer.stop();
            emit answered(m_settings.name);
        }
        if (state != m_commState) {
            m_commState = state;
            emit commStateChanged(m_settings.name, state);
        }
        const HostEvent e = m_formatter->describe(type, record, m_settings.name);
        emit hostEvent(e);
        publish(m_model.updateComm(state == Lost ? UnitStatus::Comm::Lost : UnitStatus::Comm::Ok, now));
        return;
    } else if (type == EventFormatter::DataReport) {
        // The model keeps the values; the collector's map goes with the record.
        const QList<DerivedEvent> events = m_model.updateData(
            record.value(QLatin1String(RecordKey::Data)).value<QMap<int, QVariant>>(), now);
        if (m_view)
            m_view->flushData(m_model.data());
        publish(events);
        // The first report and the first after a derived event show the
        // operator the unit's state; the others are data lines.
        if (m_stateDue || m_dataLines)
            emit hostEvent(EventFormatter::describe(m_model.status(), m_stateDue ? QStringLiteral("state")
                                                                                 : QStringLiteral("data")));
        m_stateDue = false;
        emit dataReported(m_settings.name);
        return;
    }

    const HostEvent e = m_formatter->describe(type, record, m_settings.name);
    if (e.kind != QLatin1String("repeat"))
        emit hostEvent(e);
}

void UnitSession::notAnswered()
{
    if (m_answered)
        return;
    HostEvent e;
    e.time = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    e.unit = m_settings.name;
    e.kind = QStringLiteral("error");
    e.text = QStringLiteral("unit has not answered within %1 s (%2); check its dev.ini group and "
                            "the line to it")
                 .arg(m_answerTimer.interval() / 1000)
                 .arg(m_settings.target());
    emit hostEvent(e);
}
