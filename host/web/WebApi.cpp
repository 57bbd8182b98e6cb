#include "WebApi.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QUrlQuery>

#include "CommandTable.h"
#include "ConfinedDirectory.h"
#include "EventRing.h"
#include "NutSettings.h"
#include "UnitDirectory.h"

namespace {

const char* const kCookie = "upsmon_session";

// Summary fields: the API's name and the snapshot's variable.
const struct { const char* field; const char* variable; } kSummaryValues[] = {
    {"load", "ups.load"},
    {"batteryCharge", "battery.charge"},
    {"batteryRuntime", "battery.runtime"},
    {"inputVoltage", "input.voltage"},
    {"outputVoltage", "output.voltage"},
};

QJsonValue jsonValue(const QVariant& v)
{
    if (!v.isValid())
        return QJsonValue::Null;
    if (v.type() == QVariant::Double || v.type() == QVariant::Int || v.type() == QVariant::LongLong)
        return v.toDouble();
    return v.toString();
}

QByteArray randomHex(int bytes)
{
    QByteArray raw(bytes, Qt::Uninitialized);
    for (int i = 0; i < bytes; ++i)
        raw[i] = char(QRandomGenerator::system()->bounded(256));
    return raw.toHex();
}

// The request's JSON object; false for a body that is not one. An empty
// body is an empty object.
bool jsonBody(const WebRequest& r, QJsonObject* out)
{
    if (r.body.trimmed().isEmpty())
        return true;
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(r.body, &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject())
        return false;
    *out = doc.object();
    return true;
}

const char* contentTypeOf(const QString& file)
{
    if (file.endsWith(QLatin1String(".html")))
        return "text/html; charset=utf-8";
    if (file.endsWith(QLatin1String(".css")))
        return "text/css; charset=utf-8";
    if (file.endsWith(QLatin1String(".js")))
        return "text/javascript; charset=utf-8";
    if (file.endsWith(QLatin1String(".svg")))
        return "image/svg+xml";
    return "application/octet-stream";
}

} // namespace

WebResponse WebResponse::json(int status, const QJsonObject& object)
{
    WebResponse r;
    r.status = status;
    r.body = QJsonDocument(object).toJson(QJsonDocument::Compact);
    return r;
}

WebResponse WebResponse::error(int status, const QString& text, QJsonObject extra)
{
    extra.insert(QStringLiteral("error"), text);
    return json(status, extra);
}

const QVector<WebApi::Route>& WebApi::routes()
{
    static const QVector<Route> table{
        {"GET", "/", Public, "the site page: a card per unit", &WebApi::page},
        {"GET", "/unit", Public, "a unit's page (?unit=NAME)", &WebApi::page},
        {"GET", "/static/{file}", Public, "the pages' scripts and style sheet", &WebApi::page},
        {"GET", "/api/units", View, "every unit: status, load, battery, voltages, comm state, data age, alarm count", &WebApi::unitList},
        {"GET", "/api/units/{unit}", View, "one unit: the summary, every value, the real-time tables, the energy flow", &WebApi::unit},
        {"GET", "/api/units/{unit}/alarms", View, "the unit's active alarms with their texts", &WebApi::alarms},
        {"GET", "/api/units/{unit}/events", View, "the unit's recent events after ?since=SEQ (default 0)", &WebApi::events},
        {"GET", "/api/units/{unit}/history.csv", View, "the unit's last history export (command vek5.history.download)", &WebApi::history},
        {"POST", "/api/units/{unit}/commands/{command}", Change, "runs a command by name or id; body {\"value\": ...} where it takes one", &WebApi::command},
        {"PUT", "/api/units/{unit}/settings/{setting}", Change, "writes a setting by name or point; body {\"value\": ...}", &WebApi::setting},
        {"POST", "/api/units/{unit}/fsd", Change, "forced shutdown: sets the unit's FSD flag for the NUT clients (upsd.users FSD or upsmon primary)", &WebApi::forceShutdown},
        {"GET", "/api/catalogue", View, "the real-time tables, the settings with ranges and options, the commands", &WebApi::catalogue},
        {"GET", "/api/events", View, "Server-Sent Events: status, event", &WebApi::liveStream},
        {"POST", "/api/login", Public, "logs in: body {\"user\", \"password\"}; sets the session cookie, returns the CSRF token", &WebApi::login},
        {"POST", "/api/logout", Change, "ends the session", &WebApi::logout},
        {"GET", "/api/session", Public, "who is logged in, the CSRF token, the rights", &WebApi::sessionInfo},
        {"GET", "/metrics", View, "the Prometheus metrics", &WebApi::metrics},
    };
    return table;
}

