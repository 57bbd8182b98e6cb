#include "WebServer.h"

#include <QDebug>
#include <QElapsedTimer>
#include <QFile>
#include <QHostAddress>
#include <QSocketNotifier>
#include <QJsonArray>
#include <QJsonDocument>

#include <civetweb.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <cerrno>
#include <fcntl.h>
#include <future>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "MetricsExporter.h"
#include "NutUsers.h"
#include "TlsFront.h"
#include "UnitDirectory.h"

namespace {

const int kChangeTimeoutMs = 5000;          // the main thread answers a change within this
const auto kKeepAlive = std::chrono::seconds(15);
const size_t kMaxQueuedFrames = 512;        // a live client this far behind is dropped

qint64 monotonicMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch()).count();
}

const char* reason(int status)
{
    switch (status) {
    case 200: return "OK";
    case 202: return "Accepted";
    case 400: return "Bad Request";
    case 401: return "Unauthorized";
    case 403: return "Forbidden";
    case 404: return "Not Found";
    case 405: return "Method Not Allowed";
    case 409: return "Conflict";
    case 413: return "Payload Too Large";
    case 422: return "Unprocessable Entity";
    case 429: return "Too Many Requests";
    case 503: return "Service Unavailable";
    default: return "Error";
    }
}

void send(mg_connection* conn, const WebResponse& r)
{
    QByteArray head = "HTTP/1.1 " + QByteArray::number(r.status) + ' ' + reason(r.status) + "\r\n"
        "Content-Type: " + r.contentType + "\r\n"
        "Content-Length: " + QByteArray::number(r.body.size()) + "\r\n"
        "Cache-Control: no-store\r\n"
        "X-Content-Type-Options: nosniff\r\n"
        "X-Frame-Options: DENY\r\n"
        "Content-Security-Policy: default-src 'self'; img-src 'self' data:\r\n"
        "Connection: close\r\n";
    for (const auto& h : r.headers)
        head += h.first + ": " + h.second + "\r\n";
    head += "\r\n";
    mg_write(conn, head.constData(), size_t(head.size()));
    mg_write(conn, r.body.constData(), size_t(r.body.size()));
}

int logMessage(const mg_connection*, const char* message)
{
    qWarning().noquote() << QStringLiteral("web console: %1").arg(QString::fromLocal8Bit(message).trimmed());
    return 1;
}

} // namespace

// The directory as the request threads see it: reads go straight through
// (they are thread-safe), changes are run on the server's thread.
class WebServer::MainThreadDirectory : public UnitDirectory
{
public:
    MainThreadDirectory(UnitDirectory* directory, WebServer* home) : m_directory(directory), m_home(home) {}

    QStringList units() const override { return m_directory->units(); }
    QString description(const QString& unit) const override { return m_directory->description(unit); }
    UnitStatus status(const QString& unit) const override { return m_directory->status(unit); }
    QJsonObject panels(const QString& unit) const override
    {
        // Runs under the server's change lock, and is taken off the queue
        // if it has not run by the time the wait gives up: `made` outlives it.
        QJsonObject made;
        QString error;
        UnitDirectory* d = m_directory;
        m_home->onMainThread([d, unit, &made](QString*) { return made = d->panels(unit), true; }, &error);
        return made;
    }
    bool sendCommand(const QString& unit, const QString& name, const QString& value, const QString& who,
                     QString* error) override
    {
        UnitDirectory* d = m_directory;
        return m_home->onMainThread([=](QString* e) { return d->sendCommand(unit, name, value, who, e); }, error);
    }
    bool writeSetting(const QString& unit, int point, int rawValue, const QString& who, QString* error) override
    {
        UnitDirectory* d = m_directory;
        return m_home->onMainThread([=](QString* e) { return d->writeSetting(unit, point, rawValue, who, e); }, error);
    }

private:
    UnitDirectory* m_directory;
    WebServer* m_home;
};

