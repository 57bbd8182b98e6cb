#include "DataLog.h"

bool DataLog::open(const QString& path, const QStringList headings, QString* error)
{
    m_file.close();
    m_file.setFileName(path);
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text)) {
        if (error)
            *error = QStringLiteral("cannot write data log %1: %2").arg(path, m_file.errorString());
        return false;
    }
    m_headings = headings;
    m_columns = headings.size();
    if (m_file.size() == 0) {
        QStringList header{QStringLiteral("Time"), QStringLiteral("Unit")};
        header += headings;
        m_file.write(csvLine(header).toUtf8());
        m_file.flush();
    }
    return true;
}

bool DataLog::append(const QString& time, const QString& unit, const QStringList& values)
{
    if (!m_file.isOpen())
        return false;
    QStringList row{time, unit};
    row += values;
    // A short row is padded so every row has the header's column count.
    for (int i = values.size(); i < m_columns; ++i)
        row += QString();
    const QByteArray line = csvLine(row).toUtf8();
    const bool ok = m_file.write(line) == line.size();
    m_file.flush();
    return ok;
}

QString DataLog::csvField(const QString& text)
{
    if (!text.contains(QLatin1Char(',')) && !text.contains(QLatin1Char('"'))
        && !text.contains(QLatin1Char('\n')) && !text.contains(QLatin1Char('\r')))
        return text;
    QString quoted = text;
    quoted.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

QString DataLog::csvLine(const QStringList& fields)
{
    QStringList out;
    out.reserve(fields.size());
    for (const QString& f : fields)
        out += csvField(f);
    return out.join(QLatin1Char(',')) + QLatin1Char('\n');
}
