#include "channel/cell/camera_menu.h"

#include "channel/base/cam_commands.h"
#include "persist/string_table.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStrPtz = 6000;
constexpr std::uint32_t kStrPreset = 6001;

constexpr struct {
    std::uint32_t command;
    std::uint32_t text;
    bool (*exists)(const CameraInfo&);
} kEntries[] = {
    {kCmdHome, 3527, [](const CameraInfo& info) { return info.bHome; }},
    {kCmdUp, 3515, [](const CameraInfo& info) { return info.IsPanAndTiltable(); }},
    {kCmdDown, 3516, [](const CameraInfo& info) { return info.IsPanAndTiltable(); }},
    {kCmdLeft, 3517, [](const CameraInfo& info) { return info.IsPanAndTiltable(); }},
    {kCmdRight, 3518, [](const CameraInfo& info) { return info.IsPanAndTiltable(); }},
    {kCmdZoomIn, 3523, [](const CameraInfo& info) { return info.bZoomable; }},
    {kCmdZoomOut, 3524, [](const CameraInfo& info) { return info.bZoomable; }},
    {kCmdFocusNear, 3525, [](const CameraInfo& info) { return info.bFocusable; }},
    {kCmdFocusFar, 3526, [](const CameraInfo& info) { return info.bFocusable; }},
};

}  // namespace

void BuildCameraMenu(BCMenu& menu, const CameraInfo& info) {
    if (info.bHome || info.IsPanAndTiltable() || info.bZoomable || info.bFocusable) {
        if (!menu.isEmpty()) {
            menu.AppendMenu(MF_SEPARATOR, 0, {});
        }
        BCMenu* const moves = menu.AppendPopup(LoadString(kStrPtz));
        for (const auto& entry : kEntries) {
            if (entry.exists(info)) {
                moves->AppendMenu(0, static_cast<int>(entry.command), LoadString(entry.text));
            }
        }
    }
    if (!info.HasPresets()) {
        return;
    }
    BCMenu* const presets = menu.AppendPopup(LoadString(kStrPreset));
    for (std::uint32_t i = 0; i < kPresetCount; ++i) {
        if ((info.dwPresetMask >> i & 1) != 0) {
            const std::string& name = info.presetNames[i];
            presets->AppendMenu(0, static_cast<int>(kCmdPresetFirst + i),
                                name.empty() ? LoadString(kTextFirstPreset + i) : name);
        }
    }
}

}  // namespace kvmon
