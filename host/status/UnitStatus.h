#ifndef UNITSTATUS_H
#define UNITSTATUS_H

// The host's one picture of a unit, as the outlets read it (console, policy,
// NUT server, metrics exporter). Only the status model fills it: none of the
// outlets knows a point id.

#include <QList>
#include <QMap>
#include <QMetaType>
#include <QString>
#include <QStringList>
#include <QVariant>

struct ActiveAlarm
{
    int index = 0;      // alarm index 0-511 (point point::FirstAlarm + index)
    QString text;       // catalogue text of the alarm
};

struct UnitStatus
{
    enum class Comm { Unknown, Ok, Lost };

    QString unit;                   // unit name of param.ini [host] units
    Comm comm = Comm::Unknown;
    bool stale = false;             // no data report for maxAge seconds
    double dataAgeSeconds = -1;     // since the last data report; -1 before the first
    QStringList flags;              // NUT status flags in NUT's order: "OL", "OB", "LB", ...
    // Named values under NUT variable names ("battery.charge",
    // "input.L1-N.voltage", "device.model", ...): numbers as double, texts as
    // QString. A value the unit has not reported is absent.
    QMap<QString, QVariant> values;
    QList<ActiveAlarm> alarms;      // active alarms, by index

    bool hasFlag(const QString& flag) const { return flags.contains(flag); }
};

Q_DECLARE_METATYPE(UnitStatus)

#endif // UNITSTATUS_H