// Outside any namespace, as Qt asks: the pages are in this static library.
static void initPages()
{
    Q_INIT_RESOURCE(web);
}

WebApi::WebApi(UnitDirectory* directory, EventRing* events) : m_directory(directory), m_events(events)
{
    initPages();
}

void WebApi::configure(const NutUsers& users, const Options& options)
{
    const std::lock_guard<std::mutex> locker(m_lock);
    m_users = users;
    m_options = options;
    m_sessions.clear();     // rights may have changed: log in again
}

QByteArray WebApi::sessionId(const WebRequest& request)
{
    for (const QByteArray& part : request.cookie.split(';')) {
        const QByteArray item = part.trimmed();
        if (!item.startsWith(QByteArray(kCookie) + '='))
            continue;
        const QByteArray id = item.mid(int(qstrlen(kCookie)) + 1);
        const auto it = m_sessions.find(id);
        if (it == m_sessions.end())
            continue;
        if (request.nowMs - it->lastUsedMs > m_options.sessionIdleMs) {
            m_sessions.erase(it);
            continue;
        }
        it->lastUsedMs = request.nowMs;
        return id;
    }
    return QByteArray();
}

QString WebApi::sessionCookie(const QByteArray& id, bool tls, bool clear) const
{
    return QStringLiteral("%1=%2; Path=/; HttpOnly; SameSite=Strict%3%4")
        .arg(QLatin1String(kCookie), QString::fromLatin1(id), tls ? QStringLiteral("; Secure") : QString(),
             clear ? QStringLiteral("; Max-Age=0") : QString());
}

WebResponse WebApi::handle(const WebRequest& request)
{
    const QStringList segments = request.path.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    const Route* found = nullptr;
    QStringList allowed, args;
    for (const Route& route : routes()) {
        const QStringList pattern = QString::fromLatin1(route.pattern).split(QLatin1Char('/'), Qt::SkipEmptyParts);
        if (pattern.size() != segments.size())
            continue;
        QStringList captured;
        bool match = true;
        for (int i = 0; match && i < pattern.size(); ++i) {
            const QString& segment = segments.at(i);
            if (pattern.at(i).startsWith(QLatin1Char('{')))
                captured += segment;
            else
                match = pattern.at(i) == segment;
        }
        if (!match)
            continue;
        allowed += QLatin1String(route.method);
        if (request.method == route.method) {
            found = &route;
            args = captured;
        }
    }
    if (!found && allowed.isEmpty())
        return WebResponse::error(404, QStringLiteral("no such page: %1").arg(request.path.left(200)));
    if (!found) {
        WebResponse r = WebResponse::error(405, QStringLiteral("method %1 not allowed here")
                                                    .arg(QString::fromLatin1(request.method.left(16))));
        r.headers += qMakePair(QByteArray("Allow"), allowed.join(QStringLiteral(", ")).toLatin1());
        return r;
    }

    Call call{request, args, QByteArray(), Session()};
    {
        const std::lock_guard<std::mutex> locker(m_lock);
        call.sessionId = sessionId(request);
        if (!call.sessionId.isEmpty())
            call.session = m_sessions.value(call.sessionId);
        if (found->access == View && call.sessionId.isEmpty() && !m_options.viewWithoutLogin)
            return WebResponse::error(401, QStringLiteral("login required"));
    }
    if (found->access == Change) {
        if (call.sessionId.isEmpty())
            return WebResponse::error(403, QStringLiteral("login required"));
        if (request.csrfToken.isEmpty() || request.csrfToken != call.session.csrf)
            return WebResponse::error(403, QStringLiteral("missing or wrong X-CSRF-Token"));
    }
    return (this->*found->handler)(call);
}

bool WebApi::knownUnit(const QString& unit) const
{
    return m_directory->units().contains(unit);
}

