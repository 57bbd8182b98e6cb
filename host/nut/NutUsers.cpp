#include "NutUsers.h"

#include <QFile>
#include <QRegularExpression>

#include "NutLineParser.h"

void NutUsers::parse(const QByteArray& text, QStringList* problems)
{
    m_users.clear();
    NutUser* user = nullptr;
    int number = 0;
    for (const QByteArray& raw : text.split('\n')) {
        ++number;
        const QByteArray line = raw.trimmed();
        if (line.isEmpty() || line.startsWith('#'))
            continue;
        const auto problem = [&](const char* what) {
            *problems += QStringLiteral("line %1: %2").arg(number).arg(QLatin1String(what));
        };
        if (line.startsWith('[')) {
            const QString name = QString::fromUtf8(line.mid(1, line.indexOf(']') - 1)).trimmed();
            if (!line.endsWith(']') || name.isEmpty()) {
                problem("bad section name");
                user = nullptr;
                continue;
            }
            user = &m_users[name];
            *user = NutUser();
            continue;
        }
        // "key = value words" and "upsmon role" share one splitter.
        QByteArray spaced = line;
        const int eq = spaced.indexOf('=');
        if (eq > 0)
            spaced[eq] = ' ';
        QStringList words;
        if (!NutLineParser::split(spaced, &words) || words.size() < 2) {
            problem("not understood");
            continue;
        }
        if (!user) {
            problem("outside a [user] section");
            continue;
        }
        const QString key = words.takeFirst().toLower();
        if (key == QLatin1String("password")) {
            user->password = words.join(QLatin1Char(' '));
        } else if (key == QLatin1String("actions")) {
            for (const QString& a : words.join(QLatin1Char(' ')).split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
                if (a.compare(QLatin1String("SET"), Qt::CaseInsensitive) == 0)
                    user->maySet = true;
                else if (a.compare(QLatin1String("FSD"), Qt::CaseInsensitive) == 0)
                    user->mayFsd = true;
                else
                    problem("unknown action");
            }
        } else if (key == QLatin1String("instcmds")) {
            for (const QString& c : words.join(QLatin1Char(',')).split(QRegularExpression(QStringLiteral("[ ,]")), Qt::SkipEmptyParts)) {
                if (c.compare(QLatin1String("ALL"), Qt::CaseInsensitive) == 0)
                    user->allCommands = true;
                else
                    user->commands.insert(c.toLower());
            }
        } else if (key == QLatin1String("upsmon") && words.size() == 1) {
            const QString role = words.first().toLower();
            if (role == QLatin1String("primary") || role == QLatin1String("master"))
                user->upsmon = NutUser::Upsmon::Primary;
            else if (role == QLatin1String("secondary") || role == QLatin1String("slave"))
                user->upsmon = NutUser::Upsmon::Secondary;
            else
                problem("upsmon needs primary or secondary");
        } else {
            problem("unknown keyword");
        }
    }
}

bool NutUsers::load(const QString& path, QString* error, QStringList* problems)
{
    m_users.clear();
    QFile file(path);
    if (!file.exists())
        return true;
    if (file.permissions() & QFileDevice::ReadOther) {
        *error = QStringLiteral("%1 is readable by anyone; it holds passwords (chmod 640 or 600)").arg(path);
        return false;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("%1: %2").arg(path, file.errorString());
        return false;
    }
    parse(file.readAll(), problems);
    return true;
}

const NutUser* NutUsers::authenticate(const QString& name, const QString& password) const
{
    const auto it = m_users.constFind(name);
    if (it == m_users.constEnd() || it->password.isEmpty() || it->password != password)
        return nullptr;
    return &it.value();
}
