#ifndef POINTS_H
#define POINTS_H

// Names of the point ids that code outside the register table and the
// parameter catalogue reads or writes. A point's value is its register's raw
// value / the field's divisor ("/10" below); the checks at the end hold every
// name to its field in registermap.h, so the two cannot drift apart.

#include "registermap.h"

namespace point {

// Alarm states, 1 = active: alarm i is point FirstAlarm + i.
constexpr int FirstAlarm = 2000;
constexpr int AlarmCount = 512;
constexpr int LastAlarm = FirstAlarm + AlarmCount - 1;
// The two alarms that double as status points.
constexpr int LowBatteryDod = 2022;     // alarm 22, low battery (DOD)
constexpr int InputAbnormal = 2368;     // alarm 368, rectifier input abnormal

// Settings and device information: holding register = point - FirstSetting.
constexpr int FirstSetting = 3000;
constexpr int LastSetting = 3150;       // the last setting the catalogue lists (company phone)
constexpr int LastSettingPoint = 3163;  // the last point the settings registers carry
constexpr int SystemWorkMode = 3000;    // 1 stand alone, 2 parallel, 4 ECO, 6 parallel ECO, 8 self ageing
constexpr int DeviceAddress = 3002;     // parallel device address 0-10
constexpr int FrequencyTrackLimit = 3004; // Hz, /10
constexpr int SwitchInverterEnable = 3010; // 1 enabled
constexpr int TransformerTurnsRatio = 3016; // /100
constexpr int BatteryBlocks = 3017;     // blocks in the string, 16-180
constexpr int BatteryAh = 3018;         // Ah
constexpr int CellFloatVoltage = 3019;  // V per cell, /100
constexpr int CellBoostVoltage = 3020;  // V per cell, /100
constexpr int CellEodVoltageHigh = 3021; // V per cell at 0.6 C, /100
constexpr int CellEodVoltageLow = 3022; // V per cell at 0.15 C, /100
constexpr int ChargeCurrentLimit = 3023; // A, /100
constexpr int BoostTimeLimit = 3025;    // hours
constexpr int BoostCycle = 3026;        // hours
constexpr int AutoMaintenanceCycle = 3027; // hours
constexpr int BacklightTime = 3028;     // minutes
constexpr int MaintenanceCycle = 3029;  // days
constexpr int BatteryLowCoefficient = 3030; // /100
constexpr int RatedPowerSetting = 3037; // kVA
constexpr int LicensePower = 3038;      // kVA
constexpr int RatedInputVoltageSetting = 3039;    // V
constexpr int RatedInputFrequencySetting = 3040;  // Hz
constexpr int RatedOutputVoltageSetting = 3041;   // V
constexpr int RatedOutputFrequencySetting = 3042; // Hz
constexpr int AutoEqualizedCharge = 3045; // 1 enabled
constexpr int AutoMaintenance = 3046;   // 1 enabled
constexpr int DisplayCap = 3053;        // 1 enabled
constexpr int AutoPowerOn = 3054;       // 0 enabled, 1 disabled
constexpr int FrequencySlewRate = 3073; // Hz, /10
constexpr int CommunicationAddress = 3074; // Modbus address 1-255
constexpr int ComAProtocol = 3075;      // 1 Modbus RTU, 2 RQ
constexpr int ComBProtocol = 3076;      // 1 Modbus RTU, 2 Modbus BMS
constexpr int DeviceType = 3077;        // text
constexpr int DeviceTypeLength = 10;
constexpr int CompanyName = 3087;       // text
constexpr int CompanyNameLength = 16;
constexpr int SystemTime = 3103;        // date: yy MM dd hh mm ss
constexpr int SerialNumbers = 3109;     // text
constexpr int SerialNumbersLength = 16;
constexpr int ComABaudRate = 3125;      // 0 or 3 9600, 1 2400, 2 4800, 4 19200
constexpr int ComBBaudRate = 3126;      // as ComABaudRate
constexpr int CompanyPhone = 3150;      // text
constexpr int CompanyPhoneLength = 14;

// Identity and measurements
constexpr int FirstReading = 4000;
constexpr int LastReading = 4275;

// Identity
constexpr int Manufacturer = 4000;      // text
constexpr int ManufacturerLength = 16;
constexpr int Model = 4016;             // text
constexpr int ModelLength = 16;
constexpr int SerialNumber = 4064;      // text
constexpr int SerialNumberLength = 16;
constexpr int DeviceName = 4080;        // text
constexpr int DeviceNameLength = 16;
constexpr int ModbusVersion = 4097;     // e.g. 100
constexpr int FirmwareVersion = 4098;   // e.g. 213
constexpr int RectifierVersion = 4251;  // text
constexpr int RectifierVersionLength = 4;
constexpr int InverterVersion = 4255;   // text
constexpr int InverterVersionLength = 4;
constexpr int LastDischargeTime = 4268; // date: yy MM dd hh mm ss
constexpr int DateLength = 6;

// Battery
// 0 disconnected, 1 standby, 2 constant current equalized charge, 3 float charge,
// 4 discharging, 5 constant voltage equalized charge
constexpr int BatteryStatus = 4101;
constexpr int BatteryVoltagePositive = 4103; // V, /10
constexpr int BatteryVoltageNegative = 4104; // V, /10, negative
constexpr int BatteryCurrentPositive = 4105; // A, /10
constexpr int BatteryCurrentNegative = 4106; // A, /10
constexpr int BatteryTemperature = 4107; // degrees C, /10
constexpr int BatteryNumber = 4108;     // blocks in the string
constexpr int BatteryCapacity = 4109;   // Ah
constexpr int BatteryRuntime = 4110;    // remaining minutes
constexpr int BatteryCharge = 4111;     // remaining %

// Input, phases R, S, T
constexpr int InputPhases = 4132;       // phase count
constexpr int InputVoltageR = 4133, InputVoltageS = 4134, InputVoltageT = 4135; // V, /10
constexpr int InputCurrentR = 4136, InputCurrentS = 4137, InputCurrentT = 4138; // A, /10
constexpr int InputFrequencyR = 4139, InputFrequencyS = 4140, InputFrequencyT = 4141; // Hz, /100
constexpr int InputPfR = 4142;          // R, S, T: power factor, /100

// Output, phases R, S, T
constexpr int OutputLoadOn = 4161;      // 0 none, 1 bypass, 2 inverter, 3 other
constexpr int OutputPhases = 4162;      // phase count
constexpr int OutputVoltageR = 4163, OutputVoltageS = 4164, OutputVoltageT = 4165; // V, /10
constexpr int OutputCurrentR = 4166, OutputCurrentS = 4167, OutputCurrentT = 4168; // A, /10
constexpr int OutputFrequencyR = 4169, OutputFrequencyS = 4170, OutputFrequencyT = 4171; // Hz, /100
constexpr int OutputPfR = 4172;         // R, S, T: power factor, /100
constexpr int OutputKvaR = 4175, OutputKvaS = 4176, OutputKvaT = 4177; // apparent power kVA, /10
constexpr int OutputKwR = 4178, OutputKwS = 4179, OutputKwT = 4180; // real power kW, /10
constexpr int OutputKvarR = 4181;       // R, S, T: reactive power kvar, /10
constexpr int OutputLoadR = 4184, OutputLoadS = 4185, OutputLoadT = 4186; // load %, /10

// Bypass, phases R, S, T
constexpr int BypassStatus = 4190;      // 0 no bypass, 1 normal
constexpr int BypassPhases = 4191;      // phase count
constexpr int BypassVoltageR = 4192, BypassVoltageS = 4193, BypassVoltageT = 4194; // V, /10
constexpr int BypassCurrentR = 4195, BypassCurrentS = 4196, BypassCurrentT = 4197; // A, /10
constexpr int BypassFrequencyR = 4198, BypassFrequencyS = 4199, BypassFrequencyT = 4200; // Hz, /100
constexpr int BypassPfR = 4201;         // R, S, T: power factor, /100

// Energy flow, 1 = active
constexpr int FirstFlow = 4218;
constexpr int LoadOnBypass = 4218;
constexpr int MainsToRectifier = 4219;
constexpr int RectifierToBus = 4220;
constexpr int InverterRunning = 4221;
constexpr int InverterToLoad = 4222;
constexpr int OutputSupplied = 4223;
constexpr int BatteryFlowing = 4224;    // battery current flows, either way
constexpr int LastFlow = 4224;

// Converters, ratings and state
constexpr int RectifierStatus = 4239;   // 0 off, 1 soft start, 2 PFC, 3 battery mode
constexpr int InverterStatus = 4240;    // 0 off, 1 soft start, 2 running
constexpr int RectifierTemperature = 4241; // degrees C, /10
constexpr int InverterTemperature = 4242;  // degrees C, /10
constexpr int RatedKva = 4243;          // kVA
constexpr int RatedInputVoltage = 4244; // V
constexpr int RatedInputFrequency = 4245; // Hz
constexpr int RatedOutputVoltage = 4246;  // V
constexpr int RatedOutputFrequency = 4247; // Hz
constexpr int ModelId = 4248;           // 0 single-single, 1 three-single, 2 three-three
constexpr int WorkMode = 4250;          // 0 none, 1 mains, 2 battery, 3 combined, 4 bypass
constexpr int BatteryTestStatus = 4259; // 0 none, 1 testing, 2 maintenance
constexpr int BuzzerEnabled = 4260;     // 1 enabled
constexpr int BatteryWarrantyDays = 4274;
constexpr int UpsWarrantyDays = 4275;


namespace check {

constexpr bool carried(int id)
{
    return regmap::findField(id) != nullptr;
}

constexpr bool number(int id, int divisor)
{
    const regmap::Field* f = regmap::findField(id);
    return f && f->encoding == regmap::Number && f->divisor == divisor;
}

// A text or date that starts a field of exactly `length` points.
constexpr bool run(int id, regmap::Encoding encoding, int length)
{
    const regmap::Field* f = regmap::findField(id);
    return f && f->point == id && f->encoding == encoding && f->points == length;
}

} // namespace check

static_assert(check::run(FirstAlarm, regmap::Bits, AlarmCount), "alarm states");
static_assert(LowBatteryDod <= LastAlarm && InputAbnormal <= LastAlarm, "status points are alarms");
static_assert(!check::carried(FirstSetting - 1) && check::carried(LastSettingPoint)
                  && !check::carried(LastSettingPoint + 1) && !check::carried(FirstReading - 1)
                  && check::carried(LastReading) && !check::carried(LastReading + 1),
              "point ranges");

static_assert(check::number(SystemWorkMode, 1) && check::number(DeviceAddress, 1), "settings");
static_assert(check::number(FrequencyTrackLimit, 10) && check::number(SwitchInverterEnable, 1), "settings");
static_assert(check::number(TransformerTurnsRatio, 100) && check::number(BatteryBlocks, 1)
                  && check::number(BatteryAh, 1), "settings");
static_assert(check::number(CellFloatVoltage, 100) && check::number(CellBoostVoltage, 100)
                  && check::number(CellEodVoltageHigh, 100) && check::number(CellEodVoltageLow, 100)
                  && check::number(ChargeCurrentLimit, 100), "settings");
static_assert(check::number(BoostTimeLimit, 1) && check::number(BoostCycle, 1)
                  && check::number(AutoMaintenanceCycle, 1) && check::number(BacklightTime, 1)
                  && check::number(MaintenanceCycle, 1) && check::number(BatteryLowCoefficient, 100), "settings");
static_assert(check::number(RatedPowerSetting, 1) && check::number(LicensePower, 1)
                  && check::number(RatedInputVoltageSetting, 1) && check::number(RatedInputFrequencySetting, 1)
                  && check::number(RatedOutputVoltageSetting, 1) && check::number(RatedOutputFrequencySetting, 1),
              "settings");
static_assert(check::number(AutoEqualizedCharge, 1) && check::number(AutoMaintenance, 1)
                  && check::number(DisplayCap, 1) && check::number(AutoPowerOn, 1)
                  && check::number(FrequencySlewRate, 10) && check::number(CommunicationAddress, 1)
                  && check::number(ComAProtocol, 1) && check::number(ComBProtocol, 1)
                  && check::number(ComABaudRate, 1) && check::number(ComBBaudRate, 1), "settings");
static_assert(check::run(DeviceType, regmap::Text, DeviceTypeLength)
                  && check::run(CompanyName, regmap::Text, CompanyNameLength)
                  && check::run(SystemTime, regmap::Date, DateLength)
                  && check::run(SerialNumbers, regmap::Text, SerialNumbersLength)
                  && check::run(CompanyPhone, regmap::Text, CompanyPhoneLength)
                  && CompanyPhone == LastSetting && CompanyPhone + CompanyPhoneLength - 1 == LastSettingPoint,
              "setting texts");

static_assert(check::run(Manufacturer, regmap::Text, ManufacturerLength)
                  && check::run(Model, regmap::Text, ModelLength)
                  && check::run(SerialNumber, regmap::Text, SerialNumberLength)
                  && check::run(DeviceName, regmap::Text, DeviceNameLength)
                  && check::run(RectifierVersion, regmap::Text, RectifierVersionLength)
                  && check::run(InverterVersion, regmap::Text, InverterVersionLength)
                  && check::run(LastDischargeTime, regmap::Date, DateLength), "identity texts");
static_assert(check::number(ModbusVersion, 1) && check::number(FirmwareVersion, 1), "versions");

static_assert(check::number(BatteryStatus, 1) && check::number(BatteryVoltagePositive, 10)
                  && check::number(BatteryVoltageNegative, 10) && check::number(BatteryCurrentPositive, 10)
                  && check::number(BatteryCurrentNegative, 10) && check::number(BatteryTemperature, 10)
                  && check::number(BatteryNumber, 1) && check::number(BatteryCapacity, 1)
                  && check::number(BatteryRuntime, 1) && check::number(BatteryCharge, 1), "battery");

static_assert(check::number(InputPhases, 1) && check::number(InputVoltageR, 10) && check::number(InputVoltageT, 10)
                  && check::number(InputCurrentR, 10) && check::number(InputCurrentT, 10)
                  && check::number(InputFrequencyR, 100) && check::number(InputFrequencyT, 100)
                  && check::number(InputPfR + 2, 100), "input");
static_assert(check::number(OutputLoadOn, 1) && check::number(OutputPhases, 1)
                  && check::number(OutputVoltageR, 10) && check::number(OutputVoltageT, 10)
                  && check::number(OutputCurrentR, 10) && check::number(OutputCurrentT, 10)
                  && check::number(OutputFrequencyR, 100) && check::number(OutputFrequencyT, 100)
                  && check::number(OutputPfR + 2, 100) && check::number(OutputKvaR, 10) && check::number(OutputKvaT, 10)
                  && check::number(OutputKwR, 10) && check::number(OutputKwT, 10) && check::number(OutputKvarR + 2, 10)
                  && check::number(OutputLoadR, 10) && check::number(OutputLoadT, 10), "output");
static_assert(check::number(BypassStatus, 1) && check::number(BypassPhases, 1)
                  && check::number(BypassVoltageR, 10) && check::number(BypassVoltageT, 10)
                  && check::number(BypassCurrentR, 10) && check::number(BypassCurrentT, 10)
                  && check::number(BypassFrequencyR, 100) && check::number(BypassFrequencyT, 100)
                  && check::number(BypassPfR + 2, 100), "bypass");

static_assert(check::number(FirstFlow, 1) && check::number(LastFlow, 1) && regmap::findField(FirstFlow)->point == FirstFlow
                  && regmap::findField(FirstFlow)->points == LastFlow - FirstFlow + 1, "energy-flow states");
static_assert(check::number(RectifierStatus, 1) && check::number(InverterStatus, 1)
                  && check::number(RectifierTemperature, 10) && check::number(InverterTemperature, 10)
                  && check::number(RatedKva, 1) && check::number(RatedInputVoltage, 1)
                  && check::number(RatedInputFrequency, 1) && check::number(RatedOutputVoltage, 1)
                  && check::number(RatedOutputFrequency, 1) && check::number(ModelId, 1)
                  && check::number(WorkMode, 1) && check::number(BatteryTestStatus, 1)
                  && check::number(BuzzerEnabled, 1) && check::number(BatteryWarrantyDays, 1)
                  && check::number(UpsWarrantyDays, 1), "states and ratings");

} // namespace point

#endif // POINTS_H
