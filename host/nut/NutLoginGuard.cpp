#include "NutLoginGuard.h"

#include <QDebug>

bool NutLoginGuard::blocked(const QString& address, qint64 nowMs) const
{
    const auto it = m_records.constFind(address);
    return it != m_records.constEnd() && nowMs < it->blockedUntil;
}

void NutLoginGuard::failed(const QString& address, const QString& user, qint64 nowMs)
{
    // Addresses that have been quiet for a window and are not blocked are
    // forgotten, so the table holds only the last minute's offenders.
    for (auto it = m_records.begin(); it != m_records.end();) {
        QList<qint64>& failures = it->failures;
        while (!failures.isEmpty() && nowMs - failures.first() >= kWindowMs)
            failures.removeFirst();
        if (failures.isEmpty() && nowMs >= it->blockedUntil)
            it = m_records.erase(it);
        else
            ++it;
    }
    Record& r = m_records[address];
    r.failures += nowMs;
    qWarning().noquote() << QStringLiteral("%1 login failed: user \"%2\" from %3 (%4 within %5 s)")
                                .arg(m_service, user.left(64), address).arg(r.failures.size()).arg(kWindowMs / 1000);
    if (r.failures.size() >= kMaxFailures) {
        r.failures.clear();
        r.blockedUntil = nowMs + kBlockMs;
        qWarning().noquote() << QStringLiteral("%1 client %2: %3 failed logins within %4 s; its logins are "
                                               "refused for %5 s")
                                    .arg(m_service, address).arg(kMaxFailures).arg(kWindowMs / 1000).arg(kBlockMs / 1000);
    }
}
