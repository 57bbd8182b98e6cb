#ifndef PROCESSCOLLECTOR_H
#define PROCESSCOLLECTOR_H

// The host's own process series under the names every Prometheus client
// uses (process_cpu_seconds_total, process_resident_memory_bytes, ...),
// read from /proc/self on each scrape.

#include <prometheus/collectable.h>
#include <prometheus/metric_family.h>

class ProcessCollector : public prometheus::Collectable
{
public:
    ProcessCollector();

    std::vector<prometheus::MetricFamily> Collect() const override;

private:
    double m_bootTime = 0;   // seconds since the epoch, from /proc/stat btime
};

#endif // PROCESSCOLLECTOR_H
