#include "skin/xskin_od_button.h"

#include <QtGui/QAccessible>
#include <QtGui/QPainter>
#include <QtWidgets/QToolTip>
#include <algorithm>

#include "skin/button_accessible.h"
#include "skin/icons.h"
#include "skin/palette.h"
#include "skin/plain_text.h"
#include "skin/xskin_dialog.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kWaitTimer = 1;
constexpr int kWaitStepMs = 80;
constexpr int kWaitStepDegrees = 30;

bool IsPressKey(int key) {
    return key == Qt::Key_Space || key == Qt::Key_Return || key == Qt::Key_Enter;
}

}  // namespace

CXSkinODButton::CXSkinODButton(int id, ButtonMode mode, QWidget* parent)
    : WindowBase(parent),
      state_(mode),
      source_([id](QSize size, double scale, ButtonLook look, bool checked) {
          return RenderButton(id, size, scale, look, checked);
      }) {
    SetControlId(id);
    // A click leaves the focus where the user put it.
    setFocusPolicy(Qt::TabFocus);
    // A release that went elsewhere shows in the next move.
    setMouseTracking(true);
    InstallButtonAccessibility();
}

void CXSkinODButton::SetBitmaps(BitmapSource source, bool bRedraw) {
    source_ = std::move(source);
    bitmaps_.fill(QPixmap());
    if (bRedraw) {
        update();
    }
}

void CXSkinODButton::SetPressNotify(bool bEnable, WindowHandle hTarget, std::uint32_t nMessage) {
    pressNotify_ = bEnable;
    pressTarget_ = std::move(hTarget);
    pressMessage_ = nMessage;
}

void CXSkinODButton::SetCheck(int check) {
    const bool checked = check != BST_UNCHECKED;
    if (checked == state_.checked()) {
        return;
    }
    state_.SetChecked(checked);
    QAccessible::State changed;
    changed.checked = true;
    QAccessibleStateChangeEvent notice(this, changed);
    QAccessible::updateAccessibility(&notice);
    update();
}

void CXSkinODButton::SetBusy(bool busy) {
    state_.SetBusy(busy);
    UpdateWaitMark();
    update();
}

void CXSkinODButton::Click() {
    const bool wasPressed = state_.pressed();
    if (state_.Press() && state_.Release() && !wasPressed) {
        Clicked();
    }
}

void CXSkinODButton::SetTipText(std::string text) {
    tipText_ = std::move(text);
    setAccessibleName(QString::fromStdString(tipText_));
}

CXSkinDialog* CXSkinODButton::Owner() const {
    for (QWidget* parent = parentWidget(); parent != nullptr; parent = parent->parentWidget()) {
        if (auto* const dialog = dynamic_cast<CXSkinDialog*>(parent)) {
            return dialog;
        }
    }
    return nullptr;
}

void CXSkinODButton::Press() {
    if (!state_.Press()) {
        return;
    }
    update();
    if (pressNotify_) {
        pressTarget_.Post(pressMessage_, 1, ControlId());
    }
}

void CXSkinODButton::Release() {
    const bool click = state_.Release();
    pressKey_ = 0;
    update();
    if (click) {
        Clicked();
    }
}

void CXSkinODButton::Cancel() {
    if (state_.pressed()) {
        state_.Cancel();
        update();
    }
    pressKey_ = 0;
}

void CXSkinODButton::Clicked() {
    update();
    if (Mode() == ButtonMode::kRadio) {
        UncheckGroup();
    }
    CXSkinDialog* const owner = Owner();
    if (owner != nullptr && owner->OnSkinODButtonNotify(ControlId(), kClicked, 0) != 0) {
        owner->PostMessage(WM_COMMAND, static_cast<WParam>(ControlId()), 0);
    }
}

// A group is what has this mode under one parent.
void CXSkinODButton::UncheckGroup() {
    if (parentWidget() == nullptr) {
        return;
    }
    for (QObject* const child : parentWidget()->children()) {
        auto* const other = dynamic_cast<CXSkinODButton*>(child);
        if (other != nullptr && other != this && other->Mode() == ButtonMode::kRadio) {
            other->SetCheck(BST_UNCHECKED);
        }
    }
}

void CXSkinODButton::UpdateWaitMark() {
    if (!state_.busy() || !isVisible()) {
        KillTimer(kWaitTimer);
    } else if (!IsTimerSet(kWaitTimer)) {
        SetTimer(kWaitTimer, kWaitStepMs);
    }
}

void CXSkinODButton::OnTimer(std::uint32_t id) {
    if (id == kWaitTimer) {
        waitAngle_ = (waitAngle_ + kWaitStepDegrees) % 360;
        update();
    }
}