QJsonObject WebApi::summary(const QString& unit) const
{
    const UnitStatus s = m_directory->status(unit);
    static const char* const kComm[] = {"unknown", "ok", "lost"};
    QJsonObject o{{"name", unit},
                  {"description", m_directory->description(unit)},
                  {"status", s.flags.join(QLatin1Char(' '))},
                  {"comm", QLatin1String(kComm[int(s.comm)])},
                  {"stale", s.stale},
                  {"dataAge", s.dataAgeSeconds < 0 ? QJsonValue() : QJsonValue(s.dataAgeSeconds)},
                  {"alarms", s.alarms.size()}};
    for (const auto& v : kSummaryValues)
        o.insert(QLatin1String(v.field), jsonValue(s.values.value(QLatin1String(v.variable))));
    return o;
}

WebResponse WebApi::page(const Call& call)
{
    const QString path = call.request.path;
    const QString name = path == QLatin1String("/") ? QStringLiteral("index.html")
                       : call.args.isEmpty()         ? QStringLiteral("unit.html")
                                                     : call.args.first();
    QFile file(QStringLiteral(":/web/") + name);
    if (name.contains(QLatin1Char('/')) || !file.open(QIODevice::ReadOnly))
        return WebResponse::error(404, QStringLiteral("no such file: %1").arg(name.left(100)));
    WebResponse r;
    r.contentType = contentTypeOf(name);
    r.body = file.readAll();
    return r;
}

WebResponse WebApi::unitList(const Call&)
{
    QJsonArray units;
    for (const QString& unit : m_directory->units())
        units.append(summary(unit));
    return WebResponse::json(200, QJsonObject{{"units", units}});
}

WebResponse WebApi::unit(const Call& call)
{
    const QString& name = call.args.at(0);
    if (!knownUnit(name))
        return WebResponse::error(404, QStringLiteral("unknown unit \"%1\"").arg(name));
    const UnitStatus s = m_directory->status(name);
    QJsonObject o = summary(name);
    QJsonObject values;
    for (auto it = s.values.constBegin(); it != s.values.constEnd(); ++it)
        values.insert(it.key(), jsonValue(it.value()));
    o.insert(QStringLiteral("values"), values);
    const QJsonObject panels = m_directory->panels(name);
    o.insert(QStringLiteral("tables"), panels.value(QLatin1String("tables")));
    o.insert(QStringLiteral("energyFlow"), panels.value(QLatin1String("energyFlow")));
    return WebResponse::json(200, o);
}

WebResponse WebApi::alarms(const Call& call)
{
    const QString& name = call.args.at(0);
    if (!knownUnit(name))
        return WebResponse::error(404, QStringLiteral("unknown unit \"%1\"").arg(name));
    QJsonArray alarms;
    for (const ActiveAlarm& a : m_directory->status(name).alarms)
        alarms.append(QJsonObject{{"index", a.index}, {"text", a.text}});
    return WebResponse::json(200, QJsonObject{{"unit", name}, {"alarms", alarms}});
}

WebResponse WebApi::events(const Call& call)
{
    const QString& name = call.args.at(0);
    if (!knownUnit(name))
        return WebResponse::error(404, QStringLiteral("unknown unit \"%1\"").arg(name));
    const QString since = QUrlQuery(call.request.query).queryItemValue(QStringLiteral("since"));
    bool ok = true;
    const qint64 after = since.isEmpty() ? 0 : since.toLongLong(&ok);
    if (!ok || after < 0)
        return WebResponse::error(400, QStringLiteral("since must be a sequence number, not \"%1\"").arg(since.left(40)));
    return WebResponse::json(200, QJsonObject{{"unit", name}, {"last", double(m_events->last())},
                                              {"events", m_events->since(name, after)}});
}

WebResponse WebApi::catalogue(const Call&)
{
    return WebResponse::json(200, m_catalogue.json());
}

