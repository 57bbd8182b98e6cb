// The web console in the real host, over HTTPS with a certificate made
// here, as curl sees it: the host polls two simulated units; a change
// without a login reaches no unit, one after a login reaches its unit only.

#include "TestRig.h"

#include <QDir>
#include <QRegularExpression>
#include <QtTest>

namespace {

const char* const kPieces[] = {"upsmon-host", "libvek5m_10-30k_Client.so", "libvek5m_10-30k.so"};
QString binDir() { return qEnvironmentVariable("VEK5_BIN_DIR"); }

} // namespace

class tst_web_clients : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void requests_data();
    void requests();
    void cleanupTestCase();

private:
    // The reply's body and, on its last line, the HTTP status.
    QString curl(const QStringList& args)
    {
        QProcess p;
        p.start("curl", QStringList{"-sS", "--cacert", m_dir.filePath("web.pem"), "-b", m_dir.filePath("jar"), "-c",
                                    m_dir.filePath("jar"), "-w", "\n%{http_code}", "-H", "Content-Type: application/json"}
                            + args);
        p.waitForFinished(30000);
        return QString::fromUtf8(p.readAllStandardOutput() + p.readAllStandardError());
    }
    QString url(const QString& path) const { return QStringLiteral("https://127.0.0.1:%1%2").arg(m_port).arg(path); }

    QDir m_dir;
    int m_port = 0;
    SimProcess m_sim;
    QProcess m_host;
    QString m_csrf;
};

void tst_web_clients::initTestCase()
{
    for (const char* piece : kPieces)
        if (!QFileInfo::exists(binDir() + '/' + piece))
            QSKIP("host, plugin or driver not built");
    if (QStandardPaths::findExecutable("curl").isEmpty() || QStandardPaths::findExecutable("openssl").isEmpty())
        QSKIP("curl and openssl are not installed");
    m_dir = QDir(QDir::current().absoluteFilePath("web"));
    m_dir.removeRecursively();
    const QString db = m_dir.filePath("PVMX/drovaPanel/db/");
    QVERIFY(QDir().mkpath(db));
    for (const char* piece : kPieces)
        QVERIFY(QFile::copy(binDir() + '/' + piece, m_dir.filePath(piece)));
    QProcess openssl;
    openssl.start("openssl", {"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=127.0.0.1",
                              "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", db + "web.key", "-out", db + "web.pem"});
    QVERIFY(openssl.waitForFinished(60000) && openssl.exitCode() == 0);
    QVERIFY(QFile::copy(db + "web.pem", m_dir.filePath("web.pem")));
    QVERIFY2(m_sim.start({"--units", "2"}), qPrintable(m_sim.output()));
    QTcpServer probe;
    QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
    m_port = probe.serverPort();
    probe.close();
    QByteArray units;
    for (const char* unit : {"UPS1", "UPS2"})
        units += QByteArray("[") + unit + "]\ncommType=1\nipAddr=127.0.0.1\nport=" + QByteArray::number(m_sim.port())
                 + "\naddr=" + unit[3] + "\ninterval=1\nretries=3\n";
    QVERIFY(writeFile(db + "dev.ini", units));
    QVERIFY(writeFile(db + "param.ini", "[host]\nunits=UPS1,UPS2\n[nut]\nlisten=off\n[web]\nlisten=127.0.0.1:"
                                            + QByteArray::number(m_port) + "\ncertificate=web.pem\nkey=web.key\n"));
    QVERIFY(writeFile(db + "upsd.users", "[admin]\n password = adminpw\n instcmds = ALL\n"));
    QVERIFY(QFile::setPermissions(db + "upsd.users", QFile::ReadOwner | QFile::WriteOwner));
    m_host.setWorkingDirectory(m_dir.path());
    m_host.setProcessChannelMode(QProcess::MergedChannels);
    m_host.setStandardOutputFile(m_dir.filePath("host.log"));
    m_host.start(m_dir.filePath("upsmon-host"), {"--headless"});
    QTRY_VERIFY_WITH_TIMEOUT(QRegularExpression("\"comm\":\"ok\".*\"comm\":\"ok\"").match(curl({url("/api/units")})).hasMatch(),
                             30000);
    QVERIFY(readFile(m_dir.filePath("host.log")).contains("web console on https://127.0.0.1:" + QByteArray::number(m_port)));
}

