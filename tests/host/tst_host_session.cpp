// One unit's session against a stand-in collector: routing of requests to
// control(), communication state, data to the panel, pending commands, the
// not-answering report and a clean stop of the collector's thread.

#include <QSignalSpy>
#include <QtTest>

#include "CollectThread.h"
#include "CollectView.h"
#include "EventFormatter.h"
#include "UnitSession.h"

using Record = QMap<QString, QVariant>;

namespace {

class FakeView : public CollectView
{
public:
    void flushData(QMap<int, QVariant> d) override
    {
        CollectView::flushData(d);
        ++flushes;
    }
    int flushes = 0;
};

class FakeCollector : public CollectThread
{
public:
    explicit FakeCollector(bool withPanel) : m_withPanel(withPanel) {}
    ~FakeCollector() override
    {
        delete m_view;
        ++*deletions;
    }
    int control(int id, QString value) override
    {
        controls << qMakePair(id, value);
        return 0;
    }
    void loadConfig() override { configuredAs = m_devName; }
    CollectView* getView() override
    {
        if (m_withPanel && !m_view) {
            m_view = new FakeView;
            // The plugin relays its panel's requests through its own signal.
            connect(m_view, &CollectView::postDEvent, this, &CollectThread::postDEvent);
        }
        return m_view;
    }

    QList<QPair<int, QString>> controls;
    QString configuredAs;
    FakeView* m_view = nullptr;
    int* deletions = nullptr;

private:
    bool m_withPanel;
};

Record stamped(const Record& extra = {})
{
    Record r{{"name", "UPS1"}, {"protocol", 0}, {"port", "COM1"}, {"timeStr", "2026-01-02 03:04:05"}};
    for (auto it = extra.begin(); it != extra.end(); ++it)
        r.insert(it.key(), it.value());
    return r;
}

} // namespace

class tst_host_session : public QObject
{
    Q_OBJECT
private slots:
    void routesRecords_data();
    void routesRecords();
    void pendingCommandsOnceOnFirstAnswer();
    void dataReachesPanel_data();
    void dataReachesPanel();
    void notAnswering_data();
    void notAnswering();
    void stopJoinsAndDeletes();

private:
    EventFormatter m_formatter;
};

void tst_host_session::routesRecords_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<Record>("record");
    QTest::addColumn<int>("controlId");       // -1: nothing sent to the collector
    QTest::addColumn<QString>("controlValue");
    QTest::addColumn<int>("commState");
    QTest::addColumn<int>("events");

    QTest::newRow("view button") << 1010 << Record{{"name", "UPS1"}, {"controlId", 1010}, {"controlValue", ""}}
                                 << 1010 << "" << -1 << 1;
    QTest::newRow("dialog setting") << 1029
        << Record{{"name", "UPS1"}, {"controlId", 2016}, {"controlValue", "3017,16"},
                  {"nodeValue", "16"}, {"nodeName", "Battery numbers:"}}
        << 2016 << "3017,16" << -1 << 1;
    QTest::newRow("command result not re-sent") << 1042
        << Record{{"controlId", 1045}, {"controlValue", "/tmp/h.csv"}, {"name", "UPS1"}, {"result", 1}}
        << -1 << "" << -1 << 1;
    QTest::newRow("restored") << 1040 << stamped({{"state", 0}, {"desc", "x"}}) << -1 << "" << 0 << 1;
    QTest::newRow("lost") << 1041 << stamped({{"lost", 1}, {"state", 1}}) << -1 << "" << 1 << 1;
    QTest::newRow("repeat notice dropped") << 2001 << stamped({{"state", 0}}) << -1 << "" << -1 << 0;
    QTest::newRow("alarm") << 2006 << stamped({{"alarmId", 3}, {"alarmState", 1}}) << -1 << "" << -1 << 1;
}

void tst_host_session::routesRecords()
{
    QFETCH(int, type);
    QFETCH(Record, record);
    QFETCH(int, controlId);
    QFETCH(QString, controlValue);
    QFETCH(int, commState);
    QFETCH(int, events);

    int deletions = 0;
    auto* c = new FakeCollector(false);
    c->deletions = &deletions;
    UnitSettings s;
    s.name = "UPS1";
    UnitSession session(s, c, &m_formatter);
    QSignalSpy eventSpy(&session, &UnitSession::hostEvent);
    QSignalSpy stateSpy(&session, &UnitSession::commStateChanged);
    session.start(false, 60, {});
    QCOMPARE(c->configuredAs, QString("UPS1"));

    // As the plugin does it: the collector (or its panel) emits.
    emit c->postDEvent(type, record);
    QTRY_COMPARE(eventSpy.count(), events);

    if (controlId < 0) {
        QVERIFY(c->controls.isEmpty());
    } else {
        QCOMPARE(c->controls.size(), 1);
        QCOMPARE(c->controls.at(0).first, controlId);
        QCOMPARE(c->controls.at(0).second, controlValue);
    }
    QCOMPARE(session.commState(), commState);
    QCOMPARE(stateSpy.count(), commState < 0 ? 0 : 1);
    QCOMPARE(session.hasAnswered(), commState == 0);
    session.stop();
    QCOMPARE(deletions, 1);
}

