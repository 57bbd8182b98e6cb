#ifndef CLIENTRIG_H
#define CLIENTRIG_H

// Shared helpers of the collector tests: the scripted driver's controls, a
// collector already connected over TCP (so no cycle pays the reconnect
// pause), and readable renderings of the emitted events.

#include "vek5Client.h"

#include <QHostAddress>
#include <QLibrary>
#include <QSignalSpy>
#include <QStringList>
#include <QTcpServer>
#include <QTcpSocket>

class ScriptDriver
{
public:
    ScriptDriver() : m_lib("libvek5m_10-30k")
    {
        if (m_lib.load()) {
            reset = resolve<void (*)()>("scriptReset");
            setAnswer = resolve<void (*)(int)>("scriptSetAnswer");
            setControlResult = resolve<void (*)(int)>("scriptSetControlResult");
            setPoint = resolve<void (*)(int, float)>("scriptSetPoint");
            removePoint = resolve<void (*)(int)>("scriptRemovePoint");
            queryCount = resolve<int (*)()>("scriptQueryCount");
            commandCount = resolve<int (*)()>("scriptCommandCount");
            commandAt = resolve<int (*)(int, char*, int)>("scriptCommand");
            lastContext = resolve<void* (*)()>("scriptLastContext");
            lastDevice = resolve<void* (*)()>("scriptLastDevice");
            lastAddress = resolve<int (*)()>("scriptLastAddress");
        }
    }

    bool ok() const { return m_ok && m_lib.isLoaded(); }

    QStringList commands() const
    {
        QStringList texts;
        char buffer[256];
        for (int i = 0; i < commandCount(); ++i) {
            commandAt(i, buffer, int(sizeof buffer));
            texts << QString::fromLocal8Bit(buffer);
        }
        return texts;
    }

    void (*reset)() = nullptr;
    void (*setAnswer)(int) = nullptr;
    void (*setControlResult)(int) = nullptr;
    void (*setPoint)(int, float) = nullptr;
    void (*removePoint)(int) = nullptr;
    int (*queryCount)() = nullptr;
    int (*commandCount)() = nullptr;
    int (*commandAt)(int, char*, int) = nullptr;
    void* (*lastContext)() = nullptr;
    void* (*lastDevice)() = nullptr;
    int (*lastAddress)() = nullptr;

private:
    template <typename F>
    F resolve(const char* name)
    {
        F f = reinterpret_cast<F>(m_lib.resolve(name));
        m_ok = m_ok && f != nullptr;
        return f;
    }

    QLibrary m_lib;
    bool m_ok = true;
};

// A collector whose event catalogue has `count` entries, so that tests can
// pick a small alarm range.
class CatalogueClient : public vek5Client
{
public:
    explicit CatalogueClient(int count) : m_count(count) {}
    QStringList getEventLogDesc() override
    {
        QStringList list;
        for (int i = 0; i < m_count; ++i)
            list << QString("event %1").arg(i);
        return list;
    }

private:
    int m_count;
};

// Points the collector at a local server and connects its socket up front.
inline bool connectOverTcp(vek5Client& client, QTcpServer& server)
{
    if (!server.isListening() && !server.listen(QHostAddress::LocalHost, 0))
        return false;
    client.m_commType = 1;
    client.m_ipAddr = "127.0.0.1";
    client.m_tcpPort = server.serverPort();
    client.m_tcpSocket = new QTcpSocket();
    client.m_tcpSocket->connectToHost(client.m_ipAddr, quint16(client.m_tcpPort));
    return client.m_tcpSocket->waitForConnected(3000);
}

inline int eventType(const QList<QVariant>& args) { return args.at(0).toInt(); }
inline QMap<QString, QVariant> eventRecord(const QList<QVariant>& args)
{
    return args.at(1).value<QMap<QString, QVariant>>();
}

// Event types of the spy in emission order, optionally only those listed.
inline QList<int> eventTypes(const QSignalSpy& spy, const QList<int>& only = {})
{
    QList<int> types;
    for (const QList<QVariant>& args : spy) {
        if (only.isEmpty() || only.contains(eventType(args)))
            types << eventType(args);
    }
    return types;
}

#endif // CLIENTRIG_H
