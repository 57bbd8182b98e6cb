#include "RtuLine.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>

namespace {

// A pty or a USB adapter hands bytes on in bursts: a partial request is only
// given up after this much silence, even where 3.5 characters are shorter.
constexpr double kMinGapSeconds = 0.02;

double now()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

void sleepSeconds(double seconds)
{
    if (seconds > 0)
        std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

} // namespace

RtuLine::RtuLine(const std::string& device, int baud, char parity, int dataBits, int stopBits)
    : m_device(device),
      m_charSeconds(double(1 + dataBits + (parity == 'N' ? 0 : 1) + stopBits) / baud)
{
    m_ctx = modbus_new_rtu(device.c_str(), baud, parity, dataBits, stopBits);
}

RtuLine::~RtuLine()
{
    if (m_ctx != nullptr) {
        modbus_close(m_ctx);
        modbus_free(m_ctx);
    }
}

bool RtuLine::open(std::string& error)
{
    if (access(m_device.c_str(), F_OK) != 0) {
        error = "no such serial device: " + m_device;
        return false;
    }
    if (m_ctx == nullptr || modbus_connect(m_ctx) != 0) {
        error = "cannot open serial device " + m_device + " (" + modbus_strerror(errno) + ")";
        return false;
    }
    const int flags = fcntl(fd(), F_GETFL);
    fcntl(fd(), F_SETFL, flags | O_NONBLOCK);
    return true;
}

int RtuLine::fd() const
{
    return modbus_get_socket(m_ctx);
}

unsigned RtuLine::crc16(const unsigned char* bytes, size_t length)
{
    unsigned crc = 0xFFFF;
    for (size_t i = 0; i < length; ++i) {
        crc ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) != 0 ? (crc >> 1) ^ 0xA001 : crc >> 1;
    }
    return crc;
}

int RtuLine::requestLength(const unsigned char* bytes, size_t available)
{
    if (available < 2)
        return 0;
    switch (bytes[1]) {
    case 1: case 2: case 3: case 4: case 5: case 6:
        return 8;
    case 7: case 11: case 12: case 17:
        return 4;
    case 15: case 16:
        return available < 7 ? 0 : 9 + bytes[6];
    case 22:
        return 10;
    case 23:
        return available < 11 ? 0 : 13 + bytes[10];
    default:
        return -1;
    }
}

std::vector<std::string> RtuLine::receive()
{
    const double gap = std::max(3.5 * m_charSeconds, kMinGapSeconds);
    char buffer[512];
    const ssize_t n = read(fd(), buffer, sizeof(buffer));
    if (n <= 0)
        return {};
    const double at = now();
    if (at - m_lastByte > gap)
        m_pending.clear();   // the rest of an earlier frame never came
    m_lastByte = at;
    m_pending.append(buffer, size_t(n));

    std::vector<std::string> requests;
    while (!m_pending.empty()) {
        const auto* bytes = reinterpret_cast<const unsigned char*>(m_pending.data());
        const int length = requestLength(bytes, m_pending.size());
        if (length == 0 || (length > 0 && size_t(length) > m_pending.size()))
            break;
        const bool good = length > 0 && crc16(bytes, size_t(length) - 2)
                == unsigned(bytes[length - 2] | bytes[length - 1] << 8);
        if (!good) {
            m_pending.erase(0, 1);   // look for a frame one byte further on
            continue;
        }
        requests.push_back(m_pending.substr(0, size_t(length)));
        m_pending.erase(0, size_t(length));
    }
    return requests;
}

void RtuLine::send(const std::string& frame)
{
    sleepSeconds(m_lastByte + 3.5 * m_charSeconds - now());
    const double start = now();
    size_t sent = 0;
    while (sent < frame.size()) {
        const size_t due = std::min(frame.size(), size_t((now() - start) / m_charSeconds) + 1);
        if (due > sent) {
            const ssize_t n = write(fd(), frame.data() + sent, due - sent);
            if (n < 0 && errno != EAGAIN && errno != EINTR)
                break;
            sent += n > 0 ? size_t(n) : 0;
        }
        sleepSeconds(4 * m_charSeconds);
    }
    m_lastByte = now();
}
