// upsmon-web-doc: the route table of docs/web-api.md, written from the web
// console's route table. With --check FILE it says whether FILE holds it
// unchanged.

#include "DocTableTool.h"
#include "WebApi.h"

int main(int argc, char* argv[])
{
    static const char* const kAccess[] = {"-", "view", "change"};
    QString table = QStringLiteral("| Method | Path | Login | What |\n|---|---|---|---|\n");
    for (const WebApi::Route& r : WebApi::routes())
        table += QStringLiteral("| %1 | `%2` | %3 | %4 |\n")
                     .arg(QLatin1String(r.method), QLatin1String(r.pattern), QLatin1String(kAccess[r.access]),
                          QString::fromLatin1(r.summary).replace(QLatin1Char('|'), QLatin1String("\\|")));
    return docTableMain(argc, argv, table, "upsmon-web-doc", DocTable::PartOfFile);
}
