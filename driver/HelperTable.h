#ifndef HELPERTABLE_H
#define HELPERTABLE_H

// The plugin's Modbus frame helpers, found by name at run time in the module
// that holds a function we were handed (the callback or a port entry). The
// plugin is loaded local to itself, so a link-time reference would not
// resolve inside the host.

#include "modbus.h"

struct HelperTable
{
    decltype(&::buildCmd) buildCmd = nullptr;
    decltype(&::buildCmd16) buildCmd16 = nullptr;
    decltype(&::mod_Set_SetBuf) setSingle = nullptr;
    decltype(&::checkModbufCRC) checkCrc = nullptr;
    decltype(&::UINT8_2_to_UINT16) toUint16 = nullptr;

    // Looks the helpers up in the module that contains `anchor`. True when
    // every one of them was found.
    bool resolve(const void* anchor);
};

#endif // HELPERTABLE_H
