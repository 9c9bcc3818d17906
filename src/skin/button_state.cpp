#include "skin/button_state.h"

namespace kvmon {

bool ButtonState::Press() {
    if (!m_enabled || m_busy || m_pressed) {
        return false;
    }
    m_pressed = true;
    m_inside = true;
    return true;
}

bool ButtonState::Release() {
    const bool click = m_pressed && m_inside;
    m_pressed = false;
    if (!click) {
        return false;
    }
    if (m_mode == ButtonMode::kToggle) {
        m_checked = !m_checked;
    } else if (m_mode == ButtonMode::kRadio) {
        m_checked = true;
    }
    return true;
}

void ButtonState::SetEnabled(bool enabled) {
    m_enabled = enabled;
    if (!enabled) {
        Cancel();
    }
}

void ButtonState::SetBusy(bool busy) {
    m_busy = busy;
    if (busy) {
        Cancel();
    }
}

ButtonLook ButtonState::Look() const {
    if (!m_enabled) {
        return ButtonLook::kDisabled;
    }
    if (m_busy) {
        return ButtonLook::kBusy;
    }
    if (m_pressed && m_inside) {
        return ButtonLook::kPressed;
    }
    // A press that left the button still holds the pointer: it stays lit.
    return m_hover || m_pressed ? ButtonLook::kHover : ButtonLook::kNormal;
}

}  // namespace kvmon