bool CXSkinODButton::event(QEvent* event) {
    switch (event->type()) {
        case QEvent::ToolTip:
            ShowTip(static_cast<QHelpEvent*>(event)->globalPos());
            return true;
        case QEvent::UngrabMouse:
        case QEvent::WindowDeactivate:
            Cancel();
            break;
        default:
            break;
    }
    return WindowBase::event(event);
}

void CXSkinODButton::ShowTip(const QPoint& screenPosition) {
    std::string text = tipText_;
    CXSkinDialog* const owner = Owner();
    if (owner != nullptr && !owner->OnSkinToolTipNeedTextNotify(*this, text)) {
        text.clear();
    }
    QToolTip::showText(screenPosition, MarkupOf(text), this);
}

const QPixmap& CXSkinODButton::Bitmap() {
    const double scale = devicePixelRatioF();
    if (size() != bitmapSize_ || scale != bitmapScale_) {
        bitmaps_.fill(QPixmap());
        bitmapSize_ = size();
        bitmapScale_ = scale;
    }
    // A plain button keeps a check that somebody gave it, and looks the same.
    const bool checked = state_.checked() && state_.mode() != ButtonMode::kPlain;
    QPixmap& bitmap = bitmaps_[ButtonBitmapIndex(state_.Look(), checked)];
    if (bitmap.isNull()) {
        bitmap = source_(size(), scale, state_.Look(), checked);
    }
    return bitmap;
}

void CXSkinODButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.drawPixmap(0, 0, Bitmap());
    painter.setRenderHint(QPainter::Antialiasing);
    if (state_.busy() && state_.enabled()) {
        const double side = std::min({width() - 4, height() - 4, 18});
        const QRectF box(QPointF(rect().center()) + QPointF(0.5 - side / 2, 0.5 - side / 2),
                         QSizeF(side, side));
        icons::Spinner(painter, box, QColor(palette::kAccent), waitAngle_);
    }
    if (keyboardFocus_) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(QColor(palette::kFocus), 1.5));
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.75, 0.75, -0.75, -0.75), 2.5, 2.5);
    }
}

void CXSkinODButton::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    keyboardFocus_ = false;
    Press();
}

void CXSkinODButton::mouseDoubleClickEvent(QMouseEvent* event) {
    mousePressEvent(event);
}

void CXSkinODButton::mouseMoveEvent(QMouseEvent* event) {
    // A press with the keyboard follows its key, not the pointer.
    if (!state_.pressed() || pressKey_ != 0) {
        return;
    }
    if (!event->buttons().testFlag(Qt::LeftButton)) {
        Cancel();
        return;
    }
    state_.Move(rect().contains(event->position().toPoint()));
    update();
}

void CXSkinODButton::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || pressKey_ != 0) {
        event->ignore();
        return;
    }
    state_.Move(rect().contains(event->position().toPoint()));
    Release();
}

void CXSkinODButton::keyPressEvent(QKeyEvent* event) {
    if (!IsPressKey(event->key()) || event->modifiers().testFlag(Qt::AltModifier)) {
        if (event->key() == Qt::Key_Escape && state_.pressed()) {
            Cancel();
            return;
        }
        WindowBase::keyPressEvent(event);
        return;
    }
    // A held key repeats; the press is one.
    if (!event->isAutoRepeat() && !state_.pressed()) {
        Press();
        pressKey_ = state_.pressed() ? event->key() : 0;
    }
}

void CXSkinODButton::keyReleaseEvent(QKeyEvent* event) {
    if (pressKey_ == 0 || event->key() != pressKey_) {
        WindowBase::keyReleaseEvent(event);
        return;
    }
    if (!event->isAutoRepeat()) {
        Release();
    }
}

void CXSkinODButton::focusInEvent(QFocusEvent* event) {
    const Qt::FocusReason reason = event->reason();
    keyboardFocus_ =
        reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason || reason == Qt::ShortcutFocusReason;
    update();
}

void CXSkinODButton::focusOutEvent(QFocusEvent*) {
    keyboardFocus_ = false;
    Cancel();
    update();
}

void CXSkinODButton::enterEvent(QEnterEvent*) {
    state_.SetHover(true);
    update();
}

void CXSkinODButton::leaveEvent(QEvent*) {
    state_.SetHover(false);
    update();
}

void CXSkinODButton::changeEvent(QEvent* event) {
    if (event->type() == QEvent::EnabledChange) {
        state_.SetEnabled(isEnabled());
        pressKey_ = 0;
        update();
    }
    WindowBase::changeEvent(event);
}

void CXSkinODButton::hideEvent(QHideEvent* event) {
    Cancel();
    // No leave event comes for a button that goes away under the pointer.
    state_.SetHover(false);
    UpdateWaitMark();
    WindowBase::hideEvent(event);
}

void CXSkinODButton::showEvent(QShowEvent* event) {
    UpdateWaitMark();
    WindowBase::showEvent(event);
}

}  // namespace kvmon
