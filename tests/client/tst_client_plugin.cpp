// The plugin as a host loads it: by file path through QPluginLoader, in a
// process that has its own copy of the interface classes, plus the C entry
// points that the model driver library finds by name.

#include "CollectThread.h"

#include <QFile>
#include <QJsonObject>
#include <QPluginLoader>
#include <QPointer>
#include <QSet>
#include <QtTest>

#include <dlfcn.h>
#include <elf.h>

#include <cstring>

namespace {

const char* const kPluginPath = VEK5_PLUGIN_PATH;
const char* const kReferenceModulePath = VEK5_REFERENCE_MODULE_PATH;

struct DynamicSymbol
{
    QByteArray name;
    bool function;
    bool global;
    bool defaultVisibility;
};

// The defined symbols of an ELF64 shared object's dynamic symbol table.
QVector<DynamicSymbol> definedDynamicSymbols(const QString& path)
{
    QVector<DynamicSymbol> symbols;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return symbols;
    const QByteArray image = file.readAll();
    if (image.size() < int(sizeof(Elf64_Ehdr)) || std::memcmp(image.constData(), ELFMAG, SELFMAG) != 0)
        return symbols;
    Elf64_Ehdr header;
    std::memcpy(&header, image.constData(), sizeof header);
    auto section = [&](int index, Elf64_Shdr& out) {
        const qint64 at = qint64(header.e_shoff) + qint64(index) * header.e_shentsize;
        if (index < 0 || index >= header.e_shnum || at + qint64(sizeof out) > image.size())
            return false;
        std::memcpy(&out, image.constData() + at, sizeof out);
        return true;
    };
    for (int i = 0; i < header.e_shnum; ++i) {
        Elf64_Shdr dynsym, strtab;
        if (!section(i, dynsym) || dynsym.sh_type != SHT_DYNSYM || !section(int(dynsym.sh_link), strtab))
            continue;
        if (qint64(dynsym.sh_offset + dynsym.sh_size) > image.size()
            || qint64(strtab.sh_offset + strtab.sh_size) > image.size())
            return symbols;
        const int count = int(dynsym.sh_size / sizeof(Elf64_Sym));
        for (int k = 0; k < count; ++k) {
            Elf64_Sym sym;
            std::memcpy(&sym, image.constData() + dynsym.sh_offset + k * sizeof(Elf64_Sym), sizeof sym);
            if (sym.st_shndx == SHN_UNDEF || sym.st_name >= strtab.sh_size)
                continue;
            const char* name = image.constData() + strtab.sh_offset + sym.st_name;
            symbols.push_back({QByteArray(name, int(qstrnlen(name, int(strtab.sh_size - sym.st_name)))),
                               ELF64_ST_TYPE(sym.st_info) == STT_FUNC,
                               ELF64_ST_BIND(sym.st_info) == STB_GLOBAL,
                               ELF64_ST_VISIBILITY(sym.st_other) == STV_DEFAULT});
        }
    }
    return symbols;
}

} // namespace

class TestPlugin : public QObject
{
    Q_OBJECT
private slots:
    void metaData();
    void instanceIsSingleton();
    void freshInstanceAfterDeletion();
    void forwardsToDictionary();
    void exportedCEntries_data();
    void exportedCEntries();
    void noOtherPlainNamesExported();
    void exportedHelperWorks();
};

void TestPlugin::metaData()
{
    QPluginLoader loader(kPluginPath);
    QVERIFY2(loader.load(), qPrintable(loader.errorString()));
    const QJsonObject meta = loader.metaData();
    QCOMPARE(meta.value("IID").toString(), QString("com.nalo.Qt.ProInterface"));
    QCOMPARE(meta.value("className").toString(), QString("vek5Client"));
    QVERIFY(meta.value("MetaData").toObject().isEmpty());   // no keys of its own
}

void TestPlugin::instanceIsSingleton()
{
    QPluginLoader loader(kPluginPath);
    QObject* first = loader.instance();
    QVERIFY2(first, qPrintable(loader.errorString()));
    QCOMPARE(loader.instance(), first);
    QPluginLoader second(kPluginPath);
    QCOMPARE(second.instance(), first);
    QCOMPARE(QString(first->metaObject()->className()), QString("vek5Client"));
}

