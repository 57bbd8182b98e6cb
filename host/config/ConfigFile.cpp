#include "ConfigFile.h"

#include <QFile>
#include <QTextCodec>

void ConfigFile::parse(const QByteArray& text)
{
    m_groups.clear();
    m_problems.clear();
    const auto problem = [this](int line, const QString& what) {
        m_problems += QStringLiteral("%1 line %2: %3").arg(m_name).arg(line).arg(what);
    };
    QTextCodec::ConverterState state;
    const QString decoded = QTextCodec::codecForName("UTF-8")->toUnicode(text.constData(), text.size(), &state);
    if (state.invalidChars > 0) {
        problem(1, QStringLiteral("is not UTF-8 text"));
        return;
    }
    // Keys above the first group belong to "General", as QSettings has it
    // (the plugin's Language).
    QString group = QStringLiteral("General");
    bool inGroup = true;
    int number = 0;
    for (QString line : decoded.split(QLatin1Char('\n'))) {
        ++number;
        if (line.endsWith(QLatin1Char('\r')))
            line.chop(1);
        const QString bare = line.trimmed();
        if (bare.isEmpty() || bare.startsWith(QLatin1Char('#')) || bare.startsWith(QLatin1Char(';')))
            continue;
        if (bare.startsWith(QLatin1Char('['))) {
            if (!bare.endsWith(QLatin1Char(']')) || bare.size() < 3) {
                problem(number, QStringLiteral("\"%1\" is not a [group] line").arg(bare));
                inGroup = false;    // its keys would land in the wrong group
                continue;
            }
            group = bare.mid(1, bare.size() - 2).trimmed();
            inGroup = true;
            m_groups[group];    // a group without keys is still there
            continue;
        }
        const int eq = line.indexOf(QLatin1Char('='));
        const QString key = eq > 0 ? line.left(eq).trimmed() : QString();
        if (key.isEmpty()) {
            problem(number, QStringLiteral("\"%1\" is not key=value").arg(bare));
            continue;
        }
        if (!inGroup) {
            problem(number, QStringLiteral("%1 belongs to no valid [group]").arg(key));
            continue;
        }
        QMap<QString, ConfigEntry>& keys = m_groups[group];
        const auto earlier = keys.constFind(key);
        if (earlier != keys.constEnd()) {
            problem(number, QStringLiteral("[%1] %2 is set twice (line %3 too)").arg(group, key).arg(earlier->line));
            continue;
        }
        keys.insert(key, ConfigEntry{line.mid(eq + 1), number});
    }
}

bool ConfigFile::load(const QString& path, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = file.exists() ? QStringLiteral("configuration file %1 cannot be read: %2").arg(path, file.errorString())
                               : QStringLiteral("configuration file %1 does not exist").arg(path);
        return false;
    }
    parse(file.readAll());
    return true;
}
