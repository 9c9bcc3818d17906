// A dialog that a user can see.
#pragma once

#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>

namespace kvtest {

// The first of this class that is open; null for none.
template <typename Dialog>
Dialog* FindOpen() {
    for (QWidget* const widget : QApplication::topLevelWidgets()) {
        auto* const dialog = dynamic_cast<Dialog*>(widget);
        if (dialog != nullptr && dialog->isVisible()) {
            return dialog;
        }
    }
    return nullptr;
}

}  // namespace kvtest
