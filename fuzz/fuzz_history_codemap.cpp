// The collector's history code map reader on an arbitrary
// "./PVMX/drovaPanel/db/historycodemap.csv", then an export that looks the
// texts up.

#include "FuzzSupport.h"
#include "vek5Client.h"

#include <QDir>

#include <cstdint>

namespace {
vek5Client* g_client = nullptr;
const char kMap[] = "./PVMX/drovaPanel/db/historycodemap.csv";
const char kOut[] = "fuzz-codemap.csv";
}

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    fuzz::initQt();
    QDir().mkpath("./PVMX/drovaPanel/db");
    QFile::remove(kMap);
    g_client = new vek5Client;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    // Both language columns get their turn.
    g_client->m_language = (data[0] & 1) ? "1" : "0";
    fuzz::writeFile(kMap, data + 1, size - 1);
    g_client->initHistoryInfo();
    const char history[] = "1 1 24 01 02 03 04 05\n0 0 99 12 31 23 59 59\n-7 2 00 00 00 00 00 00\n";
    fuzz::writeFile("./history.txt", history, sizeof history - 1);
    g_client->exportHistoryInfo(QString::fromLatin1(kOut));

    // Header and three rows, whatever the texts: a mapped text that held a
    // line break would have split a row.
    QFile out(kOut);
    FUZZ_CHECK(out.open(QIODevice::ReadOnly) && out.readAll().count('\n') == 4);
    return 0;
}
