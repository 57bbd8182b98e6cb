// The host interface classes as a host sees them: meta-object method tables,
// default bodies, the device information map and a panel's control record.

#include "CollectThread.h"
#include "CollectView.h"

#include <QMetaMethod>
#include <QSignalSpy>
#include <QtTest>

class TestInterface : public QObject
{
    Q_OBJECT

private:
    static void addMethodColumns();
    static void row(int index, const char* kind, const char* ret, const char* sig, const char* names);
    static void checkMethodTable(const QMetaObject* mo);

private slots:
    void collectThreadMethods_data();
    void collectThreadMethods() { checkMethodTable(&CollectThread::staticMetaObject); }
    void collectViewMethods_data();
    void collectViewMethods() { checkMethodTable(&CollectView::staticMetaObject); }
    void methodCounts();
    void threadDefaults();
    void flushDataMerges();
    void flushDataEmptyKeepsMap();
    void flushDataKeys_data();
    void flushDataKeys();
    void flushUpsInfoReplaces();
    void sideMapIsSeparate();
    void slotsDispatchToVirtuals();
    void viewDefaults();
    void viewControlRecord_data();
    void viewControlRecord();
};

void TestInterface::addMethodColumns()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("returnType");
    QTest::addColumn<QString>("signature");
    QTest::addColumn<QString>("argNames");
}

void TestInterface::row(int index, const char* kind, const char* ret, const char* sig, const char* names)
{
    QTest::addRow("%d %s", index, sig) << index << QString(kind) << QString(ret) << QString(sig) << QString(names);
}

// Index, kind, return type, signature and argument names of one class's own
// methods, as a host compiled against the same declarations expects them.
void TestInterface::checkMethodTable(const QMetaObject* mo)
{
    QFETCH(int, index);
    QFETCH(QString, kind);
    QFETCH(QString, returnType);
    QFETCH(QString, signature);
    QFETCH(QString, argNames);

    const QMetaMethod m = mo->method(mo->methodOffset() + index);
    QVERIFY(m.isValid());
    // Looked up as a host's string-based connect() looks it up (moc spells
    // QMap<QString,QVariant> as its alias QVariantMap; both name one type).
    QCOMPARE(mo->indexOfMethod(QMetaObject::normalizedSignature(qPrintable(signature))),
             mo->methodOffset() + index);
    QCOMPARE(m.methodType() == QMetaMethod::Signal ? QStringLiteral("signal") : QStringLiteral("slot"), kind);
    QCOMPARE(QString(m.typeName()), returnType);
    QStringList names;
    for (const QByteArray& n : m.parameterNames())
        names << QString(n);
    QCOMPARE(names.join(','), argNames);
    if (m.methodType() == QMetaMethod::Slot)
        QCOMPARE(m.access(), QMetaMethod::Public);
}

void TestInterface::collectThreadMethods_data()
{
    addMethodColumns();
    row(0, "signal", "void", "postDEvent(int,QMap<QString,QVariant>)", "type,map");
    row(1, "slot", "int", "control(int,QString)", "id,value");
    row(2, "slot", "QStringList", "getDataLogDesc()", "");
    row(3, "slot", "QStringList", "changeLogData(QMap<int,QVariant>)", "data");
    row(4, "slot", "QStringList", "getEventLogDesc()", "");
    row(5, "slot", "CollectView*", "getView()", "");
    row(6, "slot", "void", "loadConfig()", "");
    row(7, "slot", "CollectThread*", "create(void*)", "handle");
    row(8, "slot", "void", "release(CollectThread*)", "");
    row(9, "slot", "void", "setPortHandle(void*)", "handle");
    row(10, "slot", "void", "flushUpsInfoSLot(QString,QVariant)", "key,value");
    row(11, "slot", "void", "poll()", "");
    row(12, "slot", "int", "getWorkState()", "");
}

void TestInterface::collectViewMethods_data()
{
    addMethodColumns();
    row(0, "signal", "void", "postDEvent(int,QMap<QString,QVariant>)", "type,map");
    row(1, "slot", "void", "setName(QString)", "n");
    row(2, "slot", "void", "setLanguage(int)", "l");
    row(3, "slot", "void", "refreshData()", "");
    row(4, "slot", "void", "refreshLayout()", "");
    row(5, "slot", "void", "flushData(QMap<int,QVariant>)", "d");
    row(6, "slot", "void", "flushUpsInfo(QString,QVariant)", "key,d");
    row(7, "slot", "void", "setUserInfo(QString,int)", "user,level");
    row(8, "slot", "int", "control(int,QString)", "id,value");
}

