// The collector's history export on an arbitrary "./history.txt" (as the
// driver or anything else may have left it), with a code map in place.

#include "FuzzSupport.h"
#include "vek5Client.h"

#include <QDir>
#include <QFile>

#include <cstdint>

namespace {
vek5Client* g_client = nullptr;
const char kHistory[] = "./history.txt";
const char kOut[] = "fuzz-export.csv";

qint64 fileSize(const char* path)
{
    QFile file(path);
    return file.exists() ? file.size() : -1;
}
}

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    fuzz::initQt();
    QDir().mkpath("./PVMX/drovaPanel/db");
    QFile map("./PVMX/drovaPanel/db/historycodemap.csv");
    if (map.open(QIODevice::WriteOnly | QIODevice::Truncate))
        map.write("1,Mains abnormal,Mains abnormal\n2,Bypass abnormal,\n65535,Last,\n");
    map.close();
    g_client = new vek5Client;   // reads the code map
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    QFile history(kHistory);
    if (!history.open(QIODevice::WriteOnly | QIODevice::Truncate))
        std::abort();
    history.write(reinterpret_cast<const char*>(data), qint64(size));
    history.close();
    QFile::remove(kOut);

    g_client->exportHistoryInfo(QString::fromLatin1(kOut));

    // The history is emptied and the export starts with its header line.
    FUZZ_CHECK(fileSize(kHistory) == 0);
    QFile out(kOut);
    FUZZ_CHECK(out.open(QIODevice::ReadOnly));
    FUZZ_CHECK(out.readLine() == "ID,Content,Status,Time,\n");
    // One row per line of at least eight fields, each ending ",\n".
    while (!out.atEnd())
        FUZZ_CHECK(out.readLine().endsWith(",\n"));
    return 0;
}
