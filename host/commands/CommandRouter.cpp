#include "CommandRouter.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>

#include "CommandTable.h"
#include "EventFormatter.h"
#include "points.h"
#include "UnitSession.h"

namespace {

// The unit carries a command out within a cycle or two; a history download
// reads up to 200 records.
qint64 confirmTimeoutMs(const UnitSettings& unit)
{
    return (3LL * unit.interval + 15) * 1000;
}

} // namespace

CommandRouter::CommandRouter(QObject* parent) : QObject(parent)
{
    m_expiry.setInterval(1000);
    connect(&m_expiry, &QTimer::timeout, this, &CommandRouter::expire);
}

void CommandRouter::addSession(UnitSession* s)
{
    m_sessions.insert(s->settings().name, s);
    connect(s, &UnitSession::dataReported, this, &CommandRouter::onData);
    connect(s, &UnitSession::answered, this, &CommandRouter::onAnswered);
    connect(s, &UnitSession::hostEvent, this, [this](const HostEvent& e) {
        if (e.type == EventFormatter::CommandResult && e.code == UpsCommand::DownloadHistory)
            onHistoryWritten(e.unit);
    });
}

void CommandRouter::removeSession(const QString& unit)
{
    if (UnitSession* s = m_sessions.take(unit))
        disconnect(s, nullptr, this, nullptr);
    for (int i = m_pending.size() - 1; i >= 0; --i)
        if (m_pending.at(i).unit == unit)
            settle(i, false, QStringLiteral("the unit was removed from the configuration"));
    m_deferred.erase(std::remove_if(m_deferred.begin(), m_deferred.end(),
                                    [&unit](const Deferred& d) { return d.unit == unit; }),
                     m_deferred.end());
}

void CommandRouter::clear()
{
    // Every command a user gave reports an outcome, the ones cut short too.
    while (!m_pending.isEmpty())
        settle(0, false, QStringLiteral("the host stopped before the unit confirmed it"));
    for (const Deferred& d : qAsConst(m_deferred))
        emit commandOutcome(d.unit, d.name, QStringLiteral("not confirmed"),
                            QStringLiteral("the unit never answered; not sent"), d.who);
    m_sessions.clear();
    m_deferred.clear();
}

UnitSession* CommandRouter::session(const QString& unit, QString* error) const
{
    UnitSession* s = m_sessions.value(unit);
    if (!s && error)
        *error = QStringLiteral("unknown unit \"%1\" (units: %2)")
                     .arg(unit, QStringList(m_sessions.keys()).join(QStringLiteral(", ")));
    return s;
}

bool CommandRouter::check(const QString& unit, const QString& name, const QString& value, const QString& who,
                          const UpsCommand** command, QString* sent, QString* error)
{
    if (!session(unit, error))
        return false;
    *command = findCommand(name);
    if (!*command) {
        *error = QStringLiteral("unknown command \"%1\"; see upsmon-host --help").arg(name);
        return false;
    }
    if (commandValue(**command, value, sent, error)
        && ((*command)->argument != UpsCommand::FileName || m_historyDir.resolve(*sent, sent, error)))
        return true;
    // A value refused is what an attempt to write elsewhere looks like: on record.
    emit commandOutcome(unit, QLatin1String((*command)->nutName), QStringLiteral("refused"), *error, who);
    return false;
}

bool CommandRouter::send(const QString& unit, const QString& name, const QString& value, const QString& who,
                         QString* error)
{
    const UpsCommand* c = nullptr;
    QString sent;
    if (!check(unit, name, value, who, &c, &sent, error))
        return false;
    UnitSession* s = m_sessions.value(unit);
    // A later command on the same point decides what the data will show.
    for (int i = m_pending.size() - 1; i >= 0; --i) {
        const Pending& p = m_pending.at(i);
        if (p.unit == unit && c->confirmPoint > 0 && p.command->confirmPoint == c->confirmPoint
            && p.command->confirmValue != c->confirmValue)
            settle(i, false, QStringLiteral("superseded by %1 before the data showed it").arg(QLatin1String(c->nutName)));
    }
    s->sendCommand(c->id, sent);
    emit commandOutcome(unit, QLatin1String(c->nutName), QStringLiteral("queued"),
                        QStringLiteral("command %1 (%2) queued").arg(c->id).arg(QLatin1String(c->description)), who);
    if (c->confirmPoint > 0 || c->id == UpsCommand::DownloadHistory) {
        m_pending += Pending{unit, c, sent, who, QDateTime::currentDateTime(),
                             QDateTime::currentMSecsSinceEpoch() + confirmTimeoutMs(s->settings())};
        m_expiry.start();
    }
    return true;
}

