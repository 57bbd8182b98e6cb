#include "HostMonitor.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>

#include <algorithm>
#include <limits>

#include "CollectThread.h"
#include "EnergyFlow.h"
#include "HistoryCodeMap.h"
#include "NutSettings.h"
#include "MetricsExporter.h"
#include "PortManage.h"
#include "UnitSession.h"
#include "WebCatalogue.h"
#include "WebServer.h"

namespace {
const char* const kPluginIid = "com.nalo.Qt.ProInterface";
const char* const kPluginFile = "libvek5m_10-30k_Client.so";
const char* const kDriverFile = "libvek5m_10-30k.so";
const char* const kConsoleUser = "console";     // who gave a --command
const int kPolicyTickMs = 1000;
const int kLongestTickMs = 60000;
}

QString HostMonitor::defaultDriverPath(const QString& pluginDir)
{
    // A build tree keeps the driver next to the plugin; an installed system
    // keeps it in the library directory, where the loader finds it by name.
    const QString beside = pluginDir + QLatin1Char('/') + QLatin1String(kDriverFile);
    return QFileInfo::exists(beside) ? beside : QLatin1String(kDriverFile);
}

HostMonitor::HostMonitor(const HostOptions& options, QObject* parent)
    : QObject(parent), m_options(options)
{
    connect(&m_dataLogTimer, &QTimer::timeout, this, &HostMonitor::writeDataLog);
    connect(&m_tickTimer, &QTimer::timeout, this, &HostMonitor::tick);
    connect(&m_router, &CommandRouter::commandOutcome, this,
            [this](const QString& unit, const QString& command, const QString& outcome,
                   const QString& detail, const QString& who) {
                emitLine(unit, QStringLiteral("command"),
                         QStringLiteral("%1 %2: %3 (by %4)").arg(command, outcome, detail, who));
            });
    connect(&m_runner, &PolicyRunner::report, this, [this](const QString& unit, const QString& text) {
        emitLine(unit, QStringLiteral("policy"), text);
    });
    // The web console's event lists and live pages: the console's lines
    // but the data reports, and every new snapshot.
    connect(this, &HostMonitor::hostEvent, this, [this](const HostEvent& e) {
        if (m_web && e.kind != QLatin1String("data"))
            m_web->record(e.unit, QJsonDocument::fromJson(EventFormatter::toJson(e).toUtf8()).object());
    });
    // A unit's page is made when it is viewed, its diagram moved on from the
    // one last viewed (which only keeps texts of a phase group whose phase
    // count is neither 1 nor 3).
    m_directory.setPanelMaker([this](const QString& unit) {
        for (const UnitSession* s : qAsConst(m_sessions)) {
            if (!m_webCatalogue || s->settings().name != unit)
                continue;
            const QMap<int, QVariant> data = s->lastData();
            EnergyFlow& flow = m_flows[unit];
            flow = flow.next(data);
            return m_webCatalogue->panels(data, flow);
        }
        return QJsonObject();
    });
    connect(&m_directory, &HostDirectory::statusChanged, this, [this](const QString& unit) {
        if (m_web)
            m_web->unitChanged(unit);
    });
}

void HostMonitor::emitLine(const QString& unit, const QString& kind, const QString& text)
{
    HostEvent e;
    e.time = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    e.unit = unit;
    e.kind = kind;
    e.text = text;
    emit hostEvent(e);
}

HostMonitor::~HostMonitor()
{
    shutdown();
}

