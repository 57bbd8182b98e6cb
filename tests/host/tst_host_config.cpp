// The host's reading of param.ini / dev.ini and the history code map it installs.

#include <QTemporaryDir>
#include <QtTest>

#include "HistoryCodeMap.h"
#include "HostConfig.h"

class tst_host_config : public QObject
{
    Q_OBJECT
private slots:
    void dbDir_data();
    void dbDir();
    void units_data();
    void units();
    void unitSettings();
    void missingFiles_data();
    void missingFiles();
    void codeMapRender_data();
    void codeMapRender();
    void codeMapInstallKeepsExisting();

private:
    static void write(const QString& path, const QByteArray& text)
    {
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(text);
    }
};

void tst_host_config::dbDir_data()
{
    QTest::addColumn<QString>("appDir");
    QTest::addColumn<QString>("dir");
    QTest::newRow("unix") << "/opt/ups/bin" << "/opt/ups/bin/PVMX/drovaPanel/db";
    QTest::newRow("backslashes") << "C:\\ups\\bin" << "C:/ups/bin/PVMX/drovaPanel/db";
}

void tst_host_config::dbDir()
{
    QFETCH(QString, appDir);
    QFETCH(QString, dir);
    QCOMPARE(HostConfig::dbDir(appDir), dir);
}

void tst_host_config::units_data()
{
    QTest::addColumn<QByteArray>("param");
    QTest::addColumn<QStringList>("units");
    QTest::addColumn<int>("logInterval");
    QTest::addColumn<int>("answerTimeout");

    QTest::newRow("two") << QByteArray("[host]\nunits=UPS1,UPS2\n") << QStringList{"UPS1", "UPS2"} << 60 << 30;
    QTest::newRow("one") << QByteArray("[host]\nunits=UPS1\n") << QStringList{"UPS1"} << 60 << 30;
    QTest::newRow("blanks and repeats") << QByteArray("[host]\nunits= UPS1 , UPS2,UPS1,\n")
                                        << QStringList{"UPS1", "UPS2"} << 60 << 30;
    QTest::newRow("intervals") << QByteArray("Language=0\n[host]\nunits=A\nlogInterval=5\nanswerTimeout=7\n")
                               << QStringList{"A"} << 5 << 7;
    QTest::newRow("zero interval clamped") << QByteArray("[host]\nunits=A\nlogInterval=0\n")
                                           << QStringList{"A"} << 1 << 30;
    QTest::newRow("none") << QByteArray("Language=0\n") << QStringList{} << 60 << 30;
    QTest::newRow("empty list") << QByteArray("[host]\nunits=\n") << QStringList{} << 60 << 30;
}

void tst_host_config::units()
{
    QFETCH(QByteArray, param);
    QFETCH(QStringList, units);
    QFETCH(int, logInterval);
    QFETCH(int, answerTimeout);

    QTemporaryDir dir;
    write(dir.filePath("param.ini"), param);
    write(dir.filePath("dev.ini"), "");
    HostConfig config;
    QString error;
    QCOMPARE(config.load(dir.path(), &error), !units.isEmpty());
    QCOMPARE(config.units(), units);
    if (units.isEmpty()) {
        QVERIFY(error.contains("units="));
        return;
    }
    QCOMPARE(config.logInterval(), logInterval);
    QCOMPARE(config.answerTimeout(), answerTimeout);
}

void tst_host_config::unitSettings()
{
    QTemporaryDir dir;
    write(dir.filePath("param.ini"), "[host]\nunits=TCP,SER,BARE\n");
    write(dir.filePath("dev.ini"),
          "[TCP]\ncommType=1\nipAddr=127.0.0.1\nport=1502\naddr=3\ninterval=2\nretries=4\n"
          "[SER]\nportName=/dev/ttyUSB0\naddr=2\n");
    HostConfig config;
    QString error;
    QVERIFY2(config.load(dir.path(), &error), qPrintable(error));
    const auto& u = config.unitSettings();
    QCOMPARE(u.size(), 3);
    QCOMPARE(u[0].target(), QString("tcp 127.0.0.1:1502 addr 3"));
    QCOMPARE(u[0].interval, 2);
    QCOMPARE(u[0].retries, 4);
    QCOMPARE(u[1].target(), QString("serial /dev/ttyUSB0 addr 2"));
    // The plugin's own defaults for a unit without a group.
    QCOMPARE(u[2].target(), QString("serial COM1 addr 1"));
    QCOMPARE(u[2].commType, 0);
    QCOMPARE(u[2].tcpPort, 502);
    QCOMPARE(u[2].interval, 5);
    QCOMPARE(u[2].retries, 5);
}

void tst_host_config::missingFiles_data()
{
    QTest::addColumn<bool>("param");
    QTest::addColumn<bool>("dev");
    QTest::addColumn<QString>("missing");
    QTest::newRow("no param.ini") << false << true << "param.ini";
    QTest::newRow("no dev.ini") << true << false << "dev.ini";
    QTest::newRow("neither") << false << false << "param.ini";
}

void tst_host_config::missingFiles()
{
    QFETCH(bool, param);
    QFETCH(bool, dev);
    QFETCH(QString, missing);

    QTemporaryDir dir;
    if (param)
        write(dir.filePath("param.ini"), "[host]\nunits=UPS1\n");
    if (dev)
        write(dir.filePath("dev.ini"), "");
    HostConfig config;
    QString error;
    QVERIFY(!config.load(dir.path(), &error));
    QVERIFY2(error.contains(dir.filePath(missing)), qPrintable(error));
    QVERIFY(error.contains("does not exist"));
}

void tst_host_config::codeMapRender_data()
{
    QTest::addColumn<QStringList>("catalogue");
    QTest::addColumn<QString>("map");

    QTest::newRow("pairs") << QStringList{"A", "", "C", "A disappear", "", "C disappear"}
                           << "0,A,\n2,C,\n";
    QTest::newRow("comma and blanks") << QStringList{" x, y ", "x, y disappear"} << "0,x; y,\n";
    QTest::newRow("all reserved") << QStringList{"", ""} << "";
    QTest::newRow("empty") << QStringList{} << "";
}

void tst_host_config::codeMapRender()
{
    QFETCH(QStringList, catalogue);
    QFETCH(QString, map);
    QCOMPARE(HistoryCodeMap::render(catalogue), map);
}

void tst_host_config::codeMapInstallKeepsExisting()
{
    QTemporaryDir dir;
    const QString path = dir.filePath("db/historycodemap.csv");
    bool written = false;
    QString error;
    QVERIFY(HistoryCodeMap::install(path, {"A", "A disappear"}, &written, &error));
    QVERIFY(written);
    QFile f(path);
    QVERIFY(f.open(QIODevice::ReadOnly));
    QCOMPARE(f.readAll(), QByteArray("0,A,\n"));
    f.close();

    // A map already in place (a site's own) is left alone.
    write(path, "0,own,eigen\n");
    QVERIFY(HistoryCodeMap::install(path, {"B", "B disappear"}, &written, &error));
    QVERIFY(!written);
    QVERIFY(f.open(QIODevice::ReadOnly));
    QCOMPARE(f.readAll(), QByteArray("0,own,eigen\n"));
}

QTEST_GUILESS_MAIN(tst_host_config)
#include "tst_host_config.moc"
