// The NUT server: framing, login guard, sessions over a table of units, client limits over loopback.

#include <QtTest>

#include "TestRig.h"
#include "NutLineParser.h"
#include "NutLoginGuard.h"
#include "NutServer.h"
#include "NutSession.h"
#include "NutUsers.h"
#include "FakeUnits.h"

namespace {

// Three units: one communicating, one that lost communication, one never heard.
FakeUnits threeUnits()
{
    UnitStatus s;
    s.dataAgeSeconds = 1;
    s.flags = QStringList{"OL", "CHRG"};
    s.values = {{"battery.charge", 87.5}, {"ups.load", 45.0}, {"device.model", "VEK5 \"X\""},
                {"vek5.battery.numbers", 40}, {"vek5.charge.current.limit", "1.0"}, {"input.voltage.nominal", 230}};
    s.alarms = {{325, "Rectifier_Fan failure"}};
    FakeUnits units = FakeUnits::pair(s);
    s.dataAgeSeconds = -1;
    units.add("NEW", UnitStatus::Comm::Lost, s);
    return units;
}

const char* const kUsers = "# users\npassword = none\n[admin]\n  password = pw\n  actions = SET\n  instcmds = ALL\n[beep]\n password=pw\n"
    " instcmds = beeper.enable\n[mon]\n password = pw\n upsmon secondary\n[boss]\n password = \"p w\"\n upsmon master\n"
    "stray line\n[bad\n";

} // namespace

class tst_nut_session : public QObject
{
    Q_OBJECT
private slots:
    void framing_data()
    {
        QTest::addColumn<QByteArrayList>("chunks");
        QTest::addColumn<QStringList>("lines");    // each line's words joined by "|"
        QTest::addColumn<bool>("overflow");
        QTest::newRow("split across reads") << QByteArrayList{"LIST V", "AR UPS1\r\nGET", " VAR a b\n"} << QStringList{"LIST|VAR|UPS1", "GET|VAR|a|b"} << false;
        QTest::newRow("quotes and escapes") << QByteArrayList{"SET VAR u v \"a \\\"b\\\" \\\\c\"  x\"y z\"\n"} << QStringList{"SET|VAR|u|v|a \"b\" \\c|xy z"} << false;
        QTest::newRow("empty quoted word") << QByteArrayList{"PASSWORD \"\"\n"} << QStringList{"PASSWORD|"} << false;
        QTest::newRow("open quote, trailing backslash") << QByteArrayList{"GET \"VAR\nGET VAR\\\n"} << QStringList{"!", "!"} << false;
        QTest::newRow("line too long") << QByteArrayList{"VER\n", QByteArray(40, 'x'), QByteArray(30, 'y') + "\nVER\n"} << QStringList{"VER"} << true;
        QTest::newRow("long line in one read") << QByteArrayList{QByteArray(70, 'x') + "\nVER\n"} << QStringList{} << true;
    }

    void framing()
    {
        QFETCH(QByteArrayList, chunks);
        NutLineParser parser(64);
        QStringList got;
        for (const QByteArray& chunk : chunks) {
            parser.append(chunk);
            QByteArray line;
            while (parser.takeLine(&line)) {
                QStringList words;
                got += NutLineParser::split(line, &words) ? words.join('|') : QString("!");
            }
        }
        QTEST(got, "lines");
        QTEST(parser.overflowed(), "overflow");
        // Quoting is the inverse of splitting.
        QStringList back;
        QVERIFY(NutLineParser::split("W " + NutLineParser::quote("a \"b\" \\c\nd"), &back));
        QCOMPARE(back, QStringList({"W", "a \"b\" \\c d"}));
    }

    void guard_data()
    {
        QTest::addColumn<QString>("failures");  // "ADDRESS@SECONDS,..." in order
        QTest::addColumn<int>("at");            // seconds
        QTest::addColumn<QString>("blocked");   // addresses refused then
        QTest::newRow("five within a minute") << "A@0,A@10,A@20,A@30,A@59" << 59 << "A";
        QTest::newRow("the first a minute before the fifth") << "A@0,A@10,A@20,A@30,A@60" << 60 << "";
        QTest::newRow("blocked for a minute") << "A@0,A@1,A@2,A@3,A@4,B@5" << 63 << "A";
        QTest::newRow("block over") << "A@0,A@1,A@2,A@3,A@4" << 64 << "";
    }

