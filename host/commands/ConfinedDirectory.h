#ifndef CONFINEDDIRECTORY_H
#define CONFINEDDIRECTORY_H

// The one directory that files named by a user (a NUT client's or the
// console's history download) are written to. A user names a file, never a
// path: a name that would land anywhere else, directly or through a symbolic
// link, is refused, so a command cannot overwrite what the service may write.

#include <QString>

class ConfinedDirectory
{
public:
    // The service's state directory: $UPSMON_STATE_DIR when set (the
    // systemd unit and the wrapper set it), otherwise the working directory.
    static QString stateDir();

    void setPath(const QString& path) { m_path = path; }
    QString path() const { return m_path; }

    // The file to write for the user's `name`: a plain file name in the
    // directory, or a link there to a file in the directory. False with a
    // reason otherwise (a path, "..", an empty name, a link leading out, a
    // directory that does not exist).
    bool resolve(const QString& name, QString* file, QString* error) const;

private:
    QString m_path;
};

#endif // CONFINEDDIRECTORY_H
