// The host's logic without the plugin: status model, poller, policy, configuration, log and texts.

#include <QtTest>

#include "CollectThread.h"
#include "CommandTable.h"
#include "ConfinedDirectory.h"
#include "ConsoleOutput.h"
#include "DataLog.h"
#include "EventFormatter.h"
#include "HistoryCodeMap.h"
#include "HostConfig.h"
#include "HostOptions.h"
#include "LogFilter.h"
#include "Policy.h"
#include "PolicyRunner.h"
#include "StatusModel.h"
#include "TestBytes.h"
#include "UnitPoller.h"

#include <memory>

#include <sys/stat.h>
#include <unistd.h>

namespace {

// An online unit with a full battery.
const char* const kBase = "4101=3,4223=1,4218=0,4259=0,4111=100,4110=26";

QMap<int, QVariant> points(const QString& pairs)
{
    QMap<int, QVariant> data;
    for (const QString& pv : pairs.split(',', Qt::SkipEmptyParts)) {
        const QStringList kv = pv.split('=');
        data.insert(kv.at(0).toInt(), QVariant(kv.at(1).toFloat()));
    }
    return data;
}

// Processes of a group still running (a zombie may wait for a parent that never reaps it).
int liveMembers(int group)
{
    int live = 0;
    for (const QString& pid : QDir("/proc").entryList(QDir::Dirs)) {
        QFile f("/proc/" + pid + "/stat");
        const QByteArray stat = f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
        const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');  // state ppid pgrp
        live += fields.size() > 2 && fields.at(2).toInt() == group && fields.at(0) != "Z";
    }
    return live;
}

// poll() as the plugin's: a cycle ending in a data report once the interval is up, or when a command waits.
class RuleCollector : public CollectThread
{
public:
    int control(int, QString) override { ++commands; return 1; }
    void poll() override
    {
        ++polls;
        const qint64 now = time(nullptr);
        if (now < next && commands == commandsRun)
            return;
        next = now + m_interval;
        commandsRun = commands.load();
        ++cycles;
        emit postDEvent(EventType::DataReport, {});
    }
    std::atomic<int> polls{0}, cycles{0}, commands{0};
    int commandsRun = 0;
    qint64 next = 0;
};

} // namespace

class tst_host : public QObject
{
    Q_OBJECT
private slots:
    void status_data()
    {
        QTest::addColumn<QString>("steps");     // "@SECONDS", "d POINTS" (base = kBase; D: only these), "c ok|lost", "t", "f 1|0"
        QTest::addColumn<double>("chargeLow");
        QTest::addColumn<double>("runtimeLow");
        QTest::addColumn<QString>("flags");
        QTest::addColumn<QString>("events");
        QTest::addColumn<QString>("values");    // "name=value;..." ("alarms" lists active indexes)
        QTest::newRow("first report on line") << "d base" << -1.0 << -1.0 << "OL" << ""
            << "battery.charge=100;battery.runtime=1560;device.type=ups;alarms=;ups.model=vek5m 10-30k;battery.charge.low=";
        QTest::newRow("first report on battery") << "d 4101=4,4223=1" << -1.0 << -1.0 << "OB DISCHRG" << "ONBATT" << "";
        QTest::newRow("mains failure") << "d base;d 4101=4" << -1.0 << -1.0 << "OB DISCHRG" << "ONBATT" << "";
        QTest::newRow("bypass") << "d base;d 4218=1" << -1.0 << -1.0 << "OL BYPASS" << "ONBYPASS" << "";
        QTest::newRow("output off after discharge") << "d base;d 4101=4;d 4101=2,4223=0" << -1.0 << -1.0
            << "CHRG OFF" << "ONBATT OFF" << "";
        QTest::newRow("comm lost and back") << "c ok;c lost;c lost;c ok" << -1.0 << -1.0 << "" << "COMMBAD COMMOK" << "";
        QTest::newRow("back on line") << "d base;d 4101=4;d 4101=2" << -1.0 << -1.0 << "OL CHRG" << "ONBATT ONLINE" << "";
        QTest::newRow("low battery alarm") << "d base;d 4101=4;d 2022=1" << -1.0 << -1.0
            << "ALARM OB LB DISCHRG" << "ONBATT LOWBATT" << "alarms=22:catalogue 22";
        QTest::newRow("charge below chargeLow") << "d base,4101=4,4111=15" << 20.0 << -1.0
            << "OB LB DISCHRG" << "ONBATT LOWBATT" << "battery.charge.low=20";
        QTest::newRow("runtime below runtimeLow") << "d base,4101=4,4110=1" << -1.0 << 120.0
            << "OB LB DISCHRG" << "ONBATT LOWBATT" << "battery.runtime=60;battery.runtime.low=120";
        QTest::newRow("low charge on line is no LB") << "d base,4101=2,4111=5" << 20.0 << 600.0 << "OL CHRG" << "" << "";
        QTest::newRow("overload") << "d base;d 2141=1,2019=1" << -1.0 << -1.0 << "ALARM OL OVER" << "OVERLOAD"
            << "alarms=19:catalogue 19,141:catalogue 141";
        QTest::newRow("alarm cleared") << "d base,2141=1;d 2141=0" << -1.0 << -1.0 << "OL" << "OVERLOAD" << "alarms=";
        QTest::newRow("points gone from the report") << "D 2141=1,4223=1,4111=50;D 2141=1,4111=50;D 4101=2" << -1.0 << -1.0
            << "CHRG" << "OVERLOAD" << "alarms=;battery.charge=";
        QTest::newRow("alarm beyond the catalogue") << "d base,2400=1" << -1.0 << -1.0 << "ALARM OL" << "" << "alarms=400:";
        QTest::newRow("battery test") << "d base,4259=1" << -1.0 << -1.0 << "OL TEST" << "" << "";
        QTest::newRow("never answered") << "c lost;c ok" << -1.0 << -1.0 << "" << "NOCOMM COMMOK" << "";
        QTest::newRow("stale without any report") << "@14;t;@15;t;@40;t" << -1.0 << -1.0 << "" << "STALE" << "stale=true";
        QTest::newRow("report ends stale") << "@16;t;d base" << -1.0 << -1.0 << "OL" << "STALE" << "stale=false;age=0";
        QTest::newRow("stale again after a report") << "@16;t;d base;@30;t;@31;t" << -1.0 << -1.0 << "OL" << "STALE STALE"
            << "stale=true;age=15";
        QTest::newRow("ageing") << "d base;@5;t" << -1.0 << -1.0 << "OL" << "" << "stale=false;age=5";
        QTest::newRow("forced shutdown") << "d base,4101=4;f 1;f 1" << -1.0 << -1.0 << "OB DISCHRG FSD" << "ONBATT FSD" << "";
        QTest::newRow("forced shutdown ends") << "d base;f 1;f 0" << -1.0 << -1.0 << "OL" << "FSD" << "";
        QTest::newRow("values")
            << "d 4016=86,4017=69,4018=75,4019=0,4184=30,4185=50,4186=40,4243=20,4260=0,4133=231,4241=41,4242=45,"
               "4134=229,4135=224,4166=10,4167=12,4168=11,4178=2,4179=3,4180=4.5"
            << -1.0 << -1.0 << "" << ""
            << "device.model=VEK;ups.model=VEK;ups.load=50;ups.power.nominal=20000;ups.beeper.status=disabled;"
               "input.L1-N.voltage=231;ups.temperature=45;input.voltage=228;output.current=12;ups.realpower=9500";
        QTest::newRow("single-phase output") << "d 4162=1,4163=230,4164=0,4165=0" << -1.0 << -1.0 << "" << ""
            << "output.voltage=230;input.voltage=";
    }

