// upsmon-host as installed: the packaged pieces, and the shipped configuration. What the host's core
// and the program do is tst_host_monitor's.

#include "TestBytes.h"

#include <QtTest>

namespace {
const QString kPrefix = QStringLiteral(VEK5_INSTALL_PREFIX);
const QString kBin = kPrefix + "/" VEK5_INSTALL_BINDIR;
const QString kConf = QStringLiteral(VEK5_CONFDIR);
} // namespace

class tst_host_headless : public QObject
{
    Q_OBJECT
private slots:
    void installed()
    {
        const QString stage = QDir::current().absoluteFilePath("stage");
        QDir(stage).removeRecursively();
        QProcess install;
        QProcessEnvironment staged = QProcessEnvironment::systemEnvironment();
        staged.insert("DESTDIR", stage);
        install.setProcessEnvironment(staged);
        install.start(VEK5_CMAKE_COMMAND, {"--install", VEK5_BUILD_DIR});
        QVERIFY(install.waitForFinished(120000) && install.exitCode() == 0);
        const QString db = stage + kPrefix + "/" VEK5_PKGLIBDIR "/PVMX/drovaPanel/db";    // prefix /usr: absolute, to /etc
        QVERIFY(QFileInfo(db).symLinkTarget() != kConf || (QFile::remove(db) && QFile::link(stage + kConf, db)));
        const QList<QPair<QString, QString>> pieces{
            {kPrefix + "/lib/systemd/system/upsmon-host.service", "ExecStart=" + kBin + "/upsmon-host --headless"},
            {kPrefix + "/lib/udev/rules.d/60-vek5m-rs485.rules", "/dev/serial/by-id"},
            {kPrefix + "/" VEK5_PKGLIBDIR "/libvek5m_10-30k_Client.so", ""},
            {kPrefix + "/" VEK5_INSTALL_LIBDIR "/libvek5m_10-30k.so", ""},
            {kPrefix + "/" VEK5_PKGLIBDIR "/PVMX/drovaPanel/db/historycodemap.csv", "21,Monitor_Battery powered,"}};
        for (const auto& p : pieces)
            QVERIFY2(QFileInfo::exists(stage + p.first) && readFile(stage + p.first).contains(p.second.toUtf8()),
                     qPrintable(p.first));
        // The shipped configuration passes the check that start-up runs.
        QProcess host;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("LD_LIBRARY_PATH", stage + kPrefix + "/" VEK5_INSTALL_LIBDIR);
        host.setProcessEnvironment(env);
        host.start(stage + kBin + "/upsmon-host", {"--check-config"});
        QVERIFY(host.waitForFinished(30000));
        const QByteArray out = host.readAllStandardOutput() + host.readAllStandardError();
        QVERIFY2(host.exitCode() == 0 && out.contains("units, no problems"), out.constData());
    }
};

QTEST_GUILESS_MAIN(tst_host_headless)
#include "tst_host_headless.moc"