bool WebServer::onMainThread(std::function<bool(QString*)> change, QString* error)
{
    auto pending = std::make_shared<Change>();
    pending->run = std::move(change);
    std::future<QPair<bool, QString>> result = pending->done.get_future();
    {
        const std::lock_guard<std::mutex> locker(m_changesLock);
        m_changes.push_back(pending);
    }
    // A byte down the pipe wakes the main thread; the change itself crosses
    // under m_changesLock. (A queued call would hand over memory through
    // Qt's own locks, which ThreadSanitizer cannot see.)
    const char wake = 1;
    if (::write(m_wake[1], &wake, 1) < 0 && errno != EAGAIN)
        qWarning().noquote() << QStringLiteral("web console: cannot wake the main thread: %1").arg(qt_error_string(errno));
    QElapsedTimer waited;
    waited.start();
    // Short waits: a stopping server must not wait on the thread that stops it.
    while (result.wait_for(std::chrono::milliseconds(50)) != std::future_status::ready) {
        if (!m_stopping && !waited.hasExpired(kChangeTimeoutMs))
            continue;
        const std::lock_guard<std::mutex> locker(m_changesLock);
        const auto queued = std::find(m_changes.begin(), m_changes.end(), pending);
        if (queued == m_changes.end())
            break;      // it ran meanwhile (changes run under the lock)
        m_changes.erase(queued);
        *error = m_stopping ? QStringLiteral("the host is stopping")
                            : QStringLiteral("the host did not take the change in time");
        return false;
    }
    const QPair<bool, QString> r = result.get();
    *error = r.second;
    return r.first;
}

void WebServer::setForceShutdown(WebApi::ForceShutdown fsd)
{
    m_api->setForceShutdown([this, fsd](const QString& unit, const QString& who, QString* error) {
        return onMainThread([=](QString* e) { return fsd(unit, who, e); }, error);
    });
}

void WebServer::runChanges()
{
    char drain[64];
    while (::read(m_wake[0], drain, sizeof(drain)) > 0) {
    }
    const std::lock_guard<std::mutex> locker(m_changesLock);
    while (!m_changes.empty()) {
        const std::shared_ptr<Change> c = m_changes.front();
        m_changes.pop_front();
        QString e;
        const bool ok = c->run(&e);
        c->done.set_value(qMakePair(ok, e));
    }
}

WebServer::WebServer(UnitDirectory* directory, QObject* parent)
    : QObject(parent),
      m_bridge(std::make_unique<MainThreadDirectory>(directory, this)),
      m_api(std::make_unique<WebApi>(m_bridge.get(), &m_events)),
      m_metrics(std::make_unique<MetricsExporter>(*directory))
{
    MetricsExporter* metrics = m_metrics.get();
    m_api->setMetrics([metrics] { return QByteArray::fromStdString(metrics->scrape()); });
    if (::pipe2(m_wake, O_NONBLOCK | O_CLOEXEC) != 0)
        qFatal("web console: no pipe: %s", qPrintable(qt_error_string(errno)));
    auto* notifier = new QSocketNotifier(m_wake[0], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &WebServer::runChanges);
}

WebServer::~WebServer()
{
    stop();
    ::close(m_wake[0]);
    ::close(m_wake[1]);
}

bool WebServer::start(const WebSettings& settings, const NutUsers& users, const QString& historyDir,
                      QString* error)
{
    stop();
    m_settings = settings;
    configure(settings, users, historyDir);
    mg_init_library(0);
    // Under HTTPS, CivetWeb serves the TLS front's relays on a loopback port.
    const QByteArray ports = settings.tls() ? QByteArray("127.0.0.1:0") : settings.listen.toLatin1();
    // One thread more than the limit: it answers the request past the limit with 503.
    const QByteArray threads = QByteArray::number(settings.maxClients + 1);
    const char* options[] = {"listening_ports", ports.constData(), "num_threads", threads.constData(),
                             "request_timeout_ms", "10000", "enable_keep_alive", "no", nullptr};
    mg_callbacks callbacks {};
    callbacks.log_message = logMessage;
    mg_init_data init {};
    init.callbacks = &callbacks;
    init.user_data = this;
    init.configuration_options = options;
    char text[256] = {};
    unsigned code = 0;
    mg_error_data failure {};
    failure.code = &code;
    failure.text = text;
    failure.text_buffer_size = sizeof(text);
    m_stopping = false;
    m_context = mg_start2(&init, &failure);
    if (!m_context) {
        mg_exit_library();
        *error = QStringLiteral("web console cannot listen on %1: %2").arg(settings.listen, QString::fromLocal8Bit(text));
        return false;
    }
    mg_set_request_handler(m_context, "/", &WebServer::onRequest, this);
    mg_server_port port {};
    m_port = m_backendPort = mg_get_server_ports(m_context, 1, &port) == 1 ? port.port : 0;
    if (settings.tls()) {
        m_front = std::make_unique<TlsFront>();
        QString why;
        if (!m_front->start(QHostAddress(settings.host), quint16(settings.port), settings.certificate, settings.key,
                            quint16(m_port), 2 * settings.maxClients, &why)) {
            stop();
            *error = QStringLiteral("web console cannot listen on %1: %2").arg(settings.listen, why);
            return false;
        }
        m_port = m_front->serverPort();
    }
    if (!settings.loopback() && !settings.tls())
        qWarning().noquote() << QStringLiteral("web console on %1, not a loopback address, without TLS: "
                                               "passwords and session cookies travel in clear text; set "
                                               "[web] certificate and key").arg(settings.host);
    return true;
}

