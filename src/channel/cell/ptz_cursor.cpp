#include "channel/cell/ptz_cursor.h"

#include <QtGui/QPainter>
#include <QtGui/QPainterPath>
#include <QtGui/QPixmap>

namespace kvmon {

namespace {

constexpr int kSize = 32;
constexpr double kRing = 3.5;

QPixmap DrawArrows(double scale) {
    QPixmap pixmap((QSizeF(kSize, kSize) * scale).toSize());
    pixmap.setDevicePixelRatio(scale);
    pixmap.fill(Qt::transparent);
    QPainterPath arrow;
    arrow.moveTo(0, -14);
    arrow.lineTo(5, -8);
    arrow.lineTo(-5, -8);
    arrow.closeSubpath();
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(kSize / 2.0, kSize / 2.0);
    // Seen on bright and on dark pictures.
    painter.setPen(QPen(Qt::black, 1));
    painter.setBrush(Qt::white);
    for (int i = 0; i < 4; ++i) {
        painter.drawPath(arrow);
        painter.rotate(90);
    }
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(Qt::black, 4));
    painter.drawEllipse(QPointF(0, 0), kRing, kRing);
    painter.setPen(QPen(Qt::white, 2));
    painter.drawEllipse(QPointF(0, 0), kRing, kRing);
    return pixmap;
}

}  // namespace

QCursor MovingCursor(double scale) {
    return QCursor(DrawArrows(scale), kSize / 2, kSize / 2);
}

}  // namespace kvmon
