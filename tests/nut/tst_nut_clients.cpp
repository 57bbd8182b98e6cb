// The host's NUT server as NUT's own programs see it through a mains failure down to low battery.

#include "TestRig.h"

#include <QtTest>

#include <csignal>
#include <unistd.h>

namespace {

// Mains off at 30 s with the battery just above its low-battery mark at full load.
const char* const kScenario = "at 0 load 100\nat 0 battery 27\nat 30 mains off\n";
const char* const kUsers = "[admin]\n password = adminpw\n actions = SET\n instcmds = ALL\n"
                           "[beeper]\n password = beeperpw\n instcmds = beeper.enable\n"
                           "[monsec]\n password = secpw\n upsmon secondary\n";
// What dashboards read of the simulator's unit 1 (230 V, 20 kVA at PF 0.9, full load); chargeLow=20, runtimeLow=60.
const char* const kConsumerReads[][2] = {
    {"ups.mfr", "SimPower"}, {"ups.model", "SIM-20K-33"}, {"ups.serial", "SIM20K0000000001"},
    {"ups.firmware", "213"}, {"input.voltage", "2[23]\\d(\\.\\d+)?"}, {"output.voltage", "2[23]\\d(\\.\\d+)?"},
    {"output.current", "(2[89]|30)(\\.\\d+)?"}, {"ups.realpower", "1[78]\\d\\d\\d(\\.\\d+)?"},
    {"battery.charge.low", "20"}, {"battery.runtime.low", "60"}, {"driver.name", "upsmon-host"},
    {"driver.version", "\\d+\\.\\d+\\.\\d+"},
};

// The program's output, stdout and stderr; `exitCode` -1 when it did not finish.
QString run(const QString& program, const QStringList& args, int* exitCode = nullptr)
{
    QProcess p;
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.start(program, args);
    const bool finished = p.waitForFinished(20000) && p.exitStatus() == QProcess::NormalExit;
    if (exitCode)
        *exitCode = finished ? p.exitCode() : -1;
    p.kill();
    // The client library's greeting is no part of the answer.
    return QString::fromUtf8(p.readAll()).remove("Init SSL without certificate database\n");
}

} // namespace

