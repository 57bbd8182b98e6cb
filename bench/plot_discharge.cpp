// The low-battery scenario as a host receives it: a collector polls the
// simulated unit (full load from 40 % charge, mains off at 10 s, end of
// discharge, mains back at 900 s) over loopback Modbus TCP with the real
// driver library, and the battery voltage and charge of every data report it
// hands to the host are drawn against simulated time into a PNG, with the
// spans where the output is off shaded.
//
//   QT_QPA_PLATFORM=offscreen build/bin/plot_discharge docs/discharge.png [SPEED]
//
// SPEED (default 20) is the simulator's --speed: the run takes 1100 / SPEED s.

#include "EventTypes.h"
#include "RecordKeys.h"
#include "SimulatorProcess.h"
#include "points.h"
#include "vek5Client.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QThread>

#include <cstdio>

namespace {

struct Sample { double seconds; double volts; double charge; bool outputOn; };

constexpr double kEndSeconds = 1100;
constexpr double kLowVolts = 180, kHighVolts = 290;
const QRect kPlot(90, 50, 820, 380);

QPointF at(double seconds, double fraction)
{
    return QPointF(kPlot.left() + seconds / kEndSeconds * kPlot.width(), kPlot.bottom() - fraction * kPlot.height());
}

void draw(const QVector<Sample>& samples, QImage& image)
{
    image.fill(Qt::white);
    QPainter p(&image);
    for (int i = 1; i < samples.size(); ++i)
        if (!samples[i].outputOn)
            p.fillRect(QRectF(at(samples[i - 1].seconds, 1), at(samples[i].seconds, 0)).toAlignedRect(),
                       QColor(250, 225, 225));
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QColor(220, 220, 220));
    for (int s = 0; s <= kEndSeconds; s += 100)
        p.drawLine(at(s, 0), at(s, 1));
    p.setPen(Qt::black);
    p.drawRect(kPlot);
    for (int s = 0; s <= kEndSeconds; s += 100)
        p.drawText(QRectF(at(s, 0) + QPointF(-30, 4), QSizeF(60, 16)), Qt::AlignCenter, QString::number(s));
    for (int v = int(kLowVolts); v <= kHighVolts; v += 20)
        p.drawText(QRectF(at(0, (v - kLowVolts) / (kHighVolts - kLowVolts)) - QPointF(60, 8), QSizeF(54, 16)),
                   Qt::AlignRight | Qt::AlignVCenter, QString::number(v));
    for (int c = 0; c <= 100; c += 20)
        p.drawText(QRectF(at(kEndSeconds, c / 100.0) + QPointF(6, -8), QSizeF(50, 16)), Qt::AlignVCenter,
                   QString::number(c));
    p.drawText(QRectF(kPlot.left(), kPlot.bottom() + 22, kPlot.width(), 18), Qt::AlignCenter,
               "simulated time (s); shaded: output off");
    p.drawText(QRectF(0, 8, image.width(), 20), Qt::AlignCenter,
               "upssim low-battery scenario: mains off at 10 s, back at 900 s (100 % load)");
    const struct { QColor color; const char* label; bool volts; } curves[] = {
        {QColor(30, 90, 200), "battery voltage + (V), left", true},
        {QColor(20, 150, 60), "battery charge (%), right", false},
    };
    for (int k = 0; k < 2; ++k) {
        QPolygonF line;
        for (const Sample& s : samples)
            line << at(s.seconds, curves[k].volts ? (s.volts - kLowVolts) / (kHighVolts - kLowVolts) : s.charge / 100);
        p.setPen(QPen(curves[k].color, 2));
        p.drawPolyline(line);
        p.drawText(QPointF(kPlot.left() + 10 + 300 * k, kPlot.top() - 8), curves[k].label);
    }
}

} // namespace

int main(int argc, char** argv)
{
    QGuiApplication app(argc, argv);
    const QString path = argc > 1 ? QString(argv[1]) : QString("discharge.png");
    const double speed = argc > 2 ? std::atof(argv[2]) : 20;
    if (speed <= 0) {
        std::fprintf(stderr, "plot_discharge: SPEED must be positive\n");
        return 2;
    }
    QProcess sim;
    const quint16 port = startSimulator(sim, {"--scenario", "low-battery", "--speed", QString::number(speed)});
    QElapsedTimer clock;
    clock.start();
    vek5Client client;
    if (port == 0 || client.m_query == nullptr) {
        std::fprintf(stderr, "plot_discharge: no simulator or no driver library\n");
        return 1;
    }
    client.m_devName = "plot";
    client.m_commType = 1;
    client.m_ipAddr = "127.0.0.1";
    client.m_tcpPort = port;
    client.m_interval = 0;
    client.m_tcpSocket = new QTcpSocket();
    client.m_tcpSocket->connectToHost(client.m_ipAddr, port);
    if (!client.m_tcpSocket->waitForConnected(5000))
        return 1;
    QVector<Sample> samples;
    QObject::connect(&client, &CollectThread::postDEvent, [&](int type, QMap<QString, QVariant> record) {
        const QMap<int, QVariant> data = record.value(RecordKey::Data).value<QMap<int, QVariant>>();
        if (type == EventType::DataReport && client.m_commState == 0)
            samples.append({clock.elapsed() / 1000.0 * speed,
                            data.value(point::BatteryVoltagePositive).toDouble(),
                            data.value(point::BatteryCharge).toDouble(),
                            data.value(point::OutputSupplied).toInt() == 1});
    });
    while (clock.elapsed() / 1000.0 * speed < kEndSeconds) {
        client.poll();
        QThread::msleep(100);
    }
    sim.terminate();
    sim.waitForFinished(3000);
    QImage image(1000, 480, QImage::Format_RGB32);
    draw(samples, image);
    if (!image.save(path)) {
        std::fprintf(stderr, "plot_discharge: cannot write %s\n", qPrintable(path));
        return 1;
    }
    std::printf("plot_discharge: %d samples to %s\n", samples.size(), qPrintable(path));
    return 0;
}
