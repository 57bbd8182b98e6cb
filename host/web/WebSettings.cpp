#include "WebSettings.h"

#include <QDir>
#include <QFileInfo>
#include <QHostAddress>

#include "IniReader.h"
#include "MetricsExporter.h"
#include "TlsFront.h"

bool WebSettings::loopback() const
{
    return QHostAddress(host).isLoopback();
}

QString WebSettings::url(int boundPort) const
{
    const bool v6 = host.contains(QLatin1Char(':'));
    return QStringLiteral("%1://%2%3%4:%5/").arg(tls() ? QStringLiteral("https") : QStringLiteral("http"),
                                                 v6 ? QStringLiteral("[") : QString(), host,
                                                 v6 ? QStringLiteral("]") : QString())
        .arg(boundPort);
}

bool WebSettings::parseListen(const QString& text, WebSettings* out, QString* error)
{
    const QString t = text.trimmed();
    if (t.isEmpty() || t.compare(QLatin1String("off"), Qt::CaseInsensitive) == 0) {
        out->listen.clear();
        return true;
    }
    QString host;
    int port = 0;
    if (!MetricsExporter::listenAddress(t, &host, &port)) {
        *error = QStringLiteral("\"%1\" is not ADDR:PORT (IPv4 or [IPv6] address, port 0-65535) or off").arg(t);
        return false;
    }
    out->host = host;
    out->port = port;
    const bool v6 = host.contains(QLatin1Char(':'));
    out->listen = QStringLiteral("%1%2%3:%4").arg(v6 ? QStringLiteral("[") : QString(), host,
                                                  v6 ? QStringLiteral("]") : QString()).arg(port);
    return true;
}

WebSettings WebSettings::read(IniReader& ini, const QString& configDir, const QString& listenOverride)
{
    WebSettings s;
    QString listen = ini.text("listen", "127.0.0.1:8080");
    if (!listenOverride.isEmpty()) {
        listen = listenOverride;
        ini.overridden("listen", listen, "--web-listen");
    }
    QString error;
    if (!parseListen(listen, &s, &error))
        ini.problem(QStringLiteral("listen"), error);
    const auto file = [&](const char* key) {
        const QString name = ini.text(key, "").trimmed();
        if (name.isEmpty())
            return QString();
        const QString path = QDir(configDir).absoluteFilePath(name);
        if (!QFileInfo(path).isFile() || !QFileInfo(path).isReadable())
            ini.problem(QLatin1String(key), QStringLiteral("%1 is not a readable file").arg(path));
        return path;
    };
    s.certificate = file("certificate");
    s.key = file("key");
    QList<QSslCertificate> chain;
    QSslKey privateKey;
    if (s.certificate.isEmpty() != s.key.isEmpty())
        ini.problem(s.key.isEmpty() ? QStringLiteral("key") : QStringLiteral("certificate"),
                    QStringLiteral("is missing: HTTPS needs both certificate and key"));
    else if (s.tls() && QFileInfo(s.certificate).isReadable() && QFileInfo(s.key).isReadable()
             && !TlsFront::load(s.certificate, s.key, &chain, &privateKey, &error))
        ini.problem(QStringLiteral("certificate"), error);
    s.viewWithoutLogin = ini.yesNo("viewWithoutLogin", s.listen.isEmpty() || s.loopback());
    s.maxClients = ini.integer("maxClients", s.maxClients, 2, 1000);
    return s;
}
