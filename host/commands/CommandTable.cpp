#include "CommandTable.h"

namespace {

// 4260 buzzer enabled (1/0), 4218 load on bypass, 4223 output supplied,
// 4259 battery test status (0 = none running).
const CommandName kCommands[] = {
    {"beeper.enable", 1009, "Enable the UPS beeper", 4260, 1},
    {"beeper.disable", 1010, "Disable the UPS beeper", 4260, 0},
    {"test.battery.start.quick", 1003, "Start a quick battery test (self-test)", 0, 0},
    {"test.battery.start", 1004, "Start a battery discharge test of VALUE minutes", 0, 0},
    {"test.battery.start.deep", 1005, "Start a deep battery test (discharge to low battery)", 0, 0},
    {"test.battery.stop", 1006, "Stop a battery test", 4259, 0},
    {"load.off", 1007, "Turn off the load immediately", 4223, 0},
    {"load.on", 1008, "Turn on the load immediately", 4223, 1},
    {"bypass.start", 1016, "Put the load on bypass", 4218, 1},
    {"bypass.stop", 1017, "Put the load back on the inverter", 4218, 0},
    {"vek5.fault.clear", 1001, "Clear the unit's latched faults", 0, 0},
    {"vek5.history.clear", 1002, "Clear the unit's event history", 0, 0},
    {"vek5.wakeup", 1013, "Wake the unit up", 0, 0},
    {"vek5.shutdown.bypass", 1015, "Shut the inverter down, leaving the load on bypass", 4218, 1},
    {"vek5.history.download", 1045, "Download the event history to the CSV file VALUE", 0, 0},
    {nullptr, 0, nullptr, 0, 0},
};

} // namespace

const CommandName* commandTable()
{
    return kCommands;
}

const CommandName* findCommand(const QString& name)
{
    bool numeric = false;
    const int id = name.toInt(&numeric);
    for (const CommandName* c = kCommands; c->name; ++c) {
        if (numeric ? c->id == id : name == QLatin1String(c->name))
            return c;
    }
    return nullptr;
}
