#ifndef NUTSERVER_H
#define NUTSERVER_H

// The NUT network protocol server of upsmon-host: listens on the configured
// addresses, runs one NutSession per client on the main thread and keeps
// every client within its limits (line length, number of clients, idle
// time, unread replies). It reads units only through the UnitDirectory and
// never waits on one.
//
// param.ini (read by HostConfig):
//   [nut]
//   listen=127.0.0.1:3493     comma-separated ADDR:PORT list ("" or "off": no server)
//   users=upsd.users          NUT upsd.users format; relative to the configuration directory
//   maxClients=64             further connections are closed at once (logged at most once a minute)
//   maxAge=15                 seconds of data age after which variables read DATA-STALE
//   idleTimeout=300           seconds without a complete request before a client is dropped
//   hostSync=15               seconds the forced shutdown waits for secondaries to log out

#include <QElapsedTimer>
#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QPair>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QTimer>

#include <functional>

#include "NutSession.h"
#include "NutUsers.h"

class QTcpServer;
class QTcpSocket;
class UnitDirectory;

struct NutServerConfig
{
    QList<QPair<QHostAddress, quint16>> listen;
    QString usersPath;
    int maxClients = 64;
    double maxAge = 15;
    int idleTimeout = 300;
    int hostSync = 15;
    int maxLineLength = 512;

    // "ADDR:PORT[,ADDR:PORT...]"; "[v6]:PORT" for IPv6 addresses.
    static bool parseListen(const QString& text, QList<QPair<QHostAddress, quint16>>* out,
                            QString* error);
};

class NutServer : public QObject
{
    Q_OBJECT
public:
    explicit NutServer(UnitDirectory* directory, QObject* parent = nullptr);
    ~NutServer() override;

    // Listens on every address it can (a busy address is reported and
    // skipped). Called again (a reload), it takes the new users and limits
    // at once, keeps its clients and moves only the listeners that changed.
    void start(const NutServerConfig& config, const NutUsers& users);
    QList<quint16> ports() const;
    int clientCount() const { return m_clients.size(); }

    // The primary's side of a forced shutdown, as the shutdown policy's
    // gate: once the units marked FSD (all units when none is) have no
    // client logged in any more, or after hostSync seconds, calls `proceed`.
    void holdShutdown(std::function<void()> proceed);
    // Sets the unit's FSD latch as a primary's FSD does (the web console's
    // forced shutdown): its clients see FSD and their upsmon shuts down.
    void forceShutdown(const QString& unit) { m_state.forcedShutdown.insert(unit); }

private:
    void accept(QTcpServer* listener);
    void refused(const QTcpSocket& socket);
    void checkSecondaries();
    void release();

    UnitDirectory* m_directory;
    NutServerConfig m_config;
    NutUsers m_users;
    NutServerState m_state;
    QList<QTcpServer*> m_listeners;
    QHash<QTcpServer*, quint16> m_requestedPorts;   // 0 for "any": kept across reloads
    QSet<QObject*> m_clients;
    QStringList m_shutdownUnits;
    QElapsedTimer m_sinceRefusalLogged;    // invalid until the first refusal
    int m_refusedUnlogged = 0;
    std::function<void()> m_proceed;
    QTimer m_syncPoll;
    QTimer m_syncDeadline;
};

#endif // NUTSERVER_H
