#include "SimServer.h"

#include "registermap.h"

#include <sys/select.h>
#include <sys/socket.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

namespace {

constexpr int kMaxClients = 256;
constexpr long kTickMicros = 50000;

double wallSeconds()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
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
    if (m_rtu != nullptr) {
        modbus_close(m_rtu);
        modbus_free(m_rtu);
    }
}

bool SimServer::start(const Scenario& scenario, std::string& error)
{
    m_scenario = &scenario;
    for (int i = 0; i < m_options.units; ++i) {
        m_units.push_back(std::make_unique<UpsModel>(m_options.firstUnit + i));
        if (!m_units.back()->valid()) {
            error = "out of memory for the register maps";
            return false;
        }
    }
    m_lastStatus.resize(m_units.size());

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
        if (access(m_options.rtuDevice.c_str(), F_OK) != 0) {
            error = "no such serial device: " + m_options.rtuDevice;
            return false;
        }
        m_rtu = modbus_new_rtu(m_options.rtuDevice.c_str(), m_options.rtuBaud, m_options.rtuParity,
                               m_options.rtuDataBits, m_options.rtuStopBits);
        if (m_rtu == nullptr || modbus_set_slave(m_rtu, m_options.firstUnit) != 0 || modbus_connect(m_rtu) != 0) {
            error = "cannot open serial device " + m_options.rtuDevice + " (" + modbus_strerror(errno) + ")";
            return false;
        }
        modbus_set_indication_timeout(m_rtu, 1, 0);
    }
    advance(0);

    const int last = m_options.firstUnit + m_options.units - 1;
    if (m_tcp != nullptr)
        std::printf("upssim: listening on %s:%d, units %d-%d\n", m_options.tcpHost.c_str(), m_options.tcpPort,
                    m_options.firstUnit, last);
    if (m_rtu != nullptr)
        std::printf("upssim: serving unit %d on %s\n", m_options.firstUnit, m_options.rtuDevice.c_str());
    std::fflush(stdout);
    return true;
}

UpsModel* SimServer::unitFor(int id)
{
    const int index = id - m_options.firstUnit;
    return index >= 0 && index < int(m_units.size()) ? m_units[size_t(index)].get() : nullptr;
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
        for (int fd : m_clients)
            watch(fd);
        const int rtuFd = m_rtu != nullptr ? modbus_get_socket(m_rtu) : -1;
        watch(rtuFd);
        timeval wait = {0, kTickMicros};
        const int ready = select(top + 1, &readable, nullptr, nullptr, &wait);
        if (ready < 0 && errno != EINTR) {
            std::perror("upssim: select");
            return;
        }
        if (ready > 0) {
            if (m_listenFd >= 0 && FD_ISSET(m_listenFd, &readable)) {
                int listenFd = m_listenFd;
                const int fd = modbus_tcp_accept(m_tcp, &listenFd);
                if (fd >= 0 && (int(m_clients.size()) >= kMaxClients || fd >= FD_SETSIZE))
                    close(fd);
                else if (fd >= 0)
                    m_clients.push_back(fd);
            }
            for (size_t i = m_clients.size(); i > 0; --i)
                if (FD_ISSET(m_clients[i - 1], &readable))
                    serve(m_tcp, int(i - 1), false);
            if (rtuFd >= 0 && FD_ISSET(rtuFd, &readable))
                serve(m_rtu, rtuFd, true);
        }
        const double now = wallSeconds();
        advance(now - last);
        last = now;
    }
}

void SimServer::closeClient(size_t index)
{
    close(m_clients[index]);
    m_clients.erase(m_clients.begin() + long(index));
}

void SimServer::serve(modbus_t* ctx, int fdOrIndex, bool rtu)
{
    unsigned char request[MODBUS_TCP_MAX_ADU_LENGTH];
    if (!rtu)
        modbus_set_socket(ctx, m_clients[size_t(fdOrIndex)]);
    const int length = modbus_receive(ctx, request);
    if (length < 0) {
        // A TCP client that went away or sent garbage is dropped; the RTU
        // line resynchronises by itself on the next frame.
        if (!rtu)
            closeClient(size_t(fdOrIndex));
        else
            modbus_flush(ctx);
        return;
    }
    if (length > 0)
        handle(ctx, request, length);
}

void SimServer::handle(modbus_t* ctx, const unsigned char* request, int length)
{
    const int header = modbus_get_header_length(ctx);
    if (length < header + 1)
        return;
    UpsModel* unit = unitFor(request[header - 1]);
    if (unit == nullptr || unit->silent())
        return;   // not ours, or the unit is not answering
    const int function = request[header];
    int address = -1;
    int count = 0;
    const unsigned char* values = nullptr;
    if (function == 6 && length >= header + 5) {
        address = request[header + 1] << 8 | request[header + 2];
        count = 1;
        values = request + header + 3;
    } else if (function == 16 && length >= header + 6) {
        address = request[header + 1] << 8 | request[header + 2];
        count = request[header + 3] << 8 | request[header + 4];
        values = request + header + 6;
        if (length < header + 6 + 2 * count)
            return;
    } else if (function == 5 || function == 15 || function == 22 || function == 23) {
        modbus_reply_exception(ctx, request, MODBUS_EXCEPTION_ILLEGAL_FUNCTION);
        return;
    }
    if (address >= 0) {
        const int refused = unit->beforeWrite(address, count, values);
        if (refused != 0) {
            modbus_reply_exception(ctx, request, unsigned(refused));
            return;
        }
    }
    modbus_reply(ctx, request, length, unit->mapping());
    if (address >= 0)
        unit->afterWrite(address, count);
}

void SimServer::advance(double wallSeconds)
{
    const double step = wallSeconds * m_options.speed;
    // The first pass also takes the steps at time 0.
    const double from = m_started ? m_simTime : -1;
    m_started = true;
    m_simTime += step;
    for (size_t i = 0; i < m_units.size(); ++i) {
        UpsModel& unit = *m_units[i];
        if (m_scenario != nullptr)
            m_scenario->apply(from, m_simTime, unit);
        unit.advance(step);
        const std::string status = unit.statusLine();
        if (status != m_lastStatus[i]) {
            m_lastStatus[i] = status;
            std::printf("%s\n", status.c_str());
            std::fflush(stdout);
        }
    }
}
