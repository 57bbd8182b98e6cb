#ifndef STATUSMODEL_H
#define STATUSMODEL_H

// One unit's status, derived from what its collector reports: the data map
// (measurements, states and alarm points 2000-2511), the communication state
// and the time. No I/O and no clock of its own: the caller passes the time
// in milliseconds, so tables can drive it.

#include <QList>
#include <QMap>
#include <QStringList>
#include <QVariant>
#include <QVector>

#include "DerivedEvent.h"
#include "PointArray.h"
#include "UnitStatus.h"

class StatusModel
{
public:
    struct Limits
    {
        double chargeLow = -1;      // %: LB below this on battery; < 0 off
        double runtimeLow = -1;     // s: LB below this on battery; < 0 off
        int maxAgeSeconds = 15;     // STALE after this long without a data report
    };

    // `alarmTexts`: the event catalogue (appearances first, then as many
    // disappearances); only the first half names alarms.
    StatusModel(const QString& unit, const QStringList& alarmTexts, const Limits& limits,
                qint64 nowMs);

    // Values an outlet adds from the data map to the named ones (the NUT
    // server's writable settings), read as each report is.
    struct ExtraValues
    {
        const QVector<QString>* names = nullptr;    // fixed for the host's life
        // The value of names[index]; invalid when the report has none.
        QVariant (*value)(int index, const PointArray& data) = nullptr;
    };
    void setExtraValues(const ExtraValues& extra);

    QList<DerivedEvent> updateData(const QMap<int, QVariant>& data, qint64 nowMs);
    QList<DerivedEvent> updateComm(UnitStatus::Comm comm, qint64 nowMs);
    // Ages the data; STALE once it is older than maxAge.
    QList<DerivedEvent> tick(qint64 nowMs);
    // Only the data age, as of `nowMs`.
    void age(qint64 nowMs);
    // When tick() would raise STALE (ms); none once stale: max.
    qint64 staleAtMs() const;
    // The host's shutdown policy has fired for this unit (FSD flag and
    // event), or its episode has ended.
    QList<DerivedEvent> setForcedShutdown(bool on);
    // New limits (a reload); they take effect with the next data report.
    void setLimits(const Limits& limits) { m_limits = limits; }
    // The host runs its shutdown command because of `unit`.
    static DerivedEvent shutdownEvent(const QString& unit);

    const UnitStatus& status() const { return m_status; }
    // The data of the last report (made from a copy of its values, not the reporter's map).
    QMap<int, QVariant> data() const { return m_data.toMap(); }
    bool hasData() const { return !m_data.isEmpty(); }

    // The values the host adds to every unit's, in words, for the documentation.
    static QList<QPair<QString, QString>> hostValueRules();
    // The flag rules in words, in flag order, for the documentation.
    static QList<QPair<QString, QString>> flagRules();
    // The derived events and when they are raised, for the documentation.
    static QList<QPair<QString, QString>> eventRules();

private:
    QList<DerivedEvent> changedFlags(const QStringList& before, bool first);
    DerivedEvent event(const QString& name) const;

    UnitStatus m_status;
    QStringList m_alarmTexts;
    Limits m_limits;
    qint64 m_lastDataMs;
    bool m_hasData = false;
    bool m_forced = false;
    ExtraValues m_extraValues;
    // Every value's name with where its value comes from, in the values
    // map's order.
    struct NamedValue
    {
        QString name;
        enum Source { Host, Point, Extra } source;
        int index;
    };
    QVector<NamedValue> m_order;
    QVariant valueOf(const NamedValue& named) const;
    PointArray m_data;
    QMap<QString, QVariant> m_olderValues;
};

#endif // STATUSMODEL_H