void WebServer::configure(const WebSettings& settings, const NutUsers& users, const QString& historyDir)
{
    m_settings.viewWithoutLogin = settings.viewWithoutLogin;
    WebApi::Options options;
    options.viewWithoutLogin = settings.viewWithoutLogin;
    options.historyDir = historyDir;
    m_api->configure(users, options);
}

void WebServer::beginStop()
{
    if (m_front)
        m_front->close();
    if (m_context && !m_stopper.joinable())
        m_stopper = std::thread([this] { stop(); });
}

void WebServer::stop()
{
    const bool stopper = m_stopper.get_id() == std::this_thread::get_id();
    if (m_stopper.joinable() && !stopper)
        m_stopper.join();
    if (m_context)
        stopCivetWeb();
    if (!stopper)
        m_front.reset();    // a QObject of this thread, unused once CivetWeb has stopped
}

void WebServer::stopCivetWeb()
{
    m_stopping = true;
    {
        const std::lock_guard<std::mutex> locker(m_streamsLock);
        for (const std::shared_ptr<Stream>& s : m_streams) {
            const std::lock_guard<std::mutex> streamLocker(s->lock);
            s->closed = true;
            s->wake.notify_all();
        }
    }
    // CivetWeb's listening thread sees the stop only when its poll returns,
    // which can take a second once it has served a connection: a connection
    // of our own wakes it.
    std::atomic<bool> stopped{false};
    std::thread waker([this, &stopped] {
        for (int i = 0; i < 40 && !stopped; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            poke();
        }
    });
    mg_stop(m_context);
    stopped = true;
    waker.join();
    m_context = nullptr;
    m_port = 0;
    mg_exit_library();
}

