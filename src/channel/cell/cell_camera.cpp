// What a cell's camera is told, and what the pointer and the cell tell of it.
#include "channel/base/cam_commands.h"
#include "channel/base/channel_messages.h"
#include "channel/camera/base_camera.h"
#include "channel/cell/cell_timers.h"
#include "channel/cell/channel_view.h"
#include "channel/cell/ptz_cursor.h"
#include "channel/cell/video_wnd.h"
#include "channel/command/end_stop.h"
#include "persist/string_table.h"
#include "skin/skin_messages.h"

namespace kvmon {

namespace {

constexpr int kCursorMs = 1500;

}  // namespace

bool CVideoWnd::CanClickToCentre(const CBaseCamera& camera) const {
    return camera.IsPtzEnabled() && camera.GetAbilities().bClickToCentre && camera.IsStreamRunning();
}

void CVideoWnd::RefreshCursor() {
    const auto camera = GetCamera();
    if (!m_bActive || !camera || !CanClickToCentre(*camera)) {
        m_pChannelView->unsetCursor();
    } else if (camera->IsDigitalZoom()) {
        if (camera->GetDigitalZoomLevel() == 0) {
            m_pChannelView->unsetCursor();
        } else {
            m_pChannelView->setCursor(m_bDragging ? Qt::ClosedHandCursor : Qt::OpenHandCursor);
        }
    } else {
        // A camera that has just got an order is shown to be at it.
        m_pChannelView->setCursor(IsTimerSet(kTimerCursor) ? MovingCursor(devicePixelRatioF())
                                                           : QCursor(Qt::PointingHandCursor));
    }
}

void CVideoWnd::OnPtzCommand(std::uint32_t nId) {
    const auto camera = GetCamera();
    if (!camera) {
        return;
    }
    const bool bPreset = nId >= kCmdPresetFirst && nId <= kCmdPresetLast;
    if (camera->IsDigitalZoom() && !bPreset) {
        camera->DZPTZFunction(nId);
        m_pChannelView->RefreshZoomLabel();
        RefreshCursor();
        m_hOwner.Post(WM_COMMAND, kCmdRefreshControls, 0);
        return;
    }
    SendToCamera(nId);
}

void CVideoWnd::SendToCamera(std::uint32_t nId) {
    const auto camera = GetCamera();
    if (!camera || !camera->IsCameraUsable()) {
        return;
    }
    SetTimer(kTimerCursor, kCursorMs);
    RefreshCursor();
    m_nPtzCommand = nId;
    camera->AddCamCmd(nId, 0);
    m_hOwner.Post(WM_COMMAND, kCmdRefreshControls, 0);
}

// A click into the picture turns the camera there.
void CVideoWnd::PTZFunction(LParam point) {
    const auto camera = GetCamera();
    if (!camera || camera->IsDigitalZoom() || !CanClickToCentre(*camera)) {
        return;
    }
    // What stands beside the picture is none of the camera's.
    const PixelRect drawn = camera->Picture().GetDrawRect();
    const auto place = PlaceInPicture(*camera, point);
    if (!place) {
        return;
    }
    SetTimer(kTimerCursor, kCursorMs);
    RefreshCursor();
    const ClassSize size = camera->GetDefaultImageSize();
    camera->AddCamCenterCmd(place->x * size.cx / drawn.Width(), place->y * size.cy / drawn.Height());
}

// Shows where the camera came to an end, and lets a held button go on unless that stops it.
void CVideoWnd::OnEndStop(LParam nCode) {
    const EndStop stop = FindEndStop(nCode);
    if (nCode != 0) {
        m_pChannelView->SetMessageText(LoadString(stop.stringId), CaptionStay::ForAWhile);
    }
    if (nCode == 0 || (stop.onlyFor != 0 && stop.onlyFor != m_nPtzCommand)) {
        m_hOwner.Post(kMsgEndStop, 0, 0);
    }
}

void CVideoWnd::RefreshCamera(std::uint32_t command) {
    if (const auto camera = GetCamera()) {
        camera->AddCamCmd(command, 0);
    }
}

}  // namespace kvmon
