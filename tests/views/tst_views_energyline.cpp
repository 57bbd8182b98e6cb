// Energy-flow diagram: flow conditions, panel texts, clicks, animation and
// painting, on the offscreen platform.

#include "Energyline.h"

#include <QImage>
#include <QPixmap>
#include <QTimer>
#include <QtTest>

using DataMap = QMap<int, QVariant>;
Q_DECLARE_METATYPE(DataMap)
Q_DECLARE_METATYPE(Energyline::PanelText)

namespace {

// "id=value,id=value" -> data map; values with a dot become doubles.
DataMap parseMap(const QString& text)
{
    DataMap map;
    const QStringList pairs = text.split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (const QString& pair : pairs) {
        const QStringList kv = pair.split(QLatin1Char('='));
        const QString value = kv.at(1);
        map.insert(kv.at(0).toInt(), value.contains(QLatin1Char('.')) ? QVariant(value.toDouble())
                                                                      : QVariant(value.toInt()));
    }
    return map;
}

QString flowFlags(const Energyline& w)
{
    QString s;
    for (int i = 0; i < Energyline::FlowCount; ++i)
        s += w.flowFlag(i) ? QLatin1Char('1') : QLatin1Char('0');
    return s;
}

QString viewFlags(const Energyline& w)
{
    QString s;
    for (int i = 0; i < Energyline::ViewCount; ++i)
        s += w.viewFlag(i) ? QLatin1Char('1') : QLatin1Char('0');
    return s;
}

DataMap allFlowsOn()
{
    return parseMap(QStringLiteral("4218=1,4219=1,4220=1,4221=1,4222=1,4223=1,4224=1"));
}

// Every point the diagram reads, with plausible values.
DataMap fullMap()
{
    DataMap map = allFlowsOn();
    for (int id : {4191, 4132, 4162})
        map.insert(id, 3);
    for (int id = 4133; id <= 4141; ++id)
        map.insert(id, 220.0 + id % 7);
    for (int id = 4163; id <= 4186; ++id)
        map.insert(id, 10.0 + id % 11);
    for (int id = 4192; id <= 4200; ++id)
        map.insert(id, 50.0 + id % 3);
    const char* model = "UPS-20K";
    for (int i = 0; model[i]; ++i) {
        map.insert(4016 + i, int(model[i]));
        map.insert(4080 + i, int(model[i]));
        map.insert(4000 + i, int(model[i]));
    }
    map.insert(4190, 1);
    map.insert(4250, 1);
    map.insert(4248, 2);
    map.insert(4161, 2);
    map.insert(4101, 3);
    map.insert(4239, 2);
    map.insert(4240, 2);
    map.insert(4241, 41.5);
    map.insert(4242, 39.0);
    map.insert(4103, 240.0);
    map.insert(4104, -240.0);
    map.insert(4105, 1.5);
    map.insert(4106, -1.5);
    map.insert(4107, 25.0);
    map.insert(4110, 90);
    map.insert(4111, 100);
    return map;
}

QImage paint(Energyline& w)
{
    QImage img(w.size(), QImage::Format_ARGB32);
    img.fill(Qt::white);
    // No window background: whatever is not white was drawn by the widget.
    w.render(&img, QPoint(), QRegion(), QWidget::DrawChildren);
    return img;
}

bool isFlowColoured(QRgb c)
{
    // The flow pen (157,172,255) against the track (240,240,245) and white.
    return qRed(c) < 200 && qBlue(c) > 220;
}

} // namespace

class tst_Energyline : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void images_data();
    void images();
    void flows_data();
    void flows();
    void allOff();
    void panelTexts_data();
    void panelTexts();
    void phaseTextsKept_data();
    void phaseTextsKept();
    void identity_data();
    void identity();
    void clicks_data();
    void clicks();
    void clickTwiceCloses_data();
    void clickTwiceCloses();
    void viewsSurviveData();
    void offsetWraps();
    void timerAnimates();
    void paintFullDiagram();
    void paintFlows_data();
    void paintFlows();
    void paintPanels_data();
    void paintPanels();
    void paintBlockImages_data();
    void paintBlockImages();
};

void tst_Energyline::initTestCase()
{
    // The widget registers the image resources when it is first built.
    Energyline w;
    Q_UNUSED(w);
}

