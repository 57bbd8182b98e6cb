#include "CommTestSupport.h"
#include "SerialPort.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QtTest>

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <thread>

// SerialPort on real pseudo-terminals: the settings the slave side ends up
// with, the bytes that cross it, the texts it writes and its traffic log.

// The pty driver forces CS8 and clears PARENB whatever it is asked for, so
// the character format is checked on what the port last asked the terminal
// driver for; everything else is read back from the kernel.
namespace {
termios g_lastRequest {};
}

extern "C" int tcsetattr(int fd, int actions, const struct termios* tio)
{
    using Real = int (*)(int, int, const struct termios*);
    static const Real real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "tcsetattr"));
    g_lastRequest = *tio;
    return real(fd, actions, tio);
}

// Pseudo-terminals have no modem lines (TIOCMGET fails on them), so the
// modem-control calls meet a simulated set of lines here.
namespace {
std::atomic<bool> g_fakeModem { false };
int g_modemLines = 0;
int g_modemErrno = 0;   // when set, TIOCMGET fails with it
}

extern "C" int ioctl(int fd, unsigned long request, ...)
{
    va_list args;
    va_start(args, request);
    void* argument = va_arg(args, void*);
    va_end(args);
    if (g_fakeModem && (request == TIOCMGET || request == TIOCMSET)) {
        if (g_modemErrno != 0) {
            errno = g_modemErrno;
            return -1;
        }
        if (request == TIOCMGET)
            *static_cast<int*>(argument) = g_modemLines;
        else
            g_modemLines = *static_cast<const int*>(argument);
        return 0;
    }
    using Real = int (*)(int, unsigned long, ...);
    static const Real real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "ioctl"));
    return real(fd, request, argument);
}

namespace {

struct FakeModem
{
    explicit FakeModem(int lines, int error = 0)
    {
        g_modemLines = lines;
        g_modemErrno = error;
        g_fakeModem = true;
    }
    ~FakeModem() { g_fakeModem = false; }
};

tcflag_t requestedCflag()
{
    return g_lastRequest.c_cflag;
}

QString logNameFor(const QString& path)
{
    return QStringLiteral("log_") + path.section(QLatin1Char('/'), -1) + QStringLiteral(".log");
}

QStringList lastLines(const QString& fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

constexpr qint64 kRotateSize = 5242880;

} // namespace

class TestSerialPort : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void appliedSettings_data();
    void appliedSettings();
    void rawMode();
    void readTimer_data();
    void readTimer();
    void commOpenDebugLine();
    void commOpenFailures_data();
    void commOpenFailures();
    void baudWarnings_data();
    void baudWarnings();
    void unchangedSpeedFor56000();
    void characterFormat_data();
    void characterFormat();
    void bytesBothWays_data();
    void bytesBothWays();
    void logFileName_data();
    void logFileName();
    void logRotation_data();
    void logRotation();
    void missingDevice();
    void reOpenKeepsSettings();
    void lockSemantics();
    void translateError_data();
    void translateError();
    void ungetCharWarns();
    void modemLines_data();
    void modemLines();
    void modemLineFailure();
    void flowControl_data();
    void flowControl();
    void publicSlots();
};

void TestSerialPort::init()
{
    const QStringList logs = QDir::current().entryList({ QStringLiteral("log_*") }, QDir::Files);
    for (const QString& log : logs)
        QFile::remove(log);
}

void TestSerialPort::appliedSettings_data()
{
    QTest::addColumn<QString>("settings");
    QTest::addColumn<uint>("speed");
    QTest::addColumn<int>("charSize");
    QTest::addColumn<int>("parity");   // 0 none, 1 odd, 2 even
    QTest::addColumn<bool>("twoStops");
    QTest::addColumn<int>("dataBitsValue");
    QTest::newRow("9600 8N1") << "9600,n,8,1" << uint(B9600) << int(CS8) << 0 << false << 3;
    QTest::newRow("19200 7E1") << "19200,E,7,1" << uint(B19200) << int(CS7) << 2 << false << 2;
    QTest::newRow("4800 8O2") << "4800,o,8,2" << uint(B4800) << int(CS8) << 1 << true << 3;
    QTest::newRow("115200 6N1") << "115200,N,6,1" << uint(B115200) << int(CS6) << 0 << false << 1;
    QTest::newRow("2400 5E1") << "2400,e,5,1" << uint(B2400) << int(CS5) << 2 << false << 0;
    QTest::newRow("unknown baud is 50") << "12345,n,8,1" << uint(B50) << int(CS8) << 0 << false << 3;
    QTest::newRow("enum values") << "12#3#0#0" << uint(B9600) << int(CS8) << 0 << false << 3;
    QTest::newRow("enum values 7O2") << "17#2#1#1" << uint(B57600) << int(CS7) << 1 << true << 2;
    QTest::newRow("extra parts ignored") << "38400,n,8,1,x" << uint(B38400) << int(CS8) << 0 << false << 3;
    // Space parity with 7 data bits: parity off, one more data bit.
    QTest::newRow("space 7 bits") << "9600,s,7,1" << uint(B9600) << int(CS8) << 0 << false << 3;
}

