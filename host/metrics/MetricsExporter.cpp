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

bool MetricsExporter::bindAddress(const QString& listen, std::string* address, QString* error)
{
    const int colon = listen.lastIndexOf(QLatin1Char(':'));
    QString host = colon < 0 ? QStringLiteral("127.0.0.1") : listen.left(colon);
    bool portOk = false;
    const int port = listen.mid(colon + 1).toInt(&portOk);
    const bool bracketed = host.startsWith(QLatin1Char('[')) && host.endsWith(QLatin1Char(']'));
    const QHostAddress ip(bracketed ? host.mid(1, host.size() - 2) : host);
    const bool v6 = ip.protocol() == QAbstractSocket::IPv6Protocol;
    if (!portOk || port < 0 || port > 65535 || ip.isNull() || v6 != bracketed) {
        *error = QStringLiteral("metrics listen address needs ADDR:PORT (IPv4 or [IPv6] address, port "
                                "0-65535), got \"%1\"").arg(listen);
        return false;
    }
    *address = QStringLiteral("%1:%2").arg(host).arg(port).toStdString();
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
