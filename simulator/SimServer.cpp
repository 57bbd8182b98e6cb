#include "SimServer.h"

#include <sys/select.h>
#include <sys/socket.h>
#include <netinet/in.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>

namespace {

constexpr int kMaxClients = 256;
constexpr long kTickMicros = 50000;

double wallSeconds()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

// One line of the simulator's log, with the local date and time to the
// millisecond in front.
void printStamped(const std::string& text)
{
    using namespace std::chrono;
    const auto now = system_clock::now();
    const std::time_t seconds = system_clock::to_time_t(now);
    const long millis = long(duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000);
    std::tm local = {};
    localtime_r(&seconds, &local);
    char stamp[32];
    std::strftime(stamp, sizeof(stamp), "%Y-%m-%d %H:%M:%S", &local);
    std::printf("%s.%03ld %s\n", stamp, millis, text.c_str());
    std::fflush(stdout);
}

std::string numberText(double value)
{
    char text[32];
    std::snprintf(text, sizeof(text), "%g", value);
    return text;
}

} // namespace

SimServer::SimServer(const SimOptions& options) : m_options(options) {}

SimServer::~SimServer()
{
    for (size_t i = m_clients.size(); i > 0; --i)
        closeClient(i - 1);
    if (m_listenFd >= 0)
        close(m_listenFd);
    if (m_tcp != nullptr)
        modbus_free(m_tcp);
    for (int fd : m_capture)
        if (fd >= 0)
            close(fd);
}

bool SimServer::loadScenario(const std::string& name, std::shared_ptr<const Scenario>& scenario,
                             std::string& error) const
{
    auto loaded = std::make_shared<Scenario>();
    // "normal" needs no file: the units start healthy.
    if (!loaded->load(name, m_options.scenarioDir, error) && name != "normal")
        return false;
    scenario = loaded;
    return true;
}

bool SimServer::prepare(std::string& error)
{
    std::shared_ptr<const Scenario> common;
    if (!loadScenario(m_options.scenario, common, error))
        return false;
    for (int i = 0; i < m_options.units; ++i) {
        Unit unit;
        unit.model = std::make_unique<UpsModel>(m_options.firstUnit + i);
        if (!unit.model->valid()) {
            error = "out of memory for the register maps";
            return false;
        }
        unit.scenario = common;
        unit.scenarioName = m_options.scenario;
        m_units.push_back(std::move(unit));
    }
    for (const auto& [id, name] : m_options.unitScenarios) {
        Unit* unit = unitFor(id);
        if (unit == nullptr) {
            error = "no unit " + std::to_string(id) + " for scenario " + name;
            return false;
        }
        if (!loadScenario(name, unit->scenario, error))
            return false;
        unit->scenarioName = name;
    }
    return true;
}

bool SimServer::start(std::string& error)
{
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, m_capture) != 0) {
        error = std::string("cannot make a socket pair (") + std::strerror(errno) + ")";
        return false;
    }
    if (m_options.tcp) {
        m_tcp = modbus_new_tcp(m_options.tcpHost.c_str(), m_options.tcpPort);
        if (m_tcp == nullptr) {
            error = "bad TCP address " + m_options.tcpHost;
            return false;
        }
        m_listenFd = modbus_tcp_listen(m_tcp, 16);
        if (m_listenFd < 0) {
            error = std::string(errno == EADDRINUSE ? "port in use: " : "cannot listen on ") + m_options.tcpHost
                    + ":" + std::to_string(m_options.tcpPort) + " (" + modbus_strerror(errno) + ")";
            return false;
        }
        sockaddr_in bound = {};
        socklen_t size = sizeof(bound);
        if (getsockname(m_listenFd, reinterpret_cast<sockaddr*>(&bound), &size) == 0)
            m_options.tcpPort = ntohs(bound.sin_port);
        modbus_set_indication_timeout(m_tcp, 1, 0);
    }
    if (!m_options.rtuDevice.empty()) {
        m_rtu = std::make_unique<RtuLine>(m_options.rtuDevice, m_options.rtuBaud, m_options.rtuParity,
                                          m_options.rtuDataBits, m_options.rtuStopBits);
        if (!m_rtu->open(error))
            return false;
    }
    if (!m_options.controlPath.empty() && !m_control.listen(m_options.controlPath, error))
        return false;
    advance(0);

    const int last = m_options.firstUnit + m_options.units - 1;
    const std::string units = m_options.units == 1 ? "unit " + std::to_string(last)
            : "units " + std::to_string(m_options.firstUnit) + "-" + std::to_string(last);
    if (m_tcp != nullptr)
        std::printf("upssim: listening on %s:%d, units %d-%d\n", m_options.tcpHost.c_str(), m_options.tcpPort,
                    m_options.firstUnit, last);
    if (m_rtu != nullptr)
        std::printf("upssim: serving %s on %s\n", units.c_str(), m_options.rtuDevice.c_str());
    if (!m_options.controlPath.empty())
        std::printf("upssim: control channel on %s\n", m_options.controlPath.c_str());
    std::fflush(stdout);
    return true;
}

