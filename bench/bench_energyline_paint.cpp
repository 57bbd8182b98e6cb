// Cost of one paint of the energy-flow diagram at 1280 x 800: every flow
// running, every information panel open, every point it reads present.

#include "Energyline.h"
#include "points.h"

#include <QApplication>
#include <QImage>
#include <QMouseEvent>
#include <benchmark/benchmark.h>

namespace {

QMap<int, QVariant> fullData()
{
    QMap<int, QVariant> data;
    for (int id = point::FirstFlow; id <= point::LastFlow; ++id)
        data.insert(id, 1);
    for (int id : {point::BypassPhases, point::InputPhases, point::OutputPhases})
        data.insert(id, 3);
    for (int id = point::InputVoltageR; id <= point::BypassFrequencyT; ++id)
        data.insert(id, 200.0 + id % 50 + 0.25);
    const char* model = "UPS-30K";
    for (int i = 0; model[i]; ++i) {
        data.insert(point::Manufacturer + i, int(model[i]));
        data.insert(point::Model + i, int(model[i]));
        data.insert(point::DeviceName + i, int(model[i]));
    }
    const QList<QPair<int, QVariant>> singles = {
        {point::BypassStatus, 1}, {point::WorkMode, 1}, {point::ModelId, 2}, {point::OutputLoadOn, 2},
        {point::BatteryStatus, 3}, {point::RectifierStatus, 2}, {point::InverterStatus, 2},
        {point::RectifierTemperature, 41.5}, {point::InverterTemperature, 39.0},
        {point::BatteryVoltagePositive, 240.0}, {point::BatteryVoltageNegative, -240.0},
        {point::BatteryCurrentPositive, 1.5}, {point::BatteryCurrentNegative, -1.5},
        {point::BatteryTemperature, 25.0}, {point::BatteryRuntime, 90}, {point::BatteryCharge, 100}};
    for (const auto& s : singles)
        data.insert(s.first, s.second);
    return data;
}

void click(QWidget& w, const QPoint& pos)
{
    QMouseEvent press(QEvent::MouseButtonPress, QPointF(pos), Qt::LeftButton, Qt::LeftButton,
                      Qt::NoModifier);
    QApplication::sendEvent(&w, &press);
}

void BM_EnergylinePaint(benchmark::State& state)
{
    Energyline w;
    w.resize(1280, 800);
    w.flushData(fullData());
    const QPoint centre(640, 400);
    // Input, bypass, load, battery and inverter: opens all six panels.
    for (const QPoint& p : {QPoint(-262, 0), QPoint(-262, -150), QPoint(262, 0), QPoint(0, 117),
                            QPoint(92, 0)})
        click(w, centre + p);
    for (int i = 0; i < Energyline::ViewCount; ++i) {
        if (!w.viewFlag(i)) {
            state.SkipWithError("panels did not open");
            return;
        }
    }

    QImage image(w.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    for (auto _ : state) {
        w.advanceFlow();
        w.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
        benchmark::DoNotOptimize(image.constBits());
    }
}
BENCHMARK(BM_EnergylinePaint)->Unit(benchmark::kMicrosecond);

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
