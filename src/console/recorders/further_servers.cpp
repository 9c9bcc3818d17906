// The recorders besides the first one: from the stored list, and by the user's changes to it.
#include <algorithm>

#include "channel/camera/base_camera.h"
#include "console/events/event_center.h"
#include "console/ports/commands.h"
#include "console/ports/console_messages.h"
#include "console/ports/desk.h"
#include "console/ports/session_events.h"
#include "console/recorders/server_binding.h"
#include "console/settings/console_settings.h"
#include "console/settings/multi_server_list.h"
#include "console/wall/camera_list.h"
#include "console/wall/cell_pool.h"
#include "console/wall/view_controller.h"
#include "persist/log_file.h"
#include "persist/orvo_registry.h"
#include "server/recorder_list.h"
#include "server/server_messages.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kMaxStoredChannels = 128;

}  // namespace

SavedServer ServerBinding::Describe(const CKelvaraInfo& info) const {
    SavedServer server{info.GetServerName(), info.GetHost(),
                       info.GetPort(),       info.GetUser(),
                       info.GetPassword(),   static_cast<std::uint32_t>(info.GetChannelCount())};
    const auto given = m_givenNames.find(ServerIdentity(server));
    if (given != m_givenNames.end()) {
        server.name = given->second;
        server.nameGiven = true;
    }
    return server;
}

std::vector<SavedServer> ServerBinding::DescribeServers() const {
    std::vector<SavedServer> servers;
    servers.reserve(static_cast<std::size_t>(m_recorders.GetServerCount()));
    for (int i = 0; i < m_recorders.GetServerCount(); ++i) {
        servers.push_back(Describe(*m_recorders.GetServer(i)));
    }
    return servers;
}

bool ServerBinding::IsListed(const SavedServer& saved) const {
    const auto servers = DescribeServers();
    return std::any_of(servers.begin(), servers.end(),
                       [&](const SavedServer& server) { return IsSameLogin(server, saved); });
}

CKelvaraInfo* ServerBinding::StartServer(const SavedServer& saved) {
    if (m_recorders.GetServerCount() >= kMaxServers) {
        return nullptr;
    }
    CKelvaraInfo* const info =
        m_recorders.GetServer(m_recorders.AddServer(saved.address, saved.port, saved.user, saved.password));
    if (info == nullptr) {
        return nullptr;
    }
    info->SetNotifyWnd(m_desk.Handle());
    info->StartGetKelvaraInfo(StartMode::GoOn);
    if (!saved.name.empty()) {
        info->SetServerName(saved.name);
    }
    if (saved.nameGiven) {
        m_givenNames[ServerIdentity(saved)] = saved.name;
    }
    if (saved.channelCount != 0) {
        info->SetChannelCount(static_cast<int>(std::min(saved.channelCount, kMaxStoredChannels)));
    }
    return info;
}

void ServerBinding::LoadVSInfo() {
    const CKelvaraInfo* const first = m_recorders.GetServer(0);
    if (first == nullptr) {
        return;
    }
    m_strListOwner = ServerIdentity(Describe(*first));
    for (const SavedServer& saved : LoadServerList(Registry(), m_strListOwner)) {
        m_bListHeld = true;
        if (IsListed(saved)) {
            continue;
        }
        if (const CKelvaraInfo* const info = StartServer(saved)) {
            const int idx = info->GetIdx();
            m_nPendingMask |= PendingBit(idx);
            Trace("CMainDlg::LoadVSInfo: idx=%d, uCameraCount=%u\n", idx, saved.channelCount);
        }
    }
}

void ServerBinding::OnAutoLogin(const std::string& user) {
    if (!m_bInitialised) {
        return;
    }
    const CKelvaraInfo& first = *m_recorders.GetServer(0);
    SavedServer owner{{}, first.GetHost(), first.GetPort(), user, {}, 0};
    if (ServerIdentity(owner) == m_strListOwner) {
        m_bStartFurther = m_bFurtherStopped;
        return;
    }
    while (m_recorders.GetServerCount() > 1) {
        DropServer(m_recorders.GetServerCount() - 1);
    }
    m_givenNames.clear();
    m_bListHeld = false;
    m_bLoadFurther = true;
}

