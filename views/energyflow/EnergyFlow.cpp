#include "EnergyFlow.h"

#include "points.h"

#include <QCoreApplication>
#include <QJsonValue>

#include <vector>

namespace {

// The points the diagram reads, by the names it gives them.
constexpr int kIdentityType = point::Model;           // 16 points, one character each
constexpr int kIdentityName = point::DeviceName;
constexpr int kIdentityManufacturer = point::Manufacturer;
constexpr int kBatteryState = point::BatteryStatus;
constexpr int kBatteryPositiveVoltage = point::BatteryVoltagePositive;
constexpr int kBatteryNegativeVoltage = point::BatteryVoltageNegative;
constexpr int kBatteryPositiveCurrent = point::BatteryCurrentPositive;
constexpr int kBatteryNegativeCurrent = point::BatteryCurrentNegative;
constexpr int kBatteryTemperature = point::BatteryTemperature;
constexpr int kRemainingTime = point::BatteryRuntime;
constexpr int kRemainingCapacity = point::BatteryCharge;
constexpr int kInputPhases = point::InputPhases;
constexpr int kInputVoltage = point::InputVoltageR;           // three points each from here on
constexpr int kInputCurrent = point::InputCurrentR;
constexpr int kInputFrequency = point::InputFrequencyR;
constexpr int kOutputMode = point::OutputLoadOn;
constexpr int kOutputPhases = point::OutputPhases;
constexpr int kOutputVoltage = point::OutputVoltageR;
constexpr int kOutputCurrent = point::OutputCurrentR;
constexpr int kOutputFrequency = point::OutputFrequencyR;
constexpr int kOutputApparentPower = point::OutputKvaR;
constexpr int kOutputActivePower = point::OutputKwR;
constexpr int kOutputReactivePower = point::OutputKvarR;
constexpr int kOutputLoadPercentage = point::OutputLoadR;
constexpr int kBypassStatus = point::BypassStatus;
constexpr int kBypassPhases = point::BypassPhases;
constexpr int kBypassVoltage = point::BypassVoltageR;
constexpr int kBypassCurrent = point::BypassCurrentR;
constexpr int kBypassFrequency = point::BypassFrequencyR;
constexpr int kBypassFlowing = point::LoadOnBypass;          // the unit's energy-flow states, 1 = on
constexpr int kInputFlowing = point::MainsToRectifier;
constexpr int kRectifierFlowing = point::RectifierToBus;
constexpr int kInverterFlowing = point::InverterRunning;
constexpr int kInverterOutputFlowing = point::InverterToLoad;
constexpr int kLoadFlowing = point::OutputSupplied;
constexpr int kBatteryFlowing = point::BatteryFlowing;
constexpr int kRectifierState = point::RectifierStatus;
constexpr int kInverterState = point::InverterStatus;
constexpr int kRectifierTemperature = point::RectifierTemperature;
constexpr int kInverterTemperature = point::InverterTemperature;
constexpr int kPhaseConfiguration = point::ModelId;
constexpr int kSupplyMode = point::WorkMode;

// The texts are the diagram's own and keep its translation context.
const char* const kContext = "Energyline";

// Single points whose value indexes a table of state texts.
const struct { int point; EnergyFlow::Value value; std::vector<const char*> texts; } kTableValues[] = {
    {kBypassStatus, EnergyFlow::BypassStatus,
     {QT_TRANSLATE_NOOP("Energyline", "Abnormal"), QT_TRANSLATE_NOOP("Energyline", "Normal")}},
    {kSupplyMode, EnergyFlow::SupplyMode,
     {QT_TRANSLATE_NOOP("Energyline", "No supply"), QT_TRANSLATE_NOOP("Energyline", "Mains supply"),
      QT_TRANSLATE_NOOP("Energyline", "Battery supply"), QT_TRANSLATE_NOOP("Energyline", "Conbined supply"),
      QT_TRANSLATE_NOOP("Energyline", "Bypass supply")}},
    {kPhaseConfiguration, EnergyFlow::PhaseConfiguration,
     {QT_TRANSLATE_NOOP("Energyline", "Single-Single"), QT_TRANSLATE_NOOP("Energyline", "Three-Single"),
      QT_TRANSLATE_NOOP("Energyline", "Three-Three")}},
    {kOutputMode, EnergyFlow::OutputMode,
     {QT_TRANSLATE_NOOP("Energyline", "None"), QT_TRANSLATE_NOOP("Energyline", "Load on bypass"),
      QT_TRANSLATE_NOOP("Energyline", "Load on inverter"), QT_TRANSLATE_NOOP("Energyline", "Load on other")}},
    {kBatteryState, EnergyFlow::BatteryState,
     {QT_TRANSLATE_NOOP("Energyline", "Disconnect"), QT_TRANSLATE_NOOP("Energyline", "Standby"),
      QT_TRANSLATE_NOOP("Energyline", "curr. equal charge"), QT_TRANSLATE_NOOP("Energyline", "volt. float charge"),
      QT_TRANSLATE_NOOP("Energyline", "Discharge"), QT_TRANSLATE_NOOP("Energyline", "volt. equal charge")}},
    {kRectifierState, EnergyFlow::RectifierState,
     {QT_TRANSLATE_NOOP("Energyline", "Off"), QT_TRANSLATE_NOOP("Energyline", "Soft start"),
      QT_TRANSLATE_NOOP("Energyline", "PFC mode"), QT_TRANSLATE_NOOP("Energyline", "Battery mode")}},
    {kInverterState, EnergyFlow::InverterState,
     {QT_TRANSLATE_NOOP("Energyline", "Off"), QT_TRANSLATE_NOOP("Energyline", "Soft start"),
      QT_TRANSLATE_NOOP("Energyline", "Normal run")}},
};

// A path is lit while both of its points are 1; 0 stands for no second point.
const struct { const char* name; int first; int second; } kPaths[EnergyFlow::PathCount] = {
    {"input->rectifier", kInputFlowing, 0},
    {"rectifier->battery", kRectifierFlowing, kBatteryFlowing},
    {"battery->inverter", kInverterFlowing, kBatteryFlowing},
    {"rectifier->inverter", kRectifierFlowing, kInverterFlowing},
    {"inverter->load", kInverterOutputFlowing, kLoadFlowing},
    {"bypass->load", kBypassFlowing, kLoadFlowing},
};

// Each block with the paths that pass through it and the value that tells
// its status (ValueCount: none).
const struct { const char* name; std::vector<EnergyFlow::Path> paths; EnergyFlow::Value state; }
kBlocks[EnergyFlow::BlockCount] = {
    {"input", {EnergyFlow::InputToRectifier}, EnergyFlow::ValueCount},
    {"bypass", {EnergyFlow::BypassToLoad}, EnergyFlow::BypassStatus},
    {"rectifier", {EnergyFlow::InputToRectifier, EnergyFlow::RectifierToBattery, EnergyFlow::RectifierToInverter},
     EnergyFlow::RectifierState},
    {"battery", {EnergyFlow::RectifierToBattery, EnergyFlow::BatteryToInverter}, EnergyFlow::BatteryState},
    {"inverter", {EnergyFlow::BatteryToInverter, EnergyFlow::RectifierToInverter, EnergyFlow::InverterToLoad},
     EnergyFlow::InverterState},
    {"load", {EnergyFlow::InverterToLoad, EnergyFlow::BypassToLoad}, EnergyFlow::OutputMode},
};

// Every block is drawn in the same gradient, whatever flows.
const char* const kBlockColour = "#9dacff";

const char* const kValueNames[EnergyFlow::ValueCount] = {
    "bypassVoltage", "bypassCurrent", "bypassFrequency", "bypassStatus",
    "inputVoltage", "inputCurrent", "inputFrequency",
    "outputVoltage", "outputCurrent", "outputFrequency",
    "outputApparentPower", "outputActivePower", "outputReactivePower", "outputLoadPercentage",
    "supplyMode", "phaseConfiguration", "outputMode",
    "batteryState", "rectifierState", "inverterState",
    "rectifierTemperature", "inverterTemperature",
    "batteryVoltage", "batteryCurrent", "batteryTemperature",
    "remainingTime", "remainingCapacity",
    "deviceType", "deviceName", "deviceManufacturer",
};

// Texts that follow the phase count of their group: three values from
// consecutive points for a three-phase group, the first alone for one phase.
const struct { int phasePoint; int firstPoint; const char* unit; EnergyFlow::Value value; } kPhaseTexts[] = {
    {kBypassPhases, kBypassVoltage, " V", EnergyFlow::BypassVoltage},
    {kBypassPhases, kBypassCurrent, " A", EnergyFlow::BypassCurrent},
    {kBypassPhases, kBypassFrequency, " Hz", EnergyFlow::BypassFrequency},
    {kInputPhases, kInputVoltage, " V", EnergyFlow::InputVoltage},
    {kInputPhases, kInputCurrent, " A", EnergyFlow::InputCurrent},
    {kInputPhases, kInputFrequency, " Hz", EnergyFlow::InputFrequency},
    {kOutputPhases, kOutputVoltage, " V", EnergyFlow::OutputVoltage},
    {kOutputPhases, kOutputCurrent, " A", EnergyFlow::OutputCurrent},
    {kOutputPhases, kOutputFrequency, " Hz", EnergyFlow::OutputFrequency},
    {kOutputPhases, kOutputApparentPower, " kVA", EnergyFlow::OutputApparentPower},
    {kOutputPhases, kOutputActivePower, " kW", EnergyFlow::OutputActivePower},
    {kOutputPhases, kOutputReactivePower, " kVA", EnergyFlow::OutputReactivePower},
    {kOutputPhases, kOutputLoadPercentage, " %", EnergyFlow::OutputLoadPercentage},
};

const struct { int firstPoint; EnergyFlow::Value value; } kIdentityTexts[] = {
    {kIdentityType, EnergyFlow::DeviceType},
    {kIdentityName, EnergyFlow::DeviceName},
    {kIdentityManufacturer, EnergyFlow::DeviceManufacturer},
};

QString celsius(double value)
{
    return QString::asprintf("%.1f ", value) + QChar(0x2103);
}

QString identityText(const QMap<int, QVariant>& data, int firstPoint)
{
    char bytes[16];
    for (int i = 0; i < 16; ++i)
        bytes[i] = char(data.value(firstPoint + i).toInt() & 0xff);
    return QString::fromLatin1(bytes, int(qstrnlen(bytes, sizeof bytes)));
}

QString pair(const QMap<int, QVariant>& data, int first, int second)
{
    return QStringLiteral("%1/%2").arg(QString::number(data.value(first).toDouble()),
                                       QString::number(data.value(second).toDouble()));
}

} // namespace

