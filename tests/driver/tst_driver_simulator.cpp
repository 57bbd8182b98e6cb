// The simulator as a program: its command line, its scenarios as the driver
// sees them, its stop on signals, and an independent look at its registers
// with mbpoll.

#include "DriverFixture.h"
#include "portaccess.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTcpSocket>
#include <QtTest>

#include <signal.h>

using QMapIntFloat = QMap<int, float>;

class tst_driver_simulator : public QObject
{
    Q_OBJECT

    DriverLib m_driver;

private slots:
    void initTestCase();
    void badArguments_data();
    void badArguments();
    void portInUse();
    void stopsOnSignal_data();
    void stopsOnSignal();
    void scenarios_data();
    void scenarios();
    void commDropAndBack();
    void mbpollAgrees_data();
    void mbpollAgrees();
};

namespace {

struct Finished {
    int code = -1;
    QString output;
};

Finished runToEnd(const QStringList& arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(SimProcess::program(), arguments);
    Finished f;
    if (process.waitForFinished(5000) && process.exitStatus() == QProcess::NormalExit)
        f.code = process.exitCode();
    else
        process.kill();
    f.output = QString::fromLocal8Bit(process.readAll());
    return f;
}

} // namespace

void tst_driver_simulator::initTestCase()
{
    QVERIFY(m_driver.load());
}

void tst_driver_simulator::badArguments_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("message");
    QTest::newRow("unknown scenario") << QStringList{"--scenario", "no-such"} << 2 << "unknown scenario: no-such";
    QTest::newRow("missing scenario file") << QStringList{"--scenario", "/nonexistent/x.scn"} << 2
                                           << "cannot read scenario file";
    QTest::newRow("missing device path") << QStringList{"--no-tcp", "--rtu", "/nonexistent/ttyUPS9"} << 1
                                         << "no such serial device: /nonexistent/ttyUPS9";
    QTest::newRow("bad serial settings") << QStringList{"--rtu", "/dev/null,9600,Q"} << 2 << "bad value for --rtu";
    QTest::newRow("no units") << QStringList{"--units", "0"} << 2 << "bad value for --units";
    QTest::newRow("units past 247") << QStringList{"--unit", "200", "--units", "64"} << 2 << "unit addresses past 247";
    QTest::newRow("negative speed") << QStringList{"--speed", "-1"} << 2 << "bad value for --speed";
    QTest::newRow("bad TCP address") << QStringList{"--tcp", "127.0.0.1"} << 2 << "bad value for --tcp";
    QTest::newRow("unknown option") << QStringList{"--bogus"} << 2 << "unknown option --bogus";
    QTest::newRow("option without value") << QStringList{"--unit"} << 2 << "--unit needs a value";
    QTest::newRow("nothing to serve") << QStringList{"--no-tcp"} << 2 << "nothing to serve";
}

void tst_driver_simulator::badArguments()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, code);
    QFETCH(QString, message);
    const Finished f = runToEnd(arguments);
    QCOMPARE(f.code, code);
    QVERIFY2(f.output.contains(message), qPrintable(f.output));
}

void tst_driver_simulator::portInUse()
{
    SimProcess first;
    QVERIFY(first.start({}));
    const Finished second = runToEnd({"--tcp", QString("127.0.0.1:%1").arg(first.port())});
    QCOMPARE(second.code, 1);
    QVERIFY2(second.output.contains("port in use"), qPrintable(second.output));
}

void tst_driver_simulator::stopsOnSignal_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGINT") << int(SIGINT);
    QTest::newRow("SIGTERM") << int(SIGTERM);
}

