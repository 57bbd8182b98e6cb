// Polling cycle: communication state machine, poll() interval rule, data
// intake through the driver callback, the collector's own thread.

#include "ClientRig.h"

#include <QtTest>

#include <atomic>

class tst_client_cycle : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void stateMachine_data();
    void stateMachine();
    void commRecords();
    void nullPortManagerFailsSerialCycles();
    void pollInterval_data();
    void pollInterval();
    void dataIntake_data();
    void dataIntake();
    void threadRunsCycles();

private:
    ScriptDriver m_driver;
};

void tst_client_cycle::init()
{
    QVERIFY2(m_driver.ok(), "scripted driver library not found");
    m_driver.reset();
}

// Each character of `answers` is one cycle: 'y' the unit answers, 'n' it does
// not. `expected` lists per cycle the communication events it must emit.
void tst_client_cycle::stateMachine_data()
{
    QTest::addColumn<int>("retries");
    QTest::addColumn<QString>("answers");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<int>("finalState");

    QTest::newRow("first answer restores") << 5 << "y" << QStringList{"1040 2001"} << 0;
    QTest::newRow("four failures change nothing")
        << 5 << "nnnn" << QStringList{"", "", "", ""} << -1;
    QTest::newRow("fifth failure from unknown is a loss")
        << 5 << "nnnnn" << QStringList{"", "", "", "", "1041 2001"} << 1;
    QTest::newRow("one event per loss")
        << 5 << "nnnnnnn" << QStringList{"", "", "", "", "1041 2001", "", ""} << 1;
    QTest::newRow("recovery after loss")
        << 3 << "nnnyy" << QStringList{"", "", "1041 2001", "1040 2001", ""} << 0;
    QTest::newRow("answer resets failure streak")
        << 3 << "ynnynnn" << QStringList{"1040 2001", "", "", "", "", "", "1041 2001"} << 1;
    QTest::newRow("lost twice")
        << 2 << "nnynn" << QStringList{"", "1041 2001", "1040 2001", "", "1041 2001"} << 1;
    QTest::newRow("retry limit one") << 1 << "ny" << QStringList{"1041 2001", "1040 2001"} << 0;
}

void tst_client_cycle::stateMachine()
{
    QFETCH(int, retries);
    QFETCH(QString, answers);
    QFETCH(QStringList, expected);
    QFETCH(int, finalState);

    vek5Client client;
    QTcpServer server;
    QVERIFY(connectOverTcp(client, server));
    client.m_retries = retries;
    QSignalSpy spy(&client, &CollectThread::postDEvent);

    for (int cycle = 0; cycle < answers.size(); ++cycle) {
        m_driver.setAnswer(answers.at(cycle) == 'y' ? 1 : 0);
        spy.clear();
        client.poll();
        QStringList got;
        for (int type : eventTypes(spy, {1040, 1041, 2001}))
            got << QString::number(type);
        QCOMPARE(got.join(' '), expected.at(cycle));
    }
    QCOMPARE(client.m_commState, finalState);
    QCOMPARE(m_driver.queryCount(), answers.size());
}

void tst_client_cycle::commRecords()
{
    vek5Client client;
    client.m_devName = "ups-7";
    client.m_protocol = 3;
    client.m_portName = "/dev/ttyX";
    client.m_retries = 1;
    QTcpServer server;
    QVERIFY(connectOverTcp(client, server));
    QSignalSpy spy(&client, &CollectThread::postDEvent);

    m_driver.setAnswer(0);
    client.poll();
    m_driver.setAnswer(1);
    client.m_nextPollTime = 0;
    client.poll();

    QList<QMap<QString, QVariant>> lost, summary, restored;
    for (const QList<QVariant>& args : spy) {
        if (eventType(args) == 1041)
            lost << eventRecord(args);
        else if (eventType(args) == 1040)
            restored << eventRecord(args);
        else if (eventType(args) == 2001)
            summary << eventRecord(args);
    }
    QCOMPARE(lost.size(), 1);
    QCOMPARE(restored.size(), 1);
    QCOMPARE(summary.size(), 2);
    QCOMPARE(summary.at(0), lost.at(0));
    QCOMPARE(summary.at(1), restored.at(0));

    const QMap<QString, QVariant> l = lost.at(0);
    QCOMPARE(l.value("lost").toInt(), 1);
    QCOMPARE(l.value("state").toInt(), 1);
    QCOMPARE(l.value("desc").toString(), QString("ups-7"));
    QCOMPARE(l.value("name").toString(), QString("ups-7"));
    QCOMPARE(l.value("protocol").toInt(), 3);
    QCOMPARE(l.value("port").toString(), QString("/dev/ttyX"));
    QVERIFY(QDateTime::fromString(l.value("timeStr").toString(), "yyyy-MM-dd hh:mm:ss").isValid());

    const QMap<QString, QVariant> r = restored.at(0);
    QVERIFY(!r.contains("lost"));
    QCOMPARE(r.value("state").toInt(), 0);
    QCOMPARE(r.value("desc").toString(), QString("ups-7"));
}

