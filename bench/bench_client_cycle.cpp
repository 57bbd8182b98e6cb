// One polling cycle's own work with a full data map: every point handed in
// through the driver callback, the (empty) command runner, and the report
// with the host connected. The driver's bus traffic is not part of it.

#include "points.h"
#include "vek5Client.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>

namespace {

struct PointRange
{
    int first;
    int last;
};

// Alarm states, settings and device information, real-time measurements.
const PointRange kPoints[] = {{point::FirstAlarm, point::LastAlarm}, {point::FirstSetting, point::LastSetting},
                               {point::FirstReading, point::LastReading}};

void feed(vek5Client& client, float alarmValue)
{
    void* context = &client.m_driverContext;
    for (const PointRange& range : kPoints) {
        for (int id = range.first; id <= range.last; ++id) {
            const float value = range.first == point::FirstAlarm ? alarmValue : float(id % 97) * 1.5f;
            vek5DataProce(id, value, context);
        }
    }
}

// Kept out of line so that callgrind can count one cycle's instructions
// (--toggle-collect=*oneCycle*).
__attribute__((noinline)) void oneCycle(vek5Client& client, float alarm)
{
    feed(client, alarm);
    client.check_set_command();
    client.reportData();
}

void runCycles(benchmark::State& state, bool toggleAlarms)
{
    vek5Client client;
    client.m_devName = "bench";
    qint64 events = 0;
    QObject::connect(&client, &CollectThread::postDEvent,
                     [&events](int, QMap<QString, QVariant> record) { events += record.size(); });
    feed(client, 0.0f);
    client.reportData();
    float alarm = 0.0f;
    for (auto _ : state) {
        if (toggleAlarms)
            alarm = alarm == 0.0f ? 1.0f : 0.0f;
        oneCycle(client, alarm);
    }
    state.counters["points"] = double(client.m_dataMap.size());
    state.counters["alarms"] = double(client.getEventLogDesc().size() / 2);
    benchmark::DoNotOptimize(events);
}

// The report alone, points unchanged since the last one.
void BM_ReportSteady(benchmark::State& state)
{
    vek5Client client;
    client.m_devName = "bench";
    feed(client, 0.0f);
    client.reportData();
    for (auto _ : state)
        client.reportData();
}

void BM_CycleSteady(benchmark::State& state) { runCycles(state, false); }
void BM_CycleAllAlarmsToggle(benchmark::State& state) { runCycles(state, true); }

} // namespace

BENCHMARK(BM_ReportSteady)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CycleSteady)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CycleAllAlarmsToggle)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