bool HostMonitor::loadPlugin(QString* error)
{
    const QString appDir = QCoreApplication::applicationDirPath();
    const QString pluginPath = m_options.pluginPath.isEmpty()
        ? appDir + QLatin1Char('/') + QLatin1String(kPluginFile) : m_options.pluginPath;
    const QString driverPath = m_options.driverPath.isEmpty()
        ? defaultDriverPath(QFileInfo(pluginPath).absolutePath()) : m_options.driverPath;

    if (!QFileInfo::exists(pluginPath)) {
        *error = QStringLiteral("plugin %1 not found (use --plugin PATH)").arg(pluginPath);
        return false;
    }
    // The plugin loads the driver by its bare name. Loading it here first by
    // path makes that name resolve to this copy, and turns a missing driver
    // into a clear error instead of a unit that never answers.
    m_driver.setFileName(driverPath);
    if (!m_driver.load()) {
        *error = QStringLiteral("model driver library cannot be loaded (use --driver PATH): %1")
                     .arg(m_driver.errorString());
        return false;
    }

    m_loader.setFileName(pluginPath);
    const QString iid = m_loader.metaData().value(QStringLiteral("IID")).toString();
    if (iid != QLatin1String(kPluginIid)) {
        *error = iid.isEmpty()
            ? QStringLiteral("%1 is not a Qt plugin: %2").arg(pluginPath, m_loader.errorString())
            : QStringLiteral("%1 has interface \"%2\", expected \"%3\"").arg(pluginPath, iid,
                                                                            QLatin1String(kPluginIid));
        return false;
    }
    m_factoryObject = m_loader.instance();
    m_factory = qobject_cast<CollectThread*>(m_factoryObject.data());
    if (!m_factory) {
        *error = m_factoryObject
            ? QStringLiteral("plugin %1 does not provide a collector (CollectThread)").arg(pluginPath)
            : QStringLiteral("plugin %1 cannot be loaded: %2").arg(pluginPath, m_loader.errorString());
        return false;
    }
    return true;
}

bool HostMonitor::start(const HostConfig& config, bool withViews, QString* error)
{
    m_config = config;
    m_withViews = withViews;
    const QString configDir = m_config.dir();
    // The collectors read their own keys from the program's directory.
    const QString pluginDir = HostConfig::dbDir(QCoreApplication::applicationDirPath());
    if (QFileInfo(configDir).canonicalFilePath() != QFileInfo(pluginDir).canonicalFilePath()) {
        *error = QStringLiteral("--config %1: the plugin reads its units from %2; make that a link "
                                "to %1 (the package links it to /etc/vek5m)").arg(configDir, pluginDir);
        return false;
    }
    for (const UnitCommand& c : m_options.commands) {
        if (!m_config.units().contains(c.unit)) {
            *error = QStringLiteral("--command %1:%2: unknown unit \"%1\" (units: %3)")
                         .arg(c.unit, c.name, m_config.units().join(QStringLiteral(", ")));
            m_argumentRefused = true;
            return false;
        }
    }
    m_router.setHistoryDir(QDir(ConfinedDirectory::stateDir()).absoluteFilePath(m_config.historyDir()));
    m_policy = Policy(m_config.policy());
    m_runner.configure(m_config.policy(), m_options.dryRun);
    if (!loadPlugin(error))
        return false;

    m_formatter.setEventTexts(m_factory->getEventLogDesc());
    m_dataLogHeadings = m_factory->getDataLogDesc();

    // Collectors read the code map when they are made, so it goes in first.
    bool written = false;
    const QString codeMap = m_config.dir() + QStringLiteral("/historycodemap.csv");
    if (!HistoryCodeMap::install(codeMap, m_factory->getEventLogDesc(), &written, error))
        return false;
    if (written)
        qInfo() << "installed" << codeMap;
    // Canonical paths: an installed host reaches its configuration through
    // a link, and so does the working directory the wrapper prepares.
    if (QFileInfo(QStringLiteral("PVMX/drovaPanel/db/historycodemap.csv")).canonicalFilePath()
        != QFileInfo(codeMap).canonicalFilePath())
        qWarning() << "collectors read the history code map relative to the working directory;"
                   << "run from" << QCoreApplication::applicationDirPath() << "for named history codes";

    if (!m_options.dataLogPath.isEmpty() && !m_dataLog.open(m_options.dataLogPath, m_dataLogHeadings, error))
        return false;

    m_nut.start(m_config.nut(), m_config.users());
    m_runner.setShutdownGate([this](std::function<void()> proceed) { m_nut.holdShutdown(std::move(proceed)); });

    m_portManage = PortManage::instance();
    for (const UnitSettings& unit : m_config.unitSettings()) {
        if (!addUnit(unit, error)) {
            shutdown();
            return false;
        }
    }
    publishUnits();
    if (!startMetrics(error)) {
        shutdown();
        return false;
    }
    startWeb();
    for (const UnitCommand& c : m_options.commands) {
        QString commandError;
        if (!m_router.sendWhenAnswered(c.unit, c.name, c.value, QLatin1String(kConsoleUser), &commandError))
            emitLine(c.unit, QStringLiteral("error"), commandError);
    }
    const int answerTimeout = m_options.answerTimeout > 0 ? m_options.answerTimeout : m_config.answerTimeout();
    for (UnitSession* s : qAsConst(m_sessions))
        s->start(withViews, answerTimeout);
    m_tickTimer.setSingleShot(true);
    scheduleTick();

    const int logInterval = m_options.logInterval > 0 ? m_options.logInterval
                                                      : m_config.logInterval();
    m_dataLogTimer.start(logInterval * 1000);
    return true;
}

