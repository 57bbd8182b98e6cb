#ifndef FAKEUNITS_H
#define FAKEUNITS_H

// A unit directory from a table; what reaches the units is recorded as "WHO cmd UNIT NAME [VALUE]" or
// "WHO set UNIT POINT RAW".

#include "UnitDirectory.h"

class FakeUnits : public UnitDirectory
{
public:
    QList<UnitStatus> table;
    QMap<QString, QJsonObject> pages;   // panels by unit
    QStringList effects;

    void add(const QString& unit, UnitStatus::Comm comm, UnitStatus shape = {})
    {
        shape.unit = unit;
        shape.comm = comm;
        table += shape;
    }
    // UPS1 communicating and LOST not, both with the picture `shape`.
    static FakeUnits pair(const UnitStatus& shape)
    {
        FakeUnits units;
        units.add("UPS1", UnitStatus::Comm::Ok, shape);
        units.add("LOST", UnitStatus::Comm::Lost, shape);
        return units;
    }
    // The pair on battery, with texts that need quoting: the fuzz targets' units.
    static FakeUnits quoting()
    {
        UnitStatus s;
        s.dataAgeSeconds = 1;
        s.flags = QStringList{"OB", "LB"};
        s.values = {{"battery.charge", 12.5}, {"device.model", "M\"1\\"}, {"vek5.battery.numbers", 40}};
        s.alarms = {{23, "Monitor_Low battery (EOD)"}};
        return pair(s);
    }

    QStringList units() const override
    {
        QStringList names;
        for (const UnitStatus& s : table)
            names += s.unit;
        return names;
    }
    QString description(const QString& unit) const override { return "Rack " + unit; }
    UnitStatus status(const QString& unit) const override
    {
        for (const UnitStatus& s : table)
            if (s.unit == unit)
                return s;
        return {};
    }
    QJsonObject panels(const QString& unit) const override { return pages.value(unit); }
    bool sendCommand(const QString& unit, const QString& name, const QString& value, const QString& who, QString*) override
    {
        return effects << QString("%1 cmd %2 %3 %4").arg(who, unit, name, value).trimmed(), true;
    }
    bool writeSetting(const QString& unit, int point, int raw, const QString& who, QString*) override
    {
        return effects << QString("%1 set %2 %3 %4").arg(who, unit).arg(point).arg(raw), true;
    }
};

#endif // FAKEUNITS_H
