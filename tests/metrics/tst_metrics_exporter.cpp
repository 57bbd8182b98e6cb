// /metrics over HTTP for a table of snapshots, and its listen addresses (promtool: prometheus_scrape.sh).

#include <QHostAddress>
#include <QTcpSocket>
#include <QtTest>

#include "MetricsExporter.h"
#include "FakeUnits.h"

namespace {

QByteArray scrape(int port)
{
    QTcpSocket s;
    s.connectToHost(QHostAddress::LocalHost, quint16(port));
    if (!s.waitForConnected(5000))
        return {};
    s.write("GET /metrics HTTP/1.0\r\n\r\n");
    while (s.state() == QAbstractSocket::ConnectedState && s.waitForReadyRead(10000)) {}
    const QByteArray reply = s.readAll();
    return reply.mid(reply.indexOf("\r\n\r\n") + 4);
}

QMap<QString, double> samples(const QByteArray& text)
{
    QMap<QString, double> out;
    for (const QByteArray& line : text.split('\n')) {
        const int space = line.lastIndexOf(' ');
        if (!line.startsWith('#') && space > 0)
            out.insert(QString::fromUtf8(line.left(space)), line.mid(space + 1).toDouble());
    }
    return out;
}

} // namespace

class tst_metrics_exporter : public QObject
{
    Q_OBJECT
private slots:
    void scrapes_data();   // out of the class: moc does not read raw strings
    void scrapes()
    {
        QFETCH(UnitStatus, status);
        QFETCH(QStringList, present);
        QFETCH(QStringList, absent);

        FakeUnits directory;
        directory.add("U", status.comm, status);
        MetricsExporter exporter(directory);
        QString error;
        QVERIFY2(exporter.start("127.0.0.1:0", &error), qPrintable(error));
        QCOMPARE(exporter.url(), QString("http://127.0.0.1:%1/metrics").arg(exporter.port()));
        exporter.recordCommand("U", "beeper.disable", "confirmed");
        exporter.recordCommand("U", "beeper.disable", "confirmed");
        exporter.recordCommand("U", "load.off", "refused");

        const QByteArray text = scrape(exporter.port());
        const QMap<QString, double> got = samples(text);
        present << R"(ups_commands_total{unit="U",command="beeper.disable",outcome="confirmed"}=2)"
                << R"(ups_commands_total{unit="U",command="load.off",outcome="refused"}=1)";
        for (const QString& want : present) {
            const QString series = want.section('=', 0, -2);
            QVERIFY2(got.contains(series), qPrintable(series + " not in:\n" + text));
            QCOMPARE(got.value(series), want.section('=', -1).toDouble());
        }
        for (const QString& name : absent)
            for (const QString& series : got.keys())
                QVERIFY2(!series.startsWith(name), qPrintable(series));
        // The process series describe this very process.
        QVERIFY(got.value("process_resident_memory_bytes") > 1e6);
        QVERIFY(qAbs(got.value("process_start_time_seconds") - QDateTime::currentSecsSinceEpoch()) < 3600);
        QVERIFY(got.value("process_open_fds") >= 3);
        QVERIFY(got.value("process_threads") >= 3);   // this one and the server's

        // The port is taken now: a second exporter says so instead of throwing.
        MetricsExporter second(directory);
        QVERIFY(!second.start(QString("127.0.0.1:%1").arg(exporter.port()), &error));
        QVERIFY2(error.contains("cannot serve metrics"), qPrintable(error));
        QCOMPARE(second.url(), QString());
    }

    void listenAddress_data()
    {
        QTest::addColumn<QString>("listen");
        QTest::addColumn<QString>("address");   // empty: refused

        QTest::newRow("bare port is loopback") << "9100" << "127.0.0.1:9100";
        QTest::newRow("all interfaces") << "0.0.0.0:9100" << "0.0.0.0:9100";
        QTest::newRow("IPv6") << "[::1]:0" << "[::1]:0";
        QTest::newRow("IPv6 unbracketed") << "::1:9100" << "";
        QTest::newRow("brackets on IPv4") << "[127.0.0.1]:9100" << "";
        QTest::newRow("host name") << "localhost:9100" << "";
        QTest::newRow("port too big") << "127.0.0.1:65536" << "";
        QTest::newRow("negative port") << "127.0.0.1:-1" << "";
        QTest::newRow("no port") << "127.0.0.1:" << "";
    }

