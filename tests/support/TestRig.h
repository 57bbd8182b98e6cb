#ifndef TESTRIG_H
#define TESTRIG_H

// Rigs shared by the test programs: message capture, pseudo-terminals and
// socat pty pairs, the simulator process, the driver library loaded as the
// plugin loads it, the scripted stand-in driver, a Modbus TCP proxy that
// breaks answers, and a collector polling on its own thread with its events
// recorded as they are emitted.

#include "vek5Client.h"

#include <QElapsedTimer>
#include <QLibrary>
#include <QMap>
#include <QProcess>
#include <QStringList>
#include <QTcpServer>
#include <QTcpSocket>

#include <functional>
#include <mutex>
#include <optional>
#include <termios.h>

// Collects the texts of Qt's message streams, from any thread, while it lives.
class MessageCapture
{
public:
    MessageCapture();
    ~MessageCapture();
    static QStringList lines();
    static void clear();

private:
    QtMessageHandler m_previous;
};

// One pseudo-terminal; the slave stays open so the pair stays up.
struct Pty
{
    int master = -1;
    int slave = -1;
    QString path;
    Pty();
    ~Pty();
    Pty(const Pty&) = delete;
    Pty& operator=(const Pty&) = delete;
    termios attributes() const;
    QByteArray readMaster(int expected) const;
};

// A socat pty pair whose ends are links (absolute paths) in the working directory.
class PtyPair
{
public:
    ~PtyPair() { stop(); }
    bool start(const QString& a, const QString& b);
    void stop();
    QString a, b;

private:
    QProcess m_socat;
};

class SimProcess
{
public:
    ~SimProcess() { stop(); }
    // upssim on a free loopback port (or, with --no-tcp, on its line); true
    // once it serves.
    bool start(const QStringList& arguments);
    void stop();
    int port() const { return m_port; }
    QString output();
    static QString program();

private:
    QProcess m_process;
    QString m_seen;
    int m_port = 0;
};

// Writes a scenario file in the working directory; returns its path.
QString writeScenario(const QString& name, const QByteArray& text);
bool writeFile(const QString& path, const QByteArray& content);
QByteArray readFile(const QString& path);
// The configuration folder under the application directory.
QString appDbDir();
// A fresh application directory NAME in the working directory, its
// configuration folder made and the host, plugin and driver copied in (the
// host reads its configuration beside its own file); empty when they are not
// built.
QString hostAppDir(const QString& name);

// dev.ini and param.ini in appDbDir(), which every test program there shares:
// put back as they were (removed if absent) when this goes.
class AppConfig
{
public:
    AppConfig();
    ~AppConfig();
    // Replaces the file's settings through QSettings, whose parsed copy every
    // reader in this process shares: no reliance on file time stamps.
    static void write(const QString& file, const QVariantMap& values);

private:
    std::optional<QByteArray> m_saved[2];
};

struct PointSink
{
    QMap<int, float> values;
    QMap<int, int> calls;
    static void collect(int id, float value, void* context);
    // Points first..first+count-1 as bytes, cut at the first zero.
    QByteArray text(int first, int count) const;
};

// The real driver library, from the build's bin folder.
class DriverLib
{
public:
    bool load();
    QueryFunc query = nullptr;
    ControlFunc control = nullptr;

private:
    QLibrary m_lib;
};

// Controls of the scripted driver (tests/support/scriptdriver.cpp), found by
// the driver's own library name on LD_LIBRARY_PATH.
class ScriptDriver
{
public:
    ScriptDriver();
    bool ok() const { return m_ok; }
    QStringList commands() const;
    void (*reset)() = nullptr;
    void (*setAnswer)(int) = nullptr;
    int (*queryCount)() = nullptr;
    const char* (*commandTexts)() = nullptr;
    int (*lastAddress)() = nullptr;

private:
    template <typename F> void resolve(F& f, const char* name);
    QLibrary m_lib;
    bool m_ok = true;
};

// Every event of one collector, recorded on the emitting thread with its
// time since attach().
class EventLog
{
public:
    struct Event {
        int type;
        qint64 atMs;
        QMap<QString, QVariant> record;
        QThread* thread;   // that emitted it
        QMap<int, QVariant> data() const { return record.value("data").value<QMap<int, QVariant>>(); }
    };
    void attach(CollectThread* collector);
    QList<Event> events() const;
    qint64 now() const { return m_clock.elapsed(); }
    // Index of the first event from index `from` on that matches, waiting up
    // to `timeoutMs` on the caller's event loop; -1 when none came.
    int waitFor(int from, const std::function<bool(const Event&)>& match, int timeoutMs) const;
    // Time of the first event of `type` at or after `fromMs`, or -1.
    qint64 waitTime(int type, qint64 fromMs, int timeoutMs) const;
    QList<qint64> times(int type, qint64 fromMs = 0) const;
    QList<QMap<int, QVariant>> dataMaps(qint64 fromMs = 0) const;

private:
    mutable std::mutex m_lock;
    QList<Event> m_events;
    QElapsedTimer m_clock;
};

// A collector configured in code, polling on its own thread as the host runs it.
class RunningCollector
{
public:
    RunningCollector();
    ~RunningCollector() { stop(); }
    vek5Client client;
    EventLog log;
    // Connects the socket first, so the first cycle skips the reconnect pause.
    bool startTcp(quint16 port, int retries);
    void startSerial(const QString& portName, int retries);
    bool stop(int timeoutMs = 45000);
};

// Modbus TCP between collector and unit, one connection at a time, answers
// framed by their header and changed according to the mode.
class FaultProxy : public QObject
{
public:
    enum Mode {
        Pass,
        Halve,      // only the first half of every answer
        Garbage,    // noise of the same length
        WrongUnit,  // another unit id
        Swallow,    // dropped, the connection stays up
        ResetNext,  // next request answered by a connection reset
    };
    bool listen();
    quint16 port() const { return m_server.serverPort(); }
    void setTarget(quint16 port) { m_target = port; }
    void setMode(Mode mode) { m_mode = mode; }
    // Request number n (from 1, over all connections) runs `action` before it is forwarded.
    void onRequest(int n, std::function<void()> action);
    int requests = 0;
    int connections = 0;
    QList<qint64> answerTimes;   // ms since listen() of whole answers passed on
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
    quint16 m_target = 0;
    Mode m_mode = Pass;
    QElapsedTimer m_clock;
    int m_actionAt = -1;
    std::function<void()> m_action;
};

#endif // TESTRIG_H
