#include "TlsFront.h"

#include <QFile>
#include <QSslSocket>
#include <QTimer>

#include <memory>

namespace {
const int kHandshakeMs = 10000;             // a client that does not finish its handshake goes
const qint64 kMaxUnsent = 4 * 1024 * 1024;  // a client that does not read goes
}

bool TlsFront::load(const QString& certificate, const QString& key, QList<QSslCertificate>* chain,
                    QSslKey* privateKey, QString* error)
{
    *chain = QSslCertificate::fromPath(certificate, QSsl::Pem, QSslCertificate::PatternSyntax::FixedString);
    if (chain->isEmpty()) {
        *error = QStringLiteral("%1 holds no PEM certificate").arg(certificate);
        return false;
    }
    QFile file(key);
    const QByteArray pem = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    for (QSsl::KeyAlgorithm algorithm : {QSsl::Rsa, QSsl::Ec, QSsl::Dsa}) {
        *privateKey = QSslKey(pem, algorithm, QSsl::Pem, QSsl::PrivateKey);
        if (!privateKey->isNull())
            return true;
    }
    *error = QStringLiteral("%1 holds no unencrypted PEM private key (RSA, EC or DSA)").arg(key);
    return false;
}

bool TlsFront::start(const QHostAddress& address, quint16 port, const QString& certificate, const QString& key,
                     quint16 backendPort, int maxConnections, QString* error)
{
    if (!QSslSocket::supportsSsl()) {
        *error = QStringLiteral("Qt finds no TLS library (OpenSSL)");
        return false;
    }
    if (!load(certificate, key, &m_chain, &m_key, error))
        return false;
    m_backend = backendPort;
    m_maxConnections = maxConnections;
    if (!listen(address, port)) {
        *error = errorString();
        return false;
    }
    return true;
}

bool TlsFront::client(quint16 relayPort, QString* address) const
{
    const std::lock_guard<std::mutex> locker(m_lock);
    const auto it = m_clients.constFind(relayPort);
    if (it == m_clients.constEnd())
        return false;
    *address = *it;
    return true;
}

void TlsFront::incomingConnection(qintptr descriptor)
{
    auto* tls = new QSslSocket(this);
    if (!tls->setSocketDescriptor(descriptor) || m_connections >= m_maxConnections) {
        // Past the limit the client learns nothing but a closed connection;
        // the server behind answers 503 to those it has room to hear.
        delete tls;
        return;
    }
    ++m_connections;
    tls->setLocalCertificateChain(m_chain);
    tls->setPrivateKey(m_key);
    tls->setPeerVerifyMode(QSslSocket::VerifyNone);
    auto* relay = new QTcpSocket(tls);
    const QString peer = tls->peerAddress().toString();
    // The port it was registered under: a closed socket forgets its own.
    auto registered = std::make_shared<quint16>(0);
    auto forget = [this, registered] {
        const std::lock_guard<std::mutex> locker(m_lock);
        m_clients.remove(*registered);
    };
    connect(tls, &QSslSocket::encrypted, relay, [this, relay] { relay->connectToHost(QHostAddress::LocalHost, m_backend); });
    connect(relay, &QTcpSocket::connected, tls, [this, tls, relay, peer, registered] {
        {
            const std::lock_guard<std::mutex> locker(m_lock);
            *registered = relay->localPort();
            m_clients.insert(*registered, peer);
        }
        relay->write(tls->readAll());
    });
    connect(tls, &QSslSocket::readyRead, relay, [tls, relay] {
        if (relay->state() == QAbstractSocket::ConnectedState)
            relay->write(tls->readAll());
    });
    connect(relay, &QTcpSocket::readyRead, tls, [tls, relay] {
        tls->write(relay->readAll());
        if (tls->bytesToWrite() > kMaxUnsent)
            tls->abort();
    });
    connect(relay, &QTcpSocket::disconnected, tls, [tls, forget] {
        forget();
        tls->disconnectFromHost();
    });
    connect(relay, &QAbstractSocket::errorOccurred, tls, [tls] { tls->disconnectFromHost(); });
    connect(tls, &QAbstractSocket::errorOccurred, tls, [tls] { tls->abort(); });
    connect(tls, &QSslSocket::disconnected, this, [this, tls, relay, forget] {
        forget();
        relay->abort();
        --m_connections;
        tls->deleteLater();
    });
    QTimer::singleShot(kHandshakeMs, tls, [tls] {
        if (!tls->isEncrypted())
            tls->abort();
    });
    tls->startServerEncryption();
}
