#include "channel/cell/video_wnd.h"

#include <QtGui/QHelpEvent>
#include <QtWidgets/QApplication>
#include <QtWidgets/QGesture>
#include <QtWidgets/QGestureEvent>
#include <algorithm>
#include <utility>

#include "channel/base/cam_commands.h"
#include "channel/base/channel_messages.h"
#include "channel/camera/base_camera.h"
#include "channel/cell/cell_timers.h"
#include "channel/cell/channel_view.h"
#include "channel/command/command_results.h"
#include "skin/input_messages.h"
#include "skin/skin_messages.h"

namespace kvmon {

namespace {

constexpr int kDefaultWidth = 702;
constexpr int kDefaultHeight = 480;

constexpr WParam kPtzDone = 3;
constexpr std::uint32_t kTimerBlink = 84;
constexpr std::uint32_t kTimerReadPresets = 85;
constexpr std::uint32_t kTimerPresetCleared = 86;
constexpr std::uint32_t kTimerPresetSet = 87;
constexpr std::uint32_t kTimerReread = 96;
constexpr std::uint32_t kTimerNotify = 97;
constexpr std::uint32_t kTimerStill = 101;  // of our own: do pictures come?
constexpr int kBlinkMs = 1000;
constexpr int kRereadMs = 7000;
constexpr int kNotifyMs = 30000;
constexpr int kStillLookMs = 500;

constexpr std::uint32_t kZoomLineBit = 1u << static_cast<unsigned>(SubString::DigitalZoom);
constexpr std::uint32_t kMsgNotify = 1025;

}  // namespace

CVideoWnd::CVideoWnd(QWidget* parent)
    : WindowBase(parent),
      m_pChannelView(std::make_unique<CChannelView>(this)),
      m_press(QApplication::startDragDistance()) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    m_pChannelView->SetEventWnd(this);
    grabGesture(Qt::PinchGesture);
}

CVideoWnd::~CVideoWnd() {
    SetCamera(nullptr);
}

void CVideoWnd::SetIdx(std::uint32_t uIdx) {
    m_uIdx = uIdx;
    m_pChannelView->SetIdx(uIdx);
}

void CVideoWnd::SetParentWnd(WindowBase* pParentWnd) {
    m_pParentWnd = pParentWnd;
    m_pChannelView->SetParentWnd(pParentWnd != nullptr ? pParentWnd->Handle() : WindowHandle());
}

QRect CVideoWnd::GetViewRect(const QSize& cell) {
    const QPoint place(kCellMargin, kCellMargin + kCellTitleHeight);
    return {place, QSize(std::max(cell.width() - kCellMargin - place.x(), 0),
                         std::max(cell.height() - kCellMargin - place.y(), 0))};
}

void CVideoWnd::SetCamera(const std::shared_ptr<CBaseCamera>& pCamera) {
    // A hidden cell is not told of its size before it shows.
    m_pChannelView->SetPlace(GetViewRect(size()));
    m_pChannelView->SetCamera(pCamera);
    if (pCamera) {
        pCamera->SetVideoWnd(Handle());
        // Another station may have stored a preset since.
        pCamera->RefreshCameraInfo();
    }
    const auto previous = GetCamera();
    if (pCamera && previous == pCamera) {
        return;
    }
    EndDrag(DragEnd::Cancel, {});
    if (previous && previous->GetVideoWnd() == Handle()) {
        previous->SetVideoWnd({});
    }
    m_pCamera = pCamera;
    m_bDragging = false;
    if (pCamera) {
        SetTimer(kTimerStill, kStillLookMs);
    } else {
        KillTimer(kTimerStill);
    }
    Describe();
    if (m_bActive) {
        m_hOwner.Post(WM_COMMAND, kCmdRefreshControls, 0);
    }
    RefreshCursor();
    update();
}

void CVideoWnd::SetWindowActive(bool bActive, PlaySound sound) {
    if (const auto camera = GetCamera()) {
        camera->SetPlayAudio(bActive && sound == PlaySound::Yes && camera->HasAudioRight());
    }
    if (bActive != m_bActive) {
        m_bActive = bActive;
        RefreshCursor();
        update();
    }
}

int CVideoWnd::GetWidth() const {
    const auto camera = GetCamera();
    return camera ? camera->Picture().GetBitmapInfo().biWidth : kDefaultWidth;
}

int CVideoWnd::GetHeight() const {
    const auto camera = GetCamera();
    return camera ? camera->Picture().GetBitmapInfo().biHeight : kDefaultHeight;
}

void CVideoWnd::RefreshFeatures() {
    RepaintStrip();
    RefreshCursor();
}

