#ifndef HOSTCONFIG_H
#define HOSTCONFIG_H

// Everything upsmon-host is configured with, read and checked by one
// function that start-up, SIGHUP and --check-config all run, so that they
// name the same problems in the same words.
//
// The host's own groups of param.ini are read exactly as written (see
// ConfigFile for the syntax):
//
//   [host]
//   units=UPS1,UPS2      units to monitor; each names a group of dev.ini
//   logInterval=60       seconds between data-log rows
//   answerTimeout=30     seconds a unit may take to answer before the host
//                        reports it as not answering
//   pollMode=interval    interval: the host polls each unit on a thread of its
//                        own; timer: the collector's own 100 ms timer
//   maxAge=15            seconds without a data report before STALE
//   historyDir=          where history downloads go; relative to the state
//                        directory, which is the default (ConfinedDirectory)
//   [policy]             see PolicySettings
//   [nut]                see NutServer
//   [metrics]
//   listen=127.0.0.1:9100   serve Prometheus metrics there; absent or "off": none
//   [web]                see WebSettings
//
// dev.ini belongs to the plugin, which reads it through QSettings; the host
// reads the unit groups the same way, so it checks what the plugin will see:
// portName, addr, commType, ipAddr, port, interval, retries and pollMode.

#include <QString>
#include <QStringList>

#include "NutServer.h"
#include "NutUsers.h"
#include "PolicySettings.h"
#include "WebSettings.h"

struct UnitSettings
{
    enum PollMode { PollInterval, PollTimer };

    QString name;
    QString portName;
    int addr = 1;
    int commType = 0;     // 1 = Modbus TCP
    QString ipAddr;
    int tcpPort = 502;
    int interval = 5;
    int retries = 5;
    PollMode pollMode = PollInterval;

    // "tcp 127.0.0.1:502 addr 1" or "serial /dev/ttyUSB0 addr 1"
    QString target() const;
    bool operator==(const UnitSettings& o) const;
    bool operator!=(const UnitSettings& o) const { return !(*this == o); }
};

// What the command line puts above the files.
struct ConfigOverrides
{
    QString nutListen;          // --nut-listen
    QString metricsListen;      // --metrics-listen
    QString webListen;          // --web-listen
    QString serviceUser;        // --as-user: whose rights the users file is checked for
};

class HostConfig
{
public:
    // <appDir>/PVMX/drovaPanel/db, with any "\" turned into "/".
    static QString dbDir(const QString& appDir);

    // Reads and checks param.ini, dev.ini and the NUT users file in `dir`.
    // The host starts only when problems() is empty; warnings() are printed
    // and do not stop it.
    void load(const QString& dir, const ConfigOverrides& overrides = ConfigOverrides());

    QString dir() const { return m_dir; }
    QStringList problems() const { return m_problems; }
    QStringList warnings() const { return m_warnings; }
    // "[group] key=value" for every host setting as it will be used.
    QStringList effective() const { return m_effective; }

    QStringList units() const;
    const QList<UnitSettings>& unitSettings() const { return m_units; }
    int logInterval() const { return m_logInterval; }
    int answerTimeout() const { return m_answerTimeout; }
    int maxAge() const { return m_maxAge; }
    QString historyDir() const { return m_historyDir; }
    const PolicySettings& policy() const { return m_policy; }
    const NutServerConfig& nut() const { return m_nut; }
    const NutUsers& users() const { return m_users; }
    // Empty: no metrics endpoint.
    QString metricsListen() const { return m_metricsListen; }
    // listen empty: no web console.
    const WebSettings& web() const { return m_web; }

private:
    void readHost(class IniReader& ini);
    void readNut(IniReader& ini, const ConfigOverrides& overrides);
    void readMetrics(IniReader& ini, const ConfigOverrides& overrides);
    void readUnits(const QStringList& names, UnitSettings::PollMode hostMode);
    void checkUsersFile(const QString& serviceUser);
    void checkShutdownCmd();
    void take(IniReader& ini, const QString& group);

    QString m_dir;
    QList<UnitSettings> m_units;
    QStringList m_problems;
    QStringList m_warnings;
    QStringList m_effective;
    int m_logInterval = 60;
    int m_answerTimeout = 30;
    int m_maxAge = 15;
    QString m_historyDir;
    PolicySettings m_policy;
    NutServerConfig m_nut;
    NutUsers m_users;
    QString m_metricsListen;
    WebSettings m_web;
};

#endif // HOSTCONFIG_H
