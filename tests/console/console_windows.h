// The console's menus and windows as a user comes to them.
#pragma once

#include <QtWidgets/QApplication>
#include <QtWidgets/QMenu>

#include "console/dialogs/sign_in_card.h"
#include "support/qt_pump.h"
#include "support/qt_user_input.h"

namespace kvtest {

// Null when the key opens none.
inline QMenu* OpenMenu(QWidget& console, int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    PressKey(console, key, modifiers);
    Pump();
    return qobject_cast<QMenu*>(QApplication::activePopupWidget());
}

// Null when none of this name is open.
inline QWidget* OpenWindow(const char* name) {
    for (QWidget* const window : QApplication::topLevelWidgets()) {
        if (window->objectName() == QLatin1String(name) && window->isVisible()) {
            return window;
        }
    }
    return nullptr;
}

class NobodySignsIn final : public kvmon::SignInListener {
    void OnSignIn(const kvmon::SignInEntry&) override {}
    void OnSignInLanguage(std::uint16_t) override {}
    void OnFetchPassword(const kvmon::SignInEntry&) override {}
    void OnForget(const kvmon::SignInEntry&) override {}
    void OnStartDemo() override {}
};

}  // namespace kvtest