bool CommandRouter::writeSetting(const QString& unit, int point, int rawValue, const QString& who, QString* error)
{
    UnitSession* s = session(unit, error);
    if (!s)
        return false;
    if (point < point::FirstSetting || point > point::LastSettingPoint || rawValue < -32768 || rawValue > 65535) {
        *error = QStringLiteral("setting %1 = %2 is out of range (points %3-%4, raw -32768-65535)")
                     .arg(point).arg(rawValue).arg(point::FirstSetting).arg(point::LastSettingPoint);
        return false;
    }
    s->sendCommand(UpsCommand::RawSetting, QStringLiteral("%1,%2").arg(point).arg(rawValue));
    emit commandOutcome(unit, QStringLiteral("setting %1").arg(point), QStringLiteral("queued"),
                        QStringLiteral("setting %1 = %2 queued").arg(point).arg(rawValue), who);
    return true;
}

bool CommandRouter::sendWhenAnswered(const QString& unit, const QString& name, const QString& value,
                                     const QString& who, QString* error)
{
    const UpsCommand* c = nullptr;
    QString sent;
    if (!check(unit, name, value, who, &c, &sent, error))
        return false;
    if (m_sessions.value(unit)->hasAnswered())
        return send(unit, name, value, who, error);
    m_deferred += Deferred{unit, name, value, who};
    return true;
}

void CommandRouter::onAnswered(const QString& unit)
{
    for (int i = 0; i < m_deferred.size();) {
        if (m_deferred.at(i).unit != unit) {
            ++i;
            continue;
        }
        const Deferred d = m_deferred.takeAt(i);
        QString error;
        send(d.unit, d.name, d.value, d.who, &error);
    }
}

void CommandRouter::settle(int index, bool confirmed, const QString& detail)
{
    const Pending p = m_pending.takeAt(index);
    emit commandOutcome(p.unit, QLatin1String(p.command->nutName),
                        confirmed ? QStringLiteral("confirmed") : QStringLiteral("not confirmed"), detail, p.who);
    if (m_pending.isEmpty())
        m_expiry.stop();
}

void CommandRouter::onData(const QString& unit)
{
    const UnitSession* s = m_sessions.value(unit);
    for (int i = m_pending.size() - 1; i >= 0; --i) {
        const Pending& p = m_pending.at(i);
        if (p.unit != unit || p.command->confirmPoint == 0)
            continue;
        const QVariant v = s->lastData().value(p.command->confirmPoint);
        if (v.isValid() && v.toInt() == p.command->confirmValue)
            settle(i, true, QStringLiteral("point %1 is now %2")
                                .arg(p.command->confirmPoint).arg(p.command->confirmValue));
    }
}

void CommandRouter::onHistoryWritten(const QString& unit)
{
    // The unit runs its commands in order: this report is the oldest download's.
    for (int i = 0; i < m_pending.size(); ++i) {
        const Pending& p = m_pending.at(i);
        if (p.unit != unit || p.command->id != UpsCommand::DownloadHistory)
            continue;
        const QFileInfo file(p.value);
        // Whole seconds: a file system may keep no finer time.
        const bool written = file.isFile() && file.size() > 0
            && file.lastModified().toSecsSinceEpoch() >= p.sent.toSecsSinceEpoch();
        int lines = 0;
        QFile f(p.value);
        if (written && f.open(QIODevice::ReadOnly))
            lines = f.readAll().count('\n');
        settle(i, written, written ? QStringLiteral("history written to %1 (%2 lines)")
                                         .arg(file.absoluteFilePath()).arg(lines)
                                   : QStringLiteral("history export failed: %1 was not written")
                                         .arg(file.absoluteFilePath()));
        return;
    }
}

void CommandRouter::expire()
{
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    for (int i = m_pending.size() - 1; i >= 0; --i) {
        const Pending& p = m_pending.at(i);
        if (now < p.deadlineMs)
            continue;
        settle(i, false, p.command->confirmPoint
                   ? QStringLiteral("point %1 did not become %2 within %3 s")
                         .arg(p.command->confirmPoint).arg(p.command->confirmValue)
                         .arg((p.deadlineMs - p.sent.toMSecsSinceEpoch()) / 1000)
                   : QStringLiteral("the unit reported no history download"));
    }
}
