#ifndef EVENTFORMATTER_H
#define EVENTFORMATTER_H

// Turns the event records a collector emits into HostEvent lines, and the
// lines into text or JSON. Needs the unit's event catalogue to name alarms.

#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>

#include "DerivedEvent.h"
#include "EventTypes.h"
#include "HostEvent.h"
#include "UnitStatus.h"

class EventFormatter
{
public:
    // Event types a collector reports on its own (everything else carrying a
    // control id is a command request from a view or the setting dialog).
    enum Type {
        CommRestored = EventType::CommRestored,
        CommLost = EventType::CommLost,
        CommandResult = EventType::CommandResult,
        SettingRequest = EventType::SettingRequest,
        AlarmNotice = EventType::AlarmNotice,
        AlarmChange = EventType::AlarmChange,
        DataReport = EventType::DataReport,
        StatusPoint2368 = EventType::StatusPoint2368,
        StatusPoint2022 = EventType::StatusPoint2022
    };

    void setEventTexts(const QStringList& texts) { m_eventTexts = texts; }
    const QStringList& eventTexts() const { return m_eventTexts; }

    // A view's or dialog's request: a record naming a command under a type
    // that is not one of the collector's own. The command runner's result
    // carries the control id and value as well, and must never be taken for
    // a request (it would run the command again).
    static bool isControlRequest(int type, const QMap<QString, QVariant>& record);
    static bool isCollectorEvent(int type);

    // Describes one record; `fallbackUnit` names the unit when the record
    // has no "name". Data reports are described by the unit's state instead.
    HostEvent describe(int type, const QMap<QString, QVariant>& record,
                       const QString& fallbackUnit) const;

    // Alarm text for an alarm index: the catalogue entry, or a stand-in for
    // reserved (empty) and unknown indexes.
    QString alarmText(int index) const;
    // An alarm id of a record (index i when raised, N + i when cleared, N
    // being half the catalogue) in words: "alarm 21 raised: <text>".
    QString alarmChange(int alarmId, int* index) const;
    // A derived event as a line of the log.
    static HostEvent describe(const DerivedEvent& event);
    // A unit's state in one line of kind "state" or "data": its flags, charge,
    // runtime, load and voltages ("OL CHRG charge 100% runtime 3600s load 23%
    // in 230.1V out 230.0V"), the same as values for JSON.
    static HostEvent describe(const UnitStatus& status, const QString& kind);

    static QString toText(const HostEvent& e);
    static QString toJson(const HostEvent& e);

private:
    QStringList m_eventTexts;
};

#endif // EVENTFORMATTER_H
