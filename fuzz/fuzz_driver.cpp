// The model driver library's answer parsing, driven through its own Query
// and Control with a port whose read entry serves the fuzz bytes: corrupt,
// truncated, oversized, interleaved and exception answers.
//
// Input: one byte choosing Query (0) or Control (any other), for Control the
// command text up to a newline, then the answer stream as pieces, each a
// length byte (piece length less one) and the bytes of the piece. A read
// returns one piece, cut to the room offered; after the last piece the port
// fails, so a missing answer costs no timeout.

#include "FuzzSupport.h"
#include "driverapi.h"
#include "modbus.h"

#include <QLibrary>

#include <cmath>
#include <cstdint>
#include <cstring>

namespace {

struct FuzzPort
{
    const uint8_t* data = nullptr;
    size_t size = 0;
    int writes = 0;
    int points = 0;
};

FuzzPort g_port;
QueryFunc g_query = nullptr;
ControlFunc g_control = nullptr;
constexpr int kAddress = 1;

int readPiece(PortHandle*, char* buffer, int length)
{
    // Nothing is stale before the first request of an input: each input
    // starts from a quiet line, whatever the one before it left behind.
    if (g_port.writes == 0 || g_port.size == 0 || length <= 0)
        return -1;
    size_t piece = size_t(g_port.data[0]) + 1;
    ++g_port.data;
    --g_port.size;
    if (piece > g_port.size)
        piece = g_port.size;
    if (piece > size_t(length))
        piece = size_t(length);
    std::memcpy(buffer, g_port.data, piece);
    g_port.data += piece;
    g_port.size -= piece;
    return int(piece);
}

int writeRequest(PortHandle*, char* buffer, int length)
{
    // Every request the driver sends is a whole RTU frame to our unit.
    FUZZ_CHECK(length >= 8 && length <= 256);
    FUZZ_CHECK(static_cast<unsigned char>(buffer[0]) == kAddress);
    FUZZ_CHECK(checkModbufCRC(reinterpret_cast<unsigned char*>(buffer), length) == 0);
    ++g_port.writes;
    return length;
}

void collect(int id, float value, void*)
{
    FUZZ_CHECK(id > 0 && std::isfinite(value));
    ++g_port.points;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char*** argv)
{
    fuzz::initQt();
    // The driver sits beside the fuzzer, as it sits beside the plugin.
    static QLibrary driver(QString::fromLocal8Bit((*argv)[0]).section('/', 0, -2) + "/libvek5m_10-30k.so");
    if (!driver.load()) {
        std::fprintf(stderr, "cannot load the driver: %s\n", qPrintable(driver.errorString()));
        std::abort();
    }
    g_query = reinterpret_cast<QueryFunc>(driver.resolve("Query"));
    g_control = reinterpret_cast<ControlFunc>(driver.resolve("Control"));
    FUZZ_CHECK(g_query != nullptr && g_control != nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const bool query = data[0] == 0;
    ++data;
    --size;
    char command[96] = {};
    if (!query) {
        size_t n = 0;
        while (n < size && n < sizeof(command) - 1 && data[n] != '\n') {
            command[n] = char(data[n]);
            ++n;
        }
        data += n < size ? n + 1 : n;
        size -= n < size ? n + 1 : n;
    }
    g_port = FuzzPort{data, size, 0, 0};
    PortHandle handle = {&g_port, readPiece, writeRequest};
    if (query) {
        const int answered = g_query(&handle, kAddress, collect, nullptr);
        // Points are delivered only for a query that was answered in full.
        FUZZ_CHECK(answered == 1 ? g_port.points > 0 : g_port.points == 0);
    } else {
        const int result = g_control(&handle, kAddress, command, nullptr);
        FUZZ_CHECK(result == 0 || result == 1);
    }
    return 0;
}