void tst_driver_simulator::stopsOnSignal()
{
    QFETCH(int, signal);
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(SimProcess::program(), {"--tcp", "127.0.0.1:0"});
    QVERIFY(process.waitForStarted(5000));
    QString seen;
    QElapsedTimer timer;
    timer.start();
    while (!seen.contains("listening") && timer.elapsed() < 5000) {
        process.waitForReadyRead(100);
        seen += QString::fromLocal8Bit(process.readAll());
    }
    QVERIFY(seen.contains("listening"));
    QCOMPARE(::kill(pid_t(process.processId()), signal), 0);
    QVERIFY(process.waitForFinished(3000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 0);
    QVERIFY(QString::fromLocal8Bit(process.readAll()).contains("upssim: stopped"));
}

void tst_driver_simulator::scenarios_data()
{
    // Scenario, speed, and the point values that must all show within the
    // time limit (simulated time runs `speed` times faster than the clock).
    QTest::addColumn<QString>("scenario");
    QTest::addColumn<QString>("speed");
    QTest::addColumn<QMapIntFloat>("expected");
    QTest::addColumn<QString>("statusText");
    QTest::newRow("mains failure") << "mains-failure" << "40"
                                   << QMap<int, float>{{2021, 1}, {2368, 1}, {4250, 2}, {4219, 0}, {4101, 4}}
                                   << "mains failed";
    QTest::newRow("low battery to shutdown") << "low-battery" << "150"
                                             << QMap<int, float>{{2022, 1}, {2023, 1}, {4223, 0}, {4250, 0}}
                                             << "output off";
    QTest::newRow("overload to bypass") << "overload" << "40"
                                        << QMap<int, float>{{2141, 1}, {2140, 1}, {4161, 1}, {4218, 1}}
                                        << "load on bypass";
    QTest::newRow("manual bypass") << "bypass" << "40" << QMap<int, float>{{2020, 1}, {4250, 4}} << "load on bypass";
    QTest::newRow("faults") << "faults" << "40" << QMap<int, float>{{2325, 1}, {2019, 1}, {2018, 1}} << "2325";
}

void tst_driver_simulator::scenarios()
{
    QFETCH(QString, scenario);
    QFETCH(QString, speed);
    QFETCH(QMapIntFloat, expected);
    QFETCH(QString, statusText);
    SimProcess sim;
    QVERIFY(sim.start({"--scenario", scenario, "--speed", speed}));
    QTcpSocket socket;
    socket.connectToHost("127.0.0.1", quint16(sim.port()));
    QVERIFY(socket.waitForConnected(5000));
    PortHandle handle = {&socket, TcpCommRead, TcpCommWrite};
    QElapsedTimer timer;
    timer.start();
    QMap<int, float> last;
    bool reached = false;
    while (!reached && timer.elapsed() < 8000) {
        PointSink sink;
        if (m_driver.query(&handle, 1, PointSink::collect, &sink) == 0)
            continue;
        last = sink.values;
        reached = true;
        for (auto it = expected.cbegin(); it != expected.cend(); ++it)
            reached = reached && sink.values.value(it.key()) == it.value();
        QTest::qWait(50);
    }
    QString seen;
    for (auto it = expected.cbegin(); it != expected.cend(); ++it)
        seen += QString(" %1=%2").arg(it.key()).arg(last.value(it.key()));
    QVERIFY2(reached, qPrintable(seen));
    QVERIFY2(sim.output().contains(statusText), qPrintable(sim.output()));
}

void tst_driver_simulator::commDropAndBack()
{
    SimProcess sim;
    QVERIFY(sim.start({"--scenario", "comm-drop", "--speed", "20"}));
    QTcpSocket socket;
    socket.connectToHost("127.0.0.1", quint16(sim.port()));
    QVERIFY(socket.waitForConnected(5000));
    PortHandle handle = {&socket, TcpCommRead, TcpCommWrite};
    // Answers, then stops answering (15 s simulated), then answers again (35 s).
    QList<int> results;
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 6000) {
        PointSink sink;
        const int r = m_driver.query(&handle, 1, PointSink::collect, &sink) != 0 ? 1 : 0;
        if (results.isEmpty() || results.last() != r)
            results << r;
        if (results.size() == 3)
            break;
    }
    QCOMPARE(results, (QList<int>{1, 0, 1}));
    QVERIFY(sim.output().contains("not answering"));
}

void tst_driver_simulator::mbpollAgrees_data()
{
    // Documented registers: mbpoll data type, PDU address, divisor, point.
    QTest::addColumn<QString>("type");
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("divisor");
    QTest::addColumn<int>("point");
    QTest::newRow("alarm 325 (discrete input)") << "1" << 325 << 1 << 2325;
    QTest::newRow("alarm 21 (discrete input)") << "1" << 21 << 1 << 2021;
    QTest::newRow("input phase count") << "3" << 110 << 1 << 4132;
    QTest::newRow("input voltage S") << "3" << 112 << 10 << 4134;
    QTest::newRow("output frequency R") << "3" << 131 << 100 << 4169;
    QTest::newRow("battery negative current") << "3" << 104 << 10 << 4106;
    QTest::newRow("battery negative voltage") << "3" << 102 << 10 << 4104;
    QTest::newRow("inverter temperature") << "3" << 173 << 10 << 4242;
    QTest::newRow("flow output on") << "3" << 168 << 1 << 4223;
    QTest::newRow("battery warranty days") << "3" << 183 << 1 << 4274;
    QTest::newRow("firmware version") << "3" << 33 << 1 << 4098;
    QTest::newRow("system work mode") << "4" << 0 << 1 << 3000;
    QTest::newRow("battery AH") << "4" << 18 << 1 << 3018;
    QTest::newRow("battery voltage low coefficient") << "4" << 30 << 100 << 3030;
    QTest::newRow("frequency slew rate") << "4" << 73 << 10 << 3073;
    QTest::newRow("communication address") << "4" << 74 << 1 << 3074;
    QTest::newRow("COM_A baud rate") << "4" << 101 << 1 << 3125;
}

void tst_driver_simulator::mbpollAgrees()
{
    QFETCH(QString, type);
    QFETCH(int, address);
    QFETCH(int, divisor);
    QFETCH(int, point);
    const QString mbpoll = QStandardPaths::findExecutable("mbpoll");
    if (mbpoll.isEmpty())
        QSKIP("mbpoll is not installed (scripts/install-deps.sh test installs it)");
    SimProcess sim;
    const QString scenario = writeScenario("mbpoll-fault", "at 0 fault 325 on\n");
    QVERIFY(sim.start({"--speed", "0", "--scenario", scenario}));

    QTcpSocket socket;
    socket.connectToHost("127.0.0.1", quint16(sim.port()));
    QVERIFY(socket.waitForConnected(5000));
    PortHandle handle = {&socket, TcpCommRead, TcpCommWrite};
    PointSink sink;
    QVERIFY(m_driver.query(&handle, 1, PointSink::collect, &sink) != 0);

    QProcess poll;
    poll.start(mbpoll, {"-m", "tcp", "-p", QString::number(sim.port()), "-a", "1", "-t", type, "-0", "-r",
                        QString::number(address), "-c", "1", "-1", "127.0.0.1"});
    QVERIFY(poll.waitForFinished(10000));
    const QString out = QString::fromLocal8Bit(poll.readAllStandardOutput());
    const QRegularExpressionMatch m = QRegularExpression(QString("\\[%1\\]:\\s+(-?\\d+)").arg(address)).match(out);
    QVERIFY2(m.hasMatch(), qPrintable(out));
    int raw = m.captured(1).toInt();
    if (raw > 32767)
        raw -= 65536;   // registers carry signed values
    QCOMPARE(sink.values.value(point), float(raw) / float(divisor));
}

QTEST_GUILESS_MAIN(tst_driver_simulator)
#include "tst_driver_simulator.moc"
