#include "CommTestSupport.h"
#include "PortManage.h"
#include "SerialPort.h"

#include <QElapsedTimer>
#include <QFile>
#include <QSettings>
#include <QtTest>

#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <thread>

// The port manager with pseudo-terminals as serial ports and no USB HID
// device attached.

namespace {

void writeIni(const QString& name, const QString& param, int timeout)
{
    QSettings ini(QStringLiteral("serial.ini"), QSettings::IniFormat);
    ini.setValue(name + QStringLiteral("/param"), param);
    ini.setValue(name + QStringLiteral("/timeout"), timeout);
}

} // namespace

class TestPortManage : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();
    void samePortForSameName();
    void settingsFromIni_data();
    void settingsFromIni();
    void iniReadOnFirstRequestAndReOpen();
    void tickClosesAndNextRequestReopens();
    void closeNeverRequested();
    void missingDeviceStaysInTable();
    void tickWaitsForPortLock();
    void hidWithoutDevice_data();
    void hidWithoutDevice();
    void singleton();
    void metaTypeRegistered();

private:
    PortManage* m_manager = nullptr;
};

void TestPortManage::initTestCase()
{
    QtMessageHandler previous = qInstallMessageHandler(captureMessages);
    Q_UNUSED(previous)
}

void TestPortManage::init()
{
    QFile::remove(QStringLiteral("serial.ini"));
    g_messages.clear();
    m_manager = new PortManage;
}

void TestPortManage::cleanup()
{
    delete m_manager;
    m_manager = nullptr;
}

void TestPortManage::samePortForSameName()
{
    Pty pty;
    SerialPort* first = m_manager->getPortHandle(pty.path);
    QVERIFY(first != nullptr);
    QVERIFY(first->isOpen());
    QCOMPARE(m_manager->getPortHandle(pty.path), first);
    Pty other;
    SerialPort* second = m_manager->getPortHandle(other.path);
    QVERIFY(second != nullptr);
    QVERIFY(second != first);
}

void TestPortManage::settingsFromIni_data()
{
    QTest::addColumn<bool>("inIni");
    QTest::addColumn<QString>("param");
    QTest::addColumn<int>("timeout");
    QTest::addColumn<uint>("speed");
    QTest::addColumn<int>("vtime");
    QTest::newRow("absent: defaults") << false << QString() << 0 << uint(B9600) << 10;
    QTest::newRow("19200, 500 ms") << true << "19200,e,8,1" << 500 << uint(B19200) << 5;
    QTest::newRow("enum values, 2 s") << true << "19#3#0#0" << 2000 << uint(B115200) << 20;
}

void TestPortManage::settingsFromIni()
{
    QFETCH(bool, inIni);
    QFETCH(QString, param);
    QFETCH(int, timeout);
    QFETCH(uint, speed);
    QFETCH(int, vtime);
    Pty pty;
    if (inIni)
        writeIni(pty.path, param, timeout);
    SerialPort* port = m_manager->getPortHandle(pty.path);
    QVERIFY(port != nullptr);
    QCOMPARE(port->getPortSettings(), inIni ? param : QStringLiteral("9600,n,8,1"));
    const termios tio = pty.attributes();
    QCOMPARE(uint(cfgetospeed(&tio)), speed);
    QCOMPARE(int(tio.c_cc[VTIME]), vtime);
}

void TestPortManage::iniReadOnFirstRequestAndReOpen()
{
    Pty pty;
    writeIni(pty.path, QStringLiteral("4800,n,8,1"), 300);
    SerialPort* port = m_manager->getPortHandle(pty.path);
    writeIni(pty.path, QStringLiteral("38400,n,8,1"), 800);
    QCOMPARE(m_manager->getPortHandle(pty.path), port);
    QCOMPARE(port->getPortSettings(), QStringLiteral("4800,n,8,1"));
    termios tio = pty.attributes();
    QCOMPARE(uint(cfgetospeed(&tio)), uint(B4800));

    QCOMPARE(m_manager->ReOpen(pty.path), port);
    QVERIFY(port->isOpen());
    QCOMPARE(port->getPortSettings(), QStringLiteral("38400,n,8,1"));
    tio = pty.attributes();
    QCOMPARE(uint(cfgetospeed(&tio)), uint(B38400));
    QCOMPARE(int(tio.c_cc[VTIME]), 8);
}

void TestPortManage::tickClosesAndNextRequestReopens()
{
    Pty first;
    Pty second;
    SerialPort* a = m_manager->getPortHandle(first.path);
    SerialPort* b = m_manager->getPortHandle(second.path);
    QVERIFY(a->isOpen() && b->isOpen());
    m_manager->timerProc();
    QVERIFY(!a->isOpen());
    QVERIFY(!b->isOpen());
    QCOMPARE(a->used, 0);
    QCOMPARE(m_manager->getPortHandle(first.path), a);
    QVERIFY(a->isOpen());
    QVERIFY(!b->isOpen());
    // A port marked as used survives one tick, which clears the mark.
    a->used = 1;
    m_manager->timerProc();
    QVERIFY(a->isOpen());
    QCOMPARE(a->used, 0);
    m_manager->timerProc();
    QVERIFY(!a->isOpen());
}

