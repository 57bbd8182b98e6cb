#include "HostConfig.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ConfigFile.h"
#include "IniReader.h"
#include "MetricsExporter.h"

namespace {

const char* const kDefaultNutListen = "127.0.0.1:3493";

// Host names as the collector's connect resolves them: dot-separated labels
// of letters, digits and inner hyphens. An IP address parses as one too.
bool plausibleHost(const QString& text)
{
    static const QRegularExpression label(QStringLiteral("^[A-Za-z0-9]([A-Za-z0-9-]{0,61}[A-Za-z0-9])?$"));
    if (QHostAddress().setAddress(text))
        return true;
    if (text.isEmpty() || text.size() > 253)
        return false;
    for (const QString& l : text.split(QLatin1Char('.')))
        if (!label.match(l).hasMatch())
            return false;
    return true;
}

bool pollMode(IniReader& ini, UnitSettings::PollMode fallback, UnitSettings::PollMode* out)
{
    const QString text = ini.text("pollMode", fallback == UnitSettings::PollTimer ? "timer" : "interval").trimmed();
    if (text == QLatin1String("interval") || text == QLatin1String("timer")) {
        *out = text == QLatin1String("timer") ? UnitSettings::PollTimer : UnitSettings::PollInterval;
        return true;
    }
    ini.problem(QStringLiteral("pollMode"), QStringLiteral("must be interval or timer, not \"%1\"").arg(text));
    return false;
}

// Whether `user` may read `path` by the file's owner, group and mode,
// as the kernel decides for an unprivileged user.
bool readableBy(const QString& path, const QString& user, QString* why)
{
    struct stat st {};
    if (::stat(QFile::encodeName(path).constData(), &st) != 0) {
        *why = QStringLiteral("cannot be examined");
        return false;
    }
    const passwd* pw = ::getpwnam(user.toLocal8Bit().constData());
    if (!pw) {
        *why = QStringLiteral("names user %1, who does not exist").arg(user);
        return false;
    }
    if (pw->pw_uid == 0)
        return true;
    // One class decides: the owner's bits for the owner, the group's for a
    // member of the file's group, the others' for everyone else.
    mode_t bit = S_IRUSR;
    if (st.st_uid != pw->pw_uid) {
        int count = 64;
        QVector<gid_t> groups(count);
        if (::getgrouplist(pw->pw_name, pw->pw_gid, groups.data(), &count) < 0) {
            groups.resize(count);
            ::getgrouplist(pw->pw_name, pw->pw_gid, groups.data(), &count);
        }
        groups.resize(count);
        bit = groups.contains(st.st_gid) ? S_IRGRP : S_IROTH;
    }
    if (st.st_mode & bit)
        return true;
    const group* gr = ::getgrgid(st.st_gid);
    *why = QStringLiteral("is not readable by user %1 (owner %2, group %3, mode %4)")
               .arg(user).arg(st.st_uid).arg(gr ? QString::fromLocal8Bit(gr->gr_name) : QString::number(st.st_gid))
               .arg(st.st_mode & 0777, 3, 8, QLatin1Char('0'));
    return false;
}

} // namespace

QString UnitSettings::target() const
{
    if (commType == 1)
        return QStringLiteral("tcp %1:%2 addr %3").arg(ipAddr).arg(tcpPort).arg(addr);
    return QStringLiteral("serial %1 addr %2").arg(portName).arg(addr);
}

bool UnitSettings::operator==(const UnitSettings& o) const
{
    return name == o.name && portName == o.portName && addr == o.addr && commType == o.commType
        && ipAddr == o.ipAddr && tcpPort == o.tcpPort && interval == o.interval && retries == o.retries
        && pollMode == o.pollMode;
}

QString HostConfig::dbDir(const QString& appDir)
{
    QString base = appDir;
    base.replace(QLatin1Char('\\'), QLatin1Char('/'));
    return base + QStringLiteral("/PVMX/drovaPanel/db");
}

void HostConfig::take(IniReader& ini, const QString& group)
{
    ini.rejectUnread();
    m_problems += ini.problems();
    for (const QString& line : ini.effective())
        m_effective += QStringLiteral("[%1] %2").arg(group, line);
}