void TestSerialPort::appliedSettings()
{
    QFETCH(QString, settings);
    QFETCH(uint, speed);
    QFETCH(int, charSize);
    QFETCH(int, parity);
    QFETCH(bool, twoStops);
    QFETCH(int, dataBitsValue);
    Pty pty;
    QVERIFY(!pty.path.isEmpty());
    SerialPort port;
    MessageCapture capture;
    QVERIFY(port.CommOpen(pty.path, settings, 1000));
    QVERIFY(port.isOpen());
    QCOMPARE(port.objectName(), QStringLiteral("serial"));
    QCOMPARE(port.getPortSettings(), settings);
    QCOMPARE(port.getPortName(), pty.path);
    QCOMPARE(int(port.settings().DataBits), dataBitsValue);
    const termios tio = pty.attributes();
    QCOMPARE(uint(cfgetospeed(&tio)), speed);
    QCOMPARE(uint(cfgetispeed(&tio)), speed);
    QCOMPARE(bool(tio.c_cflag & CSTOPB), twoStops);
    const tcflag_t cflag = requestedCflag();
    QCOMPARE(int(cflag & CSIZE), charSize);
    const int applied = !(cflag & PARENB) ? 0 : (cflag & PARODD) ? 1 : 2;
    QCOMPARE(applied, parity);
    QCOMPARE(bool(cflag & CSTOPB), twoStops);
}

void TestSerialPort::rawMode()
{
    Pty pty;
    // Start from a cooked terminal so that every raw-mode change shows.
    termios cooked = pty.attributes();
    cooked.c_lflag |= ICANON | ECHO | ECHOE | ECHOK | ECHONL | ISIG;
    cooked.c_iflag |= IGNPAR | PARMRK | INPCK | ISTRIP | ICRNL | IXANY | IXON | IXOFF;
    cooked.c_oflag |= OPOST;
    cooked.c_cflag |= CRTSCTS;
    cooked.c_cflag &= ~CLOCAL;
    cooked.c_cc[VMIN] = 4;
    cooked.c_cc[VINTR] = 3;
    tcsetattr(pty.slave, TCSANOW, &cooked);

    SerialPort port;
    MessageCapture capture;
    QVERIFY(port.CommOpen(pty.path, QStringLiteral("9600,n,8,1"), 500));
    const termios tio = pty.attributes();
    QCOMPARE(int(tio.c_lflag & (ICANON | ECHO | ECHOE | ECHOK | ECHONL | ISIG)), 0);
    QCOMPARE(int(tio.c_iflag & (IGNPAR | PARMRK | INPCK | ISTRIP | ICRNL | IXANY)), 0);
    QCOMPARE(int(tio.c_iflag & (IXON | IXOFF)), 0);   // flow control off
    QCOMPARE(int(tio.c_oflag & OPOST), 0);
    QCOMPARE(int(tio.c_cflag & (CREAD | CLOCAL)), int(CREAD | CLOCAL));
    QCOMPARE(int(tio.c_cflag & CRTSCTS), 0);
    QCOMPARE(int(tio.c_cc[VMIN]), 0);
    QCOMPARE(int(tio.c_cc[VINTR]), 0);
    QCOMPARE(int(tio.c_cc[VQUIT]), 0);
    QCOMPARE(int(tio.c_cc[VSUSP]), 0);
    QCOMPARE(int(tio.c_cc[VTIME]), 5);
}

void TestSerialPort::readTimer_data()
{
    QTest::addColumn<int>("timeout");
    QTest::addColumn<int>("vtime");
    QTest::newRow("0") << 0 << 0;
    QTest::newRow("99") << 99 << 0;
    QTest::newRow("100") << 100 << 1;
    QTest::newRow("1000") << 1000 << 10;
    QTest::newRow("1999") << 1999 << 19;
    QTest::newRow("25500") << 25500 << 255;
    QTest::newRow("capped") << 60000 << 255;
}

