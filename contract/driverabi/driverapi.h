#ifndef DRIVERAPI_H
#define DRIVERAPI_H

// The model driver library's calling contract. The library is loaded at run
// time under the file name "libvek5m_10-30k" and exports "Query" and
// "Control" with C linkage; it reaches the unit only through the port handle
// and hands every decoded value back through the callback. The file name,
// the entry names and the C types below are what the plugin and every driver
// build bind to; they stay.

#include "porthandle.h"

extern "C" {

// Called once per decoded point, synchronously inside Query.
typedef void (*DataCallback)(int pointId, float value, void* context);

// Reads the whole unit at `address`. Non-zero when the unit answered.
typedef int (*QueryFunc)(PortHandle* port, int address, DataCallback callback, void* context);

// Sends one command text ("code,argument", or "point,value" for a setting).
// 0 when the unit acknowledged it, 1 when it did not.
typedef int (*ControlFunc)(PortHandle* port, int address, const char* command, void* context);

}

#endif // DRIVERAPI_H