EnergyFlow::EnergyFlow()
{
    for (const auto& t : kTableValues) {
        QStringList table;
        for (const char* text : t.texts)
            table << QCoreApplication::translate(kContext, text);
        m_tables << table;
    }
}

EnergyFlow EnergyFlow::next(const QMap<int, QVariant>& data) const
{
    EnergyFlow state = *this;
    const auto isOne = [&data](int point) { return data.value(point).toInt() == 1; };
    for (int p = 0; p < PathCount; ++p)
        state.m_lit[p] = isOne(kPaths[p].first) && (kPaths[p].second == 0 || isOne(kPaths[p].second));

    std::array<QString, ValueCount>& v = state.m_values;
    for (const auto& p : kPhaseTexts) {
        const int phases = data.value(p.phasePoint).toInt();
        const double a = data.value(p.firstPoint).toDouble();
        if (phases == 3) {
            v[p.value] = QString::asprintf("%.1f/%.1f/%.1f", a, data.value(p.firstPoint + 1).toDouble(),
                                           data.value(p.firstPoint + 2).toDouble())
                         + QLatin1String(p.unit);
        } else if (phases == 1) {
            v[p.value] = QString::asprintf("%.1f", a) + QLatin1String(p.unit);
        }
    }

    for (int t = 0; t < m_tables.size(); ++t) {
        const QStringList& table = m_tables.at(t);
        const int index = data.value(kTableValues[t].point).toInt();
        v[kTableValues[t].value] = index >= 0 && index < table.size() ? table.at(index) : QString();
    }

    for (const auto& id : kIdentityTexts)
        v[id.value] = identityText(data, id.firstPoint);

    v[RectifierTemperature] = celsius(data.value(kRectifierTemperature).toDouble());
    v[InverterTemperature] = celsius(data.value(kInverterTemperature).toDouble());
    v[BatteryVoltage] = pair(data, kBatteryPositiveVoltage, kBatteryNegativeVoltage);
    v[BatteryCurrent] = pair(data, kBatteryPositiveCurrent, kBatteryNegativeCurrent);
    v[BatteryTemperature] = data.value(kBatteryTemperature).toInt() >= -10
                                ? celsius(data.value(kBatteryTemperature).toDouble())
                                : QStringLiteral("-");
    const int minutes = data.value(kRemainingTime).toInt();
    v[RemainingTime] = minutes < 0 ? QStringLiteral("-") : QString::asprintf("%d Min", minutes);
    const int capacity = data.value(kRemainingCapacity).toInt();
    v[RemainingCapacity] = capacity < 0 ? QStringLiteral("-") : QString::asprintf("%d %%", capacity);
    return state;
}

