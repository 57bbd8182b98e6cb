// The host's core in-process: HostMonitor with the real plugin and driver, against simulated units on
// one RS-485 line that stand still (--speed 0) until a control verb moves them. Each row is a script.

#include "HostMonitor.h"
#include "TestRig.h"

#include <QtTest>

class tst_host_monitor : public QObject
{
    Q_OBJECT
private slots:
    void scripts_data()
    {
        // "ACTION => WANT": after the action, a line from then on must match WANT (a regex), waited for.
        // Actions: start UNITS [UNIT:COMMAND], reload UNITS (B* changes B), shutdown, cmd UNIT NAME[:VALUE] WHO,
        // setting UNIT POINT RAW WHO, UNIT VERB ARGS... (to its simulator), wait, notify UNIT (WANT: its
        // derived events, exactly), file NAME (WANT matches its text). "> " lines say what an action returned.
        QTest::addColumn<QStringList>("steps");
        QTest::newRow("mains failure to end of discharge") << QStringList{
            "start A A:beeper.disable => A command: beeper.disable confirmed: point 4260 is now 0 \\(by console\\)",
            "A mains off => A alarm: alarm 21 raised: Monitor_Battery powered",
            "A battery 8 => A notify SHUTDOWN: shutting down because of A: A is on battery with a low battery",
            "cmd A load.off console => A notify OFF: A output is off",
            "wait => A alarm: alarm 21 cleared: Monitor_Battery powered",
            "notify A => ONBATT LOWBATT FSD SHUTDOWN OFF",
            "board A => ^A serial .*/host-end addr 1: ALARM LB OFF$",
            "file shutdown.txt => ^A\\n$",     // once per episode
            "file notify.txt => (?s)(?=.*A ONBATT\\n)(?=.*A LOWBATT\\n)(?=.*A FSD\\n)(?=.*A SHUTDOWN\\n)(?=.*A OFF\\n)",
            "file datalog.csv => ^Time,Unit,[^\\n]*\\n[^\\n]*,A,"};
        QTest::newRow("bypass, history downloads, settings") << QStringList{
            "start A => A state: OL( CHRG)? charge \\d+%",
            "A scenario $DIR/bypass.scn => A notify ONBYPASS: A is on bypass",
            "cmd A vek5.history.download:h.csv console => A command: vek5.history.download confirmed: history written to $DIR/h.csv",
            "cmd A vek5.history.download:other admin@192.0.2.7 => vek5.history.download not confirmed: history export failed: "
            "$DIR/other was not written \\(by admin@192.0.2.7\\)",
            "cmd A vek5.history.download:../x console => A command: vek5.history.download refused: vek5.history.download needs a file name without a path",
            "cmd Z beeper.disable console => > unknown unit \"Z\" \\(units: A\\)",
            "cmd A no.such console => > unknown command \"no.such\"",
            "setting A 3001 1 admin@192.0.2.7 => A command: setting 3001 queued: setting 3001 = 1 queued \\(by admin@192.0.2.7\\)",
            "setting A 4260 0 console => > setting 4260 = 0 is out of range",
            "notify A => ONBYPASS"};
        QTest::newRow("unit falls silent") << QStringList{
            "start A => A state:",
            "A silent 60 => A comm: communication lost",
            "A silent 0 => A comm: communication restored",
            "notify A => COMMBAD COMMOK"};
        QTest::newRow("reload adds, removes, restarts") << QStringList{
            "start A,B => B state:",
            "B bypass off",     // the transfer cannot happen: the command waits
            "cmd B bypass.start admin@192.0.2.7 => B command: bypass.start queued",
            "reload A*,C => > configuration reloaded: 2 units; added C; removed B; restarted A; policy",
            "wait => B command: bypass.start not confirmed: the unit was removed from the configuration \\(by admin@192.0.2.7\\)",
            "wait => C state:",
            "wait => A state:",
            "board C => ^A,C serial .*/host-end addr 3: OL$",
            "C bypass off",
            "cmd C bypass.start console => C command: bypass.start queued",
            "cmd C bypass.stop console => C command: bypass.start not confirmed: superseded by bypass.stop",
            "shutdown => C command: bypass.stop not confirmed: the host stopped before the unit confirmed it \\(by console\\)",
            "wait => > abandoned: $",
            "notify B => "};
        QTest::newRow("command for an unknown unit") << QStringList{
            "start A Z:beeper.disable => > --command Z:beeper.disable: unknown unit \"Z\" \\(units: A\\)"};
    }