void WebServer::poke() const
{
    QHostAddress address(m_front ? QStringLiteral("127.0.0.1") : m_settings.host);
    if (address == QHostAddress::AnyIPv4)
        address = QHostAddress::LocalHost;
    else if (address == QHostAddress::AnyIPv6)
        address = QHostAddress::LocalHostIPv6;
    sockaddr_storage peer {};
    socklen_t size = 0;
    if (address.protocol() == QAbstractSocket::IPv6Protocol) {
        auto* in6 = reinterpret_cast<sockaddr_in6*>(&peer);
        in6->sin6_family = AF_INET6;
        in6->sin6_port = htons(quint16(m_backendPort));
        const Q_IPV6ADDR a = address.toIPv6Address();
        std::memcpy(&in6->sin6_addr, &a, sizeof(a));
        size = sizeof(*in6);
    } else {
        auto* in4 = reinterpret_cast<sockaddr_in*>(&peer);
        in4->sin_family = AF_INET;
        in4->sin_port = htons(quint16(m_backendPort));
        in4->sin_addr.s_addr = htonl(address.toIPv4Address());
        size = sizeof(*in4);
    }
    const int fd = ::socket(peer.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return;
    ::connect(fd, reinterpret_cast<sockaddr*>(&peer), size);
    ::close(fd);
}

int WebServer::onRequest(mg_connection* conn, void* self)
{
    static_cast<WebServer*>(self)->serve(conn);
    return 1;
}

void WebServer::serve(mg_connection* conn)
{
    struct Count
    {
        std::atomic<int>& n;
        ~Count() { --n; }
    } count{m_active};
    const mg_request_info* info = mg_get_request_info(conn);
    if (++m_active > m_settings.maxClients || m_stopping) {
        send(conn, WebResponse::error(503, m_stopping ? QStringLiteral("the host is stopping")
                                                      : QStringLiteral("too many requests at once (maxClients %1)")
                                                            .arg(m_settings.maxClients)));
        return;
    }
    if (info->content_length > WebApi::kMaxBody) {
        send(conn, WebResponse::error(413, QStringLiteral("the body is over %1 bytes").arg(WebApi::kMaxBody)));
        return;
    }
    WebRequest r;
    r.method = info->request_method;
    r.path = QString::fromUtf8(info->local_uri_raw ? info->local_uri_raw : "");
    r.query = QString::fromUtf8(info->query_string ? info->query_string : "");
    r.peer = QString::fromLatin1(info->remote_addr);
    if (m_front && !m_front->client(quint16(info->remote_port), &r.peer)) {
        send(conn, WebResponse::error(403, QStringLiteral("this console takes HTTPS only")));
        return;
    }
    r.tls = m_front != nullptr;
    const auto header = [conn](const char* name) { return QByteArray(mg_get_header(conn, name)); };
    r.cookie = header("Cookie");
    r.csrfToken = header("X-CSRF-Token");
    r.origin = header("Origin");
    r.host = header("Host");
    r.contentType = header("Content-Type");
    r.nowMs = monotonicMs();
    char buffer[4096];
    int got = 0;
    while ((got = mg_read(conn, buffer, sizeof(buffer))) > 0) {
        r.body.append(buffer, got);
        if (r.body.size() > WebApi::kMaxBody) {
            send(conn, WebResponse::error(413, QStringLiteral("the body is over %1 bytes").arg(WebApi::kMaxBody)));
            return;
        }
    }
    const WebResponse response = m_api->handle(r);
    if (response.status == 200 && response.contentType == "text/event-stream")
        streamTo(conn);
    else
        send(conn, response);
}

void WebServer::streamTo(mg_connection* conn)
{
    auto stream = std::make_shared<Stream>();
    {
        const std::lock_guard<std::mutex> locker(m_streamsLock);
        const size_t limit = size_t(qMax(1, m_settings.maxClients / 2));
        if (m_streams.size() >= limit) {
            send(conn, WebResponse::error(503, QStringLiteral("too many live pages at once (%1)").arg(limit)));
            return;
        }
        m_streams.push_back(stream);
    }
    QByteArray first = "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nCache-Control: no-store\r\n"
                       "X-Content-Type-Options: nosniff\r\nConnection: close\r\n\r\nretry: 3000\n\n";
    for (const QString& unit : m_bridge->units())
        first += "event: status\ndata: " + QJsonDocument(m_api->summary(unit)).toJson(QJsonDocument::Compact) + "\n\n";
    bool open = mg_write(conn, first.constData(), size_t(first.size())) > 0;
    while (open) {
        std::deque<QByteArray> frames;
        {
            std::unique_lock<std::mutex> locker(stream->lock);
            stream->wake.wait_for(locker, kKeepAlive, [&] { return stream->closed || !stream->frames.empty(); });
            if (stream->closed)
                break;
            frames.swap(stream->frames);
        }
        if (frames.empty())
            frames.push_back(": keep-alive\n\n");
        for (const QByteArray& f : frames)
            open = open && mg_write(conn, f.constData(), size_t(f.size())) > 0;
    }
    const std::lock_guard<std::mutex> locker(m_streamsLock);
    m_streams.erase(std::remove(m_streams.begin(), m_streams.end(), stream), m_streams.end());
}

void WebServer::push(const QByteArray& frame)
{
    const std::lock_guard<std::mutex> locker(m_streamsLock);
    for (const std::shared_ptr<Stream>& s : m_streams) {
        const std::lock_guard<std::mutex> streamLocker(s->lock);
        if (s->frames.size() >= kMaxQueuedFrames)
            s->closed = true;
        else
            s->frames.push_back(frame);
        s->wake.notify_all();
    }
}

void WebServer::unitChanged(const QString& unit)
{
    {
        const std::lock_guard<std::mutex> locker(m_streamsLock);
        if (m_streams.empty())
            return;
    }
    push("event: status\ndata: " + QJsonDocument(m_api->summary(unit)).toJson(QJsonDocument::Compact) + "\n\n");
}

void WebServer::record(const QString& unit, const QJsonObject& event)
{
    const QJsonObject stored = m_events.append(unit, event);
    push("id: " + QByteArray::number(qint64(stored.value(QLatin1String("seq")).toDouble())) + "\nevent: event\ndata: "
         + QJsonDocument(stored).toJson(QJsonDocument::Compact) + "\n\n");
}
