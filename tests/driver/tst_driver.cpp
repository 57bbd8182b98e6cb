// The driver library against a scripted faulty peer and the simulator over Modbus TCP; the register map.

#include "TestRig.h"
#include "modbus.h"
#include "portaccess.h"
#include "registermap.h"

#include <QtTest>

#include <atomic>
#include <numeric>
#include <thread>

namespace {

enum class Fault { None, BadCrc, Truncated, Exception, WrongAddress, WrongByteCount, Silent,
                   OneBytePieces, GarbageFirst, OtherAnswerFirst, TrailingBytes, WrongEcho };

struct Script
{
    Fault fault = Fault::None;
    int target = 0;            // request index the fault applies to
    QByteArray line;           // bytes waiting to be read
    QList<QByteArray> requests;
    int historyRecords = 0;
} g_script;

// Data bytes distinct per request, so a value tells which answer it came from.
char fillFor(int index) { return char(0x11 * (index + 1)); }

QByteArray readAnswer(const QByteArray& request, int index, char fill)
{
    const int function = quint8(request[1]);
    const int start = quint8(request[2]) << 8 | quint8(request[3]);
    const int count = quint8(request[4]) << 8 | quint8(request[5]);
    QByteArray frame;
    frame.append(request[0]).append(char(function));
    if (function == 4 && start == regmap::kHistoryCountRegister)
        return withCrc(frame.append(char(2)).append(char(g_script.historyRecords >> 8)).append(char(g_script.historyRecords)));
    const int bytes = function == 2 ? (count + 7) / 8 : count * 2;
    frame.append(char(bytes));
    for (int i = 0; i < bytes; ++i)
        frame.append(start >= regmap::kHistoryFirstRegister ? char(index + i) : fill);
    return withCrc(frame);
}

QByteArray recrc(const QByteArray& answer) { return withCrc(answer.left(answer.size() - 2)); }

int scriptedWrite(PortHandle*, char* buffer, int length)
{
    Script& s = g_script;
    const QByteArray request(buffer, length);
    const int index = s.requests.size();
    s.requests << request;
    const int function = quint8(request[1]);
    QByteArray answer = function == 6 ? request : function == 16 ? withCrc(request.left(6))
                                                                 : readAnswer(request, index, fillFor(index));
    if (index == s.target) {
        switch (s.fault) {
        case Fault::BadCrc: answer[answer.size() - 1] = char(answer.back() ^ 0x5A); break;
        case Fault::Truncated: answer.chop(3); break;
        case Fault::Exception: answer = withCrc(QByteArray(1, request[0]).append(char(function | 0x80)).append(2)); break;
        case Fault::WrongAddress: answer[0] = char(request[0] + 1); answer = recrc(answer); break;
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
        case Fault::WrongEcho: answer[3] = char(answer[3] + 1); answer = recrc(answer); break;
        case Fault::None: case Fault::OneBytePieces: break;
        }
    }
    s.line += answer;
    return length;
}

int scriptedRead(PortHandle*, char* buffer, int length)
{
    int n = qMin(length, g_script.line.size());
    if (g_script.fault == Fault::OneBytePieces)
        n = qMin(n, 1);
    memcpy(buffer, g_script.line.constData(), size_t(n));
    g_script.line.remove(0, n);
    return n;   // 0: nothing within the (instant) timeout
}

PortHandle g_scripted = {&g_script, scriptedRead, scriptedWrite};

struct PointSink
{
    QMap<int, float> values;
    static void collect(int id, float value, void* context) { static_cast<PointSink*>(context)->values[id] = value; }
    QByteArray text(int first, int count) const
    {
        QByteArray bytes;
        for (int i = 0; i < count && char(int(values.value(first + i))) != 0; ++i)
            bytes.append(char(int(values.value(first + i))));
        return bytes;
    }
};

int totalPoints()
{
    return std::accumulate(std::begin(regmap::kFields), std::end(regmap::kFields), 0,
                           [](int n, const regmap::Field& f) { return n + f.points; });
}

} // namespace

Q_DECLARE_METATYPE(Fault)

class tst_driver : public QObject
{
    Q_OBJECT

