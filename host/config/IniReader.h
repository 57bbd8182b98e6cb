#ifndef INIREADER_H
#define INIREADER_H

// Reads the keys of one group and notes every value that is not what it
// must be, so a configuration can be checked as a whole. Texts are returned
// exactly as written; numbers, yes/no and list items may have spaces around
// them.

#include <QMap>
#include <QSet>
#include <QStringList>

#include "ConfigFile.h"

class QSettings;

class IniReader
{
public:
    // `where` names the group in messages ("param.ini [policy]").
    IniReader(const QMap<QString, ConfigEntry>& keys, const QString& where);
    // A group of a file the plugin reads through QSettings (dev.ini): its
    // keys as the plugin sees them, lists joined with ",".
    static IniReader fromSettings(QSettings* settings, const QString& group, const QString& where);

    bool contains(const char* key) const { return m_keys.contains(QLatin1String(key)); }
    // The key's whole number in min..max; `fallback` when absent or wrong.
    int integer(const char* key, int fallback, int min, int max);
    // A positive number of seconds, fractions allowed.
    double seconds(const char* key, double fallback);
    QString text(const char* key, const char* fallback);
    // Comma-separated items, each without the spaces around it; empty items
    // are a problem.
    QStringList list(const char* key);
    // yes/no, true/false, 1/0.
    bool yesNo(const char* key, bool fallback);
    void problem(const QString& key, const QString& what);
    // Keys of the group that nothing read: a misspelt key is named, not
    // silently ignored.
    void rejectUnread();
    const QStringList& problems() const { return m_problems; }
    // "key=value" for every key read, with the value as it will be used.
    QStringList effective() const;
    // A command-line `option` gave the key's value: shown as used, with where
    // it came from.
    void overridden(const char* key, const QString& value, const char* option);

private:
    // The value as written, or a null string when the key is absent.
    QString raw(const char* key);
    template<typename T> T note(const char* key, T value, const QString& shown);

    QMap<QString, ConfigEntry> m_keys;
    QString m_where;
    QSet<QString> m_read;
    QStringList m_problems;
    QList<QPair<QString, QString>> m_effective;
};

#endif // INIREADER_H