void TestSerialPort::readTimer()
{
    QFETCH(int, timeout);
    QFETCH(int, vtime);
    Pty pty;
    SerialPort port;
    MessageCapture capture;
    QVERIFY(port.CommOpen(pty.path, QStringLiteral("9600,n,8,1"), timeout));
    QCOMPARE(int(pty.attributes().c_cc[VTIME]), vtime);
    QCOMPARE(port.settings().Timeout_Millisec, qint64(timeout));
    // A change while open reaches the line at once.
    port.setTimeout(qint64(timeout) + 300);
    QCOMPARE(int(pty.attributes().c_cc[VTIME]), qMin(255, (timeout + 300) / 100));
}

void TestSerialPort::commOpenDebugLine()
{
    Pty pty;
    SerialPort port;
    MessageCapture capture;
    QVERIFY(port.CommOpen(pty.path, QStringLiteral("9600,n,8,1"), 1000));
    QCOMPARE(g_messages,
             QStringList { QStringLiteral("[CommOpen]    打开标准串口") + pty.path
                           + QStringLiteral(" Setting=9600,n,8,1 TimeOut=1000\n") });
}

void TestSerialPort::commOpenFailures_data()
{
    QTest::addColumn<QString>("settings");
    QTest::addColumn<bool>("devicePresent");
    QTest::addColumn<QString>("message");
    QTest::newRow("empty") << "" << true << "CommOpen    serial settings is null";
    QTest::newRow("three parts") << "9600,n,8" << true << "CommOpen    error settings 9600,n,8";
    QTest::newRow("no separator") << "9600" << true << "CommOpen    error settings 9600";
    QTest::newRow("three enum parts") << "12#3#0" << true << "CommOpen    error settings 12#3#0";
    QTest::newRow("enum out of range") << "12#4#0#0" << true << "CommOpen    error settings 12#4#0#0";
    QTest::newRow("parity") << "9600,x,8,1" << true << "parity error!";
    QTest::newRow("parity word") << "9600,none,8,1" << true << "parity error!";
    QTest::newRow("data bits") << "9600,n,9,1" << true << "dataBits error!";
    QTest::newRow("data bits 4") << "9600,n,4,1" << true << "dataBits error!";
    QTest::newRow("stop bits") << "9600,n,8,3" << true << "stopBits error!";
    QTest::newRow("stop bits 1.5") << "9600,n,8,1.5" << true << "stopBits error!";
    QTest::newRow("missing device") << "9600,n,8,1" << false << "[CommOpen]    open serial error!";
}

void TestSerialPort::commOpenFailures()
{
    QFETCH(QString, settings);
    QFETCH(bool, devicePresent);
    QFETCH(QString, message);
    Pty pty;
    const QString path = devicePresent ? pty.path : QStringLiteral("/dev/vek5-no-such-tty");
    SerialPort port;
    MessageCapture capture;
    QVERIFY(!port.CommOpen(path, settings, 1000));
    QVERIFY(!port.isOpen());
    QVERIFY(port.objectName().isEmpty());
    QVERIFY(!g_messages.isEmpty());
    QCOMPARE(g_messages.last(), message);
    QVERIFY(!QFile::exists(QStringLiteral("/dev/vek5-no-such-tty")));
}

