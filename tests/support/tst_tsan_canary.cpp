// ThreadSanitizer build only: the sanitizer stage still reports a race between two threads of ours, and
// only then. Each row runs in a child copy under the suite's suppressions, so a suppression hiding the
// unordered row fails this test, as does a hand-over of Qt's the sanitizer no longer sees.

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

// Lets the other thread go first without ordering the two: a relaxed atomic is no hand-over.
void awaitWritten()
{
    while (written.loadRelaxed() == 0)
        QThread::yieldCurrentThread();
}

} // namespace

class TsanCanary : public QObject
{
    Q_OBJECT
private slots:
    void handover_data()
    {
        QTest::addColumn<int>("order");
        QTest::addColumn<bool>("reported");
        QTest::newRow("two threads of ours, unordered") << 0 << true;
        QTest::newRow("ordered by a QMutex") << 1 << false;
        QTest::newRow("ordered by QThread::wait") << 2 << false;
    }

    void handover()
    {
        QFETCH(int, order);
        QFETCH(bool, reported);
        if (qEnvironmentVariableIsSet("VEK5_TSAN_CHILD")) {
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
            return;
        }
        QProcess child;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("VEK5_TSAN_CHILD", "1");
        child.setProcessEnvironment(environment);
        child.setProcessChannelMode(QProcess::MergedChannels);
        child.start(QCoreApplication::applicationFilePath(), {QString("handover:") + QTest::currentDataTag()});
        QVERIFY(child.waitForFinished(120000));
        const QString output = QString::fromLocal8Bit(child.readAll());
        QVERIFY2(output.contains("WARNING: ThreadSanitizer: data race") == reported, qPrintable(output));
        QVERIFY2(!reported || output.contains("racingWrite"), qPrintable(output));
        QCOMPARE(child.exitCode(), reported ? 66 : 0);   // 66: the sanitizer's exit status, which fails the stage
        if (reported)
            qInfo("canary: the race in racingWrite was reported, exit status 66");
    }
};

QTEST_GUILESS_MAIN(TsanCanary)
#include "tst_tsan_canary.moc"
