#include "console/console_controls.h"

#include <algorithm>

namespace kvmon {

namespace {

constexpr ControlKind kButton = ControlKind::SkinButton;
constexpr ControlKind kStatic = ControlKind::Static;
constexpr ButtonMode kPlain = ButtonMode::Plain;
constexpr ButtonMode kToggle = ButtonMode::Toggle;
constexpr ButtonMode kRadio = ButtonMode::Radio;

// clang-format off
constexpr ControlRow kTable[] = {
    {1651, "Single Channel",      826,  70, 141, 23, kButton, kRadio,  3500, true,  false},
    {1652, "PicInPic",            904, 102,  48, 43, kButton, kRadio,  3502, true,  false},
    {1650, "PIP Setting",         955, 102,  12, 43, kButton, kPlain,  3504, true,  false},
    {1653, "4 Channels",          825, 102,  63, 43, kButton, kRadio,  3501, true,  false},
    {1660, "View Size",           825, 227,  41, 29, kButton, kToggle, 3510, true,  false},
    {1661, "Full-Screen",         875, 227,  41, 29, kButton, kToggle, 3506, true,  false},
    {1662, "Sequential Mode",     923, 227,  35, 29, kButton, kToggle, 3503, true,  false},
    {1663, "Sequential Interval", 960, 227,   8, 29, kButton, kPlain,  3505, true,  false},
    {1750, "Snpashot",            823, 364,  18, 18, kButton, kPlain,  3514, false, false},
    {1752, "Audio",               878, 364,  18, 18, kButton, kToggle, 3530, false, false},
    {1753, "Talking",             905, 364,  18, 18, kButton, kPlain,  1105, false, false},
    {1754, "CameraHome",          953, 364,  18, 18, kButton, kPlain,  3507, false, false},
    {1800, "Home",                886, 447,  23, 25, kButton, kPlain,  3527, false, false},
    {1801, "Up",                  873, 387,  48, 11, kButton, kPlain,  3515, false, true},
    {1802, "Down",                873, 520,  48, 11, kButton, kPlain,  3516, false, true},
    {1803, "Left",                825, 437,  11, 48, kButton, kPlain,  3517, false, true},
    {1804, "Right",               957, 437,  11, 48, kButton, kPlain,  3518, false, true},
    {1805, "Up Left",             853, 416,  12, 11, kButton, kPlain,  3519, false, true},
    {1806, "Up Right",            929, 416,  12, 11, kButton, kPlain,  3520, false, true},
    {1807, "Down Left",           853, 491,  12, 11, kButton, kPlain,  3521, false, true},
    {1808, "Down Right",          929, 491,  12, 11, kButton, kPlain,  3522, false, true},
    {1810, "Zoom Out",            887, 417,  19, 12, kButton, kPlain,  3524, false, true},
    {1809, "Zoom In",             887, 489,  19, 12, kButton, kPlain,  3523, false, true},
    {1841, "Foucs Near",          877, 340,   9, 19, kButton, kPlain,  3525, false, false},
    {1842, "Focus Far",           909, 340,   9, 19, kButton, kPlain,  3526, false, false},
    {1811, "Preset1",             813, 550,  28, 18, kButton, kPlain,  3544, false, false},
    {1812, "Preset2",             848, 550,  28, 18, kButton, kPlain,  3545, false, false},
    {1813, "Preset3",             883, 550,  28, 18, kButton, kPlain,  3546, false, false},
    {1814, "Preset4",             917, 550,  28, 18, kButton, kPlain,  3547, false, false},
    {1815, "Preset5",             952, 550,  28, 18, kButton, kPlain,  3548, false, false},
    {1816, "Preset6",             813, 572,  28, 18, kButton, kPlain,  3549, false, false},
    {1817, "Preset7",             848, 572,  28, 18, kButton, kPlain,  3550, false, false},
    {1818, "Preset8",             883, 572,  28, 18, kButton, kPlain,  3551, false, false},
    {1819, "Preset9",             917, 572,  28, 18, kButton, kPlain,  3552, false, false},
    {1820, "Preset10",            952, 572,  28, 18, kButton, kPlain,  3553, false, false},
    { 239, "",                     40,  25, 317, 25, kStatic, kPlain,     0, true,  false},
    { 240, "",                    813, 594, 167, 18, kStatic, kPlain,     0, true,  false},
};
// clang-format on

}  // namespace

std::span<const ControlRow> ControlTable() {
    return kTable;
}

const ControlRow* FindControlRow(int id) {
    const auto* row =
        std::find_if(std::begin(kTable), std::end(kTable), [id](const ControlRow& r) { return r.id == id; });
    return row != std::end(kTable) ? row : nullptr;
}

ConsoleControls::ConsoleControls() {
    for (const ControlRow& row : kTable) {
        m_states[row.id].shown = row.shown;
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
