#include "PolicyRunner.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QTimer>

#include <memory>

#include "ChildProcess.h"

namespace {
const char* const kNotify = "notifyCmd";
const char* const kShutdown = "shutdownCmd";
}

PolicyRunner::PolicyRunner(QObject* parent) : QObject(parent)
{
}

void PolicyRunner::configure(const PolicySettings& settings, bool dryRun)
{
    m_settings = settings;
    m_rate = Policy(settings);
    m_dryRun = dryRun;
}

PolicyRunner::~PolicyRunner()
{
    // Whoever listened to the reports may be gone by now.
    blockSignals(true);
    stopAll();
}

void PolicyRunner::stopAll()
{
    QList<ChildProcess*> stopped;
    for (ChildProcess* p : findChildren<ChildProcess*>(QString(), Qt::FindDirectChildrenOnly)) {
        if (p->state() == QProcess::NotRunning)
            continue;
        emit report(p->unit(), QStringLiteral("%1 still running as the host stops; stopped with its process group")
                                   .arg(p->what()));
        p->terminateGroup();
        stopped += p;
    }
    const QDeadlineTimer grace(kGraceMs);
    for (ChildProcess* p : qAsConst(stopped)) {
        if (!p->waitForFinished(int(grace.remainingTime()))) {
            p->killGroup();
            p->waitForFinished(kGraceMs);
        }
    }
}

int PolicyRunner::running(const QString& what) const
{
    int count = 0;
    for (const ChildProcess* p : findChildren<ChildProcess*>(QString(), Qt::FindDirectChildrenOnly))
        count += p->what() == what && p->state() != QProcess::NotRunning;
    return count;
}

void PolicyRunner::run(const QString& command, const DerivedEvent& event, const QString& what, int timeoutSeconds)
{
    if (m_dryRun) {
        emit report(event.unit, QStringLiteral("dry run: would run %1 \"%2\" with UPSNAME=%3 NOTIFYTYPE=%4")
                                    .arg(what, command, event.unit, event.name));
        return;
    }
    auto* p = new ChildProcess(what, event.unit, this);
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("UPSNAME"), event.unit);
    env.insert(QStringLiteral("NOTIFYTYPE"), event.name);
    env.insert(QStringLiteral("NOTIFYMSG"), event.message);
    p->setProcessEnvironment(env);
    p->setProcessChannelMode(QProcess::ForwardedChannels);
    connect(p, &QProcess::errorOccurred, this, [this, p](QProcess::ProcessError) {
        if (p->stopping())
            return;
        emit report(p->unit(), QStringLiteral("%1 failed: %2").arg(p->what(), p->errorString()));
        if (p->state() == QProcess::NotRunning)
            p->deleteLater();
    });
    connect(p, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            [this, p](int code, QProcess::ExitStatus status) {
                if (!p->stopping() && (status != QProcess::NormalExit || code != 0))
                    emit report(p->unit(), QStringLiteral("%1 exited with status %2").arg(p->what()).arg(code));
                p->deleteLater();
            });
    if (timeoutSeconds > 0) {
        auto* timeout = new QTimer(p);
        timeout->setSingleShot(true);
        connect(timeout, &QTimer::timeout, this, [this, p, timeoutSeconds] {
            if (p->state() == QProcess::NotRunning)
                return;
            emit report(p->unit(), QStringLiteral("%1 ran longer than %2 s; stopped with its process group")
                                       .arg(p->what()).arg(timeoutSeconds));
            p->stopGroup(kGraceMs);
        });
        timeout->start(timeoutSeconds * 1000);
    }
    p->start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), command});
}

void PolicyRunner::notify(const DerivedEvent& event)
{
    if (m_settings.notifyCmd.isEmpty())
        return;
    if (running(QLatin1String(kNotify)) >= m_settings.notifyMaxRunning) {
        emit report(event.unit, QStringLiteral("notifyCmd not run for %1: %2 still running (notifyMaxRunning)")
                                    .arg(event.name).arg(m_settings.notifyMaxRunning));
        return;
    }
    if (!m_rate.allowNotify(QDateTime::currentMSecsSinceEpoch())) {
        emit report(event.unit, QStringLiteral("notifyCmd not run for %1: more than %2 a minute")
                                    .arg(event.name).arg(m_settings.notifyRateLimit));
        return;
    }
    run(m_settings.notifyCmd, event, QLatin1String(kNotify), m_settings.notifyTimeout);
}

void PolicyRunner::shutdown(const DerivedEvent& event)
{
    if (m_settings.shutdownCmd.isEmpty()) {
        emit report(event.unit, QStringLiteral("shutdown policy fired (%1) but no shutdownCmd is set")
                                    .arg(event.message));
        return;
    }
    auto go = [this, event] {
        emit report(event.unit, QStringLiteral("running shutdownCmd: %1").arg(event.message));
        run(m_settings.shutdownCmd, event, QLatin1String(kShutdown), m_settings.shutdownTimeout);
    };
    if (!m_gate) {
        go();
        return;
    }
    auto done = std::make_shared<bool>(false);
    m_gate([go, done] {
        if (!*done) {
            *done = true;
            go();
        }
    });
}
