#ifndef PORTHANDLE_H
#define PORTHANDLE_H

// The record through which the driver library reaches a port: the device and
// the two entries it reads and writes with. Built by the collector on its
// stack for one driver call. The driver reads these fields by position: the
// layout is part of its ABI.

struct PortHandle;
typedef int (*PortIoEntry)(PortHandle* handle, char* buffer, int length);

struct PortHandle
{
    void* device;            // SerialPort* or QTcpSocket* (both QIODevice)
    PortIoEntry readEntry;
    PortIoEntry writeEntry;
};

// The port manager's table entry: the same three fields, then the kind.
struct CommHandle
{
    void* device;            // SerialPort* (kind 0) or hid_device* (kind 2)
    PortIoEntry readEntry;   // never filled by the manager
    PortIoEntry writeEntry;
    int kind;
};

enum CommKind { CommKindSerial = 0, CommKindHid = 2 };

#endif // PORTHANDLE_H
