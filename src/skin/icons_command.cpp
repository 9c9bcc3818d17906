#include <QtGui/QFont>
#include <QtGui/QPainter>
#include <QtGui/QPainterPath>
#include <algorithm>
#include <cmath>
#include <numbers>

#include "skin/icons.h"

namespace kvmon::icons {

namespace {

// A square of 16 units in the middle of the box, on a whole pixel; strokes of 1.6 units.
class Sheet {
public:
    Sheet(QPainter& painter, const QRectF& box, const QColor& ink) : m_painter(painter) {
        m_painter.save();
        const double side = std::floor(std::min(box.width(), box.height()));
        m_painter.translate(std::floor(box.center().x() - side / 2 + 0.5),
                            std::floor(box.center().y() - side / 2 + 0.5));
        m_painter.scale(side / 16, side / 16);
        Stroke(ink);
    }
    ~Sheet() { m_painter.restore(); }
    Sheet(const Sheet&) = delete;
    Sheet& operator=(const Sheet&) = delete;

    void Stroke(const QColor& ink, double width = 1.6) {
        m_painter.setPen(QPen(ink, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        m_painter.setBrush(Qt::NoBrush);
    }
    void Fill(const QColor& ink) {
        m_painter.setPen(Qt::NoPen);
        m_painter.setBrush(ink);
    }

private:
    QPainter& m_painter;
};

QPainterPath Polyline(std::initializer_list<QPointF> points) {
    QPainterPath path;
    path.addPolygon(QPolygonF(QList<QPointF>(points)));
    return path;
}

QPainterPath Ring(QPointF centre, double outer, double inner) {
    QPainterPath path;
    path.addEllipse(centre, outer, outer);
    path.addEllipse(centre, inner, inner);
    return path;
}

// Eight teeth around a hole.
QPainterPath GearPath(QPointF centre, double radius) {
    QPainterPath path;
    constexpr int kTeeth = 8;
    for (int n = 0; n < kTeeth * 4; ++n) {
        const double reach = n % 4 < 2 ? radius : radius * 0.76;
        const double angle = (n - 0.5) * 2 * std::numbers::pi / (kTeeth * 4);
        const QPointF point = centre + QPointF(std::cos(angle), std::sin(angle)) * reach;
        n == 0 ? path.moveTo(point) : path.lineTo(point);
    }
    path.closeSubpath();
    path.addEllipse(centre, radius * 0.36, radius * 0.36);
    path.setFillRule(Qt::OddEvenFill);
    return path;
}

}  // namespace

// A picture that grows to all sides of its frame.
void ViewSize(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Sheet sheet(painter, box, ink.ink);
    painter.drawRoundedRect(QRectF(-1.2, 2, 18.4, 12), 1.5, 1.5);
    sheet.Fill(ink.ink);
    if (ink.checked) {
        painter.drawRect(QRectF(1.2, 4.4, 13.6, 7.2));
        return;
    }
    painter.drawRect(QRectF(4.9, 5.9, 6.2, 4.2));
    painter.drawPath(Polyline({{3.6, 6}, {1.2, 8}, {3.6, 10}}));
    painter.drawPath(Polyline({{12.4, 6}, {14.8, 8}, {12.4, 10}}));
}

void FullScreen(QPainter& painter, const QRectF& box, const IconInk& ink) {
    const Sheet sheet(painter, box, ink.ink);
    for (const double x : {0.0, 1.0}) {
        for (const double y : {0.0, 1.0}) {
            const QPointF corner(x == 0 ? -0.5 : 16.5, y == 0 ? 2 : 14);
            const QPointF inward(x == 0 ? 4.5 : -4.5, y == 0 ? 3.6 : -3.6);
            // Back from full screen, the corners point inwards.
            const QPointF bend = ink.checked ? corner + inward : corner;
            const QPointF a = ink.checked ? QPointF(corner.x(), bend.y()) : bend + QPointF(inward.x(), 0);
            const QPointF b = ink.checked ? QPointF(bend.x(), corner.y()) : bend + QPointF(0, inward.y());
            painter.drawPath(Polyline({a, bend, b}));
        }
    }
}

// Pages that change by themselves.
void Sequential(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Sheet sheet(painter, box, ink.ink);
    const QRectF circle(1.4, 1.4, 13.2, 13.2);
    painter.drawArc(circle, 20 * 16, 140 * 16);
    painter.drawArc(circle, 200 * 16, 140 * 16);
    sheet.Fill(ink.ink);
    painter.drawPath(Polyline({{12.0, 5.6}, {16.4, 6.6}, {15.8, 2.2}}));
    painter.drawPath(Polyline({{4.0, 10.4}, {-0.4, 9.4}, {0.2, 13.8}}));
    sheet.Fill(ink.checked ? ink.accent : ink.ink);
    painter.drawRect(QRectF(4.8, 5.8, 6.4, 4.6));
}

void Snapshot(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Sheet sheet(painter, box, ink.ink);
    sheet.Fill(ink.ink);
    QPainterPath body;
    body.setFillRule(Qt::WindingFill);
    body.addRoundedRect(QRectF(0, 4, 16, 10.5), 1.8, 1.8);
    body.addPath(Polyline({{4.4, 4.5}, {5.8, 1.5}, {10.2, 1.5}, {11.6, 4.5}}));
    QPainterPath lens;
    lens.addPath(Ring({8, 9.2}, 3.9, 2.2));
    painter.drawPath(body.simplified().subtracted(lens));
}

void Record(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Sheet sheet(painter, box, ink.ink);
    painter.drawEllipse(QPointF(8, 8), 6.6, 6.6);
    // Red is what records.
    sheet.Fill(ink.checked ? ink.accent : ink.ink);
    const double dot = ink.checked ? 4.8 : 3.2;
    painter.drawEllipse(QPointF(8, 8), dot, dot);
}

void Speaker(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Sheet sheet(painter, box, ink.ink);
    sheet.Fill(ink.ink);
    painter.drawPath(
        Polyline({{0.5, 5.4}, {3.4, 5.4}, {7.8, 1.6}, {7.8, 14.4}, {3.4, 10.6}, {0.5, 10.6}, {0.5, 5.4}}));
    sheet.Stroke(ink.checked ? ink.accent : ink.ink, 1.7);
    if (ink.checked) {
        painter.drawArc(QRectF(6.2, 4.6, 5.6, 6.8), -60 * 16, 120 * 16);
        painter.drawArc(QRectF(3.6, 1.6, 11.8, 12.8), -52 * 16, 104 * 16);
    } else {
        painter.drawLine(QPointF(10.6, 5.8), QPointF(15, 10.2));
        painter.drawLine(QPointF(15, 5.8), QPointF(10.6, 10.2));
    }
}

void Microphone(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Sheet sheet(painter, box, ink.ink);
    painter.drawArc(QRectF(2.8, 2.4, 10.4, 10), 180 * 16, 180 * 16);
    painter.drawLine(QPointF(8, 12.6), QPointF(8, 15));
    painter.drawLine(QPointF(5, 15.2), QPointF(11, 15.2));
    sheet.Fill(ink.ink);
    painter.drawRoundedRect(QRectF(5.2, 0.2, 5.6, 10), 2.8, 2.8);
}

void Globe(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Sheet sheet(painter, box, ink.ink);
    sheet.Stroke(ink.ink, 1.4);
    painter.drawEllipse(QPointF(8, 8), 7, 7);
    painter.drawEllipse(QPointF(8, 8), 3.1, 7);
    painter.drawLine(QPointF(1.4, 5.6), QPointF(14.6, 5.6));
    painter.drawLine(QPointF(1.4, 10.4), QPointF(14.6, 10.4));
}

void House(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Sheet sheet(painter, box, ink.ink);
    sheet.Fill(ink.ink);
    painter.drawPath(Polyline({{8, 0.8},
                               {16, 8.2},
                               {13.8, 8.2},
                               {13.8, 15},
                               {9.8, 15},
                               {9.8, 10},
                               {6.2, 10},
                               {6.2, 15},
                               {2.2, 15},
                               {2.2, 8.2},
                               {0, 8.2},
                               {8, 0.8}}));
}

void TwoDisplays(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Sheet sheet(painter, box, ink.ink);
    painter.drawPath(Polyline({{4, 9.5}, {0.8, 9.5}, {0.8, 2}, {10.5, 2}, {10.5, 3.6}}));
    sheet.Fill(ink.checked ? ink.accent : ink.ink);
    painter.drawRoundedRect(QRectF(5.6, 5.4, 10.4, 7.4), 1, 1);
    painter.drawRect(QRectF(8.4, 13.6, 4.8, 1.6));
}

void Language(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Sheet sheet(painter, box, ink.ink);
    painter.drawPath(Polyline({{0.8, 13}, {4.6, 3}, {8.4, 13}}));
    painter.drawLine(QPointF(2.2, 9.6), QPointF(7, 9.6));
    painter.drawEllipse(QPointF(12, 10.6), 2.4, 2.6);
    painter.drawLine(QPointF(14.8, 7.6), QPointF(14.8, 13.2));
}

void Playback(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Sheet sheet(painter, box, ink.ink);
    painter.drawEllipse(QPointF(8, 8), 7, 7);
    sheet.Fill(ink.ink);
    painter.drawPath(Polyline({{6.2, 4.6}, {11.8, 8}, {6.2, 11.4}}));
}

void Gear(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Sheet sheet(painter, box, ink.ink);
    sheet.Fill(ink.ink);
    painter.drawPath(GearPath({8, 8}, 8));
}

void Wrench(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Sheet sheet(painter, box, ink.ink);
    sheet.Stroke(ink.ink, 2.6);
    painter.drawLine(QPointF(2, 14), QPointF(8.6, 7.4));
    painter.drawArc(QRectF(7.6, 1.2, 7.2, 7.2), 75 * 16, 300 * 16);
}

void Question(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Sheet sheet(painter, box, ink.ink);
    sheet.Stroke(ink.ink, 1.9);
    QPainterPath hook;
    hook.moveTo(4.4, 5);
    hook.cubicTo({4.6, -0.4}, {12.2, 0.2}, {11.6, 5.2});
    hook.cubicTo({11.2, 7.4}, {8, 7.6}, {8, 10.4});
    painter.drawPath(hook);
    sheet.Fill(ink.ink);
    painter.drawEllipse(QPointF(8, 14), 1.35, 1.35);
}

// Out of a door.
void Leave(QPainter& painter, const QRectF& box, const IconInk& ink) {
    const Sheet sheet(painter, box, ink.ink);
    painter.drawPath(Polyline({{7, 1.6}, {1.6, 1.6}, {1.6, 14.4}, {7, 14.4}}));
    painter.drawLine(QPointF(6, 8), QPointF(14.6, 8));
    painter.drawPath(Polyline({{11.2, 4.4}, {14.8, 8}, {11.2, 11.6}}));
}

void Reset(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Sheet sheet(painter, box, ink.ink);
    painter.drawArc(QRectF(2, 2.4, 12, 12), -140 * 16, 290 * 16);
    sheet.Fill(ink.ink);
    painter.drawPath(Polyline({{0.6, 1.6}, {1.6, 7.2}, {6.6, 4.8}}));
}

void CameraSettings(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Sheet sheet(painter, box, ink.ink);
    sheet.Fill(ink.ink);
    painter.drawRoundedRect(QRectF(0, 2, 9.6, 6.6), 1.4, 1.4);
    painter.drawPath(Polyline({{10.2, 4.6}, {13.6, 2.4}, {13.6, 6.4}, {10.2, 6.4}}));
    painter.drawPath(GearPath({11, 11.2}, 4.8));
}

void MenuLines(QPainter& painter, const QRectF& box, const IconInk& ink) {
    const Sheet sheet(painter, box, ink.ink);
    for (const double y : {3.4, 8.0, 12.6}) {
        painter.drawLine(QPointF(2, y), QPointF(14, y));
    }
}

void Recorders(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Sheet sheet(painter, box, ink.ink);
    for (const double y : {2.0, 9.0}) {
        sheet.Stroke(ink.ink, 1.5);
        painter.drawRoundedRect(QRectF(0.8, y, 14.4, 5), 1.2, 1.2);
        sheet.Fill(ink.accent);
        painter.drawEllipse(QPointF(12, y + 2.5), 1.1, 1.1);
        sheet.Fill(ink.ink);
        painter.drawRect(QRectF(3, y + 1.8, 5.4, 1.4));
    }
}

// Cameras, one below the other, with their names.
void CameraList(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Sheet sheet(painter, box, ink.ink);
    for (const double y : {1.2, 9.4}) {
        sheet.Fill(ink.accent);
        painter.drawRoundedRect(QRectF(0.4, y, 4.6, 5.0), 1.0, 1.0);
        painter.drawPath(Polyline({{5.4, y + 2.5}, {7.8, y + 0.6}, {7.8, y + 4.4}}));
        sheet.Stroke(ink.ink, 1.6);
        painter.drawLine(QPointF(10.2, y + 2.5), QPointF(15.4, y + 2.5));
    }
}

void Spinner(QPainter& painter, const QRectF& box, const QColor& ink, int angle) {
    Sheet sheet(painter, box, ink);
    QColor track = ink;
    track.setAlphaF(0.22F);
    sheet.Stroke(track, 2);
    painter.drawEllipse(QPointF(8, 8), 6.4, 6.4);
    sheet.Stroke(ink, 2);
    painter.drawArc(QRectF(1.6, 1.6, 12.8, 12.8), -angle * 16, 100 * 16);
}

// A lens between two brackets.
void Mark(QPainter& painter, const QRectF& box, const IconInk& ink) {
    Sheet sheet(painter, box, ink.ink);
    painter.drawArc(QRectF(0.8, 0.8, 14.4, 14.4), 50 * 16, 260 * 16);
    sheet.Stroke(ink.accent, 1.6);
    painter.drawEllipse(QPointF(8, 8), 4, 4);
    sheet.Fill(ink.accent);
    painter.drawEllipse(QPointF(8, 8), 1.6, 1.6);
    sheet.Fill(ink.ink);
    painter.drawEllipse(QPointF(14, 8), 1.3, 1.3);
}

}  // namespace kvmon::icons