void TestSerialPort::baudWarnings_data()
{
    QTest::addColumn<int>("baud");
    QTest::addColumn<uint>("speed");
    QTest::addColumn<QStringList>("warnings");
    const QString portability = QStringLiteral(
        "Posix_QextSerialPort Portability Warning: Windows does not support %1 baud operation.");
    QTest::newRow("50") << 50 << uint(B50) << QStringList { portability.arg(50) };
    QTest::newRow("75") << 75 << uint(B75) << QStringList { portability.arg(75) };
    QTest::newRow("134") << 134 << uint(B134) << QStringList { portability.arg(QStringLiteral("134.5")) };
    QTest::newRow("150") << 150 << uint(B150) << QStringList { portability.arg(150) };
    QTest::newRow("200") << 200 << uint(B200) << QStringList { portability.arg(200) };
    QTest::newRow("1800") << 1800 << uint(B1800)
                          << QStringList { "Posix_QextSerialPort Portability Warning: Windows and IRIX do not support 1800 baud operation." };
    QTest::newRow("14400") << 14400 << uint(B9600)
                           << QStringList { "Posix_QextSerialPort: POSIX does not support 14400 baud operation.  Switching to 9600 baud." };
    QTest::newRow("76800") << 76800 << uint(B57600)
                           << QStringList { "Posix_QextSerialPort Portability Warning: Windows and some POSIX systems do not support 76800 baud operation.",
                                            "Posix_QextSerialPort: Posix_QextSerialPort was compiled without 76800 baud support.  Switching to 57600 baud." };
    QTest::newRow("128000") << 128000 << uint(B115200)
                            << QStringList { "Posix_QextSerialPort: POSIX does not support 128000 baud operation.  Switching to 115200 baud." };
    QTest::newRow("256000") << 256000 << uint(B115200)
                            << QStringList { "Posix_QextSerialPort: POSIX does not support 256000 baud operation.  Switching to 115200 baud." };
    QTest::newRow("110 silent") << 110 << uint(B110) << QStringList {};
    QTest::newRow("57600 silent") << 57600 << uint(B57600) << QStringList {};
}

void TestSerialPort::baudWarnings()
{
    QFETCH(int, baud);
    QFETCH(uint, speed);
    QFETCH(QStringList, warnings);
    Pty pty;
    SerialPort port;
    MessageCapture capture;
    QVERIFY(port.CommOpen(pty.path, QStringLiteral("%1,n,8,1").arg(baud), 1000));
    const QStringList posix = g_messages.filter(QStringLiteral("Posix_QextSerialPort"));
    QCOMPARE(posix, warnings);
    const termios tio = pty.attributes();
    QCOMPARE(uint(cfgetospeed(&tio)), speed);
}

void TestSerialPort::unchangedSpeedFor56000()
{
    Pty pty;
    pty.setSpeed(B2400);
    SerialPort port;
    MessageCapture capture;
    QVERIFY(port.CommOpen(pty.path, QStringLiteral("56000,n,8,1"), 1000));
    QCOMPARE(int(port.settings().BaudRate), int(BAUD56000));
    const termios tio = pty.attributes();
    QCOMPARE(uint(cfgetospeed(&tio)), uint(B2400));
    QVERIFY(g_messages.filter(QStringLiteral("Posix_QextSerialPort")).isEmpty());
}

// op: "data N", "stop N" or "parity N" applied after opening with `settings`.
void TestSerialPort::characterFormat_data()
{
    QTest::addColumn<QString>("settings");
    QTest::addColumn<bool>("openFirst");
    QTest::addColumn<QString>("op");
    QTest::addColumn<QStringList>("warnings");
    QTest::addColumn<int>("dataBits");
    QTest::addColumn<int>("parity");
    QTest::addColumn<int>("stopBits");
    QTest::addColumn<int>("charSize");
    const QString prefix = QStringLiteral("Posix_QextSerialPort: ");
    QTest::newRow("5 data with 2 stops") << "9600,n,8,2" << true << "data 0"
        << QStringList { prefix + "5 Data bits cannot be used with 2 stop bits." } << 3 << 0 << 1 << int(CS8);
    QTest::newRow("2 stops with 5 data") << "9600,n,5,1" << true << "stop 1"
        << QStringList { prefix + "2 stop bits cannot be used with 5 data bits" } << 0 << 0 << 0 << int(CS5);
    QTest::newRow("1.5 stops") << "9600,n,8,1" << true << "stop 2"
        << QStringList { prefix + "1.5 stop bit operation is not supported by POSIX." } << 3 << 0 << 0 << int(CS8);
    QTest::newRow("mark parity") << "9600,e,8,1" << true << "parity 4"
        << QStringList { prefix + "Mark parity is not supported by POSIX." } << 3 << 2 << 0 << int(CS8);
    QTest::newRow("space with 8 data") << "9600,n,8,1" << true << "parity 3"
        << QStringList { prefix + " Space parity is only supported in POSIX with 7 or fewer data bits" } << 3 << 0 << 0 << int(CS8);
    QTest::newRow("space emulated 5->6") << "9600,n,5,1" << true << "parity 3"
        << QStringList {} << 1 << 3 << 0 << int(CS6);
    QTest::newRow("space emulated 6->7") << "9600,n,6,1" << true << "parity 3"
        << QStringList {} << 2 << 3 << 0 << int(CS7);
    QTest::newRow("8 data under space") << "9600,s,6,1" << true << "data 3"
        << QStringList { prefix + " Space parity is only supported in POSIX with 7 or fewer data bits" } << 2 << 3 << 0 << int(CS7);
    QTest::newRow("accepted 7 data") << "9600,n,8,2" << true << "data 2"
        << QStringList {} << 2 << 0 << 1 << int(CS7);
    QTest::newRow("1 stop always") << "9600,n,5,1" << true << "stop 0"
        << QStringList {} << 0 << 0 << 0 << int(CS5);
    QTest::newRow("closed port: refused quietly") << "9600,n,8,1" << false << "parity 4"
        << QStringList {} << 3 << 0 << 0 << -1;
    QTest::newRow("closed port: 1.5 quietly") << "9600,n,8,1" << false << "stop 2"
        << QStringList {} << 3 << 0 << 0 << -1;
    // 1.5 stop bits given as enumeration values: CommOpen's own setters refuse.
    QTest::newRow("open with 6 data 1.5 stops") << "12#1#0#2" << true << ""
        << QStringList { prefix + "6 Data bits cannot be used with 1.5 stop bits.",
                         prefix + "1.5 stop bit operation is not supported by POSIX." } << 1 << 0 << 2 << int(CS6);
    QTest::newRow("open with 7 data 1.5 stops") << "12#2#0#2" << true << ""
        << QStringList { prefix + "7 Data bits cannot be used with 1.5 stop bits.",
                         prefix + "1.5 stop bit operation is not supported by POSIX." } << 2 << 0 << 2 << int(CS7);
    QTest::newRow("open with 8 data 1.5 stops") << "12#3#0#2" << true << ""
        << QStringList { prefix + "8 Data bits cannot be used with 1.5 stop bits.",
                         prefix + "1.5 stop bit operation is not supported by POSIX." } << 3 << 0 << 2 << int(CS8);
}

