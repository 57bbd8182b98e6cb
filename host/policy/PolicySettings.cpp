#include "PolicySettings.h"

#include "IniReader.h"

PolicySettings PolicySettings::read(IniReader& ini)
{
    PolicySettings p;
    p.shutdownCmd = ini.text("shutdownCmd", "");
    p.onBatteryDelay = ini.integer("onBatteryDelay", p.onBatteryDelay, 0, 86400);
    p.chargeLow = ini.integer("chargeLow", p.chargeLow, 0, 100);
    p.runtimeLow = ini.integer("runtimeLow", p.runtimeLow, 0, 86400);
    p.lowBattery = ini.yesNo("lowBattery", p.lowBattery);
    p.commLostOnBatteryGrace = ini.integer("commLostOnBatteryGrace", p.commLostOnBatteryGrace, 0, 86400);
    p.notifyCmd = ini.text("notifyCmd", "");
    p.notifyRateLimit = ini.integer("notifyRateLimit", p.notifyRateLimit, 0, 10000);
    p.notifyTimeout = ini.integer("notifyTimeout", p.notifyTimeout, 1, 3600);
    p.notifyMaxRunning = ini.integer("notifyMaxRunning", p.notifyMaxRunning, 1, 100);
    p.shutdownTimeout = ini.integer("shutdownTimeout", p.shutdownTimeout, 0, 86400);
    return p;
}
