// The servers of the process, and what is under removal.
#include <new>

#include "persist/log_file.h"
#include "server/kelvara_info.h"

namespace kvmon {

namespace {

struct ServerLists {
    std::vector<std::unique_ptr<CKelvaraInfo>> servers;
    std::vector<std::unique_ptr<CKelvaraInfo>> removedServers;
    std::vector<std::shared_ptr<ServerCamera>> removedCameras;
};

// Never destroyed: whoever lives until the very end may still ask.
ServerLists& Lists() {
    static auto* const lists = new ServerLists;
    return *lists;
}

}  // namespace

int AddServer(const std::string& host, std::uint32_t nPort, const std::string& user,
              const std::string& password) {
    auto& servers = Lists().servers;
    const int index = static_cast<int>(servers.size());
    try {
        auto server = std::make_unique<CKelvaraInfo>();
        server->SetConnectInfo(index, host, nPort, user, password);
        servers.push_back(std::move(server));
    } catch (const std::bad_alloc&) {
        return -1;
    }
    return index;
}

int FindServer(const std::string& host, std::uint32_t nPort) {
    const auto& servers = Lists().servers;
    for (std::size_t i = 0; i < servers.size(); ++i) {
        if (servers[i]->GetPort() == nPort && servers[i]->GetHost() == host) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

int GetServerCount() {
    return static_cast<int>(Lists().servers.size());
}

CKelvaraInfo* GetServer(int nIdx) {
    const auto& servers = Lists().servers;
    const bool inRange = nIdx >= 0 && static_cast<std::size_t>(nIdx) < servers.size();
    return inRange ? servers[static_cast<std::size_t>(nIdx)].get() : nullptr;
}

void ParkServer(std::unique_ptr<CKelvaraInfo> pServer) {
    Lists().removedServers.push_back(std::move(pServer));
}

void RemoveServer(int nIdx) {
    CKelvaraInfo* const server = GetServer(nIdx);
    if (server == nullptr) {
        return;
    }
    for (int i = 0; i < server->GetCameraCount(); ++i) {
        StopAndRemoveCamera(nIdx, i);
    }
    server->SetCameraCount(0);
    server->SetNotifyWnd({});
    server->StopGetKelvaraInfo(false, false);
    auto& servers = Lists().servers;
    const auto place = servers.begin() + nIdx;
    ParkServer(std::move(*place));
    servers.erase(place);
    for (int i = nIdx; i < GetServerCount(); ++i) {
        GetServer(i)->SetIdx(i);
    }
}

void StopAndRemoveCamera(int nIdx, int nCameraIdx) {
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
    camera->StopCameraThreads(false);
    Lists().removedCameras.push_back(std::move(camera));
}

bool IsCameraInUse(const ServerCamera* pCamera) {
    for (const auto& server : Lists().servers) {
        for (int i = 0; pCamera != nullptr && i < server->GetCameraCount(); ++i) {
            if (server->GetCamera(i).get() == pCamera) {
                return true;
            }
        }
    }
    return false;
}

void DeleteAllKelvara() {
    Trace("CKelvaraInfo::DeleteAllKelvara: Enter...\n");
    for (auto& server : Lists().servers) {
        server.reset();
    }
    Lists().servers.clear();
    Trace("CKelvaraInfo::DeleteAllKelvara: Leave...\n");
}

void ReapRemovedServers(bool bForce) {
    auto& removed = Lists().removedServers;
    for (std::size_t i = removed.size(); i-- > 0;) {
        if (removed[i]->StopGetKelvaraInfo(bForce, !bForce)) {
            removed.erase(removed.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
}

void ReapRemovedCameras(bool bForce) {
    auto& removed = Lists().removedCameras;
    for (std::size_t i = removed.size(); i-- > 0;) {
        if (removed[i]->StopCameraThreads(bForce)) {
            removed.erase(removed.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
}

}  // namespace kvmon
