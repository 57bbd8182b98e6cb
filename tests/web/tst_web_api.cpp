// The web API over a table of units; the server on loopback over HTTPS: limits, main-thread changes, stream, stop.

#include <QtTest>

#include "EventRing.h"
#include "WebApi.h"
#include "WebServer.h"
#include "FakeUnits.h"
#include "TestBytes.h"

#include <QSslSocket>
#include <memory>

namespace {

// UPS1 communicates, with a page picture and an alarm; LOST does not.
FakeUnits twoUnits()
{
    UnitStatus s;
    s.dataAgeSeconds = 2;
    s.flags = QStringList{"OL", "CHRG"};
    s.values = {{"battery.charge", 87.5}, {"ups.load", 45.0}, {"device.model", "VEK5"}};
    s.alarms = {{325, "Rectifier_Fan failure"}};
    FakeUnits units = FakeUnits::pair(s);
    units.pages["UPS1"] = QJsonObject{{"energyFlow", QJsonObject{{"paths", QJsonObject{{"bypass->load", true}}}}},
                                      {"tables", QJsonArray{QJsonObject{{"title", "Input"}}}}};
    return units;
}

} // namespace

class tst_web_api : public QObject
{
    Q_OBJECT
    FakeUnits m_units = twoUnits();
    std::unique_ptr<WebServer> m_server;
    QByteArray m_cookie;
    QByteArray m_csrf;
    QTcpSocket* m_live = nullptr;
    QTemporaryDir m_dir;    // the certificate and its key

private slots:
    void api_data()
    {
        QTest::addColumn<QString>("setup");      // "user" to log in as, then flags: noview nocsrf wrongcsrf logout origin
        QTest::addColumn<QString>("request");    // "METHOD PATH [BODY]"
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("reply");      // regular expression over the body
        QTest::addColumn<QStringList>("effects");
        const QString admin = "web:admin@192.0.2.7 ";
        auto row = [](const char* name, const QString& setup, const QString& request, int status, const QString& reply,
                      const QStringList& effects = {}) { QTest::newRow(name) << setup << request << status << reply << effects; };
        row("site", "", "GET /api/units", 200, "^\\{\"units\":\\[\\{\"alarms\":1,\"batteryCharge\":87.5,\"batteryRuntime\":null,"
            "\"comm\":\"ok\",\"dataAge\":2,\"description\":\"Rack UPS1\",.*\"load\":45,\"name\":\"UPS1\",.*\"status\":\"OL CHRG\"\\},"
            "\\{.*\"comm\":\"lost\".*\"name\":\"LOST\"");
        row("unit", "", "GET /api/units/UPS1/", 200, "\"energyFlow\":\\{\"paths\":\\{\"bypass->load\":true\\}\\}.*"
            "\"tables\":\\[\\{\"title\":\"Input\"\\}\\],\"values\":\\{\"battery.charge\":87.5,\"device.model\":\"VEK5\"");
        row("unknown unit", "", "GET /api/units/UPS9", 404, "^\\{\"error\":\"unknown unit \\\\\"UPS9\\\\\"\"\\}$");
        row("alarms", "", "GET /api/units/UPS1/alarms", 200, "\\[\\{\"index\":325,\"text\":\"Rectifier_Fan failure\"\\}\\]");
        row("alarms of an unknown unit", "", "GET /api/units/UPS9/alarms", 404, "unknown unit \\\\\"UPS9\\\\\"");
        row("events, the oldest gone", "", "GET /api/units/UPS1/events", 200,
            "\"events\":\\[\\{\"seq\":2,\"text\":\"mid\"\\},\\{\"seq\":4,\"text\":\"b\"\\}\\],\"last\":4");
        row("events since", "", "GET /api/units/UPS1/events?since=2", 200, "\"events\":\\[\\{\"seq\":4,\"text\":\"b\"\\}\\],");
        row("events since garbage", "", "GET /api/units/UPS1/events?since=-4", 400, "since must be");
        row("events of an unknown unit", "", "GET /api/units/UPS9/events", 404, "unknown unit");
        row("catalogue", "", "GET /api/catalogue", 200, "\"name\":\"beeper.disable\".*\\{\"label\":\"Battery numbers\",\"max\":180,"
            "\"min\":16,\"name\":\"vek5.battery.numbers\",\"point\":3017\\}.*\"tables\":\\[\\{\"rows\":");
        row("no such page", "", "GET /api/nothing", 404, "no such page");
        row("wrong method", "", "DELETE /api/units/UPS1", 405, "DELETE not allowed");
        row("pages", "", "GET /", 200, "^<!DOCTYPE html>.*/static/site.js");
        row("page script", "", "GET /static/unit.js", 200, "EventSource|UPS.live");
        row("no such script", "", "GET /static/x.js", 404, "no such file");
        row("metrics", "", "GET /metrics", 200, "^up 1$");
        row("history", "", "GET /api/units/UPS1/history.csv", 200, "^Time,Code\n$");
        row("no history", "", "GET /api/units/LOST/history.csv", 404, "no history export of LOST");
        row("history of an unknown unit", "", "GET /api/units/UPS9/history.csv", 404, "unknown unit");
        row("session", "admin", "GET /api/session", 200, "\"csrfToken\":\"[0-9a-f]{32}\",\"mayFsd\":true,\"maySet\":true,\"user\":\"admin\"");
        row("view needs login", "noview", "GET /api/units", 401, "login required");
        row("logged in may view", "admin noview", "GET /api/units/UPS1/alarms", 200, "Rectifier");
        row("command without login", "", "POST /api/units/UPS1/commands/beeper.disable", 403, "login required");
        row("command", "admin", "POST /api/units/UPS1/commands/beeper.disable", 202, "\"queued\":true",
            {admin + "cmd UPS1 beeper.disable"});
        row("command by id with value", "admin", "POST /api/units/UPS1/commands/1004 {\"value\": 5}", 202,
            "\"command\":\"test.battery.start\"", {admin + "cmd UPS1 test.battery.start 5"});
        row("history file named by the console", "admin", "POST /api/units/UPS1/commands/vek5.history.download", 202, "",
            {admin + "cmd UPS1 vek5.history.download UPS1-history.csv"});
        row("no csrf token", "admin nocsrf", "POST /api/units/UPS1/commands/beeper.disable", 403, "X-CSRF-Token");
        row("wrong csrf token", "admin nocsrf wrongcsrf", "PUT /api/units/UPS1/settings/3017 {\"value\": 40}", 403, "X-CSRF-Token");
        row("after logout", "admin logout", "POST /api/units/UPS1/commands/beeper.disable", 403, "login required");
        row("no right", "beep", "POST /api/units/UPS1/commands/beeper.disable", 403, "user beep may not run beeper.disable");
        row("unknown command", "admin", "POST /api/units/UPS1/commands/self.destruct", 404, "unknown command");
        row("command to an unknown unit", "admin", "POST /api/units/UPS9/commands/beeper.disable", 404, "unknown unit");
        row("forced shutdown of an unknown unit", "admin", "POST /api/units/UPS9/fsd", 404, "unknown unit");
        row("forced shutdown", "admin", "POST /api/units/UPS1/fsd", 202, "\"fsd\":true", {admin + "fsd UPS1"});
        row("forced shutdown without the right", "beep", "POST /api/units/UPS1/fsd", 403, "may not force a shutdown");
        row("silent unit", "admin", "POST /api/units/LOST/commands/beeper.disable", 409, "not communicating");
        row("malformed body", "admin", "POST /api/units/UPS1/commands/beeper.disable {\"value\"", 400, "not a JSON object");
        row("setting", "admin", "PUT /api/units/UPS1/settings/vek5.battery.numbers {\"value\": 40}", 202,
            "\"setting\":\"vek5.battery.numbers\"", {admin + "set UPS1 3017 40"});
        row("setting by point", "admin", "PUT /api/units/UPS1/settings/3017 {\"value\": \"20\"}", 202, "", {admin + "set UPS1 3017 20"});
        row("setting out of range", "admin", "PUT /api/units/UPS1/settings/vek5.battery.numbers {\"value\": 400}", 422,
            "\"max\":180,\"min\":16");
        row("setting not an option", "admin", "PUT /api/units/UPS1/settings/vek5.forbid.bypass {\"value\": \"Maybe\"}", 422,
            "\"options\":\\[\"Enable\",\"Disable\"\\]");
        row("options in the unit's order", "admin", "PUT /api/units/UPS1/settings/vek5.charge.current.limit {\"value\": \"13.0\"}",
            422, "\"options\":\\[\"0.5\",\"1.0\",\"2.0\",\"3.0\"");
        row("setting without value", "admin", "PUT /api/units/UPS1/settings/3017 [40]", 400, "must be");
        row("setting neither number nor text", "admin", "PUT /api/units/UPS1/settings/3017 {\"value\": true}", 400, "must be");
        row("setting unknown", "admin", "PUT /api/units/UPS1/settings/ups.load {\"value\": 1}", 404, "unknown setting");
        row("setting of an unknown unit", "admin", "PUT /api/units/UPS9/settings/3017 {\"value\": 40}", 404, "unknown unit");
        row("setting of a silent unit", "admin", "PUT /api/units/LOST/settings/3017 {\"value\": 40}", 409, "unit LOST is not communicating");
        row("setting without right", "beep", "PUT /api/units/UPS1/settings/3017 {\"value\": 40}", 403, "may not change settings");
        row("login wrong password", "", "POST /api/login {\"user\":\"admin\",\"password\":\"no\"}", 401, "wrong user or password");
        row("login without a user", "", "POST /api/login {\"password\":\"pw\"}", 401, "wrong user or password");
        row("login body not JSON", "", "POST /api/login user=admin", 400, "not a JSON object");
        row("login from elsewhere", "origin", "POST /api/login {\"user\":\"admin\",\"password\":\"pw\"}", 403, "another origin");
    }

