// The NUT server's pure parts: framing and word splitting, the users file,
// and the session state machine against a table-driven unit directory.

#include <QTemporaryDir>
#include <QtTest>

#include "NutLineParser.h"
#include "NutSession.h"
#include "NutUsers.h"
#include "UnitDirectory.h"

namespace {

class FakeDirectory : public UnitDirectory
{
public:
    QStringList units() const override { return {"UPS1", "LOST", "NEW"}; }
    QString description(const QString& unit) const override { return "Rack " + unit; }
    UnitStatus status(const QString& unit) const override
    {
        UnitStatus s;
        s.unit = unit;
        if (unit == "NEW")
            return s;
        s.comm = unit == "UPS1" ? UnitStatus::Comm::Ok : UnitStatus::Comm::Lost;
        s.dataAgeSeconds = 1;
        s.flags = QStringList{"OL", "CHRG"};
        s.values = {{"battery.charge", 87.5}, {"ups.load", 45.0}, {"device.model", "VEK5 \"X\""},
                    {"vek5.battery.numbers", 40}, {"vek5.charge.current.limit", "1.0"},
                    {"input.voltage.nominal", 230}};
        s.alarms = {{325, "Rectifier_Fan failure"}};
        return s;
    }
    bool sendCommand(const QString& unit, const QString& name, const QString& value, QString*) override
    {
        effects += QString("cmd %1 %2 %3").arg(unit, name, value).trimmed();
        return true;
    }
    bool writeSetting(const QString& unit, int point, int raw, QString*) override
    {
        effects += QString("set %1 %2 %3").arg(unit).arg(point).arg(raw);
        return true;
    }
    QStringList effects;
};

const char* const kUsers =
    "# users\n[admin]\n  password = pw\n  actions = SET\n  instcmds = ALL\n"
    "[beep]\n password=pw\n instcmds = beeper.enable\n"
    "[mon]\n password = pw\n upsmon secondary\n"
    "[boss]\n password = \"p w\"\n upsmon master\n"
    "stray line\n[bad\n";

} // namespace

class tst_nut_session : public QObject
{
    Q_OBJECT
private slots:
    void framing_data();
    void framing();
    void session_data();
    void session();
    void usersFile_data();
    void usersFile();
};

void tst_nut_session::framing_data()
{
    QTest::addColumn<QByteArrayList>("chunks");
    QTest::addColumn<QStringList>("lines");    // each line's words joined by "|"
    QTest::addColumn<bool>("overflow");
    QTest::newRow("split across reads") << QByteArrayList{"LIST V", "AR UPS1\r\nGET", " VAR a b\n"}
                                        << QStringList{"LIST|VAR|UPS1", "GET|VAR|a|b"} << false;
    QTest::newRow("quotes and escapes") << QByteArrayList{"SET VAR u v \"a \\\"b\\\" \\\\c\"  x\"y z\"\n"}
                                        << QStringList{"SET|VAR|u|v|a \"b\" \\c|xy z"} << false;
    QTest::newRow("empty quoted word") << QByteArrayList{"PASSWORD \"\"\n"} << QStringList{"PASSWORD|"} << false;
    QTest::newRow("unterminated quote") << QByteArrayList{"GET \"VAR\n"} << QStringList{"!"} << false;
    QTest::newRow("trailing backslash") << QByteArrayList{"GET VAR\\\n"} << QStringList{"!"} << false;
    QTest::newRow("line too long") << QByteArrayList{"VER\n", QByteArray(40, 'x'), QByteArray(30, 'y') + "\nVER\n"}
                                   << QStringList{"VER"} << true;
    QTest::newRow("long line in one read") << QByteArrayList{QByteArray(70, 'x') + "\nVER\n"} << QStringList{} << true;
}

void tst_nut_session::framing()
{
    QFETCH(QByteArrayList, chunks);
    QFETCH(QStringList, lines);
    QFETCH(bool, overflow);
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
    QCOMPARE(got, lines);
    QCOMPARE(parser.overflowed(), overflow);
    // Quoting is the inverse of splitting.
    QStringList back;
    QVERIFY(NutLineParser::split("W " + NutLineParser::quote("a \"b\" \\c\nd"), &back));
    QCOMPARE(back, QStringList({"W", "a \"b\" \\c d"}));
}

