// SerialPort::CommOpen with arbitrary settings texts and timeouts, on a
// pseudo terminal (the settings are really applied) or a missing path.
// Input: one byte choosing the device (even: the pty), four bytes of
// timeout, then the settings text in UTF-8.

#include "FuzzSupport.h"
#include "SerialPort.h"

#include <cstdint>
#include <cstdlib>
#include <fcntl.h>

namespace {
QString g_ptyPath;
}

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    fuzz::initQt();
    // The master end stays open for the whole run, so the slave can be
    // opened again and again.
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0 || ptsname(master) == nullptr) {
        std::fprintf(stderr, "no pseudo terminal\n");
        std::abort();
    }
    g_ptyPath = QString::fromLocal8Bit(ptsname(master));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 5)
        return 0;
    const bool onPty = (data[0] & 1) == 0;
    const int timeout = int(uint32_t(data[1]) << 24 | uint32_t(data[2]) << 16 | uint32_t(data[3]) << 8 | data[4]);
    const QString settings = QString::fromUtf8(reinterpret_cast<const char*>(data + 5), int(size - 5));
    const QString path = onPty ? g_ptyPath : QStringLiteral("/nonexistent/ttyFUZZ");

    SerialPort port;
    const bool opened = port.CommOpen(path, settings, timeout);
    FUZZ_CHECK(port.getPortSettings() == settings);
    FUZZ_CHECK(opened == port.isOpen());
    if (!onPty || settings.isEmpty())
        FUZZ_CHECK(!opened);
    if (opened) {
        const PortSettings& s = port.settings();
        FUZZ_CHECK(s.BaudRate >= BAUD50 && s.BaudRate <= BAUD256000);
        FUZZ_CHECK(s.DataBits >= DATA_5 && s.DataBits <= DATA_8);
        FUZZ_CHECK(s.Parity >= PAR_NONE && s.Parity <= PAR_MARK);
        FUZZ_CHECK(s.StopBits >= STOP_1 && s.StopBits <= STOP_1_5);
        FUZZ_CHECK(s.FlowControl == FLOW_OFF && s.Timeout_Millisec == timeout);
        FUZZ_CHECK(port.getPortName() == path);
    }
    return 0;
}
