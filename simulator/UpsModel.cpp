#include "UpsModel.h"

#include "points.h"
#include "registermap.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>

using namespace regmap;

namespace {

constexpr double kRatedKva = 20;
constexpr double kNominalVolts = 230;
constexpr double kNominalHz = 50;
constexpr double kOutputPf = 0.9;
constexpr double kDodPercent = 25;      // low battery warning
constexpr double kEodPercent = 5;       // end of discharge: the output stops
constexpr double kFullLoadMinutes = 12; // battery autonomy at 100 % load
constexpr double kChargeMinutes = 60;   // empty to full
constexpr double kOverloadTripSeconds = 10;
constexpr double kSelfTestSeconds = 20;

// Alarm indexes (point id - 2000) that the model drives.
enum Alarm {
    EmergencyAlert = 18,
    MinorAlarm = 19,
    BypassSupply = 20,
    BatteryPowered = 21,
    LowBatteryDod = point::LowBatteryDod - point::FirstAlarm,
    LowBatteryEod = 23,
    BypassFailure = 24,
    OutputOverload105 = 132,
    OutputOverload110 = 133,
    OutputOverload125 = 134,
    OutputOverload150 = 135,
    LoadShockToBypass = 140,
    OutputOverloadAlarm = 141,
    BatteryDodUndervoltage = 276,
    BatteryEodUndervoltage = 277,
    InputAbnormal = point::InputAbnormal - point::FirstAlarm,
};

constexpr int kHoldingRegisters = kCommandRegister + kCommandRegisters;
constexpr int kInputRegisters = kHistoryFirstRegister + kHistoryMaxRecords * kHistoryRecordRegisters;

// Settings as the unit leaves the factory: point id, raw register value.
struct FactorySetting { int point; int raw; };
constexpr FactorySetting kFactorySettings[] = {
    {point::SystemWorkMode, 1}, {point::FrequencyTrackLimit, 20}, {point::SwitchInverterEnable, 1},
    {point::TransformerTurnsRatio, 100}, {point::BatteryBlocks, 40}, {point::BatteryAh, 100},
    {point::CellFloatVoltage, 227}, {point::CellBoostVoltage, 235}, {point::CellEodVoltageHigh, 175},
    {point::CellEodVoltageLow, 185}, {point::ChargeCurrentLimit, 500}, {point::BoostTimeLimit, 12},
    {point::BoostCycle, 720}, {point::AutoMaintenanceCycle, 4320}, {point::BacklightTime, 5},
    {point::MaintenanceCycle, 90}, {point::BatteryLowCoefficient, 110}, {point::RatedPowerSetting, 20},
    {point::LicensePower, 20}, {point::RatedInputVoltageSetting, 230},
    {point::RatedInputFrequencySetting, 50}, {point::RatedOutputVoltageSetting, 230},
    {point::RatedOutputFrequencySetting, 50}, {point::AutoEqualizedCharge, 1}, {point::AutoMaintenance, 1},
    {point::DisplayCap, 1}, {point::FrequencySlewRate, 10}, {point::ComAProtocol, 1},
    {point::ComBProtocol, 1}, {point::ComABaudRate, 3}, {point::ComBBaudRate, 3},
};

struct FactoryText { int point; const char* text; };
constexpr FactoryText kFactoryTexts[] = {
    {point::Manufacturer, "SimPower"},
    {point::Model, "SIM-20K-33"},
    {point::RectifierVersion, "R101"},
    {point::InverterVersion, "I102"},
    {point::DeviceType, "UPS-20K"},
    {point::CompanyName, "SimPower Ltd"},
    {point::CompanyPhone, "00000000000000"},
};

} // namespace

UpsModel::UpsModel(int unitId)
    : m_unit(unitId), m_random(std::mt19937::result_type(unitId))
{
    m_map = modbus_mapping_new_start_address(0, 0, 0, point::AlarmCount, 0, kHoldingRegisters, 0, kInputRegisters);
    if (m_map == nullptr)
        return;
    for (const FactorySetting& s : kFactorySettings)
        setPoint(s.point, double(s.raw) / findField(s.point)->divisor);
    setPoint(point::DeviceAddress, unitId);
    setPoint(point::CommunicationAddress, unitId);
    for (const FactoryText& t : kFactoryTexts)
        setBytes(t.point, t.text);
    char text[17];
    std::snprintf(text, sizeof(text), "SIM20K%010d", unitId);
    setBytes(point::SerialNumber, text);
    setBytes(point::SerialNumbers, text);
    std::snprintf(text, sizeof(text), "UPS unit %d", unitId);
    setBytes(point::DeviceName, text);
    setPoint(point::ModbusVersion, 100);
    setPoint(point::FirmwareVersion, 213);
    setPoint(point::BatteryWarrantyDays, 730);
    setPoint(point::UpsWarrantyDays, 1095);
    refresh();
}

