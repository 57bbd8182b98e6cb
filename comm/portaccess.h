#ifndef PORTACCESS_H
#define PORTACCESS_H

// Byte-level entries handed to the driver library through a PortHandle.

#include "porthandle.h"
#include "vek5_export.h"

extern "C" {

// Pass-through to the device's readData/writeData hooks; no checks, no lock
// (the caller holds the port's lock for the whole driver call).
VEK5_EXPORT int CommRead(PortHandle* handle, char* buffer, int length);
VEK5_EXPORT int CommWrite(PortHandle* handle, char* buffer, int length);
// Inert entries kept for the driver library's interface.
VEK5_EXPORT int CommOpen();
VEK5_EXPORT void CommAccept();
VEK5_EXPORT void CommControl();
VEK5_EXPORT void CommClose();

}

// Modbus TCP side: the driver speaks RTU, these rewrite to and from MBAP.
// Reached only through the handle, so not exported by plain name.
int TcpCommWrite(PortHandle* handle, char* frame, int length);   // length, or -1
// `buffer` must hold 996 bytes (a full 1000-byte read less the MBAP header
// plus the CRC); `length` is not used.
int TcpCommRead(PortHandle* handle, char* buffer, int length);   // RTU length, or -5

#endif // PORTACCESS_H