void TestInterface::methodCounts()
{
    const QMetaObject& t = CollectThread::staticMetaObject;
    QCOMPARE(t.methodCount() - t.methodOffset(), 13);
    QCOMPARE(t.superClass(), &QThread::staticMetaObject);
    const QMetaObject& v = CollectView::staticMetaObject;
    QCOMPARE(v.methodCount() - v.methodOffset(), 9);
    QCOMPARE(v.superClass(), &QWidget::staticMetaObject);
}

void TestInterface::threadDefaults()
{
    CollectThread t;
    QCOMPARE(t.getWorkState(), 0);
    QCOMPARE(t.m_commState, -1);
    QCOMPARE(t.control(7, "1"), 0);
    QVERIFY(t.getDataLogDesc().isEmpty());
    QVERIFY(t.changeLogData({{4133, 230.0f}}).isEmpty());
    QVERIFY(t.getEventLogDesc().isEmpty());
    QVERIFY(t.getView() == nullptr);
    QVERIFY(t.create(&t) == nullptr);
    QVERIFY(t.m_portHandle == nullptr);   // create stores nothing in the base
    int manager = 0;
    t.setPortHandle(&manager);
    QCOMPARE(t.m_portHandle, static_cast<void*>(&manager));
    for (const QString& s : {t.m_devName, t.m_ipAddr, t.m_manufacturer, t.m_hostConfig1,
                             t.m_hostConfig2, t.m_hostConfig3, t.m_hostConfig4, t.m_hostConfig5})
        QVERIFY(s.isEmpty());
}

void TestInterface::flushDataMerges()
{
    CollectThread t;
    t.flushData({{5, 1.5}, {2022, 3}});
    t.flushData({{5, 2.0}});
    QMutexLocker locker(&t.m_infoLock);
    QCOMPARE(t.m_upsInfo.size(), 2);
    QCOMPARE(t.m_upsInfo.value("5").toDouble(), 2.0);
    QCOMPARE(t.m_upsInfo.value("2022").toInt(), 3);
}

void TestInterface::flushDataEmptyKeepsMap()
{
    CollectThread t;
    t.flushUpsInfo("name", "UPS1");
    t.flushData({{4184, 42.0f}});
    const QMap<QString, QVariant> before = t.m_upsInfo;
    t.flushData({});
    QCOMPARE(t.m_upsInfo, before);
}

void TestInterface::flushDataKeys_data()
{
    QTest::addColumn<QList<int>>("present");   // ids already in the map, with value -1
    QTest::addColumn<QList<int>>("ids");       // ids flushed, each with value id * 10

    QTest::newRow("into an empty map") << QList<int>() << QList<int>{3, 2000, 4275};
    QTest::newRow("all present, same digits") << QList<int>{2000, 2001, 2002} << QList<int>{2000, 2001, 2002};
    QTest::newRow("digit count changes") << QList<int>{9, 10, 99, 100}
                                         << QList<int>{8, 9, 10, 11, 99, 100, 1000, 10000};
    QTest::newRow("gaps and new ids between present ones") << QList<int>{2000, 2002, 2004, 3000}
                                                           << QList<int>{2001, 2002, 2003, 2999, 3000, 3001};
    QTest::newRow("negative ids and extremes") << QList<int>{-1, 0}
                                               << QList<int>{INT_MIN, -10, -1, 0, 7, INT_MAX};
}

// Every flushed id lands under its decimal text with its new value, present
// entries that were not flushed keep theirs, and nothing else appears.
void TestInterface::flushDataKeys()
{
    QFETCH(QList<int>, present);
    QFETCH(QList<int>, ids);
    CollectThread t;
    t.flushUpsInfo("name", "UPS1");
    QMap<QString, QVariant> expected{{"name", "UPS1"}};
    QMap<int, QVariant> first;
    for (int id : present) {
        first.insert(id, -1);
        expected.insert(QString::number(id), -1);
    }
    t.flushData(first);
    QMap<int, QVariant> data;
    for (int id : ids) {
        data.insert(id, qint64(id) * 10);
        expected.insert(QString::number(id), qint64(id) * 10);
    }
    t.flushData(data);
    QMutexLocker locker(&t.m_infoLock);
    QCOMPARE(t.m_upsInfo, expected);
}

