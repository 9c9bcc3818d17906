// The colours of the skin: a dark, slightly blue grey that does not dazzle at night, one accent, and ink in
// three strengths. Everything that draws takes its colours from here.
#pragma once

#include <QtGui/QColor>

namespace kvmon::palette {

// Surfaces, from the deepest to the highest.
inline constexpr QRgb kWell = 0xff07090b;     // behind the pictures
inline constexpr QRgb kWindow = 0xff14181d;   // the console and the dialogs
inline constexpr QRgb kPanel = 0xff1b2027;    // the control panel
inline constexpr QRgb kSection = 0xff15191f;  // a group within the panel
inline constexpr QRgb kField = 0xff0f1317;    // where a user enters something

// Buttons.
inline constexpr QRgb kFace = 0xff2c343e;
inline constexpr QRgb kFaceHover = 0xff3a4552;
inline constexpr QRgb kFacePressed = 0xff11151a;
inline constexpr QRgb kFaceChecked = 0xff1a4459;
inline constexpr QRgb kFaceCheckedHover = 0xff22576f;
inline constexpr QRgb kFaceDisabled = 0xff1d2229;

// Lines.
inline constexpr QRgb kEdge = 0xff3b4552;
inline constexpr QRgb kEdgeHover = 0xff586779;
inline constexpr QRgb kEdgeDisabled = 0xff272d35;
inline constexpr QRgb kShadow = 0xff0a0c0f;
inline constexpr QRgb kLight = 0xff2a313a;

// Ink.
inline constexpr QRgb kInk = 0xffbac5d0;
inline constexpr QRgb kInkBright = 0xffeaf1f7;
inline constexpr QRgb kInkFaint = 0xff7b8794;
inline constexpr QRgb kInkDisabled = 0xff56606b;

// The one colour.
inline constexpr QRgb kAccent = 0xff4fb3d9;
inline constexpr QRgb kAccentBright = 0xff9ddcf5;
inline constexpr QRgb kFocus = 0xffe3c25c;  // the keyboard's ring, told from a check at a glance
inline constexpr QRgb kRecord = 0xffe05a4f;

// Captions on the panel.
inline constexpr QRgb kCaptionWhite = 0xfff2f5f8;
inline constexpr QRgb kCaptionBlue = 0xff6fb4ff;

}  // namespace kvmon::palette