    // Failed logins from one address within a minute block it for a minute.
    void guard()
    {
        QFETCH(QString, failures);
        QFETCH(int, at);
        NutLoginGuard guard;
        for (const QString& f : failures.split(','))
            guard.failed(f.section('@', 0, 0), "u", f.section('@', 1).toLongLong() * 1000);
        QStringList refused;
        for (const QString address : {"A", "B"})
            if (guard.blocked(address, at * 1000LL))
                refused += address;
        QTEST(refused.join(','), "blocked");
    }

    void session_data()
    {
        QTest::addColumn<QStringList>("script");   // request lines
        QTest::addColumn<QString>("reply");        // regular expression over the last replies, "^" at a reply's start
        QTest::addColumn<QStringList>("effects");  // what reached the units
        const QString admin = "USERNAME admin|PASSWORD pw|";
        auto row = [](const char* name, const QString& script, const QString& reply, const QStringList& effects = {}) {
            QTest::newRow(name) << script.split('|') << reply << effects;
        };
        row("server", "VER||NETVER|HELP|STARTTLS|REQ UPS1 ups.status", "^upsmon-host NUT server \\(protocol 1.3\\)\n1.3\n"
            "Commands: .*INSTCMD.*\nERR FEATURE-NOT-CONFIGURED\nERR UNKNOWN-COMMAND\n$");
        row("request errors", "GET VAR \"UPS1 ups.status|GET THING UPS1|LIST VAR|LIST ENUM UPS1 ups.load|LIST VAR UPS9|LIST VAR LOST",
            "^ERR INVALID-ARGUMENT\nERR INVALID-ARGUMENT\nERR INVALID-ARGUMENT\nERR VAR-NOT-SUPPORTED\nERR UNKNOWN-UPS\nERR DATA-STALE\n$");
        row("list ups", "LIST UPS", "^BEGIN LIST UPS\nUPS UPS1 \"Rack UPS1\"\nUPS LOST \"Rack LOST\"\nUPS NEW \"Rack NEW\"\nEND LIST UPS\n$");
        row("list var", "list var UPS1",
            "^BEGIN LIST VAR UPS1\n(VAR UPS1 .*\n)*VAR UPS1 battery.charge \"87.5\"\nVAR UPS1 device.model \"VEK5 \\\\\"X\\\\\"\"\n"
            "(VAR UPS1 .*\n)*VAR UPS1 ups.alarm \"Rectifier_Fan failure\"\nVAR UPS1 ups.load \"45\"\nVAR UPS1 ups.status \"OL CHRG\"\n"
            "VAR UPS1 vek5.battery.numbers \"40\"\nVAR UPS1 vek5.charge.current.limit \"1.0\"\nEND LIST VAR UPS1\n$");
        row("list rw", "LIST RW UPS1", "^BEGIN LIST RW UPS1\nRW UPS1 input.voltage.nominal \"230\"\nRW UPS1 vek5.battery.numbers \"40\"\n"
                                       "RW UPS1 vek5.charge.current.limit \"1.0\"\nEND LIST RW UPS1\n$");
        row("list cmd", "LIST CMD UPS1", "^BEGIN LIST CMD UPS1\n(CMD UPS1 .*\n)*CMD UPS1 beeper.disable\n(CMD UPS1 .*\n)*END LIST CMD UPS1\n$");
        row("list enum", "LIST ENUM UPS1 vek5.com.a.baud.rate.set", "^BEGIN LIST ENUM UPS1 vek5.com.a.baud.rate.set\n(ENUM UPS1 "
            "vek5.com.a.baud.rate.set \"(19200|2400|4800|9600)\"\n){4}END LIST ENUM UPS1 vek5.com.a.baud.rate.set\n$");
        row("get var", "GET VAR UPS1 ups.status", "^VAR UPS1 ups.status \"OL CHRG\"\n$");
        row("list range scaled", "LIST RANGE UPS1 vek5.cell.float.voltage", "^BEGIN LIST RANGE UPS1 vek5.cell.float.voltage\n"
            "RANGE UPS1 vek5.cell.float.voltage \"2.10\" \"3.65\"\nEND LIST RANGE UPS1 vek5.cell.float.voltage\n$");
        row("get errors", "GET VAR UPS1 ups.nothing|GET VAR UPS9 ups.status|GET VAR LOST ups.status|GET VAR NEW ups.status",
            "^ERR VAR-NOT-SUPPORTED\nERR UNKNOWN-UPS\nERR DATA-STALE\nERR DRIVER-NOT-CONNECTED\n$");
        row("types", "GET TYPE UPS1 vek5.battery.numbers|GET TYPE UPS1 input.voltage.nominal|GET TYPE UPS1 ups.load|GET TYPE UPS1 device.model",
            "^TYPE UPS1 vek5.battery.numbers RW RANGE\nTYPE UPS1 input.voltage.nominal RW ENUM\nTYPE UPS1 ups.load NUMBER\nTYPE UPS1 device.model STRING:8\n$");
        row("descriptions", "GET DESC UPS1 vek5.battery.numbers|GET DESC UPS1 ups.load|GET CMDDESC UPS1 beeper.disable|GET CMDDESC UPS1 1010|GET UPSDESC UPS1",
            "^DESC UPS1 vek5.battery.numbers \"Battery numbers\"\nDESC UPS1 ups.load \"Unavailable\"\n"
            "CMDDESC UPS1 beeper.disable \"Disable the UPS beeper\"\nERR CMD-NOT-SUPPORTED\nUPSDESC UPS1 \"Rack UPS1\"\n$");
        row("no user", "SET VAR UPS1 vek5.battery.numbers 40|INSTCMD UPS1 load.off", "^ERR USERNAME-REQUIRED\nERR USERNAME-REQUIRED\n$");
        row("credentials", "PASSWORD \"\"|USERNAME admin|USERNAME mon|SET VAR UPS1 vek5.battery.numbers 40|PASSWORD no|PASSWORD pw|"
            "SET VAR UPS1 vek5.battery.numbers 40", "^ERR INVALID-PASSWORD\nOK\nERR ALREADY-SET-USERNAME\nERR PASSWORD-REQUIRED\nOK\n"
            "ERR ALREADY-SET-PASSWORD\nERR ACCESS-DENIED\n$");
        row("commands by name", "USERNAME beep|PASSWORD pw|SET VAR UPS1 vek5.battery.numbers 40|INSTCMD UPS1 load.off|INSTCMD UPS1 beeper.enable",
            "^ERR ACCESS-DENIED\nERR ACCESS-DENIED\nOK\n$", {"beep@10.0.0.7 cmd UPS1 beeper.enable"});
        row("settings", admin + "SET VAR UPS1 vek5.battery.numbers 32|SET VAR UPS1 vek5.cell.float.voltage 2.25|"
            "SET VAR UPS1 vek5.auto.power.on Enable|SET VAR UPS1 vek5.charge.current.limit 0.5", "^OK\nOK\nOK\nOK\n$",
            QString("set UPS1 3017 32|set UPS1 3019 225|set UPS1 3054 0|set UPS1 3023 50").split('|').replaceInStrings(QRegularExpression("^"), "admin@10.0.0.7 "));
        row("setting errors", admin + "SET VAR UPS1 vek5.battery.numbers 181|SET VAR UPS1 vek5.cell.float.voltage 2.255|"
            "SET VAR UPS1 vek5.auto.power.on maybe|SET VAR UPS1 ups.load 10|SET VAR UPS1 ups.nothing 10|SET VAR LOST vek5.battery.numbers 40|"
            "SET TRACKING ON", "^ERR INVALID-VALUE\nERR INVALID-VALUE\nERR INVALID-VALUE\nERR READONLY\nERR VAR-NOT-SUPPORTED\n"
            "ERR DATA-STALE\nERR INVALID-ARGUMENT\n$");
        row("commands", admin + "INSTCMD UPS1 beeper.disable|INSTCMD UPS1 test.battery.start 5", "^OK\nOK\n$",
            {"admin@10.0.0.7 cmd UPS1 beeper.disable", "admin@10.0.0.7 cmd UPS1 test.battery.start 5"});
        row("command errors", admin + "INSTCMD UPS1 load.explode|INSTCMD LOST beeper.disable|INSTCMD NEW beeper.disable|LOGIN UPS1",
            "^ERR CMD-NOT-SUPPORTED\nERR DATA-STALE\nERR DRIVER-NOT-CONNECTED\nERR ACCESS-DENIED\n$");
        row("secondary", "USERNAME mon|PASSWORD pw|LOGIN UPS1|GET NUMLOGINS UPS1|LIST CLIENT UPS1|LOGIN UPS1|PRIMARY UPS1|FSD UPS1",
            "^OK\nNUMLOGINS UPS1 1\nBEGIN LIST CLIENT UPS1\nCLIENT UPS1 10.0.0.7\nEND LIST CLIENT UPS1\n"
            "ERR ALREADY-LOGGED-IN\nERR ACCESS-DENIED\nERR ACCESS-DENIED\n$");
        row("primary", "USERNAME boss|PASSWORD \"p w\"|PRIMARY UPS1|MASTER UPS1|FSD UPS1|GET VAR UPS1 ups.status|LOGIN UPS9",
            "^OK PRIMARY-GRANTED\nOK MASTER-GRANTED\nOK FSD-SET\nVAR UPS1 ups.status \"FSD OL CHRG\"\nERR UNKNOWN-UPS\n$");
        row("logout", "LOGOUT", "^OK Goodbye\n$");
        row("word counts", "PROTVER|USERNAME|GET VAR|GET NUMLOGINS UPS1 x|LIST|SET VAR UPS1|INSTCMD UPS1|LOGIN|PRIMARY|FSD|PRIMARY UPS1",
            "^1.3\nERR INVALID-USERNAME\n(ERR INVALID-ARGUMENT\n){8}ERR USERNAME-REQUIRED\n$");
        row("rights for a unit", "USERNAME mon|PASSWORD pw|PRIMARY UPS9|FSD UPS9|FSD UPS1", "^ERR UNKNOWN-UPS\nERR UNKNOWN-UPS\nERR ACCESS-DENIED\n$");
    }

