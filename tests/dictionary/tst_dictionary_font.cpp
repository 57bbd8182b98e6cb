#include "vek5Font.h"

#include <QtTest>

#include <atomic>
#include <limits>
#include <thread>
#include <vector>

using DataMap = QMap<int, QVariant>;

namespace {

constexpr int Half = 498;

// Appearance codes that name no event, inclusive ranges.
const struct { int from, to; } reservedRanges[] = {
    {3, 8},     {12, 17},   {42, 47},   {49, 127},  {189, 191}, {217, 223}, {227, 242}, {245, 255},
    {271, 271}, {303, 303}, {347, 351}, {369, 383}, {389, 399}, {412, 415}, {429, 431}, {444, 447},
    {475, 479}, {482, 495},
};

DataMap merged(DataMap base, const DataMap& extra)
{
    base.insert(extra);
    return base;
}

bool isReserved(int code)
{
    for (const auto& range : reservedRanges)
        if (code >= range.from && code <= range.to)
            return true;
    return false;
}

// Clearing texts that do not follow "<appearance> disappear".
const struct { int code; const char* appearance; const char* clearing; } clearingExceptions[] = {
    {243, "Byp Module/Sys board_Bypass abnormal", "BYP Module/Sys board_Bypass abnormal disappear"},
    {244, "Byp Module/Sys board_Output abnormal ", "Byp Module/Sys board_Output abnormal disappear"},
    {287, "Rectifier_Battery neutral Lost", "Rectifier_Battery neutral Lost"},
    {496, "Inverter_Inverter fast check fail", "Inverter_inverter fast check fail disappear"},
    {497, "Inverter_Inverter negative power fault", "Inverter_inverter Negative power fault disappear"},
};

const char* exceptionalClearing(int code)
{
    for (const auto& exception : clearingExceptions)
        if (exception.code == code)
            return exception.clearing;
    return nullptr;
}

// Positions of the values in a data-log row.
enum Column {
    InputVoltage, InputFrequency, BypassVoltage, BypassFrequency, OutputVoltage, OutputCurrent,
    OutputPower, OutputLoad, OutputFrequency, OutputMode, BatteryCapacity, BatteryVoltage,
    BatteryCurrent, BatteryTemperature, BatteryState, ColumnCount
};

} // namespace

class tst_DictionaryFont : public QObject
{
    Q_OBJECT

private slots:
    // Must stay first: it races the creation of the singleton.
    void instanceIsCreatedOnceAcrossThreads();

    void catalogueHasTwoHalves();
    void reservedCodesAreEmpty_data();
    void reservedCodesAreEmpty();
    void namedCodesHaveTexts();
    void clearingPairsWithAppearance_data();
    void clearingPairsWithAppearance();
    void clearingExceptionsAreKept_data();
    void clearingExceptionsAreKept();
    void catalogueEntries_data();
    void catalogueEntries();
    void unitPrefixFollowsCodeBlock_data();
    void unitPrefixFollowsCodeBlock();
    void catalogueIsAnIndependentCopy();

    void dataLogHeadings_data();
    void dataLogHeadings();
    void emptyMapGivesZeroRow();
    void rowValue_data();
    void rowValue();
    void flushDataLeavesRowsAlone();
};

void tst_DictionaryFont::instanceIsCreatedOnceAcrossThreads()
{
    // Plain std threads and atomics, so that ThreadSanitizer sees every
    // hand-over of the test itself and only judges the dictionary.
    constexpr int threadCount = 8;
    std::atomic<int> parked{0};
    std::atomic<bool> go{false};
    std::vector<vek5Font*> seen(threadCount, nullptr);
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([&, i] {
            parked.fetch_add(1);
            while (!go.load())
                std::this_thread::yield();
            seen[i] = vek5Font::instance();
        });
    }
    while (parked.load() < threadCount)
        std::this_thread::yield();
    go.store(true);
    for (std::thread& thread : threads)
        thread.join();
    QVERIFY(seen[0] != nullptr);
    for (vek5Font* font : seen)
        QCOMPARE(font, seen[0]);
    QCOMPARE(vek5Font::instance(), seen[0]);
}

void tst_DictionaryFont::catalogueHasTwoHalves()
{
    const QStringList events = vek5Font::instance()->getEventLogDesc();
    QCOMPARE(events.size(), 2 * Half);
    QCOMPARE(events.size() / 2, Half);
}

