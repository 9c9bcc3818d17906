#include "skin/style_controls.h"

#include <QtGui/QPainter>
#include <algorithm>

#include "skin/skin_colours.h"
#include "skin/style_parts.h"

namespace kvmon::style {

void DrawPush(const QStyleOption& option, QPainter& painter, const SkinColours& colours) {
    Plate plate = PlateOf(option.state, colours);
    const auto* const button = qstyleoption_cast<const QStyleOptionButton*>(&option);
    const bool isDefault = button != nullptr && button->features.testFlag(QStyleOptionButton::DefaultButton);
    if (isDefault && option.state.testFlag(QStyle::State_Enabled)) {
        plate.edge = colours.accent;
    }
    DrawBox(painter, option.rect, plate.face, plate.edge);
    if (ShowsKeyboardFocus(option.state)) {
        DrawRing(painter, option.rect, colours);
    }
}

void DrawFrame(const QStyleOption& option, QPainter& painter, const SkinColours& colours) {
    DrawLineAround(painter, option.rect, ShowsFocus(option.state) ? colours.accent : colours.edge);
}

QRect ScrollPart(const QStyleOptionSlider& bar, QStyle::SubControl part) {
    const bool horizontal = bar.orientation == Qt::Horizontal;
    const int length = horizontal ? bar.rect.width() : bar.rect.height();
    const qint64 range = static_cast<qint64>(bar.maximum) - bar.minimum;
    constexpr int kSmallest = 24;
    int slider = length;
    if (range > 0) {
        slider = static_cast<int>(static_cast<qint64>(length) * bar.pageStep / (range + bar.pageStep));
        slider = std::clamp(slider, std::min(kSmallest, length), length);
    }
    const int start = QStyle::sliderPositionFromValue(bar.minimum, bar.maximum, bar.sliderPosition,
                                                      length - slider, bar.upsideDown);
    const auto along = [&](int from, int size) {
        return horizontal ? QRect(bar.rect.x() + from, bar.rect.y(), size, bar.rect.height())
                          : QRect(bar.rect.x(), bar.rect.y() + from, bar.rect.width(), size);
    };
    switch (part) {
        case QStyle::SC_ScrollBarSlider:
            return along(start, slider);
        case QStyle::SC_ScrollBarSubPage:
            return along(0, start);
        case QStyle::SC_ScrollBarAddPage:
            return along(start + slider, length - start - slider);
        case QStyle::SC_ScrollBarGroove:
            return bar.rect;
        default:
            return {};
    }
}

void DrawScroll(const QStyleOptionComplex& option, QPainter& painter, const SkinColours& colours) {
    painter.fillRect(option.rect, QColor(colours.field));
    const auto* const bar = qstyleoption_cast<const QStyleOptionSlider*>(&option);
    if (bar == nullptr || bar->maximum <= bar->minimum) {
        return;
    }
    const QRect slider = ScrollPart(*bar, QStyle::SC_ScrollBarSlider).adjusted(3, 3, -3, -3);
    const bool lit = option.activeSubControls == QStyle::SC_ScrollBarSlider &&
                     option.state.testFlag(QStyle::State_MouseOver);
    const QRgb face = lit ? colours.edgeHover : colours.edge;
    DrawBox(painter, slider, face, face, 3);
}

void DrawField(const QStyleOption& option, QPainter& painter, const SkinColours& colours) {
    const auto* const frame = qstyleoption_cast<const QStyleOptionFrame*>(&option);
    if (frame != nullptr && frame->lineWidth == 0) {
        return;  // the inner part of a spin box
    }
    const bool enabled = option.state.testFlag(QStyle::State_Enabled);
    DrawBox(painter, option.rect, enabled ? colours.field : colours.section,
            ShowsFocus(option.state) ? colours.accent : colours.edge);
}

void DrawCheck(const QStyleOption& option, QPainter& painter, const SkinColours& colours) {
    const QRect box = option.rect;
    const Plate plate = PlateOf(option.state, colours);
    const bool bare =
        option.state.testFlag(QStyle::State_Off) && option.state.testFlag(QStyle::State_Enabled);
    DrawBox(painter, box, bare ? colours.field : plate.face, plate.edge, 3);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const bool enabled = option.state.testFlag(QStyle::State_Enabled);
    painter.setPen(QPen(QColor(enabled ? colours.accentBright : colours.inkDisabled), 2, Qt::SolidLine,
                        Qt::RoundCap, Qt::RoundJoin));
    painter.translate(box.topLeft());
    painter.scale(box.width() / 16.0, box.height() / 16.0);
    if (option.state.testFlag(QStyle::State_On)) {
        painter.drawPolyline(QPolygonF({QPointF(4, 8.4), QPointF(6.9, 11.2), QPointF(12, 5)}));
    } else if (option.state.testFlag(QStyle::State_NoChange)) {
        painter.drawLine(QPointF(4.5, 8), QPointF(11.5, 8));
    }
    painter.restore();
}

void DrawRadio(const QStyleOption& option, QPainter& painter, const SkinColours& colours) {
    const QRect box = option.rect;
    const bool on = option.state.testFlag(QStyle::State_On);
    const bool enabled = option.state.testFlag(QStyle::State_Enabled);
    const Plate plate = PlateOf(option.state, colours);
    // A round line loses a part of each pixel.
    const PixelLine line = LineAround(painter, box, 1.25);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(plate.edge), line.width));
    painter.setBrush(QColor(!on && enabled ? colours.field : plate.face));
    painter.drawEllipse(line.rect);
    if (!on) {
        painter.restore();
        return;
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(enabled ? colours.accentBright : colours.inkDisabled));
    painter.drawEllipse(QRectF(box).center(), 3.5, 3.5);
    painter.restore();
}

void DrawTab(const QStyleOption& option, QPainter& painter, const SkinColours& colours) {
    const bool chosen = option.state.testFlag(QStyle::State_Selected);
    const bool hover = option.state.testFlag(QStyle::State_MouseOver);
    if (!chosen && hover) {
        painter.fillRect(option.rect.adjusted(0, 2, -2, -2), QColor(colours.faceHover));
    }
    const QRect line(option.rect.left() + 4, option.rect.bottom() - 2, option.rect.width() - 10, 2);
    painter.fillRect(line, QColor(chosen ? colours.accent : colours.line));
}

void DrawHeader(const QRect& rect, HeaderPart part, QPainter& painter, const SkinColours& colours) {
    painter.fillRect(rect, QColor(colours.panel));
    painter.setPen(QColor(colours.edge));
    painter.drawLine(rect.bottomLeft(), rect.bottomRight());
    if (part == HeaderPart::Title) {
        painter.setPen(QColor(colours.line));
        painter.drawLine(rect.topRight() + QPoint(0, 5), rect.bottomRight() - QPoint(0, 5));
    }
}

void DrawProgress(const QStyleOptionProgressBar& bar, QPainter& painter, const SkinColours& colours) {
    const double range = static_cast<double>(bar.maximum) - bar.minimum;
    const double share = std::clamp((bar.progress - bar.minimum) / range, 0.0, 1.0);
    QRect filled = bar.rect.adjusted(2, 2, -2, -2);
    filled.setWidth(static_cast<int>(filled.width() * share));
    if (bar.direction == Qt::RightToLeft) {
        filled.moveRight(bar.rect.right() - 2);
    }
    if (!filled.isEmpty()) {
        DrawBox(painter, filled, colours.faceCheckedHover, colours.accent, 2);
    }
}

}  // namespace kvmon::style
