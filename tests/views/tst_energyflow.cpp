// The energy-flow diagram's rules without a widget: paths lit, blocks on, texts and states for a data map.

#include "EnergyFlow.h"

#include <QtTest>

namespace {

// "id=value,..." -> data map; values with a dot become doubles.
QMap<int, QVariant> parseMap(const QString& text)
{
    QMap<int, QVariant> map;
    for (const QString& pair : text.split(',', Qt::SkipEmptyParts)) {
        const QString value = pair.section('=', 1);
        map.insert(pair.section('=', 0, 0).toInt(), value.contains('.') ? QVariant(value.toDouble()) : QVariant(value.toInt()));
    }
    return map;
}

// The names under "paths" that are true, or of the blocks that are on.
QString litNames(const QJsonObject& json)
{
    QStringList names;
    for (auto it = json.begin(); it != json.end(); ++it)
        if (it.value().isBool() ? it.value().toBool() : it.value().toObject().value("on").toBool())
            names << it.key();
    return names.join(',');
}

} // namespace

class tst_energyflow : public QObject
{
    Q_OBJECT
private slots:
    void paths_data()
    {
        QTest::addColumn<QString>("data");
        QTest::addColumn<QString>("paths");
        QTest::addColumn<QString>("blocks");
        QTest::newRow("empty") << "" << "" << "";
        QTest::newRow("input only") << "4219=1" << "input->rectifier" << "input,rectifier";
        QTest::newRow("input as double") << "4219=1.0" << "input->rectifier" << "input,rectifier";
        QTest::newRow("2 is not on") << "4219=2,4218=2,4223=1" << "" << "";
        QTest::newRow("charging") << "4219=1,4220=1,4224=1" << "input->rectifier,rectifier->battery" << "battery,input,rectifier";
        QTest::newRow("on line") << "4219=1,4220=1,4221=1,4222=1,4223=1"
                                 << "input->rectifier,inverter->load,rectifier->inverter" << "input,inverter,load,rectifier";
        QTest::newRow("on battery") << "4221=1,4224=1,4222=1,4223=1" << "battery->inverter,inverter->load" << "battery,inverter,load";
        QTest::newRow("inverter without load") << "4220=1,4221=1,4222=1" << "rectifier->inverter" << "inverter,rectifier";
        QTest::newRow("bypass without load") << "4218=1,4223=0" << "" << "";
        QTest::newRow("bypass") << "4218=1,4223=1" << "bypass->load" << "bypass,load";
    }

    // Every map sets all paths anew: the state before had them all lit.
    void paths()
    {
        QFETCH(QString, data);
        EnergyFlow state = EnergyFlow().next(parseMap("4218=1,4219=1,4220=1,4221=1,4222=1,4223=1,4224=1"));
        QCOMPARE(state.toJson().value("paths").toObject().size(), int(EnergyFlow::PathCount));
        QCOMPARE(litNames(state.toJson().value("blocks").toObject()), QString("battery,bypass,input,inverter,load,rectifier"));
        state = state.next(parseMap(data));
        QTEST(litNames(state.toJson().value("paths").toObject()), "paths");
        QTEST(litNames(state.toJson().value("blocks").toObject()), "blocks");
        state.setAllPathsOff();
        QCOMPARE(litNames(state.toJson().value("blocks").toObject()), QString());
    }

    void shown_data()
    {
        const QString deg = QString::fromUtf8("\xe2\x84\x83");
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("data");
        QTest::addColumn<QString>("key");   // "values/name" or "blocks/name/field"
        QTest::addColumn<QString>("expected");
        QTest::newRow("bypass current, one phase") << "" << "4191=1,4195=12.34,4196=99.0" << "values/bypassCurrent" << "12.3 A";
        QTest::newRow("input voltage, three phases") << "" << "4132=3,4133=220.04,4134=221.06,4135=219.96"
                                                     << "values/inputVoltage" << "220.0/221.1/220.0 V";
        QTest::newRow("output power, one phase") << "" << "4162=1,4175=9.5,4178=8.0" << "values/outputActivePower" << "8.0 kW";
        QTest::newRow("two phases keep the text") << "4132=3,4136=1,4137=2,4138=3" << "4132=2,4136=9" << "values/inputCurrent" << "1.0/2.0/3.0 A";
        QTest::newRow("empty map keeps the text") << "4191=1,4198=50.0" << "" << "values/bypassFrequency" << "50.0 Hz";
        QTest::newRow("empty map, table text") << "4190=1" << "" << "values/bypassStatus" << "Abnormal";
        QTest::newRow("bypass status") << "" << "4190=1" << "blocks/bypass/state" << "Normal";
        QTest::newRow("supply mode") << "" << "4250=3" << "values/supplyMode" << "Conbined supply";
        QTest::newRow("phase configuration") << "" << "4248=2" << "values/phaseConfiguration" << "Three-Three";
        QTest::newRow("output mode") << "" << "4161=2" << "blocks/load/state" << "Load on inverter";
        QTest::newRow("battery state") << "" << "4101=5" << "blocks/battery/state" << "volt. equal charge";
        QTest::newRow("battery state past the table") << "" << "4101=-2147483648" << "blocks/battery/state" << "";
        QTest::newRow("rectifier state") << "" << "4239=3" << "blocks/rectifier/state" << "Battery mode";
        QTest::newRow("inverter state") << "" << "4240=2" << "blocks/inverter/state" << "Normal run";
        QTest::newRow("input has no state") << "" << "4190=1,4239=1" << "blocks/input/state" << "";
        QTest::newRow("block colour") << "" << "" << "blocks/load/colour" << "#9dacff";
        QTest::newRow("inverter temperature") << "" << "4242=35.26" << "values/inverterTemperature" << "35.3 " + deg;
        QTest::newRow("battery voltage") << "" << "4103=240.0,4104=-240.5" << "values/batteryVoltage" << "240/-240.5";
        QTest::newRow("battery temperature -10") << "" << "4107=-10" << "values/batteryTemperature" << "-10.0 " + deg;
        QTest::newRow("battery temperature -11") << "" << "4107=-11" << "values/batteryTemperature" << "-";
        QTest::newRow("remaining time") << "" << "4110=90" << "values/remainingTime" << "90 Min";
        QTest::newRow("remaining time negative") << "" << "4110=-1" << "values/remainingTime" << "-";
        QTest::newRow("remaining capacity negative") << "" << "4111=-1" << "values/remainingCapacity" << "-";
        QTest::newRow("type, low bytes up to zero") << "" << "4016=321,4017=578,4018=0,4019=90" << "values/deviceType" << "AB";
        QTest::newRow("name starts at 4080") << "" << "4079=89,4080=99,4081=0,4082=65" << "values/deviceName" << "c";
        QTest::newRow("manufacturer starts at 4000") << "" << "3999=65,4000=77,4001=78" << "values/deviceManufacturer" << "MN";
    }

    void shown()
    {
        QFETCH(QString, before);
        QFETCH(QString, data);
        QFETCH(QString, key);
        QJsonValue value = EnergyFlow().next(parseMap(before)).next(parseMap(data)).toJson();
        for (const QString& part : key.split('/'))
            value = value.toObject().value(part);
        QVERIFY2(value.isString(), qPrintable(key));
        QTEST(value.toString(), "expected");
    }
};

QTEST_GUILESS_MAIN(tst_energyflow)
#include "tst_energyflow.moc"
