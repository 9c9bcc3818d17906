#include "channel/cell/cell_icons.h"

#include <QtGui/QPainter>
#include <QtGui/QPainterPath>
#include <algorithm>
#include <array>
#include <iterator>

#include "persist/string_table.h"
#include "skin/skin_colours.h"

namespace kvmon {

namespace {

constexpr int kNarrow = 18;
constexpr int kWide = 26;

// What every icon is called, and how soon it makes room for others in a narrow cell: the lowest goes first.
struct IconRow {
    CellIcon icon;
    int width;
    int weight;
    std::uint32_t text;
};

constexpr IconRow kIcons[] = {
    {CellIcon::PtzOn, kNarrow, 2, 6801},         {CellIcon::PtzOff, kNarrow, 1, 6802},
    {CellIcon::DigitalZoom, kNarrow, 4, 2603},   {CellIcon::SoundOn, kNarrow, 2, 6803},
    {CellIcon::SoundOff, kNarrow, 1, 6804},      {CellIcon::Connected, kWide, 0, 6805},
    {CellIcon::NotConnected, kWide, 9, 6806},    {CellIcon::Recording, kWide, 7, 6807},
    {CellIcon::ManualRecording, kWide, 7, 6814}, {CellIcon::Event, kWide, 6, 6808},
    {CellIcon::Motion, kNarrow, 5, 6809},        {CellIcon::SignalLoss, kNarrow, 10, 6810},
    {CellIcon::Input, kNarrow, 6, 6811},         {CellIcon::Alarm, kNarrow, 8, 6812},
};

constexpr CellIcon kFlagIcons[kStatusFlagCount] = {
    CellIcon::Connected,  CellIcon::Recording, CellIcon::Event, CellIcon::Motion,
    CellIcon::SignalLoss, CellIcon::Input,     CellIcon::Alarm,
};

const IconRow& RowOf(CellIcon icon) {
    return *std::find_if(std::begin(kIcons), std::end(kIcons),
                         [icon](const IconRow& row) { return row.icon == icon; });
}

// --- the pictures, in a square of 16 units

constexpr double kUnits = 16.0;

void Stroke(QPainter& painter, QRgb color, double width = 1.6) {
    painter.setPen(QPen(QColor(color), width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
}

void Fill(QPainter& painter, QRgb color) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(color));
}

void Polygon(QPainter& painter, std::initializer_list<QPointF> points) {
    QPolygonF polygon;
    polygon.append(QList<QPointF>(points));
    painter.drawPolygon(polygon);
}

// A stroke through what is switched off.
void CrossOut(QPainter& painter, QRgb red) {
    Stroke(painter, red, 1.8);
    painter.drawLine(QPointF(2.5, 13.5), QPointF(13.5, 2.5));
}

// Four arrow heads around a hub.
void DrawPtz(QPainter& painter, QRgb color) {
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

void DrawZoom(QPainter& painter, QRgb color) {
    Stroke(painter, color);
    painter.drawEllipse(QPointF(6.8, 6.8), 4.6, 4.6);
    painter.drawLine(QPointF(4.8, 6.8), QPointF(8.8, 6.8));
    painter.drawLine(QPointF(6.8, 4.8), QPointF(6.8, 8.8));
    Stroke(painter, color, 2.4);
    painter.drawLine(QPointF(10.8, 10.8), QPointF(13.8, 13.8));
}

void DrawSpeaker(QPainter& painter, QRgb color) {
    Fill(painter, color);
    Polygon(painter, {{1.8, 5.8}, {4.2, 5.8}, {8.0, 2.6}, {8.0, 13.4}, {4.2, 10.2}, {1.8, 10.2}});
}

void DrawSoundOn(QPainter& painter, QRgb color) {
    DrawSpeaker(painter, color);
    Stroke(painter, color, 1.5);
    painter.drawArc(QRectF(6.6, 5.0, 5.0, 6.0), -55 * 16, 110 * 16);
    painter.drawArc(QRectF(6.2, 2.6, 8.2, 10.8), -55 * 16, 110 * 16);
}

// The dot of every recording; what a user began stands between two marks.
void DrawRecording(QPainter& painter, QRgb color, bool bManual) {
    Stroke(painter, color, 1.5);
    painter.drawEllipse(QPointF(8, 8), 6.2, 6.2);
    Fill(painter, color);
    painter.drawEllipse(QPointF(8, 8), 3.6, 3.6);
    if (bManual) {
        Stroke(painter, color, 1.7);
        painter.drawPolyline(QPolygonF({{-1.6, 2.2}, {-3.2, 2.2}, {-3.2, 13.8}, {-1.6, 13.8}}));
        painter.drawPolyline(QPolygonF({{17.6, 2.2}, {19.2, 2.2}, {19.2, 13.8}, {17.6, 13.8}}));
    }
}

// A camera from the side.
void DrawCamera(QPainter& painter, QRgb color) {
    Fill(painter, color);
    painter.drawRoundedRect(QRectF(1.4, 4.6, 8.8, 6.8), 1.4, 1.4);
    Polygon(painter, {{10.9, 7.2}, {14.6, 4.9}, {14.6, 11.1}, {10.9, 8.8}});
}

// The one that is told by what is missing: a camera struck through, on a plate of its own.
void DrawNotConnected(QPainter& painter, const StripColours& palette) {
    Fill(painter, palette.plate);
    painter.drawRoundedRect(QRectF(-3.4, 0.4, 22.8, 15.2), 3.0, 3.0);
    DrawCamera(painter, palette.onPlate);
    Stroke(painter, palette.plate, 4.4);
    painter.drawLine(QPointF(3.0, 13.6), QPointF(13.0, 2.4));
    Stroke(painter, palette.onPlate, 1.8);
    painter.drawLine(QPointF(3.0, 13.6), QPointF(13.0, 2.4));
}

void DrawEvent(QPainter& painter, QRgb color) {
    Fill(painter, color);
    Polygon(painter, {{10.2, 0.8}, {3.2, 9.2}, {7.2, 9.2}, {5.6, 15.2}, {12.8, 6.4}, {8.6, 6.4}});
}

// A screen with a cross in place of a picture.
void DrawSignalLoss(QPainter& painter, const StripColours& palette) {
    Fill(painter, palette.plate);
    painter.drawRoundedRect(QRectF(-0.6, 0.4, 17.2, 15.2), 3.0, 3.0);
    Stroke(painter, palette.onPlate, 1.5);
    painter.drawRoundedRect(QRectF(2.2, 3.2, 11.6, 8.6), 1.0, 1.0);
    painter.drawLine(QPointF(5.6, 5.4), QPointF(10.4, 9.6));
    painter.drawLine(QPointF(10.4, 5.4), QPointF(5.6, 9.6));
    painter.drawLine(QPointF(5.4, 13.6), QPointF(10.6, 13.6));
}

void DrawAlarm(QPainter& painter, QRgb color) {
    QPainterPath bell;
    bell.moveTo(3.0, 12.0);
    bell.cubicTo(5.0, 10.4, 3.8, 3.2, 8.0, 3.2);
    bell.cubicTo(12.2, 3.2, 11.0, 10.4, 13.0, 12.0);
    bell.closeSubpath();
    bell.addEllipse(QPointF(8, 13.2), 1.7, 1.5);
    bell.addEllipse(QPointF(8, 2.8), 1.1, 1.1);
    bell.setFillRule(Qt::WindingFill);
    Fill(painter, color);
    painter.drawPath(bell);
    Stroke(painter, color, 1.2);
    painter.drawArc(QRectF(0.2, 2.4, 7.0, 8.4), 125 * 16, 60 * 16);
    painter.drawArc(QRectF(8.8, 2.4, 7.0, 8.4), -5 * 16, 60 * 16);
}

void DrawMotion(QPainter& painter, QRgb color) {
    Fill(painter, color);
    painter.drawEllipse(QPointF(9.8, 2.6), 1.8, 1.8);
    Stroke(painter, color, 1.8);
    painter.drawPolyline(QPolygonF({{8.9, 5.6}, {7.2, 9.4}, {10.0, 11.2}, {9.6, 14.4}}));
    painter.drawPolyline(QPolygonF({{7.0, 9.8}, {5.6, 12.4}, {2.4, 12.8}}));
    painter.drawPolyline(QPolygonF({{4.0, 7.6}, {5.8, 5.4}, {8.9, 5.6}, {10.4, 8.0}, {13.2, 8.0}}));
}

// An arrow into a terminal.
void DrawInput(QPainter& painter, QRgb color) {
    Stroke(painter, color);
    painter.drawPolyline(QPolygonF({{9.0, 2.4}, {13.6, 2.4}, {13.6, 13.6}, {9.0, 13.6}}));
    painter.drawLine(QPointF(1.8, 8), QPointF(9.6, 8));
    painter.drawPolyline(QPolygonF({{6.4, 4.8}, {9.6, 8.0}, {6.4, 11.2}}));
}

void DrawInUnits(QPainter& painter, CellIcon icon, const StripColours& palette) {
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
        case CellIcon::Connected:
            return DrawCamera(painter, palette.dim);
        case CellIcon::NotConnected:
            return DrawNotConnected(painter, palette);
        case CellIcon::Recording:
            return DrawRecording(painter, palette.red, false);
        case CellIcon::ManualRecording:
            return DrawRecording(painter, palette.red, true);
        case CellIcon::Event:
            return DrawEvent(painter, palette.amber);
        case CellIcon::Motion:
            return DrawMotion(painter, palette.green);
        case CellIcon::SignalLoss:
            return DrawSignalLoss(painter, palette);
        case CellIcon::Input:
            return DrawInput(painter, palette.blue);
        case CellIcon::Alarm:
            return DrawAlarm(painter, palette.red);
    }
}

}  // namespace

std::vector<PlacedIcon> PlaceIcons(const CellState& state, int right, int left) {
    std::vector<const IconRow*> rows;
    const auto add = [&rows](bool shown, CellIcon icon) {
        if (shown) {
            rows.push_back(&RowOf(icon));
        }
    };
    add(state.bPtz, state.bPtzOpen ? CellIcon::PtzOn : CellIcon::PtzOff);
    add(state.bDigitalZoom, CellIcon::DigitalZoom);
    add(state.bSound, state.bSoundOpen ? CellIcon::SoundOn : CellIcon::SoundOff);
    add(state.bTold && !Has(state.flags, StatusFlag::Connected), CellIcon::NotConnected);
    for (std::size_t i = 0; i < kStatusFlagCount; ++i) {
        const bool bByHand = kFlagIcons[i] == CellIcon::Recording && state.bManual;
        add(state.flags[i] != 0 || bByHand, bByHand ? CellIcon::ManualRecording : kFlagIcons[i]);
    }
    std::int64_t room = std::int64_t{right} - left;
    for (const IconRow* const row : rows) {
        room -= row->width;
    }
    while (room < 0 && !rows.empty()) {
        const auto least = std::min_element(
            rows.begin(), rows.end(), [](const auto* a, const auto* b) { return a->weight < b->weight; });
        room += (*least)->width;
        rows.erase(least);
    }
    std::vector<PlacedIcon> icons;
    for (const IconRow* const row : rows) {
        right -= row->width;
        icons.push_back({row->icon, right, row->width});
    }
    return icons;
}

std::span<const CellIcon> AllCellIcons() {
    static const auto icons = [] {
        std::array<CellIcon, std::size(kIcons)> all{};
        std::transform(std::begin(kIcons), std::end(kIcons), all.begin(),
                       [](const IconRow& row) { return row.icon; });
        return all;
    }();
    return icons;
}

QString CellIconText(CellIcon icon) {
    return QString::fromStdString(LoadString(RowOf(icon).text));
}

CellIcon IconOfFlag(StatusFlag flag) {
    return kFlagIcons[static_cast<std::size_t>(flag)];
}

void DrawCellIcon(QPainter& painter, CellIcon icon, const QRectF& box, const StripColours& colours) {
    const double side = 15.0;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(box.center() - QPointF(side / 2, side / 2));
    painter.scale(side / kUnits, side / kUnits);
    DrawInUnits(painter, icon, colours);
    painter.restore();
}

}  // namespace kvmon
