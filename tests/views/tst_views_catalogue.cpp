#include <QtTest>

#include <functional>

#include "vek5_10_30k_View.h"

class tst_views_catalogue : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void listSizes_data();
    void listSizes();
    void rows_data();
    void rows();
    void display_data();
    void display();
    void alarmEntries_data();
    void alarmEntries();
    void alarmBlocks_data();
    void alarmBlocks();
    void secondInstance();

private:
    QList<ParameterInformation*> list(vek5ViewData& holder, const QString& name);
    vek5_10_30k_View* m_view = nullptr;
};

QList<ParameterInformation*> tst_views_catalogue::list(vek5ViewData& holder, const QString& name)
{
    const QMap<QString, std::function<QList<ParameterInformation*>()>> getters = {
        {"deviceData", [&] { return holder.getDeviceData(); }},
        {"batteryData", [&] { return holder.getBatteryData(); }},
        {"recInvData", [&] { return holder.getRecInvData(); }},
        {"inputData", [&] { return holder.getInputData(); }},
        {"outputData", [&] { return holder.getOutputData(); }},
        {"bypassData", [&] { return holder.getBypassData(); }},
        {"basicConfig", [&] { return holder.getBasicConfig(); }},
        {"batteryConfig", [&] { return holder.getBatteryConfig(); }},
        {"adjustConfig", [&] { return holder.getAdjustConfig(); }},
        {"specialConfig", [&] { return holder.getSpecialConfig(); }},
        {"devInfoConfig", [&] { return holder.getDevInfoConfig(); }},
    };
    return getters.value(name)();
}

void tst_views_catalogue::initTestCase()
{
    m_view = new vek5_10_30k_View;
    QCOMPARE(m_view->getDevCode(), 222);
}

void tst_views_catalogue::cleanupTestCase()
{
    delete m_view;
}

void tst_views_catalogue::listSizes_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("size");
    QTest::newRow("deviceData") << "deviceData" << 11;
    QTest::newRow("batteryData") << "batteryData" << 12;
    QTest::newRow("recInvData") << "recInvData" << 6;
    QTest::newRow("inputData") << "inputData" << 6;
    QTest::newRow("outputData") << "outputData" << 11;
    QTest::newRow("bypassData") << "bypassData" << 5;
    QTest::newRow("basicConfig") << "basicConfig" << 22;
    QTest::newRow("batteryConfig") << "batteryConfig" << 13;
    QTest::newRow("adjustConfig") << "adjustConfig" << 29;
    QTest::newRow("specialConfig") << "specialConfig" << 0;
    QTest::newRow("devInfoConfig") << "devInfoConfig" << 19;
}

void tst_views_catalogue::listSizes()
{
    QFETCH(QString, name);
    QFETCH(int, size);
    const QList<ParameterInformation*> records = list(*m_view, name);
    QCOMPARE(records.size(), size);
    for (const ParameterInformation* record : records) {
        QVERIFY(record);
        QCOMPARE(record->valueText, QString("-"));
        QCOMPARE(record->flag, 1);
        QVERIFY(record->extraText.isEmpty());
        QCOMPARE(record->pointCount > 0, record->type == 9);
        QCOMPARE(record->comboMap.isEmpty(), record->type != 11);
    }
}

