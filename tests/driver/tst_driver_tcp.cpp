// The driver library against the simulator over Modbus TCP, through the
// plugin's own TcpCommRead/TcpCommWrite entries. The simulator runs frozen
// (--speed 0) so that the driver's values can be compared with an independent
// libmodbus read of the same registers.

#include "DriverFixture.h"
#include "portaccess.h"
#include "registermap.h"

#include <modbus/modbus.h>

#include <QElapsedTimer>
#include <QFile>
#include <QTcpSocket>
#include <QtTest>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace {

constexpr int kUnits = 64;
constexpr int kHistoryUnit = 40;

} // namespace

class tst_driver_tcp : public QObject
{
    Q_OBJECT

private:
    DriverLib m_driver;
    SimProcess m_sim;
    QTcpSocket m_socket;

    bool query(int unit, PointSink& sink, QTcpSocket* socket = nullptr);
    int control(int unit, const char* text);
    // Registers (or bits) read with libmodbus, as a second opinion.
    std::vector<int> readRaw(int unit, int function, int address, int count);

private slots:
    void initTestCase();
    void cleanupTestCase();
    void everyPointOnce();
    void valueAndScale_data();
    void valueAndScale();
    void texts_data();
    void texts();
    void commands_data();
    void commands();
    void settings_data();
    void settings();
    void historyDownload();
    void sixtyFourUnits();
    void silentUnit();
    void concurrentCollectors();
};

bool tst_driver_tcp::query(int unit, PointSink& sink, QTcpSocket* socket)
{
    QTcpSocket* s = socket ? socket : &m_socket;
    PortHandle handle = {s, TcpCommRead, TcpCommWrite};
    return m_driver.query(&handle, unit, PointSink::collect, &sink) != 0;
}

int tst_driver_tcp::control(int unit, const char* text)
{
    PortHandle handle = {&m_socket, TcpCommRead, TcpCommWrite};
    return m_driver.control(&handle, unit, text, nullptr);
}

std::vector<int> tst_driver_tcp::readRaw(int unit, int function, int address, int count)
{
    std::vector<int> out;
    modbus_t* ctx = modbus_new_tcp("127.0.0.1", m_sim.port());
    if (ctx == nullptr)
        return out;
    modbus_set_slave(ctx, unit);
    if (modbus_connect(ctx) == 0) {
        std::vector<uint16_t> regs(static_cast<size_t>(count));
        std::vector<uint8_t> bits(static_cast<size_t>(count));
        int n = -1;
        if (function == 2)
            n = modbus_read_input_bits(ctx, address, count, bits.data());
        else if (function == 3)
            n = modbus_read_registers(ctx, address, count, regs.data());
        else if (function == 4)
            n = modbus_read_input_registers(ctx, address, count, regs.data());
        for (int i = 0; i < n; ++i)
            out.push_back(function == 2 ? bits[size_t(i)] : regs[size_t(i)]);
        modbus_close(ctx);
    }
    modbus_free(ctx);
    return out;
}

void tst_driver_tcp::initTestCase()
{
    QVERIFY2(m_driver.load(), "driver library did not load");
    const QString scenario = writeScenario("tcp-fault", "at 0 fault 325 on\n");
    QVERIFY2(m_sim.start({"--units", QString::number(kUnits), "--speed", "0", "--scenario", scenario}),
             qPrintable(m_sim.output()));
    m_socket.connectToHost("127.0.0.1", quint16(m_sim.port()));
    QVERIFY(m_socket.waitForConnected(5000));
}

void tst_driver_tcp::cleanupTestCase()
{
    m_socket.disconnectFromHost();
    m_sim.stop();
}

void tst_driver_tcp::everyPointOnce()
{
    PointSink sink;
    QVERIFY(query(1, sink));
    int expected = 0;
    for (const regmap::Field& f : regmap::kFields) {
        for (int p = f.point; p < f.point + f.points; ++p)
            QCOMPARE(sink.calls.value(p), 1);
        expected += f.points;
    }
    QCOMPARE(sink.calls.size(), expected);
}

