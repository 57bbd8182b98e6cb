#ifndef NUTUSERS_H
#define NUTUSERS_H

// The NUT server's users, in the format of NUT's upsd.users:
//
//   [monuser]                 a section per user
//       password = secret
//       actions = SET FSD     what the user may do besides reading
//       instcmds = ALL        or command names; repeatable
//       upsmon primary        or secondary (older: master, slave)
//
// Keywords are case-insensitive; '#' starts a comment. Without a file there
// are no users, so nothing can be changed.

#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>

struct NutUser
{
    enum class Upsmon { None, Primary, Secondary };

    QString password;
    bool maySet = false;
    bool mayFsd = false;
    bool allCommands = false;
    QSet<QString> commands;     // lower case
    Upsmon upsmon = Upsmon::None;

    bool mayRun(const QString& command) const
    {
        return allCommands || commands.contains(command.toLower());
    }
};

class NutUsers
{
public:
    // Parses the file's text; `problems` gets one line per line ignored.
    void parse(const QByteArray& text, QStringList* problems);
    // Reads the file. A missing file means no users; a file that anyone may
    // read is refused (it holds passwords). False with a reason.
    bool load(const QString& path, QString* error, QStringList* problems);

    // The user when the name is known and the password matches; null otherwise.
    const NutUser* authenticate(const QString& name, const QString& password) const;
    int count() const { return int(m_users.size()); }

private:
    QMap<QString, NutUser> m_users;
};

#endif // NUTUSERS_H
