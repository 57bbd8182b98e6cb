#ifndef HOSTDIRECTORY_H
#define HOSTDIRECTORY_H

// The host's UnitDirectory: a board of the units' latest snapshots, written
// on the main thread as the status models change and read from any thread
// under a lock. A snapshot is published only when it changes; its data age
// is brought up to the moment of reading. Commands go to the command router (main thread only).

#include <QMap>
#include <QObject>

#include <functional>
#include <mutex>

#include "DerivedEvent.h"
#include "UnitDirectory.h"

class CommandRouter;

class HostDirectory : public QObject, public UnitDirectory
{
    Q_OBJECT
public:
    explicit HostDirectory(CommandRouter* router, QObject* parent = nullptr);

    // Main thread: the units and their descriptions ("tcp 127.0.0.1:502 addr 1").
    void setUnits(const QList<QPair<QString, QString>>& units);
    void publish(const UnitStatus& status);
    void announce(const DerivedEvent& event) { emit derivedEvent(event); }
    // Main thread: what makes a unit's page panels when one is asked for.
    void setPanelMaker(std::function<QJsonObject(const QString&)> maker) { m_panelMaker = std::move(maker); }

    QStringList units() const override;
    QString description(const QString& unit) const override;
    UnitStatus status(const QString& unit) const override;
    QJsonObject panels(const QString& unit) const override;
    bool sendCommand(const QString& unit, const QString& name, const QString& value, const QString& who,
                     QString* error) override;
    bool writeSetting(const QString& unit, int point, int rawValue, const QString& who,
                      QString* error) override;

signals:
    // A unit's snapshot changed (each data report, comm change, STALE, FSD).
    void statusChanged(const QString& unit);
    // ONBATT, LOWBATT, COMMBAD, ... as the status models derive them.
    void derivedEvent(const DerivedEvent& event);

private:
    CommandRouter* m_router;
    std::function<QJsonObject(const QString&)> m_panelMaker;
    // A standard mutex, not QMutex: the metrics exporter reads from a
    // thread of its HTTP server, and ThreadSanitizer sees pthread locks only.
    mutable std::mutex m_lock;
    QStringList m_units;
    QMap<QString, QString> m_descriptions;
    struct Entry
    {
        UnitStatus status;
        qint64 publishedMs = 0;     // steady clock; the data age grows from here
    };
    QMap<QString, Entry> m_board;
};

#endif // HOSTDIRECTORY_H