    QLibrary m_lib {qEnvironmentVariable("VEK5_BIN_DIR") + "/libvek5m_10-30k"};   // the real driver
    QueryFunc m_query = nullptr;
    ControlFunc m_control = nullptr;
    SimProcess m_sim;   // 64 frozen units over TCP, alarm 325 raised
    QTcpSocket m_socket;

    bool query(int unit, PointSink& sink, QTcpSocket* socket = nullptr)
    {
        PortHandle handle = {socket ? socket : &m_socket, TcpCommRead, TcpCommWrite};
        return m_query(&handle, unit, PointSink::collect, &sink) != 0;
    }
    int control(int unit, const char* text)
    {
        PortHandle handle = {&m_socket, TcpCommRead, TcpCommWrite};
        return m_control(&handle, unit, text, nullptr);
    }
    void checkPoint(const PointSink& sink, int point, const QByteArray& expected)
    {
        const regmap::Field* field = regmap::findField(point);
        QVERIFY(field != nullptr);
        if (field->encoding == regmap::Text || field->encoding == regmap::Date)
            QCOMPARE(sink.text(point, field->points), expected);
        else
            QCOMPARE(sink.values.value(point), expected.toFloat());
    }

private slots:
    void init() { g_script = Script(); }

    void initTestCase()
    {
        m_query = reinterpret_cast<QueryFunc>(m_lib.resolve("Query"));
        m_control = reinterpret_cast<ControlFunc>(m_lib.resolve("Control"));
        QVERIFY2(m_query && m_control, "driver library did not load");
        QVERIFY(writeFile("tcp-fault.scn", "at 0 fault 325 on\n"));
        QVERIFY2(m_sim.start({"--units", "64", "--speed", "0", "--scenario", "tcp-fault.scn"}), qPrintable(m_sim.output()));
        m_socket.connectToHost("127.0.0.1", quint16(m_sim.port()));
        QVERIFY(m_socket.waitForConnected(10000));
    }

    void scriptedQuery_data()
    {
        QTest::addColumn<Fault>("fault");
        QTest::addColumn<int>("target");
        QTest::addColumn<int>("result");
        QTest::newRow("clean") << Fault::None << 0 << 1;
        QTest::newRow("bad CRC") << Fault::BadCrc << 2 << 0;
        QTest::newRow("truncated") << Fault::Truncated << 3 << 0;
        QTest::newRow("exception") << Fault::Exception << 1 << 0;
        QTest::newRow("other unit's address") << Fault::WrongAddress << 0 << 0;
        QTest::newRow("wrong byte count") << Fault::WrongByteCount << 2 << 0;
        QTest::newRow("silent on the second block") << Fault::Silent << 1 << 0;
        QTest::newRow("answers a byte at a time") << Fault::OneBytePieces << 0 << 1;
        QTest::newRow("leftover bytes before the answer") << Fault::GarbageFirst << 1 << 1;
        QTest::newRow("another block's answer first") << Fault::OtherAnswerFirst << 1 << 1;
        QTest::newRow("trailing bytes") << Fault::TrailingBytes << 0 << 1;
    }

    void scriptedQuery()
    {
        QFETCH(Fault, fault);
        QFETCH(int, target);
        QFETCH(int, result);
        g_script.fault = fault;
        g_script.target = target;
        PointSink sink;
        QCOMPARE(m_query(&g_scripted, 7, PointSink::collect, &sink), result);
        if (result == 0) {
            // Nothing of a failed read reaches the caller, and it stops at the failing block.
            QVERIFY(sink.values.isEmpty());
            QCOMPARE(g_script.requests.size(), target + 1);
            return;
        }
        QCOMPARE(g_script.requests.size(), regmap::kBlockCount);
        QCOMPARE(sink.values.size(), totalPoints());
        for (const QByteArray& request : g_script.requests)
            QCOMPARE(quint8(request[0]), quint8(7));
        // The identity block is the second answer: its text bytes carry its fill.
        QCOMPARE(int(sink.values.value(4000)), int(quint8(fillFor(1))));
    }

