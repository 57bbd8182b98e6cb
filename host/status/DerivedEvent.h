#ifndef DERIVEDEVENT_H
#define DERIVEDEVENT_H

// A change in a unit's status that an operator is told about, under NUT's
// notify names: ONLINE, ONBATT, LOWBATT, ONBYPASS, OFF, OVERLOAD, COMMOK,
// COMMBAD, NOCOMM, STALE, FSD, SHUTDOWN.

#include <QMetaType>
#include <QString>

struct DerivedEvent
{
    QString unit;
    QString name;       // "ONBATT"
    QString message;    // "UPS1 is on battery"
};

Q_DECLARE_METATYPE(DerivedEvent)

#endif // DERIVEDEVENT_H
