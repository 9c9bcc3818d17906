#include "console/busy_state.h"

#include <algorithm>

#include "channel/base_camera.h"
#include "channel/channel_messages.h"
#include "console/main_dlg.h"
#include "persist/log_file.h"

namespace kvmon {

void BusyState::SetDlgItemBusyWaitCursor(bool bEnable, int nElapse, int uSetWaitCursorId) {
    Trace("CMainDlg::SetDlgItemBusyWaitCursor: bEnable=%d, nElapse=%d, uSetWaitCursorId=%d\n",
          bEnable ? 1 : 0, nElapse, uSetWaitCursorId);
    m_dlg.KillTimer(IDT_EVENT_WAITCURSOR);
    m_bBusy = bEnable;
    if (bEnable) {
        m_dlg.SetTimer(IDT_EVENT_WAITCURSOR, nElapse);
        if (uSetWaitCursorId != 0) {
            m_nBusyControl = uSetWaitCursorId;
            m_dlg.Controls().SetBusy(m_nBusyControl, true);
        }
    } else {
        m_waiting.clear();
        m_dlg.Controls().SetBusy(m_nBusyControl, false);
        m_nBusyControl = 0;
    }
    m_dlg.RefreshCursor();
}

void BusyState::SetWaittingCamera(const std::shared_ptr<CBaseCamera>& camera) {
    if (camera) {
        m_waiting.push_back(camera);
        camera->SetNotifyWnd(m_dlg.Handle());
    }
}

void BusyState::OnGetDataStream(std::uint32_t uCH) {
    Trace("CMainDlg::OnGetDataStream: m_uCH=%u\n", uCH);
    std::erase_if(m_waiting, [uCH](const std::weak_ptr<CBaseCamera>& waiting) {
        const auto camera = waiting.lock();
        return !camera || camera->GetCHInMainDlg() == uCH;
    });
    if (m_waiting.empty()) {
        OnWaitEnd();
    }
}

void BusyState::OnWaitEnd() {
    Trace("CMainDlg::OnTimer: IDT_EVENT_WAITCURSOR timeout...\n");
    SetDlgItemBusyWaitCursor(false, 0, 0);
    ViewController& view = m_dlg.View();
    view.ViewStyleChanged(view.GetSavedStyle(), false, view.GetStyle() != view.GetSavedStyle());
}

void BusyState::EnableChangeViewPosAfterDataRecieve(int style) {
    Trace("CMainDlg::EnableChangeViewPosAfterDataRecieve: WaitCount=%d...\n",
          static_cast<int>(m_waiting.size()));
    m_dlg.View().ViewStyleChanged(style, false, false);
}

}  // namespace kvmon
