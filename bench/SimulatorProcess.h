#ifndef SIMULATORPROCESS_H
#define SIMULATORPROCESS_H

// Starts the simulator from the benchmarks' own directory on a free loopback
// TCP port and waits for its "listening" line.

#include "driverapi.h"

#include <QLibrary>
#include <QProcess>
#include <QStringList>
#include <QTcpSocket>

// Returns the TCP port the simulator listens on, or 0 when it did not start
// within five seconds (its output then goes to stderr).
quint16 startSimulator(QProcess& sim, const QStringList& extraArgs = QStringList());

// What a full-read benchmark needs: the driver's Query from the benchmarks'
// directory and a socket connected to a freshly started simulator.
struct SimulatedUnit
{
    QLibrary driver;
    QProcess sim;
    QTcpSocket socket;
    QueryFunc query = nullptr;
    quint16 port = 0;

    // False, with the reason on stderr, when any of the three is missing.
    bool start(const char* who);
};

#endif // SIMULATORPROCESS_H
