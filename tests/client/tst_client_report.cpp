// Reporting step: alarm change events, status points, the data event, keys
// accumulating across one report, and the device information map.

#include "ClientRig.h"
#include "vek5Font.h"

#include <QtTest>

typedef QMap<int, float> Points;

class tst_client_report : public QObject
{
    Q_OBJECT

private slots:
    void alarmEvents_data();
    void alarmEvents();
    void catalogueAlarmRange();
    void deviceInformation_data();
    void deviceInformation();
    void dataEventCarriesWholeMap();

private:
    static void load(vek5Client& client, const Points& points);
    static QString render(const QList<QVariant>& args, const QStringList& keys);
};

void tst_client_report::load(vek5Client& client, const Points& points)
{
    client.m_dataMap.clear();
    for (auto it = points.constBegin(); it != points.constEnd(); ++it)
        client.parseData(it.key(), it.value());
}

// "type key=value ... !absent" with the keys the expectation names.
QString tst_client_report::render(const QList<QVariant>& args, const QStringList& keys)
{
    const QMap<QString, QVariant> record = eventRecord(args);
    QStringList parts{QString::number(eventType(args))};
    for (const QString& token : keys) {
        const QString key = token.section('=', 0, 0);
        if (key.startsWith('!'))
            parts << (record.contains(key.mid(1)) ? key.mid(1) : key);
        else
            parts << key + "=" + (record.contains(key) ? record.value(key).toString() : "<absent>");
    }
    return parts.join(' ');
}

// 40 descriptors: alarm points 2000..2019, ids 0..19 appear, 20..39 go.
void tst_client_report::alarmEvents_data()
{
    QTest::addColumn<Points>("before");
    QTest::addColumn<Points>("after");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("alarm appears") << Points{} << Points{{2003, 1}}
        << QStringList{"2006 alarmId=3 alarmState=1", "2007 alarmId=3 alarmState=1",
                       "2001 alarmId=3 dis_alarm=1 state=-1 lost=0"};
    QTest::newRow("alarm goes") << Points{{2003, 1}} << Points{{2003, 0}}
        << QStringList{"2006 alarmId=23 alarmState=0", "2007 !dis_alarm"};
    QTest::newRow("other value counts as gone") << Points{{2003, 1}} << Points{{2003, 2}}
        << QStringList{"2006 alarmId=23 alarmState=2", "2007 alarmId=23"};
    QTest::newRow("missing point reads as gone") << Points{{2003, 1}, {2004, 0}} << Points{{2004, 0}}
        << QStringList{"2006 alarmId=23 alarmState=0", "2007"};
    QTest::newRow("unchanged alarm is quiet") << Points{{2003, 1}} << Points{{2003, 1}}
        << QStringList{"2007 !alarmId !alarmState"};
    QTest::newRow("ascending order, last id summarised") << Points{} << Points{{2019, 1}, {2000, 1}}
        << QStringList{"2006 alarmId=0", "2006 alarmId=19", "2007 alarmId=19", "2001 alarmId=19 dis_alarm=1"};
    QTest::newRow("appear and go in one report") << Points{{2005, 1}} << Points{{2002, 1}, {2005, 0}}
        << QStringList{"2006 alarmId=2 alarmState=1", "2006 alarmId=25 alarmState=0",
                       "2007 alarmId=25", "2001 alarmId=25 dis_alarm=1"};
    QTest::newRow("point past the catalogue") << Points{} << Points{{2020, 1}}
        << QStringList{"2007 !alarmId"};
    QTest::newRow("status 2022") << Points{} << Points{{2022, 4}}
        << QStringList{"2010 alarmState=4 !alarmId", "2007 alarmState=4"};
    QTest::newRow("status 2368") << Points{{2368, 2}} << Points{{2368, 0}}
        << QStringList{"2009 alarmState=0", "2007"};
    QTest::newRow("statuses after alarms") << Points{} << Points{{2368, 1}, {2022, 2}, {2001, 1}}
        << QStringList{"2006 alarmId=1 alarmState=1", "2010 alarmState=2 alarmId=1",
                       "2009 alarmState=1", "2007 alarmState=1", "2001 dis_alarm=1 alarmState=1"};
    QTest::newRow("status unchanged") << Points{{2022, 3}} << Points{{2022, 3}}
        << QStringList{"2007 !alarmState"};
}

void tst_client_report::alarmEvents()
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
        const QStringList keys = i < expected.size() ? expected.at(i).split(' ').mid(1) : QStringList();
        got << render(spy.at(i), keys);
    }
    QCOMPARE(got, expected);
    for (const QList<QVariant>& args : spy) {
        const QMap<QString, QVariant> record = eventRecord(args);
        QCOMPARE(record.value("lost").toInt(), 0);
        QVERIFY(record.contains("timeStr"));
    }
}