SimServer::Unit* SimServer::unitFor(int id)
{
    const int index = id - m_options.firstUnit;
    return index >= 0 && index < int(m_units.size()) ? &m_units[size_t(index)] : nullptr;
}

bool SimServer::silent(const Unit& unit) const
{
    return unit.model->silent() || wallSeconds() < unit.silentUntil;
}

bool SimServer::garbled(const Unit& unit) const
{
    return wallSeconds() < unit.garbleUntil;
}

bool SimServer::halved(const Unit& unit) const
{
    return wallSeconds() < unit.halveUntil;
}

std::string SimServer::answering(const Unit& unit) const
{
    if (silent(unit))
        return "not answering";
    std::string text;
    if (halved(unit))
        text = "answering half frames";
    if (garbled(unit))
        text += text.empty() ? "answering with bad checks" : " with bad checks";
    return text;
}

void SimServer::run(const volatile std::sig_atomic_t& stop)
{
    double last = wallSeconds();
    while (stop == 0) {
        fd_set readable;
        FD_ZERO(&readable);
        int top = -1;
        auto watch = [&](int fd) {
            if (fd >= 0 && fd < FD_SETSIZE) {
                FD_SET(fd, &readable);
                top = fd > top ? fd : top;
            }
        };
        watch(m_listenFd);
        for (const Client& c : m_clients)
            watch(c.fd);
        const int rtuFd = m_rtu != nullptr ? m_rtu->fd() : -1;
        watch(rtuFd);
        m_control.watch(watch);
        timeval wait = {0, kTickMicros};
        const int ready = select(top + 1, &readable, nullptr, nullptr, &wait);
        if (ready < 0 && errno != EINTR) {
            std::perror("upssim: select");
            return;
        }
        const auto isReady = [&](int fd) { return ready > 0 && fd >= 0 && fd < FD_SETSIZE && FD_ISSET(fd, &readable); };
        if (isReady(m_listenFd)) {
            int listenFd = m_listenFd;
            const int fd = modbus_tcp_accept(m_tcp, &listenFd);
            if (fd >= 0 && (int(m_clients.size()) >= kMaxClients || fd >= FD_SETSIZE))
                close(fd);
            else if (fd >= 0)
                m_clients.push_back({fd, {}});
        }
        for (size_t i = m_clients.size(); i > 0; --i)
            if (isReady(m_clients[i - 1].fd))
                serveTcp(i - 1);
        if (isReady(rtuFd))
            serveRtu();
        m_control.serve(isReady, [this](const std::string& line) { return control(line); });
        const double now = wallSeconds();
        advance(now - last);
        last = now;
    }
}

void SimServer::closeClient(size_t index, bool reset)
{
    const int fd = m_clients[index].fd;
    if (reset) {
        // A linger time of 0 makes close() send a reset instead of a FIN.
        const linger hard = {1, 0};
        setsockopt(fd, SOL_SOCKET, SO_LINGER, &hard, sizeof(hard));
    }
    close(fd);
    m_clients.erase(m_clients.begin() + long(index));
}

