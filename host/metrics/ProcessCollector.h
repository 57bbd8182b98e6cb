#ifndef PROCESSCOLLECTOR_H
#define PROCESSCOLLECTOR_H

// The host's own process series under the names every Prometheus client
// uses (process_cpu_seconds_total, process_resident_memory_bytes, ...),
// read from /proc/self on each scrape.

#include <prometheus/collectable.h>
#include <prometheus/metric_family.h>

#include <string>

class ProcessCollector : public prometheus::Collectable
{
public:
    ProcessCollector();

    std::vector<prometheus::MetricFamily> Collect() const override;

    struct Stat
    {
        double cpuSeconds = 0;       // user + system
        double startSinceBoot = 0;   // seconds after boot
        double virtualBytes = 0;
        double residentBytes = 0;
        double threads = 0;
    };
    // Parses the text of /proc/<pid>/stat. False when it is not one.
    static bool parseStat(const std::string& text, long ticksPerSecond, long pageSize, Stat* out);

private:
    double m_bootTime = 0;   // seconds since the epoch, from /proc/stat btime
};

#endif // PROCESSCOLLECTOR_H
