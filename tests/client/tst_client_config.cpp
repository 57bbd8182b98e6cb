// Lifecycle and configuration: defaults and keys of dev.ini and param.ini,
// event selection keys, driver loading, create/release, small helpers.

#include "ClientRig.h"

#include <QCoreApplication>
#include <QPointer>
#include <QtTest>

#include <optional>

class tst_client_config : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void devDefaults();
    void devKeys_data();
    void devKeys();
    void language_data();
    void language();
    void eventSelection();
    void driverLoading();
    void createAndRelease();
    void utfToChina_data();
    void utfToChina();

private:
    static QString dbDir();
    static void writeIni(const QString& name, const QByteArray& content);

    // What the shared application directory held before: absent files are
    // removed again afterwards, so a later monitor run writes its defaults.
    std::optional<QByteArray> m_savedDev;
    std::optional<QByteArray> m_savedParam;
};

QString tst_client_config::dbDir()
{
    return QCoreApplication::applicationDirPath() + "/PVMX/drovaPanel/db";
}

void tst_client_config::writeIni(const QString& name, const QByteArray& content)
{
    QFile file(dbDir() + "/" + name);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(content);
    // QSettings keeps a parsed copy while size and time stamp look unchanged:
    // give every rewrite a time stamp of its own.
    static qint64 stamp = QDateTime::currentSecsSinceEpoch() - 100000;
    QVERIFY(file.setFileTime(QDateTime::fromSecsSinceEpoch(++stamp), QFileDevice::FileModificationTime));
}

static QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Other suites share the application directory: keep what was there.
void tst_client_config::initTestCase()
{
    QVERIFY(QDir().mkpath(dbDir()));
    auto saved = [](const QString& path) {
        return QFile::exists(path) ? std::optional<QByteArray>(readAll(path)) : std::nullopt;
    };
    m_savedDev = saved(dbDir() + "/dev.ini");
    m_savedParam = saved(dbDir() + "/param.ini");
}

void tst_client_config::cleanupTestCase()
{
    for (const auto& [name, saved] : {std::pair("dev.ini", m_savedDev), std::pair("param.ini", m_savedParam)}) {
        if (saved)
            writeIni(name, *saved);
        else
            QFile::remove(dbDir() + "/" + name);
    }
}

void tst_client_config::devDefaults()
{
    writeIni("dev.ini", "[someone-else]\naddr=9\nport=7\n");
    vek5Client client;
    client.m_devName = "cfg-nobody";
    client.loadConfig();
    QCOMPARE(client.m_portName, QString("COM1"));
    QCOMPARE(client.m_devAddr, 1);
    QCOMPARE(client.m_retries, 5);
    QCOMPARE(client.m_interval, 5);
    QCOMPARE(client.m_protocol, 0);
    QCOMPARE(client.m_commType, 0);
    QCOMPARE(client.m_tcpPort, 502);
    QCOMPARE(client.m_ipAddr, QString());
    QCOMPARE(client.m_portSettings, QString());   // no port manager to ask
    QCOMPARE(client.m_portReopened, 1);
}

void tst_client_config::devKeys_data()
{
    QTest::addColumn<QByteArray>("ini");
    QTest::addColumn<QString>("portName");
    QTest::addColumn<int>("addr");
    QTest::addColumn<int>("retries");
    QTest::addColumn<int>("protocol");
    QTest::addColumn<int>("interval");
    QTest::addColumn<int>("commType");
    QTest::addColumn<QString>("ipAddr");
    QTest::addColumn<int>("tcpPort");

    QTest::newRow("all keys")
        << QByteArray("[ups-a]\nportName=/dev/ttyUSB2\naddr=7\nretries=3\nprotocol=4\ninterval=10\n"
                      "commType=1\nipAddr=192.0.2.5\nport=1502\n")
        << "/dev/ttyUSB2" << 7 << 3 << 4 << 10 << 1 << "192.0.2.5" << 1502;
    QTest::newRow("some keys, rest default")
        << QByteArray("[ups-a]\naddr=2\ncommType=1\n[ups-b]\nretries=9\n")
        << "COM1" << 2 << 5 << 0 << 5 << 1 << "" << 502;
    QTest::newRow("other group ignored")
        << QByteArray("[ups-b]\naddr=2\nport=9\n") << "COM1" << 1 << 5 << 0 << 5 << 0 << "" << 502;
}

