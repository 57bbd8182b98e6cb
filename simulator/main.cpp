// upssim: a simulated 20 kVA three-phase online UPS that answers Modbus TCP
// and Modbus RTU by the unit's register map.

#include "SimServer.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

volatile std::sig_atomic_t g_stop = 0;

void onSignal(int)
{
    g_stop = 1;
}

const char kUsage[] =
    "usage: upssim [options]\n"
    "  --tcp HOST:PORT        serve Modbus TCP (default 127.0.0.1:1502; port 0 picks a free one)\n"
    "  --no-tcp               do not serve Modbus TCP\n"
    "  --rtu DEVICE[,BAUD[,PARITY[,DATA[,STOP]]]]\n"
    "                         serve Modbus RTU on a serial device (default 9600,N,8,1); every\n"
    "                         unit answers on the line at its own address, at the line's rate\n"
    "  --unit N               unit address of the first unit (default 1)\n"
    "  --units N              number of units, addresses N.. on TCP and RTU (default 1)\n"
    "  --scenario NAME|FILE   normal, mains-failure, low-battery, overload, bypass,\n"
    "                         faults, comm-drop, or a .scn file, for every unit (default normal);\n"
    "                         after the end of discharge the output stays off and the battery\n"
    "                         low until the mains return\n"
    "  --scenario UNIT=NAME|FILE\n"
    "                         the scenario of one unit (repeatable)\n"
    "  --speed FACTOR         simulated seconds per second; 0 freezes the units (default 1);\n"
    "                         the units' clocks and history times keep to the wall clock\n"
    "  --control PATH         take commands on a UNIX stream socket, one per line,\n"
    "                         each answered by OK or ERR REASON (list prints a line per unit first):\n"
    "                           mains UNIT on|off        bypass UNIT on|off\n"
    "                           fault UNIT INDEX on|off  (alarm index 0-511)\n"
    "                           load UNIT PERCENT        battery UNIT PERCENT\n"
    "                           silent UNIT SECONDS      (no answers; 0 ends it)\n"
    "                           garble UNIT SECONDS      (RTU: wrong CRC; TCP: answer names\n"
    "                                                    another transaction and unit)\n"
    "                           halve UNIT SECONDS       (only the first half of each answer)\n"
    "                           disconnect UNIT          (resets the TCP connections that have\n"
    "                                                    asked the unit; answers OK and their count)\n"
    "                           scenario UNIT NAME|FILE  (its timeline starts now)\n"
    "                           get UNIT POINT           (the value the driver reads)\n"
    "                           list\n"
    "                         UNIT is an address or all; SECONDS are wall-clock seconds\n"
    "Status lines (one per state change of a unit) and control lines carry the local time.\n";

bool toInt(const char* text, long low, long high, int& out)
{
    char* end = nullptr;
    const long v = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || v < low || v > high)
        return false;
    out = int(v);
    return true;
}

bool parseRtu(const std::string& text, SimOptions& o)
{
    std::string parts[5];
    size_t n = 0, start = 0;
    for (; n < 5; ++n) {
        const size_t comma = text.find(',', start);
        parts[n] = text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        if (comma == std::string::npos) {
            ++n;
            break;
        }
        start = comma + 1;
    }
    if (parts[0].empty() || text.find(',', start) != std::string::npos)
        return false;
    o.rtuDevice = parts[0];
    if (n > 1 && !toInt(parts[1].c_str(), 50, 4000000, o.rtuBaud))
        return false;
    if (n > 2) {
        if (parts[2].size() != 1 || std::strchr("NEOneo", parts[2][0]) == nullptr)
            return false;
        o.rtuParity = char(std::toupper(static_cast<unsigned char>(parts[2][0])));
    }
    if (n > 3 && !toInt(parts[3].c_str(), 5, 8, o.rtuDataBits))
        return false;
    if (n > 4 && !toInt(parts[4].c_str(), 1, 2, o.rtuStopBits))
        return false;
    return true;
}

// Parses the command line; returns 0 to go on, otherwise the exit code.
int parseArguments(int argc, char** argv, SimOptions& o)
{
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "-h" || arg == "--help") {
            std::fputs(kUsage, stdout);
            return -1;
        }
        if (arg == "--no-tcp") {
            o.tcp = false;
            continue;
        }
        static const char* const kValued[] = {"--tcp", "--rtu", "--unit", "--units", "--scenario", "--speed",
                                              "--control"};
        bool known = false;
        for (const char* name : kValued)
            known = known || arg == name;
        if (!known) {
            std::fprintf(stderr, "upssim: unknown option %s\n%s", arg.c_str(), kUsage);
            return 2;
        }
        if (i + 1 >= argc) {
            std::fprintf(stderr, "upssim: %s needs a value\n%s", arg.c_str(), kUsage);
            return 2;
        }
        const std::string value = argv[++i];
        bool ok = true;
        if (arg == "--tcp") {
            const size_t colon = value.rfind(':');
            ok = colon != std::string::npos && colon > 0
                    && toInt(value.c_str() + colon + 1, 0, 65535, o.tcpPort);
            if (ok)
                o.tcpHost = value.substr(0, colon);
            o.tcp = true;
        } else if (arg == "--rtu") {
            ok = parseRtu(value, o);
        } else if (arg == "--unit") {
            ok = toInt(value.c_str(), 1, 247, o.firstUnit);
        } else if (arg == "--units") {
            ok = toInt(value.c_str(), 1, 247, o.units);
        } else if (arg == "--scenario") {
            // UNIT=NAME gives one unit its own scenario.
            const size_t equals = value.find('=');
            int unit = 0;
            if (equals != std::string::npos && toInt(value.substr(0, equals).c_str(), 1, 247, unit))
                o.unitScenarios[unit] = value.substr(equals + 1);
            else
                o.scenario = value;
            ok = !value.empty() && value.back() != '=';
        } else if (arg == "--control") {
            ok = !value.empty();
            o.controlPath = value;
        } else {
            char* end = nullptr;
            o.speed = std::strtod(value.c_str(), &end);
            ok = end != value.c_str() && *end == '\0' && o.speed >= 0 && o.speed <= 1000;
        }
        if (!ok) {
            std::fprintf(stderr, "upssim: bad value for %s: %s\n", arg.c_str(), value.c_str());
            return 2;
        }
    }
    if (o.firstUnit + o.units - 1 > 247) {
        std::fprintf(stderr, "upssim: unit addresses past 247\n");
        return 2;
    }
    if (!o.tcp && o.rtuDevice.empty()) {
        std::fprintf(stderr, "upssim: nothing to serve (--no-tcp without --rtu)\n");
        return 2;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    SimOptions options;
    const char* dir = std::getenv("UPSSIM_SCENARIOS");
    options.scenarioDir = dir != nullptr ? dir : UPSSIM_SCENARIO_DIR;
    const int parsed = parseArguments(argc, argv, options);
    if (parsed != 0)
        return parsed < 0 ? 0 : parsed;

    SimServer server(options);
    std::string error;
    if (!server.prepare(error)) {
        std::fprintf(stderr, "upssim: %s\n", error.c_str());
        return 2;
    }

    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    if (!server.start(error)) {
        std::fprintf(stderr, "upssim: %s\n", error.c_str());
        return 1;
    }
    server.run(g_stop);
    std::printf("upssim: stopped\n");
    return 0;
}
