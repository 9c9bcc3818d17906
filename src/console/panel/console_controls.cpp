#include "console/panel/console_controls.h"

#include "channel/base/cam_commands.h"
#include "channel/base/camera_info.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kShown = WS_CHILD | WS_VISIBLE;
constexpr std::uint32_t kHidden = WS_CHILD;
constexpr std::uint32_t kShownStatic = WS_CHILD | WS_VISIBLE | 0x281;

constexpr SkinControlKind kButton = SkinControlKind::kButton;
constexpr SkinControlKind kStatic = SkinControlKind::kStatic;
constexpr int kPlain = 0;
constexpr int kToggle = 3;
constexpr int kRadio = 9;

// clang-format off
constexpr SkinControlRow kTable[] = {
    {"Button", "Single Channel",      kShown,       826,  70, 141, 23, kCtlFirstStyle,         kButton, kRadio,  3500},
    {"Button", "PicInPic",            kShown,       904, 102,  48, 43, kCtlPip,                kButton, kRadio,  3502},
    {"Button", "PIP Setting",         kShown,       955, 102,  12, 43, kCtlPipSettings,        kButton, kPlain,  3504},
    {"Button", "4 Channels",          kShown,       825, 102,  63, 43, kCtl4Channels,          kButton, kRadio,  3501},
    {"Button", "View Size",           kShown,       825, 227,  41, 29, kCtlViewSize,           kButton, kToggle, 3510},
    {"Button", "Full-Screen",         kShown,       875, 227,  41, 29, kCtlFullScreen,         kButton, kToggle, 3506},
    {"Button", "Sequential Mode",     kShown,       923, 227,  35, 29, kCtlSequential,         kButton, kToggle, 3503},
    {"Button", "Sequential Interval", kShown,       960, 227,   8, 29, kCtlSequentialInterval, kButton, kPlain,  3505},
    {"Button", "Snpashot",            kHidden,      823, 364,  18, 18, kCtlSnapshot,           kButton, kPlain,  3514},
    {"Button", "Audio",               kHidden,      878, 364,  18, 18, kCtlAudio,              kButton, kToggle, 3530},
    {"Button", "Talking",             kHidden,      905, 364,  18, 18, kCtlTalk,               kButton, kPlain,  1105},
    {"Button", "CameraHome",          kHidden,      953, 364,  18, 18, kCtlCameraHome,         kButton, kPlain,  3507},
    {"Button", "Home",                kHidden,      886, 447,  23, 25, kCmdHome,               kButton, kPlain,  3527},
    {"Button", "Up",                  kHidden,      873, 387,  48, 11, kCmdUp,                 kButton, kPlain,  3515},
    {"Button", "Down",                kHidden,      873, 520,  48, 11, kCmdDown,               kButton, kPlain,  3516},
    {"Button", "Left",                kHidden,      825, 437,  11, 48, kCmdLeft,               kButton, kPlain,  3517},
    {"Button", "Right",               kHidden,      957, 437,  11, 48, kCmdRight,              kButton, kPlain,  3518},
    {"Button", "Up Left",             kHidden,      853, 416,  12, 11, kCmdUpLeft,             kButton, kPlain,  3519},
    {"Button", "Up Right",            kHidden,      929, 416,  12, 11, kCmdUpRight,            kButton, kPlain,  3520},
    {"Button", "Down Left",           kHidden,      853, 491,  12, 11, kCmdDownLeft,           kButton, kPlain,  3521},
    {"Button", "Down Right",          kHidden,      929, 491,  12, 11, kCmdDownRight,          kButton, kPlain,  3522},
    {"Button", "Zoom Out",            kHidden,      887, 417,  19, 12, kCmdZoomOut,            kButton, kPlain,  3524},
    {"Button", "Zoom In",             kHidden,      887, 489,  19, 12, kCmdZoomIn,             kButton, kPlain,  3523},
    {"Button", "Foucs Near",          kHidden,      877, 340,   9, 19, kCmdFocusNear,          kButton, kPlain,  3525},
    {"Button", "Focus Far",           kHidden,      909, 340,   9, 19, kCmdFocusFar,           kButton, kPlain,  3526},
    {"Button", "Preset1",             kHidden,      813, 550,  28, 18, kCmdPresetFirst,        kButton, kPlain,  kTextFirstPreset},
    {"Button", "Preset2",             kHidden,      848, 550,  28, 18, kCmdPresetFirst + 1,    kButton, kPlain,  kTextFirstPreset + 1},
    {"Button", "Preset3",             kHidden,      883, 550,  28, 18, kCmdPresetFirst + 2,    kButton, kPlain,  kTextFirstPreset + 2},
    {"Button", "Preset4",             kHidden,      917, 550,  28, 18, kCmdPresetFirst + 3,    kButton, kPlain,  kTextFirstPreset + 3},
    {"Button", "Preset5",             kHidden,      952, 550,  28, 18, kCmdPresetFirst + 4,    kButton, kPlain,  kTextFirstPreset + 4},
    {"Button", "Preset6",             kHidden,      813, 572,  28, 18, kCmdPresetFirst + 5,    kButton, kPlain,  kTextFirstPreset + 5},
    {"Button", "Preset7",             kHidden,      848, 572,  28, 18, kCmdPresetFirst + 6,    kButton, kPlain,  kTextFirstPreset + 6},
    {"Button", "Preset8",             kHidden,      883, 572,  28, 18, kCmdPresetFirst + 7,    kButton, kPlain,  kTextFirstPreset + 7},
    {"Button", "Preset9",             kHidden,      917, 572,  28, 18, kCmdPresetFirst + 8,    kButton, kPlain,  kTextFirstPreset + 8},
    {"Button", "Preset10",            kHidden,      952, 572,  28, 18, kCmdPresetLast,         kButton, kPlain,  kTextFirstPreset + 9},
    {"Static", "",                    kShownStatic,  40,  25, 317, 25, kCtlServerName,         kStatic, kPlain,    0},
    {"Static", "",                    kShownStatic, 813, 594, 167, 18, kCtlServerModel,        kStatic, kPlain,    0},
};

