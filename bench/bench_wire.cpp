// Wire cost of one full read of a unit: requests and bytes, counted as the
// driver sends and receives them (against the simulator over loopback TCP,
// counting RTU frames at the port entries), and the time those bytes take on
// a 9600 baud 8N1 line. bench_tcp_read times the same read.

#include "driverapi.h"
#include "portaccess.h"
#include "SimulatorProcess.h"

#include <QCoreApplication>
#include <QLibrary>
#include <QTcpSocket>

#include <cstdio>

namespace {

struct Count {
    int requests = 0;
    long out = 0;
    long in = 0;
};
Count g_count;

int countingWrite(PortHandle* h, char* buffer, int length)
{
    ++g_count.requests;
    g_count.out += length;
    return TcpCommWrite(h, buffer, length);
}

int countingRead(PortHandle* h, char* buffer, int length)
{
    const int n = TcpCommRead(h, buffer, length);
    if (n > 0)
        g_count.in += n;
    return n;
}

void ignore(int, float, void*) {}

constexpr double kBaud = 9600;
constexpr double kBitsPerByte = 10;      // start, 8 data, stop
constexpr double kGapChars = 3.5;        // silent interval that ends an RTU frame

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    SimulatedUnit unit;
    if (!unit.start("bench_wire"))
        return 1;
    PortHandle handle = {&unit.socket, countingRead, countingWrite};

    if (unit.query(&handle, 1, ignore, nullptr) == 0) {
        std::fprintf(stderr, "bench_wire: query failed\n");
        return 1;
    }
    const Count one = g_count;
    const long bytes = one.out + one.in;
    const int frames = 2 * one.requests;
    const double charMs = kBitsPerByte / kBaud * 1000;
    const double byteMs = bytes * charMs;
    const double gapMs = frames * kGapChars * charMs;
    std::printf("full read: %d requests, %ld bytes out, %ld bytes in, %ld bytes total\n", one.requests, one.out,
                one.in, bytes);
    std::printf("9600 baud 8N1: %.1f ms of characters + %.1f ms of %d inter-frame gaps = %.1f ms on the wire\n",
                byteMs, gapMs, frames, byteMs + gapMs);

    unit.socket.disconnectFromHost();
    unit.sim.terminate();
    unit.sim.waitForFinished(3000);
    return 0;
}