void tst_Energyline::images_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QSize>("size");
    QTest::newRow("input") << "://image/INPUT.png" << QSize(28, 10);
    QTest::newRow("rec") << ":/image/REC.png" << QSize(46, 45);
    QTest::newRow("inv") << ":/image/INV.png" << QSize(48, 46);
    QTest::newRow("load") << ":/image/LOAD.png" << QSize(56, 40);
}

void tst_Energyline::images()
{
    QFETCH(QString, path);
    QFETCH(QSize, size);
    const QPixmap pm(path);
    QVERIFY(!pm.isNull());
    QCOMPARE(pm.size(), size);
    QVERIFY(pm.hasAlphaChannel());
}

void tst_Energyline::flows_data()
{
    QTest::addColumn<QString>("data");
    QTest::addColumn<QString>("flags");
    QTest::newRow("empty") << "" << "000000";
    QTest::newRow("input only") << "4219=1" << "100000";
    QTest::newRow("input 2 is not on") << "4219=2" << "000000";
    QTest::newRow("input as double") << "4219=1.0" << "100000";
    QTest::newRow("charging") << "4220=1,4224=1" << "010000";
    QTest::newRow("rec without battery") << "4220=1" << "000000";
    QTest::newRow("discharging") << "4221=1,4224=1" << "001000";
    QTest::newRow("battery point alone") << "4224=1" << "000000";
    QTest::newRow("rec to inv") << "4220=1,4221=1" << "000100";
    QTest::newRow("rec inv battery") << "4220=1,4221=1,4224=1" << "011100";
    QTest::newRow("inv to load") << "4222=1,4223=1" << "000010";
    QTest::newRow("inv without output") << "4222=1,4223=0" << "000000";
    QTest::newRow("bypass to load") << "4218=1,4223=1" << "000001";
    QTest::newRow("bypass without output") << "4218=1,4223=0" << "000000";
    QTest::newRow("bypass and inverter") << "4218=1,4222=1,4223=1" << "000011";
    QTest::newRow("all") << "4218=1,4219=1,4220=1,4221=1,4222=1,4223=1,4224=1" << "111111";
    QTest::newRow("all zero") << "4218=0,4219=0,4220=0,4221=0,4222=0,4223=0,4224=0" << "000000";
}

void tst_Energyline::flows()
{
    QFETCH(QString, data);
    QFETCH(QString, flags);
    Energyline w;
    QCOMPARE(flowFlags(w), QStringLiteral("000000"));
    w.flushData(parseMap(data));
    QCOMPARE(flowFlags(w), flags);
    // Flags are set anew: the same map after an all-on map gives the same.
    w.flushData(allFlowsOn());
    w.flushData(parseMap(data));
    QCOMPARE(flowFlags(w), flags);
}

void tst_Energyline::allOff()
{
    Energyline w;
    w.flushData(allFlowsOn());
    QCOMPARE(flowFlags(w), QStringLiteral("111111"));
    w.set_all_off_Flow();
    QCOMPARE(flowFlags(w), QStringLiteral("000000"));
}

