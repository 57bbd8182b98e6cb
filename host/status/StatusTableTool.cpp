// upsmon-statustable: writes docs/status-model.md from the status model's
// tables, or with --check FILE says whether FILE is still what they give.

#include <QFile>
#include <QTextStream>

#include <cstdio>

#include "StatusModel.h"
#include "StatusPointTable.h"

namespace {

QString render()
{
    QString md;
    QTextStream out(&md);
    out << "# Status model\n\n"
           "What upsmon-host makes of a unit's data map (written by upsmon-statustable from the\n"
           "tables in host/status; do not edit by hand). Values carry NUT's variable names;\n"
           "a value the unit has not reported is absent. `device.type` is always \"ups\".\n\n"
           "## Values\n\n| Variable | Points | Unit | Rule | Meaning |\n|---|---|---|---|---|\n";
    for (const StatusPoint* p = statusPointTable(); p->name; ++p) {
        const QString points = p->first == p->last ? QString::number(p->first)
                                                   : QStringLiteral("%1-%2").arg(p->first).arg(p->last);
        out << "| " << p->name << " | " << points << " | " << p->unit << " | "
            << statusRuleText(p->rule) << " | " << p->meaning << " |\n";
    }
    out << "\n## Status flags (ups.status)\n\nIn this order:\n\n| Flag | Set when |\n|---|---|\n";
    for (const auto& f : StatusModel::flagRules())
        out << "| " << f.first << " | " << f.second << " |\n";
    out << "\n## Derived events\n\n| Event | When |\n|---|---|\n";
    for (const auto& e : StatusModel::eventRules())
        out << "| " << e.first << " | " << e.second << " |\n";
    return md;
}

} // namespace

int main(int argc, char* argv[])
{
    const QByteArray text = render().toUtf8();
    if (argc == 3 && QByteArray(argv[1]) == "--check") {
        QFile f(QString::fromLocal8Bit(argv[2]));
        if (f.open(QIODevice::ReadOnly) && f.readAll() == text)
            return 0;
        std::fprintf(stderr, "%s is out of date: run upsmon-statustable > %s\n", argv[2], argv[2]);
        return 1;
    }
    std::fwrite(text.constData(), 1, size_t(text.size()), stdout);
    return 0;
}
