#include "StatusPointTable.h"

#include <QList>
#include <QtGlobal>

#include <algorithm>
#include <numeric>

namespace {

// The range the plugin serves, for a unit whose model registers are empty.
const char* const kRangeName = "vek5m 10-30k";

const StatusPoint kPoints[] = {
    {"device.mfr", 4000, 4015, StatusPoint::Text, "", "manufacturer"},
    {"device.model", 4016, 4031, StatusPoint::Text, "", "model", kRangeName},
    {"device.serial", 4064, 4079, StatusPoint::Text, "", "serial number"},
    {"ups.mfr", 4000, 4015, StatusPoint::Text, "", "manufacturer"},
    {"ups.model", 4016, 4031, StatusPoint::Text, "", "model", kRangeName},
    {"ups.serial", 4064, 4079, StatusPoint::Text, "", "serial number"},
    {"ups.id", 4080, 4095, StatusPoint::Text, "", "device name"},
    {"ups.firmware", 4098, 4098, StatusPoint::Value, "", "firmware version"},
    {"ups.firmware.aux", 4255, 4258, StatusPoint::Text, "", "inverter software version"},
    {"battery.voltage", 4103, 4103, StatusPoint::Value, "V", "positive battery string voltage"},
    {"battery.current", 4105, 4105, StatusPoint::Value, "A", "positive battery string current"},
    {"battery.temperature", 4107, 4107, StatusPoint::Value, "degC", "battery temperature"},
    {"battery.packs", 4108, 4108, StatusPoint::Value, "", "battery blocks"},
    {"battery.capacity", 4109, 4109, StatusPoint::Value, "Ah", "battery capacity"},
    {"battery.runtime", 4110, 4110, StatusPoint::Minutes, "s", "remaining backup time"},
    {"battery.charge", 4111, 4111, StatusPoint::Value, "%", "remaining capacity"},
    {"input.phases", 4132, 4132, StatusPoint::Value, "", "input phase count"},
    {"input.L1-N.voltage", 4133, 4133, StatusPoint::Value, "V", "input voltage R"},
    {"input.L2-N.voltage", 4134, 4134, StatusPoint::Value, "V", "input voltage S"},
    {"input.L3-N.voltage", 4135, 4135, StatusPoint::Value, "V", "input voltage T"},
    {"input.voltage", 4132, 4135, StatusPoint::PhaseMean, "V", "input voltage, mean of the phases"},
    {"input.L1.current", 4136, 4136, StatusPoint::Value, "A", "input current R"},
    {"input.L2.current", 4137, 4137, StatusPoint::Value, "A", "input current S"},
    {"input.L3.current", 4138, 4138, StatusPoint::Value, "A", "input current T"},
    {"input.frequency", 4139, 4139, StatusPoint::Value, "Hz", "input frequency R"},
    {"vek5.input.L1.frequency", 4139, 4139, StatusPoint::Value, "Hz", "input frequency R"},
    {"vek5.input.L2.frequency", 4140, 4140, StatusPoint::Value, "Hz", "input frequency S"},
    {"vek5.input.L3.frequency", 4141, 4141, StatusPoint::Value, "Hz", "input frequency T"},
    {"output.phases", 4162, 4162, StatusPoint::Value, "", "output phase count"},
    {"output.L1-N.voltage", 4163, 4163, StatusPoint::Value, "V", "output voltage R"},
    {"output.L2-N.voltage", 4164, 4164, StatusPoint::Value, "V", "output voltage S"},
    {"output.L3-N.voltage", 4165, 4165, StatusPoint::Value, "V", "output voltage T"},
    {"output.voltage", 4162, 4165, StatusPoint::PhaseMean, "V", "output voltage, mean of the phases"},
    {"output.L1.current", 4166, 4166, StatusPoint::Value, "A", "output current R"},
    {"output.L2.current", 4167, 4167, StatusPoint::Value, "A", "output current S"},
    {"output.L3.current", 4168, 4168, StatusPoint::Value, "A", "output current T"},
    {"output.current", 4166, 4168, StatusPoint::Highest, "A", "output current of the most loaded phase"},
    {"output.frequency", 4169, 4169, StatusPoint::Value, "Hz", "output frequency R"},
    {"vek5.output.L1.frequency", 4169, 4169, StatusPoint::Value, "Hz", "output frequency R"},
    {"vek5.output.L2.frequency", 4170, 4170, StatusPoint::Value, "Hz", "output frequency S"},
    {"vek5.output.L3.frequency", 4171, 4171, StatusPoint::Value, "Hz", "output frequency T"},
    {"output.L1.power", 4175, 4175, StatusPoint::Kilo, "VA", "output apparent power R"},
    {"output.L2.power", 4176, 4176, StatusPoint::Kilo, "VA", "output apparent power S"},
    {"output.L3.power", 4177, 4177, StatusPoint::Kilo, "VA", "output apparent power T"},
    {"output.L1.realpower", 4178, 4178, StatusPoint::Kilo, "W", "output real power R"},
    {"output.L2.realpower", 4179, 4179, StatusPoint::Kilo, "W", "output real power S"},
    {"output.L3.realpower", 4180, 4180, StatusPoint::Kilo, "W", "output real power T"},
    {"ups.realpower", 4178, 4180, StatusPoint::KiloSum, "W", "output real power of all phases"},
    {"output.L1.power.percent", 4184, 4184, StatusPoint::Value, "%", "load R"},
    {"output.L2.power.percent", 4185, 4185, StatusPoint::Value, "%", "load S"},
    {"output.L3.power.percent", 4186, 4186, StatusPoint::Value, "%", "load T"},
    {"ups.load", 4184, 4186, StatusPoint::Highest, "%", "load of the most loaded phase"},
    {"input.bypass.phases", 4191, 4191, StatusPoint::Value, "", "bypass phase count"},
    {"input.bypass.L1-N.voltage", 4192, 4192, StatusPoint::Value, "V", "bypass voltage R"},
    {"input.bypass.L2-N.voltage", 4193, 4193, StatusPoint::Value, "V", "bypass voltage S"},
    {"input.bypass.L3-N.voltage", 4194, 4194, StatusPoint::Value, "V", "bypass voltage T"},
    {"input.bypass.L1.current", 4195, 4195, StatusPoint::Value, "A", "bypass current R"},
    {"input.bypass.L2.current", 4196, 4196, StatusPoint::Value, "A", "bypass current S"},
    {"input.bypass.L3.current", 4197, 4197, StatusPoint::Value, "A", "bypass current T"},
    {"input.bypass.frequency", 4198, 4198, StatusPoint::Value, "Hz", "bypass frequency R"},
    {"vek5.input.bypass.L1.frequency", 4198, 4198, StatusPoint::Value, "Hz", "bypass frequency R"},
    {"vek5.input.bypass.L2.frequency", 4199, 4199, StatusPoint::Value, "Hz", "bypass frequency S"},
    {"vek5.input.bypass.L3.frequency", 4200, 4200, StatusPoint::Value, "Hz", "bypass frequency T"},
    {"ups.temperature", 4241, 4242, StatusPoint::Highest, "degC", "hotter of rectifier and inverter"},
    {"ups.power.nominal", 4243, 4243, StatusPoint::Kilo, "VA", "rated power"},
    {"input.voltage.nominal", 4244, 4244, StatusPoint::Value, "V", "rated input voltage"},
    {"input.frequency.nominal", 4245, 4245, StatusPoint::Value, "Hz", "rated input frequency"},
    {"output.voltage.nominal", 4246, 4246, StatusPoint::Value, "V", "rated output voltage"},
    {"output.frequency.nominal", 4247, 4247, StatusPoint::Value, "Hz", "rated output frequency"},
    {"ups.beeper.status", 4260, 4260, StatusPoint::Enabled, "", "buzzer"},
    {nullptr, 0, 0, StatusPoint::Value, nullptr, nullptr},
};

// The rules over several points; invalid when the unit reported none of them.
QVariant aggregate(const StatusPoint& row, const QMap<int, QVariant>& data)
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

QVariant statusPointValue(const StatusPoint& row, const QMap<int, QVariant>& data)
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
