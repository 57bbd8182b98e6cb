#include "SerialPort.h"
#include "SerialPort_p.h"

#include <QtDebug>

#include <cerrno>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

// Terminal side of SerialPort: raw mode, line settings and modem lines
// through termios and ioctl on the device file's descriptor.

namespace {

// Termios speed of a rate, false for rates the line cannot take as they are
// (56000 among them: it is stored but leaves the speed alone).
bool termiosSpeed(BaudRateType rate, speed_t& speed)
{
    switch (rate) {
    case BAUD50: speed = B50; return true;
    case BAUD75: speed = B75; return true;
    case BAUD110: speed = B110; return true;
    case BAUD134: speed = B134; return true;
    case BAUD150: speed = B150; return true;
    case BAUD200: speed = B200; return true;
    case BAUD300: speed = B300; return true;
    case BAUD600: speed = B600; return true;
    case BAUD1200: speed = B1200; return true;
    case BAUD1800: speed = B1800; return true;
    case BAUD2400: speed = B2400; return true;
    case BAUD4800: speed = B4800; return true;
    case BAUD9600: speed = B9600; return true;
    case BAUD19200: speed = B19200; return true;
    case BAUD38400: speed = B38400; return true;
    case BAUD57600: speed = B57600; return true;
    case BAUD115200: speed = B115200; return true;
    default: return false;
    }
}

void putSpeed(termios& tio, BaudRateType rate)
{
    speed_t speed;
    if (termiosSpeed(rate, speed)) {
        cfsetispeed(&tio, speed);
        cfsetospeed(&tio, speed);
    }
}

void putCharSize(termios& tio, DataBitsType bits)
{
    static const tcflag_t kSizes[] = { CS5, CS6, CS7, CS8 };
    tio.c_cflag = (tio.c_cflag & ~CSIZE) | kSizes[bits];
}

// Space parity is emulated by the caller through one more data bit; mark
// parity cannot be expressed and leaves the flags alone.
void putParity(termios& tio, ParityType parity)
{
    switch (parity) {
    case PAR_NONE:
    case PAR_SPACE:
        tio.c_cflag &= ~(PARENB | PARODD);
        break;
    case PAR_ODD:
        tio.c_cflag |= PARENB | PARODD;
        break;
    case PAR_EVEN:
        tio.c_cflag = (tio.c_cflag & ~PARODD) | PARENB;
        break;
    case PAR_MARK:
        break;
    }
}

void putStopBits(termios& tio, StopBitsType bits)
{
    if (bits == STOP_1)
        tio.c_cflag &= ~CSTOPB;
    else if (bits == STOP_2)
        tio.c_cflag |= CSTOPB;
}

void putFlow(termios& tio, FlowType flow)
{
    switch (flow) {
    case FLOW_OFF:
        tio.c_cflag &= ~CRTSCTS;
        tio.c_iflag &= ~(IXON | IXOFF | IXANY);
        break;
    case FLOW_HARDWARE:
        tio.c_cflag |= CRTSCTS;
        tio.c_iflag &= ~(IXON | IXOFF | IXANY);
        break;
    case FLOW_XONXOFF:
        tio.c_cflag &= ~CRTSCTS;
        tio.c_iflag |= IXON | IXOFF;
        tio.c_cc[VSTART] = 0x11;
        tio.c_cc[VSTOP] = 0x13;
        break;
    }
}

// VTIME counts tenths of a second in one byte; longer timeouts are capped.
void putReadTimer(termios& tio, qint64 millisec)
{
    const qint64 tenths = millisec / 100;
    tio.c_cc[VTIME] = static_cast<cc_t>(qBound<qint64>(0, tenths, 255));
}

void warnOpen(bool open, const char* text)
{
    if (open)
        qWarning("%s", text);
}

} // namespace

int SerialPort::fd() const
{
    return m_file->handle();
}

void SerialPort::writeAttributes()
{
    if (tcsetattr(fd(), TCSAFLUSH, &m_line->current) != 0)
        translateError(ulong(errno));
}

