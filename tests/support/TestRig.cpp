#include "TestRig.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTest>
#include <QThread>

#include <poll.h>
#include <pty.h>
#include <unistd.h>

namespace {
std::mutex g_messageLock;
QStringList g_messages;
void capture(QtMsgType, const QMessageLogContext&, const QString& text)
{
    std::lock_guard<std::mutex> guard(g_messageLock);
    g_messages << text;
}
} // namespace

MessageCapture::MessageCapture() : m_previous(qInstallMessageHandler(capture))
{
    std::lock_guard<std::mutex> guard(g_messageLock);
    g_messages.clear();
}
MessageCapture::~MessageCapture() { qInstallMessageHandler(m_previous); }

// Copies that share no data with the live lists, made under their lock: a
// copy sharing it would detach later, unlocked, while another thread appends.
QStringList MessageCapture::lines()
{
    std::lock_guard<std::mutex> guard(g_messageLock);
    QStringList copy = g_messages;
    copy.detach();
    return copy;
}

Pty::Pty()
{
    char name[128] = {};
    if (openpty(&master, &slave, name, nullptr, nullptr) == 0)
        path = QString::fromLocal8Bit(name);
}

Pty::~Pty()
{
    for (int fd : {master, slave})
        if (fd >= 0)
            ::close(fd);
}

termios Pty::attributes() const
{
    termios tio {};
    tcgetattr(slave, &tio);
    return tio;
}

QByteArray Pty::readMaster(int expected) const
{
    QByteArray got;
    QElapsedTimer clock;
    clock.start();
    while (got.size() < expected && clock.elapsed() < 10000) {
        char buffer[512];
        pollfd fds {master, POLLIN, 0};
        if (poll(&fds, 1, 100) > 0) {
            const ssize_t n = ::read(master, buffer, sizeof buffer);
            if (n > 0)
                got.append(buffer, int(n));
        }
    }
    return got;
}

bool PtyPair::start(const QString& first, const QString& second)
{
    a = QDir::current().absoluteFilePath(first);
    b = QDir::current().absoluteFilePath(second);
    QFile::remove(a);
    QFile::remove(b);
    m_socat.start(QStandardPaths::findExecutable("socat"), {"pty,raw,echo=0,link=" + a, "pty,raw,echo=0,link=" + b});
    if (!m_socat.waitForStarted(10000))
        return false;
    return QTest::qWaitFor([this] { return QFile::exists(a) && QFile::exists(b); }, 10000);
}

namespace {
void finish(QProcess& process)
{
    if (process.state() == QProcess::NotRunning)
        return;
    process.terminate();
    if (!process.waitForFinished(10000)) {
        process.kill();
        process.waitForFinished(5000);
    }
}
} // namespace

void PtyPair::stop() { finish(m_socat); }

bool SimProcess::start(const QStringList& arguments)
{
    m_seen.clear();
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    const bool tcp = !arguments.contains("--no-tcp");
    QStringList args = arguments;
    if (tcp && !args.contains("--tcp"))
        args << "--tcp" << "127.0.0.1:0";
    if (!args.contains("--control"))
        args << "--control" << QString("%1/upssim-%2-%3.sock").arg(QDir::tempPath())
                                     .arg(QCoreApplication::applicationPid()).arg(quintptr(this), 0, 16);
    m_arguments = args;
    m_process.start(qEnvironmentVariable("VEK5_BIN_DIR") + "/upssim", args);
    if (!m_process.waitForStarted(10000))
        return false;
    const QRegularExpression ready(tcp ? "listening on 127\\.0\\.0\\.1:(\\d+)" : "serving unit");
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < 20000 && m_process.state() == QProcess::Running) {
        m_process.waitForReadyRead(100);
        m_seen += QString::fromLocal8Bit(m_process.readAll());
        const QRegularExpressionMatch match = ready.match(m_seen);
        if (match.hasMatch()) {
            m_port = tcp ? match.captured(1).toInt() : 0;
            return true;
        }
    }
    m_seen += QString::fromLocal8Bit(m_process.readAll());
    return false;
}