    void status()
    {
        QFETCH(QString, steps);
        QFETCH(double, chargeLow);
        QFETCH(double, runtimeLow);
        QFETCH(QString, values);

        QStringList catalogue;
        for (int i = 0; i < 200; ++i)
            catalogue += QStringLiteral("catalogue %1").arg(i);
        catalogue += catalogue;     // the disappearance half
        StatusModel model(QStringLiteral("U1"), catalogue, StatusModel::Limits{chargeLow, runtimeLow}, 0);

        qint64 now = 0;
        QMap<int, QVariant> data;
        QStringList raised;
        for (const QString& step : steps.split(';')) {
            QList<DerivedEvent> out;
            const QString arg = step.mid(2).replace(QLatin1String("base"), QLatin1String(kBase));
            if (step.startsWith('@'))
                now = step.mid(1).toLongLong() * 1000;
            else if (step.startsWith('d') || step.startsWith('D')) {
                const auto update = points(arg);
                if (step.startsWith('D'))
                    data.clear();
                for (auto it = update.begin(); it != update.end(); ++it)
                    data.insert(it.key(), it.value());
                out = model.updateData(data, now);
            } else if (step.startsWith('c'))
                out = model.updateComm(arg == "ok" ? UnitStatus::Comm::Ok : UnitStatus::Comm::Lost, now);
            else if (step.startsWith('t'))
                out = model.tick(now);
            else if (step.startsWith('f'))
                out = model.setForcedShutdown(arg == "1");
            for (const DerivedEvent& e : out) {
                QCOMPARE(e.unit, QStringLiteral("U1"));
                QVERIFY2(e.message.contains("U1"), qPrintable(e.message));
                raised += e.name;
            }
        }

        const UnitStatus& s = model.status();
        QTEST(s.flags.join(' '), "flags");
        QTEST(raised.join(' '), "events");
        for (const QString& check : values.split(';', Qt::SkipEmptyParts)) {
            const QString name = check.section('=', 0, 0), want = check.section('=', 1);
            QString got;
            if (name == "alarms") {
                QStringList list;
                for (const ActiveAlarm& a : s.alarms)
                    list += QStringLiteral("%1:%2").arg(a.index).arg(a.text);
                got = list.join(',');
            } else if (name == "stale") {
                got = s.stale ? "true" : "false";
            } else if (name == "age") {
                got = QString::number(s.dataAgeSeconds);
            } else {
                got = s.values.value(name).toString();
            }
            QCOMPARE(got, want);
        }
    }

    void poller_data()
    {
        QTest::addColumn<int>("interval");
        QTest::addColumn<QString>("action");    // once the first cycle has run
        QTest::addColumn<int>("cycles");        // in all before the poller is stopped
        QTest::newRow("a command wakes the sleeper") << 3600 << "command" << 2;
        QTest::newRow("stop wakes the sleeper") << 3600 << "stop" << 1;
        QTest::newRow("every second, no spin") << 1 << "" << 4;
    }

