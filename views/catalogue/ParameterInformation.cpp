#include "ParameterInformation.h"

#include <QByteArray>
#include <QDebug>

namespace {

// The two stored date-and-time values, shown as 20yy/MM/dd hh:mm:ss.
bool isDateTimePoint(int pointId)
{
    return pointId == 3103 || pointId == 4268;
}

// Separator written after date field i (year, month, day, hour, minute, ...).
QString dateSeparator(int field)
{
    switch (field) {
    case 0:
    case 1:
        return QStringLiteral("/");
    case 2:
        return QStringLiteral(" ");
    case 3:
    case 4:
        return QStringLiteral(":");
    default:
        return QString();
    }
}

} // namespace

void ParameterInformation::addCombo(QStringList texts)
{
    for (int i = 0; i < texts.size(); ++i)
        comboMap.insert(texts.at(i), i);
}

void ParameterInformation::addCombo(QStringList texts, QList<float> values)
{
    if (texts.isEmpty() || values.isEmpty())
        return;
    const int count = qMin(texts.size(), values.size());
    if (count < texts.size())
        qWarning() << "addCombo: fewer values than texts for" << label;
    for (int i = 0; i < count; ++i)
        comboMap.insert(texts.at(i), static_cast<int>(values.at(i)));
}

QString ParameterInformation::displayText(const QMap<int, QVariant>& data) const
{
    auto num = [&data](int id) { return data.value(id); };
    switch (type) {
    case 0:
        return QString::asprintf("%d", num(pointId).toInt()) + unit;
    case 1:
        return QString::asprintf("%d/%d/%d", num(pointId).toInt(), num(pointId + 1).toInt(),
                                 num(pointId + 2).toInt())
            + unit;
    case 4:
        return QString::asprintf("%.1f", double(num(pointId).toFloat())) + unit;
    case 5:
        return QString::asprintf("%.1f/%.1f/%.1f", double(num(pointId).toFloat()),
                                 double(num(pointId + 1).toFloat()),
                                 double(num(pointId + 2).toFloat()))
            + unit;
    case 6:
        return QString::asprintf("%.2f", double(num(pointId).toFloat())) + unit;
    case 7:
        return QString::asprintf("%.2f/%.2f/%.2f", double(num(pointId).toFloat()),
                                 double(num(pointId + 1).toFloat()),
                                 double(num(pointId + 2).toFloat()))
            + unit;
    case 9:
        return pointText(data);
    case 11: {
        const int raw = num(pointId).toInt();
        for (auto it = comboMap.constBegin(); it != comboMap.constEnd(); ++it) {
            if (it.value() == raw)
                return it.key() + unit;
        }
        return QString();
    }
    default:
        return QString();
    }
}

QString ParameterInformation::pointText(const QMap<int, QVariant>& data) const
{
    if (pointCount <= 0)
        return QString();

    if (isDateTimePoint(pointId)) {
        QString text = QStringLiteral("20");
        for (int i = 0; i < pointCount; ++i)
            text += data.value(pointId + i).toString().rightJustified(2, QLatin1Char('0'))
                + dateSeparator(i);
        return text.size() < 10 ? QString() : text;
    }

    QByteArray bytes;
    bytes.reserve(pointCount);
    for (int i = 0; i < pointCount; ++i)
        bytes.append(static_cast<char>(data.value(pointId + i).toInt() & 0xff));
    bytes = bytes.trimmed();
    const int end = bytes.indexOf('\0');
    if (end >= 0)
        bytes.truncate(end);
    return QString::fromUtf8(bytes) + unit;
}

bool ParameterInformation::hasRange() const
{
    return minRaw != 0 || maxRaw != 0;
}

QString ParameterInformation::rangeText(const QString& form) const
{
    if (!hasRange())
        return QStringLiteral("-");
    return form.arg(double(minRaw * ratio)).arg(double(maxRaw * ratio));
}
