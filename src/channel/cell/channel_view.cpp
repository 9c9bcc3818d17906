#include "channel/cell/channel_view.h"

#include <QtGui/QPainter>
#include <QtGui/QScreen>
#include <QtGui/QWheelEvent>
#include <algorithm>

#include "channel/base/channel_messages.h"
#include "channel/camera/base_camera.h"
#include "channel/picture/captions.h"
#include "persist/string_table.h"
#include "platform/text.h"
#include "skin/direct_screen.h"
#include "skin/input_messages.h"
#include "skin/repaint_hub.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kTimerMessage = 2;
constexpr std::uint32_t kTimerZoomLabel = 5;
constexpr int kMessageMs = 2000;
constexpr int kZoomLabelMs = 3000;

constexpr std::uint32_t kStrDigitalZoom = 2603;
constexpr std::uint32_t kStrNoPermission = 4009;
constexpr std::uint32_t kStrNoSettings = 4010;
constexpr std::uint32_t kStrConnecting = 57411;
constexpr std::uint32_t kStrStill = 6813;

std::string StillText(int seconds) {
    QString text = QString::fromStdString(LoadString(kStrStill));
    text.replace(QLatin1String("%d"), QString::number(seconds));
    return text.toStdString();
}

}  // namespace

CChannelView::CChannelView(QWidget* parent)
    : WindowBase(parent),
      m_repaint(RegisterForRepaint(*this, [this](DirectScreen& screen) { return PutPicture(screen); })) {
    setAttribute(Qt::WA_OpaquePaintEvent);
}

CChannelView::~CChannelView() {
    SetCamera(nullptr);
}

void CChannelView::SetEventWnd(WindowBase* pEventWnd) {
    m_pEventWnd = pEventWnd;
}

bool CChannelView::IsShownHere(const CBaseCamera& camera) const {
    return camera.GetViewWnd() == Handle();
}

void CChannelView::SetCamera(const std::shared_ptr<CBaseCamera>& pCamera) {
    const auto previous = GetCamera();
    const bool bChanged = previous != pCamera;
    if (bChanged && previous && IsShownHere(*previous)) {
        previous->SetViewWnd({}, nullptr);
        if (IsTimerSet(kTimerMessage)) {
            // What is told for a while is told in the view that it was told to.
            KillTimer(kTimerMessage);
            previous->Picture().SetMainOsdCameraString({}, CaptionStay::ForAWhile);
        }
    }
    m_pCamera = pCamera;
    if (pCamera) {
        pCamera->SetViewWnd(Handle(), [ticket = m_repaint] { ticket->Request(); });
        pCamera->SetSeen(m_sight.IsSeen());
        GiveViewSize(*pCamera);
        RefreshZoomLabel();
        if (bChanged) {
            ShowState(*pCamera);
        }
    }
    update();
}

void CChannelView::GiveViewSize(CBaseCamera& camera) {
    const double ratio = devicePixelRatioF();
    m_givenSize = QSize(qRound(width() * ratio), qRound(height() * ratio));
    camera.Picture().SetPixelRatio(ratio);
    camera.Picture().SetImageMaker(m_repaint->ImageMaker());
    if (camera.SetViewSize(m_givenSize.width(), m_givenSize.height())) {
        camera.StartPlaying(PlaySound::No);
    }
}

void CChannelView::TellSeen(bool bSeen) {
    const auto camera = GetCamera();
    if (camera && IsShownHere(*camera)) {
        camera->SetSeen(bSeen);
    }
}

void CChannelView::ShowState(const CBaseCamera& camera) {
    if (!camera.IsSettingsAssigned() || !camera.HasAddress()) {
        SetMessage(kStrNoSettings, CaptionStay::UntilPicture);
    } else if (!camera.HasMonitorRight()) {
        SetMessage(kStrNoPermission, CaptionStay::UntilPicture);
    } else if (!camera.IsStreamRunning()) {
        SetMessage(kStrConnecting, CaptionStay::UntilPicture);
    }
}

void CChannelView::SetDisplayMode(DisplayMode nMode) {
    if (const auto camera = GetCamera()) {
        camera->Picture().SetDisplayMode(nMode);
    }
}

void CChannelView::SetMessage(std::uint32_t uStringId, CaptionStay stay) {
    SetMessageText(LoadString(uStringId), stay);
}

void CChannelView::SetMessageText(const std::string& text, CaptionStay stay) {
    KillTimer(kTimerMessage);
    if (stay == CaptionStay::ForAWhile) {
        SetTimer(kTimerMessage, kMessageMs);
    }
    if (const auto camera = GetCamera()) {
        camera->Picture().SetMainOsdCameraString(text, stay);
    }
}

void CChannelView::RefreshZoomLabel() {
    const auto camera = GetCamera();
    if (!camera || !IsShownHere(*camera)) {
        return;
    }
    if (!camera->IsDigitalZoom()) {
        camera->Picture().SetSubString(SubString::DigitalZoom, {});
        return;
    }
    const double factor = static_cast<double>(camera->GetDZZoomFactor());
    if (factor <= 0) {
        return;  // no picture yet
    }
    camera->Picture().SetSubString(SubString::DigitalZoom,
                                   FormatText("%s x%.2f", LoadString(kStrDigitalZoom).c_str(), factor));
    SetTimer(kTimerZoomLabel, kZoomLabelMs);
}

