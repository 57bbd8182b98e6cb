// Modbus frames against an independent CRC, TCP reframing on loopback, serial port and manager on ptys.

#include "PortManage.h"
#include "SerialPort.h"
#include "TestRig.h"
#include "modbus.h"
#include "portaccess.h"

#include <QtTest>

#include <atomic>
#include <cstring>
#include <cstdarg>
#include <dlfcn.h>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>

// The pty forces CS8 and clears PARENB: the character format is checked on what the port asked for.
namespace {
termios g_lastRequest {};
std::atomic<bool> g_fakeModem {false};
int g_modemLines = 0;
int g_modemErrno = 0;
} // namespace

extern "C" int tcsetattr(int fd, int actions, const struct termios* tio)
{
    using Real = int (*)(int, int, const struct termios*);
    static const Real real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "tcsetattr"));
    g_lastRequest = *tio;
    return real(fd, actions, tio);
}

// Ptys have no modem lines: those calls meet a simulated set here.
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

unsigned char* u8(QByteArray& bytes) { return reinterpret_cast<unsigned char*>(bytes.data()); }

// A connected loopback pair: `client` is what the entries use, `peer` the unit.
struct Loopback
{
    QTcpServer server;
    QTcpSocket client;
    QTcpSocket* peer = nullptr;
    bool connect()
    {
        if (!server.listen(QHostAddress::LocalHost))
            return false;
        client.connectToHost(QHostAddress::LocalHost, server.serverPort());
        return client.waitForConnected(10000) && server.waitForNewConnection(10000)
                && (peer = server.nextPendingConnection()) != nullptr;
    }
};

constexpr int kCallerRoom = 996;   // room the read entry may fill, on the heap

QString logNameFor(const QString& path) { return "log_" + path.section('/', -1) + ".log"; }

} // namespace

class tst_comm : public QObject
{
    Q_OBJECT
private slots:
    void crc()
    {
        QRandomGenerator rng(0x5eed);
        for (int round = 0; round < 2000; ++round) {
            QByteArray body(2 + int(rng.bounded(300)), '\0');
            for (char& c : body)
                c = char(rng.bounded(256));
            QByteArray frame = body + QByteArray(2, '\0');
            QCOMPARE(setModbusCRC(u8(frame), frame.size()), 0);
            QCOMPARE(frame, withCrc(body));
            QCOMPARE(checkModbufCRC(u8(frame), frame.size()), 0);
            const int flip = int(rng.bounded(frame.size()));
            frame[flip] = char(frame[flip] ^ (1 << rng.bounded(8)));
            QCOMPARE(checkModbufCRC(u8(frame), frame.size()), -1);
        }
        QByteArray tiny("\x01\x03\x00", 3);
        QCOMPARE(setModbusCRC(u8(tiny), 3), -1);
        QCOMPARE(checkModbufCRC(nullptr, 8), -1);
    }

    void requestFrames_data()
    {
        QTest::addColumn<QString>("call");        // cmd, set or cmd16
        QTest::addColumn<QList<int>>("args");
        QTest::addColumn<int>("result");
        QTest::addColumn<QByteArray>("body");     // before the CRC; empty: nothing written
        QTest::newRow("fc3 x10") << "cmd" << QList<int>{1, 3, 0, 10} << 25 << QByteArray::fromHex("01030000000a");
        QTest::newRow("fc2 x10 rounds up") << "cmd" << QList<int>{1, 2, 0, 10} << 6 << QByteArray::fromHex("010200000 00a").replace(' ', "");
        QTest::newRow("fc6") << "cmd" << QList<int>{2, 6, 3000, 1} << 8 << QByteArray::fromHex("02060bb80001");
        QTest::newRow("fc1 unknown") << "cmd" << QList<int>{1, 1, 0, 10} << 0 << QByteArray::fromHex("01010000000a");
        QTest::newRow("wide values cut") << "cmd" << QList<int>{0x1FF, 3, 0x12345, 0x10002} << 0x10002 * 2 + 5
                                         << QByteArray::fromHex("ff0323450002");
        QTest::newRow("set") << "set" << QList<int>{0x10A, 0xABCD, 0x1FFFF} << 0 << QByteArray::fromHex("0a06abcdffff");
        QTest::newRow("fc16, one of two supplied") << "cmd16" << QList<int>{2, 1} << 13
                                                   << QByteArray::fromHex("09100bb80002041000 0000").replace(' ', "");
        QTest::newRow("fc16, more supplied") << "cmd16" << QList<int>{1, 3} << 11 << QByteArray::fromHex("09100bb80001021000");
        QTest::newRow("fc16, too short for a CRC") << "cmd16" << QList<int>{-3, 0} << -1 << QByteArray();
    }

