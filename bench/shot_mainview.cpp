// shot_mainview: photographs the unit's panel as a user sees it (upssim
// polled by a collector with the real driver, styled by the host's style
// sheet): every main tab, and the overview with all information panels open.
//
//   xvfb-run -a -s "-screen 0 1600x1000x24" build/bin/shot_mainview [OUTDIR]
//
// The unit is the group "SHOTS" of dev.ini under the program's directory.

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
#include <QVBoxLayout>

namespace {

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
    QApplication app(argc, argv);
    const QString binDir = QCoreApplication::applicationDirPath();
    const QString outDir = app.arguments().value(1, ".");
    QDir().mkpath(outDir);

    QProcess sim;
    // The scenario runs at its own pace: an alarm comes up while the panel is shown.
    const quint16 port = startSimulator(sim, {"--scenario", SHOT_SCENARIO, "--speed", "1"});
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

    // An active alarm and a few more reports, so the values have moved off their start.
    bool ok = QTest::qWaitFor([&] { return activeAlarms(last) > 0 && last.value(point::Model).toInt() != 0; }, 30000);
    const int seen = reports;
    static_cast<void>(QTest::qWaitFor([&] { return reports >= seen + 2; }, 10000));
    auto* tabs = view->findChild<QTabWidget*>("devStacketTable");
    const char* const files[] = {"overview.png", "alarm.png", "rtdata.png", "control.png", "maintenance.png"};
    for (int t = 0; ok && t < 5; ++t) {
        tabs->setCurrentIndex(t);
        QTest::qWait(700);   // let the tab paint before it is photographed
        ok = save(&window, QDir(outDir).filePath(files[t]));
    }
    tabs->setCurrentIndex(0);
    QWidget* diagram = view->findChild<QWidget*>("OverviewTable");
    const QPoint centre(diagram->width() / 2, diagram->height() / 2);
    // INPUT, BYPASS, LOAD, BATTERY and REC open all six information panels.
    for (const QPoint& p : {QPoint(-262, 0), QPoint(-262, -150), QPoint(262, 0), QPoint(0, 117), QPoint(-92, 0)})
        QTest::mouseClick(diagram, Qt::LeftButton, Qt::NoModifier, centre + p);
    QTest::qWait(700);
    ok = ok && save(&window, QDir(outDir).filePath("overview-panels.png"));
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
