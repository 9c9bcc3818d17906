#include "console/wall/busy_state.h"

#include <algorithm>

#include "channel/base/channel_messages.h"
#include "channel/camera/base_camera.h"
#include "console/panel/console_controls.h"
#include "console/ports/console_messages.h"
#include "console/ports/desk.h"
#include "console/ports/timers.h"
#include "console/wall/view_controller.h"
#include "persist/log_file.h"

namespace kvmon {

void BusyState::SetDlgItemBusyWaitCursor(bool bEnable, int nElapse, int uSetWaitCursorId) {
    Trace("CMainDlg::SetDlgItemBusyWaitCursor: bEnable=%d, nElapse=%d, uSetWaitCursorId=%d\n",
          bEnable ? 1 : 0, nElapse, uSetWaitCursorId);
    m_timers.KillTimer(kTimerWaitCursor);
    m_bBusy = bEnable;
    if (bEnable) {
        m_timers.SetTimer(kTimerWaitCursor, nElapse);
        if (uSetWaitCursorId != 0) {
            m_nBusyControl = uSetWaitCursorId;
            m_controls.SetBusy(m_nBusyControl, true);
        }
    } else {
        m_waiting.clear();
        m_controls.SetBusy(m_nBusyControl, false);
        m_nBusyControl = 0;
    }
    m_desk.RefreshCursor();
}

void BusyState::SetBusy(bool bBusy) {
    m_bBusy = bBusy;
    m_desk.RefreshCursor();
}

void BusyState::SetWaittingCamera(const std::shared_ptr<CBaseCamera>& camera) {
    if (camera) {
        m_waiting.push_back(camera);
        camera->SetNotifyWnd(m_desk.Handle());
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
    m_view.ViewStyleChanged(m_view.GetSavedStyle(), {.bForce = m_view.GetStyle() != m_view.GetSavedStyle()});
}

void BusyState::EnableChangeViewPosAfterDataRecieve(int style) {
    Trace("CMainDlg::EnableChangeViewPosAfterDataRecieve: WaitCount=%d...\n",
          static_cast<int>(m_waiting.size()));
    m_view.ViewStyleChanged(style);
}

}  // namespace kvmon
