#ifndef FAULTRIG_H
#define FAULTRIG_H

// Shared by the fault-injection tests: a collector polling on its own thread
// with the real driver library, a record of the events it emits with their
// times, and a Modbus TCP proxy that can break the answers on their way.

#include "vek5Client.h"

#include <QElapsedTimer>
#include <QList>
#include <QMap>
#include <QMutex>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QVariant>

#include <functional>

// Every event of one collector, stamped on the emitting thread.
class EventLog
{
public:
    struct Event {
        int type;
        qint64 atMs;   // since attach()
        QMap<QString, QVariant> record;
    };

    void attach(CollectThread* collector);
    QList<Event> events() const;
    // Times of the events of `type` at or after `fromMs`.
    QList<qint64> times(int type, qint64 fromMs = 0) const;
    qint64 now() const { return m_clock.elapsed(); }
    // Waits (running the caller's event loop) until an event of `type` is
    // seen at or after `fromMs`; its time, or -1 after `timeoutMs`.
    qint64 waitFor(int type, qint64 fromMs, int timeoutMs) const;
    // The data maps of the data reports at or after `fromMs`.
    QList<QMap<int, QVariant>> dataMaps(qint64 fromMs = 0) const;

private:
    mutable QMutex m_lock;
    QList<Event> m_events;
    QElapsedTimer m_clock;
};

// A collector configured in code, polling the unit over TCP or a serial port
// on its own thread, as the host runs it.
class RunningCollector
{
public:
    RunningCollector();
    ~RunningCollector();
    vek5Client& client() { return m_client; }
    EventLog& log() { return m_log; }
    bool driverLoaded() const { return m_client.m_query != nullptr; }
    // Connects the socket here first, so that the first cycle does not pay
    // the reconnect pause.
    bool startTcp(quint16 port, int retries);
    void startSerial(const QString& portName, int retries);
    // Stops the thread; false when a cycle would not end within `timeoutMs`.
    bool stop(int timeoutMs = 45000);

private:
    vek5Client m_client;
    EventLog m_log;
};

// Modbus TCP between the collector and the unit, one connection at a time.
// Answers are framed by their header and changed according to the mode.
class FaultProxy : public QObject
{
    Q_OBJECT
public:
    enum Mode {
        Pass,
        Halve,        // only the first half of every answer
        Garbage,      // every answer replaced by noise of the same length
        WrongUnit,    // answers carry another unit id
        Swallow,      // answers dropped, the connection stays open
        HoldOne,      // the next answer is held, its data bytes set to 0xFF,
                      // and sent only once the following request has come
        ResetNext,    // the next request is answered by a connection reset
    };
    Q_ENUM(Mode)

    bool listen();
    quint16 port() const { return m_server.serverPort(); }
    void setTarget(quint16 port) { m_target = port; }
    void setMode(Mode mode) { m_mode = mode; }
    // Request number `n` (counted from 1 over all connections) calls `action`
    // before it is forwarded.
    void onRequest(int n, std::function<void()> action);
    int requests() const { return m_requests; }
    int connections() const { return m_connections; }
    int heldReleased() const { return m_heldReleased; }
    // Times (ms since listen()) at which whole answers went to the collector.
    QList<qint64> answerTimes() const { return m_answerTimes; }
    qint64 now() const { return m_clock.elapsed(); }

private:
    void accept();
    void fromClient();
    void fromUnit();
    void drop();

    QTcpServer m_server;
    QTcpSocket* m_client = nullptr;
    QTcpSocket* m_unit = nullptr;
    QByteArray m_unitBytes;
    QByteArray m_held;
    quint16 m_target = 0;
    Mode m_mode = Pass;
    bool m_holding = false;
    int m_requests = 0;
    int m_connections = 0;
    int m_heldReleased = 0;
    QList<qint64> m_answerTimes;
    QElapsedTimer m_clock;
    int m_actionAt = -1;
    std::function<void()> m_action;
};

// A socat pty pair whose two ends are links in the working directory.
class PtyPair
{
public:
    ~PtyPair() { stop(); }
    bool start(const QString& a, const QString& b);
    void stop();
    QString a() const { return m_a; }
    QString b() const { return m_b; }

private:
    QProcess m_socat;
    QString m_a;
    QString m_b;
};

#endif // FAULTRIG_H