void tst_views_catalogue::rows_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("label");
    QTest::addColumn<int>("pointId");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("pointCount");
    QTest::addColumn<QString>("unit");
    QTest::addColumn<float>("ratio");
    QTest::addColumn<int>("minRaw");
    QTest::addColumn<int>("maxRaw");
    QTest::addColumn<QStringList>("options"); // "text=value", any order

    auto row = [](const char* tag, const QString& name, int index, const QString& label, int id,
                  int type, int count, const QString& unit, float ratio, int min, int max,
                  const QStringList& options = {}) {
        QTest::newRow(tag) << name << index << label << id << type << count << unit << ratio << min
                           << max << options;
    };
    const QStringList enableFirst{"Enable=0", "Disable=1"};
    const QStringList baud{"9600=3", "2400=1", "4800=2", "19200=4"};

    row("device first", "deviceData", 0, "Work mode:", 4250, 11, 0, "", 1, 0, 0,
        {"No power supply=0", "Mains power supply=1", "Battery power supply=2",
         "Conbined power supply=3", "Bypass power supply=4"});
    row("device date", "deviceData", 2, "Last discharge time:", 4268, 9, 6, "", 0, 0, 0);
    row("device last", "deviceData", 10, "Serial numbers:", 4064, 9, 16, "", 0, 0, 0);
    row("battery first", "batteryData", 0, "Battery positive Voltage:", 4103, 4, 0, "V", 0, 0, 0);
    row("battery temperature", "batteryData", 4, "Battery temperature:", 4107, 4, 0,
        QString::fromUtf8("\xe2\x84\x83"), 0, 0, 0);
    row("battery remain time", "batteryData", 8, "Remain discharge time:", 4110, 0, 0, "Min", 0, 0,
        10000);
    row("battery last", "batteryData", 11, "Battery test status:", 4259, 11, 0, "", 0, 0, 0,
        {"None=0", "Testing=1", "Maintenance=2"});
    row("recinv first", "recInvData", 0, "Rectifier temperature:", 4241, 4, 0,
        QString::fromUtf8("\xe2\x84\x83"), 0, 0, 0);
    row("recinv last", "recInvData", 5, "Inverter software version:", 4255, 9, 4, "", 0, 0, 0);
    row("input first", "inputData", 0, "Input voltage:", 4133, 5, 0, "V", 0, 0, 0);
    row("input last", "inputData", 5, "Rated input frequency:", 4245, 0, 0, "Hz", 0, 0, 0);
    row("output first", "outputData", 0, "Output voltage:", 4163, 5, 0, "V", 0, 0, 0);
    row("output last", "outputData", 10, "Output load on state:", 4161, 11, 0, "", 0, 0, 0,
        {"None=0", "Load on bypass=1", "Load on inverter=2", "Load on other=3"});
    row("bypass first", "bypassData", 0, "Bypass voltage:", 4192, 5, 0, "V", 0, 0, 0);
    row("bypass last", "bypassData", 4, "Bypass status:", 4190, 11, 0, "", 0, 0, 0,
        {"No bypass=0", "Bypass normal=1"});
    row("basic first", "basicConfig", 0, "System work mode:", 3000, 11, 0, "", 1, 0, 0,
        {"Stand alone=1", "Parallel operation=2", "ECO=4", "Parallels ECO=6", "Self ageing=8"});
    row("forbid bypass", "basicConfig", 2, "Forbid bypass:", 3011, 11, 0, "", 1, 0, 0,
        enableFirst);
    row("weak grid", "basicConfig", 6, "weak grid input:", 3015, 11, 0, "", 1, 0, 0,
        {"Unconnect=0", "Connect=1"});
    row("input contact 1", "basicConfig", 10, "Input dry contact 1:", 3034, 11, 0, "", 1, 0, 0,
        {"Not used=0", "Oil engine mode=1", "BCB access=2", "Cut inverter=3", "BCB status=4",
         "Cut bypass=5", "Clear fault=6", "Discharge undervoltage=7", "Overcharge=8",
         "EPO emergency shutdown=9"});
    row("input contact 2", "basicConfig", 11, "Input dry contact 2:", 3035, 11, 0, "", 1, 0, 0,
        {"Not used=0", "Oil engine mode=1", "BCB access=2", "Cut inverter=3", "BCB status=4",
         "Cut bypass=5", "Clear fault=6", "Discharge undervoltage=7", "Overcharge=8"});
    row("derate pf", "basicConfig", 19, "Derate output PF:", 3052, 11, 0, "", 1, 0, 0,
        {"1=0", "0.9=1"});
    row("lcd display cap", "basicConfig", 20, "Lcd Display cap:", 3053, 11, 0, "", 1, 0, 0,
        {"Disable=0", "Enable=1"});
    row("basic last", "basicConfig", 21, "Auto power on:", 3054, 11, 0, "", 1, 0, 0, enableFirst);
    row("battery config first", "batteryConfig", 0, "Battery numbers:", 3017, 0, 0, "", 1, 16, 180);
    row("cell float", "batteryConfig", 3, "Cell float voltage:", 3019, 6, 0, "V", 0.01f, 210, 365);
    row("cell eod 0.15c", "batteryConfig", 6, "Cell Eod voltage for 0.15c:", 3022, 6, 0, "V", 0.01f,
        160, 300);
    row("low coefficient", "batteryConfig", 10, "Battery voltage low coefficient:", 3030, 6, 0, "",
        0.01f, 105, 125);
    row("battery config last", "batteryConfig", 12, "Battery auto maintenance:", 3046, 11, 0, "", 1,
        0, 0, {"Disable=0", "Enable=1"});
    row("adjust first", "adjustConfig", 0, "Output voltage adjust:", 3003, 0, 0, "V", 1, 0, 0);
    row("frequency track", "adjustConfig", 1, "Frequency track limit:", 3004, 4, 0, "Hz", 0.1f, 5,
        50);
    row("coil ratio", "adjustConfig", 2, "Transformer coil turns ratio:", 3016, 4, 0, "", 0.01f, 0,
        0);
    row("slew rate", "adjustConfig", 4, "Frequency slew rate:", 3073, 0, 0, "Hz", 0.1f, 5, 50);
    row("bypass up", "adjustConfig", 5, "Bypass voltage up limit:", 3005, 11, 0, "%", 1, 0, 0,
        {"+15=0", "+10=1", "+20=2", "+25=3"});
    row("bypass down", "adjustConfig", 6, "Bypass voltage down limit:", 3006, 11, 0, "%", 1, 0, 0,
        {"-20=0", "-10=1", "-15=2", "-30=3", "-40=4"});
    row("charge current", "adjustConfig", 9, "Charge current limit:", 3023, 11, 0, "A", 0.01f, 0, 0,
        {"0.5=0", "1.0=1", "2.0=2", "3.0=3", "4.0=4", "5.0=5", "6.0=6", "7.0=7", "8.0=8",
         "9.0=9", "10.0=10", "11.0=11", "12.0=12"});
    row("inverter A", "adjustConfig", 11, "Inverter voltage phase A rectification:", 3055, 4, 0,
        "V", 0.1f, 0, 0);
    row("dc A", "adjustConfig", 17, "Inverter DC voltage A rectification:", 3061, 6, 0, "V", 0.01f,
        0, 0);
    row("dc C", "adjustConfig", 19, "Inverter DC voltage C rectification:", 3063, 6, 0, "V", 0.01f,
        0, 0);
    row("adjust last", "adjustConfig", 28, "Output with transformer voltage rectification 2:", 3072,
        4, 0, "V", 0.1f, 0, 0);
    row("devinfo first", "devInfoConfig", 0, "Parallel device number:", 3001, 0, 0, "", 1, 0, 10);
    row("rated input voltage", "devInfoConfig", 5, "Rated input voltage:", 3039, 11, 0, "V", 1, 0, 0,
        {"100=100", "110=110", "120=120", "125=125", "200=200", "208=208", "220=220", "230=230",
         "240=240"});
    row("rated input frequency in V", "devInfoConfig", 6, "Rated input frequency:", 3040, 11, 0, "V",
        1, 0, 0, {"50=50", "60=60"});
    row("rated output frequency", "devInfoConfig", 8, "Rated output frequency:", 3042, 11, 0, "Hz",
        1, 0, 0, {"50=50", "60=60"});
    row("com a protocol", "devInfoConfig", 10, "COM_A protocol set:", 3075, 11, 0, "", 1, 0, 0,
        {"Modbus Rtu=1", "RQ=2"});
    row("device type text", "devInfoConfig", 12, "Device type:", 3077, 9, 10, "", 1, 0, 0);
    row("system time", "devInfoConfig", 14, "System time:", 3103, 9, 6, "", 1, 0, 0);
    row("serial numbers", "devInfoConfig", 15, "Serial Numbers:", 3109, 9, 16, "", 1, 0, 0);
    row("company phone", "devInfoConfig", 16, "Company phone:", 3150, 9, 14, "", 1, 0, 0);
    row("com a baud", "devInfoConfig", 17, "COM_A  baud rate set:", 3125, 11, 0, "", 1, 0, 0, baud);
    row("devinfo last", "devInfoConfig", 18, "COM_B  baud rate set:", 3126, 11, 0, "", 1, 0, 0, baud);
}