std::optional<QPoint> CChannelView::ClientToImage(const QPoint& point) const {
    const auto camera = GetCamera();
    if (!camera) {
        return std::nullopt;
    }
    const ChannelPicture& picture = camera->Picture();
    const BITMAPINFOHEADER info = picture.GetBitmapInfo();
    const double ratio = devicePixelRatioF();
    const auto found =
        ViewToPicture(picture.GetDrawRect(), ShownPart(picture.GetZoomRect(), info.biWidth, info.biHeight),
                      static_cast<int>(point.x() * ratio), static_cast<int>(point.y() * ratio));
    return found ? std::optional(QPoint(found->first, found->second)) : std::nullopt;
}

// --- full screen

void CChannelView::SetFullScreen(bool bFull) {
    if (bFull == m_bFullScreen) {
        return;
    }
    m_bFullScreen = bFull;
    if (bFull) {
        const QRect screenRect = screen()->geometry();
        m_savedPlace = {parentWidget(), windowFlags(), geometry()};
        setParent(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
        setGeometry(screenRect);
        show();
        raise();
        activateWindow();
        setFocus();
        return;
    }
    hide();
    setParent(m_savedPlace.parent, m_savedPlace.flags);
    setGeometry(m_savedPlace.rect);
    show();
    if (m_savedPlace.parent) {
        m_savedPlace.parent->window()->raise();
        m_savedPlace.parent->setFocus();
    }
}

void CChannelView::SetPlace(const QRect& rect) {
    if (m_bFullScreen) {
        m_savedPlace.rect = rect;
    } else {
        setGeometry(rect);
    }
}

void CChannelView::OnLButtonDblClk() {
    if (m_bFullScreen) {
        SetFullScreen(false);
    } else if (m_bAllowFullScreen) {
        SetFullScreen(true);
    }
    m_hParentWnd.Post(WM_LBUTTONDBLCLK, 0, 0);
}

// --- snapshot

std::optional<Snapshot> CChannelView::TakeSnapshot(const std::string& stamp) const {
    const auto camera = GetCamera();
    return camera && IsShownHere(*camera) ? camera->Picture().TakeSnapshot(stamp) : std::nullopt;
}

// --- messages

void CChannelView::OnTimer(std::uint32_t id) {
    KillTimer(id);
    const auto camera = GetCamera();
    if (!camera) {
        return;
    }
    if (id == kTimerMessage) {
        camera->Picture().SetMainOsdCameraString({}, CaptionStay::ForAWhile);
    } else if (id == kTimerZoomLabel) {
        camera->Picture().SetSubString(SubString::DigitalZoom, {});
    }
}

LParam CChannelView::OnMessage(std::uint32_t message, WParam wParam, LParam lParam) {
    if (message == kMsgShowText) {
        SetMessage(static_cast<std::uint32_t>(wParam), CaptionStay::ForAWhile);
        return 0;
    }
    return WindowBase::OnMessage(message, wParam, lParam);
}

// True if the cell has a use for it; else it goes on to the console.
bool CChannelView::OnWheel(const QWheelEvent& wheel) {
    const auto turn = static_cast<std::uint16_t>(std::clamp(wheel.angleDelta().y(), -0x7FFF, 0x7FFF));
    return turn != 0 && m_pEventWnd &&
           m_pEventWnd->SendMessage(WM_MOUSEWHEEL, WParam{turn} << 16,
                                    PackPoint(wheel.position().toPoint())) != 0;
}

bool CChannelView::event(QEvent* event) {
    if (event->type() == QEvent::Wheel && OnWheel(static_cast<const QWheelEvent&>(*event))) {
        event->accept();
        return true;
    }
    const auto input = ToInputMessage(*event);
    if (!input) {
        return WindowBase::event(event);
    }
    event->accept();
    const bool bTaken =
        m_pEventWnd && m_pEventWnd->SendMessage(input->number, input->wParam, input->lParam) != 0;
    if (input->number == WM_LBUTTONDBLCLK && !bTaken) {
        OnLButtonDblClk();
    } else if (input->number == WM_KEYDOWN && input->wParam == kKeyEscape) {
        SetFullScreen(false);
        m_hParentWnd.Post(WM_LBUTTONDBLCLK, 0, 0);
    }
    return true;
}

void CChannelView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const auto camera = GetCamera();
    if (!camera || !IsShownHere(*camera)) {
        painter.fillRect(rect(), Qt::black);
        return;
    }
    const double ratio = devicePixelRatioF();
    if (m_givenSize != QSize(qRound(width() * ratio), qRound(height() * ratio))) {
        GiveViewSize(*camera);  // moved to a screen of another resolution
    }
    const auto newest =
        m_repaint->IsBeingRead() ? ChannelPicture::Newest::Leave : ChannelPicture::Newest::Take;
    if (!camera->Picture().Paint(painter, width(), height(), newest)) {
        m_repaint->Request();
    }
    if (const int seconds = camera->Picture().GetStillSeconds()) {
        PaintNotice(painter, rect(), StillText(seconds));
    }
}

// The view's newest image, if it is all that there is to see in it.
bool CChannelView::PutPicture(DirectScreen& screen) {
    const auto camera = GetCamera();
    if (!camera || !IsShownHere(*camera) || camera->Picture().GetStillSeconds() > 0) {
        return false;
    }
    const QImage* const image = camera->Picture().TakeNewest();
    return image != nullptr && screen.Put(*this, *image);
}

void CChannelView::resizeEvent(QResizeEvent*) {
    const auto camera = GetCamera();
    if (camera && IsShownHere(*camera) && !size().isEmpty()) {
        GiveViewSize(*camera);
    }
}

}  // namespace kvmon