void TestSerialPort::characterFormat()
{
    QFETCH(QString, settings);
    QFETCH(bool, openFirst);
    QFETCH(QString, op);
    QFETCH(QStringList, warnings);
    QFETCH(int, dataBits);
    QFETCH(int, parity);
    QFETCH(int, stopBits);
    QFETCH(int, charSize);
    Pty pty;
    SerialPort port;
    MessageCapture capture;
    QVERIFY(port.CommOpen(pty.path, settings, 1000));
    if (!openFirst)
        port.close();
    if (op.isEmpty()) {
        // Checking CommOpen's own messages.
    } else {
        g_messages.clear();
        const int value = op.section(QLatin1Char(' '), 1).toInt();
        if (op.startsWith(QLatin1String("data")))
            port.setDataBits(DataBitsType(value));
        else if (op.startsWith(QLatin1String("stop")))
            port.setStopBits(StopBitsType(value));
        else
            port.setParity(ParityType(value));
    }
    QCOMPARE(g_messages.filter(QStringLiteral("Posix_QextSerialPort")), warnings);
    QCOMPARE(int(port.settings().DataBits), dataBits);
    QCOMPARE(int(port.settings().Parity), parity);
    QCOMPARE(int(port.settings().StopBits), stopBits);
    if (charSize >= 0) {
        QCOMPARE(int(requestedCflag() & CSIZE), charSize);
        if (parity == 3)
            QCOMPARE(int(requestedCflag() & PARENB), 0);
        QCOMPARE(bool(pty.attributes().c_cflag & CSTOPB), stopBits == 1);
    }
}

void TestSerialPort::bytesBothWays_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("read request") << QByteArray::fromHex("01030000000ac5cd");
    QTest::newRow("control bytes") << QByteArray::fromHex("030d0a11137f00ff");
    QByteArray all;
    for (int i = 0; i < 256; ++i)
        all.append(char(i));
    QTest::newRow("every byte") << all;
}