void tst_DictionaryFont::reservedCodesAreEmpty_data()
{
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");
    for (const auto& range : reservedRanges)
        QTest::addRow("%d-%d", range.from, range.to) << range.from << range.to;
}

void tst_DictionaryFont::reservedCodesAreEmpty()
{
    QFETCH(int, from);
    QFETCH(int, to);
    const QStringList events = vek5Font::instance()->getEventLogDesc();
    QCOMPARE(events.size(), 2 * Half);
    for (int code = from; code <= to; ++code) {
        QVERIFY2(events.at(code).isEmpty(), qPrintable(QString::number(code)));
        QVERIFY2(events.at(code + Half).isEmpty(), qPrintable(QString::number(code + Half)));
    }
}

void tst_DictionaryFont::namedCodesHaveTexts()
{
    const QStringList events = vek5Font::instance()->getEventLogDesc();
    QCOMPARE(events.size(), 2 * Half);
    int named = 0;
    for (int code = 0; code < Half; ++code) {
        if (isReserved(code))
            continue;
        QVERIFY2(!events.at(code).isEmpty(), qPrintable(QString::number(code)));
        ++named;
    }
    QCOMPARE(named, 301);
}

void tst_DictionaryFont::clearingPairsWithAppearance_data()
{
    QTest::addColumn<int>("code");
    for (int code = 0; code < Half; ++code)
        QTest::addRow("%d", code) << code;
}

void tst_DictionaryFont::clearingPairsWithAppearance()
{
    QFETCH(int, code);
    const QStringList events = vek5Font::instance()->getEventLogDesc();
    QCOMPARE(events.size(), 2 * Half);
    const QString appearance = events.at(code);
    const QString clearing = events.at(code + Half);
    if (const char* exception = exceptionalClearing(code))
        QCOMPARE(clearing, QString::fromLatin1(exception));
    else if (appearance.isEmpty())
        QCOMPARE(clearing, QString());
    else
        QCOMPARE(clearing, appearance + QStringLiteral(" disappear"));
}

void tst_DictionaryFont::clearingExceptionsAreKept_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("appearance");
    QTest::addColumn<QString>("clearing");
    for (const auto& exception : clearingExceptions)
        QTest::addRow("%d", exception.code) << exception.code << QString::fromLatin1(exception.appearance)
                                            << QString::fromLatin1(exception.clearing);
}

void tst_DictionaryFont::clearingExceptionsAreKept()
{
    QFETCH(int, code);
    QFETCH(QString, appearance);
    QFETCH(QString, clearing);
    const QStringList events = vek5Font::instance()->getEventLogDesc();
    QCOMPARE(events.size(), 2 * Half);
    QCOMPARE(events.at(code), appearance);
    QCOMPARE(events.at(code + Half), clearing);
}

void tst_DictionaryFont::catalogueEntries_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");
    QTest::newRow("first") << 0 << "Monitor_Bypass module/System board communication is abnormal";
    QTest::newRow("first cleared") << 498 << "Monitor_Bypass module/System board communication is abnormal disappear";
    QTest::newRow("no prefix") << 48 << "UPS need maintenance";
    QTest::newRow("no prefix cleared") << 546 << "UPS need maintenance disappear";
    QTest::newRow("reserved") << 49 << "";
    QTest::newRow("reserved cleared") << 547 << "";
    QTest::newRow("Lost kept") << 785 << "Rectifier_Battery neutral Lost";
    QTest::newRow("duplicate a") << 284 << "Rectifier_Charger switch shorted";
    QTest::newRow("duplicate b") << 336 << "Rectifier_Charger switch shorted";
    QTest::newRow("duplicate a cleared") << 782 << "Rectifier_Charger switch shorted disappear";
    QTest::newRow("duplicate b cleared") << 834 << "Rectifier_Charger switch shorted disappear";
    QTest::newRow("double blank") << 360 << "Rectifier_Lithium battery charge  primary protection";
    QTest::newRow("double blank cleared") << 858 << "Rectifier_Lithium battery charge  primary protection disappear";
    QTest::newRow("bypass block start") << 128 << "Byp Module/Sys board_System board and inverter module CAN communication abnormal";
    QTest::newRow("percent sign") << 135 << "Byp Module/Sys board_Output overload 150%";
    QTest::newRow("last before reserve") << 474 << "Inverter_The dial code is under test";
    QTest::newRow("after reserve") << 480 << "Inverter_Output overvoltage";
    QTest::newRow("last") << 995 << "Inverter_inverter Negative power fault disappear";
}

