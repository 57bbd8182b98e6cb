// A host misusing the collector while its thread runs, and a serial line
// whose open must not wait for carrier detect.

#include "ClientRig.h"
#include "PortManage.h"
#include "SerialPort.h"

#include <QDir>
#include <QtTest>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <mutex>

namespace {

std::mutex g_warningLock;
QStringList g_warnings;

void recordWarning(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type != QtWarningMsg)
        return;
    std::lock_guard<std::mutex> lock(g_warningLock);
    g_warnings << text;
}

QStringList warnings()
{
    std::lock_guard<std::mutex> lock(g_warningLock);
    return g_warnings;
}

// A pty pair; the test keeps the master side, the collector opens the other.
struct Pty
{
    Pty() : master(posix_openpt(O_RDWR | O_NOCTTY))
    {
        if (master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0)
            line = QString::fromLocal8Bit(ptsname(master));
    }
    ~Pty() { ::close(master); }
    const int master;
    QString line;
};

// What the collector emitted, recorded on the emitting thread.
struct Emitted
{
    std::mutex lock;
    int data = 0;
    int fromCaller = 0;   // events emitted on the test's own thread
    QString port;
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
    void cleanupTestCase();
    void misuseWarnsOnce_data();
    void misuseWarnsOnce();
    void serialOpenIgnoresCarrier_data();
    void serialOpenIgnoresCarrier();

private:
    ScriptDriver m_driver;
    PortManage m_manager;
    Pty m_pty;
    QtMessageHandler m_previousHandler = nullptr;
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
    m_previousHandler = qInstallMessageHandler(recordWarning);
}

void tst_client_guards::cleanupTestCase()
{
    qInstallMessageHandler(m_previousHandler);
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
    auto* client = new vek5Client;
    client->m_devName = kUnit;
    client->m_portHandle = &m_manager;
    client->m_portName = m_pty.line;
    Emitted emitted;
    const QThread* testThread = QThread::currentThread();
    connect(client, &CollectThread::postDEvent, client, [&emitted, testThread](int type, QMap<QString, QVariant> r) {
        std::lock_guard<std::mutex> lock(emitted.lock);
        emitted.data += type == 2007 ? 1 : 0;
        emitted.fromCaller += QThread::currentThread() == testThread ? 1 : 0;
        emitted.port = r.value("port").toString();
    }, Qt::DirectConnection);
    const auto dataEvents = [&emitted] { std::lock_guard<std::mutex> lock(emitted.lock); return emitted.data; };
    const auto fromCaller = [&emitted] { std::lock_guard<std::mutex> lock(emitted.lock); return emitted.fromCaller; };
    const auto lastPort = [&emitted] { std::lock_guard<std::mutex> lock(emitted.lock); return emitted.port; };
    client->start();
    QTRY_VERIFY_WITH_TIMEOUT(dataEvents() >= 2, 10000);
    {
        std::lock_guard<std::mutex> lock(g_warningLock);
        g_warnings.clear();
    }

    const QString otherPort = QDir::current().absoluteFilePath("ttyNone");
    for (int i = 0; i < times; ++i) {
        switch (misuse) {
        case DeleteRunning:
            delete client;
            client = nullptr;
            break;
        case PollRunning:
            client->poll();
            break;
        case LoadConfigRunning:
            client->loadConfig();
            break;
        case SetPortRunning:
            client->setPort(otherPort, "9600,n,8,1");
            break;
        }
    }
    if (misuse == LoadConfigRunning)
        QTRY_COMPARE_WITH_TIMEOUT(m_driver.lastAddress(), kConfiguredAddress, 10000);
    if (misuse == SetPortRunning)
        QTRY_COMPARE_WITH_TIMEOUT(lastPort(), otherPort, 10000);
    if (client != nullptr) {
        const int before = dataEvents();
        QTRY_VERIFY_WITH_TIMEOUT(dataEvents() > before, 10000);   // cycles go on
        client->quit();
        QVERIFY(client->wait(10000));
        delete client;
    }
    QCOMPARE(fromCaller(), 0);
    const QStringList seen = warnings();
    QCOMPARE(seen.size(), times);
    for (const QString& text : seen)
        QVERIFY2(text.contains(warning), qPrintable(seen.join(" | ")));
}

void tst_client_guards::serialOpenIgnoresCarrier_data()
{
    QTest::addColumn<bool>("clocal");
    QTest::addColumn<bool>("reopen");
    QTest::newRow("CLOCAL clear") << false << false;
    QTest::newRow("CLOCAL clear, reopened") << false << true;
    QTest::newRow("CLOCAL set") << true << false;
}

// On a line without CLOCAL a blocking open waits for carrier detect. The port
// opens without waiting, and its reads block again, up to the read timer.
void tst_client_guards::serialOpenIgnoresCarrier()
{
    QFETCH(bool, clocal);
    QFETCH(bool, reopen);

    Pty pty;
    const int line = ::open(qPrintable(pty.line), O_RDWR | O_NOCTTY | O_NONBLOCK);
    QVERIFY(line >= 0);
    termios attributes {};
    QCOMPARE(tcgetattr(line, &attributes), 0);
    attributes.c_cflag = clocal ? (attributes.c_cflag | CLOCAL) : (attributes.c_cflag & ~tcflag_t(CLOCAL));
    QCOMPARE(tcsetattr(line, TCSANOW, &attributes), 0);

    SerialPort port;
    QElapsedTimer clock;
    clock.start();
    QVERIFY(port.CommOpen(pty.line, "9600,n,8,1", 200));
    if (reopen) {
        port.close();
        QCOMPARE(tcsetattr(line, TCSANOW, &attributes), 0);
        QVERIFY(port.ReOpen());
    }
    QVERIFY(clock.elapsed() < 5000);
    QCOMPARE(tcgetattr(line, &attributes), 0);
    QVERIFY(attributes.c_cflag & CLOCAL);
    ::close(line);

    char buffer[8];
    QCOMPARE(port.readData(buffer, sizeof buffer), qint64(0));   // waited out the timer: blocking again
    QCOMPARE(::write(pty.master, "\x01\x03", 2), ssize_t(2));
    QCOMPARE(port.readData(buffer, sizeof buffer), qint64(2));
}

QTEST_GUILESS_MAIN(tst_client_guards)
#include "tst_client_guards.moc"