UpsModel::~UpsModel()
{
    if (m_map != nullptr)
        modbus_mapping_free(m_map);
}

unsigned short* UpsModel::tableOf(int table) const
{
    return table == HoldingRegisters ? m_map->tab_registers : m_map->tab_input_registers;
}

void UpsModel::setPoint(int point, double value)
{
    const Field* f = findField(point);
    if (f == nullptr || f->encoding != Number)
        return;
    const long raw = std::lround(value * f->divisor);
    tableOf(f->table)[f->address + (point - f->point)] =
            static_cast<unsigned short>(std::clamp(raw, -32768L, 32767L));
}

void UpsModel::setBytes(int point, const std::string& bytes)
{
    const Field* f = findField(point);
    if (f == nullptr || (f->encoding != Text && f->encoding != Date) || f->point != point)
        return;
    unsigned short* regs = tableOf(f->table) + f->address;
    for (int i = 0; i < fieldWidth(*f); ++i) {
        const size_t at = size_t(2 * i);
        const unsigned char high = at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0;
        const unsigned char low = at + 1 < bytes.size() ? static_cast<unsigned char>(bytes[at + 1]) : 0;
        regs[i] = static_cast<unsigned short>(high << 8 | low);
    }
}

double UpsModel::setting(int point) const
{
    const Field* f = findField(point);
    return double(static_cast<short>(m_map->tab_registers[f->address + (point - f->point)])) / f->divisor;
}

void UpsModel::clockStamp(unsigned char out[6]) const
{
    // The unit's clock follows the wall clock whatever the simulation speed,
    // so that its history never shows times still to come.
    const std::time_t now = std::time(nullptr) + m_clockOffset;
    std::tm local = {};
    localtime_r(&now, &local);
    out[0] = static_cast<unsigned char>(local.tm_year % 100);
    out[1] = static_cast<unsigned char>(local.tm_mon + 1);
    out[2] = static_cast<unsigned char>(local.tm_mday);
    out[3] = static_cast<unsigned char>(local.tm_hour);
    out[4] = static_cast<unsigned char>(local.tm_min);
    out[5] = static_cast<unsigned char>(local.tm_sec);
}

double UpsModel::noise(double amplitude)
{
    std::uniform_real_distribution<double> spread(-amplitude, amplitude);
    return spread(m_random);
}

bool UpsModel::onBattery() const
{
    return m_outputOn && m_inverterOn && !m_onBypass && (!m_mainsOk || m_batteryTest != 0);
}

void UpsModel::advance(double seconds)
{
    // A frozen unit (speed 0) keeps its values, noise included.
    if (seconds <= 0)
        return;
    m_time += seconds;
    const double loadFactor = std::max(m_load, 5.0) / 100.0;
    if (onBattery())
        m_charge -= seconds * 100.0 / (kFullLoadMinutes * 60.0 / loadFactor);
    else if (m_mainsOk)
        m_charge += seconds * 100.0 / (kChargeMinutes * 60.0);
    m_charge = std::clamp(m_charge, 0.0, 100.0);

    if (m_batteryTest == 1) {
        m_testLeft -= seconds;
        if (m_testLeft <= 0)
            m_batteryTest = 0;
    }
    if (m_batteryTest == 2 && m_charge < kDodPercent)
        m_batteryTest = 0;

    // A sustained heavy overload moves the load to the bypass; it comes
    // back once the load is within rating again.
    if (m_load > 125 && m_inverterOn && !m_onBypass && m_outputOn) {
        m_overloadFor += seconds;
        if (m_overloadFor >= kOverloadTripSeconds && m_bypassOk) {
            m_onBypass = true;
            m_overloadTransfer = true;
        }
    } else {
        m_overloadFor = 0;
    }
    if (m_overloadTransfer && m_load <= 100) {
        m_onBypass = false;
        m_overloadTransfer = false;
    }

    // End of discharge: the inverter stops to protect the battery.
    if (onBattery() && m_charge <= kEodPercent) {
        m_outputOn = false;
        m_inverterOn = false;
        m_batteryTest = 0;
        m_eodStop = true;
    }
    // Mains back after an end-of-discharge stop: start again if allowed
    // ("Auto power on:" 0 = enable).
    if (m_eodStop && m_mainsOk && setting(point::AutoPowerOn) == 0) {
        m_outputOn = true;
        m_inverterOn = true;
        m_eodStop = false;
    }
    refresh();
}

