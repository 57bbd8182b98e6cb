#ifndef INIREADER_H
#define INIREADER_H

// Reads the keys of one INI group and notes every value that is not what
// it must be, so a configuration can be checked as a whole.

#include <QSettings>
#include <QStringList>

class IniReader
{
public:
    // `where` names the group in messages ("dev.ini [UPS1]"); `prefix` is
    // the QSettings key prefix ("UPS1/").
    IniReader(const QSettings* settings, const QString& where, const QString& prefix);

    // The key's whole number in min..max; `fallback` when absent or wrong.
    int integer(const char* key, int fallback, int min, int max);
    QString text(const char* key, const char* fallback);
    QString text(const QString& key, const char* fallback) { return text(qPrintable(key), fallback); }
    // yes/no, true/false, 1/0.
    bool yesNo(const char* key, bool fallback);
    void problem(const QString& key, const QString& what);
    const QStringList& problems() const { return m_problems; }

private:
    const QSettings* m_settings;
    QString m_where;
    QString m_prefix;
    QStringList m_problems;
};

#endif // INIREADER_H
