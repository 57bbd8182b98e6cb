#include "EventRing.h"

QJsonObject EventRing::append(const QString& unit, QJsonObject event)
{
    const std::lock_guard<std::mutex> locker(m_lock);
    event.insert(QStringLiteral("seq"), double(++m_seq));
    std::deque<QJsonObject>& ring = m_rings[unit];
    ring.push_back(event);
    while (int(ring.size()) > m_perUnit)
        ring.pop_front();
    return event;
}

QJsonArray EventRing::since(const QString& unit, qint64 after) const
{
    const std::lock_guard<std::mutex> locker(m_lock);
    QJsonArray out;
    const auto it = m_rings.constFind(unit);
    if (it == m_rings.constEnd())
        return out;
    for (const QJsonObject& e : *it)
        if (qint64(e.value(QLatin1String("seq")).toDouble()) > after)
            out.append(e);
    return out;
}

qint64 EventRing::last() const
{
    const std::lock_guard<std::mutex> locker(m_lock);
    return m_seq;
}
