#include "IniReader.h"

IniReader::IniReader(const QSettings* settings, const QString& where, const QString& prefix)
    : m_settings(settings), m_where(where), m_prefix(prefix)
{
}

void IniReader::problem(const QString& key, const QString& what)
{
    m_problems += QStringLiteral("%1 %2 %3").arg(m_where, key, what);
}

QString IniReader::text(const char* key, const char* fallback)
{
    const QVariant v = m_settings->value(m_prefix + QLatin1String(key));
    // A value with commas reads as a list; it is one text here.
    if (v.type() == QVariant::StringList)
        return v.toStringList().join(QLatin1Char(',')).trimmed();
    return v.isValid() ? v.toString().trimmed() : QString::fromLatin1(fallback);
}

int IniReader::integer(const char* key, int fallback, int min, int max)
{
    if (!m_settings->contains(m_prefix + QLatin1String(key)))
        return fallback;
    const QString t = text(key, "");
    bool ok = false;
    const int v = t.toInt(&ok);
    if (ok && v >= min && v <= max)
        return v;
    problem(QLatin1String(key), QStringLiteral("must be a whole number %1-%2, not \"%3\"")
                                    .arg(min).arg(max).arg(t));
    return fallback;
}

bool IniReader::yesNo(const char* key, bool fallback)
{
    if (!m_settings->contains(m_prefix + QLatin1String(key)))
        return fallback;
    const QString t = text(key, "").toLower();
    if (t == QLatin1String("yes") || t == QLatin1String("true") || t == QLatin1String("1"))
        return true;
    if (t == QLatin1String("no") || t == QLatin1String("false") || t == QLatin1String("0"))
        return false;
    problem(QLatin1String(key), QStringLiteral("must be yes or no, not \"%1\"").arg(t));
    return fallback;
}
