#include "HostDirectory.h"

#include "CommandRouter.h"

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
    QMap<QString, UnitStatus> board;
    m_units.clear();
    m_descriptions.clear();
    for (const auto& u : units) {
        m_units += u.first;
        m_descriptions.insert(u.first, u.second);
        UnitStatus s = m_board.value(u.first);
        s.unit = u.first;
        board.insert(u.first, s);
    }
    m_board = board;
}

void HostDirectory::publish(const UnitStatus& status)
{
    {
        const std::lock_guard<std::mutex> locker(m_lock);
        if (!m_board.contains(status.unit))
            return;
        m_board.insert(status.unit, status);
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
    return m_board.value(unit);
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
