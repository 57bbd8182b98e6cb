#include "EventFormatter.h"

#include "RecordKeys.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

const char* const kTimeFormat = "yyyy-MM-dd hh:mm:ss";

// What a state line shows besides the flags, in this order.
struct StateItem { const char* name; const char* label; const char* suffix; int decimals; };
const StateItem kStateItems[] = {
    {"battery.charge", "charge", "%", 0},
    {"battery.runtime", "runtime", "s", 0},
    {"ups.load", "load", "%", 0},
    {"input.voltage", "in", "V", 1},
    {"output.voltage", "out", "V", 1},
};

QString recordText(const QMap<QString, QVariant>& record, const char* key)
{
    return record.value(QLatin1String(key)).toString();
}

int recordInt(const QMap<QString, QVariant>& record, const char* key, int absent = -1)
{
    const QVariant v = record.value(QLatin1String(key));
    return v.isValid() ? v.toInt() : absent;
}

} // namespace

bool EventFormatter::isCollectorEvent(int type)
{
    switch (type) {
    case CommRestored:
    case CommLost:
    case CommandResult:
    case AlarmNotice:
    case AlarmChange:
    case DataReport:
    case StatusPoint2368:
    case StatusPoint2022:
        return true;
    default:
        return false;
    }
}

bool EventFormatter::isControlRequest(int type, const QMap<QString, QVariant>& record)
{
    return !isCollectorEvent(type) && record.contains(QLatin1String(RecordKey::ControlId));
}

QString EventFormatter::alarmText(int index) const
{
    if (index < 0 || index >= m_eventTexts.size() / 2)
        return QStringLiteral("(not in the catalogue)");
    const QString& text = m_eventTexts.at(index);
    return text.isEmpty() ? QStringLiteral("(reserved)") : text;
}

QString EventFormatter::alarmChange(int alarmId, int* index) const
{
    const int half = m_eventTexts.size() / 2;
    const bool cleared = half > 0 && alarmId >= half;
    *index = cleared ? alarmId - half : alarmId;
    return QStringLiteral("alarm %1 %2: %3")
        .arg(*index).arg(cleared ? QStringLiteral("cleared") : QStringLiteral("raised"), alarmText(*index));
}

HostEvent EventFormatter::describe(const DerivedEvent& event)
{
    HostEvent e;
    e.time = QDateTime::currentDateTime().toString(QLatin1String(kTimeFormat));
    e.unit = event.unit;
    e.kind = QStringLiteral("notify");
    e.notify = event.name;
    e.text = event.message;
    return e;
}

HostEvent EventFormatter::describe(const UnitStatus& status, const QString& kind)
{
    HostEvent e;
    e.time = QDateTime::currentDateTime().toString(QLatin1String(kTimeFormat));
    e.unit = status.unit;
    e.kind = kind;
    QStringList words = status.flags;
    e.values.insert(QStringLiteral("ups.status"), status.flags.join(QLatin1Char(' ')));
    for (const StateItem& item : kStateItems) {
        const QVariant v = status.values.value(QLatin1String(item.name));
        if (!v.isValid())
            continue;
        const QString number = QString::number(v.toDouble(), 'f', item.decimals);
        words += QStringLiteral("%1 %2%3").arg(QLatin1String(item.label), number, QLatin1String(item.suffix));
        e.values.insert(QLatin1String(item.name), number.toDouble());
    }
    e.text = words.join(QLatin1Char(' '));
    return e;
}

