#include "UpsCommand.h"

#include "points.h"

#include <QCoreApplication>

namespace {

using C = UpsCommand;
constexpr int Both = C::FromView | C::FromHost;

} // namespace

const std::vector<UpsCommand>& UpsCommand::table()
{
    // A battery test shows 1 while it runs and 2 for a discharge to low.
    static const std::vector<UpsCommand> rows = {
        {1009, "beeper.enable", QT_TRANSLATE_NOOP("vek5Client", "Buzzer on"),
         "buzzer_on", QT_TRANSLATE_NOOP("vek5View", "Turn on"), 17, Both,
         "Enable the UPS beeper", point::BuzzerEnabled, 1, C::NoArgument, ""},
        {1010, "beeper.disable", QT_TRANSLATE_NOOP("vek5Client", "Buzzer off"),
         "buzzer_off", QT_TRANSLATE_NOOP("vek5View", "Turn off"), 18, Both,
         "Disable the UPS beeper", point::BuzzerEnabled, 0, C::NoArgument, ""},
        {1003, "test.battery.start.quick", QT_TRANSLATE_NOOP("vek5Client", "Selftest"),
         "battery_test", QT_TRANSLATE_NOOP("vek5View", "Battery test 20s"), 0, Both,
         "Start a quick battery test (self-test)", point::BatteryTestStatus, 1, C::NoArgument, "0"},
        {1004, "test.battery.start", QT_TRANSLATE_NOOP("vek5Client", "Discharge"),
         nullptr, nullptr, 0, C::FromHost,
         "Start a battery discharge test of VALUE minutes", point::BatteryTestStatus, 1, C::Minutes, ""},
        {1005, "test.battery.start.deep", QT_TRANSLATE_NOOP("vek5Client", "Discharge to low"),
         "battery_maintenance", QT_TRANSLATE_NOOP("vek5View", "Battery maintenance"), 2, Both,
         "Start a deep battery test (discharge to low battery)", point::BatteryTestStatus, 2, C::NoArgument, ""},
        {1006, "test.battery.stop", QT_TRANSLATE_NOOP("vek5Client", "Cancel task"),
         "cancel_test", QT_TRANSLATE_NOOP("vek5View", "Cancel test"), 3, Both,
         "Stop a battery test", point::BatteryTestStatus, 0, C::NoArgument, ""},
        {1007, "load.off", QT_TRANSLATE_NOOP("vek5Client", "Shutdown UPS"),
         "power_off", QT_TRANSLATE_NOOP("vek5View", "Shutdown stop output"), 4, Both,
         "Turn off the load immediately", point::OutputSupplied, 0, C::NoArgument, ""},
        {1008, "load.on", QT_TRANSLATE_NOOP("vek5Client", "Startup UPS"),
         "power_on", QT_TRANSLATE_NOOP("vek5View", "Startup"), 7, Both,
         "Turn on the load immediately", point::OutputSupplied, 1, C::NoArgument, "0"},
        {1016, "bypass.start", QT_TRANSLATE_NOOP("vek5Client", "Turn bypass manually"),
         "turn_bypass", QT_TRANSLATE_NOOP("vek5View", "Transfer to bypass"), 10, Both,
         "Put the load on bypass", point::LoadOnBypass, 1, C::NoArgument, ""},
        {1017, "bypass.stop", QT_TRANSLATE_NOOP("vek5Client", "Turn inverter manually"),
         "turn_inverter", QT_TRANSLATE_NOOP("vek5View", "Transfer to inverter"), 11, Both,
         "Put the load back on the inverter", point::LoadOnBypass, 0, C::NoArgument, ""},
        {1001, "vek5.fault.clear", QT_TRANSLATE_NOOP("vek5Client", "Clean fault"),
         "clear_fault", QT_TRANSLATE_NOOP("vek5View", "Clear fault"), 12, Both,
         "Clear the unit's latched faults", 0, 0, C::NoArgument, ""},
        {1002, "vek5.history.clear", QT_TRANSLATE_NOOP("vek5Client", "Clean history"),
         "clear_history_log", QT_TRANSLATE_NOOP("vek5View", "Clear history"), 13, Both,
         "Clear the unit's event history", 0, 0, C::NoArgument, ""},
        // Start-up with a non-zero argument is the wake-up.
        {1013, "vek5.wakeup", QT_TRANSLATE_NOOP("vek5Client", "Wakeup UPS"),
         nullptr, nullptr, 7, C::FromHost,
         "Wake the unit up", point::OutputSupplied, 1, C::NoArgument, "1"},
        {1015, "vek5.shutdown.bypass", QT_TRANSLATE_NOOP("vek5Client", "Shutdown to bypass"),
         "off_turn_bypass", QT_TRANSLATE_NOOP("vek5View", "Shutdown to bypass"), 9, Both,
         "Shut the inverter down, leaving the load on bypass", point::LoadOnBypass, 1, C::NoArgument, ""},
        {C::DownloadHistory, "vek5.history.download", QT_TRANSLATE_NOOP("vek5Client", "Download history"),
         "download_history_log", QT_TRANSLATE_NOOP("vek5View", "Download history"), 20, Both,
         "Download the event history to the file VALUE of the history directory", 0, 0, C::FileName, ""},
        // The panel's own; the host refuses them.
        {C::SetClock, nullptr, nullptr, "timeSet", nullptr, C::NoDriverCode, C::FromView,
         "Set the unit's clock to the panel's time (the collector sends nothing)", 0, 0, C::NoArgument, ""},
        {C::ClosePort, nullptr, nullptr, "ups_upgrade", nullptr, C::NoDriverCode, C::FromView,
         "Close the unit's serial port for the firmware tool", 0, 0, C::NoArgument, ""},
        {C::RawSetting, nullptr, nullptr, nullptr, nullptr, C::NoDriverCode, C::FromView,
         "Send VALUE to the driver as it stands: a setting from the dialog, or a panel button not listed here",
         0, 0, C::NoArgument, ""},
    };
    return rows;
}

const UpsCommand* UpsCommand::byId(int id)
{
    for (const UpsCommand& c : table()) {
        if (c.id == id)
            return &c;
    }
    return nullptr;
}

const UpsCommand* UpsCommand::byButtonName(const QString& name)
{
    for (const UpsCommand& c : table()) {
        if (c.buttonName && name == QLatin1String(c.buttonName))
            return &c;
    }
    return nullptr;
}

const UpsCommand* UpsCommand::forHost(const QString& name)
{
    bool numeric = false;
    const int id = name.toInt(&numeric);
    for (const UpsCommand& c : table()) {
        if (c.sentBy(FromHost) && (numeric ? c.id == id : name == QLatin1String(c.nutName)))
            return &c;
    }
    return nullptr;
}
