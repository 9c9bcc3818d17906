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

struct Palette {
    QColor ink;
    QColor dim;
    QColor red;
    QColor amber;
    QColor onAmber;
    QColor green;
    QColor blue;
};

// Each keeps its distance from its strip: orange the one, dark grey the other.
const Palette kOnActive = {QColor(255, 255, 255), QColor(255, 255, 255, 170), QColor(186, 14, 18),
                           QColor(255, 250, 214), QColor(120, 62, 0),         QColor(10, 92, 32),
                           QColor(22, 56, 150)};
const Palette kOnInactive = {QColor(172, 172, 176), QColor(172, 172, 176, 150), QColor(240, 70, 64),
                             QColor(246, 178, 60),  QColor(56, 40, 8),          QColor(126, 205, 110),
                             QColor(110, 186, 240)};

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
void CrossOut(QPainter& painter, const QColor& red) {
    Stroke(painter, red, 1.8);
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

void DrawSoundOn(QPainter& painter, const QColor& color) {
    DrawSpeaker(painter, color);
    Stroke(painter, color, 1.5);
    painter.drawArc(QRectF(6.6, 5.0, 5.0, 6.0), -55 * 16, 110 * 16);
    painter.drawArc(QRectF(6.2, 2.6, 8.2, 10.8), -55 * 16, 110 * 16);
}

void DrawRecording(QPainter& painter, const QColor& color) {
    Stroke(painter, color, 1.5);
    painter.drawEllipse(QPointF(8, 8), 6.2, 6.2);
    Fill(painter, color);
    painter.drawEllipse(QPointF(8, 8), 3.6, 3.6);
}

void DrawEventRecording(QPainter& painter, const QColor& color) {
    Fill(painter, color);
    painter.drawEllipse(QPointF(8, 8), 6.9, 6.9);
    Fill(painter, Qt::white);
    Polygon(painter, {{9.2, 2.8}, {4.8, 8.8}, {7.6, 8.8}, {6.6, 13.2}, {11.2, 6.9}, {8.4, 6.9}});
}

void DrawAlarm(QPainter& painter, const QColor& color) {
    QPainterPath bell;
    bell.moveTo(2.4, 12.0);
    bell.cubicTo(4.6, 10.4, 3.6, 2.8, 8.0, 2.8);
    bell.cubicTo(12.4, 2.8, 11.4, 10.4, 13.6, 12.0);
    bell.closeSubpath();
    bell.addEllipse(QPointF(8, 13.2), 1.7, 1.5);
    bell.addEllipse(QPointF(8, 2.4), 1.1, 1.1);
    bell.setFillRule(Qt::WindingFill);
    Fill(painter, color);
    painter.drawPath(bell);
}

void DrawMotion(QPainter& painter, const QColor& color) {
    Fill(painter, color);
    painter.drawEllipse(QPointF(9.8, 2.6), 1.8, 1.8);
    Stroke(painter, color, 1.8);
    painter.drawPolyline(QPolygonF({{8.9, 5.6}, {7.2, 9.4}, {10.0, 11.2}, {9.6, 14.4}}));
    painter.drawPolyline(QPolygonF({{7.0, 9.8}, {5.6, 12.4}, {2.4, 12.8}}));
    painter.drawPolyline(QPolygonF({{4.0, 7.6}, {5.8, 5.4}, {8.9, 5.6}, {10.4, 8.0}, {13.2, 8.0}}));
}

// An arrow into a terminal, or out of it.
void DrawTerminal(QPainter& painter, const QColor& color, bool in) {
    Stroke(painter, color);
    painter.drawPolyline(QPolygonF({{9.0, 2.4}, {13.6, 2.4}, {13.6, 13.6}, {9.0, 13.6}}));
    const double head = in ? 9.6 : 1.8;
    const double back = in ? head - 3.2 : head + 3.2;
    painter.drawLine(QPointF(in ? 1.8 : 9.6, 8), QPointF(head, 8));
    painter.drawPolyline(QPolygonF({{back, 4.8}, {head, 8.0}, {back, 11.2}}));
}

void DrawFault(QPainter& painter, const Palette& palette) {
    QPainterPath path;
    path.moveTo(8.0, 1.8);
    path.lineTo(15.0, 14.0);
    path.lineTo(1.0, 14.0);
    path.closeSubpath();
    painter.setPen(QPen(palette.amber, 1.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(palette.amber);
    painter.drawPath(path);
    Stroke(painter, palette.onAmber, 1.8);
    painter.drawLine(QPointF(8, 6.2), QPointF(8, 9.6));
    Fill(painter, palette.onAmber);
    painter.drawEllipse(QPointF(8, 12.2), 1.0, 1.0);
}

void DrawInUnits(QPainter& painter, CellIcon icon, const Palette& palette) {
    switch (icon) {
        case CellIcon::PtzOn:
            return DrawPtz(painter, palette.ink);
        case CellIcon::PtzOff:
            DrawPtz(painter, palette.dim);
            return CrossOut(painter, palette.red);
        case CellIcon::DigitalZoom:
            return DrawZoom(painter, palette.ink);
        case CellIcon::SoundOn:
            return DrawSoundOn(painter, palette.ink);
        case CellIcon::SoundOff:
            DrawSpeaker(painter, palette.dim);
            return CrossOut(painter, palette.red);
        case CellIcon::Recording:
            return DrawRecording(painter, palette.red);
        case CellIcon::EventRecording:
            return DrawEventRecording(painter, palette.red);
        case CellIcon::Alarm:
            return DrawAlarm(painter, palette.amber);
        case CellIcon::Motion:
            return DrawMotion(painter, palette.green);
        case CellIcon::Input:
            return DrawTerminal(painter, palette.blue, true);
        case CellIcon::Output:
            return DrawTerminal(painter, palette.blue, false);
        case CellIcon::Fault:
            return DrawFault(painter, palette);
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
    const double side = 15.0;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(box.center() - QPointF(side / 2, side / 2));
    painter.scale(side / kUnits, side / kUnits);
    DrawInUnits(painter, icon, bActive ? kOnActive : kOnInactive);
    painter.restore();
}

}  // namespace kvmon
