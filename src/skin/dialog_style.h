// The look of Qt's own widgets, so that dialogs and console are one product.
#pragma once

#include <QtGui/QPalette>

#include "skin/skin_colours.h"

class QApplication;

namespace kvmon {

// The palette has a role for whatever a widget may need, so that it follows the look by itself:
// QPalette::Shadow is behind the pictures, QPalette::BrightText what is to be read first.
inline constexpr QPalette::ColorRole kFaultText = QPalette::LinkVisited;

// Sets the style and colours of all widgets of the program: before the first window, and at any time later,
// when all that is open is drawn anew.
void ApplySkin(QApplication& app, SkinLook look = SkinLook::Dark);

}  // namespace kvmon
