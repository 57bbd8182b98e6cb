#include "StatusCollector.h"

#include "MetricTable.h"
#include "StatusModel.h"
#include "UnitDirectory.h"

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;

namespace {

MetricFamily family(const char* name, const char* help, MetricType type = MetricType::Gauge)
{
    MetricFamily f;
    f.name = name;
    f.help = help;
    f.type = type;
    return f;
}

void addGauge(MetricFamily* f, std::vector<ClientMetric::Label> labels, double value)
{
    ClientMetric m;
    m.label = std::move(labels);
    m.gauge.value = value;
    f->metric.push_back(std::move(m));
}

void keepIfUsed(std::vector<MetricFamily>* out, MetricFamily&& f)
{
    if (!f.metric.empty())
        out->push_back(std::move(f));
}

// The rows of the metric table that share the metric name of `first`,
// for every unit: one series per value the unit has reported.
const MetricSource* collectTableFamily(const MetricSource* first, const std::vector<UnitStatus>& units,
                                       std::vector<MetricFamily>* out)
{
    const MetricSource* end = first;
    while (end->nutName && std::string(end->metric) == first->metric)
        ++end;
    MetricFamily f = family(first->metric, first->help);
    for (const UnitStatus& s : units) {
        const std::string unit = s.unit.toStdString();
        for (const MetricSource* row = first; row != end; ++row) {
            const QVariant v = s.values.value(QLatin1String(row->nutName));
            bool numeric = false;
            const double value = v.toDouble(&numeric);
            if (!v.isValid() || !numeric)
                continue;
            std::vector<ClientMetric::Label> labels{{"unit", unit}};
            if (row->phase)
                labels.push_back({"phase", row->phase});
            addGauge(&f, std::move(labels), value * row->scale);
        }
    }
    keepIfUsed(out, std::move(f));
    return end;
}

const char* commName(UnitStatus::Comm comm)
{
    switch (comm) {
    case UnitStatus::Comm::Ok: return "ok";
    case UnitStatus::Comm::Lost: return "lost";
    case UnitStatus::Comm::Unknown: break;
    }
    return "unknown";
}

} // namespace

StatusCollector::StatusCollector(const UnitDirectory& directory)
    : m_directory(directory)
{
}

void StatusCollector::recordCommand(const std::string& unit, const std::string& name,
                                    const std::string& outcome)
{
    const std::lock_guard<std::mutex> lock(m_commandsLock);
    m_commands[std::make_tuple(unit, name, outcome)] += 1;
}

void StatusCollector::collectCommands(std::vector<MetricFamily>* out) const
{
    MetricFamily f = family("ups_commands_total", "Commands the host sent to a unit, by name and outcome.",
                            MetricType::Counter);
    const std::lock_guard<std::mutex> lock(m_commandsLock);
    for (const auto& c : m_commands) {
        ClientMetric m;
        m.label = {{"unit", std::get<0>(c.first)}, {"command", std::get<1>(c.first)},
                   {"outcome", std::get<2>(c.first)}};
        m.counter.value = c.second;
        f.metric.push_back(std::move(m));
    }
    keepIfUsed(out, std::move(f));
}

std::vector<MetricFamily> StatusCollector::Collect() const
{
    std::vector<UnitStatus> units;
    for (const QString& name : m_directory.units()) {
        units.push_back(m_directory.status(name));
        units.back().unit = name;
    }

    std::vector<MetricFamily> out;
    for (const MetricSource* row = metricTable(); row->nutName;)
        row = collectTableFamily(row, units, &out);

    // Every flag the status model knows has a series, 0 while clear, so
    // that an alert can tell "clear" from "not reported".
    QStringList knownFlags;
    for (const auto& rule : StatusModel::flagRules())
        knownFlags += rule.first;
    MetricFamily flags = family("ups_status", "1 while the unit shows the NUT status flag, else 0.");
    MetricFamily comm = family("ups_comm_state", "1 for the unit's present communication state.");
    MetricFamily stale = family("ups_data_stale", "1 while the unit's data is older than the host's maximum age.");
    MetricFamily age = family("ups_data_age_seconds", "Time since the unit's last data report.");
    MetricFamily alarmCount = family("ups_alarms_active", "Number of the unit's active alarms.");
    MetricFamily alarms = family("ups_alarm_active", "1 for each active alarm, by alarm index and text.");
    for (const UnitStatus& s : units) {
        const std::string unit = s.unit.toStdString();
        for (const QString& flag : knownFlags)
            addGauge(&flags, {{"unit", unit}, {"flag", flag.toStdString()}}, s.hasFlag(flag) ? 1 : 0);
        for (const QString& flag : s.flags)
            if (!knownFlags.contains(flag))
                addGauge(&flags, {{"unit", unit}, {"flag", flag.toStdString()}}, 1);
        for (UnitStatus::Comm c : {UnitStatus::Comm::Unknown, UnitStatus::Comm::Ok, UnitStatus::Comm::Lost})
            addGauge(&comm, {{"unit", unit}, {"state", commName(c)}}, s.comm == c ? 1 : 0);
        addGauge(&stale, {{"unit", unit}}, s.stale ? 1 : 0);
        if (s.dataAgeSeconds >= 0)
            addGauge(&age, {{"unit", unit}}, s.dataAgeSeconds);
        addGauge(&alarmCount, {{"unit", unit}}, s.alarms.size());
        for (const ActiveAlarm& a : s.alarms)
            addGauge(&alarms, {{"unit", unit}, {"index", std::to_string(a.index)}, {"text", a.text.toStdString()}}, 1);
    }
    for (MetricFamily* f : {&flags, &comm, &stale, &age, &alarmCount, &alarms})
        keepIfUsed(&out, std::move(*f));
    collectCommands(&out);
    return out;
}
