// The driver library over a serial line: the simulator speaks Modbus RTU on
// one end of a socat pty pair, the plugin's SerialPort and CommRead/CommWrite
// entries sit on the other.

#include "DriverFixture.h"
#include "SerialPort.h"
#include "portaccess.h"
#include "registermap.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QStandardPaths>
#include <QtTest>

class tst_driver_serial : public QObject
{
    Q_OBJECT

    DriverLib m_driver;
    QProcess m_socat;
    SimProcess m_sim;
    SerialPort m_port;
    QString m_unitEnd;
    QString m_hostEnd;

    int query(int unit, PointSink& sink);
    int control(int unit, const char* text);

private slots:
    void initTestCase();
    void cleanupTestCase();
    void fullRead();
    void commands_data();
    void commands();
    void historyDownload();
    void silentUnit();
};

int tst_driver_serial::query(int unit, PointSink& sink)
{
    PortHandle handle = {&m_port, CommRead, CommWrite};
    m_port.Lock();
    const int result = m_driver.query(&handle, unit, PointSink::collect, &sink);
    m_port.UnLock();
    return result;
}

int tst_driver_serial::control(int unit, const char* text)
{
    PortHandle handle = {&m_port, CommRead, CommWrite};
    m_port.Lock();
    const int result = m_driver.control(&handle, unit, text, nullptr);
    m_port.UnLock();
    return result;
}

void tst_driver_serial::initTestCase()
{
    QVERIFY(m_driver.load());
    const QString socat = QStandardPaths::findExecutable("socat");
    if (socat.isEmpty())
        QSKIP("socat is not installed (scripts/install-deps.sh test installs it)");
    m_hostEnd = QDir::current().absoluteFilePath("ttyUPS0");
    m_unitEnd = QDir::current().absoluteFilePath("ttyUPS1");
    QFile::remove(m_hostEnd);
    QFile::remove(m_unitEnd);
    m_socat.start(socat, {"-d", "-d", "pty,raw,echo=0,link=" + m_hostEnd, "pty,raw,echo=0,link=" + m_unitEnd});
    QVERIFY(m_socat.waitForStarted(5000));
    QElapsedTimer timer;
    timer.start();
    while (!(QFile::exists(m_hostEnd) && QFile::exists(m_unitEnd)) && timer.elapsed() < 5000)
        QTest::qWait(20);
    QVERIFY(QFile::exists(m_hostEnd) && QFile::exists(m_unitEnd));

    const QString scenario = writeScenario("serial-fault", "at 0 fault 325 on\n");
    QVERIFY2(m_sim.start({"--no-tcp", "--rtu", m_unitEnd + ",9600,N,8,1", "--speed", "0", "--scenario", scenario}),
             qPrintable(m_sim.output()));
    QVERIFY(m_port.CommOpen(m_hostEnd, "9600,n,8,1", 200));
}

void tst_driver_serial::cleanupTestCase()
{
    m_port.close();
    m_sim.stop();
    if (m_socat.state() != QProcess::NotRunning) {
        m_socat.terminate();
        m_socat.waitForFinished(3000);
    }
}

void tst_driver_serial::fullRead()
{
    PointSink sink;
    QCOMPARE(query(1, sink), 1);
    int expected = 0;
    for (const regmap::Field& f : regmap::kFields)
        expected += f.points;
    QCOMPARE(sink.calls.size(), expected);
    QCOMPARE(sink.values.value(2325), 1.0f);
    QCOMPARE(sink.values.value(4132), 3.0f);
    QVERIFY(sink.values.value(4133) > 200 && sink.values.value(4133) < 260);
    QVERIFY(sink.values.value(4104) < -200);
    QCOMPARE(sink.text(4080, 16), QByteArray("UPS unit 1"));
}

void tst_driver_serial::commands_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<int>("result");
    QTest::addColumn<int>("point");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("buzzer off") << QByteArray("18,") << 0 << 4260 << QByteArray("0");
    QTest::newRow("transfer to bypass") << QByteArray("10,") << 0 << 4161 << QByteArray("1");
    QTest::newRow("transfer to inverter") << QByteArray("11,") << 0 << 4161 << QByteArray("2");
    QTest::newRow("setting") << QByteArray("3017,48") << 0 << 3017 << QByteArray("48");
    QTest::newRow("scaled setting") << QByteArray("3030,115") << 0 << 3030 << QByteArray("1.15");
    QTest::newRow("text setting") << QByteArray("3109,SN-0042") << 0 << 3109 << QByteArray("SN-0042");
    QTest::newRow("unknown code") << QByteArray("6,") << 1 << 4161 << QByteArray("2");
}

void tst_driver_serial::commands()
{
    QFETCH(QByteArray, command);
    QFETCH(int, result);
    QFETCH(int, point);
    QFETCH(QByteArray, expected);
    QCOMPARE(control(1, command.constData()), result);
    PointSink sink;
    QCOMPARE(query(1, sink), 1);
    const regmap::Field* field = regmap::findField(point);
    if (field->encoding == regmap::Number)
        QCOMPARE(sink.values.value(point), expected.toFloat());
    else
        QCOMPARE(sink.text(point, field->points), expected);
}

void tst_driver_serial::historyDownload()
{
    QFile::remove("history.txt");
    QCOMPARE(control(1, "20,"), 0);
    QFile file("history.txt");
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    QVERIFY(text.startsWith("325 1 ") || text.contains("\n325 1 "));
    for (const QByteArray& line : text.split('\n'))
        QVERIFY(line.isEmpty() || line.split(' ').size() == 8);
}

void tst_driver_serial::silentUnit()
{
    // The line serves unit 1 only: unit 9 never answers.
    PointSink sink;
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(query(9, sink), 0);
    QVERIFY2(timer.elapsed() < 1800, qPrintable(QString::number(timer.elapsed())));
    QVERIFY(sink.calls.isEmpty());
    // Unit 1 answers again. As a slave on a shared RS-485 line does, it takes
    // the frame after a request for another unit for that unit's answer, so
    // the first request after the silent one may go unanswered.
    PointSink again;
    QVERIFY(query(1, again) == 1 || query(1, again) == 1);
    QCOMPARE(again.values.value(3002), 1.0f);
}

QTEST_GUILESS_MAIN(tst_driver_serial)
#include "tst_driver_serial.moc"