StatusModel::Limits HostMonitor::limits() const
{
    StatusModel::Limits limits;
    limits.chargeLow = m_config.policy().chargeLow > 0 ? m_config.policy().chargeLow : -1;
    limits.runtimeLow = m_config.policy().runtimeLow > 0 ? m_config.policy().runtimeLow : -1;
    limits.maxAgeSeconds = m_config.maxAge();
    return limits;
}

bool HostMonitor::addUnit(const UnitSettings& unit, QString* error)
{
    CollectThread* collector = m_factory->create(m_portManage);
    if (!collector) {
        *error = QStringLiteral("the plugin made no collector for unit %1").arg(unit.name);
        return false;
    }
    auto* session = new UnitSession(unit, collector, &m_formatter, limits(), &m_inboxBell, this);
    // The NUT server's writable variables ride on the snapshot.
    session->setExtraValues({&NutSettings::names(), &NutSettings::published});
    session->setDataLines(m_options.showData);
    connect(session, &UnitSession::hostEvent, this, &HostMonitor::hostEvent);
    connect(session, &UnitSession::commStateChanged, this, &HostMonitor::commStateChanged);
    connect(session, &UnitSession::statusChanged, &m_directory, &HostDirectory::publish);
    // A report moves the unit's STALE time on; only a timer that is not
    // running has to be told (the others fire earlier and look again).
    connect(session, &UnitSession::dataReported, this, [this] {
        if (!m_tickTimer.isActive())
            scheduleTick();
    });
    connect(session, &UnitSession::derivedEvent, this, &HostMonitor::onDerived);
    m_sessions += session;
    m_router.addSession(session);
    return true;
}

bool HostMonitor::removeUnit(UnitSession* session)
{
    m_router.removeSession(session->settings().name);
    m_flows.remove(session->settings().name);     // a unit added again starts a diagram of its own
    m_sessions.removeOne(session);
    disconnect(session, nullptr, this, nullptr);
    const bool stopped = session->stop();
    delete session;
    return stopped;
}

void HostMonitor::publishUnits()
{
    QList<QPair<QString, QString>> units;
    for (const UnitSession* s : qAsConst(m_sessions))
        units += qMakePair(s->settings().name, s->settings().target());
    m_directory.setUnits(units);
}

