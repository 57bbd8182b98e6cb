// The collector against the scripted driver: configuration, polling, reports, commands, history export.

#include "TestRig.h"

#include <QtTest>

#include <optional>

using Points = QMap<int, float>;
using Record = QMap<QString, QVariant>;

namespace {

// A collector whose event catalogue has `count` entries: a small alarm range.
class CatalogueClient : public vek5Client
{
public:
    explicit CatalogueClient(int count) : m_count(count) {}
    QStringList getEventLogDesc() override
    {
        QStringList list;
        for (int i = 0; i < m_count; ++i)
            list << QString("event %1").arg(i);
        return list;
    }

private:
    int m_count;
};

bool connectOverTcp(vek5Client& client, QTcpServer& server)
{
    if (!server.isListening() && !server.listen(QHostAddress::LocalHost, 0))
        return false;
    client.m_commType = 1;
    client.m_ipAddr = "127.0.0.1";
    client.m_tcpPort = server.serverPort();
    client.m_tcpSocket = new QTcpSocket();
    client.m_tcpSocket->connectToHost(client.m_ipAddr, quint16(client.m_tcpPort));
    return client.m_tcpSocket->waitForConnected(10000);
}

QList<int> eventTypes(const QSignalSpy& spy, const QList<int>& only = {})
{
    QList<int> types;
    for (const QList<QVariant>& args : spy)
        if (only.isEmpty() || only.contains(args.at(0).toInt()))
            types << args.at(0).toInt();
    return types;
}

Record recordOf(const QList<QVariant>& args) { return args.at(1).value<Record>(); }

bool plant(const QString& path, const QByteArray& content)
{
    QFile::remove(path);
    QDir(path).removeRecursively();
    return content == "<dir>" ? QDir().mkpath(path) : writeFile(path, content);
}

void load(vek5Client& client, const Points& points)
{
    client.m_dataMap.clear();
    for (auto it = points.constBegin(); it != points.constEnd(); ++it)
        client.parseData(it.key(), it.value());
}

// dev.ini and param.ini in appDbDir(), shared by every program there: put back as they were when this goes.
struct AppConfig
{
    const QStringList files {appDbDir() + "/dev.ini", appDbDir() + "/param.ini"};
    QList<std::optional<QByteArray>> saved;
    AppConfig()
    {
        QDir().mkpath(appDbDir());
        for (const QString& path : files)
            saved << (QFile::exists(path) ? std::optional(readFile(path)) : std::nullopt);
    }
    ~AppConfig()
    {
        for (int i = 0; i < files.size(); ++i) {
            QSettings(files[i], QSettings::IniFormat).clear();
            if (saved[i])
                writeFile(files[i], *saved[i]);
            else
                QFile::remove(files[i]);
        }
    }
    // Through QSettings, whose parsed copy every reader here shares: no reliance on file time stamps.
    static void write(const QString& file, const QVariantMap& values)
    {
        QSettings ini(appDbDir() + "/" + file, QSettings::IniFormat);
        ini.clear();
        for (auto it = values.constBegin(); it != values.constEnd(); ++it)
            ini.setValue(it.key(), it.value());
        ini.sync();
    }
};

} // namespace

class tst_client : public QObject
{
    Q_OBJECT

    ScriptDriver m_driver;
    AppConfig m_config;

private slots:
    void initTestCase()
    {
        QVERIFY2(m_driver.ok(), "scripted driver library not found");
        QVERIFY(QDir().mkpath("PVMX/drovaPanel/db"));
    }

    void init()
    {
        m_driver.reset();
    }

    void language_data()
    {
        QTest::addColumn<QVariantMap>("param");
        QTest::addColumn<QString>("code");
        QTest::newRow("0 gives 1") << QVariantMap{{"Language", 0}} << "1";
        QTest::newRow("1 gives 0") << QVariantMap{{"Language", 1}} << "0";
        QTest::newRow("absent gives 1") << QVariantMap{{"Other", 3}} << "1";
    }

    void language()
    {
        QFETCH(QVariantMap, param);
        AppConfig::write("param.ini", param);
        AppConfig::write("dev.ini", {{"ups-e/eventChooseList/0", 1}, {"ups-e/eventChooseList/3", 1}, {"ups-e/eventChooseList/6", 1}});
        CatalogueClient client(6);
        client.m_devName = "ups-e";
        client.loadConfig();
        QTEST(client.m_language, "code");
        QCOMPARE(client.m_eventChoose, (QMap<int, int>{{0, 1}, {1, 0}, {2, 0}, {3, 1}, {4, 0}, {5, 0}}));
    }

