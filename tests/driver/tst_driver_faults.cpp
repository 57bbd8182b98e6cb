// The driver library against a scripted peer: a port handle whose read and
// write entries are this test's own functions, answering each request from a
// script that can corrupt, cut, delay, split or replace the answer.

#include "DriverFixture.h"
#include "modbus.h"
#include "registermap.h"

#include <QElapsedTimer>
#include <QFile>
#include <QtTest>

namespace {

enum class Fault {
    None,
    BadCrc,
    Truncated,
    Exception,
    WrongAddress,
    WrongFunction,
    WrongByteCount,
    Silent,
    OneBytePieces,
    GarbageFirst,
    OtherAnswerFirst,
    TrailingBytes,
    WrongEcho,
};

struct Script
{
    Fault fault = Fault::None;
    int target = 0;                 // request index the fault applies to
    QByteArray line;                // bytes waiting to be read
    QList<QByteArray> requests;
    int historyRecords = 0;
};

Script* g_script = nullptr;

QByteArray withCrc(QByteArray frame)
{
    frame.append(2, '\0');
    setModbusCRC(reinterpret_cast<unsigned char*>(frame.data()), frame.size());
    return frame;
}

// Data byte `i` of the answer to request number `index`: distinct per
// request, so a value tells which answer it came from.
char fillFor(int index)
{
    return char(0x11 * (index + 1));
}

QByteArray readAnswer(const QByteArray& request, int index, char fill)
{
    const int function = quint8(request[1]);
    const int start = quint8(request[2]) << 8 | quint8(request[3]);
    const int count = quint8(request[4]) << 8 | quint8(request[5]);
    QByteArray frame;
    frame.append(request[0]).append(char(function));
    if (function == 4 && start == regmap::kHistoryCountRegister) {
        frame.append(char(2)).append(char(g_script->historyRecords >> 8)).append(char(g_script->historyRecords & 0xFF));
        return withCrc(frame);
    }
    const int bytes = function == 2 ? (count + 7) / 8 : count * 2;
    frame.append(char(bytes));
    for (int i = 0; i < bytes; ++i)
        frame.append(start >= regmap::kHistoryFirstRegister ? char(index + i) : fill);
    return withCrc(frame);
}

QByteArray answerTo(const QByteArray& request, int index)
{
    const int function = quint8(request[1]);
    if (function == 6)
        return request;
    if (function == 16)
        return withCrc(request.left(6));
    return readAnswer(request, index, fillFor(index));
}

int scriptedWrite(PortHandle*, char* buffer, int length)
{
    Script& s = *g_script;
    const QByteArray request(buffer, length);
    const int index = s.requests.size();
    s.requests << request;
    QByteArray answer = answerTo(request, index);
    if (index != s.target || s.fault == Fault::None) {
        s.line += answer;
        return length;
    }
    switch (s.fault) {
    case Fault::BadCrc: answer[answer.size() - 1] = char(answer.back() ^ 0x5A); break;
    case Fault::Truncated: answer.chop(3); break;
    case Fault::Exception: {
        const char pdu[] = {request.at(0), char(quint8(request.at(1)) | 0x80), 2};
        answer = withCrc(QByteArray(pdu, 3));
        break;
    }
    case Fault::WrongAddress: answer[0] = char(request[0] + 1); answer = withCrc(answer.left(answer.size() - 2)); break;
    case Fault::WrongFunction: answer[1] = char(answer.at(1) == 3 ? 4 : 3); answer = withCrc(answer.left(answer.size() - 2)); break;
    case Fault::WrongByteCount: answer[2] = char(answer.at(2) - 2); answer = withCrc(answer.left(answer.size() - 4)); break;
    case Fault::Silent: answer.clear(); break;
    case Fault::GarbageFirst: answer.prepend("\xff\x00\x13", 3); break;
    case Fault::OtherAnswerFirst: {
        // A complete, valid answer of another shape (a 110-register read).
        QByteArray other = request;
        other[1] = 3; other[4] = 0; other[5] = 110;
        answer.prepend(readAnswer(other, 99, char(0x7E)));
        break;
    }
    case Fault::TrailingBytes: answer.append("\x01\x02\x03", 3); break;
    case Fault::WrongEcho: answer[3] = char(answer[3] + 1); answer = withCrc(answer.left(answer.size() - 2)); break;
    case Fault::None: case Fault::OneBytePieces: break;
    }
    s.line += answer;
    return length;
}

int scriptedRead(PortHandle*, char* buffer, int length)
{
    Script& s = *g_script;
    int n = qMin(length, s.line.size());
    if (s.fault == Fault::OneBytePieces)
        n = qMin(n, 1);
    memcpy(buffer, s.line.constData(), size_t(n));
    s.line.remove(0, n);
    return n;   // 0: nothing arrived within the (instant) timeout
}

PortHandle g_handle = {&g_script, scriptedRead, scriptedWrite};

int totalPoints()
{
    int n = 0;
    for (const regmap::Field& f : regmap::kFields)
        n += f.points;
    return n;
}

} // namespace

