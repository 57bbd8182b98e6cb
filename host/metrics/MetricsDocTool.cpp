// upsmon-metrics-doc: the value table of docs/metrics.md, written from the
// metric table. With --check FILE it says whether FILE holds it unchanged.

#include <QFile>
#include <QString>

#include <cstdio>

#include "MetricTable.h"

namespace {

QString rule(double scale)
{
    if (scale == 1)
        return QStringLiteral("value as reported");
    if (scale == 0.01)
        return QStringLiteral("percent / 100");
    return QStringLiteral("value x %1").arg(scale);
}

QString valueTable()
{
    QString out = QStringLiteral("| Metric | `phase` | NUT variable | Rule | Help |\n|---|---|---|---|---|\n");
    const char* family = "";
    for (const MetricSource* row = metricTable(); row->nutName; ++row) {
        const bool first = QLatin1String(row->metric) != QLatin1String(family);
        family = row->metric;
        out += QStringLiteral("| `%1` | %2 | `%3` | %4 | %5 |\n")
                   .arg(QLatin1String(row->metric), row->phase ? QLatin1String(row->phase) : QLatin1String(""),
                        QLatin1String(row->nutName), rule(row->scale),
                        first ? QLatin1String(row->help) : QLatin1String(""));
    }
    return out;
}

} // namespace

int main(int argc, char* argv[])
{
    const QString table = valueTable();
    if (argc == 1) {
        std::fputs(qPrintable(table), stdout);
        return 0;
    }
    QFile doc(QString::fromLocal8Bit(argv[argc - 1]));
    if (argc != 3 || QLatin1String(argv[1]) != QLatin1String("--check") || !doc.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "usage: upsmon-metrics-doc [--check FILE]\n");
        return 2;
    }
    if (QString::fromUtf8(doc.readAll()).contains(table))
        return 0;
    std::fprintf(stderr, "%s does not hold the metric table as upsmon-metrics-doc prints it\n", argv[2]);
    return 1;
}