bool SimProcess::restart()
{
    stop();
    QStringList args = m_arguments;
    const int tcp = args.indexOf("--tcp");
    if (tcp >= 0)
        args[tcp + 1] = QString("127.0.0.1:%1").arg(m_port);
    return start(args);
}

void SimProcess::stop()
{
    m_control.abort();
    finish(m_process);
}

QString SimProcess::control(const QString& line)
{
    if (m_control.state() != QLocalSocket::ConnectedState) {
        m_control.connectToServer(m_arguments.value(m_arguments.indexOf("--control") + 1));
        if (!m_control.waitForConnected(10000))
            return "no control channel: " + m_control.errorString();
    }
    m_control.write(line.toUtf8() + "\n");
    static const QRegularExpression last("(^|\n)(OK|ERR)[^\n]*\n$");
    QString answer;
    while (!last.match(answer).hasMatch() && (m_control.bytesAvailable() > 0 || m_control.waitForReadyRead(10000)))
        answer += QString::fromUtf8(m_control.readAll());
    return answer.trimmed();
}

QString SimProcess::output()
{
    while (m_process.waitForReadyRead(100))
        m_seen += QString::fromLocal8Bit(m_process.readAll());
    m_seen += QString::fromLocal8Bit(m_process.readAll());
    return m_seen;
}

QString hostAppDir(const QString& name)
{
    QDir dir(QDir::current().absoluteFilePath(name));
    dir.removeRecursively();
    if (!QDir().mkpath(dir.filePath("PVMX/drovaPanel/db")))
        return {};
    for (const char* piece : {"upsmon-host", "libvek5m_10-30k_Client.so", "libvek5m_10-30k.so"})
        if (!QFile::copy(qEnvironmentVariable("VEK5_BIN_DIR") + '/' + piece, dir.filePath(piece)))
            return {};
    return dir.path();
}

QString appDbDir()
{
    return QCoreApplication::applicationDirPath() + "/PVMX/drovaPanel/db";
}

template <typename F> void ScriptDriver::resolve(F& f, const char* name)
{
    f = reinterpret_cast<F>(m_lib.resolve(name));
    m_ok = m_ok && f != nullptr;
}

ScriptDriver::ScriptDriver() : m_lib("libvek5m_10-30k")
{
    m_ok = m_lib.load();
    resolve(reset, "scriptReset");
    resolve(setAnswer, "scriptSetAnswer");
    resolve(queryCount, "scriptQueryCount");
    resolve(commandTexts, "scriptCommands");
    resolve(lastAddress, "scriptLastAddress");
}

QStringList ScriptDriver::commands() const
{
    return QString::fromLocal8Bit(commandTexts()).split('\n', Qt::SkipEmptyParts);
}

void EventLog::attach(CollectThread* collector)
{
    m_clock.start();
    QObject::connect(collector, &CollectThread::postDEvent, collector, [this](int type, QMap<QString, QVariant> record) {
        std::lock_guard<std::mutex> guard(m_lock);
        m_events.append(Event {type, m_clock.elapsed(), record, QThread::currentThread()});
    }, Qt::DirectConnection);
}

QList<EventLog::Event> EventLog::events() const
{
    std::lock_guard<std::mutex> guard(m_lock);
    QList<Event> copy = m_events;
    copy.detach();
    return copy;
}

int EventLog::waitFor(int from, const std::function<bool(const Event&)>& match, int timeoutMs) const
{
    QElapsedTimer clock;
    clock.start();
    for (;;) {
        const QList<Event> all = events();
        for (int i = qMax(from, 0); i < all.size(); ++i)
            if (match(all.at(i)))
                return i;
        if (clock.elapsed() > timeoutMs)
            return -1;
        QTest::qWait(20);
    }
}

QList<qint64> EventLog::times(int type, qint64 fromMs) const
{
    QList<qint64> found;
    for (const Event& e : events())
        if (e.type == type && e.atMs >= fromMs)
            found << e.atMs;
    return found;
}
