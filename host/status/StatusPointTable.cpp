#include "StatusPointTable.h"

#include "points.h"

#include <QList>
#include <QtGlobal>

#include <algorithm>
#include <numeric>

namespace {

// The range the plugin serves, for a unit whose model registers are empty.
const char* const kRangeName = "vek5m 10-30k";

// Last point of a text of `length` points.
constexpr int textEnd(int first, int length)
{
    return first + length - 1;
}

// PhaseMean rows run from the phase count to the last phase's value.
static_assert(point::InputVoltageR == point::InputPhases + 1 && point::OutputVoltageR == point::OutputPhases + 1,
              "a phase count precedes its phase values");

const StatusPoint kPoints[] = {
    {"device.mfr", point::Manufacturer, textEnd(point::Manufacturer, point::ManufacturerLength), StatusPoint::Text, "", "manufacturer"},
    {"device.model", point::Model, textEnd(point::Model, point::ModelLength), StatusPoint::Text, "", "model", kRangeName},
    {"device.serial", point::SerialNumber, textEnd(point::SerialNumber, point::SerialNumberLength), StatusPoint::Text, "", "serial number"},
    {"ups.mfr", point::Manufacturer, textEnd(point::Manufacturer, point::ManufacturerLength), StatusPoint::Text, "", "manufacturer"},
    {"ups.model", point::Model, textEnd(point::Model, point::ModelLength), StatusPoint::Text, "", "model", kRangeName},
    {"ups.serial", point::SerialNumber, textEnd(point::SerialNumber, point::SerialNumberLength), StatusPoint::Text, "", "serial number"},
    {"ups.id", point::DeviceName, textEnd(point::DeviceName, point::DeviceNameLength), StatusPoint::Text, "", "device name"},
    {"ups.firmware", point::FirmwareVersion, point::FirmwareVersion, StatusPoint::Value, "", "firmware version"},
    {"ups.firmware.aux", point::InverterVersion, textEnd(point::InverterVersion, point::InverterVersionLength), StatusPoint::Text, "", "inverter software version"},
    {"battery.voltage", point::BatteryVoltagePositive, point::BatteryVoltagePositive, StatusPoint::Value, "V", "positive battery string voltage"},
    {"battery.current", point::BatteryCurrentPositive, point::BatteryCurrentPositive, StatusPoint::Value, "A", "positive battery string current"},
    {"battery.temperature", point::BatteryTemperature, point::BatteryTemperature, StatusPoint::Value, "degC", "battery temperature"},
    {"battery.packs", point::BatteryNumber, point::BatteryNumber, StatusPoint::Value, "", "battery blocks"},
    {"battery.capacity", point::BatteryCapacity, point::BatteryCapacity, StatusPoint::Value, "Ah", "battery capacity"},
    {"battery.runtime", point::BatteryRuntime, point::BatteryRuntime, StatusPoint::Minutes, "s", "remaining backup time"},
    {"battery.charge", point::BatteryCharge, point::BatteryCharge, StatusPoint::Value, "%", "remaining capacity"},
    {"input.phases", point::InputPhases, point::InputPhases, StatusPoint::Value, "", "input phase count"},
    {"input.L1-N.voltage", point::InputVoltageR, point::InputVoltageR, StatusPoint::Value, "V", "input voltage R"},
    {"input.L2-N.voltage", point::InputVoltageS, point::InputVoltageS, StatusPoint::Value, "V", "input voltage S"},
    {"input.L3-N.voltage", point::InputVoltageT, point::InputVoltageT, StatusPoint::Value, "V", "input voltage T"},
    {"input.voltage", point::InputPhases, point::InputVoltageT, StatusPoint::PhaseMean, "V", "input voltage, mean of the phases"},
    {"input.L1.current", point::InputCurrentR, point::InputCurrentR, StatusPoint::Value, "A", "input current R"},
    {"input.L2.current", point::InputCurrentS, point::InputCurrentS, StatusPoint::Value, "A", "input current S"},
    {"input.L3.current", point::InputCurrentT, point::InputCurrentT, StatusPoint::Value, "A", "input current T"},
    {"input.frequency", point::InputFrequencyR, point::InputFrequencyR, StatusPoint::Value, "Hz", "input frequency R"},
    {"vek5.input.L1.frequency", point::InputFrequencyR, point::InputFrequencyR, StatusPoint::Value, "Hz", "input frequency R"},
    {"vek5.input.L2.frequency", point::InputFrequencyS, point::InputFrequencyS, StatusPoint::Value, "Hz", "input frequency S"},
    {"vek5.input.L3.frequency", point::InputFrequencyT, point::InputFrequencyT, StatusPoint::Value, "Hz", "input frequency T"},
    {"output.phases", point::OutputPhases, point::OutputPhases, StatusPoint::Value, "", "output phase count"},
    {"output.L1-N.voltage", point::OutputVoltageR, point::OutputVoltageR, StatusPoint::Value, "V", "output voltage R"},
    {"output.L2-N.voltage", point::OutputVoltageS, point::OutputVoltageS, StatusPoint::Value, "V", "output voltage S"},
    {"output.L3-N.voltage", point::OutputVoltageT, point::OutputVoltageT, StatusPoint::Value, "V", "output voltage T"},
    {"output.voltage", point::OutputPhases, point::OutputVoltageT, StatusPoint::PhaseMean, "V", "output voltage, mean of the phases"},
    {"output.L1.current", point::OutputCurrentR, point::OutputCurrentR, StatusPoint::Value, "A", "output current R"},
    {"output.L2.current", point::OutputCurrentS, point::OutputCurrentS, StatusPoint::Value, "A", "output current S"},
    {"output.L3.current", point::OutputCurrentT, point::OutputCurrentT, StatusPoint::Value, "A", "output current T"},
    {"output.current", point::OutputCurrentR, point::OutputCurrentT, StatusPoint::Highest, "A", "output current of the most loaded phase"},
    {"output.frequency", point::OutputFrequencyR, point::OutputFrequencyR, StatusPoint::Value, "Hz", "output frequency R"},
    {"vek5.output.L1.frequency", point::OutputFrequencyR, point::OutputFrequencyR, StatusPoint::Value, "Hz", "output frequency R"},
    {"vek5.output.L2.frequency", point::OutputFrequencyS, point::OutputFrequencyS, StatusPoint::Value, "Hz", "output frequency S"},
    {"vek5.output.L3.frequency", point::OutputFrequencyT, point::OutputFrequencyT, StatusPoint::Value, "Hz", "output frequency T"},
    {"output.L1.power", point::OutputKvaR, point::OutputKvaR, StatusPoint::Kilo, "VA", "output apparent power R"},
    {"output.L2.power", point::OutputKvaS, point::OutputKvaS, StatusPoint::Kilo, "VA", "output apparent power S"},
    {"output.L3.power", point::OutputKvaT, point::OutputKvaT, StatusPoint::Kilo, "VA", "output apparent power T"},
    {"output.L1.realpower", point::OutputKwR, point::OutputKwR, StatusPoint::Kilo, "W", "output real power R"},
    {"output.L2.realpower", point::OutputKwS, point::OutputKwS, StatusPoint::Kilo, "W", "output real power S"},
    {"output.L3.realpower", point::OutputKwT, point::OutputKwT, StatusPoint::Kilo, "W", "output real power T"},
    {"ups.realpower", point::OutputKwR, point::OutputKwT, StatusPoint::KiloSum, "W", "output real power of all phases"},
    {"output.L1.power.percent", point::OutputLoadR, point::OutputLoadR, StatusPoint::Value, "%", "load R"},
    {"output.L2.power.percent", point::OutputLoadS, point::OutputLoadS, StatusPoint::Value, "%", "load S"},
    {"output.L3.power.percent", point::OutputLoadT, point::OutputLoadT, StatusPoint::Value, "%", "load T"},
    {"ups.load", point::OutputLoadR, point::OutputLoadT, StatusPoint::Highest, "%", "load of the most loaded phase"},
    {"input.bypass.phases", point::BypassPhases, point::BypassPhases, StatusPoint::Value, "", "bypass phase count"},
    {"input.bypass.L1-N.voltage", point::BypassVoltageR, point::BypassVoltageR, StatusPoint::Value, "V", "bypass voltage R"},
    {"input.bypass.L2-N.voltage", point::BypassVoltageS, point::BypassVoltageS, StatusPoint::Value, "V", "bypass voltage S"},
    {"input.bypass.L3-N.voltage", point::BypassVoltageT, point::BypassVoltageT, StatusPoint::Value, "V", "bypass voltage T"},
    {"input.bypass.L1.current", point::BypassCurrentR, point::BypassCurrentR, StatusPoint::Value, "A", "bypass current R"},
    {"input.bypass.L2.current", point::BypassCurrentS, point::BypassCurrentS, StatusPoint::Value, "A", "bypass current S"},
    {"input.bypass.L3.current", point::BypassCurrentT, point::BypassCurrentT, StatusPoint::Value, "A", "bypass current T"},
    {"input.bypass.frequency", point::BypassFrequencyR, point::BypassFrequencyR, StatusPoint::Value, "Hz", "bypass frequency R"},
    {"vek5.input.bypass.L1.frequency", point::BypassFrequencyR, point::BypassFrequencyR, StatusPoint::Value, "Hz", "bypass frequency R"},
    {"vek5.input.bypass.L2.frequency", point::BypassFrequencyS, point::BypassFrequencyS, StatusPoint::Value, "Hz", "bypass frequency S"},
    {"vek5.input.bypass.L3.frequency", point::BypassFrequencyT, point::BypassFrequencyT, StatusPoint::Value, "Hz", "bypass frequency T"},
    {"ups.temperature", point::RectifierTemperature, point::InverterTemperature, StatusPoint::Highest, "degC", "hotter of rectifier and inverter"},
    {"ups.power.nominal", point::RatedKva, point::RatedKva, StatusPoint::Kilo, "VA", "rated power"},
    {"input.voltage.nominal", point::RatedInputVoltage, point::RatedInputVoltage, StatusPoint::Value, "V", "rated input voltage"},
    {"input.frequency.nominal", point::RatedInputFrequency, point::RatedInputFrequency, StatusPoint::Value, "Hz", "rated input frequency"},
    {"output.voltage.nominal", point::RatedOutputVoltage, point::RatedOutputVoltage, StatusPoint::Value, "V", "rated output voltage"},
    {"output.frequency.nominal", point::RatedOutputFrequency, point::RatedOutputFrequency, StatusPoint::Value, "Hz", "rated output frequency"},
    {"ups.beeper.status", point::BuzzerEnabled, point::BuzzerEnabled, StatusPoint::Enabled, "", "buzzer"},
    {nullptr, 0, 0, StatusPoint::Value, nullptr, nullptr},
};

// The rules over several points; invalid when the unit reported none of them.
QVariant aggregate(const StatusPoint& row, const PointArray& data)
{
    int first = row.first;
    int last = row.last;
    if (row.rule == StatusPoint::PhaseMean) {
        // A unit with fewer phases than points reports the others as 0.
        const int phases = data.value(row.first, row.last - row.first).toInt();
        first = row.first + 1;
        last = first + qBound(1, phases, row.last - row.first) - 1;
    }
    QList<double> values;
    for (int p = first; p <= last; ++p)
        if (data.contains(p))
            values += data.value(p).toDouble();
    if (values.isEmpty())
        return QVariant();
    if (row.rule == StatusPoint::Highest)
        return *std::max_element(values.cbegin(), values.cend());
    const double sum = std::accumulate(values.cbegin(), values.cend(), 0.0);
    return row.rule == StatusPoint::KiloSum ? sum * 1000 : sum / values.size();
}

} // namespace

