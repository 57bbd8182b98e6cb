// The collector's history files as anything may have left them. Input: a byte of mode bits (2: the
// rest is the code map, read in language 1 or 0 by bit 1, for a fixed history; else the history, for a
// fixed map), then the file's bytes.

#include "FuzzSupport.h"
#include "TestBytes.h"
#include "vek5Client.h"

#include <QDir>
#include <QFileInfo>

#include <cstdint>

namespace {
vek5Client* g_client = nullptr;
const char kMap[] = "./PVMX/drovaPanel/db/historycodemap.csv";
const char kHistory[] = "./history.txt";
const char kOut[] = "fuzz-history.csv";
}

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    fuzz::initQt();
    QDir().mkpath("./PVMX/drovaPanel/db");
    g_client = new vek5Client;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const bool codeMap = (data[0] & 2) != 0;
    const char map[] = "1,Mains abnormal,Mains abnormal\n2,Bypass abnormal,\n65535,Last,\n";
    const char history[] = "1 1 24 01 02 03 04 05\n0 0 99 12 31 23 59 59\n-7 2 00 00 00 00 00 00\n";
    const QByteArray input(reinterpret_cast<const char*>(data + 1), int(size - 1));
    FUZZ_CHECK(writeFile(kMap, codeMap ? input : QByteArray(map)) && writeFile(kHistory, codeMap ? QByteArray(history) : input));
    g_client->m_language = (data[0] & 1) ? "1" : "0";
    g_client->initHistoryInfo();
    QFile::remove(kOut);
    g_client->exportHistoryInfo(QString::fromLatin1(kOut));

    // The history is emptied and the export starts with its header line.
    FUZZ_CHECK(QFile::exists(kHistory) && QFileInfo(kHistory).size() == 0);
    QFile out(kOut);
    FUZZ_CHECK(out.open(QIODevice::ReadOnly));
    FUZZ_CHECK(out.readLine() == "ID,Content,Status,Time,\n");
    // One row per line of eight fields or more, each ending ",\n"; the fixed history gives three
    // whatever the texts (a mapped line break would split a row).
    int rows = 0;
    for (; !out.atEnd(); ++rows)
        FUZZ_CHECK(out.readLine().endsWith(",\n"));
    FUZZ_CHECK(!codeMap || rows == 3);
    return 0;
}
