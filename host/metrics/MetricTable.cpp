#include "MetricTable.h"

namespace {

const char* const kInVolts = "Input (mains) voltage, phase to neutral.";
const char* const kInAmps = "Input (mains) current per phase.";
const char* const kInHertz = "Input (mains) frequency.";
const char* const kOutVolts = "Output voltage, phase to neutral.";
const char* const kOutAmps = "Output current per phase.";
const char* const kOutHertz = "Output frequency.";
const char* const kOutWatts = "Output active power; without a phase label the sum of the phases.";
const char* const kOutVa = "Output apparent power; without a phase label the sum of the phases.";
const char* const kOutLoad = "Output load as a fraction of the rated power (1 = 100 %).";
const char* const kBypVolts = "Bypass voltage, phase to neutral.";
const char* const kBypAmps = "Bypass current per phase.";
const char* const kBypHertz = "Bypass frequency.";

const MetricSource kTable[] = {
    {"input.L1-N.voltage", "ups_input_volts", "L1-N", 1, kInVolts},
    {"input.L2-N.voltage", "ups_input_volts", "L2-N", 1, kInVolts},
    {"input.L3-N.voltage", "ups_input_volts", "L3-N", 1, kInVolts},
    {"input.L1.current", "ups_input_amperes", "L1", 1, kInAmps},
    {"input.L2.current", "ups_input_amperes", "L2", 1, kInAmps},
    {"input.L3.current", "ups_input_amperes", "L3", 1, kInAmps},
    {"input.L1.frequency", "ups_input_hertz", "L1", 1, kInHertz},
    {"input.L2.frequency", "ups_input_hertz", "L2", 1, kInHertz},
    {"input.L3.frequency", "ups_input_hertz", "L3", 1, kInHertz},
    {"output.L1-N.voltage", "ups_output_volts", "L1-N", 1, kOutVolts},
    {"output.L2-N.voltage", "ups_output_volts", "L2-N", 1, kOutVolts},
    {"output.L3-N.voltage", "ups_output_volts", "L3-N", 1, kOutVolts},
    {"output.L1.current", "ups_output_amperes", "L1", 1, kOutAmps},
    {"output.L2.current", "ups_output_amperes", "L2", 1, kOutAmps},
    {"output.L3.current", "ups_output_amperes", "L3", 1, kOutAmps},
    {"output.L1.frequency", "ups_output_hertz", "L1", 1, kOutHertz},
    {"output.L2.frequency", "ups_output_hertz", "L2", 1, kOutHertz},
    {"output.L3.frequency", "ups_output_hertz", "L3", 1, kOutHertz},
    {"output.L1.realpower", "ups_output_active_power_watts", "L1", 1, kOutWatts},
    {"output.L2.realpower", "ups_output_active_power_watts", "L2", 1, kOutWatts},
    {"output.L3.realpower", "ups_output_active_power_watts", "L3", 1, kOutWatts},
    {"ups.realpower", "ups_output_active_power_watts", nullptr, 1, kOutWatts},
    {"output.L1.power", "ups_output_apparent_power_voltamperes", "L1", 1, kOutVa},
    {"output.L2.power", "ups_output_apparent_power_voltamperes", "L2", 1, kOutVa},
    {"output.L3.power", "ups_output_apparent_power_voltamperes", "L3", 1, kOutVa},
    {"ups.power", "ups_output_apparent_power_voltamperes", nullptr, 1, kOutVa},
    {"output.L1.power.percent", "ups_output_load_ratio", "L1", 0.01, kOutLoad},
    {"output.L2.power.percent", "ups_output_load_ratio", "L2", 0.01, kOutLoad},
    {"output.L3.power.percent", "ups_output_load_ratio", "L3", 0.01, kOutLoad},
    {"ups.load", "ups_output_load_ratio", nullptr, 0.01, kOutLoad},
    {"input.bypass.L1-N.voltage", "ups_bypass_volts", "L1-N", 1, kBypVolts},
    {"input.bypass.L2-N.voltage", "ups_bypass_volts", "L2-N", 1, kBypVolts},
    {"input.bypass.L3-N.voltage", "ups_bypass_volts", "L3-N", 1, kBypVolts},
    {"input.bypass.L1.current", "ups_bypass_amperes", "L1", 1, kBypAmps},
    {"input.bypass.L2.current", "ups_bypass_amperes", "L2", 1, kBypAmps},
    {"input.bypass.L3.current", "ups_bypass_amperes", "L3", 1, kBypAmps},
    {"input.bypass.L1.frequency", "ups_bypass_hertz", "L1", 1, kBypHertz},
    {"input.bypass.L2.frequency", "ups_bypass_hertz", "L2", 1, kBypHertz},
    {"input.bypass.L3.frequency", "ups_bypass_hertz", "L3", 1, kBypHertz},
    {"battery.charge", "ups_battery_charge_ratio", nullptr, 0.01,
     "Battery charge left (1 = full)."},
    {"battery.runtime", "ups_battery_runtime_seconds", nullptr, 1,
     "Runtime left on battery at the present load."},
    {"battery.voltage", "ups_battery_volts", nullptr, 1, "Battery voltage."},
    {"battery.current", "ups_battery_amperes", nullptr, 1,
     "Battery current (positive while charging)."},
    {"battery.temperature", "ups_battery_temperature_celsius", nullptr, 1, "Battery temperature."},
    {nullptr, nullptr, nullptr, 0, nullptr},
};

const char* const kFlags[] = {"OL", "OB", "LB", "CHRG", "DISCHRG", "BYPASS", "OFF", "OVER", "ALARM",
                              "FSD", nullptr};

} // namespace

const MetricSource* metricTable()
{
    return kTable;
}

const char* const* knownStatusFlags()
{
    return kFlags;
}
