#include "PolicyRunner.h"

#include <QDateTime>

#include <memory>

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
    // A command that has ended may still wait for a deferred delete that no
    // event loop will run any more, or for the event that tells it ended:
    // give those a moment and let them go. One still running after that is
    // the operator's: leave it, do not kill it (deleting it would).
    for (QProcess* p : findChildren<QProcess*>()) {
        p->disconnect(this);
        if (p->state() == QProcess::NotRunning || p->waitForFinished(200)) {
            delete p;
            continue;
        }
        p->setParent(nullptr);
        QObject::connect(p, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), p,
                         &QObject::deleteLater);
    }
}

void PolicyRunner::run(const QString& command, const DerivedEvent& event, const QString& what)
{
    if (m_dryRun) {
        emit report(event.unit, QStringLiteral("dry run: would run %1 \"%2\" with UPSNAME=%3 NOTIFYTYPE=%4")
                                    .arg(what, command, event.unit, event.name));
        return;
    }
    auto* p = new QProcess(this);
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("UPSNAME"), event.unit);
    env.insert(QStringLiteral("NOTIFYTYPE"), event.name);
    env.insert(QStringLiteral("NOTIFYMSG"), event.message);
    p->setProcessEnvironment(env);
    p->setProcessChannelMode(QProcess::ForwardedChannels);
    connect(p, &QProcess::errorOccurred, this, [this, p, event, what](QProcess::ProcessError) {
        emit report(event.unit, QStringLiteral("%1 failed: %2").arg(what, p->errorString()));
        if (p->state() == QProcess::NotRunning)
            p->deleteLater();
    });
    connect(p, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            [this, p, event, what](int code, QProcess::ExitStatus status) {
                if (status != QProcess::NormalExit || code != 0)
                    emit report(event.unit, QStringLiteral("%1 exited with status %2").arg(what).arg(code));
                p->deleteLater();
            });
    p->start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), command});
}

void PolicyRunner::notify(const DerivedEvent& event)
{
    if (m_settings.notifyCmd.isEmpty())
        return;
    if (!m_rate.allowNotify(QDateTime::currentMSecsSinceEpoch())) {
        emit report(event.unit, QStringLiteral("notifyCmd not run for %1: more than %2 a minute")
                                    .arg(event.name).arg(m_settings.notifyRateLimit));
        return;
    }
    run(m_settings.notifyCmd, event, QStringLiteral("notifyCmd"));
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
        run(m_settings.shutdownCmd, event, QStringLiteral("shutdownCmd"));
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
