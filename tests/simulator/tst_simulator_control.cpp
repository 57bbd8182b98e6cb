// The simulator's control channel: its grammar on its own, then its answers
// and its effect on two units that the driver library polls over Modbus TCP.

#include "ControlCommand.h"
#include "SimulatorRig.h"
#include "driverapi.h"
#include "portaccess.h"

#include <QDir>
#include <QLibrary>
#include <QLocalSocket>
#include <QTcpSocket>
#include <QtTest>

using Points = QMap<int, float>;

class tst_simulator_control : public QObject
{
    Q_OBJECT

    SimulatorRig m_sim;
    QLibrary m_driver;
    QueryFunc m_query = nullptr;
    QLocalSocket m_control;
    QTcpSocket m_units[2];

    QString command(const QString& line);
    bool query(int unit, Points& points);

private slots:
    void initTestCase();
    void parse_data();
    void parse();
    void answers_data();
    void answers();
    void unitsApart_data();
    void unitsApart();
};

namespace {

void collect(int id, float value, void* context)
{
    static_cast<Points*>(context)->insert(id, value);
}

} // namespace

void tst_simulator_control::initTestCase()
{
    m_driver.setFileName(qEnvironmentVariable("VEK5_BIN_DIR") + "/libvek5m_10-30k");
    QVERIFY2(m_driver.load(), qPrintable(m_driver.errorString()));
    m_query = reinterpret_cast<QueryFunc>(m_driver.resolve("Query"));
    QVERIFY(m_query);
    const QString path = QDir::current().absoluteFilePath("control.sock");
    QVERIFY2(m_sim.start({"--tcp", "127.0.0.1:0", "--units", "2", "--control", path}, "control channel on"),
             qPrintable(m_sim.output));
    const int port = QRegularExpression("listening on 127\\.0\\.0\\.1:(\\d+)").match(m_sim.output).captured(1).toInt();
    for (QTcpSocket& socket : m_units) {
        socket.connectToHost("127.0.0.1", quint16(port));
        QVERIFY(socket.waitForConnected(5000));
    }
    m_control.connectToServer(path);
    QVERIFY(m_control.waitForConnected(5000));
}

QString tst_simulator_control::command(const QString& line)
{
    m_control.write(line.toUtf8() + "\n");
    QString answer;
    const QRegularExpression last("(^|\n)(OK|ERR)[^\n]*\n$");
    while (!last.match(answer).hasMatch() && m_control.waitForReadyRead(5000))
        answer += QString::fromUtf8(m_control.readAll());
    return answer.trimmed();
}

bool tst_simulator_control::query(int unit, Points& points)
{
    points.clear();
    PortHandle handle = {&m_units[unit - 1], TcpCommRead, TcpCommWrite};
    return m_query(&handle, unit, collect, &points) != 0;
}

void tst_simulator_control::parse_data()
{
    // A line, and what it must come to: the fields, or the reason it is refused.
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("parsed");
    QTest::newRow("mains off") << "mains 2 off" << "0 2 0 0 0 ";
    QTest::newRow("bypass on, all units") << "bypass all on" << "1 0 0 1 0 ";
    QTest::newRow("fault, extra blanks") << "  fault 3  511 on " << "2 3 511 1 0 ";
    QTest::newRow("load fraction") << "load 1 62.5" << "3 1 0 0 62.5 ";
    QTest::newRow("battery empty") << "battery all 0" << "4 0 0 0 0 ";
    QTest::newRow("silent") << "silent 247 5" << "5 247 0 0 5 ";
    QTest::newRow("garble ended") << "garble 1 0" << "6 1 0 0 0 ";
    QTest::newRow("scenario file") << "scenario 2 /tmp/x.scn" << "7 2 0 0 0 /tmp/x.scn";
    QTest::newRow("get") << "get all 4103" << "8 0 4103 0 0 ";
    QTest::newRow("list") << "list" << "9 0 0 0 0 ";
    QTest::newRow("empty") << "   " << "empty command";
    QTest::newRow("unknown verb") << "reboot 1" << "unknown command \"reboot\"";
    QTest::newRow("verb in capitals") << "MAINS 1 off" << "unknown command \"MAINS\"";
    QTest::newRow("missing state") << "mains 1" << "usage: mains UNIT on|off";
    QTest::newRow("list takes nothing") << "list 1" << "usage: list";
    QTest::newRow("unit zero") << "load 0 50" << "bad unit \"0\" (1-247 or all)";
    QTest::newRow("unit past 247") << "load 248 50" << "bad unit \"248\" (1-247 or all)";
    QTest::newRow("unit not a number") << "load x 50" << "bad unit \"x\" (1-247 or all)";
    QTest::newRow("bad switch") << "bypass 1 maybe" << "bad value \"maybe\"; usage: bypass UNIT on|off";
    QTest::newRow("alarm past 511") << "fault 1 512 on" << "bad alarm index \"512\" (0-511)";
    QTest::newRow("alarm fraction") << "fault 1 3.5 on" << "bad alarm index \"3.5\" (0-511)";
    QTest::newRow("fault state") << "fault 1 3 yes" << "bad value \"yes\"; usage: fault UNIT INDEX on|off";
    QTest::newRow("load past 200") << "load 1 201" << "bad value \"201\"; usage: load UNIT PERCENT";
    QTest::newRow("battery past 100") << "battery 1 101" << "bad value \"101\"; usage: battery UNIT PERCENT";
    QTest::newRow("negative seconds") << "silent 1 -1" << "bad value \"-1\"; usage: silent UNIT SECONDS";
    QTest::newRow("not finite") << "garble 1 inf" << "bad value \"inf\"; usage: garble UNIT SECONDS";
    QTest::newRow("number with tail") << "load 1 5x" << "bad value \"5x\"; usage: load UNIT PERCENT";
    QTest::newRow("point fraction") << "get 1 4103.5" << "bad value \"4103.5\"; usage: get UNIT POINT";
}

