#ifndef PORTMANAGE_H
#define PORTMANAGE_H

// The one owner of every serial port and HID device of the process. Ports
// are opened on first request, shared by name, re-opened on demand, and every
// serial port is closed on each 30-second tick (the next request re-opens it).

#include <QMap>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QTimer>

#include "porthandle.h"

class SerialPort;

class PortManage : public QObject
{
    Q_OBJECT
public:
    static PortManage* instance();
    PortManage();
    ~PortManage() override;

    SerialPort* getPortHandle(QString name);
    SerialPort* ReOpen(QString name);
    void Close(QString name);

    CommHandle* getPortHandle(int vendorId, int productId);
    CommHandle* ReOpen(int vendorId, int productId);
    void Close(int vendorId, int productId);

public slots:
    void timerProc();

private:
    QMap<QString, CommHandle*> m_ports;
    QMutex m_mutex;   // non-recursive; taken before any port's own lock
    QTimer* m_timer = nullptr;
};

#endif // PORTMANAGE_H
