#include "console/camera_controls.h"

#include <utility>

#include "channel/base_camera.h"
#include "channel/ptz_request.h"
#include "channel/video_wnd.h"
#include "console/cell_menu.h"
#include "console/main_dlg.h"
#include "console/menu_spot.h"
#include "persist/log_file.h"
#include "persist/string_table.h"
#include "server/kelvara_info.h"
#include "server/nvr_status.h"
#include "skin/bc_menu.h"

namespace kvmon {

namespace {

constexpr int kRecordingWaitMs = 3000;
constexpr std::uint32_t kFirstPresetText = 3544;

// The status word that says that the recorder writes the channel by hand.
constexpr std::size_t kRecordingFlag = 0;

bool HasCameraPage(const CKelvaraInfo& server, int slot) {
    CameraSettings settings;
    return server.GetCameraSetting(slot, &settings) && settings.m_NetworkSetting[0].HasAddress();
}

}  // namespace

ActiveCameraFacts CameraControls::Facts() const {
    ActiveCameraFacts facts;
    const CameraList& cameras = m_dlg.Cameras();
    for (int n = 0; n < cameras.GetCount() && !facts.bSoundSource; ++n) {
        const auto camera = cameras.GetCameraByChannel(n);
        facts.bSoundSource = camera && camera->IsSupportAudio() && camera->IsStreamRunning();
    }
    facts.bSoundOutput = m_dlg.Audio().HasOutput();
    facts.bWindow = m_dlg.View().Cells().GetActive() != nullptr;
    const auto camera = m_dlg.View().Cells().GetActiveCamera();
    if (!camera) {
        return facts;
    }
    const int channel = cameras.FindChannel(camera.get());
    const CameraList::Entry entry = cameras.Get(channel);
    const CKelvaraInfo* const server = GetServer(entry.server);
    facts.info = camera->GetAbilities();
    facts.bDigitalZoom = camera->IsDigitalZoom();
    facts.bConnected = camera->IsStreamRunning();
    facts.bCanTalk = camera->CanTalk();
    facts.bSnapshotRight = camera->HasMonitorRight();
    facts.bRecordRight = server != nullptr && server->GetStatus(entry.camera, kStatusControlRight) != 0;
    facts.bRecording = camera->GetStatusFlags()[kRecordingFlag] != 0;
    facts.bMonitorable = camera->IsCameraUsable() && cameras.IsConfigured(channel);
    facts.bHomePage = server != nullptr && HasCameraPage(*server, entry.camera);
    return facts;
}

void CameraControls::Refresh() {
    ShowCameraControls(Facts(), m_dlg.Controls());
}

void CameraControls::NoteRecordPress() {
    m_wantsRecording = m_dlg.Controls().IsPressed(kCtlRecord);
}

void CameraControls::OnBtnManualRecording() {
    const bool bOn = std::exchange(m_wantsRecording, {}).value_or(m_dlg.Controls().IsPressed(kCtlRecord));
    const auto camera = m_dlg.View().Cells().GetActiveCamera();
    if (!camera) {
        return;
    }
    camera->AddCamCmd(kCmdManualRecording, bOn ? 1 : 0);
    m_dlg.Busy().SetBusy(true);
    m_dlg.SetTimer(kTimerManualRecording, kRecordingWaitMs);
    m_dlg.RefreshCursor();
}

void CameraControls::OnRecordingWaitEnd() {
    m_dlg.KillTimer(kTimerManualRecording);
    m_dlg.Busy().SetBusy(false);
    m_dlg.RefreshCursor();
    Trace("End of IDT_EVENT_MANUALRECOREADING_WAITTING...\n");
}

// As a menu takes it.
std::string CameraControls::PresetName(int id) const {
    const auto index = static_cast<std::size_t>(id) - kCmdPresetFirst;
    const auto camera = m_dlg.View().Cells().GetActiveCamera();
    const CameraInfo info = camera ? camera->GetCameraInfo() : CameraInfo{};
    return index < info.presetNames.size() && !info.presetNames[index].empty()
               ? info.presetNames[index]
               : LoadString(kFirstPresetText + static_cast<std::uint32_t>(index));
}

void CameraControls::OnBtnPresetMenu() {
    const auto camera = m_dlg.View().Cells().GetActiveCamera();
    if (m_dlg.GetButton(kCtlPresetMenu) == nullptr || !camera || !camera->GetCameraInfo().HasPresets()) {
        return;
    }
    const std::uint32_t mask = camera->GetCameraInfo().dwPresetMask;
    const MenuSpot spot = SpotForMenu(m_dlg, kCtlPresetMenu);
    auto* const menu = new BCMenu(spot.owner);
    for (std::size_t i = 0; i < kPresetCount; ++i) {
        const int id = static_cast<int>(kCmdPresetFirst + i);
        if ((mask >> i & 1) != 0) {
            menu->AppendMenu(0, id, PresetName(id));
        }
    }
    menu->AppendMenu(MF_SEPARATOR, 0, {});
    menu->AppendMenu(0, kCmdPresetDialog, LoadString(kCmdPresetDialog));
    menu->TrackPopupMenu(spot.at, {}, [this](int id) {
        if (id != 0) {
            m_dlg.PressButton(id);
        }
    });
}

std::string CameraControls::TipText(int id, const std::string& text) const {
    const bool bPressed = m_dlg.Controls().IsPressed(id);
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
