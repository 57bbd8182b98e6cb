// Wire cost of one full read of a unit: requests and bytes, counted as the
// driver sends and receives them (against the simulator over loopback TCP,
// counting RTU frames at the port entries), and the time those bytes take on
// a 9600 baud 8N1 line. Also times Query itself over loopback.

#include "driverapi.h"
#include "portaccess.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLibrary>
#include <QProcess>
#include <QRegularExpression>
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
    const QString bin = QCoreApplication::applicationDirPath();
    QLibrary driver(bin + "/libvek5m_10-30k");
    const auto query = reinterpret_cast<QueryFunc>(driver.resolve("Query"));
    if (query == nullptr) {
        std::fprintf(stderr, "bench_wire: cannot load the driver from %s\n", qPrintable(bin));
        return 1;
    }
    QProcess sim;
    sim.setProcessChannelMode(QProcess::MergedChannels);
    sim.start(bin + "/upssim", {"--tcp", "127.0.0.1:0", "--speed", "0"});
    QString seen;
    QRegularExpressionMatch ready;
    QElapsedTimer wait;
    wait.start();
    while (!ready.hasMatch() && wait.elapsed() < 5000 && sim.waitForReadyRead(100)) {
        seen += QString::fromLocal8Bit(sim.readAll());
        ready = QRegularExpression("listening on 127\\.0\\.0\\.1:(\\d+)").match(seen);
    }
    if (!ready.hasMatch()) {
        std::fprintf(stderr, "bench_wire: simulator did not start\n%s", qPrintable(seen));
        return 1;
    }
    QTcpSocket socket;
    socket.connectToHost("127.0.0.1", quint16(ready.captured(1).toInt()));
    if (!socket.waitForConnected(5000))
        return 1;
    PortHandle handle = {&socket, countingRead, countingWrite};

    if (query(&handle, 1, ignore, nullptr) == 0) {
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

    constexpr int kRounds = 200;
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < kRounds; ++i)
        query(&handle, 1, ignore, nullptr);
    std::printf("Query over loopback TCP: %.3f ms per full read (%d rounds)\n",
                double(timer.nsecsElapsed()) / 1e6 / kRounds, kRounds);

    socket.disconnectFromHost();
    sim.terminate();
    sim.waitForFinished(3000);
    return 0;
}
