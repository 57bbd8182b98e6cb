#ifndef SIMULATORRIG_H
#define SIMULATORRIG_H

// upssim as a process for the simulator tests: started with the given
// arguments, ready once it prints a line matching `ready`, stopped with it.

#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>

class SimulatorRig
{
public:
    ~SimulatorRig()
    {
        m_process.terminate();
        if (!m_process.waitForFinished(5000))
            m_process.kill();
        m_process.waitForFinished(2000);
    }

    bool start(const QStringList& arguments, const QString& ready)
    {
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        m_process.start(qEnvironmentVariable("VEK5_BIN_DIR") + "/upssim", arguments);
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < 10000 && m_process.waitForStarted(5000)
               && m_process.state() == QProcess::Running) {
            m_process.waitForReadyRead(100);
            output += QString::fromLocal8Bit(m_process.readAll());
            match = QRegularExpression(ready).match(output);
            if (match.hasMatch())
                return true;
        }
        return false;
    }

    QString output;
    QRegularExpressionMatch match;

private:
    QProcess m_process;
};

#endif // SIMULATORRIG_H
