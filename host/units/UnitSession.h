#ifndef UNITSESSION_H
#define UNITSESSION_H

// One monitored unit: its collector (made by the plugin's create()), the
// thread that drives it, its panel if the plugin gives one, the last data it
// reported and its status model. The collector's records are put in an inbox
// on the thread that emits them and taken out on the host's thread by
// drain(), which the bell calls when the first record of a batch has rung
// it: the hand-over goes through a lock of our own, which ThreadSanitizer
// sees, instead of Qt's event queue, which it cannot.

#include <QDeadlineTimer>
#include <QList>
#include <QMap>
#include <QObject>
#include <QTimer>
#include <QVariant>

#include <mutex>

#include "HostConfig.h"
#include "HostEvent.h"
#include "StatusModel.h"

class CollectThread;
class CollectView;
class EventFormatter;
class InboxBell;
class UnitPoller;

class UnitSession : public QObject
{
    Q_OBJECT
public:
    enum CommState { Unknown = -1, Communicating = 0, Lost = 1 };

    UnitSession(const UnitSettings& settings, CollectThread* collector,
                const EventFormatter* formatter, const StatusModel::Limits& limits,
                InboxBell* bell, QObject* parent = nullptr);
    ~UnitSession() override;

    // Configures the collector and starts polling it. With `withView` the
    // panel is built (a null panel is accepted as a unit without one).
    void start(bool withView, int answerTimeoutSec);
    // Asks the polling thread to leave; stop() then joins it.
    void requestStop();
    // Joins the polling thread until `deadline` and deletes the collector.
    // A thread still inside a cycle then (blocked in a connect) is abandoned
    // with the collector: false.
    bool stop(QDeadlineTimer deadline = QDeadlineTimer(kJoinTimeoutMs));

    const UnitSettings& settings() const { return m_settings; }
    CollectThread* collector() const { return m_collector; }
    CollectView* view() const { return m_view; }
    int commState() const { return m_commState; }
    bool hasAnswered() const { return m_answered; }
    bool hasData() const { return m_model.hasData(); }
    QMap<int, QVariant> lastData() const { return m_model.data(); }
    const UnitStatus& status() const { return m_model.status(); }

    // Queues a command on the collector: through the polling thread in
    // pollMode=interval (it wakes the thread and runs at once), directly in timer mode
    // (control() only appends to the collector's locked queue).
    void sendCommand(int id, const QString& value);
    // Marks the data STALE once it is older than maxAge; publishes only
    // then. The snapshot's age otherwise grows in the readers' hands.
    void tick(qint64 nowMs);
    // When tick() has something to do next (ms since the epoch); none: max.
    qint64 staleAtMs() const { return m_model.staleAtMs(); }
    void setLimits(const StatusModel::Limits& limits) { m_model.setLimits(limits); }
    void setExtraValues(const StatusModel::ExtraValues& extra) { m_model.setExtraValues(extra); }
    // Whether every report also becomes a "data" line (--show-data); the
    // first report and those after a derived event are "state" lines anyway.
    void setDataLines(bool on) { m_dataLines = on; }
    // The host's shutdown policy fired (true) or its episode ended (false).
    void setForcedShutdown(bool on);

    // Stopping must end within 3 s: this for joining, the rest for leaving.
    static const int kJoinTimeoutMs = 2000;

    // Host's thread: handles the records that arrived since the last call.
    void drain();

public slots:
    void onRecord(int type, QMap<QString, QVariant> record);

signals:
    void hostEvent(const HostEvent& event);
    void commStateChanged(const QString& unit, int state);
    void answered(const QString& unit);
    void dataReported(const QString& unit);
    void statusChanged(const UnitStatus& status);
    void derivedEvent(const DerivedEvent& event);

private:
    void notAnswered();
    void publish(const QList<DerivedEvent>& events);

    UnitSettings m_settings;
    CollectThread* m_collector;
    UnitPoller* m_poller = nullptr;
    CollectView* m_view = nullptr;
    const EventFormatter* m_formatter;
    InboxBell* m_bell;
    StatusModel m_model;
    int m_commState = Unknown;
    bool m_answered = false;
    bool m_stateDue = true;     // the next data report is shown as the unit's state
    bool m_dataLines = false;
    QTimer m_answerTimer;
    std::mutex m_inboxLock;
    QList<QPair<int, QMap<QString, QVariant>>> m_inbox;
};

#endif // UNITSESSION_H
