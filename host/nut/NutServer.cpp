#include "NutServer.h"

#include <QDebug>
#include <QDir>
#include <QTcpServer>
#include <QTcpSocket>

#include <algorithm>
#include <memory>
#include <utility>

#include "NutLineParser.h"
#include "UnitDirectory.h"

namespace {

const qint64 kMaxUnsentBytes = 1 << 20;   // a client that stops reading is dropped
const qint64 kReadBufferBytes = 64 * 1024;
const qint64 kRefusalLogIntervalMs = 60 * 1000;   // a flood at maxClients is one line a minute

// One connected client: its socket, line buffer, session and idle timer.
class NutClient : public QObject
{
public:
    NutClient(QTcpSocket* socket, UnitDirectory* directory, const NutUsers* users,
              NutServerState* state, const NutServerConfig& config, QObject* parent)
        : QObject(parent), m_socket(socket), m_parser(config.maxLineLength),
          m_session(directory, users, state, socket->peerAddress().toString())
    {
        socket->setParent(this);
        socket->setReadBufferSize(kReadBufferBytes);
        m_idle.setSingleShot(true);
        m_idle.setInterval(config.idleTimeout * 1000);
        QObject::connect(&m_idle, &QTimer::timeout, socket, &QTcpSocket::abort);
        QObject::connect(socket, &QTcpSocket::readyRead, this, [this] { read(); });
        m_idle.start();
    }

private:
    void read()
    {
        m_parser.append(m_socket->readAll());
        QByteArray line;
        while (m_socket->state() == QAbstractSocket::ConnectedState && m_parser.takeLine(&line)) {
            m_idle.start();
            m_socket->write(m_session.handle(line));
            if (m_session.finished() || m_socket->bytesToWrite() > kMaxUnsentBytes) {
                m_socket->disconnectFromHost();
                return;
            }
        }
        if (m_parser.overflowed()) {
            m_socket->write("ERR TOO-LONG\n");
            m_socket->disconnectFromHost();
        }
    }

    QTcpSocket* m_socket;
    NutLineParser m_parser;
    NutSession m_session;
    QTimer m_idle;
};

} // namespace

bool NutServerConfig::parseListen(const QString& text, QList<QPair<QHostAddress, quint16>>* out,
                                  QString* error)
{
    out->clear();
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty() || trimmed.compare(QLatin1String("off"), Qt::CaseInsensitive) == 0)
        return true;
    for (const QString& item : trimmed.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const QString entry = item.trimmed();
        const int colon = entry.lastIndexOf(QLatin1Char(':'));
        QString host = entry.left(colon);
        if (host.startsWith(QLatin1Char('[')) && host.endsWith(QLatin1Char(']')))
            host = host.mid(1, host.size() - 2);
        bool ok = false;
        const uint port = entry.mid(colon + 1).toUInt(&ok);
        QHostAddress address;
        if (colon < 0 || !ok || port > 65535 || !address.setAddress(host)) {
            *error = QStringLiteral("[nut] listen: \"%1\" is not ADDR:PORT").arg(entry);
            return false;
        }
        *out += qMakePair(address, quint16(port));
    }
    return true;
}

NutServer::NutServer(UnitDirectory* directory, QObject* parent)
    : QObject(parent), m_directory(directory)
{
    m_syncPoll.setInterval(200);
    m_syncDeadline.setSingleShot(true);
    connect(&m_syncPoll, &QTimer::timeout, this, &NutServer::checkSecondaries);
    connect(&m_syncDeadline, &QTimer::timeout, this, [this] {
        qWarning().noquote() << QStringLiteral("NUT clients still logged in to %1 after %2 s; shutting down")
                                    .arg(m_shutdownUnits.join(QStringLiteral(", "))).arg(m_config.hostSync);
        release();
    });
}

NutServer::~NutServer()
{
    // Sessions refer to the shared state: they go before it does. A client
    // still connected reports its disconnection while it goes, which takes it
    // out of m_clients: walk a copy.
    const QSet<QObject*> clients = std::exchange(m_clients, {});
    for (QObject* client : clients)
        delete client;
}

