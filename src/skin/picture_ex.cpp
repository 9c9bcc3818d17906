#include "skin/picture_ex.h"

#include <QtGui/QPainter>

#include "skin/icons.h"
#include "skin/skin_colours.h"

namespace kvmon {

namespace {
constexpr std::uint32_t kStepTimer = 1;
constexpr int kStepMs = 40;
constexpr int kStepDegrees = 12;
}  // namespace

CPictureEx::CPictureEx(QWidget* parent) : WindowBase(parent) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void CPictureEx::Draw() {
    m_playing = true;
    UpdateTimer();
    update();
}

void CPictureEx::Stop() {
    m_playing = false;
    UpdateTimer();
    update();
}

QSize CPictureEx::sizeHint() const {
    return {36, 36};
}

void CPictureEx::UpdateTimer() {
    if (!m_playing || !isVisible()) {
        KillTimer(kStepTimer);
    } else if (!IsTimerSet(kStepTimer)) {
        SetTimer(kStepTimer, kStepMs);
    }
}

void CPictureEx::OnTimer(std::uint32_t id) {
    if (id == kStepTimer) {
        m_angle = (m_angle + kStepDegrees) % 360;
        update();
    }
}

void CPictureEx::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const SkinColours& colours = ColoursOf(*this);
    const QColor ink(m_playing ? colours.accent : colours.inkDisabled);
    icons::Spinner(painter, QRectF(rect()).adjusted(2, 2, -2, -2), ink, m_angle);
}

void CPictureEx::showEvent(QShowEvent* event) {
    UpdateTimer();
    WindowBase::showEvent(event);
}

void CPictureEx::hideEvent(QHideEvent* event) {
    UpdateTimer();
    WindowBase::hideEvent(event);
}

}  // namespace kvmon