void tst_driver_tcp::valueAndScale_data()
{
    // Addresses and divisors as documented in docs/register-map.md; the range
    // is what a healthy 20 kVA unit at 45 % load shows.
    QTest::addColumn<int>("point");
    QTest::addColumn<int>("function");
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("divisor");
    QTest::addColumn<double>("low");
    QTest::addColumn<double>("high");
    QTest::newRow("input voltage R") << 4133 << 4 << 111 << 10 << 220.0 << 240.0;
    QTest::newRow("input frequency T") << 4141 << 4 << 119 << 100 << 49.9 << 50.1;
    QTest::newRow("input PF S") << 4143 << 4 << 121 << 100 << 0.9 << 1.0;
    QTest::newRow("output voltage T") << 4165 << 4 << 127 << 10 << 225.0 << 235.0;
    QTest::newRow("output active power S") << 4179 << 4 << 141 << 10 << 2.0 << 3.5;
    QTest::newRow("output load R") << 4184 << 4 << 146 << 10 << 40.0 << 50.0;
    QTest::newRow("battery positive voltage") << 4103 << 4 << 101 << 10 << 200.0 << 300.0;
    QTest::newRow("battery negative voltage") << 4104 << 4 << 102 << 10 << -300.0 << -200.0;
    QTest::newRow("battery temperature") << 4107 << 4 << 105 << 10 << 20.0 << 30.0;
    QTest::newRow("remaining capacity") << 4111 << 4 << 109 << 1 << 100.0 << 100.0;
    QTest::newRow("bypass frequency R") << 4198 << 4 << 157 << 100 << 49.9 << 50.1;
    QTest::newRow("bypass status") << 4190 << 4 << 149 << 1 << 1.0 << 1.0;
    QTest::newRow("flow inverter to load") << 4222 << 4 << 167 << 1 << 1.0 << 1.0;
    QTest::newRow("flow bypass to load") << 4218 << 4 << 163 << 1 << 0.0 << 0.0;
    QTest::newRow("rated capacity") << 4243 << 4 << 174 << 1 << 20.0 << 20.0;
    QTest::newRow("work mode") << 4250 << 4 << 180 << 1 << 1.0 << 1.0;
    QTest::newRow("firmware version") << 4098 << 4 << 33 << 1 << 1.0 << 9999.0;
    QTest::newRow("UPS warranty days") << 4275 << 4 << 184 << 1 << 1.0 << 9999.0;
    QTest::newRow("frequency track limit") << 3004 << 3 << 4 << 10 << 0.5 << 5.0;
    QTest::newRow("battery numbers") << 3017 << 3 << 17 << 1 << 16.0 << 180.0;
    QTest::newRow("cell float voltage") << 3019 << 3 << 19 << 100 << 2.1 << 3.65;
    QTest::newRow("charge current limit") << 3023 << 3 << 23 << 100 << 0.5 << 12.0;
    QTest::newRow("COM_B baud rate") << 3126 << 3 << 102 << 1 << 0.0 << 4.0;
    QTest::newRow("alarm rectifier fan failure") << 2325 << 2 << 325 << 1 << 1.0 << 1.0;
    QTest::newRow("alarm battery powered") << 2021 << 2 << 21 << 1 << 0.0 << 0.0;
    QTest::newRow("status point input abnormal") << 2368 << 2 << 368 << 1 << 0.0 << 0.0;
}

void tst_driver_tcp::valueAndScale()
{
    QFETCH(int, point);
    QFETCH(int, function);
    QFETCH(int, address);
    QFETCH(int, divisor);
    QFETCH(double, low);
    QFETCH(double, high);
    PointSink sink;
    QVERIFY(query(1, sink));
    QVERIFY(sink.values.contains(point));
    const std::vector<int> raw = readRaw(1, function, address, 1);
    QCOMPARE(int(raw.size()), 1);
    const double expected = double(static_cast<short>(raw[0])) / divisor;
    const double value = sink.values.value(point);
    QVERIFY2(qAbs(value - expected) < 1e-4, qPrintable(QString("%1 vs %2").arg(value).arg(expected)));
    QVERIFY2(value >= low - 1e-4 && value <= high + 1e-4, qPrintable(QString::number(value)));
}