    // The bounds are for a loaded machine; the faults they catch take an hour.
    void poller()
    {
        QFETCH(int, interval);
        QFETCH(QString, action);
        QFETCH(int, cycles);
        RuleCollector collector;
        collector.m_interval = interval;
        UnitPoller poller(&collector, interval);
        const auto join = qScopeGuard([&] { poller.stop(); poller.wait(10000); });
        poller.start();
        QVERIFY(QTest::qWaitFor([&] { return collector.cycles >= 1; }, 10000));
        if (action == "command")
            poller.queueCommand(2001, QString());
        else if (action == "stop")
            poller.stop();
        QVERIFY(QTest::qWaitFor([&] { return collector.cycles >= cycles; }, 20000));
        poller.stop();
        QVERIFY(poller.wait(5000));
        QCOMPARE(collector.commands.load(), action == "command" ? 1 : 0);
        QVERIFY2(collector.polls <= 2 * collector.cycles + 1, qPrintable(QString::number(collector.polls)));
    }

    void decisions_data()
    {
        QTest::addColumn<QString>("settings");  // "lowBattery=0 onBatteryDelay=S grace=S"
        QTest::addColumn<QString>("steps");     // "@S UNIT=FLAG,FLAG[!lost|~stale] ..." separated by ';'
        QTest::addColumn<QString>("decisions"); // per step: "shutdown:UNIT +FSD -FSD", '|' between steps

        QTest::newRow("on line") << "" << "@0 U1=OL;@100 U1=OL" << "|";
        QTest::newRow("on battery, no delay") << "" << "@0 U1=OB;@1000 U1=OB" << "|";
        QTest::newRow("low battery on battery") << "" << "@0 U1=OB;@5 U1=OB,LB;@6 U1=OB,LB"
            << "|shutdown:U1 +U1|";
        QTest::newRow("low battery ignored") << "lowBattery=0" << "@0 U1=OB,LB;@60 U1=OB,LB" << "|";
        QTest::newRow("LB on line is no reason") << "" << "@0 U1=OL,LB" << "";
        QTest::newRow("on battery too long") << "onBatteryDelay=30" << "@0 U1=OB;@29 U1=OB;@30 U1=OB"
            << "||shutdown:U1 +U1";
        QTest::newRow("back on line in time") << "onBatteryDelay=30" << "@0 U1=OB;@20 U1=OL;@40 U1=OB;@60 U1=OB"
            << "|||";
        QTest::newRow("silent on battery") << "grace=15" << "@0 U1=OB;@5 U1=OB!;@19 U1=OB!;@20 U1=OB~"
            << "|||shutdown:U1 +U1";
        QTest::newRow("silent on line") << "grace=15" << "@0 U1=OL;@5 U1=OL!;@60 U1=OL!" << "||";
        QTest::newRow("one shutdown per episode, every unit marked") << ""
            << "@0 U1=OB,LB U2=OB;@5 U1=OB,LB U2=OB,LB;@10 U1=OL U2=OL;@20 U1=OB,LB U2=OL"
            << "shutdown:U1 +U1|+U2|-U1 -U2|shutdown:U1 +U1";
        QTest::newRow("episode lasts while a unit is on battery") << ""
            << "@0 U1=OB,LB U2=OB;@5 U1=OL U2=OB;@6 U1=OB,LB U2=OB;@7 U1=OL U2=OL"
            << "shutdown:U1 +U1|||-U1";
    }

    void decisions()
    {
        QFETCH(QString, settings);
        QFETCH(QString, steps);

        PolicySettings ps;
        for (const QString& kv : settings.split(' ', Qt::SkipEmptyParts)) {
            const int v = kv.section('=', 1).toInt();
            if (kv.startsWith("lowBattery"))
                ps.lowBattery = v != 0;
            else if (kv.startsWith("onBatteryDelay"))
                ps.onBatteryDelay = v;
            else
                ps.commLostOnBatteryGrace = v;
        }
        Policy policy(ps);
        QStringList got;
        for (const QString& step : steps.split(';')) {
            const QStringList parts = step.split(' ');
            QList<UnitStatus> units;
            for (const QString& u : parts.mid(1)) {
                UnitStatus s;
                s.unit = u.section('=', 0, 0);
                QString flags = u.section('=', 1);
                s.comm = flags.endsWith('!') ? UnitStatus::Comm::Lost : UnitStatus::Comm::Ok;
                s.stale = flags.endsWith('~');
                flags.remove('!').remove('~');
                s.flags = flags.split(',');
                units += s;
            }
            const Policy::Decision d = policy.evaluate(units, parts.at(0).mid(1).toLongLong() * 1000);
            QStringList out;
            if (d.runShutdown) {
                out += "shutdown:" + d.unit;
                QVERIFY(policy.inEpisode() && d.reason.contains(d.unit));
            }
            for (const QString& u : d.forceOn)
                out += "+" + u;
            for (const QString& u : d.forceOff)
                out += "-" + u;
            got += out.join(' ');
        }
        QTEST(got.join('|'), "decisions");
    }

    void notifyRate_data()
    {
        QTest::addColumn<int>("limit");
        QTest::addColumn<QString>("times");     // seconds of the requests
        QTest::addColumn<QString>("allowed");   // 1/0 per request

        QTest::newRow("unlimited") << 0 << "0 0 0 0" << "1111";
        QTest::newRow("two a minute") << 2 << "0 1 2 59 60 61 62" << "1100110";
        QTest::newRow("refused ones do not count") << 1 << "0 30 59 60" << "1001";
    }

    void notifyRate()
    {
        QFETCH(int, limit);
        QFETCH(QString, times);

        PolicySettings ps;
        ps.notifyRateLimit = limit;
        Policy policy(ps);
        QString got;
        for (const QString& t : times.split(' '))
            got += policy.allowNotify(t.toLongLong() * 1000) ? '1' : '0';
        QTEST(got, "allowed");
    }