    void listenAddress()
    {
        QFETCH(QString, listen);
        QFETCH(QString, address);

        std::string got;
        QString error;
        QCOMPARE(MetricsExporter::bindAddress(listen, &got, &error), !address.isEmpty());
        QCOMPARE(QString::fromStdString(got), address);
        QCOMPARE(error.isEmpty(), !address.isEmpty());
    }
};

void tst_metrics_exporter::scrapes_data()
{
    QTest::addColumn<UnitStatus>("status");
    QTest::addColumn<QStringList>("present");   // "series=value"
    QTest::addColumn<QStringList>("absent");    // series names or name prefixes

    UnitStatus online;
    online.comm = UnitStatus::Comm::Ok;
    online.dataAgeSeconds = 1.5;
    online.flags = QStringList{"OL", "CHRG", "TRIM"};
    online.values = {{"input.L2-N.voltage", 231.5}, {"ups.load", 45.0}, {"battery.charge", 100.0},
                     {"battery.runtime", 1800.0}, {"device.model", QString("30K")}};
    QTest::newRow("online") << online
        << QStringList{R"(ups_input_volts{unit="U",phase="L2-N"}=231.5)", R"(ups_output_load_ratio{unit="U"}=0.45)",
                       R"(ups_battery_charge_ratio{unit="U"}=1)", R"(ups_battery_runtime_seconds{unit="U"}=1800)",
                       R"(ups_status{unit="U",flag="OL"}=1)", R"(ups_status{unit="U",flag="OB"}=0)",
                       R"(ups_status{unit="U",flag="TRIM"}=1)", R"(ups_comm_state{unit="U",state="ok"}=1)",
                       R"(ups_comm_state{unit="U",state="lost"}=0)", R"(ups_data_age_seconds{unit="U"}=1.5)",
                       R"(ups_data_stale{unit="U"}=0)", R"(ups_alarms_active{unit="U"}=0)"}
        << QStringList{R"(ups_input_volts{unit="U",phase="L1-N"})", "ups_alarm_active{", "ups_output_active_power_watts"};

    UnitStatus lost;
    lost.comm = UnitStatus::Comm::Lost;
    lost.stale = true;
    lost.dataAgeSeconds = 42;
    lost.flags = QStringList{"OB", "LB", "ALARM"};
    lost.alarms = {{325, "Rectifier \"fan\" failure\\1"}, {467, "Inverter fan failure"}};
    QTest::newRow("lost, on battery, alarms") << lost
        << QStringList{R"(ups_status{unit="U",flag="OB"}=1)", R"(ups_status{unit="U",flag="OL"}=0)",
                       R"(ups_comm_state{unit="U",state="lost"}=1)", R"(ups_data_stale{unit="U"}=1)",
                       R"(ups_alarms_active{unit="U"}=2)",
                       R"(ups_alarm_active{unit="U",index="325",text="Rectifier \"fan\" failure\\1"}=1)",
                       R"(ups_alarm_active{unit="U",index="467",text="Inverter fan failure"}=1)",
                       R"(ups_data_age_seconds{unit="U"}=42)"}
        << QStringList{"ups_input_volts", "ups_battery_charge_ratio"};

    QTest::newRow("never reported") << UnitStatus()
        << QStringList{R"(ups_comm_state{unit="U",state="unknown"}=1)", R"(ups_status{unit="U",flag="OL"}=0)"}
        << QStringList{"ups_data_age_seconds", "ups_output_"};
}

QTEST_GUILESS_MAIN(tst_metrics_exporter)
#include "tst_metrics_exporter.moc"
