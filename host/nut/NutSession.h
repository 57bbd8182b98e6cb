#ifndef NUTSESSION_H
#define NUTSESSION_H

// One NUT client's conversation, with no I/O: a request line in, the reply
// lines out. It reads the units through the UnitDirectory, changes them only
// for an authenticated user whose upsd.users entry allows it, and shares
// logins and the forced-shutdown flags with the other sessions through
// NutServerState.

#include <QByteArray>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>

#include "NutLoginGuard.h"

class NutUsers;
class UnitDirectory;
struct NutSetting;
struct NutUser;
struct UnitStatus;

// What the sessions of one server share.
struct NutServerState
{
    QMap<QString, QStringList> logins;     // unit -> addresses of the clients logged in to it
    QSet<QString> forcedShutdown;          // units whose FSD flag is set (a latch)
    double maxAge = 15;                    // seconds of data age after which data is stale
    NutLoginGuard loginGuard;              // failed logins per client address
};

class NutSession
{
public:
    NutSession(UnitDirectory* directory, const NutUsers* users, NutServerState* state,
               const QString& peer);
    ~NutSession();
    NutSession(const NutSession&) = delete;
    NutSession& operator=(const NutSession&) = delete;

    // The reply to one request line, each reply line ending in "\n"; empty
    // for an empty line.
    QByteArray handle(const QByteArray& line);
    // True after LOGOUT: the reply is the last thing to send.
    bool finished() const { return m_finished; }

    static QByteArray version();

private:
    QByteArray get(const QStringList& w);
    QByteArray list(const QStringList& w);
    QByteArray set(const QStringList& w);
    QByteArray instcmd(const QStringList& w);
    QByteArray login(const QStringList& w);
    QByteArray primary(const QStringList& w, const QByteArray& granted);
    QByteArray fsd(const QStringList& w);
    QByteArray credential(const QStringList& w, QString* field, const char* already, const char* invalid);

    // Null with `error` set when the credentials are missing or wrong, or
    // the client's address is refused for failing too often.
    const NutUser* user(QByteArray* error) const;
    // The user and address, for the event log: "admin@192.0.2.7".
    QString who() const { return m_username + QLatin1Char('@') + m_peer; }
    // Empty when the unit's data may be read, else the error line.
    QByteArray readable(const UnitStatus& status) const;
    bool knownUnit(const QString& unit) const;
    const NutUser* loggedInFor(const QString& unit, QByteArray* error) const;
    // The unit's variables as NUT shows them: settings converted, FSD added.
    QMap<QString, QString> variables(const UnitStatus& status) const;

    UnitDirectory* m_directory;
    const NutUsers* m_users;
    NutServerState* m_state;
    QString m_peer;
    QString m_username;
    QString m_password;
    QString m_loginUnit;
    bool m_finished = false;
};

#endif // NUTSESSION_H
