#include "MetricsExporter.h"

#include <QHostAddress>

#include <prometheus/exposer.h>
#include <prometheus/text_serializer.h>

#include <exception>

#include "ProcessCollector.h"
#include "StatusCollector.h"

MetricsExporter::MetricsExporter(const UnitDirectory& directory, QObject* parent)
    : QObject(parent),
      m_units(std::make_shared<StatusCollector>(directory)),
      m_process(std::make_shared<ProcessCollector>())
{
}

MetricsExporter::~MetricsExporter() = default;

bool MetricsExporter::listenAddress(const QString& listen, QString* host, int* port)
{
    const int colon = listen.lastIndexOf(QLatin1Char(':'));
    QString h = colon < 0 ? QStringLiteral("127.0.0.1") : listen.left(colon);
    bool portOk = false;
    *port = listen.mid(colon + 1).toInt(&portOk);
    const bool bracketed = h.startsWith(QLatin1Char('[')) && h.endsWith(QLatin1Char(']'));
    if (bracketed)
        h = h.mid(1, h.size() - 2);
    const QHostAddress ip(h);
    if (!portOk || *port < 0 || *port > 65535 || ip.isNull()
        || bracketed != (ip.protocol() == QAbstractSocket::IPv6Protocol))
        return false;
    *host = h;
    return true;
}

bool MetricsExporter::bindAddress(const QString& listen, std::string* address, QString* error)
{
    QString host;
    int port = 0;
    if (!listenAddress(listen, &host, &port)) {
        *error = QStringLiteral("metrics listen address needs ADDR:PORT (IPv4 or [IPv6] address, port "
                                "0-65535), got \"%1\"").arg(listen);
        return false;
    }
    const bool v6 = host.contains(QLatin1Char(':'));
    *address = QStringLiteral("%1%2%3:%4").arg(v6 ? QStringLiteral("[") : QString(), host,
                                              v6 ? QStringLiteral("]") : QString()).arg(port).toStdString();
    return true;
}

bool MetricsExporter::start(const QString& listen, QString* error)
{
    std::string address;
    if (!bindAddress(listen, &address, error))
        return false;
    try {
        m_exposer = std::make_unique<prometheus::Exposer>(address);
    } catch (const std::exception& e) {
        *error = QStringLiteral("cannot serve metrics on %1: %2").arg(listen, QString::fromLocal8Bit(e.what()));
        return false;
    }
    m_listen = listen;
    m_host = QString::fromStdString(address.substr(0, address.rfind(':')));
    m_exposer->RegisterCollectable(m_units);
    m_exposer->RegisterCollectable(m_process);
    return true;
}

int MetricsExporter::port() const
{
    if (!m_exposer)
        return 0;
    const std::vector<int> ports = m_exposer->GetListeningPorts();
    return ports.empty() ? 0 : ports.front();
}

QString MetricsExporter::url() const
{
    return m_exposer ? QStringLiteral("http://%1:%2/metrics").arg(m_host).arg(port()) : QString();
}

void MetricsExporter::recordCommand(const QString& unit, const QString& name, const QString& outcome)
{
    m_units->recordCommand(unit.toStdString(), name.toStdString(), outcome.toStdString());
}

std::string MetricsExporter::scrape() const
{
    std::vector<prometheus::MetricFamily> families = m_units->Collect();
    for (prometheus::MetricFamily& f : m_process->Collect())
        families.push_back(std::move(f));
    return prometheus::TextSerializer().Serialize(families);
}
