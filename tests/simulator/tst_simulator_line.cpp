// One multi-drop RTU line: upssim serves units 1-3 on a socat pty pair, and
// three collectors, one per address, poll them through the one port that a
// shared port manager keeps for the line, taking turns on its lock.

#include "PortManage.h"
#include "SerialPort.h"
#include "SimulatorRig.h"
#include "vek5Client.h"

#include <QDir>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QtTest>

#include <memory>
#include <vector>

using DataMap = QMap<int, QVariant>;

class tst_simulator_line : public QObject
{
    Q_OBJECT

private slots:
    void threeUnitsOneLine();
};

namespace {

// The data records of one collector, and whether it ever lost its unit.
struct Reads
{
    QMutex lock;
    int count = 0;
    int lost = 0;
    DataMap last;
};

} // namespace

void tst_simulator_line::threeUnitsOneLine()
{
    const QString socat = QStandardPaths::findExecutable("socat");
    if (socat.isEmpty())
        QSKIP("socat is not installed");
    const QString hostEnd = QDir::current().absoluteFilePath("ttyLine0");
    const QString unitEnd = QDir::current().absoluteFilePath("ttyLine1");
    QProcess line;
    line.start(socat, {"pty,raw,echo=0,link=" + hostEnd, "pty,raw,echo=0,link=" + unitEnd});
    const auto stopLine = qScopeGuard([&line] { line.terminate(); line.waitForFinished(5000); });
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(hostEnd) && QFile::exists(unitEnd), 10000);

    // Unit 2 alone runs on battery.
    QFile scenario("mains-off.scn");
    QVERIFY(scenario.open(QIODevice::WriteOnly) && scenario.write("at 0 mains off\n") > 0);
    scenario.close();
    SimulatorRig sim;
    QVERIFY2(sim.start({"--no-tcp", "--rtu", unitEnd + ",9600,N,8,1", "--units", "3", "--scenario",
                        "2=" + QFileInfo(scenario).absoluteFilePath()}, "serving units 1-3"), qPrintable(sim.output));

    PortManage manager;
    Reads reads[3];
    QElapsedTimer clock;
    clock.start();
    std::vector<std::unique_ptr<vek5Client>> collectors;
    const auto stopCollectors = qScopeGuard([&collectors] {
        for (auto& c : collectors) {
            c->quit();
            c->wait(20000);
        }
    });
    for (int i = 0; i < 3; ++i) {
        auto c = std::make_unique<vek5Client>();
        c->m_portHandle = &manager;
        c->m_devAddr = i + 1;
        c->m_retries = 1;   // any failed read counts
        c->setPort(hostEnd, "9600,n,8,1");
        Reads* r = &reads[i];
        connect(c.get(), &CollectThread::postDEvent, c.get(), [r](int type, QMap<QString, QVariant> record) {
            QMutexLocker locker(&r->lock);
            r->lost += type == 1041 ? 1 : 0;
            if (type == 2007) {
                ++r->count;
                r->last = record.value("data").value<DataMap>();
            }
        }, Qt::DirectConnection);
        c->start();
        collectors.push_back(std::move(c));
    }
    const auto count = [&reads](int i) { QMutexLocker locker(&reads[i].lock); return reads[i].count; };
    const auto fewest = [&count] { return std::min({count(0), count(1), count(2)}); };

    // Each one reads its own unit.
    QTRY_VERIFY_WITH_TIMEOUT(fewest() >= 2, 30000);
    for (int i = 0; i < 3; ++i) {
        QMutexLocker locker(&reads[i].lock);
        QCOMPARE(reads[i].last.value(3002).toInt(), i + 1);
        QCOMPARE(reads[i].last.value(2021).toInt(), i == 1 ? 1 : 0);
    }

    // Three rounds of full reads, for the time of one round.
    const int from = fewest();
    const qint64 started = clock.elapsed();
    QTRY_VERIFY_WITH_TIMEOUT(fewest() >= from + 3, 60000);
    qInfo("full read of the three units at 9600 baud: %.1f ms", double(clock.elapsed() - started) / 3);

    // While the line's lock is held elsewhere, none of them gets past the
    // read that was under way. (No events run meanwhile: the manager's own
    // tick would wait for the lock too.)
    SerialPort* port = manager.getPortHandle(hostEnd);
    QVERIFY(port);
    port->Lock();
    const int held[3] = {count(0), count(1), count(2)};
    QThread::msleep(3000);
    const int during[3] = {count(0), count(1), count(2)};
    port->UnLock();
    for (int i = 0; i < 3; ++i) {
        QVERIFY2(during[i] - held[i] <= 1, qPrintable(QString("unit %1 read %2 times").arg(i + 1).arg(during[i] - held[i])));
        QTRY_VERIFY_WITH_TIMEOUT(count(i) >= during[i] + 2, 30000);
        QMutexLocker locker(&reads[i].lock);
        QCOMPARE(reads[i].lost, 0);
    }
}

QTEST_MAIN(tst_simulator_line)
#include "tst_simulator_line.moc"
