#include "StatusModel.h"

#include <QVector>

#include <algorithm>
#include <limits>

#include "StatusPointTable.h"
#include "statetexts.h"

#include "points.h"

namespace {

// Alarm indexes (point - point::FirstAlarm) that flags read.
const int kLowBatteryDod = point::LowBatteryDod - point::FirstAlarm;
const int kLowBatteryEod = 23;
const int kOutputOverload = 141;

struct FlagInputs
{
    const PointArray& data;
    const UnitStatus& status;
    const StatusModel::Limits& limits;
    bool forced;

    bool is(int point, int value) const
    {
        const QVariant* v = data.find(point);
        return v && v->toInt() == value;
    }
    bool alarm(int index) const { return is(point::FirstAlarm + index, 1); }
    bool onBattery() const { return is(point::BatteryStatus, StateTexts::BatteryDischarging); }
    bool below(const char* name, double limit) const
    {
        const QVariant v = status.values.value(QLatin1String(name));
        return limit >= 0 && v.isValid() && v.toDouble() < limit;
    }
};

struct FlagRule
{
    const char* flag;
    const char* event;      // raised when the flag appears; null for none
    const char* rule;
    bool (*test)(const FlagInputs&);
};

// In NUT's order of ups.status.
const FlagRule kFlags[] = {
    {"ALARM", nullptr, "an alarm point 2000-2511 is 1",
     [](const FlagInputs& in) { return !in.status.alarms.isEmpty(); }},
    {"OL", "ONLINE", "4223 (output supplied) = 1 and not OB",
     [](const FlagInputs& in) { return in.is(point::OutputSupplied, 1) && !in.onBattery(); }},
    {"OB", "ONBATT", "4101 (battery status) = 4 (discharging)",
     [](const FlagInputs& in) { return in.onBattery(); }},
    {"LB", "LOWBATT",
     "alarm 22 or 23 (low battery DOD / EOD), or on battery with battery.charge below "
     "[policy] chargeLow or battery.runtime below [policy] runtimeLow",
     [](const FlagInputs& in) {
         return in.alarm(kLowBatteryDod) || in.alarm(kLowBatteryEod)
             || (in.onBattery() && (in.below("battery.charge", in.limits.chargeLow)
                                    || in.below("battery.runtime", in.limits.runtimeLow)));
     }},
    {"CHRG", nullptr, "4101 = 2 (charging)", [](const FlagInputs& in) { return in.is(point::BatteryStatus, StateTexts::BatteryEqualizedCharge); }},
    {"DISCHRG", nullptr, "4101 = 4 (discharging)", [](const FlagInputs& in) { return in.onBattery(); }},
    {"BYPASS", "ONBYPASS", "4218 (load on bypass) = 1", [](const FlagInputs& in) { return in.is(point::LoadOnBypass, 1); }},
    {"TEST", nullptr, "4259 (battery test status) not 0",
     [](const FlagInputs& in) { return in.data.contains(point::BatteryTestStatus) && !in.is(point::BatteryTestStatus, 0); }},
    {"OFF", "OFF", "4223 (output supplied) = 0: the load has no power",
     [](const FlagInputs& in) { return in.is(point::OutputSupplied, 0); }},
    {"OVER", "OVERLOAD", "alarm 141 (output overload alarm)",
     [](const FlagInputs& in) { return in.alarm(kOutputOverload); }},
    {"FSD", "FSD", "the host's shutdown policy fired for the unit",
     [](const FlagInputs& in) { return in.forced; }},
};

struct EventText { const char* name; const char* text; const char* when; };
const EventText kMessages[] = {
    {"ONLINE", "%1 is on line power", "OL appears (not on the first report)"},
    {"ONBATT", "%1 is on battery", "OB appears"},
    {"LOWBATT", "%1 battery is low", "LB appears"},
    {"ONBYPASS", "%1 is on bypass: the load is not protected", "BYPASS appears"},
    {"OFF", "%1 output is off: the load has no power", "OFF appears"},
    {"OVERLOAD", "%1 output is overloaded", "OVER appears"},
    {"COMMOK", "communication with %1 established", "the unit answers again after a loss (1040 after 1041)"},
    {"COMMBAD", "communication with %1 lost", "the unit stops answering after it had answered (1041)"},
    {"NOCOMM", "%1 is unavailable: it has not answered since the start", "the first communication state is lost"},
    {"STALE", "no data from %1 for %2 s: its collector is blocked", "no data report (2007) for [host] maxAge seconds (default 15)"},
    {"FSD", "%1: forced shutdown in progress", "FSD appears: the host's shutdown policy fired for the unit"},
    {"SHUTDOWN", "shutting down because of %1", "the host runs [policy] shutdownCmd (once per episode)"},
};

// Values the host itself gives every unit, as NUT's drivers give theirs.
struct HostValue
{
    const char* name;
    const char* meaning;
    QVariant (*value)(const StatusModel::Limits&);
};
const HostValue kHostValues[] = {
    {"device.type", "always \"ups\"", [](const StatusModel::Limits&) { return QVariant(QStringLiteral("ups")); }},
    {"driver.name", "always \"upsmon-host\": the host stands in for NUT's driver",
     [](const StatusModel::Limits&) { return QVariant(QStringLiteral("upsmon-host")); }},
    {"driver.version", "upsmon-host's version",
     [](const StatusModel::Limits&) { return QVariant(QStringLiteral(VEK5_VERSION)); }},
    {"battery.charge.low", "[policy] chargeLow (%), where LB starts on battery; absent when 0 (off)",
     [](const StatusModel::Limits& l) { return l.chargeLow >= 0 ? QVariant(l.chargeLow) : QVariant(); }},
    {"battery.runtime.low", "[policy] runtimeLow (s), where LB starts on battery; absent when 0 (off)",
     [](const StatusModel::Limits& l) { return l.runtimeLow >= 0 ? QVariant(l.runtimeLow) : QVariant(); }},
};

template <typename Row, size_t N>
QVector<QString> namesOf(const Row (&rows)[N])
{
    QVector<QString> names;
    for (const Row& r : rows)
        names += QString::fromLatin1(r.name);
    return names;
}

DerivedEvent makeEvent(const QString& unit, const QString& name, int maxAge)
{
    DerivedEvent e{unit, name, QString()};
    for (const EventText& t : kMessages)
        if (name == QLatin1String(t.name))
            e.message = QString::fromLatin1(t.text).arg(unit);
    if (e.message.contains(QLatin1String("%2")))
        e.message = e.message.arg(maxAge);
    return e;
}

} // namespace