void UpsModel::updateAlarms()
{
    const bool supplied = m_outputOn && (m_inverterOn || m_onBypass);
    const bool lowMains = !m_mainsOk;
    std::set<int> wanted = m_faults;
    const std::pair<int, bool> conditions[] = {
        {BatteryPowered, onBattery()},
        {InputAbnormal, lowMains},
        {BypassSupply, m_outputOn && m_onBypass},
        {BypassFailure, !m_bypassOk},
        {LowBatteryDod, lowMains && m_charge < kDodPercent},
        {BatteryDodUndervoltage, lowMains && m_charge < kDodPercent},
        {LowBatteryEod, lowMains && m_charge <= kEodPercent},
        {BatteryEodUndervoltage, lowMains && m_charge <= kEodPercent},
        {OutputOverloadAlarm, supplied && m_load > 100},
        {OutputOverload105, supplied && m_load > 105},
        {OutputOverload110, supplied && m_load > 110},
        {OutputOverload125, supplied && m_load > 125},
        {OutputOverload150, supplied && m_load > 150},
        {LoadShockToBypass, m_overloadTransfer},
    };
    for (const auto& c : conditions)
        if (c.second)
            wanted.insert(c.first);
    if (!wanted.empty())
        wanted.insert(MinorAlarm);
    if (!m_faults.empty() || wanted.count(LowBatteryEod) != 0)
        wanted.insert(EmergencyAlert);

    std::set<int> all = m_alarms;
    all.insert(wanted.begin(), wanted.end());
    for (int alarm : all)
        setAlarm(alarm, wanted.count(alarm) != 0);
}

void UpsModel::setAlarm(int alarm, bool active)
{
    if (alarm < 0 || alarm >= point::AlarmCount || (m_alarms.count(alarm) != 0) == active)
        return;
    if (active)
        m_alarms.insert(alarm);
    else
        m_alarms.erase(alarm);
    m_map->tab_input_bits[alarm] = active ? 1 : 0;
    HistoryRecord record = {alarm, active ? 1 : 0, {}};
    clockStamp(record.stamp);
    if (int(m_history.size()) == kHistoryMaxRecords)
        m_history.erase(m_history.begin());
    m_history.push_back(record);
}

