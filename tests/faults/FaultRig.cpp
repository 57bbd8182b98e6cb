#include "FaultRig.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QHostAddress>
#include <QTest>

#include <sys/socket.h>

void EventLog::attach(CollectThread* collector)
{
    m_clock.start();
    // Direct: the time is taken on the collector's thread as it emits.
    QObject::connect(collector, &CollectThread::postDEvent, collector,
                     [this](int type, QMap<QString, QVariant> record) {
                         QMutexLocker locker(&m_lock);
                         m_events.append(Event{type, m_clock.elapsed(), record});
                     }, Qt::DirectConnection);
}

QList<EventLog::Event> EventLog::events() const
{
    QMutexLocker locker(&m_lock);
    return m_events;
}

QList<qint64> EventLog::times(int type, qint64 fromMs) const
{
    QList<qint64> found;
    for (const Event& e : events()) {
        if (e.type == type && e.atMs >= fromMs)
            found << e.atMs;
    }
    return found;
}

qint64 EventLog::waitFor(int type, qint64 fromMs, int timeoutMs) const
{
    QElapsedTimer waited;
    waited.start();
    for (;;) {
        const QList<qint64> seen = times(type, fromMs);
        if (!seen.isEmpty())
            return seen.first();
        if (waited.elapsed() > timeoutMs)
            return -1;
        QTest::qWait(20);
    }
}

QList<QMap<int, QVariant>> EventLog::dataMaps(qint64 fromMs) const
{
    QList<QMap<int, QVariant>> maps;
    for (const Event& e : events()) {
        if (e.type == 2007 && e.atMs >= fromMs)
            maps << e.record.value("data").value<QMap<int, QVariant>>();
    }
    return maps;
}

RunningCollector::RunningCollector()
{
    m_client.m_devName = "UNIT";
    m_client.m_interval = 1;
    m_client.m_devAddr = 1;
    m_log.attach(&m_client);
}

RunningCollector::~RunningCollector()
{
    stop();
}

bool RunningCollector::startTcp(quint16 port, int retries)
{
    m_client.m_commType = 1;
    m_client.m_ipAddr = "127.0.0.1";
    m_client.m_tcpPort = port;
    m_client.m_retries = retries;
    auto* socket = new QTcpSocket();
    socket->setReadBufferSize(vek5Client::kTcpReadBufferSize);
    socket->connectToHost(QHostAddress::LocalHost, port);
    if (!socket->waitForConnected(3000)) {
        delete socket;
        return false;
    }
    socket->moveToThread(&m_client);
    m_client.m_tcpSocket = socket;
    m_client.start();
    return true;
}

void RunningCollector::startSerial(const QString& portName, int retries)
{
    m_client.m_commType = 0;
    m_client.m_portName = portName;
    m_client.m_retries = retries;
    m_client.start();
}

bool RunningCollector::stop(int timeoutMs)
{
    if (!m_client.isRunning())
        return true;
    m_client.quit();
    return m_client.wait(static_cast<unsigned long>(timeoutMs));
}

bool FaultProxy::listen()
{
    m_clock.start();
    connect(&m_server, &QTcpServer::newConnection, this, &FaultProxy::accept);
    return m_server.listen(QHostAddress::LocalHost, 0);
}

void FaultProxy::onRequest(int n, std::function<void()> action)
{
    m_actionAt = n;
    m_action = std::move(action);
}

void FaultProxy::accept()
{
    while (QTcpSocket* incoming = m_server.nextPendingConnection()) {
        if (m_client != nullptr) {
            incoming->abort();
            incoming->deleteLater();
            continue;
        }
        ++m_connections;
        m_client = incoming;
        m_unit = new QTcpSocket(this);
        m_unitBytes.clear();
        connect(m_client, &QTcpSocket::readyRead, this, &FaultProxy::fromClient);
        connect(m_client, &QTcpSocket::disconnected, this, &FaultProxy::drop);
        connect(m_unit, &QTcpSocket::readyRead, this, &FaultProxy::fromUnit);
        connect(m_unit, &QTcpSocket::disconnected, this, &FaultProxy::drop);
        connect(m_unit, &QAbstractSocket::errorOccurred, this, &FaultProxy::drop);
        m_unit->connectToHost(QHostAddress::LocalHost, m_target);
    }
}