    void driverCreateRelease()
    {
        vek5Client factory;
        int marker = 0;
        auto* client = qobject_cast<vek5Client*>(factory.create(&marker));
        QVERIFY(client != nullptr && client != &factory);
        QCOMPARE(client->m_portHandle, static_cast<void*>(&marker));
        QVERIFY(client->m_lib != nullptr && client->m_lib != factory.m_lib);
        client->m_portHandle = nullptr;   // not a port manager
        QPointer<vek5Client> watch(client);
        factory.release(client);
        QVERIFY(!watch.isNull());   // only scheduled
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(watch.isNull());
        const QByteArray utf8("\xe4\xb8\xad\xe6\x96\x87 UPS");
        QCOMPARE(factory.utfToChina(QString::fromLatin1(utf8)), QString::fromUtf8(utf8));
    }

    // One cycle per character of `answers` ('y' the unit answers), its communication events in `expected`.
    void stateMachine_data()
    {
        QTest::addColumn<int>("retries");
        QTest::addColumn<QString>("answers");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<int>("finalState");
        QTest::newRow("first answer restores") << 5 << "y" << QStringList{"1040 2001"} << 0;
        QTest::newRow("one event per loss") << 5 << "nnnnnnn" << QStringList{"", "", "", "", "1041 2001", "", ""} << 1;
        QTest::newRow("recovery after loss") << 3 << "nnnyy" << QStringList{"", "", "1041 2001", "1040 2001", ""} << 0;
        QTest::newRow("lost twice") << 2 << "nnynn" << QStringList{"", "1041 2001", "1040 2001", "", "1041 2001"} << 1;
        QTest::newRow("retry limit one") << 1 << "ny" << QStringList{"1041 2001", "1040 2001"} << 0;
    }

    void stateMachine()
    {
        QFETCH(int, retries);
        QFETCH(QString, answers);
        QFETCH(QStringList, expected);
        vek5Client client;
        client.m_protocol = 3;
        QTcpServer server;
        QVERIFY(connectOverTcp(client, server));
        client.m_retries = retries;
        QSignalSpy spy(&client, &CollectThread::postDEvent);
        for (int cycle = 0; cycle < answers.size(); ++cycle) {
            m_driver.setAnswer(answers.at(cycle) == 'y' ? 1 : 0);
            spy.clear();
            client.m_nextPollTime = 0;
            client.poll();
            QStringList got;
            for (int type : eventTypes(spy, {1040, 1041, 2001}))
                got << QString::number(type);
            QCOMPARE(got.join(' '), expected.at(cycle));
            // The summary repeats the state change's record.
            for (int i = 1; i < spy.size(); ++i)
                if (spy.at(i).at(0).toInt() == 2001 && got.size() == 2) {
                    const Record change = recordOf(spy.at(i - 1));
                    QCOMPARE(recordOf(spy.at(i)), change);
                    QCOMPARE(change.value("state").toInt(), got[0] == "1041" ? 1 : 0);
                    QCOMPARE(change.contains("lost"), got[0] == "1041");
                    QCOMPARE(change.value("protocol").toInt(), 3);
                    QVERIFY(QDateTime::fromString(change.value("timeStr").toString(), "yyyy-MM-dd hh:mm:ss").isValid());
                }
        }
        QTEST(client.m_commState, "finalState");
        QCOMPARE(m_driver.queryCount(), answers.size());
    }

    // A change deferred while the thread ran, left pending by a stop before its next tick, must not
    // override a newer one made while the thread is stopped.
    void stoppedConfigWins()
    {
        vek5Client client;
        client.m_devName = "late";
        bool leftPending = false;
        for (int attempt = 0; attempt < 20 && !leftPending; ++attempt) {
            AppConfig::write("dev.ini", {{"late/interval", 5}});
            client.loadConfig();
            client.start();
            AppConfig::write("dev.ini", {{"late/interval", 7}});
            client.loadConfig();
            client.quit();
            QVERIFY(client.wait(5000));
            leftPending = client.m_interval == 5;
        }
        QVERIFY(leftPending);
        AppConfig::write("dev.ini", {{"late/interval", 9}});
        client.loadConfig();
        client.poll();
        QCOMPARE(client.m_interval, 9);
    }

