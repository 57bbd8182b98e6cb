#include <QtTest>

#include "ParameterInformation.h"
#include "vek5ViewData.h"

using DataMap = QMap<int, QVariant>;
Q_DECLARE_METATYPE(DataMap)

class tst_views_parameter : public QObject
{
    Q_OBJECT
private slots:
    void displayText_data();
    void displayText();
    void addCombo_data();
    void addCombo();
    void rangeText_data();
    void rangeText();
    void addDataDesc();
};

namespace {

// Points holding the bytes of `text`, one byte per point from `first`.
DataMap bytePoints(int first, const QByteArray& text)
{
    DataMap map;
    for (int i = 0; i < text.size(); ++i)
        map.insert(first + i, int(static_cast<unsigned char>(text.at(i))));
    return map;
}

DataMap points(int first, const QVariantList& values)
{
    DataMap map;
    for (int i = 0; i < values.size(); ++i)
        map.insert(first + i, values.at(i));
    return map;
}

} // namespace

void tst_views_parameter::displayText_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("pointId");
    QTest::addColumn<int>("pointCount");
    QTest::addColumn<QString>("unit");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<DataMap>("data");
    QTest::addColumn<QString>("expected");

    const QStringList none;
    QTest::newRow("int") << 0 << 4274 << 0 << "Day" << none << points(4274, {365}) << "365Day";
    QTest::newRow("int negative") << 0 << 10 << 0 << "" << none << points(10, {-7}) << "-7";
    QTest::newRow("int absent") << 0 << 4274 << 0 << "Day" << none << DataMap() << "0Day";
    QTest::newRow("three ints") << 1 << 100 << 0 << "V" << none << points(100, {1, 2, 3})
                                << "1/2/3V";
    QTest::newRow("three ints, middle absent")
        << 1 << 100 << 0 << "V" << none << DataMap{{100, 1}, {102, 3}} << "1/0/3V";
    QTest::newRow("one decimal") << 4 << 4103 << 0 << "V" << none << points(4103, {12.34})
                                 << "12.3V";
    QTest::newRow("one decimal absent") << 4 << 4103 << 0 << "V" << none << DataMap() << "0.0V";
    QTest::newRow("three one-decimals")
        << 5 << 4133 << 0 << "V" << none << points(4133, {230.04, 229.96, 231}) << "230.0/230.0/231.0V";
    QTest::newRow("two decimals") << 6 << 3019 << 0 << "V" << none << points(3019, {2.25})
                                  << "2.25V";
    QTest::newRow("three two-decimals")
        << 7 << 50 << 0 << "A" << none << points(50, {1.5, 0, 3.126}) << "1.50/0.00/3.13A";
    QTest::newRow("text") << 9 << 4016 << 16 << "" << none
                          << bytePoints(4016, QByteArray("UPS-20K\0\0\0\0\0\0\0\0\0", 16))
                          << "UPS-20K";
    QTest::newRow("text strips blanks and stops at zero")
        << 9 << 4000 << 8 << "" << none << bytePoints(4000, QByteArray("  AB\0CD ", 8)) << "AB";
    QTest::newRow("text keeps low byte") << 9 << 4000 << 2 << "" << none
                                         << points(4000, {0x141, 0x342}) << "AB";
    QTest::newRow("text utf-8") << 9 << 4000 << 4 << "" << none
                                << bytePoints(4000, QByteArray("\xe2\x84\x83", 3) + '\0')
                                << QString::fromUtf8("\xe2\x84\x83");
    QTest::newRow("text with unit") << 9 << 4000 << 2 << "V" << none << bytePoints(4000, "12")
                                    << "12V";
    QTest::newRow("text count beyond points") << 9 << 4000 << 4 << "" << none
                                              << bytePoints(4000, "XY") << "XY";
    QTest::newRow("text absent") << 9 << 4064 << 16 << "" << none << DataMap() << "";
    QTest::newRow("text count 0 has no unit") << 9 << 4000 << 0 << "V" << none
                                              << bytePoints(4000, "AB") << "";
    QTest::newRow("system time") << 9 << 3103 << 6 << "" << none
                                 << points(3103, {24, 5, 6, 12, 30, 0}) << "2024/05/06 12:30:00";
    QTest::newRow("discharge time, no unit") << 9 << 4268 << 6 << "h" << none
                                             << points(4268, {9, 12, 31, 23, 59, 7})
                                             << "2009/12/31 23:59:07";
    QTest::newRow("date field not cut") << 9 << 4268 << 6 << "" << none
                                        << points(4268, {123, 1, 2, 3, 4, 5})
                                        << "20123/01/02 03:04:05";
    QTest::newRow("date of three fields") << 9 << 4268 << 3 << "" << none
                                          << points(4268, {24, 1, 2}) << "2024/01/02 ";
    QTest::newRow("date of two fields is too short") << 9 << 3103 << 2 << "" << none
                                                     << points(3103, {24, 1}) << "";
    QTest::newRow("other text point is no date") << 9 << 3104 << 2 << "" << none
                                                 << bytePoints(3104, "24") << "24";
    QTest::newRow("option") << 11 << 3011 << 0 << "%" << QStringList{"Enable", "Disable"}
                            << points(3011, {1}) << "Disable%";
    QTest::newRow("option unmatched") << 11 << 3011 << 0 << "%" << QStringList{"Enable", "Disable"}
                                      << points(3011, {5}) << "";
    QTest::newRow("option absent reads 0") << 11 << 3011 << 0 << "" << QStringList{"On", "Off"}
                                           << DataMap() << "On";
    for (int type : {2, 3, 8, 10, 12, -1})
        QTest::newRow(qPrintable(QStringLiteral("unassigned type %1").arg(type)))
            << type << 7 << 3 << "V" << QStringList{"a", "b"} << points(7, {1, 1, 1}) << "";
}

