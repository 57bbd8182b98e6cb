#ifndef COMMANDTABLE_H
#define COMMANDTABLE_H

// The host's side of the control command table (UpsCommand): the rows a
// user or a NUT client may give by name, as used by --command, the NUT
// server's INSTCMD and the documentation, and the check of their values.

#include "UpsCommand.h"

#include <QString>
#include <QVector>

// The rows the host accepts, in the order it lists them.
QVector<const UpsCommand*> hostCommands();
// The accepted row named `name`, or of the control id `name` ("1010"); null
// when there is none.
const UpsCommand* findCommand(const QString& name);
// The value text to send for `value`, or false with a reason.
bool commandValue(const UpsCommand& command, const QString& value, QString* sent, QString* error);

#endif // COMMANDTABLE_H
