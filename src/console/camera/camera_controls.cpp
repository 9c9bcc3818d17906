#include "console/camera/camera_controls.h"

#include "channel/base/cam_commands.h"
#include "channel/camera/base_camera.h"
#include "console/camera/cell_menu.h"
#include "console/camera/record_command.h"
#include "console/panel/console_controls.h"
#include "console/ports/commands.h"
#include "console/sound/audio_panel.h"
#include "console/wall/active_camera.h"
#include "console/wall/menu_spot.h"
#include "persist/string_table.h"
#include "server/documents/nvr_status.h"
#include "server/recorder_list.h"
#include "skin/bc_menu.h"

namespace kvmon {

namespace {

bool HasCameraPage(const CKelvaraInfo& server, int slot) {
    CameraSettings settings;
    return server.GetCameraSetting(slot, &settings) && settings.m_NetworkSetting[0].HasAddress();
}

}  // namespace

ActiveCameraFacts CameraControls::Facts() const {
    ActiveCameraFacts facts;
    for (int n = 0; n < m_cameras.GetCount() && !facts.bSoundSource; ++n) {
        const auto camera = m_cameras.GetCameraByChannel(n);
        facts.bSoundSource = camera && camera->IsSupportAudio() && camera->IsStreamRunning();
    }
    // The question loads the library of sound.
    facts.bSoundOutput = facts.bSoundSource && m_audio.HasOutput();
    facts.bWindow = m_active.Cell() != nullptr;
    const auto camera = m_active.Camera();
    if (!camera) {
        return facts;
    }
    const int slot = m_active.Entry().camera;
    const CKelvaraInfo* const server = m_active.Server();
    facts.info = camera->GetAbilities();
    facts.bDigitalZoom = camera->IsDigitalZoom();
    facts.bConnected = camera->IsStreamRunning();
    facts.bCanTalk = camera->CanTalk();
    facts.bSnapshotRight = camera->HasMonitorRight();
    facts.bRecordRight = server != nullptr && server->GetStatus(slot, kStatusControlRight) != 0;
    facts.bRecording = m_record.IsRecording(camera);
    facts.bMonitorable = camera->IsCameraUsable() && m_cameras.IsConfigured(m_active.Channel());
    facts.bHomePage = server != nullptr && HasCameraPage(*server, slot);
    return facts;
}

void CameraControls::Refresh() {
    ShowCameraControls(Facts(), m_controls);
}

// With "&" doubled, as menus need it.
std::string CameraControls::PresetName(int id) const {
    const auto index = static_cast<std::size_t>(id) - kCmdPresetFirst;
    const auto camera = m_active.Camera();
    const CameraInfo info = camera ? camera->GetCameraInfo() : CameraInfo{};
    return index < info.presetNames.size() && !info.presetNames[index].empty()
               ? info.presetNames[index]
               : LoadString(kTextFirstPreset + static_cast<std::uint32_t>(index));
}

void CameraControls::OnBtnPresetMenu() {
    const auto camera = m_active.Camera();
    if (!camera || !camera->GetCameraInfo().HasPresets()) {
        return;
    }
    const std::uint32_t mask = camera->GetCameraInfo().dwPresetMask;
    const MenuSpot spot = m_spots.Find(kCtlPresetMenu);
    auto* const menu = new BCMenu(spot.owner);
    for (std::size_t i = 0; i < kPresetCount; ++i) {
        const int id = static_cast<int>(kCmdPresetFirst + i);
        if ((mask >> i & 1) != 0) {
            menu->AppendMenu(0, id, PresetName(id));
        }
    }
    menu->AppendMenu(MF_SEPARATOR, 0, {});
    menu->AppendMenu(0, kCmdPresetDialog, LoadString(kCmdPresetDialog));
    menu->TrackPopupMenu(spot.below, {}, [this](int id) {
        if (id != 0) {
            m_commands.Press(id);
        }
    });
}

std::string CameraControls::TipText(int id, const std::string& text) const {
    const bool bPressed = m_controls.IsPressed(id);
    if (id == kCtlRecord) {
        return LoadString(bPressed ? 3529 : 3528);
    }
    if (id == kCtlAudio) {
        return LoadString(bPressed ? 3531 : 3530);
    }
    if (id < static_cast<int>(kCmdPresetFirst) || id > static_cast<int>(kCmdPresetLast)) {
        return text;
    }
    std::string name = PresetName(id);
    for (std::size_t at = name.find("&&"); at != std::string::npos; at = name.find("&&", at + 1)) {
        name.erase(at, 1);
    }
    return name;
}

}  // namespace kvmon
