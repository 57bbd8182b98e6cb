// The collector as a host runs it: the plugin loaded from its file, a
// collector made by create() with the host's port manager, configured through
// dev.ini and param.ini, polling the simulated unit on its own thread through
// the real driver library, over Modbus TCP and over a pty pair.

#include "CollectThread.h"
#include "PortManage.h"
#include "TestRig.h"

#include <QPluginLoader>
#include <QScopeGuard>
#include <QSettings>
#include <QStandardPaths>
#include <QtTest>

using Record = QMap<QString, QVariant>;
using DataMap = QMap<int, QVariant>;
using Event = EventLog::Event;

namespace {

constexpr int kUnit = 3;            // not the default 1: the address must come from dev.ini
constexpr int kRetries = 2;
constexpr int kFault = 325;         // alarm index raised and cleared by the scenario
constexpr int kSettingPoint = 3017; // battery blocks

} // namespace

class tst_client_endtoend : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void session_data();
    void session();

private:
    CollectThread* m_factory = nullptr;
    AppConfig m_config;
    QPluginLoader m_loader{VEK5_PLUGIN_PATH};
};

void tst_client_endtoend::initTestCase()
{
    m_factory = qobject_cast<CollectThread*>(m_loader.instance());
    QVERIFY2(m_factory, qPrintable(m_loader.errorString()));
    AppConfig::write("param.ini", {{"Language", 0}});
    // Every new collector reads the code map from the working directory.
    QVERIFY(QDir().mkpath("PVMX/drovaPanel/db"));
    QVERIFY(writeFile("PVMX/drovaPanel/db/historycodemap.csv",
                      QByteArray::number(kFault) + ",rectifier fan,Rectifier fan failure\n"));
}

void tst_client_endtoend::session_data()
{
    QTest::addColumn<bool>("tcp");
    QTest::addColumn<int>("firstAnswerSec");   // when the first cycle can answer

    // Over TCP every connection attempt waits 5 s first.
    QTest::newRow("modbus tcp") << true << 5;
    QTest::newRow("rtu over pty") << false << 0;
}