void tst_views_parameter::displayText()
{
    QFETCH(int, type);
    QFETCH(int, pointId);
    QFETCH(int, pointCount);
    QFETCH(QString, unit);
    QFETCH(QStringList, options);
    QFETCH(DataMap, data);
    QFETCH(QString, expected);

    ParameterInformation record;
    record.type = type;
    record.pointId = pointId;
    record.pointCount = pointCount;
    record.unit = unit;
    record.addCombo(options);
    QCOMPARE(record.displayText(data), expected);
}

void tst_views_parameter::addCombo_data()
{
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<bool>("withValues");
    QTest::addColumn<QList<float>>("values");
    QTest::addColumn<QStringList>("expected"); // "text=value" in map order
    QTest::addColumn<int>("rawShown");
    QTest::addColumn<QString>("shownText");

    QTest::newRow("by position, ordered by text")
        << QStringList{"b", "a", "c"} << false << QList<float>() << QStringList{"a=1", "b=0", "c=2"}
        << 0 << "b";
    QTest::newRow("later duplicate wins")
        << QStringList{"9600", "2400", "4800", "9600", "19200"} << false << QList<float>()
        << QStringList{"19200=4", "2400=1", "4800=2", "9600=3"} << 0 << "";
    QTest::newRow("code-unit order") << QStringList{"a", "B", "+1", "-1"} << false << QList<float>()
                                     << QStringList{"+1=2", "-1=3", "B=1", "a=0"} << 1 << "B";
    QTest::newRow("empty list") << QStringList() << false << QList<float>() << QStringList() << 0
                                << "";
    QTest::newRow("values truncate") << QStringList{"0.5", "1.0", "2.0"} << true
                                     << QList<float>{0.5f, 1.0f, 2.9f}
                                     << QStringList{"0.5=0", "1.0=1", "2.0=2"} << 2 << "2.0";
    QTest::newRow("negative values truncate toward zero")
        << QStringList{"x", "y"} << true << QList<float>{-1.7f, -0.2f}
        << QStringList{"x=-1", "y=0"} << -1 << "x";
    QTest::newRow("explicit values") << QStringList{"Stand alone", "ECO"} << true
                                     << QList<float>{1, 4} << QStringList{"ECO=4", "Stand alone=1"}
                                     << 4 << "ECO";
    QTest::newRow("equal values show text sorting first")
        << QStringList{"zeta", "alpha"} << true << QList<float>{7, 7}
        << QStringList{"alpha=7", "zeta=7"} << 7 << "alpha";
    QTest::newRow("no values does nothing") << QStringList{"a"} << true << QList<float>()
                                            << QStringList() << 0 << "";
    QTest::newRow("no texts does nothing") << QStringList() << true << QList<float>{1}
                                           << QStringList() << 1 << "";
    QTest::newRow("short value list maps what it can")
        << QStringList{"a", "b"} << true << QList<float>{3} << QStringList{"a=3"} << 3 << "a";
}