void EnergyFlow::setAllPathsOff()
{
    m_lit.fill(false);
}

bool EnergyFlow::isLit(Path path) const
{
    return path >= 0 && path < PathCount && m_lit[path];
}

bool EnergyFlow::isOn(Block block) const
{
    if (block < 0 || block >= BlockCount)
        return false;
    for (Path p : kBlocks[block].paths)
        if (m_lit[p])
            return true;
    return false;
}

QString EnergyFlow::colour(Block block) const
{
    return block >= 0 && block < BlockCount ? QString::fromLatin1(kBlockColour) : QString();
}

QString EnergyFlow::state(Block block) const
{
    return block >= 0 && block < BlockCount ? value(kBlocks[block].state) : QString();
}

QString EnergyFlow::value(Value which) const
{
    return which >= 0 && which < ValueCount ? m_values[which] : QString();
}

QString EnergyFlow::name(Path path)
{
    return path >= 0 && path < PathCount ? QString::fromLatin1(kPaths[path].name) : QString();
}

QString EnergyFlow::name(Block block)
{
    return block >= 0 && block < BlockCount ? QString::fromLatin1(kBlocks[block].name) : QString();
}

QString EnergyFlow::name(Value which)
{
    return which >= 0 && which < ValueCount ? QString::fromLatin1(kValueNames[which]) : QString();
}

QJsonObject EnergyFlow::toJson() const
{
    QJsonObject paths;
    for (int p = 0; p < PathCount; ++p)
        paths.insert(name(Path(p)), m_lit[p]);
    QJsonObject blocks;
    for (int b = 0; b < BlockCount; ++b) {
        blocks.insert(name(Block(b)), QJsonObject{{"on", isOn(Block(b))},
                                                  {"colour", colour(Block(b))},
                                                  {"state", state(Block(b))}});
    }
    QJsonObject values;
    for (int v = 0; v < ValueCount; ++v)
        values.insert(name(Value(v)), m_values[v]);
    return QJsonObject{{"paths", paths}, {"blocks", blocks}, {"values", values}};
}
