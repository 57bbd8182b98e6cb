// Files the collector reads and writes, broken: "dev.ini" and "serial.ini"
// unreadable or malformed, the history code map and "history.txt" not files
// or full of noise, the export going to a full disk or nowhere. Nothing may
// crash; what can be used is used, the rest falls back to the defaults.
//
// This program lives in a folder of its own, so that the "dev.ini" under its
// application directory is nobody else's.

#include "DriverFixture.h"
#include "FaultRig.h"
#include "PortManage.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QStandardPaths>
#include <QtTest>

namespace {

constexpr int kCommRestored = 1040;
constexpr int kCommLost = 1041;

const char kCodeMap[] = "PVMX/drovaPanel/db/historycodemap.csv";
const char kHistory[] = "history.txt";

// Noise with every byte value, NULs and line feeds included.
QByteArray noise(int size)
{
    QByteArray bytes(size, '\0');
    for (int i = 0; i < size; ++i)
        bytes[i] = char((i * 151 + 7) & 0xFF);
    return bytes;
}

// Replaces whatever `path` is by a file with `content`, or by a directory
// when `content` is null.
bool plant(const QString& path, const QByteArray& content)
{
    QFile::remove(path);
    QDir(path).removeRecursively();
    if (content.isNull())
        return QDir().mkpath(path);
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(content) == content.size();
}

QString dbDir()
{
    return QCoreApplication::applicationDirPath() + "/PVMX/drovaPanel/db";
}

} // namespace

class tst_faults_files : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void devIni_data();
    void devIni();
    void serialIni_data();
    void serialIni();
    void historyFiles_data();
    void historyFiles();
};

void tst_faults_files::initTestCase()
{
    QVERIFY(QDir().mkpath(dbDir()));
    QVERIFY(QDir().mkpath("PVMX/drovaPanel/db"));
}

void tst_faults_files::devIni_data()
{
    QTest::addColumn<QByteArray>("content");   // null: a directory in its place
    QTest::addColumn<int>("retries");
    QTest::addColumn<int>("interval");
    QTest::addColumn<int>("address");
    QTest::addColumn<QString>("portName");

    QTest::newRow("a directory") << QByteArray() << 5 << 5 << 1 << "COM1";
    QTest::newRow("noise") << noise(4096) << 5 << 5 << 1 << "COM1";
    QTest::newRow("another unit's group only") << QByteArray("[OTHER]\nretries=9\n") << 5 << 5 << 1 << "COM1";
    QTest::newRow("cut off mid-line") << QByteArray("[UNIT]\nretries=3\nportName=/dev/ttyS1\naddr")
                                      << 3 << 5 << 1 << "/dev/ttyS1";
    QTest::newRow("words for numbers") << QByteArray("[UNIT]\nretries=many\ninterval=\naddr=x\n")
                                       << 0 << 0 << 0 << "COM1";
}

// Without a port manager the configuration is read but no port is opened.
void tst_faults_files::devIni()
{
    QFETCH(QByteArray, content);
    QFETCH(int, retries);
    QFETCH(int, interval);
    QFETCH(int, address);
    QFETCH(QString, portName);
    QVERIFY(plant(dbDir() + "/dev.ini", content));
    vek5Client client;
    client.m_devName = "UNIT";
    client.loadConfig();
    QCOMPARE(client.m_retries, retries);
    QCOMPARE(client.m_interval, interval);
    QCOMPARE(client.m_devAddr, address);
    QCOMPARE(client.m_portName, portName);
    QCOMPARE(client.m_commType, 0);
    QVERIFY(plant(dbDir() + "/dev.ini", ""));
}

void tst_faults_files::serialIni_data()
{
    QTest::addColumn<QByteArray>("content");   // null: a directory; "%1" stands for the port
    QTest::addColumn<bool>("answers");
    // A port name of its own per row: the port manager reads "serial.ini"
    // when it first meets a name.
    QTest::addColumn<QString>("line");

    QTest::newRow("a directory") << QByteArray() << true << "ttyCFG0";
    QTest::newRow("noise") << noise(2048) << true << "ttyCFG1";
    QTest::newRow("unknown parity") << QByteArray("%1/param=9600,x,8,1\n") << false << "ttyCFG2";
    QTest::newRow("three fields") << QByteArray("%1/param=9600,n,8\n") << false << "ttyCFG3";
    QTest::newRow("timeout not a number") << QByteArray("%1/param=9600,n,8,1\n%1/timeout=soon\n") << true
                                          << "ttyCFG4";
}

