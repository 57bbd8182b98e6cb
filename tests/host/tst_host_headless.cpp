// upsmon-host as installed: packaged pieces, exit statuses, one run over a simulator per scenario
// with commands and a SIGTERM while a collector is blocked, and the window.

#include "TestRig.h"

#include <QtTest>

#include <arpa/inet.h>
#include <csignal>
#include <sys/stat.h>
#include <list>
#include <netinet/in.h>
#include <sys/socket.h>

namespace {
const QString kPrefix = QStringLiteral(VEK5_INSTALL_PREFIX);
const QString kBin = kPrefix + "/" VEK5_INSTALL_BINDIR;
const QString kConf = QStringLiteral(VEK5_CONFDIR);

struct Scenario
{
    const char* name;
    const char* unit;
    const char* script;     // ';' for new lines; null: the black hole
    double speed;
    const char* notify;     // derived events in this order; no STALE otherwise
    QStringList lines;      // "kind:pattern" that a JSON line of that kind must match
};

const Scenario kScenarios[] = {
    {"mains failure to end of discharge", "MAINS", "at 0 load 100;at 0 battery 30;at 100 mains off", 10,
     "ONBATT LOWBATT FSD SHUTDOWN OFF",
     {"alarm:alarm 21 raised: Monitor_Battery powered", "alarm:alarm 21 cleared: Monitor_Battery powered",
      "command:beeper.disable confirmed: point 4260 is now 0 \\(by console\\)", "command:vek5.history.download confirmed: history written"}},
    {"bypass", "BYPASS", "at 0 load 45;at 8 transfer bypass", 1, "ONBYPASS",
     {"command:vek5.history.download not confirmed: history export failed", "state:\"text\":\"OL( CHRG)? charge \\d+%"}},
    {"comm drop", "DROP", "at 0 load 45;at 8 silence 10", 1, "COMMBAD COMMOK", {"comm:communication lost"}},
    {"listener accepting nothing", "HOLE", nullptr, 0, "STALE", {}},
};

QStringList notified(const QList<QJsonObject>& events, const QString& unit)
{
    QStringList names;
    for (const QJsonObject& e : events)
        if (e.value("unit").toString() == unit && e.contains("notify"))
            names += e.value("notify").toString();
    return names;
}

bool inOrder(const QStringList& seen, const QString& wanted)
{
    int at = 0;
    for (const QString& w : wanted.split(' ')) {
        at = seen.indexOf(w, at);
        if (at < 0)
            return false;
    }
    return true;
}

bool logged(const QList<QJsonObject>& events, const QString& unit, const QString& want)
{
    return std::any_of(events.begin(), events.end(), [&](const QJsonObject& e) {
        return e.value("unit").toString() == unit && e.value("kind").toString() == want.section(':', 0, 0)
               && QRegularExpression(want.section(':', 1)).match(QJsonDocument(e).toJson(QJsonDocument::Compact)).hasMatch();
    });
}

} // namespace

