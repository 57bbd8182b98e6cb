// The status model through tables: a script of data reports, communication
// changes, clock ticks and forced shutdowns, and the flags, values, alarms
// and derived events it must give.

#include <QtTest>

#include "StatusModel.h"

namespace {

// An online unit with a full battery.
const char* const kBase = "4101=3,4223=1,4218=0,4259=0,4111=100,4110=26";

QMap<int, QVariant> points(const QString& spec)
{
    QMap<int, QVariant> data;
    for (const QString& pv : spec.split(',', Qt::SkipEmptyParts)) {
        const QStringList kv = pv.split('=');
        data.insert(kv.at(0).toInt(), QVariant(kv.at(1).toFloat()));
    }
    return data;
}

} // namespace

class tst_host_status : public QObject
{
    Q_OBJECT
private slots:
    void script_data();
    void script();
};

void tst_host_status::script_data()
{
    QTest::addColumn<QString>("steps");     // "@SECONDS", "d POINTS" (base = kBase), "c ok|lost", "t", "f 1|0"
    QTest::addColumn<double>("chargeLow");
    QTest::addColumn<double>("runtimeLow");
    QTest::addColumn<QString>("flags");
    QTest::addColumn<QString>("events");
    QTest::addColumn<QString>("values");    // "name=value;..." ("alarms" lists active indexes)

    QTest::newRow("first report on line") << "d base" << -1.0 << -1.0 << "OL" << ""
        << "battery.charge=100;battery.runtime=1560;device.type=ups;alarms=";
    QTest::newRow("first report on battery") << "d 4101=4,4223=1" << -1.0 << -1.0 << "OB DISCHRG" << "ONBATT" << "";
    QTest::newRow("mains failure") << "d base;d 4101=4" << -1.0 << -1.0 << "OB DISCHRG" << "ONBATT" << "";
    QTest::newRow("back on line") << "d base;d 4101=4;d 4101=2" << -1.0 << -1.0 << "OL CHRG" << "ONBATT ONLINE" << "";
    QTest::newRow("low battery alarm") << "d base;d 4101=4;d 2022=1" << -1.0 << -1.0
        << "ALARM OB LB DISCHRG" << "ONBATT LOWBATT" << "alarms=22:catalogue 22";
    QTest::newRow("charge below chargeLow") << "d base,4101=4,4111=15" << 20.0 << -1.0
        << "OB LB DISCHRG" << "ONBATT LOWBATT" << "";
    QTest::newRow("runtime below runtimeLow") << "d base,4101=4,4110=1" << -1.0 << 120.0
        << "OB LB DISCHRG" << "ONBATT LOWBATT" << "battery.runtime=60";
    QTest::newRow("low charge on line is no LB") << "d base,4101=2,4111=5" << 20.0 << 600.0 << "OL CHRG" << "" << "";
    QTest::newRow("bypass") << "d base;d 4218=1" << -1.0 << -1.0 << "OL BYPASS" << "ONBYPASS" << "";
    QTest::newRow("output off after discharge") << "d base;d 4101=4;d 4101=2,4223=0" << -1.0 << -1.0
        << "CHRG OFF" << "ONBATT OFF" << "";
    QTest::newRow("overload") << "d base;d 2141=1,2019=1" << -1.0 << -1.0 << "ALARM OL OVER" << "OVERLOAD"
        << "alarms=19:catalogue 19,141:catalogue 141";
    QTest::newRow("alarm cleared") << "d base,2141=1;d 2141=0" << -1.0 << -1.0 << "OL" << "OVERLOAD" << "alarms=";
    QTest::newRow("alarm beyond the catalogue") << "d base,2400=1" << -1.0 << -1.0 << "ALARM OL" << "" << "alarms=400:";
    QTest::newRow("battery test") << "d base,4259=1" << -1.0 << -1.0 << "OL TEST" << "" << "";
    QTest::newRow("comm lost and back") << "c ok;c lost;c lost;c ok" << -1.0 << -1.0 << "" << "COMMBAD COMMOK" << "";
    QTest::newRow("never answered") << "c lost;c ok" << -1.0 << -1.0 << "" << "NOCOMM COMMOK" << "";
    QTest::newRow("stale without any report") << "@14;t;@15;t;@40;t" << -1.0 << -1.0 << "" << "STALE" << "stale=true";
    QTest::newRow("report ends stale") << "@16;t;d base" << -1.0 << -1.0 << "OL" << "STALE" << "stale=false;age=0";
    QTest::newRow("stale again after a report") << "@16;t;d base;@30;t;@31;t" << -1.0 << -1.0 << "OL" << "STALE STALE"
        << "stale=true;age=15";
    QTest::newRow("ageing") << "d base;@5;t" << -1.0 << -1.0 << "OL" << "" << "stale=false;age=5";
    QTest::newRow("forced shutdown") << "d base,4101=4;f 1;f 1" << -1.0 << -1.0 << "OB DISCHRG FSD" << "ONBATT FSD" << "";
    QTest::newRow("forced shutdown ends") << "d base;f 1;f 0" << -1.0 << -1.0 << "OL" << "FSD" << "";
    QTest::newRow("values")
        << "d 4016=86,4017=69,4018=75,4019=0,4184=30,4185=50,4186=40,4243=20,4260=0,4133=231,4241=41,4242=45"
        << -1.0 << -1.0 << "" << ""
        << "device.model=VEK;ups.load=50;ups.power.nominal=20000;ups.beeper.status=disabled;"
           "input.L1-N.voltage=231;ups.temperature=45";
}

void tst_host_status::script()
{
    QFETCH(QString, steps);
    QFETCH(double, chargeLow);
    QFETCH(double, runtimeLow);
    QFETCH(QString, flags);
    QFETCH(QString, events);
    QFETCH(QString, values);

    QStringList catalogue;
    for (int i = 0; i < 200; ++i)
        catalogue += QStringLiteral("catalogue %1").arg(i);
    catalogue += catalogue;     // the disappearance half
    StatusModel::Limits limits;
    limits.chargeLow = chargeLow;
    limits.runtimeLow = runtimeLow;
    StatusModel model(QStringLiteral("U1"), catalogue, limits, 0);

    qint64 now = 0;
    QMap<int, QVariant> data;
    QStringList raised;
    for (const QString& step : steps.split(';')) {
        QList<DerivedEvent> out;
        const QString arg = step.mid(2).replace(QLatin1String("base"), QLatin1String(kBase));
        if (step.startsWith('@'))
            now = step.mid(1).toLongLong() * 1000;
        else if (step.startsWith('d')) {
            const auto update = points(arg);
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
    QCOMPARE(s.flags.join(' '), flags);
    QCOMPARE(raised.join(' '), events);
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

QTEST_GUILESS_MAIN(tst_host_status)
#include "tst_host_status.moc"