    void requestFrames()
    {
        QFETCH(QString, call);
        QFETCH(QList<int>, args);
        QFETCH(int, result);
        QFETCH(QByteArray, body);
        QByteArray buffer(32, char(0x5A));
        const QByteArray data = QByteArray::fromHex("100011012202");
        if (call == "cmd")
            QCOMPARE(::buildCmd(u8(buffer), args[0], args[1], args[2], args[3]), result);
        else if (call == "set")
            QCOMPARE(mod_Set_SetBuf(u8(buffer), args[0], args[1], args[2]), result);
        else
            QCOMPARE(::buildCmd16(u8(buffer), 9, 0x0BB8, args[0], args[1],
                                  reinterpret_cast<const unsigned char*>(data.constData())), result);
        if (result < 0)
            return;
        const QByteArray frame = withCrc(body);
        QCOMPARE(buffer.left(frame.size()).toHex(), frame.toHex());
        QCOMPARE(buffer.mid(frame.size()), QByteArray(32 - frame.size(), char(0x5A)));
        QCOMPARE(::buildCmd(nullptr, 1, 3, 0, 1), -1);
        QCOMPARE(mod_Set_SetBuf(nullptr, 1, 1, 1), -1);
        QCOMPARE(::buildCmd16(nullptr, 1, 0, 1, 0, u8(buffer)), -1);
        QCOMPARE(UINT8_4_to_UINT32(u8(buffer) + 28), 0x5a5a5a5au);   // untouched tail
        QCOMPARE(QByteArray(FiltSpace("  a b")), QByteArray("a b"));
        QVERIFY(FiltSpace(nullptr) == nullptr);
    }

    void tcpWrite_data()
    {
        QTest::addColumn<QByteArray>("frame");
        QTest::addColumn<QByteArray>("sent");
        QTest::newRow("read request") << QByteArray::fromHex("01030000000ac5cd") << QByteArray::fromHex("00000000000601030000000a");
        QByteArray big(300, char(0x42));   // only the low byte of the MBAP length
        QTest::newRow("over 257 bytes") << big << QByteArray::fromHex("00000000002a") + big.left(298);
        QTest::newRow("past the frame buffer") << QByteArray(997, '\1') << QByteArray();
    }

    void tcpWrite()
    {
        QFETCH(QByteArray, frame);
        QFETCH(QByteArray, sent);
        Loopback link;
        QVERIFY(link.connect());
        PortHandle handle {&link.client, TcpCommRead, TcpCommWrite};
        QCOMPARE(TcpCommWrite(&handle, frame.data(), frame.size()), sent.isEmpty() ? -1 : frame.size());
        link.client.waitForBytesWritten(10000);
        QByteArray got;
        while (got.size() < sent.size() && link.peer->waitForReadyRead(10000))
            got += link.peer->readAll();
        QCOMPARE(got.toHex(), sent.toHex());
        PortHandle noDevice {nullptr, TcpCommRead, TcpCommWrite};
        QCOMPARE(TcpCommWrite(&noDevice, frame.data(), frame.size()), -1);
    }

    void tcpRead_data()
    {
        QTest::addColumn<QByteArray>("received");
        QTest::addColumn<int>("result");
        QTest::addColumn<QByteArray>("rtu");   // before the CRC the entry adds
        QTest::newRow("two registers") << QByteArray::fromHex("00000000000701030400010002") << 9
                                       << QByteArray::fromHex("01030400010002");
        QByteArray full(1000, '\0');
        for (int i = 0; i < full.size(); ++i)
            full[i] = char(i * 7);
        QTest::newRow("1000 bytes fit the caller's room") << full << 996 << full.mid(6);
        QTest::newRow("nothing") << QByteArray() << -5 << QByteArray();
        QTest::newRow("header only") << QByteArray::fromHex("000000000001") << -5 << QByteArray();
        QTest::newRow("seven bytes, too short for a CRC") << QByteArray::fromHex("abcdef0100021f") << 3 << QByteArray();
        QTest::newRow("peer closed") << QByteArray("close") << -5 << QByteArray();
    }

