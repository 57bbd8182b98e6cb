// The web console's input side: a request routed with and without a login, and the bytes as JSON.

#include "EventRing.h"
#include "FakeUnits.h"
#include "FuzzSupport.h"
#include "WebApi.h"

#include <QJsonDocument>

#include <cstdint>

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    fuzz::initQt();
    return 0;
}

// Input: "METHOD PATH[?QUERY]\n" then the body.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray input(reinterpret_cast<const char*>(data), int(size));
    const int end = input.indexOf('\n');
    const QString line = QString::fromUtf8(end < 0 ? input : input.left(end));
    // Built once (the catalogue takes a while); configure() ends the last input's sessions.
    static FakeUnits units = FakeUnits::quoting();
    static EventRing events(4);
    static WebApi api(&units, &events);
    events.append("UPS1", QJsonObject{{"text", "x"}});
    NutUsers users;
    QStringList problems;
    users.parse("[a]\npassword=p\nactions=SET\ninstcmds=ALL\n", &problems);
    api.configure(users, WebApi::Options{(size & 1) != 0, QStringLiteral("/nonexistent"), 60000, 4});

    WebRequest r;
    r.peer = "192.0.2.2";     // never a failed login: the guard outlives the input
    r.host = "h";
    r.contentType = "application/json";
    r.nowMs = 1;
    if (size & 2) {
        r.method = "POST";
        r.path = "/api/login";
        r.body = "{\"user\":\"a\",\"password\":\"p\"}";
        const WebResponse in = api.handle(r);
        FUZZ_CHECK(in.status == 200 && !in.headers.isEmpty());
        r.cookie = in.headers.first().second.split(';').first();
        r.csrfToken = QJsonDocument::fromJson(in.body).object().value("csrfToken").toString().toLatin1();
    }
    r.peer = "192.0.2.1";
    r.method = line.section(' ', 0, 0).left(16).toUtf8();
    const QString target = line.section(' ', 1);
    r.path = target.section('?', 0, 0);
    r.query = target.section('?', 1);
    r.body = end < 0 ? QByteArray() : input.mid(end + 1);
    const WebResponse out = api.handle(r);
    // A known status, and JSON where JSON is said.
    static const QVector<int> known{200, 202, 400, 401, 403, 404, 405, 409, 422, 429};
    FUZZ_CHECK(known.contains(out.status));
    FUZZ_CHECK(out.contentType != "application/json" || QJsonDocument::fromJson(out.body).isObject());
    FUZZ_CHECK(out.status < 400 || out.contentType == "application/json");
    return 0;
}
