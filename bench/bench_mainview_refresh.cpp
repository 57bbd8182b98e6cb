// The unit panel's refresh with a full data map (every point present, one
// alarm in eight active): refreshData with each main tab current, the way
// the host drives it on every data report.

#include "points.h"
#include "vek5View.h"

#include <QApplication>
#include <QTabWidget>

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
// Identity texts, one character per point.
const PointRange kTexts[] = {{point::Manufacturer, point::Model + point::ModelLength - 1},
                              {point::DeviceName, point::DeviceName + point::DeviceNameLength - 1}};

// Points whose value picks a text or a layout: valid entries, three phases,
// every flow flag set.
const struct
{
    int id;
    int value;
} kChoices[] = {
    {point::BatteryStatus, 2}, {point::InputPhases, 3}, {point::OutputLoadOn, 2}, {point::OutputPhases, 3},
    {point::BypassStatus, 1}, {point::BypassPhases, 3}, {point::LoadOnBypass, 1}, {point::MainsToRectifier, 1},
    {point::RectifierToBus, 1}, {point::InverterRunning, 1}, {point::InverterToLoad, 1},
    {point::OutputSupplied, 1}, {point::BatteryFlowing, 1}, {point::RectifierStatus, 2},
    {point::InverterStatus, 2}, {point::ModelId, 2}, {point::WorkMode, 1},
};

const int kAlarmEvery = 8;

QMap<int, QVariant> fullDataMap()
{
    QMap<int, QVariant> data;
    for (const PointRange& range : kPoints) {
        for (int id = range.first; id <= range.last; ++id) {
            if (range.first == point::FirstAlarm)
                data.insert(id, (id - point::FirstAlarm) % kAlarmEvery == 0 ? 1 : 0);
            else
                data.insert(id, float(id % 97) * 1.5f);
        }
    }
    for (const PointRange& range : kTexts) {
        for (int id = range.first; id <= range.last; ++id)
            data.insert(id, int('A' + id % 26));
    }
    for (const auto& c : kChoices)
        data.insert(c.id, c.value);
    return data;
}

void refreshTab(benchmark::State& state, int tab)
{
    vek5View view;
    view.setName(QStringLiteral("bench"));
    view.refreshLayout();
    view.setUserInfo(QStringLiteral("bench"), 2);
    auto* tabs = view.findChild<QTabWidget*>(QStringLiteral("devStacketTable"));
    tabs->setCurrentIndex(tab);
    const QMap<int, QVariant> data = fullDataMap();
    view.flushData(data);
    for (auto _ : state)
        view.refreshData();
    state.counters["points"] = double(data.size());
    int alarms = 0;
    for (int id = point::FirstAlarm; id <= point::LastAlarm; ++id)
        alarms += data.value(id).toInt() == 1;
    state.counters["alarms"] = alarms;
}

void BM_RefreshOverview(benchmark::State& state) { refreshTab(state, 0); }
void BM_RefreshAlarm(benchmark::State& state) { refreshTab(state, 1); }
void BM_RefreshRtData(benchmark::State& state) { refreshTab(state, 2); }
void BM_RefreshControl(benchmark::State& state) { refreshTab(state, 3); }
void BM_RefreshMaintenance(benchmark::State& state) { refreshTab(state, 4); }

} // namespace

BENCHMARK(BM_RefreshOverview)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RefreshAlarm)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RefreshRtData)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RefreshControl)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RefreshMaintenance)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv)
{
    // Widgets need an application; nothing is shown.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
