#ifndef ENERGYFLOW_H
#define ENERGYFLOW_H

// What the energy-flow diagram shows for a data map: which power paths are
// lit, the state of each block, and the texts of the information panels.
// No widgets and no painting, so the widget, a web page or a status line
// all show the same picture from the same rules.

#include <QJsonObject>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVector>
#include <array>

class EnergyFlow
{
public:
    // In the order of the diagram's flow flags flow0 to flow5.
    enum Path {
        InputToRectifier, RectifierToBattery, BatteryToInverter,
        RectifierToInverter, InverterToLoad, BypassToLoad,
        PathCount
    };

    enum Block { Input, Bypass, Rectifier, Battery, Inverter, Load, BlockCount };

    // Every text shown in the information panels.
    enum Value {
        BypassVoltage, BypassCurrent, BypassFrequency, BypassStatus,
        InputVoltage, InputCurrent, InputFrequency,
        OutputVoltage, OutputCurrent, OutputFrequency,
        OutputApparentPower, OutputActivePower, OutputReactivePower, OutputLoadPercentage,
        SupplyMode, PhaseConfiguration, OutputMode,
        BatteryState, RectifierState, InverterState,
        RectifierTemperature, InverterTemperature,
        BatteryVoltage, BatteryCurrent, BatteryTemperature,
        RemainingTime, RemainingCapacity,
        DeviceType, DeviceName, DeviceManufacturer,
        ValueCount
    };

    // Translates the state tables, once, as the diagram is built.
    EnergyFlow();

    // The picture for a new data map. Every path follows the map alone; a
    // phase group whose phase count is neither 1 nor 3 keeps its texts from
    // this state.
    EnergyFlow next(const QMap<int, QVariant>& data) const;

    void setAllPathsOff();

    bool isLit(Path path) const;
    // A block is on while power passes through it: one of its paths is lit.
    bool isOn(Block block) const;
    // "#rrggbb", the block's fill at its top.
    QString colour(Block block) const;
    // The block's status text, empty for a block without one.
    QString state(Block block) const;
    QString value(Value which) const;

    static QString name(Path path);
    static QString name(Block block);
    static QString name(Value which);

    // {"paths":{name:bool},"blocks":{name:{"on","colour","state"}},"values":{name:text}}
    QJsonObject toJson() const;

private:
    std::array<bool, PathCount> m_lit{};
    std::array<QString, ValueCount> m_values;
    // Translated state texts, one list per table point, in the order of
    // the table points.
    QVector<QStringList> m_tables;
};

#endif // ENERGYFLOW_H
