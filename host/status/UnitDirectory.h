#ifndef UNITDIRECTORY_H
#define UNITDIRECTORY_H

// What a network outlet (the NUT server, the metrics exporter) may see and
// do: the units, their latest snapshots and the command path. The host
// implements it; tests give the outlets a table-driven fake.
//
// Threads: units(), description() and status() may be called from any
// thread (the metrics exporter reads from its HTTP thread) and never block
// on a unit. panels(), sendCommand() and writeSetting() are called on the
// host's main thread; the commands only queue on the collector and never
// wait for the device.

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include "UnitStatus.h"

class UnitDirectory
{
public:
    virtual ~UnitDirectory() = default;

    virtual QStringList units() const = 0;
    virtual QString description(const QString& unit) const = 0;
    // The latest snapshot; a default UnitStatus (comm Unknown) for an unknown unit.
    virtual UnitStatus status(const QString& unit) const = 0;
    // What the web console's unit page shows of the unit's last data map,
    // made when asked (nobody pays for a page nobody views):
    // {"energyFlow": EnergyFlow::toJson(), "tables": [{"title", "rows": [{"label", "value", "unit"}]}]}.
    // Empty without a console or data.
    virtual QJsonObject panels(const QString& unit) const = 0;

    // Queues the command of the command table named `name` (or given by its
    // control id). False with a readable reason when the unit or the name is
    // unknown or the value is not accepted. `who` asked, for the event log:
    // the outlet's user ("admin@192.0.2.7" for a NUT client).
    virtual bool sendCommand(const QString& unit, const QString& name, const QString& value,
                             const QString& who, QString* error) = 0;
    // Queues a setting write: control(2016, "<point>,<raw value>").
    virtual bool writeSetting(const QString& unit, int point, int rawValue, const QString& who,
                              QString* error) = 0;
};

#endif // UNITDIRECTORY_H
