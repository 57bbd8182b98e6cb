#include "DriverFixture.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>

void PointSink::collect(int id, float value, void* context)
{
    auto* sink = static_cast<PointSink*>(context);
    sink->values[id] = value;
    sink->calls[id] += 1;
}

QByteArray PointSink::text(int first, int count) const
{
    QByteArray bytes;
    for (int i = 0; i < count; ++i) {
        const char c = char(int(values.value(first + i)));
        if (c == 0)
            break;
        bytes.append(c);
    }
    return bytes;
}

bool DriverLib::load()
{
    m_lib.setFileName(qEnvironmentVariable("VEK5_BIN_DIR") + "/libvek5m_10-30k");
    if (!m_lib.load())
        return false;
    query = reinterpret_cast<QueryFunc>(m_lib.resolve("Query"));
    control = reinterpret_cast<ControlFunc>(m_lib.resolve("Control"));
    return query != nullptr && control != nullptr;
}

SimProcess::~SimProcess()
{
    stop();
}

QString SimProcess::program()
{
    return qEnvironmentVariable("VEK5_BIN_DIR") + "/upssim";
}

bool SimProcess::start(const QStringList& arguments)
{
    m_seen.clear();
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    const bool tcp = !arguments.contains("--no-tcp");
    QStringList args = arguments;
    if (tcp && !args.contains("--tcp"))
        args << "--tcp" << "127.0.0.1:0";
    m_process.start(program(), args);
    if (!m_process.waitForStarted(5000))
        return false;
    const QRegularExpression ready(tcp ? "listening on 127\\.0\\.0\\.1:(\\d+)" : "serving unit");
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 5000 && m_process.state() == QProcess::Running) {
        m_process.waitForReadyRead(100);
        m_seen += QString::fromLocal8Bit(m_process.readAll());
        const QRegularExpressionMatch match = ready.match(m_seen);
        if (match.hasMatch()) {
            m_port = tcp ? match.captured(1).toInt() : 0;
            return true;
        }
    }
    return false;
}

void SimProcess::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(5000)) {
        m_process.kill();
        m_process.waitForFinished(2000);
    }
}

QString SimProcess::output()
{
    // Pull in what the simulator printed since the last look.
    while (m_process.waitForReadyRead(100))
        m_seen += QString::fromLocal8Bit(m_process.readAll());
    m_seen += QString::fromLocal8Bit(m_process.readAll());
    return m_seen;
}

QString writeScenario(const QString& name, const QByteArray& text)
{
    const QString path = QDir::current().absoluteFilePath(name + ".scn");
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(text);
    return path;
}
