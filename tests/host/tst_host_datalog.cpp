// The data-log CSV file.

#include <QTemporaryDir>
#include <QtTest>

#include "DataLog.h"

class tst_host_datalog : public QObject
{
    Q_OBJECT
private slots:
    void csvField_data();
    void csvField();
    void rows_data();
    void rows();
    void reopenKeepsHeaderOnce();
    void unwritablePath();

private:
    static QStringList readLines(const QString& path)
    {
        QFile f(path);
        if (!f.open(QIODevice::ReadOnly))
            return {};
        return QString::fromUtf8(f.readAll()).split('\n');
    }
};

void tst_host_datalog::csvField_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("field");

    QTest::newRow("plain") << "220.0/221.1/220.0" << "220.0/221.1/220.0";
    QTest::newRow("empty") << "" << "";
    QTest::newRow("battery pair") << "240.0-240.0" << "240.0-240.0";
    QTest::newRow("comma") << "a,b" << "\"a,b\"";
    QTest::newRow("quote") << "say \"hi\"" << "\"say \"\"hi\"\"\"";
    QTest::newRow("newline") << "two\nlines" << "\"two\nlines\"";
    QTest::newRow("carriage return") << "x\ry" << "\"x\ry\"";
}

void tst_host_datalog::csvField()
{
    QFETCH(QString, text);
    QFETCH(QString, field);
    QCOMPARE(DataLog::csvField(text), field);
}

void tst_host_datalog::rows_data()
{
    QTest::addColumn<QStringList>("headings");
    QTest::addColumn<QStringList>("values");
    QTest::addColumn<QString>("row");

    const QStringList three{"Input voltage(V)", "Output mode", "Battery state"};
    QTest::newRow("full") << three << QStringList{"220.0", "Load on inverter", "Float charge"}
                          << "2026-01-02 03:04:05,UPS1,220.0,Load on inverter,Float charge";
    QTest::newRow("short row padded") << three << QStringList{"220.0"}
                                      << "2026-01-02 03:04:05,UPS1,220.0,,";
    QTest::newRow("quoted value") << three << QStringList{"1,5", "None", "-"}
                                  << "2026-01-02 03:04:05,UPS1,\"1,5\",None,-";
}

void tst_host_datalog::rows()
{
    QFETCH(QStringList, headings);
    QFETCH(QStringList, values);
    QFETCH(QString, row);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath("log.csv");
    DataLog log;
    QString error;
    QVERIFY2(log.open(path, headings, &error), qPrintable(error));
    QVERIFY(log.append("2026-01-02 03:04:05", "UPS1", values));
    QVERIFY(log.append("2026-01-02 03:04:15", "UPS1", values));

    // Written through at once: readable before the log is closed.
    const QStringList lines = readLines(path);
    QCOMPARE(lines.size(), 4); // header, two rows, the empty rest after the last '\n'
    QCOMPARE(lines.at(0), "Time,Unit," + headings.join(','));
    QCOMPARE(lines.at(1), row);
    QCOMPARE(lines.at(2).section(',', 0, 0), QString("2026-01-02 03:04:15"));
    QCOMPARE(lines.at(3), QString());
}

void tst_host_datalog::reopenKeepsHeaderOnce()
{
    QTemporaryDir dir;
    const QString path = dir.filePath("log.csv");
    const QStringList headings{"A", "B"};
    for (int run = 0; run < 2; ++run) {
        DataLog log;
        QString error;
        QVERIFY(log.open(path, headings, &error));
        QVERIFY(log.append(QString("t%1").arg(run), "UPS1", {"1", "2"}));
        log.close();
        QVERIFY(!log.append("late", "UPS1", {"1", "2"}));
    }
    const QStringList lines = readLines(path);
    QCOMPARE(lines.mid(0, 3), (QStringList{"Time,Unit,A,B", "t0,UPS1,1,2", "t1,UPS1,1,2"}));
    QCOMPARE(lines.size(), 4);
}

void tst_host_datalog::unwritablePath()
{
    QTemporaryDir dir;
    DataLog log;
    QString error;
    QVERIFY(!log.open(dir.filePath("no/such/dir/log.csv"), {"A"}, &error));
    QVERIFY(error.contains("no/such/dir/log.csv"));
    QVERIFY(!log.isOpen());
    QVERIFY(!log.append("t", "UPS1", {"1"}));
}

QTEST_GUILESS_MAIN(tst_host_datalog)
#include "tst_host_datalog.moc"