Q_DECLARE_METATYPE(Fault)

class tst_driver_faults : public QObject
{
    Q_OBJECT

    DriverLib m_driver;
    Script m_script;

private slots:
    void initTestCase();
    void init();
    void queryAnswers_data();
    void queryAnswers();
    void lateAnswerIsDrained();
    void controlAnswers_data();
    void controlAnswers();
    void badInput_data();
    void badInput();
    void historyLines();
    void historyCountTooLarge();
};

void tst_driver_faults::initTestCase()
{
    QVERIFY(m_driver.load());
    g_script = &m_script;
}

void tst_driver_faults::init()
{
    m_script = Script();
}

void tst_driver_faults::queryAnswers_data()
{
    QTest::addColumn<Fault>("fault");
    QTest::addColumn<int>("target");
    QTest::addColumn<int>("result");
    QTest::newRow("clean") << Fault::None << 0 << 1;
    QTest::newRow("bad CRC") << Fault::BadCrc << 2 << 0;
    QTest::newRow("truncated") << Fault::Truncated << 3 << 0;
    QTest::newRow("exception") << Fault::Exception << 1 << 0;
    QTest::newRow("other unit's address") << Fault::WrongAddress << 0 << 0;
    QTest::newRow("wrong function code") << Fault::WrongFunction << 1 << 0;
    QTest::newRow("wrong byte count") << Fault::WrongByteCount << 2 << 0;
    QTest::newRow("silent on the second block") << Fault::Silent << 1 << 0;
    QTest::newRow("answers a byte at a time") << Fault::OneBytePieces << 0 << 1;
    QTest::newRow("leftover bytes before the answer") << Fault::GarbageFirst << 1 << 1;
    QTest::newRow("another block's answer first") << Fault::OtherAnswerFirst << 1 << 1;
    QTest::newRow("trailing bytes") << Fault::TrailingBytes << 0 << 1;
}

void tst_driver_faults::queryAnswers()
{
    QFETCH(Fault, fault);
    QFETCH(int, target);
    QFETCH(int, result);
    m_script.fault = fault;
    m_script.target = target;
    PointSink sink;
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(m_driver.query(&g_handle, 7, PointSink::collect, &sink), result);
    const qint64 elapsed = timer.elapsed();
    if (result == 0) {
        // Nothing of a failed read reaches the caller, and the read stops at
        // the failing block: no further requests, one timeout at most.
        QVERIFY(sink.calls.isEmpty());
        QCOMPARE(m_script.requests.size(), target + 1);
        QVERIFY2(elapsed < 1600, qPrintable(QString::number(elapsed)));
        return;
    }
    QCOMPARE(m_script.requests.size(), regmap::kBlockCount);
    QCOMPARE(sink.calls.size(), totalPoints());
    for (const QByteArray& request : m_script.requests)
        QCOMPARE(quint8(request[0]), quint8(7));
    // The identity block is the second answer: its text bytes carry its fill.
    QCOMPARE(int(sink.values.value(4000)), int(quint8(fillFor(1))));
    QVERIFY(m_script.line.isEmpty() || fault == Fault::TrailingBytes);
}

void tst_driver_faults::lateAnswerIsDrained()
{
    // The first query gets no answer to its first request in time...
    m_script.fault = Fault::Silent;
    m_script.target = 0;
    PointSink first;
    QCOMPARE(m_driver.query(&g_handle, 7, PointSink::collect, &first), 0);
    // ...which then arrives late, all alarm bits set.
    m_script.line = readAnswer(m_script.requests[0], 0, char(0xFF));
    m_script.fault = Fault::None;
    m_script.requests.clear();
    PointSink second;
    QCOMPARE(m_driver.query(&g_handle, 7, PointSink::collect, &second), 1);
    // The same request follows the abandoned one, so a one-register probe
    // goes first; the alarm block is the second request, answered with the
    // fill 0x22: bits 1 and 5.
    QCOMPARE(m_script.requests.size(), regmap::kBlockCount + 1);
    QCOMPARE(m_script.requests[0].left(6).toHex(), QByteArray("070300000001"));
    QCOMPARE(second.values.value(2000), 0.0f);
    QCOMPARE(second.values.value(2001), 1.0f);
    QCOMPARE(second.values.value(2007), 0.0f);
}

