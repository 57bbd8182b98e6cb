#include "modbus.h"

#include <QRandomGenerator>
#include <QtTest>

// Modbus frame helpers against known frames and against an independent
// bit-by-bit CRC-16/MODBUS.

namespace {

quint16 bitwiseCrc(const QByteArray& bytes)
{
    quint16 crc = 0xFFFF;
    for (char c : bytes) {
        crc ^= quint8(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) ? quint16((crc >> 1) ^ 0xA001) : quint16(crc >> 1);
    }
    return crc;
}

// The frame with its CRC appended, low byte first.
QByteArray withCrc(QByteArray bytes)
{
    const quint16 crc = bitwiseCrc(bytes);
    bytes.append(char(crc & 0xFF));
    bytes.append(char(crc >> 8));
    return bytes;
}

unsigned char* u8(QByteArray& bytes)
{
    return reinterpret_cast<unsigned char*>(bytes.data());
}

QByteArray be16(int value)
{
    QByteArray out;
    out.append(char((value >> 8) & 0xFF));
    out.append(char(value & 0xFF));
    return out;
}

} // namespace

class TestModbus : public QObject
{
    Q_OBJECT
private slots:
    void crcVectors_data();
    void crcVectors();
    void crcMatchesBitwiseOnRandomFrames();
    void crcGuards_data();
    void crcGuards();
    void checkDetectsCorruption_data();
    void checkDetectsCorruption();
    void buildCmd_data();
    void buildCmd();
    void setSetBuf_data();
    void setSetBuf();
    void buildCmd16_data();
    void buildCmd16();
    void nullBuffers();
    void joinBytes_data();
    void joinBytes();
    void filtSpace_data();
    void filtSpace();
};

void TestModbus::crcVectors_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QByteArray>("crc");
    QTest::newRow("read 10 holding") << QByteArray::fromHex("01030000000a") << QByteArray::fromHex("c5cd");
    QTest::newRow("two bytes") << QByteArray::fromHex("0103") << withCrc(QByteArray::fromHex("0103")).right(2);
    QTest::newRow("answer") << QByteArray::fromHex("01030400010002")
                            << withCrc(QByteArray::fromHex("01030400010002")).right(2);
}

void TestModbus::crcVectors()
{
    QFETCH(QByteArray, body);
    QFETCH(QByteArray, crc);
    QByteArray frame = body + QByteArray(2, '\0');
    QCOMPARE(setModbusCRC(u8(frame), frame.size()), 0);
    QCOMPARE(frame.right(2).toHex(), crc.toHex());
    QCOMPARE(frame.left(body.size()), body);
    QCOMPARE(checkModbufCRC(u8(frame), frame.size()), 0);
}

void TestModbus::crcMatchesBitwiseOnRandomFrames()
{
    QRandomGenerator rng(0x5eed);
    for (int round = 0; round < 2000; ++round) {
        const int size = 2 + int(rng.bounded(300));
        QByteArray body(size, '\0');
        for (char& c : body)
            c = char(rng.bounded(256));
        QByteArray frame = body + QByteArray(2, '\0');
        QCOMPARE(setModbusCRC(u8(frame), frame.size()), 0);
        QCOMPARE(frame, withCrc(body));
        QByteArray independent = withCrc(body);
        QCOMPARE(checkModbufCRC(u8(independent), independent.size()), 0);
    }
}

void TestModbus::crcGuards_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("result");
    QTest::newRow("length 0") << 0 << -1;
    QTest::newRow("length 3") << 3 << -1;
    QTest::newRow("negative") << -5 << -1;
    QTest::newRow("length 4") << 4 << 0;
}

void TestModbus::crcGuards()
{
    QFETCH(int, length);
    QFETCH(int, result);
    QByteArray frame = QByteArray::fromHex("0103aabbccdd");
    const QByteArray before = frame;
    QCOMPARE(setModbusCRC(u8(frame), length), result);
    if (result != 0) {
        QCOMPARE(frame, before);
        QCOMPARE(checkModbufCRC(u8(frame), length), -1);
    } else {
        QCOMPARE(frame.left(4), withCrc(before.left(2)));
        QCOMPARE(frame.mid(4), before.mid(4));
    }
    QCOMPARE(setModbusCRC(nullptr, 8), -1);
    QCOMPARE(checkModbufCRC(nullptr, 8), -1);
}

void TestModbus::checkDetectsCorruption_data()
{
    QTest::addColumn<int>("position");
    QTest::addColumn<int>("mask");
    for (int position = 0; position < 8; ++position)
        QTest::addRow("byte %d", position) << position << (1 << (position % 8));
    QTest::newRow("crc bytes swapped") << -1 << 0;
}

void TestModbus::checkDetectsCorruption()
{
    QFETCH(int, position);
    QFETCH(int, mask);
    QByteArray frame = QByteArray::fromHex("01030000000ac5cd");
    QCOMPARE(checkModbufCRC(u8(frame), frame.size()), 0);
    if (position < 0) {
        const char low = frame.at(6);
        frame[6] = frame.at(7);
        frame[7] = low;
    } else
        frame[position] = char(frame[position] ^ mask);
    QCOMPARE(checkModbufCRC(u8(frame), frame.size()), -1);
}

