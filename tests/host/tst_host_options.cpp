// Command line of upsmon-host.

#include <QtTest>

#include "HostOptions.h"

using Commands = QList<QPair<int, QString>>;
Q_DECLARE_METATYPE(Commands)

class tst_host_options : public QObject
{
    Q_OBJECT
private slots:
    void parse_data();
    void parse();
    void rejects_data();
    void rejects();
    void help();
};

void tst_host_options::parse_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<bool>("display");
    QTest::addColumn<bool>("headless");
    QTest::addColumn<bool>("json");
    QTest::addColumn<int>("duration");
    QTest::addColumn<int>("level");
    QTest::addColumn<QString>("datalog");
    QTest::addColumn<Commands>("commands");

    QTest::newRow("window by default") << QStringList{} << true << false << false << 0 << 2 << "" << Commands{};
    QTest::newRow("no display means headless") << QStringList{} << false << true << false << 0 << 2 << "" << Commands{};
    QTest::newRow("headless json") << QStringList{"--headless", "--json", "--duration", "20"}
                                   << true << true << true << 20 << 2 << "" << Commands{};
    QTest::newRow("datalog and level") << QStringList{"--datalog", "/tmp/d.csv", "--level=0"}
                                       << true << false << false << 0 << 0 << "/tmp/d.csv" << Commands{};
    QTest::newRow("commands") << QStringList{"--command", "1010", "--command", "1045:/tmp/h.csv",
                                             "--command", "2016:3017,16"}
                              << false << true << false << 0 << 2 << ""
                              << Commands{{1010, ""}, {1045, "/tmp/h.csv"}, {2016, "3017,16"}};
    QTest::newRow("value keeps colons") << QStringList{"--command", "1011:2026-01-02 03:04:05"}
                                        << false << true << false << 0 << 2 << ""
                                        << Commands{{1011, "2026-01-02 03:04:05"}};
}

void tst_host_options::parse()
{
    QFETCH(QStringList, args);
    QFETCH(bool, display);
    QFETCH(bool, headless);
    QFETCH(bool, json);
    QFETCH(int, duration);
    QFETCH(int, level);
    QFETCH(QString, datalog);
    QFETCH(Commands, commands);

    HostOptions o;
    QString error, help;
    QVERIFY2(HostOptions::parse(QStringList{"upsmon-host"} + args, display, &o, &error, &help),
             qPrintable(error));
    QVERIFY(help.isEmpty());
    QCOMPARE(o.headless, headless);
    QCOMPARE(o.json, json);
    QCOMPARE(o.duration, duration);
    QCOMPARE(o.userLevel, level);
    QCOMPARE(o.dataLogPath, datalog);
    QCOMPARE(o.commands, commands);
}

void tst_host_options::rejects_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QString>("mentions");

    QTest::newRow("unknown option") << QStringList{"--frobnicate"} << "frobnicate";
    QTest::newRow("duration text") << QStringList{"--duration", "ten"} << "--duration";
    QTest::newRow("duration zero") << QStringList{"--duration", "0"} << "--duration";
    QTest::newRow("level 3") << QStringList{"--level", "3"} << "--level";
    QTest::newRow("level negative") << QStringList{"--level", "-1"} << "--level";
    QTest::newRow("log interval") << QStringList{"--log-interval", "0"} << "--log-interval";
    QTest::newRow("command no id") << QStringList{"--command", ":x"} << "--command";
    QTest::newRow("command text id") << QStringList{"--command", "buzz"} << "--command";
    QTest::newRow("missing value") << QStringList{"--datalog"} << "datalog";
    QTest::newRow("positional") << QStringList{"extra"} << "extra";
}

void tst_host_options::rejects()
{
    QFETCH(QStringList, args);
    QFETCH(QString, mentions);

    HostOptions o;
    QString error, help;
    QVERIFY(!HostOptions::parse(QStringList{"upsmon-host"} + args, true, &o, &error, &help));
    QVERIFY2(error.contains(mentions), qPrintable(error));
}

void tst_host_options::help()
{
    HostOptions o;
    QString error, help;
    QVERIFY(HostOptions::parse({"upsmon-host", "--help"}, true, &o, &error, &help));
    for (const char* opt : {"--plugin", "--driver", "--headless", "--json", "--datalog", "--duration",
                            "--command", "--level"})
        QVERIFY2(help.contains(QLatin1String(opt)), opt);
}

QTEST_GUILESS_MAIN(tst_host_options)
#include "tst_host_options.moc"
