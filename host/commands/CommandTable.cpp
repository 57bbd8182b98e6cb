#include "CommandTable.h"

namespace {

// 4260 buzzer enabled (1/0), 4218 load on bypass, 4223 output supplied,
// 4259 battery test status (0 none, 1 test running, 2 discharge to low).
const CommandName kCommands[] = {
    {"beeper.enable", 1009, "Enable the UPS beeper", 4260, 1, CommandName::NoArgument, ""},
    {"beeper.disable", 1010, "Disable the UPS beeper", 4260, 0, CommandName::NoArgument, ""},
    {"test.battery.start.quick", 1003, "Start a quick battery test (self-test)", 4259, 1,
     CommandName::NoArgument, "0"},
    {"test.battery.start", 1004, "Start a battery discharge test of VALUE minutes", 4259, 1,
     CommandName::Minutes, ""},
    {"test.battery.start.deep", 1005, "Start a deep battery test (discharge to low battery)", 4259, 2,
     CommandName::NoArgument, ""},
    {"test.battery.stop", 1006, "Stop a battery test", 4259, 0, CommandName::NoArgument, ""},
    {"load.off", 1007, "Turn off the load immediately", 4223, 0, CommandName::NoArgument, ""},
    {"load.on", 1008, "Turn on the load immediately", 4223, 1, CommandName::NoArgument, "0"},
    {"bypass.start", 1016, "Put the load on bypass", 4218, 1, CommandName::NoArgument, ""},
    {"bypass.stop", 1017, "Put the load back on the inverter", 4218, 0, CommandName::NoArgument, ""},
    {"vek5.fault.clear", 1001, "Clear the unit's latched faults", 0, 0, CommandName::NoArgument, ""},
    {"vek5.history.clear", 1002, "Clear the unit's event history", 0, 0, CommandName::NoArgument, ""},
    // Start-up with a non-zero argument is the wake-up.
    {"vek5.wakeup", 1013, "Wake the unit up", 4223, 1, CommandName::NoArgument, "1"},
    {"vek5.shutdown.bypass", 1015, "Shut the inverter down, leaving the load on bypass", 4218, 1,
     CommandName::NoArgument, ""},
    {"vek5.history.download", 1045, "Download the event history to the file VALUE of the history directory", 0, 0,
     CommandName::FileName, ""},
    {nullptr, 0, nullptr, 0, 0, CommandName::NoArgument, nullptr},
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

bool commandValue(const CommandName& command, const QString& value, QString* sent, QString* error)
{
    switch (command.argument) {
    case CommandName::NoArgument:
        if (!value.isEmpty()) {
            *error = QStringLiteral("%1 takes no value, got \"%2\"").arg(QLatin1String(command.name), value);
            return false;
        }
        *sent = QLatin1String(command.fixedValue);
        return true;
    case CommandName::Minutes: {
        bool ok = false;
        const int minutes = value.toInt(&ok);
        if (!ok || minutes < 1 || minutes > 65535) {
            *error = QStringLiteral("%1 needs a number of minutes 1-65535, got \"%2\"")
                         .arg(QLatin1String(command.name), value);
            return false;
        }
        *sent = QString::number(minutes);
        return true;
    }
    case CommandName::FileName:
        // A name only: where it goes is the host's to say (ConfinedDirectory).
        if (value.isEmpty() || value.contains(QLatin1Char('/')) || value.contains(QLatin1Char('\\'))
            || value == QLatin1String(".") || value == QLatin1String("..")) {
            *error = QStringLiteral("%1 needs a file name without a path (no \"/\", not \"..\"), got \"%2\"")
                         .arg(QLatin1String(command.name), value);
            return false;
        }
        *sent = value;
        return true;
    }
    return false;
}
