// upsmon-host as installed: packaged pieces, exit statuses, a run with a command and a SIGTERM while
// a collector is blocked, and the window. What the host's core does is tst_host_monitor's.

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

    // A unit that answers and one behind a listener that accepts nothing: its collector waits in
    // connect when SIGTERM comes, and the host stops all the same, within its bound.
    void blockedCollector()
    {
        const int port = startSimulator();
        QVERIFY(port > 0);
        const QString unit("[%1]\ncommType=1\nipAddr=127.0.0.1\nport=%2\naddr=1\ninterval=1\nretries=2\n");
        writeConfig("[host]\nunits=UPS,HOLE\nmaxAge=3\n", (unit.arg("UPS").arg(port) + unit.arg("HOLE").arg(blackHole())).toUtf8());
        QProcess& host = *start("upsmon-host", {"--headless", "--json", "--command", "UPS:beeper.disable"});
        QByteArray out;
        const QRegularExpression confirmed(R"j(\{"kind":"command","text":"beeper.disable confirmed: point 4260 is now 0 )j"
                                           R"j(\(by console\)","time":"[-: \d]+","type":0,"unit":"UPS"\}\n)j");
        QVERIFY2(QTest::qWaitFor([&] {
            out += host.readAllStandardOutput();
            return confirmed.match(out).hasMatch() && QRegularExpression(R"("notify":"STALE".*"unit":"HOLE")").match(out).hasMatch();
        }, 90000), out.right(1500).constData());
        QElapsedTimer t;
        t.start();
        ::kill(pid_t(host.processId()), SIGTERM);
        QVERIFY(host.waitForFinished(10000));
        // Within 3 s (2 s joining, 1 s for a loaded machine), and 3: a unit never answered.
        QVERIFY2(t.elapsed() < 4000, qPrintable(QString::number(t.elapsed())));
        const QString err = QString::fromUtf8(host.readAllStandardError());
        QVERIFY2(err.contains("collector of HOLE") && err.contains("abandoned") && !err.contains("Sanitizer"), qPrintable(err));
        QCOMPARE(host.exitCode(), 3);
    }

    // The window, offscreen, runs until SIGTERM once the unit's data is logged, and ends cleanly.
    void window()
    {
        const int port = startSimulator();
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

    int startSimulator()
    {
        SimProcess& sim = m_sims.emplace_back();
        return sim.start({"--speed", "0"}) ? sim.port() : 0;
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
};

QTEST_GUILESS_MAIN(tst_host_headless)
#include "tst_host_headless.moc"
