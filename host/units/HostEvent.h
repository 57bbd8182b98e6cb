#ifndef HOSTEVENT_H
#define HOSTEVENT_H

// One line of the host's event log: what happened to which unit, already in
// words. Built from a collector's event record by EventFormatter and shown
// by the console output and the window alike.

#include <QMetaType>
#include <QString>
#include <QVariant>

struct HostEvent
{
    QString time;       // "yyyy-MM-dd hh:mm:ss"
    QString unit;       // device name
    int type = 0;       // event type of the record
    QString kind;       // "comm", "alarm", "status", "command", "request", "notice", "data", "error",
                        // "notify", "policy", "state"
    int code = -1;      // alarm event code, command id or status point; -1 when none
    int state = -1;     // alarm / communication / status state; -1 when none
    QString text;       // readable description
    QString notify;     // derived event name (ONBATT, ...); empty for a raw record
    QVariantMap values; // a unit's state under NUT variable names; JSON has them as fields
};

Q_DECLARE_METATYPE(HostEvent)

#endif // HOSTEVENT_H