void UpsModel::refresh()
{
    updateAlarms();
    const bool battery = onBattery();
    const bool supplied = m_outputOn && (m_inverterOn || m_onBypass);
    const bool rectifying = m_mainsOk && m_batteryTest == 0 && m_inverterOn;
    const double loadShare = supplied ? m_load / 100.0 : 0;
    const double phaseAmps = kRatedKva * 1000 / 3 / kNominalVolts;

    // Battery: "Battery numbers:" 12 V blocks of six cells, split into a
    // positive and a negative string. Without mains nothing charges it: it
    // discharges into the inverter, or rests at what it has left (after the
    // end of discharge, until the mains return).
    const double blocks = setting(point::BatteryBlocks);
    const double cellVolts = m_mainsOk && !battery ? setting(point::CellFloatVoltage) : 1.75 + 0.35 * m_charge / 100;
    const double stringVolts = blocks / 2 * 6 * cellVolts;
    const double batteryAmps = battery ? loadShare * kRatedKva * 1000 / (2 * stringVolts)
                                       : (m_charge < 100 && m_mainsOk ? -setting(point::ChargeCurrentLimit) : 0);
    setPoint(point::BatteryStatus, battery ? 4 : (!m_mainsOk ? 1 : (m_charge < 100 ? 2 : 3)));
    setPoint(point::BatteryVoltagePositive, stringVolts + noise(0.2));
    setPoint(point::BatteryVoltageNegative, -stringVolts + noise(0.2));
    setPoint(point::BatteryCurrentPositive, batteryAmps + noise(0.05));
    setPoint(point::BatteryCurrentNegative, -batteryAmps + noise(0.05));
    setPoint(point::BatteryTemperature, 25 + noise(0.3));
    setPoint(point::BatteryNumber, blocks);
    setPoint(point::BatteryCapacity, setting(point::BatteryAh));
    setPoint(point::BatteryRuntime, std::floor(m_charge / 100 * kFullLoadMinutes / std::max(m_load, 5.0) * 100));
    setPoint(point::BatteryCharge, std::floor(m_charge));

    // Input
    setPoint(point::InputPhases, 3);
    for (int p = 0; p < 3; ++p) {
        setPoint(point::InputVoltageR + p, m_mainsOk ? kNominalVolts + noise(1.5) : 0);
        setPoint(point::InputCurrentR + p, rectifying ? phaseAmps * (loadShare + 0.05) + noise(0.1) : 0);
        setPoint(point::InputFrequencyR + p, m_mainsOk ? kNominalHz + noise(0.02) : 0);
        setPoint(point::InputPfR + p, rectifying ? 0.99 : 0);
    }

    // Output
    setPoint(point::OutputLoadOn, !m_outputOn ? 0 : (m_onBypass ? 1 : 2));
    setPoint(point::OutputPhases, 3);
    for (int p = 0; p < 3; ++p) {
        const double share = loadShare * (1 + noise(0.02));
        const double kva = share * kRatedKva / 3;
        setPoint(point::OutputVoltageR + p, supplied ? kNominalVolts + noise(0.5) : 0);
        setPoint(point::OutputCurrentR + p, supplied ? share * phaseAmps : 0);
        setPoint(point::OutputFrequencyR + p, supplied ? kNominalHz + noise(0.01) : 0);
        setPoint(point::OutputPfR + p, supplied ? kOutputPf : 0);
        setPoint(point::OutputKvaR + p, kva);
        setPoint(point::OutputKwR + p, kva * kOutputPf);
        setPoint(point::OutputKvarR + p, kva * std::sqrt(1 - kOutputPf * kOutputPf));
        setPoint(point::OutputLoadR + p, share * 100);
    }

    // Bypass
    setPoint(point::BypassStatus, m_bypassOk ? 1 : 0);
    setPoint(point::BypassPhases, 3);
    for (int p = 0; p < 3; ++p) {
        const bool carrying = m_bypassOk && m_onBypass && m_outputOn;
        setPoint(point::BypassVoltageR + p, m_bypassOk ? kNominalVolts + noise(1.5) : 0);
        setPoint(point::BypassCurrentR + p, carrying ? loadShare * phaseAmps : 0);
        setPoint(point::BypassFrequencyR + p, m_bypassOk ? kNominalHz + noise(0.02) : 0);
        setPoint(point::BypassPfR + p, carrying ? kOutputPf : 0);
    }

    // Energy flow: bypass to load, mains to rectifier, rectifier to DC bus,
    // inverter running, inverter to load, output on, battery current.
    setPoint(point::LoadOnBypass, m_bypassOk && m_onBypass && m_outputOn ? 1 : 0);
    setPoint(point::MainsToRectifier, rectifying ? 1 : 0);
    setPoint(point::RectifierToBus, rectifying ? 1 : 0);
    setPoint(point::InverterRunning, m_inverterOn ? 1 : 0);
    setPoint(point::InverterToLoad, m_inverterOn && !m_onBypass && m_outputOn ? 1 : 0);
    setPoint(point::OutputSupplied, supplied ? 1 : 0);
    setPoint(point::BatteryFlowing, battery || (m_mainsOk && m_charge < 100) ? 1 : 0);

    setPoint(point::RectifierStatus, battery ? 3 : (rectifying ? 2 : 0));
    setPoint(point::InverterStatus, m_inverterOn ? 2 : 0);
    setPoint(point::RectifierTemperature, 38 + loadShare * 10 + noise(0.3));
    setPoint(point::InverterTemperature, 40 + loadShare * 15 + noise(0.3));
    setPoint(point::RatedKva, kRatedKva);
    setPoint(point::RatedInputVoltage, setting(point::RatedInputVoltageSetting));
    setPoint(point::RatedInputFrequency, setting(point::RatedInputFrequencySetting));
    setPoint(point::RatedOutputVoltage, setting(point::RatedOutputVoltageSetting));
    setPoint(point::RatedOutputFrequency, setting(point::RatedOutputFrequencySetting));
    setPoint(point::ModelId, 2);
    setPoint(point::WorkMode, !supplied ? 0 : (m_onBypass ? 4 : (battery ? 2 : 1)));
    setPoint(point::BatteryTestStatus, m_batteryTest);
    setPoint(point::BuzzerEnabled, m_buzzer ? 1 : 0);
    if (battery) {
        unsigned char stamp[6];
        clockStamp(stamp);
        setBytes(point::LastDischargeTime, std::string(reinterpret_cast<const char*>(stamp), 6));
    }

    unsigned char now[6];
    clockStamp(now);
    setBytes(point::SystemTime, std::string(reinterpret_cast<const char*>(now), 6));

    // History area
    unsigned short* regs = m_map->tab_input_registers;
    regs[kHistoryCountRegister] = static_cast<unsigned short>(m_history.size());
    for (size_t i = 0; i < m_history.size(); ++i) {
        unsigned short* r = regs + kHistoryFirstRegister + int(i) * kHistoryRecordRegisters;
        const HistoryRecord& h = m_history[i];
        r[0] = static_cast<unsigned short>(h.code);
        r[1] = static_cast<unsigned short>(h.state);
        for (int k = 0; k < 3; ++k)
            r[2 + k] = static_cast<unsigned short>(h.stamp[2 * k] << 8 | h.stamp[2 * k + 1]);
    }
}

