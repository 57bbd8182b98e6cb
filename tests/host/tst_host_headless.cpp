// upsmon-host in console mode, as a user runs it: start-up errors, and a
// bounded run against the simulator (communication, data-log rows, an alarm
// raised and cleared by a scenario, a command carried out, a silent unit,
// a clean stop on SIGTERM).

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QtTest>

#include <csignal>

namespace {

const char* const kHost = "upsmon-host";
const char* const kPlugin = "libvek5m_10-30k_Client.so";
const char* const kDriver = "libvek5m_10-30k.so";
const char* const kSim = "upssim";

QString binDir()
{
    return qEnvironmentVariable("VEK5_BIN_DIR");
}

struct RunResult
{
    int exitCode = -1;
    QList<QJsonObject> events;
    QString out;
    QString err;
};

} // namespace

class tst_host_headless : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void startupErrors_data();
    void startupErrors();
    void live_data();
    void live();
    void stopsOnSigterm();
    void cleanup();

private:
    bool hasPieces(const QStringList& files) const;
    // A private application directory: the host, plugin and driver copied
    // next to each other with their own configuration under it.
    void writeConfig(const QByteArray& param, const QByteArray& dev);
    bool startSimulator(const QString& scenario, int* port);
    RunResult runHost(const QStringList& args, int timeoutMs);

    QDir m_app;
    QProcess m_sim;
};

bool tst_host_headless::hasPieces(const QStringList& files) const
{
    for (const QString& f : files)
        if (!QFileInfo::exists(binDir() + '/' + f))
            return false;
    return true;
}

void tst_host_headless::initTestCase()
{
    QVERIFY2(!binDir().isEmpty(), "VEK5_BIN_DIR not set");
    if (!hasPieces({kHost}))
        QSKIP("upsmon-host is not built");
    m_app = QDir(QDir::current().absoluteFilePath("app"));
    m_app.removeRecursively();
    QVERIFY(QDir().mkpath(m_app.filePath("PVMX/drovaPanel/db")));
    for (const char* f : {kHost, kPlugin, kDriver})
        if (QFileInfo::exists(binDir() + '/' + f))
            QVERIFY(QFile::copy(binDir() + '/' + f, m_app.filePath(f)));
    QFile::setPermissions(m_app.filePath(kHost), QFile::permissions(binDir() + '/' + kHost));
}

void tst_host_headless::cleanup()
{
    if (m_sim.state() != QProcess::NotRunning) {
        m_sim.terminate();
        if (!m_sim.waitForFinished(5000))
            m_sim.kill();
        m_sim.waitForFinished(2000);
    }
}

void tst_host_headless::writeConfig(const QByteArray& param, const QByteArray& dev)
{
    const QString db = m_app.filePath("PVMX/drovaPanel/db/");
    for (const char* f : {"param.ini", "dev.ini", "historycodemap.csv"})
        QFile::remove(db + f);
    const QList<QPair<QString, QByteArray>> files{{"param.ini", param}, {"dev.ini", dev}};
    for (const auto& file : files) {
        if (file.second.isNull())
            continue;
        QFile f(db + file.first);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(file.second);
    }
}

bool tst_host_headless::startSimulator(const QString& scenario, int* port)
{
    m_sim.setProcessChannelMode(QProcess::MergedChannels);
    m_sim.start(binDir() + '/' + kSim, {"--tcp", "127.0.0.1:0", "--scenario", scenario});
    if (!m_sim.waitForStarted(5000))
        return false;
    static const QRegularExpression listening("listening on 127\\.0\\.0\\.1:(\\d+)");
    QByteArray seen;
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < 5000 && m_sim.state() == QProcess::Running) {
        m_sim.waitForReadyRead(200);
        seen += m_sim.readAll();
        const auto m = listening.match(QString::fromUtf8(seen));
        if (m.hasMatch()) {
            *port = m.captured(1).toInt();
            return true;
        }
    }
    qWarning() << "simulator output:" << seen;
    return false;
}

RunResult tst_host_headless::runHost(const QStringList& args, int timeoutMs)
{
    RunResult r;
    QProcess host;
    host.setWorkingDirectory(m_app.path());
    host.start(m_app.filePath(kHost), QStringList{"--headless", "--json"} + args);
    if (!host.waitForFinished(timeoutMs)) {
        host.kill();
        host.waitForFinished(2000);
        r.err = "host did not finish in time";
        return r;
    }
    r.exitCode = host.exitStatus() == QProcess::NormalExit ? host.exitCode() : -1;
    r.out = QString::fromUtf8(host.readAllStandardOutput());
    r.err = QString::fromUtf8(host.readAllStandardError());
    for (const QString& line : r.out.split('\n', Qt::SkipEmptyParts)) {
        const QJsonObject o = QJsonDocument::fromJson(line.toUtf8()).object();
        if (!o.isEmpty())
            r.events += o;
    }
    return r;
}