void TestInterface::flushUpsInfoReplaces()
{
    CollectThread t;
    t.flushUpsInfo("state", 1);
    t.flushUpsInfo("state", 0);
    QCOMPARE(t.m_upsInfo.value("state").toInt(), 0);
    QCOMPARE(t.m_upsInfo.size(), 1);
    // The information lock is free again after each writer.
    QVERIFY(t.m_infoLock.tryLock());
    t.m_infoLock.unlock();
}

void TestInterface::sideMapIsSeparate()
{
    CollectThread t;
    QVERIFY(QMetaObject::invokeMethod(&t, "flushUpsInfoSLot", Q_ARG(QString, "portInfo"), Q_ARG(QVariant, "x")));
    QCOMPARE(t.m_sideInfo.value("portInfo").toString(), QString("x"));
    QVERIFY(t.m_upsInfo.isEmpty());
}

// A collector that records which virtual a slot call reached.
class RecordingThread : public CollectThread
{
public:
    QStringList calls;
    int control(int id, QString value) override { calls << QString("control %1 %2").arg(id).arg(value); return 9; }
    void loadConfig() override { calls << "loadConfig"; }
    void poll() override { calls << "poll"; }
    int getWorkState() override { calls << "getWorkState"; return 4; }
};

void TestInterface::slotsDispatchToVirtuals()
{
    RecordingThread t;
    int result = 0;
    QVERIFY(QMetaObject::invokeMethod(&t, "control", Q_RETURN_ARG(int, result), Q_ARG(int, 1009), Q_ARG(QString, "")));
    QCOMPARE(result, 9);
    QVERIFY(QMetaObject::invokeMethod(&t, "loadConfig"));
    QVERIFY(QMetaObject::invokeMethod(&t, "poll"));
    QVERIFY(QMetaObject::invokeMethod(&t, "getWorkState", Q_RETURN_ARG(int, result)));
    QCOMPARE(result, 4);
    QCOMPARE(t.calls, QStringList({"control 1009 ", "loadConfig", "poll", "getWorkState"}));
}

void TestInterface::viewDefaults()
{
    CollectView v;
    v.setName("UPS1");
    v.setLanguage(1);
    v.setUserInfo("admin", 2);
    v.flushData({{4184, 10}});
    v.flushUpsInfo("name", "x");
    QCOMPARE(v.m_name, QString("UPS1"));
    QCOMPARE(v.m_language, 1);
    QCOMPARE(v.m_user, QString("admin"));
    QCOMPARE(v.m_userLevel, 2);
    QCOMPARE(v.m_data.value(4184).toInt(), 10);
    QCOMPARE(v.m_info.value("name").toString(), QString("x"));
}

void TestInterface::viewControlRecord_data()
{
    QTest::addColumn<int>("id");
    QTest::addColumn<QString>("value");
    QTest::newRow("buzzer with argument") << 7 << "1";
    QTest::newRow("download history") << 1045 << "/tmp/history.csv";
    QTest::newRow("empty value") << 1010 << "";
}

void TestInterface::viewControlRecord()
{
    QFETCH(int, id);
    QFETCH(QString, value);
    CollectView v;
    v.setName("UPS7");
    QSignalSpy spy(&v, &CollectView::postDEvent);
    v.control(id, value);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toInt(), id);
    const auto record = spy.at(0).at(1).value<QMap<QString, QVariant>>();
    QCOMPARE(record.keys(), QStringList({"controlId", "controlValue", "name"}));
    QCOMPARE(record.value("name").type(), QVariant::String);
    QCOMPARE(record.value("name").toString(), QString("UPS7"));
    QCOMPARE(record.value("controlId").type(), QVariant::Int);
    QCOMPARE(record.value("controlId").toInt(), id);
    QCOMPARE(record.value("controlValue").type(), QVariant::String);
    QCOMPARE(record.value("controlValue").toString(), value);
}

QTEST_MAIN(TestInterface)
#include "tst_client_interface.moc"
