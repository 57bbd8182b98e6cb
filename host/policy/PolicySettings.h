#ifndef POLICYSETTINGS_H
#define POLICYSETTINGS_H

// param.ini [policy]: when the host shuts its computer down and whom it
// tells. Durations in seconds; a threshold or delay of 0 is off.

#include <QString>

class IniReader;

struct PolicySettings
{
    QString shutdownCmd;            // run once per critical episode; empty: none
    int onBatteryDelay = 0;         // critical after this long on battery
    int chargeLow = 10;             // %: LB on battery below this
    int runtimeLow = 0;             // s: LB on battery below this
    bool lowBattery = true;         // critical on OB + LB
    int commLostOnBatteryGrace = 15;// critical: on battery, then silent this long
    QString notifyCmd;              // run on every derived event; empty: none
    int notifyRateLimit = 30;       // notifyCmd runs a minute at most; 0 unlimited
    int notifyTimeout = 30;         // a notifyCmd running longer is stopped with its process group
    int notifyMaxRunning = 4;       // notifyCmd runs at once at most; further ones are dropped
    int shutdownTimeout = 120;      // as notifyTimeout for shutdownCmd; 0: none

    static PolicySettings read(IniReader& ini);
};

#endif // POLICYSETTINGS_H