void tst_host_session::pendingCommandsOnceOnFirstAnswer()
{
    auto* c = new FakeCollector(false);
    int deletions = 0;
    c->deletions = &deletions;
    UnitSettings s;
    s.name = "UPS1";
    UnitSession session(s, c, &m_formatter);
    const QList<QPair<int, QString>> commands{{1010, ""}, {1045, "/tmp/h.csv"}};
    session.start(false, 60, commands);

    emit c->postDEvent(1041, stamped({{"lost", 1}, {"state", 1}}));
    QVERIFY(c->controls.isEmpty());
    emit c->postDEvent(1040, stamped({{"state", 0}}));
    QCOMPARE(c->controls, commands);
    emit c->postDEvent(1041, stamped({{"lost", 1}, {"state", 1}}));
    emit c->postDEvent(1040, stamped({{"state", 0}}));
    QCOMPARE(c->controls, commands);
}

void tst_host_session::dataReachesPanel_data()
{
    QTest::addColumn<bool>("withView");
    QTest::addColumn<bool>("panelExists");
    QTest::newRow("panel") << true << true;
    QTest::newRow("plugin without panel") << true << false;
    QTest::newRow("headless") << false << true;
}

void tst_host_session::dataReachesPanel()
{
    QFETCH(bool, withView);
    QFETCH(bool, panelExists);

    auto* c = new FakeCollector(panelExists);
    int deletions = 0;
    c->deletions = &deletions;
    UnitSettings s;
    s.name = "UPS1";
    UnitSession session(s, c, &m_formatter);
    session.start(withView, 60, {});
    QCOMPARE(session.view() != nullptr, withView && panelExists);
    QVERIFY(!session.hasData());

    const QMap<int, QVariant> first{{4133, 220.5f}, {2000, 1}};
    const QMap<int, QVariant> second{{4133, 219.0f}};
    emit c->postDEvent(2007, stamped({{"data", QVariant::fromValue(first)}}));
    emit c->postDEvent(2007, stamped({{"data", QVariant::fromValue(second)}}));
    QVERIFY(session.hasData());
    QCOMPARE(session.lastData(), second);
    if (session.view()) {
        QCOMPARE(c->m_view->flushes, 2);
        QCOMPARE(c->m_view->m_data, second);
    }
    // A panel's request goes back to the collector.
    if (session.view()) {
        session.view()->control(1003, "");
        QCOMPARE(c->controls, (QList<QPair<int, QString>>{{1003, ""}}));
    }
}

void tst_host_session::notAnswering_data()
{
    QTest::addColumn<bool>("answers");
    QTest::newRow("silent unit reported") << false;
    QTest::newRow("answering unit not reported") << true;
}

void tst_host_session::notAnswering()
{
    QFETCH(bool, answers);

    auto* c = new FakeCollector(false);
    int deletions = 0;
    c->deletions = &deletions;
    UnitSettings s;
    s.name = "UPS9";
    s.commType = 1;
    s.ipAddr = "127.0.0.1";
    s.tcpPort = 1502;
    UnitSession session(s, c, &m_formatter);
    QSignalSpy spy(&session, &UnitSession::hostEvent);
    session.start(false, 1, {});
    if (answers)
        emit c->postDEvent(1040, stamped({{"state", 0}}));
    QTest::qWait(1300);
    int errors = 0;
    for (const auto& args : spy) {
        const HostEvent e = args.at(0).value<HostEvent>();
        if (e.kind == "error") {
            ++errors;
            QCOMPARE(e.unit, QString("UPS9"));
            QVERIFY2(e.text.contains("tcp 127.0.0.1:1502"), qPrintable(e.text));
        }
    }
    QCOMPARE(errors, answers ? 0 : 1);
}

void tst_host_session::stopJoinsAndDeletes()
{
    int deletions = 0;
    auto* c = new FakeCollector(true);
    c->deletions = &deletions;
    UnitSettings s;
    s.name = "UPS1";
    {
        UnitSession session(s, c, &m_formatter);
        session.start(true, 60, {});
        QVERIFY(c->isRunning());
        session.stop();
        QCOMPARE(deletions, 1);
        QVERIFY(!session.collector());
        QVERIFY(!session.view());
        session.stop(); // second stop is harmless
    }
    QCOMPARE(deletions, 1);
}

QTEST_MAIN(tst_host_session)
#include "tst_host_session.moc"
