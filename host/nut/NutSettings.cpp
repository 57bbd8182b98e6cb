#include "NutSettings.h"

#include <QRegularExpression>

#include <cmath>

#include "points.h"
#include "vek5_10_30k_View.h"

namespace {

const int kTextType = 9;    // multi-point texts are not written through a raw value

// Settings that NUT's naming scheme has a name for.
const struct { int point; const char* name; } kStandardNames[] = {
    {point::RatedInputVoltageSetting, "input.voltage.nominal"},
    {point::RatedInputFrequencySetting, "input.frequency.nominal"},
    {point::RatedOutputVoltageSetting, "output.voltage.nominal"},
    {point::RatedOutputFrequencySetting, "output.frequency.nominal"},
};

QString variableName(int point, const QString& label)
{
    for (const auto& standard : kStandardNames)
        if (standard.point == point)
            return QLatin1String(standard.name);
    static const QRegularExpression nonWord(QStringLiteral("[^a-z0-9]+"));
    QString words = label.toLower();
    words.replace(nonWord, QStringLiteral("."));
    while (words.endsWith(QLatin1Char('.')))
        words.chop(1);
    while (words.startsWith(QLatin1Char('.')))
        words.remove(0, 1);
    return QStringLiteral("vek5.") + words;
}

int decimals(float ratio)
{
    return ratio > 0 && ratio < 1 ? int(std::lround(-std::log10(ratio))) : 0;
}

QList<NutSetting> buildTable()
{
    QList<NutSetting> table;
    vek5_10_30k_View catalogue;
    const QList<QList<ParameterInformation*>> lists{catalogue.getBasicConfig(), catalogue.getBatteryConfig(),
                                                    catalogue.getAdjustConfig(), catalogue.getDevInfoConfig()};
    for (const QList<ParameterInformation*>& list : lists) {
        for (const ParameterInformation* row : list) {
            if (row->pointId < point::FirstSetting || row->pointId > point::LastSetting || row->type == kTextType)
                continue;
            NutSetting s;
            s.description = row->label.endsWith(QLatin1Char(':')) ? row->label.chopped(1) : row->label;
            s.name = variableName(row->pointId, s.description);
            s.point = row->pointId;
            s.ratio = row->ratio != 0.0f ? row->ratio : 1.0f;
            s.minRaw = row->minRaw;
            s.maxRaw = row->maxRaw;
            // The dialog sends an option's value divided by the ratio; the
            // option "0.5" is stored truncated to 0, its text restores it.
            for (auto it = row->comboMap.constBegin(); it != row->comboMap.constEnd(); ++it) {
                const double value = it.key() == QLatin1String("0.5") ? 0.5 : it.value();
                s.options += qMakePair(it.key(), int(std::lround(value / s.ratio)));
            }
            table += s;
        }
    }
    return table;
}

} // namespace

QString NutSetting::scaled(int raw) const
{
    return QString::number(raw * double(ratio), 'f', decimals(ratio));
}

QString NutSetting::text(int raw) const
{
    if (!isEnum())
        return scaled(raw);
    for (const auto& option : options)
        if (option.second == raw)
            return option.first;
    return QString::number(raw);
}

QString NutSetting::format(const QVariant& published) const
{
    return published.type() == QVariant::String ? published.toString()
                                                : QString::number(published.toDouble(), 'f', decimals(ratio));
}

bool NutSetting::parse(const QString& text, int* raw) const
{
    if (isEnum()) {
        for (const auto& option : options) {
            if (option.first == text) {
                *raw = option.second;
                return true;
            }
        }
        return false;
    }
    // Plain decimal notation only, as the protocol asks.
    static const QRegularExpression decimal(QStringLiteral("^-?[0-9]+(\\.[0-9]+)?$"));
    if (!decimal.match(text).hasMatch())
        return false;
    const double steps = text.toDouble() / ratio;
    const double rounded = std::round(steps);
    // A value finer than the unit's step is not one the unit can hold.
    if (std::fabs(steps - rounded) > 1e-3 || rounded < -32768 || rounded > 65535)
        return false;
    const int value = int(rounded);
    if (hasRange() && (value < minRaw || value > maxRaw))
        return false;
    *raw = value;
    return true;
}

const QList<NutSetting>& NutSettings::all()
{
    static const QList<NutSetting> table = buildTable();
    return table;
}

const NutSetting* NutSettings::find(const QString& name)
{
    for (const NutSetting& s : all())
        if (s.name == name)
            return &s;
    return nullptr;
}

const QVector<QString>& NutSettings::names()
{
    static const QVector<QString> names = [] {
        QVector<QString> list;
        for (const NutSetting& s : all())
            list += s.name;
        return list;
    }();
    return names;
}

QVariant NutSettings::published(int index, const PointArray& data)
{
    const NutSetting& s = all().at(index);
    const QVariant* v = data.find(s.point);
    if (!v)
        return QVariant();
    // The data map holds a setting as the unit means it (its raw value
    // times the ratio), as the settings table shows it.
    const double value = v->toDouble();
    return s.isEnum() ? QVariant(s.text(int(std::lround(value / s.ratio)))) : QVariant(value);
}
