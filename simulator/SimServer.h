#ifndef SIMSERVER_H
#define SIMSERVER_H

// The simulator's Modbus front end: one TCP listener (any number of clients,
// every unit id on the same port) and optionally one RTU line, served from a
// single select() loop that also advances the units' time.

#include "Scenario.h"
#include "UpsModel.h"

#include <modbus/modbus.h>

#include <csignal>
#include <memory>
#include <string>
#include <vector>

struct SimOptions
{
    std::string tcpHost = "127.0.0.1";
    int tcpPort = 1502;          // 0 picks a free port
    bool tcp = true;
    std::string rtuDevice;       // empty: no RTU line
    int rtuBaud = 9600;
    char rtuParity = 'N';
    int rtuDataBits = 8;
    int rtuStopBits = 1;
    int firstUnit = 1;
    int units = 1;
    std::string scenario = "normal";
    std::string scenarioDir;
    double speed = 1.0;
};

class SimServer
{
public:
    explicit SimServer(const SimOptions& options);
    ~SimServer();
    SimServer(const SimServer&) = delete;
    SimServer& operator=(const SimServer&) = delete;

    // Opens the listener and the line and builds the units. False with
    // `error` set when anything is unusable.
    bool start(const Scenario& scenario, std::string& error);
    // Serves until `stop` becomes non-zero.
    void run(const volatile std::sig_atomic_t& stop);

private:
    UpsModel* unitFor(int id);
    void serve(modbus_t* ctx, int fd, bool rtu);
    void handle(modbus_t* ctx, const unsigned char* request, int length);
    void advance(double wallSeconds);
    void closeClient(size_t index);

    SimOptions m_options;
    const Scenario* m_scenario = nullptr;
    std::vector<std::unique_ptr<UpsModel>> m_units;
    std::vector<std::string> m_lastStatus;
    modbus_t* m_tcp = nullptr;
    modbus_t* m_rtu = nullptr;
    int m_listenFd = -1;
    std::vector<int> m_clients;
    double m_simTime = 0;
    bool m_started = false;
};

#endif // SIMSERVER_H
