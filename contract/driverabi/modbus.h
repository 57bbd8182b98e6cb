#ifndef VEK5_COMM_MODBUS_H
#define VEK5_COMM_MODBUS_H

// Modbus RTU frame helpers: pure functions on caller-owned buffers, exported
// under plain C names for the model driver library, which finds them by
// those names at run time (checkModbufCRC included): never rename them.

#include "vek5_export.h"

extern "C" {

// CRC-16/MODBUS of the first length-2 bytes, stored low byte first in the last
// two. 0, or -1 for a null frame or a length under 4.
VEK5_EXPORT int setModbusCRC(unsigned char* frame, int length);
// 0 when the last two bytes hold the CRC of the others, otherwise -1.
VEK5_EXPORT int checkModbufCRC(unsigned char* frame, int length);
// Function 6 request (8 bytes). 0, or -1 for a null buffer.
VEK5_EXPORT int mod_Set_SetBuf(unsigned char* buffer, int address, int reg, int value);
// 8-byte read request; returns the expected answer length (0 when unknown), -1 for a null buffer.
VEK5_EXPORT int buildCmd(unsigned char* buffer, int address, int function, int start, int count);
// Function 16 request; registers past `supplied` are zero. Frame length, or -1.
VEK5_EXPORT int buildCmd16(unsigned char* buffer, int address, int start, int count,
                           int supplied, const unsigned char* data);
VEK5_EXPORT unsigned short UINT8_2_to_UINT16(const unsigned char* p);
VEK5_EXPORT unsigned int UINT8_4_to_UINT32(const unsigned char* p);
// First character of `text` that is not a blank (0x20).
VEK5_EXPORT const char* FiltSpace(const char* text);

}

#endif // VEK5_COMM_MODBUS_H