// Either side gone: the other goes too, as a gateway would do.
void FaultProxy::drop()
{
    QTcpSocket* client = m_client;
    QTcpSocket* unit = m_unit;
    m_client = nullptr;
    m_unit = nullptr;
    for (QTcpSocket* s : {client, unit}) {
        if (s == nullptr)
            continue;
        s->disconnect(this);
        s->abort();
        s->deleteLater();
    }
}

void FaultProxy::fromClient()
{
    if (m_client == nullptr || m_unit == nullptr)
        return;
    // The driver writes each request whole; loopback delivers it whole.
    const QByteArray request = m_client->readAll();
    ++m_requests;
    if (m_requests == m_actionAt && m_action)
        m_action();
    if (m_client == nullptr || m_unit == nullptr)
        return;
    if (m_mode == ResetNext) {
        // A linger time of 0 makes close() send a reset instead of a FIN.
        const struct linger hard = {1, 0};
        ::setsockopt(int(m_client->socketDescriptor()), SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
        m_mode = Pass;
        drop();
        return;
    }
    if (!m_held.isEmpty()) {
        m_client->write(m_held);
        m_client->flush();
        m_held.clear();
        ++m_heldReleased;
    }
    m_unit->write(request);
}

void FaultProxy::fromUnit()
{
    if (m_unit == nullptr || m_client == nullptr)
        return;
    m_unitBytes += m_unit->readAll();
    // Header: transaction, protocol, length of what follows (unit id on).
    while (m_unitBytes.size() >= 6) {
        const int length = 6 + (quint8(m_unitBytes[4]) << 8 | quint8(m_unitBytes[5]));
        if (m_unitBytes.size() < length)
            return;
        QByteArray answer = m_unitBytes.left(length);
        m_unitBytes.remove(0, length);
        switch (m_mode) {
        case Pass:
        case ResetNext:
            break;
        case Halve:
            answer.truncate(length / 2);
            break;
        case Garbage:
            for (int i = 0; i < answer.size(); ++i)
                answer[i] = char((i * 89 + 17) ^ 0x5A);
            break;
        case WrongUnit:
            answer[6] = char(answer[6] + 1);
            break;
        case Swallow:
            answer.clear();
            break;
        case HoldOne:
            // Past header, unit id, function and byte count: the data.
            for (int i = 9; i < answer.size(); ++i)
                answer[i] = char(0xFF);
            m_held = answer;
            answer.clear();
            m_mode = Pass;
            break;
        }
        if (!answer.isEmpty())
            m_client->write(answer);
        if (m_mode == Pass && answer.size() == length)
            m_answerTimes << m_clock.elapsed();
    }
}

bool PtyPair::start(const QString& a, const QString& b)
{
    m_a = QDir::current().absoluteFilePath(a);
    m_b = QDir::current().absoluteFilePath(b);
    QFile::remove(m_a);
    QFile::remove(m_b);
    m_socat.start(QStandardPaths::findExecutable("socat"),
                  {"pty,raw,echo=0,link=" + m_a, "pty,raw,echo=0,link=" + m_b});
    if (!m_socat.waitForStarted(5000))
        return false;
    QElapsedTimer t;
    t.start();
    while (!(QFile::exists(m_a) && QFile::exists(m_b)) && t.elapsed() < 5000)
        QTest::qWait(20);
    return QFile::exists(m_a) && QFile::exists(m_b);
}

void PtyPair::stop()
{
    if (m_socat.state() == QProcess::NotRunning)
        return;
    m_socat.terminate();
    if (!m_socat.waitForFinished(5000)) {
        m_socat.kill();
        m_socat.waitForFinished(2000);
    }
}
