// The plugin as a host loads it: by file path through QPluginLoader, in a
// process that has its own copy of the interface classes, plus the C entry
// points that the model driver library finds by name.

#include "CollectThread.h"

#include <QPluginLoader>
#include <QProcess>
#include <QSet>
#include <QtTest>

namespace {

const char* const kPluginPath = VEK5_PLUGIN_PATH;
const char* const kReferenceModulePath = VEK5_REFERENCE_MODULE_PATH;

// The global functions a module exports, as the dynamic linker sees them.
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

class TestPlugin : public QObject
{
    Q_OBJECT
private slots:
    void metaData();
    void onlyTheCEntriesExported();
};

void TestPlugin::metaData()
{
    QPluginLoader loader(kPluginPath);
    QVERIFY2(loader.load(), qPrintable(loader.errorString()));
    const QJsonObject meta = loader.metaData();
    QCOMPARE(meta.value("IID").toString(), QString("com.nalo.Qt.ProInterface"));
    QVERIFY(meta.value("MetaData").toObject().isEmpty());   // no keys of its own
}

// The driver finds the C entries by name; everything else stays hidden: only
// mangled C++ names (the interface classes shared with the host) and Qt's two
// plugin entry points carry plain names, apart from those that any module of
// this build exports (an instrumented build's runtime brings its own).
void TestPlugin::onlyTheCEntriesExported()
{
    const QSet<QByteArray> flavour = exportedFunctions(kReferenceModulePath);
    const QSet<QByteArray> expected = {"setModbusCRC", "checkModbufCRC", "buildCmd", "buildCmd16",
                                       "mod_Set_SetBuf", "UINT8_2_to_UINT16", "UINT8_4_to_UINT32",
                                       "FiltSpace", "CommRead", "CommWrite", "CommOpen", "CommAccept",
                                       "CommControl", "CommClose", "qt_plugin_instance",
                                       "qt_plugin_query_metadata"};
    QSet<QByteArray> plain;
    for (const QByteArray& name : exportedFunctions(kPluginPath))
        if (!name.startsWith("_Z") && !flavour.contains(name))
            plain.insert(name);
    QCOMPARE(plain, expected);
}

QTEST_MAIN(TestPlugin)
#include "tst_client_plugin.moc"