int UpsModel::beforeWrite(int address, int count, const unsigned char* values)
{
    if (address == kCommandRegister && count == kCommandRegisters)
        return command(values[0] << 8 | values[1], values[2] << 8 | values[3]);
    // Only carried settings registers may be written, whole texts at once.
    for (int reg = address; reg < address + count; ++reg) {
        bool carried = false;
        for (const Field& f : kFields)
            if (f.table == HoldingRegisters && reg >= f.address && reg < f.address + fieldWidth(f))
                carried = (f.encoding == Number) || (address == f.address && count == fieldWidth(f));
        if (!carried)
            return MODBUS_EXCEPTION_ILLEGAL_DATA_ADDRESS;
    }
    return 0;
}

void UpsModel::afterWrite(int address, int count)
{
    if (address == kCommandRegister) {
        m_map->tab_registers[kCommandRegister] = 0;
        m_map->tab_registers[kCommandRegister + 1] = 0;
    }
    const Field* time = findField(point::SystemTime);
    if (address == time->address && count == fieldWidth(*time)) {
        // The unit's clock is set: keep running from the written time.
        const unsigned short* r = m_map->tab_registers + time->address;
        std::tm set = {};
        set.tm_year = 100 + (r[0] >> 8);
        set.tm_mon = (r[0] & 0xFF) - 1;
        set.tm_mday = r[1] >> 8;
        set.tm_hour = r[1] & 0xFF;
        set.tm_min = r[2] >> 8;
        set.tm_sec = r[2] & 0xFF;
        set.tm_isdst = -1;
        const std::time_t written = std::mktime(&set);
        if (written != std::time_t(-1))
            m_clockOffset = long(written - std::time(nullptr));
    }
    refresh();
}

