#include "UnitSession.h"

#include <QDateTime>
#include <QDebug>

#include "CollectThread.h"
#include "CollectView.h"
#include "EventFormatter.h"

namespace {
// A collector's cycle is bounded by its driver's timeouts; give it this long
// to leave its event loop before the host gives up on joining it.
const unsigned long kJoinTimeoutMs = 15000;
}

UnitSession::UnitSession(const UnitSettings& settings, CollectThread* collector,
                         const EventFormatter* formatter, QObject* parent)
    : QObject(parent), m_settings(settings), m_collector(collector), m_formatter(formatter)
{
    qRegisterMetaType<HostEvent>();
    m_answerTimer.setSingleShot(true);
    connect(&m_answerTimer, &QTimer::timeout, this, &UnitSession::notAnswered);
}

UnitSession::~UnitSession()
{
    stop();
}

void UnitSession::start(bool withView, int answerTimeoutSec,
                        const QList<QPair<int, QString>>& commands)
{
    m_pendingCommands = commands;
    m_collector->m_devName = m_settings.name;
    connect(m_collector, &CollectThread::postDEvent, this, &UnitSession::onRecord);
    m_collector->loadConfig();
    if (withView) {
        m_view = m_collector->getView();
        if (!m_view)
            qDebug() << "unit" << m_settings.name << "has no panel";
    }
    m_answerTimer.start(answerTimeoutSec * 1000);
    m_collector->start();
}

void UnitSession::stop()
{
    m_answerTimer.stop();
    if (!m_collector)
        return;
    m_collector->quit();
    if (!m_collector->wait(kJoinTimeoutMs)) {
        // Deleting a running QThread aborts the process; leak it instead.
        qWarning() << "collector of" << m_settings.name << "did not stop; left running";
        m_collector = nullptr;
        m_view = nullptr;
        return;
    }
    delete m_collector;
    m_collector = nullptr;
    m_view = nullptr;
}

void UnitSession::sendCommand(int id, const QString& value)
{
    if (m_collector)
        m_collector->control(id, value);
}

void UnitSession::onRecord(int type, QMap<QString, QVariant> record)
{
    if (EventFormatter::isControlRequest(type, record)) {
        sendCommand(record.value(QStringLiteral("controlId")).toInt(),
                    record.value(QStringLiteral("controlValue")).toString());
    } else if (type == EventFormatter::CommRestored || type == EventFormatter::CommLost) {
        const int state = type == EventFormatter::CommLost ? Lost : Communicating;
        if (state == Communicating && !m_answered) {
            m_answered = true;
            m_answerTimer.stop();
            const auto commands = m_pendingCommands;
            m_pendingCommands.clear();
            for (const auto& c : commands)
                sendCommand(c.first, c.second);
        }
        if (state != m_commState) {
            m_commState = state;
            emit commStateChanged(m_settings.name, state);
        }
    } else if (type == EventFormatter::DataReport) {
        m_lastData = record.value(QStringLiteral("data")).value<QMap<int, QVariant>>();
        if (m_view)
            m_view->flushData(m_lastData);
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
