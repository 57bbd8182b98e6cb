#include "HostConfig.h"

#include <QFileInfo>
#include <QSettings>

namespace {

bool checkReadable(const QString& path, QString* error)
{
    const QFileInfo info(path);
    if (info.isFile() && info.isReadable())
        return true;
    if (error)
        *error = info.exists() ? QStringLiteral("configuration file %1 is not readable").arg(path)
                               : QStringLiteral("configuration file %1 does not exist").arg(path);
    return false;
}

bool settingsOk(const QSettings& s, QString* error)
{
    if (s.status() == QSettings::NoError)
        return true;
    if (error)
        *error = QStringLiteral("configuration file %1 cannot be parsed").arg(s.fileName());
    return false;
}

} // namespace

QString UnitSettings::target() const
{
    if (commType == 1)
        return QStringLiteral("tcp %1:%2 addr %3").arg(ipAddr).arg(tcpPort).arg(addr);
    return QStringLiteral("serial %1 addr %2").arg(portName).arg(addr);
}

QString HostConfig::dbDir(const QString& appDir)
{
    QString base = appDir;
    base.replace(QLatin1Char('\\'), QLatin1Char('/'));
    return base + QStringLiteral("/PVMX/drovaPanel/db");
}

bool HostConfig::load(const QString& dir, QString* error)
{
    m_dir = dir;
    m_units.clear();
    const QString paramPath = dir + QStringLiteral("/param.ini");
    const QString devPath = dir + QStringLiteral("/dev.ini");
    if (!checkReadable(paramPath, error) || !checkReadable(devPath, error))
        return false;

    QSettings param(paramPath, QSettings::IniFormat);
    if (!settingsOk(param, error))
        return false;
    m_logInterval = qMax(1, param.value(QStringLiteral("host/logInterval"), 60).toInt());
    m_answerTimeout = qMax(1, param.value(QStringLiteral("host/answerTimeout"), 30).toInt());
    m_metricsListen = param.value(QStringLiteral("metrics/listen")).toString().trimmed();
    QStringList names;
    for (const QString& n : param.value(QStringLiteral("host/units")).toStringList()) {
        const QString name = n.trimmed();
        if (!name.isEmpty() && !names.contains(name))
            names += name;
    }
    if (names.isEmpty()) {
        if (error)
            *error = QStringLiteral("no unit configured: add \"units=<name>[,<name>...]\" to the "
                                    "[host] group of %1").arg(paramPath);
        return false;
    }

    QSettings dev(devPath, QSettings::IniFormat);
    if (!settingsOk(dev, error))
        return false;
    for (const QString& name : names) {
        UnitSettings u;
        u.name = name;
        const QString p = name + QLatin1Char('/');
        u.portName = dev.value(p + QStringLiteral("portName"), QStringLiteral("COM1")).toString();
        u.addr = dev.value(p + QStringLiteral("addr"), 1).toInt();
        u.retries = dev.value(p + QStringLiteral("retries"), 5).toInt();
        u.interval = dev.value(p + QStringLiteral("interval"), 5).toInt();
        u.commType = dev.value(p + QStringLiteral("commType"), 0).toInt();
        u.ipAddr = dev.value(p + QStringLiteral("ipAddr")).toString();
        u.tcpPort = dev.value(p + QStringLiteral("port"), 502).toInt();
        m_units += u;
    }
    return true;
}

QStringList HostConfig::units() const
{
    QStringList names;
    for (const UnitSettings& u : m_units)
        names += u.name;
    return names;
}
