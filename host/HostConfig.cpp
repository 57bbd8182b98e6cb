#include "HostConfig.h"

#include <QFileInfo>
#include <QSettings>

#include "IniReader.h"

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

bool pollMode(IniReader& ini, const QString& key, UnitSettings::PollMode fallback,
              UnitSettings::PollMode* out)
{
    const QString text = ini.text(key, fallback == UnitSettings::PollTimer ? "timer" : "interval");
    if (text == QLatin1String("interval") || text == QLatin1String("timer")) {
        *out = text == QLatin1String("timer") ? UnitSettings::PollTimer : UnitSettings::PollInterval;
        return true;
    }
    ini.problem(key, QStringLiteral("must be interval or timer, not \"%1\"").arg(text));
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
    m_globalProblems.clear();
    const QString paramPath = dir + QStringLiteral("/param.ini");
    const QString devPath = dir + QStringLiteral("/dev.ini");
    if (!checkReadable(paramPath, error) || !checkReadable(devPath, error))
        return false;

    QSettings param(paramPath, QSettings::IniFormat);
    if (!settingsOk(param, error))
        return false;
    IniReader host(&param, QStringLiteral("param.ini [host]"), QStringLiteral("host/"));
    m_logInterval = host.integer("logInterval", 60, 1, 86400);
    m_answerTimeout = host.integer("answerTimeout", 30, 1, 86400);
    m_maxAge = host.integer("maxAge", 15, 2, 3600);
    m_historyDir = host.text("historyDir", "");
    UnitSettings::PollMode hostMode = UnitSettings::PollInterval;
    pollMode(host, QStringLiteral("pollMode"), UnitSettings::PollInterval, &hostMode);
    m_globalProblems = host.problems();
    IniReader policy(&param, QStringLiteral("param.ini [policy]"), QStringLiteral("policy/"));
    m_policy = PolicySettings::read(policy);
    m_globalProblems += policy.problems();
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
    const QStringList groups = dev.childGroups();
    for (const QString& name : names) {
        UnitSettings u;
        u.name = name;
        IniReader ini(&dev, QStringLiteral("dev.ini [%1]").arg(name), name + QLatin1Char('/'));
        if (!groups.contains(name)) {
            u.problems += QStringLiteral("dev.ini has no group [%1] for unit %1").arg(name);
            m_units += u;
            continue;
        }
        u.commType = ini.integer("commType", 0, 0, 1);
        u.addr = ini.integer("addr", 1, 1, 247);
        u.interval = ini.integer("interval", 5, 1, 86400);
        u.retries = ini.integer("retries", 5, 1, 1000);
        pollMode(ini, QStringLiteral("pollMode"), hostMode, &u.pollMode);
        u.tcpPort = ini.integer("port", 502, 1, 65535);
        if (u.commType == 1) {
            u.ipAddr = ini.text("ipAddr", "");
            if (u.ipAddr.isEmpty())
                ini.problem(QStringLiteral("ipAddr"), QStringLiteral("is missing (commType=1 is Modbus TCP)"));
        } else {
            u.portName = ini.text("portName", "");
            if (u.portName.isEmpty())
                ini.problem(QStringLiteral("portName"), QStringLiteral("is missing (commType=0 is a serial line)"));
            else if (!QFileInfo::exists(u.portName))
                ini.problem(QStringLiteral("portName"),
                            QStringLiteral("serial device %1 does not exist").arg(u.portName));
        }
        u.problems = ini.problems();
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

QStringList HostConfig::problems() const
{
    QStringList all = m_globalProblems;
    for (const UnitSettings& u : m_units)
        all += u.problems;
    return all;
}
