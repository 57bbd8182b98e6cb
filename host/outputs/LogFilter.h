#ifndef LOGFILTER_H
#define LOGFILTER_H

// Keeps a failing line from flooding the log: a debug or info line already
// shown is counted instead of printed, and "(repeated N times)" follows at
// most once a minute per line. Warnings and errors always pass. Debug lines
// are the plugin's (the host's own are info and up) and carry "plugin: ", so
// that an operator tells the two apart. Thread-safe: collectors log from
// their own threads.

#include <QHash>
#include <QString>
#include <QStringList>

#include <mutex>

class LogFilter
{
public:
    // `verbose` prints every line.
    explicit LogFilter(bool verbose = false) : m_verbose(verbose) {}

    // Lines to print for `message` at `nowMs` (none, the line, or a
    // repeat summary).
    QStringList filter(QtMsgType type, const QString& message, qint64 nowMs);

    // Installs a Qt message handler printing through a process-wide filter;
    // `verbose` prints every line.
    static void install(bool verbose);

private:
    struct Seen { qint64 reportedMs; int repeats; };
    const bool m_verbose;
    std::mutex m_lock;     // a lock ThreadSanitizer sees, unlike QMutex
    QHash<QString, Seen> m_seen;
};

#endif // LOGFILTER_H