void SimServer::serveTcp(size_t client)
{
    unsigned char request[MODBUS_TCP_MAX_ADU_LENGTH];
    const int fd = m_clients[client].fd;
    modbus_set_socket(m_tcp, fd);
    const int length = modbus_receive(m_tcp, request);
    if (length < 0) {
        closeClient(client);   // went away, or sent what is not Modbus TCP
        return;
    }
    Unit* unit = nullptr;
    if (length > 7) {   // past the header: the unit id
        m_clients[client].asked.set(request[6]);
        unit = unitFor(request[6]);
    }
    if (unit == nullptr || silent(*unit))
        return;
    std::string reply = answer(m_tcp, request, length, *unit->model);
    if (garbled(*unit) && reply.size() > 7) {
        // TCP carries no CRC of its own: the damaged answer names another
        // transaction and another unit, so every client discards it.
        reply[0] = char(reply[0] ^ 0xFF);
        reply[6] = char(reply[6] ^ 0x80);
    }
    if (halved(*unit))
        reply.resize(reply.size() / 2);
    if (send(fd, reply.data(), reply.size(), MSG_NOSIGNAL) < 0)
        closeClient(client);
}

void SimServer::serveRtu()
{
    for (const std::string& frame : m_rtu->receive()) {
        const auto* request = reinterpret_cast<const unsigned char*>(frame.data());
        Unit* unit = unitFor(request[0]);
        if (unit == nullptr || silent(*unit))
            continue;   // another unit's request, or this unit says nothing
        modbus_set_slave(m_rtu->context(), request[0]);
        std::string reply = answer(m_rtu->context(), request, int(frame.size()), *unit->model);
        if (reply.empty())
            continue;
        if (garbled(*unit))
            reply.back() = char(reply.back() ^ 0xFF);   // wrong CRC
        if (halved(*unit))
            reply.resize(reply.size() / 2);
        m_rtu->send(reply);
    }
}

std::string SimServer::answer(modbus_t* ctx, const unsigned char* request, int length, UpsModel& unit)
{
    const int header = modbus_get_header_length(ctx);
    const int function = request[header];
    int address = -1;
    int count = 0;
    const unsigned char* values = nullptr;
    int refused = 0;
    if (function == 6 && length >= header + 5) {
        address = request[header + 1] << 8 | request[header + 2];
        count = 1;
        values = request + header + 3;
    } else if (function == 16 && length >= header + 6) {
        address = request[header + 1] << 8 | request[header + 2];
        count = request[header + 3] << 8 | request[header + 4];
        values = request + header + 6;
        if (length < header + 6 + 2 * count)
            return {};
    } else if (function == 5 || function == 15 || function == 22 || function == 23) {
        refused = MODBUS_EXCEPTION_ILLEGAL_FUNCTION;
    }
    if (address >= 0)
        refused = unit.beforeWrite(address, count, values);

    // libmodbus writes the answer to the context's socket: point it at the
    // capture pair, so that the answer can be damaged or paced on its way.
    const int own = modbus_get_socket(ctx);
    modbus_set_socket(ctx, m_capture[0]);
    if (refused != 0)
        modbus_reply_exception(ctx, request, unsigned(refused));
    else
        modbus_reply(ctx, request, length, unit.mapping());
    modbus_set_socket(ctx, own);
    if (address >= 0 && refused == 0)
        unit.afterWrite(address, count);

    std::string reply;
    char buffer[512];
    for (ssize_t n; (n = read(m_capture[1], buffer, sizeof(buffer))) > 0;)
        reply.append(buffer, size_t(n));
    return reply;
}

