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

// The seven text tables, in the order the constructor builds them.
const char* const kStateTexts[] = {
    QT_TRANSLATE_NOOP("Energyline", "Abnormal"),
    QT_TRANSLATE_NOOP("Energyline", "Normal"),
};
const char* const kSupplyModeTexts[] = {
    QT_TRANSLATE_NOOP("Energyline", "No supply"),
    QT_TRANSLATE_NOOP("Energyline", "Mains supply"),
    QT_TRANSLATE_NOOP("Energyline", "Battery supply"),
    QT_TRANSLATE_NOOP("Energyline", "Conbined supply"),
    QT_TRANSLATE_NOOP("Energyline", "Bypass supply"),
};
const char* const kPhaseConfigurationTexts[] = {
    QT_TRANSLATE_NOOP("Energyline", "Single-Single"),
    QT_TRANSLATE_NOOP("Energyline", "Three-Single"),
    QT_TRANSLATE_NOOP("Energyline", "Three-Three"),
};
const char* const kOutputModeTexts[] = {
    QT_TRANSLATE_NOOP("Energyline", "None"),
    QT_TRANSLATE_NOOP("Energyline", "Load on bypass"),
    QT_TRANSLATE_NOOP("Energyline", "Load on inverter"),
    QT_TRANSLATE_NOOP("Energyline", "Load on other"),
};
const char* const kBatteryStateTexts[] = {
    QT_TRANSLATE_NOOP("Energyline", "Disconnect"),
    QT_TRANSLATE_NOOP("Energyline", "Standby"),
    QT_TRANSLATE_NOOP("Energyline", "curr. equal charge"),
    QT_TRANSLATE_NOOP("Energyline", "volt. float charge"),
    QT_TRANSLATE_NOOP("Energyline", "Discharge"),
    QT_TRANSLATE_NOOP("Energyline", "volt. equal charge"),
};
const char* const kRectifierStateTexts[] = {
    QT_TRANSLATE_NOOP("Energyline", "Off"),
    QT_TRANSLATE_NOOP("Energyline", "Soft start"),
    QT_TRANSLATE_NOOP("Energyline", "PFC mode"),
    QT_TRANSLATE_NOOP("Energyline", "Battery mode"),
};
const char* const kInverterStateTexts[] = {
    QT_TRANSLATE_NOOP("Energyline", "Off"),
    QT_TRANSLATE_NOOP("Energyline", "Soft start"),
    QT_TRANSLATE_NOOP("Energyline", "Normal run"),
};

template <std::size_t N>
QStringList translated(const char* const (&texts)[N])
{
    QStringList list;
    for (const char* text : texts)
        list << Energyline::tr(text);
    return list;
}

// Texts that depend on the phase count of their group: three values from
// consecutive points for a three-phase group, the first alone for one phase.
struct PhaseText
{
    int phasePoint;
    int firstPoint;
    const char* unit;
    Energyline::PanelText text;
};

const PhaseText kPhaseTexts[] = {
    {4191, 4192, " V", Energyline::BypassVoltage},
    {4191, 4195, " A", Energyline::BypassCurrent},
    {4191, 4198, " Hz", Energyline::BypassFrequency},
    {4132, 4133, " V", Energyline::InputVoltage},
    {4132, 4136, " A", Energyline::InputCurrent},
    {4132, 4139, " Hz", Energyline::InputFrequency},
    {4162, 4163, " V", Energyline::OutputVoltage},
    {4162, 4166, " A", Energyline::OutputCurrent},
    {4162, 4169, " Hz", Energyline::OutputFrequency},
    {4162, 4175, " kVA", Energyline::OutputApparentPower},
    {4162, 4178, " kW", Energyline::OutputActivePower},
    {4162, 4181, " kVA", Energyline::OutputReactivePower},
    {4162, 4184, " %", Energyline::OutputLoadPercentage},
};

// Single points whose value indexes one of the text tables.
struct TableText
{
    int point;
    int table;
    Energyline::PanelText text;
};

