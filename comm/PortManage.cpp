#include "PortManage.h"

#include "SerialPort.h"

#include <QAtomicPointer>
#include <QMetaType>
#include <QSettings>
#include <QtDebug>

#include <hidapi/hidapi.h>

namespace {

QAtomicPointer<PortManage> g_instance;

const QString kSettingsFile = QStringLiteral("serial.ini");
const QString kDefaultParam = QStringLiteral("9600,n,8,1");
constexpr int kDefaultTimeout = 1000;
constexpr int kTickMillisec = 30000;

QString hidKey(int vendorId, int productId)
{
    return QStringLiteral("%1.%2").arg(vendorId).arg(productId);
}

// Opens the HID device of an entry; reads must never block the poller.
void openHid(CommHandle* entry, int vendorId, int productId)
{
    hid_device* device = hid_open(static_cast<unsigned short>(vendorId & 0xFFFF),
                                  static_cast<unsigned short>(productId & 0xFFFF), nullptr);
    if (device != nullptr)
        hid_set_nonblocking(device, 1);
    entry->device = device;
}

// Opens `port` with the settings "serial.ini" holds for `name` right now.
void openWithSettings(SerialPort* port, const QString& name)
{
    QSettings ini(kSettingsFile, QSettings::IniFormat);
    const QString param = ini.value(name + QStringLiteral("/param"), kDefaultParam).toString();
    const int timeout = ini.value(name + QStringLiteral("/timeout"), kDefaultTimeout).toInt();
    port->CommOpen(name, param, timeout);
}

} // namespace

PortManage* PortManage::instance()
{
    PortManage* manager = g_instance.loadAcquire();
    if (manager != nullptr)
        return manager;
    static QMutex creation(QMutex::NonRecursive);
    QMutexLocker locker(&creation);
    manager = g_instance.loadAcquire();
    if (manager == nullptr) {
        manager = new PortManage;
        g_instance.storeRelease(manager);
    }
    return manager;
}

PortManage::PortManage()
    : m_mutex(QMutex::NonRecursive)
{
    qRegisterMetaType<QMap<QString, SerialPort*>>("QMap<QString,SerialPort*>");
    m_timer = new QTimer;
    connect(m_timer, SIGNAL(timeout()), this, SLOT(timerProc()));
    m_timer->start(kTickMillisec);
}

PortManage::~PortManage()
{
    {
        QMutexLocker locker(&m_mutex);
        for (const QString& key : m_ports.keys()) {
            CommHandle* entry = m_ports.take(key);
            if (entry->kind == CommKindSerial) {
                SerialPort* port = static_cast<SerialPort*>(entry->device);
                port->close();
                delete port;
            } else if (entry->device != nullptr) {
                hid_close(static_cast<hid_device*>(entry->device));
            }
            delete entry;
        }
    }
    delete m_timer;
    g_instance.testAndSetOrdered(this, nullptr);
}

SerialPort* PortManage::getPortHandle(QString name)
{
    QMutexLocker locker(&m_mutex);
    SerialPort* port = nullptr;
    auto it = m_ports.constFind(name);
    if (it != m_ports.constEnd()) {
        port = static_cast<SerialPort*>(it.value()->device);
        if (port == nullptr)
            return nullptr;
    } else {
        // A port that does not open is kept all the same and retried below
        // on every later request.
        port = new SerialPort;
        openWithSettings(port, name);
        m_ports.insert(name, new CommHandle { port, nullptr, nullptr, CommKindSerial });
    }
    port->Lock();
    if (!port->isOpen())
        port->ReOpen();
    port->UnLock();
    return port;
}

SerialPort* PortManage::ReOpen(QString name)
{
    SerialPort* port = getPortHandle(name);
    if (port == nullptr)
        return nullptr;
    // The port's own lock waits for a running driver call to end.
    port->Lock();
    port->close();
    openWithSettings(port, name);
    port->UnLock();
    return port;
}

void PortManage::Close(QString name)
{
    SerialPort* port = getPortHandle(name);
    if (port == nullptr)
        return;
    port->Lock();
    port->close();
    port->UnLock();
}

CommHandle* PortManage::getPortHandle(int vendorId, int productId)
{
    const QString key = hidKey(vendorId, productId);
    QMutexLocker locker(&m_mutex);
    CommHandle*& entry = m_ports[key];
    if (entry == nullptr)
        entry = new CommHandle { nullptr, nullptr, nullptr, CommKindHid };
    if (entry->device == nullptr)
        openHid(entry, vendorId, productId);
    return entry;
}

CommHandle* PortManage::ReOpen(int vendorId, int productId)
{
    CommHandle* entry = getPortHandle(vendorId, productId);
    QMutexLocker locker(&m_mutex);
    if (entry->device != nullptr) {
        hid_close(static_cast<hid_device*>(entry->device));
        entry->device = nullptr;
    }
    openHid(entry, vendorId, productId);
    qDebug() << "ReOpen" << entry->device;
    m_ports.insert(hidKey(vendorId, productId), entry);
    return entry;
}

void PortManage::Close(int vendorId, int productId)
{
    CommHandle* entry = getPortHandle(vendorId, productId);
    QMutexLocker locker(&m_mutex);
    if (entry->device != nullptr)
        hid_close(static_cast<hid_device*>(entry->device));
    entry->device = nullptr;
    m_ports.insert(hidKey(vendorId, productId), entry);
}

void PortManage::timerProc()
{
    m_mutex.lock();
    const QStringList keys = m_ports.keys();
    m_mutex.unlock();
    for (const QString& key : keys) {
        QMutexLocker locker(&m_mutex);
        CommHandle* entry = m_ports.value(key);
        if (entry == nullptr || entry->kind != CommKindSerial)
            continue;
        SerialPort* port = static_cast<SerialPort*>(entry->device);
        // Waits for a running driver call. Nothing sets `used`, so every
        // port is closed here and re-opened by its next request.
        port->Lock();
        if (port->used == 0)
            port->close();
        else
            port->used = 0;
        port->UnLock();
    }
}