const StatusPoint* statusPointTable()
{
    return kPoints;
}

QVariant statusPointValue(const StatusPoint& row, const PointArray& data)
{
    switch (row.rule) {
    case StatusPoint::Text: {
        QString text;
        for (int p = row.first; p <= row.last; ++p) {
            const int c = data.value(p).toInt();
            if (c > 0 && c < 256)
                text += QChar(c);
        }
        text = text.trimmed();
        if (text.isEmpty())
            return row.fallback ? QVariant(QString::fromLatin1(row.fallback)) : QVariant();
        return text;
    }
    case StatusPoint::Highest:
    case StatusPoint::PhaseMean:
    case StatusPoint::KiloSum:
        return aggregate(row, data);
    default:
        break;
    }
    if (!data.contains(row.first))
        return QVariant();
    const double v = data.value(row.first).toDouble();
    switch (row.rule) {
    case StatusPoint::Minutes:
        return v * 60;
    case StatusPoint::Kilo:
        return v * 1000;
    case StatusPoint::Enabled:
        return v == 1 ? QStringLiteral("enabled") : QStringLiteral("disabled");
    default:
        return v;
    }
}

const char* statusRuleText(StatusPoint::Rule rule)
{
    switch (rule) {
    case StatusPoint::Minutes: return "minutes x 60";
    case StatusPoint::Kilo: return "x 1000";
    case StatusPoint::Highest: return "highest of the points";
    case StatusPoint::PhaseMean: return "mean of the phases, the first point their count";
    case StatusPoint::KiloSum: return "sum of the points x 1000";
    case StatusPoint::Text: return "text, one character per point";
    case StatusPoint::Enabled: return "1 = enabled, else disabled";
    case StatusPoint::Value: break;
    }
    return "value";
}
