// Cost of refreshData on each tab of the unit's panel with a full data map
// (every alarm, setting, information and measurement point; one alarm in
// eight active). Arguments: tab index 0-4 (overview, alarm, real-time data,
// control, maintenance).

#include "vek5View.h"

#include <QApplication>
#include <QTabWidget>
#include <benchmark/benchmark.h>

namespace {

QMap<int, QVariant> fullData()
{
    QMap<int, QVariant> data;
    for (int id = 2000; id <= 2511; ++id)
        data.insert(id, id % 8 == 0 ? 1 : 0);
    for (int id = 3000; id <= 3163; ++id)
        data.insert(id, float(id % 97) * 1.5f);
    for (int id = 4000; id <= 4275; ++id)
        data.insert(id, float(40 + id % 50));
    return data;
}

void BM_RefreshData(benchmark::State& state)
{
    vek5View view;
    view.resize(1280, 800);
    view.refreshLayout();
    view.setUserInfo("admin", 2);
    auto* tabs = view.findChild<QTabWidget*>(QStringLiteral("devStacketTable"));
    if (tabs == nullptr || state.range(0) >= tabs->count()) {
        state.SkipWithError("no such tab");
        return;
    }
    tabs->setCurrentIndex(int(state.range(0)));
    view.flushData(fullData());
    for (auto _ : state)
        view.refreshData();
}
BENCHMARK(BM_RefreshData)->DenseRange(0, 4)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
