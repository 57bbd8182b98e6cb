// The register map table: that it carries every point the views, the data
// log and the energy-flow diagram read, in the right kind of table and with
// the scale the setting dialog writes, and that the document describing it
// says the same as the table.

#include "registermap.h"

#include <QFile>
#include <QRegularExpression>
#include <QtTest>

using namespace regmap;

class tst_driver_registermap : public QObject
{
    Q_OBJECT

private slots:
    void pointsCarried_data();
    void pointsCarried();
    void settingScales_data();
    void settingScales();
    void answersDistinct();
    void documentMatchesTable();
};

void tst_driver_registermap::pointsCarried_data()
{
    // First point, count, and the function that must carry them: alarms as
    // bits, live values read-only, settings writable.
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("table");
    QTest::newRow("alarm states") << 2000 << 512 << 2;
    QTest::newRow("manufacturer") << 4000 << 16 << 4;
    QTest::newRow("model") << 4016 << 16 << 4;
    QTest::newRow("serial number") << 4064 << 16 << 4;
    QTest::newRow("device name") << 4080 << 16 << 4;
    QTest::newRow("decode and firmware versions") << 4097 << 2 << 4;
    QTest::newRow("battery status") << 4101 << 1 << 4;
    QTest::newRow("battery values") << 4103 << 9 << 4;
    QTest::newRow("input group") << 4132 << 13 << 4;
    QTest::newRow("output group") << 4161 << 26 << 4;
    QTest::newRow("bypass group") << 4190 << 14 << 4;
    QTest::newRow("energy-flow states") << 4218 << 7 << 4;
    QTest::newRow("rectifier and inverter") << 4239 << 10 << 4;
    QTest::newRow("work mode") << 4250 << 1 << 4;
    QTest::newRow("software versions") << 4251 << 8 << 4;
    QTest::newRow("battery test status") << 4259 << 1 << 4;
    QTest::newRow("last discharge time") << 4268 << 6 << 4;
    QTest::newRow("warranty days") << 4274 << 2 << 4;
    QTest::newRow("basic settings") << 3000 << 9 << 3;
    QTest::newRow("switches and battery settings") << 3010 << 67 << 3;
    QTest::newRow("device type") << 3077 << 10 << 3;
    QTest::newRow("company name") << 3087 << 16 << 3;
    QTest::newRow("system time") << 3103 << 6 << 3;
    QTest::newRow("serial numbers") << 3109 << 16 << 3;
    QTest::newRow("baud rates") << 3125 << 2 << 3;
    QTest::newRow("company phone") << 3150 << 14 << 3;
}

void tst_driver_registermap::pointsCarried()
{
    QFETCH(int, first);
    QFETCH(int, count);
    QFETCH(int, table);
    for (int p = first; p < first + count; ++p) {
        const Field* f = findField(p);
        QVERIFY2(f != nullptr, qPrintable(QString::number(p)));
        QCOMPARE(int(f->table), table);
    }
}

void tst_driver_registermap::settingScales_data()
{
    // The setting dialog sends value / ratio; the register holds that raw value.
    QTest::addColumn<int>("point");
    QTest::addColumn<double>("ratio");
    QTest::newRow("Frequency track limit") << 3004 << 0.1;
    QTest::newRow("Transformer coil turns ratio") << 3016 << 0.01;
    QTest::newRow("Cell float voltage") << 3019 << 0.01;
    QTest::newRow("Cell Eod voltage for 0.15c") << 3022 << 0.01;
    QTest::newRow("Charge current limit") << 3023 << 0.01;
    QTest::newRow("Battery voltage low coefficient") << 3030 << 0.01;
    QTest::newRow("Inverter voltage phase A rectification") << 3055 << 0.1;
    QTest::newRow("Bypass voltage C rectification") << 3060 << 0.1;
    QTest::newRow("Inverter DC voltage A rectification") << 3061 << 0.01;
    QTest::newRow("Inverter DC voltage C rectification") << 3063 << 0.01;
    QTest::newRow("Input Phase A voltage rectification") << 3064 << 0.1;
    QTest::newRow("Output with transformer voltage rectification 2") << 3072 << 0.1;
    QTest::newRow("Frequency slew rate") << 3073 << 0.1;
    QTest::newRow("Battery numbers") << 3017 << 1.0;
    QTest::newRow("Boost time limit") << 3025 << 1.0;
    QTest::newRow("Rated input voltage") << 3039 << 1.0;
    QTest::newRow("Communication address") << 3074 << 1.0;
    QTest::newRow("COM_B baud rate") << 3126 << 1.0;
}

void tst_driver_registermap::settingScales()
{
    QFETCH(int, point);
    QFETCH(double, ratio);
    const Field* f = findField(point);
    QVERIFY(f != nullptr);
    QCOMPARE(int(f->encoding), int(Number));
    QCOMPARE(f->divisor, qRound(1.0 / ratio));
}

void tst_driver_registermap::answersDistinct()
{
    // No block's answer may pass for another's: function code or byte count differ.
    for (int i = 0; i < kBlockCount; ++i)
        for (int j = i + 1; j < kBlockCount; ++j) {
            const Block& a = kBlocks[i];
            const Block& b = kBlocks[j];
            const int bytesA = a.table == DiscreteInputs ? (a.count + 7) / 8 : 2 * a.count;
            const int bytesB = b.table == DiscreteInputs ? (b.count + 7) / 8 : 2 * b.count;
            QVERIFY2(a.table != b.table || bytesA != bytesB, qPrintable(QString("%1 %2").arg(i).arg(j)));
        }
}

void tst_driver_registermap::documentMatchesTable()
{
    QFile doc(QStringLiteral(VEK5_SOURCE_DIR "/docs/register-map.md"));
    QVERIFY(doc.open(QIODevice::ReadOnly | QIODevice::Text));
    const QString text = QString::fromUtf8(doc.readAll());
    // | 4133-4138 | 4 | 111-116 | number | 10 | ... |
    const QRegularExpression row(
            "^\\| (\\d+)(?:-(\\d+))? \\| ([234]) \\| (\\d+)(?:-(\\d+))? \\| (bit|number|text|date) \\| (\\d*) \\|",
            QRegularExpression::MultilineOption);
    const char* const encodings[] = {"bit", "number", "text", "date"};
    int rows = 0;
    for (auto it = row.globalMatch(text); it.hasNext(); ++rows) {
        const QRegularExpressionMatch m = it.next();
        const int first = m.captured(1).toInt();
        const int last = m.captured(2).isEmpty() ? first : m.captured(2).toInt();
        const Field* f = findField(first);
        QVERIFY2(f != nullptr && f->point == first, qPrintable(m.captured(0)));
        QCOMPARE(f->points, last - first + 1);
        QCOMPARE(int(f->table), m.captured(3).toInt());
        const int address = m.captured(4).toInt();
        const int lastAddress = m.captured(5).isEmpty() ? address : m.captured(5).toInt();
        QCOMPARE(f->address, address);
        QCOMPARE(fieldWidth(*f), lastAddress - address + 1);
        QCOMPARE(QString(encodings[f->encoding]), m.captured(6));
        if (f->encoding == Number)
            QCOMPARE(f->divisor, m.captured(7).toInt());
    }
    QCOMPARE(rows, kFieldCount);
}

QTEST_GUILESS_MAIN(tst_driver_registermap)
#include "tst_driver_registermap.moc"
