#ifndef EVENTRING_H
#define EVENTRING_H

// The recent event lines of each unit, for the web console: a bounded ring
// per unit, numbered by one sequence across all units so that a client asks
// for "everything after N" and the live stream's ids match. Thread-safe: the
// host appends on its main thread, the HTTP threads read.

#include <QHash>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <deque>
#include <mutex>

class EventRing
{
public:
    explicit EventRing(int perUnit = 500) : m_perUnit(perUnit) {}

    // Stores the event with "seq" added; returns it as stored.
    QJsonObject append(const QString& unit, QJsonObject event);
    // The unit's events with seq > `after`, oldest first.
    QJsonArray since(const QString& unit, qint64 after) const;
    qint64 last() const;

private:
    const int m_perUnit;
    mutable std::mutex m_lock;
    qint64 m_seq = 0;
    QHash<QString, std::deque<QJsonObject>> m_rings;
};

#endif // EVENTRING_H
