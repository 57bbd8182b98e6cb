// The dictionary: one instance whatever thread asks first, texts translated once, data-log row values.

#include "vek5Font.h"

#include <QtTest>

#include <atomic>
#include <limits>
#include <thread>

using DataMap = QMap<int, QVariant>;

namespace {

// Brackets every source text of the dictionary's context and records what it was asked.
class MarkingTranslator : public QTranslator
{
public:
    QString translate(const char* context, const char* source, const char* disambiguation, int n) const override
    {
        asked << QString("%1|%2|%3").arg(context, disambiguation ? disambiguation : "").arg(n);
        return qstrcmp(context, "vek5Font") == 0 ? "[" + QString::fromUtf8(source) + "]" : QString();
    }
    bool isEmpty() const override { return false; }
    mutable QStringList asked;
};

class LateTranslator : public QTranslator
{
public:
    QString translate(const char*, const char*, const char*, int) const override { return "late"; }
    bool isEmpty() const override { return false; }
};

} // namespace

class tst_dictionary : public QObject
{
    Q_OBJECT
    MarkingTranslator m_translator;

private slots:
    // Made here once the translator is in place, raced by std threads (which ThreadSanitizer sees).
    void initTestCase()
    {
        QVERIFY(QCoreApplication::installTranslator(&m_translator));
        constexpr int kThreads = 8;
        std::atomic<int> parked {0};
        std::atomic<bool> go {false};
        std::vector<vek5Font*> seen(kThreads, nullptr);
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i)
            threads.emplace_back([&, i] {
                parked.fetch_add(1);
                while (!go.load())
                    std::this_thread::yield();
                seen[size_t(i)] = vek5Font::instance();
            });
        while (parked.load() < kThreads)
            std::this_thread::yield();
        go.store(true);
        for (std::thread& thread : threads)
            thread.join();
        QVERIFY(seen[0] != nullptr);
        for (vek5Font* font : seen)
            QCOMPARE(font, seen[0]);
    }

    void textsFromTranslatorOnce()
    {
        vek5Font* font = vek5Font::instance();
        const QStringList events = font->getEventLogDesc();
        int eventTexts = 0;
        for (const QString& text : events) {
            QVERIFY2(text.isEmpty() || (text.startsWith('[') && text.endsWith(']')), qPrintable(text));
            eventTexts += text.isEmpty() ? 0 : 1;
        }
        // 33 headings, 5 battery states, 4 output modes, one per event text.
        QCOMPARE(m_translator.asked.size(), 33 + 5 + 4 + eventTexts);
        QCOMPARE(m_translator.asked.filter("vek5Font||-1").size(), m_translator.asked.size());
        for (const QString& heading : font->getDataLogDesc())
            QVERIFY2(heading.startsWith('[') && heading.endsWith(']'), qPrintable(heading));
        font->changeLogData({{4161, 1}, {4101, 2}});
        QCOMPARE(m_translator.asked.size(), 33 + 5 + 4 + eventTexts);
        // A translator installed later changes nothing.
        const QStringList headings = font->getDataLogDesc();
        const QStringList row = font->changeLogData({});
        LateTranslator late;
        QVERIFY(QCoreApplication::installTranslator(&late));
        QCOMPARE(font->getDataLogDesc(), headings);
        QCOMPARE(font->getEventLogDesc(), events);
        QCOMPARE(font->changeLogData({}), row);
        QVERIFY(QCoreApplication::removeTranslator(&late));
    }

    void rowValue_data()
    {
        enum { InputVoltage = 0, InputFrequency = 1, BypassVoltage = 2, OutputVoltage = 4, OutputMode = 9,
               BatteryVoltage = 11, BatteryCurrent = 12, BatteryTemperature = 13, BatteryState = 14 };
        QTest::addColumn<DataMap>("data");
        QTest::addColumn<int>("column");
        QTest::addColumn<QString>("value");
        const auto with = [](DataMap map, int id, const QVariant& value) { map.insert(id, value); return map; };
        const DataMap in {{4133, 220.04f}, {4134, 221.06f}, {4135, 219.96f}, {4139, 50.0f}, {4140, 49.94f}, {4141, 50.06f}};
        QTest::newRow("empty map") << DataMap() << int(OutputMode) << "[None]";
        QTest::newRow("input voltage 3 phases") << with(in, 4132, 3) << int(InputVoltage) << "220.0/221.1/220.0";
        QTest::newRow("3 phases as float") << with(in, 4132, 3.0f) << int(InputFrequency) << "50.0/49.9/50.1";
        QTest::newRow("2 phases shown as one") << with(in, 4132, 2) << int(InputVoltage) << "220.0";
        QTest::newRow("bypass follows its own count") << DataMap{{4192, 230.0f}, {4193, 231.0f}, {4132, 3}} << int(BypassVoltage) << "230.0";
        QTest::newRow("output 3 phases by input count only") << DataMap{{4132, 3}, {4163, 230.0f}, {4164, 1.0f}} << int(OutputVoltage) << "230.0";
        QTest::newRow("output mode 2 as float") << DataMap{{4161, 2.0f}} << int(OutputMode) << "[Load on inverter]";
        QTest::newRow("output mode int min") << DataMap{{4161, std::numeric_limits<int>::min()}} << int(OutputMode) << "[None]";
        QTest::newRow("battery voltage positive only") << DataMap{{4103, 240.26f}} << int(BatteryVoltage) << "240.30.0";
        QTest::newRow("battery current pair") << DataMap{{4105, 5.5f}, {4106, -3.26f}} << int(BatteryCurrent) << "5.5-3.3";
        QTest::newRow("temperature -10.4") << DataMap{{4107, -10.4f}} << int(BatteryTemperature) << "-10.4";
        QTest::newRow("temperature -11") << DataMap{{4107, -11}} << int(BatteryTemperature) << "-";
        QTest::newRow("battery state 3.9 truncates") << DataMap{{4101, 3.9f}} << int(BatteryState) << "[Float charge]";
        QTest::newRow("battery state nan") << DataMap{{4101, std::numeric_limits<float>::quiet_NaN()}} << int(BatteryState) << "[Disconnect]";
    }

    void rowValue()
    {
        QFETCH(DataMap, data);
        QFETCH(int, column);
        const QStringList row = vek5Font::instance()->changeLogData(data);
        QCOMPARE(row.size(), 15);
        QTEST(row.at(column), "value");
    }
};

QTEST_GUILESS_MAIN(tst_dictionary)
#include "tst_dictionary.moc"
