// upsmon-codemap FILE: writes the history code map that an installed host
// ships, from the same event catalogue the plugin hands the host at run time.

#include <QCoreApplication>
#include <QFile>

#include <cstdio>

#include "HistoryCodeMap.h"
#include "vek5Font.h"

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    if (argc != 2) {
        std::fputs("usage: upsmon-codemap FILE\n", stderr);
        return 2;
    }
    const QString path = QString::fromLocal8Bit(argv[1]);
    QFile::remove(path);
    QString error;
    if (!HistoryCodeMap::install(path, vek5Font::instance()->getEventLogDesc(), nullptr, &error)) {
        std::fprintf(stderr, "upsmon-codemap: %s\n", qPrintable(error));
        return 1;
    }
    return 0;
}
