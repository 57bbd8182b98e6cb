// The shutdown and notification decisions through tables: the units'
// snapshots over time and what the policy decides at each step.

#include <QtTest>

#include "Policy.h"

class tst_host_policy : public QObject
{
    Q_OBJECT
private slots:
    void decisions_data();
    void decisions();
    void notifyRate_data();
    void notifyRate();
};

void tst_host_policy::decisions_data()
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

void tst_host_policy::decisions()
{
    QFETCH(QString, settings);
    QFETCH(QString, steps);
    QFETCH(QString, decisions);

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
    QCOMPARE(got.join('|'), decisions);
}

void tst_host_policy::notifyRate_data()
{
    QTest::addColumn<int>("limit");
    QTest::addColumn<QString>("times");     // seconds of the requests
    QTest::addColumn<QString>("allowed");   // 1/0 per request

    QTest::newRow("unlimited") << 0 << "0 0 0 0" << "1111";
    QTest::newRow("two a minute") << 2 << "0 1 2 59 60 61 62" << "1100110";
    QTest::newRow("refused ones do not count") << 1 << "0 30 59 60" << "1001";
}

void tst_host_policy::notifyRate()
{
    QFETCH(int, limit);
    QFETCH(QString, times);
    QFETCH(QString, allowed);

    PolicySettings ps;
    ps.notifyRateLimit = limit;
    Policy policy(ps);
    QString got;
    for (const QString& t : times.split(' '))
        got += policy.allowNotify(t.toLongLong() * 1000) ? '1' : '0';
    QCOMPARE(got, allowed);
}

QTEST_GUILESS_MAIN(tst_host_policy)
#include "tst_host_policy.moc"
