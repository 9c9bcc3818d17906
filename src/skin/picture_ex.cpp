#include "skin/picture_ex.h"

#include <QtGui/QPainter>

#include "skin/icons.h"
#include "skin/palette.h"

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
    playing_ = true;
    UpdateTimer();
    update();
}

void CPictureEx::Stop() {
    playing_ = false;
    UpdateTimer();
    update();
}

QSize CPictureEx::sizeHint() const {
    return {36, 36};
}

void CPictureEx::UpdateTimer() {
    if (!playing_ || !isVisible()) {
        KillTimer(kStepTimer);
    } else if (!IsTimerSet(kStepTimer)) {
        SetTimer(kStepTimer, kStepMs);
    }
}

void CPictureEx::OnTimer(std::uint32_t id) {
    if (id == kStepTimer) {
        angle_ = (angle_ + kStepDegrees) % 360;
        update();
    }
}

void CPictureEx::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor ink(playing_ ? palette::kAccent : palette::kInkDisabled);
    icons::Spinner(painter, QRectF(rect()).adjusted(2, 2, -2, -2), ink, angle_);
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
