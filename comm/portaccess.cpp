#include "portaccess.h"

#include "modbus.h"

#include <QIODevice>

#include <cstring>

namespace {

// readData/writeData are protected in QIODevice; the driver calls them through
// the handle all the same (they are the unbuffered hooks of a SerialPort).
struct IoHooks : QIODevice
{
    using QIODevice::readData;
    using QIODevice::writeData;
};

QIODevice* deviceOf(PortHandle* handle)
{
    return static_cast<QIODevice*>(handle->device);
}

constexpr int kTcpBufferSize = 1000;
constexpr int kMbapHeaderSize = 6;   // transaction, protocol, length; the unit id follows
constexpr int kShortTcpAnswer = -5;

} // namespace

extern "C" {

int CommRead(PortHandle* handle, char* buffer, int length)
{
    return static_cast<int>((deviceOf(handle)->*(&IoHooks::readData))(buffer, qint64(length)));
}

int CommWrite(PortHandle* handle, char* buffer, int length)
{
    return static_cast<int>((deviceOf(handle)->*(&IoHooks::writeData))(buffer, qint64(length)));
}

int CommOpen() { return 0; }
void CommAccept() {}
void CommControl() {}
void CommClose() {}

} // extern "C"

int TcpCommWrite(PortHandle* handle, char* frame, int length)
{
    QIODevice* device = handle ? deviceOf(handle) : nullptr;
    if (device == nullptr)
        return -1;
    // Address and PDU go behind the MBAP header; the RTU CRC is dropped.
    if (length < 0 || length + 4 > kTcpBufferSize)
        return -1;
    char buffer[kTcpBufferSize] = {};
    buffer[5] = static_cast<char>((length - 2) & 0xFF);   // transaction id and length high byte stay 0
    if (length - 2 > 0)
        std::memcpy(buffer + kMbapHeaderSize, frame, size_t(length - 2));
    const qint64 written = device->write(buffer, length + 4);
    return written == length + 4 ? length : -1;
}

int TcpCommRead(PortHandle* handle, char* buffer, int length)
{
    QIODevice* device = handle ? deviceOf(handle) : nullptr;
    if (device == nullptr || buffer == nullptr)
        return -1;
    char frame[kTcpBufferSize] = {};
    device->waitForReadyRead(1000);
    const int n = static_cast<int>(device->read(frame, kTcpBufferSize));
    if (n < 7)
        return kShortTcpAnswer;
    // Drop the MBAP header unread: the unit id becomes the RTU address.
    std::memmove(frame, frame + kMbapHeaderSize, size_t(n - kMbapHeaderSize));
    // What follows the moved bytes reads as zero, as the untouched tail of
    // the buffer does (a 7-byte answer gives unit id, 0, 0).
    std::memset(frame + n - kMbapHeaderSize, 0, kMbapHeaderSize);
    const int rtuLength = n - 4;
    setModbusCRC(reinterpret_cast<unsigned char*>(frame), rtuLength);
    // The length argument is not a capacity: callers pass what they expect
    // (buildCmd's count, one short for function 2) and must give room for
    // the largest frame, 996 bytes. Cutting here would drop a valid CRC.
    Q_UNUSED(length)
    std::memcpy(buffer, frame, size_t(rtuLength));
    return rtuLength;
}