// One unit's life: first contact, its values, a fault that comes and goes,
// and the history download. Silences and broken answers: tst_faults;
// settings and commands that take effect: tst_nut_clients (upsrw, upscmd).
void tst_client_endtoend::session()
{
    QFETCH(bool, tcp);
    QFETCH(int, firstAnswerSec);

    const int faultOn = firstAnswerSec + 4;
    const QByteArray scenario = QString("at 0 load 45\n"
                                        "at %1 fault %2 on\n"
                                        "at %3 fault %2 off\n")
                                        .arg(faultOn).arg(kFault).arg(faultOn + 3)
                                        .toUtf8();
    const QStringList simArgs{"--scenario", writeScenario(tcp ? "session-tcp" : "session-rtu", scenario)};

    SimProcess sim;
    PtyPair pty;
    const QString name = tcp ? "e2e-tcp" : "e2e-rtu";
    QVariantMap devGroup {{name + "/addr", kUnit}, {name + "/retries", kRetries}, {name + "/interval", 1}};
    QString portName;
    if (tcp) {
        QVERIFY(sim.start(simArgs + QStringList{"--unit", QString::number(kUnit)}));
        devGroup.insert({{name + "/commType", 1}, {name + "/ipAddr", "127.0.0.1"}, {name + "/port", sim.port()},
                         {name + "/portName", "COM9"}});
        portName = "COM9";
    } else {
        if (QStandardPaths::findExecutable("socat").isEmpty())
            QSKIP("socat is not installed");
        QVERIFY(pty.start("ttyE2E0", "ttyE2E1"));
        // The port manager takes the line settings from serial.ini in the working directory.
        QSettings("serial.ini", QSettings::IniFormat).setValue(pty.a + "/param", "9600,n,8,1");
        QVERIFY(sim.start(simArgs + QStringList{"--no-tcp", "--rtu", pty.b + ",9600,N,8,1", "--unit", QString::number(kUnit)}));
        devGroup.insert({{name + "/commType", 0}, {name + "/portName", pty.a}});
        portName = pty.a;
    }
    // Made, configured and started the way a host does it.
    AppConfig::write("dev.ini", devGroup);
    const std::unique_ptr<CollectThread> collector(m_factory->create(PortManage::instance()));
    QVERIFY(collector);
    collector->m_devName = name;
    collector->loadConfig();
    EventLog log;
    log.attach(collector.get());
    collector->start();
    const auto stop = qScopeGuard([&collector] {
        collector->quit();
        collector->wait(60000);
    });

    // First contact: restored, then the summary naming the unit and its port.
    QVERIFY2(log.waitType(0, 1040, (firstAnswerSec + 30) * 1000) == 0, "no 1040");
    QVERIFY(log.waitType(0, 2007, 15000) == 2);
    QCOMPARE(log.events().at(1).record.value("desc").toString(), name);
    QCOMPARE(log.events().at(1).record.value("port").toString(), portName);

    // The unit's values as the simulator keeps them.
    const int firstData = log.waitType(0, 2007, 0);
    const DataMap data = log.events().at(firstData).data();
    QCOMPARE(data.value(3002).toInt(), kUnit);          // the unit's own address setting
    QCOMPARE(data.value(kSettingPoint).toInt(), 40);    // factory battery blocks
    QCOMPARE(data.value(2000 + kFault).toInt(), 0);
    QCOMPARE(data.value(kSettingPoint).type(), QVariant::Type(QMetaType::Float));
    // The information map is refreshed after the data record goes out: the
    // next cycle's record follows the refresh.
    QVERIFY(log.waitType(firstData + 1, 2007, 15000) > firstData);
    {
        QMutexLocker locker(&collector->m_infoLock);
        const Record& info = collector->m_upsInfo;
        QCOMPARE(info.value("upsAddr").toString(), QString::number(kUnit));
        QCOMPARE(info.value("portInfo").toString(),
                 tcp ? QString("tcp:127.0.0.1:%1").arg(sim.port()) : pty.a + "-9600,n,8,1");
        QCOMPARE(info.value(QString::number(kSettingPoint)).toInt(), 40);
    }

    // The fault appears and clears (the order of the events around it:
    // tst_client's alarm table).
    const int appeared = log.waitFor(0, [](const Event& e) {
        return e.type == 2006 && e.record.value("alarmId").toInt() == kFault;
    }, 30000);
    QVERIFY2(appeared >= 0, "fault not reported");
    QCOMPARE(log.events().at(appeared).record.value("alarmState").toInt(), 1);
    QCOMPARE(log.events().at(appeared).record.value("name").toString(), name);
    const int alarms = collector->getEventLogDesc().size() / 2;
    const int cleared = log.waitFor(appeared, [alarms](const Event& e) {
        return e.type == 2006 && e.record.value("alarmId").toInt() == alarms + kFault;
    }, 20000);
    QVERIFY2(cleared >= 0, "fault clearing not reported");
    QCOMPARE(log.events().at(cleared).record.value("alarmState").toInt(), 0);

    // History download: the unit's records become the CSV rows, one for
    // each alarm change the collector reported, in the code map's words.
    QFile::remove("export.csv");
    const int beforeExport = log.events().size();
    collector->control(1045, "export.csv");
    const int done = log.waitType(beforeExport, 1042, 20000);
    QVERIFY2(done >= 0, "no 1042");
    const Record result = log.events().at(done).record;
    QCOMPARE(result.value("result").toInt(), 1);
    QCOMPARE(result.value("controlId").toInt(), 1045);
    const QString csv = QString::fromLocal8Bit(readFile("export.csv"));
    int changes = 0;
    for (const Event& e : log.events())
        changes += e.type == 2006 ? 1 : 0;
    QCOMPARE(csv.count('\n') - 1, changes);
    for (const char* status : {"Appear", "Disappear"}) {
        const QString row = QString("\n%1,Rectifier fan failure,%2,\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d,\n");
        QVERIFY2(QRegularExpression(row.arg(kFault).arg(status)).match(csv).hasMatch(), qPrintable(csv));
    }
}

QTEST_MAIN(tst_client_endtoend)
#include "tst_client_endtoend.moc"