    // Steps: "p" polls, "c" queues a command; the tick counts cycles since the queue was last non-empty.
    void pollInterval_data()
    {
        QTest::addColumn<int>("interval");
        QTest::addColumn<QString>("steps");
        QTest::addColumn<int>("cycles");
        QTest::addColumn<int>("tick");
        QTest::newRow("twice within interval") << 60 << "pp" << 1 << 1;
        QTest::newRow("command bypasses interval") << 60 << "pcp" << 2 << 0;
        QTest::newRow("zero interval") << 0 << "ppp" << 3 << 3;
        QTest::newRow("ticks again after a command") << 0 << "ppcpp" << 4 << 1;
    }

    void pollInterval()
    {
        QFETCH(int, interval);
        QFETCH(QString, steps);
        QFETCH(int, cycles);
        vek5Client client;
        client.m_interval = interval;
        QList<int> workStates;
        connect(&client, &CollectThread::postDEvent, this, [&](int type, Record) {
            if (type == 2007)
                workStates << client.getWorkState();
        });
        for (QChar step : steps)
            if (step == 'p')
                client.poll();
            else
                QCOMPARE(client.control(1010, ""), 1);
        QCOMPARE(workStates, QVector<int>(cycles, 1).toList());
        QCOMPARE(client.getWorkState(), 0);
        QTEST(client.m_tick, "tick");
    }

    // 40 descriptors: points 2000..2019, ids 0..19 appear, 20..39 go; events "type key=value ... !absentKey".
    void alarmEvents_data()
    {
        QTest::addColumn<Points>("before");
        QTest::addColumn<Points>("after");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("alarm appears") << Points{} << Points{{2003, 1}}
            << QStringList{"2006 alarmId=3 alarmState=1", "2007 alarmId=3 alarmState=1", "2001 alarmId=3 dis_alarm=1 state=-1 lost=0"};
        QTest::newRow("alarm goes") << Points{{2003, 1}} << Points{{2003, 0}}
            << QStringList{"2006 alarmId=23 alarmState=0", "2007 !dis_alarm"};
        QTest::newRow("missing point reads as gone") << Points{{2003, 1}, {2004, 0}} << Points{{2004, 0}}
            << QStringList{"2006 alarmId=23 alarmState=0", "2007"};
        QTest::newRow("appear and go in one report") << Points{{2005, 1}} << Points{{2002, 1}, {2005, 0}}
            << QStringList{"2006 alarmId=2 alarmState=1", "2006 alarmId=25 alarmState=0", "2007 alarmId=25", "2001 alarmId=25 dis_alarm=1"};
        QTest::newRow("point past the catalogue") << Points{} << Points{{2020, 1}} << QStringList{"2007 !alarmId"};
        QTest::newRow("statuses after alarms") << Points{} << Points{{2368, 1}, {2022, 2}, {2001, 1}}
            << QStringList{"2006 alarmId=1 alarmState=1", "2010 alarmState=2 alarmId=1", "2009 alarmState=1",
                           "2007 alarmState=1", "2001 dis_alarm=1 alarmState=1"};
    }

    void alarmEvents()
    {
        QFETCH(Points, before);
        QFETCH(Points, after);
        QFETCH(QStringList, expected);
        CatalogueClient client(40);
        load(client, before);
        client.reportData();
        QSignalSpy spy(&client, &CollectThread::postDEvent);
        load(client, after);
        client.reportData();
        QStringList got;
        for (int i = 0; i < spy.size(); ++i) {
            const Record record = recordOf(spy.at(i));
            QStringList parts{spy.at(i).at(0).toString()};
            for (const QString& key : i < expected.size() ? expected.at(i).split(' ').mid(1) : QStringList()) {
                const QString name = key.section('=', 0, 0);
                if (name.startsWith('!'))
                    parts << (record.contains(name.mid(1)) ? name.mid(1) : name);
                else
                    parts << name + "=" + (record.contains(name) ? record.value(name).toString() : "<absent>");
            }
            got << parts.join(' ');
            QCOMPARE(record.value("lost").toInt(), 0);
        }
        QCOMPARE(got, expected);
    }

