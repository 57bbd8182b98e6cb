#ifndef HOSTCONFIG_H
#define HOSTCONFIG_H

// The host's view of the configuration the plugin reads: "param.ini" and
// "dev.ini" under <application dir>/PVMX/drovaPanel/db. The host adds its own
// group to param.ini:
//
//   [host]
//   units=UPS1,UPS2      units to monitor; each names a group of dev.ini
//   logInterval=60       seconds between data-log rows
//   answerTimeout=30     seconds a unit may take to answer before the host
//                        reports it as not answering
//
//   [metrics]
//   listen=127.0.0.1:9100   serve Prometheus metrics there; absent: off
//
// The per-unit keys are the plugin's (portName, addr, commType, ipAddr, port,
// interval, retries); the host reads them only to show where a unit is.

#include <QString>
#include <QStringList>

struct UnitSettings
{
    QString name;
    QString portName;
    int addr = 1;
    int commType = 0;     // 1 = Modbus TCP
    QString ipAddr;
    int tcpPort = 502;
    int interval = 5;
    int retries = 5;

    // "tcp 127.0.0.1:502 addr 1" or "serial /dev/ttyUSB0 addr 1"
    QString target() const;
};

class HostConfig
{
public:
    // <appDir>/PVMX/drovaPanel/db, with any "\" turned into "/".
    static QString dbDir(const QString& appDir);

    // Reads both files from `dir`. False with a readable reason when a file is
    // missing or unreadable or no unit is listed.
    bool load(const QString& dir, QString* error);

    QString dir() const { return m_dir; }
    QStringList units() const;
    const QList<UnitSettings>& unitSettings() const { return m_units; }
    int logInterval() const { return m_logInterval; }
    int answerTimeout() const { return m_answerTimeout; }
    QString metricsListen() const { return m_metricsListen; }

private:
    QString m_dir;
    QList<UnitSettings> m_units;
    int m_logInterval = 60;
    int m_answerTimeout = 30;
    QString m_metricsListen;
};

#endif // HOSTCONFIG_H
