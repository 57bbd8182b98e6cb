#ifndef HOSTCONFIG_H
#define HOSTCONFIG_H

// The host's view of the configuration the plugin reads: "param.ini" and
// "dev.ini" in the configuration directory. The host adds its own groups to
// param.ini:
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
//
//   [metrics]
//   listen=127.0.0.1:9100   serve Prometheus metrics there; absent: off
//
// The per-unit keys are the plugin's (portName, addr, commType, ipAddr, port,
// interval, retries) and pollMode; the host checks them before a unit starts.

#include <QString>
#include <QStringList>

#include "PolicySettings.h"

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
    QStringList problems; // why the unit cannot start; empty when it can

    // "tcp 127.0.0.1:502 addr 1" or "serial /dev/ttyUSB0 addr 1"
    QString target() const;
};

class HostConfig
{
public:
    // <appDir>/PVMX/drovaPanel/db, with any "\" turned into "/".
    static QString dbDir(const QString& appDir);

    // Reads both files from `dir`. False with a readable reason when a file is
    // missing or unreadable or no unit is listed. Problems of single units
    // and keys do not fail the load: see problems().
    bool load(const QString& dir, QString* error);

    QString dir() const { return m_dir; }
    QStringList units() const;
    const QList<UnitSettings>& unitSettings() const { return m_units; }
    int logInterval() const { return m_logInterval; }
    int answerTimeout() const { return m_answerTimeout; }
    int maxAge() const { return m_maxAge; }
    QString historyDir() const { return m_historyDir; }
    const PolicySettings& policy() const { return m_policy; }
    // One line per problem: "dev.ini [UPS1] port: ...".
    QStringList problems() const;
    QString metricsListen() const { return m_metricsListen; }

private:
    QString m_dir;
    QList<UnitSettings> m_units;
    QStringList m_globalProblems;
    int m_logInterval = 60;
    int m_answerTimeout = 30;
    int m_maxAge = 15;
    QString m_historyDir;
    PolicySettings m_policy;
    QString m_metricsListen;
};

#endif // HOSTCONFIG_H
