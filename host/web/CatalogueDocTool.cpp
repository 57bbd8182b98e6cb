// upsmon-catalogue-doc: the tables of docs/catalogue.md, written from the
// parameter catalogue that the panels, the web console and the NUT settings
// read. With --check FILE it says whether FILE holds them unchanged.

#include "DocTableTool.h"
#include "NutSettings.h"
#include "WebCatalogue.h"
#include "vek5_10_30k_View.h"

#include <algorithm>

namespace {

QString cell(QString text)
{
    return text.replace(QLatin1Char('|'), QLatin1String("\\|")).replace(QLatin1Char('\n'), QLatin1Char(' '));
}

// How a row's type shows its value, and how many points it reads (0: its point count).
struct Shown
{
    int type;
    const char* words;
    int points;
};

const Shown kShown[] = {
    {0, "whole number", 1},       {1, "three whole numbers", 3}, {4, "one decimal", 1},
    {5, "three, one decimal", 3}, {6, "two decimals", 1},        {7, "three, two decimals", 3},
    {9, "text or date", 0},       {11, "option", 1},
};

// A setting's NUT variable ("-": not writable through NUT).
QString nutName(int point)
{
    for (const NutSetting& s : NutSettings::all())
        if (s.point == point)
            return s.name;
    return QStringLiteral("-");
}

QString rows(const QList<ParameterInformation*>& list, bool settings)
{
    QString out = QStringLiteral("| Label | Points | Shown as | Unit | Scale | Raw range | Options (raw value) |%1\n"
                                 "|---|---|---|---|---|---|---|%2\n")
                      .arg(settings ? QStringLiteral(" NUT variable |") : QString(), settings ? QStringLiteral("---|") : QString());
    for (const ParameterInformation* p : list) {
        const Shown* shown = std::find_if(std::begin(kShown), std::end(kShown), [p](const Shown& s) { return s.type == p->type; });
        const int count = shown == std::end(kShown) ? 1 : shown->points ? shown->points : p->pointCount;
        const QString points = count > 1 ? QStringLiteral("%1-%2").arg(p->pointId).arg(p->pointId + count - 1)
                                         : QString::number(p->pointId);
        QList<QPair<int, QString>> byValue;
        for (auto it = p->comboMap.constBegin(); it != p->comboMap.constEnd(); ++it)
            byValue += qMakePair(it.value(), it.key());
        std::stable_sort(byValue.begin(), byValue.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
        QStringList options;
        for (const auto& option : qAsConst(byValue))
            options += QStringLiteral("%1 (%2)").arg(option.second).arg(option.first);
        out += QStringLiteral("| %1 | %2 | %3 | %4 | %5 | %6 | %7 |%8\n")
                   .arg(cell(p->label), points,
                        shown == std::end(kShown) ? QStringLiteral("nothing (type %1)").arg(p->type) : QLatin1String(shown->words),
                        cell(p->unit),
                        p->ratio == 0.0f ? QStringLiteral("-") : QString::number(double(p->ratio)),
                        p->hasRange() ? QStringLiteral("%1-%2").arg(p->minRaw).arg(p->maxRaw) : QStringLiteral("-"),
                        cell(options.join(QLatin1String(", "))),
                        settings ? QStringLiteral(" %1 |").arg(nutName(p->pointId)) : QString());
    }
    return out;
}

} // namespace

int main(int argc, char* argv[])
{
    vek5_10_30k_View catalogue;
    const QList<QPair<const char*, QList<ParameterInformation*>>> settings{
        {"Basic settings", catalogue.getBasicConfig()}, {"Battery settings", catalogue.getBatteryConfig()},
        {"Adjustments", catalogue.getAdjustConfig()}, {"Special settings", catalogue.getSpecialConfig()},
        {"Device information", catalogue.getDevInfoConfig()}};
    QString tables;
    for (const auto& list : WebCatalogue::realTimeTables(catalogue) + settings)
        tables += QStringLiteral("### %1\n\n%2\n").arg(QLatin1String(list.first), rows(list.second, settings.contains(list)));
    return docTableMain(argc, argv, tables, "upsmon-catalogue-doc", DocTable::PartOfFile);
}
