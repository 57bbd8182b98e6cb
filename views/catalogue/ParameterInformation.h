#ifndef PARAMETERINFORMATION_H
#define PARAMETERINFORMATION_H

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>

// One displayed or settable value: where it lives in the data map, how it is
// shown, and for settings its raw range and its options.
class ParameterInformation
{
public:
    QString label;
    QString valueText;
    QString unit;
    float ratio = 0.0f;
    int maxRaw = 0;
    int minRaw = 0;
    int type = 0;
    int pointId = 0;
    QString extraText;
    int pointCount = 0;
    int flag = 1;
    // Ordered by option text, so equal raw values show the text sorting first.
    QMap<QString, int> comboMap;

    // Maps texts[i] to i; a repeated text keeps its later position.
    void addCombo(QStringList texts);
    // Maps texts[i] to values[i] truncated toward zero. Only as many values as
    // there are texts are read; missing values leave the rest unmapped.
    void addCombo(QStringList texts, QList<float> values);

    // The text that a table cell or label shows for this value.
    QString displayText(const QMap<int, QVariant>& data) const;
    // Whether the value has limits; minRaw = maxRaw = 0 means none.
    bool hasRange() const;
    // "-" without range, else `form` with %1 = min and %2 = max scaled by the
    // ratio, each in the shortest general number form.
    QString rangeText(const QString& form = QStringLiteral("%1-%2")) const;

private:
    QString pointText(const QMap<int, QVariant>& data) const;
};

#endif // PARAMETERINFORMATION_H
