// How the skin's buttons look in each state.
#pragma once

#include <QtCore/QSize>
#include <QtGui/QPixmap>

#include "skin/button_state.h"

namespace kvmon {

struct SkinColours;

// The looks of a button without and with its check.
inline constexpr int kButtonBitmaps = kButtonLooks * 2;

constexpr int ButtonBitmapIndex(ButtonLook look, bool checked) {
    return static_cast<int>(look) + (checked ? kButtonLooks : 0);
}

// Whether the skin has a sign for the command.
bool HasButtonArt(int id);

// The button of the command, of the size in logical pixels (which has parts of them where it is one of whole
// device pixels) at the scale. A command without a sign of its own
// gets a bare plate.
QPixmap RenderButton(int id, QSizeF size, double scale, ButtonLook look, bool checked,
                     const SkinColours& colours);

}  // namespace kvmon
