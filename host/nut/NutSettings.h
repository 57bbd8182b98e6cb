#ifndef NUTSETTINGS_H
#define NUTSETTINGS_H

// The NUT server's writable variables: the unit's settings (points
// 3000-3150 of the parameter catalogue), taken from the catalogue itself so
// that names, ranges and options exist in one place. A variable is an ENUM
// of the row's option texts, or a number whose RANGE is the row's raw limits
// times its ratio. Values travel as raw device integers, converted here
// exactly as the setting dialog converts them.
//
// Names: NUT's standard name where the naming scheme has one, otherwise
// "vek5." and the label in lower case with dots between its words
// ("Battery numbers:" -> vek5.battery.numbers).

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVector>

#include "PointArray.h"

struct NutSetting
{
    QString name;
    QString description;        // the catalogue label without its colon
    int point = 0;
    float ratio = 1.0f;
    int minRaw = 0;
    int maxRaw = 0;             // minRaw = maxRaw = 0: no range
    QList<QPair<QString, int>> options;   // option text -> raw value, by text

    bool isEnum() const { return !options.isEmpty(); }
    bool hasRange() const { return minRaw != 0 || maxRaw != 0; }
    // The value as NUT shows it: the option text, or the scaled number.
    QString text(int raw) const;
    // A published value (see NutSettings::published) as NUT shows it.
    QString format(const QVariant& published) const;
    // The raw value of a text a client sent; false when the text is no
    // option, no number, or outside the range.
    bool parse(const QString& text, int* raw) const;
    QString rangeMin() const { return scaled(minRaw); }
    QString rangeMax() const { return scaled(maxRaw); }

private:
    QString scaled(int raw) const;
};

class NutSettings
{
public:
    // Every writable variable, in catalogue order.
    static const QList<NutSetting>& all();
    static const NutSetting* find(const QString& name);
    // The variable names, in the order of all(); with published() the
    // status model's extra values: a unit's snapshot carries its settings
    // under these names.
    static const QVector<QString>& names();
    // Setting `index` of all() as a data map holds it, as the snapshot shows
    // it (an option text, or a number in the unit's own scale); invalid when
    // the map has none.
    static QVariant published(int index, const PointArray& data);
};

#endif // NUTSETTINGS_H
