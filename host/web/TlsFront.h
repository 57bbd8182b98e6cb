#ifndef TLSFRONT_H
#define TLSFRONT_H

// HTTPS in front of the console's CivetWeb server. Debian's CivetWeb loads
// OpenSSL by name at run time and fails on OpenSSL 3 (it asks for a symbol
// that version no longer exports), so TLS ends here, in Qt's QSslSocket, and
// each connection is relayed in clear to CivetWeb on a loopback port. The
// relay's local port names the client: the server asks client() who is
// behind a connection, and refuses connections that no relay made.
//
// Lives on the host's main thread; client() may be called from any thread.

#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QSslCertificate>
#include <QSslKey>
#include <QTcpServer>

#include <mutex>

class TlsFront : public QTcpServer
{
    Q_OBJECT
public:
    explicit TlsFront(QObject* parent = nullptr) : QTcpServer(parent) {}

    // Reads the PEM certificate (chain) and private key. False with a reason.
    static bool load(const QString& certificate, const QString& key, QList<QSslCertificate>* chain,
                     QSslKey* privateKey, QString* error);

    // Listens on address:port and relays to 127.0.0.1:backendPort. False
    // with a reason.
    bool start(const QHostAddress& address, quint16 port, const QString& certificate, const QString& key,
               quint16 backendPort, int maxConnections, QString* error);

    // The client's address behind the relay whose local port is `relayPort`.
    bool client(quint16 relayPort, QString* address) const;

protected:
    void incomingConnection(qintptr descriptor) override;

private:
    QList<QSslCertificate> m_chain;
    QSslKey m_key;
    quint16 m_backend = 0;
    int m_maxConnections = 32;
    int m_connections = 0;
    mutable std::mutex m_lock;
    QHash<quint16, QString> m_clients;
};

#endif // TLSFRONT_H
