// The plugin as hosts load it: metadata, exported names, four host shapes polling the simulator.

#include "TestRig.h"

#include <QtTest>

#include <memory>

namespace {

struct Shape
{
    const char* program;
    bool casts;
};

// Without both, qobject_cast compares two copies of CollectThread's meta-object.
const Shape kShapes[] = {
    {"vek5host_exported_declared", true},
    {"vek5host_hidden_declared", true},
    {"vek5host_exported_undeclared", true},
    {"vek5host_hidden_undeclared", false},
};

const QString kUnit = QStringLiteral("UPS-H");

QSet<QByteArray> exportedFunctions(const QString& path)
{
    QProcess nm;
    nm.start("nm", {"-D", "--defined-only", path});
    nm.waitForFinished(30000);
    QSet<QByteArray> names;
    for (const QByteArray& line : nm.readAllStandardOutput().split('\n')) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.size() == 3 && (fields[1] == "T" || fields[1] == "W"))
            names.insert(fields[2]);
    }
    return names;
}

} // namespace

class tst_client_hosts : public QObject
{
    Q_OBJECT

private slots:
    void metaData()
    {
        QPluginLoader loader(VEK5_PLUGIN_PATH);
        QVERIFY2(loader.load(), qPrintable(loader.errorString()));
        const QJsonObject meta = loader.metaData();
        QCOMPARE(meta.value("IID").toString(), QString("com.nalo.Qt.ProInterface"));
        QVERIFY(meta.value("MetaData").toObject().isEmpty());   // no keys of its own
    }

    // The driver finds the C entries by name; besides them only C++ names (the interface classes shared
    // with the host), Qt's plugin entries and what any module of this build exports (a sanitizer's
    // runtime, say) are visible.
    void onlyTheCEntriesExported()
    {
        const QSet<QByteArray> flavour = exportedFunctions(VEK5_REFERENCE_MODULE_PATH);
        const QSet<QByteArray> expected = {"setModbusCRC", "checkModbufCRC", "buildCmd", "buildCmd16",
                                           "mod_Set_SetBuf", "UINT8_2_to_UINT16", "UINT8_4_to_UINT32",
                                           "FiltSpace", "CommRead", "CommWrite", "CommOpen", "CommAccept",
                                           "CommControl", "CommClose", "qt_plugin_instance",
                                           "qt_plugin_query_metadata"};
        QSet<QByteArray> plain;
        for (const QByteArray& name : exportedFunctions(VEK5_PLUGIN_PATH))
            if (!name.startsWith("_Z") && !flavour.contains(name))
                plain.insert(name);
        QCOMPARE(plain, expected);
    }

    void initTestCase()
    {
        QVERIFY2(m_sim.start({}), qPrintable(m_sim.output()));
        const QString db = QStringLiteral(VEK5_HOSTS_DIR) + "/PVMX/drovaPanel/db";
        QVERIFY(QDir().mkpath(db));
        QVERIFY(writeFile(db + "/dev.ini",
                          QString("[%1]\ncommType=1\nipAddr=127.0.0.1\nport=%2\ninterval=1\n").arg(kUnit).arg(m_sim.port()).toUtf8()));
        for (const Shape& shape : kShapes) {
            auto& host = m_hosts[shape.program] = std::make_unique<QProcess>();
            host->setProcessChannelMode(QProcess::ForwardedErrorChannel);
            host->start(QStringLiteral(VEK5_HOSTS_DIR "/") + shape.program, {VEK5_PLUGIN_PATH, kUnit});
        }
    }

    void hostDrivesCollector_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<bool>("casts");
        for (const Shape& shape : kShapes)
            QTest::newRow(shape.program) << QString(shape.program) << shape.casts;
    }

    void hostDrivesCollector()
    {
        QFETCH(QString, program);
        QFETCH(bool, casts);

        QProcess& host = *m_hosts.at(program);
        // The first cycle pauses 5 s before it connects.
        QVERIFY(host.waitForFinished(90000));
        const QStringList lines = QString::fromLocal8Bit(host.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
        QCOMPARE(host.exitCode(), 0);
        QCOMPARE(lines.value(0), casts ? QString("cast collector") : QString("cast null"));
        QCOMPARE(lines.value(1), QString("view vek5View"));
        QCOMPARE(lines.value(2), QString("event 1040 %1 0").arg(kUnit));
        QVERIFY2(lines.value(3).startsWith(QString("event 2007 %1 ").arg(kUnit)), qPrintable(lines.join(" | ")));
        QVERIFY(lines.value(3).section(' ', 3).toInt() > 500);   // alarms, identity and measurements
    }
private:
    SimProcess m_sim;
    std::map<QString, std::unique_ptr<QProcess>> m_hosts;
};

QTEST_GUILESS_MAIN(tst_client_hosts)
#include "tst_client_hosts.moc"
