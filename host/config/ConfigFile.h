#ifndef CONFIGFILE_H
#define CONFIGFILE_H

// The host's settings files, read exactly as written. The syntax:
//
//   [group]              a group; the keys below it belong to it
//   key=value            the value is the rest of the line after the first
//                        "=", byte for byte: ";", "#", ",", "=", quotes,
//                        tabs and spaces inside and around it are kept
//   # comment            comments are whole lines starting with "#" or ";"
//                        (blanks before them allowed); never part of a value
//
// Keys above the first group belong to the group "General", as in QSettings.
// Spaces around the key are ignored. A key set twice in one group, a line
// that is neither of the above, and text that is not UTF-8 are problems,
// each named by file and line. Lists have one form, read by IniReader::list:
// comma-separated items with the spaces around each item dropped.
//
// Pure: parse() takes the text; load() is the one place that reads a file.

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

struct ConfigEntry
{
    QString value;
    int line = 0;
};

class ConfigFile
{
public:
    // `name` names the file in problems ("param.ini").
    explicit ConfigFile(const QString& name = QString()) : m_name(name) {}

    void parse(const QByteArray& text);
    // False when the file cannot be read; `error` says why.
    bool load(const QString& path, QString* error);

    // The group's keys and values; empty for a group that is not there.
    QMap<QString, ConfigEntry> group(const QString& group) const { return m_groups.value(group); }
    QStringList problems() const { return m_problems; }

private:
    QString m_name;
    QMap<QString, QMap<QString, ConfigEntry>> m_groups;
    QStringList m_problems;
};

#endif // CONFIGFILE_H
