#include <QtGui/QPainter>
#include <QtGui/QPainterPath>
#include <algorithm>
#include <cmath>

#include "skin/icons.h"

// At this size every pixel counts: these signs are drawn in pixels of the button, not to a scale.
namespace kvmon::icons {

namespace {

void Begin(QPainter& painter, const QColor& ink) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(ink);
}

// A triangle with its tip at the given distance from the middle, and that half as wide.
void DrawTriangle(QPainter& painter, QPointF centre, QPointF direction, double depth, double halfWidth,
                  const QColor& ink) {
    Begin(painter, ink);
    const QPointF side(-direction.y() * halfWidth, direction.x() * halfWidth);
    const QPointF base = centre - direction * depth / 2;
    painter.drawPolygon(QPolygonF({base + side, centre + direction * depth / 2, base - side}));
}

// The box's corner, filled, with a notch towards the middle: an arrow head that points outwards.
void DrawCorner(QPainter& painter, const QRectF& box, int x, int y, const QColor& ink) {
    Begin(painter, ink);
    const double side = std::min(box.width(), box.height());
    painter.save();
    painter.translate(x < 0 ? box.left() : box.right(), y < 0 ? box.top() : box.bottom());
    painter.scale(-x, -y);
    painter.drawPolygon(QPolygonF({QPointF(0, 0), QPointF(side, 0), QPointF(side * 0.62, side * 0.38),
                                   QPointF(side * 0.38, side * 0.62), QPointF(0, side)}));
    painter.restore();
}

QPointF WholePixel(QPointF point) {
    return {std::floor(point.x() * 2 + 0.5) / 2, std::floor(point.y() * 2 + 0.5) / 2};
}

}  // namespace

void Dots(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Begin(painter, ink.ink);
    const QPointF centre = WholePixel(box.center());
    for (const double offset : {-5.0, 0.0, 5.0}) {
        painter.drawEllipse(centre + QPointF(0, offset), 1.5, 1.5);
    }
}

void ArrowUp(QPainter& painter, const QRectF& box, const IconInk& ink) {
    DrawTriangle(painter, box.center(), {0, -1}, 5, 6, ink.ink);
}

void ArrowDown(QPainter& painter, const QRectF& box, const IconInk& ink) {
    DrawTriangle(painter, box.center(), {0, 1}, 5, 6, ink.ink);
}

void ArrowLeft(QPainter& painter, const QRectF& box, const IconInk& ink) {
    DrawTriangle(painter, box.center(), {-1, 0}, 5, 6, ink.ink);
}

void ArrowRight(QPainter& painter, const QRectF& box, const IconInk& ink) {
    DrawTriangle(painter, box.center(), {1, 0}, 5, 6, ink.ink);
}

void CornerUpLeft(QPainter& painter, const QRectF& box, const IconInk& ink) {
    DrawCorner(painter, box, -1, -1, ink.ink);
}

void CornerUpRight(QPainter& painter, const QRectF& box, const IconInk& ink) {
    DrawCorner(painter, box, 1, -1, ink.ink);
}

void CornerDownLeft(QPainter& painter, const QRectF& box, const IconInk& ink) {
    DrawCorner(painter, box, -1, 1, ink.ink);
}

void CornerDownRight(QPainter& painter, const QRectF& box, const IconInk& ink) {
    DrawCorner(painter, box, 1, 1, ink.ink);
}

void Minus(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Begin(painter, ink.ink);
    const QPointF centre = WholePixel(box.center());
    painter.drawRect(QRectF(centre.x() - 3.5, centre.y() - 1, 7, 2));
}

void Plus(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Begin(painter, ink.ink);
    const QPointF centre = WholePixel(box.center());
    painter.drawRect(QRectF(centre.x() - 3.5, centre.y() - 1, 7, 2));
    painter.drawRect(QRectF(centre.x() - 1, centre.y() - 3.5, 2, 7));
}

// Head and shoulders.
void Person(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Begin(painter, ink.ink);
    const QPointF centre = WholePixel(box.center());
    painter.drawEllipse(centre - QPointF(0, 2.6), 1.9, 1.9);
    QPainterPath body;
    body.moveTo(centre + QPointF(-3.2, 4.5));
    body.cubicTo(centre + QPointF(-3.2, -1), centre + QPointF(3.2, -1), centre + QPointF(3.2, 4.5));
    painter.drawPath(body);
}

void Mountain(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Begin(painter, ink.ink);
    const QPointF centre = WholePixel(box.center());
    painter.drawPolygon(
        QPolygonF({centre + QPointF(-3.6, 3.5), centre + QPointF(-0.8, -4), centre + QPointF(0.8, -0.6),
                   centre + QPointF(1.6, -1.8), centre + QPointF(3.6, 3.5)}));
}

}  // namespace kvmon::icons