class tst_nut_clients : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        // Debian's upsmon itself, without the wrapper that reads /etc/nut/nut.conf.
        if (QStandardPaths::findExecutable("upsc").isEmpty() || !QFileInfo(m_upsmon).isExecutable())
            QSKIP("NUT's client programs (nut-client) are not installed");

        m_dir.setPath(hostAppDir("nut"));
        if (m_dir.path() == ".")
            QSKIP("host, plugin or driver not built");
        const QString db = m_dir.filePath("PVMX/drovaPanel/db/");
        QVERIFY(QDir().mkpath(m_dir.filePath("upsmon")));
        // A history download must stay in the host's directory: "link.csv" leads out of it.
        QFile::remove(m_dir.filePath("../linked.csv"));
        QVERIFY(QFile::link("../linked.csv", m_dir.filePath("link.csv")));
        QVERIFY(writeFile(m_dir.filePath("scenario.scn"), kScenario));
        // Unit 2 stays on mains: the units added and removed by the reload.
        QVERIFY2(m_sim.start({"--scenario", m_dir.filePath("scenario.scn"), "--units", "2", "--scenario", "2=normal"}),
                 qPrintable(m_sim.output()));

        QTcpServer probe;   // a free port for the NUT server
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        m_port = probe.serverPort();
        probe.close();
        QVERIFY(writeParam("UPS1,UPS0", ""));
        QByteArray units;
        for (const char* unit : {"UPS0", "UPS1", "UPS2"})
            units += QByteArray("[") + unit + "]\ncommType=1\nipAddr=127.0.0.1\nport=" + QByteArray::number(m_sim.port())
                     + "\naddr=" + (unit[3] == '1' ? "1" : "2") + "\ninterval=1\nretries=3\n";
        QVERIFY(writeFile(db + "dev.ini", units));
        QVERIFY(writeFile(db + "upsd.users", kUsers));
        QVERIFY(QFile::setPermissions(db + "upsd.users", QFile::ReadOwner | QFile::WriteOwner));
        m_host.setWorkingDirectory(m_dir.path());
        m_host.setProcessChannelMode(QProcess::MergedChannels);
        m_host.setStandardOutputFile(m_dir.filePath("host.log"));
        m_host.start(m_dir.filePath("upsmon-host"), {"--headless", "--datalog", "data.csv", "--log-interval", "1"});
        QTRY_VERIFY_WITH_TIMEOUT(var("ups.status").startsWith("OL"), 30000);

        // upsmon as a secondary: its shutdown command leaves a marker.
        const QString upsmonConf = m_dir.filePath("upsmon/upsmon.conf");
        QVERIFY(writeFile(upsmonConf, QString("MONITOR %1 1 monsec secpw secondary\nMINSUPPLIES 1\nSHUTDOWNCMD \"/bin/touch %2\"\n"
                                              "POLLFREQ 1\nPOLLFREQALERT 1\nHOSTSYNC 5\nFINALDELAY 0\nDEADTIME 15\n")
                                          .arg(ups(), m_dir.filePath("shutdown.marker")).toUtf8()));
        QVERIFY(QFile::setPermissions(upsmonConf, QFile::ReadOwner | QFile::WriteOwner));
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("NUT_CONFPATH", m_dir.filePath("upsmon"));
        env.insert("NUT_STATEPATH", m_dir.filePath("upsmon"));
        env.insert("NUT_ALTPIDPATH", m_dir.filePath("upsmon"));   // not /run/nut: runs side by side do not meet
        m_monitor.setProcessEnvironment(env);
        m_monitor.setProcessChannelMode(QProcess::MergedChannels);
        m_monitor.setStandardOutputFile(m_dir.filePath("upsmon.log"));
        m_monitor.start(m_upsmon, geteuid() == 0 ? QStringList{"-D", "-p"} : QStringList{"-D"});
        QTRY_VERIFY_WITH_TIMEOUT(run("upsc", {"-c", ups()}).contains("127.0.0.1"), 15000);

        connect(&m_watch, &QTimer::timeout, this, [this] {
            const QStringList flags = var("ups.status").split(' ');
            m_sawFsd = m_sawFsd || flags.contains("FSD");
            const QString power = flags.filter(QRegularExpression("^(OL|OB|LB)$")).join(' ');
            if (!power.isEmpty() && (m_seen.isEmpty() || m_seen.last() != power))
                m_seen += power;
        });
        m_watch.start(250);
    }

    void cleanupTestCase()
    {
        for (QProcess* p : {&m_monitor, &m_host}) {
            p->terminate();
            if (!p->waitForFinished(10000))
                p->kill();
        }
    }

    void clients_data()
    {
        QTest::addColumn<QStringList>("command");    // program and arguments; "UPS" stands for the unit's address
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("output");         // regular expression
        QTest::addColumn<QString>("then");           // VARIABLE=REGEX that upsc must come to show
        const QStringList admin{"-u", "admin", "-p", "adminpw"};
        QTest::newRow("upsc lists the variables") << QStringList{"upsc", "UPS"} << 0
            << "battery\\.charge: \\d+\n(.*\n)*input\\.L1-N\\.voltage: 2\\d\\d(\\.\\d+)?\n(.*\n)*ups\\.status: OL" << "";
        QTest::newRow("every listen address") << QStringList{"upsc", "UPS1@[::1]:" + QString::number(m_port), "ups.status"} << 0
            << "^O[LB]" << "";
        for (const auto& read : kConsumerReads)
            QTest::newRow(read[0]) << QStringList{"upsc", "UPS", read[0]} << 0 << QString("^%1\n$").arg(read[1]) << "";
        QTest::newRow("beeper off") << QStringList{"upscmd"} + admin + QStringList{"UPS", "beeper.disable"} << 0 << "OK" << "ups.beeper.status=^disabled$";
        QTest::newRow("upsrw shows a setting") << QStringList{"upsrw", "UPS"} << 0
                                               << "\\[vek5\\.battery\\.numbers\\]\nBattery numbers\nType: RANGE NUMBER\n" << "";
        QTest::newRow("setting in range") << QStringList{"upsrw"} + admin + QStringList{"-s", "vek5.battery.numbers=36", "UPS"} << 0 << "OK"
                                          << "vek5.battery.numbers=^36$";
        QTest::newRow("history name with a path") << QStringList{"upscmd"} + admin + QStringList{"UPS", "vek5.history.download", "../escaped.csv"}
                                                  << 1 << "ERR INVALID-ARGUMENT" << "";
        QTest::newRow("history out through a link") << QStringList{"upscmd"} + admin + QStringList{"UPS", "vek5.history.download", "link.csv"}
                                                    << 1 << "ERR INSTCMD-FAILED" << "";
    }

    void clients()
    {
        QFETCH(QStringList, command);
        QFETCH(int, exitCode);
        QFETCH(QString, output);
        QFETCH(QString, then);
        command.replaceInStrings(QRegularExpression("^UPS$"), ups());
        int exit = -1;
        const QString out = run(command.takeFirst(), command, &exit);
        QVERIFY2(exit == exitCode, qPrintable(out));
        QVERIFY2(QRegularExpression(output).match(out).hasMatch(), qPrintable(out));
        const QString variable = then.section('=', 0, 0);
        if (!then.isEmpty())
            QTRY_VERIFY2_WITH_TIMEOUT(QRegularExpression(then.section('=', 1)).match(var(variable)).hasMatch(),
                                      qPrintable(variable + ": " + var(variable)), 20000);
    }

    void mainsFailure()
    {
        // On battery, a reload (a unit added, one removed, a new policy, the data log rotated); clients stay.
        QTRY_VERIFY_WITH_TIMEOUT(m_seen.contains("OB"), 60000);
        QTcpSocket client;
        client.connectToHost(QHostAddress::LocalHost, quint16(m_port));
        QVERIFY(client.waitForConnected(5000));
        QVERIFY(writeParam("UPS1,UPS2", "notifyCmd=echo $UPSNAME $NOTIFYTYPE >> notify.txt\n"));
        QVERIFY(QFile::rename(m_dir.filePath("data.csv"), m_dir.filePath("data.csv.1")));
        ::kill(pid_t(m_host.processId()), SIGHUP);
        QTRY_VERIFY_WITH_TIMEOUT(readFile(m_dir.filePath("host.log")).contains("added UPS2; removed UPS0"), 10000);
        client.write("LIST UPS\n");
        QByteArray listed;
        QTRY_VERIFY2_WITH_TIMEOUT((listed += client.readAll()).contains("END LIST UPS"), listed.constData(), 10000);
        QVERIFY2(listed.contains("UPS UPS2 ") && !listed.contains("UPS UPS0 "), listed.constData());
        QTRY_VERIFY_WITH_TIMEOUT(readFile(m_dir.filePath("data.csv")).contains(",UPS2,"), 10000);

        // The secondary shuts down once the host, as primary, sets FSD at low battery.
        QTRY_VERIFY2_WITH_TIMEOUT(QFileInfo::exists(m_dir.filePath("shutdown.marker")), qPrintable(m_seen.join(" -> ")),
                                  120000);
        QTRY_VERIFY_WITH_TIMEOUT(m_seen.contains("OB LB"), 10000);
        m_watch.stop();
        qInfo("ups.status: %s", qPrintable(m_seen.join(" -> ")));
        const int ol = m_seen.indexOf("OL"), ob = m_seen.indexOf("OB"), lb = m_seen.indexOf("OB LB");
        QVERIFY2(ol >= 0 && ob > ol && lb > ob, qPrintable(m_seen.join(" -> ")));
        QVERIFY(m_sawFsd);
        QVERIFY2(readFile(m_dir.filePath("upsmon.log")).contains("forced shutdown in progress"), "upsmon did not see FSD");
        // The host's own shutdown waits for the secondary to log out.
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(m_dir.filePath("host.marker")), 30000);
        QVERIFY(QFileInfo(m_dir.filePath("host.marker")).lastModified()
                >= QFileInfo(m_dir.filePath("shutdown.marker")).lastModified());
        QVERIFY(run("upsc", {"-c", ups()}).trimmed().isEmpty());
        // The history downloaded through NUT holds the change to battery, lands in the host's directory
        // and is logged with who asked; refused ones wrote nothing.
        const QString csv = m_dir.filePath("history.csv");
        QCOMPARE(run("upscmd", {"-u", "admin", "-p", "adminpw", ups(), "vek5.history.download", "history.csv"}).trimmed(), QString("OK"));
        QTRY_VERIFY2_WITH_TIMEOUT(QRegularExpression("\n21,[^\n]+,Appear,\\d{4}-").match(readFile(csv)).hasMatch(),
                                  readFile(csv).constData(), 20000);
        // One episode through the reload: the shutdown ran once; the new policy notified.
        QCOMPARE(readFile(m_dir.filePath("host.marker")), QByteArray("ran\n"));
        QVERIFY(readFile(m_dir.filePath("notify.txt")).contains("UPS1 LOWBATT"));
        QVERIFY(!readFile(m_dir.filePath("data.csv.1")).contains(",UPS2,"));
        const QByteArray dir = m_dir.canonicalPath().toUtf8();
        QTRY_VERIFY_WITH_TIMEOUT(readFile(m_dir.filePath("host.log")).contains("history written to " + dir + "/history.csv ("), 20000);
        QVERIFY(readFile(m_dir.filePath("host.log")).contains("vek5.history.download refused: \"link.csv\" is not a file of the "
                                                              "history directory " + dir + " (by admin@127.0.0.1)"));
        QVERIFY(!QFileInfo::exists(m_dir.filePath("../linked.csv")));
    }
private:
    QString ups() const { return QStringLiteral("UPS1@127.0.0.1:%1").arg(m_port); }
    QString var(const QString& name) { return run("upsc", {ups(), name}).trimmed(); }
    bool writeParam(const QByteArray& units, const QByteArray& policy)
    {
        return writeFile(m_dir.filePath("PVMX/drovaPanel/db/param.ini"),
                         "[host]\nunits=" + units + "\n[nut]\nlisten=127.0.0.1:" + QByteArray::number(m_port) + ", [::1]:"
                         + QByteArray::number(m_port) + "\nusers=upsd.users\nhostSync=30\n"
                         "[policy]\nchargeLow=20\nruntimeLow=60\nshutdownCmd=echo ran >> " + m_dir.filePath("host.marker").toUtf8() + "\n" + policy);
    }

    QDir m_dir;
    int m_port = 0;
    const QString m_upsmon = "/lib/nut/upsmon";
    SimProcess m_sim;
    QProcess m_host, m_monitor;
    QTimer m_watch;             // records ups.status all along
    QStringList m_seen;         // its OL / OB / LB flags, each change once
    bool m_sawFsd = false;
};

QTEST_GUILESS_MAIN(tst_nut_clients)
#include "tst_nut_clients.moc"