void tst_driver_tcp::texts_data()
{
    QTest::addColumn<int>("point");
    QTest::addColumn<int>("points");
    QTest::addColumn<int>("function");
    QTest::addColumn<int>("address");
    QTest::newRow("manufacturer") << 4000 << 16 << 4 << 0;
    QTest::newRow("model") << 4016 << 16 << 4 << 8;
    QTest::newRow("serial number") << 4064 << 16 << 4 << 16;
    QTest::newRow("device name") << 4080 << 16 << 4 << 24;
    QTest::newRow("rectifier version") << 4251 << 4 << 4 << 34;
    QTest::newRow("inverter version") << 4255 << 4 << 4 << 36;
    QTest::newRow("device type") << 3077 << 10 << 3 << 77;
    QTest::newRow("company name") << 3087 << 16 << 3 << 82;
    QTest::newRow("system time") << 3103 << 6 << 3 << 90;
    QTest::newRow("company phone") << 3150 << 14 << 3 << 103;
}

void tst_driver_tcp::texts()
{
    QFETCH(int, point);
    QFETCH(int, points);
    QFETCH(int, function);
    QFETCH(int, address);
    PointSink sink;
    QVERIFY(query(1, sink));
    const std::vector<int> raw = readRaw(1, function, address, (points + 1) / 2);
    QCOMPARE(int(raw.size()), (points + 1) / 2);
    int nonZero = 0;
    for (int i = 0; i < points; ++i) {
        const int reg = raw[size_t(i / 2)];
        const int byte = i % 2 == 0 ? reg >> 8 : reg & 0xFF;
        QCOMPARE(int(sink.values.value(point + i)), byte);
        nonZero += byte != 0;
    }
    QVERIFY(nonZero > 0);
}

void tst_driver_tcp::commands_data()
{
    // Each row works on a unit of its own, fresh from the factory.
    QTest::addColumn<int>("unit");
    QTest::addColumn<QByteArray>("command");   // steps separated by ";", all but the last acknowledged
    QTest::addColumn<int>("result");
    QTest::addColumn<int>("point");
    QTest::addColumn<double>("before");
    QTest::addColumn<double>("after");
    QTest::newRow("buzzer off") << 2 << QByteArray("18,") << 0 << 4260 << 1.0 << 0.0;
    QTest::newRow("transfer to bypass") << 3 << QByteArray("10,") << 0 << 4161 << 2.0 << 1.0;
    QTest::newRow("shutdown to bypass") << 4 << QByteArray("9,") << 0 << 4240 << 2.0 << 0.0;
    QTest::newRow("shutdown") << 5 << QByteArray("4,") << 0 << 4223 << 1.0 << 0.0;
    QTest::newRow("self-test") << 6 << QByteArray("0,") << 0 << 4259 << 0.0 << 1.0;
    QTest::newRow("discharge test of 10 min") << 7 << QByteArray("0,10") << 0 << 4259 << 0.0 << 1.0;
    QTest::newRow("discharge to low") << 8 << QByteArray("2,") << 0 << 4259 << 0.0 << 2.0;
    QTest::newRow("clear fault") << 9 << QByteArray("12,") << 0 << 2325 << 1.0 << 0.0;
    QTest::newRow("battery test moves load to battery") << 10 << QByteArray("0,") << 0 << 2021 << 0.0 << 1.0;
    QTest::newRow("buzzer on again") << 17 << QByteArray("18,;17,") << 0 << 4260 << 1.0 << 1.0;
    QTest::newRow("transfer back to inverter") << 18 << QByteArray("10,;11,") << 0 << 4161 << 2.0 << 2.0;
    QTest::newRow("start up after shutdown") << 19 << QByteArray("4,;7,") << 0 << 4223 << 1.0 << 1.0;
    QTest::newRow("cancel battery test") << 35 << QByteArray("0,;3,") << 0 << 4259 << 0.0 << 0.0;
    QTest::newRow("bad test duration") << 36 << QByteArray("0,ten") << 1 << 4259 << 0.0 << 0.0;
    QTest::newRow("unknown code refused by unit") << 11 << QByteArray("5,") << 1 << 4161 << 2.0 << 2.0;
    QTest::newRow("non-numeric argument") << 12 << QByteArray("17,abc") << 1 << 4260 << 1.0 << 1.0;
    QTest::newRow("no comma") << 13 << QByteArray("18") << 1 << 4260 << 1.0 << 1.0;
    QTest::newRow("empty text") << 14 << QByteArray("") << 1 << 4260 << 1.0 << 1.0;
    QTest::newRow("point the unit does not carry") << 15 << QByteArray("1,300") << 1 << 4260 << 1.0 << 1.0;
    QTest::newRow("read-only point") << 16 << QByteArray("4133,1") << 1 << 4260 << 1.0 << 1.0;
}

