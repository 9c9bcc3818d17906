// The channel object's digital zoom.
#include "channel/base/cam_commands.h"
#include "channel/base/channel_messages.h"
#include "channel/camera/base_camera.h"
#include "channel/camera/channel_core.h"
#include "channel/command/command_results.h"
#include "persist/log_file.h"

namespace kvmon {

namespace {

void PostOutcome(const WindowHandle& cell, PtzResult result, int nCode) {
    cell.Post(kMsgEndStop, static_cast<WParam>(result), nCode);
}

}  // namespace

void CBaseCamera::SetDigitalZoom(bool bOn) {
    StreamSource& source = m_core->m_source;
    if (source.m_bDigitalZoom.exchange(bOn) == bOn) {
        return;
    }
    if (!source.GetFixSizeServer().IsSet() && source.SelectStreamId() != source.m_nStreamId) {
        Trace("CBaseCamera::SetDigitalZoom: m_uCHInMainDlg=%u, restart playing...\n", GetCHInMainDlg());
        RestartPlaying();
    }
    m_core->ChangeZoom([bOn](DigitalZoom& zoom) { return zoom.Switch(bOn); });
}

bool CBaseCamera::IsDigitalZoom() const {
    return m_core->m_source.m_bDigitalZoom;
}

int CBaseCamera::GetDigitalZoomLevel() const {
    const std::lock_guard lock(m_core->m_csZoom);
    return m_core->m_zoom.GetLevel();
}

DigitalZoom::State CBaseCamera::GetZoom() const {
    const std::lock_guard lock(m_core->m_csZoom);
    return m_core->m_zoom.Get();
}

void CBaseCamera::RestoreZoom(const DigitalZoom::State& state) {
    SetDigitalZoom(state.bOn);
    m_core->ChangeZoom([&state](DigitalZoom& zoom) {
        zoom.Restore(state);
        return true;
    });
}

float CBaseCamera::GetDZZoomFactor() const {
    const PixelRect drawn = m_core->m_picture.GetDrawRect();
    const std::lock_guard lock(m_core->m_csZoom);
    const int width = m_core->m_zoom.GetRect().Width();
    return width == 0 ? -1.0f : static_cast<float>(drawn.Width()) / static_cast<float>(width);
}

void CBaseCamera::DZPTZFunction(std::uint32_t nId) {
    if (!IsDigitalZoom()) {
        return;
    }
    const auto code = m_core->ChangeZoom([nId](DigitalZoom& zoom) { return zoom.DZPTZFunction(nId); });
    PostOutcome(GetVideoWnd(), code ? PtzResult::Done : PtzResult::UnknownZoomCommand, code.value_or(0));
}

void CBaseCamera::ReportZoom(const ZoomOutcome& outcome) {
    if (outcome.bReported) {
        PostOutcome(GetVideoWnd(), PtzResult::Done, outcome.code);
    }
}

void CBaseCamera::DZTouchAndGo(const PixelRect& rcView, const ZoomPoint& point) {
    ReportZoom(m_core->ChangeZoom([&](DigitalZoom& zoom) { return zoom.DZTouchAndGo(rcView, point); }));
}

void CBaseCamera::DZStartDrag(const ZoomPoint& cursor) {
    const std::lock_guard lock(m_core->m_csZoom);
    m_core->m_zoom.StartDrag(cursor);
}

void CBaseCamera::DZDragMove(const ZoomPoint& cursor, int viewWidth, int viewHeight) {
    ReportZoom(m_core->ChangeZoom(
        [&](DigitalZoom& zoom) { return zoom.DZDragMove(cursor, viewWidth, viewHeight); }));
}

void CBaseCamera::DZZoomAt(const PixelRect& rcView, const ZoomPoint& point, int nDelta) {
    ReportZoom(m_core->ChangeZoom([&](DigitalZoom& zoom) { return zoom.ZoomAt(rcView, point, nDelta); }));
}

CameraInfo CBaseCamera::GetAbilities() const {
    CameraInfo info = GetCameraInfo();
    if (IsDigitalZoom() && IsCameraUsable()) {
        info.bPan = info.bTilt = info.bZoomable = info.bClickToCentre = true;
        info.bFocusable = false;
        info.bHome = GetDigitalZoomLevel() != 0;
    }
    return info;
}

bool CBaseCamera::IsPtzEnabled() const {
    return IsCameraUsable() && (IsDigitalZoom() || IsCameraSteerable());
}

bool CBaseCamera::IsCameraSteerable() const {
    return IsCameraUsable() && m_core->m_abilities.IsPtzEnabled();
}

}  // namespace kvmon
