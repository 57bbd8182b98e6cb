#ifndef COMMANDROUTER_H
#define COMMANDROUTER_H

// Every command a user gives (--command, a NUT client's INSTCMD or SET VAR)
// goes through here: unit and name are checked, the command is queued on
// that unit's collector, and its outcome is followed. The outcome is
// "queued", then, where the data shows the effect, "confirmed" or
// "not confirmed" once the unit has had time to carry it out; a history
// download is confirmed by the file it must write, which is always one of
// the history directory. A command refused for its value is "refused".
// Every outcome names who asked ("console", "admin@192.0.2.7", ...).

#include <QDateTime>
#include <QList>
#include <QMap>
#include <QObject>
#include <QTimer>

#include "ConfinedDirectory.h"

struct UpsCommand;
class UnitSession;

class CommandRouter : public QObject
{
    Q_OBJECT
public:
    explicit CommandRouter(QObject* parent = nullptr);

    void addSession(UnitSession* session);
    // The unit leaves (a reload): what waits for it is settled as not confirmed.
    void removeSession(const QString& unit);
    // Ends the following of every queued command ("not confirmed").
    void clear();
    // Where history downloads go.
    void setHistoryDir(const QString& dir) { m_historyDir.setPath(dir); }

    // Queues a command on a unit. False with a reason for an unknown unit or
    // command or a value the command does not take.
    bool send(const QString& unit, const QString& name, const QString& value, const QString& who,
              QString* error);
    // Queues a setting write: control(2016, "<point>,<raw value>").
    bool writeSetting(const QString& unit, int point, int rawValue, const QString& who, QString* error);
    // Queues the command once the unit has answered for the first time.
    bool sendWhenAnswered(const QString& unit, const QString& name, const QString& value,
                          const QString& who, QString* error);

signals:
    // outcome: "queued", "confirmed", "not confirmed", "refused"; detail in words.
    void commandOutcome(const QString& unit, const QString& command, const QString& outcome,
                        const QString& detail, const QString& who);

private:
    struct Pending
    {
        QString unit;
        const UpsCommand* command;
        QString value;
        QString who;
        QDateTime sent;
        qint64 deadlineMs;
    };
    struct Deferred { QString unit; QString name; QString value; QString who; };

    UnitSession* session(const QString& unit, QString* error) const;
    bool check(const QString& unit, const QString& name, const QString& value, const QString& who,
               const UpsCommand** command, QString* sent, QString* error);
    void onData(const QString& unit);
    void onAnswered(const QString& unit);
    void onHistoryWritten(const QString& unit);
    void expire();
    void settle(int index, bool confirmed, const QString& detail);

    QMap<QString, UnitSession*> m_sessions;
    QList<Pending> m_pending;
    QList<Deferred> m_deferred;
    QTimer m_expiry;
    ConfinedDirectory m_historyDir;
};

#endif // COMMANDROUTER_H
