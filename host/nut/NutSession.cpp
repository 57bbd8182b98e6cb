#include "NutSession.h"

#include <chrono>

#include "CommandTable.h"
#include "NutLineParser.h"
#include "NutSettings.h"
#include "NutUsers.h"
#include "UnitDirectory.h"

namespace {

const char* const kNetworkVersion = "1.3";
const char* const kHelp = "Commands: HELP VER NETVER PROTVER GET LIST SET INSTCMD LOGIN LOGOUT "
                          "USERNAME PASSWORD PRIMARY MASTER FSD STARTTLS";

QByteArray line(const QByteArray& text)
{
    return text + '\n';
}

QByteArray err(const char* message)
{
    return line(QByteArray("ERR ") + message);
}

QByteArray word(const QString& text)
{
    return text.toUtf8();
}

// Numbers in plain decimal notation, as few digits as they need.
QString numberText(double value)
{
    QString text = QString::number(value, 'f', 2);
    while (text.endsWith(QLatin1Char('0')))
        text.chop(1);
    if (text.endsWith(QLatin1Char('.')))
        text.chop(1);
    return text == QLatin1String("-0") ? QStringLiteral("0") : text;
}

bool is(const QString& w, const char* keyword)
{
    return w.compare(QLatin1String(keyword), Qt::CaseInsensitive) == 0;
}

qint64 monotonicMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace

NutSession::NutSession(UnitDirectory* directory, const NutUsers* users, NutServerState* state,
                       const QString& peer)
    : m_directory(directory), m_users(users), m_state(state), m_peer(peer)
{
}

NutSession::~NutSession()
{
    if (!m_loginUnit.isEmpty()) {
        QStringList& clients = m_state->logins[m_loginUnit];
        clients.removeOne(m_peer);
        if (clients.isEmpty())
            m_state->logins.remove(m_loginUnit);
    }
}

QByteArray NutSession::version()
{
    return QByteArrayLiteral("upsmon-host NUT server (protocol ") + kNetworkVersion + ')';
}

QByteArray NutSession::handle(const QByteArray& text)
{
    QStringList w;
    if (!NutLineParser::split(text, &w))
        return err("INVALID-ARGUMENT");
    if (w.isEmpty())
        return QByteArray();
    const QString command = w.takeFirst();
    if (is(command, "VER"))
        return line(version());
    if (is(command, "NETVER") || is(command, "PROTVER"))
        return line(kNetworkVersion);
    if (is(command, "HELP"))
        return line(kHelp);
    if (is(command, "STARTTLS"))
        return err("FEATURE-NOT-CONFIGURED");
    if (is(command, "GET"))
        return get(w);
    if (is(command, "LIST"))
        return list(w);
    if (is(command, "SET"))
        return set(w);
    if (is(command, "INSTCMD"))
        return instcmd(w);
    if (is(command, "USERNAME"))
        return credential(w, &m_username, "ALREADY-SET-USERNAME", "INVALID-USERNAME");
    if (is(command, "PASSWORD")) {
        if (m_state->loginGuard.blocked(m_peer, monotonicMs()))
            return err("ACCESS-DENIED");
        return credential(w, &m_password, "ALREADY-SET-PASSWORD", "INVALID-PASSWORD");
    }
    if (is(command, "LOGIN"))
        return login(w);
    if (is(command, "PRIMARY"))
        return primary(w, "OK PRIMARY-GRANTED");
    if (is(command, "MASTER"))
        return primary(w, "OK MASTER-GRANTED");
    if (is(command, "FSD"))
        return fsd(w);
    if (is(command, "LOGOUT")) {
        m_finished = true;
        return line("OK Goodbye");
    }
    return err("UNKNOWN-COMMAND");
}

QByteArray NutSession::credential(const QStringList& w, QString* field, const char* already,
                                  const char* invalid)
{
    if (!field->isEmpty())
        return err(already);
    if (w.size() != 1 || w.first().isEmpty())
        return err(invalid);
    *field = w.first();
    return line("OK");
}

const NutUser* NutSession::user(QByteArray* error) const
{
    const qint64 now = monotonicMs();
    if (m_state->loginGuard.blocked(m_peer, now)) {
        *error = err("ACCESS-DENIED");
        return nullptr;
    }
    if (m_username.isEmpty()) {
        *error = err("USERNAME-REQUIRED");
        return nullptr;
    }
    if (m_password.isEmpty()) {
        *error = err("PASSWORD-REQUIRED");
        return nullptr;
    }
    const NutUser* u = m_users->authenticate(m_username, m_password);
    if (!u) {
        m_state->loginGuard.failed(m_peer, m_username, now);
        *error = err("ACCESS-DENIED");
    }
    return u;
}

bool NutSession::knownUnit(const QString& unit) const
{
    return m_directory->units().contains(unit);
}

QByteArray NutSession::readable(const UnitStatus& status) const
{
    if (status.dataAgeSeconds < 0)
        return err("DRIVER-NOT-CONNECTED");
    if (status.comm != UnitStatus::Comm::Ok || status.stale || status.dataAgeSeconds > m_state->maxAge)
        return err("DATA-STALE");
    return QByteArray();
}

QMap<QString, QString> NutSession::variables(const UnitStatus& status) const
{
    QMap<QString, QString> vars;
    for (auto it = status.values.constBegin(); it != status.values.constEnd(); ++it) {
        const NutSetting* setting = NutSettings::find(it.key());
        if (setting)
            vars.insert(it.key(), setting->format(it.value()));
        else if (it->type() == QVariant::Double || it->type() == QVariant::Int)
            vars.insert(it.key(), numberText(it->toDouble()));
        else
            vars.insert(it.key(), it->toString());
    }
    QStringList flags = status.flags;
    // The forced-shutdown latch leads, as secondaries read it like "OB LB".
    if (m_state->forcedShutdown.contains(status.unit) && !flags.contains(QLatin1String("FSD")))
        flags.prepend(QStringLiteral("FSD"));
    vars.insert(QStringLiteral("ups.status"), flags.join(QLatin1Char(' ')));
    if (!status.alarms.isEmpty()) {
        QStringList texts;
        for (const ActiveAlarm& a : status.alarms)
            texts += a.text.trimmed().isEmpty() ? QStringLiteral("alarm %1").arg(a.index) : a.text.trimmed();
        vars.insert(QStringLiteral("ups.alarm"), texts.join(QStringLiteral("; ")));
    }
    return vars;
}

QByteArray NutSession::get(const QStringList& w)
{
    if (w.size() < 2)
        return err("INVALID-ARGUMENT");
    const QString sub = w.at(0).toUpper();
    const QString& unit = w.at(1);
    const bool twoWords = sub == QLatin1String("NUMLOGINS") || sub == QLatin1String("UPSDESC");
    if (!twoWords && sub != QLatin1String("VAR") && sub != QLatin1String("TYPE")
        && sub != QLatin1String("DESC") && sub != QLatin1String("CMDDESC"))
        return err("INVALID-ARGUMENT");
    if (w.size() != (twoWords ? 2 : 3))
        return err("INVALID-ARGUMENT");
    if (!knownUnit(unit))
        return err("UNKNOWN-UPS");
    const QByteArray prefix = word(sub) + ' ' + word(unit);
    if (sub == QLatin1String("NUMLOGINS"))
        return line(prefix + ' ' + QByteArray::number(m_state->logins.value(unit).size()));
    if (sub == QLatin1String("UPSDESC"))
        return line(prefix + ' ' + NutLineParser::quote(m_directory->description(unit)));
    const QString& name = w.at(2);
    if (sub == QLatin1String("CMDDESC")) {
        const UpsCommand* c = findCommand(name);
        if (!c || c->nutName != name)
            return err("CMD-NOT-SUPPORTED");
        return line(prefix + ' ' + word(name) + ' ' + NutLineParser::quote(QLatin1String(c->description)));
    }
    const UnitStatus status = m_directory->status(unit);
    const QByteArray notReadable = readable(status);
    if (sub == QLatin1String("VAR") && !notReadable.isEmpty())
        return notReadable;
    const QMap<QString, QString> vars = variables(status);
    const NutSetting* setting = NutSettings::find(name);
    if (!vars.contains(name) && !setting)
        return err("VAR-NOT-SUPPORTED");
    if (sub == QLatin1String("VAR")) {
        if (!vars.contains(name))
            return err("VAR-NOT-SUPPORTED");
        return line(prefix + ' ' + word(name) + ' ' + NutLineParser::quote(vars.value(name)));
    }
    if (sub == QLatin1String("DESC"))
        return line(prefix + ' ' + word(name) + ' '
                    + NutLineParser::quote(setting ? setting->description : QStringLiteral("Unavailable")));
    // TYPE
    QByteArray type;
    if (setting)
        type = setting->isEnum() ? "RW ENUM" : setting->hasRange() ? "RW RANGE" : "RW NUMBER";
    else if (status.values.value(name).type() == QVariant::String)
        type = "STRING:" + QByteArray::number(qMax(1, vars.value(name).toUtf8().size()));
    else if (name == QLatin1String("ups.status") || name == QLatin1String("ups.alarm"))
        type = "STRING:512";
    else
        type = "NUMBER";
    return line(prefix + ' ' + word(name) + ' ' + type);
}

QByteArray NutSession::list(const QStringList& w)
{
    if (w.isEmpty())
        return err("INVALID-ARGUMENT");
    const QString sub = w.at(0).toUpper();
    if (sub == QLatin1String("UPS")) {
        if (w.size() != 1)
            return err("INVALID-ARGUMENT");
        QByteArray out = line("BEGIN LIST UPS");
        for (const QString& unit : m_directory->units())
            out += line("UPS " + word(unit) + ' ' + NutLineParser::quote(m_directory->description(unit)));
        return out + line("END LIST UPS");
    }
    const bool perVariable = sub == QLatin1String("ENUM") || sub == QLatin1String("RANGE");
    if (!perVariable && sub != QLatin1String("VAR") && sub != QLatin1String("RW")
        && sub != QLatin1String("CMD") && sub != QLatin1String("CLIENT"))
        return err("INVALID-ARGUMENT");
    if (w.size() != (perVariable ? 3 : 2))
        return err("INVALID-ARGUMENT");
    const QString& unit = w.at(1);
    if (!knownUnit(unit))
        return err("UNKNOWN-UPS");
    const QByteArray query = word(sub + QLatin1Char(' ') + w.mid(1).join(QLatin1Char(' ')));
    const QByteArray head = word(sub) + ' ' + word(unit) + ' ';
    QByteArray body;
    if (sub == QLatin1String("CMD")) {
        for (const UpsCommand* c : hostCommands())
            body += line(head + c->nutName);
    } else if (sub == QLatin1String("CLIENT")) {
        for (const QString& peer : m_state->logins.value(unit))
            body += line(head + word(peer));
    } else if (perVariable) {
        const NutSetting* setting = NutSettings::find(w.at(2));
        if (!setting)
            return err("VAR-NOT-SUPPORTED");
        const QByteArray varHead = head + word(setting->name) + ' ';
        if (sub == QLatin1String("ENUM")) {
            for (const auto& option : setting->options)
                body += line(varHead + NutLineParser::quote(option.first));
        } else if (setting->hasRange()) {
            body += line(varHead + NutLineParser::quote(setting->rangeMin()) + ' '
                         + NutLineParser::quote(setting->rangeMax()));
        }
    } else {
        const UnitStatus status = m_directory->status(unit);
        const QByteArray notReadable = readable(status);
        if (!notReadable.isEmpty())
            return notReadable;
        const QMap<QString, QString> vars = variables(status);
        for (auto it = vars.constBegin(); it != vars.constEnd(); ++it)
            if (sub == QLatin1String("VAR") || NutSettings::find(it.key()))
                body += line(head + word(it.key()) + ' ' + NutLineParser::quote(it.value()));
    }
    return line("BEGIN LIST " + query) + body + line("END LIST " + query);
}

// The user whose login may act on `unit`; null with the ERR reply otherwise.
const NutUser* NutSession::loggedInFor(const QString& unit, QByteArray* error) const
{
    if (!knownUnit(unit)) {
        *error = err("UNKNOWN-UPS");
        return nullptr;
    }
    return user(error);
}

QByteArray NutSession::set(const QStringList& w)
{
    if (w.size() != 4 || !is(w.at(0), "VAR"))
        return err("INVALID-ARGUMENT");
    const QString& unit = w.at(1);
    const QString& name = w.at(2);
    QByteArray error;
    const NutUser* u = loggedInFor(unit, &error);
    if (!u)
        return error;
    if (!u->maySet)
        return err("ACCESS-DENIED");
    const NutSetting* setting = NutSettings::find(name);
    if (!setting) {
        const UnitStatus status = m_directory->status(unit);
        return variables(status).contains(name) ? err("READONLY") : err("VAR-NOT-SUPPORTED");
    }
    int raw = 0;
    if (!setting->parse(w.at(3), &raw))
        return err("INVALID-VALUE");
    const QByteArray notReadable = readable(m_directory->status(unit));
    if (!notReadable.isEmpty())
        return notReadable;
    QString why;
    if (!m_directory->writeSetting(unit, setting->point, raw, who(), &why))
        return err("SET-FAILED");
    return line("OK");
}

QByteArray NutSession::instcmd(const QStringList& w)
{
    if (w.size() < 2 || w.size() > 3)
        return err("INVALID-ARGUMENT");
    const QString& unit = w.at(0);
    const QString& name = w.at(1);
    QByteArray error;
    const NutUser* u = loggedInFor(unit, &error);
    if (!u)
        return error;
    if (!u->mayRun(name))
        return err("ACCESS-DENIED");
    const UpsCommand* c = findCommand(name);
    if (!c || c->nutName != name)
        return err("CMD-NOT-SUPPORTED");
    const QByteArray notReadable = readable(m_directory->status(unit));
    if (!notReadable.isEmpty())
        return notReadable;
    QString why, sent;
    if (!m_directory->sendCommand(unit, name, w.value(2), who(), &why))
        return err(commandValue(*c, w.value(2), &sent, &why) ? "INSTCMD-FAILED" : "INVALID-ARGUMENT");
    return line("OK");
}

QByteArray NutSession::login(const QStringList& w)
{
    if (w.size() != 1)
        return err("INVALID-ARGUMENT");
    if (!m_loginUnit.isEmpty())
        return err("ALREADY-LOGGED-IN");
    QByteArray error;
    const NutUser* u = user(&error);
    if (!u)
        return error;
    if (!knownUnit(w.first()))
        return err("UNKNOWN-UPS");
    if (u->upsmon == NutUser::Upsmon::None)
        return err("ACCESS-DENIED");
    m_loginUnit = w.first();
    m_state->logins[m_loginUnit] += m_peer;
    return line("OK");
}

QByteArray NutSession::primary(const QStringList& w, const QByteArray& granted)
{
    if (w.size() != 1)
        return err("INVALID-ARGUMENT");
    QByteArray error;
    const NutUser* u = user(&error);
    if (!u)
        return error;
    if (!knownUnit(w.first()))
        return err("UNKNOWN-UPS");
    if (u->upsmon != NutUser::Upsmon::Primary)
        return err("ACCESS-DENIED");
    return line(granted);
}

QByteArray NutSession::fsd(const QStringList& w)
{
    if (w.size() != 1)
        return err("INVALID-ARGUMENT");
    QByteArray error;
    const NutUser* u = user(&error);
    if (!u)
        return error;
    if (!knownUnit(w.first()))
        return err("UNKNOWN-UPS");
    if (u->upsmon != NutUser::Upsmon::Primary && !u->mayFsd)
        return err("ACCESS-DENIED");
    m_state->forcedShutdown.insert(w.first());
    return line("OK FSD-SET");
}
