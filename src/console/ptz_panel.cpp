#include "console/ptz_panel.h"

#include <utility>

#include "channel/base_camera.h"
#include "channel/ptz_request.h"
#include "channel/video_wnd.h"
#include "console/main_dlg.h"
#include "skin/xskin_od_button.h"

namespace kvmon {

namespace {

constexpr int kHoldButtons[] = {kCmdUp,     kCmdDown,    kCmdLeft,      kCmdRight,
                                kCmdUpLeft, kCmdUpRight, kCmdDownLeft,  kCmdDownRight,
                                kCmdZoomIn, kCmdZoomOut, kCmdFocusNear, kCmdFocusFar};

}  // namespace

void PtzPanel::Init() {
    for (const int id : kHoldButtons) {
        if (CXSkinODButton* const button = m_dlg.GetButton(id)) {
            button->SetPressNotify(true, m_dlg.Handle(), kMsgPtzPress);
        }
    }
}

void PtzPanel::Refresh() {
    const auto camera = m_dlg.View().Cells().GetActiveCamera();
    const CameraInfo info = camera ? camera->GetAbilities() : CameraInfo{};
    const bool bConnected = camera && camera->IsStreamRunning();
    ConsoleControls& controls = m_dlg.Controls();
    for (int id = kCmdUp; id <= static_cast<int>(kCmdDownRight); ++id) {
        controls.SetShown(id, bConnected && info.IsPanAndTiltable());
    }
    controls.SetShown(kCmdHome, bConnected && info.bHome);
    const bool bZoom = (bConnected && info.bZoomable) || IsDigitalZoom();
    controls.SetShown(kCmdZoomIn, bZoom);
    controls.SetShown(kCmdZoomOut, bZoom);
    controls.SetShown(kCmdFocusNear, bConnected && info.bFocusable);
    controls.SetShown(kCmdFocusFar, bConnected && info.bFocusable);
    for (int id = kCmdPresetFirst; id <= static_cast<int>(kCmdPresetLast); ++id) {
        const bool bDefined = (info.dwPresetMask >> (id - static_cast<int>(kCmdPresetFirst)) & 1) != 0;
        controls.SetShown(id, bConnected && bDefined);
    }
    controls.SetShown(kCtlSnapshot, camera && camera->HasMonitorRight());
    if (CVideoWnd* const cell = m_dlg.View().Cells().GetActive()) {
        cell->RefreshFeatures();
    }
}

void PtzPanel::OnPress(int id, bool bPressed) {
    if (!bPressed) {
        m_pacing.Release();
        return;
    }
    m_pacing.Press(id);
    m_pressSent = id;
    Send(id);
}

void PtzPanel::OnClick(int id) {
    // A click ends a press that has sent its command already.
    if (std::exchange(m_pressSent, 0) != id) {
        Send(id);
    }
}

void PtzPanel::OnFinished() {
    const HoldPacing::Step step =
        m_pacing.OnFinished(IsDown(m_pacing.HeldId()), IsDigitalZoom(), m_clock.TickMs());
    if (step.next == HoldPacing::Next::Send) {
        Send(m_pacing.HeldId());
    } else if (step.next == HoldPacing::Next::Wait) {
        m_dlg.SetTimer(kTimerHold, static_cast<int>(step.waitMs));
    }
}

void PtzPanel::OnHoldTimer() {
    m_dlg.KillTimer(kTimerHold);
    if (m_pacing.HeldId() != 0 && IsDown(m_pacing.HeldId())) {
        Send(m_pacing.HeldId());
    }
}

void PtzPanel::OnWheel(int delta) {
    const auto camera = m_dlg.View().Cells().GetActiveCamera();
    if (camera && camera->IsPtzEnabled() && camera->GetAbilities().bZoomable) {
        Send(delta < 1 ? kCmdZoomOut : kCmdZoomIn);
    }
}

void PtzPanel::Send(int id) {
    m_pacing.NoteSent(m_clock.TickMs());
    if (CVideoWnd* const cell = m_dlg.View().Cells().GetActive()) {
        cell->OnPtzCommand(static_cast<std::uint32_t>(id));
    }
}

bool PtzPanel::IsDigitalZoom() const {
    const auto camera = m_dlg.View().Cells().GetActiveCamera();
    return camera && camera->IsDigitalZoom();
}

bool PtzPanel::IsDown(int id) const {
    const CXSkinODButton* const button = m_dlg.GetButton(id);
    return button != nullptr && button->IsPressed();
}

}  // namespace kvmon
