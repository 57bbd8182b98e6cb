// shot_mainview: photographs the unit's panel as a user sees it.
//
// Serves a simulated unit with upssim on loopback, polls it with a collector
// and the real model driver, shows the panel in a real window styled by the
// host's style sheet, and saves every main tab, and the overview with all of
// its information panels open, as PNG files:
//
//   xvfb-run -a -s "-screen 0 1600x1000x24" build/bin/shot_mainview [OUTDIR]
//       [--scenario FILE] [--size WIDTHxHEIGHT] [--level 0|1|2]
//
// The unit is the group "SHOTS" of dev.ini under the program's directory
// (build/bin/PVMX/drovaPanel/db); other groups are left alone. Exit status 0
// when every picture was saved, 1 otherwise.

#include "PortManage.h"
#include "vek5Client.h"
#include "vek5View.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QLibrary>
#include <QPixmap>
#include <QProcess>
#include <QRegularExpression>
#include <QScreen>
#include <QSettings>
#include <QTabWidget>
#include <QTest>
#include <QTimer>
#include <QVBoxLayout>
#include <QWindow>

#include <cstdio>
#include <functional>
#include <iterator>

namespace {

const char kUnit[] = "SHOTS";
const int kDataReport = 2007;
const int kFirstAlarmPoint = 2000;
const int kLastAlarmPoint = 2511;
const int kFirstModelPoint = 4016;

// The main tabs in tab order, with the file each one goes to.
const char* const kTabFiles[] = {"overview.png", "alarm.png", "rtdata.png", "control.png",
                                 "maintenance.png"};

void say(const QString& text)
{
    std::fprintf(stderr, "shot_mainview: %s\n", qPrintable(text));
}

// Runs the event loop until `done` holds or `ms` have passed.
bool waitUntil(int ms, const std::function<bool()>& done)
{
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() >= ms)
            return false;
        QEventLoop loop;
        QTimer::singleShot(50, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

void settle(int ms)
{
    waitUntil(ms, [] { return false; });
}

int activeAlarms(const QMap<int, QVariant>& data)
{
    int count = 0;
    for (auto it = data.lowerBound(kFirstAlarmPoint);
         it != data.end() && it.key() <= kLastAlarmPoint; ++it)
        count += it.value().toInt() == 1;
    return count;
}

// Starts upssim on a free loopback port; returns the port, or 0.
int startSimulator(QProcess& sim, const QString& binDir, const QString& scenario)
{
    sim.setProcessChannelMode(QProcess::MergedChannels);
    sim.start(binDir + QStringLiteral("/upssim"),
              {QStringLiteral("--tcp"), QStringLiteral("127.0.0.1:0"), QStringLiteral("--scenario"),
               scenario});
    const QRegularExpression listening(QStringLiteral("listening on 127\\.0\\.0\\.1:(\\d+),"));
    QString output;
    int port = 0;
    waitUntil(5000, [&] {
        output += QString::fromLocal8Bit(sim.readAll());
        const QRegularExpressionMatch m = listening.match(output);
        if (m.hasMatch())
            port = m.captured(1).toInt();
        return port > 0 || sim.state() == QProcess::NotRunning;
    });
    if (port == 0)
        say(QStringLiteral("the simulator did not start: %1").arg(output.trimmed()));
    return port;
}

void writeUnitConfig(const QString& binDir, int port)
{
    const QString dir = binDir + QStringLiteral("/PVMX/drovaPanel/db");
    QDir().mkpath(dir);
    QSettings dev(dir + QStringLiteral("/dev.ini"), QSettings::IniFormat);
    dev.beginGroup(QLatin1String(kUnit));
    dev.setValue(QStringLiteral("commType"), 1);
    dev.setValue(QStringLiteral("ipAddr"), QStringLiteral("127.0.0.1"));
    dev.setValue(QStringLiteral("port"), port);
    dev.setValue(QStringLiteral("addr"), 1);
    dev.setValue(QStringLiteral("interval"), 1);
    dev.setValue(QStringLiteral("retries"), 3);
    dev.endGroup();
}

bool save(QWidget* window, const QString& path)
{
    // What the window system shows, not a re-rendering of the widget.
    QPixmap picture = window->screen()->grabWindow(window->winId());
    if (picture.isNull())
        picture = window->grab();
    if (!picture.save(path)) {
        say(QStringLiteral("cannot write %1").arg(path));
        return false;
    }
    say(QStringLiteral("wrote %1 (%2 x %3)").arg(path).arg(picture.width()).arg(picture.height()));
    return true;
}

// Clicks every block of the energy-flow diagram once, which opens all six
// information panels (REC opens the rectifier/inverter and device panels).
void openAllPanels(QWidget* diagram)
{
    const int cx = diagram->width() / 2;
    const int cy = diagram->height() / 2;
    const QPoint blocks[] = {
        {cx - 262, cy},         // INPUT
        {cx - 262, cy - 150},   // BYPASS
        {cx + 262, cy},         // LOAD
        {cx, cy + 117},         // BATTERY
        {cx - 92, cy},          // REC
    };
    for (const QPoint& p : blocks)
        QTest::mouseClick(diagram, Qt::LeftButton, Qt::NoModifier, p);
}

} // namespace

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    const QString binDir = QCoreApplication::applicationDirPath();