    void tcpRead()
    {
        QFETCH(QByteArray, received);
        QFETCH(int, result);
        QFETCH(QByteArray, rtu);
        Loopback link;
        QVERIFY(link.connect());
        if (received == "close")
            link.peer->close();
        else if (!received.isEmpty()) {
            link.peer->write(received);
            link.peer->waitForBytesWritten(10000);
            QVERIFY(QTest::qWaitFor([&] { return link.client.bytesAvailable() >= received.size()
                                                 || link.client.waitForReadyRead(100); }, 10000));
        }
        PortHandle handle {&link.client, TcpCommRead, TcpCommWrite};
        std::unique_ptr<char[]> out(new char[kCallerRoom]);
        std::memset(out.get(), 0x55, kCallerRoom);
        QCOMPARE(TcpCommRead(&handle, out.get(), kCallerRoom), result);
        if (!rtu.isEmpty()) {
            const QByteArray expected = withCrc(rtu).left(result);
            QCOMPARE(QByteArray(out.get(), result).toHex(), expected.toHex());
        }
    }

    void openSettings_data()
    {
        QTest::addColumn<QString>("settings");
        QTest::addColumn<int>("timeout");
        QTest::addColumn<uint>("speed");      // 0: refused
        QTest::addColumn<int>("charSize");
        QTest::addColumn<int>("parity");      // 0 none, 1 odd, 2 even
        QTest::addColumn<bool>("twoStops");
        QTest::addColumn<int>("vtime");
        QTest::addColumn<bool>("warns");
        QTest::newRow("9600 8N1") << "9600,n,8,1" << 1000 << uint(B9600) << int(CS8) << 0 << false << 10 << false;
        QTest::newRow("4800 8O2") << "4800,o,8,2" << 1999 << uint(B4800) << int(CS8) << 1 << true << 19 << false;
        QTest::newRow("2400 5E1, timer capped") << "2400,e,5,1" << 60000 << uint(B2400) << int(CS5) << 2 << false << 255 << false;
        QTest::newRow("enum values 7O2") << "17#2#1#1" << 100 << uint(B57600) << int(CS7) << 1 << true << 1 << false;
        QTest::newRow("space 7 bits: one more data bit") << "9600,s,7,1" << 100 << uint(B9600) << int(CS8) << 0 << false << 1 << false;
        QTest::newRow("14400 falls to 9600") << "14400,n,8,1" << 100 << uint(B9600) << int(CS8) << 0 << false << 1 << true;
        QTest::newRow("76800 falls to 57600") << "76800,n,8,1" << 100 << uint(B57600) << int(CS8) << 0 << false << 1 << true;
        QTest::newRow("1.5 stops refused") << "12#3#0#2" << 100 << uint(B9600) << int(CS8) << 0 << false << 1 << true;
        for (const char* bad : {"", "9600,n,8", "12#4#0#0", "9600,x,8,1", "9600,n,8,1.5"})
            QTest::addRow("refused: '%s'", bad) << bad << 100 << 0u << 0 << 0 << false << 0 << true;
        QTest::newRow("refused: missing device") << "/missing" << 100 << 0u << 0 << 0 << false << 0 << true;
    }