void tst_views_catalogue::rows()
{
    QFETCH(QString, name);
    QFETCH(int, index);
    QFETCH(QString, label);
    QFETCH(int, pointId);
    QFETCH(int, type);
    QFETCH(int, pointCount);
    QFETCH(QString, unit);
    QFETCH(float, ratio);
    QFETCH(int, minRaw);
    QFETCH(int, maxRaw);
    QFETCH(QStringList, options);

    const QList<ParameterInformation*> records = list(*m_view, name);
    QVERIFY(index < records.size());
    const ParameterInformation* record = records.at(index);
    QCOMPARE(record->label, label);
    QCOMPARE(record->pointId, pointId);
    QCOMPARE(record->type, type);
    QCOMPARE(record->pointCount, pointCount);
    QCOMPARE(record->unit, unit);
    QCOMPARE(record->ratio, ratio);
    QCOMPARE(record->minRaw, minRaw);
    QCOMPARE(record->maxRaw, maxRaw);

    QMap<QString, int> expected;
    for (const QString& option : options) {
        const int split = option.lastIndexOf('=');
        expected.insert(option.left(split), option.mid(split + 1).toInt());
    }
    QCOMPARE(record->comboMap, expected);
}

void tst_views_catalogue::display_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("raw");
    QTest::addColumn<QString>("expected");

    QTest::newRow("baud 0 has no text") << "devInfoConfig" << 17 << 0 << "";
    QTest::newRow("baud 3 is 9600") << "devInfoConfig" << 17 << 3 << "9600";
    QTest::newRow("rated input frequency in V") << "devInfoConfig" << 6 << 50 << "50V";
    QTest::newRow("charge current 0 is 0.5") << "adjustConfig" << 9 << 0 << "0.5A";
    QTest::newRow("forbid bypass 0 is Enable") << "basicConfig" << 2 << 0 << "Enable";
    QTest::newRow("work mode 3") << "basicConfig" << 0 << 3 << "";
    QTest::newRow("work mode 6") << "basicConfig" << 0 << 6 << "Parallels ECO";
    QTest::newRow("warranty days") << "deviceData" << 3 << 365 << "365Day";
}