    void runner_data()
    {
        QTest::addColumn<QString>("shutdownCmd");
        QTest::addColumn<QString>("notifyCmd");
        QTest::addColumn<bool>("dryRun");
        QTest::addColumn<QString>("calls");   // s shutdown, n notify, g shutdown through a gate proceeding twice, x stop
        QTest::addColumn<QStringList>("reports");
        const QString running = "running shutdownCmd: U1 is on battery";
        const QString wouldRun = "dry run: would run shutdownCmd \"poweroff\" with UPSNAME=U1 NOTIFYTYPE=ONBATT";
        QTest::newRow("dry run") << "poweroff" << "" << true << "s" << QStringList{running, wouldRun};
        QTest::newRow("gate proceeds once") << "poweroff" << "" << true << "g" << QStringList{running, wouldRun};
        QTest::newRow("no shutdownCmd") << "" << "" << false << "sn"
                                        << QStringList{"shutdown policy fired (U1 is on battery) but no shutdownCmd is set"};
        QTest::newRow("failing command") << "exit 3" << "" << false << "s" << QStringList{running, "shutdownCmd exited with status 3"};
        QTest::newRow("notify over the limit") << "" << "true" << false << "nn"
                                               << QStringList{"notifyCmd not run for ONBATT: more than 1 a minute"};
        // The command's group, a background job included, is gone after either.
        const QString hanging = "echo $$ > group.pid; sleep 600 & wait";
        QTest::newRow("hanging notify, timed out") << "" << hanging << false << "n"
                                                   << QStringList{"notifyCmd ran longer than 1 s; stopped with its process group"};
        QTest::newRow("hanging shutdown, host stops") << hanging << "" << false << "sx"
            << QStringList{running, "shutdownCmd still running as the host stops; stopped with its process group"};
    }

    void runner()
    {
        QFETCH(QString, calls);
        QFETCH(QStringList, reports);
        PolicySettings settings;
        QFETCH(QString, shutdownCmd);
        QFETCH(QString, notifyCmd);
        QFETCH(bool, dryRun);
        settings.shutdownCmd = shutdownCmd;
        settings.notifyCmd = notifyCmd;
        settings.notifyRateLimit = 1;
        settings.notifyTimeout = 1;
        QFile::remove("group.pid");
        PolicyRunner runner;
        runner.configure(settings, dryRun);
        if (calls.contains('g'))
            runner.setShutdownGate([](std::function<void()> proceed) { proceed(); proceed(); });
        QStringList got;
        connect(&runner, &PolicyRunner::report, this, [&got](const QString& unit, const QString& text) { got += unit + ": " + text; });
        const DerivedEvent event{"U1", "ONBATT", "U1 is on battery"};
        const auto started = [] { return QFileInfo("group.pid").size() > 0; };
        for (QChar call : calls) {
            if (call == 'x')
                QVERIFY(QTest::qWaitFor(started, 10000));
            call == 'n' ? runner.notify(event) : call == 'x' ? runner.stopAll() : runner.shutdown(event);
        }
        QVERIFY(QTest::qWaitFor([&] { return got.size() >= reports.size(); }, 10000));
        QCOMPARE(got, reports.replaceInStrings(QRegularExpression("^"), "U1: "));
        if (started()) {
            QFile pid("group.pid");
            QVERIFY(pid.open(QIODevice::ReadOnly));
            const int group = pid.readAll().trimmed().toInt();
            QVERIFY(QTest::qWaitFor([group] { return liveMembers(group) == 0; }, 10000));
        }
    }