void tst_host_headless::startupErrors_data()
{
    QTest::addColumn<QByteArray>("param");
    QTest::addColumn<QByteArray>("dev");
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<bool>("needsPlugin");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");

    const QByteArray param("[host]\nunits=UPS1\n");
    const QByteArray dev("[UPS1]\ncommType=1\nipAddr=127.0.0.1\nport=1\n");
    QTest::newRow("bad argument") << param << dev << QStringList{"--level", "7"} << false << 2 << "--level";
    QTest::newRow("no param.ini") << QByteArray() << dev << QStringList{} << false << 1 << "param.ini does not exist";
    QTest::newRow("no dev.ini") << param << QByteArray() << QStringList{} << false << 1 << "dev.ini does not exist";
    QTest::newRow("no unit") << QByteArray("Language=0\n") << dev << QStringList{} << false << 1 << "units=";
    QTest::newRow("plugin missing") << param << dev << QStringList{"--plugin", "/nonexistent/p.so"}
                                    << false << 1 << "plugin /nonexistent/p.so not found";
    QTest::newRow("driver missing") << param << dev << QStringList{"--driver", "/nonexistent/d.so"}
                                    << true << 1 << "model driver library cannot be loaded";
    QTest::newRow("not a plugin") << param << dev
        << QStringList{"--plugin", "PVMX/drovaPanel/db/param.ini", "--driver", QString("./") + kDriver}
        << true << 1 << "is not a Qt plugin";
    QTest::newRow("metrics address") << param << dev << QStringList{"--metrics-listen", "localhost:9100"}
                                     << true << 1 << "metrics listen address needs ADDR:PORT";
}

void tst_host_headless::startupErrors()
{
    QFETCH(QByteArray, param);
    QFETCH(QByteArray, dev);
    QFETCH(QStringList, args);
    QFETCH(bool, needsPlugin);
    QFETCH(int, exitCode);
    QFETCH(QString, message);

    if (needsPlugin && !hasPieces({kPlugin, kDriver}))
        QSKIP("plugin or driver library not built");
    writeConfig(param, dev);
    const RunResult r = runHost(args + QStringList{"--duration", "5"}, 20000);
    QCOMPARE(r.exitCode, exitCode);
    QVERIFY2(r.err.contains(message), qPrintable(r.err));
    QVERIFY(r.events.isEmpty());
}

void tst_host_headless::live_data()
{
    QTest::addColumn<QByteArray>("scenario");  // the simulator's timeline, seconds from its start
    QTest::addColumn<int>("duration");
    QTest::addColumn<bool>("historyCommand");
    QTest::addColumn<QStringList>("expected");   // "kind:code:state" (-1: any) that must appear
    QTest::addColumn<int>("minRows");

    QTest::newRow("normal: communicates and logs")
        << QByteArray("at 0 load 45\n") << 10 << false << QStringList{"comm:-1:0"} << 3;
    // Alarm 325 appears (code 325) and clears (code 325 + 498) while the host
    // watches; the first answer takes a few seconds (port set-up, first query).
    QTest::newRow("alarm raised and cleared")
        << QByteArray("at 0 load 45\nat 7 fault 325 on\nat 11 fault 325 off\n") << 15 << false
        << QStringList{"comm:-1:0", "alarm:325:1", "notice:325:0", "alarm:823:0"} << 5;
    QTest::newRow("history download acknowledged")
        << QByteArray("at 0 load 45\nat 0 fault 325 on\n") << 9 << true
        << QStringList{"comm:-1:0", "alarm:325:1", "command:1045:1"} << 2;
}

