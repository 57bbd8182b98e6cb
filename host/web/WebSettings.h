#ifndef WEBSETTINGS_H
#define WEBSETTINGS_H

// param.ini [web]: the web console (pages, JSON API, live push, /metrics).
//
//   [web]
//   listen=127.0.0.1:8080     ADDR:PORT ([v6]:PORT), a bare PORT is loopback; "off": no console
//   certificate=              PEM certificate (chain) file; with key: HTTPS
//   key=                      PEM private key file of the certificate
//   viewWithoutLogin=         yes: anyone who reaches the port may read; default yes
//                             on a loopback address, no elsewhere. Changes always need a login
//   maxClients=16             requests served at once; further ones are answered 503
//
// Files are relative to the configuration directory.

#include <QString>

class IniReader;

struct WebSettings
{
    static constexpr int kDefaultPort = 8080;

    QString listen;             // "ADDR:PORT" as civetweb takes it; empty: no console
    QString host;               // the address alone, without brackets
    int port = kDefaultPort;
    QString certificate;        // absolute paths; both set or both empty
    QString key;
    bool viewWithoutLogin = true;
    int maxClients = 16;

    bool tls() const { return !certificate.isEmpty(); }
    bool loopback() const;
    // "http(s)://ADDR:PORT/" with the given port.
    QString url(int boundPort) const;

    // Splits "ADDR:PORT" / "[v6]:PORT" / "PORT" / "off". False with a reason.
    static bool parseListen(const QString& text, WebSettings* out, QString* error);
    // Reads the group; `listenOverride` (--web-listen) replaces listen.
    // Problems are noted on `ini` by key.
    static WebSettings read(IniReader& ini, const QString& configDir, const QString& listenOverride);
};

#endif // WEBSETTINGS_H