StatusModel::StatusModel(const QString& unit, const QStringList& alarmTexts, const Limits& limits,
                         qint64 nowMs)
    : m_alarmTexts(alarmTexts), m_limits(limits), m_lastDataMs(nowMs)
{
    m_status.unit = unit;
    setExtraValues({});
}

void StatusModel::setExtraValues(const ExtraValues& extra)
{
    // Made once: a key is then a shared copy of these texts.
    static const QVector<QString> hostNames = namesOf(kHostValues);
    static const QVector<QString> pointNames = [] {
        QVector<QString> names;
        for (const StatusPoint* p = statusPointTable(); p->name; ++p)
            names += QString::fromLatin1(p->name);
        return names;
    }();
    m_extraValues = extra;
    m_order.clear();
    for (int i = 0; i < hostNames.size(); ++i)
        m_order += NamedValue{hostNames.at(i), NamedValue::Host, i};
    for (int i = 0; i < pointNames.size(); ++i)
        m_order += NamedValue{pointNames.at(i), NamedValue::Point, i};
    for (int i = 0; extra.names && i < extra.names->size(); ++i)
        m_order += NamedValue{extra.names->at(i), NamedValue::Extra, i};
    std::sort(m_order.begin(), m_order.end(),
              [](const NamedValue& a, const NamedValue& b) { return a.name < b.name; });
    m_status.values.clear();
    m_olderValues.clear();
}

QVariant StatusModel::valueOf(const NamedValue& named) const
{
    switch (named.source) {
    case NamedValue::Host:
        return kHostValues[named.index].value(m_limits);
    case NamedValue::Point:
        return statusPointValue(statusPointTable()[named.index], m_data);
    case NamedValue::Extra:
        break;
    }
    return m_extraValues.value(named.index, m_data);
}

DerivedEvent StatusModel::event(const QString& name) const
{
    return makeEvent(m_status.unit, name, m_limits.maxAgeSeconds);
}

QList<QPair<QString, QString>> StatusModel::eventRules()
{
    QList<QPair<QString, QString>> rules;
    for (const EventText& t : kMessages)
        rules += qMakePair(QString::fromLatin1(t.name), QString::fromLatin1(t.when));
    return rules;
}

QList<QPair<QString, QString>> StatusModel::hostValueRules()
{
    QList<QPair<QString, QString>> rules;
    for (const HostValue& v : kHostValues)
        rules += qMakePair(QString::fromLatin1(v.name), QString::fromLatin1(v.meaning));
    return rules;
}