constexpr SkinControlRow kTools[] = {
    {"Button", "6 Channels",          kHidden,      825, 152,  45, 29, kCtl6Channels,          kButton, kRadio,  6220},
    {"Button", "8 Channels",          kHidden,      874, 152,  45, 29, kCtl8Channels,          kButton, kRadio,  6221},
    {"Button", "9 Channels",          kHidden,      923, 152,  45, 29, kCtl9Channels,          kButton, kRadio,  6222},
    {"Button", "10 Channels",         kHidden,      825, 184,  45, 29, kCtl10Channels,         kButton, kRadio,  6223},
    {"Button", "12 Channels",         kHidden,      874, 184,  45, 29, kCtl12Channels,         kButton, kRadio,  6224},
    {"Button", "Custom",              kHidden,      923, 184,  45, 29, kCtlLastStyle,          kButton, kRadio,  6225},
    {"Button", "Page List",           kHidden,      970, 267,   8, 24, kCtlPageMenu,           kButton, kPlain,  6226},
    {"Button", "Manual Recording",    kHidden,      850, 364,  18, 18, kCtlRecord,             kButton, kToggle, 3528},
    {"Button", "Preset List",         kHidden,      929, 364,  18, 18, kCtlPresetMenu,         kButton, kPlain,  6227},
    {"Button", "Camera List",         kShown,       881,  12,  30, 28, kCtlCameraList,         kButton, kToggle, 7102},
    {"Button", "Order Reset",         kShown,       915,  12,  30, 28, kCtlOrderReset,         kButton, kPlain,  6202},
    {"Button", "Menu",                kShown,       949,  12,  30, 28, kCtlMainMenu,           kButton, kPlain,  6203},
    {"Button", "Second Display",      kShown,       813, 626,  30, 28, kCtlMultiScreens,       kButton, kToggle, 6204},
    {"Button", "Language",            kShown,       847, 626,  30, 28, kCtlLanguage,           kButton, kPlain,  6205},
    {"Button", "Options",             kShown,       881, 626,  30, 28, kCtlOptions,            kButton, kPlain,  6206},
    {"Button", "Help",                kHidden,      915, 626,  30, 28, kCtlHelp,               kButton, kPlain,  6207},
    {"Button", "Logout",              kShown,       949, 626,  30, 28, kCtlLogout,             kButton, kToggle, 4003},
};
// clang-format on

}  // namespace

std::span<const SkinControlRow> ControlTable() {
    return kTable;
}

std::span<const SkinControlRow> ToolTable() {
    return kTools;
}

ConsoleControls::ConsoleControls() {
    for (const auto table : {ControlTable(), ToolTable()}) {
        for (const SkinControlRow& row : table) {
            m_states[row.id].shown = (row.style & WS_VISIBLE) != 0;
        }
    }
}

ConsoleControls::State ConsoleControls::Get(int id) const {
    const auto state = m_states.find(id);
    return state != m_states.end() ? state->second : State{};
}

void ConsoleControls::SetPressed(int id, bool on) {
    Change(id, &State::pressed, on);
}

void ConsoleControls::SetShown(int id, bool on) {
    Change(id, &State::shown, on);
}

void ConsoleControls::SetEnabled(int id, bool on) {
    Change(id, &State::enabled, on);
}

void ConsoleControls::SetBusy(int id, bool on) {
    Change(id, &State::busy, on);
}

void ConsoleControls::Change(int id, bool State::*member, bool value) {
    const auto state = m_states.find(id);
    if (state == m_states.end() || state->second.*member == value) {
        return;
    }
    state->second.*member = value;
    if (m_listener) {
        m_listener(id, state->second);
    }
}

}  // namespace kvmon
