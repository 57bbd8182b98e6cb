#ifndef WEBAPI_H
#define WEBAPI_H

// The web console's HTTP API and pages, without sockets: a request in, a
// status and a body out, so it runs the same under the HTTP server, in the
// tests and under the fuzzer. Routes are one table (routes()), which
// docs/web-api.md is checked against.
//
// Access: reading needs a login unless viewWithoutLogin is set. Every change
// (command, setting) needs a login as a NUT user (upsd.users) whose rights
// allow it, and a session's CSRF token in X-CSRF-Token. A login is checked
// for the same origin and slowed per address by the NUT server's guard.
// Changes reach the units through UnitDirectory with who = "web:user@address".
//
// Threads: handle() may run on many threads at once. The directory's
// changes must be safe to call from them (the server posts them to the
// host's main thread).

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QPair>
#include <QString>
#include <QVector>

#include <functional>
#include <mutex>

#include "NutLoginGuard.h"
#include "NutUsers.h"
#include "WebCatalogue.h"

class EventRing;
class UnitDirectory;

struct WebRequest
{
    QByteArray method;
    QString path;           // decoded, without the query
    QString query;          // after "?", percent-encoded as sent
    QByteArray body;
    QString peer;           // the client's address
    bool tls = false;
    QByteArray cookie;      // the headers the API reads
    QByteArray csrfToken;
    QByteArray origin;
    QByteArray host;
    QByteArray contentType;
    qint64 nowMs = 0;       // a monotonic clock
};

struct WebResponse
{
    int status = 200;
    QByteArray contentType = "application/json";
    QByteArray body;
    QList<QPair<QByteArray, QByteArray>> headers;
    QString file;           // when set, the body is this file's content (a history export)

    static WebResponse json(int status, const QJsonObject& object);
    static WebResponse error(int status, const QString& text, QJsonObject extra = QJsonObject());
};

class WebApi
{
public:
    enum Access { Public, View, Change };

    struct Call;
    struct Route
    {
        const char* method;
        const char* pattern;        // segments; "{name}" matches any one segment
        Access access;
        const char* summary;        // one line, for the documentation
        WebResponse (WebApi::*handler)(const Call&);
    };

    struct Options
    {
        bool viewWithoutLogin = true;
        QString historyDir;         // where history exports are (the command router's directory)
        qint64 sessionIdleMs = 30 * 60 * 1000;
        int maxSessions = 64;
    };

    static constexpr int kMaxBody = 64 * 1024;

    WebApi(UnitDirectory* directory, EventRing* events);

    static const QVector<Route>& routes();

    // A reload: new users and options; sessions of users that are gone end.
    void configure(const NutUsers& users, const Options& options);
    // /metrics text; none: 404.
    void setMetrics(std::function<QByteArray()> metrics) { m_metrics = std::move(metrics); }
    // Sets a unit's forced-shutdown flag for `who`; false with a reason. None: 404.
    using ForceShutdown = std::function<bool(const QString& unit, const QString& who, QString* error)>;
    void setForceShutdown(ForceShutdown fsd) { m_fsd = std::move(fsd); }

    WebResponse handle(const WebRequest& request);
    // The unit's line on the site page: name, description, status, values, alarms.
    QJsonObject summary(const QString& unit) const;

    struct Session
    {
        QString user;
        QString address;
        QByteArray csrf;
        NutUser rights;
        qint64 lastUsedMs = 0;
    };
    // One request as a handler sees it: the path's {} segments decoded, and
    // a copy of the caller's session.
    struct Call
    {
        const WebRequest& request;
        QStringList args;
        QByteArray sessionId;       // empty: not logged in
        Session session;
    };

private:
    // The caller's session id when it has a live one (under m_lock).
    QByteArray sessionId(const WebRequest& request);
    bool knownUnit(const QString& unit) const;
    QString who(const Session& s) const { return QStringLiteral("web:%1@%2").arg(s.user, s.address); }
    QString sessionCookie(const QByteArray& id, bool tls, bool clear) const;

    WebResponse page(const Call& call);
    WebResponse unitList(const Call& call);
    WebResponse unit(const Call& call);
    WebResponse alarms(const Call& call);
    WebResponse events(const Call& call);
    WebResponse catalogue(const Call& call);
    WebResponse history(const Call& call);
    WebResponse command(const Call& call);
    WebResponse setting(const Call& call);
    WebResponse login(const Call& call);
    WebResponse logout(const Call& call);
    WebResponse sessionInfo(const Call& call);
    WebResponse metrics(const Call& call);
    WebResponse forceShutdown(const Call& call);
    WebResponse liveStream(const Call& call);

    UnitDirectory* m_directory;
    EventRing* m_events;
    const WebCatalogue m_catalogue;
    std::function<QByteArray()> m_metrics;
    ForceShutdown m_fsd;
    std::mutex m_lock;          // over what follows
    NutUsers m_users;
    Options m_options;
    QHash<QByteArray, Session> m_sessions;
    NutLoginGuard m_guard{"web console"};
};

#endif // WEBAPI_H
