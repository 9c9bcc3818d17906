// The cameras of a recorder, as it tells of them.
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
#include "console/recorders/server_binding.h"
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
#include "platform/clock.h"
#include "server/documents/nvr_status.h"
#include "server/http/capability_reader.h"
#include "server/recorder_list.h"
#include "server/server_messages.h"

namespace kvmon {

void ServerBinding::OnCapabilities(int server) {
    const CKelvaraInfo* const info = m_recorders.GetServer(server);
    for (int slot = 0; info != nullptr && slot < info->GetCameraCount(); ++slot) {
        if (const auto camera = GetServerCamera(m_recorders, server, slot)) {
            TakeCapabilities(*info, slot, *camera);
        }
    }
    m_commands.RefreshControls();
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

void ServerBinding::UpdateCameraTable(int server) {
    CKelvaraInfo* const info = m_recorders.GetServer(server);
    if (info == nullptr || m_desk.IsClosing()) {
        return;
    }
    const std::vector<CameraSettings> settings = info->GetAllCameraSettings();
    const int count = static_cast<int>(settings.size());
    for (int slot = count; slot < info->GetCameraCount(); ++slot) {
        RemoveCamera(server, slot);
        m_changes.count = m_changes.list = true;
    }
    info->SetCameraCount(count);
    for (int slot = 0; slot < count; ++slot) {
        UpdateCameraSlot(*info, server, slot, settings[static_cast<std::size_t>(slot)]);
    }
    m_cameras.UpdateCameraList(m_settings.options);
    // After the list has numbered them: their threads report by that number.
    while (!m_changes.started.empty()) {
        m_changes.started.front()->StartCameraThreads();
        m_changes.started.erase(m_changes.started.begin());
    }
}

void ServerBinding::RemoveCameras(int server) {
    for (int slot = 0; slot < m_recorders.GetServer(server)->GetCameraCount(); ++slot) {
        RemoveCamera(server, slot);
    }
    m_recorders.GetServer(server)->SetCameraCount(0);
}

void ServerBinding::RemoveCamera(int server, int slot) {
    if (const auto camera = GetServerCamera(m_recorders, server, slot)) {
        std::erase(m_changes.started, camera);
        camera->SaveCameraSettings();
        m_cells.Detach(camera.get());
        m_recorders.StopAndRemoveCamera(server, slot);
    }
}

void ServerBinding::UpdateCameraSlot(CKelvaraInfo& info, int server, int slot,
                                     const CameraSettings& settings) {
    const ConsoleOptions& options = m_settings.options;
    auto camera = GetServerCamera(m_recorders, server, slot);
    const bool bConfigured = info.GetStatus(slot, kStatusConfigured) != 0;
    if ((settings.m_bMonitorRight == 0 && !options.bShowNoMonitoringRight) ||
        (!bConfigured && !options.bShowNoConfig)) {
        if (camera) {
            RemoveCamera(server, slot);
            m_changes.count = m_changes.list = true;
        }
        return;
    }
    if (camera && !(*camera == settings)) {
        Trace("CMainDlg::UpdateCamera: Camera(%d) settings changed...\n", slot);
        RemoveCamera(server, slot);
        camera = nullptr;
        m_changes.count = true;
    }
    const bool bNew = !camera;
    if (bNew) {
        camera = CreateCamera(&settings, SystemClock(), m_frameBudget);
        *camera = settings;
        camera->SetConsoleWnd(m_desk.Handle());
        camera->SetRegFolder(RegFolder(info, server));
        camera->LoadCameraSettings();
        m_changes.started.push_back(camera);
        if (!info.SetCamera(slot, camera)) {
            Trace("CMainDlg::UpdateCamera: SetCamera failed...\n");
            m_changes.started.pop_back();
            return;
        }
        m_changes.list = m_changes.count = m_changes.status = true;
    }
    TakeCapabilities(info, slot, *camera);
    const std::string name = info.GetChannelName(slot);
    if (camera->GetCameraName() != name) {
        camera->SetCameraName(name);
        m_changes.name = true;
    }
    if (!bNew) {
        camera->Picture().SetMainOsdKelvaraString({});
    }
}

void ServerBinding::UpdateCamera(int server) {
    UpdateCameraTable(server);
    const Changes& changes = m_changes;
    ViewController& view = m_view;
    bool bRefresh = false;
    // The list has changed since the wall was built, for whatever reason: the wall must have room for it.
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
    m_changes = {};
}

void ServerBinding::CopyStatus(int server) {
    const CKelvaraInfo* const info = m_recorders.GetServer(server);
    if (info == nullptr) {
        return;
    }
    for (int slot = 0; slot < info->GetCameraCount(); ++slot) {
        const auto camera = GetServerCamera(m_recorders, server, slot);
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

void ServerBinding::SaveCameraSettings() {
    const COrvoRegistry::Batch together(Registry());
    for (int server = 0; server < m_recorders.GetServerCount(); ++server) {
        for (int slot = 0; slot < m_recorders.GetServer(server)->GetCameraCount(); ++slot) {
            if (const auto camera = GetServerCamera(m_recorders, server, slot)) {
                camera->SaveCameraSettings();
            }
        }
    }
}

// Two servers of the same name must not share the key of their channels.
std::string ServerBinding::RegFolder(const CKelvaraInfo& info, int server) const {
    const std::string name = KeyFromName(info.GetServerName());
    bool bOwnName = !name.empty();
    for (int i = 0; i < server; ++i) {
        bOwnName = bOwnName && m_recorders.GetServer(i)->GetServerName() != info.GetServerName();
    }
    return bOwnName ? name : KeyFromName(ServerIdentity(Describe(info)));
}

}  // namespace kvmon
