#ifndef POLICYRUNNER_H
#define POLICYRUNNER_H

// Runs what the policy decides: notifyCmd for every derived event and
// shutdownCmd once per episode, both through /bin/sh -c. The command sees
// UPSNAME, NOTIFYTYPE and NOTIFYMSG in its environment. With dry-run it only
// reports what it would run.
//
// Shutdown gate: an outlet that must hold the shutdown (a NUT server
// waiting for its secondaries to log out) installs a gate. The runner calls
// it with a `proceed` function and runs shutdownCmd when the gate calls
// `proceed` (once; the gate owns any timeout). Without a gate it runs at once.

#include <QObject>
#include <QProcess>

#include <functional>

#include "DerivedEvent.h"
#include "Policy.h"

class PolicyRunner : public QObject
{
    Q_OBJECT
public:
    using ShutdownGate = std::function<void(std::function<void()> proceed)>;

    explicit PolicyRunner(QObject* parent = nullptr);
    ~PolicyRunner() override;

    void configure(const PolicySettings& settings, bool dryRun);
    void setShutdownGate(ShutdownGate gate) { m_gate = std::move(gate); }

public slots:
    void notify(const DerivedEvent& event);
    // `event` is the SHUTDOWN event of the unit that started the episode.
    void shutdown(const DerivedEvent& event);

signals:
    // One line for the host's log: what ran, what it gave, what was dropped.
    void report(const QString& unit, const QString& text);

private:
    void run(const QString& command, const DerivedEvent& event, const QString& what);

    PolicySettings m_settings;
    Policy m_rate{PolicySettings()};
    bool m_dryRun = false;
    ShutdownGate m_gate;
};

#endif // POLICYRUNNER_H