// The port's settings come from "serial.ini": settings that cannot be used
// leave the port closed and the unit is reported lost; an unreadable file
// gives the defaults and the unit answers.
void tst_faults_files::serialIni()
{
    QFETCH(QByteArray, content);
    QFETCH(bool, answers);
    QFETCH(QString, line);
    if (QStandardPaths::findExecutable("socat").isEmpty())
        QSKIP("socat is not installed");
    PtyPair pair;
    QVERIFY(pair.start(line, line + "u"));
    if (content.contains("%1")) {
        // QSettings keeps the slashes of the port path as nested groups.
        QFile::remove("serial.ini");
        QDir("serial.ini").removeRecursively();
        QSettings ini("serial.ini", QSettings::IniFormat);
        for (const QByteArray& line : content.split('\n')) {
            const int eq = line.indexOf('=');
            if (eq > 0)
                ini.setValue(QString::fromUtf8(line.left(eq)).arg(pair.a()), QString::fromUtf8(line.mid(eq + 1)));
        }
    } else {
        QVERIFY(plant("serial.ini", content));
    }
    SimProcess sim;
    QVERIFY2(sim.start({"--no-tcp", "--rtu", pair.b() + ",9600,N,8,1", "--speed", "0"}), qPrintable(sim.output()));
    RunningCollector unit;
    unit.client().m_portHandle = PortManage::instance();
    unit.startSerial(pair.a(), 2);
    EventLog& log = unit.log();
    const int expected = answers ? kCommRestored : kCommLost;
    QVERIFY2(log.waitFor(expected, 0, 5000) >= 0, "expected event not seen");
    QTest::qWait(500);
    QVERIFY(unit.stop());
    QCOMPARE(log.times(kCommRestored).isEmpty(), !answers);
    QCOMPARE(log.times(kCommLost).isEmpty(), answers);
    QFile::remove("serial.ini");
    QDir("serial.ini").removeRecursively();
}

void tst_faults_files::historyFiles_data()
{
    QTest::addColumn<QByteArray>("codeMap");   // null: a directory
    QTest::addColumn<QByteArray>("history");   // null: a directory
    QTest::addColumn<QString>("exportPath");
    QTest::addColumn<QStringList>("rows");     // expected after the header; empty list: no file

    const QByteArray line("12 1 24 3 5 7 8 9\n");
    const QString out = "export.csv";
    QTest::newRow("code map a directory") << QByteArray() << line << out
                                          << QStringList{"12,12,Appear,2024-03-05 07:08:09,"};
    QTest::newRow("code map noise around a good row")
        << noise(3000) + "\n12,text A,text B\n" + noise(3000) << line << out
        << QStringList{"12,text B,Appear,2024-03-05 07:08:09,"};
    QTest::newRow("code map one huge line") << QByteArray(1 << 20, 'x') << line << out
                                            << QStringList{"12,12,Appear,2024-03-05 07:08:09,"};
    QTest::newRow("history a directory") << QByteArray("12,text A,\n") << QByteArray() << out << QStringList{};
    QTest::newRow("history noise and short lines")
        << QByteArray("12,text A,\n") << noise(5000) + "\n1 2 3\n\n" + line + "12 0 24 3 5 7 8\n" << out
        << QStringList{"12,text A,Appear,2024-03-05 07:08:09,"};
    QTest::newRow("history numbers too large")
        << QByteArray("12,text A,\n") << QByteArray("99999999999 1 24 3 5 7 8 9\n") << out
        << QStringList{"0,0,Appear,2024-03-05 07:08:09,"};
    QTest::newRow("export to a full disk") << QByteArray("12,text A,\n") << line << "/dev/full" << QStringList{};
    QTest::newRow("export into a missing folder") << QByteArray("12,text A,\n") << line << "no/such/dir.csv"
                                                  << QStringList{};
}

// The export reads what it can; "history.txt" is emptied whatever becomes
// of the export, as the download consumes it.
void tst_faults_files::historyFiles()
{
    QFETCH(QByteArray, codeMap);
    QFETCH(QByteArray, history);
    QFETCH(QString, exportPath);
    QFETCH(QStringList, rows);
    QVERIFY(plant(kCodeMap, codeMap));
    QVERIFY(plant(kHistory, history));
    QFile::remove("export.csv");
    vek5Client client;
    client.exportHistoryInfo(exportPath);

    QFile exported("export.csv");
    if (exportPath != "export.csv" || history.isNull()) {
        if (exportPath == "export.csv") {
            QVERIFY(exported.open(QIODevice::ReadOnly));
            QCOMPARE(exported.readAll(), QByteArray("ID,Content,Status,Time,\n"));
        } else {
            QVERIFY(!exported.exists());
        }
    } else {
        QVERIFY(exported.open(QIODevice::ReadOnly));
        const QStringList lines = QString::fromLocal8Bit(exported.readAll()).split('\n');
        QCOMPARE(lines.first(), QString("ID,Content,Status,Time,"));
        QCOMPARE(lines.mid(1, lines.size() - 2), rows);
        QCOMPARE(lines.last(), QString());
    }
    if (!history.isNull())
        QCOMPARE(QFileInfo(kHistory).size(), 0);
    QDir(kHistory).removeRecursively();
    QFile::remove(kHistory);
    QDir(kCodeMap).removeRecursively();
    QFile::remove(kCodeMap);
}

QTEST_GUILESS_MAIN(tst_faults_files)
#include "tst_faults_files.moc"
