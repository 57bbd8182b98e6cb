#include "HostOptions.h"

#include <QCommandLineParser>

#include "MetricsExporter.h"
#include "NutServer.h"
#include "WebSettings.h"

#include "CommandTable.h"

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

namespace {

struct Options
{
    QCommandLineOption help{QStringList{QStringLiteral("h"), QStringLiteral("help")},
                            QStringLiteral("Show this help.")};
    QCommandLineOption version{QStringList{QStringLiteral("v"), QStringLiteral("version")},
                               QStringLiteral("Show the version.")};
    QCommandLineOption config{QStringLiteral("config"),
        QStringLiteral("Configuration directory with param.ini and dev.ini (default: "
                       "PVMX/drovaPanel/db under the program's directory)."), QStringLiteral("dir")};
    QCommandLineOption checkConfig{QStringLiteral("check-config"),
        QStringLiteral("Check the configuration, print one line per problem; exit 1 if there are any.")};
    QCommandLineOption print{QStringLiteral("print"),
        QStringLiteral("With --check-config: print every host setting as it will be used.")};
    QCommandLineOption asUser{QStringLiteral("as-user"),
        QStringLiteral("With --check-config: check that this user (the service's) can read the NUT users file."),
        QStringLiteral("user")};
    QCommandLineOption plugin{QStringLiteral("plugin"),
        QStringLiteral("Plugin file (default: libvek5m_10-30k_Client.so next to the program)."),
        QStringLiteral("path")};
    QCommandLineOption driver{QStringLiteral("driver"),
        QStringLiteral("Model driver library (default: libvek5m_10-30k.so next to the plugin, else "
                       "found by the dynamic loader)."), QStringLiteral("path")};
    QCommandLineOption headless{QStringLiteral("headless"),
        QStringLiteral("No window: one line per event on stdout (default without a display).")};
    QCommandLineOption json{QStringLiteral("json"), QStringLiteral("Events as JSON lines.")};
    QCommandLineOption showData{QStringLiteral("show-data"),
        QStringLiteral("Also print a line for every data report.")};
    QCommandLineOption verbose{QStringLiteral("verbose"),
        QStringLiteral("Show every debug line of the plugin, repeats included.")};
    QCommandLineOption dryRun{QStringLiteral("dry-run"),
        QStringLiteral("Print the policy's shutdownCmd / notifyCmd instead of running them.")};
    QCommandLineOption datalog{QStringLiteral("datalog"),
        QStringLiteral("Append the periodic data log to this CSV file."), QStringLiteral("file")};
    QCommandLineOption duration{QStringLiteral("duration"),
        QStringLiteral("Exit cleanly after this many seconds."), QStringLiteral("seconds")};
    QCommandLineOption logInterval{QStringLiteral("log-interval"),
        QStringLiteral("Seconds between data-log rows (default: param.ini [host] logInterval)."),
        QStringLiteral("seconds")};
    QCommandLineOption answerTimeout{QStringLiteral("answer-timeout"),
        QStringLiteral("Seconds before a silent unit is reported (default: param.ini [host] answerTimeout)."),
        QStringLiteral("seconds")};
    QCommandLineOption level{QStringLiteral("level"),
        QStringLiteral("Initial user level 0, 1 or 2 (window mode)."), QStringLiteral("level")};
    QCommandLineOption nutListen{QStringLiteral("nut-listen"),
        QStringLiteral("NUT server addresses, overriding param.ini [nut] listen (\"off\": no server)."),
        QStringLiteral("addr:port[,...]")};
    QCommandLineOption command{QStringLiteral("command"),
        QStringLiteral("Send command NAME (a name below or a control id) to UNIT once it answers; "
                       "repeatable."), QStringLiteral("unit:name[:value]")};
    QCommandLineOption metricsListen{QStringLiteral("metrics-listen"),
        QStringLiteral("Serve Prometheus metrics at http://ADDR:PORT/metrics (default: param.ini "
                       "[metrics] listen; \"off\" or neither set: none)."), QStringLiteral("addr:port")};
    QCommandLineOption webListen{QStringLiteral("web-listen"),
        QStringLiteral("Serve the web console at http(s)://ADDR:PORT/ (default: param.ini [web] listen, "
                       "else 127.0.0.1:8080; \"off\": none)."), QStringLiteral("addr:port|off")};

