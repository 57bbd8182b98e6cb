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
    m_units.clear();
    m_descriptions.clear();
    m_board.clear();
    for (const auto& u : units) {
        m_units += u.first;
        m_descriptions.insert(u.first, u.second);
        UnitStatus s;
        s.unit = u.first;
        m_board.insert(u.first, s);
    }
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