void TestModbus::buildCmd_data()
{
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("function");
    QTest::addColumn<int>("start");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("expected");
    QTest::newRow("fc3 x10") << 1 << 3 << 0 << 10 << 25;
    QTest::newRow("fc4 x3") << 7 << 4 << 0x1234 << 3 << 11;
    QTest::newRow("fc2 x10 truncates") << 1 << 2 << 0 << 10 << 6;
    QTest::newRow("fc2 x16") << 1 << 2 << 100 << 16 << 7;
    QTest::newRow("fc2 x7") << 1 << 2 << 100 << 7 << 5;
    QTest::newRow("fc6") << 2 << 6 << 3000 << 1 << 8;
    QTest::newRow("fc1 unknown") << 1 << 1 << 0 << 10 << 0;
    QTest::newRow("fc5 unknown") << 1 << 5 << 0 << 1 << 0;
    QTest::newRow("fc16 unknown") << 1 << 16 << 0 << 4 << 0;
    QTest::newRow("wide values cut") << 0x1FF << 3 << 0x12345 << 0x10002 << 0x10002 * 2 + 5;
}

void TestModbus::buildCmd()
{
    QFETCH(int, address);
    QFETCH(int, function);
    QFETCH(int, start);
    QFETCH(int, count);
    QFETCH(int, expected);
    QByteArray buffer(16, char(0x5A));
    QCOMPARE(::buildCmd(u8(buffer), address, function, start, count), expected);
    QByteArray body;
    body.append(char(address & 0xFF));
    body.append(char(function & 0xFF));
    body += be16(start) + be16(count);
    QCOMPARE(buffer.left(8).toHex(), withCrc(body).toHex());
    QCOMPARE(buffer.mid(8), QByteArray(8, char(0x5A)));
}

void TestModbus::setSetBuf_data()
{
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("reg");
    QTest::addColumn<int>("value");
    QTest::newRow("plain") << 1 << 3001 << 230;
    QTest::newRow("high bytes") << 0x10A << 0xABCD << 0x1FFFF;
    QTest::newRow("negative value") << 5 << 0 << -2;
}

void TestModbus::setSetBuf()
{
    QFETCH(int, address);
    QFETCH(int, reg);
    QFETCH(int, value);
    QByteArray buffer(12, char(0x77));
    QCOMPARE(mod_Set_SetBuf(u8(buffer), address, reg, value), 0);
    QByteArray body;
    body.append(char(address & 0xFF));
    body.append(char(6));
    body += be16(reg) + be16(value);
    QCOMPARE(buffer.left(8).toHex(), withCrc(body).toHex());
    QCOMPARE(buffer.mid(8), QByteArray(4, char(0x77)));
}

void TestModbus::buildCmd16_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("supplied");
    QTest::newRow("two, one supplied") << 2 << 1;
    QTest::newRow("none") << 0 << 0;
    QTest::newRow("one, none supplied") << 1 << 0;
    QTest::newRow("three, all") << 3 << 3;
    QTest::newRow("more supplied than asked") << 2 << 5;
    QTest::newRow("sixty") << 60 << 40;
}

void TestModbus::buildCmd16()
{
    QFETCH(int, count);
    QFETCH(int, supplied);
    QByteArray data;
    for (int i = 0; i < qMax(count, supplied); ++i)
        data += be16(0x1000 + 0x0101 * i);
    const int length = count * 2 + 9;
    QByteArray buffer(length + 6, char(0x33));
    QCOMPARE(::buildCmd16(u8(buffer), 9, 0x0BB8, count, supplied,
                          reinterpret_cast<const unsigned char*>(data.constData())),
             length);
    QByteArray body;
    body.append(char(9));
    body.append(char(16));
    body += be16(0x0BB8) + be16(count);
    body.append(char((count * 2) & 0xFF));
    for (int i = 0; i < count; ++i)
        body += i < supplied ? data.mid(2 * i, 2) : QByteArray(2, '\0');
    QCOMPARE(buffer.left(length).toHex(), withCrc(body).toHex());
    QCOMPARE(buffer.mid(length), QByteArray(6, char(0x33)));
}

void TestModbus::nullBuffers()
{
    unsigned char frame[16] = {};
    QCOMPARE(::buildCmd(nullptr, 1, 3, 0, 1), -1);
    QCOMPARE(mod_Set_SetBuf(nullptr, 1, 1, 1), -1);
    QCOMPARE(::buildCmd16(nullptr, 1, 0, 1, 0, frame), -1);
    // A count of -3 makes a frame too short for a CRC.
    QCOMPARE(::buildCmd16(frame, 1, 0, -3, 0, frame), -1);
}

void TestModbus::joinBytes_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<uint>("value16");
    QTest::addColumn<uint>("value32");
    QTest::newRow("small") << QByteArray::fromHex("00010002") << 1u << 0x00010002u;
    QTest::newRow("high bits") << QByteArray::fromHex("ff80fe01") << 0xff80u << 0xff80fe01u;
    QTest::newRow("zero") << QByteArray::fromHex("00000000") << 0u << 0u;
}

void TestModbus::joinBytes()
{
    QFETCH(QByteArray, bytes);
    QFETCH(uint, value16);
    QFETCH(uint, value32);
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.constData());
    QCOMPARE(uint(UINT8_2_to_UINT16(p)), value16);
    QCOMPARE(uint(UINT8_4_to_UINT32(p)), value32);
}

void TestModbus::filtSpace_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("offset");
    QTest::newRow("two spaces") << QByteArray("  ab") << 2;
    QTest::newRow("tab kept") << QByteArray("\tab") << 0;
    QTest::newRow("space then tab") << QByteArray(" \t x") << 1;
    QTest::newRow("no space") << QByteArray("a b") << 0;
    QTest::newRow("only spaces") << QByteArray("   ") << 3;
    QTest::newRow("empty") << QByteArray("") << 0;
}

void TestModbus::filtSpace()
{
    QFETCH(QByteArray, text);
    QFETCH(int, offset);
    const QByteArray before = text;
    const char* begin = text.constData();
    QCOMPARE(FiltSpace(begin) - begin, ptrdiff_t(offset));
    QCOMPARE(text, before);
}

QTEST_APPLESS_MAIN(TestModbus)
#include "tst_comm_modbus.moc"