    void session()
    {
        QFETCH(QStringList, script);
        QFETCH(QString, reply);
        NutUsers users;
        QStringList problems;
        users.parse(kUsers, &problems);
        QCOMPARE(problems.join('|'), "line 2: outside a [user] section|line 16: unknown keyword|line 17: bad section name");
        FakeUnits units = threeUnits();
        NutServerState state;
        {
            NutSession session(&units, &users, &state, "10.0.0.7");
            QByteArray all;
            for (const QString& line : script)
                all += session.handle(line.toUtf8());
            const QString pattern = "(^|\n)" + reply.mid(1);
            QVERIFY2(QRegularExpression(pattern, QRegularExpression::DotMatchesEverythingOption).match(all).hasMatch(),
                     all.constData());
            QTEST(units.effects, "effects");
            QCOMPARE(session.finished(), script.last() == "LOGOUT");
        }
        QVERIFY(state.logins.isEmpty());   // a closed session no longer counts as logged in
    }

    void serverLimits_data()
    {
        QTest::addColumn<int>("maxClients");
        QTest::addColumn<int>("idleTimeout");
        QTest::addColumn<QStringList>("sent");      // one client each, in turn: requests split by '|', "-" none; "ADDR>" binds
        QTest::addColumn<QStringList>("read");      // each client's last reply line, or "closed"
        QTest::addColumn<QStringList>("logged");    // "N text": N lines of the log hold the text
        QTest::addColumn<QString>("shutdown");      // then a forced shutdown: held until the first client's "LOGOUT" or "hostSync"
        QTest::newRow("clients too many, logged once") << 1 << 300 << QStringList{"VER", "LOGOUT", "LOGOUT"}
            << QStringList{"upsmon-host NUT server (protocol 1.3)", "closed", "closed"}
            << QStringList{"1 refused a connection from 127.0.0.1: 1 clients (maxClients)"} << "";
        QTest::newRow("line too long") << 64 << 300 << QStringList{QString(600, 'x')} << QStringList{"ERR TOO-LONG"} << QStringList() << "";
        QTest::newRow("idle client dropped") << 64 << 1 << QStringList{"-"} << QStringList{"closed"} << QStringList() << "";
        // Guessing from one address shuts that address out after five tries, unchecked and unlogged.
        QTest::newRow("password guessing") << 64 << 300 << QStringList{"USERNAME mon|PASSWORD no" + QString("|LOGIN UPS1").repeated(200),
            "USERNAME mon|PASSWORD pw|LOGIN UPS1", "127.0.0.2>USERNAME mon|PASSWORD pw|LOGIN UPS1"}
            << QStringList{"ERR ACCESS-DENIED", "ERR ACCESS-DENIED", "OK"}
            << QStringList{"5 NUT login failed: user \"mon\" from 127.0.0.1", "1 127.0.0.1: 5 failed logins within 60 s; its logins are refused for 60 s"} << "";
        QTest::newRow("shutdown waits for a secondary to log out") << 64 << 300 << QStringList{"USERNAME mon|PASSWORD pw|LOGIN UPS1"}
            << QStringList{"OK"} << QStringList{"0 NUT clients still logged in"} << "LOGOUT";
        QTest::newRow("shutdown waits hostSync at most") << 64 << 300 << QStringList{"USERNAME mon|PASSWORD pw|LOGIN NEW"}
            << QStringList{"OK"} << QStringList{"1 NUT clients still logged in to UPS1, LOST, NEW after 1 s; shutting down"} << "hostSync";
    }

