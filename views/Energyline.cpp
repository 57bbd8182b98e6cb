#include "Energyline.h"

#include <QFont>
#include <QFontMetricsF>
#include <QLinearGradient>
#include <QMouseEvent>
#include <QPainter>
#include <QPen>
#include <QPolygonF>
#include <QTimer>
#include <QtDebug>

// The icons live in a static library; registering them here keeps them in
// every binary that uses the diagram. Must stay outside any namespace.
static void initImageResources()
{
    Q_INIT_RESOURCE(image);
}

namespace {

// The information panels. Positions are relative to the centre; the panel's
// left edge lies 10 pixels left of x. A title value, where there is one,
// stands centred on the line under the title.
struct PanelRow
{
    const char* label;
    EnergyFlow::Value value;
};

struct Panel
{
    int view;
    const char* title;
    double x, y, width, height;
    EnergyFlow::Value titleValue;
    int rowCount;
    PanelRow rows[7];
};

const Panel kPanels[] = {
    {1, QT_TRANSLATE_NOOP("Energyline", "BYPASS"), -430, -340, 250, 130,
     EnergyFlow::ValueCount, 4,
     {{QT_TRANSLATE_NOOP("Energyline", "Voltage:"), EnergyFlow::BypassVoltage},
      {QT_TRANSLATE_NOOP("Energyline", "Current:"), EnergyFlow::BypassCurrent},
      {QT_TRANSLATE_NOOP("Energyline", "Frequency:"), EnergyFlow::BypassFrequency},
      {QT_TRANSLATE_NOOP("Energyline", "Status:"), EnergyFlow::BypassStatus}}},
    {0, QT_TRANSLATE_NOOP("Energyline", "INPUT"), -430, 45, 315, 105,
     EnergyFlow::ValueCount, 3,
     {{QT_TRANSLATE_NOOP("Energyline", "Voltage:"), EnergyFlow::InputVoltage},
      {QT_TRANSLATE_NOOP("Energyline", "Current:"), EnergyFlow::InputCurrent},
      {QT_TRANSLATE_NOOP("Energyline", "Frequency:"), EnergyFlow::InputFrequency}}},
    {2, QT_TRANSLATE_NOOP("Energyline", "Device information"), -165, -340, 315, 155,
     EnergyFlow::ValueCount, 5,
     {{QT_TRANSLATE_NOOP("Energyline", "Working mode:"), EnergyFlow::SupplyMode},
      {QT_TRANSLATE_NOOP("Energyline", "Model:"), EnergyFlow::PhaseConfiguration},
      {QT_TRANSLATE_NOOP("Energyline", "Type:"), EnergyFlow::DeviceType},
      {QT_TRANSLATE_NOOP("Energyline", "Name:"), EnergyFlow::DeviceName},
      {QT_TRANSLATE_NOOP("Energyline", "Manufacturer:"), EnergyFlow::DeviceManufacturer}}},
    {5, QT_TRANSLATE_NOOP("Energyline", "REC/INV"), 155, -340, 300, 130,
     EnergyFlow::ValueCount, 4,
     {{QT_TRANSLATE_NOOP("Energyline", "REC status:"), EnergyFlow::RectifierState},
      {QT_TRANSLATE_NOOP("Energyline", "REC temperature:"), EnergyFlow::RectifierTemperature},
      {QT_TRANSLATE_NOOP("Energyline", "INV status:"), EnergyFlow::InverterState},
      {QT_TRANSLATE_NOOP("Energyline", "INV temperature:"), EnergyFlow::InverterTemperature}}},
    {3, QT_TRANSLATE_NOOP("Energyline", "LOAD"), 110, 45, 320, 230,
     EnergyFlow::OutputMode, 7,
     {{QT_TRANSLATE_NOOP("Energyline", "Voltage:"), EnergyFlow::OutputVoltage},
      {QT_TRANSLATE_NOOP("Energyline", "Current:"), EnergyFlow::OutputCurrent},
      {QT_TRANSLATE_NOOP("Energyline", "Frequency:"), EnergyFlow::OutputFrequency},
      {QT_TRANSLATE_NOOP("Energyline", "Apparent power:"), EnergyFlow::OutputApparentPower},
      {QT_TRANSLATE_NOOP("Energyline", "Active power:"), EnergyFlow::OutputActivePower},
      {QT_TRANSLATE_NOOP("Energyline", "Reactive power:"), EnergyFlow::OutputReactivePower},
      {QT_TRANSLATE_NOOP("Energyline", "Load percentage:"), EnergyFlow::OutputLoadPercentage}}},
    {4, QT_TRANSLATE_NOOP("Energyline", "BATTERY"), -430, 163, 315, 180,
     EnergyFlow::BatteryState, 5,
     {{QT_TRANSLATE_NOOP("Energyline", "Voltage:"), EnergyFlow::BatteryVoltage},
      {QT_TRANSLATE_NOOP("Energyline", "Current:"), EnergyFlow::BatteryCurrent},
      {QT_TRANSLATE_NOOP("Energyline", "Temperature:"), EnergyFlow::BatteryTemperature},
      {QT_TRANSLATE_NOOP("Energyline", "Remaining time:"), EnergyFlow::RemainingTime},
      {QT_TRANSLATE_NOOP("Energyline", "Remaining capacity:"), EnergyFlow::RemainingCapacity}}},
};

// Flow paths relative to the centre, one per EnergyFlow::Path.
struct FlowPath
{
    int count;
    QPointF points[4];
};

const FlowPath kFlowPaths[EnergyFlow::PathCount] = {
    {2, {{-225, 0}, {-130, 0}}},
    {3, {{-55, 0}, {0, 0}, {0, 75}}},
    {3, {{0, 75}, {0, 0}, {55, 0}}},
    {2, {{-55, 0}, {55, 0}}},
    {2, {{130, 0}, {225, 0}}},
    {4, {{-225, -150}, {175, -150}, {175, 0}, {225, 0}}},
};

// The base track: one polyline that runs along every flow path (it doubles
// back over the battery branch); the blocks are drawn over it.
const QPointF kTrack[8] = {
    {-225, 0}, {0, 0}, {0, 80}, {0, 0}, {225, 0}, {175, 0}, {175, -150}, {-225, -150},
};

const QColor kBlockBottom(41, 71, 198);
const QColor kTrackColour(240, 240, 245);
const QColor kFlowColour(157, 172, 255);
const QColor kNameColour(153, 153, 153);
const QColor kPanelColour(245, 246, 250);
const QColor kPanelTextColour(102, 102, 102);
const QColor kPanelValueColour(19, 75, 255);

const QString kFontFamily = QStringLiteral("Microsoft YaHei");

bool within(double v, double low, double high)
{
    return v >= low && v <= high;
}

} // namespace

