#include "IniReader.h"

#include <QSettings>

IniReader::IniReader(const QMap<QString, ConfigEntry>& keys, const QString& where)
    : m_keys(keys), m_where(where)
{
}

IniReader IniReader::fromSettings(QSettings* settings, const QString& group, const QString& where)
{
    QMap<QString, ConfigEntry> keys;
    settings->beginGroup(group);
    for (const QString& key : settings->childKeys()) {
        const QVariant v = settings->value(key);
        keys.insert(key, ConfigEntry{v.type() == QVariant::StringList ? v.toStringList().join(QLatin1Char(','))
                                                                     : v.toString(), 0});
    }
    settings->endGroup();
    return IniReader(keys, where);
}

void IniReader::problem(const QString& key, const QString& what)
{
    m_problems += QStringLiteral("%1 %2 %3").arg(m_where, key, what);
}

QString IniReader::raw(const char* key)
{
    m_read.insert(QLatin1String(key));
    const auto it = m_keys.constFind(QLatin1String(key));
    return it == m_keys.constEnd() ? QString() : it->value;
}

template<typename T>
T IniReader::note(const char* key, T value, const QString& shown)
{
    const QString name = QLatin1String(key);
    for (auto& e : m_effective) {
        if (e.first == name) {
            e.second = shown;
            return value;
        }
    }
    m_effective += qMakePair(name, shown);
    return value;
}

void IniReader::overridden(const char* key, const QString& value, const char* option)
{
    note(key, value, QStringLiteral("%1 (%2)").arg(value, QLatin1String(option)));
}

QStringList IniReader::effective() const
{
    QStringList lines;
    for (const auto& e : m_effective)
        lines += e.first + QLatin1Char('=') + e.second;
    return lines;
}

QString IniReader::text(const char* key, const char* fallback)
{
    const QString v = raw(key);
    const QString value = v.isNull() ? QString::fromUtf8(fallback) : v;
    return note(key, value, value);
}

QStringList IniReader::list(const char* key)
{
    const QString whole = raw(key);
    QStringList items;
    if (!whole.trimmed().isEmpty()) {
        for (const QString& item : whole.split(QLatin1Char(','))) {
            if (item.trimmed().isEmpty()) {
                problem(QLatin1String(key), QStringLiteral("has an empty item in \"%1\"").arg(whole));
                items.clear();
                break;
            }
            items += item.trimmed();
        }
    }
    return note(key, items, items.join(QLatin1Char(',')));
}

int IniReader::integer(const char* key, int fallback, int min, int max)
{
    const bool given = contains(key);
    const QString t = raw(key).trimmed();
    int value = fallback;
    if (given) {
        bool ok = false;
        const int v = t.toInt(&ok);
        if (ok && v >= min && v <= max)
            value = v;
        else
            problem(QLatin1String(key), QStringLiteral("must be a whole number %1-%2, not \"%3\"")
                                            .arg(min).arg(max).arg(t));
    }
    return note(key, value, QString::number(value));
}

double IniReader::seconds(const char* key, double fallback)
{
    const bool given = contains(key);
    const QString t = raw(key).trimmed();
    double value = fallback;
    if (given) {
        bool ok = false;
        const double v = t.toDouble(&ok);
        if (ok && v > 0 && v <= 86400)
            value = v;
        else
            problem(QLatin1String(key), QStringLiteral("must be a number of seconds above 0, not \"%1\"").arg(t));
    }
    return note(key, value, QString::number(value));
}

bool IniReader::yesNo(const char* key, bool fallback)
{
    const bool given = contains(key);
    const QString t = raw(key).trimmed().toLower();
    bool value = fallback;
    if (t == QLatin1String("yes") || t == QLatin1String("true") || t == QLatin1String("1"))
        value = true;
    else if (t == QLatin1String("no") || t == QLatin1String("false") || t == QLatin1String("0"))
        value = false;
    else if (given)
        problem(QLatin1String(key), QStringLiteral("must be yes or no, not \"%1\"").arg(t));
    return note(key, value, value ? QStringLiteral("yes") : QStringLiteral("no"));
}

void IniReader::rejectUnread()
{
    for (auto it = m_keys.constBegin(); it != m_keys.constEnd(); ++it)
        if (!m_read.contains(it.key()))
            problem(it.key(), QStringLiteral("is not a known setting (line %1)").arg(it->line));
}
