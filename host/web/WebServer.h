#ifndef WEBSERVER_H
#define WEBSERVER_H

// The web console's HTTP(S) server: CivetWeb's threads hand each request to
// WebApi, stream Server-Sent Events to the live pages, and serve /metrics
// from a metrics exporter of its own on the same port. Lives on the host's
// main thread; the host calls unitChanged() and record() as things happen,
// which is all the live stream is fed by (nothing polls).
//
// Changes (commands, settings) must run on the main thread: a request's
// thread posts them there and waits for the answer with a timeout, and
// gives up at once when the server is stopping, so that stopping never
// waits on the main thread it runs on.

#include <QJsonObject>
#include <QPair>
#include <QObject>
#include <QString>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "EventRing.h"
#include "WebApi.h"
#include "WebSettings.h"

struct mg_connection;
struct mg_context;
class MetricsExporter;
class TlsFront;
class NutUsers;
class UnitDirectory;

class WebServer : public QObject
{
    Q_OBJECT
public:
    // `directory` must outlive the server; its changes are made on the
    // thread this object lives on.
    explicit WebServer(UnitDirectory* directory, QObject* parent = nullptr);
    ~WebServer() override;

    // Listens as `settings` say. False with a readable reason; nothing
    // listens then.
    bool start(const WebSettings& settings, const NutUsers& users, const QString& historyDir, QString* error);
    // A reload that keeps the address: users, rights and the history directory.
    void configure(const WebSettings& settings, const NutUsers& users, const QString& historyDir);
    // Ends the live streams and stops serving; waits for the requests in progress.
    void stop();
    // Starts stop() on a thread of its own and returns: CivetWeb takes a
    // second or two to close a live stream, which the host spends joining
    // its units' threads meanwhile. stop() or the destructor wait for it.
    void beginStop();

    const WebSettings& settings() const { return m_settings; }
    int port() const { return m_port; }
    QString url() const { return m_settings.url(m_port); }
    MetricsExporter* metrics() { return m_metrics.get(); }
    // What POST /api/units/{unit}/fsd does; run on this object's thread.
    void setForceShutdown(WebApi::ForceShutdown fsd);

public slots:
    // The unit's snapshot changed: its summary goes to the live pages.
    void unitChanged(const QString& unit);
    // An event line of the unit: kept for /api/units/{unit}/events and pushed.
    void record(const QString& unit, const QJsonObject& event);

private:
    // Runs the changes the request threads queued (main thread).
    void runChanges();
    // Runs `change` on this object's thread and waits for its answer, at
    // most kChangeTimeoutMs and not at all once the server is stopping.
    bool onMainThread(std::function<bool(QString*)> change, QString* error);

    struct Stream
    {
        std::mutex lock;
        std::condition_variable wake;
        std::deque<QByteArray> frames;
        bool closed = false;
    };
    class MainThreadDirectory;
    struct Change
    {
        std::function<bool(QString*)> run;
        std::promise<QPair<bool, QString>> done;
    };

    static int onRequest(mg_connection* conn, void* self);
    void serve(mg_connection* conn);
    void streamTo(mg_connection* conn);
    void push(const QByteArray& frame);
    // Opens and closes a connection to CivetWeb's listening port.
    void poke() const;
    void stopCivetWeb();

    std::unique_ptr<MainThreadDirectory> m_bridge;
    EventRing m_events;
    std::unique_ptr<WebApi> m_api;
    std::unique_ptr<MetricsExporter> m_metrics;
    std::unique_ptr<TlsFront> m_front;    // under HTTPS; kept until CivetWeb has stopped
    WebSettings m_settings;
    mg_context* m_context = nullptr;
    int m_port = 0;             // the clients'
    int m_backendPort = 0;      // CivetWeb's: the same without TLS
    std::atomic<bool> m_stopping{false};
    std::atomic<int> m_active{0};
    std::mutex m_streamsLock;
    std::vector<std::shared_ptr<Stream>> m_streams;
    std::mutex m_changesLock;
    std::deque<std::shared_ptr<Change>> m_changes;
    int m_wake[2] = {-1, -1};   // a pipe: request threads wake the main thread with a byte
    std::thread m_stopper;
};

#endif // WEBSERVER_H
