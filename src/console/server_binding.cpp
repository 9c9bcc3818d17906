#include "console/server_binding.h"

#include <algorithm>
#include <utility>

#include "channel/base_camera.h"
#include "channel/channel_messages.h"
#include "console/fill_pattern.h"
#include "console/main_dlg.h"
#include "console/multi_server_list.h"
#include "persist/log_file.h"
#include "persist/orvo_registry.h"
#include "persist/string_table.h"
#include "server/capability_reader.h"
#include "server/kelvara_info.h"
#include "server/nvr_status.h"
#include "server/server_messages.h"
#include "skin/skin_messages.h"

namespace kvmon {

namespace {

constexpr int kPendingTimeMs = 30000;
constexpr std::uint32_t kRefusalsShown = 6;   // more refused logins than this are told to the user
constexpr std::uint32_t kFailuresShown = 11;  // more failures than this count as disconnected
constexpr std::string_view kLocalKey = "__Local_";

}  // namespace

// Two servers of one name do not share the key of their channels.
std::string ServerBinding::RegFolder(const CKelvaraInfo& info, int server) const {
    const std::string name = KeyFromName(info.GetServerName());
    bool bOwnName = !name.empty();
    for (int i = 0; i < server; ++i) {
        bOwnName = bOwnName && GetServer(i)->GetServerName() != info.GetServerName();
    }
    return bOwnName ? name : KeyFromName(ServerIdentity(Describe(info)));
}

void ServerBinding::OnUpdateSvrInfo(std::uint32_t code, int server) {
    if (!m_dlg.IsLoggedIn()) {
        return;  // a thread that lingers, or a message that came too late
    }
    switch (code) {
        case WM_UPDATEVSINFO_CAMERACONN:
            Trace("CMainDlg::OnUpdateSvrInfo: WM_UPDATEVSINFO_CAMERACONN...\n");
            OnCameraConnection(server);
            break;
        case SUPPORT_HDCHART:
            Trace("CMainDlg::OnUpdateSvrInfo: SUPPORT_HDCHART...\n");
            if (server == m_nShownServer) {
                m_dlg.Windows().OnDiskInfo(server);
            }
            break;
        case WM_UPDATEVSINFO_CAMERASTATUS:
            Trace("CMainDlg::OnUpdateSvrInfo: WM_UPDATEVSINFO_CAMERASTATUS...\n");
            CopyStatus(server);
            break;
        case WM_UPDATEVSINFO_SERVERINFO:
            Trace("CMainDlg::OnUpdateSvrInfo: WM_UPDATEVSINFO_SERVERINFO...\n");
            OnServerInfo(server);
            break;
        case WM_UPDATEVSINFO_CAPABILITIES:
            OnCapabilities(server);
            break;
        default:
            break;
    }
}

void ServerBinding::OnCapabilities(int server) {
    const CKelvaraInfo* const info = GetServer(server);
    for (int slot = 0; info != nullptr && slot < info->GetCameraCount(); ++slot) {
        if (const auto camera = GetServerCamera(server, slot)) {
            TakeCapabilities(*info, slot, *camera);
        }
    }
    m_dlg.PostMessage(WM_COMMAND, kCmdRefreshControls, 0);
}

void ServerBinding::TakeCapabilities(const CKelvaraInfo& info, int slot, CBaseCamera& camera) {
    const ChannelCapabilities capabilities = info.GetCapabilities(slot);
    std::vector<StreamProfile> profiles;
    for (const CStreamEntry& entry : capabilities.streams) {
        if (entry.IsValid()) {
            profiles.push_back({StreamFormatName(entry.m_nFormat), entry.m_nResolution, entry.m_nId});
        }
    }
    camera.SetStreamProfiles(std::move(profiles));
    camera.SetTalkCapability(static_cast<std::uint32_t>(capabilities.nAudioOut),
                             static_cast<std::uint32_t>(capabilities.nAudioOutType));
}

void ServerBinding::OnServerInfo(int server) {
    const CKelvaraInfo* const first = GetServer(0);
    m_dlg.SetKeyName(first != nullptr ? KeyFromName(first->GetServerName()) : std::string(kLocalKey));
    if (GetServer(server) != nullptr) {
        ShowRecorderOfActiveCell();
        NameRecordersInCaptions();
    }
}

void ServerBinding::ShowRecorderOfActiveCell() {
    if (!m_dlg.IsLoggedIn() || m_dlg.IsClosing()) {
        return;
    }
    const int channel = m_dlg.Cameras().FindChannel(m_dlg.View().Cells().GetActiveCamera().get());
    const int server = std::max(m_dlg.Cameras().Get(channel).server, 0);
    const CKelvaraInfo* const info = GetServer(server);
    if (info == nullptr || info->GetServerName().empty()) {
        return;  // it has told nothing yet
    }
    m_dlg.SetStaticText(kCtlServerName, Describe(*info).name);
    m_dlg.SetStaticText(kCtlServerModel, info->GetServerNameAndVersion());
    if (server != m_nShownServer) {
        m_nShownServer = server;
        m_dlg.PostMessage(WM_UPDATEVSINFO, SUPPORT_HDCHART, server);
    }
}

void ServerBinding::NameRecordersInCaptions() {
    const bool bNamed = m_dlg.Options().bShowRecorderName && GetServerCount() > 1;
    bool bChanged = false;
    for (int server = 0; server < GetServerCount(); ++server) {
        const CKelvaraInfo& info = *GetServer(server);
        const std::string name = bNamed ? Describe(info).name : std::string();
        for (int slot = 0; slot < info.GetCameraCount(); ++slot) {
            if (const auto camera = GetServerCamera(server, slot)) {
                bChanged = camera->SetRecorderName(name) || bChanged;
            }
        }
    }
    if (bChanged) {
        m_dlg.View().RepaintCaptions();
    }
}

void ServerBinding::OnSessionEnd() {
    m_dlg.KillTimer(kTimerPendingServers);
    m_nPendingMask = 0;
    m_bFurtherStopped = true;
    m_bStartFurther = m_bLoadFurther = false;
    m_nShownServer = -1;
    m_dlg.SetDefServerName(m_dlg.Site().GetDefServerName());
    m_dlg.SetStaticText(kCtlServerModel, {});
}

void ServerBinding::OnCameraConnection(int server) {
    const CKelvaraInfo* const info = GetServer(server);
    if (info == nullptr || !info->IsRunning()) {
        return;
    }
    CloseRefusal(info);
    if (!m_bInitialised) {
        m_dlg.LoadSettings();
        LoadVSInfo();
        m_bInitialised = true;
        OnFirstConnection();
    }
    if (m_nPendingMask != 0) {
        UpdateCameraTable(server);
        m_nPendingMask &= ~PendingBit(server);
        if (m_nPendingMask == 0) {
            BuildView();
        }
        return;
    }
    m_dlg.ShowWaitDialog(false);
    UpdateCamera(server);
    m_dlg.OnLogin();
    if (server == 0 && std::exchange(m_bLoadFurther, false)) {
        LoadVSInfo();
        m_nPendingMask = 0;  // the view stands: they join it as they come
    }
    if (server == 0 && std::exchange(m_bStartFurther, false)) {
        StartStoppedServers();
    }
}

void ServerBinding::OnFirstConnection() {
    if (m_nPendingMask != 0) {
        m_dlg.SetTimer(kTimerPendingServers, kPendingTimeMs);
    } else {
        // The cameras come before the view, so that a stored single view finds its camera in the combo.
        UpdateCameraTable(0);
        BuildView();
    }
}

void ServerBinding::BuildView() {
    m_dlg.KillTimer(kTimerPendingServers);
    m_dlg.ShowWaitDialog(false);
    m_dlg.View().CreateVideoWnd();
    m_dlg.OptionsDialogs().ApplyEventHighLight();
    m_dlg.View().UpdateChannelArray();
    m_dlg.View().LoadViewState(m_dlg.KeyName());
    m_dlg.Screens().LoadState(m_dlg.KeyName());
    m_dlg.FocusStyleButton();
    m_nPendingMask = 0;
    for (int i = 0; i < GetServerCount(); ++i) {
        CopyStatus(i);
    }
    NameRecordersInCaptions();
    m_dlg.OnLogin();
    m_dlg.PostMessage(WM_COMMAND, kCmdRefreshControls, 0);  // no camera may come that would ask for it
}

ServerBinding::Changes ServerBinding::UpdateCameraTable(int server) {
    Changes changes;
    CKelvaraInfo* const info = GetServer(server);
    if (info == nullptr || m_dlg.IsClosing()) {
        return changes;
    }
    const std::vector<CameraSettings> settings = info->GetAllCameraSettings();
    const int count = static_cast<int>(settings.size());
    for (int slot = count; slot < info->GetCameraCount(); ++slot) {
        RemoveCamera(server, slot);
        changes.count = changes.list = true;
    }
    info->SetCameraCount(count);
    for (int slot = 0; slot < count; ++slot) {
        UpdateCameraSlot(*info, server, slot, settings[static_cast<std::size_t>(slot)], changes);
    }
    m_dlg.Cameras().UpdateCameraList(m_dlg.Options().bShowNoMonitoringRight, m_dlg.Options().bShowNoConfig);
    // Their threads tell of themselves by the number that the list has given them now.
    for (const auto& camera : changes.started) {
        camera->StartCameraThreads();
    }
    return changes;
}

void ServerBinding::RemoveCameras(int server) {
    for (int slot = 0; slot < GetServer(server)->GetCameraCount(); ++slot) {
        RemoveCamera(server, slot);
    }
    GetServer(server)->SetCameraCount(0);
}

void ServerBinding::RemoveCamera(int server, int slot) {
    if (const auto camera = GetServerCamera(server, slot)) {
        camera->SaveCameraSettings();
        m_dlg.View().Cells().Detach(camera.get());
        StopAndRemoveCamera(server, slot);
    }
}

void ServerBinding::UpdateCameraSlot(CKelvaraInfo& info, int server, int slot, const CameraSettings& settings,
                                     Changes& changes) {
    const ConsoleOptions& options = m_dlg.Options();
    auto camera = GetServerCamera(server, slot);
    const bool bConfigured = info.GetStatus(slot, kStatusConfigured) != 0;
    if ((settings.m_bMonitorRight == 0 && !options.bShowNoMonitoringRight) ||
        (!bConfigured && !options.bShowNoConfig)) {
        if (camera) {
            RemoveCamera(server, slot);
            changes.count = changes.list = true;
        }
        return;
    }
    if (camera && !(*camera == settings)) {
        Trace("CMainDlg::UpdateCamera: Camera(%d) settings changed...\n", slot);
        RemoveCamera(server, slot);
        camera = nullptr;
        changes.count = true;
    }
    const bool bNew = !camera;
    if (bNew) {
        camera = CreateCamera(&settings);
        *camera = settings;
        camera->SetConsoleWnd(m_dlg.Handle());
        camera->SetRegFolder(RegFolder(info, server));
        camera->LoadCameraSettings();
        if (!info.SetCamera(slot, camera)) {
            Trace("CMainDlg::UpdateCamera: SetCamera failed...\n");
            return;
        }
        changes.started.push_back(camera);
        changes.list = changes.count = changes.status = true;
    }
    TakeCapabilities(info, slot, *camera);
    const std::string name = info.GetChannelName(slot);
    if (camera->GetCameraName() != name) {
        camera->SetCameraName(name);
        changes.name = true;
    }
    if (!bNew) {
        camera->Picture().SetMainOsdKelvaraString({});
    }
}

void ServerBinding::UpdateCamera(int server) {
    const Changes changes = UpdateCameraTable(server);
    ViewController& view = m_dlg.View();
    bool bRefresh = false;
    // However a list came about that was not there at the last count: the wall has room for what there is.
    const bool bRecount = changes.count || view.CountShowable() != view.GetShowableCount();
    if (bRecount) {
        view.UpdateChannelArray();
        bRefresh = true;
    }
    if (changes.list || bRecount) {
        bRefresh = view.OnCameraListChanged() || bRefresh;
    } else if (changes.name && view.GetStyle() == VIEW_STYLE_SINGLE_1CH) {
        view.InitPageComboBox(VIEW_STYLE_SINGLE_1CH);
        bRefresh = true;
    }
    if (bRefresh) {
        view.OnSelchangePage();
    }
    if (changes.status) {
        CopyStatus(server);
    }
    NameRecordersInCaptions();
    if (changes.name) {
        view.RepaintCaptions();
    }
}

void ServerBinding::CopyStatus(int server) {
    const CKelvaraInfo* const info = GetServer(server);
    if (info == nullptr) {
        return;
    }
    for (int slot = 0; slot < info->GetCameraCount(); ++slot) {
        const auto camera = GetServerCamera(server, slot);
        if (!camera) {
            continue;
        }
        const StatusWords words = info->GetStatusWords(slot);
        const auto word = [&words](std::uint32_t mask) { return StatusWord(words, mask); };
        camera->SetPtzEnabled(word(kStatusControlRight) != 0);
        const bool bManual = camera->SetManualRecording(word(kStatusManual) != 0);
        const bool bFlags = camera->SetStatusFlags(
            {word(kStatusConnected), word(kStatusRecording), word(kStatusEvent), word(kStatusMotion),
             word(kStatusSignalLoss), word(kStatusInput), word(kStatusAlarm)});
        if (bManual || bFlags) {
            camera->GetVideoWnd().Post(kMsgCaptionRefresh, 0, 0);
        }
    }
}

void ServerBinding::OnGetVSInfoFailed(std::uint32_t code, int server) {
    CKelvaraInfo* const info = GetServer(server);
    if (info == nullptr || !m_dlg.IsLoggedIn()) {
        return;
    }
    info->RaiseErrorCount();
    if (code == kFailedAuthorization) {
        if (info->GetErrorCount() > kRefusalsShown && !info->IsNoRightReported()) {
            OnAuthorizationFailed(*info, server);
        }
        return;
    }
    if (info->GetErrorCount() > kFailuresShown) {
        for (int slot = 0; slot < info->GetCameraCount(); ++slot) {
            if (const auto camera = GetServerCamera(server, slot)) {
                camera->Picture().SetMainOsdKelvaraString(LoadString(57397));
                if (camera->ForgetStatus()) {
                    camera->GetVideoWnd().Post(kMsgCaptionRefresh, 0, 0);
                }
            }
        }
    }
}

void ServerBinding::OnAuthorizationFailed(CKelvaraInfo& info, int server) {
    info.SetNoRightReported(true);
    info.StopGetKelvaraInfo(false, false);
    const std::string name = Describe(info).name;
    const auto text = [&](std::uint32_t id) {
        const std::string pattern = LoadString(id);
        return FillPattern(name.empty() ? WithoutName(pattern) : pattern,
                           {info.GetHost(), std::to_string(info.GetPort()), name});
    };
    if (server == 0) {
        m_dlg.ShowWaitDialog(false);
        for (int i = 0; i < GetServerCount(); ++i) {
            GetServer(i)->StopGetKelvaraInfo(false, false);
        }
        m_refusals[&info] = m_dlg.ShowMessage(text(5037), LoadString(5027));
        m_dlg.SignIn().OnRefused();
        m_dlg.OnBtnLogout();
        return;
    }
    // Its channels would ask for their streams with the refused login for ever.
    RemoveCameras(server);
    m_refusals[&info] = m_dlg.ShowMessage(text(5036), LoadString(5026));
    ShowChangedCameras();
}

// What it told is true no more.
void ServerBinding::CloseRefusal(const CKelvaraInfo* info) {
    const auto refusal = m_refusals.find(info);
    if (refusal == m_refusals.end()) {
        return;
    }
    if (refusal->second) {
        refusal->second->close();
    }
    m_refusals.erase(refusal);
}

void ServerBinding::OnBtnServerLis() {
    if (!m_dlg.IsLoggedIn()) {
        return;
    }
    for (int i = 0; i < GetServerCount(); ++i) {
        CKelvaraInfo* const pGetVSInfo = GetServer(i);
        if (pGetVSInfo->IsNoRightReported()) {
            continue;  // stopped until its entry or its password changes
        }
        if (i > 0) {
            pGetVSInfo->SetIdx(i);
        }
        Trace("CMainDlg::OnBtnServerLis: pGetVSInfo->GetIdx() = %d\n", pGetVSInfo->GetIdx());
        pGetVSInfo->SetNotifyWnd(m_dlg.Handle());
        pGetVSInfo->StartGetKelvaraInfo(false);
        m_dlg.PostMessage(WM_UPDATEVSINFO, WM_UPDATEVSINFO_CAMERACONN, i);
        m_dlg.PostMessage(WM_UPDATEVSINFO, WM_UPDATEVSINFO_CAMERASTATUS, i);
    }
}

void ServerBinding::SaveCameraSettings() {
    const COrvoRegistry::Batch together(Registry());
    for (int server = 0; server < GetServerCount(); ++server) {
        for (int slot = 0; slot < GetServer(server)->GetCameraCount(); ++slot) {
            if (const auto camera = GetServerCamera(server, slot)) {
                camera->SaveCameraSettings();
            }
        }
    }
}

}  // namespace kvmon