    void openSettings()
    {
        QFETCH(QString, settings);
        QFETCH(int, timeout);
        QFETCH(uint, speed);
        Pty pty;
        SerialPort port;
        MessageCapture capture;
        const bool missing = settings == "/missing";
        const QString path = missing ? "/dev/vek5-no-such-tty" : pty.path;
        QCOMPARE(port.CommOpen(path, missing ? "9600,n,8,1" : settings, timeout), speed != 0);
        QCOMPARE(port.isOpen(), speed != 0);
        // Every line but the one naming the opened port is a complaint.
        int complaints = 0;
        for (const QString& line : MessageCapture::lines())
            complaints += line.contains("打开标准串口") ? 0 : 1;
        QTEST(complaints > 0, "warns");
        QVERIFY(!QFile::exists("/dev/vek5-no-such-tty"));
        if (speed == 0) {
            char buffer[4] = {};
            QCOMPARE(port.readData(buffer, 4), qint64(-1));
            QCOMPARE(port.writeData(buffer, 4), qint64(-1));
            return;
        }
        const termios tio = pty.attributes();
        QCOMPARE(uint(cfgetospeed(&tio)), speed);
        QCOMPARE(uint(cfgetispeed(&tio)), speed);
        QTEST(bool(tio.c_cflag & CSTOPB), "twoStops");
        QTEST(int(tio.c_cc[VTIME]), "vtime");
        QTEST(int(g_lastRequest.c_cflag & CSIZE), "charSize");
        const tcflag_t cflag = g_lastRequest.c_cflag;
        QTEST(!(cflag & PARENB) ? 0 : (cflag & PARODD) ? 1 : 2, "parity");
        // Raw mode: no line discipline, no flow control, reads end on the timer.
        QCOMPARE(int(tio.c_lflag & (ICANON | ECHO | ISIG)), 0);
        QCOMPARE(int(tio.c_iflag & (IXON | IXOFF | ICRNL | ISTRIP)), 0);
        QCOMPARE(int(tio.c_oflag & OPOST), 0);
        QCOMPARE(int(tio.c_cc[VMIN]), 0);
        // A timeout or character size change reaches an open line at once; ReOpen applies the kept settings again.
        port.setTimeout(700);
        QCOMPARE(int(pty.attributes().c_cc[VTIME]), 7);
        port.setDataBits(DATA_6);      // refused with 1.5 stop bits
        QCOMPARE(int(g_lastRequest.c_cflag & CSIZE), int(port.settings().DataBits == DATA_6 ? CS6 : CS8));
        port.close();
        QVERIFY(port.ReOpen());
        const termios again = pty.attributes();
        QCOMPARE(uint(cfgetospeed(&again)), speed);
        QCOMPARE(int(pty.attributes().c_cc[VTIME]), 7);
    }