QString HostMonitor::reload(const HostConfig& next)
{
    QStringList added, removed, restarted, kept;
    bool heldBack = false;  // window mode: the window holds the units' panels for its life
    QList<UnitSettings> toStart;
    for (UnitSession* s : QList<UnitSession*>(m_sessions)) {
        const QString name = s->settings().name;
        const auto it = std::find_if(next.unitSettings().cbegin(), next.unitSettings().cend(),
                                     [&name](const UnitSettings& u) { return u.name == name; });
        if (it != next.unitSettings().cend() && *it == s->settings()) {
            kept += name;
            continue;
        }
        if (m_withViews) {
            heldBack = true;
            kept += name;
            continue;
        }
        if (!removeUnit(s))
            emitLine(name, QStringLiteral("error"), QStringLiteral("its collector was blocked and is abandoned"));
        if (it == next.unitSettings().cend())
            removed += name;
        else {
            restarted += name;
            toStart += *it;
        }
    }
    for (const UnitSettings& u : next.unitSettings()) {
        if (kept.contains(u.name) || restarted.contains(u.name))
            continue;
        heldBack = heldBack || m_withViews;
        if (!m_withViews) {
            added += u.name;
            toStart += u;
        }
    }
    m_config = next;
    m_router.setHistoryDir(QDir(ConfinedDirectory::stateDir()).absoluteFilePath(m_config.historyDir()));
    m_policy.setSettings(m_config.policy());
    m_runner.configure(m_config.policy(), m_options.dryRun);
    m_nut.start(m_config.nut(), m_config.users());
    const int answerTimeout = m_options.answerTimeout > 0 ? m_options.answerTimeout : m_config.answerTimeout();
    for (const UnitSettings& u : qAsConst(toStart)) {
        QString error;
        if (!addUnit(u, &error)) {
            emitLine(u.name, QStringLiteral("error"), QStringLiteral("not started: %1").arg(error));
            continue;
        }
        m_sessions.last()->start(m_withViews, answerTimeout);
    }
    for (UnitSession* s : qAsConst(m_sessions))
        s->setLimits(limits());
    publishUnits();
    scheduleTick();     // maxAge may have changed
    if (m_metrics && m_metrics->listen() != m_config.metricsListen())
        m_metrics.reset();
    QString error;
    if (!m_metrics && !startMetrics(&error))
        emitLine(QString(), QStringLiteral("error"), error);
    const WebSettings& web = m_config.web();
    if (m_web && m_web->settings().listen == web.listen && m_web->settings().certificate == web.certificate
        && m_web->settings().key == web.key && m_web->settings().maxClients == web.maxClients)
        m_web->configure(web, m_config.users(),
                         QDir(ConfinedDirectory::stateDir()).absoluteFilePath(m_config.historyDir()));
    else
        startWeb();
    if (m_options.logInterval <= 0)
        m_dataLogTimer.start(m_config.logInterval() * 1000);
    if (m_dataLog.isOpen() && !m_dataLog.reopen(&error))
        emitLine(QString(), QStringLiteral("error"), error);

    const auto part = [](const char* what, const QStringList& units) {
        return units.isEmpty() ? QString() : QStringLiteral("; %1 %2").arg(QLatin1String(what), units.join(QStringLiteral(", ")));
    };
    return QStringLiteral("configuration reloaded: %1 units%2%3%4; policy, NUT users and limits applied%5")
        .arg(m_sessions.size()).arg(part("added", added), part("removed", removed), part("restarted", restarted))
        .arg(heldBack ? QStringLiteral("; the window keeps its units until the host restarts") : QString());
}

void HostMonitor::writeDataLog()
{
    if (!m_dataLog.isOpen() || !m_factory)
        return;
    const QString now = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    for (UnitSession* s : qAsConst(m_sessions)) {
        if (s->commState() != UnitSession::Communicating || !s->hasData())
            continue;
        if (!m_dataLog.append(now, s->settings().name, m_factory->changeLogData(s->lastData())))
            qWarning() << "data log write failed";
    }
}

void HostMonitor::onDerived(const DerivedEvent& event)
{
    emit hostEvent(EventFormatter::describe(event));
    m_directory.announce(event);
    m_runner.notify(event);
    if (event.name != QLatin1String("FSD"))
        applyPolicy();
}

void HostMonitor::applyPolicy()
{
    // Decide on the snapshots as they are now.
    QList<UnitStatus> all;
    bool onBattery = false;
    for (const UnitSession* s : qAsConst(m_sessions)) {
        all += s->status();
        onBattery = onBattery || s->status().hasFlag(QStringLiteral("OB"));
    }
    const Policy::Decision d = m_policy.evaluate(all, QDateTime::currentMSecsSinceEpoch());
    // The policy's delays run on the clock only while a unit is on battery
    // or an episode lasts; otherwise its decisions change with events alone.
    // One more look once the last unit has left battery clears its times.
    m_policyClock = onBattery || m_policy.inEpisode();
    if (m_policyClock && (!m_tickTimer.isActive() || m_tickTimer.remainingTime() > kPolicyTickMs))
        scheduleTick();
    for (UnitSession* s : qAsConst(m_sessions)) {
        if (d.forceOn.contains(s->settings().name))
            s->setForcedShutdown(true);
        if (d.forceOff.contains(s->settings().name))
            s->setForcedShutdown(false);
    }
    if (d.runShutdown) {
        for (UnitSession* s : qAsConst(m_sessions)) {
            if (s->settings().name != d.unit)
                continue;
            DerivedEvent shutdown = StatusModel::shutdownEvent(d.unit);
            shutdown.message += QStringLiteral(": ") + d.reason;
            emit hostEvent(EventFormatter::describe(shutdown));
            m_directory.announce(shutdown);
            m_runner.notify(shutdown);
            m_runner.shutdown(shutdown);
        }
    }
}

