#ifndef HOSTMONITOR_H
#define HOSTMONITOR_H

// The host's core, shared by window and console mode: loads the model driver
// and the plugin, makes one collector per configured unit, keeps the data log,
// the units' status board (directory()), the shutdown policy and the command
// router, and hands every event on as a HostEvent.

#include <QLibrary>
#include <QList>
#include <QObject>
#include <QPluginLoader>
#include <QPointer>
#include <QStringList>
#include <QTimer>

#include <memory>

#include "CommandRouter.h"
#include "DataLog.h"
#include "EnergyFlow.h"
#include "HostDirectory.h"
#include "Policy.h"
#include "PolicyRunner.h"
#include "StatusModel.h"
#include "EventFormatter.h"
#include "HostConfig.h"
#include "HostEvent.h"
#include "HostOptions.h"
#include "InboxBell.h"
#include "NutServer.h"

class CollectThread;
class MetricsExporter;
class WebCatalogue;
class WebServer;
class PortManage;
class UnitSession;

class HostMonitor : public QObject
{
    Q_OBJECT
public:
    explicit HostMonitor(const HostOptions& options, QObject* parent = nullptr);
    ~HostMonitor() override;

    // Everything up to the collectors' threads running, with a
    // configuration that passed its check. False with a readable reason;
    // nothing is left running then.
    bool start(const HostConfig& config, bool withViews, QString* error);
    // SIGHUP: applies a configuration that passed its check. Units added,
    // removed or changed start, stop or restart; the policy's limits, the
    // NUT users and limits apply at once; NUT clients stay connected and an
    // episode in progress keeps its state. The data log is reopened (log
    // rotation). Returns what changed, for the log.
    QString reload(const HostConfig& next);
    // Stops and deletes every collector (and with it its panel). Must run
    // before any widget that holds a panel is destroyed. Collectors still
    // blocked in a cycle after 2 s are abandoned; their units are returned.
    QStringList shutdown();

    const QList<UnitSession*>& sessions() const { return m_sessions; }
    const HostConfig& config() const { return m_config; }
    // The units' snapshots and the command path, for the network outlets.
    HostDirectory* directory() { return &m_directory; }
    CommandRouter* commandRouter() { return &m_router; }
    PolicyRunner* policyRunner() { return &m_runner; }
    // Units that have not answered once since the start.
    QStringList silentUnits() const;
    // True when start() failed on a command-line argument (exit status 2):
    // one naming an unknown unit or a bad address.
    bool argumentRefused() const { return m_argumentRefused; }

    // The model driver next to the plugin when there is one there, otherwise
    // its bare file name, left to the dynamic loader's search path.
    static QString defaultDriverPath(const QString& pluginDir);

public slots:
    // Writes one data-log row per unit that communicates and has data.
    void writeDataLog();

signals:
    void hostEvent(const HostEvent& event);
    void commStateChanged(const QString& unit, int state);

private:
    bool loadPlugin(QString* error);
    bool addUnit(const UnitSettings& unit, QString* error);
    // Stops the unit's collector and lets its session go; false when the
    // collector had to be abandoned.
    bool removeUnit(UnitSession* session);
    void publishUnits();
    StatusModel::Limits limits() const;
    // The /metrics endpoint when --metrics-listen or [metrics] listen asks for it.
    bool startMetrics(QString* error);
    // The web console when --web-listen or [web] listen asks for it. An
    // address it cannot have is reported; the units are monitored all the same.
    void startWeb();
    void onDerived(const DerivedEvent& event);
    void applyPolicy();
    // Raises STALE where it is due and lets the policy's delays run out;
    // scheduleTick() sets the timer for the next moment either can happen.
    void tick();
    void scheduleTick();
    void emitLine(const QString& unit, const QString& kind, const QString& text);

    HostOptions m_options;
    HostConfig m_config;
    bool m_withViews = false;
    QStringList m_dataLogHeadings;
    EventFormatter m_formatter;
    DataLog m_dataLog;
    QLibrary m_driver;
    QPluginLoader m_loader;
    QPointer<QObject> m_factoryObject;
    CollectThread* m_factory = nullptr;
    PortManage* m_portManage = nullptr;
    InboxBell m_inboxBell;      // before the sessions that ring it
    QList<UnitSession*> m_sessions;
    QTimer m_dataLogTimer;
    QTimer m_tickTimer;
    bool m_policyClock = false;     // the policy waits on a delay: tick every second
    CommandRouter m_router;
    HostDirectory m_directory{&m_router};
    Policy m_policy{PolicySettings()};
    PolicyRunner m_runner;
    NutServer m_nut{&m_directory};
    std::unique_ptr<MetricsExporter> m_metrics;   // after the directory it reads: goes first
    std::unique_ptr<WebServer> m_web;             // likewise
    // What the console's unit pages show, made as each snapshot is published.
    std::unique_ptr<WebCatalogue> m_webCatalogue;
    QMap<QString, EnergyFlow> m_flows;
    bool m_argumentRefused = false;
};

#endif // HOSTMONITOR_H