void tst_DictionaryFont::catalogueEntries()
{
    QFETCH(int, code);
    QFETCH(QString, text);
    const QStringList events = vek5Font::instance()->getEventLogDesc();
    QCOMPARE(events.size(), 2 * Half);
    QCOMPARE(events.at(code), text);
}

void tst_DictionaryFont::unitPrefixFollowsCodeBlock_data()
{
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");
    QTest::addColumn<QString>("prefix");
    QTest::newRow("monitor") << 0 << 127 << "Monitor_";
    QTest::newRow("bypass module") << 128 << 255 << "Byp Module/Sys board_";
    QTest::newRow("rectifier") << 256 << 383 << "Rectifier_";
    QTest::newRow("inverter") << 384 << 497 << "Inverter_";
}

void tst_DictionaryFont::unitPrefixFollowsCodeBlock()
{
    QFETCH(int, from);
    QFETCH(int, to);
    QFETCH(QString, prefix);
    const QStringList events = vek5Font::instance()->getEventLogDesc();
    QCOMPARE(events.size(), 2 * Half);
    for (int code = from; code <= to; ++code) {
        const QString& text = events.at(code);
        if (text.isEmpty() || code == 48) // the maintenance reminder has no unit
            continue;
        QVERIFY2(text.startsWith(prefix), qPrintable(QStringLiteral("%1: %2").arg(code).arg(text)));
        QCOMPARE(text.count(QLatin1Char('_')), 1);
    }
}

void tst_DictionaryFont::catalogueIsAnIndependentCopy()
{
    QStringList events = vek5Font::instance()->getEventLogDesc();
    const QString first = events.at(0);
    events[0] = QStringLiteral("changed");
    events.removeLast();
    const QStringList again = vek5Font::instance()->getEventLogDesc();
    QCOMPARE(again.size(), 2 * Half);
    QCOMPARE(again.at(0), first);
}

void tst_DictionaryFont::dataLogHeadings_data()
{
    QTest::addColumn<int>("column");
    QTest::addColumn<QString>("heading");
    QTest::newRow("input voltage") << int(InputVoltage) << "Input voltage(V)";
    QTest::newRow("input frequency") << int(InputFrequency) << "Input frequency(Hz)";
    QTest::newRow("bypass voltage") << int(BypassVoltage) << "Bypass voltage(V)";
    QTest::newRow("bypass frequency") << int(BypassFrequency) << "Bypass frequency(Hz)";
    QTest::newRow("output voltage") << int(OutputVoltage) << "Output voltage(V)";
    QTest::newRow("output current") << int(OutputCurrent) << "Output current(A)";
    QTest::newRow("output power") << int(OutputPower) << "Output power(W)";
    QTest::newRow("output load") << int(OutputLoad) << "Output load(%)";
    QTest::newRow("output frequency") << int(OutputFrequency) << "Output frequency(Hz)";
    QTest::newRow("output mode") << int(OutputMode) << "Output mode";
    QTest::newRow("battery capacity") << int(BatteryCapacity) << "Remaining battery capacity(%)";
    QTest::newRow("battery voltage") << int(BatteryVoltage) << "Battery voltage(V)";
    QTest::newRow("battery current") << int(BatteryCurrent) << "Battery current(A)";
    QTest::newRow("battery temperature") << int(BatteryTemperature) << "Battery temperature(C)";
    QTest::newRow("battery state") << int(BatteryState) << "Battery state";
}

void tst_DictionaryFont::dataLogHeadings()
{
    QFETCH(int, column);
    QFETCH(QString, heading);
    const QStringList headings = vek5Font::instance()->getDataLogDesc();
    QCOMPARE(headings.size(), int(ColumnCount));
    QCOMPARE(headings.at(column), heading);
}

void tst_DictionaryFont::emptyMapGivesZeroRow()
{
    const QStringList expected = {"0.0", "0.0", "0.0", "0.0", "0.0", "0.0", "0.0", "0.0",
                                  "0.0", "None", "0.0", "0.00.0", "0.00.0", "0.0", "Disconnect"};
    QCOMPARE(vek5Font::instance()->changeLogData(DataMap()), expected);
}

