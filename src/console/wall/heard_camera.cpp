#include "console/wall/heard_camera.h"

#include "channel/camera/base_camera.h"
#include "console/panel/console_controls.h"
#include "console/wall/camera_list.h"
#include "console/wall/cell_pool.h"
#include "persist/log_file.h"
#include "persist/utilities.h"

namespace kvmon {

bool HeardCamera::IsAudioChecked() const {
    const bool bPressed = m_controls.IsPressed(kCtlAudio);
    Trace("CMainDlg::IsAudioChecked: m_pAudioButton->GetCheck()==BST_CHECKED=%s...\n", BoolText(bPressed));
    const bool bExists = m_controls.Exists(kCtlAudio);
    Trace("CMainDlg::IsAudioChecked: ::IsWindow(m_pAudioButton->GetSafeHwnd() )=%s...\n", BoolText(bExists));
    return bPressed && bExists;
}

void HeardCamera::Sync() {
    const auto active = m_cells.GetActiveCamera();
    for (int n = 0; n < m_cameras.GetCount(); ++n) {
        const auto camera = m_cameras.GetCameraByChannel(n);
        if (camera && camera != active) {
            camera->SetPlayAudio(false);
        }
    }
    if (active) {
        active->SetPlayAudio(active->HasAudioRight() && IsAudioChecked());
    }
}

}  // namespace kvmon