void tst_web_clients::requests_data()
{
    QTest::addColumn<QStringList>("args");   // curl's, the path last
    QTest::addColumn<QString>("reply");      // over the body and the status line
    QTest::addColumn<QString>("simulator");  // what the simulator then shows of its units
    QTest::newRow("site") << QStringList{"/api/units"} << "\"name\":\"UPS1\".*\"name\":\"UPS2\".*\n200$" << "";
    QTest::newRow("command without login") << QStringList{"-X", "POST", "/api/units/UPS1/commands/beeper.disable"}
        << "login required.*\n403$" << "";
    QTest::newRow("login") << QStringList{"-d", "{\"user\":\"admin\",\"password\":\"adminpw\"}", "/api/login"}
        << "\"csrfToken\":\"[0-9a-f]+\".*\n200$" << "";
    QTest::newRow("command") << QStringList{"-X", "POST", "/api/units/UPS2/commands/beeper.disable"}
        << "\"queued\":true.*\n202$" << "unit 2: [^\n]*buzzer off";
    QTest::newRow("live stream") << QStringList{"-N", "--max-time", "3", "/api/events"}
        << "^retry: 3000\n\nevent: status\ndata: \\{[^\n]*\"name\":\"UPS1\"" << "";
    QTest::newRow("metrics on the same port") << QStringList{"/metrics"} << "ups_input_volts\\{unit=\"UPS2\".*\n200$" << "";
}

void tst_web_clients::requests()
{
    QFETCH(QStringList, args);
    QFETCH(QString, reply);
    QFETCH(QString, simulator);
    args.last() = url(args.last());
    if (!m_csrf.isEmpty())
        args = QStringList{"-H", "X-CSRF-Token: " + m_csrf} + args;
    const QString got = curl(args);
    QVERIFY2(QRegularExpression(reply, QRegularExpression::DotMatchesEverythingOption).match(got).hasMatch(), qPrintable(got));
    const QRegularExpressionMatch token = QRegularExpression("\"csrfToken\":\"([0-9a-f]+)\"").match(got);
    if (token.hasMatch())
        m_csrf = token.captured(1);
    if (simulator.isEmpty())
        return;
    QTRY_VERIFY_WITH_TIMEOUT(QRegularExpression(simulator).match(m_sim.output()).hasMatch(), 20000);
    // The command refused without a login came first; the unit never had it.
    QVERIFY2(!m_sim.output().contains(QRegularExpression("unit 1: [^\n]*buzzer off")), qPrintable(m_sim.output()));
    QVERIFY(readFile(m_dir.filePath("host.log")).contains("beeper.disable queued: command 1010 (Disable the UPS beeper) queued (by web:admin@127.0.0.1)"));
}

void tst_web_clients::cleanupTestCase()
{
    if (m_host.state() == QProcess::NotRunning)
        return;
    // A live page open while the host stops does not hold it up.
    QProcess live;
    live.start("curl", {"-sN", "--cacert", m_dir.filePath("web.pem"), url("/api/events")});
    QTRY_VERIFY(live.bytesAvailable() > 0 || live.waitForReadyRead(100));
    QElapsedTimer stopping;
    stopping.start();
    m_host.terminate();
    QVERIFY(m_host.waitForFinished(15000));
    QCOMPARE(m_host.exitCode(), 0);
    qInfo("host stopped in %lld ms with a live page open", stopping.elapsed());
    QVERIFY(live.waitForFinished(5000));
}

QTEST_GUILESS_MAIN(tst_web_clients)
#include "tst_web_clients.moc"