void TestSerialPort::bytesBothWays()
{
    QFETCH(QByteArray, bytes);
    Pty pty;
    SerialPort port;
    MessageCapture capture;
    QVERIFY(port.CommOpen(pty.path, QStringLiteral("9600,n,8,1"), 200));

    QCOMPARE(port.writeData(bytes.constData(), bytes.size()), qint64(bytes.size()));
    QCOMPARE(pty.readMaster(bytes.size()).toHex(), bytes.toHex());

    QCOMPARE(::write(pty.master, bytes.constData(), size_t(bytes.size())), ssize_t(bytes.size()));
    QByteArray got;
    char buffer[512];
    for (int tries = 0; tries < 20 && got.size() < bytes.size(); ++tries) {
        const qint64 n = port.readData(buffer, sizeof buffer);
        QVERIFY(n >= 0);
        got.append(buffer, int(n));
    }
    QCOMPARE(got.toHex(), bytes.toHex());

    // Nothing waiting: the read timer ends the read with 0 bytes.
    QCOMPARE(port.readData(buffer, sizeof buffer), qint64(0));

    const QStringList lines = lastLines(logNameFor(pty.path));
    QVERIFY(lines.size() >= 2);
    const QRegularExpression stamp(QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} "));
    QVERIFY2(stamp.match(lines.first()).hasMatch(), qPrintable(lines.first()));
    QVERIFY(lines.first().endsWith(QStringLiteral("send: ") + QString::fromLatin1(bytes.toHex(' ')) + ' '));
    QCOMPARE(lines.filter(QStringLiteral("send: ")).size(), 1);
    QString received;
    for (const QString& line : lines.filter(QStringLiteral("recv: ")))
        received += line.section(QStringLiteral("recv: "), 1);
    QCOMPARE(received, QString::fromLatin1(bytes.toHex(' ')) + ' ');
}

void TestSerialPort::logFileName_data()
{
    QTest::addColumn<QString>("link");
    QTest::addColumn<QString>("logName");
    QTest::newRow("usb style") << "dev/ttyUSB0" << "log_ttyUSB0.log";
    QTest::newRow("plain name") << "ttyS7" << "log_ttyS7.log";
    QTest::newRow("nested") << "a/b/c/port.x" << "log_port.x.log";
}

void TestSerialPort::logFileName()
{
    QFETCH(QString, link);
    QFETCH(QString, logName);
    Pty pty;
    QDir().mkpath(QFileInfo(link).path());
    QFile::remove(link);
    QVERIFY(QFile::link(pty.path, link));
    SerialPort port;
    MessageCapture capture;
    QVERIFY(port.CommOpen(link, QStringLiteral("9600,n,8,1"), 100));
    const char bytes[] = { 0x01, 0x03 };
    QCOMPARE(port.writeData(bytes, 2), qint64(2));
    const QStringList lines = lastLines(logName);
    QCOMPARE(lines.size(), 1);
    QVERIFY(lines.first().endsWith(QStringLiteral("send: 01 03 ")));
    port.close();
    QFile::remove(link);
}

void TestSerialPort::logRotation_data()
{
    QTest::addColumn<qint64>("prefill");
    QTest::addColumn<bool>("backupPresent");
    QTest::addColumn<bool>("rotated");
    QTest::addColumn<bool>("complains");
    QTest::newRow("below limit") << kRotateSize - 100 << false << false << false;
    // The logged line for 01 03 is 37 bytes: stamp 24, "send: " 6, bytes 6, line feed.
    QTest::newRow("exactly at limit") << kRotateSize - 37 << false << false << false;
    QTest::newRow("one byte past") << kRotateSize - 36 << false << true << false;
    QTest::newRow("limit passed") << kRotateSize << false << true << false;
    QTest::newRow("second rotation loses the log") << kRotateSize << true << true << true;
}

void TestSerialPort::logRotation()
{
    QFETCH(qint64, prefill);
    QFETCH(bool, backupPresent);
    QFETCH(bool, rotated);
    QFETCH(bool, complains);
    Pty pty;
    const QString log = logNameFor(pty.path);
    const QString backup = log + QStringLiteral(".bak.log");
    QFile::remove(backup);
    if (backupPresent) {
        QFile old(backup);
        QVERIFY(old.open(QIODevice::WriteOnly));
        old.write("older backup\n");
    }
    {
        QFile fill(log);
        QVERIFY(fill.open(QIODevice::WriteOnly));
        QVERIFY(fill.resize(prefill));
    }
    SerialPort port;
    MessageCapture capture;
    QVERIFY(port.CommOpen(pty.path, QStringLiteral("9600,n,8,1"), 100));
    g_messages.clear();
    const char bytes[] = { 0x01, 0x03 };
    QCOMPARE(port.writeData(bytes, 2), qint64(2));

    QCOMPARE(QFile::exists(log), !rotated);
    QCOMPARE(g_messages.isEmpty(), !complains);
    if (!rotated) {
        QVERIFY(QFileInfo(log).size() > prefill);
        QVERIFY(!QFile::exists(backup));
    } else if (backupPresent) {
        QCOMPARE(QFileInfo(backup).size(), qint64(13));   // the older one stays
    } else {
        QVERIFY(QFileInfo(backup).size() > prefill);
    }
    if (rotated) {
        // The next transfer starts a fresh log.
        QCOMPARE(port.writeData(bytes, 2), qint64(2));
        QCOMPARE(QFileInfo(log).size(), qint64(37));
    }
    QFile::remove(backup);
    QFile::remove(log);
}

