#ifndef ENERGYLINE_H
#define ENERGYLINE_H

// Energy-flow diagram at the top of the unit's overview: six blocks (input,
// bypass, rectifier, battery, inverter, load) joined by a track, animated
// dashed lines along the paths that carry power now, and an information
// panel beside each block that a click opens or closes.

#include <QMap>
#include <QPixmap>
#include <QString>
#include <QStringList>
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
    // Every text shown in the information panels.
    enum PanelText {
        BypassVoltage, BypassCurrent, BypassFrequency, BypassStatus,
        InputVoltage, InputCurrent, InputFrequency,
        OutputVoltage, OutputCurrent, OutputFrequency,
        OutputApparentPower, OutputActivePower, OutputReactivePower, OutputLoadPercentage,
        SupplyMode, PhaseConfiguration, OutputMode,
        BatteryState, RectifierState, InverterState,
        RectifierTemperature, InverterTemperature,
        BatteryVoltage, BatteryCurrent, BatteryTemperature,
        RemainingTime, RemainingCapacity,
        DeviceType, DeviceName, DeviceManufacturer,
        PanelTextCount
    };

    enum { FlowCount = 6, ViewCount = 6 };

    explicit Energyline(QWidget* parent = nullptr);

    void drawBase(QPainter* painter);
    void drawBattery(QPainter* painter);
    void drawflow(QPainter* painter);
    void drawdate(QPainter* painter);
    void set_all_off_Flow();
    void toggle_view_Flag(bool& flag);

    bool flowFlag(int index) const;
    bool viewFlag(int index) const;
    float flowOffset() const { return m_flowOffset; }
    QString panelText(PanelText which) const;
    const QTimer* animationTimer() const { return m_timer; }

public slots:
    void flushData(QMap<int, QVariant> data);
    // One animation step; driven by the 100 ms timer.
    void advanceFlow();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    enum TextTable {
        StateTable, SupplyModeTable, PhaseConfigurationTable, OutputModeTable,
        BatteryStateTable, RectifierStateTable, InverterStateTable,
        TextTableCount
    };

    void updateCentre();
    void drawBlock(QPainter* painter, const QRectF& block, const QString& name,
                   bool nameAbove) const;

    double m_cx = 0;
    double m_cy = 0;
    float m_flowOffset = 0.0f;
    std::array<bool, FlowCount> m_flow{};
    std::array<bool, ViewCount> m_view{};
    std::array<QString, PanelTextCount> m_text;
    std::array<QStringList, TextTableCount> m_tables;

    QPixmap m_inputImage;
    QPixmap m_bypassImage;
    QPixmap m_recImage;
    QPixmap m_invImage;
    QPixmap m_loadImage;

    QTimer* m_timer = nullptr;
};

#endif // ENERGYLINE_H