    void scripts()
    {
        QFETCH(QStringList, steps);
        QTemporaryDir dir;
        const QString d = dir.path();
        // The plugin reads its units beside the program: there, a link to this row's directory.
        QFile::remove(appDbDir());
        QVERIFY(QFile::link(d, appDbDir()) && QDir(d).mkdir("other") && writeFile(d + "/bypass.scn", "at 0 transfer bypass\n"));
        // One RS-485 line with the units on it: A at address 1, B at 2, C at 3.
        PtyPair bus;
        SimProcess sim;
        QVERIFY(bus.start("unit-end", "host-end")
                && sim.start({"--no-tcp", "--rtu", bus.a + ",9600,N,8,1", "--units", "3", "--speed", "0"}));
        QStringList lines;      // these outlive the host, which reports as it stops
        QMap<QString, QStringList> notified;
        std::unique_ptr<HostMonitor> host;
        const auto load = [&](const QString& units) {
            QByteArray dev;
            for (const QString& u : units.split(','))
                dev += QString("[%1]\nportName=%2\naddr=%3\ninterval=1\nretries=%4\n").arg(u[0]).arg(bus.b)
                           .arg(u[0].unicode() - 'A' + 1).arg(u.endsWith('*') ? 2 : 1).toUtf8();
            const QString param("[host]\nunits=%1\nmaxAge=4\nlogInterval=1\nhistoryDir=%2\n[policy]\nshutdownCmd=echo $UPSNAME >> "
                                "%2/shutdown.txt\nnotifyCmd=echo $UPSNAME $NOTIFYTYPE >> %2/notify.txt\nnotifyRateLimit=0\n"
                                "[nut]\nlisten=off\n[web]\nlisten=off\n");
            HostConfig config;
            if (writeFile(d + "/dev.ini", dev) && writeFile(d + "/param.ini", param.arg(QString(units).remove('*'), d).toUtf8()))
                config.load(d);
            lines += config.problems();
            return config;
        };
        int from = 0;
        for (const QString& step : steps) {
            const QStringList w = step.section(" => ", 0, 0).split(' ');
            const QString want = step.section(" => ", 1).replace("$DIR", d);
            if (w[0] != "wait")     // waits on what the last action brings
                from = lines.size();
            QString error;
            if (w[0] == "start") {
                HostOptions options;
                options.pluginPath = VEK5_PLUGIN_PATH;
                options.dataLogPath = d + "/datalog.csv";
                if (w.size() > 2)
                    options.commands += {w[2].section(':', 0, 0), w[2].section(':', 1), QString()};
                host = std::make_unique<HostMonitor>(options);
                connect(host.get(), &HostMonitor::hostEvent, this, [&](const HostEvent& e) {
                    lines += e.unit + ' ' + e.kind + (e.notify.isEmpty() ? "" : ' ' + e.notify) + ": " + e.text;
                    notified[e.unit] += e.notify;     // mostly empty
                });
                lines += "> " + (host->start(load(w[1]), false, &error) ? "started" : error);
            } else if (w[0] == "reload") {
                lines += "> " + host->reload(load(w[1]));
            } else if (w[0] == "shutdown") {
                lines += "> abandoned: " + host->shutdown().join(',');
            } else if (w[0] == "cmd" || w[0] == "setting") {
                UnitDirectory* units = host->directory();     // as the NUT server and the web console send them
                if (!(w[0] == "cmd" ? units->sendCommand(w[1], w[2].section(':', 0, 0), w[2].section(':', 1), w[3], &error)
                                    : units->writeSetting(w[1], w[2].toInt(), w[3].toInt(), w[4], &error)))
                    lines += "> " + error;
            } else if (!QStringList{"notify", "file", "wait", "board"}.contains(w[0])) {
                const QString answer = sim.control(QString("%1 %2 ").arg(w[1]).arg(w[0][0].unicode() - 'A' + 1)
                                                   + w.mid(2).join(' ').replace("$DIR", d));
                QVERIFY2(answer.startsWith("OK"), qPrintable(answer));
            }
            const QRegularExpression match(want);
            const auto seen = [&] {
                if (w[0] == "file")
                    return match.match(QString::fromUtf8(readFile(d + '/' + w[1]))).hasMatch();
                if (w[0] == "notify")
                    return notified.value(w[1]).join(' ').simplified() == want;
                if (w[0] == "board")    // the units, how this one is reached, its flags
                    return match.match(host->directory()->units().join(',') + ' ' + host->directory()->description(w[1])
                                       + ": " + host->directory()->status(w[1]).flags.join(' ')).hasMatch();
                return std::any_of(lines.begin() + from, lines.end(), [&](const QString& l) { return match.match(l).hasMatch(); });
            };
            QVERIFY2((want.isEmpty() && w[0] != "notify") || QTest::qWaitFor(seen, 30000),
                     qPrintable(step + "\nlast seen:\n" + lines.join('\n').right(900)));
        }
    }
};

QTEST_GUILESS_MAIN(tst_host_monitor)
#include "tst_host_monitor.moc"
