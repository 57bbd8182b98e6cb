#include "vek5_10_30k_View.h"

#include <vector>

// Every text of the catalogue is looked up in this class's translation context.
#define N(text) QT_TRANSLATE_NOOP("vek5_10_30k_View", text)

namespace {

const bool untranslated = false;

struct Option
{
    Option(const char* t, bool tr = true) : text(t), translate(tr) {}
    const char* text;
    bool translate;
};
using Options = std::vector<Option>;
using Values = std::vector<float>;

// One catalogue row. Options without values stand for 0, 1, 2, ... by position.
struct Row
{
    const char* label;
    int pointId;
    int type;
    int pointCount;
    const char* unit;
    float ratio;
    int minRaw;
    int maxRaw;
    Options options = {};
    Values values = {};
};

struct Alarm
{
    int index;
    const char* text;
};

const int alarmCount = 512;

// Option lists shared by several rows.
const Options disableEnable = {N("Disable"), N("Enable")};
// The two switches whose first option enables.
const Options enableDisable = {N("Enable"), N("Disable")};
const Options unconnectConnect = {N("Unconnect"), N("Connect")};
const Options outputContact = {N("Not used"), N("Mains abnormal"), N("Low battery voltage"),
                               N("Bypass power supply"), N("Inverter power supply"),
                               N("Battery mode"), N("Comprehensive warning"),
                               N("Output overload"), N("Battery trip")};
const Options inputContact = {N("Not used"), N("Oil engine mode"), N("BCB access"),
                              N("Cut inverter"), N("BCB status"), N("Cut bypass"),
                              N("Clear fault"), N("Discharge undervoltage"), N("Overcharge")};
const Options ratedVoltage = {N("100"), N("110"), N("120"), N("125"), N("200"),
                              N("208"), N("220"), N("230"), N("240")};
const Values ratedVoltageValues = {100, 110, 120, 125, 200, 208, 220, 230, 240};
const Options ratedFrequency = {N("50"), N("60")};
const Values ratedFrequencyValues = {50, 60};
// "9600" is listed twice; the later position (3) wins in the option map.
const Options baudRate = {N("9600"), N("2400"), N("4800"), N("9600"), N("19200")};

// The rows of each list in display order:
// label, point id, type, point count, unit, ratio, min raw, max raw[, options[, values]]
const Row deviceDataRows[] = {
    {N("Work mode:"), 4250, 11, 0, nullptr, 1.0f, 0, 0, {N("No power supply"), N("Mains power supply"), N("Battery power supply"), N("Conbined power supply"), N("Bypass power supply")}},
    {N("Model identification:"), 4248, 11, 0, nullptr, 0.0f, 0, 0, {N("Single-Single"), N("Three-Single"), N("Three-Three")}},
    {N("Last discharge time:"), 4268, 9, 6, nullptr, 0.0f, 0, 0},
    {N("Battery warranty days:"), 4274, 0, 0, N("Day"), 0.0f, 0, 0},
    {N("UPS warranty days:"), 4275, 0, 0, N("Day"), 0.0f, 0, 0},
    {N("Modbus decode version:"), 4097, 0, 0, nullptr, 0.0f, 0, 0},
    {N("Device name:"), 4080, 9, 16, nullptr, 0.0f, 0, 0},
    {N("Device type:"), 4016, 9, 16, nullptr, 0.0f, 0, 0},
    {N("Device manufacturer:"), 4000, 9, 16, nullptr, 0.0f, 0, 0},
    {N("Program/Firmware version:"), 4098, 0, 0, nullptr, 0.0f, 0, 0},
    {N("Serial numbers:"), 4064, 9, 16, nullptr, 0.0f, 0, 0},
};

const Row batteryDataRows[] = {
    {N("Battery positive Voltage:"), 4103, 4, 0, N("V"), 0.0f, 0, 0},
    {N("Battery negative Voltage:"), 4104, 4, 0, N("V"), 0.0f, 0, 0},
    {N("Battery positive current:"), 4105, 4, 0, N("A"), 0.0f, 0, 0},
    {N("Battery negative current:"), 4106, 4, 0, N("A"), 0.0f, 0, 0},
    {N("Battery temperature:"), 4107, 4, 0, N("℃"), 0.0f, 0, 0},
    {N("Battery Number:"), 4108, 0, 0, nullptr, 0.0f, 0, 0},
    {N("Battery capacity:"), 4109, 4, 0, N("AH"), 0.0f, 0, 0},
    {N("Rated capacity:"), 4243, 4, 0, N("kVA"), 0.0f, 0, 0},
    {N("Remain discharge time:"), 4110, 0, 0, N("Min"), 0.0f, 0, 10000},
    {N("Battery remain capacity:"), 4111, 0, 0, N("%"), 0.0f, 0, 100},
    {N("Battery status:"), 4101, 11, 0, nullptr, 0.0f, 0, 0, {N("Disconnect"), N("Standby"), N("Const current equalized charge"), N("Const voltage float charge"), N("Discharge"), N("Const voltage equalized charge")}},
    {N("Battery test status:"), 4259, 11, 0, nullptr, 0.0f, 0, 0, {N("None"), N("Testing"), N("Maintenance")}},
};

const Row recInvDataRows[] = {
    {N("Rectifier temperature:"), 4241, 4, 0, N("℃"), 0.0f, 0, 0},
    {N("Rectifier status:"), 4239, 11, 0, nullptr, 0.0f, 0, 0, {N("Off"), N("Soft start"), N("PFC mode"), N("Battery mode")}},
    {N("Rectifier software version:"), 4251, 9, 4, nullptr, 0.0f, 0, 0},
    {N("Inverter temperature:"), 4242, 4, 0, N("℃"), 0.0f, 0, 0},
    {N("Inverter status:"), 4240, 11, 0, nullptr, 0.0f, 0, 0, {N("Off"), N("Soft start"), N("Normal run")}},
    {N("Inverter software version:"), 4255, 9, 4, nullptr, 0.0f, 0, 0},
};

const Row inputDataRows[] = {
    {N("Input voltage:"), 4133, 5, 0, N("V"), 0.0f, 0, 0},
    {N("Input current:"), 4136, 5, 0, N("A"), 0.0f, 0, 0},
    {N("Input frequency:"), 4139, 5, 0, N("Hz"), 0.0f, 0, 0},
    {N("Input PF:"), 4142, 5, 0, nullptr, 0.0f, 0, 0},
    {N("Rated input voltage:"), 4244, 0, 0, N("V"), 0.0f, 0, 0},
    {N("Rated input frequency:"), 4245, 0, 0, N("Hz"), 0.0f, 0, 0},
};

const Row outputDataRows[] = {
    {N("Output voltage:"), 4163, 5, 0, N("V"), 0.0f, 0, 0},
    {N("Output current:"), 4166, 5, 0, N("A"), 0.0f, 0, 0},
    {N("Output frequency:"), 4169, 5, 0, N("Hz"), 0.0f, 0, 0},
    {N("Output PF:"), 4172, 5, 0, nullptr, 0.0f, 0, 0},
    {N("Output apparent power:"), 4175, 5, 0, N("kVA"), 0.0f, 0, 0},
    {N("Output active power:"), 4178, 5, 0, N("kW"), 0.0f, 0, 0},
    {N("Output reactive power:"), 4181, 5, 0, N("kVA"), 0.0f, 0, 0},
    {N("Output load percentage:"), 4184, 5, 0, N("%"), 0.0f, 0, 0},
    {N("Rated output voltage:"), 4246, 0, 0, N("V"), 0.0f, 0, 0},
    {N("Rated output frequency:"), 4247, 0, 0, N("Hz"), 0.0f, 0, 0},
    {N("Output load on state:"), 4161, 11, 0, nullptr, 0.0f, 0, 0, {N("None"), N("Load on bypass"), N("Load on inverter"), N("Load on other")}},
};

const Row bypassDataRows[] = {
    {N("Bypass voltage:"), 4192, 5, 0, N("V"), 0.0f, 0, 0},
    {N("Bypass current:"), 4195, 5, 0, N("A"), 0.0f, 0, 0},
    {N("Bypass frequency:"), 4198, 5, 0, N("Hz"), 0.0f, 0, 0},
    {N("Bypass PF:"), 4201, 5, 0, nullptr, 0.0f, 0, 0},
    {N("Bypass status:"), 4190, 11, 0, nullptr, 0.0f, 0, 0, {N("No bypass"), N("Bypass normal")}},
};

const Row basicConfigRows[] = {
    {N("System work mode:"), 3000, 11, 0, nullptr, 1.0f, 0, 0, {N("Stand alone"), N("Parallel operation"), N("ECO"), N("Parallels ECO"), N("Self ageing")}, {1, 2, 4, 6, 8}},
    {N("Enable switch inverter:"), 3010, 11, 0, nullptr, 1.0f, 0, 0, disableEnable},
    {N("Forbid bypass:"), 3011, 11, 0, nullptr, 1.0f, 0, 0, enableDisable},
    {N("EPO function enable:"), 3012, 11, 0, nullptr, 1.0f, 0, 0, disableEnable},
    {N("Allow reverse input:"), 3013, 11, 0, nullptr, 1.0f, 0, 0, disableEnable},
    {N("Output with transformer:"), 3014, 11, 0, nullptr, 1.0f, 0, 0, unconnectConnect},
    {N("weak grid input:"), 3015, 11, 0, nullptr, 1.0f, 0, 0, unconnectConnect},
    {N("Output dry contact 1:"), 3031, 11, 0, nullptr, 1.0f, 0, 0, outputContact},
    {N("Output dry contact 2:"), 3032, 11, 0, nullptr, 1.0f, 0, 0, outputContact},
    {N("Output dry contact 3:"), 3033, 11, 0, nullptr, 1.0f, 0, 0, outputContact},
    {N("Input dry contact 1:"), 3034, 11, 0, nullptr, 1.0f, 0, 0, {N("Not used"), N("Oil engine mode"), N("BCB access"), N("Cut inverter"), N("BCB status"), N("Cut bypass"), N("Clear fault"), N("Discharge undervoltage"), N("Overcharge"), N("EPO emergency shutdown")}},
    {N("Input dry contact 2:"), 3035, 11, 0, nullptr, 1.0f, 0, 0, inputContact},
    {N("Input dry contact 3:"), 3036, 11, 0, nullptr, 1.0f, 0, 0, inputContact},
    {N("Derate rate enable:"), 3043, 11, 0, nullptr, 1.0f, 0, 0, disableEnable},
    {N("Rated frequency self-adaption:"), 3047, 11, 0, nullptr, 1.0f, 0, 0, disableEnable},
    {N("Restart after bus over voltage:"), 3048, 11, 0, nullptr, 1.0f, 0, 0, disableEnable},
    {N("Fan fault allow buzzer on:"), 3049, 11, 0, nullptr, 1.0f, 0, 0, disableEnable},
    {N("Lacking phase work:"), 3050, 11, 0, nullptr, 1.0f, 0, 0, disableEnable},
    {N("Frequency conversion mode:"), 3051, 11, 0, nullptr, 1.0f, 0, 0, disableEnable},
    {N("Derate output PF:"), 3052, 11, 0, nullptr, 1.0f, 0, 0, {N("1"), N("0.9")}},
    {N("Lcd Display cap:"), 3053, 11, 0, nullptr, 1.0f, 0, 0, disableEnable},
    {N("Auto power on:"), 3054, 11, 0, nullptr, 1.0f, 0, 0, enableDisable},
};

const Row batteryConfigRows[] = {
    {N("Battery numbers:"), 3017, 0, 0, nullptr, 1.0f, 16, 180},
    {N("Battery AH:"), 3018, 0, 0, N("AH"), 1.0f, 1, 30000},
    {N("Battery type:"), 3024, 11, 0, nullptr, 1.0f, 0, 0, {N("VRLA battery"), N("Lithium battery")}},
    {N("Cell float voltage:"), 3019, 6, 0, N("V"), 0.01f, 210, 365},
    {N("Cell boost voltage:"), 3020, 6, 0, N("V"), 0.01f, 210, 365},
    {N("Cell Eod voltage for 0.6c:"), 3021, 6, 0, N("V"), 0.01f, 160, 300},
    {N("Cell Eod voltage for 0.15c:"), 3022, 6, 0, N("V"), 0.01f, 160, 300},
    {N("Boost cycle:"), 3026, 0, 0, N("Hour"), 1.0f, 1, 3000},
    {N("Battery auto maintenance cycle:"), 3027, 0, 0, N("Hour"), 1.0f, 720, 30000},
    {N("Battery maintenance cycle:"), 3029, 0, 0, N("Day"), 1.0f, 0, 3000},
    {N("Battery voltage low coefficient:"), 3030, 6, 0, nullptr, 0.01f, 105, 125},
    {N("Battery auto equalized charge:"), 3045, 11, 0, nullptr, 1.0f, 0, 0, disableEnable},
    {N("Battery auto maintenance:"), 3046, 11, 0, nullptr, 1.0f, 0, 0, disableEnable},
};

const Row adjustConfigRows[] = {
    {N("Output voltage adjust:"), 3003, 0, 0, N("V"), 1.0f, 0, 0},
    {N("Frequency track limit:"), 3004, 4, 0, N("Hz"), 0.1f, 5, 50},
    {N("Transformer coil turns ratio:"), 3016, 4, 0, nullptr, 0.01f, 0, 0},
    {N("LCD backlight lighten time:"), 3028, 0, 0, N("Min"), 1.0f, 1, 30},
    {N("Frequency slew rate:"), 3073, 0, 0, N("Hz"), 0.1f, 5, 50},
    {N("Bypass voltage up limit:"), 3005, 11, 0, N("%"), 1.0f, 0, 0, {N("+15"), N("+10"), {"+20", untranslated}, {"+25", untranslated}}},
    {N("Bypass voltage down limit:"), 3006, 11, 0, N("%"), 1.0f, 0, 0, {N("-20"), N("-10"), N("-15"), N("-30"), N("-40")}},
    {N("Bypass frequency range:"), 3007, 11, 0, N("Hz"), 1.0f, 0, 0, {N("+-5"), N("+-1"), N("+-3"), N("Unlimited")}},
    {N("Self ageing current percent:"), 3008, 11, 0, N("%"), 1.0f, 0, 0, {N("30"), N("40"), N("50"), N("60"), N("70"), N("80"), N("90"), N("100")}},
    {N("Charge current limit:"), 3023, 11, 0, N("A"), 0.01f, 0, 0, {N("0.5"), N("1.0"), N("2.0"), N("3.0"), N("4.0"), N("5.0"), N("6.0"), N("7.0"), N("8.0"), N("9.0"), N("10.0"), N("11.0"), N("12.0")},
     {0.5f, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}},
    {N("Boost time limit:"), 3025, 0, 0, N("Hour"), 1.0f, 1, 48},
    {N("Inverter voltage phase A rectification:"), 3055, 4, 0, N("V"), 0.1f, 0, 0},
    {N("Inverter voltage phase B rectification:"), 3056, 4, 0, N("V"), 0.1f, 0, 0},
    {N("Inverter voltage phase C rectification:"), 3057, 4, 0, N("V"), 0.1f, 0, 0},
    {N("Bypass voltage A rectification:"), 3058, 4, 0, N("V"), 0.1f, 0, 0},
    {N("Bypass voltage B rectification:"), 3059, 4, 0, N("V"), 0.1f, 0, 0},
    {N("Bypass voltage C rectification:"), 3060, 4, 0, N("V"), 0.1f, 0, 0},
    {N("Inverter DC voltage A rectification:"), 3061, 6, 0, N("V"), 0.01f, 0, 0},
    {N("Inverter DC voltage B rectification:"), 3062, 6, 0, N("V"), 0.01f, 0, 0},
    {N("Inverter DC voltage C rectification:"), 3063, 6, 0, N("V"), 0.01f, 0, 0},
    {N("Input Phase A voltage rectification:"), 3064, 4, 0, N("V"), 0.1f, 0, 0},
    {N("Input Phase B voltage rectification:"), 3065, 4, 0, N("V"), 0.1f, 0, 0},
    {N("Input Phase C voltage rectification:"), 3066, 4, 0, N("V"), 0.1f, 0, 0},
    {N("Battery voltage positive rectification:"), 3067, 4, 0, N("V"), 0.1f, 0, 0},
    {N("Battery voltage negative rectification:"), 3068, 4, 0, N("V"), 0.1f, 0, 0},
    {N("Input with transformer voltage rectification 1:"), 3069, 4, 0, N("V"), 0.1f, 0, 0},
    {N("Input with transformer voltage rectification 2:"), 3070, 4, 0, N("V"), 0.1f, 0, 0},
    {N("Output with transformer voltage rectification 1:"), 3071, 4, 0, N("V"), 0.1f, 0, 0},
    {N("Output with transformer voltage rectification 2:"), 3072, 4, 0, N("V"), 0.1f, 0, 0},
};

const Row devInfoConfigRows[] = {
    {N("Parallel device number:"), 3001, 0, 0, nullptr, 1.0f, 0, 10},
    {N("Device address:"), 3002, 0, 0, nullptr, 1.0f, 0, 10},
    {N("Output three phase/one phase select:"), 3044, 11, 0, nullptr, 1.0f, 0, 0, {N("Three-Three"), N("Three-Single")}},
    {N("Rated power:"), 3037, 0, 0, N("kVA"), 1.0f, 0, 0},
    {N("License power:"), 3038, 0, 0, N("kVA"), 1.0f, 0, 0},
    {N("Rated input voltage:"), 3039, 11, 0, N("V"), 1.0f, 0, 0, ratedVoltage, ratedVoltageValues},
    {N("Rated input frequency:"), 3040, 11, 0, N("V"), 1.0f, 0, 0, ratedFrequency, ratedFrequencyValues},
    {N("Rated output voltage:"), 3041, 11, 0, N("V"), 1.0f, 0, 0, ratedVoltage, ratedVoltageValues},
    {N("Rated output frequency:"), 3042, 11, 0, N("Hz"), 1.0f, 0, 0, ratedFrequency, ratedFrequencyValues},
    {N("Communication address:"), 3074, 0, 0, nullptr, 1.0f, 1, 255},
    {N("COM_A protocol set:"), 3075, 11, 0, nullptr, 1.0f, 0, 0, {N("Modbus Rtu"), N("RQ")}, {1, 2}},
    {N("COM_B protocol set:"), 3076, 11, 0, nullptr, 1.0f, 0, 0, {N("Modbus Rtu"), N("Modbus Bms")}, {1, 2}},
    {N("Device type:"), 3077, 9, 10, nullptr, 1.0f, 0, 0},
    {N("Company name:"), 3087, 9, 16, nullptr, 1.0f, 0, 0},
    {N("System time:"), 3103, 9, 6, nullptr, 1.0f, 0, 0},
    {N("Serial Numbers:"), 3109, 9, 16, nullptr, 1.0f, 0, 0},
    {N("Company phone:"), 3150, 9, 14, nullptr, 1.0f, 0, 0},
    {N("COM_A  baud rate set:"), 3125, 11, 0, nullptr, 1.0f, 0, 0, baudRate},
    {N("COM_B  baud rate set:"), 3126, 11, 0, nullptr, 1.0f, 0, 0, baudRate},
};

const Alarm alarms[] = {
    {0, N("Monitor_Bypass module/System board communication is abnormal")},
    {1, N("Monitor_Rectification communication abnormal")},
    {2, N("Monitor_Inverter communication abnormal")},
    {9, N("Monitor_Bypass module/system board configuration error")},
    {10, N("Monitor_Rectifier configuration error")},
    {11, N("Monitor_Inverter configuration error")},
    {18, N("Monitor_Emergency alert")},
    {19, N("Monitor_Minor alarm")},
    {20, N("Monitor_Bypass power supply")},
    {21, N("Monitor_Battery powered")},
    {22, N("Monitor_Low battery (DOD)")},
    {23, N("Monitor_Low battery (EOD)")},
    {24, N("Monitor_Bypass failure")},
    {25, N("Monitor_Fan failure")},
    {26, N("Monitor_Battery ground fault")},
    {27, N("Monitor_Oil engine mode")},
    {28, N("Monitor_Battery switch is off")},
    {29, N("Monitor_Emergency shutdown")},
    {30, N("Monitor_Output switch of the power distribution cabinet is disconnected")},
    {31, N("Monitor_Maintenance switch of the distribution cabinet is closed")},
    {32, N("Monitor_Bypass switch of the distribution cabinet is disconnected")},
    {33, N("Monitor_AC lightning arrester disconnected")},
    {34, N("Monitor_External transformer over temperature")},
    {35, N("Monitor_Mains input MCB is disconnected")},
    {36, N("Monitor_Machine output switch is off")},
    {37, N("Monitor_Machine maintenance switch closed")},
    {38, N("Monitor_Machine bypass switch is off")},
    {39, N("Monitor_Service cover open")},
    {40, N("Monitor_Bypass backfill protection contactor is disconnected")},
    {41, N("Monitor_Power off in time sharing")},
    {48, N("UPS need maintenance")},
    {128, N("Byp Module/Sys board_System board and inverter module CAN communication abnormal")},
    {129, N("Byp Module/Sys board_Multiple inverters have the same address")},
    {130, N("Byp Module/Sys board_Power status conflict")},
    {131, N("Byp Module/Sys board_Inverter module uneven current")},
    {132, N("Byp Module/Sys board_Output overload 105%")},
    {133, N("Byp Module/Sys board_Output overload 110%")},
    {134, N("Byp Module/Sys board_Output overload 125%")},
    {135, N("Byp Module/Sys board_Output overload 150%")},
    {136, N("Byp Module/Sys board_Failed to switch between bypass and inverter")},
    {137, N("Byp Module/Sys board_Phase lock failed")},
    {138, N("Byp Module/Sys board_System self-check failed")},
    {139, N("Byp Module/Sys board_The output voltage is quickly and abnormally transferred to the bypass")},
    {140, N("Byp Module/Sys board_Load shock transfer to bypass")},
    {141, N("Byp Module/Sys board_Output overload alarm")},
    {142, N("Byp Module/Sys board_Switch repeatedly to lock the bypass")},
    {143, N("Byp Module/Sys board_Switch repeatedly to lock the inverter")},
    {144, N("Byp Module/Sys board_CAN communication between system boards is abnormal")},
    {145, N("Byp Module/Sys board_System overload 105%")},
    {146, N("Byp Module/Sys board_System overload 110%")},
    {147, N("Byp Module/Sys board_System overload 125%")},
    {148, N("Byp Module/Sys board_System overload 150%")},
    {149, N("Byp Module/Sys board_Parallel current sharing abnormal")},
    {150, N("Byp Module/Sys board_Neighbor machine requests to bypass")},
    {151, N("Byp Module/Sys board_System overload alarm")},
    {152, N("Byp Module/Sys board_Output phase sequence is reversed")},
    {153, N("Byp Module/Sys board_Rack number is abnormal")},
    {154, N("Byp Module/Sys board_Parallel cable connection is abnormal")},
    {155, N("Byp Module/Sys board_Module is unlocked (SYS)")},
    {156, N("Byp Module/Sys board_ECU is not ready")},
    {157, N("Byp Module/Sys board_Number of power modules does not meet the load")},
    {158, N("Byp Module/Sys board_Frequency over tracking range")},
    {159, N("Byp Module/Sys board_Output sampling abnormal")},
    {160, N("Byp Module/Sys board_Bypass phase voltage overvoltage")},
    {161, N("Byp Module/Sys board_Bypass phase voltage undervoltage")},
    {162, N("Byp Module/Sys board_Bypass frequency is too high")},
    {163, N("Byp Module/Sys board_Bypass frequency is too low")},
    {164, N("Byp Module/Sys board_Bypass phase sequence is reversed")},
    {165, N("Byp Module/Sys board_Bypass phase loss")},
    {166, N("Byp Module/Sys board_Unbalanced bypass phase voltage")},
    {167, N("Byp Module/Sys board_Quick detection of abnormal bypass voltage")},
    {168, N("Byp Module/Sys board_Bypass overcurrent")},
    {169, N("Byp Module/Sys board_ECO bypass voltage overvoltage")},
    {170, N("Byp Module/Sys board_ECO bypass voltage undervoltage")},
    {171, N("Byp Module/Sys board_ECO bypass frequency over frequency")},
    {172, N("Byp Module/Sys board_ECO bypass frequency underfrequency")},
    {173, N("Byp Module/Sys board_ECO bypass fast power down")},
    {174, N("Byp Module/Sys board_ECO bypass phase sequence reverse")},
    {175, N("Byp Module/Sys board_ECO bypass neutral line lost")},
    {176, N("Byp Module/Sys board_Bypass E2PROM operation failed")},
    {177, N("Byp Module/Sys board_Failed to bypass DSP and monitor communication")},
    {178, N("Byp Module/Sys board_The bypass DSP software version is abnormal")},
    {179, N("Byp Module/Sys board_Bypass software version and hardware version does not match")},
    {180, N("Byp Module/Sys board_Bypass fan failure")},
    {181, N("Byp Module/Sys board_Bypass SCR open circuit/fuse failure")},
    {182, N("Byp Module/Sys board_Bypass SCR short circuit fault")},
    {183, N("Byp Module/Sys board_Emergency shutdown")},
    {184, N("Byp Module/Sys board_Stop button")},
    {185, N("Byp Module/Sys board_Bypass auxiliary power failure")},
    {186, N("Byp Module/Sys board_Bypass back irrigation")},
    {187, N("Byp Module/Sys board_Bypass fuse failure")},
    {188, N("Byp Module/Sys board_Bypass radiator over temperature")},
    {192, N("Byp Module/Sys board_Quickly detect abnormal output voltage")},
    {193, N("Byp Module/Sys board_Output voltage overvoltage")},
    {194, N("Byp Module/Sys board_Output voltage undervoltage")},
    {195, N("Byp Module/Sys board_Output frequency is too high")},
    {196, N("Byp Module/Sys board_Output frequency is too low")},
    {197, N("Byp Module/Sys board_Unbalanced output voltage")},
    {198, N("Byp Module/Sys board_Inverter overload 105%")},
    {199, N("Byp Module/Sys board_Inverter overload 110%")},
    {200, N("Byp Module/Sys board_Inverter overload 125%")},
    {201, N("Byp Module/Sys board_Inverter overload 150%")},
    {202, N("Byp Module/Sys board_Bypass overload 125%")},
    {203, N("Byp Module/Sys board_Bypass overload 135%")},
    {204, N("Byp Module/Sys board_Bypass overload 150%")},
    {205, N("Byp Module/Sys board_Bypass overload 200%")},
    {206, N("Byp Module/Sys board_Inverter overload alarm")},
    {207, N("Byp Module/Sys board_Bypass overload alarm")},
    {208, N("Byp Module/Sys board_Pre-alarm for backup power time")},
    {209, N("Byp Module/Sys board_Pre-warning of remaining capacity")},
    {210, N("Byp Module/Sys board_Battery maintenance reminder")},
    {211, N("Byp Module/Sys board_Battery discharge time expired")},
    {212, N("Byp Module/Sys board_Battery discharge voltage is terminated")},
    {213, N("Byp Module/Sys board_Battery over temperature")},
    {214, N("Byp Module/Sys board_Low battery temperature")},
    {215, N("Byp Module/Sys board_Battery self-test failed")},
    {216, N("Byp Module/Sys board_Battery discharge timeout")},
    {224, N("Byp Module/Sys board_Maintenance bypass MCB closed")},
    {225, N("Byp Module/Sys board_Output MCB is disconnected")},
    {226, N("Byp Module/Sys board_The dial code is under test")},
    {243, N("Byp Module/Sys board_Bypass abnormal")},
    {244, N("Byp Module/Sys board_Output abnormal ")},
    {256, N("Rectifier_Input voltage overvoltage")},
    {257, N("Rectifier_Input voltage undervoltage")},
    {258, N("Rectifier_Input frequency overfrequency")},
    {259, N("Rectifier_Input frequency underfrequency")},
    {260, N("Rectifier_Input phase sequence is reversed")},
    {261, N("Rectifier_Input phase loss")},
    {262, N("Rectifier_Input voltage unbalance")},
    {263, N("Rectifier_Input voltage fast detection abnormal")},
    {264, N("Rectifier_Input current overcurrent")},
    {265, N("Rectifier_Input current unbalance")},
    {266, N("Rectifier_Input neutral line is not connected")},
    {267, N("Rectifier_Enter insurance failure")},
    {268, N("Rectifier_Input power limit")},
    {269, N("Rectifier_Frequent mains battery switching")},
    {270, N("Rectifier_Input overload")},
    {272, N("Rectifier_Abnormal battery connection (missing, reverse connection)")},
    {273, N("Rectifier_Battery over temperature")},
    {274, N("Rectifier_Battery self-test failed")},
    {275, N("Rectifier_Battery overvoltage")},
    {276, N("Rectifier_Battery DOD undervoltage")},
    {277, N("Rectifier_Battery EOD undervoltage")},
    {278, N("Rectifier_Battery overcharge")},
    {279, N("Rectifier_Low battery temperature")},
    {280, N("Rectifier_Battery hardware overvoltage fault")},
    {281, N("Rectifier_Battery charging overcurrent")},
    {282, N("Rectifier_Battery discharge overcurrent")},
    {283, N("Rectifier_Battery fuse/charger switch is open")},
    {284, N("Rectifier_Charger switch shorted")},
    {285, N("Rectifier_Battery discharge timeout")},
    {286, N("Rectifier_Battery reverse connection")},
    {287, N("Rectifier_Battery neutral Lost")},
    {288, N("Rectifier_Positive bus voltage overvoltage")},
    {289, N("Rectifier_Negative bus voltage overvoltage")},
    {290, N("Rectifier_Positive bus voltage undervoltage")},
    {291, N("Rectifier_Negative bus voltage undervoltage")},
    {292, N("Rectifier_Positive and negative bus voltage unbalance")},
    {293, N("Rectifier_Bus hardware overvoltage fault")},
    {294, N("Rectifier_Bus overvoltage times reached")},
    {295, N("Rectifier_Bus capacitor life is less than 1 year")},
    {296, N("Rectifier_Instantaneous undervoltage of positive bus")},
    {297, N("Rectifier_Instantaneous undervoltage of negative bus")},
    {298, N("Rectifier_Bus short circuit")},
    {299, N("Rectifier_Bus voltage overvoltage")},
    {300, N("Rectifier_Bus voltage undervoltage")},
    {301, N("Rectifier_Abnormal Bus Boost")},
    {302, N("Rectifier_Pre-warning of bus capacitor failure")},
    {304, N("Rectifier_Input AC soft start failed")},
    {305, N("Rectifier_Battery DC soft start failed")},
    {306, N("Rectifier_BUS DC/DC soft start failed")},
    {307, N("Rectifier_Input phase lock failed")},
    {308, N("Rectifier_Frequent switching between mains and battery")},
    {309, N("Rectifier_Number of rectifier soft start reaches the limit")},
    {310, N("Rectifier_Rectifier hardware wave-by-wave current limiting fault")},
    {311, N("Rectifier_Rectifier hardware overcurrent fault")},
    {312, N("Rectifier_Rectifier hardware wave-by-wave current limit alarm")},
    {313, N("Rectifier_Input PFC soft start failed")},
    {314, N("Rectifier_Rectifier overcurrent")},
    {315, N("Rectifier_Rectifier mains mode overcurrent")},
    {316, N("Rectifier_Rectifier battery mode overcurrent")},
    {317, N("Rectifier_Phase lock failure")},
    {318, N("Rectifier_Bus soft start times to limit")},
    {319, N("Rectifier_Bus hardware soft start failure")},
    {320, N("Rectifier_Rectifier IGBT module over temperature")},
    {321, N("Rectifier_Rectified E2PROM read and write failed")},
    {322, N("Rectifier_Communication between rectifier DSP and monitoring failed")},
    {323, N("Rectifier_Communication between rectifier DSP and CPLD failed")},
    {324, N("Rectifier_Fan failure")},
    {325, N("Rectifier_Rectifier PowerOK is abnormal")},
    {326, N("Rectifier_Fan failure pre-alarm")},
    {327, N("Rectifier_Rectifier CPLD software version is abnormal")},
    {328, N("Rectifier_Rectification DSP software version is abnormal")},
    {329, N("Rectifier_The rectifier software version and hardware version do not match")},
    {330, N("Rectifier_Abnormal auxiliary power supply of rectifier")},
    {331, N("Rectifier_SPI communication failure between rectifier and inverter")},
    {332, N("Rectifier_Drive connection failure")},
    {333, N("Rectifier_Rectifier contactor failure")},
    {334, N("Rectifier_Battery contactor failure")},
    {335, N("Rectifier_Emergency shutdown")},
    {336, N("Rectifier_Charger switch shorted")},
    {337, N("Rectifier_Charger switch is open")},
    {338, N("Rectifier_Charger soft start failed")},
    {339, N("Rectifier_Charger overvoltage")},
    {340, N("Rectifier_Charger hardware overvoltage fault")},
    {341, N("Rectifier_Charger undervoltage")},
    {342, N("Rectifier_Charger overcurrent")},
    {343, N("Rectifier_Charger over temperature")},
    {344, N("Rectifier_Charger hardware wave-by-wave current limiting fault")},
    {345, N("Rectifier_Charger hardware wave-by-wave current limit alarm")},
    {346, N("Rectifier_Charger hardware overcurrent fault")},
    {352, N("Rectifier_Balanced bridge arm hardware overcurrent fault")},
    {353, N("Rectifier_Balanced bridge arm hardware wave-by-wave current limiting fault")},
    {354, N("Rectifier_Balanced bridge arm hardware wave-by-wave current limit alarm")},
    {355, N("Rectifier_Balanced bridge arm rapid overcurrent")},
    {356, N("Rectifier_Balanced bridge arm overcurrent")},
    {357, N("Rectifier_Over temperature of balance bridge arm")},
    {358, N("Rectifier_Module is unlocked (PFC)")},
    {359, N("Rectifier_The dial code is under test")},
    {360, N("Rectifier_Lithium battery charge  primary protection")},
    {361, N("Rectifier_Lithium battery discharge primary protection")},
    {362, N("Rectifier_Lithium battery charge secondary protection")},
    {363, N("Rectifier_Lithium battery discharge secondary protection")},
    {364, N("Rectifier_Lithium battery charge tertiary protection")},
    {365, N("Rectifier_Lithium battery discharge tertiary protection")},
    {366, N("Rectifier_Lithium battery charge warning")},
    {367, N("Rectifier_Lithium battery discharge warning")},
    {368, N("Rectifier_Input abnormal")},
    {384, N("Inverter_Bus short circuit")},
    {385, N("Inverter_Busbar abnormal")},
    {386, N("Inverter_Bus overvoltage")},
    {387, N("Inverter_Bus undervoltage")},
    {388, N("Inverter_Unbalanced bus voltage")},
    {400, N("Inverter_Inverter voltage overvoltage")},
    {401, N("Inverter_Inverter voltage undervoltage")},
    {402, N("Inverter_Inverter voltage unbalance")},
    {403, N("Inverter_Excessive DC component(R S T)")},
    {404, N("Inverter_Inverter module overload 105%")},
    {405, N("Inverter_Inverter module overload 110%")},
    {406, N("Inverter_Inverter module overload 125%")},
    {407, N("Inverter_Inverter module overload 150%")},
    {408, N("Inverter_Inverter output short circuit")},
    {409, N("Inverter_Inverter module overload alarm")},
    {410, N("Inverter_Inverter over frequency")},
    {411, N("Inverter_Inverter underfrequency")},
    {416, N("Inverter_Bypass SCR open circuit fault")},
    {417, N("Inverter_Bypass SCR short circuit fault")},
    {418, N("Inverter_Bypass overload 125%")},
    {419, N("Inverter_Bypass overload 135%")},
    {420, N("Inverter_Bypass overload 150%")},
    {421, N("Inverter_Bypass overload 200%")},
    {422, N("Inverter_Bypass overload alarm")},
    {423, N("Inverter_Bypass over temperature")},
    {424, N("Inverter_Bypass overvoltage")},
    {425, N("Inverter_Bypass undervoltage")},
    {426, N("Inverter_Bypass over frequency")},
    {427, N("Inverter_Bypass underfrequency")},
    {428, N("Inverter_Bypass phase sequence is reversed")},
    {432, N("Inverter_Inverter soft start failed")},
    {433, N("Inverter_Phase lock failed")},
    {434, N("Inverter_Frequent switching between bypass and inverter")},
    {435, N("Inverter_Inverter soft start times to limit")},
    {436, N("Inverter_Parallel current sharing abnormal")},
    {437, N("Inverter_Catch fault")},
    {438, N("Inverter_Load shock")},
    {439, N("Inverter_Neighboring machine requests to bypass")},
    {440, N("Inverter_Parallel line is abnormal")},
    {441, N("Inverter_Drive connection failure")},
    {442, N("Inverter_Synchronous square wave anomaly")},
    {443, N("Inverter_Inverter self-test failed")},
    {448, N("Inverter_Inverter radiator over temperature")},
    {449, N("Inverter_Inverter E2PROM operation failed")},
    {450, N("Inverter_Inverter DSP and monitoring communication failed")},
    {451, N("Inverter_Failed to communicate between inverter DSP and system board")},
    {452, N("Inverter_Inverter DSP and CPLD communication failure")},
    {453, N("Inverter_Inverter hardware overcurrent fault")},
    {454, N("Inverter_Inverter insurance failure")},
    {455, N("Inverter_Emergency shutdown")},
    {456, N("Inverter_Inverter contactor failure")},
    {457, N("Inverter_Inverter hardware wave-by-wave current limiting fault")},
    {458, N("Inverter_Inverter hardware wave-by-wave current limit alarm")},
    {459, N("Inverter_Inverter power supply abnormal")},
    {460, N("Inverter_Inverter CPLD software version is abnormal")},
    {461, N("Inverter_Inverter DSP software version is abnormal")},
    {462, N("Inverter_Inverter software version and hardware version do not match")},
    {463, N("Inverter_Neutral and ground fault")},
    {464, N("Inverter_Inverter relay open circuit fault")},
    {465, N("Inverter_Inverter relay short circuit fault")},
    {466, N("Inverter_Inverter capacitor failure")},
    {467, N("Inverter_Inverter fan failure")},
    {468, N("Inverter_SPI communication failure between rectifier and inverter")},
    {469, N("Inverter_Inverter fast overcurrent")},
    {470, N("Inverter_Inverter PowerOK is abnormal")},
    {471, N("Inverter_Module is not locked (INV)")},
    {472, N("Inverter_Inverter fan failure pre-alarm")},
    {473, N("Inverter_Inverter capacitor failure pre-warning")},
    {474, N("Inverter_The dial code is under test")},
    {480, N("Inverter_Output overvoltage")},
    {481, N("Inverter_Output undervoltage")},
    {496, N("Inverter_Inverter fast check fail")},
    {497, N("Inverter_Inverter negative power fault")},
};

QString translated(const char* text)
{
    return text ? vek5_10_30k_View::tr(text) : QString();
}

template <std::size_t Size>
void addRows(QList<ParameterInformation*>& list, const Row (&rows)[Size])
{
    for (const Row& row : rows) {
        ParameterInformation* record = vek5ViewData::addDataDesc(
            list, translated(row.label), translated(N("-")), translated(row.unit), row.ratio,
            row.minRaw, row.maxRaw);
        QStringList texts;
        for (const Option& option : row.options)
            texts << (option.translate ? translated(option.text) : QString::fromUtf8(option.text));
        if (row.values.empty())
            record->addCombo(texts);
        else
            record->addCombo(texts, QList<float>(row.values.begin(), row.values.end()));
        record->pointId = row.pointId;
        record->type = row.type;
        record->pointCount = row.pointCount;
    }
}

} // namespace

vek5_10_30k_View::vek5_10_30k_View(QObject* parent) : vek5ViewData(parent)
{
    devCode = 222;
    addRows(deviceData, deviceDataRows);
    addRows(batteryData, batteryDataRows);
    addRows(recInvData, recInvDataRows);
    addRows(inputData, inputDataRows);
    addRows(outputData, outputDataRows);
    addRows(bypassData, bypassDataRows);
    addRows(basicConfig, basicConfigRows);
    addRows(batteryConfig, batteryConfigRows);
    addRows(adjustConfig, adjustConfigRows);
    addRows(devInfoConfig, devInfoConfigRows);

    for (int i = 0; i < alarmCount; ++i)
        alarmList.append(QString());
    for (const Alarm& alarm : alarms)
        alarmList[alarm.index] = translated(alarm.text);
}

vek5_10_30k_View::~vek5_10_30k_View()
{
    for (QList<ParameterInformation*>* list :
         {&deviceData, &batteryData, &recInvData, &inputData, &outputData, &bypassData,
          &basicConfig, &batteryConfig, &adjustConfig, &specialConfig, &devInfoConfig}) {
        for (ParameterInformation* record : qAsConst(*list))
            delete record; // deleting null is a no-op
        list->clear();
    }
}
