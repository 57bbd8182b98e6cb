// ThreadSanitizer build only: proves that the sanitizer stage still reports
// a race between two threads of ours, and only then. Each row runs one
// hand-over in a child copy of this program, inside a QtTest test function
// and under the suite's suppressions, and reads the child's report. A
// suppression broad enough to hide the unordered row (one naming QtTest's
// runner, say) fails this test; so does a hand-over of Qt's that the
// sanitizer no longer sees.

#include <QAtomicInt>
#include <QMutex>
#include <QProcess>
#include <QThread>
#include <QtTest>

#include <memory>

namespace {

int shared = 0; // the plain variable the threads share
QAtomicInt written;
QMutex sharedLock;

// Out of line, so the report names it.
Q_NEVER_INLINE void racingWrite(int value)
{
    shared = value;
}

// Lets the other thread go first without ordering the two for the
// sanitizer: a relaxed atomic is no hand-over.
void awaitWritten()
{
    while (written.loadRelaxed() == 0)
        QThread::yieldCurrentThread();
}

} // namespace

// The child's side: one hand-over, named by the row.
class Handover : public QObject
{
    Q_OBJECT
private slots:
    void run_data()
    {
        QTest::addColumn<int>("order");
        QTest::newRow("unordered") << 0;
        QTest::newRow("orderedByMutex") << 1;
        QTest::newRow("orderedByWait") << 2;
    }

    void run()
    {
        QFETCH(int, order);
        QMutex* const lock = order == 1 ? &sharedLock : nullptr;   // a null QMutex locks nothing
        std::unique_ptr<QThread> thread(QThread::create([lock] {
            const QMutexLocker locker(lock);
            racingWrite(1);
            written.storeRelaxed(1);
        }));
        thread->start();
        if (order == 2)
            thread->wait();
        awaitWritten();
        {
            const QMutexLocker locker(lock);
            racingWrite(2);
        }
        thread->wait();
        QCOMPARE(shared, 2);
    }
};

class TsanCanary : public QObject
{
    Q_OBJECT
private slots:
    void handover_data()
    {
        QTest::addColumn<QString>("handover");
        QTest::addColumn<bool>("reported");
        QTest::newRow("two threads of ours, unordered") << "unordered" << true;
        QTest::newRow("ordered by a QMutex") << "orderedByMutex" << false;
        QTest::newRow("ordered by QThread::wait") << "orderedByWait" << false;
    }

    void handover()
    {
        QFETCH(QString, handover);
        QFETCH(bool, reported);
        QProcess child;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("VEK5_TSAN_HANDOVER", handover);
        child.setProcessEnvironment(environment);
        child.setProcessChannelMode(QProcess::MergedChannels);
        child.start(QCoreApplication::applicationFilePath(), {"run:" + handover});
        QVERIFY(child.waitForFinished(120000));
        const QString output = QString::fromLocal8Bit(child.readAll());
        const bool raced = output.contains("WARNING: ThreadSanitizer: data race");
        QVERIFY2(raced == reported, qPrintable(output));
        if (reported) {
            QVERIFY2(output.contains("racingWrite"), qPrintable(output));
            QCOMPARE(child.exitCode(), 66); // the sanitizer's exit status: the stage fails on it
            qInfo("canary: the race in racingWrite was reported, exit status 66");
        } else {
            QCOMPARE(child.exitCode(), 0);
        }
    }
};

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (qEnvironmentVariableIsSet("VEK5_TSAN_HANDOVER")) {
        Handover handover;
        return QTest::qExec(&handover, argc, argv);
    }
    TsanCanary canary;
    return QTest::qExec(&canary, argc, argv);
}

#include "tst_tsan_canary.moc"
