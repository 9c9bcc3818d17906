#include "console/camera_controls.h"

#include "channel/base_camera.h"
#include "channel/cam_commands.h"
#include "channel/video_wnd.h"
#include "console/cell_menu.h"
#include "console/main_dlg.h"
#include "console/menu_spot.h"
#include "persist/log_file.h"
#include "persist/string_table.h"
#include "server/nvr_status.h"
#include "server/recorder_list.h"
#include "skin/bc_menu.h"

namespace kvmon {

namespace {

constexpr int kRecordingWaitMs = 3000;
constexpr std::uint32_t kFirstPresetText = 3544;

// As the recorder tells it: not every one tells recordings by hand apart.
bool IsRecording(const CBaseCamera& camera) {
    return Has(camera.GetStatusFlags(), StatusFlag::Recording) || camera.IsManualRecording();
}

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
    const CKelvaraInfo* const server = m_dlg.Recorders().GetServer(entry.server);
    facts.info = camera->GetAbilities();
    facts.bDigitalZoom = camera->IsDigitalZoom();
    facts.bConnected = camera->IsStreamRunning();
    facts.bCanTalk = camera->CanTalk();
    facts.bSnapshotRight = camera->HasMonitorRight();
    facts.bRecordRight = server != nullptr && server->GetStatus(entry.camera, kStatusControlRight) != 0;
    const RecordingOrder* const order = OrderFor(camera);
    facts.bRecording = order != nullptr ? order->bOn : IsRecording(*camera);
    facts.bMonitorable = camera->IsCameraUsable() && cameras.IsConfigured(channel);
    facts.bHomePage = server != nullptr && HasCameraPage(*server, entry.camera);
    return facts;
}

void CameraControls::Refresh() {
    ShowCameraControls(Facts(), m_dlg.Controls());
}

const CameraControls::RecordingOrder* CameraControls::OrderFor(
    const std::shared_ptr<CBaseCamera>& camera) const {
    return m_order && camera && m_order->camera.lock() == camera ? &*m_order : nullptr;
}

// The press has turned the button's look, which says nothing: the recorder's word counts, and before that an
// order which it has accepted.
void CameraControls::OnBtnManualRecording() {
    const auto camera = m_dlg.View().Cells().GetActiveCamera();
    if (!camera) {
        Refresh();
        return;
    }
    const RecordingOrder* const order = OrderFor(camera);
    const bool bRecords = order != nullptr && order->bAccepted ? order->bOn : IsRecording(*camera);
    m_order = RecordingOrder{camera, !bRecords, false};
    camera->AddCamCmd(kCmdManualRecording, bRecords ? 0 : 1);
    Refresh();
    m_dlg.Busy().SetBusy(true);
    m_dlg.SetTimer(kTimerManualRecording, kRecordingWaitMs);
    m_dlg.RefreshCursor();
}

void CameraControls::OnRecordingResult(bool bAccepted, int cell) {
    const CVideoWnd* const window = m_dlg.View().Cells().Get(cell);
    if (window == nullptr || OrderFor(window->GetCamera()) == nullptr) {
        return;
    }
    if (bAccepted) {
        m_order->bAccepted = true;
        return;
    }
    m_order.reset();
    Refresh();
}

void CameraControls::OnRecordingWaitEnd() {
    m_dlg.KillTimer(kTimerManualRecording);
    m_order.reset();
    Refresh();
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
