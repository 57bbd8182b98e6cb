// Runs the collector's history export once in the working directory: reads
// "./history.txt" and the code map there, writes the CSV named on the command
// line, and prints the time the export took. history_export.sh prepares the
// files and compares the result with an awk one-liner's.

#include "vek5Client.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <cstdio>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: bench_history_export OUT.csv\n");
        return 2;
    }
    vek5Client client;
    QElapsedTimer timer;
    timer.start();
    client.exportHistoryInfo(QString::fromLocal8Bit(argv[1]));
    std::printf("exportHistoryInfo: %.3f s\n", double(timer.nsecsElapsed()) / 1e9);
    return 0;
}