    void check_data()
    {
        QTest::addColumn<QByteArray>("param");
        QTest::addColumn<QByteArray>("dev");
        QTest::addColumn<QString>("problems");  // fragments, in order: "where key|where key|..."
        QTest::addColumn<QString>("units");     // "NAME:target:poll" of the units

        const QByteArray tcp = "[UPS1]\ncommType=1\nipAddr=10.0.0.5\nport=502\naddr=3\ninterval=5\n";
        const QByteArray units = "[host]\nunits=UPS1\n";
        const QString ups1 = "UPS1:tcp 10.0.0.5:502 addr 3:interval";
        QTest::newRow("good") << units << tcp << "" << ups1;
        QTest::newRow("list with blanks, timer") << QByteArray("Language=0\n[host]\nunits= UPS1 , S\npollMode=timer\n")
            << tcp + "[S]\nportName=/dev/null\naddr=247\n" << "" << "UPS1:tcp 10.0.0.5:502 addr 3:timer S:serial /dev/null addr 247:timer";
        QTest::newRow("unit overrides pollMode") << QByteArray("[host]\nunits=UPS1\npollMode=timer\n")
            << tcp + "pollMode=interval\n" << "" << ups1;
        QTest::newRow("no units") << QByteArray("[host]\nlogInterval=5\n") << tcp << "no unit configured" << "";
        QTest::newRow("unit twice, group missing") << QByteArray("[host]\nunits=UPS1,UPSX,UPS1\n") << tcp
            << "[UPSX] for unit|units lists UPS1 twice" << ups1;
        QTest::newRow("bad unit values") << QByteArray("[host]\nunits=B\n")
            << QByteArray("[B]\ncommType=7\nport=abc\naddr=300\ninterval=0\nportName=\n")
            << "[B] commType|[B] addr|[B] interval|[B] port|[B] portName" << "B:serial  addr 1:interval";
        QTest::newRow("tcp address") << QByteArray("[host]\nunits=T,U\n")
            << QByteArray("[T]\ncommType=1\nport=0\n[U]\ncommType=1\nipAddr=not..an..ip\n")
            << "[T] port|[T] ipAddr is missing|[U] ipAddr \"not..an..ip\" is neither" << "T:tcp :502 addr 1:interval U:tcp not..an..ip:502 addr 1:interval";
        QTest::newRow("host and policy keys") << units + "pollMode=fast\nmaxAge=1\n[policy]\nchargeLow=abc\nlowBattery=maybe\nnotifyMaxRunning=0\nchargelow=5\n"
            << tcp << "[host] maxAge|[host] pollMode|[policy] chargeLow|[policy] lowBattery|[policy] notifyMaxRunning|[policy] chargelow is not a known"
            << ups1;
        QTest::newRow("broken lines") << units + "[nut\nlisten=x\nnothing here\n[host]\n" << tcp
            << "line 3: \"[nut\" is not|line 4: listen belongs to no|line 5: \"nothing here\"" << ups1;
        QTest::newRow("key twice") << units + "logInterval=5\nlogInterval=6\n" << tcp << "logInterval is set twice" << ups1;
        QTest::newRow("servers") << units + "[nut]\nlisten=garbage\nmaxClients=-1\nmaxAge=soon\n[metrics]\nlisten=1.2.3.4.5:0\n"
            << tcp << "[nut] listen|[nut] maxClients|[nut] maxAge|[metrics] listen" << ups1;
        QTest::newRow("web") << units + "[web]\nlisten=nowhere\ncertificate=cert.pem\nviewWithoutLogin=perhaps\nmaxClients=1\n" << tcp
            << "[web] listen|[web] certificate /|[web] key is missing|[web] viewWithoutLogin|[web] maxClients" << ups1;
        QTest::newRow("web key without certificate") << units + "[web]\nlisten=8081\nkey=/proc/version\n" << tcp
            << "[web] certificate is missing: HTTPS needs both" << ups1;
        QTest::newRow("shutdownCmd program") << units + "[policy]\nshutdownCmd=/nonexistent/poweroff -f\n" << tcp
            << "program \"/nonexistent/poweroff\" not found" << ups1;
        QTest::newRow("shutdownCmd not executable") << units + "[policy]\nshutdownCmd=/proc/version\n" << tcp
            << "/proc/version is not executable" << ups1;
        QTest::newRow("shell words pass") << units + "[policy]\nshutdownCmd=exec sync;poweroff\n" << tcp << "" << ups1;
        QTest::newRow("host name") << units << QByteArray("[UPS1]\ncommType=1\nipAddr=ups-1.lan\n") << "" << "UPS1:tcp ups-1.lan:502 addr 1:interval";
        QTest::newRow("users file readable by anyone") << units + "[nut]\nusers=/proc/version\n" << tcp
            << "/proc/version is readable by anyone; it holds passwords (chmod 640 or 600)" << ups1;
        QTest::newRow("no dev.ini") << units << QByteArray() << "dev.ini does not exist" << "";
        QTest::newRow("no param.ini") << QByteArray() << tcp << "param.ini does not exist" << "";
        QTest::newRow("shutdownCmd a directory") << units + "[policy]\nshutdownCmd=/tmp\n" << tcp << "/tmp is not executable" << ups1;
        QTest::newRow("shutdownCmd on the PATH") << units + "[policy]\nshutdownCmd=sync -f\n" << tcp << "" << ups1;
    }

    void check()
    {
        QFETCH(QByteArray, param);
        QFETCH(QByteArray, dev);
        QFETCH(QString, problems);

        QTemporaryDir dir;
        QVERIFY((param.isNull() || writeFile(dir.filePath("param.ini"), param)) && (dev.isNull() || writeFile(dir.filePath("dev.ini"), dev)));
        HostConfig config;
        config.load(dir.path());
        const QStringList got = config.problems();
        const QStringList wanted = problems.split('|', Qt::SkipEmptyParts);
        QVERIFY2(got.size() == wanted.size(), qPrintable(got.join('\n')));
        for (int i = 0; i < wanted.size(); ++i)
            QVERIFY2(got.at(i).contains(wanted.at(i)), qPrintable(got.at(i) + " / " + wanted.at(i)));
        QStringList listed;
        for (const UnitSettings& u : config.unitSettings())
            listed += QStringLiteral("%1:%2:%3").arg(u.name, u.target(), u.pollMode == UnitSettings::PollTimer ? "timer" : "interval");
        QTEST(listed.join(' '), "units");
    }

    // --as-user: whether the service's user may read upsd.users, as the kernel would decide.
    void usersFileRights_data()
    {
        QTest::addColumn<QString>("owner");     // "uid:gid" of the file
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("user");
        QTest::addColumn<QString>("problem");   // how the problem ends; empty: none
        QTest::newRow("others may not read") << "0:0" << 0640 << "nobody" << "is not readable by user nobody (owner 0, group root, mode 640)";
        QTest::newRow("all may read") << "0:0" << 0644 << "nobody" << "is readable by anyone; it holds passwords (chmod 640 or 600)";
        QTest::newRow("owner may read") << "65534:0" << 0400 << "nobody" << "";
        QTest::newRow("group may read") << "0:65534" << 0040 << "nobody" << "";
        QTest::newRow("owner may not, group may") << "65534:65534" << 0040 << "nobody" << "(owner 65534, group nogroup, mode 040)";
        QTest::newRow("group may not, others may") << "0:65534" << 0604 << "nobody" << "(owner 0, group nogroup, mode 604)";
        QTest::newRow("root reads all") << "65534:65534" << 0 << "root" << "";
        QTest::newRow("no such user") << "0:0" << 0644 << "nosuchuser" << "names user nosuchuser, who does not exist";
    }