    void serverLimits()
    {
        QFETCH(QStringList, sent);
        QFETCH(QStringList, logged);
        NutServerConfig config;
        config.listen = {qMakePair(QHostAddress(QHostAddress::LocalHost), quint16(0))};
        QFETCH(int, maxClients);
        QFETCH(int, idleTimeout);
        config.maxClients = maxClients;
        config.idleTimeout = idleTimeout;
        QFETCH(QString, shutdown);
        config.hostSync = shutdown == "hostSync" ? 1 : 60;
        NutUsers users;
        QStringList problems;
        users.parse(kUsers, &problems);
        FakeUnits units = threeUnits();
        NutServer server(&units);
        MessageCapture log;
        server.start(config, users);
        // Each client has its answers before the next connects; all stay connected.
        std::vector<std::unique_ptr<QTcpSocket>> clients;
        QStringList read;
        for (const QString& text : sent) {
            clients.emplace_back(new QTcpSocket);
            QTcpSocket& c = *clients.back();
            QVERIFY(!text.contains('>') || c.bind(QHostAddress(text.section('>', 0, 0))));
            c.connectToHost(QHostAddress::LocalHost, server.ports().value(0));
            QVERIFY(c.waitForConnected(5000));
            const QStringList requests = text == "-" ? QStringList() : text.section('>', -1).split('|');
            for (const QString& r : requests)
                c.write(r.toUtf8() + "\n");
            QStringList replies;
            QVERIFY(QTest::qWaitFor([&] {
                while (c.canReadLine())
                    replies += QString::fromUtf8(c.readLine()).trimmed();
                return (!requests.isEmpty() && replies.size() >= requests.size()) || c.state() != QAbstractSocket::ConnectedState;
            }, 10000));
            read += replies.isEmpty() ? QStringLiteral("closed") : replies.last();
        }
        QTEST(read, "read");
        bool proceeded = false;
        if (!shutdown.isEmpty()) {
            server.holdShutdown([&proceeded] { proceeded = true; });
            QVERIFY(!proceeded);
            if (shutdown == "LOGOUT")
                clients.front()->write("LOGOUT\n");
            QTRY_VERIFY_WITH_TIMEOUT(proceeded, 20000);
        }
        for (const QString& l : logged)
            QVERIFY2(MessageCapture::lines().filter(l.section(' ', 1)).size() == l.section(' ', 0, 0).toInt(),
                     qPrintable(MessageCapture::lines().join('\n')));
    }
};

QTEST_GUILESS_MAIN(tst_nut_session)
#include "tst_nut_session.moc"
