// Draws the four block icons of the energy-flow diagram and writes them as
// PNG files into the directory given as the only argument (default: the
// current directory); with --check, says whether the files there are these
// drawings. The icons are white line art on a transparent ground,
// meant for the blue gradient blocks. Run it again after changing a drawing
// and commit the regenerated files next to image.qrc.

#include <QCoreApplication>
#include <QDir>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QtMath>
#include <cstdio>
#include <functional>

namespace {

const QColor kInk(255, 255, 255);

QPen inkPen(qreal width)
{
    QPen pen(kInk, width);
    pen.setCapStyle(Qt::RoundCap);
    pen.setJoinStyle(Qt::RoundJoin);
    return pen;
}

// One and a half periods of a sine wave filling the rectangle: the AC sign.
void drawSine(QPainter& p, const QRectF& r)
{
    QPainterPath path;
    const int steps = 48;
    for (int i = 0; i <= steps; ++i) {
        const qreal t = qreal(i) / steps;
        const QPointF pt(r.left() + t * r.width(),
                         r.center().y() - qSin(t * 3.0 * M_PI) * r.height() / 2.0);
        if (i == 0)
            path.moveTo(pt);
        else
            path.lineTo(pt);
    }
    p.drawPath(path);
}

// A solid line over a dashed one: the DC sign.
void drawDc(QPainter& p, const QRectF& r)
{
    p.drawLine(QPointF(r.left(), r.top()), QPointF(r.right(), r.top()));
    const qreal dash = r.width() / 5.0;
    for (int i = 0; i < 3; ++i) {
        const qreal x = r.left() + 2 * i * dash;
        p.drawLine(QPointF(x, r.bottom()), QPointF(x + dash, r.bottom()));
    }
}

// Converter symbol: a framed square split by a diagonal, the source form in
// the upper left corner and the produced form in the lower right one.
void drawConverter(QPainter& p, const QSize& size, bool acToDc)
{
    const QRectF frame = QRectF(QPointF(0, 0), QSizeF(size)).adjusted(2, 2, -2, -2);
    p.setPen(inkPen(2.5));
    p.drawRoundedRect(frame, 4, 4);
    p.drawLine(frame.bottomLeft(), frame.topRight());

    const qreal w = frame.width() * 0.32;
    const qreal h = frame.height() * 0.16;
    const QRectF upper(frame.left() + 5, frame.top() + 7, w, h);
    const QRectF lower(frame.right() - 5 - w, frame.bottom() - 7 - h, w, h);
    p.setPen(inkPen(2.0));
    if (acToDc) {
        drawSine(p, upper);
        drawDc(p, lower);
    } else {
        drawDc(p, upper);
        drawSine(p, lower);
    }
}

void drawInput(QPainter& p, const QSize& size)
{
    p.setPen(inkPen(2.0));
    drawSine(p, QRectF(QPointF(0, 0), QSizeF(size)).adjusted(1.5, 1.5, -1.5, -1.5));
}

// The load: a monitor on its stand.
void drawLoad(QPainter& p, const QSize& size)
{
    const qreal w = size.width();
    const QRectF screen(8, 2, w - 16, 26);
    p.setPen(inkPen(2.5));
    p.drawRoundedRect(screen, 3, 3);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 255, 255, 90));
    p.drawRect(screen.adjusted(4, 4, -4, -4));
    p.setBrush(Qt::NoBrush);
    p.setPen(inkPen(2.5));
    p.drawLine(QPointF(w / 2, screen.bottom() + 1), QPointF(w / 2, 35));
    p.drawLine(QPointF(w / 2 - 11, 37), QPointF(w / 2 + 11, 37));
}

struct Icon
{
    const char* fileName;
    QSize size;
    std::function<void(QPainter&, const QSize&)> draw;
};

// Writes the icon into `dir`, or with `check` compares it with the file there.
bool writeIcon(const QDir& dir, const Icon& icon, bool check)
{
    QImage img(icon.size, QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::transparent);
    {
        QPainter p(&img);
        p.setRenderHint(QPainter::Antialiasing);
        icon.draw(p, icon.size);
    }
    const QString path = dir.filePath(QString::fromLatin1(icon.fileName));
    if (check) {
        const bool same = QImage(path).convertToFormat(img.format()) == img;
        if (!same)
            std::fprintf(stderr, "%s differs from its drawing: run make_images and commit it\n", qPrintable(path));
        return same;
    }
    if (!img.save(path, "PNG")) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
        return false;
    }
    std::printf("%s\n", qPrintable(path));
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments();
    const bool check = args.removeAll(QStringLiteral("--check")) > 0;
    const QDir dir(args.size() > 1 ? args.at(1) : QStringLiteral("."));

    const Icon icons[] = {
        {"INPUT.png", QSize(28, 10), drawInput},
        {"REC.png", QSize(46, 45), [](QPainter& p, const QSize& s) { drawConverter(p, s, true); }},
        {"INV.png", QSize(48, 46), [](QPainter& p, const QSize& s) { drawConverter(p, s, false); }},
        {"LOAD.png", QSize(56, 40), drawLoad},
    };
    bool ok = true;
    for (const Icon& icon : icons)
        ok = writeIcon(dir, icon, check) && ok;
    return ok ? 0 : 1;
}
