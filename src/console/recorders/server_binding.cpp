#include "console/recorders/server_binding.h"

#include <algorithm>
#include <utility>

#include "channel/base/channel_messages.h"
#include "channel/camera/base_camera.h"
#include "console/events/event_center.h"
#include "console/ports/commands.h"
#include "console/ports/console_messages.h"
#include "console/ports/desk.h"
#include "console/ports/panel_buttons.h"
#include "console/ports/session_events.h"
#include "console/ports/timers.h"
#include "console/settings/console_settings.h"
#include "console/settings/fill_pattern.h"
#include "console/settings/multi_server_list.h"
#include "console/site/site_windows.h"
#include "console/wall/camera_list.h"
#include "console/wall/cell_pool.h"
#include "console/wall/screen_controller.h"
#include "console/wall/view_controller.h"
#include "persist/log_file.h"
#include "persist/orvo_registry.h"
#include "persist/string_table.h"
#include "platform/caught.h"
#include "server/documents/nvr_status.h"
#include "server/http/capability_reader.h"
#include "server/recorder_list.h"
#include "server/server_messages.h"
#include "skin/skin_messages.h"

namespace kvmon {

namespace {

constexpr int kPendingTimeMs = 30000;
constexpr std::uint32_t kRefusalsShown = 6;   // more refused logins than this are told to the user
constexpr std::uint32_t kFailuresShown = 11;  // more failures than this count as disconnected
constexpr std::string_view kLocalKey = "__Local_";

}  // namespace

void ServerBinding::OnUpdateSvrInfo(std::uint32_t code, int server) {
    if (!m_desk.IsLoggedIn()) {
        return;  // from a thread that lingers, or too late
    }
    try {
        TakeUpdate(code, server);
    } catch (...) {
        // Memory was short, say. The recorder tells nothing again by itself, and the wall would stay as it
        // is.
        if (code < kUpdateCodes && server >= 0 && server < kMaxServers) {
            m_missed[code] |= std::uint64_t{1} << server;
        }
        throw;
    }
}

void ServerBinding::RepeatMissed() {
    for (std::uint32_t code = 0; code < kUpdateCodes; ++code) {
        for (int server = 0; server < kMaxServers; ++server) {
            const std::uint64_t bit = std::uint64_t{1} << server;
            if ((m_missed[code] & bit) != 0) {
                m_commands.AskFor(code, server);
                m_missed[code] &= ~bit;  // not before: memory may be short still
            }
        }
    }
}

void ServerBinding::TakeUpdate(std::uint32_t code, int server) {
    switch (code) {
        case WM_UPDATEVSINFO_CAMERACONN:
            Trace("CMainDlg::OnUpdateSvrInfo: WM_UPDATEVSINFO_CAMERACONN...\n");
            OnCameraConnection(server);
            break;
        case SUPPORT_HDCHART:
            Trace("CMainDlg::OnUpdateSvrInfo: SUPPORT_HDCHART...\n");
            if (server == m_nShownServer) {
                m_windows.OnDiskInfo(server);
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

void ServerBinding::OnServerInfo(int server) {
    const CKelvaraInfo* const first = m_recorders.GetServer(0);
    m_settings.key = first != nullptr ? KeyFromName(first->GetServerName()) : std::string(kLocalKey);
    if (m_recorders.GetServer(server) != nullptr) {
        ShowRecorderOfActiveCell();
        NameRecordersInCaptions();
    }
}

void ServerBinding::ShowRecorderOfActiveCell() {
    if (!m_desk.IsLoggedIn() || m_desk.IsClosing()) {
        return;
    }
    const int channel = m_cameras.FindChannel(m_cells.GetActiveCamera().get());
    const int server = std::max(m_cameras.Get(channel).server, 0);
    const CKelvaraInfo* const info = m_recorders.GetServer(server);
    if (info == nullptr || info->GetServerName().empty()) {
        return;  // it has not answered yet
    }
    m_sessionEvents.ShowRecorder(Describe(*info).name, info->GetServerNameAndVersion());
    if (server != m_nShownServer) {
        m_nShownServer = server;
        m_commands.AskFor(SUPPORT_HDCHART, server);
    }
}

void ServerBinding::NameRecordersInCaptions() {
    const bool bNamed = m_settings.options.bShowRecorderName && m_recorders.GetServerCount() > 1;
    bool bChanged = false;
    for (int server = 0; server < m_recorders.GetServerCount(); ++server) {
        const CKelvaraInfo& info = *m_recorders.GetServer(server);
        const std::string name = bNamed ? Describe(info).name : std::string();
        for (int slot = 0; slot < info.GetCameraCount(); ++slot) {
            if (const auto camera = GetServerCamera(m_recorders, server, slot)) {
                bChanged = camera->SetRecorderName(name) || bChanged;
            }
        }
    }
    if (bChanged) {
        m_view.RepaintCaptions();
    }
}

void ServerBinding::OnSessionEnd() {
    m_timers.KillTimer(kTimerPendingServers);
    m_nPendingMask = 0;
    m_missed = {};
    m_bFurtherStopped = true;
    m_bStartFurther = m_bLoadFurther = false;
    m_nShownServer = -1;
    m_sessionEvents.ForgetRecorder();
}

void ServerBinding::OnCameraConnection(int server) {
    const CKelvaraInfo* const info = m_recorders.GetServer(server);
    if (info == nullptr || !info->IsRunning()) {
        return;
    }
    CloseRefusal(info);
    if (!m_bInitialised) {
        m_sessionEvents.OnFirstAnswer();
        LoadVSInfo();
        m_bInitialised = true;
        OnFirstConnection();
    } else if (!m_bViewBuilt && m_nPendingMask == 0) {
        OnFirstConnection();  // it did not come to its end
    }
    if (m_nPendingMask != 0) {
        UpdateCameraTable(server);
        m_nPendingMask &= ~PendingBit(server);
        if (m_nPendingMask == 0) {
            BuildView();
        }
        return;
    }
    m_desk.HideWait();
    UpdateCamera(server);
    m_sessionEvents.OnLoginChanged();
    if (server == 0 && std::exchange(m_bLoadFurther, false)) {
        LoadVSInfo();
        m_nPendingMask = 0;  // the view is there already: they join it as they come
    }
    if (server == 0 && std::exchange(m_bStartFurther, false)) {
        StartStoppedServers();
    }
}

void ServerBinding::OnFirstConnection() {
    if (m_nPendingMask != 0) {
        m_timers.SetTimer(kTimerPendingServers, kPendingTimeMs);
    } else {
        // The cameras come before the view, so that a stored single view finds its camera in the combo.
        UpdateCameraTable(0);
        BuildView();
    }
}

void ServerBinding::BuildView() {
    m_timers.KillTimer(kTimerPendingServers);
    m_desk.HideWait();
    m_view.CreateVideoWnd();
    m_cells.SetEventBlink(m_settings.options.bEventHighLight);
    m_view.UpdateChannelArray();
    m_view.LoadViewState(m_settings.ViewKey());
    m_screens.LoadState(m_settings.key);
    m_buttons.FocusStyle();
    m_nPendingMask = 0;
    for (int i = 0; i < m_recorders.GetServerCount(); ++i) {
        CopyStatus(i);
    }
    NameRecordersInCaptions();
    m_sessionEvents.OnLoginChanged();
    m_commands.RefreshControls();  // without a camera nobody else asks for it
    m_changes = {};                // the view has them all
    m_bViewBuilt = true;
}

void ServerBinding::OnGetVSInfoFailed(std::uint32_t code, int server) {
    CKelvaraInfo* const info = m_recorders.GetServer(server);
    if (info == nullptr || !m_desk.IsLoggedIn()) {
        return;
    }
    info->RaiseErrorCount();
    if (code == kFailedAuthorization) {
        if (info->GetErrorCount() > kRefusalsShown && !info->IsNoRightReported()) {
            OnAuthorizationFailed(*info, server);
        }
        return;
    }
    // Nobody knows how long that will be: the wall tells of it instead of a wait.
    if (server == 0 && m_cameras.GetCount() == 0 && !info->IsConnected()) {
        m_desk.HideWait();
    }
    // What failed before the recorder answered again may be told behind that, and would stay on show.
    if (info->GetErrorCount() > kFailuresShown && !info->IsConnected()) {
        for (int slot = 0; slot < info->GetCameraCount(); ++slot) {
            if (const auto camera = GetServerCamera(m_recorders, server, slot)) {
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
    info.StopGetKelvaraInfo(StopWait::Brief);
    const std::string name = Describe(info).name;
    const auto text = [&](std::uint32_t id) {
        const std::string pattern = LoadString(id);
        return FillPattern(name.empty() ? WithoutName(pattern) : pattern,
                           {info.GetHost(), std::to_string(info.GetPort()), name});
    };
    if (server == 0) {
        m_desk.HideWait();
        for (int i = 0; i < m_recorders.GetServerCount(); ++i) {
            m_recorders.GetServer(i)->StopGetKelvaraInfo(StopWait::Brief);
        }
        m_refusals[&info] = m_desk.ShowMessage(text(5037), LoadString(5027));
        m_sessionEvents.OnRefused();
        return;
    }
    // Otherwise its channels would go on asking for streams with the refused login.
    RemoveCameras(server);
    m_refusals[&info] = m_desk.ShowMessage(text(5036), LoadString(5026));
    ShowChangedCameras();
}

// What it told before does not count any more.
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

void ServerBinding::KeepThreads() {
    // Where there is no place for a thread there may be no memory for it either.
    TryStep("CMainDlg::KeepThreads", [this] {
        RepeatMissed();
        if (m_bViewBuilt && m_view.FillEmptySlots()) {
            m_cells.SetEventBlink(m_settings.options.bEventHighLight);
        }
        for (int server = 0; server < m_recorders.GetServerCount(); ++server) {
            CKelvaraInfo& info = *m_recorders.GetServer(server);
            info.KeepThreads();
            for (int slot = 0; slot < info.GetCameraCount(); ++slot) {
                if (const auto camera = GetServerCamera(m_recorders, server, slot)) {
                    camera->KeepThreads();
                }
            }
        }
    });
}

void ServerBinding::OnBtnServerLis() {
    if (!m_desk.IsLoggedIn()) {
        return;
    }
    for (int i = 0; i < m_recorders.GetServerCount(); ++i) {
        CKelvaraInfo* const pGetVSInfo = m_recorders.GetServer(i);
        if (pGetVSInfo->IsNoRightReported()) {
            continue;  // stopped until its entry or its password changes
        }
        if (i > 0) {
            pGetVSInfo->SetIdx(i);
        }
        Trace("CMainDlg::OnBtnServerLis: pGetVSInfo->GetIdx() = %d\n", pGetVSInfo->GetIdx());
        pGetVSInfo->SetNotifyWnd(m_desk.Handle());
        pGetVSInfo->StartGetKelvaraInfo(StartMode::GoOn);
        m_commands.AskFor(WM_UPDATEVSINFO_CAMERACONN, i);
        m_commands.AskFor(WM_UPDATEVSINFO_CAMERASTATUS, i);
    }
}

}  // namespace kvmon
