// upsmon-statustable: writes docs/status-model.md from the status model's
// tables, or with --check FILE says whether FILE is still what they give.

#include <QTextStream>

#include "DocTableTool.h"
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
           "a value the unit has not reported is absent.\n\n"
           "Three-phase units: the per-phase values carry NUT's L1..L3 names, and the\n"
           "single-phase names that NUT's usual consumers read (Home Assistant, nut_exporter,\n"
           "dashboards) summarise the phases. `input.voltage` and `output.voltage` are the mean\n"
           "of the unit's phases: one figure near the nominal voltage while all phases are\n"
           "sound, pulled down by a phase that fails (L1 alone would hide a failure of L2 or\n"
           "L3). `output.current` and `ups.load` are the most loaded phase, the one nearest its\n"
           "limit. `ups.realpower` is the sum, the unit's whole output.\n\n"
           "## Values\n\n| Variable | Points | Unit | Rule | Meaning |\n|---|---|---|---|---|\n";
    for (const StatusPoint* p = statusPointTable(); p->name; ++p) {
        const QString points = p->first == p->last ? QString::number(p->first)
                                                   : QStringLiteral("%1-%2").arg(p->first).arg(p->last);
        out << "| " << p->name << " | " << points << " | " << p->unit << " | " << statusRuleText(p->rule);
        if (p->fallback)
            out << "; \"" << p->fallback << "\" when empty";
        out << " | " << p->meaning << " |\n";
    }
    out << "\n## Host values\n\n| Variable | Value |\n|---|---|\n";
    for (const auto& v : StatusModel::hostValueRules())
        out << "| " << v.first << " | " << v.second << " |\n";
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
    return docTableMain(argc, argv, render(), "upsmon-statustable", DocTable::WholeFile);
}