    // No transaction numbers here: a late answer to an abandoned alarm-block request once passed for
    // the next query's, raising and clearing every alarm.
    void lateAnswerIsDrained()
    {
        g_script.fault = Fault::Silent;
        PointSink first;
        QCOMPARE(m_query(&g_scripted, 7, PointSink::collect, &first), 0);
        g_script.line = readAnswer(g_script.requests[0], 0, char(0xFF));   // arrives late, all alarms set
        g_script.fault = Fault::None;
        g_script.requests.clear();
        PointSink second;
        QCOMPARE(m_query(&g_scripted, 7, PointSink::collect, &second), 1);
        // A one-register probe first; the alarm block, second, has the fill 0x22: bits 1 and 5.
        QCOMPARE(g_script.requests.size(), regmap::kBlockCount + 1);
        QCOMPARE(g_script.requests[0].left(6).toHex(), QByteArray("070300000001"));
        QCOMPARE(second.values.value(2000), 0.0f);
        QCOMPARE(second.values.value(2001), 1.0f);
        QCOMPARE(second.values.value(2007), 0.0f);
    }

    void scriptedControl_data()
    {
        QTest::addColumn<QByteArray>("command");
        QTest::addColumn<Fault>("fault");
        QTest::addColumn<int>("result");
        QTest::addColumn<QByteArray>("request");   // hex the sent request starts with
        QTest::newRow("buzzer on") << QByteArray("17,") << Fault::None << 0 << QByteArray("0710020000020400110000");
        QTest::newRow("setting, one register") << QByteArray("3017,48") << Fault::None << 0 << QByteArray("070600110030");
        QTest::newRow("text, function 16") << QByteArray("3077,AB") << Fault::None << 0
                                           << QByteArray("0710004d00050a41420000000000000000");
        QTest::newRow("system time") << QByteArray("3103,24,05,06,12,30,00") << Fault::None << 0
                                     << QByteArray("0710005a0003061805060c1e00");
        QTest::newRow("exception") << QByteArray("17,") << Fault::Exception << 1 << QByteArray("071002000002040011");
        QTest::newRow("wrong echo") << QByteArray("3017,48") << Fault::WrongEcho << 1 << QByteArray("0706001100");
        QTest::newRow("silent") << QByteArray("18,") << Fault::Silent << 1 << QByteArray("07100200");
        QTest::newRow("bad CRC") << QByteArray("3017,48") << Fault::BadCrc << 1 << QByteArray("07060011");
        // Refused before anything goes on the line.
        for (const QByteArray& refused : {QByteArray("17"), QByteArray("-3,1"), QByteArray("0,70000"), QByteArray("2999,1"),
                                          QByteArray("2022,1"), QByteArray(200, '7'), QByteArray("@17,")})
            QTest::addRow("refused: %s", refused.left(20).constData()) << refused << Fault::None << 1 << QByteArray();
    }

    void scriptedControl()
    {
        QFETCH(QByteArray, command);
        QFETCH(Fault, fault);
        QFETCH(QByteArray, request);
        g_script.fault = fault;
        // "@": to address 0, which no unit has.
        const int address = command.startsWith('@') ? 0 : 7;
        QTEST(m_control(&g_scripted, address, command.mid(address ? 0 : 1).constData(), nullptr), "result");
        if (request.isEmpty()) {
            PointSink sink;
            QVERIFY(address != 0 || m_query(&g_scripted, 0, PointSink::collect, &sink) == 0);
            QVERIFY(g_script.requests.isEmpty());
            return;
        }
        QCOMPARE(g_script.requests.size(), 1);
        QByteArray sent = g_script.requests[0];
        QVERIFY2(sent.toHex().startsWith(request), sent.toHex().constData());
        QCOMPARE(checkModbufCRC(reinterpret_cast<unsigned char*>(sent.data()), sent.size()), 0);
    }

