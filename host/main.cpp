// upsmon-host: loads the UPS plugin and monitors the units listed in
// param.ini, in a window or, without a display or with --headless, on the
// console. Exit status:
//   0  clean stop (--help and --version too)
//   1  start-up failure: a configuration, plugin, driver or data-log file
//      missing or unusable, an address that cannot be listened on; with
//      --check-config, configuration problems
//   2  bad arguments: an unknown option, a value out of range or not of its
//      form, an unknown command or unit in --command, a refused file name
//   3  a unit never answered during the run

#include <QApplication>
#include <QFile>
#include <QTimer>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <unistd.h>

#include "ConsoleOutput.h"
#include "HostMonitor.h"
#include "HostOptions.h"
#include "LogFilter.h"
#include "MainWindow.h"
#include "SignalWatcher.h"

namespace {

void printErr(const QString& text)
{
    std::fprintf(stderr, "upsmon-host: %s\n", qPrintable(text));
}

// Every event carries the local time. Without TZ, glibc checks
// /etc/localtime with a stat() on every conversion, which a thousand units
// pay several times a cycle; so, unless the operator set TZ, the zone is
// pinned at start by naming that file in TZ (before any thread could read
// the environment). A new zone then takes a restart.
void pinTimeZone()
{
    if (!qEnvironmentVariableIsSet("TZ"))
        ::setenv("TZ", ":/etc/localtime", 1);
}

// Start-up, SIGHUP and --check-config read the configuration through this
// one function.
HostConfig readConfig(const HostOptions& options)
{
    HostConfig config;
    config.load(options.configDir.isEmpty() ? HostConfig::dbDir(QCoreApplication::applicationDirPath())
                                            : options.configDir,
                ConfigOverrides{options.nutListen, options.metricsListen, options.webListen, options.asUser});
    for (const QString& w : config.warnings())
        printErr(QStringLiteral("warning: %1").arg(w));
    return config;
}

// Prints each problem and then `verdict` (with the count); true when there
// were any.
bool reportProblems(const HostConfig& config, const QString& verdict)
{
    const QStringList problems = config.problems();
    for (const QString& p : problems)
        printErr(p);
    if (!problems.isEmpty())
        printErr(verdict.arg(problems.size()));
    return !problems.isEmpty();
}

int checkConfig(const HostOptions& options)
{
    const HostConfig config = readConfig(options);
    if (options.printConfig)
        for (const QString& line : config.effective())
            std::printf("%s\n", qPrintable(line));
    const QStringList problems = config.problems();
    for (const QString& p : problems)
        std::printf("%s\n", qPrintable(p));
    if (problems.isEmpty())
        std::printf("%s: %d units, no problems\n", qPrintable(config.dir()), int(config.units().size()));
    return problems.isEmpty() ? 0 : 1;
}

} // namespace

int main(int argc, char* argv[])
{
    QStringList args;
    for (int i = 0; i < argc; ++i)
        args += QString::fromLocal8Bit(argv[i]);
    HostOptions options;
    QString error;
    if (!HostOptions::parse(args, HostOptions::displayAvailable(), &options, &error)) {
        printErr(error);
        return 2;
    }
    if (options.help || options.version) {
        QCoreApplication app(argc, argv);
        QCoreApplication::setApplicationName(QStringLiteral("upsmon-host"));
        if (options.help)
            std::fputs(qPrintable(HostOptions::helpText()), stdout);
        else
            std::printf("upsmon-host %s\n", VEK5_VERSION);
        return 0;
    }
    LogFilter::install(options.verbose);
    if (options.checkConfig) {
        QCoreApplication app(argc, argv);
        return checkConfig(options);
    }

    pinTimeZone();
    std::unique_ptr<QCoreApplication> app(options.headless ? new QCoreApplication(argc, argv)
                                                           : new QApplication(argc, argv));
    QCoreApplication::setApplicationName(QStringLiteral("upsmon-host"));

    const HostConfig config = readConfig(options);
    if (reportProblems(config, QStringLiteral("not started: the configuration has %1 problem(s) (upsmon-host --check-config)")))
        return 1;

    HostMonitor monitor(options);
    SignalWatcher watcher;
    QObject::connect(&watcher, &SignalWatcher::terminationRequested, app.get(), [&](int sig) {
        printErr(QStringLiteral("signal %1 (%2), stopping").arg(sig).arg(QLatin1String(sigabbrev_np(sig))));
        QCoreApplication::quit();
    });
    QObject::connect(&watcher, &SignalWatcher::reloadRequested, &monitor, [&] {
        const HostConfig next = readConfig(options);
        if (reportProblems(next, QStringLiteral("signal 1 (HUP): reload refused, the running configuration stays (%1 problem(s))")))
            return;
        printErr(QStringLiteral("signal 1 (HUP): %1").arg(monitor.reload(next)));
    });
    std::unique_ptr<ConsoleOutput> console;
    if (options.headless) {
        console.reset(new ConsoleOutput(options.json, options.showData));
        QObject::connect(&monitor, &HostMonitor::hostEvent, console.get(), &ConsoleOutput::print);
    }
    if (!monitor.start(config, !options.headless, &error)) {
        printErr(error);
        return monitor.argumentRefused() ? 2 : 1;
    }

    std::unique_ptr<MainWindow> window;
    if (!options.headless) {
        QFile style(QStringLiteral(":/host/style.qss"));
        if (style.open(QIODevice::ReadOnly))
            qApp->setStyleSheet(QString::fromUtf8(style.readAll()));
        window.reset(new MainWindow(&monitor, options.userLevel));
        window->show();
    }
    if (options.duration > 0)
        QTimer::singleShot(options.duration * 1000, app.get(), &QCoreApplication::quit);

    app->exec();

    const QStringList silent = monitor.silentUnits();
    // Collectors own their panels: stop them while the window still holds
    // the panels, then let the window go.
    const QStringList abandoned = monitor.shutdown();
    if (!abandoned.isEmpty()) {
        // A collector blocked in a connect cannot be stopped or deleted; the
        // process leaves without running destructors that would meet it.
        printErr(QStringLiteral("abandoned the collectors of %1").arg(abandoned.join(QStringLiteral(", "))));
        std::fflush(stdout);
        std::fflush(stderr);
        _exit(silent.isEmpty() ? 0 : 3);
    }
    window.reset();
    if (!silent.isEmpty()) {
        printErr(QStringLiteral("never answered: %1").arg(silent.join(QStringLiteral(", "))));
        return 3;
    }
    return 0;
}
