#ifndef SIMSERVER_H
#define SIMSERVER_H

// The simulator's front end: one Modbus TCP listener (any number of clients,
// every unit id on the same port), optionally one RTU line that carries every
// unit address (a multi-drop bus), and optionally the control channel, all
// served from a single select() loop that also advances the units' time.

#include "ControlCommand.h"
#include "ControlSocket.h"
#include "RtuLine.h"
#include "Scenario.h"
#include "UpsModel.h"

#include <modbus/modbus.h>

#include <bitset>
#include <csignal>
#include <map>
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
    std::map<int, std::string> unitScenarios;   // unit address: scenario
    std::string scenarioDir;
    std::string controlPath;     // empty: no control channel
    double speed = 1.0;
};

class SimServer
{
public:
    explicit SimServer(const SimOptions& options);
    ~SimServer();
    SimServer(const SimServer&) = delete;
    SimServer& operator=(const SimServer&) = delete;

    // Builds the units and gives each its scenario. False with `error` set
    // when a scenario cannot be used.
    bool prepare(std::string& error);
    // Opens the listener, the line and the control channel. False with
    // `error` set when anything is unusable.
    bool start(std::string& error);
    // Serves until `stop` becomes non-zero.
    void run(const volatile std::sig_atomic_t& stop);

    // Carries out one control line; the answer ends in "OK" or "ERR reason".
    std::string control(const std::string& text);

private:
    struct Unit
    {
        std::unique_ptr<UpsModel> model;
        std::shared_ptr<const Scenario> scenario;
        std::string scenarioName;
        double scenarioTime = -1;   // scenario seconds applied so far; -1: not begun
        double silentUntil = 0;     // control channel deadlines, wall clock
        double garbleUntil = 0;
        double halveUntil = 0;
        std::string lastStatus;
    };

    bool loadScenario(const std::string& name, std::shared_ptr<const Scenario>& scenario,
                      std::string& error) const;
    Unit* unitFor(int id);
    bool silent(const Unit& unit) const;
    bool garbled(const Unit& unit) const;
    bool halved(const Unit& unit) const;
    // How the unit answers, for its status line; empty when it answers well.
    std::string answering(const Unit& unit) const;
    std::string execute(const ControlCommand& command);
    void serveTcp(size_t client);
    void serveRtu();
    std::string answer(modbus_t* ctx, const unsigned char* request, int length, UpsModel& unit);
    void advance(double wallSeconds);
    // With `reset` the peer gets a reset instead of an orderly close.
    void closeClient(size_t index, bool reset = false);

    SimOptions m_options;
    std::vector<Unit> m_units;
    modbus_t* m_tcp = nullptr;
    std::unique_ptr<RtuLine> m_rtu;
    ControlSocket m_control;
    int m_listenFd = -1;
    int m_capture[2] = {-1, -1};   // answers are built into one end, read from the other
    struct Client
    {
        int fd;
        std::bitset<256> asked;   // unit ids its requests have carried
    };
    std::vector<Client> m_clients;
};

#endif // SIMSERVER_H
