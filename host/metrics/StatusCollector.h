#ifndef STATUSCOLLECTOR_H
#define STATUSCOLLECTOR_H

// The units' series, built on every scrape from the latest snapshots of the
// unit directory: the values of the metric table, status flags,
// communication, alarms, and the commands the host has sent.
//
// Collect() runs on the HTTP server's threads, recordCommand() on the
// host's main thread.

#include <prometheus/collectable.h>
#include <prometheus/metric_family.h>

#include <map>
#include <mutex>
#include <string>
#include <tuple>

class UnitDirectory;

class StatusCollector : public prometheus::Collectable
{
public:
    explicit StatusCollector(const UnitDirectory& directory);

    std::vector<prometheus::MetricFamily> Collect() const override;

    // Counts one command of `unit` by its name and outcome
    // ("queued", "confirmed", "not confirmed", "refused", ...).
    void recordCommand(const std::string& unit, const std::string& name, const std::string& outcome);

private:
    void collectCommands(std::vector<prometheus::MetricFamily>* out) const;

    const UnitDirectory& m_directory;
    mutable std::mutex m_commandsLock;
    std::map<std::tuple<std::string, std::string, std::string>, double> m_commands;
};

#endif // STATUSCOLLECTOR_H
