#ifndef METRICTABLE_H
#define METRICTABLE_H

// The one mapping from a unit's named values (NUT variable names of the
// status snapshot) to Prometheus series. The exporter and the metric
// documentation (upsmon-metrics-doc) both read it.

struct MetricSource
{
    const char* nutName;    // "input.L1-N.voltage"
    const char* metric;     // "ups_input_volts": base unit in the name
    const char* phase;      // value of the "phase" label; null for a unit-wide value
    double scale;           // metric value = NUT value * scale (percent -> ratio: 0.01)
    const char* help;       // the family's help; rows of one family carry the same text
};

// The whole table, terminated by a row with a null nutName. Rows of one
// metric are adjacent.
const MetricSource* metricTable();

#endif // METRICTABLE_H
