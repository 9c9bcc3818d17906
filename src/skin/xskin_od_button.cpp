#include "skin/xskin_od_button.h"

#include <QtGui/QAccessible>
#include <QtGui/QPainter>
#include <QtWidgets/QToolTip>
#include <algorithm>
#include <cmath>

#include "skin/icons.h"
#include "skin/plain_text.h"
#include "skin/skin_button_owner.h"
#include "skin/skin_colours.h"

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
      m_state(mode),
      m_source([this, id](QSizeF size, double scale, ButtonLook look, bool checked) {
          return RenderButton(id, size, scale, look, checked, ColoursOf(*this));
      }) {
    SetControlId(id);
    // A click leaves the focus where the user put it.
    setFocusPolicy(Qt::TabFocus);
    // A release that went elsewhere shows in the next move.
    setMouseTracking(true);
    InstallButtonAccessibility();
}

void CXSkinODButton::SetBitmaps(BitmapSource source, bool bRedraw) {
    m_source = std::move(source);
    m_bitmaps.fill(QPixmap());
    if (bRedraw) {
        update();
    }
}

void CXSkinODButton::SetPressNotify(bool bEnable, WindowHandle hTarget, std::uint32_t nMessage) {
    m_pressNotify = bEnable;
    m_pressTarget = std::move(hTarget);
    m_pressMessage = nMessage;
}

void CXSkinODButton::SetCheck(int check) {
    const bool checked = check != BST_UNCHECKED;
    if (checked == m_state.checked()) {
        return;
    }
    m_state.SetChecked(checked);
    QAccessible::State changed;
    changed.checked = true;
    QAccessibleStateChangeEvent notice(this, changed);
    QAccessible::updateAccessibility(&notice);
    update();
}

void CXSkinODButton::SetBusy(bool busy) {
    m_state.SetBusy(busy);
    UpdateWaitMark();
    update();
}

void CXSkinODButton::Click() {
    const bool wasPressed = m_state.pressed();
    if (m_state.Press() && m_state.Release() && !wasPressed) {
        Clicked();
    }
}

void CXSkinODButton::SetTipText(std::string text) {
    m_tipText = std::move(text);
    setAccessibleName(QString::fromStdString(m_tipText));
}

SkinButtonOwner* CXSkinODButton::Owner() const {
    for (QWidget* parent = parentWidget(); parent != nullptr; parent = parent->parentWidget()) {
        if (auto* const owner = dynamic_cast<SkinButtonOwner*>(parent)) {
            return owner;
        }
    }
    return nullptr;
}

void CXSkinODButton::Press() {
    if (!m_state.Press()) {
        return;
    }
    update();
    if (m_pressNotify) {
        m_pressTarget.Post(m_pressMessage, 1, ControlId());
    }
}

void CXSkinODButton::Release() {
    const bool click = m_state.Release();
    m_pressKey = 0;
    update();
    if (click) {
        Clicked();
    }
}

void CXSkinODButton::Cancel() {
    if (m_state.pressed()) {
        m_state.Cancel();
        update();
    }
    m_pressKey = 0;
}