    void nullArguments()
    {
        PortHandle noRead = {nullptr, nullptr, scriptedWrite};
        QCOMPARE(m_control(&noRead, 7, "17,", nullptr), 1);
        QCOMPARE(m_control(nullptr, 7, "17,", nullptr), 1);
        QCOMPARE(m_control(&g_scripted, 7, nullptr, nullptr), 1);
        PointSink sink;
        QCOMPARE(m_query(nullptr, 7, PointSink::collect, &sink), 0);
        QCOMPARE(m_query(&g_scripted, 7, nullptr, &sink), 0);
        QVERIFY(g_script.requests.isEmpty());
    }

    void historyPages()
    {
        g_script.historyRecords = 27;   // two pages: 25 and 2
        QFile::remove("history.txt");
        QCOMPARE(m_control(&g_scripted, 7, "20,export.csv", nullptr), 0);
        QCOMPARE(g_script.requests.size(), 3);
        const QList<QByteArray> lines = readFile("history.txt").split('\n');
        QCOMPARE(lines.size(), 28);
        // Record r of page p carries the bytes p+1+10(r-25p) on.
        for (int r : {0, 24, 26}) {
            const int base = r / 25 + 1 + 10 * (r % 25);
            QList<int> expected {base << 8 | (base + 1), (base + 2) << 8 | (base + 3)};
            for (int k = 4; k < 10; ++k)
                expected << base + k;
            QList<int> fields;
            for (const QByteArray& field : lines[r].split(' '))
                fields << field.toInt();
            QCOMPARE(fields, expected);
        }
        g_script = Script();
        g_script.historyRecords = regmap::kHistoryMaxRecords + 1;
        QCOMPARE(m_control(&g_scripted, 7, "20,", nullptr), 1);
        QCOMPARE(g_script.requests.size(), 1);
    }

    void commandsAndSettings_data()
    {
        // Each row works on a unit of its own, fresh from the factory.
        QTest::addColumn<int>("unit");
        QTest::addColumn<QByteArray>("command");   // steps separated by ";", all but the last acknowledged
        QTest::addColumn<int>("result");
        QTest::addColumn<int>("point");
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QByteArray>("after");
        QTest::newRow("buzzer off") << 2 << QByteArray("18,") << 0 << 4260 << QByteArray("1") << QByteArray("0");
        QTest::newRow("transfer to bypass") << 3 << QByteArray("10,") << 0 << 4161 << QByteArray("2") << QByteArray("1");
        QTest::newRow("shutdown to bypass") << 4 << QByteArray("9,") << 0 << 4240 << QByteArray("2") << QByteArray("0");
        QTest::newRow("transfer back to inverter") << 18 << QByteArray("10,;11,") << 0 << 4161 << QByteArray("2") << QByteArray("2");
        QTest::newRow("buzzer on again") << 17 << QByteArray("18,;17,") << 0 << 4260 << QByteArray("1") << QByteArray("1");
        QTest::newRow("cancel battery test") << 35 << QByteArray("0,;3,") << 0 << 4259 << QByteArray("0") << QByteArray("0");
        QTest::newRow("discharge test of 10 min") << 7 << QByteArray("0,10") << 0 << 4259 << QByteArray("0") << QByteArray("1");
        QTest::newRow("clear fault") << 9 << QByteArray("12,") << 0 << 2325 << QByteArray("1") << QByteArray("0");
        QTest::newRow("start up after shutdown") << 19 << QByteArray("4,;7,") << 0 << 4223 << QByteArray("1") << QByteArray("1");
        QTest::newRow("unknown code refused by unit") << 11 << QByteArray("5,") << 1 << 4161 << QByteArray("2") << QByteArray("2");
        QTest::newRow("scaled setting") << 21 << QByteArray("3019,230") << 0 << 3019 << QByteArray("2.27") << QByteArray("2.3");
        QTest::newRow("text with comma") << 26 << QByteArray("3087,A,B") << 0 << 3087 << QByteArray("SimPower Ltd") << QByteArray("A,B");
        QTest::newRow("system time") << 28 << QByteArray("3103,24,05,06,12,30,00") << 0 << 3103
                                     << QByteArray() << QByteArray("\x18\x05\x06\x0c\x1e", 5);
        QTest::newRow("text too long") << 29 << QByteArray("3150,012345678901234") << 1 << 3150
                                       << QByteArray("00000000000000") << QByteArray("00000000000000");
        QTest::newRow("time field out of range") << 31 << QByteArray("3103,24,05,06,12,30,900") << 1 << 3017
                                                 << QByteArray("40") << QByteArray("40");
        QTest::newRow("register not carried") << 34 << QByteArray("3009,1") << 1 << 3017 << QByteArray("40") << QByteArray("40");
    }

