// The web console in the real host over HTTPS as curl sees it (logins and the rest: browser, tst_web_api).

#include "TestRig.h"

#include <QRegularExpression>
#include <QtTest>

class tst_web_clients : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        if (QStandardPaths::findExecutable("curl").isEmpty() || QStandardPaths::findExecutable("openssl").isEmpty())
            QSKIP("curl and openssl are not installed");
        m_dir.setPath(hostAppDir("web"));
        if (m_dir.path() == ".")
            QSKIP("host, plugin or driver not built");
        const QString db = m_dir.filePath("PVMX/drovaPanel/db/");
        QProcess openssl;
        openssl.start("openssl", {"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=127.0.0.1",
                                  "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", db + "web.key", "-out", db + "web.pem"});
        QVERIFY(openssl.waitForFinished(60000) && openssl.exitCode() == 0);
        QVERIFY2(m_sim.start({}), qPrintable(m_sim.output()));
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        m_port = probe.serverPort();
        probe.close();
        QVERIFY(writeFile(db + "dev.ini", "[UPS1]\ncommType=1\nipAddr=127.0.0.1\ninterval=1\nport=" + QByteArray::number(m_sim.port())));
        QVERIFY(writeFile(db + "param.ini", "[host]\nunits=UPS1\n[nut]\nlisten=off\n[web]\nlisten=127.0.0.1:"
                                                + QByteArray::number(m_port) + "\ncertificate=web.pem\nkey=web.key\n"));
        m_host.setWorkingDirectory(m_dir.path());
        m_host.setProcessChannelMode(QProcess::MergedChannels);
        m_host.setStandardOutputFile(m_dir.filePath("host.log"));
        m_host.start(m_dir.filePath("upsmon-host"), {"--headless"});
        QTRY_VERIFY_WITH_TIMEOUT(curl({url("/api/units")}).contains("\"comm\":\"ok\""), 30000);
        QVERIFY(readFile(m_dir.filePath("host.log")).contains("web console on https://127.0.0.1:" + QByteArray::number(m_port)));
    }

    void requests_data()
    {
        QTest::addColumn<QStringList>("args");   // curl's, the path (or "http:" and the path) last
        QTest::addColumn<QString>("reply");      // over the body, the status line and curl's complaint
        QTest::newRow("plain HTTP refused") << QStringList{"http:/api/units"} << "\n000";
        QTest::newRow("live stream") << QStringList{"-N", "--max-time", "3", "/api/events"}
            << "^retry: 3000\n\nevent: status\ndata: \\{[^\n]*\"name\":\"UPS1\"";
        QTest::newRow("metrics on the same port") << QStringList{"/metrics"} << "ups_input_volts\\{unit=\"UPS1\".*\n200$";
    }

    void requests()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, reply);
        args.last() = args.last().startsWith("http:") ? url(args.last().mid(5)).replace("https:", "http:") : url(args.last());
        const QString got = curl(args);
        QVERIFY2(QRegularExpression(reply, QRegularExpression::DotMatchesEverythingOption).match(got).hasMatch(), qPrintable(got));
    }

    void cleanupTestCase()
    {
        if (m_host.state() == QProcess::NotRunning)
            return;
        // A live page open while the host stops does not hold it up.
        QProcess live;
        live.start("curl", {"-sN", "--cacert", m_dir.filePath("PVMX/drovaPanel/db/web.pem"), url("/api/events")});
        QTRY_VERIFY(live.bytesAvailable() > 0 || live.waitForReadyRead(100));
        QElapsedTimer stopping;
        stopping.start();
        m_host.terminate();
        QVERIFY(m_host.waitForFinished(15000));
        QCOMPARE(m_host.exitCode(), 0);
        qInfo("host stopped in %lld ms with a live page open", stopping.elapsed());
        QVERIFY(live.waitForFinished(5000));
    }

private:
    // The reply's body and, on its last line, the HTTP status (000: none).
    QString curl(const QStringList& args)
    {
        QProcess p;
        p.start("curl", QStringList{"-sS", "--cacert", m_dir.filePath("PVMX/drovaPanel/db/web.pem"), "-w", "\n%{http_code}"} + args);
        p.waitForFinished(30000);
        return QString::fromUtf8(p.readAllStandardOutput() + p.readAllStandardError());
    }
    QString url(const QString& path) const { return QStringLiteral("https://127.0.0.1:%1%2").arg(m_port).arg(path); }

    QDir m_dir;
    int m_port = 0;
    SimProcess m_sim;
    QProcess m_host;
};

QTEST_GUILESS_MAIN(tst_web_clients)
#include "tst_web_clients.moc"
