#include "Loading.h"

#include <QPainter>
#include <QtMath>

namespace {
const int ringDots = 9;
const int innerDots = 3;
const qreal dotRadius = 6;
const int stepMs = 100;
} // namespace

Loading::Loading(QWidget* parent) : QWidget(parent)
{
    setMinimumSize(60, 60);
    m_timer.setInterval(stepMs);
    connect(&m_timer, &QTimer::timeout, this, &Loading::step);
}

void Loading::step()
{
    m_index = (m_index + 1) % ringDots;
    update();
}

void Loading::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    m_timer.start();
}

void Loading::hideEvent(QHideEvent* event)
{
    m_timer.stop();
    QWidget::hideEvent(event);
}

void Loading::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    drawLoading(&painter);
}

void Loading::drawLoading(QPainter* painter)
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);

    const QPointF centre = QRectF(rect()).center();
    const qreal ring = qMax<qreal>(dotRadius, qMin(width(), height()) / 2.0 - dotRadius - 1);
    auto onCircle = [&centre](qreal radius, qreal turns) {
        const qreal angle = turns * 2 * M_PI;
        return centre + QPointF(radius * qCos(angle), radius * qSin(angle));
    };

    // The ring fades behind the walking head: the dot at m_index is opaque.
    for (int i = 0; i < ringDots; ++i) {
        const int age = (m_index - i + ringDots) % ringDots;
        painter->setBrush(QColor(255, 190, 15, 255 * (ringDots - age) / ringDots));
        painter->drawEllipse(onCircle(ring, qreal(i) / ringDots), dotRadius, dotRadius);
    }
    // Three darker dots on an inner circle turning the other way.
    for (int i = 1; i <= innerDots; ++i) {
        painter->setBrush(QColor(50, 20, 40, 80 * i));
        const qreal turns = qreal(i) / innerDots - qreal(m_index) / ringDots;
        painter->drawEllipse(onCircle(ring / 2, turns), dotRadius, dotRadius);
    }
    painter->restore();
}
