// upsmon-commands-doc: the command table of host/README.md, written from the
// control command table that the collector, the panel and the host share.
// With --check FILE it says whether FILE holds it unchanged.

#include "DocTableTool.h"
#include "UpsCommand.h"

int main(int argc, char* argv[])
{
    static const char* const kArgument[] = {"none", "minutes, 1-65535", "file name"};
    static const char* const kSenders[] = {"-", "panel", "host", "panel, host"};
    QString table = QStringLiteral("| Id | Name | In results | Panel button | Driver code | Sent by | Confirmed by "
                                   "| VALUE (sent without one) | What |\n|---|---|---|---|---|---|---|---|---|\n");
    const auto text = [](const char* s) { return s ? QString::fromLatin1(s) : QStringLiteral("-"); };
    for (const UpsCommand& c : UpsCommand::table())
        table += QStringLiteral("| %1 | %2 | %3 | %4 | %5 | %6 | %7 | %8 | %9 |\n")
                     .arg(c.id)
                     .arg(text(c.nutName), text(c.collectorLabel),
                          c.buttonLabel ? QStringLiteral("%1 \"%2\"").arg(text(c.buttonName), text(c.buttonLabel)) : text(c.buttonName),
                          c.driverCode == UpsCommand::NoDriverCode ? QStringLiteral("-") : QString::number(c.driverCode),
                          QLatin1String(kSenders[c.senders & 3]),
                          c.confirmPoint ? QStringLiteral("%1 = %2").arg(c.confirmPoint).arg(c.confirmValue) : QStringLiteral("-"),
                          QStringLiteral("%1%2").arg(QLatin1String(kArgument[c.argument]),
                                                     *c.fixedValue ? QStringLiteral(" (\"%1\")").arg(QLatin1String(c.fixedValue)) : QString()),
                          QLatin1String(c.description));
    return docTableMain(argc, argv, table, "upsmon-commands-doc", DocTable::PartOfFile);
}