void tst_client_config::devKeys()
{
    QFETCH(QByteArray, ini);
    writeIni("dev.ini", ini);
    vek5Client client;
    client.m_devName = "ups-a";
    client.loadConfig();
    QTEST(client.m_portName, "portName");
    QTEST(client.m_devAddr, "addr");
    QTEST(client.m_retries, "retries");
    QTEST(client.m_protocol, "protocol");
    QTEST(client.m_interval, "interval");
    QTEST(client.m_commType, "commType");
    QTEST(client.m_ipAddr, "ipAddr");
    QTEST(client.m_tcpPort, "tcpPort");
}

void tst_client_config::language_data()
{
    QTest::addColumn<QByteArray>("param");
    QTest::addColumn<QString>("code");

    QTest::newRow("0 gives 1") << QByteArray("[General]\nLanguage=0\n") << "1";
    QTest::newRow("1 gives 0") << QByteArray("[General]\nLanguage=1\n") << "0";
    QTest::newRow("2 gives 0") << QByteArray("[General]\nLanguage=2\n") << "0";
    QTest::newRow("absent gives 1") << QByteArray("[General]\nOther=3\n") << "1";
}

void tst_client_config::language()
{
    QFETCH(QByteArray, param);
    writeIni("param.ini", param);
    vek5Client client;
    client.m_devName = "ups-lang";
    client.loadConfig();
    QTEST(client.m_language, "code");
}

void tst_client_config::eventSelection()
{
    writeIni("dev.ini", "[ups-e]\neventChooseList\\0=1\neventChooseList\\3=1\neventChooseList\\6=1\n");
    CatalogueClient client(6);
    client.m_devName = "ups-e";
    client.loadConfig();
    QMap<int, int> expected{{0, 1}, {1, 0}, {2, 0}, {3, 1}, {4, 0}, {5, 0}};
    QCOMPARE(client.m_eventChoose, expected);
}

void tst_client_config::driverLoading()
{
    vek5Client client;
    QVERIFY(client.m_lib != nullptr);
    QVERIFY(client.m_query != nullptr);
    QVERIFY(client.m_control != nullptr);
    QLibrary* first = client.m_lib;
    QVERIFY(client.LoadDriver());
    QCOMPARE(client.m_lib, first);

    QVERIFY(client.FreeDriver());
    QVERIFY(client.m_lib == nullptr);
    QVERIFY(client.m_query == nullptr);
    QVERIFY(client.m_control == nullptr);
    QVERIFY(client.FreeDriver());
    QVERIFY(client.LoadDriver());
    QVERIFY(client.m_query != nullptr);
}

void tst_client_config::createAndRelease()
{
    vek5Client factory;
    int marker = 0;
    CollectThread* made = factory.create(&marker);
    QVERIFY(made != nullptr);
    QVERIFY(made != &factory);
    auto* client = qobject_cast<vek5Client*>(made);
    QVERIFY(client != nullptr);
    QCOMPARE(client->m_portHandle, static_cast<void*>(&marker));
    QVERIFY(client->m_lib != nullptr && client->m_lib != factory.m_lib);
    QCOMPARE(client->m_retries, 5);
    QCOMPARE(client->m_commState, -1);
    QCOMPARE(client->m_devAddr, 1);
    QCOMPARE(client->getWorkState(), 0);
    QCOMPARE(static_cast<void*>(client->m_driverContext), static_cast<void*>(client));
    client->m_portHandle = nullptr;   // never used as a port manager here

    QPointer<vek5Client> watch(client);
    factory.release(client);
    QVERIFY(!watch.isNull());         // only scheduled
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(watch.isNull());
}

void tst_client_config::utfToChina_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("output");

    const QByteArray utf8 = QString::fromUtf8("\xe4\xb8\xad\xe6\x96\x87 UPS").toUtf8();
    QTest::newRow("bytes taken as characters") << QString::fromLatin1(utf8) << QString::fromUtf8(utf8);
    QTest::newRow("plain ascii") << "UPS-10k" << "UPS-10k";
    QTest::newRow("empty") << "" << "";
}

void tst_client_config::utfToChina()
{
    QFETCH(QString, input);
    vek5Client client;
    QTEST(client.utfToChina(input), "output");
}

QTEST_GUILESS_MAIN(tst_client_config)
#include "tst_client_config.moc"