void TestSerialPort::missingDevice()
{
    SerialPort port;
    MessageCapture capture;
    QVERIFY(!port.CommOpen(QStringLiteral("/dev/vek5-missing"), QStringLiteral("19200,n,8,1"), 1000));
    char buffer[4] = {};
    QCOMPARE(port.readData(buffer, 4), qint64(-1));
    QCOMPARE(port.writeData(buffer, 4), qint64(-1));
    QVERIFY(!port.ReOpen());
    QVERIFY(!port.open(QIODevice::ReadWrite));
    QVERIFY(!QFile::exists(QStringLiteral("/dev/vek5-missing")));
    // The settings were kept for a later ReOpen all the same.
    QCOMPARE(int(port.settings().BaudRate), int(BAUD19200));
    QVERIFY(!QFile::exists(logNameFor(QStringLiteral("/dev/vek5-missing"))));
}

void TestSerialPort::reOpenKeepsSettings()
{
    Pty pty;
    SerialPort port;
    MessageCapture capture;
    QVERIFY(port.CommOpen(pty.path, QStringLiteral("19200,e,7,2"), 700));
    port.close();
    QVERIFY(!port.isOpen());
    pty.setSpeed(B1200);
    QVERIFY(port.ReOpen());
    QVERIFY(port.isOpen());
    const termios tio = pty.attributes();
    QCOMPARE(uint(cfgetospeed(&tio)), uint(B19200));
    QCOMPARE(int(requestedCflag() & CSIZE), int(CS7));
    QCOMPARE(int(requestedCflag() & (PARENB | PARODD)), int(PARENB));
    QVERIFY(tio.c_cflag & CSTOPB);
    QCOMPARE(int(tio.c_cc[VTIME]), 7);
    // ReOpen of an open port closes it first and opens it again.
    QVERIFY(port.ReOpen());
    QVERIFY(port.isOpen());
}

void TestSerialPort::lockSemantics()
{
    SerialPort port;
    std::atomic<bool> acquired { false };

    // Lock then UnLock: free again.
    port.Lock();
    port.UnLock();
    std::thread first([&] { port.Lock(); acquired = true; port.UnLock(); });
    first.join();
    QVERIFY(acquired);

    // UnLock without Lock takes the lock and keeps it.
    acquired = false;
    port.UnLock();
    std::thread second([&] { port.Lock(); acquired = true; port.UnLock(); });
    QTest::qWait(150);
    QVERIFY(!acquired);
    port.UnLock();   // held, so this one releases it
    second.join();
    QVERIFY(acquired);
}

void TestSerialPort::translateError_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<int>("code");
    QTest::newRow("bad descriptor") << EBADF << 1;
    QTest::newRow("not a terminal") << ENOTTY << 1;
    QTest::newRow("out of memory") << ENOMEM << 2;
    QTest::newRow("interrupted") << EINTR << 3;
    QTest::newRow("other keeps code") << EIO << 2;
    QTest::newRow("zero keeps code") << 0 << 2;
}

void TestSerialPort::translateError()
{
    QFETCH(int, error);
    QFETCH(int, code);
    SerialPort port;
    QCOMPARE(port.lastError(), 0);
    port.translateError(ENOMEM);
    port.translateError(ulong(error));
    QCOMPARE(port.lastError(), code);
}

void TestSerialPort::ungetCharWarns()
{
    SerialPort port;
    MessageCapture capture;
    port.ungetChar('x');
    QCOMPARE(g_messages,
             QStringList { "Posix_QextSerialPort: ungetChar() called on an unbuffered sequential device - operation is meaningless" });
}