int UpsModel::command(int code, int argument)
{
    switch (code) {
    case 0:   // battery test: 0 = 20 s self-test, N = discharge for N minutes
    case 2:   // discharge down to the low-battery warning
        if (!m_mainsOk || !m_outputOn || !m_inverterOn || m_onBypass)
            return MODBUS_EXCEPTION_SLAVE_OR_SERVER_FAILURE;
        m_batteryTest = code == 0 ? 1 : 2;
        m_testLeft = code == 0 ? (argument == 0 ? kSelfTestSeconds : argument * 60.0) : 0;
        break;
    case 3:   // cancel a battery test
        m_batteryTest = 0;
        break;
    case 4:   // shut down: output off
        m_outputOn = false;
        m_inverterOn = false;
        m_onBypass = false;
        m_batteryTest = 0;
        m_eodStop = false;
        break;
    case 7:   // start up (argument 0) or wake up (any other)
        if (!m_mainsOk && m_charge <= kEodPercent)
            return MODBUS_EXCEPTION_SLAVE_OR_SERVER_FAILURE;
        m_outputOn = true;
        m_inverterOn = true;
        m_onBypass = false;
        m_eodStop = false;
        break;
    case 9:   // shut the inverter down, load stays on bypass
    case 10:  // load to bypass, inverter keeps running
        if (!m_bypassOk)
            return MODBUS_EXCEPTION_SLAVE_OR_SERVER_FAILURE;
        m_outputOn = true;
        m_onBypass = true;
        m_inverterOn = code == 10;
        m_batteryTest = 0;
        break;
    case 11:  // load to inverter
        if (!m_mainsOk && m_charge <= kEodPercent)
            return MODBUS_EXCEPTION_SLAVE_OR_SERVER_FAILURE;
        m_outputOn = true;
        m_inverterOn = true;
        m_onBypass = false;
        m_overloadTransfer = false;
        break;
    case 12:  // clear latched faults
        m_faults.clear();
        break;
    case 13:  // clear the event history
        m_history.clear();
        break;
    case 17:
        m_buzzer = true;
        break;
    case 18:
        m_buzzer = false;
        break;
    default:
        return MODBUS_EXCEPTION_ILLEGAL_DATA_VALUE;
    }
    if (code == 13) {
        // The records are gone from the unit's memory too.
        std::fill(m_map->tab_input_registers + kHistoryFirstRegister,
                  m_map->tab_input_registers + kInputRegisters, 0);
    }
    return 0;
}

void UpsModel::setMains(bool ok)
{
    m_mainsOk = ok;
    refresh();
}

void UpsModel::setBypass(bool ok)
{
    m_bypassOk = ok;
    if (!ok && m_onBypass) {
        // Lost bypass while carrying the load: back to the inverter if it runs.
        m_onBypass = false;
        m_overloadTransfer = false;
        if (!m_inverterOn)
            m_outputOn = false;
    }
    refresh();
}

void UpsModel::setLoad(double percent)
{
    m_load = std::clamp(percent, 0.0, 200.0);
    refresh();
}

void UpsModel::setCharge(double percent)
{
    m_charge = std::clamp(percent, 0.0, 100.0);
    refresh();
}

void UpsModel::setFault(int alarm, bool active)
{
    if (active)
        m_faults.insert(alarm);
    else
        m_faults.erase(alarm);
    refresh();
}

void UpsModel::silence(double seconds)
{
    m_silentUntil = m_time + seconds;
}

bool UpsModel::transfer(bool toBypass)
{
    const bool done = command(toBypass ? 10 : 11, 0) == 0;
    refresh();
    return done;
}

bool UpsModel::pointValue(int point, double& value) const
{
    const Field* f = findField(point);
    if (f == nullptr)
        return false;
    const int offset = point - f->point;
    if (f->encoding == Bits) {
        value = m_map->tab_input_bits[f->address + offset];
    } else if (f->encoding == Number) {
        value = double(static_cast<short>(tableOf(f->table)[f->address + offset])) / f->divisor;
    } else {
        const unsigned short reg = tableOf(f->table)[f->address + offset / 2];
        value = offset % 2 == 0 ? reg >> 8 : reg & 0xFF;
    }
    return true;
}

std::string UpsModel::statusLine(const std::string& answering) const
{
    std::string line = "unit " + std::to_string(m_unit) + ": ";
    if (!m_outputOn)
        line += "output off";
    else if (m_onBypass)
        line += "load on bypass";
    else if (onBattery())
        line += m_mainsOk ? "load on inverter, battery test" : "load on inverter, on battery";
    else
        line += "load on inverter";
    line += m_mainsOk ? ", mains ok" : ", mains failed";
    line += m_bypassOk ? ", bypass ok" : ", bypass failed";
    line += m_buzzer ? ", buzzer on" : ", buzzer off";
    if (!answering.empty())
        line += ", " + answering;
    line += ", alarms:";
    if (m_alarms.empty())
        line += " none";
    for (int a : m_alarms)
        line += " " + std::to_string(point::FirstAlarm + a);
    return line;
}
