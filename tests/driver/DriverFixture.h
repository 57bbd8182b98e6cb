#ifndef DRIVERFIXTURE_H
#define DRIVERFIXTURE_H

// Shared by the driver tests: the driver library loaded as the plugin loads
// it, a running simulator, and a sink for the points that Query delivers.

#include "driverapi.h"

#include <QLibrary>
#include <QMap>
#include <QProcess>
#include <QString>
#include <QStringList>

struct PointSink
{
    QMap<int, float> values;
    QMap<int, int> calls;
    static void collect(int id, float value, void* context);
    // Points `first`..`first+count-1` as bytes, cut at the first zero.
    QByteArray text(int first, int count) const;
};

class DriverLib
{
public:
    bool load();
    QueryFunc query = nullptr;
    ControlFunc control = nullptr;
private:
    QLibrary m_lib;
};

class SimProcess
{
public:
    ~SimProcess();
    // Starts upssim on a free loopback port with the extra arguments; true
    // once it listens (or, with --no-tcp, once it serves its line).
    bool start(const QStringList& arguments);
    void stop();
    int port() const { return m_port; }
    QString output();
    static QString program();
private:
    QProcess m_process;
    QString m_seen;
    int m_port = 0;
};

// Writes `text` to a scenario file in the working directory; returns its path.
QString writeScenario(const QString& name, const QByteArray& text);

#endif // DRIVERFIXTURE_H
