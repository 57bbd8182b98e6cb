#include "LogFilter.h"

#include <QDateTime>

#include <cstdio>

namespace {

const qint64 kRepeatReportMs = 60000;
const int kMaxRemembered = 4096;

LogFilter* g_filter = nullptr;

void handler(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    const QStringList lines = g_filter->filter(type, message, QDateTime::currentMSecsSinceEpoch());
    for (const QString& l : lines)
        std::fprintf(stderr, "%s\n", qPrintable(l));
    if (type == QtFatalMsg)
        std::abort();
}

} // namespace

QStringList LogFilter::filter(QtMsgType type, const QString& message, qint64 nowMs)
{
    const QString line = type == QtDebugMsg ? QStringLiteral("plugin: ") + message : message;
    if (m_verbose || (type != QtDebugMsg && type != QtInfoMsg))
        return {line};
    const std::lock_guard<std::mutex> locker(m_lock);
    auto it = m_seen.find(line);
    if (it == m_seen.end()) {
        if (m_seen.size() >= kMaxRemembered)
            m_seen.clear();
        m_seen.insert(line, Seen{nowMs, 0});
        return {line};
    }
    ++it->repeats;
    if (nowMs - it->reportedMs < kRepeatReportMs)
        return {};
    const QString summary = QStringLiteral("%1 (repeated %2 times)").arg(line).arg(it->repeats);
    it->reportedMs = nowMs;
    it->repeats = 0;
    return {summary};
}

void LogFilter::install(bool verbose)
{
    static LogFilter filter(verbose);
    g_filter = &filter;
    qInstallMessageHandler(handler);
}
