#ifndef LOGFILTER_H
#define LOGFILTER_H

// Keeps a failing line from flooding the log: a debug line already shown is
// counted instead of printed, and "(repeated N times)" follows at most once a
// minute per line. Warnings and errors always pass. Thread-safe: collectors
// log from their own threads.

#include <QHash>
#include <QMutex>
#include <QString>
#include <QStringList>

class LogFilter
{
public:
    // Lines to print for `message` at `nowMs` (none, the line, or a
    // repeat summary).
    QStringList filter(bool debug, const QString& message, qint64 nowMs);

    // Installs a Qt message handler printing through a process-wide filter;
    // `verbose` prints every line.
    static void install(bool verbose);

private:
    struct Seen { qint64 reportedMs; int repeats; };
    QMutex m_lock;
    QHash<QString, Seen> m_seen;
};

#endif // LOGFILTER_H