void tst_DictionaryFont::rowValue_data()
{
    QTest::addColumn<DataMap>("data");
    QTest::addColumn<int>("column");
    QTest::addColumn<QString>("value");

    const DataMap inputVoltage = {{4133, 220.04f}, {4134, 221.06f}, {4135, 219.96f}};
    QTest::newRow("input voltage 3 phases")
        << merged(inputVoltage, {{4132, 3}}) << int(InputVoltage) << "220.0/221.1/220.0";
    QTest::newRow("input voltage 3 phases as float")
        << merged(inputVoltage, {{4132, 3.0f}}) << int(InputVoltage) << "220.0/221.1/220.0";
    QTest::newRow("input voltage 1 phase") << merged(inputVoltage, {{4132, 1}}) << int(InputVoltage) << "220.0";
    QTest::newRow("input voltage 2 phases") << merged(inputVoltage, {{4132, 2}}) << int(InputVoltage) << "220.0";
    QTest::newRow("input voltage no phase count") << inputVoltage << int(InputVoltage) << "220.0";

    const DataMap inputFrequency = {{4139, 50.0f}, {4140, 49.94f}, {4141, 50.06f}};
    QTest::newRow("input frequency 3 phases")
        << merged(inputFrequency, {{4132, 3}}) << int(InputFrequency) << "50.0/49.9/50.1";
    QTest::newRow("input frequency 1 phase")
        << merged(inputFrequency, {{4132, 1}}) << int(InputFrequency) << "50.0";

    const DataMap bypass = {{4192, 230.0f}, {4193, 231.0f}, {4194, 232.0f}, {4198, 49.8f}, {4132, 3}};
    QTest::newRow("bypass voltage 3 phases") << merged(bypass, {{4191, 3}}) << int(BypassVoltage)
                                             << "230.0/231.0/232.0";
    QTest::newRow("bypass voltage follows own count")
        << bypass << int(BypassVoltage) << "230.0";
    QTest::newRow("bypass frequency has one form")
        << merged(bypass, {{4191, 3}}) << int(BypassFrequency) << "49.8";

    const DataMap output = {{4163, 230.0f}, {4164, 231.0f}, {4165, 232.0f},
                            {4166, 10.0f},  {4167, 11.0f},  {4168, 12.0f},
                            {4178, 2000.0f}, {4179, 2100.0f}, {4180, 2200.0f},
                            {4184, 40.0f},  {4185, 41.0f},  {4186, 42.0f},
                            {4169, 50.02f}, {4132, 3},      {4191, 3}};
    const DataMap output3 = merged(output, {{4162, 3}});
    const DataMap output1 = merged(output, {{4162, 1}});
    QTest::newRow("output voltage 3 phases") << output3 << int(OutputVoltage) << "230.0/231.0/232.0";
    QTest::newRow("output current 3 phases") << output3 << int(OutputCurrent) << "10.0/11.0/12.0";
    QTest::newRow("output power 3 phases") << output3 << int(OutputPower) << "2000.0/2100.0/2200.0";
    QTest::newRow("output load 3 phases") << output3 << int(OutputLoad) << "40.0/41.0/42.0";
    QTest::newRow("output voltage 1 phase") << output1 << int(OutputVoltage) << "230.0";
    QTest::newRow("output current 1 phase") << output1 << int(OutputCurrent) << "10.0";
    QTest::newRow("output power 1 phase") << output1 << int(OutputPower) << "2000.0";
    QTest::newRow("output load 1 phase") << output1 << int(OutputLoad) << "40.0";
    QTest::newRow("output 3-phase count ignored elsewhere") << output << int(OutputVoltage) << "230.0";
    QTest::newRow("output frequency") << output3 << int(OutputFrequency) << "50.0";

    QTest::newRow("output mode 0") << DataMap{{4161, 0}} << int(OutputMode) << "None";
    QTest::newRow("output mode 1") << DataMap{{4161, 1}} << int(OutputMode) << "Load on bypass";
    QTest::newRow("output mode 2") << DataMap{{4161, 2}} << int(OutputMode) << "Load on inverter";
    QTest::newRow("output mode 3") << DataMap{{4161, 3}} << int(OutputMode) << "Load on other";
    QTest::newRow("output mode 4") << DataMap{{4161, 4}} << int(OutputMode) << "None";
    QTest::newRow("output mode 7") << DataMap{{4161, 7}} << int(OutputMode) << "None";
    QTest::newRow("output mode -1") << DataMap{{4161, -1}} << int(OutputMode) << "None";
    QTest::newRow("output mode int min")
        << DataMap{{4161, std::numeric_limits<int>::min()}} << int(OutputMode) << "None";
    QTest::newRow("output mode as float") << DataMap{{4161, 2.0f}} << int(OutputMode) << "Load on inverter";

    QTest::newRow("battery capacity") << DataMap{{4109, 87.46f}} << int(BatteryCapacity) << "87.5";
    QTest::newRow("battery voltage pair") << DataMap{{4103, 240}, {4104, -240}} << int(BatteryVoltage)
                                          << "240.0-240.0";
    QTest::newRow("battery voltage positive only") << DataMap{{4103, 240.26f}} << int(BatteryVoltage)
                                                   << "240.30.0";
    QTest::newRow("battery current pair") << DataMap{{4105, 5.5f}, {4106, -3.26f}, {4103, 9}, {4104, 9}}
                                          << int(BatteryCurrent) << "5.5-3.3";
    QTest::newRow("temperature 25") << DataMap{{4107, 25.04f}} << int(BatteryTemperature) << "25.0";
    QTest::newRow("temperature -10") << DataMap{{4107, -10}} << int(BatteryTemperature) << "-10.0";
    QTest::newRow("temperature -10.4") << DataMap{{4107, -10.4f}} << int(BatteryTemperature) << "-10.4";
    QTest::newRow("temperature -11") << DataMap{{4107, -11}} << int(BatteryTemperature) << "-";
    QTest::newRow("temperature -40") << DataMap{{4107, -40.0f}} << int(BatteryTemperature) << "-";

    QTest::newRow("battery state 0") << DataMap{{4101, 0}} << int(BatteryState) << "Disconnect";
    QTest::newRow("battery state 1") << DataMap{{4101, 1.0f}} << int(BatteryState) << "Standby";
    QTest::newRow("battery state 2") << DataMap{{4101, 2}} << int(BatteryState) << "Equalized charge";
    QTest::newRow("battery state 3.9 truncates") << DataMap{{4101, 3.9f}} << int(BatteryState) << "Float charge";
    QTest::newRow("battery state 4.99") << DataMap{{4101, 4.99f}} << int(BatteryState) << "Discharge";
    QTest::newRow("battery state 5") << DataMap{{4101, 5.0f}} << int(BatteryState) << "Disconnect";
    QTest::newRow("battery state -0.5 truncates to 0") << DataMap{{4101, -0.5f}} << int(BatteryState)
                                                      << "Disconnect";
    QTest::newRow("battery state -1") << DataMap{{4101, -1.0f}} << int(BatteryState) << "Disconnect";
    QTest::newRow("battery state huge") << DataMap{{4101, 1e30f}} << int(BatteryState) << "Disconnect";
    QTest::newRow("battery state -huge") << DataMap{{4101, -1e30f}} << int(BatteryState) << "Disconnect";
    QTest::newRow("battery state nan")
        << DataMap{{4101, std::numeric_limits<float>::quiet_NaN()}} << int(BatteryState) << "Disconnect";
}

void tst_DictionaryFont::rowValue()
{
    QFETCH(DataMap, data);
    QFETCH(int, column);
    QFETCH(QString, value);
    const QStringList row = vek5Font::instance()->changeLogData(data);
    QCOMPARE(row.size(), int(ColumnCount));
    QCOMPARE(row.at(column), value);
}

void tst_DictionaryFont::flushDataLeavesRowsAlone()
{
    vek5Font* font = vek5Font::instance();
    const QStringList before = font->changeLogData(DataMap());
    font->flushData(DataMap{{4132, 3}, {4133, 230.0f}, {4161, 2}});
    QCOMPARE(font->changeLogData(DataMap()), before);
    QCOMPARE(font->getDataLogDesc().size(), int(ColumnCount));
    QCOMPARE(font->getEventLogDesc().size(), 2 * Half);
}

QTEST_GUILESS_MAIN(tst_DictionaryFont)
#include "tst_dictionary_font.moc"
