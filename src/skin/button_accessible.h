// Skin buttons for screen readers and other assistive tools.
#pragma once

#include <QtCore/QString>

#include "skin/button_state.h"

namespace kvmon {

// Values of a button's check.
inline constexpr int BST_UNCHECKED = 0;
inline constexpr int BST_CHECKED = 1;

// A widget that is told as a button of its mode.
class AccessibleButton {
public:
    virtual ButtonMode Mode() const = 0;
    virtual int GetCheck() const = 0;
    virtual bool IsPressed() const = 0;
    virtual bool IsBusy() const = 0;
    virtual void Click() = 0;
    // The key that does the same wherever the focus is; empty for none.
    virtual QString KeyText() const = 0;

protected:
    ~AccessibleButton() = default;
};

// From here on such widgets are told as buttons, check boxes and radio buttons with their press action. A
// second call does nothing.
void InstallButtonAccessibility();

}  // namespace kvmon