void tst_views_parameter::addCombo()
{
    QFETCH(QStringList, texts);
    QFETCH(bool, withValues);
    QFETCH(QList<float>, values);
    QFETCH(QStringList, expected);
    QFETCH(int, rawShown);
    QFETCH(QString, shownText);

    ParameterInformation record;
    record.type = 11;
    record.pointId = 3000;
    if (withValues)
        record.addCombo(texts, values);
    else
        record.addCombo(texts);

    QStringList actual;
    for (auto it = record.comboMap.constBegin(); it != record.comboMap.constEnd(); ++it)
        actual << QStringLiteral("%1=%2").arg(it.key()).arg(it.value());
    QCOMPARE(actual, expected);
    QCOMPARE(record.displayText({{3000, rawShown}}), shownText);
}

void tst_views_parameter::rangeText_data()
{
    QTest::addColumn<int>("minRaw");
    QTest::addColumn<int>("maxRaw");
    QTest::addColumn<float>("ratio");
    QTest::addColumn<QString>("expected");

    QTest::newRow("no range") << 0 << 0 << 0.0f << "-";
    QTest::newRow("no range despite ratio") << 0 << 0 << 0.1f << "-";
    QTest::newRow("ratio 1") << 16 << 180 << 1.0f << "16-180";
    QTest::newRow("ratio 0.01") << 210 << 365 << 0.01f << "2.1-3.65";
    QTest::newRow("ratio 0.1") << 5 << 50 << 0.1f << "0.5-5";
    QTest::newRow("ratio 0 gives zeros") << 0 << 10000 << 0.0f << "0-0";
    QTest::newRow("only max") << 0 << 100 << 1.0f << "0-100";
    QTest::newRow("short general form") << 1 << 3000000 << 1.0f << "1-3e+06";
    QTest::newRow("negative") << -5 << 5 << 0.5f << "-2.5-2.5";
}

void tst_views_parameter::rangeText()
{
    QFETCH(int, minRaw);
    QFETCH(int, maxRaw);
    QFETCH(float, ratio);
    QFETCH(QString, expected);

    ParameterInformation record;
    record.minRaw = minRaw;
    record.maxRaw = maxRaw;
    record.ratio = ratio;
    QCOMPARE(record.rangeText(), expected);
}

void tst_views_parameter::addDataDesc()
{
    QList<ParameterInformation*> list;
    ParameterInformation* first = vek5ViewData::addDataDesc(list, "A:", "-", "V", 0.1f, 5, 50);
    ParameterInformation* second = vek5ViewData::addDataDesc(list, "B:", "?", "", 0.0f, 0, 9);
    QCOMPARE(list.size(), 2);
    QCOMPARE(list.at(0), first);
    QCOMPARE(list.at(1), second);

    QCOMPARE(first->label, QString("A:"));
    QCOMPARE(first->valueText, QString("-"));
    QCOMPARE(first->unit, QString("V"));
    QCOMPARE(first->ratio, 0.1f);
    QCOMPARE(first->minRaw, 5);
    QCOMPARE(first->maxRaw, 50);
    QCOMPARE(first->type, 0);
    QCOMPARE(first->flag, 1);
    QVERIFY(first->extraText.isEmpty());
    QVERIFY(first->comboMap.isEmpty());
    QCOMPARE(second->valueText, QString("?"));
    QCOMPARE(second->maxRaw, 9);
    qDeleteAll(list);
}

QTEST_GUILESS_MAIN(tst_views_parameter)
#include "tst_views_parameter.moc"
