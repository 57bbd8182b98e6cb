#include "HostDirectory.h"

#include <chrono>

#include "CommandRouter.h"

namespace {

qint64 steadyMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace

HostDirectory::HostDirectory(CommandRouter* router, QObject* parent)
    : QObject(parent), m_router(router)
{
    qRegisterMetaType<DerivedEvent>();
    qRegisterMetaType<UnitStatus>();
}

void HostDirectory::setUnits(const QList<QPair<QString, QString>>& units)
{
    const std::lock_guard<std::mutex> locker(m_lock);
    // Units that stay keep their snapshot (a reload).
    QMap<QString, Entry> board;
    m_units.clear();
    m_descriptions.clear();
    for (const auto& u : units) {
        m_units += u.first;
        m_descriptions.insert(u.first, u.second);
        Entry e = m_board.value(u.first);
        e.status.unit = u.first;
        board.insert(u.first, e);
    }
    m_board = board;
}

void HostDirectory::publish(const UnitStatus& status)
{
    {
        const std::lock_guard<std::mutex> locker(m_lock);
        const auto it = m_board.find(status.unit);
        if (it == m_board.end())
            return;
        it->status = status;
        it->publishedMs = steadyMs();
    }
    emit statusChanged(status.unit);
}

QStringList HostDirectory::units() const
{
    const std::lock_guard<std::mutex> locker(m_lock);
    return m_units;
}

QString HostDirectory::description(const QString& unit) const
{
    const std::lock_guard<std::mutex> locker(m_lock);
    return m_descriptions.value(unit);
}

UnitStatus HostDirectory::status(const QString& unit) const
{
    const std::lock_guard<std::mutex> locker(m_lock);
    const auto it = m_board.constFind(unit);
    if (it == m_board.constEnd())
        return UnitStatus();
    UnitStatus s = it->status;
    if (s.dataAgeSeconds >= 0)
        s.dataAgeSeconds += (steadyMs() - it->publishedMs) / 1000.0;
    return s;
}

QJsonObject HostDirectory::panels(const QString& unit) const
{
    return m_panelMaker ? m_panelMaker(unit) : QJsonObject();
}

bool HostDirectory::sendCommand(const QString& unit, const QString& name, const QString& value,
                                 const QString& who, QString* error)
{
    return m_router->send(unit, name, value, who, error);
}

bool HostDirectory::writeSetting(const QString& unit, int point, int rawValue, const QString& who,
                                 QString* error)
{
    return m_router->writeSetting(unit, point, rawValue, who, error);
}