    void addTo(QCommandLineParser* p) const
    {
        p->addOptions({help, version, config, checkConfig, print, asUser, plugin, driver, headless, json, showData,
                       verbose, dryRun, datalog, duration, logInterval, answerTimeout, level, nutListen, command,
                       metricsListen, webListen});
    }
};

QString description()
{
    QString text = QStringLiteral(
        "Monitors the UPS units listed in param.ini [host] units through the plugin.\n\nCommands:");
    for (const UpsCommand* c : hostCommands())
        text += QStringLiteral("\n  %1 (%2)  %3").arg(QLatin1String(c->nutName)).arg(c->id)
                    .arg(QLatin1String(c->description));
    return text;
}

} // namespace

QString HostOptions::helpText()
{
    QCommandLineParser p;
    p.setApplicationDescription(description());
    Options().addTo(&p);
    return p.helpText();
}

bool HostOptions::parse(const QStringList& args, bool hasDisplay, HostOptions* out, QString* error)
{
    QCommandLineParser p;
    const Options opt;
    opt.addTo(&p);
    if (!p.parse(args)) {
        *error = p.errorText();
        return false;
    }
    HostOptions o;
    o.help = p.isSet(opt.help);
    o.version = p.isSet(opt.version);
    if (o.help || o.version) {
        *out = o;
        return true;
    }
    if (!p.positionalArguments().isEmpty()) {
        *error = QStringLiteral("unexpected argument: %1").arg(p.positionalArguments().first());
        return false;
    }

    o.pluginPath = p.value(opt.plugin);
    o.driverPath = p.value(opt.driver);
    o.configDir = p.value(opt.config);
    o.checkConfig = p.isSet(opt.checkConfig);
    o.printConfig = p.isSet(opt.print);
    o.asUser = p.value(opt.asUser);
    if ((o.printConfig || !o.asUser.isEmpty()) && !o.checkConfig) {
        *error = QStringLiteral("--print and --as-user go with --check-config");
        return false;
    }
    o.dryRun = p.isSet(opt.dryRun);
    o.verbose = p.isSet(opt.verbose);
    o.headless = p.isSet(opt.headless) || !hasDisplay || o.checkConfig;
    o.json = p.isSet(opt.json);
    o.showData = p.isSet(opt.showData);
    o.dataLogPath = p.value(opt.datalog);
    o.nutListen = p.value(opt.nutListen);
    QList<QPair<QHostAddress, quint16>> nutAddresses;
    if (!NutServerConfig::parseListen(o.nutListen, &nutAddresses, error)) {
        error->replace(QStringLiteral("[nut] listen"), QStringLiteral("--nut-listen"));
        return false;
    }
    o.metricsListen = p.value(opt.metricsListen);
    std::string metricsAddress;
    if (!o.metricsListen.isEmpty() && o.metricsListen.compare(QLatin1String("off"), Qt::CaseInsensitive) != 0
        && !MetricsExporter::bindAddress(o.metricsListen, &metricsAddress, error)) {
        error->prepend(QStringLiteral("--metrics-listen: "));
        return false;
    }
    o.webListen = p.value(opt.webListen);
    WebSettings web;
    if (p.isSet(opt.webListen) && !WebSettings::parseListen(o.webListen, &web, error)) {
        error->prepend(QStringLiteral("--web-listen: "));
        return false;
    }
    const struct { const QCommandLineOption& option; int min; int max; int* value; } numbers[] = {
        {opt.duration, 1, 86400 * 365, &o.duration},
        {opt.logInterval, 1, 86400, &o.logInterval},
        {opt.answerTimeout, 1, 86400, &o.answerTimeout},
        {opt.level, 0, 2, &o.userLevel},
    };
    for (const auto& n : numbers) {
        if (p.isSet(n.option) && !positiveInt(p.value(n.option), n.min, n.max, n.value)) {
            *error = QStringLiteral("--%1 needs a whole number %2-%3, got \"%4\"")
                         .arg(n.option.names().constLast()).arg(n.min).arg(n.max).arg(p.value(n.option));
            return false;
        }
    }
    for (const QString& c : p.values(opt.command)) {
        const QStringList parts = c.split(QLatin1Char(':'));
        if (parts.size() < 2 || parts.at(0).isEmpty() || parts.at(1).isEmpty()) {
            *error = QStringLiteral("--command needs UNIT:NAME[:VALUE], got \"%1\"").arg(c);
            return false;
        }
        UnitCommand uc{parts.at(0), parts.at(1), parts.mid(2).join(QLatin1Char(':'))};
        const UpsCommand* known = findCommand(uc.name);
        QString sent;
        if (!known) {
            *error = QStringLiteral("--command %1: unknown command \"%2\" (see --help)").arg(c, uc.name);
            return false;
        }
        if (!commandValue(*known, uc.value, &sent, error)) {
            *error = QStringLiteral("--command %1: %2").arg(c, *error);
            return false;
        }
        o.commands += uc;
    }
    *out = o;
    return true;
}
