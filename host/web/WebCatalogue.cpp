#include "WebCatalogue.h"

#include <algorithm>

#include <QJsonArray>

#include "CommandTable.h"
#include "EnergyFlow.h"
#include "NutSettings.h"
#include "vek5_10_30k_View.h"

namespace {

QString withoutColon(const QString& label)
{
    return label.endsWith(QLatin1Char(':')) ? label.chopped(1) : label;
}

} // namespace

QList<QPair<const char*, QList<ParameterInformation*>>> WebCatalogue::realTimeTables(vek5_10_30k_View& catalogue)
{
    return {{"Device", catalogue.getDeviceData()}, {"Input", catalogue.getInputData()},
            {"Output", catalogue.getOutputData()}, {"Bypass", catalogue.getBypassData()},
            {"Battery", catalogue.getBatteryData()}, {"Rectifier and inverter", catalogue.getRecInvData()}};
}

WebCatalogue::WebCatalogue()
{
    vek5_10_30k_View catalogue;
    const auto lists = realTimeTables(catalogue);
    QJsonArray tables;
    for (const auto& list : lists) {
        Table t{QLatin1String(list.first), {}};
        QJsonArray rows;
        for (const ParameterInformation* row : list.second) {
            t.rows += *row;
            rows.append(QJsonObject{{"label", withoutColon(row->label)}, {"unit", row->unit}});
        }
        tables.append(QJsonObject{{"title", t.title}, {"rows", rows}});
        m_tables += t;
    }
    QJsonArray settings;
    for (const NutSetting& s : NutSettings::all())
        settings.append(settingJson(s));
    QJsonArray commands;
    for (const UpsCommand* c : hostCommands()) {
        static const char* const kArguments[] = {"none", "minutes", "file name"};
        commands.append(QJsonObject{{"name", QLatin1String(c->nutName)}, {"id", c->id},
                                    {"description", QLatin1String(c->description)},
                                    {"argument", QLatin1String(kArguments[c->argument])}});
    }
    m_json = QJsonObject{{"tables", tables}, {"settings", settings}, {"commands", commands}};
}

QJsonObject WebCatalogue::panels(const QMap<int, QVariant>& data, const EnergyFlow& flow) const
{
    QJsonArray tables;
    for (const Table& t : m_tables) {
        QJsonArray rows;
        for (const ParameterInformation& row : t.rows)
            rows.append(QJsonObject{{"label", withoutColon(row.label)}, {"value", row.displayText(data)},
                                    {"unit", row.unit}});
        tables.append(QJsonObject{{"title", t.title}, {"rows", rows}});
    }
    return QJsonObject{{"energyFlow", flow.toJson()}, {"tables", tables}};
}

const NutSetting* WebCatalogue::setting(const QString& nameOrPoint)
{
    bool isPoint = false;
    const int point = nameOrPoint.toInt(&isPoint);
    for (const NutSetting& s : NutSettings::all())
        if (isPoint ? s.point == point : s.name == nameOrPoint)
            return &s;
    return nullptr;
}

QJsonObject WebCatalogue::settingJson(const NutSetting& s)
{
    QJsonObject o{{"name", s.name}, {"point", s.point}, {"label", s.description}};
    if (s.isEnum()) {
        // In the unit's order (by raw value), not the NUT listing's order by text.
        auto byValue = s.options;
        std::sort(byValue.begin(), byValue.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
        QJsonArray options;
        for (const auto& option : qAsConst(byValue))
            options.append(option.first);
        o.insert(QStringLiteral("options"), options);
    } else if (s.hasRange()) {
        o.insert(QStringLiteral("min"), s.rangeMin().toDouble());
        o.insert(QStringLiteral("max"), s.rangeMax().toDouble());
    }
    return o;
}