std::string SimServer::control(const std::string& text)
{
    // Control characters never make a command; shown as '?', they keep the log and answers readable.
    std::string line = text;
    for (char& c : line)
        c = (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F ? '?' : c;
    ControlCommand command;
    std::string error;
    const std::string answer = ControlCommand::parse(line, command, error) ? execute(command) : "ERR " + error;
    const size_t lastLine = answer.rfind('\n');
    printStamped("control: " + line + ": " + (lastLine == std::string::npos ? answer : answer.substr(lastLine + 1)));
    return answer;
}

std::string SimServer::execute(const ControlCommand& command)
{
    if (command.verb == ControlCommand::List) {
        std::string text;
        for (const Unit& u : m_units)
            text += u.model->statusLine(answering(u)) + ", scenario " + u.scenarioName + "\n";
        return text + "OK";
    }
    std::vector<Unit*> targets;
    if (command.unit == ControlCommand::kAllUnits) {
        for (Unit& u : m_units)
            targets.push_back(&u);
    } else if (Unit* u = unitFor(command.unit)) {
        targets.push_back(u);
    } else {
        return "ERR no unit " + std::to_string(command.unit) + " (units " + std::to_string(m_options.firstUnit)
                + "-" + std::to_string(m_options.firstUnit + m_options.units - 1) + ")";
    }
    if (command.verb == ControlCommand::Get) {
        std::string values;
        for (Unit* u : targets) {
            double value = 0;
            if (!u->model->pointValue(command.index, value))
                return "ERR no point " + std::to_string(command.index);
            values += targets.size() == 1 ? numberText(value)
                    : (values.empty() ? "" : " ") + std::to_string(u->model->unitId()) + "=" + numberText(value);
        }
        return "OK " + values;
    }
    if (command.verb == ControlCommand::Disconnect) {
        if (m_tcp == nullptr)
            return "ERR no Modbus TCP served (--no-tcp): the units are on RTU only";
        // The unit's connections are those that have carried a request for it.
        int closed = 0;
        for (size_t i = m_clients.size(); i > 0; --i) {
            if (command.unit == ControlCommand::kAllUnits || m_clients[i - 1].asked.test(size_t(command.unit))) {
                closeClient(i - 1, true);
                ++closed;
            }
        }
        return "OK " + std::to_string(closed);
    }
    std::shared_ptr<const Scenario> scenario;
    std::string error;
    if (command.verb == ControlCommand::Scenario && !loadScenario(command.name, scenario, error))
        return "ERR " + error;

    const double wall = wallSeconds();
    for (Unit* u : targets) {
        UpsModel& model = *u->model;
        switch (command.verb) {
        case ControlCommand::Mains: model.setMains(command.on); break;
        case ControlCommand::Bypass: model.setBypass(command.on); break;
        case ControlCommand::Fault: model.setFault(command.index, command.on); break;
        case ControlCommand::Load: model.setLoad(command.amount); break;
        case ControlCommand::Battery: model.setCharge(command.amount); break;
        case ControlCommand::Silent: u->silentUntil = wall + command.amount; break;
        case ControlCommand::Garble: u->garbleUntil = wall + command.amount; break;
        case ControlCommand::Halve: u->halveUntil = wall + command.amount; break;
        case ControlCommand::Scenario:
            // The new timeline starts now, from the unit's present state.
            u->scenario = scenario;
            u->scenarioName = command.name;
            u->scenarioTime = -1;
            break;
        case ControlCommand::Get:
        case ControlCommand::Disconnect:
        case ControlCommand::List:
            break;
        }
    }
    advance(0);
    return "OK";
}

void SimServer::advance(double wallSeconds)
{
    const double step = wallSeconds * m_options.speed;
    for (Unit& unit : m_units) {
        // The first pass of a timeline also takes its steps at time 0.
        const double to = std::max(unit.scenarioTime, 0.0) + step;
        unit.scenario->apply(unit.scenarioTime, to, *unit.model);
        unit.scenarioTime = to;
        unit.model->advance(step);
        const std::string status = unit.model->statusLine(answering(unit));
        if (status != unit.lastStatus) {
            unit.lastStatus = status;
            printStamped(status);
        }
    }
}
