// upsmon-web-doc: the route table of docs/web-api.md, written from the web
// console's route table. With --check FILE it says whether FILE holds it
// unchanged.

#include <QFile>
#include <QString>

#include <cstdio>

#include "WebApi.h"

int main(int argc, char* argv[])
{
    static const char* const kAccess[] = {"-", "view", "change"};
    QString table = QStringLiteral("| Method | Path | Login | What |\n|---|---|---|---|\n");
    for (const WebApi::Route& r : WebApi::routes())
        table += QStringLiteral("| %1 | `%2` | %3 | %4 |\n")
                     .arg(QLatin1String(r.method), QLatin1String(r.pattern), QLatin1String(kAccess[r.access]),
                          QString::fromLatin1(r.summary).replace(QLatin1Char('|'), QLatin1String("\\|")));
    if (argc == 1) {
        std::fputs(qPrintable(table), stdout);
        return 0;
    }
    QFile doc(QString::fromLocal8Bit(argv[argc - 1]));
    if (argc != 3 || QLatin1String(argv[1]) != QLatin1String("--check") || !doc.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "usage: upsmon-web-doc [--check FILE]\n");
        return 2;
    }
    if (QString::fromUtf8(doc.readAll()).contains(table))
        return 0;
    std::fprintf(stderr, "%s does not hold the route table as upsmon-web-doc prints it\n", argv[2]);
    return 1;
}
