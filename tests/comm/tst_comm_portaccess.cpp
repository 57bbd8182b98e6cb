#include "modbus.h"
#include "portaccess.h"

#include <QBuffer>
#include <QRandomGenerator>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <modbus/modbus.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <thread>
#include <unistd.h>

// Port access entries: RTU <-> Modbus TCP reframing against a loopback
// socket pair, and end to end against a libmodbus TCP server.

namespace {

// A connected loopback pair: `client` is what the entries use, `peer` plays
// the unit.
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
        if (!client.waitForConnected(3000) || !server.waitForNewConnection(3000))
            return false;
        peer = server.nextPendingConnection();
        return peer != nullptr;
    }

    void send(const QByteArray& bytes)
    {
        peer->write(bytes);
        peer->waitForBytesWritten(3000);
    }

    QByteArray receive(int expected)
    {
        QByteArray got;
        while (got.size() < expected && peer->waitForReadyRead(3000))
            got += peer->readAll();
        return got;
    }
};

QByteArray bitwiseCrcAppended(QByteArray bytes)
{
    quint16 crc = 0xFFFF;
    for (char c : bytes) {
        crc ^= quint8(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) ? quint16((crc >> 1) ^ 0xA001) : quint16(crc >> 1);
    }
    bytes.append(char(crc & 0xFF));
    bytes.append(char(crc >> 8));
    return bytes;
}

// Room the read entry may fill, on the heap so that an over-run is caught.
constexpr int kCallerRoom = 996;

} // namespace

class TestPortAccess : public QObject
{
    Q_OBJECT
private slots:
    void tcpWrite_data();
    void tcpWrite();
    void tcpWriteRefusals();
    void tcpRead_data();
    void tcpRead();
    void tcpReadShort_data();
    void tcpReadShort();
    void tcpReadClosedConnection();
    void serialEntriesPassThrough();
    void inertEntries();
    void libmodbusServer_data();
    void libmodbusServer();
};

void TestPortAccess::tcpWrite_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QByteArray>("sent");
    QTest::newRow("read request") << QByteArray::fromHex("01030000000ac5cd")
                                  << QByteArray::fromHex("00000000000601030000000a");
    QTest::newRow("crc dropped unchecked") << QByteArray::fromHex("1106000100030000")
                                           << QByteArray::fromHex("000000000006110600010003");
    QTest::newRow("crc only") << QByteArray::fromHex("abcd") << QByteArray::fromHex("000000000000");
    // 300 RTU bytes: only the low byte of the MBAP length is written.
    QByteArray big(300, char(0x42));
    QTest::newRow("over 257 bytes") << big
                                    << QByteArray::fromHex("00000000002a") + big.left(298);
}

void TestPortAccess::tcpWrite()
{
    QFETCH(QByteArray, frame);
    QFETCH(QByteArray, sent);
    Loopback link;
    QVERIFY(link.connect());
    PortHandle handle { &link.client, TcpCommRead, TcpCommWrite };
    QCOMPARE(TcpCommWrite(&handle, frame.data(), frame.size()), frame.size());
    QVERIFY(link.client.waitForBytesWritten(3000) || link.client.bytesToWrite() == 0);
    QCOMPARE(link.receive(sent.size()).toHex(), sent.toHex());
}

void TestPortAccess::tcpWriteRefusals()
{
    char frame[8] = { 1, 3, 0, 0, 0, 10, char(0xC5), char(0xCD) };
    PortHandle noDevice { nullptr, TcpCommRead, TcpCommWrite };
    QCOMPARE(TcpCommWrite(&noDevice, frame, 8), -1);

    // A device that will not take the bytes: a write-protected buffer.
    QBuffer readOnly;
    readOnly.open(QIODevice::ReadOnly);
    PortHandle closed { &readOnly, TcpCommRead, TcpCommWrite };
    QTest::ignoreMessage(QtWarningMsg, "QIODevice::write (QBuffer): ReadOnly device");
    QCOMPARE(TcpCommWrite(&closed, frame, 8), -1);

    // Too long for the 1000-byte frame buffer: refused, nothing written.
    QBuffer sink;
    sink.open(QIODevice::WriteOnly);
    PortHandle toSink { &sink, TcpCommRead, TcpCommWrite };
    std::unique_ptr<char[]> huge(new char[997]());
    QCOMPARE(TcpCommWrite(&toSink, huge.get(), 997), -1);
    QCOMPARE(sink.size(), qint64(0));
    QCOMPARE(TcpCommWrite(&toSink, huge.get(), 996), 996);
    QCOMPARE(sink.size(), qint64(1000));
}

