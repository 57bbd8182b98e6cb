// Event records of a collector turned into log lines.

#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include "EventFormatter.h"

using Record = QMap<QString, QVariant>;
Q_DECLARE_METATYPE(Record)

class tst_host_eventformat : public QObject
{
    Q_OBJECT
private slots:
    void describe_data();
    void describe();
    void controlRequest_data();
    void controlRequest();
    void jsonCarriesFields_data();
    void jsonCarriesFields();
    void textLine();

private:
    static EventFormatter formatter()
    {
        // 3 appearance entries, 3 clearing entries; code 1 is reserved.
        EventFormatter f;
        f.setEventTexts({"Monitor_Fan failure", "", "Inverter_Overload",
                         "Monitor_Fan failure disappear", "", "Inverter_Overload disappear"});
        return f;
    }
    static Record common(const QString& name = "UPS1")
    {
        return Record{{"name", name}, {"protocol", 0}, {"port", "COM1"},
                      {"timeStr", "2026-01-02 03:04:05"}};
    }
    static Record with(Record r, const Record& extra)
    {
        for (auto it = extra.begin(); it != extra.end(); ++it)
            r.insert(it.key(), it.value());
        return r;
    }
};

void tst_host_eventformat::describe_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<Record>("record");
    QTest::addColumn<QString>("kind");
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("text");

    QMap<int, QVariant> data{{4133, 220.0f}, {4134, 221.0f}, {2000, 1}};
    QTest::newRow("restored") << 1040 << with(common(), {{"desc", "UPS1 online"}, {"state", 0}})
                              << "comm" << -1 << 0 << "communication restored: UPS1 online";
    QTest::newRow("lost") << 1041 << with(common(), {{"lost", 1}, {"state", 1}, {"desc", ""}})
                          << "comm" << -1 << 1 << "communication lost";
    QTest::newRow("alarm appears") << 2006 << with(common(), {{"alarmId", 0}, {"alarmState", 1}})
                                   << "alarm" << 0 << 1 << "Monitor_Fan failure";
    QTest::newRow("alarm clears") << 2006 << with(common(), {{"alarmId", 3}, {"alarmState", 0}})
                                  << "alarm" << 3 << 0 << "Monitor_Fan failure disappear";
    QTest::newRow("reserved code") << 2006 << with(common(), {{"alarmId", 1}, {"alarmState", 1}})
                                   << "alarm" << 1 << 1 << "reserved event 1";
    QTest::newRow("code past catalogue") << 2006 << with(common(), {{"alarmId", 6}, {"alarmState", 1}})
                                         << "alarm" << 6 << 1 << "unknown event 6";
    QTest::newRow("negative code") << 2006 << with(common(), {{"alarmId", -2}, {"alarmState", 1}})
                                   << "alarm" << -2 << 1 << "unknown event -2";
    QTest::newRow("command result") << 1042
        << with(common(), {{"result", 1}, {"controlId", 1045}, {"desc", "UPS1 Download history successful"}})
        << "command" << 1045 << 1 << "UPS1 Download history successful";
    QTest::newRow("command result no desc") << 1042 << with(common(), {{"result", 1}, {"controlId", 1045}})
        << "command" << 1045 << 1 << "command 1045 executed";
    QTest::newRow("status 2368") << 2009 << with(common(), {{"alarmState", 4}})
                                 << "status" << 2368 << 4 << "status point 2368 is now 4";
    QTest::newRow("status 2022") << 2010 << with(common(), {{"alarmState", 0}})
                                 << "status" << 2022 << 0 << "status point 2022 is now 0";
    QTest::newRow("notice after report") << 2001
        << with(common(), {{"alarmId", 2}, {"dis_alarm", 1}, {"state", 0}})
        << "notice" << 2 << 0 << "new alarm present, last: Inverter_Overload";
    QTest::newRow("repeat of 1041") << 2001 << with(common(), {{"lost", 1}, {"state", 1}, {"desc", ""}})
                                    << "repeat" << -1 << 1 << "new alarm present, last: unknown event -1";
    QTest::newRow("data report") << 2007
        << with(common(), {{"data", QVariant::fromValue(data)}, {"alarmId", 0}, {"alarmState", 1}})
        << "data" << -1 << 3 << "3 points";
    QTest::newRow("unknown type") << 777 << common() << "other" << -1 << -1 << "event type 777";
}

void tst_host_eventformat::describe()
{
    QFETCH(int, type);
    QFETCH(Record, record);
    QFETCH(QString, kind);
    QFETCH(int, code);
    QFETCH(int, state);
    QFETCH(QString, text);

    const HostEvent e = formatter().describe(type, record, "fallback");
    QCOMPARE(e.type, type);
    QCOMPARE(e.kind, kind);
    QCOMPARE(e.code, code);
    QCOMPARE(e.state, state);
    QCOMPARE(e.text, text);
    QCOMPARE(e.unit, QString("UPS1"));
    QCOMPARE(e.time, QString("2026-01-02 03:04:05"));
}