WebResponse WebApi::history(const Call& call)
{
    const QString& name = call.args.at(0);
    if (!knownUnit(name))
        return WebResponse::error(404, QStringLiteral("unknown unit \"%1\"").arg(name));
    ConfinedDirectory dir;
    {
        const std::lock_guard<std::mutex> locker(m_lock);
        dir.setPath(m_options.historyDir);
    }
    QString path, why;
    QFile file;
    if (dir.resolve(name + QStringLiteral("-history.csv"), &path, &why))
        file.setFileName(path);
    if (!file.open(QIODevice::ReadOnly))
        return WebResponse::error(404, QStringLiteral("no history export of %1 yet: run the command "
                                                      "vek5.history.download first").arg(name));
    WebResponse r;
    r.contentType = "text/csv; charset=utf-8";
    r.body = file.readAll();
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z0-9._-]+$"));
    const QString download = plain.match(name).hasMatch() ? name + QStringLiteral("-history.csv")
                                                          : QStringLiteral("history.csv");
    r.headers += qMakePair(QByteArray("Content-Disposition"),
                           QStringLiteral("attachment; filename=\"%1\"").arg(download).toLatin1());
    return r;
}

WebResponse WebApi::command(const Call& call)
{
    const QString& unit = call.args.at(0);
    if (!knownUnit(unit))
        return WebResponse::error(404, QStringLiteral("unknown unit \"%1\"").arg(unit));
    const UpsCommand* c = findCommand(call.args.at(1));
    if (!c)
        return WebResponse::error(404, QStringLiteral("unknown command \"%1\"").arg(call.args.at(1)));
    const QString name = QLatin1String(c->nutName);
    if (!call.session.rights.mayRun(name))
        return WebResponse::error(403, QStringLiteral("user %1 may not run %2").arg(call.session.user, name));
    QJsonObject body;
    if (!jsonBody(call.request, &body))
        return WebResponse::error(400, QStringLiteral("the body is not a JSON object"));
    const QJsonValue given = body.value(QLatin1String("value"));
    QString value = given.isDouble() ? QString::number(given.toDouble(), 'g', 12) : given.toString();
    if (c->argument == UpsCommand::FileName && given.isUndefined())
        value = unit + QStringLiteral("-history.csv");
    if (m_directory->status(unit).comm != UnitStatus::Comm::Ok)
        return WebResponse::error(409, QStringLiteral("unit %1 is not communicating").arg(unit));
    QString why;
    if (!m_directory->sendCommand(unit, name, value, who(call.session), &why))
        return WebResponse::error(422, why);
    return WebResponse::json(202, QJsonObject{{"unit", unit}, {"command", name}, {"value", value}, {"queued", true}});
}

WebResponse WebApi::setting(const Call& call)
{
    const QString& unit = call.args.at(0);
    if (!knownUnit(unit))
        return WebResponse::error(404, QStringLiteral("unknown unit \"%1\"").arg(unit));
    const NutSetting* s = WebCatalogue::setting(call.args.at(1));
    if (!s)
        return WebResponse::error(404, QStringLiteral("unknown setting \"%1\"").arg(call.args.at(1)));
    if (!call.session.rights.maySet)
        return WebResponse::error(403, QStringLiteral("user %1 may not change settings").arg(call.session.user));
    QJsonObject body;
    if (!jsonBody(call.request, &body) || !(body.value(QLatin1String("value")).isString()
                                            || body.value(QLatin1String("value")).isDouble()))
        return WebResponse::error(400, QStringLiteral("the body must be {\"value\": ...}"));
    const QJsonValue given = body.value(QLatin1String("value"));
    const QString text = given.isDouble() ? QString::number(given.toDouble(), 'g', 12) : given.toString();
    int raw = 0;
    if (!s->parse(text, &raw)) {
        QJsonObject range = WebCatalogue::settingJson(*s);
        range.remove(QStringLiteral("label"));
        return WebResponse::error(422, QStringLiteral("\"%1\" is not a value of %2").arg(text.left(40), s->name), range);
    }
    if (m_directory->status(unit).comm != UnitStatus::Comm::Ok)
        return WebResponse::error(409, QStringLiteral("unit %1 is not communicating").arg(unit));
    QString why;
    if (!m_directory->writeSetting(unit, s->point, raw, who(call.session), &why))
        return WebResponse::error(422, why);
    return WebResponse::json(202, QJsonObject{{"unit", unit}, {"setting", s->name}, {"value", s->text(raw)},
                                              {"queued", true}});
}

