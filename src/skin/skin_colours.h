// The colours of the product by what they are for, in each of its looks. Everything that draws takes its
// colours from here.
#pragma once

#include <QtGui/QColor>
#include <QtWidgets/QStyle>
#include <cstdint>

class QWidget;

namespace kvmon {

enum class SkinLook : std::uint8_t { Dark, Light, HighContrast };

// The strip of a cell with its signs.
struct StripColours {
    QRgb ground, text;
    QRgb halo;  // around the letters, where ground and text alone could not be read; else clear
    QRgb ink, dim, red, amber, green, blue;
    QRgb plate, onPlate;  // for what must not be missed
};

// Texts are told from what they stand on by 4.5 to 1 or more, lines around controls and signs by 3 to 1; what
// cannot be used at present, too.
struct SkinColours {
    // Surfaces, from the deepest to the highest.
    QRgb well;     // behind the pictures
    QRgb window;   // the console
    QRgb panel;    // the control panel, the dialogs, menus
    QRgb section;  // a group within the panel
    QRgb field;    // where a user enters something

    // Buttons.
    QRgb face, faceHover, facePressed, faceChecked, faceCheckedHover, faceDisabled;

    // Lines: around controls; those that only part one thing from another; and the depth of a rim.
    QRgb edge, edgeHover, edgeDisabled, line, shadow, light;

    // Ink.
    QRgb ink, inkBright, inkFaint, inkDisabled;

    QRgb accent;  // the one colour
    QRgb accentBright;
    QRgb focus;   // the keyboard's ring, told from a check at a glance
    QRgb record;  // what records, and what failed
    QRgb good;

    // Captions on the panel.
    QRgb captionWhite, captionBlue;

    // Cells.
    QRgb cellGround, cellEdge;
    StripColours active, inactive;
};

// What a text or a line is for: a colour that follows the look.
using ColourRole = QRgb SkinColours::*;

const SkinColours& ColoursOf(SkinLook look);
// The look of the style that draws the widget, and its colours; dark without the skin.
SkinLook LookOf(const QWidget& widget);
const SkinColours& ColoursOf(const QWidget& widget);

// The style's answer to this hint is its look.
inline constexpr auto kLookHint = static_cast<QStyle::StyleHint>(QStyle::SH_CustomBase + 0x4b56);

// How well two colours are told apart, from 1 to 21, by the luminance that WCAG 2 defines.
double ContrastOf(QRgb a, QRgb b);

}  // namespace kvmon