void TestPortAccess::tcpRead_data()
{
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<QByteArray>("rtuBody");   // before the CRC the entry adds
    QTest::newRow("two registers") << QByteArray::fromHex("00000000000701030400010002")
                                   << QByteArray::fromHex("01030400010002");
    QTest::newRow("foreign ids accepted") << QByteArray::fromHex("beef12340007010304000100ff")
                                          << QByteArray::fromHex("010304000100ff");
    QTest::newRow("eight bytes") << QByteArray::fromHex("000000000002118a")
                                 << QByteArray::fromHex("118a");
    QByteArray full(1000, '\0');
    for (int i = 0; i < full.size(); ++i)
        full[i] = char(i * 7);
    QTest::newRow("1000 bytes") << full << full.mid(6);
    QByteArray tooMuch = full + QByteArray(500, char(0x99));
    QTest::newRow("only 1000 taken") << tooMuch << full.mid(6);
}

void TestPortAccess::tcpRead()
{
    QFETCH(QByteArray, received);
    QFETCH(QByteArray, rtuBody);
    Loopback link;
    QVERIFY(link.connect());
    link.send(received);
    PortHandle handle { &link.client, TcpCommRead, TcpCommWrite };
    std::unique_ptr<char[]> out(new char[kCallerRoom]);
    std::memset(out.get(), 0x55, kCallerRoom);
    const QByteArray expected = bitwiseCrcAppended(rtuBody);
    QCOMPARE(TcpCommRead(&handle, out.get(), 8), expected.size());
    QCOMPARE(QByteArray(out.get(), expected.size()).toHex(), expected.toHex());
    QCOMPARE(checkModbufCRC(reinterpret_cast<unsigned char*>(out.get()), expected.size()), 0);
    if (expected.size() < kCallerRoom)
        QCOMPARE(out[expected.size()], char(0x55));
}

void TestPortAccess::tcpReadShort_data()
{
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<int>("result");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("nothing") << QByteArray() << -5 << QByteArray();
    QTest::newRow("six bytes") << QByteArray::fromHex("000000000001") << -5 << QByteArray();
    // Seven bytes: unit id then zeros, no CRC stored (length 3 is refused).
    QTest::newRow("seven bytes") << QByteArray::fromHex("abcdef0100021f") << 3
                                 << QByteArray::fromHex("1f0000");
}

void TestPortAccess::tcpReadShort()
{
    QFETCH(QByteArray, received);
    QFETCH(int, result);
    QFETCH(QByteArray, bytes);
    Loopback link;
    QVERIFY(link.connect());
    if (!received.isEmpty())
        link.send(received);
    PortHandle handle { &link.client, TcpCommRead, TcpCommWrite };
    std::unique_ptr<char[]> out(new char[kCallerRoom]);
    std::memset(out.get(), 0x55, kCallerRoom);
    QCOMPARE(TcpCommRead(&handle, out.get(), kCallerRoom), result);
    if (result < 0)
        QCOMPARE(QByteArray(out.get(), 16), QByteArray(16, char(0x55)));
    else
        QCOMPARE(QByteArray(out.get(), result).toHex(), bytes.toHex());
}

void TestPortAccess::tcpReadClosedConnection()
{
    Loopback link;
    QVERIFY(link.connect());
    link.peer->close();
    PortHandle handle { &link.client, TcpCommRead, TcpCommWrite };
    std::unique_ptr<char[]> out(new char[kCallerRoom]);
    QCOMPARE(TcpCommRead(&handle, out.get(), kCallerRoom), -5);
    // And once the socket itself is closed too.
    link.client.close();
    QTest::ignoreMessage(QtWarningMsg, "QIODevice::read (QTcpSocket): device not open");
    QCOMPARE(TcpCommRead(&handle, out.get(), kCallerRoom), -5);
}

void TestPortAccess::serialEntriesPassThrough()
{
    // The serial pair calls the unbuffered hooks: a QBuffer stands in.
    QByteArray storage;
    QBuffer device(&storage);
    device.open(QIODevice::ReadWrite);
    PortHandle handle { &device, CommRead, CommWrite };
    char request[] = { 1, 3, 0, 0, 0, 10, char(0xC5), char(0xCD) };
    QCOMPARE(CommWrite(&handle, request, 8), 8);
    QCOMPARE(storage, QByteArray(request, 8));
    device.seek(2);
    char back[8] = {};
    QCOMPARE(CommRead(&handle, back, 8), 6);
    QCOMPARE(QByteArray(back, 6), QByteArray(request + 2, 6));
}