    // Bytes cross unchanged and are logged; a read returns once bytes are there (it once waited
    // for a full buffer, out to the read timer, after every answer).
    void bytesBothWaysAndPromptRead()
    {
        QByteArray bytes;
        for (int i = 0; i < 256; ++i)
            bytes.append(char(i));
        Pty pty;
        SerialPort port;
        MessageCapture capture;
        QVERIFY(port.CommOpen(pty.path, "9600,n,8,1", 8000));
        QCOMPARE(port.writeData(bytes.constData(), bytes.size()), qint64(bytes.size()));
        QCOMPARE(pty.readMaster(bytes.size()).toHex(), bytes.toHex());

        QCOMPARE(::write(pty.master, bytes.constData(), 8), ssize_t(8));
        QVERIFY(QTest::qWaitFor([&] { return port.bytesAvailable() == 8; }, 10000));
        QCOMPARE(port.size(), qint64(8));
        char buffer[512];
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(port.readData(buffer, sizeof buffer), qint64(8));
        QVERIFY2(clock.elapsed() < 4000, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(QByteArray(buffer, 8), bytes.left(8));
        QCOMPARE(::write(pty.master, bytes.constData(), 8), ssize_t(8));
        QVERIFY(QTest::qWaitFor([&] { return port.bytesAvailable() == 8; }, 10000));
        port.flush();
        QCOMPARE(port.bytesAvailable(), qint64(0));

        const QStringList lines = QString::fromUtf8(readFile(logNameFor(pty.path))).split('\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 2);
        QVERIFY(QRegularExpression("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} send: ").match(lines[0]).hasMatch());
        QVERIFY(lines[0].endsWith(QString::fromLatin1(bytes.toHex(' ')) + ' '));
        QVERIFY(lines[1].endsWith("recv: " + QString::fromLatin1(bytes.left(8).toHex(' ')) + ' '));
        QFile::remove(logNameFor(pty.path));
    }

    // Each rate reaches the line; one POSIX lacks falls back to a lower one.
    void everyBaudRate()
    {
        Pty pty;
        SerialPort port;
        MessageCapture capture;
        QVERIFY(port.CommOpen(pty.path, "9600,n,8,1", 100));
        speed_t previous = 0;
        QSet<speed_t> distinct;
        for (int rate = BAUD50; rate <= BAUD256000; ++rate) {
            port.setBaudRate(BaudRateType(rate));
            const termios tio = pty.attributes();
            QVERIFY2(cfgetospeed(&tio) >= previous, qPrintable(QString::number(rate)));
            previous = cfgetospeed(&tio);
            distinct.insert(previous);
        }
        QCOMPARE(distinct.size(), 17);
        for (const auto& [error, code] : {std::pair(EBADF, 1), std::pair(ENOMEM, 2), std::pair(EINTR, 3), std::pair(EIO, 3)}) {
            port.translateError(ulong(error));
            QCOMPARE(port.lastError(), code);
        }
    }

    void logRotation_data()
    {
        constexpr qint64 kRotateSize = 5242880;
        QTest::addColumn<qint64>("prefill");
        QTest::addColumn<bool>("backupPresent");
        QTest::addColumn<bool>("rotated");
        // The logged line for 01 03 is 37 bytes.
        QTest::newRow("exactly at limit") << kRotateSize - 37 << false << false;
        QTest::newRow("one byte past") << kRotateSize - 36 << false << true;
        QTest::newRow("older backup kept, log lost") << kRotateSize << true << true;
        // The line works whatever becomes of its log.
        QTest::newRow("log on a full disk") << qint64(-1) << false << false;
        QTest::newRow("log a directory") << qint64(-2) << false << false;
    }

    void logRotation()
    {
        QFETCH(qint64, prefill);
        QFETCH(bool, backupPresent);
        QFETCH(bool, rotated);
        Pty pty;
        const QString log = logNameFor(pty.path);
        const QString backup = log + ".bak.log";
        QFile::remove(backup);
        if (backupPresent)
            QVERIFY(writeFile(backup, "older backup\n"));
        QFile fill(log);
        QVERIFY(prefill == -1 ? QFile::link("/dev/full", log) : prefill == -2 ? QDir().mkdir(log)
                : fill.open(QIODevice::WriteOnly) && fill.resize(prefill));
        fill.close();
        SerialPort port;
        MessageCapture capture;
        QVERIFY(port.CommOpen(pty.path, "9600,n,8,1", 100));
        const char bytes[] = {0x01, 0x03};
        QCOMPARE(port.writeData(bytes, 2), qint64(2));
        QCOMPARE(pty.readMaster(2), QByteArray(bytes, 2));
        QCOMPARE(QFileInfo::exists(log), !rotated);
        QCOMPARE(QFileInfo(backup).size(), !rotated ? 0 : backupPresent ? 13 : prefill + 37);
        if (rotated) {
            QCOMPARE(port.writeData(bytes, 2), qint64(2));
            QCOMPARE(QFileInfo(log).size(), qint64(37));   // a fresh log
        }
        QFile::remove(backup);
        QFile::remove(log);
        QDir().rmdir(log);
    }

    // Unusable settings leave the port closed, an unreadable file gives the defaults, a bad timeout 0.
    void serialIni_data()
    {
        QTest::addColumn<QByteArray>("content");   // null: a directory; "%1" stands for the port
        QTest::addColumn<int>("vtime");            // -1: the port stays closed
        QTest::newRow("a directory") << QByteArray() << 10;
        QTest::newRow("noise") << QByteArray("\xff\0[=\n\x80]", 7).repeated(300) << 10;
        QTest::newRow("the port's own") << QByteArray("%1/param=4800,o,8,2\n%1/timeout=300\n") << 3;
        QTest::newRow("unknown parity") << QByteArray("%1/param=9600,x,8,1\n") << -1;
        QTest::newRow("three fields") << QByteArray("%1/param=9600,n,8\n") << -1;
        QTest::newRow("timeout not a number") << QByteArray("%1/param=9600,n,8,1\n%1/timeout=soon\n") << 0;
    }

    void serialIni()
    {
        QFETCH(QByteArray, content);
        Pty pty;
        MessageCapture capture;
        QFile::remove("serial.ini");
        QDir().rmdir("serial.ini");
        QVERIFY(content.isNull() ? QDir().mkdir("serial.ini") : writeFile("serial.ini", content.contains("%1") ? "" : content));
        {
            // QSettings keeps the slashes of the port path as nested groups.
            QSettings ini("serial.ini", QSettings::IniFormat);
            for (const QByteArray& entry : content.split('\n'))
                if (content.contains("%1") && entry.indexOf('=') > 0)
                    ini.setValue(QString::fromUtf8(entry.left(entry.indexOf('='))).arg(pty.path), QString::fromUtf8(entry.mid(entry.indexOf('=') + 1)));
        }
        PortManage manager;
        SerialPort* port = manager.getPortHandle(pty.path);
        QTEST(port->isOpen() ? int(pty.attributes().c_cc[VTIME]) : -1, "vtime");
        QFile::remove("serial.ini");
        QDir().rmdir("serial.ini");
    }

    void modemLinesAndFlow_data()
    {
        QTest::addColumn<int>("before");
        QTest::addColumn<QString>("change");
        QTest::addColumn<int>("after");
        QTest::addColumn<int>("status");
        QTest::addColumn<int>("error");
        QTest::newRow("open raises RTS and DTR, keeps others") << (TIOCM_CTS | TIOCM_CAR) << ""
            << (TIOCM_CTS | TIOCM_CAR | TIOCM_RTS | TIOCM_DTR)
            << int(SerialPort::LS_CTS | SerialPort::LS_DCD | SerialPort::LS_RTS | SerialPort::LS_DTR) << 0;
        QTest::newRow("rts dropped") << TIOCM_DSR << "rts" << (TIOCM_DSR | TIOCM_DTR) << int(SerialPort::LS_DSR | SerialPort::LS_DTR) << 0;
        QTest::newRow("no modem lines") << 0 << "" << 0 << 0 << ENOTTY;
    }

    void modemLinesAndFlow()
    {
        QFETCH(int, before);
        QFETCH(QString, change);
        QFETCH(int, error);
        Pty pty;
        SerialPort port;
        MessageCapture capture;
        g_modemLines = before;
        g_modemErrno = error;
        g_fakeModem = true;
        QVERIFY(port.CommOpen(pty.path, "9600,n,8,1", 100));
        if (change == "rts")
            port.setRts(false);
        QTEST(g_modemLines, "after");
        QTEST(int(port.lineStatus()), "status");
        g_fakeModem = false;
        QCOMPARE(port.lastError(), error ? int(SerialPort::InvalidPortError) : 0);
        for (FlowType flow : {FLOW_XONXOFF, FLOW_HARDWARE, FLOW_OFF}) {
            port.setFlowControl(flow);
            QCOMPARE(bool(g_lastRequest.c_cflag & CRTSCTS), flow == FLOW_HARDWARE);
            QCOMPARE(bool(g_lastRequest.c_iflag & IXON), flow == FLOW_XONXOFF);
        }
    }

    // The tick closes ports unused since the last one, after a query holding it; a request reopens it.
    void managerTickClosesIdlePorts()
    {
        QFile::remove("serial.ini");
        MessageCapture capture;
        PortManage manager;
        Pty first, second;
        SerialPort* a = manager.getPortHandle(first.path);
        SerialPort* b = manager.getPortHandle(second.path);
        QVERIFY(a != b && a->isOpen() && b->isOpen());
        a->used = 1;
        manager.timerProc();
        QVERIFY(a->isOpen() && !b->isOpen());
        QCOMPARE(a->used, 0);
        std::atomic<bool> locked {false};
        std::atomic<bool> openAtRelease {false};
        std::thread query([&] {
            a->Lock();
            locked = true;
            QThread::msleep(300);
            openAtRelease = a->isOpen();
            a->UnLock();
        });
        QVERIFY(QTest::qWaitFor([&] { return locked.load(); }, 10000));
        manager.timerProc();
        query.join();
        QVERIFY(openAtRelease);
        QVERIFY(!a->isOpen());
        QCOMPARE(manager.getPortHandle(first.path), a);
        QVERIFY(a->isOpen());
        manager.Close(first.path);
        QVERIFY(!a->isOpen());
        SerialPort* missing = manager.getPortHandle("/dev/vek5-absent-port");
        QVERIFY(missing != nullptr && !missing->isOpen());
        QCOMPARE(manager.ReOpen("/dev/vek5-absent-port"), missing);
    }

    void managerHidWithoutDevice()
    {
        PortManage manager;
        MessageCapture capture;
        CommHandle* entry = manager.getPortHandle(0x30665, 0x15161);
        QVERIFY(entry != nullptr);
        QCOMPARE(entry->kind, int(CommKindHid));
        QVERIFY(entry->device == nullptr);
        QCOMPARE(manager.getPortHandle(0x30665, 0x15161), entry);
        QCOMPARE(manager.ReOpen(0x30665, 0x15161), entry);
        manager.Close(0x30665, 0x15161);
        manager.timerProc();
        QVERIFY(entry->device == nullptr);
        PortManage* shared = PortManage::instance();
        QCOMPARE(PortManage::instance(), shared);
        delete shared;
    }
};

QTEST_GUILESS_MAIN(tst_comm)
#include "tst_comm.moc"