void HostConfig::load(const QString& dir, const ConfigOverrides& overrides)
{
    *this = HostConfig();
    m_dir = dir;
    ConfigFile param(QStringLiteral("param.ini"));
    QString error;
    if (!param.load(dir + QStringLiteral("/param.ini"), &error)) {
        m_problems += error;
        return;
    }
    m_problems += param.problems();
    const auto group = [&param](const char* name) {
        return IniReader(param.group(QLatin1String(name)), QStringLiteral("param.ini [%1]").arg(QLatin1String(name)));
    };

    IniReader host = group("host");
    const QStringList names = host.list("units");
    readHost(host);
    UnitSettings::PollMode hostMode = UnitSettings::PollInterval;
    pollMode(host, UnitSettings::PollInterval, &hostMode);
    take(host, QStringLiteral("host"));

    IniReader policy = group("policy");
    m_policy = PolicySettings::read(policy);
    take(policy, QStringLiteral("policy"));
    checkShutdownCmd();

    IniReader nut = group("nut");
    readNut(nut, overrides);
    take(nut, QStringLiteral("nut"));
    checkUsersFile(overrides.serviceUser);

    IniReader metrics = group("metrics");
    readMetrics(metrics, overrides);
    take(metrics, QStringLiteral("metrics"));

    IniReader web = group("web");
    m_web = WebSettings::read(web, m_dir, overrides.webListen);
    take(web, QStringLiteral("web"));

    if (names.isEmpty()) {
        m_problems += QStringLiteral("param.ini [host] units: no unit configured: add \"units=<name>[,<name>...]\"");
        return;
    }
    readUnits(names, hostMode);
}

void HostConfig::readHost(IniReader& ini)
{
    m_logInterval = ini.integer("logInterval", 60, 1, 86400);
    m_answerTimeout = ini.integer("answerTimeout", 30, 1, 86400);
    m_maxAge = ini.integer("maxAge", 15, 2, 3600);
    m_historyDir = ini.text("historyDir", "");
}

void HostConfig::readNut(IniReader& ini, const ConfigOverrides& overrides)
{
    m_nut.maxAge = m_maxAge;
    QString listen = ini.text("listen", kDefaultNutListen);
    if (!overrides.nutListen.isEmpty()) {
        listen = overrides.nutListen;
        ini.overridden("listen", listen, "--nut-listen");
    }
    QString error;
    if (!NutServerConfig::parseListen(listen, &m_nut.listen, &error))
        ini.problem(QStringLiteral("listen"), error);
    const QString users = ini.text("users", "upsd.users");
    m_nut.usersPath = users.isEmpty() ? QString() : QDir(m_dir).absoluteFilePath(users);
    m_nut.maxClients = ini.integer("maxClients", m_nut.maxClients, 1, 10000);
    m_nut.idleTimeout = ini.integer("idleTimeout", m_nut.idleTimeout, 1, 86400);
    m_nut.hostSync = ini.integer("hostSync", m_nut.hostSync, 0, 3600);
    m_nut.maxAge = ini.seconds("maxAge", m_nut.maxAge);
}

void HostConfig::readMetrics(IniReader& ini, const ConfigOverrides& overrides)
{
    QString listen = ini.text("listen", "").trimmed();
    if (!overrides.metricsListen.isEmpty()) {
        listen = overrides.metricsListen;
        ini.overridden("listen", listen, "--metrics-listen");
    }
    if (listen.compare(QLatin1String("off"), Qt::CaseInsensitive) == 0)
        listen.clear();
    QString error;
    std::string address;
    if (!listen.isEmpty() && !MetricsExporter::bindAddress(listen, &address, &error))
        ini.problem(QStringLiteral("listen"), error);
    m_metricsListen = listen;
}

void HostConfig::checkUsersFile(const QString& serviceUser)
{
    const QString path = m_nut.usersPath;
    if (path.isEmpty() || !QFileInfo::exists(path))
        return;     // no users: nothing can be changed, which is a valid choice
    const QString where = QStringLiteral("NUT users file %1").arg(path);
    QString why;
    if (!serviceUser.isEmpty() && !readableBy(path, serviceUser, &why)) {
        m_problems += QStringLiteral("%1 %2").arg(where, why);
        return;
    }
    QString error;
    QStringList problems;
    if (!m_users.load(path, &error, &problems)) {
        m_problems += error;
        return;
    }
    for (const QString& p : qAsConst(problems))
        m_problems += QStringLiteral("%1 %2").arg(where, p);
}

