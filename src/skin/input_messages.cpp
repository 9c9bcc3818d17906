#include "skin/input_messages.h"

#include <QtGui/QKeyEvent>
#include <QtGui/QMouseEvent>
#include <algorithm>
#include <iterator>

namespace kvmon {

namespace {

struct ButtonRow {
    Qt::MouseButton button;
    std::uint32_t down;
    std::uint32_t up;
    std::uint32_t doubleClick;
};

constexpr ButtonRow kButtons[] = {
    {Qt::LeftButton, WM_LBUTTONDOWN, WM_LBUTTONUP, WM_LBUTTONDBLCLK},
    {Qt::RightButton, WM_RBUTTONDOWN, WM_RBUTTONUP, WM_RBUTTONDBLCLK},
    {Qt::MiddleButton, WM_MBUTTONDOWN, WM_MBUTTONUP, WM_MBUTTONDBLCLK},
};

struct KeyRow {
    int key;
    WParam number;
};

constexpr KeyRow kKeys[] = {
    {Qt::Key_Backspace, 8}, {Qt::Key_Tab, 9},      {Qt::Key_Return, 13},   {Qt::Key_Enter, 13},
    {Qt::Key_Shift, 16},    {Qt::Key_Control, 17}, {Qt::Key_Alt, 18},      {Qt::Key_Escape, kKeyEscape},
    {Qt::Key_Space, 32},    {Qt::Key_PageUp, 33},  {Qt::Key_PageDown, 34}, {Qt::Key_End, 35},
    {Qt::Key_Home, 36},     {Qt::Key_Left, 37},    {Qt::Key_Up, 38},       {Qt::Key_Right, 39},
    {Qt::Key_Down, 40},     {Qt::Key_Insert, 45},  {Qt::Key_Delete, 46},   {Qt::Key_Menu, kKeyMenu},
};

WParam KeyNumber(int key) {
    // Digits and letters are their own numbers.
    if ((key >= Qt::Key_0 && key <= Qt::Key_9) || (key >= Qt::Key_A && key <= Qt::Key_Z)) {
        return static_cast<WParam>(key);
    }
    if (key >= Qt::Key_F1 && key <= Qt::Key_F24) {
        return static_cast<WParam>(key) - Qt::Key_F1 + 112;
    }
    const auto* const row =
        std::find_if(std::begin(kKeys), std::end(kKeys), [key](const KeyRow& r) { return r.key == key; });
    return row != std::end(kKeys) ? row->number : 0;
}

WParam HeldKeys(const QMouseEvent& event) {
    const auto bit = [](bool on, WParam value) { return on ? value : WParam{0}; };
    const Qt::MouseButtons buttons = event.buttons();
    const Qt::KeyboardModifiers keys = event.modifiers();
    return bit(buttons.testFlag(Qt::LeftButton), 1) | bit(buttons.testFlag(Qt::RightButton), 2) |
           bit(keys.testFlag(Qt::ShiftModifier), 4) | bit(keys.testFlag(Qt::ControlModifier), 8) |
           bit(buttons.testFlag(Qt::MiddleButton), 16) |
           bit(event.source() != Qt::MouseEventNotSynthesized, kByFinger);
}

std::uint32_t MouseNumber(const QMouseEvent& event) {
    if (event.type() == QEvent::MouseMove) {
        return WM_MOUSEMOVE;
    }
    for (const ButtonRow& row : kButtons) {
        if (row.button == event.button()) {
            return event.type() == QEvent::MouseButtonPress     ? row.down
                   : event.type() == QEvent::MouseButtonRelease ? row.up
                                                                : row.doubleClick;
        }
    }
    return 0;
}

}  // namespace

std::optional<InputMessage> ToInputMessage(const QEvent& event) {
    switch (event.type()) {
        case QEvent::MouseMove:
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
        case QEvent::MouseButtonDblClick: {
            const auto& mouse = static_cast<const QMouseEvent&>(event);
            const std::uint32_t number = MouseNumber(mouse);
            if (number == 0) {
                return std::nullopt;
            }
            return InputMessage{number, HeldKeys(mouse), PackPoint(mouse.position().toPoint())};
        }
        case QEvent::KeyPress:
        case QEvent::KeyRelease: {
            const auto& key = static_cast<const QKeyEvent&>(event);
            const bool release = event.type() == QEvent::KeyRelease;
            if (release && key.isAutoRepeat()) {
                return std::nullopt;
            }
            return InputMessage{release ? WM_KEYUP : WM_KEYDOWN, KeyNumber(key.key()), 0};
        }
        default:
            return std::nullopt;
    }
}

LParam PackPoint(const QPoint& point) {
    const auto x = static_cast<std::uint32_t>(static_cast<std::uint16_t>(point.x()));
    const auto y = static_cast<std::uint32_t>(static_cast<std::uint16_t>(point.y()));
    return static_cast<LParam>(y << 16 | x);
}

QPoint UnpackPoint(LParam lParam) {
    const auto bits = static_cast<std::uint32_t>(lParam);
    return {static_cast<std::int16_t>(bits & 0xFFFF), static_cast<std::int16_t>(bits >> 16)};
}

}  // namespace kvmon
