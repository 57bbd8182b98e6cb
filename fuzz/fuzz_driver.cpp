// The model driver library's answer parsing through its own Query and Control, on a port whose reads
// serve the fuzz bytes. Input: a byte of mode bits (1: Control, else Query; 2: Modbus TCP), for Control
// the command up to a newline, then one piece per read: serial, a length byte (length less one) and the
// bytes; TCP, two length bytes (high first) and the bytes. After the last piece the port fails, so a
// missing answer costs no timeout.

#include "FuzzSupport.h"
#include "driverapi.h"
#include "modbus.h"
#include "portaccess.h"

#include <QBuffer>
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
    bool tcp = false;
};

FuzzPort g_port;
QueryFunc g_query = nullptr;
ControlFunc g_control = nullptr;
constexpr int kAddress = 1;

QByteArray nextPiece()
{
    const size_t header = g_port.tcp ? 2 : 1;
    if (g_port.size < header)
        return {};
    const size_t length = g_port.tcp ? size_t(g_port.data[0]) << 8 | g_port.data[1] : size_t(g_port.data[0]) + 1;
    const size_t piece = qMin(length, g_port.size - header);
    const QByteArray bytes(reinterpret_cast<const char*>(g_port.data + header), int(piece));
    g_port.data += header + piece;
    g_port.size -= header + piece;
    return bytes;
}

int readPiece(PortHandle*, char* buffer, int length)
{
    // Each input starts from a quiet line: nothing is stale before its first request.
    if (g_port.writes == 0 || g_port.size == 0 || length <= 0)
        return -1;
    QByteArray piece = nextPiece();
    if (!g_port.tcp) {
        const int n = qMin(piece.size(), length);
        std::memcpy(buffer, piece.constData(), size_t(n));
        return n;
    }
    // What the peer sent in one go, through the collector's TCP entry; under 7 bytes fails the read.
    QBuffer socket(&piece);
    socket.open(QIODevice::ReadOnly);
    PortHandle tcp = {&socket, TcpCommRead, TcpCommWrite};
    const int n = TcpCommRead(&tcp, buffer, length);
    return n == -5 ? -1 : n;
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
    const bool query = (data[0] & 1) == 0;
    const bool tcp = (data[0] & 2) != 0;
    ++data;
    --size;
    QByteArray command;
    if (!query) {
        const auto* end = static_cast<const uint8_t*>(std::memchr(data, '\n', size));
        const size_t n = end ? size_t(end - data) : size;
        command = QByteArray(reinterpret_cast<const char*>(data), int(qMin<size_t>(n, 95)));
        data += end ? n + 1 : n;
        size -= end ? n + 1 : n;
    }
    g_port = FuzzPort{data, size, 0, 0, tcp};
    PortHandle handle = {&g_port, readPiece, writeRequest};
    if (query) {
        const int answered = g_query(&handle, kAddress, collect, nullptr);
        // Points are delivered only for a query that was answered in full.
        FUZZ_CHECK(answered == 1 ? g_port.points > 0 : g_port.points == 0);
    } else {
        const int result = g_control(&handle, kAddress, command.constData(), nullptr);
        FUZZ_CHECK(result == 0 || result == 1);
    }
    return 0;
}
