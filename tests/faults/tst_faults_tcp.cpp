// The collector with the real driver library polling the simulator over
// Modbus TCP through a proxy that breaks the traffic: answers cut, noisy,
// for another unit, swallowed or late; the connection reset; the unit killed
// mid-query and started again; the unit's port already taken.

#include "DriverFixture.h"
#include "FaultRig.h"

#include <QtTest>

namespace {

constexpr int kCommRestored = 1040;
constexpr int kCommLost = 1041;
constexpr int kAlarmChange = 2006;

// One failed TCP cycle at most: the 5 s reconnect pause, the driver's 1 s of
// silence, the 1 s read wait of the stale-port drain, the cycle itself.
constexpr qint64 kReconnectCycleMs = 5000 + 1000 + 1000 + 500;
// A failed cycle on a connection that stays up.
constexpr qint64 kConnectedCycleMs = 1000 + 1000 + 500;

// Points of the model text: 0xFF never occurs in it.
bool carriesMarker(const QMap<int, QVariant>& data)
{
    for (int id = 4016; id < 4032; ++id) {
        if (data.value(id).toInt() == 0xFF)
            return true;
    }
    return false;
}

} // namespace

class tst_faults_tcp : public QObject
{
    Q_OBJECT

    SimProcess m_sim;
    FaultProxy* m_proxy = nullptr;

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void badAnswers_data();
    void badAnswers();
    void lateAnswer_data();
    void lateAnswer();
    void connectionReset();
    void unitKilledAndRestarted();
    void unitPortTaken();
};

void tst_faults_tcp::initTestCase()
{
    RunningCollector probe;
    QVERIFY2(probe.driverLoaded(), "driver library not found on LD_LIBRARY_PATH");
}

void tst_faults_tcp::init()
{
    QVERIFY2(m_sim.start({"--speed", "0"}), qPrintable(m_sim.output()));
    m_proxy = new FaultProxy;
    QVERIFY(m_proxy->listen());
    m_proxy->setTarget(quint16(m_sim.port()));
}

void tst_faults_tcp::cleanup()
{
    delete m_proxy;
    m_proxy = nullptr;
    m_sim.stop();
}

void tst_faults_tcp::badAnswers_data()
{
    QTest::addColumn<FaultProxy::Mode>("mode");
    QTest::newRow("answers stop halfway") << FaultProxy::Halve;
    QTest::newRow("garbage answers") << FaultProxy::Garbage;
    QTest::newRow("answers for another unit") << FaultProxy::WrongUnit;
    QTest::newRow("no answers, connection up") << FaultProxy::Swallow;
}

// A unit that keeps answering wrongly is reported lost after the retry limit
// and restored by its first good answer; nothing of a bad answer reaches the
// data.
void tst_faults_tcp::badAnswers()
{
    QFETCH(FaultProxy::Mode, mode);
    const int retries = 2;
    RunningCollector unit;
    QVERIFY(unit.startTcp(m_proxy->port(), retries));
    EventLog& log = unit.log();
    QVERIFY(log.waitFor(kCommRestored, 0, 5000) >= 0);
    QTest::qWait(300);
    const QMap<int, QVariant> before = log.dataMaps().constLast();

    const qint64 faultAt = log.now();
    m_proxy->setMode(mode);
    const qint64 lostAt = log.waitFor(kCommLost, faultAt, int(retries * kConnectedCycleMs + 2000));
    QVERIFY2(lostAt >= 0, "no loss reported");
    qInfo("%s: lost after %lld ms", QTest::currentDataTag(), lostAt - faultAt);
    QVERIFY(lostAt - faultAt <= retries * kConnectedCycleMs);
    // Until the unit answers properly the data stays what it was.
    for (const QMap<int, QVariant>& data : log.dataMaps(faultAt))
        QCOMPARE(data, before);

    const qint64 healedAt = log.now();
    m_proxy->setMode(FaultProxy::Pass);
    const qint64 restoredAt = log.waitFor(kCommRestored, healedAt, int(kConnectedCycleMs + 2000));
    QVERIFY2(restoredAt >= 0, "no recovery reported");
    qInfo("%s: restored after %lld ms", QTest::currentDataTag(), restoredAt - healedAt);
    QVERIFY(restoredAt - healedAt <= kConnectedCycleMs);
    QVERIFY(unit.stop());
    QCOMPARE(log.times(kCommLost).size(), 1);
    QCOMPARE(log.times(kCommRestored).size(), 2);
    QCOMPARE(log.times(kAlarmChange).size(), 0);
    QCOMPARE(log.dataMaps().constLast().size(), before.size());
}

void tst_faults_tcp::lateAnswer_data()
{
    QTest::addColumn<int>("block");   // the block whose answer comes late
    QTest::newRow("identity block, next query's first request waits") << 1;
    QTest::newRow("measurement block") << 2;
    QTest::newRow("alarm block") << 0;
}

