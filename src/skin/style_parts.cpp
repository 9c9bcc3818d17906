#include "skin/style_parts.h"

#include <QtGui/QPainter>
#include <QtWidgets/QApplication>
#include <QtWidgets/QStyleOption>
#include <algorithm>
#include <cmath>

#include "skin/skin_colours.h"

namespace kvmon::style {

Plate PlateOf(QStyle::State state, const SkinColours& colours) {
    if (!state.testFlag(QStyle::State_Enabled)) {
        return {colours.faceDisabled, colours.edgeDisabled};
    }
    if (state.testFlag(QStyle::State_Sunken)) {
        return {colours.facePressed, colours.accent};
    }
    const bool hover = state.testFlag(QStyle::State_MouseOver);
    if (state.testFlag(QStyle::State_On)) {
        return {hover ? colours.faceCheckedHover : colours.faceChecked, colours.accent};
    }
    return hover ? Plate{colours.faceHover, colours.edgeHover} : Plate{colours.face, colours.edge};
}

QColor InkOf(const QStyleOption& option, const SkinColours& colours) {
    const bool enabled = option.state.testFlag(QStyle::State_Enabled);
    return QColor(enabled ? colours.ink : colours.inkDisabled);
}

bool ShowsFocus(QStyle::State state) {
    return state.testFlag(QStyle::State_HasFocus) && state.testFlag(QStyle::State_Enabled);
}

bool ShowsKeyboardFocus(QStyle::State state) {
    return ShowsFocus(state) && state.testFlag(QStyle::State_KeyboardFocusChange);
}

PixelLine LineAround(const QPainter& painter, const QRectF& rect, double width) {
    const QTransform device = painter.deviceTransform();
    const double scale = device.m11();
    if (device.type() > QTransform::TxScale || scale <= 0) {
        const double half = width / 2;
        return {rect.adjusted(half, half, -half, -half), width};
    }
    const QRectF seen = device.mapRect(rect);
    const QPointF first(std::round(seen.left()), std::round(seen.top()));
    const QPointF last(std::round(seen.right()), std::round(seen.bottom()));
    const double pixels = std::max(std::round(width * scale), 1.0);
    const QRectF middle = QRectF(first, last).adjusted(pixels / 2, pixels / 2, -pixels / 2, -pixels / 2);
    return {device.inverted().mapRect(middle), pixels / scale};
}

void DrawLineAround(QPainter& painter, const QRectF& rect, QRgb colour) {
    const PixelLine line = LineAround(painter, rect);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(colour), line.width, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(line.rect);
    painter.restore();
}

void DrawBox(QPainter& painter, const QRect& rect, QRgb fill, QRgb edge, double radius) {
    const PixelLine line = LineAround(painter, rect);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(edge), line.width));
    painter.setBrush(QColor(fill));
    painter.drawRoundedRect(line.rect, radius, radius);
    painter.restore();
}

void DrawRing(QPainter& painter, const QRect& rect, const SkinColours& colours, double radius) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(QColor(colours.focus), 1.5));
    painter.drawRoundedRect(QRectF(rect).adjusted(0.75, 0.75, -0.75, -0.75), radius, radius);
    painter.restore();
}

void DrawChevron(QPainter& painter, const QRect& box, Tip tip, const QColor& ink) {
    const bool up = tip == Tip::Up;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(ink, 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    const QPointF centre = QRectF(box).center();
    const double wing = std::min(3.5, box.height() / 2.0 - 1);
    const double rise = up ? -wing / 2 : wing / 2;
    painter.drawPolyline(QPolygonF(
        {centre + QPointF(-wing, -rise), centre + QPointF(0, rise), centre + QPointF(wing, -rise)}));
    painter.restore();
}

QIcon MessageIcon(QRgb colour, const char* letter) {
    constexpr int kSide = 48;
    QIcon icon;
    for (const double scale : {1.0, 1.25, 1.5, 1.75, 2.0}) {
        QPixmap bitmap((QSizeF(kSide, kSide) * scale).toSize());
        bitmap.setDevicePixelRatio(scale);
        bitmap.fill(Qt::transparent);
        QPainter painter(&bitmap);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(QColor(colour), 2.5));
        painter.drawEllipse(QRectF(4, 4, kSide - 8, kSide - 8));
        QFont font = QApplication::font();
        font.setPixelSize(26);
        font.setBold(true);
        painter.setFont(font);
        painter.drawText(QRectF(0, 0, kSide, kSide), Qt::AlignCenter, QString::fromUtf8(letter));
        painter.end();
        icon.addPixmap(bitmap);
    }
    return icon;
}

}  // namespace kvmon::style
