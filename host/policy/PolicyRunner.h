#ifndef POLICYRUNNER_H
#define POLICYRUNNER_H

// Runs what the policy decides: notifyCmd for every derived event and
// shutdownCmd once per episode, both through /bin/sh -c. The command sees
// UPSNAME, NOTIFYTYPE and NOTIFYMSG in its environment. With dry-run it only
// reports what it would run.
//
// Every command runs in a process group of its own and is bounded: one
// running longer than its timeout (notifyTimeout, shutdownTimeout) is
// stopped with its whole group (TERM, KILL after kGraceMs), at most
// notifyMaxRunning notifyCmd run at once (further ones are dropped and
// reported), and none outlives the runner: stopAll() ends those still running.
//
// Shutdown gate: an outlet that must hold the shutdown (a NUT server
// waiting for its secondaries to log out) installs a gate. The runner calls
// it with a `proceed` function and runs shutdownCmd when the gate calls
// `proceed` (once; the gate owns any timeout). Without a gate it runs at once.

#include <QObject>

#include <functional>

#include "DerivedEvent.h"
#include "Policy.h"

class PolicyRunner : public QObject
{
    Q_OBJECT
public:
    using ShutdownGate = std::function<void(std::function<void()> proceed)>;

    // How long a stopped command's group has between TERM and KILL.
    static constexpr int kGraceMs = 2000;

    explicit PolicyRunner(QObject* parent = nullptr);
    ~PolicyRunner() override;

    void configure(const PolicySettings& settings, bool dryRun);
    void setShutdownGate(ShutdownGate gate) { m_gate = std::move(gate); }
    // Stops every command still running with its group, and waits for them
    // (at most kGraceMs, then KILL).
    void stopAll();

public slots:
    void notify(const DerivedEvent& event);
    // `event` is the SHUTDOWN event of the unit that started the episode.
    void shutdown(const DerivedEvent& event);

signals:
    // One line for the host's log: what ran, what it gave, what was dropped.
    void report(const QString& unit, const QString& text);

private:
    void run(const QString& command, const DerivedEvent& event, const QString& what, int timeoutSeconds);
    int running(const QString& what) const;

    PolicySettings m_settings;
    Policy m_rate{PolicySettings()};
    bool m_dryRun = false;
    ShutdownGate m_gate;
};

#endif // POLICYRUNNER_H
