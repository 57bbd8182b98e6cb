// One /metrics scrape for 64 fully reported units: CPU of building and
// serialising the series, the same over HTTP as Prometheus fetches it, and
// the size of the exposition.
//
//   bench_metrics_scrape [UNITS [SCRAPES]]     defaults: 64 units, 200 scrapes

#include <QCoreApplication>
#include <QHostAddress>
#include <QTcpSocket>

#include <prometheus/text_serializer.h>

#include <sys/resource.h>
#include <time.h>

#include <cstdio>
#include <sstream>

#include "MetricTable.h"
#include "MetricsExporter.h"
#include "StatusCollector.h"
#include "UnitDirectory.h"

namespace {

class FullDirectory : public UnitDirectory
{
public:
    explicit FullDirectory(int units)
    {
        for (int i = 1; i <= units; ++i) {
            UnitStatus s;
            s.unit = QStringLiteral("U%1").arg(i, 2, 10, QLatin1Char('0'));
            s.comm = UnitStatus::Comm::Ok;
            s.dataAgeSeconds = 0.7;
            s.flags = QStringList{QStringLiteral("OL"), QStringLiteral("CHRG")};
            for (const MetricSource* row = metricTable(); row->nutName; ++row)
                s.values.insert(QLatin1String(row->nutName), 200.0 + i / 10.0);
            s.alarms = {{325, QStringLiteral("Rectifier fan failure")}};
            m_names += s.unit;
            m_units.insert(s.unit, s);
        }
    }
    QStringList units() const override { return m_names; }
    QString description(const QString&) const override { return {}; }
    UnitStatus status(const QString& unit) const override { return m_units.value(unit); }
    QJsonObject panels(const QString&) const override { return {}; }
    bool sendCommand(const QString&, const QString&, const QString&, const QString&, QString*) override { return false; }
    bool writeSetting(const QString&, int, int, const QString&, QString*) override { return false; }

private:
    QStringList m_names;
    QMap<QString, UnitStatus> m_units;
};

double threadCpuSeconds()
{
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) + t.tv_nsec / 1e9;
}

double processCpuSeconds()
{
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return double(u.ru_utime.tv_sec + u.ru_stime.tv_sec) + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

qint64 httpScrape(int port)
{
    QTcpSocket s;
    s.connectToHost(QHostAddress::LocalHost, quint16(port));
    if (!s.waitForConnected(5000))
        return -1;
    s.write("GET /metrics HTTP/1.0\r\n\r\n");
    while (s.state() == QAbstractSocket::ConnectedState && s.waitForReadyRead(10000)) {}
    const QByteArray reply = s.readAll();
    return reply.size() - (reply.indexOf("\r\n\r\n") + 4);
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    const int units = argc > 1 ? std::atoi(argv[1]) : 64;
    const int scrapes = argc > 2 ? std::atoi(argv[2]) : 200;
    if (units < 1 || scrapes < 1) {
        std::fprintf(stderr, "usage: bench_metrics_scrape [UNITS [SCRAPES]]\n");
        return 2;
    }
    FullDirectory directory(units);

    // In process: the collector and the text format, on this thread.
    StatusCollector collector(directory);
    const prometheus::TextSerializer serializer;
    std::size_t bytes = 0;
    std::size_t series = 0;
    const double t0 = threadCpuSeconds();
    for (int i = 0; i < scrapes; ++i) {
        const auto families = collector.Collect();
        std::ostringstream out;
        serializer.Serialize(out, families);
        bytes = out.str().size();
        series = 0;
        for (const auto& f : families)
            series += f.metric.size();
    }
    const double collectMs = (threadCpuSeconds() - t0) * 1000 / scrapes;

    // Over HTTP: the whole process (server threads and this client).
    MetricsExporter exporter(directory);
    QString error;
    if (!exporter.start(QStringLiteral("127.0.0.1:0"), &error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    qint64 httpBytes = 0;
    const double p0 = processCpuSeconds();
    for (int i = 0; i < scrapes; ++i)
        httpBytes = httpScrape(exporter.port());
    const double httpMs = (processCpuSeconds() - p0) * 1000 / scrapes;

    std::printf("units %d, scrapes %d\n", units, scrapes);
    std::printf("unit series: %zu in %zu bytes; collect + serialise %.3f ms CPU per scrape\n", series, bytes,
                collectMs);
    std::printf("HTTP /metrics (with process and exposer series): %lld bytes; %.3f ms process CPU per scrape\n",
                static_cast<long long>(httpBytes), httpMs);
    return httpBytes > 0 ? 0 : 1;
}