void tst_nut_session::session_data()
{
    QTest::addColumn<QStringList>("script");   // request lines; the last one's reply is checked
    QTest::addColumn<QString>("reply");        // regular expression over the whole reply
    QTest::addColumn<QStringList>("effects");  // what reached the units
    const QString admin = "USERNAME admin|PASSWORD pw|";
    auto row = [](const char* name, const QString& script, const QString& reply, const QStringList& effects = {}) {
        QTest::newRow(name) << script.split('|') << reply << effects;
    };
    row("version", "VER", "^upsmon-host NUT server \\(protocol 1.3\\)\n$");
    row("protocol version", "NETVER", "^1.3\n$");
    row("help", "HELP", "^Commands: .*INSTCMD.*\n$");
    row("no TLS", "STARTTLS", "^ERR FEATURE-NOT-CONFIGURED\n$");
    row("unknown command", "REQ UPS1 ups.status", "^ERR UNKNOWN-COMMAND\n$");
    row("bad quoting", "GET VAR \"UPS1 ups.status", "^ERR INVALID-ARGUMENT\n$");
    row("empty line", "", "^$");
    row("bad GET", "GET THING UPS1", "^ERR INVALID-ARGUMENT\n$");
    row("GET missing name", "GET VAR UPS1", "^ERR INVALID-ARGUMENT\n$");
    row("bad LIST", "LIST VAR", "^ERR INVALID-ARGUMENT\n$");
    row("list ups", "LIST UPS", "^BEGIN LIST UPS\nUPS UPS1 \"Rack UPS1\"\nUPS LOST \"Rack LOST\"\nUPS NEW \"Rack NEW\"\nEND LIST UPS\n$");
    row("list var", "list var UPS1",
        "^BEGIN LIST VAR UPS1\n(VAR UPS1 .*\n)*VAR UPS1 battery.charge \"87.5\"\nVAR UPS1 device.model \"VEK5 \\\\\"X\\\\\"\"\n"
        "(VAR UPS1 .*\n)*VAR UPS1 ups.alarm \"Rectifier_Fan failure\"\nVAR UPS1 ups.load \"45\"\nVAR UPS1 ups.status \"OL CHRG\"\n"
        "VAR UPS1 vek5.battery.numbers \"40\"\nVAR UPS1 vek5.charge.current.limit \"1.0\"\nEND LIST VAR UPS1\n$");
    row("list rw", "LIST RW UPS1", "^BEGIN LIST RW UPS1\nRW UPS1 input.voltage.nominal \"230\"\nRW UPS1 vek5.battery.numbers \"40\"\n"
                                   "RW UPS1 vek5.charge.current.limit \"1.0\"\nEND LIST RW UPS1\n$");
    row("list cmd", "LIST CMD UPS1", "^BEGIN LIST CMD UPS1\n(CMD UPS1 .*\n)*CMD UPS1 beeper.disable\n(CMD UPS1 .*\n)*END LIST CMD UPS1\n$");
    row("list range scaled", "LIST RANGE UPS1 vek5.cell.float.voltage", "^BEGIN LIST RANGE UPS1 vek5.cell.float.voltage\n"
        "RANGE UPS1 vek5.cell.float.voltage \"2.10\" \"3.65\"\nEND LIST RANGE UPS1 vek5.cell.float.voltage\n$");
    row("list enum", "LIST ENUM UPS1 vek5.com.a.baud.rate.set", "^BEGIN LIST ENUM UPS1 vek5.com.a.baud.rate.set\n"
        "ENUM UPS1 vek5.com.a.baud.rate.set \"19200\"\nENUM UPS1 vek5.com.a.baud.rate.set \"2400\"\n"
        "ENUM UPS1 vek5.com.a.baud.rate.set \"4800\"\nENUM UPS1 vek5.com.a.baud.rate.set \"9600\"\nEND LIST ENUM .*\n$");
    row("enum of a number", "LIST ENUM UPS1 vek5.battery.numbers", "^BEGIN LIST ENUM UPS1 vek5.battery.numbers\nEND LIST ENUM UPS1 vek5.battery.numbers\n$");
    row("enum of nothing", "LIST ENUM UPS1 ups.load", "^ERR VAR-NOT-SUPPORTED\n$");
    row("list unknown ups", "LIST VAR UPS9", "^ERR UNKNOWN-UPS\n$");
    row("list lost unit", "LIST VAR LOST", "^ERR DATA-STALE\n$");
    row("get var", "GET VAR UPS1 ups.status", "^VAR UPS1 ups.status \"OL CHRG\"\n$");
    row("get unknown var", "GET VAR UPS1 ups.nothing", "^ERR VAR-NOT-SUPPORTED\n$");
    row("get unknown ups", "GET VAR UPS9 ups.status", "^ERR UNKNOWN-UPS\n$");
    row("get lost unit", "GET VAR LOST ups.status", "^ERR DATA-STALE\n$");
    row("get before data", "GET VAR NEW ups.status", "^ERR DRIVER-NOT-CONNECTED\n$");
    row("type range", "GET TYPE UPS1 vek5.battery.numbers", "^TYPE UPS1 vek5.battery.numbers RW RANGE\n$");
    row("type enum", "GET TYPE UPS1 input.voltage.nominal", "^TYPE UPS1 input.voltage.nominal RW ENUM\n$");
    row("type number", "GET TYPE UPS1 ups.load", "^TYPE UPS1 ups.load NUMBER\n$");
    row("type string", "GET TYPE UPS1 device.model", "^TYPE UPS1 device.model STRING:8\n$");
    row("desc of a setting", "GET DESC UPS1 vek5.battery.numbers", "^DESC UPS1 vek5.battery.numbers \"Battery numbers\"\n$");
    row("desc of a reading", "GET DESC UPS1 ups.load", "^DESC UPS1 ups.load \"Unavailable\"\n$");
    row("command desc", "GET CMDDESC UPS1 beeper.disable", "^CMDDESC UPS1 beeper.disable \"Disable the UPS beeper\"\n$");
    row("command desc by id", "GET CMDDESC UPS1 1010", "^ERR CMD-NOT-SUPPORTED\n$");
    row("ups desc", "GET UPSDESC UPS1", "^UPSDESC UPS1 \"Rack UPS1\"\n$");
    row("set needs a user", "SET VAR UPS1 vek5.battery.numbers 40", "^ERR USERNAME-REQUIRED\n$");
    row("set needs a password", "USERNAME admin|SET VAR UPS1 vek5.battery.numbers 40", "^ERR PASSWORD-REQUIRED\n$");
    row("wrong password", "USERNAME admin|PASSWORD no|SET VAR UPS1 vek5.battery.numbers 40", "^ERR ACCESS-DENIED\n$");
    row("user twice", "USERNAME admin|USERNAME mon", "^ERR ALREADY-SET-USERNAME\n$");
    row("password twice", "PASSWORD a|PASSWORD b", "^ERR ALREADY-SET-PASSWORD\n$");
    row("empty password", "PASSWORD \"\"", "^ERR INVALID-PASSWORD\n$");
    row("set not allowed", "USERNAME beep|PASSWORD pw|SET VAR UPS1 vek5.battery.numbers 40", "^ERR ACCESS-DENIED\n$");
    row("set in range", admin + "SET VAR UPS1 vek5.battery.numbers 32", "^OK\n$", {"set UPS1 3017 32"});
    row("set out of range", admin + "SET VAR UPS1 vek5.battery.numbers 181", "^ERR INVALID-VALUE\n$");
    row("set not a number", admin + "SET VAR UPS1 vek5.battery.numbers 1e2", "^ERR INVALID-VALUE\n$");
    row("set scaled", admin + "SET VAR UPS1 vek5.cell.float.voltage 2.25", "^OK\n$", {"set UPS1 3019 225"});
    row("set finer than a step", admin + "SET VAR UPS1 vek5.cell.float.voltage 2.255", "^ERR INVALID-VALUE\n$");
    row("set reversed switch", admin + "SET VAR UPS1 vek5.auto.power.on Enable", "^OK\n$", {"set UPS1 3054 0"});
    row("set enum with ratio", admin + "SET VAR UPS1 vek5.charge.current.limit 0.5", "^OK\n$", {"set UPS1 3023 50"});
    row("set outside enum", admin + "SET VAR UPS1 vek5.auto.power.on maybe", "^ERR INVALID-VALUE\n$");
    row("set read-only", admin + "SET VAR UPS1 ups.load 10", "^ERR READONLY\n$");
    row("set unknown var", admin + "SET VAR UPS1 ups.nothing 10", "^ERR VAR-NOT-SUPPORTED\n$");
    row("set lost unit", admin + "SET VAR LOST vek5.battery.numbers 40", "^ERR DATA-STALE\n$");
    row("set tracking", admin + "SET TRACKING ON", "^ERR INVALID-ARGUMENT\n$");
    row("command", admin + "INSTCMD UPS1 beeper.disable", "^OK\n$", {"cmd UPS1 beeper.disable"});
    row("command with value", admin + "INSTCMD UPS1 test.battery.start 5", "^OK\n$", {"cmd UPS1 test.battery.start 5"});
    row("command allowed by name", "USERNAME beep|PASSWORD pw|INSTCMD UPS1 beeper.enable", "^OK\n$", {"cmd UPS1 beeper.enable"});
    row("command not allowed", "USERNAME beep|PASSWORD pw|INSTCMD UPS1 load.off", "^ERR ACCESS-DENIED\n$");
    row("command without login", "INSTCMD UPS1 load.off", "^ERR USERNAME-REQUIRED\n$");
    row("unknown command name", admin + "INSTCMD UPS1 load.explode", "^ERR CMD-NOT-SUPPORTED\n$");
    row("command to a lost unit", admin + "INSTCMD LOST beeper.disable", "^ERR DATA-STALE\n$");
    row("command to a new unit", admin + "INSTCMD NEW beeper.disable", "^ERR DRIVER-NOT-CONNECTED\n$");
    row("login secondary", "USERNAME mon|PASSWORD pw|LOGIN UPS1|GET NUMLOGINS UPS1", "^NUMLOGINS UPS1 1\n$");
    row("clients", "USERNAME mon|PASSWORD pw|LOGIN UPS1|LIST CLIENT UPS1", "^BEGIN LIST CLIENT UPS1\nCLIENT UPS1 10.0.0.7\nEND LIST CLIENT UPS1\n$");
    row("login twice", "USERNAME mon|PASSWORD pw|LOGIN UPS1|LOGIN UPS1", "^ERR ALREADY-LOGGED-IN\n$");
    row("login needs upsmon", admin + "LOGIN UPS1", "^ERR ACCESS-DENIED\n$");
    row("login unknown ups", "USERNAME mon|PASSWORD pw|LOGIN UPS9", "^ERR UNKNOWN-UPS\n$");
    row("primary", "USERNAME boss|PASSWORD \"p w\"|PRIMARY UPS1", "^OK PRIMARY-GRANTED\n$");
    row("master", "USERNAME boss|PASSWORD \"p w\"|MASTER UPS1", "^OK MASTER-GRANTED\n$");
    row("secondary is no primary", "USERNAME mon|PASSWORD pw|PRIMARY UPS1", "^ERR ACCESS-DENIED\n$");
    row("fsd needs a primary", "USERNAME mon|PASSWORD pw|FSD UPS1", "^ERR ACCESS-DENIED\n$");
    row("fsd", "USERNAME boss|PASSWORD \"p w\"|FSD UPS1|GET VAR UPS1 ups.status", "^VAR UPS1 ups.status \"FSD OL CHRG\"\n$");
    row("logout", "LOGOUT", "^OK Goodbye\n$");
}