    QString outDir = QStringLiteral(".");
    QString scenario = QStringLiteral(SHOT_SCENARIO);
    QSize size(1280, 860);
    int level = 2;
    const QStringList args = app.arguments().mid(1);
    for (int i = 0; i < args.size(); ++i) {
        const QString& a = args.at(i);
        const bool hasValue = i + 1 < args.size();
        if (a == QLatin1String("--scenario") && hasValue) {
            scenario = args.at(++i);
        } else if (a == QLatin1String("--size") && hasValue) {
            const QStringList wh = args.at(++i).split(QLatin1Char('x'));
            size = QSize(wh.value(0).toInt(), wh.value(1).toInt());
        } else if (a == QLatin1String("--level") && hasValue) {
            level = args.at(++i).toInt();
        } else if (!a.startsWith(QLatin1String("--"))) {
            outDir = a;
        } else {
            say(QStringLiteral("unknown option %1").arg(a));
            return 1;
        }
    }
    if (size.isEmpty()) {
        say(QStringLiteral("bad --size"));
        return 1;
    }
    QDir().mkpath(outDir);

    QProcess sim;
    const int port = startSimulator(sim, binDir, scenario);
    if (port == 0)
        return 1;
    writeUnitConfig(binDir, port);

    // The collector loads the driver by its bare name; loading this copy by
    // path first makes that name resolve to it.
    QLibrary driver(binDir + QStringLiteral("/libvek5m_10-30k.so"));
    if (!driver.load()) {
        say(QStringLiteral("cannot load the driver: %1").arg(driver.errorString()));
        return 1;
    }

    QFile style(QStringLiteral(":/host/style.qss"));
    if (style.open(QIODevice::ReadOnly))
        app.setStyleSheet(QString::fromUtf8(style.readAll()));

    vek5Client factory;
    auto* collector = static_cast<vek5Client*>(factory.create(PortManage::instance()));
    collector->m_devName = QLatin1String(kUnit);
    collector->loadConfig();
    CollectView* view = collector->getView();

    QMap<int, QVariant> last;
    int reports = 0;
    QObject::connect(collector, &CollectThread::postDEvent, view,
                     [&](int type, QMap<QString, QVariant> record) {
                         if (type != kDataReport)
                             return;
                         last = record.value(QStringLiteral("data")).value<QMap<int, QVariant>>();
                         ++reports;
                         view->flushData(last);
                     });

    QWidget window;
    window.setObjectName(QStringLiteral("UnitPage"));
    window.setWindowTitle(QStringLiteral("UPS monitor - %1").arg(QLatin1String(kUnit)));
    auto* layout = new QVBoxLayout(&window);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(view);
    view->setUserInfo(QStringLiteral("operator"), level);
    window.resize(size);
    window.show();
    collector->start();

    bool ok = waitUntil(30000, [&] {
        return activeAlarms(last) > 0 && last.value(kFirstModelPoint).toInt() != 0;
    });
    if (!ok)
        say(QStringLiteral("no data with an active alarm within 30 s"));
    // A few more reports, so the simulated values have moved off their start.
    const int seen = reports;
    waitUntil(5000, [&] { return reports >= seen + 2; });

    auto* tabs = view->findChild<QTabWidget*>(QStringLiteral("devStacketTable"));
    auto* diagram = view->findChild<QWidget*>(QStringLiteral("OverviewTable"));
    if (!tabs || !diagram) {
        say(QStringLiteral("the panel has no main tabs"));
        ok = false;
    } else {
        for (int t = 0; ok && t < tabs->count() && t < int(std::size(kTabFiles)); ++t) {
            if (!tabs->isTabEnabled(t))
                continue;
            tabs->setCurrentIndex(t);
            settle(700);
            ok = save(&window, QDir(outDir).filePath(QLatin1String(kTabFiles[t])));
        }
        if (ok) {
            tabs->setCurrentIndex(0);
            settle(300);
            openAllPanels(diagram);
            settle(700);
            ok = save(&window, QDir(outDir).filePath(QStringLiteral("overview-panels.png")));
        }
    }
    say(QStringLiteral("%1 data reports, %2 active alarms").arg(reports).arg(activeAlarms(last)));

    // The collector deletes its panel: take it out of the window first.
    layout->removeWidget(view);
    view->setParent(nullptr);
    collector->quit();
    collector->wait();
    delete collector;
    sim.terminate();
    sim.waitForFinished(3000);
    return ok ? 0 : 1;
}