void tst_Energyline::panelTexts_data()
{
    QTest::addColumn<QString>("data");
    QTest::addColumn<Energyline::PanelText>("text");
    QTest::addColumn<QString>("expected");

    // Phase groups: 3 -> three values, 1 -> the first, units after a blank.
    QTest::newRow("bypass voltage 3") << "4191=3,4192=230.0,4193=231.46,4194=229.94"
                                      << Energyline::BypassVoltage << "230.0/231.5/229.9 V";
    QTest::newRow("bypass current 1") << "4191=1,4195=12.25,4196=99.0"
                                      << Energyline::BypassCurrent << "12.3 A";
    QTest::newRow("bypass frequency 1") << "4191=1,4198=50.04" << Energyline::BypassFrequency
                                        << "50.0 Hz";
    QTest::newRow("input voltage 1") << "4132=1,4133=380.0,4134=1.0" << Energyline::InputVoltage
                                     << "380.0 V";
    QTest::newRow("input current 3") << "4132=3,4136=1.0,4137=2.0,4138=3.0"
                                     << Energyline::InputCurrent << "1.0/2.0/3.0 A";
    QTest::newRow("input frequency 3 missing") << "4132=3,4139=49.9" << Energyline::InputFrequency
                                               << "49.9/0.0/0.0 Hz";
    QTest::newRow("output voltage 3") << "4162=3,4163=220.0,4164=221.0,4165=222.0"
                                      << Energyline::OutputVoltage << "220.0/221.0/222.0 V";
    QTest::newRow("output current 1") << "4162=1,4166=30.0" << Energyline::OutputCurrent << "30.0 A";
    QTest::newRow("output frequency 1") << "4162=1,4169=60.0" << Energyline::OutputFrequency
                                        << "60.0 Hz";
    QTest::newRow("apparent power 3") << "4162=3,4175=5.0,4176=6.0,4177=7.0"
                                      << Energyline::OutputApparentPower << "5.0/6.0/7.0 kVA";
    QTest::newRow("active power 1") << "4162=1,4178=4.44" << Energyline::OutputActivePower
                                    << "4.4 kW";
    QTest::newRow("reactive power 3") << "4162=3,4181=1.0,4182=1.5,4183=2.0"
                                      << Energyline::OutputReactivePower << "1.0/1.5/2.0 kVA";
    QTest::newRow("load percentage 1") << "4162=1,4184=45.0" << Energyline::OutputLoadPercentage
                                       << "45.0 %";
    QTest::newRow("load percentage 3") << "4162=3,4184=45.0,4185=50.0,4186=55.0"
                                       << Energyline::OutputLoadPercentage << "45.0/50.0/55.0 %";
    QTest::newRow("negative value") << "4162=1,4178=-0.5" << Energyline::OutputActivePower
                                    << "-0.5 kW";

    // Table entries; indices outside a table give an empty text.
    QTest::newRow("bypass normal") << "4190=1" << Energyline::BypassStatus << "Normal";
    QTest::newRow("bypass abnormal") << "4190=0" << Energyline::BypassStatus << "Abnormal";
    QTest::newRow("bypass missing") << "" << Energyline::BypassStatus << "Abnormal";
    QTest::newRow("bypass 2") << "4190=2" << Energyline::BypassStatus << "";
    QTest::newRow("bypass -1") << "4190=-1" << Energyline::BypassStatus << "";
    QTest::newRow("supply no") << "4250=0" << Energyline::SupplyMode << "No supply";
    QTest::newRow("supply combined") << "4250=3" << Energyline::SupplyMode << "Conbined supply";
    QTest::newRow("supply bypass") << "4250=4" << Energyline::SupplyMode << "Bypass supply";
    QTest::newRow("supply 5") << "4250=5" << Energyline::SupplyMode << "";
    QTest::newRow("phase config 1") << "4248=1" << Energyline::PhaseConfiguration << "Three-Single";
    QTest::newRow("phase config 2") << "4248=2" << Energyline::PhaseConfiguration << "Three-Three";
    QTest::newRow("phase config 3") << "4248=3" << Energyline::PhaseConfiguration << "";
    QTest::newRow("output inverter") << "4161=2" << Energyline::OutputMode << "Load on inverter";
    QTest::newRow("output other") << "4161=3" << Energyline::OutputMode << "Load on other";
    QTest::newRow("output 4") << "4161=4" << Energyline::OutputMode << "";
    QTest::newRow("battery curr") << "4101=2" << Energyline::BatteryState << "curr. equal charge";
    QTest::newRow("battery volt equal") << "4101=5" << Energyline::BatteryState
                                        << "volt. equal charge";
    QTest::newRow("battery 6") << "4101=6" << Energyline::BatteryState << "";
    QTest::newRow("battery huge") << "4101=2147483647" << Energyline::BatteryState << "";
    QTest::newRow("battery most negative") << "4101=-2147483648" << Energyline::BatteryState << "";
    QTest::newRow("rec pfc") << "4239=2" << Energyline::RectifierState << "PFC mode";
    QTest::newRow("rec battery") << "4239=3" << Energyline::RectifierState << "Battery mode";
    QTest::newRow("rec 4") << "4239=4" << Energyline::RectifierState << "";
    QTest::newRow("inv normal") << "4240=2" << Energyline::InverterState << "Normal run";
    QTest::newRow("inv soft") << "4240=1" << Energyline::InverterState << "Soft start";
    QTest::newRow("inv 3") << "4240=3" << Energyline::InverterState << "";

    // Formatted numbers and the "-" rules.
    const QString deg = QString(QChar(0x2103));
    QTest::newRow("rec temp") << "4241=35.26" << Energyline::RectifierTemperature << "35.3 " + deg;
    QTest::newRow("inv temp") << "4242=-5" << Energyline::InverterTemperature << "-5.0 " + deg;
    QTest::newRow("battery temp") << "4107=25.5" << Energyline::BatteryTemperature << "25.5 " + deg;
    QTest::newRow("battery temp -10") << "4107=-10" << Energyline::BatteryTemperature
                                      << "-10.0 " + deg;
    QTest::newRow("battery temp -11") << "4107=-11" << Energyline::BatteryTemperature << "-";
    QTest::newRow("remaining 95") << "4110=95" << Energyline::RemainingTime << "95 Min";
    QTest::newRow("remaining 0") << "4110=0" << Energyline::RemainingTime << "0 Min";
    QTest::newRow("remaining -1") << "4110=-1" << Energyline::RemainingTime << "-";
    QTest::newRow("capacity 80") << "4111=80" << Energyline::RemainingCapacity << "80 %";
    QTest::newRow("capacity -3") << "4111=-3" << Energyline::RemainingCapacity << "-";
    QTest::newRow("battery voltage") << "4103=240,4104=-240" << Energyline::BatteryVoltage
                                     << "240/-240";
    QTest::newRow("battery current") << "4105=1.5,4106=-2.25" << Energyline::BatteryCurrent
                                     << "1.5/-2.25";
}

