#include "console/sound/level_meter.h"

#include <QtGui/QAccessible>
#include <QtGui/QPainter>
#include <algorithm>

#include "skin/palette.h"

namespace kvmon {

namespace {

constexpr int kLamps = 25;
constexpr int kGap = 2;
constexpr int kMargin = 3;
// From here on a sound is loud, and too loud: 12 and 4 decibels below the greatest.
constexpr int kLoud = 70;
constexpr int kTooLoud = 90;

QRgb LampColour(int level) {
    if (level > kTooLoud) {
        return palette::kRecord;
    }
    return level > kLoud ? palette::kFocus : palette::kAccent;
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
    painter.fillRect(rect(), QColor(palette::kField));
    painter.setPen(QColor(palette::kEdge));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
    const QRect inside = rect().adjusted(kMargin, kMargin, -kMargin, -kMargin);
    for (int i = 0; i < kLamps; ++i) {
        const int left = inside.left() + i * (inside.width() + kGap) / kLamps;
        const int right = inside.left() + (i + 1) * (inside.width() + kGap) / kLamps - kGap;
        const int level = (i + 1) * 100 / kLamps;
        const bool lit = m_level >= level;
        QColor colour(LampColour(level));
        painter.fillRect(QRect(left, inside.top(), right - left, inside.height()),
                         lit ? colour : QColor(palette::kFaceDisabled));
    }
}

}  // namespace kvmon