void CXSkinODButton::Clicked() {
    update();
    if (Mode() == ButtonMode::kRadio) {
        UncheckGroup();
    }
    SkinButtonOwner* const owner = Owner();
    if (owner != nullptr && owner->OnSkinODButtonNotify(ControlId(), kClicked, 0) != 0) {
        owner->PostCommand(ControlId());
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
    if (!m_state.busy() || !isVisible()) {
        KillTimer(kWaitTimer);
    } else if (!IsTimerSet(kWaitTimer)) {
        SetTimer(kWaitTimer, kWaitStepMs);
    }
}

void CXSkinODButton::OnTimer(std::uint32_t id) {
    if (id == kWaitTimer) {
        m_waitAngle = (m_waitAngle + kWaitStepDegrees) % 360;
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
    std::string text = m_tipText;
    SkinButtonOwner* const owner = Owner();
    if (owner != nullptr && !owner->OnSkinToolTipNeedTextNotify(*this, text)) {
        text.clear();
    }
    QToolTip::showText(screenPosition, MarkupOf(text), this);
}

// The device pixels that it covers: at a scale of fractions not the same everywhere.
QSizeF CXSkinODButton::SizeInPixels() const {
    const double scale = devicePixelRatioF();
    const QPointF first = QPointF(mapTo(window(), QPoint())) * scale;
    const QPointF last = first + QPointF(width(), height()) * scale;
    return {std::round(last.x()) - std::round(first.x()), std::round(last.y()) - std::round(first.y())};
}

const QPixmap& CXSkinODButton::Bitmap() {
    const double scale = devicePixelRatioF();
    const QSizeF size = SizeInPixels() / scale;
    if (size != m_bitmapSize || scale != m_bitmapScale) {
        m_bitmaps.fill(QPixmap());
        m_bitmapSize = size;
        m_bitmapScale = scale;
    }
    // A plain button keeps a check that somebody gave it, and looks the same.
    const bool checked = m_state.checked() && m_state.mode() != ButtonMode::kPlain;
    QPixmap& bitmap = m_bitmaps[ButtonBitmapIndex(m_state.Look(), checked)];
    if (bitmap.isNull()) {
        bitmap = m_source(size, scale, m_state.Look(), checked);
    }
    return bitmap;
}

void CXSkinODButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.drawPixmap(0, 0, Bitmap());
    painter.setRenderHint(QPainter::Antialiasing);
    if (m_state.busy() && m_state.enabled()) {
        const double side = std::min({width() - 4, height() - 4, 18});
        const QRectF box(QPointF(rect().center()) + QPointF(0.5 - side / 2, 0.5 - side / 2),
                         QSizeF(side, side));
        icons::Spinner(painter, box, QColor(ColoursOf(*this).accent), m_waitAngle);
    }
    if (m_keyboardFocus) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(QColor(ColoursOf(*this).focus), 1.5));
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.75, 0.75, -0.75, -0.75), 2.5, 2.5);
    }
}

void CXSkinODButton::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    m_keyboardFocus = false;
    Press();
}

void CXSkinODButton::mouseDoubleClickEvent(QMouseEvent* event) {
    mousePressEvent(event);
}

void CXSkinODButton::mouseMoveEvent(QMouseEvent* event) {
    // A press with the keyboard follows its key, not the pointer.
    if (!m_state.pressed() || m_pressKey != 0) {
        return;
    }
    if (!event->buttons().testFlag(Qt::LeftButton)) {
        Cancel();
        return;
    }
    m_state.Move(rect().contains(event->position().toPoint()));
    update();
}

void CXSkinODButton::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || m_pressKey != 0) {
        event->ignore();
        return;
    }
    m_state.Move(rect().contains(event->position().toPoint()));
    Release();
}

void CXSkinODButton::keyPressEvent(QKeyEvent* event) {
    if (!IsPressKey(event->key()) || event->modifiers().testFlag(Qt::AltModifier)) {
        if (event->key() == Qt::Key_Escape && m_state.pressed()) {
            Cancel();
            return;
        }
        WindowBase::keyPressEvent(event);
        return;
    }
    // A held key repeats; the press is one.
    if (!event->isAutoRepeat() && !m_state.pressed()) {
        Press();
        m_pressKey = m_state.pressed() ? event->key() : 0;
    }
}

void CXSkinODButton::keyReleaseEvent(QKeyEvent* event) {
    if (m_pressKey == 0 || event->key() != m_pressKey) {
        WindowBase::keyReleaseEvent(event);
        return;
    }
    if (!event->isAutoRepeat()) {
        Release();
    }
}

void CXSkinODButton::focusInEvent(QFocusEvent* event) {
    const Qt::FocusReason reason = event->reason();
    m_keyboardFocus =
        reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason || reason == Qt::ShortcutFocusReason;
    update();
}

void CXSkinODButton::focusOutEvent(QFocusEvent*) {
    m_keyboardFocus = false;
    Cancel();
    update();
}

void CXSkinODButton::enterEvent(QEnterEvent*) {
    m_state.SetHover(true);
    update();
}

void CXSkinODButton::leaveEvent(QEvent*) {
    m_state.SetHover(false);
    update();
}

void CXSkinODButton::changeEvent(QEvent* event) {
    if (event->type() == QEvent::StyleChange) {
        m_bitmaps.fill(QPixmap());
    } else if (event->type() == QEvent::EnabledChange) {
        m_state.SetEnabled(isEnabled());
        m_pressKey = 0;
        update();
    }
    WindowBase::changeEvent(event);
}

void CXSkinODButton::hideEvent(QHideEvent* event) {
    Cancel();
    // No leave event comes for a button that goes away under the pointer.
    m_state.SetHover(false);
    UpdateWaitMark();
    WindowBase::hideEvent(event);
}

void CXSkinODButton::showEvent(QShowEvent* event) {
    UpdateWaitMark();
    WindowBase::showEvent(event);
}

}  // namespace kvmon
