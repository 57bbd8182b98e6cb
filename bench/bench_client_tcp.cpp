// One whole collector cycle against the simulated unit over loopback Modbus
// TCP: the real driver library's full read through TcpCommRead/TcpCommWrite
// and a real socket, the callback intake and the report, driven through
// poll(). The socket is connected up front, so no cycle pays the reconnect
// pause.

#include "UpsCommand.h"
#include "SimulatorProcess.h"
#include "points.h"
#include "vek5Client.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTcpSocket>
#include <QThread>

#include <cstring>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

int g_simPort = 0;

// `pauseMs` > 0: between two cycles the thread sleeps that long and other
// work passes through the caches, as between two cycles of a unit in a host
// that polls many: what one cycle costs when nothing of it is still warm.
void runCycles(benchmark::State& state, bool withSetting, int pauseMs = 0)
{
    vek5Client client;
    if (client.m_lib == nullptr || client.m_query == nullptr) {
        state.SkipWithError("driver library not loaded");
        return;
    }
    client.m_devName = "bench";
    client.m_devAddr = 1;
    client.m_commType = 1;
    client.m_ipAddr = "127.0.0.1";
    client.m_tcpPort = g_simPort;
    client.m_interval = 0;   // every poll() runs a cycle
    client.m_tcpSocket = new QTcpSocket();
    client.m_tcpSocket->setReadBufferSize(vek5Client::kTcpReadBufferSize);
    client.m_tcpSocket->connectToHost(client.m_ipAddr, quint16(g_simPort));
    if (!client.m_tcpSocket->waitForConnected(5000)) {
        state.SkipWithError("no connection to the simulator");
        return;
    }
    qint64 events = 0;
    QObject::connect(&client, &CollectThread::postDEvent, [&events](int, QMap<QString, QVariant>) { ++events; });
    client.poll();
    if (client.m_commState != 0) {
        state.SkipWithError("the unit did not answer");
        return;
    }
    events = 0;
    const QString setting = QStringLiteral("%1,40").arg(point::BatteryBlocks);
    std::vector<char> others(pauseMs > 0 ? 32 << 20 : 0);
    for (auto _ : state) {
        if (pauseMs > 0) {
            state.PauseTiming();
            std::memset(others.data(), int(state.iterations()), others.size());
            QThread::msleep(unsigned(pauseMs));
            state.ResumeTiming();
        }
        if (withSetting)
            client.control(UpsCommand::RawSetting, setting);
        client.poll();
    }
    if (client.m_commState != 0)
        state.SkipWithError("the unit stopped answering");
    state.counters["points"] = double(client.m_dataMap.size());
    state.counters["events/cycle"] = benchmark::Counter(double(events), benchmark::Counter::kAvgIterations);
}

void BM_CycleTcp(benchmark::State& state) { runCycles(state, false); }
void BM_CycleTcpWithSetting(benchmark::State& state) { runCycles(state, true); }
void BM_CycleTcpCold(benchmark::State& state) { runCycles(state, false, int(state.range(0))); }

} // namespace

BENCHMARK(BM_CycleTcp)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CycleTcpWithSetting)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CycleTcpCold)->Arg(200)->Iterations(50)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    QProcess sim;
    g_simPort = startSimulator(sim);
    if (g_simPort == 0)
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    sim.terminate();
    sim.waitForFinished(3000);
    return 0;
}