class tst_host_headless : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        m_stage = QDir::current().absoluteFilePath("stage");
        QDir(m_stage).removeRecursively();
        QProcess install;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("DESTDIR", m_stage);
        install.setProcessEnvironment(env);
        install.start(VEK5_CMAKE_COMMAND, {"--install", VEK5_BUILD_DIR});
        QVERIFY(install.waitForFinished(120000) && install.exitCode() == 0);
        const QString db = m_stage + kPrefix + "/" VEK5_PKGLIBDIR "/PVMX/drovaPanel/db";    // prefix /usr: absolute, to /etc
        QVERIFY(QFileInfo(db).symLinkTarget() != kConf || (QFile::remove(db) && QFile::link(m_stage + kConf, db)));
        const QList<QPair<QString, QString>> pieces{
            {kPrefix + "/lib/systemd/system/upsmon-host.service", "ExecStart=" + kBin + "/upsmon-host --headless"},
            {kPrefix + "/lib/udev/rules.d/60-vek5m-rs485.rules", "/dev/serial/by-id"},
            {kPrefix + "/" VEK5_PKGLIBDIR "/libvek5m_10-30k_Client.so", ""},
            {kPrefix + "/" VEK5_INSTALL_LIBDIR "/libvek5m_10-30k.so", ""},
            {kPrefix + "/" VEK5_PKGLIBDIR "/PVMX/drovaPanel/db/historycodemap.csv", "21,Monitor_Battery powered,"}};
        for (const auto& p : pieces)
            QVERIFY2(QFileInfo::exists(m_stage + p.first) && readFile(m_stage + p.first).contains(p.second.toUtf8()),
                     qPrintable(p.first));
        m_app = QDir(QDir::current().absoluteFilePath("state"));    // the host's working directory
        m_app.removeRecursively();
        QVERIFY(QDir().mkpath(m_app.filePath("other")));
        m_env = QProcessEnvironment::systemEnvironment();
        for (const char* v : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
            m_env.remove(v);
        m_env.insert("UPSMON_STATE_DIR", m_app.path());
        m_env.insert("LD_LIBRARY_PATH", m_stage + kPrefix + "/" VEK5_INSTALL_LIBDIR);
    }

    void cli_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QByteArray>("dev");
        QTest::addColumn<int>("usersMode");   // upsd.users with this mode; 0: none
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("output");    // fragment of stdout + stderr
        // Each refusal's words: tst_host's tables; here the program's exit status.

        const QByteArray tcp("[UPS1]\ncommType=1\nipAddr=127.0.0.1\nport=1\n");
        QTest::newRow("help in a plain shell") << QStringList{"--help"} << tcp << 0 << 0 << "unit:name[:value]";
        QTest::newRow("version") << QStringList{"--version"} << tcp << 0 << 0 << "upsmon-host 1.";
        QTest::newRow("check-config clean") << QStringList{"--check-config"} << tcp << 0 << 0 << "1 units, no problems";
        QTest::newRow("check-config broken") << QStringList{"--check-config"} << QByteArray("[UPS1]\nport=abc\naddr=300\n")
            << 0 << 1 << "dev.ini [UPS1] addr must be a whole number 1-247, not \"300\"";
        QTest::newRow("users file the service cannot read") << QStringList{"--check-config", "--as-user", "nobody"} << tcp << 0640
            << 1 << "upsd.users is not readable by user nobody (owner 0, group root, mode 640)";
        QTest::newRow("no usable unit") << QStringList{} << QByteArray("[UPS1]\ncommType=7\n") << 0 << 1 << "not started";
        QTest::newRow("unknown unit") << QStringList{"--command", "UPS9:load.off"} << tcp << 0 << 2 << "unknown unit \"UPS9\"";
        QTest::newRow("bad level") << QStringList{"--level", "3"} << tcp << 0 << 2 << "--level needs a whole number 0-2";
        QTest::newRow("other config dir") << QStringList{"--config", "other"} << tcp << 0 << 1 << "the plugin reads";
        QTest::newRow("plugin missing") << QStringList{"--plugin", "/nonexistent/p.so"} << tcp << 0 << 1 << "not found";
        QTest::newRow("metrics off") << QStringList{"--metrics-listen", "off"} << tcp << 0 << 3 << "UPS1";   // runs, the unit silent
    }

    void cli()
    {
        QFETCH(QStringList, args);
        QFETCH(QByteArray, dev);
        QFETCH(int, usersMode);
        QFETCH(int, exitCode);
        QFETCH(QString, output);

        writeConfig("[host]\nunits=UPS1\n", dev);
        const QString users = m_stage + kConf + "/upsd.users";
        QFile::remove(users);
        QVERIFY(!usersMode || (writeFile(users, "[admin]\npassword=pw\n") && ::chmod(QFile::encodeName(users).constData(), usersMode) == 0));
        QProcess* host = start("upsmon-host", args + QStringList{"--duration", "1"});
        QVERIFY(host->waitForFinished(30000));
        const QString out = QString::fromUtf8(host->readAllStandardOutput() + host->readAllStandardError());
        QCOMPARE(host->exitStatus(), QProcess::NormalExit);
        QVERIFY2(host->exitCode() == exitCode && out.contains(output), qPrintable(out));
        QFile::remove(users);
    }

    void scenarios_data()
    {
        QTest::addColumn<int>("index");
        for (int i = 0; i < int(sizeof kScenarios / sizeof *kScenarios); ++i)
            QTest::newRow(kScenarios[i].name) << i;
    }

    void scenarios()
    {
        QFETCH(int, index);
        const Scenario& s = kScenarios[index];
        // Answering units share one run; the listener that accepts nothing runs alone, since a host
        // that abandons a collector leaves without its destructors.
        if (m_stopMs < 0) {
            runHost(true);
            runHost(false);
        }
        QVERIFY(m_stopMs >= 0);

        const QStringList seen = notified(m_events, s.unit);
        QVERIFY2(inOrder(seen, s.notify), qPrintable(seen.join(' ')));
        QCOMPARE(seen.contains("STALE"), QString(s.notify).contains("STALE"));
        for (const QString& want : s.lines)
            QVERIFY2(logged(m_events, s.unit, want), qPrintable(want));

        if (!s.script) {
            // Stopped within 3 s though this collector waits in connect (2 s joining, 1 s for a loaded machine).
            QVERIFY2(m_stopMs < 4000, qPrintable(QString::number(m_stopMs)));
            QVERIFY2(m_err.contains("collector of HOLE") && m_err.contains("abandoned"), qPrintable(m_err));
        }
        if (QString(s.notify).contains("SHUTDOWN")) {
            QCOMPARE(readFile(m_app.filePath("shutdown.txt")), QByteArray("MAINS\n"));   // once per episode
            const QByteArray rows = readFile(m_app.filePath("datalog.csv"));
            QVERIFY2(rows.startsWith("Time,Unit,") && rows.contains(",MAINS,"), rows.constData());
        }
    }

    // The window, offscreen, runs until SIGTERM once the unit's data is logged, and ends cleanly.
    void window()
    {
        const int port = startSimulator("at 0 load 45", 1);
        QVERIFY(port > 0);
        writeConfig("[host]\nunits=WIN\n", QString("[WIN]\ncommType=1\nipAddr=127.0.0.1\nport=%1\ninterval=1\n")
                                               .arg(port).toUtf8());
        m_env.insert("QT_QPA_PLATFORM", "offscreen");
        QProcess& host = *start("upsmon-host", {"--level", "1", "--datalog", "window.csv", "--log-interval", "1"});
        QVERIFY(QTest::qWaitFor([&] { return readFile(m_app.filePath("window.csv")).count('\n') >= 2; }, 60000));
        ::kill(pid_t(host.processId()), SIGTERM);
        QVERIFY(host.waitForFinished(20000));
        const QString err = QString::fromUtf8(host.readAllStandardError());
        QVERIFY2(host.exitCode() == 0 && !err.contains("Sanitizer"), qPrintable(err));
    }
