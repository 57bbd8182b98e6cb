// The communication layer's inputs on heap buffers sized exactly for what a call may touch: frame
// helpers, TcpCommRead, CommOpen on a pty or a missing path. The first byte picks the helper.

#include "FuzzSupport.h"
#include "modbus.h"
#include "SerialPort.h"
#include "portaccess.h"

#include <QBuffer>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <vector>

namespace {

int takeInt(const uint8_t*& data, size_t& size, int low, int high)
{
    unsigned value = 0;
    for (int i = 0; i < 2 && size > 0; ++i, ++data, --size)
        value = value << 8 | *data;
    return low + int(value % unsigned(high - low + 1));
}

void checkCrc(const uint8_t* data, size_t size)
{
    // The whole input is the frame; its own length is the length given.
    std::vector<unsigned char> frame(data, data + size);
    const int length = int(size);
    const int verdict = checkModbufCRC(size ? frame.data() : nullptr, length);
    if (length < 4) {
        FUZZ_CHECK(verdict == -1);
        return;
    }
    FUZZ_CHECK(setModbusCRC(frame.data(), length) == 0);
    FUZZ_CHECK(checkModbufCRC(frame.data(), length) == 0);
    // The verdict on the input agrees with a recomputed CRC.
    FUZZ_CHECK((verdict == 0) == (std::memcmp(frame.data(), data, size) == 0));
    // Any single corrupted byte is detected.
    const size_t at = data[0] % size;
    frame[at] ^= static_cast<unsigned char>(data[size - 1] | 1);
    FUZZ_CHECK(checkModbufCRC(frame.data(), length) == -1);
}

void checkCmd16(const uint8_t* data, size_t size)
{
    const int count = takeInt(data, size, -8, 600);
    const int supplied = takeInt(data, size, 0, 600);
    // Room for the header and CRC even when the count is nonsense.
    const size_t room = size_t(count * 2 + 9 > 7 ? count * 2 + 9 : 7);
    std::vector<unsigned char> frame(room);
    std::vector<unsigned char> registers(size_t(supplied) * 2);
    for (size_t i = 0; i < registers.size(); ++i)
        registers[i] = i < size ? data[i] : 0;
    const int length = buildCmd16(frame.data(), 7, 0x1234, count, supplied,
                                  registers.empty() ? nullptr : registers.data());
    if (count < 0)
        return;   // only the memory bounds matter for a nonsense count
    FUZZ_CHECK(length == count * 2 + 9);
    FUZZ_CHECK(frame[0] == 7 && frame[1] == 16 && frame[6] == ((count * 2) & 0xFF));
    FUZZ_CHECK(checkModbufCRC(frame.data(), length) == 0);
    for (int i = 0; i < count * 2; ++i)
        FUZZ_CHECK(frame[size_t(7 + i)] == (i < supplied * 2 ? registers[size_t(i)] : 0));
}

void checkReadRequest(const uint8_t* data, size_t size)
{
    const int function = takeInt(data, size, -2, 20);
    const int count = takeInt(data, size, -1000, 65535);
    std::vector<unsigned char> frame(8);
    const int expected = buildCmd(frame.data(), 1, function, 0, count);
    FUZZ_CHECK(checkModbufCRC(frame.data(), 8) == 0);
    if (function == 3 || function == 4)
        FUZZ_CHECK(expected == count * 2 + 5);
}

// Any bytes, handed over as the collector's socket does (up to 1000 a read) into the room it gives.
void checkTcpRead(const uint8_t* data, size_t size)
{
    constexpr int kRtuRoom = 996;
    QByteArray bytes(reinterpret_cast<const char*>(data), int(size));
    QBuffer device(&bytes);
    device.open(QIODevice::ReadOnly);
    PortHandle handle = {&device, TcpCommRead, TcpCommWrite};
    while (!device.atEnd()) {
        const qint64 before = device.pos();
        std::unique_ptr<char[]> out(new char[kRtuRoom]);
        // The expected length is not a capacity; vary it anyway.
        const int n = TcpCommRead(&handle, out.get(), int(size % 300));
        const qint64 taken = device.pos() - before;
        FUZZ_CHECK(taken > 0 && taken <= 1000);
        if (taken < 7) {
            FUZZ_CHECK(n == -5);
            continue;
        }
        // Header dropped, CRC added; the unit id and PDU come through unchanged.
        FUZZ_CHECK(n == taken - 4 && n <= kRtuRoom);
        FUZZ_CHECK(std::memcmp(out.get(), bytes.constData() + before + 6, size_t(taken - 6)) == 0);
        if (n >= 4)
            FUZZ_CHECK(checkModbufCRC(reinterpret_cast<unsigned char*>(out.get()), n) == 0);
    }
}

QString g_ptyPath;

// Input: a byte choosing the device (even: the pty), four bytes of timeout, the settings in UTF-8.
void checkSerialSettings(const uint8_t* data, size_t size)
{
    if (size < 5)
        return;
    const bool onPty = (data[0] & 1) == 0;
    const int timeout = int(uint32_t(data[1]) << 24 | uint32_t(data[2]) << 16 | uint32_t(data[3]) << 8 | data[4]);
    const QString settings = QString::fromUtf8(reinterpret_cast<const char*>(data + 5), int(size - 5));
    const QString path = onPty ? g_ptyPath : QStringLiteral("/nonexistent/ttyFUZZ");
    SerialPort port;
    const bool opened = port.CommOpen(path, settings, timeout);
    FUZZ_CHECK(port.getPortSettings() == settings && opened == port.isOpen());
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
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    fuzz::initQt();
    // The master end stays open all run, so the slave can be opened again and again.
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
    if (size == 0)
        return 0;
    switch (data[0] % 5) {
    case 0: checkCrc(data + 1, size - 1); break;
    case 1: checkCmd16(data + 1, size - 1); break;
    case 2: checkReadRequest(data + 1, size - 1); break;
    case 3: checkTcpRead(data + 1, size - 1); break;
    default: checkSerialSettings(data + 1, size - 1); break;
    }
    return 0;
}