    void api()
    {
        QFETCH(QString, setup);
        QFETCH(QString, request);
        QFETCH(int, status);
        QFETCH(QString, reply);
        QFETCH(QStringList, effects);

        QTemporaryDir history;
        QVERIFY(writeFile(history.filePath("UPS1-history.csv"), "Time,Code\n"));
        FakeUnits units = twoUnits();
        EventRing events(2);
        for (const char* text : {"old", "mid", "a", "b"})
            events.append(text == QLatin1String("a") ? "LOST" : "UPS1", QJsonObject{{"text", text}});
        WebApi api(&units, &events);
        NutUsers users;
        QStringList problems;
        users.parse("[admin]\npassword=pw\nactions=SET FSD\ninstcmds=ALL\n[beep]\npassword=pw\ninstcmds=beeper.enable\n", &problems);
        api.configure(users, WebApi::Options{!setup.contains("noview"), history.path(), 60000, 4});
        api.setMetrics([] { return QByteArray("up 1"); });
        api.setForceShutdown([&units](const QString& unit, const QString& who, QString*) { return units.effects << who + " fsd " + unit, true; });

        WebRequest r;
        r.peer = "192.0.2.7";
        r.host = "ups.example:8080";
        r.nowMs = 1000;
        const QString user = setup.section(' ', 0, 0);
        if (user == "admin" || user == "beep") {
            r.method = "POST";
            r.path = "/api/login";
            r.contentType = "application/json";
            r.origin = "http://ups.example:8080";
            r.body = QString("{\"user\":\"%1\",\"password\":\"pw\"}").arg(user).toUtf8();
            const WebResponse in = api.handle(r);
            QCOMPARE(in.status, 200);
            r.cookie = in.headers.value(0).second.split(';').first();
            QVERIFY(in.headers.value(0).second.endsWith("; HttpOnly; SameSite=Strict"));
            r.csrfToken = setup.contains("nocsrf") ? QByteArray(setup.contains("wrongcsrf") ? "0123" : "")
                                                   : QJsonDocument::fromJson(in.body).object().value("csrfToken").toString().toLatin1();
            if (setup.contains("logout")) {
                r.path = "/api/logout";
                QCOMPARE(api.handle(r).status, 200);
            }
        }
        if (setup.contains("origin"))
            r.origin = "http://evil.example";
        const QStringList parts = request.split(' ');
        r.method = parts.at(0).toLatin1();
        r.path = parts.at(1).section('?', 0, 0);
        r.query = parts.at(1).section('?', 1);
        r.body = parts.mid(2).join(' ').toUtf8();
        r.contentType = "application/json";
        const WebResponse out = api.handle(r);
        QVERIFY2(out.status == status, qPrintable(QString("%1 %2").arg(out.status).arg(QString::fromUtf8(out.body))));
        QVERIFY2(QRegularExpression(reply, QRegularExpression::DotMatchesEverythingOption).match(QString::fromUtf8(out.body)).hasMatch(),
                 out.body.constData());
        QCOMPARE(units.effects, effects);
    }