void ServerBinding::StartStoppedServers() {
    m_bFurtherStopped = false;
    for (int i = 1; i < m_recorders.GetServerCount(); ++i) {
        CKelvaraInfo* const info = m_recorders.GetServer(i);
        if (!info->IsNoRightReported()) {
            // The start clears what is known of it, but the wall keeps room for its channels.
            const int channels = info->GetChannelCount();
            info->SetNotifyWnd(m_desk.Handle());
            info->StartGetKelvaraInfo(StartMode::Anew);
            info->SetChannelCount(channels);
        }
    }
}

void ServerBinding::SaveMultiServerInfo() {
    // A list that was never read, or is another user's, must not be overwritten, nor that of the first wall.
    if (!m_settings.IsFirstWall() || !m_bInitialised || m_bLoadFurther ||
        (m_recorders.GetServerCount() < 2 && !m_bListHeld)) {
        return;
    }
    SaveServerList(Registry(), m_settings.key, DescribeServers());
}

void ServerBinding::RemoveServersBut(const std::vector<SavedServer>& kept) {
    for (int i = m_recorders.GetServerCount() - 1; i > 0; --i) {
        const SavedServer server = Describe(*m_recorders.GetServer(i));
        const bool bStays = std::any_of(kept.begin(), kept.end(), [&](const SavedServer& other) {
            return IsSameLogin(other, server) && other.password == server.password;
        });
        if (bStays) {
            continue;
        }
        m_givenNames.erase(ServerIdentity(server));
        DropServer(i);
        if (m_settings.IsFirstWall()) {
            ForgetServer(Registry(), server);
        }
    }
}

void ServerBinding::DropServer(int server) {
    RemoveCameras(server);
    m_recorders.RemoveServer(server);
}

void ServerBinding::ChangeServers(const std::vector<SavedServer>& further) {
    if (!m_bInitialised || !m_desk.IsLoggedIn() || m_desk.IsClosing()) {
        return;
    }
    m_bListHeld = true;
    if (m_nPendingMask != 0) {
        BuildView();  // the mask goes by places in the list, which change now
    }
    RemoveServersBut(further);
    for (const SavedServer& server : further) {
        if (!IsListed(server)) {
            StartServer(server);
        } else if (server.nameGiven) {
            m_givenNames[ServerIdentity(server)] = server.name;
        } else {
            m_givenNames.erase(ServerIdentity(server));
        }
    }
    SaveMultiServerInfo();
    ShowChangedServers();
}

void ServerBinding::FollowStoredList() {
    if (!m_bInitialised || !m_desk.IsLoggedIn()) {
        return;
    }
    std::vector<SavedServer> further = LoadServerList(Registry(), m_strListOwner);
    const SavedServer first = Describe(*m_recorders.GetServer(0));
    std::erase_if(further, [&first](const SavedServer& each) { return IsSameLogin(each, first); });
    ChangeServers(further);
}

void ServerBinding::ShowChangedCameras() {
    m_cameras.UpdateCameraList(m_settings.options);
    ViewController& view = m_view;
    view.UpdateChannelArray();
    view.OnCameraListChanged();
    view.OnSelchangePage();
    NameRecordersInCaptions();
}

void ServerBinding::ShowChangedServers() {
    ShowChangedCameras();
    m_nShownServer = -1;
    OnServerInfo(0);
    m_events.OnServersChanged();
    // Messages that are on their way may name the old places.
    for (int i = 0; i < m_recorders.GetServerCount(); ++i) {
        m_commands.AskFor(WM_UPDATEVSINFO_CAMERACONN, i);
        m_commands.AskFor(WM_UPDATEVSINFO_CAMERASTATUS, i);
    }
}

}  // namespace kvmon
