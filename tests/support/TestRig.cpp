#include "TestRig.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QHostAddress>
#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>
#include <QTest>
#include <QThread>

#include <poll.h>
#include <pty.h>
#include <sys/socket.h>
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

MessageCapture::MessageCapture() : m_previous(qInstallMessageHandler(capture)) { clear(); }
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

void MessageCapture::clear()
{
    std::lock_guard<std::mutex> guard(g_messageLock);
    g_messages.clear();
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

QString SimProcess::program()
{
    return qEnvironmentVariable("VEK5_BIN_DIR") + "/upssim";
}

bool SimProcess::start(const QStringList& arguments)
{
    m_seen.clear();
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    const bool tcp = !arguments.contains("--no-tcp");
    QStringList args = arguments;
    if (tcp && !args.contains("--tcp"))
        args << "--tcp" << "127.0.0.1:0";
    m_process.start(program(), args);
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

void SimProcess::stop() { finish(m_process); }

QString SimProcess::output()
{
    while (m_process.waitForReadyRead(100))
        m_seen += QString::fromLocal8Bit(m_process.readAll());
    m_seen += QString::fromLocal8Bit(m_process.readAll());
    return m_seen;
}

QString writeScenario(const QString& name, const QByteArray& text)
{
    const QString path = QDir::current().absoluteFilePath(name + ".scn");
    writeFile(path, text);
    return path;
}

bool writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(content) == content.size();
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
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

namespace {
const char* const kConfigFiles[2] = {"dev.ini", "param.ini"};
}

AppConfig::AppConfig()
{
    QDir().mkpath(appDbDir());
    for (int i = 0; i < 2; ++i)
        if (QFile::exists(appDbDir() + "/" + kConfigFiles[i]))
            m_saved[i] = readFile(appDbDir() + "/" + kConfigFiles[i]);
}

AppConfig::~AppConfig()
{
    for (int i = 0; i < 2; ++i) {
        const QString path = appDbDir() + "/" + kConfigFiles[i];
        QSettings(path, QSettings::IniFormat).clear();
        if (m_saved[i])
            writeFile(path, *m_saved[i]);
        else
            QFile::remove(path);
    }
}

void AppConfig::write(const QString& file, const QVariantMap& values)
{
    QSettings ini(appDbDir() + "/" + file, QSettings::IniFormat);
    ini.clear();
    for (auto it = values.constBegin(); it != values.constEnd(); ++it)
        ini.setValue(it.key(), it.value());
    ini.sync();
}

void PointSink::collect(int id, float value, void* context)
{
    auto* sink = static_cast<PointSink*>(context);
    sink->values[id] = value;
    sink->calls[id] += 1;
}

QByteArray PointSink::text(int first, int count) const
{
    QByteArray bytes;
    for (int i = 0; i < count && char(int(values.value(first + i))) != 0; ++i)
        bytes.append(char(int(values.value(first + i))));
    return bytes;
}

bool DriverLib::load()
{
    m_lib.setFileName(qEnvironmentVariable("VEK5_BIN_DIR") + "/libvek5m_10-30k");
    if (!m_lib.load())
        return false;
    query = reinterpret_cast<QueryFunc>(m_lib.resolve("Query"));
    control = reinterpret_cast<ControlFunc>(m_lib.resolve("Control"));
    return query != nullptr && control != nullptr;
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

qint64 EventLog::waitTime(int type, qint64 fromMs, int timeoutMs) const
{
    const int i = waitFor(0, [=](const Event& e) { return e.type == type && e.atMs >= fromMs; }, timeoutMs);
    return i < 0 ? -1 : events().at(i).atMs;
}

QList<qint64> EventLog::times(int type, qint64 fromMs) const
{
    QList<qint64> found;
    for (const Event& e : events())
        if (e.type == type && e.atMs >= fromMs)
            found << e.atMs;
    return found;
}

QList<QMap<int, QVariant>> EventLog::dataMaps(qint64 fromMs) const
{
    QList<QMap<int, QVariant>> maps;
    for (const Event& e : events())
        if (e.type == 2007 && e.atMs >= fromMs)
            maps << e.data();
    return maps;
}

RunningCollector::RunningCollector()
{
    client.m_devName = "UNIT";
    client.m_interval = 1;
    client.m_devAddr = 1;
    log.attach(&client);
}

bool RunningCollector::startTcp(quint16 port, int retries)
{
    client.m_commType = 1;
    client.m_ipAddr = "127.0.0.1";
    client.m_tcpPort = port;
    client.m_retries = retries;
    auto* socket = new QTcpSocket();
    socket->setReadBufferSize(vek5Client::kTcpReadBufferSize);
    socket->connectToHost(QHostAddress::LocalHost, port);
    if (!socket->waitForConnected(10000)) {
        delete socket;
        return false;
    }
    socket->moveToThread(&client);
    client.m_tcpSocket = socket;
    client.start();
    return true;
}

void RunningCollector::startSerial(const QString& portName, int retries)
{
    client.m_commType = 0;
    client.m_portName = portName;
    client.m_retries = retries;
    client.start();
}

bool RunningCollector::stop(int timeoutMs)
{
    if (!client.isRunning())
        return true;
    client.quit();
    return client.wait(static_cast<unsigned long>(timeoutMs));
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
        ++connections;
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
    for (QTcpSocket* s : {m_client, m_unit}) {
        if (s == nullptr)
            continue;
        s->disconnect(this);
        s->abort();
        s->deleteLater();
    }
    m_client = m_unit = nullptr;
}

void FaultProxy::fromClient()
{
    if (m_client == nullptr || m_unit == nullptr)
        return;
    // The driver writes each request whole; loopback delivers it whole.
    const QByteArray request = m_client->readAll();
    if (++requests == m_actionAt && m_action)
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
        case ResetNext: break;
        case Halve: answer.truncate(length / 2); break;
        case Garbage:
            for (int i = 0; i < answer.size(); ++i)
                answer[i] = char((i * 89 + 17) ^ 0x5A);
            break;
        case WrongUnit: answer[6] = char(answer[6] + 1); break;
        case Swallow: answer.clear(); break;
        }
        if (!answer.isEmpty())
            m_client->write(answer);
        if (m_mode == Pass && answer.size() == length)
            answerTimes << m_clock.elapsed();
    }
}
