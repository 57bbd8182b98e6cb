#ifndef POLICY_H
#define POLICY_H

// The host's shutdown and notification decisions, from the units' status
// snapshots and the time. Pure: the caller acts on the decisions.
//
// A unit is critical when
//  - it is on battery with a low battery (OB and LB) and lowBattery=yes;
//  - it has been on battery for onBatteryDelay seconds (when > 0);
//  - it was on battery when it stopped communicating (or went stale) and
//    has stayed silent for commLostOnBatteryGrace seconds.
// The first critical unit starts an episode: the unit is marked FSD and the
// shutdown command runs, once, whatever its outcome. The episode ends when no
// unit is critical and none is on battery any more.

#include <QMap>
#include <QStringList>
#include <QList>

#include "PolicySettings.h"
#include "UnitStatus.h"

class Policy
{
public:
    struct Decision
    {
        QStringList forceOn;    // units to mark FSD
        QStringList forceOff;   // units whose FSD ends with the episode
        bool runShutdown = false;
        QString reason;         // why, for the log and SHUTDOWN
        QString unit;           // the unit that started the episode
    };

    explicit Policy(const PolicySettings& settings) : m_settings(settings) {}
    // New limits for the next evaluation; an episode in progress and the
    // units' times on battery carry on.
    void setSettings(const PolicySettings& settings) { m_settings = settings; }

    Decision evaluate(const QList<UnitStatus>& units, qint64 nowMs);
    // True when notifyCmd may run now (notifyRateLimit a minute).
    bool allowNotify(qint64 nowMs);

    bool inEpisode() const { return m_episode; }

private:
    QString critical(const UnitStatus& unit, qint64 nowMs);

    PolicySettings m_settings;
    QMap<QString, qint64> m_onBatterySince;
    QMap<QString, qint64> m_silentOnBatterySince;
    QStringList m_forced;
    bool m_episode = false;
    QList<qint64> m_notifyTimes;
};

#endif // POLICY_H
