#include "PointArray.h"

#include <algorithm>

void PointArray::assign(const QMap<int, QVariant>& data)
{
    m_points.resize(data.size());
    m_values.resize(data.size());
    int i = 0;
    for (auto it = data.cbegin(); it != data.cend(); ++it, ++i) {
        m_points[i] = it.key();
        m_values[i] = it.value();
    }
}

int PointArray::lowerBound(int point) const
{
    return int(std::lower_bound(m_points.cbegin(), m_points.cend(), point) - m_points.cbegin());
}

const QVariant* PointArray::find(int point) const
{
    const int i = lowerBound(point);
    return i < m_points.size() && m_points.at(i) == point ? &m_values.at(i) : nullptr;
}

QMap<int, QVariant> PointArray::toMap() const
{
    QMap<int, QVariant> map;
    for (int i = m_points.size() - 1; i >= 0; --i)
        map.insert(map.begin(), m_points.at(i), m_values.at(i));
    return map;
}
