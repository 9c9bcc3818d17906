#include "skin/button_state.h"

namespace kvmon {

bool ButtonState::Press() {
    if (!enabled_ || busy_ || pressed_) {
        return false;
    }
    pressed_ = true;
    inside_ = true;
    return true;
}

bool ButtonState::Release() {
    const bool click = pressed_ && inside_;
    pressed_ = false;
    if (!click) {
        return false;
    }
    if (mode_ == ButtonMode::kToggle) {
        checked_ = !checked_;
    } else if (mode_ == ButtonMode::kRadio) {
        checked_ = true;
    }
    return true;
}

void ButtonState::SetEnabled(bool enabled) {
    enabled_ = enabled;
    if (!enabled) {
        Cancel();
    }
}

void ButtonState::SetBusy(bool busy) {
    busy_ = busy;
    if (busy) {
        Cancel();
    }
}

ButtonLook ButtonState::Look() const {
    if (!enabled_) {
        return ButtonLook::kDisabled;
    }
    if (busy_) {
        return ButtonLook::kBusy;
    }
    if (pressed_ && inside_) {
        return ButtonLook::kPressed;
    }
    // A press that left the button still holds the pointer: it stays lit.
    return hover_ || pressed_ ? ButtonLook::kHover : ButtonLook::kNormal;
}

}  // namespace kvmon
