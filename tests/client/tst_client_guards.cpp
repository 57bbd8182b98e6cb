// A host misusing a running collector, and a serial open that must not wait for carrier detect.

#include "TestRig.h"
#include "PortManage.h"
#include "SerialPort.h"

#include <QtTest>

#include <unistd.h>

namespace {

enum Misuse { DeleteRunning, PollRunning, LoadConfigRunning, SetPortRunning };

const QString kUnit = QStringLiteral("ups-g");
constexpr int kConfiguredAddress = 7;

} // namespace

class tst_client_guards : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(m_driver.ok());
        QVERIFY(!m_pty.path.isEmpty());
        // This program runs from a folder of its own, so the dev.ini is its own.
        QVERIFY(QDir().mkpath(appDbDir()));
        QVERIFY(writeFile(appDbDir() + "/dev.ini",
                          QString("[%1]\nportName=%2\naddr=%3\n").arg(kUnit, m_pty.path).arg(kConfiguredAddress).toUtf8()));
    }

    void misuseWarnsOnce_data()
    {
        QTest::addColumn<int>("misuse");
        QTest::addColumn<int>("times");
        QTest::addColumn<QString>("warning");
        QTest::newRow("deleted while running") << int(DeleteRunning) << 1 << "deleted while its thread runs";
        QTest::newRow("poll beside the thread") << int(PollRunning) << 3 << "poll() while";
        QTest::newRow("loadConfig after start") << int(LoadConfigRunning) << 2 << "loadConfig() while";
        QTest::newRow("setPort after start") << int(SetPortRunning) << 1 << "setPort() while";
    }

    // No crash or sanitizer report, one warning per misuse, any change made by the collector's thread.
    void misuseWarnsOnce()
    {
        QFETCH(int, misuse);
        QFETCH(int, times);
        QFETCH(QString, warning);

        m_driver.reset();
        auto* client = new vek5Client;
        client->m_devName = kUnit;
        client->m_portHandle = &m_manager;
        client->m_portName = m_pty.path;
        EventLog log;
        log.attach(client);
        const auto dataEvents = [&log] { return log.times(2007).size(); };
        client->start();
        QTRY_VERIFY_WITH_TIMEOUT(dataEvents() >= 2, 10000);

        MessageCapture capture;
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
            QTRY_COMPARE_WITH_TIMEOUT(log.events().last().record.value("port").toString(), otherPort, 10000);
        if (client != nullptr) {
            const int before = dataEvents();
            QTRY_VERIFY_WITH_TIMEOUT(dataEvents() > before, 10000);   // cycles go on
            client->quit();
            QVERIFY(client->wait(10000));
            delete client;
        }
        for (const EventLog::Event& e : log.events())
            QVERIFY(e.thread != QThread::currentThread());
        const QStringList seen = MessageCapture::lines();
        QVERIFY2(seen.filter(warning).size() == times, qPrintable(seen.join(" | ")));
    }

    void serialOpenIgnoresCarrier_data()
    {
        QTest::addColumn<bool>("clocal");
        QTest::newRow("CLOCAL clear") << false;
        QTest::newRow("CLOCAL set") << true;
    }

    // Without CLOCAL a blocking open waits for carrier detect: the port (re)opens without waiting, and
    // its reads block again, up to the read timer.
    void serialOpenIgnoresCarrier()
    {
        QFETCH(bool, clocal);

        Pty pty;
        termios attributes = pty.attributes();
        attributes.c_cflag = clocal ? (attributes.c_cflag | CLOCAL) : (attributes.c_cflag & ~tcflag_t(CLOCAL));
        SerialPort port;
        for (const bool reopen : {false, true}) {
            port.close();
            QCOMPARE(tcsetattr(pty.slave, TCSANOW, &attributes), 0);
            QElapsedTimer clock;
            clock.start();
            QVERIFY(reopen ? port.ReOpen() : port.CommOpen(pty.path, "9600,n,8,1", 200));
            QVERIFY(clock.elapsed() < 5000);
            QVERIFY(pty.attributes().c_cflag & CLOCAL);
            char buffer[8];
            QCOMPARE(port.readData(buffer, sizeof buffer), qint64(0));   // waited out the timer: blocking again
            QCOMPARE(::write(pty.master, "\x01\x03", 2), ssize_t(2));
            QCOMPARE(port.readData(buffer, sizeof buffer), qint64(2));
        }
    }
private:
    ScriptDriver m_driver;
    PortManage m_manager;
    Pty m_pty;
};

QTEST_GUILESS_MAIN(tst_client_guards)
#include "tst_client_guards.moc"
