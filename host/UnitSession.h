#ifndef UNITSESSION_H
#define UNITSESSION_H

// One monitored unit: its collector (made by the plugin's create()), its
// panel if the plugin gives one, the last data it reported and its
// communication state. Every record of the collector arrives here on the
// host's thread (auto connection: queued from the collector's thread,
// direct from the panel on the GUI thread).

#include <QList>
#include <QMap>
#include <QObject>
#include <QPair>
#include <QTimer>
#include <QVariant>

#include "HostConfig.h"
#include "HostEvent.h"

class CollectThread;
class CollectView;
class EventFormatter;

class UnitSession : public QObject
{
    Q_OBJECT
public:
    enum CommState { Unknown = -1, Communicating = 0, Lost = 1 };

    UnitSession(const UnitSettings& settings, CollectThread* collector,
                const EventFormatter* formatter, QObject* parent = nullptr);
    ~UnitSession() override;

    // Configures and starts the collector. With `withView` the panel is
    // built (a null panel is accepted as a unit without one).
    void start(bool withView, int answerTimeoutSec, const QList<QPair<int, QString>>& commands);
    // Quits and joins the collector's thread, then deletes the collector
    // (which deletes its panel). Safe to call twice.
    void stop();

    const UnitSettings& settings() const { return m_settings; }
    CollectThread* collector() const { return m_collector; }
    CollectView* view() const { return m_view; }
    int commState() const { return m_commState; }
    bool hasAnswered() const { return m_answered; }
    bool hasData() const { return !m_lastData.isEmpty(); }
    QMap<int, QVariant> lastData() const { return m_lastData; }

    // Queues a command on the collector. control() only appends to the
    // collector's locked command queue, so a direct call from this thread is
    // safe; the command runs on the collector's next cycle.
    void sendCommand(int id, const QString& value);

public slots:
    void onRecord(int type, QMap<QString, QVariant> record);

signals:
    void hostEvent(const HostEvent& event);
    void commStateChanged(const QString& unit, int state);

private:
    void notAnswered();

    UnitSettings m_settings;
    CollectThread* m_collector;
    CollectView* m_view = nullptr;
    const EventFormatter* m_formatter;
    int m_commState = Unknown;
    bool m_answered = false;
    QMap<int, QVariant> m_lastData;
    QList<QPair<int, QString>> m_pendingCommands;
    QTimer m_answerTimer;
};

#endif // UNITSESSION_H
