// What the host makes of its configuration before any unit runs (the checks
// of param.ini / dev.ini), and the filter of its log.

#include <QTemporaryDir>
#include <QtTest>

#include "HostConfig.h"
#include "LogFilter.h"

class tst_host_config : public QObject
{
    Q_OBJECT
private slots:
    void check_data();
    void check();
    void logFilter_data();
    void logFilter();
};

void tst_host_config::check_data()
{
    QTest::addColumn<QByteArray>("param");
    QTest::addColumn<QByteArray>("dev");
    QTest::addColumn<QString>("result");    // load error, or the problems: "where key|where key|..."
    QTest::addColumn<QString>("units");     // "NAME:target:poll" of the units that may start

    const QByteArray tcp = "[UPS1]\ncommType=1\nipAddr=10.0.0.5\nport=502\naddr=3\ninterval=5\n";
    QTest::newRow("good") << QByteArray("[host]\nunits=UPS1\n") << tcp << "" << "UPS1:tcp 10.0.0.5:502 addr 3:interval";
    QTest::newRow("blanks and repeats") << QByteArray("[host]\nunits= UPS1 , UPS1,\npollMode=timer\n") << tcp << ""
        << "UPS1:tcp 10.0.0.5:502 addr 3:timer";
    QTest::newRow("unit overrides pollMode") << QByteArray("[host]\nunits=UPS1\npollMode=timer\n")
        << tcp + "pollMode=interval\n" << "" << "UPS1:tcp 10.0.0.5:502 addr 3:interval";
    QTest::newRow("serial device present") << QByteArray("[host]\nunits=S\n")
        << QByteArray("[S]\nportName=/dev/null\naddr=247\n") << "" << "S:serial /dev/null addr 247:interval";
    QTest::newRow("no units") << QByteArray("[host]\nlogInterval=5\n") << tcp << "error:no unit configured" << "";
    QTest::newRow("group missing") << QByteArray("[host]\nunits=UPS1,UPSX\n") << tcp << "[UPSX] for unit"
        << "UPS1:tcp 10.0.0.5:502 addr 3:interval";
    QTest::newRow("bad values") << QByteArray("[host]\nunits=B\n")
        << QByteArray("[B]\ncommType=7\nport=abc\naddr=300\ninterval=0\nportName=/dev/nonexistent-tty\n")
        << "[B] commType|[B] addr|[B] interval|[B] port|[B] portName" << "";
    QTest::newRow("tcp without address") << QByteArray("[host]\nunits=T\n")
        << QByteArray("[T]\ncommType=1\nport=0\n") << "[T] port|[T] ipAddr" << "";
    QTest::newRow("host and policy keys") << QByteArray("[host]\nunits=UPS1\npollMode=fast\nmaxAge=1\n"
                                                        "[policy]\nchargeLow=abc\nlowBattery=maybe\n")
        << tcp << "[host] maxAge|[host] pollMode|[policy] chargeLow|[policy] lowBattery"
        << "UPS1:tcp 10.0.0.5:502 addr 3:interval";
}

void tst_host_config::check()
{
    QFETCH(QByteArray, param);
    QFETCH(QByteArray, dev);
    QFETCH(QString, result);
    QFETCH(QString, units);

    QTemporaryDir dir;
    for (const auto& f : {qMakePair(QString("param.ini"), param), qMakePair(QString("dev.ini"), dev)}) {
        QFile file(dir.filePath(f.first));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(f.second);
    }
    HostConfig config;
    QString error;
    const bool loaded = config.load(dir.path(), &error);
    if (result.startsWith("error:")) {
        QVERIFY(!loaded);
        QVERIFY2(error.contains(result.mid(6)), qPrintable(error));
        return;
    }
    QVERIFY2(loaded, qPrintable(error));
    const QStringList problems = config.problems();
    const QStringList wanted = result.split('|', Qt::SkipEmptyParts);
    QCOMPARE(problems.size(), wanted.size());
    for (int i = 0; i < wanted.size(); ++i)
        QVERIFY2(problems.at(i).contains(wanted.at(i)), qPrintable(problems.at(i) + " / " + wanted.at(i)));
    QStringList startable;
    for (const UnitSettings& u : config.unitSettings())
        if (u.problems.isEmpty())
            startable += QStringLiteral("%1:%2:%3").arg(u.name, u.target(),
                                                        u.pollMode == UnitSettings::PollTimer ? "timer" : "interval");
    QCOMPARE(startable.join(' '), units);
}

void tst_host_config::logFilter_data()
{
    QTest::addColumn<QString>("lines");     // "SECONDS[w]:text" separated by '|' (w: a warning)
    QTest::addColumn<QString>("printed");

    QTest::newRow("distinct lines") << "0:a|0:b" << "a|b";
    QTest::newRow("repeats counted") << "0:a|1:a|2:a|59:a|60:a|61:a|121:a" << "a|a (repeated 4 times)|a (repeated 2 times)";
    QTest::newRow("warnings always") << "0w:x|0w:x" << "x|x";
}

void tst_host_config::logFilter()
{
    QFETCH(QString, lines);
    QFETCH(QString, printed);

    LogFilter filter;
    QStringList out;
    for (const QString& l : lines.split('|')) {
        const QString head = l.section(':', 0, 0);
        out += filter.filter(!head.endsWith('w'), l.section(':', 1), QString(head).remove('w').toLongLong() * 1000);
    }
    QCOMPARE(out.join('|'), printed);
}

QTEST_GUILESS_MAIN(tst_host_config)
#include "tst_host_config.moc"
