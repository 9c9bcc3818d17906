#include <QtGui/QPainter>
#include <algorithm>
#include <array>
#include <cmath>
#include <span>

#include "skin/icons.h"

namespace kvmon::icons {

namespace {

struct Cell {
    int x, y, w, h;
};

// Between two cells, in pixels.
double GapIn(const QRectF& box, int columns) {
    return box.height() > 24 && columns < 4 ? 2 : 1;
}

// The largest box of 4:3 in the middle, on whole device pixels, so that the gaps come out even.
QRectF PictureBox(const QPainter& painter, const QRectF& box, int columns, int rows) {
    const double gap = GapIn(box, columns);
    const double step = 1 / painter.device()->devicePixelRatioF();
    const double height = std::min(box.height(), box.width() * 3 / 4);
    const auto multiple = [step, gap](double length, int parts) {
        return std::floor((length + gap) / parts / step) * step * parts - gap;
    };
    const double w = multiple(height * 4 / 3, columns);
    const double h = multiple(height, rows);
    const auto snapped = [step](double value) { return std::round(value / step) * step; };
    return {snapped(box.center().x() - w / 2), snapped(box.center().y() - h / 2), w, h};
}

void DrawCells(QPainter& painter, const QRectF& box, const IconInk& ink, int columns, int rows,
               std::span<const Cell> cells) {
    const QRectF area = PictureBox(painter, box, columns, rows);
    const double gap = GapIn(box, columns);
    const double w = (area.width() + gap) / columns;
    const double h = (area.height() + gap) / rows;
    painter.setPen(Qt::NoPen);
    painter.setBrush(ink.ink);
    const double radius = h > 6 ? 1 : 0;
    for (const Cell& cell : cells) {
        const QRectF rect(area.x() + cell.x * w, area.y() + cell.y * h, cell.w * w - gap, cell.h * h - gap);
        painter.drawRoundedRect(rect, radius, radius);
    }
}

void DrawGrid(QPainter& painter, const QRectF& box, const IconInk& ink, int columns, int rows) {
    std::vector<Cell> cells;
    cells.reserve(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows));
    for (int n = 0; n < columns * rows; ++n) {
        cells.push_back({n % columns, n / columns, 1, 1});
    }
    DrawCells(painter, box, ink, columns, rows, cells);
}

// One large cell, a column at its right and a row below.
void DrawCornered(QPainter& painter, const QRectF& box, const IconInk& ink, int parts) {
    const int large = parts - 1;
    std::vector<Cell> cells{{0, 0, large, large}};
    for (int n = 0; n < parts; ++n) {
        cells.push_back({n, large, 1, 1});
        if (n < large) {
            cells.push_back({large, n, 1, 1});
        }
    }
    DrawCells(painter, box, ink, parts, parts, cells);
}

}  // namespace

void Single(QPainter& painter, const QRectF& box, const IconInk& ink) {
    DrawGrid(painter, box, ink, 1, 1);
}

void PictureInPicture(QPainter& painter, const QRectF& box, const IconInk& ink) {
    const QRectF area = PictureBox(painter, box, 1, 1);
    painter.setPen(QPen(ink.ink, 1));
    QColor fill = ink.ink;
    fill.setAlphaF(fill.alphaF() * 0.3F);
    painter.setBrush(fill);
    painter.drawRoundedRect(area.adjusted(0.5, 0.5, -0.5, -0.5), 1, 1);
    const double w = std::floor((area.width() - 8) / 3);
    const double h = std::floor(w * 3 / 4);
    painter.setPen(Qt::NoPen);
    painter.setBrush(ink.ink);
    for (int n = 1; n <= 3; ++n) {
        painter.drawRect(QRectF(area.right() - 1 - n * (w + 1), area.bottom() - 2 - h, w, h));
    }
}

void Grid4(QPainter& painter, const QRectF& box, const IconInk& ink) {
    DrawGrid(painter, box, ink, 2, 2);
}

void Grid6(QPainter& painter, const QRectF& box, const IconInk& ink) {
    DrawCornered(painter, box, ink, 3);
}

void Grid8(QPainter& painter, const QRectF& box, const IconInk& ink) {
    DrawCornered(painter, box, ink, 4);
}

void Grid9(QPainter& painter, const QRectF& box, const IconInk& ink) {
    DrawGrid(painter, box, ink, 3, 3);
}

void Grid10(QPainter& painter, const QRectF& box, const IconInk& ink) {
    constexpr std::array<Cell, 10> cells{{{0, 0, 2, 2},
                                          {2, 0, 2, 2},
                                          {0, 2, 1, 1},
                                          {1, 2, 1, 1},
                                          {2, 2, 1, 1},
                                          {3, 2, 1, 1},
                                          {0, 3, 1, 1},
                                          {1, 3, 1, 1},
                                          {2, 3, 1, 1},
                                          {3, 3, 1, 1}}};
    DrawCells(painter, box, ink, 4, 4, cells);
}

void Grid12(QPainter& painter, const QRectF& box, const IconInk& ink) {
    DrawGrid(painter, box, ink, 4, 3);
}

// A grid whose last corner opens a choice.
void GridCustom(QPainter& painter, const QRectF& box, const IconInk& ink) {
    std::vector<Cell> cells;
    for (int n = 0; n < 16; ++n) {
        if (n % 4 < 2 || n / 4 < 2) {
            cells.push_back({n % 4, n / 4, 1, 1});
        }
    }
    DrawCells(painter, box, ink, 4, 4, cells);
    const QRectF area = PictureBox(painter, box, 4, 4);
    const QPointF centre = area.center() + QPointF(area.width(), area.height()) / 4 + QPointF(0.5, 0.5);
    const double reach = area.height() / 5;
    painter.setBrush(ink.accent);
    painter.drawPolygon(QPolygonF({centre + QPointF(-reach, -reach / 2), centre + QPointF(reach, -reach / 2),
                                   centre + QPointF(0, reach * 0.7)}));
}

}  // namespace kvmon::icons
