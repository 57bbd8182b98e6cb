#ifndef STATUSPOINTTABLE_H
#define STATUSPOINTTABLE_H

// The one mapping from the unit's points to NUT variable names. The status
// model reads it, docs/status-model.md is written from it (upsmon-host
// --status-table prints it as Markdown), and no other code knows a point id
// of a measurement.

#include <QVariant>

#include "PointArray.h"

struct StatusPoint
{
    enum Rule {
        Value,      // the point's value as reported
        Minutes,    // a duration in minutes, given in seconds
        Kilo,       // kVA / kW given in VA / W
        Highest,    // the highest of points first..last
        PhaseMean,  // first: the phase count; the mean of that many points after it
        KiloSum,    // the sum of points first..last, kW given in W
        Text,       // one character per point, first..last, NULs dropped
        Enabled     // 1 "enabled", otherwise "disabled"
    };
    const char* name;   // NUT variable name
    int first;
    int last;           // == first for a single point
    Rule rule;
    const char* unit;   // unit of the NUT value, "" when none
    const char* meaning;
    const char* fallback = nullptr;     // Text: the value when the unit reports none
};

// Terminated by a row with a null name.
const StatusPoint* statusPointTable();

// The row's value from a data map; invalid when the unit did not report it.
QVariant statusPointValue(const StatusPoint& row, const PointArray& data);

const char* statusRuleText(StatusPoint::Rule rule);

#endif // STATUSPOINTTABLE_H
