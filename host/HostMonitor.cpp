#include "HostMonitor.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QFileInfo>

#include "CollectThread.h"
#include "HistoryCodeMap.h"
#include "PortManage.h"
#include "UnitSession.h"

namespace {
const char* const kPluginIid = "com.nalo.Qt.ProInterface";
const char* const kPluginFile = "libvek5m_10-30k_Client.so";
const char* const kDriverFile = "libvek5m_10-30k.so";
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

bool HostMonitor::start(bool withViews, QString* error)
{
    if (!m_config.load(HostConfig::dbDir(QCoreApplication::applicationDirPath()), error))
        return false;
    if (!loadPlugin(error))
        return false;

    m_formatter.setEventTexts(m_factory->getEventLogDesc());
    const QStringList headings = m_factory->getDataLogDesc();

    // Collectors read the code map when they are made, so it goes in first.
    bool written = false;
    const QString codeMap = m_config.dir() + QStringLiteral("/historycodemap.csv");
    if (!HistoryCodeMap::install(codeMap, m_factory->getEventLogDesc(), &written, error))
        return false;
    if (written)
        qDebug() << "installed" << codeMap;
    // Canonical paths: an installed host reaches its configuration through
    // a link, and so does the working directory the wrapper prepares.
    if (QFileInfo(QStringLiteral("PVMX/drovaPanel/db/historycodemap.csv")).canonicalFilePath()
        != QFileInfo(codeMap).canonicalFilePath())
        qWarning() << "collectors read the history code map relative to the working directory;"
                   << "run from" << QCoreApplication::applicationDirPath() << "for named history codes";

    if (!m_options.dataLogPath.isEmpty() && !m_dataLog.open(m_options.dataLogPath, headings, error))
        return false;

    m_portManage = PortManage::instance();
    const int answerTimeout = m_options.answerTimeout > 0 ? m_options.answerTimeout
                                                          : m_config.answerTimeout();
    for (const UnitSettings& unit : m_config.unitSettings()) {
        CollectThread* collector = m_factory->create(m_portManage);
        if (!collector) {
            *error = QStringLiteral("the plugin made no collector for unit %1").arg(unit.name);
            shutdown();
            return false;
        }
        auto* session = new UnitSession(unit, collector, &m_formatter, this);
        connect(session, &UnitSession::hostEvent, this, &HostMonitor::hostEvent);
        connect(session, &UnitSession::commStateChanged, this, &HostMonitor::commStateChanged);
        m_sessions += session;
        session->start(withViews, answerTimeout, m_options.commands);
    }

    const int logInterval = m_options.logInterval > 0 ? m_options.logInterval
                                                      : m_config.logInterval();
    m_dataLogTimer.start(logInterval * 1000);
    return true;
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

void HostMonitor::shutdown()
{
    m_dataLogTimer.stop();
    // Join every thread first, then delete: a collector deleted while
    // another still runs would be fine too, but joining in parallel is faster.
    for (UnitSession* s : qAsConst(m_sessions))
        if (s->collector())
            s->collector()->quit();
    qDeleteAll(m_sessions);
    m_sessions.clear();
    m_dataLog.close();
    // The plugin's own instance holds a driver library of its own.
    delete m_factoryObject.data();
    m_factory = nullptr;
}

QStringList HostMonitor::silentUnits() const
{
    QStringList names;
    for (const UnitSession* s : m_sessions)
        if (!s->hasAnswered())
            names += s->settings().name;
    return names;
}
