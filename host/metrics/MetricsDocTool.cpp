// upsmon-metrics-doc: the value table of docs/metrics.md, written from the
// metric table and the status model's point table. With --check FILE it says
// whether FILE holds it unchanged. Either way it fails when a metric reads a
// NUT variable the status model does not make.

#include <QString>
#include <QStringList>

#include <cstdio>

#include "DocTableTool.h"
#include "MetricTable.h"
#include "StatusPointTable.h"

namespace {

QString rule(double scale)
{
    if (scale == 1)
        return QStringLiteral("value as reported");
    if (scale == 0.01)
        return QStringLiteral("percent / 100");
    return QStringLiteral("value x %1").arg(scale);
}

// "4133 | value": the points and rule the status model takes the value from.
QString source(const char* nutName)
{
    for (const StatusPoint* p = statusPointTable(); p->name; ++p) {
        if (QLatin1String(p->name) != QLatin1String(nutName))
            continue;
        const QString points = p->first == p->last ? QString::number(p->first)
                                                   : QStringLiteral("%1-%2").arg(p->first).arg(p->last);
        return points + QStringLiteral(" | ") + QLatin1String(statusRuleText(p->rule));
    }
    return QString();
}

QString valueTable(QStringList* unknown)
{
    QString out = QStringLiteral("| Metric | `phase` | NUT variable | Point | Status rule | Rule | Help |\n"
                                 "|---|---|---|---|---|---|---|\n");
    const char* family = "";
    for (const MetricSource* row = metricTable(); row->nutName; ++row) {
        const bool first = QLatin1String(row->metric) != QLatin1String(family);
        if (source(row->nutName).isEmpty())
            *unknown += QLatin1String(row->nutName);
        family = row->metric;
        out += QStringLiteral("| `%1` | %2 | `%3` | %4 | %5 | %6 |\n")
                   .arg(QLatin1String(row->metric), row->phase ? QLatin1String(row->phase) : QLatin1String(""),
                        QLatin1String(row->nutName), source(row->nutName), rule(row->scale),
                        first ? QLatin1String(row->help) : QLatin1String(""));
    }
    return out;
}

} // namespace

int main(int argc, char* argv[])
{
    QStringList unknown;
    const QString table = valueTable(&unknown);
    if (!unknown.isEmpty()) {
        std::fprintf(stderr, "not made by the status model: %s\n", qPrintable(unknown.join(QStringLiteral(", "))));
        return 1;
    }
    return docTableMain(argc, argv, table, "upsmon-metrics-doc", DocTable::PartOfFile);
}