void tst_views_catalogue::display()
{
    QFETCH(QString, name);
    QFETCH(int, index);
    QFETCH(int, raw);
    QFETCH(QString, expected);
    const ParameterInformation* record = list(*m_view, name).at(index);
    QCOMPARE(record->displayText({{record->pointId, raw}}), expected);
}

void tst_views_catalogue::alarmEntries_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("text");
    QTest::newRow("0") << 0 << "Monitor_Bypass module/System board communication is abnormal";
    QTest::newRow("3 empty") << 3 << "";
    QTest::newRow("41") << 41 << "Monitor_Power off in time sharing";
    QTest::newRow("48") << 48 << "UPS need maintenance";
    QTest::newRow("49 empty") << 49 << "";
    QTest::newRow("128") << 128
                         << "Byp Module/Sys board_System board and inverter module CAN communication abnormal";
    QTest::newRow("244 trailing blank") << 244 << "Byp Module/Sys board_Output abnormal ";
    QTest::newRow("255 empty") << 255 << "";
    QTest::newRow("256") << 256 << "Rectifier_Input voltage overvoltage";
    QTest::newRow("360 double blank") << 360 << "Rectifier_Lithium battery charge  primary protection";
    QTest::newRow("368") << 368 << "Rectifier_Input abnormal";
    QTest::newRow("384") << 384 << "Inverter_Bus short circuit";
    QTest::newRow("403") << 403 << "Inverter_Excessive DC component(R S T)";
    QTest::newRow("497") << 497 << "Inverter_Inverter negative power fault";
    QTest::newRow("511 empty") << 511 << "";
}

void tst_views_catalogue::alarmEntries()
{
    QFETCH(int, index);
    QFETCH(QString, text);
    const QStringList alarms = m_view->getAlarmList();
    QCOMPARE(alarms.size(), 512);
    QCOMPARE(alarms.at(index), text);
}

void tst_views_catalogue::alarmBlocks_data()
{
    QTest::addColumn<int>("first");
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<int>("texts");
    QTest::newRow("monitor") << 0 << "Monitor_" << 31;
    QTest::newRow("bypass module") << 128 << "Byp Module/Sys board_" << 91;
    QTest::newRow("rectifier") << 256 << "Rectifier_" << 106;
    QTest::newRow("inverter") << 384 << "Inverter_" << 73;
}

void tst_views_catalogue::alarmBlocks()
{
    QFETCH(int, first);
    QFETCH(QString, prefix);
    QFETCH(int, texts);
    const QStringList alarms = m_view->getAlarmList();
    int count = 0;
    for (int i = first; i < first + 128; ++i) {
        const QString& text = alarms.at(i);
        if (text.isEmpty())
            continue;
        ++count;
        if (text != QLatin1String("UPS need maintenance"))
            QVERIFY2(text.startsWith(prefix), qPrintable(QString::number(i) + ": " + text));
    }
    QCOMPARE(count, texts);
}

void tst_views_catalogue::secondInstance()
{
    vek5_10_30k_View second;
    QCOMPARE(second.getDevCode(), m_view->getDevCode());
    QCOMPARE(second.getAlarmList(), m_view->getAlarmList());
    for (const char* name : {"deviceData", "batteryData", "recInvData", "inputData",
                                "outputData", "bypassData", "basicConfig", "batteryConfig",
                                "adjustConfig", "specialConfig", "devInfoConfig"}) {
        const QList<ParameterInformation*> mine = list(*m_view, name);
        const QList<ParameterInformation*> theirs = list(second, name);
        QCOMPARE(theirs.size(), mine.size());
        for (int i = 0; i < mine.size(); ++i) {
            QVERIFY(mine.at(i) != theirs.at(i));
            QCOMPARE(theirs.at(i)->label, mine.at(i)->label);
            QCOMPARE(theirs.at(i)->pointId, mine.at(i)->pointId);
            QCOMPARE(theirs.at(i)->comboMap, mine.at(i)->comboMap);
            QCOMPARE(theirs.at(i)->ratio, mine.at(i)->ratio);
        }
    }
    // Changing one instance's record leaves the other's alone.
    second.getBasicConfig().first()->valueText = "changed";
    QCOMPARE(m_view->getBasicConfig().first()->valueText, QString("-"));
}

QTEST_GUILESS_MAIN(tst_views_catalogue)
#include "tst_views_catalogue.moc"
