#include "Policy.h"

namespace {

bool silent(const UnitStatus& u)
{
    return u.comm == UnitStatus::Comm::Lost || u.stale;
}

} // namespace

QString Policy::critical(const UnitStatus& u, qint64 nowMs)
{
    const bool onBattery = u.hasFlag(QStringLiteral("OB"));
    if (onBattery && !silent(u))
        m_onBatterySince.insert(u.unit, m_onBatterySince.value(u.unit, nowMs));
    else if (!onBattery)
        m_onBatterySince.remove(u.unit);
    if (onBattery && silent(u))
        m_silentOnBatterySince.insert(u.unit, m_silentOnBatterySince.value(u.unit, nowMs));
    else
        m_silentOnBatterySince.remove(u.unit);

    if (m_settings.lowBattery && onBattery && u.hasFlag(QStringLiteral("LB")) && !silent(u))
        return QStringLiteral("%1 is on battery with a low battery").arg(u.unit);
    if (m_settings.onBatteryDelay > 0 && m_onBatterySince.contains(u.unit)
        && nowMs - m_onBatterySince.value(u.unit) >= m_settings.onBatteryDelay * 1000LL)
        return QStringLiteral("%1 has been on battery for %2 s").arg(u.unit).arg(m_settings.onBatteryDelay);
    if (m_silentOnBatterySince.contains(u.unit)
        && nowMs - m_silentOnBatterySince.value(u.unit) >= m_settings.commLostOnBatteryGrace * 1000LL)
        return QStringLiteral("%1 went silent on battery %2 s ago")
            .arg(u.unit).arg((nowMs - m_silentOnBatterySince.value(u.unit)) / 1000);
    return QString();
}

Policy::Decision Policy::evaluate(const QList<UnitStatus>& units, qint64 nowMs)
{
    Decision d;
    bool anyOnBattery = false;
    for (const UnitStatus& u : units) {
        anyOnBattery = anyOnBattery || u.hasFlag(QStringLiteral("OB"));
        const QString why = critical(u, nowMs);
        if (why.isEmpty())
            continue;
        if (!m_forced.contains(u.unit)) {
            m_forced += u.unit;
            d.forceOn += u.unit;
        }
        if (!m_episode) {
            m_episode = true;
            d.runShutdown = true;
            d.reason = why;
            d.unit = u.unit;
        }
    }
    if (m_episode && d.forceOn.isEmpty() && !anyOnBattery) {
        bool anyCritical = false;
        for (const UnitStatus& u : units)
            anyCritical = anyCritical || m_silentOnBatterySince.contains(u.unit);
        if (!anyCritical) {
            m_episode = false;
            d.forceOff = m_forced;
            m_forced.clear();
        }
    }
    return d;
}

bool Policy::allowNotify(qint64 nowMs)
{
    if (m_settings.notifyRateLimit <= 0)
        return true;
    while (!m_notifyTimes.isEmpty() && nowMs - m_notifyTimes.first() >= 60000)
        m_notifyTimes.removeFirst();
    if (m_notifyTimes.size() >= m_settings.notifyRateLimit)
        return false;
    m_notifyTimes += nowMs;
    return true;
}
