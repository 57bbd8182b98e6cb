#include "MetricTable.h"

namespace {

const char* const kInVolts = "Input (mains) voltage, phase to neutral.";
const char* const kInAmps = "Input (mains) current per phase.";
const char* const kInHertz = "Input (mains) frequency per phase.";
const char* const kOutVolts = "Output voltage, phase to neutral.";
const char* const kOutAmps = "Output current per phase.";
const char* const kOutHertz = "Output frequency per phase.";
const char* const kOutWatts = "Output active power per phase.";
const char* const kOutVa = "Output apparent power per phase.";
const char* const kOutLoad = "Output load as a fraction of the rated power (1 = 100 %); without a phase label the most loaded phase.";
const char* const kBypVolts = "Bypass voltage, phase to neutral.";
const char* const kBypAmps = "Bypass current per phase.";
const char* const kBypHertz = "Bypass frequency per phase.";

const MetricSource kTable[] = {
    {"input.L1-N.voltage", "ups_input_volts", "L1-N", 1, kInVolts},
    {"input.L2-N.voltage", "ups_input_volts", "L2-N", 1, kInVolts},
    {"input.L3-N.voltage", "ups_input_volts", "L3-N", 1, kInVolts},
    {"input.L1.current", "ups_input_amperes", "L1", 1, kInAmps},
    {"input.L2.current", "ups_input_amperes", "L2", 1, kInAmps},
    {"input.L3.current", "ups_input_amperes", "L3", 1, kInAmps},
    {"vek5.input.L1.frequency", "ups_input_hertz", "L1", 1, kInHertz},
    {"vek5.input.L2.frequency", "ups_input_hertz", "L2", 1, kInHertz},
    {"vek5.input.L3.frequency", "ups_input_hertz", "L3", 1, kInHertz},
    {"output.L1-N.voltage", "ups_output_volts", "L1-N", 1, kOutVolts},
    {"output.L2-N.voltage", "ups_output_volts", "L2-N", 1, kOutVolts},
    {"output.L3-N.voltage", "ups_output_volts", "L3-N", 1, kOutVolts},
    {"output.L1.current", "ups_output_amperes", "L1", 1, kOutAmps},
    {"output.L2.current", "ups_output_amperes", "L2", 1, kOutAmps},
    {"output.L3.current", "ups_output_amperes", "L3", 1, kOutAmps},
    {"vek5.output.L1.frequency", "ups_output_hertz", "L1", 1, kOutHertz},
    {"vek5.output.L2.frequency", "ups_output_hertz", "L2", 1, kOutHertz},
    {"vek5.output.L3.frequency", "ups_output_hertz", "L3", 1, kOutHertz},
    {"output.L1.realpower", "ups_output_active_power_watts", "L1", 1, kOutWatts},
    {"output.L2.realpower", "ups_output_active_power_watts", "L2", 1, kOutWatts},
    {"output.L3.realpower", "ups_output_active_power_watts", "L3", 1, kOutWatts},
    {"output.L1.power", "ups_output_apparent_power_voltamperes", "L1", 1, kOutVa},
    {"output.L2.power", "ups_output_apparent_power_voltamperes", "L2", 1, kOutVa},
    {"output.L3.power", "ups_output_apparent_power_voltamperes", "L3", 1, kOutVa},
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
    {"vek5.input.bypass.L1.frequency", "ups_bypass_hertz", "L1", 1, kBypHertz},
    {"vek5.input.bypass.L2.frequency", "ups_bypass_hertz", "L2", 1, kBypHertz},
    {"vek5.input.bypass.L3.frequency", "ups_bypass_hertz", "L3", 1, kBypHertz},
    {"battery.charge", "ups_battery_charge_ratio", nullptr, 0.01,
     "Battery charge left (1 = full)."},
    {"battery.runtime", "ups_battery_runtime_seconds", nullptr, 1,
     "Runtime left on battery at the present load."},
    {"battery.voltage", "ups_battery_volts", nullptr, 1, "Voltage of the positive battery string."},
    {"battery.current", "ups_battery_amperes", nullptr, 1,
     "Current of the positive battery string (positive while discharging)."},
    {"battery.temperature", "ups_battery_temperature_celsius", nullptr, 1, "Battery temperature."},
    {"ups.temperature", "ups_temperature_celsius", nullptr, 1,
     "Temperature of the hotter of rectifier and inverter."},
    {"ups.power.nominal", "ups_output_apparent_power_rated_voltamperes", nullptr, 1,
     "Rated output apparent power of the unit."},
    {nullptr, nullptr, nullptr, 0, nullptr},
};

} // namespace

const MetricSource* metricTable()
{
    return kTable;
}