QList<QPair<QString, QString>> StatusModel::flagRules()
{
    QList<QPair<QString, QString>> rules;
    for (const FlagRule& f : kFlags)
        rules += qMakePair(QString::fromLatin1(f.flag), QString::fromLatin1(f.rule));
    return rules;
}

QList<DerivedEvent> StatusModel::changedFlags(const QStringList& before, bool first)
{
    const FlagInputs in{m_data, m_status, m_limits, m_forced};
    m_status.flags.clear();
    for (const FlagRule& f : kFlags)
        if (f.test(in))
            m_status.flags += QLatin1String(f.flag);

    QList<DerivedEvent> events;
    for (const FlagRule& f : kFlags) {
        const QString flag = QLatin1String(f.flag);
        // A unit first seen on line power is no news; on battery it is.
        if (f.event && m_status.flags.contains(flag) && !before.contains(flag)
            && !(first && flag == QLatin1String("OL")))
            events += event(QLatin1String(f.event));
    }
    return events;
}

QList<DerivedEvent> StatusModel::updateData(const QMap<int, QVariant>& data, qint64 nowMs)
{
    const bool first = !m_hasData;
    m_data.assign(data);
    m_hasData = true;
    m_lastDataMs = nowMs;
    m_status.stale = false;
    m_status.dataAgeSeconds = 0;

    // The values go into the map of two reports ago, which the directory has
    // let go of by now: its nodes are written in place, with nothing
    // allocated or freed per report. (A reader still holding it makes the
    // first write copy it, as any shared map.) Every key in it is a shared
    // copy of a name in m_order, in m_order's order: one walk, keys told
    // apart by their text's address, no text compared.
    std::swap(m_status.values, m_olderValues);
    QMap<QString, QVariant>& values = m_status.values;
    auto it = values.begin();
    for (const NamedValue& named : qAsConst(m_order)) {
        const QVariant v = valueOf(named);
        const bool present = it != values.end() && it.key().constData() == named.name.constData();
        if (v.isValid()) {
            if (present)
                *it = v;
            else
                it = values.insert(it, named.name, v);
            ++it;
        } else if (present) {
            it = values.erase(it);
        }
    }

    m_status.alarms.clear();
    const int named = m_alarmTexts.size() / 2;
    for (int i = m_data.lowerBound(point::FirstAlarm);
         i < m_data.size() && m_data.pointAt(i) < point::FirstAlarm + point::AlarmCount; ++i) {
        if (m_data.valueAt(i).toInt() != 1)
            continue;
        const int index = m_data.pointAt(i) - point::FirstAlarm;
        m_status.alarms += ActiveAlarm{index, index < named ? m_alarmTexts.at(index) : QString()};
    }
    const QStringList before = m_status.flags;
    return changedFlags(before, first);
}

QList<DerivedEvent> StatusModel::updateComm(UnitStatus::Comm comm, qint64 nowMs)
{
    Q_UNUSED(nowMs)
    const UnitStatus::Comm before = m_status.comm;
    m_status.comm = comm;
    if (comm == before)
        return {};
    if (comm == UnitStatus::Comm::Lost)
        return {event(before == UnitStatus::Comm::Ok ? QStringLiteral("COMMBAD") : QStringLiteral("NOCOMM"))};
    if (comm == UnitStatus::Comm::Ok && before == UnitStatus::Comm::Lost)
        return {event(QStringLiteral("COMMOK"))};
    return {};
}

void StatusModel::age(qint64 nowMs)
{
    if (m_hasData)
        m_status.dataAgeSeconds = (nowMs - m_lastDataMs) / 1000.0;
}

qint64 StatusModel::staleAtMs() const
{
    return m_status.stale ? std::numeric_limits<qint64>::max() : m_lastDataMs + m_limits.maxAgeSeconds * 1000LL;
}

QList<DerivedEvent> StatusModel::tick(qint64 nowMs)
{
    age(nowMs);
    if (m_status.stale || nowMs - m_lastDataMs < m_limits.maxAgeSeconds * 1000LL)
        return {};
    m_status.stale = true;
    return {event(QStringLiteral("STALE"))};
}

QList<DerivedEvent> StatusModel::setForcedShutdown(bool on)
{
    if (m_forced == on)
        return {};
    m_forced = on;
    const QStringList before = m_status.flags;
    return changedFlags(before, false);
}

DerivedEvent StatusModel::shutdownEvent(const QString& unit)
{
    return makeEvent(unit, QStringLiteral("SHUTDOWN"), 0);
}
