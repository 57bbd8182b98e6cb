// The collector's history export on an arbitrary "./history.txt" (as the
// driver or anything else may have left it), with a code map in place.

#include "FuzzSupport.h"
#include "vek5Client.h"

#include <QDir>
#include <QFileInfo>

#include <cstdint>

namespace {
vek5Client* g_client = nullptr;
const char kHistory[] = "./history.txt";
const char kOut[] = "fuzz-export.csv";
}

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    fuzz::initQt();
    QDir().mkpath("./PVMX/drovaPanel/db");
    const char map[] = "1,Mains abnormal,Mains abnormal\n2,Bypass abnormal,\n65535,Last,\n";
    fuzz::writeFile("./PVMX/drovaPanel/db/historycodemap.csv", map, sizeof map - 1);
    g_client = new vek5Client;   // reads the code map
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::writeFile(kHistory, data, size);
    QFile::remove(kOut);
    g_client->exportHistoryInfo(QString::fromLatin1(kOut));

    // The history is emptied and the export starts with its header line.
    FUZZ_CHECK(QFile::exists(kHistory) && QFileInfo(kHistory).size() == 0);
    QFile out(kOut);
    FUZZ_CHECK(out.open(QIODevice::ReadOnly));
    FUZZ_CHECK(out.readLine() == "ID,Content,Status,Time,\n");
    // One row per line of at least eight fields, each ending ",\n".
    while (!out.atEnd())
        FUZZ_CHECK(out.readLine().endsWith(",\n"));
    return 0;
}