    void server_data()
    {
        QTest::addColumn<QByteArray>("request");   // "METHOD PATH", then the body
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("reply");
        QTest::addColumn<QStringList>("effects");
        QTest::newRow("body too large") << "POST /api/login " + QByteArray(70000, 'x') << 413 << "over 65536 bytes" << QStringList{};
        QTest::newRow("login") << QByteArray("POST /api/login {\"user\":\"admin\",\"password\":\"pw\"}") << 200 << "csrfToken"
                               << QStringList{};
        QTest::newRow("change on the main thread") << QByteArray("POST /api/units/UPS1/commands/beeper.disable") << 202 << "queued"
                                                   << QStringList{"web:admin@127.0.0.1 cmd UPS1 beeper.disable"};
        QTest::newRow("live stream") << QByteArray("GET /api/events") << 200 << "pushed" << QStringList{};
        QTest::newRow("one live page at most") << QByteArray("GET /api/events") << 503 << "too many live pages" << QStringList{};
    }

    void server()
    {
        QFETCH(QByteArray, request);
        QFETCH(int, status);
        QFETCH(QString, reply);
        QFETCH(QStringList, effects);
        if (!m_server) {
            WebSettings settings;
            QString error;
            QVERIFY(WebSettings::parseListen("127.0.0.1:0", &settings, &error));
            settings.maxClients = 2;    // one live page
            settings.certificate = m_dir.filePath("web.pem");
            settings.key = m_dir.filePath("web.key");
            QProcess openssl;
            openssl.start("openssl", {"req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2",
                                      "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", settings.key,
                                      "-out", settings.certificate});
            QVERIFY2(openssl.waitForFinished(30000) && openssl.exitCode() == 0, "no certificate (scripts/install-deps.sh installs openssl)");
            NutUsers users;
            QStringList problems;
            users.parse("[admin]\npassword=pw\ninstcmds=ALL\n", &problems);
            m_server = std::make_unique<WebServer>(&m_units);
            QVERIFY2(m_server->start(settings, users, QString(), &error), qPrintable(error));
        }
        m_units.effects.clear();
        // A client on the main thread: QNetworkAccessManager's own thread hands over where TSan cannot see.
        auto* socket = new QSslSocket(this);
        QSslConfiguration tls = socket->sslConfiguration();
        tls.setCaCertificates(QSslCertificate::fromPath(m_dir.filePath("web.pem")));
        socket->setSslConfiguration(tls);
        socket->connectToHostEncrypted("127.0.0.1", quint16(m_server->port()));
        QTRY_VERIFY_WITH_TIMEOUT(socket->isEncrypted(), 10000);    // the server's front runs on this thread
        const QByteArrayList words = request.split(' ');
        const QByteArray body = words.mid(2).join(' ');
        socket->write(words.at(0) + ' ' + words.at(1) + " HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n"
                      "Content-Length: " + QByteArray::number(body.size()) + "\r\nCookie: " + m_cookie + "\r\nX-CSRF-Token: "
                      + m_csrf + "\r\n\r\n" + body);
        QByteArray got;
        connect(socket, &QTcpSocket::readyRead, this, [&got, socket] { got += socket->readAll(); });
        if (reply == "pushed") {     // the stream stays open: push to it
            m_live = socket;
            QTRY_VERIFY_WITH_TIMEOUT(got.contains("event: status"), 10000);
            m_server->record("UPS1", QJsonObject{{"text", "pushed"}});
            QTRY_VERIFY_WITH_TIMEOUT(got.contains("\"text\":\"pushed\""), 10000);
            QVERIFY(got.contains("id: 1\nevent: event\ndata: {\"seq\":1,\"text\":\"pushed\"}\n\n"));
            disconnect(socket, nullptr, this, nullptr);
            return;
        }
        QTRY_VERIFY_WITH_TIMEOUT(socket->state() == QAbstractSocket::UnconnectedState, 10000);
        got += socket->readAll();
        QVERIFY2(got.startsWith("HTTP/1.1 " + QByteArray::number(status) + ' '), got.constData());
        QVERIFY2(got.contains(reply.toUtf8()), got.constData());
        const QRegularExpressionMatch cookie = QRegularExpression("Set-Cookie: (upsmon_session=[0-9a-f]+)").match(got);
        if (cookie.hasMatch()) {
            m_cookie = cookie.captured(1).toLatin1();
            m_csrf = QJsonDocument::fromJson(got.mid(got.indexOf("\r\n\r\n") + 4)).object().value("csrfToken").toString().toLatin1();
        }
        QCOMPARE(m_units.effects, effects);
    }

    void cleanupTestCase()
    {
        // A live page open does not hold the stop up, and sees its stream end.
        QElapsedTimer stopping;
        stopping.start();
        m_server.reset();
        QVERIFY2(stopping.elapsed() < 2500, qPrintable(QString::number(stopping.elapsed())));
        QVERIFY(m_live);
        QTRY_VERIFY_WITH_TIMEOUT(m_live->state() == QAbstractSocket::UnconnectedState, 5000);
    }
};

QTEST_GUILESS_MAIN(tst_web_api)
#include "tst_web_api.moc"
