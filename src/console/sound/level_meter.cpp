#include "console/sound/level_meter.h"

#include <QtGui/QAccessible>
#include <QtGui/QPainter>
#include <algorithm>

#include "skin/skin_colours.h"
#include "skin/style_parts.h"

namespace kvmon {

namespace {

constexpr int kLamps = 25;
constexpr int kGap = 2;
constexpr int kMargin = 3;
// From here on a sound is loud, and too loud: 12 and 4 decibels below the greatest.
constexpr int kLoud = 70;
constexpr int kTooLoud = 90;

QRgb LampColour(int level, const SkinColours& colours) {
    if (level > kTooLoud) {
        return colours.record;
    }
    return level > kLoud ? colours.focus : colours.accent;
}

}  // namespace

LevelMeter::LevelMeter(QWidget* parent) : WindowBase(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void LevelMeter::SetPos(int level) {
    level = std::clamp(level, 0, 100);
    if (level == m_level) {
        return;
    }
    m_level = level;
    update();
    QAccessibleValueChangeEvent event(this, m_level);
    QAccessible::updateAccessibility(&event);
}

QSize LevelMeter::sizeHint() const {
    return {300, 18};
}

void LevelMeter::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const SkinColours& colours = ColoursOf(*this);
    painter.fillRect(rect(), QColor(colours.field));
    style::DrawLineAround(painter, rect(), colours.edge);
    const QRect inside = rect().adjusted(kMargin, kMargin, -kMargin, -kMargin);
    for (int i = 0; i < kLamps; ++i) {
        const int left = inside.left() + i * (inside.width() + kGap) / kLamps;
        const int right = inside.left() + (i + 1) * (inside.width() + kGap) / kLamps - kGap;
        const int level = (i + 1) * 100 / kLamps;
        const bool lit = m_level >= level;
        const QColor colour(LampColour(level, colours));
        painter.fillRect(QRect(left, inside.top(), right - left, inside.height()),
                         lit ? colour : QColor(colours.faceDisabled));
    }
}

}  // namespace kvmon
