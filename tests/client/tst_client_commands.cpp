// Control commands: queueing, the texts handed to the driver's Control, the
// port-closing command, and the history download's result event.

#include "ClientRig.h"

#include <QtTest>

typedef QList<int> Ids;

class tst_client_commands : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void commandText_data();
    void commandText();
    void closePortLeavesLaterCommands();
    void downloadHistory_data();
    void downloadHistory();
    void tickCounter();

private:
    ScriptDriver m_driver;
};

void tst_client_commands::init()
{
    QVERIFY2(m_driver.ok(), "scripted driver library not found");
    m_driver.reset();
}

void tst_client_commands::commandText_data()
{
    QTest::addColumn<int>("id");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QStringList>("sent");

    const QString sixty = QString(60, 'v');
    QTest::newRow("buzzer on, empty value") << 1009 << "" << QStringList{"17,"};
    QTest::newRow("clean fault") << 1001 << "x" << QStringList{"12,x"};
    QTest::newRow("selftest shares code 0") << 1003 << "1" << QStringList{"0,1"};
    QTest::newRow("discharge shares code 0") << 1004 << "2" << QStringList{"0,2"};
    QTest::newRow("wakeup shares code 7") << 1013 << "w" << QStringList{"7,w"};
    QTest::newRow("turn inverter") << 1017 << "" << QStringList{"11,"};
    QTest::newRow("setting sent unchanged") << 2016 << "3010,55" << QStringList{"3010,55"};
    QTest::newRow("long value cut at 49") << 1009 << sixty << QStringList{"17," + sixty.left(46)};
    QTest::newRow("long setting cut at 49") << 2016 << sixty << QStringList{sixty.left(49)};
    QTest::newRow("exactly 49 kept") << 2016 << QString(49, 'k') << QStringList{QString(49, 'k')};
    QTest::newRow("unknown id sends nothing") << 1234 << "1" << QStringList{};
    QTest::newRow("gap in table sends nothing") << 1011 << "1" << QStringList{};
}

void tst_client_commands::commandText()
{
    QFETCH(int, id);
    QFETCH(QString, value);
    QFETCH(QStringList, sent);

    vek5Client client;
    QTcpServer server;
    QVERIFY(connectOverTcp(client, server));
    QSignalSpy spy(&client, &CollectThread::postDEvent);
    QCOMPARE(client.control(id, value), 1);
    QCOMPARE(m_driver.commandCount(), 0);   // queued only
    client.poll();
    QCOMPARE(m_driver.commands(), sent);
    QVERIFY(client.m_cmdList.isEmpty());
    QCOMPARE(eventTypes(spy, {1042}).size(), 0);
    if (!sent.isEmpty())
        QCOMPARE(m_driver.lastContext(), static_cast<void*>(&client.m_driverContext));
}

void tst_client_commands::closePortLeavesLaterCommands()
{
    vek5Client client;
    QTcpServer server;
    QVERIFY(connectOverTcp(client, server));
    client.control(1009, "");
    client.control(1018, "");
    client.control(1010, "a");
    client.control(1001, "b");

    client.check_set_command();
    QCOMPARE(m_driver.commands(), QStringList{"17,"});
    QCOMPARE(client.m_cmdList.size(), 2);
    QCOMPARE(client.m_cmdList.at(0).id, 1010);

    client.check_set_command();
    QCOMPARE(m_driver.commands(), (QStringList{"17,", "18,a", "12,b"}));
    QVERIFY(client.m_cmdList.isEmpty());
}

void tst_client_commands::downloadHistory_data()
{
    QTest::addColumn<int>("controlResult");
    QTest::addColumn<QString>("resultText");

    QTest::newRow("acknowledged") << 0 << "successful";
    QTest::newRow("refused") << 1 << "failed";
    QTest::newRow("odd result") << 7 << "failed";
}

void tst_client_commands::downloadHistory()
{
    QFETCH(int, controlResult);
    QFETCH(QString, resultText);

    QFile::remove("./history.txt");
    QFile::remove("export.csv");
    vek5Client client;
    client.m_devName = "ups-h";
    QTcpServer server;
    QVERIFY(connectOverTcp(client, server));
    m_driver.setControlResult(controlResult);
    QSignalSpy spy(&client, &CollectThread::postDEvent);
    client.control(1045, "export.csv");
    client.check_set_command();

    QCOMPARE(m_driver.commands(), QStringList{"20,export.csv"});
    QCOMPARE(spy.size(), 1);
    QCOMPARE(eventType(spy.at(0)), 1042);
    const QMap<QString, QVariant> record = eventRecord(spy.at(0));
    QCOMPARE(record.value("result").toInt(), 1);
    QCOMPARE(record.value("controlId").toInt(), 1045);
    QCOMPARE(record.value("controlValue").toString(), QString("export.csv"));
    QCOMPARE(record.value("name").toString(), QString("ups-h"));
    QCOMPARE(record.value("desc").toString(), "ups-h Download history " + resultText);
    QVERIFY(QFile::exists("export.csv"));
    QVERIFY(QFile::exists("./history.txt"));
}

void tst_client_commands::tickCounter()
{
    vek5Client client;
    client.m_interval = 0;
    client.poll();
    client.poll();
    QCOMPARE(client.m_tick, 2);
    client.control(1009, "");
    client.poll();
    QCOMPARE(client.m_tick, 0);
    client.poll();
    QCOMPARE(client.m_tick, 1);
}

QTEST_GUILESS_MAIN(tst_client_commands)
#include "tst_client_commands.moc"
