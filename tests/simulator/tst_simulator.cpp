// upssim's control channel, and its multi-drop RTU line through the real driver library and collectors.

#include "EventTypes.h"
#include "PortManage.h"
#include "RecordKeys.h"
#include "SerialPort.h"
#include "TestRig.h"
#include "points.h"

#include <QtTest>

class tst_simulator : public QObject
{
    Q_OBJECT
    SimProcess m_sim;

private slots:
    void initTestCase()
    {
        QVERIFY2(m_sim.start({"--units", "2"}), qPrintable(m_sim.output()));
    }

    void answers_data()
    {
        // Lines sent in turn, and a pattern for the end of the answer to the last.
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<QString>("answer");
        QTest::newRow("empty") << QStringList{"   "} << "ERR empty command";
        QTest::newRow("unknown verb") << QStringList{"MAINS 1 off"} << "ERR unknown command \"MAINS\"";
        QTest::newRow("bad switch") << QStringList{"bypass 1 maybe"} << "ERR bad value \"maybe\"; usage: bypass UNIT on\\|off";
        QTest::newRow("missing state") << QStringList{"mains 1"} << "ERR usage: mains UNIT on\\|off";
        QTest::newRow("unit zero") << QStringList{"get 0 4016"} << "ERR bad unit \"0\" \\(1-247 or all\\)";
        QTest::newRow("alarm fraction") << QStringList{"fault 1 3.5 on"} << "ERR bad alarm index \"3.5\" \\(0-511\\)";
        QTest::newRow("each unit its address") << QStringList{"get all 3002"} << "OK 1=1 2=2";
        QTest::newRow("fault") << QStringList{"fault 2 300 on", "get 2 2300"} << "OK 1";
        QTest::newRow("charge") << QStringList{"battery 1 30.5", "get 1 4111"} << "OK 30";
        QTest::newRow("unchanged") << QStringList{"load 1 45", "bypass 1 on", "mains 1 on", "garble 1 0", "get 1 4016"} << "OK 83";
        QTest::newRow("scenario, list") << QStringList{"scenario 2 faults", "list"}
                                        << "alarms: 2018 2019 2300, scenario faults\nOK";
        QTest::newRow("absent unit") << QStringList{"mains 3 off"} << "ERR no unit 3 \\(units 1-2\\)";
        QTest::newRow("absent scenario") << QStringList{"scenario all no-such"} << "ERR unknown scenario: no-such";
        QTest::newRow("overlong line: one answer") << QStringList{QString(600, 'x'), "silent all 0"} << "^OK";
        QTest::newRow("halve, list") << QStringList{"halve 2 600", "list"} << "half frames, alarms: [^\n]*\nOK";
        QTest::newRow("disconnect takes no value") << QStringList{"disconnect 1 5"} << "ERR usage: disconnect UNIT";
        QTest::newRow("all units, blanks") << QStringList{"  fault all  511 on ", "get all 2511"} << "OK 1=1 2=1";
    }

    void answers()
    {
        QFETCH(QStringList, lines);
        QFETCH(QString, answer);
        QString last;
        for (const QString& line : lines)
            last = m_sim.control(line);
        QVERIFY2(QRegularExpression(answer + "$").match(last).hasMatch(), qPrintable(last));
    }

    // Units 1-3 on a socat pty pair, unit 2 at full load; one collector per address,
    // all through the one port a shared port manager keeps for the line. A fourth
    // collector reads a unit of its own on a second line: its reads are the clock
    // for how many reads the first line would have made meanwhile.
    void threeUnitsOneLine()
    {
        if (QStandardPaths::findExecutable("socat").isEmpty())
            QSKIP("socat is not installed");
        PtyPair line, witnessLine;
        QVERIFY(line.start("ttyLine0", "ttyLine1"));
        QVERIFY(witnessLine.start("ttyWitness0", "ttyWitness1"));
        SimProcess sim, witnessSim;
        QVERIFY2(sim.start({"--no-tcp", "--rtu", line.b, "--units", "3", "--scenario", "2=low-battery"}),
                 qPrintable(sim.output()));
        QVERIFY2(witnessSim.start({"--no-tcp", "--rtu", witnessLine.b, "--units", "1"}), qPrintable(witnessSim.output()));
        QVERIFY(sim.control("disconnect 2").startsWith("ERR no Modbus TCP served"));

        PortManage manager, witnessManager;   // the witness waits for no one's lock
        QMutex lock;   // over what the collectors report
        int reads[4] = {};
        std::atomic<int> lost{0};   // read at the end while they still run
        QMap<int, QVariant> last[4];
        std::vector<std::unique_ptr<vek5Client>> collectors;
        const auto stop = qScopeGuard([&collectors] { for (auto& c : collectors) c->quit(), c->wait(20000); });
        for (int i = 0; i < 4; ++i) {
            collectors.push_back(std::make_unique<vek5Client>());
            vek5Client* c = collectors.back().get();
            c->m_portHandle = i < 3 ? &manager : &witnessManager;
            c->m_devAddr = i < 3 ? i + 1 : 1;
            c->m_retries = 1;   // any failed read counts
            c->setPort(i < 3 ? line.a : witnessLine.a, "9600,n,8,1");
            connect(c, &CollectThread::postDEvent, c, [&, i](int type, QMap<QString, QVariant> record) {
                QMutexLocker locker(&lock);
                lost += type == EventType::CommLost ? 1 : 0;
                reads[i] += type == EventType::DataReport ? 1 : 0;
                last[i] = record.value(RecordKey::Data).value<QMap<int, QVariant>>();
            }, Qt::DirectConnection);
            c->start();
        }
        const auto count = [&](int i) { QMutexLocker locker(&lock); return reads[i]; };
        const auto fewest = [&] { return std::min({count(0), count(1), count(2)}); };
        const auto total = [&] { return count(0) + count(1) + count(2); };
        QTRY_VERIFY_WITH_TIMEOUT(fewest() >= 2, 30000);
        for (int i = 0; i < 3; ++i) {
            QMutexLocker locker(&lock);
            QCOMPARE(last[i].value(point::DeviceAddress).toInt(), i + 1);   // each one reads its own unit
            QCOMPARE(last[i].value(point::OutputLoadR).toInt() > 70, i == 1);   // unit 2 at full load
        }
        const int rounds = fewest();
        QElapsedTimer clock;
        clock.start();
        QTRY_VERIFY_WITH_TIMEOUT(fewest() >= rounds + 3, 60000);
        qInfo("full read of the three units at 9600 baud: %.1f ms", double(clock.elapsed()) / 3);

        // While the line's lock is held here, none gets past the read under way,
        // for as long as the witness takes for three full reads of its own. No
        // events run meanwhile: the manager's own tick would wait for the lock too.
        SerialPort* port = manager.getPortHandle(line.a);
        port->Lock();
        const int held = total();
        const int witnessed = count(3);
        for (QDeadlineTimer patience(60000); count(3) < witnessed + 3 && !patience.hasExpired();)
            QThread::msleep(20);
        QVERIFY(count(3) >= witnessed + 3);
        const int during = total() - held;
        port->UnLock();
        QVERIFY2(during <= 3, qPrintable(QString("%1 reads while the line was locked").arg(during)));
        QTRY_VERIFY_WITH_TIMEOUT(fewest() >= rounds + 5, 30000);
        QCOMPARE(lost, 0);
    }
};

QTEST_MAIN(tst_simulator)
#include "tst_simulator.moc"
