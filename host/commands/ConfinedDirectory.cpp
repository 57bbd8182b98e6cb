#include "ConfinedDirectory.h"

#include <QDir>
#include <QFileInfo>

QString ConfinedDirectory::stateDir()
{
    const QString state = qEnvironmentVariable("UPSMON_STATE_DIR");
    return state.isEmpty() ? QDir::currentPath() : state;
}

bool ConfinedDirectory::resolve(const QString& name, QString* file, QString* error) const
{
    const QString dir = QFileInfo(m_path).canonicalFilePath();
    if (dir.isEmpty() || !QFileInfo(dir).isDir()) {
        *error = QStringLiteral("the history directory %1 does not exist").arg(m_path);
        return false;
    }
    // Cleaned, "../x", "a/b", "/tmp/x", "" and "." all end up beside or
    // below the directory rather than in it.
    const QFileInfo entry(QDir::cleanPath(dir + QLatin1Char('/') + name));
    // A link is followed to where the write would really go; a dangling one
    // would create its target, wherever that is.
    const QString target = entry.isSymLink() ? entry.canonicalFilePath() : entry.absoluteFilePath();
    if (target.isEmpty() || QFileInfo(target).absolutePath() != dir) {
        *error = QStringLiteral("\"%1\" is not a file of the history directory %2").arg(name, dir);
        return false;
    }
    *file = target;
    return true;
}
