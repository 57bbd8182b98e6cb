#include "SimulatorProcess.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QRegularExpression>

#include <cstdio>

quint16 startSimulator(QProcess& sim, const QStringList& extraArgs)
{
    sim.setProcessChannelMode(QProcess::MergedChannels);
    sim.start(QCoreApplication::applicationDirPath() + "/upssim",
              QStringList{"--tcp", "127.0.0.1:0", "--speed", "0"} + extraArgs);
    QString seen;
    QRegularExpressionMatch ready;
    QElapsedTimer wait;
    wait.start();
    while (!ready.hasMatch() && wait.elapsed() < 5000 && sim.waitForReadyRead(100)) {
        seen += QString::fromLocal8Bit(sim.readAll());
        ready = QRegularExpression("listening on 127\\.0\\.0\\.1:(\\d+)").match(seen);
    }
    if (!ready.hasMatch()) {
        std::fprintf(stderr, "simulator did not start\n%s", qPrintable(seen));
        return 0;
    }
    return quint16(ready.captured(1).toUInt());
}

bool SimulatedUnit::start(const char* who)
{
    driver.setFileName(QCoreApplication::applicationDirPath() + "/libvek5m_10-30k");
    query = reinterpret_cast<QueryFunc>(driver.resolve("Query"));
    if (query == nullptr) {
        std::fprintf(stderr, "%s: cannot load the driver: %s\n", who, qPrintable(driver.errorString()));
        return false;
    }
    port = startSimulator(sim);
    if (port == 0)
        return false;
    socket.connectToHost("127.0.0.1", port);
    if (!socket.waitForConnected(5000)) {
        std::fprintf(stderr, "%s: no connection to the simulator\n", who);
        return false;
    }
    return true;
}