void tst_client_cycle::nullPortManagerFailsSerialCycles()
{
    vek5Client client;
    QVERIFY(client.m_portHandle == nullptr);
    QSignalSpy spy(&client, &CollectThread::postDEvent);
    m_driver.setAnswer(1);
    client.setPort("/dev/null-port", "9600,n,8,1");
    client.control(1009, "");
    client.control(1018, "");
    for (int i = 0; i < 6; ++i) {
        client.m_nextPollTime = 0;
        client.poll();
    }
    QCOMPARE(m_driver.queryCount(), 0);
    QCOMPARE(m_driver.commandCount(), 0);
    QCOMPARE(eventTypes(spy, {1041}).size(), 1);
    QCOMPARE(client.m_commState, 1);
    QCOMPARE(client.m_failCount, 6);
    QVERIFY(client.m_cmdList.isEmpty());
}

// Each step is "p" (poll) or "c" (queue a command); `cycles` is how many
// cycles the polls ran.
void tst_client_cycle::pollInterval_data()
{
    QTest::addColumn<int>("interval");
    QTest::addColumn<QString>("steps");
    QTest::addColumn<int>("cycles");

    QTest::newRow("twice within interval") << 60 << "pp" << 1;
    QTest::newRow("command bypasses interval") << 60 << "pcp" << 2;
    QTest::newRow("command consumed, interval again") << 60 << "pcpp" << 2;
    QTest::newRow("zero interval") << 0 << "ppp" << 3;
    QTest::newRow("command first") << 60 << "cpp" << 1;
}

void tst_client_cycle::pollInterval()
{
    QFETCH(int, interval);
    QFETCH(QString, steps);
    QFETCH(int, cycles);

    vek5Client client;
    client.m_interval = interval;
    QSignalSpy spy(&client, &CollectThread::postDEvent);
    QList<int> workStates;
    connect(&client, &CollectThread::postDEvent, this, [&](int type, QMap<QString, QVariant>) {
        if (type == 2007)
            workStates << client.getWorkState();
    });

    for (QChar step : steps) {
        if (step == 'p')
            client.poll();
        else
            QCOMPARE(client.control(1010, ""), 1);
    }
    QCOMPARE(eventTypes(spy, {2007}).size(), cycles);
    QCOMPARE(workStates, QList<int>(QVector<int>(cycles, 1).toList()));
    QCOMPARE(client.getWorkState(), 0);
}

void tst_client_cycle::dataIntake_data()
{
    QTest::addColumn<QList<int>>("ids");
    QTest::addColumn<QList<float>>("values");
    QTest::addColumn<QList<int>>("keys");
    QTest::addColumn<QList<float>>("stored");

    QTest::newRow("new points") << QList<int>{4001, 3000} << QList<float>{230.5f, 1.0f}
                                << QList<int>{3000, 4001} << QList<float>{1.0f, 230.5f};
    QTest::newRow("later value replaces") << QList<int>{4001, 4001} << QList<float>{1.0f, -2.25f}
                                          << QList<int>{4001} << QList<float>{-2.25f};
}

void tst_client_cycle::dataIntake()
{
    QFETCH(QList<int>, ids);
    QFETCH(QList<float>, values);
    QFETCH(QList<int>, keys);
    QFETCH(QList<float>, stored);

    vek5Client client;
    for (int i = 0; i < ids.size(); ++i)
        vek5DataProce(ids.at(i), values.at(i), &client.m_driverContext);
    QCOMPARE(client.m_dataMap.keys(), keys);
    for (int i = 0; i < keys.size(); ++i) {
        const QVariant v = client.m_dataMap.value(keys.at(i));
        QCOMPARE(int(v.userType()), int(QMetaType::Float));
        QCOMPARE(v.toFloat(), stored.at(i));
    }

    // Through a real cycle the driver sees the context member, not the collector.
    QTcpServer server;
    QVERIFY(connectOverTcp(client, server));
    client.m_devAddr = 9;
    m_driver.setPoint(4100, 7.5f);
    client.poll();
    QCOMPARE(m_driver.lastContext(), static_cast<void*>(&client.m_driverContext));
    QVERIFY(m_driver.lastContext() != static_cast<void*>(&client));
    QCOMPARE(m_driver.lastDevice(), static_cast<void*>(client.m_tcpSocket));
    QCOMPARE(m_driver.lastAddress(), 9);
    QCOMPARE(client.m_dataMap.value(4100).toFloat(), 7.5f);
}

void tst_client_cycle::threadRunsCycles()
{
    vek5Client client;
    client.m_interval = 0;
    // Counted on the collector's thread, where the events are emitted.
    std::atomic<int> dataEvents{0};
    connect(&client, &CollectThread::postDEvent, &client, [&dataEvents](int type, QMap<QString, QVariant>) {
        if (type == 2007)
            ++dataEvents;
    }, Qt::DirectConnection);
    client.start();
    QTRY_VERIFY_WITH_TIMEOUT(dataEvents >= 3, 5000);
    client.quit();
    QVERIFY(client.wait(5000));
    QCOMPARE(client.m_interval, 1);
    QVERIFY(client.m_tick >= 3);
    QCOMPARE(client.getWorkState(), 0);
}

QTEST_GUILESS_MAIN(tst_client_cycle)
#include "tst_client_cycle.moc"