void tst_Energyline::panelTexts()
{
    QFETCH(QString, data);
    QFETCH(Energyline::PanelText, text);
    QFETCH(QString, expected);
    Energyline w;
    w.flushData(parseMap(data));
    QCOMPARE(w.panelText(text), expected);
}

void tst_Energyline::phaseTextsKept_data()
{
    QTest::addColumn<QString>("data");
    QTest::newRow("empty map") << "";
    QTest::newRow("phase 0") << "4191=0,4132=0,4162=0,4192=1.0,4133=1.0,4163=1.0,4184=1.0";
    QTest::newRow("phase 2") << "4191=2,4132=2,4162=2,4192=1.0,4133=1.0,4163=1.0,4184=1.0";
    QTest::newRow("phase 4") << "4191=4,4132=4,4162=4,4192=1.0,4133=1.0,4163=1.0,4184=1.0";
    QTest::newRow("phase -1") << "4191=-1,4132=-1,4162=-1,4192=1.0,4133=1.0,4163=1.0";
}

void tst_Energyline::phaseTextsKept()
{
    QFETCH(QString, data);
    Energyline w;
    w.flushData(fullMap());
    const QList<Energyline::PanelText> texts = {
        Energyline::BypassVoltage, Energyline::BypassCurrent, Energyline::BypassFrequency,
        Energyline::InputVoltage, Energyline::InputCurrent, Energyline::InputFrequency,
        Energyline::OutputVoltage, Energyline::OutputCurrent, Energyline::OutputFrequency,
        Energyline::OutputApparentPower, Energyline::OutputActivePower,
        Energyline::OutputReactivePower, Energyline::OutputLoadPercentage};
    QStringList before;
    for (Energyline::PanelText t : texts) {
        QVERIFY2(!w.panelText(t).isEmpty(), "full map fills every phase text");
        before << w.panelText(t);
    }
    w.flushData(parseMap(data));
    for (int i = 0; i < texts.size(); ++i)
        QCOMPARE(w.panelText(texts.at(i)), before.at(i));
}