    // Commands queued, then one round of sending: what the driver got and how many stay queued.
    void commandText_data()
    {
        QTest::addColumn<QStringList>("queued");   // "ID:VALUE"
        QTest::addColumn<QStringList>("sent");
        QTest::addColumn<int>("left");
        const QString sixty(60, 'v');
        QTest::newRow("buzzer on, empty value") << QStringList{"1009:"} << QStringList{"17,"} << 0;
        QTest::newRow("discharge shares code 0") << QStringList{"1004:2"} << QStringList{"0,2"} << 0;
        QTest::newRow("setting sent unchanged") << QStringList{"2016:3010,55"} << QStringList{"3010,55"} << 0;
        QTest::newRow("long value cut at 49") << QStringList{"1009:" + sixty} << QStringList{"17," + sixty.left(46)} << 0;
        QTest::newRow("long setting cut at 49") << QStringList{"2016:" + sixty} << QStringList{sixty.left(49)} << 0;
        QTest::newRow("unknown id sends nothing") << QStringList{"1234:1"} << QStringList{} << 0;
        // The port-closing command ends a round: later commands wait for the next.
        QTest::newRow("closing the port ends the round") << QStringList{"1009:", "1018:", "1010:a", "1001:b"}
                                                         << QStringList{"17,"} << 2;
    }

    void commandText()
    {
        QFETCH(QStringList, queued);
        vek5Client client;
        QTcpServer server;
        QVERIFY(connectOverTcp(client, server));
        for (const QString& command : queued)
            QCOMPARE(client.control(command.section(':', 0, 0).toInt(), command.section(':', 1)), 1);
        QCOMPARE(m_driver.commands().size(), 0);   // queued only
        client.check_set_command();
        QTEST(m_driver.commands(), "sent");
        QTEST(client.m_cmdList.size(), "left");
    }

    void exportRows_data()
    {
        QTest::addColumn<QByteArray>("codeMap");   // "<dir>": a directory in its place
        QTest::addColumn<QString>("language");     // language code when the map is read
        QTest::addColumn<QByteArray>("history");   // "<dir>": a directory in its place
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("rows");      // null: no export file
        const QByteArray line("12 1 24 3 5 7 8 9\n");
        const QByteArray map("12,text A,\n");
        QTest::newRow("third column while language unset") << QByteArray("12,text A,text B\n") << "" << line << "out.csv"
                                                           << QByteArray("12,text B,Appear,2024-03-05 07:08:09,\n");
        QTest::newRow("language 0 takes second column") << QByteArray("12,text A,text B\n") << "0" << QByteArray("12 0 24 3 5 7 8 9\n")
                                                        << "out.csv" << QByteArray("12,text A,Disappear,2024-03-05 07:08:09,\n");
        QTest::newRow("language 1, blanks trimmed") << QByteArray("12, text A , text B ,extra\n") << "1" << QByteArray("12 1 1 12 31 23 59 0\n")
                                                    << "out.csv" << QByteArray("12,text B,Appear,2001-12-31 23:59:00,\n");
        QTest::newRow("state 2 gives empty status") << QByteArray("12,a,b\n") << "" << QByteArray("12 2 24 3 5 7 8 9\n") << "out.csv"
                                                    << QByteArray("12,b,,2024-03-05 07:08:09,\n");
        QTest::newRow("short lines skipped, order kept") << QByteArray("1,one,uno\n2,two,\n") << ""
            << QByteArray("2 1 20 1 2 3 4 5\n\n1 1 20 1\n1 0 21 6 7 8 9 10 99\n") << "out.csv"
            << QByteArray("2,two,Appear,2020-01-02 03:04:05,\n1,uno,Disappear,2021-06-07 08:09:10,\n");
        QTest::newRow("later map line replaces, blank codes skipped") << QByteArray("3,old,old3\n ,skip,skip\n3,new,\n") << ""
            << QByteArray("3 1 24 1 1 1 1 1\n") << "out.csv" << QByteArray("3,new,Appear,2024-01-01 01:01:01,\n");
        QTest::newRow("text ends at NUL") << QByteArray("4,ab\0cd,x\0y\n", 13) << "" << QByteArray("4 1 24 1 1 1 1 1\n") << "out.csv"
                                          << QByteArray("4,ab,Appear,2024-01-01 01:01:01,\n");
        QTest::newRow("empty path: history emptied all the same") << QByteArray() << "" << line << "" << QByteArray();
        QTest::newRow("export onto the history itself") << QByteArray("12,a,b\n") << "" << line << "./history.txt"
                                                        << QByteArray("12,b,Appear,2024-03-05 07:08:09,\n");
        QByteArray many;
        for (int i = 0; i < 3000; ++i)
            many += line;
        QTest::newRow("a history longer than one write") << QByteArray("12,a,b\n") << "" << many << "out.csv"
                                                         << QByteArray("12,b,Appear,2024-03-05 07:08:09,\n").repeated(3000);
        // Broken files: the export reads what it can.
        QTest::newRow("code map a directory") << QByteArray("<dir>") << "" << line << "out.csv"
                                              << QByteArray("12,12,Appear,2024-03-05 07:08:09,\n");
        QTest::newRow("code map noise around a good row") << noise(3000) + "\n12,text A,text B\n" + noise(3000) << "" << line
                                                          << "out.csv" << QByteArray("12,text B,Appear,2024-03-05 07:08:09,\n");
        QTest::newRow("code map one huge line") << QByteArray(1 << 20, 'x') << "" << line << "out.csv"
                                                << QByteArray("12,12,Appear,2024-03-05 07:08:09,\n");
        QTest::newRow("history a directory") << map << "" << QByteArray("<dir>") << "out.csv" << QByteArray("");
        QTest::newRow("history noise and short lines") << map << "" << noise(5000) + "\n1 2 3\n\n" + line + "12 0 24 3 5 7 8\n"
                                                       << "out.csv" << QByteArray("12,text A,Appear,2024-03-05 07:08:09,\n");
        QTest::newRow("history numbers too large") << map << "" << QByteArray("99999999999 1 24 3 5 7 8 9\n") << "out.csv"
                                                   << QByteArray("0,0,Appear,2024-03-05 07:08:09,\n");
        QTest::newRow("export to a full disk") << map << "" << line << "/dev/full" << QByteArray();
        QTest::newRow("export into a missing folder") << map << "" << line << "no/such/dir.csv" << QByteArray();
    }