void TestPortAccess::inertEntries()
{
    QCOMPARE(CommOpen(), 0);
    CommAccept();
    CommControl();
    CommClose();
    QCOMPARE(CommOpen(), 0);
}

void TestPortAccess::libmodbusServer_data()
{
    QTest::addColumn<int>("function");
    QTest::addColumn<int>("start");
    QTest::addColumn<int>("count");
    QTest::newRow("holding 0..9") << 3 << 0 << 10;
    QTest::newRow("holding 40..42") << 3 << 40 << 3;
    QTest::newRow("input 5..64") << 4 << 5 << 60;
    QTest::newRow("input single") << 4 << 99 << 1;
    QTest::newRow("write single") << 6 << 17 << 0;
}

void TestPortAccess::libmodbusServer()
{
    QFETCH(int, function);
    QFETCH(int, start);
    QFETCH(int, count);
    constexpr int kRegisters = 100;
    constexpr int kUnit = 1;

    // A free loopback port for libmodbus to listen on.
    quint16 port = 0;
    {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost));
        port = probe.serverPort();
    }
    modbus_t* ctx = modbus_new_tcp("127.0.0.1", port);
    QVERIFY(ctx != nullptr);
    modbus_mapping_t* map = modbus_mapping_new(0, 0, kRegisters, kRegisters);
    QVERIFY(map != nullptr);
    QRandomGenerator rng(quint32(function * 1000 + start));
    for (int i = 0; i < kRegisters; ++i) {
        map->tab_registers[i] = quint16(rng.bounded(65536));
        map->tab_input_registers[i] = quint16(rng.bounded(65536));
    }
    const int listener = modbus_tcp_listen(ctx, 1);
    QVERIFY(listener >= 0);

    std::atomic<int> served { 0 };
    std::thread unit([&] {
        int socket = listener;
        if (modbus_tcp_accept(ctx, &socket) < 0)
            return;
        uint8_t query[MODBUS_TCP_MAX_ADU_LENGTH];
        const int rc = modbus_receive(ctx, query);
        if (rc > 0 && modbus_reply(ctx, query, rc, map) > 0)
            served = 1;
    });

    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, port);
    const bool connected = socket.waitForConnected(3000);
    PortHandle handle { &socket, TcpCommRead, TcpCommWrite };

    unsigned char request[8];
    const int written = 0x1234;
    int expectedLength;
    if (function == 6) {
        QCOMPARE(mod_Set_SetBuf(request, kUnit, start, written), 0);
        expectedLength = 8;
    } else {
        expectedLength = ::buildCmd(request, kUnit, function, start, count);
    }
    int sentLength = -1;
    int readLength = -1;
    std::unique_ptr<char[]> answer(new char[kCallerRoom]);
    if (connected) {
        sentLength = TcpCommWrite(&handle, reinterpret_cast<char*>(request), 8);
        readLength = TcpCommRead(&handle, answer.get(), kCallerRoom);
    }
    socket.close();
    unit.join();
    const QByteArray frame(answer.get(), qMax(readLength, 0));
    std::vector<quint16> held(map->tab_registers, map->tab_registers + kRegisters);
    std::vector<quint16> input(map->tab_input_registers, map->tab_input_registers + kRegisters);
    modbus_mapping_free(map);
    close(listener);
    modbus_free(ctx);

    QVERIFY(connected);
    QCOMPARE(sentLength, 8);
    QCOMPARE(served.load(), 1);
    QCOMPARE(readLength, expectedLength);
    QCOMPARE(checkModbufCRC(reinterpret_cast<unsigned char*>(answer.get()), readLength), 0);
    QCOMPARE(int(quint8(frame[0])), kUnit);
    QCOMPARE(int(quint8(frame[1])), function);
    if (function == 6) {
        QCOMPARE(frame.left(6), QByteArray(reinterpret_cast<char*>(request), 6));
        QCOMPARE(int(held[size_t(start)]), written);
        return;
    }
    QCOMPARE(int(quint8(frame[2])), count * 2);
    const std::vector<quint16>& table = function == 3 ? held : input;
    for (int i = 0; i < count; ++i) {
        const auto* p = reinterpret_cast<const unsigned char*>(frame.constData()) + 3 + 2 * i;
        QCOMPARE(int(UINT8_2_to_UINT16(p)), int(table[size_t(start + i)]));
    }
}

QTEST_MAIN(TestPortAccess)
#include "tst_comm_portaccess.moc"