void HostMonitor::tick()
{
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    for (UnitSession* s : qAsConst(m_sessions))
        if (s->staleAtMs() <= now)
            s->tick(now);
    // The delays of the policy run out without any event.
    if (m_policyClock)
        applyPolicy();
    scheduleTick();
}

void HostMonitor::scheduleTick()
{
    // The next moment a unit can go STALE, or the policy's next second.
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    qint64 next = std::numeric_limits<qint64>::max();
    for (const UnitSession* s : qAsConst(m_sessions))
        next = std::min(next, s->staleAtMs());
    if (m_policyClock)
        next = std::min(next, now + kPolicyTickMs);
    if (next == std::numeric_limits<qint64>::max()) {
        m_tickTimer.stop();     // a data report or an event starts it again
        return;
    }
    // At least once a minute, whatever the wall clock did meanwhile.
    m_tickTimer.start(int(std::max<qint64>(0, std::min<qint64>(next - now, kLongestTickMs))));
}

bool HostMonitor::startMetrics(QString* error)
{
    const QString listen = m_config.metricsListen();
    if (listen.isEmpty())
        return true;
    m_metrics = std::make_unique<MetricsExporter>(m_directory);
    if (!m_metrics->start(listen, error)) {
        m_metrics.reset();
        return false;
    }
    connect(&m_router, &CommandRouter::commandOutcome, m_metrics.get(), &MetricsExporter::recordCommand);
    qInfo().noquote() << "metrics on" << m_metrics->url();
    return true;
}

void HostMonitor::startWeb()
{
    m_web.reset();
    const WebSettings& settings = m_config.web();
    if (settings.listen.isEmpty())
        return;
    if (!m_webCatalogue)
        m_webCatalogue = std::make_unique<WebCatalogue>();
    m_web = std::make_unique<WebServer>(&m_directory);
    QString error;
    if (!m_web->start(settings, m_config.users(),
                      QDir(ConfinedDirectory::stateDir()).absoluteFilePath(m_config.historyDir()), &error)) {
        qWarning().noquote() << error;
        m_web.reset();
        return;
    }
    connect(&m_router, &CommandRouter::commandOutcome, m_web->metrics(), &MetricsExporter::recordCommand);
    m_web->setForceShutdown([this](const QString& unit, const QString& who, QString*) {
        m_nut.forceShutdown(unit);
        emitLine(unit, QStringLiteral("command"), QStringLiteral("FSD set for the NUT clients (by %1)").arg(who));
        return true;
    });
    qInfo().noquote() << "web console on" << m_web->url();
}

QStringList HostMonitor::shutdown()
{
    if (m_web)
        m_web->beginStop();
    m_metrics.reset();   // no scrape reads the units while they go
    m_dataLogTimer.stop();
    m_tickTimer.stop();
    m_router.clear();
    // Ask every thread to leave first, then join them against one deadline,
    // so that the whole stop stays within it however many units there are.
    for (UnitSession* s : qAsConst(m_sessions))
        s->requestStop();
    const QDeadlineTimer deadline(UnitSession::kJoinTimeoutMs);
    // The policy's commands go meanwhile, within the same time.
    m_runner.stopAll();
    QStringList abandoned;
    for (UnitSession* s : qAsConst(m_sessions))
        if (!s->stop(deadline))
            abandoned += s->settings().name;
    // The web server stopped while the units' threads did: a change it
    // posted here meanwhile was refused as the host stopping.
    m_web.reset();
    qDeleteAll(m_sessions);
    m_sessions.clear();
    m_dataLog.close();
    // The plugin's own instance holds a driver library of its own.
    // The plugin instance and driver stay when a collector still runs in them.
    if (abandoned.isEmpty())
        delete m_factoryObject.data();
    m_factory = nullptr;
    return abandoned;
}

QStringList HostMonitor::silentUnits() const
{
    QStringList names;
    for (const UnitSession* s : m_sessions)
        if (!s->hasAnswered())
            names += s->settings().name;
    return names;
}
