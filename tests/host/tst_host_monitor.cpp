// The host's core in-process: HostMonitor with the real plugin and driver, against simulated units on
// one RS-485 line that stand still (--speed 0) until a control verb moves them. Each row is a script.
// Then the program around it: arguments, exit statuses and signals.

#include "HostMonitor.h"
#include "MainWindow.h"
#include "TestRig.h"

#include <QListWidget>
#include <QTcpSocket>
#include <QTableWidget>
#include <QtTest>

#include <csignal>

class tst_host_monitor : public QObject
{
    Q_OBJECT
private slots:
    void scripts_data()
    {
        // "ACTION => WANT": after the action, a line from then on must match WANT (a regex), waited for.
        // Actions: start UNITS [UNIT:COMMAND], reload UNITS (B* changes B), shutdown, cmd UNIT NAME[:VALUE] WHO,
        // setting UNIT POINT RAW WHO, UNIT VERB ARGS... (to its simulator), wait, notify UNIT (WANT: its
        // derived events, exactly), file NAME (WANT matches its text), window (WANT matches its unit list,
        // then its newest event), web METHOD PATH [BODY] (to the web console, logged in once a login
        // gave a cookie; "> STATUS BODY"). "> " lines say what an action returned.
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
            "window => ^A\\n.*/host-end addr 1\\ncommunicating \\| ",
            "A silent 60 => A comm: communication lost",
            "window => ^A\\n.*\\ncommunication lost \\| [-: \\d]{19}\\|A\\|(comm|notice|state)\\|",
            "A silent 0 => A comm: communication restored",
            "notify A => COMMBAD COMMOK"};
        QTest::newRow("reload adds, removes, restarts") << QStringList{
            "start A,B => B state:",
            "B bypass off",     // the transfer cannot happen: the command waits
            "cmd B bypass.start admin@192.0.2.7 => B command: bypass.start queued",
            "cmd A bypass.stop console => A command: bypass.stop queued",     // another unit's: B's still waits
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
        QTest::newRow("web console") << QStringList{
            "start A => A state:",
            "web GET /api/units/A => ^> 200 .*\"energyFlow\":\\{\"",
            "web POST /api/units/A/commands/beeper.disable => ^> 403 .*login required",
            "web POST /api/login {\"user\":\"admin\",\"password\":\"pw\"} => ^> 200 .*csrfToken",
            "web POST /api/units/A/commands/beeper.disable => ^> 202 ",
            "wait => A command: beeper.disable confirmed: point 4260 is now 0 \\(by web:admin@127.0.0.1\\)",
            "web PUT /api/units/A/settings/3001 {\"value\":1} => ^> 202 ",
            "wait => A command: setting 3001 queued: setting 3001 = 1 queued \\(by web:admin@127.0.0.1\\)",
            "web POST /api/units/A/fsd => ^> 20",
            "wait => A command: FSD set for the NUT clients \\(by web:admin@127.0.0.1\\)",
            "web GET /api/units/A/events => ^> 200 .*FSD set for the NUT clients"};
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
        QVERIFY(QFile::link(d, appDbDir()) && QDir(d).mkdir("other") && writeFile(d + "/bypass.scn", "at 0 transfer bypass\n")
                && writeFile(d + "/upsd.users", "[admin]\npassword=pw\nactions=SET FSD\ninstcmds=ALL\n")
                && QFile::setPermissions(d + "/upsd.users", QFile::ReadOwner | QFile::WriteOwner));
        // One RS-485 line with the units on it: A at address 1, B at 2, C at 3.
        PtyPair bus;
        SimProcess sim;
        QVERIFY(bus.start("unit-end", "host-end")
                && sim.start({"--no-tcp", "--rtu", bus.a + ",9600,N,8,1", "--units", "3", "--speed", "0"}));
        MessageCapture capture;     // the web console's address
        QByteArray cookie, csrf;
        QStringList lines;      // these outlive the host, which reports as it stops
        QMap<QString, QStringList> notified;
        std::unique_ptr<MainWindow> window;     // after the host is gone, as the program does
        std::unique_ptr<HostMonitor> host;
        const auto load = [&](const QString& units) {
            QByteArray dev;
            for (const QString& u : units.split(','))
                dev += QString("[%1]\nportName=%2\naddr=%3\ninterval=1\nretries=%4\n").arg(u[0]).arg(bus.b)
                           .arg(u[0].unicode() - 'A' + 1).arg(u.endsWith('*') ? 2 : 1).toUtf8();
            const QString param("[host]\nunits=%1\nmaxAge=4\nlogInterval=1\nhistoryDir=%2\n[policy]\nshutdownCmd=echo $UPSNAME >> "
                                "%2/shutdown.txt\nnotifyCmd=echo $UPSNAME $NOTIFYTYPE >> %2/notify.txt\nnotifyRateLimit=0\n"
                                "[nut]\nlisten=off\n[web]\nlisten=%3\n");
            HostConfig config;
            const QString web = steps.filter(QRegularExpression("^web ")).isEmpty() ? "off" : "127.0.0.1:0";
            if (writeFile(d + "/dev.ini", dev) && writeFile(d + "/param.ini", param.arg(QString(units).remove('*'), d, web).toUtf8()))
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
                const bool views = !steps.filter(QRegularExpression("^window")).isEmpty();
                lines += "> " + (host->start(load(w[1]), views, &error) ? "started" : error);
            } else if (w[0] == "reload") {
                lines += "> " + host->reload(load(w[1]));
            } else if (w[0] == "window" && !window) {
                window = std::make_unique<MainWindow>(host.get(), 1);
            } else if (w[0] == "web") {
                const QRegularExpression url("web console on http://127.0.0.1:(\\d+)/");
                QTcpSocket http;
                http.connectToHost(QHostAddress::LocalHost, url.match(capture.lines().join('\n')).captured(1).toUShort());
                const QByteArray body = w.mid(3).join(' ').toUtf8();
                http.write(w[1].toUtf8() + ' ' + w[2].toUtf8() + " HTTP/1.0\r\nContent-Length: " + QByteArray::number(body.size())
                           + "\r\nContent-Type: application/json\r\nCookie: " + cookie + "\r\nX-CSRF-Token: " + csrf + "\r\n\r\n" + body);
                QByteArray reply;
                QVERIFY(QTest::qWaitFor([&] { reply += http.readAll(); return http.state() == QAbstractSocket::UnconnectedState; }, 20000));
                reply += http.readAll();
                if (reply.contains("Set-Cookie: "))
                    cookie = reply.mid(reply.indexOf("Set-Cookie: ") + 12).split(';').first();
                const QString token = QRegularExpression("\"csrfToken\":\"(\\w+)\"").match(reply).captured(1);
                csrf = token.isEmpty() ? csrf : token.toUtf8();
                lines += "> " + reply.split(' ').value(1) + ' ' + QString::fromUtf8(reply.mid(reply.indexOf("\r\n\r\n") + 4)).simplified();
            } else if (w[0] == "shutdown") {
                lines += "> abandoned: " + host->shutdown().join(',');
            } else if (w[0] == "cmd" || w[0] == "setting") {
                UnitDirectory* units = host->directory();     // as the NUT server and the web console send them
                if (!(w[0] == "cmd" ? units->sendCommand(w[1], w[2].section(':', 0, 0), w[2].section(':', 1), w[3], &error)
                                    : units->writeSetting(w[1], w[2].toInt(), w[3].toInt(), w[4], &error)))
                    lines += "> " + error;
            } else if (!QStringList{"notify", "file", "wait", "board", "window", "web"}.contains(w[0])) {
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
                if (w[0] == "window") {
                    QStringList units, event;
                    const auto* list = window->findChild<QListWidget*>("unitList");
                    for (int i = 0; i < list->count(); ++i)
                        units += list->item(i)->text();
                    const auto* log = window->findChild<QTableWidget*>("eventLog");
                    for (int c = 0; c < log->columnCount() && log->rowCount() > 0; ++c)
                        event += log->item(0, c)->text();
                    return match.match(units.join(',') + " | " + event.join('|')).hasMatch();
                }
                return std::any_of(lines.begin() + from, lines.end(), [&](const QString& l) { return match.match(l).hasMatch(); });
            };
            QVERIFY2((want.isEmpty() && w[0] != "notify") || QTest::qWaitFor(seen, 30000),
                     qPrintable(step + "\nlast seen:\n" + lines.join('\n').right(900)));
        }
    }

    // upsmon-host with one unit nobody answers for, headless unless ARGS set a NAME=VALUE environment.
    // A run ends after a second, or at STOP once the unit is reported, within its bound; before that, a
    // SIGHUP finds dev.ini as RELOAD has it.
    void program_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QByteArray>("dev");
        QTest::addColumn<QByteArray>("reload");     // null: no SIGHUP
        QTest::addColumn<int>("stop");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("output");    // fragment of stdout + stderr

        const QByteArray line("[UPS1]\nportName=/dev/null\n");     // opens, and never answers
        const QByteArray none;
        QTest::newRow("help in a plain shell") << QStringList{"--help"} << line << none << 0 << 0 << "unit:name[:value]";
        QTest::newRow("version") << QStringList{"--version"} << line << none << 0 << 0 << "upsmon-host 1.";
        QTest::newRow("check-config clean") << QStringList{"--check-config", "--print"} << line << none << 0 << 0
            << "[UPS1] portName=/dev/null\n";
        QTest::newRow("check-config broken") << QStringList{"--check-config"} << QByteArray("[UPS1]\nport=abc\naddr=300\n")
            << none << 0 << 1 << "dev.ini [UPS1] addr must be a whole number 1-247, not \"300\"";
        QTest::newRow("no usable unit") << QStringList{} << QByteArray("[UPS1]\ncommType=7\n") << none << 0 << 1
            << "not started: the configuration has 2 problem(s) (upsmon-host --check-config)";
        QTest::newRow("unknown unit") << QStringList{"--command", "UPS9:load.off"} << line << none << 0 << 2
            << "unknown unit \"UPS9\"";
        QTest::newRow("bad level") << QStringList{"--level", "3"} << line << none << 0 << 2 << "--level needs a whole number 0-2";
        QTest::newRow("other config dir") << QStringList{"--config", "other"} << line << none << 0 << 1
            << "db; make that a link to other (the package links it to /etc/vek5m)";
        QTest::newRow("plugin missing") << QStringList{"--plugin", "/nonexistent/p.so"} << line << none << 0 << 1 << "not found";
        QTest::newRow("runs, the unit silent") << QStringList{"--answer-timeout", "1", "--duration", "3"} << line << none << 0 << 3
            << "UPS1 error: unit has not answered within 1 s (serial /dev/null addr 1); check its dev.ini group and the line to it";
        QTest::newRow("window") << QStringList{"QT_QPA_PLATFORM=offscreen", "--level", "1"} << line << none << 0 << 3
            << "never answered: UPS1";
        QTest::newRow("SIGTERM") << QStringList{} << line << none << SIGTERM << 3 << "signal 15 (TERM), stopping";
        QTest::newRow("SIGTERM, a collector blocked") << QStringList{} << QByteArray("[UPS1]\ncommType=1\nipAddr=127.0.0.1\nport=1\n")
            << none << SIGTERM << 3 << "collector of UPS1 (tcp 127.0.0.1:1 addr 1) is blocked in a cycle; abandoned";
        QTest::newRow("SIGINT, a command never sent") << QStringList{"--command", "UPS1:beeper.disable"} << line << none << SIGINT
            << 3 << "UPS1 command: beeper.disable not confirmed: the unit never answered; not sent (by console)";
        QTest::newRow("SIGHUP applies") << QStringList{} << line << line + "interval=2\n" << SIGTERM
            << 3 << "signal 1 (HUP): configuration reloaded: 1 units; restarted UPS1; policy, NUT users and limits applied";
        QTest::newRow("SIGHUP refused") << QStringList{} << line << QByteArray("[UPS1]\nport=abc\n") << SIGTERM << 3
            << "signal 1 (HUP): reload refused, the running configuration stays (2 problem(s))";
    }

    void program()
    {
        QFETCH(QStringList, args);
        QFETCH(QByteArray, dev);
        QFETCH(QByteArray, reload);
        QFETCH(int, stop);
        QFETCH(int, exitCode);
        QFETCH(QString, output);

        const QString app = hostAppDir("program");
        QTemporaryDir work;     // the host's working and state directory
        QVERIFY(!app.isEmpty() && QDir(work.path()).mkdir("other"));
        const QString conf = app + "/PVMX/drovaPanel/db";
        for (const QString& dir : {conf, work.path() + "/other"})
            QVERIFY(writeFile(dir + "/param.ini", "[host]\nunits=UPS1\n[nut]\nlisten=127.0.0.1:0\n[web]\nlisten=127.0.0.1:0\n")
                    && writeFile(dir + "/dev.ini", dev));
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const char* v : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
            env.remove(v);
        env.insert("UPSMON_STATE_DIR", work.path());
        for (const QString& a : args.filter(QRegularExpression("^[A-Z_]+=")))
            env.insert(a.section('=', 0, 0), a.section('=', 1)), args.removeOne(a);
        QProcess host;
        host.setProcessEnvironment(env);
        host.setWorkingDirectory(work.path());
        host.setProcessChannelMode(QProcess::MergedChannels);
        host.start(app + "/upsmon-host", QStringList{"--duration", stop ? "60" : "1"} + args);    // the last one counts
        QString out;
        const auto seen = [&](const QString& text) {
            return QTest::qWaitFor([&] { return (out += QString::fromUtf8(host.readAll())).contains(text); }, 30000);
        };
        if (stop) {
            QVERIFY2(seen("UPS1 state:"), qPrintable(out));
            if (!reload.isNull()) {
                QVERIFY(writeFile(conf + "/dev.ini", reload));
                ::kill(pid_t(host.processId()), SIGHUP);
                QVERIFY2(seen("signal 1 (HUP)"), qPrintable(out));
            }
            ::kill(pid_t(host.processId()), stop);
        }
        QElapsedTimer sinceStop;
        sinceStop.start();
        QVERIFY(host.waitForFinished(30000));
        // Within 3 s (2 s joining, 1 s for a loaded machine).
        QVERIFY2(!stop || sinceStop.elapsed() < 4000, qPrintable(QString::number(sinceStop.elapsed())));
        out += QString::fromUtf8(host.readAll());
        QCOMPARE(host.exitStatus(), QProcess::NormalExit);
        QVERIFY2(host.exitCode() == exitCode && out.contains(output), qPrintable(out));
    }
};

QTEST_MAIN(tst_host_monitor)
#include "tst_host_monitor.moc"
