#ifndef DATALOG_H
#define DATALOG_H

// The periodic data log: a CSV file with one row per unit and interval,
// "Time", "Unit" and then the collector's data-log headings. Rows are
// appended; a file that already has content keeps it and gets no second
// header.

#include <QFile>
#include <QString>
#include <QStringList>

class DataLog
{
public:
    // `headings` by value: reopen() passes the member it replaces.
    bool open(const QString& path, const QStringList headings, QString* error);
    bool isOpen() const { return m_file.isOpen(); }
    // Opens the same path again: after a rotation (mv) the rows go to a new
    // file, which gets the header.
    bool reopen(QString* error) { return open(m_file.fileName(), m_headings, error); }
    // Writes one row and flushes it, so a reader sees whole rows only.
    bool append(const QString& time, const QString& unit, const QStringList& values);
    void close() { m_file.close(); }

    // One CSV field: quoted when it holds a comma, a quote or a line break.
    static QString csvField(const QString& text);
    static QString csvLine(const QStringList& fields);

private:
    QFile m_file;
    QStringList m_headings;
    int m_columns = 0;
};

#endif // DATALOG_H
