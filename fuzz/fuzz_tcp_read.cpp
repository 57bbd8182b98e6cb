// TcpCommRead fed whatever a Modbus TCP peer may send: any length, any
// header. The bytes come from a buffer device, as the collector's socket
// would hand them over, one read of up to 1000 bytes per call.

#include "FuzzSupport.h"
#include "modbus.h"
#include "portaccess.h"

#include <QBuffer>

#include <cstdint>
#include <cstring>
#include <memory>

// What the collector gives TcpCommRead room for, exactly, so that any write
// past it is caught.
constexpr int kRtuRoom = 996;

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    fuzz::initQt();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    QByteArray bytes(reinterpret_cast<const char*>(data), int(size));
    QBuffer device(&bytes);
    device.open(QIODevice::ReadOnly);
    PortHandle handle = {&device, TcpCommRead, TcpCommWrite};

    while (!device.atEnd()) {
        const qint64 before = device.pos();
        std::unique_ptr<char[]> out(new char[kRtuRoom]);
        // The expected length is not a capacity; vary it anyway.
        const int n = TcpCommRead(&handle, out.get(), int(size % 300));
        const qint64 taken = device.pos() - before;
        FUZZ_CHECK(taken > 0 && taken <= 1000);
        if (taken < 7) {
            FUZZ_CHECK(n == -5);
            continue;
        }
        // Header dropped, CRC added: four bytes fewer than were read.
        FUZZ_CHECK(n == taken - 4);
        FUZZ_CHECK(n <= kRtuRoom);
        // The unit id and PDU come through unchanged.
        FUZZ_CHECK(std::memcmp(out.get(), bytes.constData() + before + 6, size_t(taken - 6)) == 0);
        if (n >= 4)
            FUZZ_CHECK(checkModbufCRC(reinterpret_cast<unsigned char*>(out.get()), n) == 0);
    }
    return 0;
}
