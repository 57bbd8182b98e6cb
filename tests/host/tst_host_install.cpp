// The installed layout, staged with DESTDIR: every piece where the wrappers,
// the host and the plugin look for it, the configuration reached through the
// library directory's link, and a bounded run of the installed wrappers
// (simulator with a scenario file, host headless) against each other.

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QtTest>

namespace {

// Install-tree paths relative to the staging root, from the build's layout.
const QString kPrefix = QStringLiteral(VEK5_INSTALL_PREFIX);
const QString kBinDir = kPrefix + QStringLiteral("/" VEK5_INSTALL_BINDIR);
const QString kLibDir = kPrefix + QStringLiteral("/" VEK5_INSTALL_LIBDIR);
const QString kPkgLibDir = kPrefix + QStringLiteral("/" VEK5_PKGLIBDIR);
const QString kScenarioDir = kPrefix + QStringLiteral("/" VEK5_SCENARIODIR);
const QString kConfDir = QStringLiteral(VEK5_CONFDIR);

} // namespace

class tst_host_install : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void layout_data();
    void layout();
    void historyCodeMap();
    void installedRun_data();
    void installedRun();
    void cleanup();

private:
    QString staged(const QString& path) const { return m_stage.path() + path; }

    QDir m_stage;
    QProcess m_sim;
};

void tst_host_install::initTestCase()
{
    m_stage = QDir(QDir::current().absoluteFilePath(QStringLiteral("stage")));
    m_stage.removeRecursively();
    QProcess install;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("DESTDIR"), m_stage.path());
    install.setProcessEnvironment(env);
    install.setProcessChannelMode(QProcess::MergedChannels);
    install.start(QStringLiteral(VEK5_CMAKE_COMMAND),
                  {QStringLiteral("--install"), QStringLiteral(VEK5_BUILD_DIR)});
    QVERIFY(install.waitForFinished(120000));
    QVERIFY2(install.exitStatus() == QProcess::NormalExit && install.exitCode() == 0,
             install.readAll().constData());
}

void tst_host_install::cleanup()
{
    if (m_sim.state() != QProcess::NotRunning) {
        m_sim.terminate();
        if (!m_sim.waitForFinished(5000))
            m_sim.kill();
        m_sim.waitForFinished(2000);
    }
}

void tst_host_install::layout_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("executable");

    QTest::newRow("host wrapper") << kBinDir + "/upsmon-host" << true;
    QTest::newRow("simulator wrapper") << kBinDir + "/upssim" << true;
    QTest::newRow("host") << kPkgLibDir + "/upsmon-host" << true;
    QTest::newRow("simulator") << kPkgLibDir + "/upssim" << true;
    QTest::newRow("plugin beside the host") << kPkgLibDir + "/libvek5m_10-30k_Client.so" << false;
    QTest::newRow("driver on the loader path") << kLibDir + "/libvek5m_10-30k.so" << false;
    QTest::newRow("no driver beside the plugin") << QString() << false;
    for (const char* f : {"param.ini", "dev.ini", "serial.ini", "historycodemap.csv"})
        QTest::newRow(f) << kPkgLibDir + "/PVMX/drovaPanel/db/" + f << false;
    QTest::newRow("scenario") << kScenarioDir + "/faults.scn" << false;
}

void tst_host_install::layout()
{
    QFETCH(QString, path);
    QFETCH(bool, executable);

    if (path.isEmpty()) {
        // The host must find the installed driver by name, not by a copy.
        QVERIFY(!QFileInfo::exists(staged(kPkgLibDir + "/libvek5m_10-30k.so")));
        return;
    }
    const QFileInfo info(staged(path));
    QVERIFY2(info.isFile(), qPrintable(info.filePath()));
    QVERIFY(info.size() > 0);
    QCOMPARE(info.isExecutable(), executable);
}

void tst_host_install::historyCodeMap()
{
    // Reached through the library directory's link, the configuration is the
    // one in the configuration directory.
    const QFileInfo link(staged(kPkgLibDir + "/PVMX/drovaPanel/db"));
    QVERIFY(link.isSymLink());
    QCOMPARE(link.canonicalFilePath(), QFileInfo(staged(kConfDir)).canonicalFilePath());

    QFile map(staged(kConfDir + "/historycodemap.csv"));
    QVERIFY(map.open(QIODevice::ReadOnly | QIODevice::Text));
    static const QRegularExpression row(QStringLiteral("^(\\d+),([^,]+),$"));
    int rows = 0, last = -1;
    while (!map.atEnd()) {
        const QString line = QString::fromLocal8Bit(map.readLine()).trimmed();
        const auto m = row.match(line);
        QVERIFY2(m.hasMatch(), qPrintable(line));
        const int code = m.captured(1).toInt();
        QVERIFY2(code > last, qPrintable(line));  // ascending appearance codes
        QVERIFY(code < 498);
        last = code;
        ++rows;
    }
    QVERIFY(rows > 100);
}