void tst_host_eventformat::controlRequest_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<Record>("record");
    QTest::addColumn<bool>("isRequest");
    QTest::addColumn<QString>("text");

    QTest::newRow("view button") << 1010
        << Record{{"name", "UPS2"}, {"controlId", 1010}, {"controlValue", ""}}
        << true << "command 1010 requested (value \"\")";
    QTest::newRow("download") << 1045
        << Record{{"name", "UPS2"}, {"controlId", 1045}, {"controlValue", "/tmp/h.csv"}}
        << true << "command 1045 requested (value \"/tmp/h.csv\")";
    QTest::newRow("dialog setting") << 1029
        << Record{{"name", "UPS2"}, {"controlId", 2016}, {"controlValue", "3017,16"},
                  {"nodeValue", "16"}, {"nodeName", "Battery numbers:"}}
        << true << "setting \"Battery numbers:\" = \"16\" requested (command 2016 \"3017,16\")";
    // The command runner's result carries the request's keys too.
    QTest::newRow("result is no request") << 1042
        << Record{{"controlId", 1045}, {"controlValue", "/tmp/h.csv"}, {"name", "UPS2"},
                  {"result", 1}, {"desc", "done"}}
        << false << "done";
    QTest::newRow("unknown type with command") << 1018
        << Record{{"name", "UPS2"}, {"controlId", 1018}, {"controlValue", ""}}
        << true << "command 1018 requested (value \"\")";
}

void tst_host_eventformat::controlRequest()
{
    QFETCH(int, type);
    QFETCH(Record, record);
    QFETCH(bool, isRequest);
    QFETCH(QString, text);

    QCOMPARE(EventFormatter::isControlRequest(type, record), isRequest);
    const HostEvent e = formatter().describe(type, record, "fallback");
    QCOMPARE(e.kind, QString(isRequest ? "request" : "command"));
    QCOMPARE(e.code, record.value("controlId").toInt());
    QCOMPARE(e.unit, QString("UPS2"));
    QCOMPARE(e.text, text);
    // No time stamp in these records: the host stamps them.
    QVERIFY(QDateTime::fromString(e.time, "yyyy-MM-dd hh:mm:ss").isValid());
}

void tst_host_eventformat::jsonCarriesFields_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("text");

    QTest::newRow("with code and state") << 12 << 1 << "Monitor_Fan failure";
    QTest::newRow("no code") << -1 << 0 << "communication restored";
    QTest::newRow("quotes and comma") << 2016 << -1 << "setting \"a, b\" requested";
    QTest::newRow("non-ASCII") << 3 << 0 << QString::fromUtf8("Temp \xC2\xB0""C");
}

void tst_host_eventformat::jsonCarriesFields()
{
    QFETCH(int, code);
    QFETCH(int, state);
    QFETCH(QString, text);

    HostEvent e;
    e.time = "2026-01-02 03:04:05";
    e.unit = "UPS 1";
    e.type = 2006;
    e.kind = "alarm";
    e.code = code;
    e.state = state;
    e.text = text;
    const QString line = EventFormatter::toJson(e);
    QVERIFY(!line.contains('\n'));
    QJsonParseError err;
    const QJsonObject o = QJsonDocument::fromJson(line.toUtf8(), &err).object();
    QCOMPARE(err.error, QJsonParseError::NoError);
    QCOMPARE(o.value("time").toString(), e.time);
    QCOMPARE(o.value("unit").toString(), e.unit);
    QCOMPARE(o.value("type").toInt(), 2006);
    QCOMPARE(o.value("kind").toString(), e.kind);
    QCOMPARE(o.value("text").toString(), text);
    QCOMPARE(o.contains("code"), code >= 0);
    QCOMPARE(o.contains("state"), state >= 0);
    if (code >= 0)
        QCOMPARE(o.value("code").toInt(), code);
    if (state >= 0)
        QCOMPARE(o.value("state").toInt(), state);
}

void tst_host_eventformat::textLine()
{
    const HostEvent e = formatter().describe(2006, with(common("UPS7"), {{"alarmId", 2}, {"alarmState", 1}}),
                                             "fallback");
    QCOMPARE(EventFormatter::toText(e),
             QString("2026-01-02 03:04:05 UPS7 alarm 2006: Inverter_Overload"));
    // A record without a name is put under the session's unit.
    const HostEvent anon = formatter().describe(1041, Record{{"timeStr", "x"}}, "fallback");
    QCOMPARE(anon.unit, QString("fallback"));
}

QTEST_GUILESS_MAIN(tst_host_eventformat)
#include "tst_host_eventformat.moc"
