// The collector on its own thread while the host reads the device
// information map and queues commands from its thread.

#include "ClientRig.h"

#include <QtTest>

#include <atomic>

class tst_client_threads : public QObject
{
    Q_OBJECT

private slots:
    void hostReadsWhileCollectorWrites_data();
    void hostReadsWhileCollectorWrites();
};

void tst_client_threads::hostReadsWhileCollectorWrites_data()
{
    QTest::addColumn<int>("commands");
    QTest::newRow("reads only") << 0;
    QTest::newRow("reads and commands") << 200;
}

void tst_client_threads::hostReadsWhileCollectorWrites()
{
    QFETCH(int, commands);

    vek5Client client;
    client.m_devName = "ups-t";
    client.m_devAddr = 4;
    // Counted on the collector's thread: Qt's queued delivery would hand over
    // through locks that the sanitizer cannot see.
    std::atomic<int> dataEvents{0};
    connect(&client, &CollectThread::postDEvent, &client, [&dataEvents](int type, QMap<QString, QVariant> record) {
        if (type == 2007 && record.value("name").toString() == "ups-t")
            ++dataEvents;
    }, Qt::DirectConnection);
    client.start();

    int queued = 0;
    QString addr;
    QElapsedTimer clock;
    clock.start();
    while ((dataEvents < 5 || queued < commands) && clock.elapsed() < 10000) {
        {
            QMutexLocker locker(&client.m_infoLock);
            addr = client.m_upsInfo.value("upsAddr").toString();
        }
        if (queued < commands)
            queued += client.control(1009, QString::number(queued));
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    QTRY_VERIFY_WITH_TIMEOUT(dataEvents >= 6, 5000);   // a cycle after the last command
    client.quit();
    QVERIFY(client.wait(5000));

    QCOMPARE(queued, commands);
    QVERIFY(client.m_cmdList.isEmpty());   // taken, though no port could send them
    QCOMPARE(addr, QString("4"));
}

QTEST_GUILESS_MAIN(tst_client_threads)
#include "tst_client_threads.moc"