void tst_host_install::installedRun_data()
{
    QTest::addColumn<QString>("scenario");
    QTest::addColumn<int>("units");

    QTest::newRow("one unit, scenario file") << "bypass" << 1;
    QTest::newRow("two units on one port") << "normal" << 2;
}

void tst_host_install::installedRun()
{
    QFETCH(QString, scenario);
    QFETCH(int, units);

    m_sim.setProcessChannelMode(QProcess::MergedChannels);
    m_sim.start(staged(kBinDir + "/upssim"),
                {"--tcp", "127.0.0.1:0", "--units", QString::number(units), "--scenario", scenario});
    QVERIFY(m_sim.waitForStarted(5000));
    static const QRegularExpression listening("listening on 127\\.0\\.0\\.1:(\\d+)");
    QByteArray seen;
    int port = 0;
    QElapsedTimer t;
    t.start();
    while (port == 0 && t.elapsed() < 5000 && m_sim.state() == QProcess::Running) {
        m_sim.waitForReadyRead(200);
        seen += m_sim.readAll();
        const auto m = listening.match(QString::fromUtf8(seen));
        if (m.hasMatch())
            port = m.captured(1).toInt();
    }
    QVERIFY2(port > 0, seen.constData());

    // The installed configuration, pointed at this simulator.
    QStringList names;
    QByteArray dev;
    for (int i = 1; i <= units; ++i) {
        names += QStringLiteral("UPS%1").arg(i);
        dev += QStringLiteral("[UPS%1]\ncommType=1\nipAddr=127.0.0.1\nport=%2\naddr=%1\ninterval=1\nretries=3\n")
                   .arg(i).arg(port).toUtf8();
    }
    QFile devIni(staged(kConfDir + "/dev.ini"));
    QVERIFY(devIni.open(QIODevice::WriteOnly | QIODevice::Truncate));
    devIni.write(dev);
    devIni.close();
    QFile paramIni(staged(kConfDir + "/param.ini"));
    QVERIFY(paramIni.open(QIODevice::WriteOnly | QIODevice::Truncate));
    paramIni.write("Language=0\n[host]\nunits=" + names.join(',').toUtf8() + "\n");
    paramIni.close();

    const QString state = QDir::current().absoluteFilePath("state-" + QString::number(units));
    QDir(state).removeRecursively();
    QProcess host;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("UPSMON_STATE_DIR", state);
    // The staged driver stands where the system's loader path would be.
    env.insert("LD_LIBRARY_PATH", staged(kLibDir));
    host.setProcessEnvironment(env);
    host.start(staged(kBinDir + "/upsmon-host"), {"--headless", "--json", "--show-data", "--duration", "6"});
    QVERIFY(host.waitForFinished(30000));
    const QString err = QString::fromUtf8(host.readAllStandardError());
    QVERIFY2(host.exitStatus() == QProcess::NormalExit && host.exitCode() == 0, qPrintable(err));
    QVERIFY2(!err.contains("relative to the working directory"), qPrintable(err));

    QSet<QString> communicating, reporting;
    for (const QByteArray& line : host.readAllStandardOutput().split('\n')) {
        const QJsonObject o = QJsonDocument::fromJson(line).object();
        if (o.value("type").toInt() == 1040)
            communicating += o.value("unit").toString();
        if (o.value("type").toInt() == 2007)
            reporting += o.value("unit").toString();
    }
    QCOMPARE(communicating.size(), units);
    QCOMPARE(reporting.size(), units);
    // The working directory the wrapper prepared reaches the same files.
    QCOMPARE(QFileInfo(state + "/PVMX/drovaPanel/db/historycodemap.csv").canonicalFilePath(),
             QFileInfo(staged(kConfDir + "/historycodemap.csv")).canonicalFilePath());
    QVERIFY(QFileInfo(state + "/serial.ini").isSymLink());
}

QTEST_GUILESS_MAIN(tst_host_install)
#include "tst_host_install.moc"