// The answer to one request is held back and sent when the next request has
// gone out: it must not be taken for the answer to that request.
void tst_faults_tcp::lateAnswer()
{
    QFETCH(int, block);
    const int blocks = 4;
    RunningCollector unit;
    QVERIFY(unit.startTcp(m_proxy->port(), 3));
    EventLog& log = unit.log();
    QVERIFY(log.waitFor(kCommRestored, 0, 5000) >= 0);
    // Hold an answer of a query that starts after the current one.
    const int first = (m_proxy->requests() / blocks + 2) * blocks + 1;
    m_proxy->onRequest(first + block, [this] { m_proxy->setMode(FaultProxy::HoldOne); });
    QTRY_VERIFY_WITH_TIMEOUT(m_proxy->heldReleased() == 1, 10000);
    const qint64 releasedAt = log.now();
    QTest::qWait(int(2 * kConnectedCycleMs));
    QVERIFY(unit.stop());

    for (const QMap<int, QVariant>& data : log.dataMaps())
        QVERIFY(!carriesMarker(data));
    QCOMPARE(log.times(kAlarmChange).size(), 0);
    QCOMPARE(log.times(kCommLost).size(), 0);
    // The unit went on answering after the late answer.
    QVERIFY(m_proxy->answerTimes().size() > first + blocks);
    QVERIFY(!log.dataMaps(releasedAt).isEmpty());
}

// A reset costs the cycle it hits and one reconnect pause; with a retry
// limit above one nothing is reported.
void tst_faults_tcp::connectionReset()
{
    RunningCollector unit;
    QVERIFY(unit.startTcp(m_proxy->port(), 3));
    EventLog& log = unit.log();
    QVERIFY(log.waitFor(kCommRestored, 0, 5000) >= 0);
    const int answered = m_proxy->answerTimes().size();
    const qint64 resetAt = m_proxy->now();
    m_proxy->setMode(FaultProxy::ResetNext);
    QTRY_VERIFY_WITH_TIMEOUT(m_proxy->answerTimes().size() > answered + 4, int(kReconnectCycleMs + 3000));
    QVERIFY(unit.stop());
    QCOMPARE(m_proxy->connections(), 2);
    QList<qint64> after;
    for (qint64 t : m_proxy->answerTimes()) {
        if (t > resetAt)
            after << t;
    }
    QVERIFY(!after.isEmpty());
    qInfo("answers again %lld ms after the reset", after.first() - resetAt);
    QVERIFY(after.first() - resetAt >= 5000);
    QVERIFY(after.first() - resetAt <= kReconnectCycleMs);
    QCOMPARE(log.times(kCommLost).size(), 0);
    QCOMPARE(log.times(kCommRestored).size(), 1);
}

// The unit dies while a query is under way and comes back later on another
// port: lost after the retry limit, restored by the first cycle that reaches
// the new unit.
void tst_faults_tcp::unitKilledAndRestarted()
{
    const int retries = 2;
    RunningCollector unit;
    QVERIFY(unit.startTcp(m_proxy->port(), retries));
    EventLog& log = unit.log();
    QVERIFY(log.waitFor(kCommRestored, 0, 5000) >= 0);
    qint64 killedAt = -1;
    const int answeredBefore = m_proxy->answerTimes().size();
    // The third request of a query: two answers in, two to come.
    const int at = (m_proxy->requests() / 4 + 1) * 4 + 3;
    m_proxy->onRequest(at, [&] {
        m_sim.stop();
        killedAt = log.now();
    });
    const qint64 lostAt = log.waitFor(kCommLost, 0, int(retries * kReconnectCycleMs + 4000));
    QVERIFY(killedAt >= 0);
    QVERIFY2(lostAt >= 0, "no loss reported");
    qInfo("lost %lld ms after the kill", lostAt - killedAt);
    QVERIFY(lostAt - killedAt <= (retries - 1) * kReconnectCycleMs + 1000);

    QVERIFY2(m_sim.start({"--speed", "0"}), qPrintable(m_sim.output()));
    m_proxy->setTarget(quint16(m_sim.port()));
    const qint64 backAt = log.now();
    const qint64 restoredAt = log.waitFor(kCommRestored, backAt, int(2 * kReconnectCycleMs + 2000));
    QVERIFY2(restoredAt >= 0, "no recovery reported");
    qInfo("restored %lld ms after the restart", restoredAt - backAt);
    QVERIFY(restoredAt - backAt <= 2 * kReconnectCycleMs);
    // Only the query the kill cut short is lost: its two answers were dropped
    // with it, and the restarted unit answered every block of a whole query.
    QVERIFY(unit.stop());
    QVERIFY(m_proxy->answerTimes().size() - answeredBefore >= 2 + 4);
    QCOMPARE(log.times(kCommLost).size(), 1);
    QCOMPARE(log.times(kCommRestored).size(), 2);
}

// The unit's port is held by something else: the simulator says so and
// stops instead of serving nothing.
void tst_faults_tcp::unitPortTaken()
{
    SimProcess second;
    QVERIFY(!second.start({"--tcp", QString("127.0.0.1:%1").arg(m_proxy->port())}));
    QVERIFY2(second.output().contains(QString("port in use: 127.0.0.1:%1").arg(m_proxy->port())),
             qPrintable(second.output()));
}

QTEST_GUILESS_MAIN(tst_faults_tcp)
#include "tst_faults_tcp.moc"