// Table numbers follow the construction order of the tables above.
const TableText kTableTexts[] = {
    {4190, 0, Energyline::BypassStatus},
    {4250, 1, Energyline::SupplyMode},
    {4248, 2, Energyline::PhaseConfiguration},
    {4161, 3, Energyline::OutputMode},
    {4101, 4, Energyline::BatteryState},
    {4239, 5, Energyline::RectifierState},
    {4240, 6, Energyline::InverterState},
};

// Identity strings: 16 points, one Latin-1 character each.
const struct { int firstPoint; Energyline::PanelText text; } kIdentityTexts[] = {
    {4016, Energyline::DeviceType},
    {4080, Energyline::DeviceName},
    {4000, Energyline::DeviceManufacturer},
};

// The information panels. Positions are relative to the centre; the panel's
// left edge lies 10 pixels left of x. A title value, where there is one,
// stands centred on the line under the title.
struct PanelRow
{
    const char* label;
    Energyline::PanelText value;
};

struct Panel
{
    int view;
    const char* title;
    double x, y, width, height;
    Energyline::PanelText titleValue;
    int rowCount;
    PanelRow rows[7];
};

const Panel kPanels[] = {
    {1, QT_TRANSLATE_NOOP("Energyline", "BYPASS"), -430, -340, 250, 130,
     Energyline::PanelTextCount, 4,
     {{QT_TRANSLATE_NOOP("Energyline", "Voltage:"), Energyline::BypassVoltage},
      {QT_TRANSLATE_NOOP("Energyline", "Current:"), Energyline::BypassCurrent},
      {QT_TRANSLATE_NOOP("Energyline", "Frequency:"), Energyline::BypassFrequency},
      {QT_TRANSLATE_NOOP("Energyline", "Status:"), Energyline::BypassStatus}}},
    {0, QT_TRANSLATE_NOOP("Energyline", "INPUT"), -430, 45, 315, 105,
     Energyline::PanelTextCount, 3,
     {{QT_TRANSLATE_NOOP("Energyline", "Voltage:"), Energyline::InputVoltage},
      {QT_TRANSLATE_NOOP("Energyline", "Current:"), Energyline::InputCurrent},
      {QT_TRANSLATE_NOOP("Energyline", "Frequency:"), Energyline::InputFrequency}}},
    {2, QT_TRANSLATE_NOOP("Energyline", "Device information"), -165, -340, 315, 155,
     Energyline::PanelTextCount, 5,
     {{QT_TRANSLATE_NOOP("Energyline", "Working mode:"), Energyline::SupplyMode},
      {QT_TRANSLATE_NOOP("Energyline", "Model:"), Energyline::PhaseConfiguration},
      {QT_TRANSLATE_NOOP("Energyline", "Type:"), Energyline::DeviceType},
      {QT_TRANSLATE_NOOP("Energyline", "Name:"), Energyline::DeviceName},
      {QT_TRANSLATE_NOOP("Energyline", "Manufacturer:"), Energyline::DeviceManufacturer}}},
    {5, QT_TRANSLATE_NOOP("Energyline", "REC/INV"), 155, -340, 300, 130,
     Energyline::PanelTextCount, 4,
     {{QT_TRANSLATE_NOOP("Energyline", "REC status:"), Energyline::RectifierState},
      {QT_TRANSLATE_NOOP("Energyline", "REC temperature:"), Energyline::RectifierTemperature},
      {QT_TRANSLATE_NOOP("Energyline", "INV status:"), Energyline::InverterState},
      {QT_TRANSLATE_NOOP("Energyline", "INV temperature:"), Energyline::InverterTemperature}}},
    {3, QT_TRANSLATE_NOOP("Energyline", "LOAD"), 110, 45, 320, 230,
     Energyline::OutputMode, 7,
     {{QT_TRANSLATE_NOOP("Energyline", "Voltage:"), Energyline::OutputVoltage},
      {QT_TRANSLATE_NOOP("Energyline", "Current:"), Energyline::OutputCurrent},
      {QT_TRANSLATE_NOOP("Energyline", "Frequency:"), Energyline::OutputFrequency},
      {QT_TRANSLATE_NOOP("Energyline", "Apparent power:"), Energyline::OutputApparentPower},
      {QT_TRANSLATE_NOOP("Energyline", "Active power:"), Energyline::OutputActivePower},
      {QT_TRANSLATE_NOOP("Energyline", "Reactive power:"), Energyline::OutputReactivePower},
      {QT_TRANSLATE_NOOP("Energyline", "Load percentage:"), Energyline::OutputLoadPercentage}}},
    {4, QT_TRANSLATE_NOOP("Energyline", "BATTERY"), -430, 163, 315, 180,
     Energyline::BatteryState, 5,
     {{QT_TRANSLATE_NOOP("Energyline", "Voltage:"), Energyline::BatteryVoltage},
      {QT_TRANSLATE_NOOP("Energyline", "Current:"), Energyline::BatteryCurrent},
      {QT_TRANSLATE_NOOP("Energyline", "Temperature:"), Energyline::BatteryTemperature},
      {QT_TRANSLATE_NOOP("Energyline", "Remaining time:"), Energyline::RemainingTime},
      {QT_TRANSLATE_NOOP("Energyline", "Remaining capacity:"), Energyline::RemainingCapacity}}},
};

