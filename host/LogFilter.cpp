#include "LogFilter.h"

#include <QDateTime>

#include <cstdio>

namespace {

const qint64 kRepeatReportMs = 60000;
const int kMaxRemembered = 4096;

LogFilter* g_filter = nullptr;
bool g_verbose = false;

void handler(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    const bool debug = type == QtDebugMsg || type == QtInfoMsg;
    const QStringList lines = g_verbose || !debug
        ? QStringList{message} : g_filter->filter(debug, message, QDateTime::currentMSecsSinceEpoch());
    for (const QString& l : lines)
        std::fprintf(stderr, "%s\n", qPrintable(l));
    if (type == QtFatalMsg)
        std::abort();
}

} // namespace

QStringList LogFilter::filter(bool debug, const QString& message, qint64 nowMs)
{
    if (!debug)
        return {message};
    QMutexLocker locker(&m_lock);
    auto it = m_seen.find(message);
    if (it == m_seen.end()) {
        if (m_seen.size() >= kMaxRemembered)
            m_seen.clear();
        m_seen.insert(message, Seen{nowMs, 0});
        return {message};
    }
    ++it->repeats;
    if (nowMs - it->reportedMs < kRepeatReportMs)
        return {};
    const QString summary = QStringLiteral("%1 (repeated %2 times)").arg(message).arg(it->repeats);
    it->reportedMs = nowMs;
    it->repeats = 0;
    return {summary};
}

void LogFilter::install(bool verbose)
{
    static LogFilter filter;
    g_filter = &filter;
    g_verbose = verbose;
    qInstallMessageHandler(handler);
}
