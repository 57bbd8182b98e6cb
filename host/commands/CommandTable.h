#ifndef COMMANDTABLE_H
#define COMMANDTABLE_H

// The host's names for the collector's control commands: NUT's standard
// instant-command names where the naming scheme has one, vendor names
// (prefix "vek5.") for the rest. One table, used by --command, the NUT
// server's INSTCMD and the documentation.

#include <QString>

struct CommandName
{
    enum Argument {
        NoArgument,     // a VALUE is refused; `fixedValue` is sent
        Minutes,        // VALUE: a whole number of minutes, 1-65535
        FileName        // VALUE: the name of the file to write, without a path
    };

    const char* name;        // "beeper.disable"
    int id;                  // control id of the collector (1001-1045)
    const char* description; // one line for NUT's CMDDESC and --help
    // Where the data shows the effect: the point and the value it takes once
    // the unit has carried the command out; point 0 when nothing shows it.
    int confirmPoint;
    int confirmValue;
    Argument argument;
    const char* fixedValue;  // the value text sent with a NoArgument command
};

// The whole table, terminated by a row with a null name.
const CommandName* commandTable();
// The row named `name`, or the row of the control id `name` ("1010");
// null when there is none.
const CommandName* findCommand(const QString& name);
// The value text to send for `value`, or false with a reason.
bool commandValue(const CommandName& command, const QString& value, QString* sent, QString* error);

#endif // COMMANDTABLE_H
