// Mouse and key events as numbered messages.
#pragma once

#include <QtCore/QPoint>
#include <cstdint>
#include <optional>

#include "platform/window_handle.h"

class QEvent;

namespace kvmon {

inline constexpr std::uint32_t WM_CONTEXTMENU = 123;  // lParam the point on the screen
inline constexpr std::uint32_t WM_KEYDOWN = 256;
inline constexpr std::uint32_t WM_KEYUP = 257;
inline constexpr std::uint32_t WM_MOUSEMOVE = 512;
inline constexpr std::uint32_t WM_LBUTTONDOWN = 513;
inline constexpr std::uint32_t WM_LBUTTONUP = 514;
inline constexpr std::uint32_t WM_LBUTTONDBLCLK = 515;
inline constexpr std::uint32_t WM_RBUTTONDOWN = 516;
inline constexpr std::uint32_t WM_RBUTTONUP = 517;
inline constexpr std::uint32_t WM_RBUTTONDBLCLK = 518;
inline constexpr std::uint32_t WM_MBUTTONDOWN = 519;
inline constexpr std::uint32_t WM_MBUTTONUP = 520;
inline constexpr std::uint32_t WM_MBUTTONDBLCLK = 521;
// wParam: the turn in the high 16 bits, 120 for a notch away from the user.
inline constexpr std::uint32_t WM_MOUSEWHEEL = 522;

inline constexpr WParam kKeyEscape = 27;
inline constexpr WParam kKeyMenu = 93;

// Set in a mouse message that a finger made.
inline constexpr WParam kByFinger = 0x1000;

// wParam of a mouse message: the buttons and keys held (1 left, 2 right, 4 shift, 8 control, 16 middle);
// lParam the point in the window's own coordinates, x in the low 16 bits. wParam of a key message: the
// key's number, 0 for one without.
struct InputMessage {
    std::uint32_t number = 0;
    WParam wParam = 0;
    LParam lParam = 0;
};

// Nothing for events that have no number, and for the releases of a key that repeats.
std::optional<InputMessage> ToInputMessage(const QEvent& event);

LParam PackPoint(const QPoint& point);
QPoint UnpackPoint(LParam lParam);

}  // namespace kvmon
