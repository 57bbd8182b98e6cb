#include "vek5_10_30k_View.h"

#include "eventcatalogue.h"
#include "statetexts.h"

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

// A state code's option list: the page wording of each code, in code order.
Options pageTexts(const StateText* states, std::size_t count)
{
    Options options;
    for (std::size_t i = 0; i < count; ++i)
        options.emplace_back(states[i].page);
    return options;
}

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
    {N("Battery status:"), 4101, 11, 0, nullptr, 0.0f, 0, 0, pageTexts(StateTexts::battery, StateTexts::batteryCount)},
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
    {N("Output load on state:"), 4161, 11, 0, nullptr, 0.0f, 0, 0, pageTexts(StateTexts::output, StateTexts::outputCount)},
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

    // Alarm i is event i of the event catalogue, worded as it appears; the
    // texts are translated in this class's context like the rest of the pages.
    for (int i = 0; i < alarmCount; ++i)
        alarmList.append(QString());
    for (std::size_t i = 0; i < EventCatalogue::appearanceCount; ++i) {
        const EventText& event = EventCatalogue::appearance[i];
        alarmList[event.code] = translated(event.text);
    }
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