void NutServer::start(const NutServerConfig& config, const NutUsers& users)
{
    m_users = users;
    m_state.maxAge = config.maxAge;
    m_config = config;
    // Listeners that stay keep their port; only the changed ones move.
    for (int i = m_listeners.size() - 1; i >= 0; --i) {
        QTcpServer* l = m_listeners.at(i);
        if (!config.listen.contains(qMakePair(l->serverAddress(), m_requestedPorts.value(l)))) {
            m_requestedPorts.remove(l);
            delete m_listeners.takeAt(i);
        }
    }
    for (const auto& address : config.listen) {
        if (std::any_of(m_listeners.cbegin(), m_listeners.cend(), [&](QTcpServer* l) {
                return l->serverAddress() == address.first && m_requestedPorts.value(l) == address.second;
            }))
            continue;
        auto* listener = new QTcpServer(this);
        // A busy port (a NUT upsd on the same machine) costs the clients
        // this address, not the monitoring of the units.
        if (!listener->listen(address.first, address.second)) {
            qWarning().noquote() << QStringLiteral("NUT server cannot listen on %1:%2: %3")
                                        .arg(address.first.toString()).arg(address.second).arg(listener->errorString());
            delete listener;
            continue;
        }
        connect(listener, &QTcpServer::newConnection, this, [this, listener] { accept(listener); });
        m_listeners += listener;
        m_requestedPorts.insert(listener, address.second);
        qInfo().noquote() << QStringLiteral("NUT server listening on %1:%2 (%3 users)")
                                 .arg(address.first.toString()).arg(listener->serverPort()).arg(m_users.count());
        if (!address.first.isLoopback())
            qWarning().noquote() << QStringLiteral("NUT server on %1, not a loopback address: NUT passwords travel "
                                                   "in clear text; keep it to a trusted network")
                                        .arg(address.first.toString());
    }
}

QList<quint16> NutServer::ports() const
{
    QList<quint16> ports;
    for (const QTcpServer* l : m_listeners)
        ports += l->serverPort();
    return ports;
}

void NutServer::accept(QTcpServer* listener)
{
    while (QTcpSocket* socket = listener->nextPendingConnection()) {
        if (m_clients.size() >= m_config.maxClients) {
            refused(*socket);
            socket->abort();
            socket->deleteLater();
            continue;
        }
        auto* client = new NutClient(socket, m_directory, &m_users, &m_state, m_config, this);
        m_clients.insert(client);
        connect(socket, &QTcpSocket::disconnected, this, [this, client] {
            if (m_clients.remove(client))
                client->deleteLater();
        });
    }
}

void NutServer::refused(const QTcpSocket& socket)
{
    if (m_sinceRefusalLogged.isValid() && !m_sinceRefusalLogged.hasExpired(kRefusalLogIntervalMs)) {
        ++m_refusedUnlogged;
        return;
    }
    qWarning().noquote() << QStringLiteral("NUT server refused a connection from %1: %2 clients (maxClients)%3")
                                .arg(socket.peerAddress().toString()).arg(m_config.maxClients)
                                .arg(m_refusedUnlogged ? QStringLiteral("; %1 more refused since the last report")
                                                             .arg(m_refusedUnlogged)
                                                       : QString());
    m_refusedUnlogged = 0;
    m_sinceRefusalLogged.start();
}

void NutServer::holdShutdown(std::function<void()> proceed)
{
    m_shutdownUnits.clear();
    const QStringList units = m_directory->units();
    for (const QString& unit : units)
        if (m_state.forcedShutdown.contains(unit) || m_directory->status(unit).hasFlag(QStringLiteral("FSD")))
            m_shutdownUnits += unit;
    if (m_shutdownUnits.isEmpty())
        m_shutdownUnits = units;
    m_proceed = std::move(proceed);
    m_syncDeadline.start(m_config.hostSync * 1000);
    m_syncPoll.start();
    checkSecondaries();
}

void NutServer::checkSecondaries()
{
    for (const QString& unit : qAsConst(m_shutdownUnits))
        if (!m_state.logins.value(unit).isEmpty())
            return;
    release();
}

void NutServer::release()
{
    m_syncPoll.stop();
    m_syncDeadline.stop();
    m_shutdownUnits.clear();
    if (m_proceed) {
        const std::function<void()> proceed = std::move(m_proceed);
        m_proceed = nullptr;
        proceed();
    }
}
