#ifndef TESTRIG_H
#define TESTRIG_H

// Rigs the test programs share: messages, ptys, simulator, files, frames, scripted driver, event log.

#include "TestBytes.h"
#include "vek5Client.h"

#include <QElapsedTimer>
#include <QLibrary>
#include <QLocalSocket>
#include <QMap>
#include <QProcess>
#include <QStringList>
#include <QTcpServer>
#include <QTcpSocket>

#include <functional>
#include <mutex>
#include <termios.h>

// Collects the texts of Qt's message streams, from any thread, while it lives.
class MessageCapture
{
public:
    MessageCapture();
    ~MessageCapture();
    static QStringList lines();

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
    // upssim on a free loopback port (or, with --no-tcp, on its line), with a
    // control channel of its own; true once it serves.
    bool start(const QStringList& arguments);
    // The same arguments again, on the port it had: a unit that restarts keeps its address.
    bool restart();
    void stop();
    int port() const { return m_port; }
    QString output();
    // One line on the control channel; the answer up to its "OK ..." or "ERR ..." line.
    QString control(const QString& line);

private:
    QProcess m_process;
    QLocalSocket m_control;
    QStringList m_arguments;
    QString m_seen;
    int m_port = 0;
};

QString appDbDir();
// A fresh application directory NAME here with the host, plugin and driver copied in (the host reads
// its configuration beside its own file); empty when they are not built.
QString hostAppDir(const QString& name);

// Controls of the scripted driver (scriptdriver.cpp), found by the real one's name on LD_LIBRARY_PATH.
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

// Every event of one collector, recorded on the emitting thread with its time since attach().
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
    // The first matching event's index from `from` on, waited for on the caller's loop; -1 if none came.
    int waitFor(int from, const std::function<bool(const Event&)>& match, int timeoutMs) const;
    QList<qint64> times(int type, qint64 fromMs = 0) const;

private:
    mutable std::mutex m_lock;
    QList<Event> m_events;
    QElapsedTimer m_clock;
};

#endif // TESTRIG_H