    void commandsAndSettings()
    {
        QFETCH(int, unit);
        QFETCH(QByteArray, command);
        QFETCH(int, point);
        QFETCH(QByteArray, before);
        QFETCH(QByteArray, after);
        PointSink first;
        QVERIFY(query(unit, first));
        if (!before.isNull())
            checkPoint(first, point, before);
        const QList<QByteArray> steps = command.split(';');
        for (int i = 0; i < steps.size() - 1; ++i)
            QCOMPARE(control(unit, steps[i].constData()), 0);
        QTEST(control(unit, steps.last().constData()), "result");
        PointSink second;
        QVERIFY(query(unit, second));
        checkPoint(second, point, after);
    }

    // Four collector threads in one driver instance share the 64 units.
    void unitsInParallel()
    {
        std::atomic<int> good {0};
        std::vector<std::thread> threads;
        const quint16 port = quint16(m_sim.port());
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([this, t, port, &good] {
                QTcpSocket socket;
                socket.connectToHost("127.0.0.1", port);
                if (!socket.waitForConnected(10000))
                    return;
                for (int unit = 1 + t; unit <= 64; unit += 4) {
                    PointSink sink;
                    // The unit's own address, its name as text, a signed register.
                    if (query(unit, sink, &socket) && int(sink.values.value(3002)) == unit
                            && sink.text(4080, 16) == "UPS unit " + QByteArray::number(unit)
                            && sink.values.value(4104) < -100.0f)
                        ++good;
                }
            });
        }
        for (std::thread& t : threads)
            t.join();
        QCOMPARE(good.load(), 64);
    }

    // docs/register-map.md says what the table says; no block's answer can pass for another's.
    void registerMapDocument()
    {
        using namespace regmap;
        const QString text = QString::fromUtf8(readFile(QStringLiteral(VEK5_SOURCE_DIR "/docs/register-map.md")));
        const QRegularExpression row("^\\| (\\d+)(?:-(\\d+))? \\| ([234]) \\| (\\d+)(?:-(\\d+))? \\| (bit|number|text|date) \\| (\\d*) \\|",
                                     QRegularExpression::MultilineOption);
        const char* const encodings[] = {"bit", "number", "text", "date"};
        int rows = 0;
        for (auto it = row.globalMatch(text); it.hasNext(); ++rows) {
            const QRegularExpressionMatch m = it.next();
            const int first = m.captured(1).toInt();
            const Field* f = findField(first);
            QVERIFY2(f != nullptr && f->point == first, qPrintable(m.captured(0)));
            QCOMPARE(f->points, (m.captured(2).isEmpty() ? first : m.captured(2).toInt()) - first + 1);
            QCOMPARE(int(f->table), m.captured(3).toInt());
            const int address = m.captured(4).toInt();
            QCOMPARE(f->address, address);
            QCOMPARE(fieldWidth(*f), (m.captured(5).isEmpty() ? address : m.captured(5).toInt()) - address + 1);
            QCOMPARE(QString(encodings[f->encoding]), m.captured(6));
            if (f->encoding == Number)
                QCOMPARE(f->divisor, m.captured(7).toInt());
        }
        QCOMPARE(rows, kFieldCount);
        for (int i = 0; i < kBlockCount; ++i)
            for (int j = i + 1; j < kBlockCount; ++j) {
                const Block& a = kBlocks[i];
                const Block& b = kBlocks[j];
                const int bytesA = a.table == DiscreteInputs ? (a.count + 7) / 8 : 2 * a.count;
                const int bytesB = b.table == DiscreteInputs ? (b.count + 7) / 8 : 2 * b.count;
                QVERIFY(a.table != b.table || bytesA != bytesB);
            }
    }
};

QTEST_GUILESS_MAIN(tst_driver)
#include "tst_driver.moc"