void TestPortManage::closeNeverRequested()
{
    Pty pty;
    m_manager->Close(pty.path);
    // The entry exists: the same object comes back, re-opened.
    g_messages.clear();
    SerialPort* port = m_manager->getPortHandle(pty.path);
    QVERIFY(port != nullptr);
    QVERIFY(port->isOpen());
    QVERIFY(g_messages.filter(QStringLiteral("打开标准串口")).isEmpty());   // no fresh CommOpen
    m_manager->Close(pty.path);
    QVERIFY(!port->isOpen());
    QCOMPARE(m_manager->getPortHandle(pty.path), port);
    QVERIFY(port->isOpen());
}

void TestPortManage::missingDeviceStaysInTable()
{
    const QString name = QStringLiteral("/dev/vek5-absent-port");
    SerialPort* port = m_manager->getPortHandle(name);
    QVERIFY(port != nullptr);
    QVERIFY(!port->isOpen());
    QCOMPARE(m_manager->getPortHandle(name), port);
    QCOMPARE(m_manager->ReOpen(name), port);
    QVERIFY(!port->isOpen());
    m_manager->Close(name);
    m_manager->timerProc();
    QVERIFY(!QFile::exists(name));
}

void TestPortManage::tickWaitsForPortLock()
{
    Pty pty;
    SerialPort* port = m_manager->getPortHandle(pty.path);
    QVERIFY(port->isOpen());
    std::atomic<bool> locked { false };
    std::atomic<bool> openAtRelease { false };
    std::thread query([&] {
        port->Lock();
        locked = true;
        QThread::msleep(300);
        openAtRelease = port->isOpen();
        port->UnLock();
    });
    while (!locked)
        QThread::msleep(1);
    QElapsedTimer clock;
    clock.start();
    m_manager->timerProc();
    const qint64 waited = clock.elapsed();
    query.join();
    QVERIFY(openAtRelease);
    QVERIFY2(waited >= 250, qPrintable(QString::number(waited)));
    QVERIFY(!port->isOpen());
    // The lock is free again: a request re-opens without waiting.
    clock.restart();
    QCOMPARE(m_manager->getPortHandle(pty.path), port);
    QVERIFY(port->isOpen());
    QVERIFY(clock.elapsed() < 250);
}

void TestPortManage::hidWithoutDevice_data()
{
    QTest::addColumn<int>("vendor");
    QTest::addColumn<int>("product");
    QTest::newRow("plain ids") << 0x0665 << 0x5161;
    QTest::newRow("ids past 16 bits") << 0x30665 << 0x15161;
    QTest::newRow("zero ids") << 0 << 0;
}

void TestPortManage::hidWithoutDevice()
{
    QFETCH(int, vendor);
    QFETCH(int, product);
    CommHandle* entry = m_manager->getPortHandle(vendor, product);
    QVERIFY(entry != nullptr);
    QCOMPARE(entry->kind, int(CommKindHid));
    QVERIFY(entry->device == nullptr);
    QCOMPARE(m_manager->getPortHandle(vendor, product), entry);
    QVERIFY(entry->device == nullptr);

    g_messages.clear();
    QCOMPARE(m_manager->ReOpen(vendor, product), entry);
    QVERIFY(entry->device == nullptr);
    QCOMPARE(g_messages.filter(QStringLiteral("ReOpen")).size(), 1);
    QVERIFY(g_messages.filter(QStringLiteral("ReOpen")).first().startsWith(QStringLiteral("ReOpen ")));

    m_manager->Close(vendor, product);
    QVERIFY(entry->device == nullptr);
    // A serial tick leaves HID entries alone.
    m_manager->timerProc();
    QCOMPARE(m_manager->getPortHandle(vendor, product), entry);
    QCOMPARE(entry->kind, int(CommKindHid));
}

void TestPortManage::singleton()
{
    PortManage* first = PortManage::instance();
    QVERIFY(first != nullptr);
    QCOMPARE(PortManage::instance(), first);
    std::atomic<PortManage*> fromThread { nullptr };
    std::thread other([&] { fromThread = PortManage::instance(); });
    other.join();
    QCOMPARE(fromThread.load(), first);
    delete first;
    // Created anew once the old one is gone.
    PortManage* again = PortManage::instance();
    QVERIFY(again != nullptr);
    delete again;
}

void TestPortManage::metaTypeRegistered()
{
    const int id = QMetaType::type("QMap<QString,SerialPort*>");
    QVERIFY(id != QMetaType::UnknownType);
    QMap<QString, SerialPort*> ports;
    SerialPort port;
    ports.insert(QStringLiteral("/dev/ttyS0"), &port);
    const QVariant value = QVariant::fromValue(ports);
    QCOMPARE(value.userType(), id);
    // Walkable as an associative container inside the variant.
    QVERIFY(value.canConvert<QVariantMap>());
    const QVariantMap asMap = value.value<QVariantMap>();
    QCOMPARE(asMap.keys(), QStringList { QStringLiteral("/dev/ttyS0") });
    QCOMPARE(asMap.value(QStringLiteral("/dev/ttyS0")).value<SerialPort*>(), &port);
}

QTEST_GUILESS_MAIN(TestPortManage)
#include "tst_comm_portmanage.moc"
