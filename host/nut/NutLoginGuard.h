#ifndef NUTLOGINGUARD_H
#define NUTLOGINGUARD_H

// Slows the guessing of NUT passwords: failed logins (wrong password or
// unknown user) are logged with the client's address and user name, and
// after kMaxFailures of them within kWindowMs from one address, that
// address's credentials are refused unchecked for kBlockMs. Other addresses
// are not affected.

#include <QHash>
#include <QList>
#include <QString>

class NutLoginGuard
{
public:
    static constexpr int kMaxFailures = 5;
    static constexpr qint64 kWindowMs = 60 * 1000;
    static constexpr qint64 kBlockMs = 60 * 1000;

    // `service` names the logins in the log ("NUT", "web console").
    explicit NutLoginGuard(const char* service = "NUT") : m_service(QLatin1String(service)) {}

    // True while `address` is refused.
    bool blocked(const QString& address, qint64 nowMs) const;
    // Logs a failed login and starts a block at the last failure allowed.
    void failed(const QString& address, const QString& user, qint64 nowMs);

private:
    struct Record
    {
        QList<qint64> failures;     // within the window, oldest first
        qint64 blockedUntil = 0;
    };
    QString m_service;
    QHash<QString, Record> m_records;
};

#endif // NUTLOGINGUARD_H
