#include "vek5Font.h"

#include <QTranslator>
#include <QtTest>

namespace {

// Wraps every source text of the dictionary's context in brackets and keeps
// a record of what it was asked.
class MarkingTranslator : public QTranslator
{
public:
    struct Request
    {
        QByteArray context;
        QByteArray source;
        QByteArray disambiguation;
        int n;
    };

    QString translate(const char* context, const char* sourceText, const char* disambiguation,
                      int n) const override
    {
        requests.append({context, sourceText, disambiguation, n});
        if (qstrcmp(context, "vek5Font") != 0)
            return QString();
        return QLatin1Char('[') + QString::fromUtf8(sourceText) + QLatin1Char(']');
    }
    bool isEmpty() const override { return false; }

    mutable QVector<Request> requests;
};

// Installed after the dictionary exists; must change nothing.
class LateTranslator : public QTranslator
{
public:
    QString translate(const char*, const char*, const char*, int) const override
    {
        return QStringLiteral("late");
    }
    bool isEmpty() const override { return false; }
};

bool isMarked(const QString& text)
{
    return text.startsWith(QLatin1Char('[')) && text.endsWith(QLatin1Char(']'));
}

} // namespace

class tst_DictionaryTranslation : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void textsComeFromTranslator_data();
    void textsComeFromTranslator();
    void everyTextAskedOnceInOwnContext();
    void everyEventTextTranslated();
    void rowTextsTranslated();
    void laterTranslatorChangesNothing();

private:
    MarkingTranslator m_translator;
    int m_requestsAtCreation = 0;
};

void tst_DictionaryTranslation::initTestCase()
{
    QVERIFY(QCoreApplication::installTranslator(&m_translator));
    m_translator.requests.clear();
    QVERIFY(vek5Font::instance() != nullptr);
    m_requestsAtCreation = m_translator.requests.size();
}

void tst_DictionaryTranslation::textsComeFromTranslator_data()
{
    QTest::addColumn<bool>("event");
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("expected");
    QTest::newRow("first heading") << false << 0 << "[Input voltage(V)]";
    QTest::newRow("last heading") << false << 14 << "[Battery state]";
    QTest::newRow("appearance") << true << 0 << "[Monitor_Bypass module/System board communication is abnormal]";
    QTest::newRow("clearing as one text") << true << 498
                                          << "[Monitor_Bypass module/System board communication is abnormal disappear]";
    QTest::newRow("trailing blank") << true << 244 << "[Byp Module/Sys board_Output abnormal ]";
    QTest::newRow("clearing exception") << true << 741 << "[BYP Module/Sys board_Bypass abnormal disappear]";
    QTest::newRow("clearing without suffix") << true << 785 << "[Rectifier_Battery neutral Lost]";
    QTest::newRow("reserved stays empty") << true << 49 << "";
}

void tst_DictionaryTranslation::textsComeFromTranslator()
{
    QFETCH(bool, event);
    QFETCH(int, index);
    QFETCH(QString, expected);
    vek5Font* font = vek5Font::instance();
    const QStringList list = event ? font->getEventLogDesc() : font->getDataLogDesc();
    QVERIFY(index < list.size());
    QCOMPARE(list.at(index), expected);
}

void tst_DictionaryTranslation::everyTextAskedOnceInOwnContext()
{
    // 33 headings, 5 battery states, 4 output modes and one request per
    // non-empty event text; nothing is translated after construction.
    int eventTexts = 0;
    for (const QString& text : vek5Font::instance()->getEventLogDesc())
        eventTexts += text.isEmpty() ? 0 : 1;
    QCOMPARE(m_requestsAtCreation, 33 + 5 + 4 + eventTexts);

    for (const MarkingTranslator::Request& request : qAsConst(m_translator.requests)) {
        QCOMPARE(request.context, QByteArray("vek5Font"));
        QVERIFY(request.disambiguation.isEmpty());
        QCOMPARE(request.n, -1);
        QVERIFY(!request.source.isEmpty());
    }
    const int before = m_translator.requests.size();
    vek5Font::instance()->changeLogData({{4161, 1}, {4101, 2}});
    vek5Font::instance()->getDataLogDesc();
    QCOMPARE(m_translator.requests.size(), before);
}

void tst_DictionaryTranslation::everyEventTextTranslated()
{
    const QStringList events = vek5Font::instance()->getEventLogDesc();
    QCOMPARE(events.size(), 996);
    int translated = 0;
    for (const QString& text : events) {
        if (text.isEmpty())
            continue;
        QVERIFY2(isMarked(text), qPrintable(text));
        ++translated;
    }
    QCOMPARE(translated, 2 * 301);
}

void tst_DictionaryTranslation::rowTextsTranslated()
{
    const QStringList empty = vek5Font::instance()->changeLogData({});
    QCOMPARE(empty.size(), 15);
    QCOMPARE(empty.at(9), QStringLiteral("[None]"));
    QCOMPARE(empty.at(14), QStringLiteral("[Disconnect]"));
    const QStringList row = vek5Font::instance()->changeLogData({{4161, 2}, {4101, 3.5f}});
    QCOMPARE(row.at(9), QStringLiteral("[Load on inverter]"));
    QCOMPARE(row.at(14), QStringLiteral("[Float charge]"));
    for (const QString& heading : vek5Font::instance()->getDataLogDesc())
        QVERIFY2(isMarked(heading), qPrintable(heading));
}

void tst_DictionaryTranslation::laterTranslatorChangesNothing()
{
    const QStringList headings = vek5Font::instance()->getDataLogDesc();
    const QStringList events = vek5Font::instance()->getEventLogDesc();
    const QStringList row = vek5Font::instance()->changeLogData({});
    LateTranslator late;
    QVERIFY(QCoreApplication::installTranslator(&late));
    QCOMPARE(QCoreApplication::translate("vek5Font", "None"), QStringLiteral("late"));
    QCOMPARE(vek5Font::instance()->getDataLogDesc(), headings);
    QCOMPARE(vek5Font::instance()->getEventLogDesc(), events);
    QCOMPARE(vek5Font::instance()->changeLogData({}), row);
    QVERIFY(QCoreApplication::removeTranslator(&late));
}

QTEST_GUILESS_MAIN(tst_DictionaryTranslation)
#include "tst_dictionary_translation.moc"
