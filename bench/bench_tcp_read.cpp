// Time of one full read of a unit over loopback TCP, the simulator answering
// at full speed: our driver's Query through TcpCommRead/TcpCommWrite against
// libmodbus as a client reading the same four blocks. Prints the median of
// each and their ratio.

#include "driverapi.h"
#include "portaccess.h"
#include "registermap.h"
#include "SimulatorProcess.h"

#include <modbus/modbus.h>   // libmodbus; comm/ has its own modbus.h

#include <QCoreApplication>
#include <QLibrary>
#include <QTcpSocket>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

constexpr int kUnit = 1;

int g_points = 0;
void countPoint(int, float, void*) { ++g_points; }

template <typename Read>
double medianMs(int rounds, Read read)
{
    std::vector<double> times;
    times.reserve(size_t(rounds));
    for (int i = 0; i < rounds; ++i) {
        const auto start = std::chrono::steady_clock::now();
        if (!read())
            return -1;
        const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
        times.push_back(took.count());
    }
    std::nth_element(times.begin(), times.begin() + rounds / 2, times.end());
    return times[size_t(rounds / 2)];
}

// The same blocks the driver reads, one request each.
bool libmodbusRead(modbus_t* ctx)
{
    uint8_t bits[regmap::kMaxReadBits];
    uint16_t registers[regmap::kMaxReadRegisters];
    for (const regmap::Block& b : regmap::kBlocks) {
        int got = -1;
        switch (b.table) {
        case regmap::DiscreteInputs:
            got = modbus_read_input_bits(ctx, b.start, b.count, bits);
            break;
        case regmap::InputRegisters:
            got = modbus_read_input_registers(ctx, b.start, b.count, registers);
            break;
        case regmap::HoldingRegisters:
            got = modbus_read_registers(ctx, b.start, b.count, registers);
            break;
        }
        if (got != b.count)
            return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 1000;
    SimulatedUnit unit;
    if (!unit.start("bench_tcp_read"))
        return 1;
    PortHandle handle = {&unit.socket, TcpCommRead, TcpCommWrite};
    const double ours = medianMs(rounds, [&] { return unit.query(&handle, kUnit, countPoint, nullptr) != 0; });
    unit.socket.disconnectFromHost();

    modbus_t* ctx = modbus_new_tcp("127.0.0.1", unit.port);
    if (ctx == nullptr || modbus_set_slave(ctx, kUnit) != 0 || modbus_connect(ctx) != 0) {
        std::fprintf(stderr, "bench_tcp_read: libmodbus cannot connect\n");
        return 1;
    }
    const double theirs = medianMs(rounds, [&] { return libmodbusRead(ctx); });
    modbus_close(ctx);
    modbus_free(ctx);
    unit.sim.terminate();
    unit.sim.waitForFinished(3000);

    if (ours < 0 || theirs < 0) {
        std::fprintf(stderr, "bench_tcp_read: a read failed\n");
        return 1;
    }
    std::printf("full read over loopback TCP, median of %d rounds each (%d points per Query)\n", rounds,
                g_points / rounds);
    std::printf("  driver Query:  %.1f us\n", ours * 1000);
    std::printf("  libmodbus:     %.1f us\n", theirs * 1000);
    std::printf("  ratio driver / libmodbus: %.2f\n", ours / theirs);
    return 0;
}