Energyline::Energyline(QWidget* parent)
    : QWidget(parent)
{
    static const bool resourcesReady = (initImageResources(), true);
    Q_UNUSED(resourcesReady);

    m_inputImage.load(QStringLiteral("://image/INPUT.png"));
    m_bypassImage.load(QStringLiteral("://image/INPUT.png"));
    m_recImage.load(QStringLiteral("://image/REC.png"));
    m_invImage.load(QStringLiteral("://image/INV.png"));
    m_loadImage.load(QStringLiteral("://image/LOAD.png"));
    if (m_inputImage.isNull() || m_recImage.isNull() || m_invImage.isNull() || m_loadImage.isNull())
        qDebug() << "Energyline: block images missing";

    m_timer = new QTimer(this);
    connect(m_timer, &QTimer::timeout, this, &Energyline::advanceFlow);
    m_timer->start(100);
}

bool Energyline::viewFlag(int index) const
{
    return index >= 0 && index < ViewCount && m_view[index];
}

void Energyline::set_all_off_Flow()
{
    m_energyFlow.setAllPathsOff();
}

void Energyline::toggle_view_Flag(bool& flag)
{
    flag = !flag;
}

void Energyline::advanceFlow()
{
    m_flowOffset -= 0.4f;
    update();
    if (m_flowOffset < -1000.0f)
        m_flowOffset = 0.0f;
}

void Energyline::flushData(QMap<int, QVariant> data)
{
    m_energyFlow = m_energyFlow.next(data);
}