void tst_simulator_control::parse()
{
    QFETCH(QString, line);
    QFETCH(QString, parsed);
    ControlCommand c;
    std::string error;
    const bool ok = ControlCommand::parse(line.toStdString(), c, error);
    const QString got = ok ? QString("%1 %2 %3 %4 %5 %6").arg(c.verb).arg(c.unit).arg(c.index).arg(c.on)
                                     .arg(c.amount).arg(QString::fromStdString(c.name))
                           : QString::fromStdString(error);
    QCOMPARE(got, parsed);
}

void tst_simulator_control::answers_data()
{
    // Lines sent in turn, and the last answer.
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QString>("answer");
    QTest::newRow("each unit its own address") << QStringList{"get all 3002"} << "OK 1=1 2=2";
    QTest::newRow("fault read back") << QStringList{"fault 2 300 on", "get 2 2300"} << "OK 1";
    QTest::newRow("charge read back") << QStringList{"battery 1 30", "get 1 4111"} << "OK 30";
    QTest::newRow("text point") << QStringList{"get 1 4016"} << "OK 83";
    QTest::newRow("scenario at run time") << QStringList{"scenario 2 faults", "list"}
                                          << "unit 1: load on inverter, mains ok, bypass ok, buzzer on, alarms: none, "
                                             "scenario normal\nunit 2: load on inverter, mains ok, bypass ok, buzzer "
                                             "on, alarms: 2018 2019 2300, scenario faults\nOK";
    QTest::newRow("bad line") << QStringList{"mains 1 sideways"} << "ERR bad value \"sideways\"; usage: mains UNIT on|off";
    QTest::newRow("absent unit") << QStringList{"mains 3 off"} << "ERR no unit 3 (units 1-2)";
    QTest::newRow("absent point") << QStringList{"get 1 5000"} << "ERR no point 5000";
    QTest::newRow("absent scenario") << QStringList{"scenario all no-such"} << "ERR unknown scenario: no-such";
    QTest::newRow("overlong line") << QStringList{QString(600, 'x')} << "ERR line too long";
}

void tst_simulator_control::answers()
{
    QFETCH(QStringList, lines);
    QFETCH(QString, answer);
    QString last;
    for (const QString& line : lines)
        last = command(line);
    QCOMPARE(last, answer);
    Points points;
    QVERIFY(query(1, points));   // still serving
}

void tst_simulator_control::unitsApart_data()
{
    // A command, the unit it concerns, and the point value that unit must
    // come to (-1: it must stop answering, then answer again).
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("unit");
    QTest::addColumn<int>("point");
    QTest::addColumn<int>("value");
    QTest::newRow("mains off: on battery") << "mains 2 off" << 2 << 2021 << 1;
    QTest::newRow("silent, then back") << "silent 1 5" << 1 << 2021 << -1;
    QTest::newRow("garbled, then back") << "garble 2 3" << 2 << 2021 << -1;
}

void tst_simulator_control::unitsApart()
{
    QFETCH(QString, line);
    QFETCH(int, unit);
    QFETCH(int, point);
    QFETCH(int, value);
    const int other = 3 - unit;
    Points before;
    QVERIFY(query(other, before));
    QCOMPARE(command(line), QString("OK"));
    bool lost = false;
    bool reached = false;
    QElapsedTimer clock;
    clock.start();
    while (!reached && clock.elapsed() < 30000) {
        Points points;
        QVERIFY2(query(other, points), "the other unit stopped answering");
        QCOMPARE(points.value(point), before.value(point));
        const bool answered = query(unit, points);
        lost = lost || !answered;
        reached = value < 0 ? lost && answered : answered && points.value(point) == float(value);
    }
    QVERIFY(reached);
}

QTEST_GUILESS_MAIN(tst_simulator_control)
#include "tst_simulator_control.moc"
