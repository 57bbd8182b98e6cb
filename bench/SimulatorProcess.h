#ifndef SIMULATORPROCESS_H
#define SIMULATORPROCESS_H

// Starts the simulator from the benchmarks' own directory on a free loopback
// TCP port and waits for its "listening" line.

#include <QProcess>
#include <QStringList>

// Returns the TCP port the simulator listens on, or 0 when it did not start
// within five seconds (its output then goes to stderr).
quint16 startSimulator(QProcess& sim, const QStringList& extraArgs = QStringList());

#endif // SIMULATORPROCESS_H