void Energyline::updateCentre()
{
    const QRect r = rect();
    m_cx = (r.right() - r.left() + 1) / 2;
    m_cy = (r.bottom() - r.top() + 1) / 2;
}

void Energyline::paintEvent(QPaintEvent* event)
{
    Q_UNUSED(event);
    updateCentre();
    QPainter painter(this);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing
                           | QPainter::SmoothPixmapTransform);
    drawBase(&painter);
    drawBattery(&painter);
    drawflow(&painter);
    drawdate(&painter);
}

void Energyline::drawBlock(QPainter* painter, const QRectF& block, EnergyFlow::Block which,
                           const QString& name, bool nameAbove) const
{
    QLinearGradient gradient(block.topLeft(), block.bottomLeft());
    gradient.setColorAt(0.0, QColor(m_energyFlow.colour(which)));
    gradient.setColorAt(1.0, kBlockBottom);
    painter->setPen(Qt::NoPen);
    painter->setBrush(gradient);
    painter->drawRoundedRect(block, 25, 25);

    painter->setFont(QFont(kFontFamily, 13, 75));
    painter->setPen(kNameColour);
    const QRectF nameRect(block.center().x() - 60, nameAbove ? block.top() - 28 : block.bottom() + 4,
                          120, 24);
    painter->drawText(nameRect, Qt::AlignHCenter | (nameAbove ? Qt::AlignBottom : Qt::AlignTop), name);
}

void Energyline::drawBase(QPainter* painter)
{
    painter->save();
    QPen track(kTrackColour, 10);
    painter->setPen(track);
    painter->setBrush(Qt::NoBrush);
    QPolygonF line;
    for (const QPointF& p : kTrack)
        line << p + QPointF(m_cx, m_cy);
    painter->drawPolyline(line);

    const struct
    {
        EnergyFlow::Block which;
        const char* name;
        double x, y;
        const QPixmap* image;
        QSizeF imageSize;
    } blocks[] = {
        {EnergyFlow::Input, QT_TRANSLATE_NOOP("Energyline", "INPUT"), -300, -37.5, &m_inputImage, {30, 10}},
        {EnergyFlow::Bypass, QT_TRANSLATE_NOOP("Energyline", "BYPASS"), -300, -187.5, &m_bypassImage, {30, 10}},
        {EnergyFlow::Rectifier, QT_TRANSLATE_NOOP("Energyline", "REC"), -130, -37.5, &m_recImage, {46, 45}},
        {EnergyFlow::Inverter, QT_TRANSLATE_NOOP("Energyline", "INV"), 55, -37.5, &m_invImage, {48, 46}},
        {EnergyFlow::Load, QT_TRANSLATE_NOOP("Energyline", "LOAD"), 225, -37.5, &m_loadImage, {56, 40}},
    };
    for (const auto& b : blocks) {
        const QRectF block(m_cx + b.x, m_cy + b.y, 75, 75);
        drawBlock(painter, block, b.which, tr(b.name), true);
        QRectF target(QPointF(), b.imageSize);
        target.moveCenter(block.center());
        painter->drawPixmap(target, *b.image, QRectF(b.image->rect()));
    }
    painter->restore();
}

void Energyline::drawBattery(QPainter* painter)
{
    painter->save();
    // The track enters the battery from above, so its name goes below it.
    const QRectF block(m_cx - 25, m_cy + 80, 50, 75);
    drawBlock(painter, block, EnergyFlow::Battery, tr("BATTERY"), false);

    // A battery cell: white case with its terminal and three charge bars.
    const QRectF body(block.center().x() - 11, block.top() + 20, 22, 40);
    QPen outline(Qt::white, 2.5);
    outline.setJoinStyle(Qt::RoundJoin);
    painter->setPen(outline);
    painter->setBrush(Qt::NoBrush);
    painter->drawRoundedRect(body, 3, 3);
    painter->setPen(Qt::NoPen);
    painter->setBrush(Qt::white);
    painter->drawRect(QRectF(body.center().x() - 5, body.top() - 5, 10, 4));
    for (int i = 0; i < 3; ++i)
        painter->drawRect(QRectF(body.left() + 5, body.bottom() - 10 - i * 10, body.width() - 10, 6));
    painter->restore();
}

