#ifndef ENERGYLINE_H
#define ENERGYLINE_H

// Energy-flow diagram at the top of the unit's overview: six blocks (input,
// bypass, rectifier, battery, inverter, load) joined by a track, animated
// dashed lines along the paths that carry power now, and an information
// panel beside each block that a click opens or closes. What it shows for a
// data map is decided by EnergyFlow; the widget only paints it.

#include "EnergyFlow.h"

#include <QMap>
#include <QPixmap>
#include <QString>
#include <QVariant>
#include <QWidget>
#include <array>

class QMouseEvent;
class QPaintEvent;
class QPainter;
class QTimer;

class Energyline : public QWidget
{
    Q_OBJECT
public:
    enum { ViewCount = 6 };

    explicit Energyline(QWidget* parent = nullptr);

    void drawBase(QPainter* painter);
    void drawBattery(QPainter* painter);
    void drawflow(QPainter* painter);
    void drawdate(QPainter* painter);
    void set_all_off_Flow();
    void toggle_view_Flag(bool& flag);

    bool viewFlag(int index) const;
    float flowOffset() const { return m_flowOffset; }
    const EnergyFlow& energyFlow() const { return m_energyFlow; }
    const QTimer* animationTimer() const { return m_timer; }

public slots:
    void flushData(QMap<int, QVariant> data);
    // One animation step; driven by the 100 ms timer.
    void advanceFlow();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void updateCentre();
    void drawBlock(QPainter* painter, const QRectF& block, EnergyFlow::Block which,
                   const QString& name, bool nameAbove) const;

    double m_cx = 0;
    double m_cy = 0;
    float m_flowOffset = 0.0f;
    std::array<bool, ViewCount> m_view{};
    EnergyFlow m_energyFlow;

    QPixmap m_inputImage;
    QPixmap m_bypassImage;
    QPixmap m_recImage;
    QPixmap m_invImage;
    QPixmap m_loadImage;

    QTimer* m_timer = nullptr;
};

#endif // ENERGYLINE_H