void tst_driver_faults::controlAnswers_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<Fault>("fault");
    QTest::addColumn<int>("result");
    QTest::addColumn<QByteArray>("request");   // hex of the request sent
    QTest::newRow("buzzer on") << QByteArray("17,") << Fault::None << 0
                               << QByteArray("0710020000020400110000");
    QTest::newRow("discharge test 30 min") << QByteArray("0,30") << Fault::None << 0
                                           << QByteArray("071002000002040000001e");
    QTest::newRow("setting, one register") << QByteArray("3017,48") << Fault::None << 0
                                           << QByteArray("070600110030");
    QTest::newRow("text, function 16") << QByteArray("3077,AB") << Fault::None << 0
                                       << QByteArray("0710004d00050a41420000000000000000");
    QTest::newRow("system time, function 16") << QByteArray("3103,24,05,06,12,30,00") << Fault::None << 0
                                              << QByteArray("0710005a000306180506 0c1e00").replace(' ', "");
    QTest::newRow("exception") << QByteArray("17,") << Fault::Exception << 1 << QByteArray("071002000002040011");
    QTest::newRow("wrong echo") << QByteArray("3017,48") << Fault::WrongEcho << 1 << QByteArray("0706001100");
    QTest::newRow("silent") << QByteArray("18,") << Fault::Silent << 1 << QByteArray("07100200");
    QTest::newRow("bad CRC") << QByteArray("3017,48") << Fault::BadCrc << 1 << QByteArray("07060011");
}

void tst_driver_faults::controlAnswers()
{
    QFETCH(QByteArray, command);
    QFETCH(Fault, fault);
    QFETCH(int, result);
    QFETCH(QByteArray, request);
    m_script.fault = fault;
    QCOMPARE(m_driver.control(&g_handle, 7, command.constData(), nullptr), result);
    QCOMPARE(m_script.requests.size(), 1);
    const QByteArray sent = m_script.requests[0];
    QVERIFY2(sent.toHex().startsWith(request), sent.toHex().constData());
    QCOMPARE(checkModbufCRC(reinterpret_cast<unsigned char*>(const_cast<char*>(sent.constData())), sent.size()), 0);
}

void tst_driver_faults::badInput_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<int>("address");
    QTest::newRow("no comma") << QByteArray("17") << 7;
    QTest::newRow("letters for a code") << QByteArray("x,1") << 7;
    QTest::newRow("negative code") << QByteArray("-3,1") << 7;
    QTest::newRow("argument not a number") << QByteArray("18,on") << 7;
    QTest::newRow("argument too large") << QByteArray("0,70000") << 7;
    QTest::newRow("unknown point") << QByteArray("2999,1") << 7;
    QTest::newRow("alarm point") << QByteArray("2022,1") << 7;
    QTest::newRow("too long") << QByteArray(200, '7') << 7;
    QTest::newRow("address 0") << QByteArray("17,") << 0;
    QTest::newRow("address 248") << QByteArray("17,") << 248;
}

void tst_driver_faults::badInput()
{
    QFETCH(QByteArray, command);
    QFETCH(int, address);
    QCOMPARE(m_driver.control(&g_handle, address, command.constData(), nullptr), 1);
    QVERIFY(m_script.requests.isEmpty());
    PortHandle noRead = {nullptr, nullptr, scriptedWrite};
    QCOMPARE(m_driver.control(&noRead, 7, "17,", nullptr), 1);
    QCOMPARE(m_driver.control(nullptr, 7, "17,", nullptr), 1);
    QCOMPARE(m_driver.control(&g_handle, 7, nullptr, nullptr), 1);
    PointSink sink;
    QCOMPARE(m_driver.query(nullptr, 7, PointSink::collect, &sink), 0);
    QCOMPARE(m_driver.query(&g_handle, 7, nullptr, &sink), 0);
    if (address != 7)
        QCOMPARE(m_driver.query(&g_handle, address, PointSink::collect, &sink), 0);
    QVERIFY(m_script.requests.isEmpty());
}

void tst_driver_faults::historyLines()
{
    m_script.historyRecords = 27;   // two pages: 25 and 2
    QFile::remove("history.txt");
    QCOMPARE(m_driver.control(&g_handle, 7, "20,export.csv", nullptr), 0);
    QCOMPARE(m_script.requests.size(), 3);
    QFile file("history.txt");
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = file.readAll().split('\n');
    QCOMPARE(lines.size(), 28);   // 27 lines and the empty rest after the last line feed
    // The scripted records are bytes index+i, i counting through the page:
    // record r of page p starts at byte 10 * (r - 25 p).
    for (int r = 0; r < 27; ++r) {
        const int page = r / 25;
        const int base = page + 1 + 10 * (r % 25);
        const QList<QByteArray> fields = lines[r].split(' ');
        QCOMPARE(fields.size(), 8);
        QCOMPARE(fields[0].toInt(), (base & 0xFF) << 8 | ((base + 1) & 0xFF));
        QCOMPARE(fields[1].toInt(), ((base + 2) & 0xFF) << 8 | ((base + 3) & 0xFF));
        for (int k = 0; k < 6; ++k)
            QCOMPARE(fields[2 + k].toInt(), (base + 4 + k) & 0xFF);
    }
}

void tst_driver_faults::historyCountTooLarge()
{
    m_script.historyRecords = regmap::kHistoryMaxRecords + 1;
    QCOMPARE(m_driver.control(&g_handle, 7, "20,", nullptr), 1);
    QCOMPARE(m_script.requests.size(), 1);
}

QTEST_GUILESS_MAIN(tst_driver_faults)
#include "tst_driver_faults.moc"
