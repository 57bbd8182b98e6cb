#ifndef METRICSEXPORTER_H
#define METRICSEXPORTER_H

// The host's /metrics endpoint: prometheus-cpp's exposer (civetweb) serving
// the units' series and the process series. Each scrape reads the units'
// latest snapshots on the server's own thread; nothing is pushed on a data
// report.

#include <QObject>
#include <QString>

#include <memory>
#include <string>

namespace prometheus {
class Exposer;
}
class ProcessCollector;
class StatusCollector;
class UnitDirectory;

class MetricsExporter : public QObject
{
    Q_OBJECT
public:
    // `directory` must outlive the exporter.
    explicit MetricsExporter(const UnitDirectory& directory, QObject* parent = nullptr);
    ~MetricsExporter() override;

    // "ADDR:PORT" (IPv4, or [IPv6]) or a bare "PORT", which means loopback,
    // as civetweb's listening address. Port 0 takes a free port. False
    // with a readable reason.
    static bool bindAddress(const QString& listen, std::string* address, QString* error);
    // The same form taken apart: the address without brackets and the port.
    // False when it is not of that form. The web console listens by it too.
    static bool listenAddress(const QString& listen, QString* host, int* port);

    // Listens on `listen` (see bindAddress). False with a readable reason;
    // nothing listens then.
    bool start(const QString& listen, QString* error);
    // What start() was given.
    QString listen() const { return m_listen; }
    // The port listened on; 0 before a successful start.
    int port() const;
    // "http://ADDR:PORT/metrics" with the port listened on; empty before a
    // successful start.
    QString url() const;
    // The series in the text format, as a scrape gets them; for a server
    // that serves /metrics itself (the web console). Any thread.
    std::string scrape() const;

public slots:
    void recordCommand(const QString& unit, const QString& name, const QString& outcome);

private:
    std::shared_ptr<StatusCollector> m_units;
    std::shared_ptr<ProcessCollector> m_process;
    QString m_listen;
    QString m_host;     // as given, or the loopback address for a bare port
    std::unique_ptr<prometheus::Exposer> m_exposer;   // last: stops serving before the collectors go
};

#endif // METRICSEXPORTER_H
