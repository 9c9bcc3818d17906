#include "console/camera/ptz_panel.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "channel/base/cam_commands.h"
#include "channel/camera/base_camera.h"
#include "channel/cell/video_wnd.h"
#include "console/ports/console_messages.h"
#include "console/ports/panel_buttons.h"
#include "console/ports/timers.h"
#include "console/wall/active_camera.h"
#include "platform/clock.h"

namespace kvmon {

namespace {

constexpr int kHoldButtons[] = {kCmdUp,     kCmdDown,    kCmdLeft,      kCmdRight,
                                kCmdUpLeft, kCmdUpRight, kCmdDownLeft,  kCmdDownRight,
                                kCmdZoomIn, kCmdZoomOut, kCmdFocusNear, kCmdFocusFar};

// A wheel cannot ask for more at once than a camera's queue holds.
constexpr int kMostNotches = 10;

// Digital zoom waits for no camera, but need not be faster than the screen.
constexpr int kShortestWaitMs = 16;

}  // namespace

void PtzPanel::Init() {
    m_buttons.TellPresses(kHoldButtons);
}

void PtzPanel::Refresh() {
    if (CVideoWnd* const cell = m_active.Cell()) {
        cell->RefreshFeatures();
    }
}

void PtzPanel::OnPress(int id, bool bPressed) {
    m_timers.KillTimer(kTimerHold);  // of the hold before this one
    if (!bPressed) {
        m_pacing.Release();
        ForgetPress();
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

void PtzPanel::OnMenu(int id) {
    ForgetPress();
    if (CVideoWnd* const cell = m_active.Cell()) {
        cell->SendToCamera(static_cast<std::uint32_t>(id));
    }
}

void PtzPanel::OnFinished() {
    const HoldPacing::Step step =
        m_pacing.OnFinished(m_buttons.IsHeld(m_pacing.HeldId()), IsDigitalZoom(), m_clock.TickMs());
    if (step.next == HoldPacing::Next::Send) {
        Send(m_pacing.HeldId());
    } else if (step.next == HoldPacing::Next::Wait) {
        m_timers.SetTimer(kTimerHold, std::max(static_cast<int>(step.waitMs), kShortestWaitMs));
    }
}

void PtzPanel::OnHoldTimer() {
    m_timers.KillTimer(kTimerHold);
    if (m_pacing.HeldId() != 0 && m_buttons.IsHeld(m_pacing.HeldId())) {
        Send(m_pacing.HeldId());
    }
}

void PtzPanel::OnWheel(int delta) {
    const auto camera = m_active.Camera();
    if (!camera || !camera->IsPtzEnabled() || !camera->GetAbilities().bZoomable) {
        m_wheel.Forget();
        return;
    }
    const int notches = m_wheel.Turn(delta);
    for (int i = 0; i < std::min(std::abs(notches), kMostNotches); ++i) {
        Send(notches < 0 ? kCmdZoomOut : kCmdZoomIn);
    }
}

void PtzPanel::Send(int id) {
    m_pacing.NoteSent(m_clock.TickMs());
    if (CVideoWnd* const cell = m_active.Cell()) {
        cell->OnPtzCommand(static_cast<std::uint32_t>(id));
    }
}

bool PtzPanel::IsDigitalZoom() const {
    const auto camera = m_active.Camera();
    return camera && camera->IsDigitalZoom();
}

}  // namespace kvmon
