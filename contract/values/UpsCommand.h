#ifndef UPSCOMMAND_H
#define UPSCOMMAND_H

// The control commands: one row per control id, with everything each part
// needs of it. The collector turns an id into the driver's command text, the
// view lays out its buttons, and the host names the commands it accepts
// (--command, NUT INSTCMD) and checks that the unit carried them out.

#include <QString>

#include <vector>

struct UpsCommand
{
    enum Argument {
        NoArgument,     // a VALUE is refused; `fixedValue` is sent
        Minutes,        // VALUE: a whole number of minutes, 1-65535
        FileName        // VALUE: the name of the file to write, without a path
    };

    // Who may ask for it: the unit's panel, a host user or NUT client.
    enum Sender { FromView = 0x1, FromHost = 0x2 };

    // Ids the parts treat apart from the driver code.
    enum Id {
        SetClock = 1011,          // the panel's clock button; the collector sends nothing
        ClosePort = 1018,         // closes the serial port for the firmware tool
        DownloadHistory = 1045,   // also exports the history to the file named by the value
        RawSetting = 2016         // the value goes to the driver as it stands ("point,value")
    };

    static constexpr int NoDriverCode = -1;

    int id;
    const char* nutName;         // "beeper.disable"; null when the host refuses the id
    const char* collectorLabel;  // QT_TRANSLATE_NOOP("vek5Client"): names it in result texts
    const char* buttonName;      // the panel button's object name; null: no button
    const char* buttonLabel;     // QT_TRANSLATE_NOOP("vek5View"); null: handled but not laid out
    int driverCode;              // sent as "code,argument"; NoDriverCode when not
    int senders;                 // Sender flags
    const char* description;     // one line for NUT's CMDDESC, --help and the docs
    // Where the data shows the effect: the point and the value it takes once
    // the unit has carried the command out; point 0 when nothing shows it.
    int confirmPoint;
    int confirmValue;
    Argument argument;
    const char* fixedValue;      // the value text the host sends with a NoArgument command

    bool sentBy(Sender sender) const { return (senders & sender) != 0; }

    // Every row; those the host accepts come first, in the order it lists them.
    static const std::vector<UpsCommand>& table();
    static const UpsCommand* byId(int id);
    static const UpsCommand* byButtonName(const QString& name);
    // Rows the host accepts, by NUT-style name or by control id ("1010").
    static const UpsCommand* forHost(const QString& name);
};

#endif // UPSCOMMAND_H