void tst_host_headless::live()
{
    QFETCH(QByteArray, scenario);
    QFETCH(int, duration);
    QFETCH(bool, historyCommand);
    QFETCH(QStringList, expected);
    QFETCH(int, minRows);

    if (!hasPieces({kPlugin, kDriver, kSim}))
        QSKIP("plugin, driver library or simulator not built");
    const QString scn = QDir::current().absoluteFilePath("live.scn");
    QFile scnFile(scn);
    QVERIFY(scnFile.open(QIODevice::WriteOnly | QIODevice::Truncate));
    scnFile.write(scenario);
    scnFile.close();
    int port = 0;
    QVERIFY(startSimulator(scn, &port));
    writeConfig("[host]\nunits=SIM1\n",
                QString("[SIM1]\ncommType=1\nipAddr=127.0.0.1\nport=%1\naddr=1\ninterval=1\nretries=3\n")
                    .arg(port).toUtf8());
    const QString dataLog = m_app.filePath("datalog.csv");
    const QString history = m_app.filePath("history-export.csv");
    QFile::remove(dataLog);
    QFile::remove(history);
    QStringList args{"--duration", QString::number(duration), "--log-interval", "1", "--datalog", dataLog};
    if (historyCommand)
        args << "--command" << "1045:" + history;

    const RunResult r = runHost(args, (duration + 30) * 1000);
    QVERIFY2(r.exitCode == 0, qPrintable(r.err + r.out));

    for (const QString& want : expected) {
        const QStringList p = want.split(':');
        bool found = false;
        for (const QJsonObject& e : r.events) {
            found = e.value("kind").toString() == p[0] && e.value("unit").toString() == "SIM1"
                && (p[1] == "-1" || e.value("code").toInt(-1) == p[1].toInt())
                && (p[2] == "-1" || e.value("state").toInt(-1) == p[2].toInt());
            if (found)
                break;
        }
        QVERIFY2(found, qPrintable(want + " not among:\n" + r.out));
    }
    // No unit was reported silent, no comm loss while the simulator ran.
    for (const QJsonObject& e : r.events) {
        QVERIFY2(e.value("kind").toString() != "error", qPrintable(e.value("text").toString()));
        QVERIFY(!(e.value("kind").toString() == "comm" && e.value("state").toInt() == 1));
    }

    QFile log(dataLog);
    QVERIFY(log.open(QIODevice::ReadOnly));
    const QStringList lines = QString::fromUtf8(log.readAll()).split('\n', Qt::SkipEmptyParts);
    QVERIFY2(lines.size() >= 1 + minRows, qPrintable(QString::number(lines.size())));
    QVERIFY(lines.at(0).startsWith("Time,Unit,Input voltage(V),"));
    const int columns = lines.at(0).split(',').size();
    QCOMPARE(columns, 17);
    for (const QString& row : lines.mid(1)) {
        const QStringList f = row.split(',');
        QCOMPARE(f.size(), columns);
        QCOMPARE(f.at(1), QString("SIM1"));
        // A simulated unit on the inverter has a real input voltage.
        QVERIFY2(f.at(2).section('/', 0, 0).toDouble() > 100.0, qPrintable(row));
    }

    if (historyCommand) {
        QFile h(history);
        QVERIFY(h.open(QIODevice::ReadOnly));
        const QStringList rows = QString::fromUtf8(h.readAll()).split('\n', Qt::SkipEmptyParts);
        QVERIFY(!rows.isEmpty());
        QCOMPARE(rows.at(0), QString("ID,Content,Status,Time,"));
        // Alarm 325 was raised before the download: named by the code map.
        bool named = false;
        for (const QString& row : rows.mid(1))
            named = named || row.startsWith("325,Rectifier_");
        QVERIFY2(named, qPrintable(rows.join('\n')));
    }
}

void tst_host_headless::stopsOnSigterm()
{
    if (!hasPieces({kPlugin, kDriver}))
        QSKIP("plugin or driver library not built");
    // Nothing listens on the port: the unit stays silent and is reported.
    writeConfig("[host]\nunits=GONE\nanswerTimeout=2\n",
                "[GONE]\ncommType=1\nipAddr=127.0.0.1\nport=1\ninterval=1\nretries=2\n");
    QProcess host;
    host.setWorkingDirectory(m_app.path());
    host.start(m_app.filePath(kHost), {"--headless", "--json"});
    QVERIFY(host.waitForStarted(5000));
    QByteArray out;
    QElapsedTimer t;
    t.start();
    while (!out.contains("\"kind\":\"error\"") && t.elapsed() < 20000) {
        host.waitForReadyRead(200);
        out += host.readAllStandardOutput();
    }
    QVERIFY2(out.contains("\"kind\":\"error\""), out.constData());
    QVERIFY(out.contains("tcp 127.0.0.1:1 addr 1"));
    ::kill(pid_t(host.processId()), SIGTERM);
    QVERIFY(host.waitForFinished(20000));
    QCOMPARE(host.exitStatus(), QProcess::NormalExit);
    QCOMPARE(host.exitCode(), 3); // stopped cleanly, and says the unit never answered
    const QString err = QString::fromUtf8(host.readAllStandardError());
    QVERIFY2(err.contains("signal 15, stopping"), qPrintable(err));
    QVERIFY2(err.contains("never answered: GONE"), qPrintable(err));
}

QTEST_GUILESS_MAIN(tst_host_headless)
#include "tst_host_headless.moc"
