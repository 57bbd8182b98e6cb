// A host misusing the collector while its thread runs, and a serial line
// whose open must not wait for carrier detect.

#include "TestRig.h"
#include "PortManage.h"
#include "SerialPort.h"

#include <QDir>
#include <QtTest>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <mutex>

namespace {

// Warnings and events arrive on any thread; all under one lock.
std::mutex g_lock;
QStringList g_warnings;
struct
{
    int data = 0;
    int fromTestThread = 0;
    QString port;
} g_emitted;

template <typename F>
auto locked(F f)
{
    std::lock_guard<std::mutex> lock(g_lock);
    return f();
}

void recordWarning(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type == QtWarningMsg)
        locked([&] { g_warnings << text; });
}

struct MasterPty   // the test keeps the master side
{
    MasterPty() : master(posix_openpt(O_RDWR | O_NOCTTY))
    {
        if (master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0)
            line = QString::fromLocal8Bit(ptsname(master));
    }
    ~MasterPty() { ::close(master); }
    const int master;
    QString line;
};

enum Misuse { DeleteRunning, PollRunning, LoadConfigRunning, SetPortRunning };

const QString kUnit = QStringLiteral("ups-g");
constexpr int kConfiguredAddress = 7;

} // namespace

class tst_client_guards : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void misuseWarnsOnce_data();
    void misuseWarnsOnce();
    void serialOpenIgnoresCarrier_data();
    void serialOpenIgnoresCarrier();

private:
    ScriptDriver m_driver;
    PortManage m_manager;
    MasterPty m_pty;
};

void tst_client_guards::initTestCase()
{
    QVERIFY(m_driver.ok());
    QVERIFY(!m_pty.line.isEmpty());
    // This program runs from a folder of its own, so the dev.ini is its own.
    const QString db = QCoreApplication::applicationDirPath() + "/PVMX/drovaPanel/db";
    QVERIFY(QDir().mkpath(db));
    QFile dev(db + "/dev.ini");
    QVERIFY(dev.open(QIODevice::WriteOnly | QIODevice::Truncate));
    dev.write(QString("[%1]\nportName=%2\naddr=%3\n").arg(kUnit, m_pty.line).arg(kConfiguredAddress).toUtf8());
    dev.close();
    qInstallMessageHandler(recordWarning);
}

void tst_client_guards::misuseWarnsOnce_data()
{
    QTest::addColumn<int>("misuse");
    QTest::addColumn<int>("times");
    QTest::addColumn<QString>("warning");
    QTest::newRow("deleted while running") << int(DeleteRunning) << 1 << "deleted while its thread runs";
    QTest::newRow("poll beside the thread") << int(PollRunning) << 3 << "poll() while";
    QTest::newRow("loadConfig after start") << int(LoadConfigRunning) << 2 << "loadConfig() while";
    QTest::newRow("setPort after start") << int(SetPortRunning) << 1 << "setPort() while";
}

// No crash, no sanitizer report, one warning per misuse, and the change (if
// any) made by the collector's own thread.
void tst_client_guards::misuseWarnsOnce()
{
    QFETCH(int, misuse);
    QFETCH(int, times);
    QFETCH(QString, warning);

    m_driver.reset();
    locked([] { g_emitted = {}; });
    auto* client = new vek5Client;
    client->m_devName = kUnit;
    client->m_portHandle = &m_manager;
    client->m_portName = m_pty.line;
    connect(client, &CollectThread::postDEvent, client,
            [testThread = QThread::currentThread()](int type, QMap<QString, QVariant> record) {
        locked([&] {
            g_emitted.data += type == 2007 ? 1 : 0;
            g_emitted.fromTestThread += QThread::currentThread() == testThread ? 1 : 0;
            g_emitted.port = record.value("port").toString();
        });
    }, Qt::DirectConnection);
    const auto dataEvents = [] { return locked([] { return g_emitted.data; }); };
    client->start();
    QTRY_VERIFY_WITH_TIMEOUT(dataEvents() >= 2, 10000);
    locked([] { g_warnings.clear(); });

    const QString otherPort = QDir::current().absoluteFilePath("ttyNone");
    for (int i = 0; i < times; ++i) {
        if (misuse == PollRunning)
            client->poll();
        else if (misuse == LoadConfigRunning)
            client->loadConfig();
        else if (misuse == SetPortRunning)
            client->setPort(otherPort, "9600,n,8,1");
        else
            delete std::exchange(client, nullptr);
    }
    if (misuse == LoadConfigRunning)
        QTRY_COMPARE_WITH_TIMEOUT(m_driver.lastAddress(), kConfiguredAddress, 10000);
    if (misuse == SetPortRunning)
        QTRY_COMPARE_WITH_TIMEOUT(locked([] { return g_emitted.port; }), otherPort, 10000);
    if (client != nullptr) {
        const int before = dataEvents();
        QTRY_VERIFY_WITH_TIMEOUT(dataEvents() > before, 10000);   // cycles go on
        client->quit();
        QVERIFY(client->wait(10000));
        delete client;
    }
    QCOMPARE(locked([] { return g_emitted.fromTestThread; }), 0);
    const QStringList seen = locked([] { return g_warnings; });
    QCOMPARE(seen.size(), times);
    for (const QString& text : seen)
        QVERIFY2(text.contains(warning), qPrintable(seen.join(" | ")));
}

void tst_client_guards::serialOpenIgnoresCarrier_data()
{
    QTest::addColumn<bool>("clocal");
    QTest::newRow("CLOCAL clear") << false;
    QTest::newRow("CLOCAL set") << true;
}

// On a line without CLOCAL a blocking open waits for carrier detect. The port
// opens (and reopens) without waiting, and its reads block again, up to the
// read timer.
void tst_client_guards::serialOpenIgnoresCarrier()
{
    QFETCH(bool, clocal);

    MasterPty pty;
    const int line = ::open(qPrintable(pty.line), O_RDWR | O_NOCTTY | O_NONBLOCK);
    QVERIFY(line >= 0);
    termios attributes {};
    QCOMPARE(tcgetattr(line, &attributes), 0);
    attributes.c_cflag = clocal ? (attributes.c_cflag | CLOCAL) : (attributes.c_cflag & ~tcflag_t(CLOCAL));
    SerialPort port;
    for (const bool reopen : {false, true}) {
        port.close();
        QCOMPARE(tcsetattr(line, TCSANOW, &attributes), 0);
        QElapsedTimer clock;
        clock.start();
        QVERIFY(reopen ? port.ReOpen() : port.CommOpen(pty.line, "9600,n,8,1", 200));
        QVERIFY(clock.elapsed() < 5000);
        termios now {};
        QCOMPARE(tcgetattr(line, &now), 0);
        QVERIFY(now.c_cflag & CLOCAL);
        char buffer[8];
        QCOMPARE(port.readData(buffer, sizeof buffer), qint64(0));   // waited out the timer: blocking again
        QCOMPARE(::write(pty.master, "\x01\x03", 2), ssize_t(2));
        QCOMPARE(port.readData(buffer, sizeof buffer), qint64(2));
    }
    ::close(line);
}

QTEST_GUILESS_MAIN(tst_client_guards)
#include "tst_client_guards.moc"