HostEvent EventFormatter::describe(int type, const QMap<QString, QVariant>& record,
                                   const QString& fallbackUnit) const
{
    HostEvent e;
    e.type = type;
    e.time = recordText(record, RecordKey::TimeStr);
    if (e.time.isEmpty())
        e.time = QDateTime::currentDateTime().toString(QLatin1String(kTimeFormat));
    e.unit = recordText(record, RecordKey::Name);
    if (e.unit.isEmpty())
        e.unit = fallbackUnit;

    if (isControlRequest(type, record)) {
        e.kind = QStringLiteral("request");
        e.code = recordInt(record, RecordKey::ControlId);
        const QString value = recordText(record, RecordKey::ControlValue);
        if (type == SettingRequest)
            e.text = QStringLiteral("setting \"%1\" = \"%2\" requested (command %3 \"%4\")")
                         .arg(recordText(record, RecordKey::NodeName), recordText(record, RecordKey::NodeValue))
                         .arg(e.code).arg(value);
        else
            e.text = QStringLiteral("command %1 requested (value \"%2\")").arg(e.code).arg(value);
        return e;
    }

    const QString desc = recordText(record, RecordKey::Desc);
    switch (type) {
    case CommRestored:
    case CommLost:
        e.kind = QStringLiteral("comm");
        e.state = type == CommLost ? 1 : 0;
        e.text = type == CommLost ? QStringLiteral("communication lost")
                                  : QStringLiteral("communication restored");
        if (!desc.isEmpty())
            e.text += QStringLiteral(": ") + desc;
        break;
    case CommandResult:
        e.kind = QStringLiteral("command");
        e.code = recordInt(record, RecordKey::ControlId);
        e.state = recordInt(record, RecordKey::Result);
        // The collector reports 1045 as successful whatever happened; the
        // command router checks the file and reports the outcome.
        e.text = QStringLiteral("command %1 ran on the unit's line").arg(e.code);
        break;
    case AlarmNotice:
        // The same record follows every CommRestored/CommLost as a repeat; only the one
        // that closes a report with new alarms carries "dis_alarm".
        e.kind = record.contains(QLatin1String(RecordKey::DisAlarm)) ? QStringLiteral("notice")
                                                              : QStringLiteral("repeat");
        e.state = recordInt(record, RecordKey::State);
        e.text = QStringLiteral("new alarms in this report; last change: %1")
                     .arg(alarmChange(recordInt(record, RecordKey::AlarmId), &e.code));
        break;
    case AlarmChange:
        e.kind = QStringLiteral("alarm");
        e.state = recordInt(record, RecordKey::AlarmState);
        e.text = alarmChange(recordInt(record, RecordKey::AlarmId), &e.code);
        break;
    case StatusPoint2368:
    case StatusPoint2022:
        e.kind = QStringLiteral("status");
        e.code = type == StatusPoint2368 ? 368 : 22;
        e.state = recordInt(record, RecordKey::AlarmState);
        e.text = QStringLiteral("status alarm %1 %2: %3")
                     .arg(e.code).arg(e.state == 1 ? QStringLiteral("raised") : QStringLiteral("cleared"),
                                      alarmText(e.code));
        break;
    default:
        e.kind = QStringLiteral("other");
        e.text = QStringLiteral("event type %1").arg(type);
        break;
    }
    return e;
}

QString EventFormatter::toText(const HostEvent& e)
{
    if (!e.notify.isEmpty())
        return QStringLiteral("%1 %2 %3 %4: %5").arg(e.time, e.unit, e.kind, e.notify, e.text);
    if (e.type == 0)
        return QStringLiteral("%1 %2 %3: %4").arg(e.time, e.unit, e.kind, e.text);
    return QStringLiteral("%1 %2 %3 %4: %5").arg(e.time, e.unit, e.kind).arg(e.type).arg(e.text);
}

QString EventFormatter::toJson(const HostEvent& e)
{
    QJsonObject o;
    o.insert(QStringLiteral("time"), e.time);
    o.insert(QStringLiteral("unit"), e.unit);
    o.insert(QStringLiteral("type"), e.type);
    o.insert(QStringLiteral("kind"), e.kind);
    if (!e.notify.isEmpty())
        o.insert(QStringLiteral("notify"), e.notify);
    if (e.code >= 0)
        o.insert(QStringLiteral("code"), e.code);
    if (e.state >= 0)
        o.insert(QStringLiteral("state"), e.state);
    o.insert(QStringLiteral("text"), e.text);
    for (auto it = e.values.constBegin(); it != e.values.constEnd(); ++it)
        o.insert(it.key(), QJsonValue::fromVariant(it.value()));
    return QString::fromUtf8(QJsonDocument(o).toJson(QJsonDocument::Compact));
}
