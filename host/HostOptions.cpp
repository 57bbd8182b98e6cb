#include "HostOptions.h"

#include <QCommandLineParser>

namespace {

bool positiveInt(const QString& text, int min, int max, int* out)
{
    bool ok = false;
    const int v = text.toInt(&ok);
    if (!ok || v < min || v > max)
        return false;
    *out = v;
    return true;
}

} // namespace

bool HostOptions::displayAvailable()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        || !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
}

bool HostOptions::parse(const QStringList& args, bool hasDisplay, HostOptions* out,
                        QString* error, QString* helpText)
{
    QCommandLineParser p;
    p.setApplicationDescription(QStringLiteral(
        "Monitors the UPS units listed in param.ini [host] units through the plugin."));
    const QCommandLineOption help(QStringList{QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Show this help."));
    const QCommandLineOption plugin(QStringLiteral("plugin"),
        QStringLiteral("Plugin file (default: libvek5m_10-30k_Client.so next to the program)."),
        QStringLiteral("path"));
    const QCommandLineOption driver(QStringLiteral("driver"),
        QStringLiteral("Model driver library (default: libvek5m_10-30k.so next to the plugin, else "
                       "found by the dynamic loader)."),
        QStringLiteral("path"));
    const QCommandLineOption headless(QStringLiteral("headless"),
        QStringLiteral("No window: one line per event on stdout (default without a display)."));
    const QCommandLineOption json(QStringLiteral("json"), QStringLiteral("Events as JSON lines."));
    const QCommandLineOption showData(QStringLiteral("show-data"),
        QStringLiteral("Also print a line for every data report."));
    const QCommandLineOption datalog(QStringLiteral("datalog"),
        QStringLiteral("Append the periodic data log to this CSV file."), QStringLiteral("file"));
    const QCommandLineOption duration(QStringLiteral("duration"),
        QStringLiteral("Exit cleanly after this many seconds."), QStringLiteral("seconds"));
    const QCommandLineOption logInterval(QStringLiteral("log-interval"),
        QStringLiteral("Seconds between data-log rows (default: param.ini [host] logInterval)."),
        QStringLiteral("seconds"));
    const QCommandLineOption answerTimeout(QStringLiteral("answer-timeout"),
        QStringLiteral("Seconds before a silent unit is reported (default: param.ini [host] answerTimeout)."),
        QStringLiteral("seconds"));
    const QCommandLineOption level(QStringLiteral("level"),
        QStringLiteral("Initial user level 0, 1 or 2 (window mode)."), QStringLiteral("level"));
    const QCommandLineOption command(QStringLiteral("command"),
        QStringLiteral("Send command ID (with VALUE) to every unit once it answers; repeatable."),
        QStringLiteral("id[:value]"));
    const QCommandLineOption metricsListen(QStringLiteral("metrics-listen"),
        QStringLiteral("Serve Prometheus metrics at http://ADDR:PORT/metrics (default: param.ini "
                       "[metrics] listen; off when neither is set)."),
        QStringLiteral("addr:port"));
    p.addOptions({help, plugin, driver, headless, json, showData, datalog, duration, logInterval,
                  answerTimeout, level, command, metricsListen});

    if (!p.parse(args)) {
        *error = p.errorText();
        return false;
    }
    if (p.isSet(help)) {
        *helpText = p.helpText();
        return true;
    }
    if (!p.positionalArguments().isEmpty()) {
        *error = QStringLiteral("unexpected argument: %1").arg(p.positionalArguments().first());
        return false;
    }

    HostOptions o;
    o.pluginPath = p.value(plugin);
    o.driverPath = p.value(driver);
    o.headless = p.isSet(headless) || !hasDisplay;
    o.json = p.isSet(json);
    o.showData = p.isSet(showData);
    o.dataLogPath = p.value(datalog);
    o.metricsListen = p.value(metricsListen);
    if (p.isSet(duration) && !positiveInt(p.value(duration), 1, 86400 * 365, &o.duration)) {
        *error = QStringLiteral("--duration needs a number of seconds, got \"%1\"").arg(p.value(duration));
        return false;
    }
    if (p.isSet(logInterval) && !positiveInt(p.value(logInterval), 1, 86400, &o.logInterval)) {
        *error = QStringLiteral("--log-interval needs a number of seconds, got \"%1\"").arg(p.value(logInterval));
        return false;
    }
    if (p.isSet(answerTimeout) && !positiveInt(p.value(answerTimeout), 1, 86400, &o.answerTimeout)) {
        *error = QStringLiteral("--answer-timeout needs a number of seconds, got \"%1\"").arg(p.value(answerTimeout));
        return false;
    }
    if (p.isSet(level) && !positiveInt(p.value(level), 0, 2, &o.userLevel)) {
        *error = QStringLiteral("--level must be 0, 1 or 2, got \"%1\"").arg(p.value(level));
        return false;
    }
    for (const QString& c : p.values(command)) {
        const int colon = c.indexOf(QLatin1Char(':'));
        int id = 0;
        if (!positiveInt(colon < 0 ? c : c.left(colon), 1, 65535, &id)) {
            *error = QStringLiteral("--command needs ID[:VALUE], got \"%1\"").arg(c);
            return false;
        }
        o.commands += qMakePair(id, colon < 0 ? QString() : c.mid(colon + 1));
    }
    *out = o;
    return true;
}
