#ifndef POINTARRAY_H
#define POINTARRAY_H

// A unit's last report as two arrays side by side (points ascending, their
// values), copied from the collector's map. Holding that map would share it,
// and the collector's next cycle would copy all of it before writing its
// first value. A thousand units' maps are cold again between two reports:
// the copy is one walk over the map, and the lookups that follow stay in
// cells next to each other instead of in scattered tree nodes.

#include <QMap>
#include <QVariant>
#include <QVector>

class PointArray
{
public:
    // Becomes equal to `data`; from one report to the next the points are
    // the same, so nothing is allocated.
    void assign(const QMap<int, QVariant>& data);
    // The point's value; null when the report did not have it.
    const QVariant* find(int point) const;
    bool contains(int point) const { return find(point) != nullptr; }
    QVariant value(int point, const QVariant& fallback = QVariant()) const
    {
        const QVariant* v = find(point);
        return v ? *v : fallback;
    }
    bool isEmpty() const { return m_points.isEmpty(); }
    int size() const { return m_points.size(); }
    int pointAt(int i) const { return m_points.at(i); }
    const QVariant& valueAt(int i) const { return m_values.at(i); }
    // The index of the first point at or above `point` (size() if none).
    int lowerBound(int point) const;
    QMap<int, QVariant> toMap() const;

private:
    QVector<int> m_points;
    QVector<QVariant> m_values;
};

#endif // POINTARRAY_H
