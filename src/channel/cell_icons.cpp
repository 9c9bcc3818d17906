#include "channel/cell_icons.h"

#include <QtGui/QPainter>
#include <QtGui/QPainterPath>
#include <iterator>

namespace kvmon {

namespace {

constexpr int kNarrow = 18;
constexpr int kWide = 26;

struct FlagRow {
    CellIcon icon;
    int width;
};

// In the order of the status words.
constexpr FlagRow kFlags[] = {
    {CellIcon::Recording, kWide}, {CellIcon::EventRecording, kWide}, {CellIcon::Alarm, kWide},
    {CellIcon::Motion, kNarrow},  {CellIcon::Input, kNarrow},        {CellIcon::Output, kNarrow},
    {CellIcon::Fault, kNarrow},
};

// --- the pictures, in a square of 16 units

constexpr double kUnits = 16.0;

const QColor kRed(232, 62, 58);
const QColor kAmber(246, 178, 60);
const QColor kGreen(126, 205, 110);
const QColor kBlue(110, 186, 240);

struct Brushes {
    QColor ink;
    QColor dim;
};

void Stroke(QPainter& painter, const QColor& color, double width = 1.6) {
    painter.setPen(QPen(color, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
}

void Fill(QPainter& painter, const QColor& color) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
}

void Polygon(QPainter& painter, std::initializer_list<QPointF> points) {
    QPolygonF polygon;
    polygon.append(QList<QPointF>(points));
    painter.drawPolygon(polygon);
}

// A stroke through what is switched off.
void CrossOut(QPainter& painter) {
    Stroke(painter, kRed, 1.8);
    painter.drawLine(QPointF(2.5, 13.5), QPointF(13.5, 2.5));
}

// Four arrow heads around a hub.
void DrawPtz(QPainter& painter, const QColor& color) {
    Fill(painter, color);
    for (int quarter = 0; quarter < 4; ++quarter) {
        painter.save();
        painter.translate(8, 8);
        painter.rotate(90 * quarter);
        Polygon(painter, {{0, -7}, {3, -3.6}, {-3, -3.6}});
        painter.restore();
    }
    painter.drawEllipse(QPointF(8, 8), 1.9, 1.9);
}

void DrawZoom(QPainter& painter, const QColor& color) {
    Stroke(painter, color);
    painter.drawEllipse(QPointF(6.8, 6.8), 4.6, 4.6);
    painter.drawLine(QPointF(4.8, 6.8), QPointF(8.8, 6.8));
    painter.drawLine(QPointF(6.8, 4.8), QPointF(6.8, 8.8));
    Stroke(painter, color, 2.4);
    painter.drawLine(QPointF(10.8, 10.8), QPointF(13.8, 13.8));
}

void DrawSpeaker(QPainter& painter, const QColor& color) {
    Fill(painter, color);
    Polygon(painter, {{1.8, 5.8}, {4.2, 5.8}, {8.0, 2.6}, {8.0, 13.4}, {4.2, 10.2}, {1.8, 10.2}});
}

void DrawSoundOn(QPainter& painter, const Brushes& brushes) {
    DrawSpeaker(painter, brushes.ink);
    Stroke(painter, brushes.ink, 1.5);
    painter.drawArc(QRectF(6.6, 5.0, 5.0, 6.0), -55 * 16, 110 * 16);
    painter.drawArc(QRectF(6.2, 2.6, 8.2, 10.8), -55 * 16, 110 * 16);
}

void DrawRecording(QPainter& painter) {
    Stroke(painter, kRed, 1.5);
    painter.drawEllipse(QPointF(8, 8), 6.2, 6.2);
    Fill(painter, kRed);
    painter.drawEllipse(QPointF(8, 8), 3.6, 3.6);
}

void DrawEventRecording(QPainter& painter) {
    Fill(painter, kRed);
    painter.drawEllipse(QPointF(8, 8), 6.9, 6.9);
    Fill(painter, Qt::white);
    Polygon(painter, {{9.2, 2.8}, {4.8, 8.8}, {7.6, 8.8}, {6.6, 13.2}, {11.2, 6.9}, {8.4, 6.9}});
}

void DrawAlarm(QPainter& painter) {
    QPainterPath bell;
    bell.moveTo(2.4, 12.0);
    bell.cubicTo(4.6, 10.4, 3.6, 2.8, 8.0, 2.8);
    bell.cubicTo(12.4, 2.8, 11.4, 10.4, 13.6, 12.0);
    bell.closeSubpath();
    bell.addEllipse(QPointF(8, 13.2), 1.7, 1.5);
    bell.addEllipse(QPointF(8, 2.4), 1.1, 1.1);
    bell.setFillRule(Qt::WindingFill);
    Fill(painter, kAmber);
    painter.drawPath(bell);
}

void DrawMotion(QPainter& painter) {
    Fill(painter, kGreen);
    painter.drawEllipse(QPointF(9.8, 2.6), 1.8, 1.8);
    Stroke(painter, kGreen, 1.8);
    painter.drawPolyline(QPolygonF({{8.9, 5.6}, {7.2, 9.4}, {10.0, 11.2}, {9.6, 14.4}}));
    painter.drawPolyline(QPolygonF({{7.0, 9.8}, {5.6, 12.4}, {2.4, 12.8}}));
    painter.drawPolyline(QPolygonF({{4.0, 7.6}, {5.8, 5.4}, {8.9, 5.6}, {10.4, 8.0}, {13.2, 8.0}}));
}

// An arrow into a terminal, or out of it.
void DrawTerminal(QPainter& painter, const QColor& color, bool in) {
    Stroke(painter, color);
    painter.drawPolyline(QPolygonF({{9.0, 2.4}, {13.6, 2.4}, {13.6, 13.6}, {9.0, 13.6}}));
    const double from = in ? 1.8 : 5.4;
    const double to = in ? 9.6 : 1.8;
    painter.drawLine(QPointF(from, 8), QPointF(in ? to : 9.6, 8));
    const double back = in ? to - 3.2 : to + 3.2;
    painter.drawPolyline(QPolygonF({{back, 4.8}, {to, 8.0}, {back, 11.2}}));
    if (!in) {
        painter.drawLine(QPointF(to, 8), QPointF(from, 8));
    }
}

void DrawFault(QPainter& painter) {
    QPainterPath path;
    path.moveTo(8.0, 1.8);
    path.lineTo(15.0, 14.0);
    path.lineTo(1.0, 14.0);
    path.closeSubpath();
    painter.setPen(QPen(kAmber, 1.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(kAmber);
    painter.drawPath(path);
    const QColor dark(56, 40, 8);
    Stroke(painter, dark, 1.8);
    painter.drawLine(QPointF(8, 6.2), QPointF(8, 9.6));
    Fill(painter, dark);
    painter.drawEllipse(QPointF(8, 12.2), 1.0, 1.0);
}

void DrawInUnits(QPainter& painter, CellIcon icon, const Brushes& brushes) {
    switch (icon) {
        case CellIcon::PtzOn:
            return DrawPtz(painter, brushes.ink);
        case CellIcon::PtzOff:
            DrawPtz(painter, brushes.dim);
            return CrossOut(painter);
        case CellIcon::DigitalZoom:
            return DrawZoom(painter, brushes.ink);
        case CellIcon::SoundOn:
            return DrawSoundOn(painter, brushes);
        case CellIcon::SoundOff:
            DrawSpeaker(painter, brushes.dim);
            return CrossOut(painter);
        case CellIcon::Recording:
            return DrawRecording(painter);
        case CellIcon::EventRecording:
            return DrawEventRecording(painter);
        case CellIcon::Alarm:
            return DrawAlarm(painter);
        case CellIcon::Motion:
            return DrawMotion(painter);
        case CellIcon::Input:
            return DrawTerminal(painter, kBlue, true);
        case CellIcon::Output:
            return DrawTerminal(painter, kBlue, false);
        case CellIcon::Fault:
            return DrawFault(painter);
    }
}

}  // namespace

std::vector<PlacedIcon> PlaceIcons(const CellState& state, int right) {
    std::vector<PlacedIcon> icons;
    const auto place = [&](bool shown, CellIcon icon, int width) {
        if (shown) {
            right -= width;
            icons.push_back({icon, right, width});
        }
    };
    place(state.bPtz, state.bPtzOpen ? CellIcon::PtzOn : CellIcon::PtzOff, kNarrow);
    place(state.bDigitalZoom, CellIcon::DigitalZoom, kNarrow);
    place(state.bSound, state.bSoundOpen ? CellIcon::SoundOn : CellIcon::SoundOff, kNarrow);
    for (std::size_t i = 0; i < std::size(kFlags); ++i) {
        place(state.flags[i] != 0, kFlags[i].icon, kFlags[i].width);
    }
    return icons;
}

void DrawCellIcon(QPainter& painter, CellIcon icon, const QRectF& box, bool bActive) {
    const Brushes brushes = bActive ? Brushes{Qt::white, QColor(255, 255, 255, 150)}
                                    : Brushes{QColor(172, 172, 176), QColor(172, 172, 176, 150)};
    const double side = 15.0;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(box.center() - QPointF(side / 2, side / 2));
    painter.scale(side / kUnits, side / kUnits);
    DrawInUnits(painter, icon, brushes);
    painter.restore();
}

}  // namespace kvmon
