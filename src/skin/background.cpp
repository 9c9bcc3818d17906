#include "skin/background.h"

#include <QtGui/QPainter>
#include <QtGui/QPainterPath>
#include <algorithm>

#include "skin/icons.h"
#include "skin/skin_colours.h"

namespace kvmon {

namespace {

constexpr QRect kView(QPoint(19, 64), QPoint(801, 612));
constexpr QRect kPanel(808, 56, 178, 564);

// Groups of the panel, at the table's positions.
constexpr QRect kSections[] = {
    QRect(814, 62, 166, 155),   // arrangements
    QRect(814, 221, 166, 73),   // view, sequence, page
    QRect(814, 298, 166, 242),  // camera and its head
};
constexpr QRect kDish(823, 385, 148, 148);
constexpr QRect kLens(890, 342, 15, 15);
// So far at the most the lines go beyond what they go around.
constexpr int kEdge = 4;
constexpr QPointF kPadCentre(897, 459);
constexpr double kPadRadius = 74;
constexpr QPointF kLensCentre(897.5, 349.5);

QPoint Growth(QSize size) {
    return {std::max(0, size.width() - kSkinSize.width()), std::max(0, size.height() - kSkinSize.height())};
}

QRect TitleBar(QSize size) {
    return {0, 0, size.width(), 50};
}

void DrawTitle(QPainter& painter, const QRect& bar, const SkinColours& colours) {
    QLinearGradient shade(bar.topLeft(), bar.bottomLeft());
    shade.setColorAt(0, QColor(colours.panel).lighter(112));
    shade.setColorAt(1, QColor(colours.window));
    painter.fillRect(bar, shade);
    painter.fillRect(0, 0, bar.width(), 1, QColor(colours.line));
    icons::Mark(painter, QRectF(17, 29, 17, 17), {QColor(colours.ink), QColor(colours.accent), false});
}

void DrawWell(QPainter& painter, const QRect& view, const SkinColours& colours) {
    const QRectF frame = QRectF(view).adjusted(-2.5, -2.5, 2.5, 2.5);
    painter.setPen(QPen(QColor(colours.line), 1));
    painter.setBrush(QColor(colours.well));
    painter.drawRoundedRect(frame, 3, 3);
}

void DrawGroup(QPainter& painter, const QRectF& box, QRgb line, QRgb fill, double radius) {
    painter.setPen(QPen(QColor(line), 1));
    painter.setBrush(QColor(fill));
    painter.drawRoundedRect(box.adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
}

// The dish in which the camera's arrows stand.
void DrawPad(QPainter& painter, const SkinColours& colours) {
    QLinearGradient rim(kPadCentre - QPointF(0, kPadRadius), kPadCentre + QPointF(0, kPadRadius));
    rim.setColorAt(0, QColor(colours.shadow));
    rim.setColorAt(1, QColor(colours.light));
    painter.setPen(QPen(rim, 1.5));
    painter.setBrush(QColor(colours.panel));
    painter.drawEllipse(kPadCentre, kPadRadius, kPadRadius);
    painter.setPen(QPen(QColor(colours.section), 1));
    painter.setBrush(QColor(colours.section));
    painter.drawEllipse(kPadCentre, 31.0, 47.0);
}

// Between the two focus buttons: what they turn.
void DrawLens(QPainter& painter, const SkinColours& colours) {
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(QColor(colours.inkDisabled), 1.2));
    painter.drawEllipse(kLensCentre, 7, 7);
    painter.drawEllipse(kLensCentre, 3.2, 3.2);
}

}  // namespace

QRect SkinViewRect(QSize size) {
    const QPoint growth = Growth(size);
    return kView.adjusted(0, 0, growth.x(), growth.y());
}

QRect SkinPanelRect(QSize size) {
    return kPanel.translated(Growth(size).x(), 0).adjusted(0, 0, 0, Growth(size).y());
}

QRect SkinStatusRect(QSize size) {
    const QPoint growth = Growth(size);
    return QRect(19, 626, 783, 24).translated(0, growth.y()).adjusted(0, 0, growth.x(), 0);
}

QRect SkinControlRect(const QRect& table, QSize size) {
    const QPoint growth = Growth(size);
    QRect rect = table;
    if (table.left() > kView.right()) {
        rect.translate(growth.x(), 0);
    }
    if (table.top() > kPanel.bottom()) {
        rect.translate(0, growth.y());
    }
    return rect;
}

void DrawSkinBackground(QPainter& painter, QSize size, const SkinColours& colours, const QRect& part) {
    const auto shows = [&part](const QRect& rect) {
        return part.intersects(rect.adjusted(-kEdge, -kEdge, kEdge, kEdge));
    };
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(QRect(QPoint(), size), QColor(colours.window));
    if (shows(TitleBar(size))) {
        DrawTitle(painter, TitleBar(size), colours);
    }
    if (shows(SkinViewRect(size))) {
        DrawWell(painter, SkinViewRect(size), colours);
    }
    if (shows(SkinPanelRect(size))) {
        DrawGroup(painter, SkinPanelRect(size), colours.line, colours.panel, 6);
        const QPoint shift(Growth(size).x(), 0);
        painter.translate(shift);
        for (const QRect& section : kSections) {
            if (shows(section.translated(shift))) {
                DrawGroup(painter, section, colours.line, colours.section, 5);
            }
        }
        if (shows(kDish.translated(shift))) {
            DrawPad(painter, colours);
        }
        if (shows(kLens.translated(shift))) {
            DrawLens(painter, colours);
        }
    }
    painter.restore();
}

}  // namespace kvmon