void TestPlugin::freshInstanceAfterDeletion()
{
    QPluginLoader loader(kPluginPath);
    QPointer<QObject> first = loader.instance();
    QVERIFY(first);
    first->setObjectName("first instance");
    delete first.data();
    QVERIFY(first.isNull());
    QObject* second = loader.instance();
    QVERIFY(second);
    QVERIFY(second->objectName().isEmpty());
    QVERIFY(qobject_cast<CollectThread*>(second));
}

void TestPlugin::forwardsToDictionary()
{
    QPluginLoader loader(kPluginPath);
    CollectThread* collector = qobject_cast<CollectThread*>(loader.instance());
    QVERIFY(collector);
    QCOMPARE(collector->getDataLogDesc().size(), 15);
    QCOMPARE(collector->getDataLogDesc().first(), QString("Input voltage(V)"));
    QCOMPARE(collector->changeLogData({}).size(), 15);
    QCOMPARE(collector->getEventLogDesc().size(), 996);
}

void TestPlugin::exportedCEntries_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const char* name : {"setModbusCRC", "checkModbufCRC", "buildCmd", "buildCmd16", "mod_Set_SetBuf",
                             "UINT8_2_to_UINT16", "UINT8_4_to_UINT32", "FiltSpace", "CommRead", "CommWrite",
                             "CommOpen", "CommAccept", "CommControl", "CommClose"})
        QTest::newRow(name) << QByteArray(name);
}

void TestPlugin::exportedCEntries()
{
    QFETCH(QByteArray, name);
    const QVector<DynamicSymbol> symbols = definedDynamicSymbols(kPluginPath);
    QVERIFY(!symbols.isEmpty());
    auto it = std::find_if(symbols.begin(), symbols.end(), [&](const DynamicSymbol& s) { return s.name == name; });
    QVERIFY2(it != symbols.end(), name.constData());
    QVERIFY(it->function);
    QVERIFY(it->global);
    QVERIFY(it->defaultVisibility);

    void* module = dlopen(kPluginPath, RTLD_NOW | RTLD_LOCAL);
    QVERIFY2(module, dlerror());
    QVERIFY(dlsym(module, name.constData()) != nullptr);
    dlclose(module);
}

// Everything else stays hidden: only mangled C++ names (the interface classes
// shared with the host) and Qt's two plugin entry points carry plain names,
// apart from those that any module of this build exports (an instrumented
// build's runtime brings its own).
void TestPlugin::noOtherPlainNamesExported()
{
    QSet<QByteArray> flavour;
    for (const DynamicSymbol& s : definedDynamicSymbols(kReferenceModulePath))
        flavour.insert(s.name);
    const QSet<QByteArray> expected = {"setModbusCRC", "checkModbufCRC", "buildCmd", "buildCmd16",
                                       "mod_Set_SetBuf", "UINT8_2_to_UINT16", "UINT8_4_to_UINT32",
                                       "FiltSpace", "CommRead", "CommWrite", "CommOpen", "CommAccept",
                                       "CommControl", "CommClose", "qt_plugin_instance",
                                       "qt_plugin_query_metadata"};
    QSet<QByteArray> plain;
    for (const DynamicSymbol& s : definedDynamicSymbols(kPluginPath))
        if (s.function && !s.name.startsWith("_Z") && !flavour.contains(s.name))
            plain.insert(s.name);
    QCOMPARE(plain, expected);
}

void TestPlugin::exportedHelperWorks()
{
    void* module = dlopen(kPluginPath, RTLD_NOW | RTLD_LOCAL);
    QVERIFY2(module, dlerror());
    using Check = int (*)(unsigned char*, int);
    auto check = reinterpret_cast<Check>(dlsym(module, "checkModbufCRC"));
    QVERIFY(check);
    QByteArray frame = QByteArray::fromHex("01030000000AC5CD");
    QCOMPARE(check(reinterpret_cast<unsigned char*>(frame.data()), frame.size()), 0);
    frame = QByteArray::fromHex("01030000000ACDC5");
    QCOMPARE(check(reinterpret_cast<unsigned char*>(frame.data()), frame.size()), -1);
    dlclose(module);
}

QTEST_MAIN(TestPlugin)
#include "tst_client_plugin.moc"