void tst_driver_tcp::commands()
{
    QFETCH(int, unit);
    QFETCH(QByteArray, command);
    QFETCH(int, result);
    QFETCH(int, point);
    QFETCH(double, before);
    QFETCH(double, after);
    PointSink first;
    QVERIFY(query(unit, first));
    QCOMPARE(double(first.values.value(point)), before);
    const QList<QByteArray> steps = command.split(';');
    for (int i = 0; i < steps.size() - 1; ++i)
        QCOMPARE(control(unit, steps[i].constData()), 0);
    QCOMPARE(control(unit, steps.last().constData()), result);
    PointSink second;
    QVERIFY(query(unit, second));
    QCOMPARE(double(second.values.value(point)), after);
}

void tst_driver_tcp::settings_data()
{
    QTest::addColumn<int>("unit");
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<int>("result");
    QTest::addColumn<int>("point");
    QTest::addColumn<QByteArray>("expected");   // number, or the bytes of a text
    QTest::newRow("battery numbers") << 20 << QByteArray("3017,48") << 0 << 3017 << QByteArray("48");
    QTest::newRow("cell float voltage x100") << 21 << QByteArray("3019,230") << 0 << 3019 << QByteArray("2.3");
    QTest::newRow("frequency track limit x10") << 22 << QByteArray("3004,35") << 0 << 3004 << QByteArray("3.5");
    QTest::newRow("negative rectification") << 23 << QByteArray("3055,-15") << 0 << 3055 << QByteArray("-1.5");
    QTest::newRow("baud rate") << 24 << QByteArray("3125,4") << 0 << 3125 << QByteArray("4");
    QTest::newRow("company name text") << 25 << QByteArray("3087,ACME Power") << 0 << 3087 << QByteArray("ACME Power");
    QTest::newRow("company name with comma") << 26 << QByteArray("3087,A,B") << 0 << 3087 << QByteArray("A,B");
    QTest::newRow("phone number text") << 27 << QByteArray("3150,0123456789") << 0 << 3150 << QByteArray("0123456789");
    QTest::newRow("system time") << 28 << QByteArray("3103,24,05,06,12,30,00") << 0 << 3103
                                 << QByteArray("\x18\x05\x06\x0c\x1e", 5);
    QTest::newRow("text too long") << 29 << QByteArray("3150,012345678901234") << 1 << 3150
                                   << QByteArray("00000000000000");
    QTest::newRow("time with too few fields") << 30 << QByteArray("3103,24,05") << 1 << 3017 << QByteArray("40");
    QTest::newRow("time field out of range") << 31 << QByteArray("3103,24,05,06,12,30,900") << 1 << 3017
                                             << QByteArray("40");
    QTest::newRow("middle of a text") << 32 << QByteArray("3088,X") << 1 << 3087 << QByteArray("SimPower Ltd");
    QTest::newRow("value too large") << 33 << QByteArray("3017,99999") << 1 << 3017 << QByteArray("40");
    QTest::newRow("register not carried") << 34 << QByteArray("3009,1") << 1 << 3017 << QByteArray("40");
}

void tst_driver_tcp::settings()
{
    QFETCH(int, unit);
    QFETCH(QByteArray, command);
    QFETCH(int, result);
    QFETCH(int, point);
    QFETCH(QByteArray, expected);
    QCOMPARE(control(unit, command.constData()), result);
    PointSink sink;
    QVERIFY(query(unit, sink));
    const regmap::Field* field = regmap::findField(point);
    QVERIFY(field != nullptr);
    if (field->encoding == regmap::Number)
        QCOMPARE(sink.values.value(point), expected.toFloat());
    else
        QCOMPARE(sink.text(point, field->points), expected);
}

