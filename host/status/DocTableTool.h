#ifndef DOCTABLETOOL_H
#define DOCTABLETOOL_H

// The shared main of the tools that write a document's table from the code's
// own table (upsmon-statustable, upsmon-metrics-doc, upsmon-web-doc): without
// arguments they print it; with --check FILE they say whether FILE holds it as
// printed, the whole file or, where the table is one part of a page, somewhere.

#include <QFile>
#include <QString>

#include <cstdio>

enum class DocTable { WholeFile, PartOfFile };

inline int docTableMain(int argc, char* argv[], const QString& table, const char* tool, DocTable kind)
{
    if (argc == 1) {
        std::fputs(qPrintable(table), stdout);
        return 0;
    }
    QFile doc(QString::fromLocal8Bit(argv[argc - 1]));
    if (argc != 3 || QLatin1String(argv[1]) != QLatin1String("--check") || !doc.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "usage: %s [--check FILE]\n", tool);
        return 2;
    }
    const QString text = QString::fromUtf8(doc.readAll());
    if (kind == DocTable::WholeFile ? text == table : text.contains(table))
        return 0;
    std::fprintf(stderr, "%s is out of date: run %s and put its table in\n", argv[2], tool);
    return 1;
}

#endif // DOCTABLETOOL_H