    void usersFileRights()
    {
        QFETCH(QString, owner);
        QFETCH(int, mode);
        QFETCH(QString, problem);
        if (::geteuid() != 0)
            QSKIP("giving the file to another user needs root");
        QTemporaryDir dir;
        const QByteArray users = QFile::encodeName(dir.filePath("upsd.users"));
        QVERIFY(writeFile(dir.filePath("param.ini"), "[host]\nunits=U\n") && writeFile(dir.filePath("dev.ini"), "[U]\ncommType=1\nipAddr=::1\n")
                && writeFile(users, "[admin]\npassword=pw\n"));
        QVERIFY(::chown(users.constData(), owner.section(':', 0, 0).toUInt(), owner.section(':', 1).toUInt()) == 0
                && ::chmod(users.constData(), mode_t(mode)) == 0);
        HostConfig config;
        QFETCH(QString, user);
        config.load(dir.path(), ConfigOverrides{{}, {}, {}, user});
        const QString got = config.problems().join('|');
        QVERIFY2(problem.isEmpty() ? got.isEmpty() : got.endsWith(problem), qPrintable(got));
    }

    // Every host text setting reaches its user exactly as written.
    void verbatim_data()
    {
        QTest::addColumn<QByteArray>("line");   // after "notifyCmd="
        QTest::newRow("semicolon") << QByteArray("sync; echo done >> /var/log/x");
        QTest::newRow("hash and comma") << QByteArray("logger -t ups '#1, #2'");
        QTest::newRow("quotes and equals") << QByteArray("\"a=b\" 'c'");
        QTest::newRow("spaces and tabs around") << QByteArray("  wall\tnow \t ");
        QTest::newRow("utf-8") << QByteArray("echo Überspannung ⚡");
        QTest::newRow("empty") << QByteArray("");
    }

    void verbatim()
    {
        QFETCH(QByteArray, line);
        QTemporaryDir dir;
        QVERIFY(writeFile(dir.filePath("param.ini"), "[policy]\r\nnotifyCmd=" + line + "\r\n; notifyCmd=no\n[host]\nunits=U\n")
                && writeFile(dir.filePath("dev.ini"), "[U]\ncommType=1\nipAddr=::1\n"));
        HostConfig config;
        config.load(dir.path());
        QVERIFY2(config.problems().isEmpty(), qPrintable(config.problems().join('\n')));
        const QString command = QString::fromUtf8(line);
        QCOMPARE(config.policy().notifyCmd, command);
        QVERIFY(config.effective().contains("[policy] notifyCmd=" + command));
        // --check-config --print shows what the command line put in place of the file's.
        config.load(dir.path(), ConfigOverrides{"[::1]:3493", "off", "off", {}});
        QVERIFY2(config.problems().isEmpty() && config.web().listen.isEmpty(), qPrintable(config.problems().join('\n')));
        for (const char* line : {"[nut] listen=[::1]:3493 (--nut-listen)", "[metrics] listen=off (--metrics-listen)",
                                 "[web] listen=off (--web-listen)"})
            QVERIFY2(config.effective().contains(line), line);
        // What --dry-run shows is what would run.
        PolicySettings policy = config.policy();
        policy.notifyCmd += "x";    // an empty command is not run at all
        PolicyRunner runner;
        runner.configure(policy, true);
        QString shown;
        connect(&runner, &PolicyRunner::report, this, [&shown](const QString&, const QString& text) { shown = text; });
        runner.notify(DerivedEvent{"U", "ONBATT", ""});
        QVERIFY2(shown.startsWith("dry run: would run notifyCmd \"" + command + "x\" with"), qPrintable(shown));
    }

    void logFilter_data()
    {
        QTest::addColumn<QString>("lines");     // "SECONDS[w|i]:text" separated by '|' (w: a warning, i: info, else debug)
        QTest::addColumn<QString>("printed");

        QTest::newRow("distinct lines, the plugin's tagged") << "0:a|0i:b" << "plugin: a|b";
        QTest::newRow("repeats counted") << "0i:a|1i:a|2i:a|59i:a|60i:a|61i:a|121i:a" << "a|a (repeated 4 times)|a (repeated 2 times)";
        QTest::newRow("warnings always") << "0w:x|0w:x" << "x|x";
    }

    void logFilter()
    {
        QFETCH(QString, lines);

        LogFilter filter;
        QStringList out;
        for (const QString& l : lines.split('|')) {
            const QString head = l.section(':', 0, 0);
            const QtMsgType type = head.endsWith('w') ? QtWarningMsg : head.endsWith('i') ? QtInfoMsg : QtDebugMsg;
            out += filter.filter(type, l.section(':', 1), QString(head).remove('w').remove('i').toLongLong() * 1000);
        }
        QTEST(out.join('|'), "printed");
    }

