// What the mouse does in a cell: the press that may become a drag, digital zoom, the menu.
#include <QtWidgets/QGesture>
#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "channel/base/channel_messages.h"
#include "channel/camera/base_camera.h"
#include "channel/cell/cell_timers.h"
#include "channel/cell/channel_view.h"
#include "channel/cell/video_wnd.h"
#include "skin/input_messages.h"
#include "skin/skin_messages.h"

namespace kvmon {

namespace {

constexpr int kFingerMs = 500;
constexpr int kPressedMs = 500;
constexpr WParam kLeftHeld = 1;
const double kLogOfLevel = std::log(50.0 / 49);  // each level of digital zoom shows 2 % less

// What the cell does with a message beside passing it on.
struct InputRule {
    std::uint32_t number;
    bool forwarded;
    bool clearsHighlight;  // and then ends there
};

constexpr InputRule kInputRules[] = {
    {WM_KEYDOWN, true, false},     {WM_KEYUP, true, false},      {WM_LBUTTONDOWN, true, true},
    {WM_LBUTTONUP, true, false},   {WM_RBUTTONDOWN, true, true}, {WM_RBUTTONDBLCLK, true, false},
    {WM_MBUTTONDOWN, true, false}, {WM_MBUTTONUP, true, false},  {WM_MBUTTONDBLCLK, true, false},
};

}  // namespace

// True if the view has nothing of its own to do with the message any more.
bool CVideoWnd::OnInput(const InputMessage& message, CellPart part) {
    const auto camera = GetCamera();
    if (message.number == WM_MOUSEWHEEL) {
        if (!camera || !camera->IsDigitalZoom() || !camera->IsCameraUsable()) {
            return false;
        }
        OnZoomWheel(*camera, message);
        return true;
    }
    if (message.number == WM_RBUTTONUP) {
        KillTimer(kTimerPressed);
        m_hOwner.Post(WM_COMMAND, kCmdRefreshControls, 0);
        OpenMenu(message, part);
        return false;
    }
    const auto* const rule =
        std::find_if(std::begin(kInputRules), std::end(kInputRules),
                     [&message](const InputRule& r) { return r.number == message.number; });
    if (rule != std::end(kInputRules) && rule->clearsHighlight && ClearHighlight()) {
        return false;
    }
    if (OnPressInput(message, part)) {
        return true;
    }
    if (part == CellPart::View && camera && camera->IsCameraUsable() && OnZoomInput(*camera, message)) {
        return true;
    }
    // The view tells of its own double clicks.
    const bool bForward = rule != std::end(kInputRules)
                              ? rule->forwarded
                              : message.number == WM_LBUTTONDBLCLK && part != CellPart::View;
    if (!bForward) {
        return false;
    }
    if (message.number == WM_LBUTTONDOWN && camera) {
        BeginPress(*camera, message, part);
    }
    if (message.number == WM_RBUTTONDOWN) {
        m_bMenuPress = true;
        if (camera && camera->IsDigitalZoom()) {
            SetTimer(kTimerPressed, kPressedMs);
        }
    }
    if (m_pParentWnd) {
        m_pParentWnd->SendMessage(message.number, message.wParam, message.lParam);
    }
    return false;
}

// --- the cell by the mouse

// A click into the picture of the active cell turns the camera there: at once where nothing else can come of
// the press, else when the button, or the finger, is up again.
void CVideoWnd::BeginPress(const CBaseCamera& camera, const InputMessage& message, CellPart part) {
    const QWidget& hit = part == CellPart::View ? static_cast<const QWidget&>(*m_pChannelView) : *this;
    const QPoint screen = hit.mapToGlobal(UnpackPoint(message.lParam));
    const bool bCentre = part == CellPart::View && m_bActive;
    // What the picture's own drag takes, the cell does not.
    const bool bMayDrag = !m_bDragging && TellParent(kMsgMayDragCell, screen) != 0;
    const bool bFinger = (message.wParam & kByFinger) != 0 && !m_bDragging;
    if (!bMayDrag && !bFinger) {
        if (bCentre) {
            PTZFunction(message.lParam);
        }
        return;
    }
    m_press.Begin(screen, bFinger ? CellPress::By::Finger : CellPress::By::Mouse,
                  bMayDrag ? CellPress::Cell::MayMove : CellPress::Cell::Stays);
    m_bCentreAtEnd = bCentre && CanClickToCentre(camera);
    if (bFinger) {
        SetTimer(kTimerFinger, kFingerMs);
    }
}

// What a finger asks for when it is taken away.
void CVideoWnd::EndFinger(const QPoint& screen) {
    const bool bMenu = m_press.IsLongPress(screen);
    const int nPages = m_press.Swipe(screen);
    EndDrag(bMenu ? DragEnd::Cancel : DragEnd::Drop, screen);
    if (m_pParentWnd && bMenu) {
        m_pParentWnd->SendMessage(WM_CONTEXTMENU, 0, PackPoint(screen));
    } else if (m_pParentWnd && nPages != 0) {
        m_pParentWnd->PostMessage(kMsgSwipe, 0, nPages);
    }
}

// True if the message belongs to a drag of the cell and ends here.
bool CVideoWnd::OnPressInput(const InputMessage& message, CellPart part) {
    if (!m_press.IsDown()) {
        return false;
    }
    const QWidget& hit = part == CellPart::View ? static_cast<const QWidget&>(*m_pChannelView) : *this;
    const QPoint screen = hit.mapToGlobal(UnpackPoint(message.lParam));
    const bool bDragging = m_press.IsDragging();
    switch (message.number) {
        case WM_MOUSEMOVE: {
            if ((message.wParam & kLeftHeld) == 0) {
                EndDrag(DragEnd::Cancel, screen);
                return bDragging;
            }
            const CellPress::Step step = m_press.Move(screen);
            if (step == CellPress::Step::Begins) {
                TellParent(kMsgDragBegins, m_press.Start());
            }
            // The answer ends the drag after a key or a change of the view over there.
            if (step != CellPress::Step::Nothing && TellParent(kMsgDragMoves, screen) == 0) {
                m_press.Forget();
            }
            return step != CellPress::Step::Nothing;
        }
        case WM_LBUTTONUP:
            if (m_bCentreAtEnd && part == CellPart::View && m_press.IsClick(screen)) {
                PTZFunction(message.lParam);
            }
            EndFinger(screen);
            return bDragging;
        case WM_RBUTTONDOWN:
        case WM_MBUTTONDOWN:
            EndDrag(DragEnd::Cancel, screen);
            return bDragging;
        default:
            return false;
    }
}

// The place of the drop is the console's to judge.
void CVideoWnd::EndDrag(DragEnd end, const QPoint& screen) {
    KillTimer(kTimerFinger);
    m_bCentreAtEnd = false;
    const bool bDragging = m_press.IsDragging();
    m_press.Forget();
    if (!bDragging || TellParent(kMsgDragEnds, screen) == 0) {
        return;
    }
    const auto camera = GetCamera();
    if (end == DragEnd::Drop && camera && m_pParentWnd) {
        m_pParentWnd->PostMessage(kMsgVideoWndMove, camera->GetCHInMainDlg(), PackPoint(screen));
    }
    if (m_pParentWnd) {
        m_pParentWnd->PostMessage(kMsgRepaintNeighbours, m_uIdx, 0);
    }
}

LParam CVideoWnd::TellParent(std::uint32_t message, const QPoint& screen) const {
    const auto camera = GetCamera();
    return camera && m_pParentWnd
               ? m_pParentWnd->SendMessage(message, camera->GetCHInMainDlg(), PackPoint(screen))
               : 0;
}

// --- digital zoom by the mouse

ZoomPoint CVideoWnd::ViewPoint(LParam point) const {
    const QPointF place = QPointF(UnpackPoint(point)) * m_pChannelView->devicePixelRatioF();
    return {qRound(place.x()), qRound(place.y())};
}

// From the corner of the picture, in device pixels; nothing beside it.
std::optional<ZoomPoint> CVideoWnd::PlaceInPicture(const CBaseCamera& camera, LParam point) const {
    const PixelRect drawn = camera.Picture().GetDrawRect();
    const ZoomPoint at = ViewPoint(point);
    if (drawn.IsEmpty() || at.x < drawn.left || at.x >= drawn.right || at.y < drawn.top ||
        at.y >= drawn.bottom) {
        return std::nullopt;
    }
    return ZoomPoint{at.x - drawn.left, at.y - drawn.top};
}

// While the picture can be moved the left button belongs to it; the press goes on all the same, since it
// makes the cell the active one. True if the message ends here.
bool CVideoWnd::OnZoomInput(CBaseCamera& camera, const InputMessage& message) {
    if (!camera.IsDigitalZoom()) {
        return false;
    }
    const PixelRect drawn = camera.Picture().GetDrawRect();
    switch (message.number) {
        case WM_LBUTTONDOWN:
            // A whole picture cannot be moved, but its cell can.
            m_bDragging = camera.GetDigitalZoomLevel() > 0 && PlaceInPicture(camera, message.lParam);
            camera.DZStartDrag(ViewPoint(message.lParam));
            RefreshCursor();
            return false;
        case WM_MOUSEMOVE:
            if (m_bDragging && (message.wParam & kLeftHeld) != 0) {
                camera.DZDragMove(ViewPoint(message.lParam), drawn.Width(), drawn.Height());
            }
            return false;
        case WM_LBUTTONUP:
            m_bDragging = false;
            RefreshCursor();
            return false;
        case WM_LBUTTONDBLCLK:
            if (PlaceInPicture(camera, message.lParam)) {
                camera.DZTouchAndGo(drawn, ViewPoint(message.lParam));
                m_pChannelView->RefreshZoomLabel();
            }
            return true;
        default:
            return false;
    }
}

void CVideoWnd::OnZoomWheel(CBaseCamera& camera, const InputMessage& message) {
    const int nLevels = m_wheel.Turn(static_cast<std::int16_t>(message.wParam >> 16 & 0xFFFF));
    if (nLevels != 0) {
        ZoomTo(camera, message.lParam, nLevels);
    }
}

void CVideoWnd::ZoomTo(CBaseCamera& camera, LParam point, int nLevels) {
    // Beside the picture its nearest point counts.
    const PixelRect drawn = camera.Picture().GetDrawRect();
    ZoomPoint at = ViewPoint(point);
    at.x = std::max(std::min(at.x, drawn.right - 1), drawn.left);
    at.y = std::max(std::min(at.y, drawn.bottom - 1), drawn.top);
    camera.DZZoomAt(drawn, at, nLevels);
    m_pChannelView->RefreshZoomLabel();
    RefreshCursor();
    m_hOwner.Post(WM_COMMAND, kCmdRefreshControls, 0);
}

// Two fingers: what they spread becomes larger, from none to digital zoom and back.
void CVideoWnd::OnPinch(const QPinchGesture& pinch) {
    const auto camera = GetCamera();
    if (pinch.state() == Qt::GestureStarted) {
        EndDrag(DragEnd::Cancel, {});  // the first finger's press was none
        m_bDragging = false;
        m_nPinched = 0;
    }
    if (!camera || !camera->IsCameraUsable()) {
        return;
    }
    const int nLevels = static_cast<int>(std::lround(std::log(pinch.totalScaleFactor()) / kLogOfLevel));
    const int nDelta = nLevels - std::exchange(m_nPinched, nLevels);
    if (nDelta > 0 && !camera->IsDigitalZoom()) {
        SetDigitalZoom(true);
        m_bZoomByPinch = true;
    }
    if (nDelta != 0 && camera->IsDigitalZoom()) {
        const QPoint centre = m_pChannelView->mapFromGlobal(pinch.centerPoint().toPoint());
        ZoomTo(*camera, PackPoint(centre), nDelta);
    }
    const bool bOver = pinch.state() == Qt::GestureFinished || pinch.state() == Qt::GestureCanceled;
    if (bOver && camera->IsDigitalZoom() && camera->GetDigitalZoomLevel() == 0 &&
        std::exchange(m_bZoomByPinch, false)) {
        SetDigitalZoom(false);  // the buttons are the camera's again
    }
}

// --- menu and pointer

// The press has made the cell the active one already.
void CVideoWnd::OpenMenu(const InputMessage& message, CellPart part) {
    const QWidget& hit = part == CellPart::View ? static_cast<const QWidget&>(*m_pChannelView) : *this;
    const QPoint point = UnpackPoint(message.lParam);
    if (std::exchange(m_bMenuPress, false) && m_pParentWnd && hit.rect().contains(point)) {
        m_pParentWnd->SendMessage(WM_CONTEXTMENU, 0, PackPoint(hit.mapToGlobal(point)));
    }
}

}  // namespace kvmon