void tst_nut_session::session()
{
    QFETCH(QStringList, script);
    QFETCH(QString, reply);
    QFETCH(QStringList, effects);
    NutUsers users;
    QStringList problems;
    users.parse(kUsers, &problems);
    QCOMPARE(problems.size(), 2);   // the stray line and the bad section
    FakeDirectory units;
    NutServerState state;
    {
        NutSession session(&units, &users, &state, "10.0.0.7");
        QByteArray last;
        for (const QString& line : script)
            last = session.handle(line.toUtf8());
        QVERIFY2(QRegularExpression(reply, QRegularExpression::DotMatchesEverythingOption).match(last).hasMatch(),
                 last.constData());
        QCOMPARE(units.effects, effects);
        QCOMPARE(session.finished(), script.last() == "LOGOUT");
    }
    QVERIFY(state.logins.isEmpty());   // a closed session no longer counts as logged in
}

void tst_nut_session::usersFile_data()
{
    QTest::addColumn<int>("permissions");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("owner only") << int(QFile::ReadOwner | QFile::WriteOwner) << true;
    QTest::newRow("world-readable") << int(QFile::ReadOwner | QFile::ReadOther) << false;
}

void tst_nut_session::usersFile()
{
    QFETCH(int, permissions);
    QFETCH(bool, accepted);
    QTemporaryDir dir;
    const QString path = dir.filePath("upsd.users");
    NutUsers users;
    QString error;
    QStringList problems;
    QVERIFY(users.load(path, &error, &problems));   // no file: no users
    QCOMPARE(users.count(), 0);
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(kUsers);
    file.close();
    QVERIFY(file.setPermissions(QFile::Permissions(permissions)));
    QCOMPARE(users.load(path, &error, &problems), accepted);
    QCOMPARE(users.count(), accepted ? 4 : 0);
    QCOMPARE(error.contains("readable by anyone"), !accepted);
}

QTEST_GUILESS_MAIN(tst_nut_session)
#include "tst_nut_session.moc"
