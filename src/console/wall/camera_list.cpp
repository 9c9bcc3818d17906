#include "console/wall/camera_list.h"

#include "channel/camera/base_camera.h"
#include "console/settings/console_options.h"
#include "persist/log_file.h"
#include "server/documents/nvr_status.h"
#include "server/recorder_list.h"

namespace kvmon {

std::shared_ptr<CBaseCamera> GetServerCamera(const RecorderList& recorders, int nServer, int nCamera) {
    const CKelvaraInfo* const server = recorders.GetServer(nServer);
    // The console makes all channel objects, and makes them of this class.
    return server != nullptr ? std::static_pointer_cast<CBaseCamera>(server->GetCamera(nCamera)) : nullptr;
}

void CameraList::UpdateCameraList(const ConsoleOptions& options) {
    m_entries.clear();
    for (int server = 0; server < m_recorders.GetServerCount(); ++server) {
        const CKelvaraInfo& info = *m_recorders.GetServer(server);
        for (int slot = 0; slot < info.GetCameraCount(); ++slot) {
            const auto camera = GetServerCamera(m_recorders, server, slot);
            if (!camera || (!options.bShowNoMonitoringRight && !camera->HasMonitorRight()) ||
                (!options.bShowNoConfig && info.GetStatus(slot, kStatusConfigured) == 0)) {
                continue;
            }
            camera->SetCHInMainDlg(static_cast<std::uint32_t>(m_entries.size()));
            m_entries.push_back({server, slot});
        }
    }
    Trace("CMainDlg::UpdateCameraList: CameraSize=%d...\n", GetCount());
}

std::shared_ptr<CBaseCamera> CameraList::GetCameraByChannel(int n) const {
    return IsChannel(n) ? GetServerCamera(m_recorders, Get(n).server, Get(n).camera) : nullptr;
}

int CameraList::FindChannel(const CBaseCamera* camera) const {
    for (int n = 0; camera != nullptr && n < GetCount(); ++n) {
        if (GetCameraByChannel(n).get() == camera) {
            return n;
        }
    }
    return -1;
}

bool CameraList::IsConfigured(int n) const {
    const CKelvaraInfo* const server = m_recorders.GetServer(Get(n).server);
    return server != nullptr && server->GetStatus(Get(n).camera, kStatusConfigured) != 0;
}

}  // namespace kvmon
