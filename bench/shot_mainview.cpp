// shot_mainview: photographs the unit's panel as a user sees it (upssim
// polled by a collector with the real driver, styled by the host's style
// sheet): every main tab, and the overview with all information panels open.
//
//   xvfb-run -a -s "-screen 0 1600x1000x24" build/bin/shot_mainview [OUTDIR]
//   build/bin/shot_mainview --compare DIR_A DIR_B
//
// The unit is the group "SHOTS" of dev.ini under the program's directory.
// Two runs give the same pictures pixel for pixel when the wall clock is
// pinned (bench/shots_same.sh runs it under faketime): the simulator is
// frozen at its scenario's first step and the energy-flow dashes are held
// at their start, so every report after the first shows the same values.
// --compare prints, per picture, how many pixels differ between two runs.

#include "PortManage.h"
#include "EventTypes.h"
#include "RecordKeys.h"
#include "SimulatorProcess.h"
#include "points.h"
#include "vek5Client.h"
#include "vek5View.h"

#include <QApplication>
#include <QDir>
#include <QTest>
#include <QScreen>
#include <QSettings>
#include <QTabWidget>
#include <QTimer>
#include <QVBoxLayout>

#include <cstdio>

namespace {

const char* const kPictures[] = {"overview.png",    "alarm.png",          "rtdata.png",
                                 "control.png",     "maintenance.png",    "overview-panels.png"};

// Exit status 0 when every picture is in both folders with no pixel apart.
int compare(const QDir& a, const QDir& b)
{
    bool same = true;
    for (const char* name : kPictures) {
        const QImage left = QImage(a.filePath(name)).convertToFormat(QImage::Format_ARGB32);
        const QImage right = QImage(b.filePath(name)).convertToFormat(QImage::Format_ARGB32);
        if (left.isNull() || right.isNull() || left.size() != right.size()) {
            std::printf("%-20s %s\n", name, left.isNull() || right.isNull() ? "missing" : "sizes differ");
            same = false;
            continue;
        }
        qint64 differ = 0;
        for (int y = 0; y < left.height(); ++y) {
            const auto* l = reinterpret_cast<const QRgb*>(left.constScanLine(y));
            const auto* r = reinterpret_cast<const QRgb*>(right.constScanLine(y));
            for (int x = 0; x < left.width(); ++x)
                differ += l[x] != r[x];
        }
        std::printf("%-20s %lld of %lld pixels differ\n", name, static_cast<long long>(differ),
                    static_cast<long long>(left.width()) * left.height());
        same = same && differ == 0;
    }
    return same ? 0 : 1;
}

bool save(QWidget* window, const QString& path)
{
    // What the window system shows, not a re-rendering of the widget.
    QPixmap picture = window->screen()->grabWindow(window->winId());
    if (picture.isNull())
        picture = window->grab();
    qInfo("shot_mainview: %s %s", picture.save(path) ? "wrote" : "cannot write", qPrintable(path));
    return QFileInfo::exists(path);
}

int activeAlarms(const QMap<int, QVariant>& data)
{
    int count = 0;
    for (auto it = data.lowerBound(point::FirstAlarm); it != data.end() && it.key() <= point::LastAlarm; ++it)
        count += it.value().toInt() == 1;
    return count;
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc == 4 && qstrcmp(argv[1], "--compare") == 0)
        return compare(QDir(argv[2]), QDir(argv[3]));
    if (qEnvironmentVariableIsEmpty("FAKETIME"))
        qInfo("shot_mainview: the wall clock is not pinned; times shown differ from run to run");
    QApplication app(argc, argv);
    const QString binDir = QCoreApplication::applicationDirPath();
    const QString outDir = app.arguments().value(1, ".");
    QDir().mkpath(outDir);

    QProcess sim;
    // Frozen (speed 0): the unit holds what the scenario sets at its start.
    const quint16 port = startSimulator(sim, {"--scenario", SHOT_SCENARIO});
    if (port == 0)
        return 1;
    {
        QSettings dev(binDir + "/PVMX/drovaPanel/db/dev.ini", QSettings::IniFormat);
        for (const auto& [key, value] : {std::pair<const char*, QVariant>("commType", 1), {"ipAddr", "127.0.0.1"},
                                         {"port", port}, {"addr", 1}, {"interval", 1}, {"retries", 3}})
            dev.setValue(QString("SHOTS/") + key, value);
    }
    // The collector loads the driver by its bare name; this copy loaded by path answers to it.
    QLibrary driver(binDir + "/libvek5m_10-30k.so");
    QFile style(":/host/style.qss");
    if (!driver.load() || !style.open(QIODevice::ReadOnly))
        return 1;
    app.setStyleSheet(QString::fromUtf8(style.readAll()));

    vek5Client factory;
    auto* collector = static_cast<vek5Client*>(factory.create(PortManage::instance()));
    collector->m_devName = "SHOTS";
    collector->loadConfig();
    CollectView* view = collector->getView();
    // The dashes move on a timer: stopped before its first tick, they stay at their start.
    if (auto* flowTimer = view->findChild<QWidget*>("OverviewTable")->findChild<QTimer*>())
        flowTimer->stop();
    QMap<int, QVariant> last;
    int reports = 0;
    QObject::connect(collector, &CollectThread::postDEvent, view, [&](int type, QMap<QString, QVariant> record) {
        if (type == EventType::DataReport) {
            last = record.value(RecordKey::Data).value<QMap<int, QVariant>>();
            ++reports;
            view->flushData(last);
        }
    });
    QWidget window;
    window.setObjectName("UnitPage");
    window.setWindowTitle("UPS monitor - SHOTS");
    auto* layout = new QVBoxLayout(&window);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(view);
    view->setUserInfo("operator", 2);
    window.resize(1280, 860);
    window.show();
    collector->start();

    bool ok = QTest::qWaitFor([&] { return activeAlarms(last) > 0 && last.value(point::Model).toInt() != 0; }, 30000);
    auto* tabs = view->findChild<QTabWidget*>("devStacketTable");
    for (int t = 0; ok && t < 5; ++t) {
        tabs->setCurrentIndex(t);
        QTest::qWait(700);   // let the tab paint before it is photographed
        ok = save(&window, QDir(outDir).filePath(kPictures[t]));
    }
    tabs->setCurrentIndex(0);
    QWidget* diagram = view->findChild<QWidget*>("OverviewTable");
    const QPoint centre(diagram->width() / 2, diagram->height() / 2);
    // INPUT, BYPASS, LOAD, BATTERY and REC open all six information panels.
    for (const QPoint& p : {QPoint(-262, 0), QPoint(-262, -150), QPoint(262, 0), QPoint(0, 117), QPoint(-92, 0)})
        QTest::mouseClick(diagram, Qt::LeftButton, Qt::NoModifier, centre + p);
    QTest::qWait(700);
    ok = ok && save(&window, QDir(outDir).filePath(kPictures[5]));
    qInfo("shot_mainview: %d data reports, %d active alarms", reports, activeAlarms(last));

    // The collector deletes its panel: take it out of the window first.
    layout->removeWidget(view);
    view->setParent(nullptr);
    collector->quit();
    collector->wait();
    delete collector;
    sim.terminate();
    sim.waitForFinished();
    return ok ? 0 : 1;
}