void CVideoWnd::SetDigitalZoom(bool bOn) {
    m_hOwner.Post(WM_COMMAND, kCmdRefreshControls, 0);
    const auto camera = GetCamera();
    if (!camera) {
        return;
    }
    m_bDragging = false;
    m_wheel.Forget();
    if (bOn) {
        // Who zooms wants to read by how much.
        ChannelPicture& picture = camera->Picture();
        picture.SetShowSubStringMask(picture.GetShowSubStringMask() | kZoomLineBit);
    }
    camera->SetDigitalZoom(bOn);
    m_pChannelView->RefreshZoomLabel();
    RefreshCursor();
    update();
}

void CVideoWnd::SetEventBlink(bool bOn) {
    if (bOn == m_bEventBlink) {
        return;
    }
    m_bEventBlink = bOn;
    m_nBlinkCount = 0;
    if (bOn) {
        SetTimer(kTimerBlink, kBlinkMs);
        return;
    }
    KillTimer(kTimerBlink);
    if (const auto camera = GetCamera()) {
        camera->Picture().SetEventBlinkState(false);
    }
}

void CVideoWnd::resizeEvent(QResizeEvent*) {
    m_pChannelView->SetPlace(GetViewRect(size()));
}

// --- status

void CVideoWnd::OnStillTimer() {
    if (const auto camera = GetCamera()) {
        camera->UpdateStill();
        const bool bStill = camera->Picture().GetStillSeconds() > 0;
        if (std::exchange(m_bToldStill, bStill) != bStill) {
            Describe();
        }
    }
}

// True if the press went to a highlight that the user could see.
bool CVideoWnd::ClearHighlight() {
    const auto camera = GetCamera();
    if (!camera || !camera->Picture().IsEventHighlight()) {
        return false;
    }
    camera->Picture().EndEventHighlight();
    return m_bEventBlink;
}

// --- messages

LParam CVideoWnd::OnMessage(std::uint32_t message, WParam wParam, LParam lParam) {
    switch (message) {
        case kMsgCaptionRefresh:
            if (const auto camera = GetCamera()) {
                camera->StartAudioThread(CBaseCamera::AudioStart::IfNeeded);
            }
            Describe();
            RefreshFeatures();
            m_hOwner.Post(WM_COMMAND, kCmdRefreshControls, 0);
            return 0;
        case kMsgEndStop:
            // A command that failed ends a held button by silence.
            if (wParam == kPtzDone) {
                OnEndStop(lParam);
            }
            return 0;
        case kMsgManualRecording:
            m_hOwner.Post(kMsgManualRecording, wParam, m_uIdx);
            return 0;
        case WM_TIMER:
            OnTimer(static_cast<std::uint32_t>(wParam));
            return 0;
        default:
            break;
    }
    if (message >= WM_KEYDOWN && message <= WM_MOUSEWHEEL) {
        return OnInput({message, wParam, lParam}, CellPart::View) ? 1 : 0;
    }
    return WindowBase::OnMessage(message, wParam, lParam);
}

bool CVideoWnd::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip) {
        const auto& help = static_cast<const QHelpEvent&>(*event);
        ShowTip(help.pos(), help.globalPos());
        return true;
    }
    if (event->type() == QEvent::Gesture) {
        if (const auto* const pinch = static_cast<const QPinchGesture*>(
                static_cast<QGestureEvent*>(event)->gesture(Qt::PinchGesture))) {
            OnPinch(*pinch);
            return true;
        }
    }
    const auto input = ToInputMessage(*event);
    if (!input) {
        return WindowBase::event(event);
    }
    event->accept();
    OnInput(*input, CellPart::Strip);
    return true;
}

// --- timers

void CVideoWnd::OnTimer(std::uint32_t id) {
    if (id != kTimerBlink && id != kTimerStill) {
        KillTimer(id);
    }
    switch (id) {
        case kTimerStill:
            OnStillTimer();
            break;
        case kTimerBlink:
            ++m_nBlinkCount;
            if (const auto camera = GetCamera()) {
                camera->Picture().SetEventBlinkState((m_nBlinkCount & 1) != 0);
            }
            break;
        case kTimerCursor:
            RefreshCursor();
            break;
        case kTimerFinger:
            if (m_press.Rested()) {
                TellParent(kMsgDragBegins, m_press.Start());
            }
            break;
        case kTimerReadPresets:
            RefreshCamera(kCmdReadPresets);
            break;
        case kTimerPresetCleared:
        case kTimerPresetSet:
            SetTimer(kTimerReread, kRereadMs);
            SetTimer(kTimerNotify, kNotifyMs);
            break;
        case kTimerReread:
            RefreshCamera(kCmdReadCameraInfo);
            break;
        case kTimerNotify:
            m_hNotifyDlg.Post(kMsgNotify, 1, 0);
            break;
        default:  // 73 and 80 only end themselves
            break;
    }
}

}  // namespace kvmon