void tst_driver_tcp::historyDownload()
{
    QFile::remove("history.txt");
    PointSink sink;
    QVERIFY(query(kHistoryUnit, sink));
    QCOMPARE(control(kHistoryUnit, "20,export.csv"), 0);
    QFile file("history.txt");
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = file.readAll().split('\n');
    file.close();
    QSet<QString> events;
    int records = 0;
    for (const QByteArray& line : lines) {
        if (line.isEmpty())
            continue;
        const QList<QByteArray> fields = line.split(' ');
        QCOMPARE(fields.size(), 8);
        // The unit's clock is frozen, so every record carries its time.
        for (int i = 0; i < 6; ++i)
            QCOMPARE(fields[2 + i].toInt(), int(sink.values.value(3103 + i)));
        events.insert(QString("%1/%2").arg(fields[0].toInt()).arg(fields[1].toInt()));
        ++records;
    }
    QVERIFY(events.contains("325/1"));   // the scenario's fault
    QVERIFY(events.contains("19/1"));    // the minor alarm it raises
    QCOMPARE(records, events.size());

    QCOMPARE(control(kHistoryUnit, "13,"), 0);
    QCOMPARE(control(kHistoryUnit, "20,"), 0);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.size(), 0);
}

void tst_driver_tcp::sixtyFourUnits()
{
    std::vector<std::unique_ptr<QTcpSocket>> sockets;
    for (int unit = 1; unit <= kUnits; ++unit) {
        sockets.push_back(std::make_unique<QTcpSocket>());
        sockets.back()->connectToHost("127.0.0.1", quint16(m_sim.port()));
        QVERIFY(sockets.back()->waitForConnected(5000));
    }
    for (int unit = 1; unit <= kUnits; ++unit) {
        PointSink sink;
        QVERIFY2(query(unit, sink, sockets[size_t(unit - 1)].get()), qPrintable(QString::number(unit)));
        QCOMPARE(int(sink.values.value(3002)), unit);   // "Device address:"
        QCOMPARE(sink.text(4080, 16), QByteArray("UPS unit ") + QByteArray::number(unit));
    }
}

void tst_driver_tcp::silentUnit()
{
    SimProcess silent;
    const QString scenario = writeScenario("tcp-silent", "at 0 silence 100000\n");
    QVERIFY(silent.start({"--speed", "0", "--scenario", scenario}));
    QTcpSocket socket;
    socket.connectToHost("127.0.0.1", quint16(silent.port()));
    QVERIFY(socket.waitForConnected(5000));
    PortHandle handle = {&socket, TcpCommRead, TcpCommWrite};
    PointSink sink;
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(m_driver.query(&handle, 1, PointSink::collect, &sink), 0);
    const qint64 elapsed = timer.elapsed();
    QVERIFY2(elapsed < 1800, qPrintable(QString::number(elapsed)));   // one read timeout, not four
    QVERIFY(sink.calls.isEmpty());
}

void tst_driver_tcp::concurrentCollectors()
{
    // One collector thread per unit, as the plugin runs them, all in one
    // driver library instance at once.
    constexpr int kThreads = 4;
    constexpr int kRounds = 20;
    std::atomic<int> good{0};
    std::vector<std::thread> threads;
    const quint16 port = quint16(m_sim.port());
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([this, t, port, &good] {
            QTcpSocket socket;
            socket.connectToHost("127.0.0.1", port);
            if (!socket.waitForConnected(5000))
                return;
            PortHandle handle = {&socket, TcpCommRead, TcpCommWrite};
            const int unit = 50 + t;
            for (int i = 0; i < kRounds; ++i) {
                PointSink sink;
                if (m_driver.query(&handle, unit, PointSink::collect, &sink) != 0
                        && int(sink.values.value(3002)) == unit)
                    ++good;
            }
        });
    }
    for (std::thread& t : threads)
        t.join();
    QCOMPARE(good.load(), kThreads * kRounds);
}

QTEST_GUILESS_MAIN(tst_driver_tcp)
#include "tst_driver_tcp.moc"