void Energyline::drawflow(QPainter* painter)
{
    painter->save();
    QPen pen(kFlowColour, 5);
    pen.setDashPattern({2, 1.5, 2, 1.5});
    pen.setJoinStyle(Qt::RoundJoin);
    pen.setCapStyle(Qt::RoundCap);
    pen.setDashOffset(m_flowOffset);
    painter->setPen(pen);
    painter->setBrush(Qt::NoBrush);
    for (int i = 0; i < EnergyFlow::PathCount; ++i) {
        if (!m_energyFlow.isLit(EnergyFlow::Path(i)))
            continue;
        const FlowPath& path = kFlowPaths[i];
        QPolygonF line;
        for (int k = 0; k < path.count; ++k)
            line << path.points[k] + QPointF(m_cx, m_cy);
        painter->drawPolyline(line);
    }
    painter->restore();
}

void Energyline::drawdate(QPainter* painter)
{
    painter->save();
    painter->setFont(QFont(kFontFamily, 11, 50));
    const QFontMetricsF metrics(painter->font());
    for (const Panel& panel : kPanels) {
        if (!m_view[panel.view])
            continue;
        const QRectF box(m_cx + panel.x - 10, m_cy + panel.y, panel.width, panel.height);
        painter->setPen(Qt::NoPen);
        painter->setBrush(kPanelColour);
        painter->drawRoundedRect(box, 8, 8);

        const QRectF content = box.adjusted(10, 6, -10, -6);
        const bool hasTitleValue = panel.titleValue != EnergyFlow::ValueCount;
        const int titleLines = hasTitleValue ? 2 : 1;
        const double lineHeight = content.height() / (panel.rowCount + titleLines);
        const auto line = [&](int i) {
            return QRectF(content.left(), content.top() + i * lineHeight, content.width(), lineHeight);
        };

        painter->setPen(kPanelTextColour);
        painter->drawText(line(0), Qt::AlignCenter, tr(panel.title));
        painter->setPen(kPanelValueColour);
        if (hasTitleValue)
            painter->drawText(line(1), Qt::AlignCenter, m_energyFlow.value(panel.titleValue));

        for (int r = 0; r < panel.rowCount; ++r) {
            const QRectF row = line(r + titleLines);
            const QString label = tr(panel.rows[r].label);
            const double labelWidth = metrics.horizontalAdvance(label) + 6;
            painter->setPen(kPanelTextColour);
            painter->drawText(row, Qt::AlignLeft | Qt::AlignVCenter, label);
            // Narrow panels with three-phase values: shorten the value
            // rather than write it over its label.
            painter->setPen(kPanelValueColour);
            const QString value = metrics.elidedText(m_energyFlow.value(panel.rows[r].value), Qt::ElideRight,
                                                     int(row.width() - labelWidth));
            painter->drawText(row, Qt::AlignRight | Qt::AlignVCenter, value);
        }
    }
    painter->restore();
}

void Energyline::mousePressEvent(QMouseEvent* event)
{
    const QPoint pos = event->localPos().toPoint();
    updateCentre();
    const double x = pos.x();
    const double y = pos.y();
    const double cx = m_cx;
    const double cy = m_cy;
    const bool inRow = within(y, cy - 37.5, cy + 37.5);

    if (within(x, cx - 300, cx - 225)) {
        if (inRow)
            toggle_view_Flag(m_view[0]);
        else if (within(y, cy - 187.5, cy - 112.5))
            toggle_view_Flag(m_view[1]);
    } else if (within(x, cx + 225, cx + 300) && inRow) {
        toggle_view_Flag(m_view[3]);
    } else if (within(x, cx - 25, cx + 25) && within(y, cy + 80, cy + 155)) {
        toggle_view_Flag(m_view[4]);
    } else if ((within(x, cx - 130, cx - 55) || within(x, cx + 55, cx + 130)) && inRow) {
        // Rectifier and inverter share one status panel, shown together
        // with the device panel.
        toggle_view_Flag(m_view[5]);
        toggle_view_Flag(m_view[2]);
    }
}
