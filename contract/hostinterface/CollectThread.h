#ifndef COLLECTTHREAD_H
#define COLLECTTHREAD_H

// The host's collector interface. Host and plugin each compile this
// declaration; member order, virtual order and signal/slot order are part of
// the binary contract between them and must not change. Hosts bind to the
// names as spelt here (CollectThread, postDEvent, flushUpsInfoSLot, ...):
// keep them, odd spellings included.

#include <QMap>
#include <QMutex>
#include <QMutexLocker>
#include <QString>
#include <QStringList>
#include <QThread>
#include <QVariant>

#include "hostinterface_export.h"

class CollectView;

class HOSTINTERFACE_EXPORT CollectThread : public QThread
{
    Q_OBJECT
public:
    explicit CollectThread(QObject* parent = nullptr) : QThread(parent) {}

    // Fills the device information map with one key, under the information lock.
    void flushUpsInfo(QString key, QVariant value)
    {
        QMutexLocker locker(&m_infoLock);
        m_upsInfo.insert(key, value);
    }

    // Every point of `data` under its decimal id; entries not in `data` stay.
    // Runs every cycle over the whole data map, so it walks the map alongside
    // `data` instead of searching it for every id: ascending ids of equal
    // digit count are ascending texts too, so from one cycle to the next the
    // entry after the previous one is the id's own. Only an id whose entry
    // is not there (new, or after a change of digit count) takes a search
    // and a key string.
    void flushData(QMap<int, QVariant> data)
    {
        QMutexLocker locker(&m_infoLock);
        auto slot = m_upsInfo.begin();
        for (auto it = data.constBegin(); it != data.constEnd(); ++it) {
            QChar digits[11];   // "-2147483648"
            int first = 11;
            const int id = it.key();
            unsigned int rest = id < 0 ? 0u - unsigned(id) : unsigned(id);
            do {
                digits[--first] = QChar(ushort('0' + rest % 10));
                rest /= 10;
            } while (rest != 0);
            if (id < 0)
                digits[--first] = QLatin1Char('-');
            const QStringView key(digits + first, 11 - first);
            if (slot != m_upsInfo.end() && QStringView(slot.key()) == key)
                slot.value() = it.value();
            else
                slot = m_upsInfo.insert(key.toString(), it.value());
            ++slot;
        }
    }

    QString m_devName;
    int m_protocol = 0;
    int m_interval = 0;
    int m_retries = 0;
    int m_failCount = 0;
    QString m_ipAddr;
    int m_tcpPort = 0;
    QString m_manufacturer;   // reported as "IdentManufacturer"
    QString m_hostConfig1;    // host-side configuration, never touched by the plugin
    QString m_hostConfig2;
    QString m_hostConfig3;
    QString m_hostConfig4;
    QString m_hostConfig5;
    int m_commState = -1;     // -1 unknown, 0 communicating, 1 lost
    QMap<int, int> m_eventChoose;
    QMap<int, int> m_prevAlarmState;
    QMap<QString, QVariant> m_sideInfo;   // written by flushUpsInfoSLot, unlocked
    QMap<QString, QVariant> m_upsInfo;    // device information map, under m_infoLock
    void* m_portHandle = nullptr;         // the host's PortManage
    int m_workState = 0;
    QMutex m_infoLock;

signals:
    void postDEvent(int type, QMap<QString, QVariant> map);

public slots:
    virtual int control(int id, QString value) { Q_UNUSED(id) Q_UNUSED(value) return 0; }
    virtual QStringList getDataLogDesc() { return QStringList(); }
    virtual QStringList changeLogData(QMap<int, QVariant> data) { Q_UNUSED(data) return QStringList(); }
    virtual QStringList getEventLogDesc() { return QStringList(); }
    virtual CollectView* getView() { return nullptr; }
    virtual void loadConfig() {}
    virtual CollectThread* create(void* handle) { Q_UNUSED(handle) return nullptr; }
    virtual void release(CollectThread*) {}
    virtual void setPortHandle(void* handle) { m_portHandle = handle; }
    void flushUpsInfoSLot(QString key, QVariant value) { m_sideInfo.insert(key, value); }
    virtual void poll() {}
    virtual int getWorkState() { return m_workState; }
};

// The interface identifier, so that qobject_cast finds the collector in any
// host. With this declaration qobject_cast<CollectThread*> asks the object's
// qt_metacast for "com.nalo.Qt.ProInterface", which the plugin's collector
// answers (Q_INTERFACES): the cast works whether or not the host exports its
// symbols. Without it (a host's copy of this header from before the
// declaration; COLLECTTHREAD_NO_INTERFACE_ID builds one), qobject_cast
// compares addresses: it looks for the host's CollectThread::staticMetaObject
// among the object's base meta-objects. Host and plugin each hold a copy of
// that object, and they are one only in a host that exports its symbols
// (ENABLE_EXPORTS, -rdynamic), whose copy the dynamic linker then binds the
// plugin to. In a host with neither the cast gives null; such a host asks by
// class name instead, which needs no shared address:
//     static_cast<CollectThread*>(instance->qt_metacast("CollectThread"))
// Everything else (members, virtual calls, connections to postDEvent) works
// in all four shapes, since both sides compile the same declarations.
#ifndef COLLECTTHREAD_NO_INTERFACE_ID
Q_DECLARE_INTERFACE(CollectThread, "com.nalo.Qt.ProInterface")
#endif

#endif // COLLECTTHREAD_H