// The real event catalogue: 996 texts, so alarm points 2000..2497.
void tst_client_report::catalogueAlarmRange()
{
    vek5Client client;
    const int count = vek5Font::instance()->getEventLogDesc().size();
    QCOMPARE(count, 996);
    QSignalSpy spy(&client, &CollectThread::postDEvent);
    load(client, Points{{2497, 1}, {2498, 1}});
    client.reportData();
    load(client, Points{{2498, 1}});
    client.reportData();

    QList<int> ids;
    for (const QList<QVariant>& args : spy) {
        if (eventType(args) == 2006)
            ids << eventRecord(args).value("alarmId").toInt();
    }
    QCOMPARE(ids, (QList<int>{497, 995}));
}

void tst_client_report::deviceInformation_data()
{
    QTest::addColumn<int>("commType");
    QTest::addColumn<Points>("points");
    QTest::addColumn<QByteArray>("model");
    QTest::addColumn<QString>("portInfo");
    QTest::addColumn<int>("upsLoad");

    QTest::newRow("serial, short model") << 0 << Points{{4016, 65}, {4017, 66}, {4018, 67}}
        << QByteArray("ABC\0\0\0\0\0\0\0\0\0\0\0\0\0", 16) << "/dev/ttyS3-9600,n,8,1" << 0;
    QTest::newRow("tcp, full model, load") << 1
        << Points{{4016, 'Z'}, {4031, 'Q'}, {4184, 73.6f}, {4015, 'X'}, {4032, 'Y'}}
        << QByteArray("Z\0\0\0\0\0\0\0\0\0\0\0\0\0\0Q", 16) << "tcp:10.0.0.9:1502" << 74;
    QTest::newRow("values cut to one byte") << 0 << Points{{4016, 321}, {4017, -1}}
        << QByteArray("A\xff\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 16) << "/dev/ttyS3-9600,n,8,1" << 0;
    QTest::newRow("other comm type is a port") << 2 << Points{{4184, -3}}
        << QByteArray(16, '\0') << "/dev/ttyS3-9600,n,8,1" << -3;
}

void tst_client_report::deviceInformation()
{
    QFETCH(int, commType);
    QFETCH(Points, points);
    QFETCH(QByteArray, model);
    QFETCH(QString, portInfo);
    QFETCH(int, upsLoad);

    CatalogueClient client(0);
    client.m_devName = "ups-b";
    client.m_manufacturer = "Maker";
    client.m_commType = commType;
    client.m_portName = "/dev/ttyS3";
    client.m_portSettings = "9600,n,8,1";
    client.m_ipAddr = "10.0.0.9";
    client.m_tcpPort = 1502;
    client.m_devAddr = 12;
    client.m_commState = 1;
    client.flushUpsInfo("stale", 5);
    load(client, points);
    client.reportData();

    QMutexLocker locker(&client.m_infoLock);
    const QMap<QString, QVariant>& info = client.m_upsInfo;
    QCOMPARE(info.value("upsIdentModel").userType(), int(QMetaType::QByteArray));
    QCOMPARE(info.value("upsIdentModel").toByteArray(), model);
    QCOMPARE(info.value("portInfo").toString(), portInfo);
    QCOMPARE(info.value("upsLoad").toInt(), upsLoad);
    QCOMPARE(info.value("upsAddr").toString(), QString("12"));
    QCOMPARE(info.value("state").toInt(), 1);
    QCOMPARE(info.value("name").toString(), QString("ups-b"));
    QCOMPARE(info.value("IdentManufacturer").toString(), QString("Maker"));
    QCOMPARE(info.value("stale").toInt(), 5);
    for (auto it = points.constBegin(); it != points.constEnd(); ++it)
        QCOMPARE(info.value(QString::number(it.key())).toFloat(), it.value());
}

void tst_client_report::dataEventCarriesWholeMap()
{
    CatalogueClient client(40);
    QSignalSpy spy(&client, &CollectThread::postDEvent);
    load(client, Points{{2001, 1}, {4000, 2.5f}, {3007, 9}});
    client.reportData();
    client.reportData();
    QCOMPARE(eventTypes(spy, {2007}).size(), 2);
    for (const QList<QVariant>& args : spy) {
        if (eventType(args) != 2007)
            continue;
        const QVariant data = eventRecord(args).value("data");
        QCOMPARE(data.userType(), (qMetaTypeId<QMap<int, QVariant>>()));
        QCOMPARE((data.value<QMap<int, QVariant>>()), client.m_dataMap);
    }
}

QTEST_GUILESS_MAIN(tst_client_report)
#include "tst_client_report.moc"