WebResponse WebApi::forceShutdown(const Call& call)
{
    const QString& unit = call.args.at(0);
    if (!knownUnit(unit))
        return WebResponse::error(404, QStringLiteral("unknown unit \"%1\"").arg(unit));
    if (!m_fsd)
        return WebResponse::error(404, QStringLiteral("no forced shutdown here"));
    const NutUser& u = call.session.rights;
    if (!u.mayFsd && u.upsmon != NutUser::Upsmon::Primary)
        return WebResponse::error(403, QStringLiteral("user %1 may not force a shutdown").arg(call.session.user));
    QString why;
    if (!m_fsd(unit, who(call.session), &why))
        return WebResponse::error(409, why);
    return WebResponse::json(202, QJsonObject{{"unit", unit}, {"fsd", true}});
}

WebResponse WebApi::login(const Call& call)
{
    const WebRequest& r = call.request;
    // A page of another site cannot send JSON here without the browser
    // asking first, and a browser names the page's origin.
    const QByteArray self = (r.tls ? "https://" : "http://") + r.host;
    if ((!r.origin.isEmpty() && r.origin != self) || !r.contentType.startsWith("application/json"))
        return WebResponse::error(403, QStringLiteral("login from another origin or not as JSON"));
    QJsonObject body;
    if (!jsonBody(r, &body))
        return WebResponse::error(400, QStringLiteral("the body is not a JSON object"));
    const QString user = body.value(QLatin1String("user")).toString();
    const QString password = body.value(QLatin1String("password")).toString();
    const std::lock_guard<std::mutex> locker(m_lock);
    if (m_guard.blocked(r.peer, r.nowMs))
        return WebResponse::error(429, QStringLiteral("too many failed logins from %1; try again later").arg(r.peer));
    const NutUser* u = user.isEmpty() ? nullptr : m_users.authenticate(user, password);
    if (!u) {
        m_guard.failed(r.peer, user, r.nowMs);
        return WebResponse::error(401, QStringLiteral("wrong user or password"));
    }
    if (m_sessions.size() >= m_options.maxSessions) {
        auto oldest = m_sessions.begin();
        for (auto it = m_sessions.begin(); it != m_sessions.end(); ++it)
            if (it->lastUsedMs < oldest->lastUsedMs)
                oldest = it;
        m_sessions.erase(oldest);
    }
    const QByteArray id = randomHex(32);
    const Session s{user, r.peer, randomHex(16), *u, r.nowMs};
    m_sessions.insert(id, s);
    WebResponse out = WebResponse::json(200, QJsonObject{{"user", user}, {"csrfToken", QString::fromLatin1(s.csrf)},
                                                         {"maySet", u->maySet}, {"mayFsd", u->mayFsd}});
    out.headers += qMakePair(QByteArray("Set-Cookie"), sessionCookie(id, r.tls, false).toLatin1());
    return out;
}

WebResponse WebApi::logout(const Call& call)
{
    {
        const std::lock_guard<std::mutex> locker(m_lock);
        m_sessions.remove(call.sessionId);
    }
    WebResponse out = WebResponse::json(200, QJsonObject{{"user", QJsonValue()}});
    out.headers += qMakePair(QByteArray("Set-Cookie"), sessionCookie(QByteArray(), call.request.tls, true).toLatin1());
    return out;
}

WebResponse WebApi::sessionInfo(const Call& call)
{
    bool view = false;
    {
        const std::lock_guard<std::mutex> locker(m_lock);
        view = m_options.viewWithoutLogin;
    }
    if (call.sessionId.isEmpty())
        return WebResponse::json(200, QJsonObject{{"user", QJsonValue()}, {"viewWithoutLogin", view}});
    return WebResponse::json(200, QJsonObject{{"user", call.session.user},
                                              {"csrfToken", QString::fromLatin1(call.session.csrf)},
                                              {"maySet", call.session.rights.maySet},
                                              {"mayFsd", call.session.rights.mayFsd},
                                              {"viewWithoutLogin", view}});
}

WebResponse WebApi::metrics(const Call&)
{
    if (!m_metrics)
        return WebResponse::error(404, QStringLiteral("no metrics here"));
    WebResponse r;
    r.contentType = "text/plain; version=0.0.4; charset=utf-8";
    r.body = m_metrics();
    return r;
}

WebResponse WebApi::liveStream(const Call&)
{
    // The server streams; this only says the request may have it.
    WebResponse r;
    r.contentType = "text/event-stream";
    return r;
}
