#include "server/recorder_list.h"

#include <new>

#include "persist/log_file.h"

namespace kvmon {

int RecorderList::AddServer(const std::string& host, std::uint32_t nPort, const std::string& user,
                            const std::string& password) {
    const int index = GetServerCount();
    try {
        auto server = std::make_unique<CKelvaraInfo>(m_clock);
        server->SetConnectInfo(index, host, nPort, user, password);
        m_servers.push_back(std::move(server));
    } catch (const std::bad_alloc&) {
        return -1;
    }
    return index;
}

int RecorderList::FindServer(const std::string& host, std::uint32_t nPort) const {
    for (std::size_t i = 0; i < m_servers.size(); ++i) {
        if (m_servers[i]->GetPort() == nPort && m_servers[i]->GetHost() == host) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

CKelvaraInfo* RecorderList::GetServer(int nIdx) const {
    const bool inRange = nIdx >= 0 && nIdx < GetServerCount();
    return inRange ? m_servers[static_cast<std::size_t>(nIdx)].get() : nullptr;
}

void RecorderList::ParkServer(std::unique_ptr<CKelvaraInfo> pServer) {
    m_removedServers.push_back(std::move(pServer));
}

void RecorderList::RemoveServer(int nIdx) {
    CKelvaraInfo* const server = GetServer(nIdx);
    if (server == nullptr) {
        return;
    }
    for (int i = 0; i < server->GetCameraCount(); ++i) {
        StopAndRemoveCamera(nIdx, i);
    }
    server->SetCameraCount(0);
    server->SetNotifyWnd({});
    server->StopGetKelvaraInfo(StopWait::Brief);
    const auto place = m_servers.begin() + nIdx;
    ParkServer(std::move(*place));
    m_servers.erase(place);
    for (int i = nIdx; i < GetServerCount(); ++i) {
        GetServer(i)->SetIdx(i);
    }
    for (RecorderListener* const listener : m_listeners) {
        listener->OnRecorderRemoved(*server);
    }
}

void RecorderList::StopAndRemoveCamera(int nIdx, int nCameraIdx) {
    CKelvaraInfo* const server = GetServer(nIdx);
    std::shared_ptr<ServerCamera> camera = server != nullptr ? server->GetCamera(nCameraIdx) : nullptr;
    if (!camera) {
        return;
    }
    Trace(
        "CKelvaraInfo::StopAndRemoveCamera: KelvaraIdx=%d, nCameraIdx=%d, m_uCHInMainDlg=%u, remove old "
        "camera...\n",
        nIdx, nCameraIdx, camera->GetCHInMainDlg());
    server->SetCamera(nCameraIdx, nullptr);
    camera->StopCameraThreads(StopWait::Brief);
    m_removedCameras.push_back(std::move(camera));
}

bool RecorderList::IsCameraInUse(const ServerCamera* pCamera) const {
    for (const auto& server : m_servers) {
        for (int i = 0; pCamera != nullptr && i < server->GetCameraCount(); ++i) {
            if (server->GetCamera(i).get() == pCamera) {
                return true;
            }
        }
    }
    return false;
}

void RecorderList::DeleteAllKelvara() {
    Trace("CKelvaraInfo::DeleteAllKelvara: Enter...\n");
    for (auto& server : m_servers) {
        server.reset();
    }
    m_servers.clear();
    Trace("CKelvaraInfo::DeleteAllKelvara: Leave...\n");
}

void RecorderList::ReapRemovedServers(StopWait wait) {
    for (std::size_t i = m_removedServers.size(); i-- > 0;) {
        if (m_removedServers[i]->StopGetKelvaraInfo(wait)) {
            m_removedServers.erase(m_removedServers.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
}

void RecorderList::ReapRemovedCameras(StopWait wait) {
    for (std::size_t i = m_removedCameras.size(); i-- > 0;) {
        if (m_removedCameras[i]->StopCameraThreads(wait)) {
            m_removedCameras.erase(m_removedCameras.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
}

}  // namespace kvmon
