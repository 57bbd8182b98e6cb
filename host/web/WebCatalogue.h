#ifndef WEBCATALOGUE_H
#define WEBCATALOGUE_H

// The parameter catalogue as the web console shows it: the real-time tables
// with their labels and units, the settings with ranges and options (the NUT
// server's writable variables, so both outlets name them alike), and the
// commands. Also turns a unit's data map into what its page shows, so the
// console itself never reads a point id. Built once; const afterwards, so
// any thread may read it.

#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QString>
#include <QVariant>

#include "ParameterInformation.h"

class EnergyFlow;
struct NutSetting;

class vek5_10_30k_View;

class WebCatalogue
{
public:
    // The real-time tables with their titles, in the order the pages show them.
    static QList<QPair<const char*, QList<ParameterInformation*>>> realTimeTables(vek5_10_30k_View& catalogue);
    WebCatalogue();

    // {"tables": [...], "settings": [...], "commands": [...]}
    QJsonObject json() const { return m_json; }
    // UnitDirectory::panels for a data map and the diagram's state for it.
    QJsonObject panels(const QMap<int, QVariant>& data, const EnergyFlow& flow) const;

    // The setting named `nameOrPoint` (its variable name or point id); null if none.
    static const NutSetting* setting(const QString& nameOrPoint);
    // A setting's description for the API: name, point, label, unit, range, options.
    static QJsonObject settingJson(const NutSetting& s);

private:
    struct Table
    {
        QString title;
        QList<ParameterInformation> rows;
    };
    QList<Table> m_tables;
    QJsonObject m_json;
};

#endif // WEBCATALOGUE_H