void HostConfig::checkShutdownCmd()
{
    // The first word is the program. The shell's own words and anything it
    // would expand first cannot be checked here and are left to the shell.
    static const QStringList shellWords{"!", ".", ":", "[", "{", "case", "cd", "command", "echo", "eval",
                                        "exec", "exit", "export", "false", "for", "if", "kill", "printf",
                                        "read", "set", "test", "trap", "true", "umask", "until", "wait", "while"};
    const QString first = m_policy.shutdownCmd.trimmed().section(QRegularExpression(QStringLiteral("[\\s;&|<>()]")), 0, 0);
    if (first.isEmpty() || shellWords.contains(first)
        || first.contains(QRegularExpression(QStringLiteral("[$`\"'=\\\\*?~]"))))
        return;
    const QString program = first.contains(QLatin1Char('/')) ? first : QStandardPaths::findExecutable(first);
    const QFileInfo info(program);
    if (program.isEmpty() || !info.exists())
        m_problems += QStringLiteral("param.ini [policy] shutdownCmd: program \"%1\" not found").arg(first);
    else if (!info.isExecutable() || info.isDir())
        m_problems += QStringLiteral("param.ini [policy] shutdownCmd: %1 is not executable").arg(program);
}

void HostConfig::readUnits(const QStringList& names, UnitSettings::PollMode hostMode)
{
    const QString devPath = m_dir + QStringLiteral("/dev.ini");
    if (!QFileInfo(devPath).isReadable()) {
        m_problems += QFileInfo::exists(devPath) ? QStringLiteral("configuration file %1 cannot be read").arg(devPath)
                                                 : QStringLiteral("configuration file %1 does not exist").arg(devPath);
        return;
    }
    QSettings dev(devPath, QSettings::IniFormat);
    if (dev.status() != QSettings::NoError) {
        m_problems += QStringLiteral("configuration file %1 cannot be parsed").arg(devPath);
        return;
    }
    const QStringList groups = dev.childGroups();
    QStringList seen;
    for (const QString& name : names) {
        if (seen.contains(name)) {
            m_problems += QStringLiteral("param.ini [host] units lists %1 twice").arg(name);
            continue;
        }
        seen += name;
        if (!groups.contains(name)) {
            m_problems += QStringLiteral("dev.ini has no group [%1] for unit %1").arg(name);
            continue;
        }
        UnitSettings u;
        u.name = name;
        IniReader ini = IniReader::fromSettings(&dev, name, QStringLiteral("dev.ini [%1]").arg(name));
        u.commType = ini.integer("commType", 0, 0, 1);
        u.addr = ini.integer("addr", 1, 1, 247);
        u.interval = ini.integer("interval", 5, 1, 86400);
        u.retries = ini.integer("retries", 5, 1, 1000);
        pollMode(ini, hostMode, &u.pollMode);
        u.tcpPort = ini.integer("port", 502, 1, 65535);
        if (u.commType == 1) {
            u.ipAddr = ini.text("ipAddr", "").trimmed();
            if (u.ipAddr.isEmpty())
                ini.problem(QStringLiteral("ipAddr"), QStringLiteral("is missing (commType=1 is Modbus TCP)"));
            else if (!plausibleHost(u.ipAddr))
                ini.problem(QStringLiteral("ipAddr"),
                            QStringLiteral("\"%1\" is neither an IP address nor a host name").arg(u.ipAddr));
        } else {
            u.portName = ini.text("portName", "").trimmed();
            if (u.portName.isEmpty())
                ini.problem(QStringLiteral("portName"), QStringLiteral("is missing (commType=0 is a serial line)"));
            else if (!QFileInfo::exists(u.portName))
                // A USB adapter may be plugged in later: the collector reports
                // the unit as silent until then.
                m_warnings += QStringLiteral("dev.ini [%1] portName: serial device %2 does not exist (yet)")
                                  .arg(name, u.portName);
        }
        m_problems += ini.problems();
        for (const QString& line : ini.effective())
            m_effective += QStringLiteral("[%1] %2").arg(name, line);
        m_units += u;
    }
}

QStringList HostConfig::units() const
{
    QStringList names;
    for (const UnitSettings& u : m_units)
        names += u.name;
    return names;
}