bool SerialPort::open(OpenMode mode)
{
    if (mode == NotOpen || isOpen() || m_file == nullptr)
        return isOpen();
    m_file->setFileName(m_portName);
    // A blocking open of a line whose CLOCAL is clear waits for carrier
    // detect, for ever on a unit that is off, and the caller holds the port
    // manager's lock and the port's. So: open without waiting, make the line
    // ignore the modem lines, then return to blocking reads (the read timer
    // bounds them). No O_CREAT: a missing device never turns into a plain
    // file. O_NOCTTY: the line never becomes the host's controlling terminal.
    const int descriptor = ::open(QFile::encodeName(m_portName).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (descriptor < 0)
        return false;
    termios line {};
    if (tcgetattr(descriptor, &line) == 0) {
        line.c_cflag |= CLOCAL;
        tcsetattr(descriptor, TCSANOW, &line);
    }
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);
    if (!m_file->open(descriptor, QIODevice::ReadWrite | QIODevice::Unbuffered, QFileDevice::AutoCloseHandle)) {
        ::close(descriptor);
        return false;
    }
    QIODevice::open(mode | QIODevice::Unbuffered);

    if (tcgetattr(fd(), &m_line->current) != 0)
        translateError(ulong(errno));
    m_line->saved = m_line->current;

    // Raw mode: no special characters, no line editing, no translation.
    m_line->current.c_cc[VINTR] = 0;
    m_line->current.c_cc[VQUIT] = 0;
    m_line->current.c_cc[VSTART] = 0;
    m_line->current.c_cc[VSTOP] = 0;
    m_line->current.c_cc[VSUSP] = 0;
    m_line->current.c_cc[VMIN] = 0;
    m_line->current.c_cflag |= CREAD | CLOCAL;
    m_line->current.c_lflag &= ~(ICANON | ECHO | ECHOE | ECHOK | ECHONL | ISIG);
    m_line->current.c_iflag &= ~(IGNPAR | PARMRK | INPCK | ISTRIP | ICRNL | IXANY);
    m_line->current.c_oflag &= ~OPOST;

    applySettingsRecord();
    writeAttributes();
    return isOpen();
}

// The stored record as it stands, without the warnings of the setters.
void SerialPort::applySettingsRecord()
{
    putSpeed(m_line->current, m_settings.BaudRate);
    putCharSize(m_line->current, m_settings.DataBits);
    putParity(m_line->current, m_settings.Parity);
    putStopBits(m_line->current, m_settings.StopBits);
    putFlow(m_line->current, m_settings.FlowControl);
    putReadTimer(m_line->current, m_settings.Timeout_Millisec);
}

void SerialPort::close()
{
    if (!isOpen())
        return;
    tcsetattr(fd(), TCSANOW, &m_line->saved);
    QIODevice::close();
    m_file->close();
}

qint64 SerialPort::readData(char* data, qint64 maxSize)
{
    if (!isOpen())
        return -1;
    // One read(2): the terminal's read timer ends it as soon as bytes are
    // there. QFile would read again until the buffer is full, waiting out
    // the whole timeout after every answer.
    qint64 count = 0;
    do {
        count = ::read(fd(), data, size_t(maxSize));
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        m_lastError = ReadFailedError;
        return -1;
    }
    if (count > 0)
        saveLogData(data, int(count), 1);
    return count;
}

qint64 SerialPort::writeData(const char* data, qint64 maxSize)
{
    if (!isOpen())
        return -1;
    const qint64 count = m_file->write(data, maxSize);
    if (count < 0) {
        m_lastError = WriteFailedError;
        return -1;
    }
    if (count > 0)
        saveLogData(data, int(count), 0);
    return count;
}

void SerialPort::setBaudRate(BaudRateType rate)
{
    switch (rate) {
    case BAUD50:
        qWarning("Posix_QextSerialPort Portability Warning: Windows does not support 50 baud operation.");
        break;
    case BAUD75:
        qWarning("Posix_QextSerialPort Portability Warning: Windows does not support 75 baud operation.");
        break;
    case BAUD134:
        qWarning("Posix_QextSerialPort Portability Warning: Windows does not support 134.5 baud operation.");
        break;
    case BAUD150:
        qWarning("Posix_QextSerialPort Portability Warning: Windows does not support 150 baud operation.");
        break;
    case BAUD200:
        qWarning("Posix_QextSerialPort Portability Warning: Windows does not support 200 baud operation.");
        break;
    case BAUD1800:
        qWarning("Posix_QextSerialPort Portability Warning: Windows and IRIX do not support 1800 baud operation.");
        break;
    case BAUD14400:
        qWarning("Posix_QextSerialPort: POSIX does not support 14400 baud operation.  Switching to 9600 baud.");
        rate = BAUD9600;
        break;
    case BAUD76800:
        qWarning("Posix_QextSerialPort Portability Warning: Windows and some POSIX systems do not support 76800 baud operation.");
        qWarning("Posix_QextSerialPort: Posix_QextSerialPort was compiled without 76800 baud support.  Switching to 57600 baud.");
        rate = BAUD57600;
        break;
    case BAUD128000:
        qWarning("Posix_QextSerialPort: POSIX does not support 128000 baud operation.  Switching to 115200 baud.");
        rate = BAUD115200;
        break;
    case BAUD256000:
        qWarning("Posix_QextSerialPort: POSIX does not support 256000 baud operation.  Switching to 115200 baud.");
        rate = BAUD115200;
        break;
    default:
        break;
    }
    m_settings.BaudRate = rate;
    if (isOpen()) {
        putSpeed(m_line->current, rate);
        writeAttributes();
    }
}