    void exportRows()
    {
        QFETCH(QByteArray, codeMap);
        QFETCH(QString, language);
        QFETCH(QByteArray, history);
        QFETCH(QString, path);
        QFETCH(QByteArray, rows);
        QFile::remove("out.csv");
        QVERIFY(plant("PVMX/drovaPanel/db/historycodemap.csv", codeMap));
        QVERIFY(plant("history.txt", history));
        vek5Client client;
        if (!language.isEmpty()) {
            client.m_language = language;
            client.initHistoryInfo();
        }
        client.exportHistoryInfo(path);
        QCOMPARE(QFile::exists("out.csv"), path == "out.csv");
        if (!rows.isNull())
            QCOMPARE(readFile(path), "ID,Content,Status,Time,\n" + rows);
        QVERIFY(QFile::exists("history.txt"));
        if (path != "./history.txt")
            QCOMPARE(readFile("history.txt"), QByteArray());
        QVERIFY(plant("history.txt", ""));
    }

    void flushDataKeys_data()
    {
        QTest::addColumn<QList<int>>("present");   // ids already in the map, value -1
        QTest::addColumn<QList<int>>("ids");       // ids flushed, value id * 10
        QTest::newRow("digit count changes") << QList<int>{9, 10, 99, 100} << QList<int>{8, 9, 10, 11, 99, 100, 1000, 10000};
        QTest::newRow("negative ids and extremes") << QList<int>{-1, 0} << QList<int>{INT_MIN, -10, -1, 0, 7, INT_MAX};
        QTest::newRow("nothing flushed") << QList<int>{5} << QList<int>();
    }

    // Each flushed id lands under its decimal text with its value; other entries keep theirs.
    void flushDataKeys()
    {
        QFETCH(QList<int>, present);
        QFETCH(QList<int>, ids);
        CollectThread t;
        t.flushUpsInfo("name", "UPS1");
        Record expected{{"name", "UPS1"}};
        QMap<int, QVariant> first, data;
        for (int id : present) {
            first.insert(id, -1);
            expected.insert(QString::number(id), -1);
        }
        t.flushData(first);
        for (int id : ids) {
            data.insert(id, qint64(id) * 10);
            expected.insert(QString::number(id), qint64(id) * 10);
        }
        t.flushData(data);
        QMutexLocker locker(&t.m_infoLock);
        QCOMPARE(t.m_upsInfo, expected);
    }
};

QTEST_MAIN(tst_client)
#include "tst_client.moc"
