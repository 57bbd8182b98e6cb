#include "CommandTable.h"

QVector<const UpsCommand*> hostCommands()
{
    QVector<const UpsCommand*> rows;
    for (const UpsCommand& c : UpsCommand::table()) {
        if (c.sentBy(UpsCommand::FromHost))
            rows.append(&c);
    }
    return rows;
}

const UpsCommand* findCommand(const QString& name)
{
    return UpsCommand::forHost(name);
}

bool commandValue(const UpsCommand& command, const QString& value, QString* sent, QString* error)
{
    switch (command.argument) {
    case UpsCommand::NoArgument:
        if (!value.isEmpty()) {
            *error = QStringLiteral("%1 takes no value, got \"%2\"").arg(QLatin1String(command.nutName), value);
            return false;
        }
        *sent = QLatin1String(command.fixedValue);
        return true;
    case UpsCommand::Minutes: {
        bool ok = false;
        const int minutes = value.toInt(&ok);
        if (!ok || minutes < 1 || minutes > 65535) {
            *error = QStringLiteral("%1 needs a number of minutes 1-65535, got \"%2\"")
                         .arg(QLatin1String(command.nutName), value);
            return false;
        }
        *sent = QString::number(minutes);
        return true;
    }
    case UpsCommand::FileName:
        // A name only: where it goes is the host's to say (ConfinedDirectory).
        if (value.isEmpty() || value.contains(QLatin1Char('/')) || value.contains(QLatin1Char('\\'))
            || value == QLatin1String(".") || value == QLatin1String("..")) {
            *error = QStringLiteral("%1 needs a file name without a path (no \"/\", not \"..\"), got \"%2\"")
                         .arg(QLatin1String(command.nutName), value);
            return false;
        }
        *sent = value;
        return true;
    }
    return false;
}