void SerialPort::setDataBits(DataBitsType bits)
{
    const bool open = isOpen();
    if (bits == DATA_5 && m_settings.StopBits == STOP_2) {
        warnOpen(open, "Posix_QextSerialPort: 5 Data bits cannot be used with 2 stop bits.");
        return;
    }
    if (bits != DATA_5 && m_settings.StopBits == STOP_1_5) {
        static const char* const kTexts[] = {
            nullptr,
            "Posix_QextSerialPort: 6 Data bits cannot be used with 1.5 stop bits.",
            "Posix_QextSerialPort: 7 Data bits cannot be used with 1.5 stop bits.",
            "Posix_QextSerialPort: 8 Data bits cannot be used with 1.5 stop bits.",
        };
        warnOpen(open, kTexts[bits]);
        return;
    }
    if (bits == DATA_8 && m_settings.Parity == PAR_SPACE) {
        warnOpen(open, "Posix_QextSerialPort:  Space parity is only supported in POSIX with 7 or fewer data bits");
        return;
    }
    m_settings.DataBits = bits;
    if (open) {
        putCharSize(m_line->current, bits);
        writeAttributes();
    }
}

void SerialPort::setParity(ParityType parity)
{
    const bool open = isOpen();
    if (parity == PAR_MARK) {
        warnOpen(open, "Posix_QextSerialPort: Mark parity is not supported by POSIX.");
        return;
    }
    if (parity == PAR_SPACE) {
        if (m_settings.DataBits == DATA_8) {
            warnOpen(open, "Posix_QextSerialPort:  Space parity is only supported in POSIX with 7 or fewer data bits");
            return;
        }
        // Emulated: no parity bit, one data bit more that the sender keeps 0.
        m_settings.DataBits = static_cast<DataBitsType>(m_settings.DataBits + 1);
    }
    m_settings.Parity = parity;
    if (open) {
        putCharSize(m_line->current, m_settings.DataBits);
        putParity(m_line->current, parity);
        writeAttributes();
    }
}

void SerialPort::setStopBits(StopBitsType bits)
{
    const bool open = isOpen();
    if (bits == STOP_1_5) {
        warnOpen(open, "Posix_QextSerialPort: 1.5 stop bit operation is not supported by POSIX.");
        return;
    }
    if (bits == STOP_2 && m_settings.DataBits == DATA_5) {
        warnOpen(open, "Posix_QextSerialPort: 2 stop bits cannot be used with 5 data bits");
        return;
    }
    m_settings.StopBits = bits;
    if (open) {
        putStopBits(m_line->current, bits);
        writeAttributes();
    }
}

void SerialPort::setFlowControl(FlowType flow)
{
    m_settings.FlowControl = flow;
    if (isOpen()) {
        putFlow(m_line->current, flow);
        writeAttributes();
    }
}

void SerialPort::setTimeout(qint64 millisec)
{
    m_settings.Timeout_Millisec = millisec;
    m_timeoutSec = long(millisec / 1000);
    m_timeoutMsec = long(millisec % 1000);
    if (isOpen()) {
        putReadTimer(m_line->current, millisec);
        writeAttributes();
    }
}

void SerialPort::setModemBit(int bit, bool set)
{
    if (!isOpen())
        return;
    int status = 0;
    if (ioctl(fd(), TIOCMGET, &status) != 0) {
        translateError(ulong(errno));
        return;
    }
    status = set ? (status | bit) : (status & ~bit);
    if (ioctl(fd(), TIOCMSET, &status) != 0)
        translateError(ulong(errno));
}

void SerialPort::setDtr(bool set)
{
    setModemBit(TIOCM_DTR, set);
}

void SerialPort::setRts(bool set)
{
    setModemBit(TIOCM_RTS, set);
}

ulong SerialPort::lineStatus()
{
    if (!isOpen())
        return 0;
    int status = 0;
    if (ioctl(fd(), TIOCMGET, &status) != 0) {
        translateError(ulong(errno));
        return 0;
    }
    ulong result = 0;
    if (status & TIOCM_CTS) result |= LS_CTS;
    if (status & TIOCM_DSR) result |= LS_DSR;
    if (status & TIOCM_CAR) result |= LS_DCD;
    if (status & TIOCM_RNG) result |= LS_RI;
    if (status & TIOCM_RTS) result |= LS_RTS;
    if (status & TIOCM_DTR) result |= LS_DTR;
    if (status & TIOCM_ST) result |= LS_ST;
    if (status & TIOCM_SR) result |= LS_SR;
    return result;
}

void SerialPort::flush()
{
    if (isOpen())
        tcflush(fd(), TCIOFLUSH);
}

qint64 SerialPort::bytesAvailable() const
{
    if (!isOpen())
        return 0;
    int waiting = 0;
    if (ioctl(fd(), FIONREAD, &waiting) != 0)
        return -1;
    return waiting + QIODevice::bytesAvailable();
}

qint64 SerialPort::size() const
{
    return bytesAvailable();
}

// System error numbers as lastError() codes; other numbers leave it as is.
void SerialPort::translateError(ulong error)
{
    switch (error) {
    case EBADF:
    case ENOTTY:
        m_lastError = InvalidPortError;
        break;
    case ENOMEM:
        m_lastError = OutOfMemoryError;
        break;
    case EINTR:
        m_lastError = InterruptedError;
        break;
    default:
        break;
    }
}