void TestSerialPort::modemLines_data()
{
    QTest::addColumn<int>("before");
    QTest::addColumn<QString>("change");
    QTest::addColumn<int>("after");
    QTest::addColumn<int>("status");
    QTest::newRow("open raises both") << 0 << "" << (TIOCM_RTS | TIOCM_DTR)
                                      << int(SerialPort::LS_RTS | SerialPort::LS_DTR);
    QTest::newRow("other lines kept") << (TIOCM_CTS | TIOCM_CAR) << ""
                                      << (TIOCM_CTS | TIOCM_CAR | TIOCM_RTS | TIOCM_DTR)
                                      << int(SerialPort::LS_CTS | SerialPort::LS_DCD | SerialPort::LS_RTS | SerialPort::LS_DTR);
    QTest::newRow("rts dropped") << TIOCM_DSR << "rts off" << (TIOCM_DSR | TIOCM_DTR)
                                 << int(SerialPort::LS_DSR | SerialPort::LS_DTR);
    QTest::newRow("dtr dropped") << TIOCM_RNG << "dtr off" << (TIOCM_RNG | TIOCM_RTS)
                                 << int(SerialPort::LS_RI | SerialPort::LS_RTS);
}

void TestSerialPort::modemLines()
{
    QFETCH(int, before);
    QFETCH(QString, change);
    QFETCH(int, after);
    QFETCH(int, status);
    Pty pty;
    SerialPort port;
    MessageCapture capture;
    FakeModem modem(before);
    QVERIFY(port.CommOpen(pty.path, QStringLiteral("9600,n,8,1"), 100));
    if (change == QLatin1String("rts off"))
        port.setRts(false);
    else if (change == QLatin1String("dtr off"))
        port.setDtr(false);
    QCOMPARE(g_modemLines, after);
    QCOMPARE(int(port.lineStatus()), status);
    QCOMPARE(port.lastError(), 0);
}

void TestSerialPort::modemLineFailure()
{
    Pty pty;
    SerialPort port;
    MessageCapture capture;
    FakeModem modem(0, ENOTTY);
    QVERIFY(port.CommOpen(pty.path, QStringLiteral("9600,n,8,1"), 100));
    QCOMPARE(port.lastError(), int(SerialPort::InvalidPortError));
    QCOMPARE(port.lineStatus(), 0ul);
    QCOMPARE(g_modemLines, 0);
}

void TestSerialPort::flowControl_data()
{
    QTest::addColumn<int>("flow");
    QTest::addColumn<bool>("rtscts");
    QTest::addColumn<bool>("xonxoff");
    QTest::newRow("off") << int(FLOW_OFF) << false << false;
    QTest::newRow("hardware") << int(FLOW_HARDWARE) << true << false;
    QTest::newRow("xon/xoff") << int(FLOW_XONXOFF) << false << true;
}

void TestSerialPort::flowControl()
{
    QFETCH(int, flow);
    QFETCH(bool, rtscts);
    QFETCH(bool, xonxoff);
    Pty pty;
    SerialPort port;
    MessageCapture capture;
    QVERIFY(port.CommOpen(pty.path, QStringLiteral("9600,n,8,1"), 100));
    port.setFlowControl(FLOW_XONXOFF);
    port.setFlowControl(FLOW_HARDWARE);
    port.setFlowControl(FlowType(flow));
    QCOMPARE(int(port.settings().FlowControl), flow);
    QCOMPARE(bool(g_lastRequest.c_cflag & CRTSCTS), rtscts);
    QCOMPARE(bool(g_lastRequest.c_iflag & IXON), xonxoff);
    QCOMPARE(bool(g_lastRequest.c_iflag & IXOFF), xonxoff);
}

void TestSerialPort::publicSlots()
{
    // Reachable by name through the meta-object, default-argument forms too.
    const QMetaObject& meta = SerialPort::staticMetaObject;
    for (const char* slot : { "readData(char*,qint64)", "writeData(const char*,qint64)",
                              "setBaudRate(BaudRateType)", "setDataBits(DataBitsType)",
                              "setParity(ParityType)", "setStopBits(StopBitsType)",
                              "setFlowControl(FlowType)", "setTimeout(qint64)", "open(OpenMode)",
                              "close()", "flush()", "size()", "bytesAvailable()", "setDtr(bool)",
                              "setDtr()", "setRts(bool)", "setRts()", "ungetChar(char)",
                              "translateError(ulong)", "lineStatus()", "init()", "getPortName()" })
        QVERIFY2(meta.indexOfSlot(slot) >= 0, slot);
}

QTEST_GUILESS_MAIN(TestSerialPort)
#include "tst_comm_serialport.moc"