private:
    QDir m_app;
    std::list<SimProcess> m_sims;
    QString m_stage;
    QProcessEnvironment m_env;
    QList<QJsonObject> m_events;
    QString m_err;
    qint64 m_stopMs = -1;

    QProcess* start(const QString& program, const QStringList& args)
    {
        auto* p = new QProcess(this);     // killed when the test ends
        p->setProcessEnvironment(m_env);
        p->setWorkingDirectory(m_app.path());
        p->start(m_stage + kBin + "/" + program, args);
        return p;
    }

    void writeConfig(const QByteArray& param, const QByteArray& dev)
    {
        for (const auto& f : {qMakePair(QString("param.ini"), param), qMakePair(QString("dev.ini"), dev)}) {
            for (const QString& dir : {m_stage + kConf, m_app.filePath("other")}) {
                QFile::remove(dir + "/" + f.first);
                if (!f.second.isNull())
                    writeFile(dir + "/" + f.first, f.second);
            }
        }
    }

    int startSimulator(const QString& scenario, double speed)
    {
        SimProcess& sim = m_sims.emplace_back();
        const QString path = m_app.filePath(QString("s%1.scn").arg(m_sims.size()));
        writeFile(path, QString(scenario).replace(';', '\n').toUtf8() + '\n');
        return sim.start({"--scenario", path, "--speed", QString::number(speed)}) ? sim.port() : 0;
    }

    // A listener with a full backlog: connection attempts are dropped, so a collector waits in connect.
    int blackHole()
    {
        const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t len = sizeof a;
        ::bind(fd, reinterpret_cast<sockaddr*>(&a), len);
        ::listen(fd, 0);
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len);
        for (int i = 0; i < 3; ++i)     // the sockets live until the test ends
            ::connect(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0), reinterpret_cast<sockaddr*>(&a), len);
        return ntohs(a.sin_port);
    }

    void runHost(bool answering)
    {
        QByteArray dev;
        QStringList units;
        const auto inRun = [answering](const Scenario& s) { return (s.script != nullptr) == answering; };
        for (const Scenario& s : kScenarios) {
            if (!inRun(s))
                continue;
            const int port = s.script ? startSimulator(s.script, s.speed) : blackHole();
            QVERIFY2(port > 0, s.unit);
            units += s.unit;
            dev += QString("[%1]\ncommType=1\nipAddr=127.0.0.1\nport=%2\naddr=1\ninterval=1\nretries=2\n")
                       .arg(s.unit).arg(port).toUtf8();
        }
        writeConfig(QString("[host]\nunits=%1\nmaxAge=10\nanswerTimeout=120\n[policy]\nshutdownCmd=echo $UPSNAME >> "
                            "shutdown.txt\nnotifyCmd=echo $UPSNAME $NOTIFYTYPE >> notify.txt\nnotifyRateLimit=0\n")
                        .arg(units.join(',')).toUtf8(), dev);
        QStringList args{"--headless", "--json", "--datalog", "datalog.csv", "--log-interval", "2"};
        if (answering)
            args += {"--command", "MAINS:beeper.disable", "--command", "MAINS:vek5.history.download:h.csv",
                     "--command", "BYPASS:vek5.history.download:other"};   // a directory: nothing can be written
        QProcess& host = *start("upsmon-host", args);
        QVERIFY(host.waitForStarted(5000));
        const auto done = [&] {
            return std::all_of(std::begin(kScenarios), std::end(kScenarios), [&](const Scenario& s) {
                // An alarm may clear a poll after the last notification: wait for every expected line too.
                return !inRun(s)
                       || (inOrder(notified(m_events, s.unit), s.notify)
                           && std::all_of(s.lines.begin(), s.lines.end(),
                                          [&](const QString& want) { return logged(m_events, s.unit, want); }));
            });
        };
        QElapsedTimer t;
        t.start();
        while (!done() && t.elapsed() < 90000 && host.state() == QProcess::Running) {
            host.waitForReadyRead(500);
            while (host.canReadLine())
                m_events += QJsonDocument::fromJson(host.readLine()).object();
        }
        QVERIFY(QTest::qWaitFor([&] {
            const QByteArray notes = readFile(m_app.filePath("notify.txt"));
            return std::all_of(std::begin(kScenarios), std::end(kScenarios), [&](const Scenario& s) {
                return !inRun(s) || notes.contains(QString("%1 %2").arg(s.unit, QString(s.notify).section(' ', 0, 0)).toUtf8());
            });
        }, 5000));
        t.restart();
        ::kill(pid_t(host.processId()), SIGTERM);
        QVERIFY(host.waitForFinished(10000));
        if (!answering)
            m_stopMs = t.elapsed();
        const QString err = QString::fromUtf8(host.readAllStandardError());
        m_err += err;
        QVERIFY2(!err.contains("Sanitizer"), qPrintable(err));
        QCOMPARE(host.exitCode(), answering ? 0 : 3);   // 3: a unit never answered
        for (const QByteArray& line : host.readAllStandardOutput().split('\n'))
            m_events += QJsonDocument::fromJson(line).object();
    }
};

QTEST_GUILESS_MAIN(tst_host_headless)
#include "tst_host_headless.moc"