    void texts_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("output");
        const auto row = [](const char* call, const QString& input, const QString& output) {
            QTest::addRow("%s %s", call, qPrintable(input)) << QString(call) << input << output;
        };
        // options: arguments with a display; "mode dDURATION lLEVEL UNIT/NAME/VALUE..." or the error.
        row("options", "", "window d0 l2");
        row("options", "--duration 5 --level 0 --headless", "headless d5 l0");
        row("options", "--command UPS1:beeper.disable --command U:1004:5", "window d0 l2 UPS1/beeper.disable/ U/1004/5");
        row("options", "--metrics-listen off --nut-listen off --web-listen off", "window d0 l2");
        row("options", "--check-config", "headless d0 l2");
        row("options", "--level 3", "--level needs a whole number 0-2, got \"3\"");
        row("options", "--command 1007", "--command needs UNIT:NAME[:VALUE], got \"1007\"");
        row("options", "--print", "--print and --as-user go with --check-config");
        row("options", "--metrics-listen localhost:9100", "--metrics-listen: metrics listen address needs ADDR:PORT (IPv4 or [IPv6] address, port 0-65535), got \"localhost:9100\"");
        row("options", "--nut-listen garbage", "--nut-listen: \"garbage\" is not ADDR:PORT");
        row("options", "--web-listen [::1]:x", "--web-listen: \"[::1]:x\" is not ADDR:PORT (IPv4 or [IPv6] address, port 0-65535) or off");
        row("options", "--bogus", "Unknown option 'bogus'.");
        row("options", "stray", "unexpected argument: stray");
        row("options", "--duration soon", "--duration needs a whole number 1-31536000, got \"soon\"");
        row("options", "--command U:self.destruct", "--command U:self.destruct: unknown command \"self.destruct\" (see --help)");
        row("options", "--command U:beeper.disable:1", "--command U:beeper.disable:1: beeper.disable takes no value, got \"1\"");
        // command: "NAME:VALUE" -> "ID sent CONFIRM-POINT=VALUE", the refusal, or "none".
        row("command", "beeper.disable:", "1010 '' 4260=0");
        row("command", "beeper.disable:1", "beeper.disable takes no value, got \"1\"");
        row("command", "1003:", "1003 '0' 4259=1");
        row("command", "load.on:", "1008 '0' 4223=1");
        row("command", "vek5.wakeup:", "1013 '1' 4223=1");
        row("command", "test.battery.start:90", "1004 '90' 4259=1");
        row("command", "test.battery.start:0", "test.battery.start needs a number of minutes 1-65535, got \"0\"");
        row("command", "vek5.history.download:h.csv", "1045 'h.csv' 0=0");
        row("command", "1045:../h.csv", "vek5.history.download needs a file name without a path (no \"/\", not \"..\"), got \"../h.csv\"");
        row("command", "1045:a\\b", "vek5.history.download needs a file name without a path (no \"/\", not \"..\"), got \"a\\b\"");
        row("command", "1045:", "vek5.history.download needs a file name without a path (no \"/\", not \"..\"), got \"\"");
        row("command", "lod.off:", "none");
        // confined: a history file name in DIR, which holds h.csv, sub/, in.csv -> h.csv and out.csv -> ../h.csv.
        row("confined", "h.csv", "DIR/h.csv");
        row("confined", "in.csv", "DIR/h.csv");
        row("confined", "out.csv", "\"out.csv\" is not a file of the history directory DIR");
        row("confined", "../h.csv", "\"../h.csv\" is not a file of the history directory DIR");
        row("confined", "sub/h.csv", "\"sub/h.csv\" is not a file of the history directory DIR");
        row("confined", "", "\"\" is not a file of the history directory DIR");
        // event: "TYPE key=value;..." of unit U at T, catalogue zero,,two,three -> "line|code|state".
        row("event", "1041 desc=after 3 tries", "T U comm 1041: communication lost: after 3 tries|-1|1");
        row("event", "1040", "T U comm 1040: communication restored|-1|0");
        row("event", "1042 controlId=1010;result=0;controlValue=x", "T U command 1042: command 1010 ran on the unit's line|1010|0");
        row("event", "2006 alarmId=2;alarmState=1", "T U alarm 2006: alarm 2 raised: two|2|1");
        row("event", "2006 alarmId=6;alarmState=0", "T U alarm 2006: alarm 2 cleared: two|2|0");
        row("event", "2006 alarmId=9;alarmState=1", "T U alarm 2006: alarm 5 cleared: (not in the catalogue)|5|1");
        row("event", "2001 alarmId=3;state=1;dis_alarm=1", "T U notice 2001: new alarms in this report; last change: alarm 3 raised: three|3|1");
        row("event", "2001 alarmId=3;state=1", "T U repeat 2001: new alarms in this report; last change: alarm 3 raised: three|3|1");
        row("event", "2009 alarmState=1", "T U status 2009: status alarm 368 raised: (not in the catalogue)|368|1");
        row("event", "1500 controlId=1009;controlValue=", "T U request 1500: command 1009 requested (value \"\")|1009|-1");
        row("event", "1029 controlId=2016;controlValue=3017,40;nodeName=Battery numbers;nodeValue=40", "T U request 1029: setting \"Battery numbers\" = \"40\" requested (command 2016 \"3017,40\")|2016|-1");
        row("event", "7777", "T U other 7777: event type 7777|-1|-1");
        // state: "FLAGS;name=value;..." -> the state line as JSON.
        row("state", "OL CHRG;battery.charge=99.6;battery.runtime=1800;ups.load=23.4;input.voltage=230.04;output.voltage=229.96;"
            "ups.temperature=40", "{\"battery.charge\":100,\"battery.runtime\":1800,\"input.voltage\":230,\"kind\":\"state\","
            "\"output.voltage\":230,\"text\":\"OL CHRG charge 100% runtime 1800s load 23% in 230.0V out 230.0V\",\"time\":\"T\","
            "\"type\":0,\"unit\":\"U\",\"ups.load\":23,\"ups.status\":\"OL CHRG\"}");
        // csv: fields split at '|'; codemap: catalogue texts split at '|'.
        row("csv", "a|b,c|say \"hi\"|two\nlines|", "a,\"b,c\",\"say \"\"hi\"\"\",\"two\nlines\",\n");
        row("codemap", "A|B,b||D| x |a'|b'|c'|d'|e'", "0,A,\n1,B;b,\n3,D,\n4,x,\n");
        // datalog: "HEADINGS|...;VALUES|..." appended, the file rotated, appended again -> both files.
        row("datalog", "a|b;1", "Time,Unit,a,b\nT,U,1,\nT,U,1,\n");
        row("datalog", "a;1,5|x", "Time,Unit,a\nT,U,\"1,5\",x\n|Time,Unit,a\nT,U,\"1,5\",x\n");
        // console: "MODE KIND" of an event at T of U -> what reaches the console.
        row("console", "text comm", "T U comm 1041: x\n");
        row("console", "text data", "");
        row("console", "json+data data", "{\"code\":7,\"kind\":\"data\",\"state\":1,\"text\":\"x\",\"time\":\"T\",\"type\":1041,\"unit\":\"U\"}\n");
    }

    void texts()
    {
        QFETCH(QString, call);
        QFETCH(QString, input);
        QString got;
        if (call == "options") {
            HostOptions o;
            const bool ok = HostOptions::parse(("upsmon-host " + input).split(' ', Qt::SkipEmptyParts), true, &o, &got);
            if (ok) {
                got = QStringLiteral("%1 d%2 l%3").arg(o.headless ? "headless" : "window").arg(o.duration).arg(o.userLevel);
                for (const UnitCommand& c : o.commands)
                    got += QStringLiteral(" %1/%2/%3").arg(c.unit, c.name, c.value);
            }
        } else if (call == "command") {
            const UpsCommand* c = findCommand(input.section(':', 0, 0));
            QString sent;
            got = !c ? "none" : !commandValue(*c, input.section(':', 1), &sent, &got) ? got
                : QStringLiteral("%1 '%2' %3=%4").arg(c->id).arg(sent).arg(c->confirmPoint).arg(c->confirmValue);
        } else if (call == "confined") {
            QTemporaryDir dir;
            QVERIFY(QDir(dir.path()).mkdir("sub") && writeFile(dir.filePath("h.csv"), "") && QFile::link("h.csv", dir.filePath("in.csv"))
                    && QFile::link("../h.csv", dir.filePath("out.csv")));
            ConfinedDirectory confined;
            confined.setPath(dir.path());
            QString file;
            got = confined.resolve(input, &file, &got) ? file : got;
            got.replace(QFileInfo(dir.path()).canonicalFilePath(), "DIR");
        } else if (call == "event") {
            EventFormatter formatter;
            formatter.setEventTexts({"zero", "", "two", "three", "zero'", "", "two'", "three'"});
            QMap<QString, QVariant> record{{"name", "U"}, {"timeStr", "T"}};
            for (const QString& kv : input.section(' ', 1).split(';', Qt::SkipEmptyParts))
                record.insert(kv.section('=', 0, 0), kv.section('=', 1));
            const HostEvent e = formatter.describe(input.section(' ', 0, 0).toInt(), record, "X");
            got = QStringLiteral("%1|%2|%3").arg(EventFormatter::toText(e)).arg(e.code).arg(e.state);
        } else if (call == "state") {
            UnitStatus s;
            s.unit = "U";
            s.flags = input.section(';', 0, 0).split(' ');
            for (const QString& kv : input.section(';', 1).split(';', Qt::SkipEmptyParts))
                s.values.insert(kv.section('=', 0, 0), kv.section('=', 1).toDouble());
            HostEvent e = EventFormatter::describe(s, "state");
            e.time = "T";
            got = EventFormatter::toJson(e);
        } else if (call == "csv") {
            got = DataLog::csvLine(input.split('|'));
        } else if (call == "datalog") {
            QTemporaryDir dir;
            const QString path = dir.filePath("log.csv");
            DataLog log;
            const bool rotate = input.contains(',');
            QVERIFY(log.open(path, input.section(';', 0, 0).split('|'), &got));
            for (int i = 0; i < 2; ++i) {
                if (i == 1 && rotate)
                    QVERIFY(QFile::rename(path, path + ".1") && log.reopen(&got));
                QVERIFY(log.append("T", "U", input.section(';', 1).split('|')));
            }
            got = rotate ? readFile(path + ".1") + "|" + readFile(path) : readFile(path);
        } else if (call == "console") {
            FILE* out = std::tmpfile();
            {
                ConsoleOutput console(input.startsWith("json"), input.contains("+data"), nullptr, out);
                console.print({"T", "U", 1041, input.section(' ', 1), 7, 1, "x", {}, {}});
            }
            std::rewind(out);
            char buffer[512] = {};
            got = QString::fromUtf8(buffer, int(std::fread(buffer, 1, sizeof buffer - 1, out)));
            std::fclose(out);
        } else {
            got = HistoryCodeMap::render(input.split('|'));
        }
        QTEST(got, "output");
    }
};

QTEST_GUILESS_MAIN(tst_host)
#include "tst_host.moc"