// Flow paths relative to the centre, in flow-flag order.
struct FlowPath
{
    int count;
    QPointF points[4];
};

const FlowPath kFlowPaths[Energyline::FlowCount] = {
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

const QColor kBlockTop(157, 172, 255);
const QColor kBlockBottom(41, 71, 198);
const QColor kTrackColour(240, 240, 245);
const QColor kFlowColour(157, 172, 255);
const QColor kNameColour(153, 153, 153);
const QColor kPanelColour(245, 246, 250);
const QColor kPanelTextColour(102, 102, 102);
const QColor kPanelValueColour(19, 75, 255);

const QString kFontFamily = QStringLiteral("Microsoft YaHei");

QString celsius(double value)
{
    return QString::asprintf("%.1f ", value) + QChar(0x2103);
}

QString identityText(const QMap<int, QVariant>& data, int firstPoint)
{
    char bytes[16];
    for (int i = 0; i < 16; ++i)
        bytes[i] = char(data.value(firstPoint + i).toInt() & 0xff);
    return QString::fromLatin1(bytes, int(qstrnlen(bytes, sizeof bytes)));
}

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

    m_tables[StateTable] = translated(kStateTexts);
    m_tables[SupplyModeTable] = translated(kSupplyModeTexts);
    m_tables[PhaseConfigurationTable] = translated(kPhaseConfigurationTexts);
    m_tables[OutputModeTable] = translated(kOutputModeTexts);
    m_tables[BatteryStateTable] = translated(kBatteryStateTexts);
    m_tables[RectifierStateTable] = translated(kRectifierStateTexts);
    m_tables[InverterStateTable] = translated(kInverterStateTexts);

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

bool Energyline::flowFlag(int index) const
{
    return index >= 0 && index < FlowCount && m_flow[index];
}

bool Energyline::viewFlag(int index) const
{
    return index >= 0 && index < ViewCount && m_view[index];
}

QString Energyline::panelText(PanelText which) const
{
    return which >= 0 && which < PanelTextCount ? m_text[which] : QString();
}

void Energyline::set_all_off_Flow()
{
    m_flow.fill(false);
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
    const auto isOne = [&data](int point) { return data.value(point).toInt() == 1; };
    m_flow[0] = isOne(4219);
    m_flow[1] = isOne(4220) && isOne(4224);
    m_flow[2] = isOne(4221) && isOne(4224);
    m_flow[3] = isOne(4220) && isOne(4221);
    m_flow[4] = isOne(4222) && isOne(4223);
    m_flow[5] = isOne(4218) && isOne(4223);

    for (const PhaseText& p : kPhaseTexts) {
        const int phases = data.value(p.phasePoint).toInt();
        const double a = data.value(p.firstPoint).toDouble();
        if (phases == 3) {
            m_text[p.text] = QString::asprintf("%.1f/%.1f/%.1f", a,
                                               data.value(p.firstPoint + 1).toDouble(),
                                               data.value(p.firstPoint + 2).toDouble())
                             + QLatin1String(p.unit);
        } else if (phases == 1) {
            m_text[p.text] = QString::asprintf("%.1f", a) + QLatin1String(p.unit);
        }
    }

    for (const TableText& t : kTableTexts) {
        const QStringList& table = m_tables[t.table];
        const int index = data.value(t.point).toInt();
        m_text[t.text] = index >= 0 && index < table.size() ? table.at(index) : QString();
    }

    for (const auto& id : kIdentityTexts)
        m_text[id.text] = identityText(data, id.firstPoint);

    m_text[RectifierTemperature] = celsius(data.value(4241).toDouble());
    m_text[InverterTemperature] = celsius(data.value(4242).toDouble());
    m_text[BatteryVoltage] = QStringLiteral("%1/%2").arg(QString::number(data.value(4103).toDouble()),
                                                         QString::number(data.value(4104).toDouble()));
    m_text[BatteryCurrent] = QStringLiteral("%1/%2").arg(QString::number(data.value(4105).toDouble()),
                                                         QString::number(data.value(4106).toDouble()));
    m_text[BatteryTemperature] = data.value(4107).toInt() >= -10
                                     ? celsius(data.value(4107).toDouble())
                                     : QStringLiteral("-");
    const int minutes = data.value(4110).toInt();
    m_text[RemainingTime] = minutes < 0 ? QStringLiteral("-") : QString::asprintf("%d Min", minutes);
    const int capacity = data.value(4111).toInt();
    m_text[RemainingCapacity] = capacity < 0 ? QStringLiteral("-") : QString::asprintf("%d %%", capacity);
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

void Energyline::drawBlock(QPainter* painter, const QRectF& block, const QString& name,
                           bool nameAbove) const
{
    QLinearGradient gradient(block.topLeft(), block.bottomLeft());
    gradient.setColorAt(0.0, kBlockTop);
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
        const char* name;
        double x, y;
        const QPixmap* image;
        QSizeF imageSize;
    } blocks[] = {
        {QT_TRANSLATE_NOOP("Energyline", "INPUT"), -300, -37.5, &m_inputImage, {30, 10}},
        {QT_TRANSLATE_NOOP("Energyline", "BYPASS"), -300, -187.5, &m_bypassImage, {30, 10}},
        {QT_TRANSLATE_NOOP("Energyline", "REC"), -130, -37.5, &m_recImage, {46, 45}},
        {QT_TRANSLATE_NOOP("Energyline", "INV"), 55, -37.5, &m_invImage, {48, 46}},
        {QT_TRANSLATE_NOOP("Energyline", "LOAD"), 225, -37.5, &m_loadImage, {56, 40}},
    };
    for (const auto& b : blocks) {
        const QRectF block(m_cx + b.x, m_cy + b.y, 75, 75);
        drawBlock(painter, block, tr(b.name), true);
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
    drawBlock(painter, block, tr("BATTERY"), false);

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
    for (int i = 0; i < FlowCount; ++i) {
        if (!m_flow[i])
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
        const bool hasTitleValue = panel.titleValue != PanelTextCount;
        const int titleLines = hasTitleValue ? 2 : 1;
        const double lineHeight = content.height() / (panel.rowCount + titleLines);
        const auto line = [&](int i) {
            return QRectF(content.left(), content.top() + i * lineHeight, content.width(), lineHeight);
        };

        painter->setPen(kPanelTextColour);
        painter->drawText(line(0), Qt::AlignCenter, tr(panel.title));
        painter->setPen(kPanelValueColour);
        if (hasTitleValue)
            painter->drawText(line(1), Qt::AlignCenter, m_text[panel.titleValue]);

        for (int r = 0; r < panel.rowCount; ++r) {
            const QRectF row = line(r + titleLines);
            const QString label = tr(panel.rows[r].label);
            const double labelWidth = metrics.horizontalAdvance(label) + 6;
            painter->setPen(kPanelTextColour);
            painter->drawText(row, Qt::AlignLeft | Qt::AlignVCenter, label);
            // Narrow panels with three-phase values: shorten the value
            // rather than write it over its label.
            painter->setPen(kPanelValueColour);
            const QString value = metrics.elidedText(m_text[panel.rows[r].value], Qt::ElideRight,
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