void tst_Energyline::identity_data()
{
    QTest::addColumn<int>("first");
    QTest::addColumn<QVariantList>("values");
    QTest::addColumn<Energyline::PanelText>("text");
    QTest::addColumn<QString>("expected");
    QTest::newRow("type ABC") << 4016 << QVariantList{65, 66, 67} << Energyline::DeviceType << "ABC";
    QTest::newRow("name full 16")
        << 4080 << QVariantList{'0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'a', 'b', 'c', 'd', 'e', 'f'}
        << Energyline::DeviceName << "0123456789abcdef";
    QTest::newRow("manufacturer stops at zero")
        << 4000 << QVariantList{'A', 'B', 0, 'C'} << Energyline::DeviceManufacturer << "AB";
    QTest::newRow("low byte only") << 4016 << QVariantList{0x141, 0x242, 0x1043}
                                   << Energyline::DeviceType << "ABC";
    QTest::newRow("latin-1") << 4080 << QVariantList{'c', 0xE9} << Energyline::DeviceName
                             << QString::fromUtf8("c\xC3\xA9");
    QTest::newRow("float values") << 4000 << QVariantList{72.0, 105.0} << Energyline::DeviceManufacturer
                                  << "Hi";
    QTest::newRow("missing") << 4016 << QVariantList{} << Energyline::DeviceType << "";
    QTest::newRow("leading zero") << 4016 << QVariantList{0, 'X'} << Energyline::DeviceType << "";
}

void tst_Energyline::identity()
{
    QFETCH(int, first);
    QFETCH(QVariantList, values);
    QFETCH(Energyline::PanelText, text);
    QFETCH(QString, expected);
    DataMap map;
    for (int i = 0; i < values.size(); ++i)
        map.insert(first + i, values.at(i));
    // A neighbouring run must not leak into this one.
    map.insert(first + 16, int('Z'));
    map.insert(first - 1, int('Y'));
    Energyline w;
    w.flushData(map);
    QCOMPARE(w.panelText(text), expected);
}

void tst_Energyline::clicks_data()
{
    QTest::addColumn<QPoint>("offset");
    QTest::addColumn<QString>("views");
    // Offsets from the centre; view flags view0..view5.
    QTest::newRow("input") << QPoint(-262, 0) << "100000";
    QTest::newRow("input top-left corner") << QPoint(-300, -37) << "100000";
    QTest::newRow("input right edge") << QPoint(-225, 37) << "100000";
    QTest::newRow("left of input") << QPoint(-301, 0) << "000000";
    QTest::newRow("bypass") << QPoint(-262, -150) << "010000";
    QTest::newRow("bypass top edge") << QPoint(-262, -187) << "010000";
    QTest::newRow("between input and bypass") << QPoint(-262, -75) << "000000";
    QTest::newRow("below input") << QPoint(-262, 38) << "000000";
    QTest::newRow("load") << QPoint(262, 0) << "000100";
    QTest::newRow("load right edge") << QPoint(300, -37) << "000100";
    QTest::newRow("above load") << QPoint(262, -38) << "000000";
    QTest::newRow("battery") << QPoint(0, 117) << "000010";
    QTest::newRow("battery corner") << QPoint(25, 155) << "000010";
    QTest::newRow("right of battery") << QPoint(26, 117) << "000000";
    QTest::newRow("above battery") << QPoint(0, 79) << "000000";
    QTest::newRow("rec") << QPoint(-92, 0) << "001001";
    QTest::newRow("rec left edge") << QPoint(-130, 0) << "001001";
    QTest::newRow("inv") << QPoint(92, 0) << "001001";
    QTest::newRow("inv right edge") << QPoint(130, 37) << "001001";
    QTest::newRow("right of inv") << QPoint(131, 0) << "000000";
    QTest::newRow("centre") << QPoint(0, 0) << "000000";
}

void tst_Energyline::clicks()
{
    QFETCH(QPoint, offset);
    QFETCH(QString, views);
    Energyline w;
    // An odd size: the centre is the integer half, (1001 / 2, 801 / 2).
    w.setFixedSize(1001, 801);
    const QPoint centre(500, 400);
    QTest::mouseClick(&w, Qt::LeftButton, Qt::NoModifier, centre + offset);
    QCOMPARE(viewFlags(w), views);
}

void tst_Energyline::clickTwiceCloses_data()
{
    QTest::addColumn<QPoint>("first");
    QTest::addColumn<QPoint>("second");
    QTest::addColumn<QString>("afterFirst");
    QTest::newRow("inv twice") << QPoint(92, 0) << QPoint(92, 0) << "001001";
    QTest::newRow("rec then inv") << QPoint(-92, 0) << QPoint(92, 0) << "001001";
    QTest::newRow("input twice") << QPoint(-262, 0) << QPoint(-262, 0) << "100000";
    QTest::newRow("battery twice") << QPoint(0, 117) << QPoint(0, 117) << "000010";
}

void tst_Energyline::clickTwiceCloses()
{
    QFETCH(QPoint, first);
    QFETCH(QPoint, second);
    QFETCH(QString, afterFirst);
    Energyline w;
    w.resize(1280, 800);
    const QPoint centre(640, 400);
    QTest::mouseClick(&w, Qt::LeftButton, Qt::NoModifier, centre + first);
    QCOMPARE(viewFlags(w), afterFirst);
    QTest::mouseClick(&w, Qt::LeftButton, Qt::NoModifier, centre + second);
    QCOMPARE(viewFlags(w), QStringLiteral("000000"));
}

void tst_Energyline::viewsSurviveData()
{
    Energyline w;
    w.resize(1280, 800);
    QTest::mouseClick(&w, Qt::LeftButton, Qt::NoModifier, QPoint(640 + 262, 400));
    QCOMPARE(viewFlags(w), QStringLiteral("000100"));
    w.flushData(fullMap());
    w.flushData(DataMap());
    QCOMPARE(viewFlags(w), QStringLiteral("000100"));
}

void tst_Energyline::offsetWraps()
{
    Energyline w;
    QCOMPARE(w.flowOffset(), 0.0f);
    float previous = w.flowOffset();
    int wrapStep = -1;
    for (int step = 1; step <= 3000 && wrapStep < 0; ++step) {
        w.advanceFlow();
        if (w.flowOffset() > previous) {
            wrapStep = step;
            QVERIFY2(previous <= -999.5f, "wraps only near -1000");
            QCOMPARE(w.flowOffset(), 0.0f);
        } else {
            QVERIFY(qAbs(previous - w.flowOffset() - 0.4f) < 1e-3f);
            QVERIFY(w.flowOffset() >= -1000.0f);
        }
        previous = w.flowOffset();
    }
    QVERIFY2(wrapStep >= 2499 && wrapStep <= 2502, qPrintable(QString::number(wrapStep)));
    w.advanceFlow();
    QVERIFY(qAbs(w.flowOffset() + 0.4f) < 1e-6f);
}

void tst_Energyline::timerAnimates()
{
    Energyline w;
    QVERIFY(w.animationTimer()->isActive());
    QCOMPARE(w.animationTimer()->interval(), 100);
    QVERIFY(QTest::qWaitFor([&w] { return w.flowOffset() < 0.0f; }, 2000));
}

void tst_Energyline::paintFullDiagram()
{
    Energyline w;
    w.resize(1280, 800);
    w.flushData(fullMap());
    const QPoint centre(640, 400);
    for (const QPoint& p : {QPoint(-262, 0), QPoint(-262, -150), QPoint(262, 0), QPoint(0, 117),
                            QPoint(92, 0)})
        QTest::mouseClick(&w, Qt::LeftButton, Qt::NoModifier, centre + p);
    QCOMPARE(viewFlags(w), QStringLiteral("111111"));
    QCOMPARE(flowFlags(w), QStringLiteral("111111"));

    const QImage img = paint(w);
    // Blocks: a point just inside the top edge of each shows the gradient's
    // blue top, away from the image in the middle.
    const QList<QPointF> blockTops = {{-300, -37.5}, {-300, -187.5}, {-130, -37.5},
                                      {55, -37.5}, {225, -37.5}};
    for (const QPointF& tl : blockTops) {
        const QPoint probe = (QPointF(centre) + tl + QPointF(37, 4)).toPoint();
        const QRgb c = img.pixel(probe);
        QVERIFY2(qBlue(c) > 200 && qRed(c) < 180, qPrintable(QString::number(c, 16)));
    }
    // The battery body: its bottom is the gradient's dark end.
    const QRgb battery = img.pixel(centre + QPoint(0, 152));
    QVERIFY(qBlue(battery) > 150 && qRed(battery) < 120);
}

void tst_Energyline::paintFlows_data()
{
    QTest::addColumn<QString>("data");
    QTest::addColumn<QPoint>("from");
    QTest::addColumn<QPoint>("to");
    // Flow off: the segment shows only the track; flow on: dashes.
    QTest::newRow("input to rec") << "4219=1" << QPoint(-210, 0) << QPoint(-150, 0);
    QTest::newRow("rec to battery") << "4220=1,4224=1" << QPoint(0, 20) << QPoint(0, 60);
    QTest::newRow("battery to inv") << "4221=1,4224=1" << QPoint(0, 20) << QPoint(0, 60);
    QTest::newRow("rec to inv") << "4220=1,4221=1" << QPoint(10, 0) << QPoint(50, 0);
    QTest::newRow("inv to load") << "4222=1,4223=1" << QPoint(140, 0) << QPoint(170, 0);
    QTest::newRow("bypass to load") << "4218=1,4223=1" << QPoint(-200, -150) << QPoint(150, -150);
    QTest::newRow("bypass riser") << "4218=1,4223=1" << QPoint(175, -130) << QPoint(175, -20);
}

void tst_Energyline::paintFlows()
{
    QFETCH(QString, data);
    QFETCH(QPoint, from);
    QFETCH(QPoint, to);
    Energyline w;
    w.resize(1280, 800);
    const QPoint centre(640, 400);
    const auto dashedPixels = [&](const QImage& img) {
        int n = 0;
        const QPoint step = (to - from) / qMax(qAbs(to.x() - from.x()), qAbs(to.y() - from.y()));
        for (QPoint p = from; p != to + step; p += step)
            n += isFlowColoured(img.pixel(centre + p)) ? 1 : 0;
        return n;
    };
    QCOMPARE(dashedPixels(paint(w)), 0);
    w.flushData(parseMap(data));
    QVERIFY(dashedPixels(paint(w)) > 0);
    w.set_all_off_Flow();
    QCOMPARE(dashedPixels(paint(w)), 0);
}

void tst_Energyline::paintPanels_data()
{
    QTest::addColumn<QPoint>("click");
    QTest::addColumn<QPoint>("probe");
    // Probe: 5 pixels inside the panel's left edge (10 left of its x),
    // half-way down.
    QTest::newRow("bypass") << QPoint(-262, -150) << QPoint(-435, -275);
    QTest::newRow("input") << QPoint(-262, 0) << QPoint(-435, 97);
    QTest::newRow("device") << QPoint(-92, 0) << QPoint(-170, -262);
    QTest::newRow("rec/inv") << QPoint(92, 0) << QPoint(150, -275);
    QTest::newRow("load") << QPoint(262, 0) << QPoint(105, 160);
    QTest::newRow("battery") << QPoint(0, 117) << QPoint(-435, 253);
}

void tst_Energyline::paintPanels()
{
    QFETCH(QPoint, click);
    QFETCH(QPoint, probe);
    Energyline w;
    w.resize(1280, 800);
    w.flushData(fullMap());
    const QPoint centre(640, 400);
    QCOMPARE(paint(w).pixel(centre + probe), qRgb(255, 255, 255));
    QTest::mouseClick(&w, Qt::LeftButton, Qt::NoModifier, centre + click);
    QCOMPARE(paint(w).pixel(centre + probe), qRgb(245, 246, 250));
}

void tst_Energyline::paintBlockImages_data()
{
    QTest::addColumn<QPointF>("topLeft");
    QTest::addColumn<QSize>("blockSize");
    QTest::newRow("input") << QPointF(-300, -37.5) << QSize(75, 75);
    QTest::newRow("bypass") << QPointF(-300, -187.5) << QSize(75, 75);
    QTest::newRow("rec") << QPointF(-130, -37.5) << QSize(75, 75);
    QTest::newRow("inv") << QPointF(55, -37.5) << QSize(75, 75);
    QTest::newRow("load") << QPointF(225, -37.5) << QSize(75, 75);
    QTest::newRow("battery") << QPointF(-25, 80) << QSize(50, 75);
}

void tst_Energyline::paintBlockImages()
{
    QFETCH(QPointF, topLeft);
    QFETCH(QSize, blockSize);
    Energyline w;
    w.resize(1280, 800);
    const QImage img = paint(w);
    // The gradient never reaches white; white ink inside the block's middle
    // can only come from its icon.
    const QRectF block(QPointF(640, 400) + topLeft, QSizeF(blockSize));
    const QRect inner = block.adjusted(10, 10, -10, -10).toRect();
    int white = 0;
    for (int y = inner.top(); y <= inner.bottom(); ++y)
        for (int x = inner.left(); x <= inner.right(); ++x) {
            const QRgb c = img.pixel(x, y);
            white += (qRed(c) > 230 && qGreen(c) > 230 && qBlue(c) > 230) ? 1 : 0;
        }
    QVERIFY2(white >= 10, qPrintable(QString::number(white)));
}

QTEST_MAIN(tst_Energyline)
#include "tst_views_energyline.moc"
