#include "console/panel/console_keys.h"

#include <QtGui/QKeyEvent>
#include <QtGui/QKeySequence>
#include <algorithm>
#include <iterator>

#include "channel/base/cam_commands.h"
#include "console/panel/console_controls.h"
#include "console/ports/commands.h"
#include "console/ports/console_messages.h"
#include "console/ports/desk.h"
#include "console/ports/timers.h"

namespace kvmon {

namespace {

constexpr int kCtrl = static_cast<int>(Qt::ControlModifier);
constexpr int kAlt = static_cast<int>(Qt::AltModifier);
constexpr int kShift = static_cast<int>(Qt::ShiftModifier);
constexpr int kPad = static_cast<int>(Qt::KeypadModifier);
constexpr std::uint32_t kStrViews = 7100;

// The first key of a command is the one that its tool tip tells.
constexpr ConsoleKey kKeys[] = {
    {Qt::Key_1, kCtlFirstStyle, false, 0},
    {Qt::Key_2, kCtlPip, false, 0},
    {Qt::Key_3, kCtlFirstStyle + 2, false, 0},
    {Qt::Key_4, kCtlFirstStyle + 3, false, 0},
    {Qt::Key_5, kCtlFirstStyle + 4, false, 0},
    {Qt::Key_6, kCtlFirstStyle + 5, false, 0},
    {Qt::Key_7, kCtlFirstStyle + 6, false, 0},
    {Qt::Key_8, kCtlFirstStyle + 7, false, 0},
    {Qt::Key_9, kCtlLastStyle, false, 0},
    {Qt::Key_PageDown, kKeyNextPage, false, 6231},
    {Qt::Key_PageUp, kKeyPreviousPage, false, 6232},
    {Qt::Key_G, kCtlPageMenu, false, 0},
    {Qt::Key_Q, kCtlSequential, false, 0},
    {Qt::Key_I, kCtlSequentialInterval, false, 0},
    {Qt::Key_P, kCtlPipSettings, false, 0},
    {Qt::Key_V, kCtlViewSize, false, 0},
    {Qt::Key_F11, kCtlFullScreen, false, 0},
    {Qt::Key_F, kCtlFullScreen, false, 0},
    {Qt::Key_D, kCtlMultiScreens, false, 0},
    {Qt::Key_D | kCtrl, kKeyWalls, false, 0},
    {Qt::Key_S, kCtlSnapshot, false, 0},
    {Qt::Key_S | kCtrl, kKeyGallery, false, 7411},
    {Qt::Key_R, kCtlRecord, false, 0},
    {Qt::Key_A, kCtlAudio, false, 0},
    {Qt::Key_T, kCtlTalk, false, 0},
    {Qt::Key_W, kCtlCameraHome, false, 0},
    {Qt::Key_Up, kCmdUp, true, 0},
    {Qt::Key_Down, kCmdDown, true, 0},
    {Qt::Key_Left, kCmdLeft, true, 0},
    {Qt::Key_Right, kCmdRight, true, 0},
    {Qt::Key_Home, kCmdHome, false, 0},
    {Qt::Key_7 | kPad, kCmdUpLeft, true, 0},
    {Qt::Key_9 | kPad, kCmdUpRight, true, 0},
    {Qt::Key_1 | kPad, kCmdDownLeft, true, 0},
    {Qt::Key_3 | kPad, kCmdDownRight, true, 0},
    {Qt::Key_8 | kPad, kCmdUp, true, 0},
    {Qt::Key_2 | kPad, kCmdDown, true, 0},
    {Qt::Key_4 | kPad, kCmdLeft, true, 0},
    {Qt::Key_6 | kPad, kCmdRight, true, 0},
    {Qt::Key_5 | kPad, kCmdHome, false, 0},
    {Qt::Key_Plus, kCmdZoomIn, true, 0},
    {Qt::Key_Equal, kCmdZoomIn, true, 0},
    {Qt::Key_Minus, kCmdZoomOut, true, 0},
    {Qt::Key_Comma, kCmdFocusNear, true, 0},
    {Qt::Key_Period, kCmdFocusFar, true, 0},
    {Qt::Key_N, kCtlPresetMenu, false, 0},
    {Qt::Key_1 | kAlt, kCmdPresetFirst, false, 0},
    {Qt::Key_2 | kAlt, kCmdPresetFirst + 1, false, 0},
    {Qt::Key_3 | kAlt, kCmdPresetFirst + 2, false, 0},
    {Qt::Key_4 | kAlt, kCmdPresetFirst + 3, false, 0},
    {Qt::Key_5 | kAlt, kCmdPresetFirst + 4, false, 0},
    {Qt::Key_6 | kAlt, kCmdPresetFirst + 5, false, 0},
    {Qt::Key_7 | kAlt, kCmdPresetFirst + 6, false, 0},
    {Qt::Key_8 | kAlt, kCmdPresetFirst + 7, false, 0},
    {Qt::Key_9 | kAlt, kCmdPresetFirst + 8, false, 0},
    {Qt::Key_0 | kAlt, kCmdPresetLast, false, 0},
    {Qt::Key_0 | kCtrl, kCmdPresetLast, false, 0},
    {Qt::Key_1 | kCtrl, kKeyFirstView, false, kStrViews},
    {Qt::Key_2 | kCtrl, kKeyFirstView + 1, false, kStrViews},
    {Qt::Key_3 | kCtrl, kKeyFirstView + 2, false, kStrViews},
    {Qt::Key_4 | kCtrl, kKeyFirstView + 3, false, kStrViews},
    {Qt::Key_5 | kCtrl, kKeyFirstView + 4, false, kStrViews},
    {Qt::Key_6 | kCtrl, kKeyFirstView + 5, false, kStrViews},
    {Qt::Key_7 | kCtrl, kKeyFirstView + 6, false, kStrViews},
    {Qt::Key_8 | kCtrl, kKeyFirstView + 7, false, kStrViews},
    {Qt::Key_9 | kCtrl, kKeyFirstView + 8, false, kStrViews},
    {Qt::Key_Right | kCtrl, kKeyCameraRight, false, 6980},
    {Qt::Key_Left | kCtrl, kKeyCameraLeft, false, 6981},
    {Qt::Key_Up | kCtrl, kKeyCameraUp, false, 7300},
    {Qt::Key_Down | kCtrl, kKeyCameraDown, false, 7301},
    {Qt::Key_Return, kKeyAlone, false, 7302},
    {Qt::Key_Enter, kKeyAlone, false, 7302},
    {Qt::Key_Menu, kKeyCellMenu, false, 7303},
    {Qt::Key_F10 | kShift, kKeyCellMenu, false, 7303},
    {Qt::Key_B, kKeyBar, false, 7312},
    {Qt::Key_Escape, kKeyLeave, false, 7307},
    {Qt::Key_C, kCtlCameraList, false, 0},
    {Qt::Key_M, kKeyFeedback, false, 7442},
    {Qt::Key_F10, kCtlMainMenu, false, 0},
    {Qt::Key_O, kCtlOptions, false, 0},
    {Qt::Key_L, kCtlLanguage, false, 0},
    {Qt::Key_0, kCtlOrderReset, false, 0},
    {Qt::Key_F1, kKeyHelp, false, 6233},
    {Qt::Key_F2, kCtlHelp, false, 0},
    {Qt::Key_L | kCtrl, kCtlLogout, false, 0},
    {Qt::Key_Q | kCtrl, kKeyQuit, false, 0},
};

// X11 tells a key that repeats as released and pressed again, mostly without a mark. The two are of one
// moment by its clock, but may reach us in two turns of the event loop.
constexpr std::uint64_t kRepeatMs = 4;
constexpr int kReleaseMs = 30;

// A digit of the pad counts as such with the lock on; its plus and minus are those of the keyboard.
int KeyOf(const QKeyEvent& event) {
    const Qt::KeyboardModifiers modifiers = event.modifiers();
    int key = event.key();
    if (modifiers.testFlag(Qt::KeypadModifier) && key >= Qt::Key_0 && key <= Qt::Key_9) {
        key |= kPad;
    }
    // Where shift makes another sign of a key, that sign counts alone.
    if (event.key() == Qt::Key_F10 && modifiers.testFlag(Qt::ShiftModifier)) {
        key |= kShift;
    }
    key |= modifiers.testFlag(Qt::AltModifier) ? kAlt : 0;
    return modifiers.testFlag(Qt::ControlModifier) ? key | kCtrl : key;
}

const ConsoleKey* FindKey(const QKeyEvent& event) {
    if (event.modifiers().testFlag(Qt::MetaModifier)) {
        return nullptr;
    }
    const int key = KeyOf(event);
    const auto* const found = std::find_if(std::begin(kKeys), std::end(kKeys),
                                           [key](const ConsoleKey& row) { return row.key == key; });
    return found != std::end(kKeys) ? found : nullptr;
}

// Styles can be chosen even if their buttons are hidden, and the help that has none is the program's own; a
// hidden button of a camera is one it cannot do.
bool IsOffered(const ConsoleControls& controls, int command) {
    const ConsoleControls::State state = controls.Get(command);
    const bool bHidden = (command >= kCtlFirstStyle && command <= kCtlLastStyle) || command == kCtlHelp;
    return controls.Exists(command) && state.enabled && !state.busy && (state.shown || bHidden);
}

// What a locked wall is open for: to look, and to steer what one looks at, as the mouse does there.
bool IsOfLooking(int command) {
    switch (command) {
        case kKeyNextPage:
        case kKeyPreviousPage:
        case kKeyCameraLeft:
        case kKeyCameraRight:
        case kKeyCameraUp:
        case kKeyCameraDown:
        case kKeyAlone:
        case kKeyLeave:
        case kCtlFullScreen:
        case kCtlSequential:
            return true;
        default:
            return (command >= kCtlFirstStyle && command < kCtlLastStyle) ||
                   (command >= kKeyFirstView && command <= kKeyLastView) ||
                   (command >= kCtlFirstPtz && command <= kCtlLastPtz);
    }
}

}  // namespace

std::span<const ConsoleKey> ConsoleKeyTable() {
    return kKeys;
}

QString KeyName(int key) {
    // As the keys themselves are marked, in any language.
    constexpr struct {
        int key;
        char16_t arrow;
    } kArrows[] = {{Qt::Key_Up, u'\u2191'},
                   {Qt::Key_Down, u'\u2193'},
                   {Qt::Key_Left, u'\u2190'},
                   {Qt::Key_Right, u'\u2192'}};
    const auto* const arrow = std::find_if(std::begin(kArrows), std::end(kArrows),
                                           [key](const auto& row) { return row.key == (key & ~kCtrl); });
    const QString name = QKeySequence(key).toString(QKeySequence::NativeText);
    return arrow == std::end(kArrows) ? name : name.left(name.lastIndexOf('+') + 1) + QChar(arrow->arrow);
}

QString ShortcutName(int command) {
    for (const ConsoleKey& row : kKeys) {
        if (row.command == command) {
            return KeyName(row.key);
        }
    }
    return {};
}

bool ConsoleKeys::OnKeyPress(const QKeyEvent& event) {
    const ConsoleKey* const row = FindKey(event);
    if (row == nullptr) {
        return false;
    }
    if (m_desk.IsLocked() && !IsOfLooking(row->command)) {
        return true;
    }
    // A held key is one press; PtzPanel repeats its command, paced by the camera's answers.
    if (event.isAutoRepeat() || IsRepeat(event)) {
        m_timers.KillTimer(kTimerKeyRelease);
        return true;
    }
    if (!IsOfKeysAlone(row->command) && !IsOffered(m_controls, row->command)) {
        // Even without a session this key ends full screen.
        if (row->command == kCtlFullScreen) {
            m_commands.Run(kKeyLeave);
        }
        return true;
    }
    if (!row->held) {
        Run(row->command);
        return true;
    }
    ReleaseAll();
    m_down = row;
    m_commands.Hold(row->command);
    return true;
}

bool ConsoleKeys::OnKeyRelease(const QKeyEvent& event) {
    const ConsoleKey* const row = FindKey(event);
    if (row == nullptr) {
        return false;
    }
    if (event.isAutoRepeat()) {
        return true;
    }
    m_releasedKey = event.key();
    m_releasedAt = event.timestamp();
    if (row->held && IsHeld(row->command)) {
        m_timers.SetTimer(kTimerKeyRelease, kReleaseMs);
    }
    return true;
}

// The press follows the key's own release at once, which no finger can do.
bool ConsoleKeys::IsRepeat(const QKeyEvent& event) const {
    if (event.key() != m_releasedKey) {
        return false;
    }
    if (event.timestamp() != 0 && m_releasedAt != 0) {
        return event.timestamp() - m_releasedAt <= kRepeatMs;
    }
    return m_timers.IsTimerSet(kTimerKeyRelease);
}

void ConsoleKeys::ReleaseAll() {
    m_timers.KillTimer(kTimerKeyRelease);
    if (m_down != nullptr) {
        m_commands.Release(m_down->command);
        m_down = nullptr;
    }
}

void ConsoleKeys::Run(int command) {
    if (IsOfKeysAlone(command)) {
        m_commands.Run(command);
    } else {
        m_commands.Press(command);
    }
}

}  // namespace kvmon
