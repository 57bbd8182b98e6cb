// History export: code map columns by language, the CSV rows with their
// trailing commas, skipped short lines, and the emptied history file.

#include "ClientRig.h"

#include <QtTest>

class tst_client_history : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void exportRows_data();
    void exportRows();
    void historyEmptiedWithoutExport_data();
    void historyEmptiedWithoutExport();

private:
    static void writeFile(const QString& path, const QByteArray& content);
    static QByteArray readFile(const QString& path);
};

static const char kCodeMap[] = "./PVMX/drovaPanel/db/historycodemap.csv";
static const char kHeader[] = "ID,Content,Status,Time,\n";

void tst_client_history::writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(content);
}

QByteArray tst_client_history::readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

void tst_client_history::init()
{
    QDir().mkpath("./PVMX/drovaPanel/db");
    QFile::remove(kCodeMap);
    QFile::remove("./history.txt");
    QFile::remove("out.csv");
}

void tst_client_history::cleanup()
{
    QFile::remove(kCodeMap);
}

void tst_client_history::exportRows_data()
{
    QTest::addColumn<QByteArray>("codeMap");   // empty: no code map file
    QTest::addColumn<QString>("language");     // language code when the map is read
    QTest::addColumn<QByteArray>("history");
    QTest::addColumn<QByteArray>("rows");

    QTest::newRow("third column wins while language unset")
        << QByteArray("12,text A,text B\n") << "" << QByteArray("12 1 24 3 5 7 8 9\n")
        << QByteArray("12,text B,Appear,2024-03-05 07:08:09,\n");
    QTest::newRow("empty third column falls back")
        << QByteArray("12,text A,\n") << "" << QByteArray("12 1 24 3 5 7 8 9\n")
        << QByteArray("12,text A,Appear,2024-03-05 07:08:09,\n");
    QTest::newRow("language 0 takes second column")
        << QByteArray("12,text A,text B\n") << "0" << QByteArray("12 0 24 3 5 7 8 9\n")
        << QByteArray("12,text A,Disappear,2024-03-05 07:08:09,\n");
    QTest::newRow("language 1 takes third column")
        << QByteArray("12, text A , text B ,extra\n") << "1" << QByteArray("12 1 1 12 31 23 59 0\n")
        << QByteArray("12,text B,Appear,2001-12-31 23:59:00,\n");
    QTest::newRow("code missing from map")
        << QByteArray("12,text A,text B\n") << "" << QByteArray("77 0 24 3 5 7 8 9\n")
        << QByteArray("77,77,Disappear,2024-03-05 07:08:09,\n");
    QTest::newRow("no code map at all")
        << QByteArray() << "" << QByteArray("5 1 24 3 5 7 8 9\n")
        << QByteArray("5,5,Appear,2024-03-05 07:08:09,\n");
    QTest::newRow("state 2 gives empty status")
        << QByteArray("12,text A,text B\n") << "" << QByteArray("12 2 24 3 5 7 8 9\n")
        << QByteArray("12,text B,,2024-03-05 07:08:09,\n");
    QTest::newRow("padding never cuts")
        << QByteArray("12,a,b\n") << "" << QByteArray("12 1 123 3 5 7 8 100\n")
        << QByteArray("12,b,Appear,20123-03-05 07:08:100,\n");
    QTest::newRow("short lines skipped, order kept")
        << QByteArray("1,one,uno\n2,two,\n") << ""
        << QByteArray("2 1 20 1 2 3 4 5\n\n1 1 20 1\n1 0 21 6 7 8 9 10 99\n")
        << QByteArray("2,two,Appear,2020-01-02 03:04:05,\n1,uno,Disappear,2021-06-07 08:09:10,\n");
    QTest::newRow("later map line replaces, blank codes skipped")
        << QByteArray("3,old,old3\n ,skip,skip\n3,new,\n") << "" << QByteArray("3 1 24 1 1 1 1 1\n")
        << QByteArray("3,new,Appear,2024-01-01 01:01:01,\n");
    QTest::newRow("text ends at NUL")
        << QByteArray("4,ab\0cd,x\0y\n", 13) << "" << QByteArray("4 1 24 1 1 1 1 1\n")
        << QByteArray("4,ab,Appear,2024-01-01 01:01:01,\n");
    QTest::newRow("CRLF history lines")
        << QByteArray("9,n,\n") << "" << QByteArray("9 1 24 1 2 3 4 5\r\n")
        << QByteArray("9,n,Appear,2024-01-02 03:04:05,\n");
    QTest::newRow("empty history") << QByteArray("9,n,\n") << "" << QByteArray() << QByteArray();
}

void tst_client_history::exportRows()
{
    QFETCH(QByteArray, codeMap);
    QFETCH(QString, language);
    QFETCH(QByteArray, history);
    QFETCH(QByteArray, rows);

    if (!codeMap.isEmpty())
        writeFile(kCodeMap, codeMap);
    writeFile("./history.txt", history);

    vek5Client client;
    if (!language.isEmpty()) {
        client.m_language = language;
        client.initHistoryInfo();
    }
    client.exportHistoryInfo("out.csv");

    QCOMPARE(readFile("out.csv"), QByteArray(kHeader) + rows);
    QCOMPARE(readFile("./history.txt"), QByteArray());
}

void tst_client_history::historyEmptiedWithoutExport_data()
{
    QTest::addColumn<bool>("historyPresent");
    QTest::addColumn<QString>("path");

    QTest::newRow("empty path") << true << "";
    QTest::newRow("unwritable path") << true << "no/such/dir/out.csv";
    QTest::newRow("no history file, empty path") << false << "";
}

void tst_client_history::historyEmptiedWithoutExport()
{
    QFETCH(bool, historyPresent);
    QFETCH(QString, path);

    if (historyPresent)
        writeFile("./history.txt", "12 1 24 3 5 7 8 9\n");
    vek5Client client;
    client.exportHistoryInfo(path);
    QVERIFY(QFile::exists("./history.txt"));
    QCOMPARE(readFile("./history.txt"), QByteArray());
    QVERIFY(!QFile::exists("out.csv"));
    if (!path.isEmpty())
        QVERIFY(!QFile::exists(path));
}

QTEST_GUILESS_MAIN(tst_client_history)
#include "tst_client_history.moc"
