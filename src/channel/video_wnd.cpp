#include "channel/video_wnd.h"

#include <QtCore/QStringList>
#include <QtGui/QFontMetrics>
#include <QtGui/QHelpEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QApplication>
#include <QtWidgets/QToolTip>
#include <algorithm>
#include <iterator>
#include <utility>

#include "channel/base_camera.h"
#include "channel/cam_command.h"
#include "channel/captions.h"
#include "channel/channel_messages.h"
#include "channel/channel_view.h"
#include "channel/end_stop.h"
#include "channel/ptz_cursor.h"
#include "persist/string_table.h"
#include "skin/input_messages.h"
#include "skin/plain_text.h"

namespace kvmon {

namespace {

constexpr int kDefaultWidth = 702;
constexpr int kDefaultHeight = 480;

constexpr QRgb kGround = qRgb(155, 154, 159);
constexpr QRgb kActiveFrame = qRgb(229, 145, 72);
constexpr QRgb kActiveText = qRgb(255, 255, 255);
constexpr QRgb kInactiveText = qRgb(172, 172, 176);
constexpr int kCornerRadius = 2;

constexpr int kCaptionLeft = kCellMargin + 1;
constexpr int kCaptionTop = 3;
constexpr int kCaptionBottom = 23;
constexpr int kCaptionGap = 7;
constexpr int kCaptionTextHeight = 13;

constexpr int kCursorMs = 1500;
constexpr WParam kPtzDone = 3;
constexpr std::uint32_t kTimerFinger = 74;  // of our own: a finger rests
constexpr std::uint32_t kTimerPressed = 80;
constexpr std::uint32_t kTimerCursor = 81;
constexpr std::uint32_t kTimerBlink = 84;
constexpr std::uint32_t kTimerReadPresets = 85;
constexpr std::uint32_t kTimerPresetCleared = 86;
constexpr std::uint32_t kTimerPresetSet = 87;
constexpr std::uint32_t kTimerReread = 96;
constexpr std::uint32_t kTimerNotify = 97;
constexpr int kFingerMs = 500;
constexpr std::uint32_t kTimerStill = 101;  // of our own: do pictures come?
constexpr int kPressedMs = 500;
constexpr int kBlinkMs = 1000;
constexpr int kRereadMs = 7000;
constexpr int kNotifyMs = 30000;
constexpr int kStillLookMs = 500;

constexpr std::uint32_t kCmdReadPresets = 1983;
constexpr std::uint32_t kZoomLineBit = 1u << static_cast<unsigned>(SubString::DigitalZoom);
constexpr WParam kLeftHeld = 1;
constexpr std::uint32_t kMsgNotify = 1025;
constexpr std::uint32_t kStrStandsStill = 6815;

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

CVideoWnd::CVideoWnd(QWidget* parent)
    : WindowBase(parent),
      m_pChannelView(std::make_unique<CChannelView>(this)),
      m_press(QApplication::startDragDistance()) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    m_pChannelView->SetEventWnd(this);
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
    EndDrag(false, {});
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

void CVideoWnd::SetWindowActive(bool bActive, bool bPlayAudio) {
    if (const auto camera = GetCamera()) {
        camera->SetPlayAudio(bActive && bPlayAudio && camera->HasAudioRight());
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

// --- drawing

CellState CVideoWnd::GetState() const {
    CellState state;
    if (const auto camera = GetCamera()) {
        const CameraInfo info = camera->GetAbilities();
        state.bPtz = info.IsPanAndTiltable() || info.bFocusable;
        state.bPtzOpen = camera->IsPtzEnabled();
        state.bDigitalZoom = camera->IsDigitalZoom();
        state.bSound = camera->IsSupportAudio();
        state.bSoundOpen = camera->HasAudioRight();
        state.bTold = camera->IsStatusTold() && camera->IsCameraUsable();
        state.bManual = camera->IsManualRecording();
        state.flags = camera->GetStatusFlags();
    }
    return state;
}

void CVideoWnd::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    PaintBorder(painter);
    if (GetCamera()) {
        PaintCaptionText(painter, PaintIcon(painter));
    }
}

void CVideoWnd::PaintBorder(QPainter& painter) const {
    painter.fillRect(rect(), QColor(kGround));
    // The pen's pixels lie on the rectangle itself, one outside of the inner one.
    const QRectF frame =
        QRectF(rect()).adjusted(kCellMargin - 0.5, kCellMargin - 0.5, 0.5 - kCellMargin, 0.5 - kCellMargin);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Qt::black, 1));
    painter.setBrush(QColor(m_bActive ? kActiveFrame : kInactiveFrame));
    painter.drawRoundedRect(frame, kCornerRadius, kCornerRadius);
    painter.restore();
}

std::vector<PlacedIcon> CVideoWnd::Icons() const {
    return PlaceIcons(GetState(), width() - kCaptionLeft, kCaptionLeft);
}

// Gives the width that the icons take.
int CVideoWnd::PaintIcon(QPainter& painter) const {
    const int right = width() - kCaptionLeft;
    int left = right;
    for (const PlacedIcon& icon : Icons()) {
        DrawCellIcon(painter, icon.icon, QRectF(icon.x, kIconTop, icon.width, kIconHeight), m_bActive);
        left = icon.x;
    }
    return right - left;
}

void CVideoWnd::PaintCaptionText(QPainter& painter, int iconsWidth) const {
    const auto camera = GetCamera();
    const std::string name = camera ? camera->GetCaptionName() : std::string();
    const QRect place(QPoint(kCaptionLeft, kCaptionTop),
                      QPoint(width() - iconsWidth - kCaptionGap - 1, kCaptionBottom - 1));
    if (name.empty() || place.width() <= 0) {
        return;
    }
    QFont font = painter.font();
    font.setPixelSize(kCaptionTextHeight);
    painter.setFont(font);
    painter.setPen(QColor(m_bActive ? kActiveText : kInactiveText));
    const QFontMetrics metrics(font);
    const QString text =
        metrics.elidedText(QString::fromStdString(DisplayLine(name)), Qt::ElideRight, place.width());
    painter.drawText(place, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, text);
}

void CVideoWnd::RepaintStrip() {
    update(0, 0, width(), kCellMargin + kCellTitleHeight);
}

void CVideoWnd::resizeEvent(QResizeEvent*) {
    m_pChannelView->SetPlace(GetViewRect(size()));
}

// --- status

// The strip in words, for those who cannot see it.
void CVideoWnd::Describe() {
    const auto camera = GetCamera();
    setAccessibleName(camera ? QString::fromStdString(camera->GetCaptionName()) : QString());
    QStringList words;
    if (camera) {
        for (const PlacedIcon& icon : PlaceIcons(GetState(), 0)) {
            words.append(CellIconText(icon.icon));
        }
        if (camera->Picture().GetStillSeconds() > 0) {
            words.append(QString::fromStdString(LoadString(kStrStandsStill)));
        }
    }
    setAccessibleDescription(words.join(QLatin1String(", ")));
}

// Names the icon below the pointer; beside the icons the channel, and what its highlight is about.
void CVideoWnd::ShowTip(const QPoint& point, const QPoint& screen) {
    const auto camera = GetCamera();
    if (!camera || point.y() >= kCellMargin + kCellTitleHeight) {
        QToolTip::hideText();
        return;
    }
    QString text = QString::fromStdString(DisplayLine(camera->GetCaptionName()));
    QRect place(0, 0, width(), kCellMargin + kCellTitleHeight);
    if (camera->Picture().IsEventHighlight()) {
        if (const auto flag = FlagOfEventKind(camera->Picture().GetEventKind())) {
            text += QLatin1Char('\n') + CellIconText(IconOfFlag(*flag));
        }
    }
    for (const PlacedIcon& icon : Icons()) {
        if (point.x() >= icon.x && point.x() < icon.x + icon.width) {
            text = CellIconText(icon.icon);
            place.setLeft(icon.x);
            place.setWidth(icon.width);
        }
    }
    QToolTip::showText(screen, MarkupOf(text.toStdString()), this, place);
}

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
                camera->StartAudioThread(false);
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
            m_hOwner.Post(kMsgManualRecording, wParam == static_cast<WParam>(RecordingResult::Done) ? 1 : 0,
                          m_uIdx);
            return 0;
        case WM_TIMER:
            OnTimer(static_cast<std::uint32_t>(wParam));
            return 0;
        default:
            break;
    }
    if (message >= WM_KEYDOWN && message <= WM_MOUSEWHEEL) {
        return OnInput({message, wParam, lParam}, true) ? 1 : 0;
    }
    return WindowBase::OnMessage(message, wParam, lParam);
}

bool CVideoWnd::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip) {
        const auto& help = static_cast<const QHelpEvent&>(*event);
        ShowTip(help.pos(), help.globalPos());
        return true;
    }
    const auto input = ToInputMessage(*event);
    if (!input) {
        return WindowBase::event(event);
    }
    event->accept();
    OnInput(*input, false);
    return true;
}

// True if the view has nothing of its own to do with the message any more.
bool CVideoWnd::OnInput(const InputMessage& message, bool bInView) {
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
        OpenMenu(message, bInView);
        return false;
    }
    const auto* const rule =
        std::find_if(std::begin(kInputRules), std::end(kInputRules),
                     [&message](const InputRule& r) { return r.number == message.number; });
    if (rule != std::end(kInputRules) && rule->clearsHighlight && ClearHighlight()) {
        return false;
    }
    if (OnPressInput(message, bInView)) {
        return true;
    }
    if (bInView && camera && camera->IsCameraUsable() && OnZoomInput(*camera, message)) {
        return true;
    }
    // The view tells of its own double clicks.
    const bool bForward =
        rule != std::end(kInputRules) ? rule->forwarded : message.number == WM_LBUTTONDBLCLK && !bInView;
    if (!bForward) {
        return false;
    }
    if (message.number == WM_LBUTTONDOWN && camera) {
        BeginPress(*camera, message, bInView);
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
// the press, else when the button is up again.
void CVideoWnd::BeginPress(const CBaseCamera& camera, const InputMessage& message, bool bInView) {
    const QWidget& hit = bInView ? static_cast<const QWidget&>(*m_pChannelView) : *this;
    const QPoint screen = hit.mapToGlobal(UnpackPoint(message.lParam));
    const bool bCentre = bInView && m_bActive;
    // What the picture's own drag takes, the cell does not.
    const bool bMayDrag = !m_bDragging && TellParent(kMsgMayDragCell, screen) != 0;
    if (!bMayDrag) {
        if (bCentre) {
            PTZFunction(message.lParam);
        }
        return;
    }
    const bool bFinger = (message.wParam & kByFinger) != 0;
    m_press.Begin(screen, bFinger);
    m_bCentreAtEnd = bCentre && CanClickToCentre(camera);
    if (bFinger) {
        SetTimer(kTimerFinger, kFingerMs);
    }
}

// True if the message belongs to a drag of the cell and ends here.
bool CVideoWnd::OnPressInput(const InputMessage& message, bool bInView) {
    if (!m_press.IsDown()) {
        return false;
    }
    const QWidget& hit = bInView ? static_cast<const QWidget&>(*m_pChannelView) : *this;
    const QPoint screen = hit.mapToGlobal(UnpackPoint(message.lParam));
    const bool bDragging = m_press.IsDragging();
    switch (message.number) {
        case WM_MOUSEMOVE: {
            if ((message.wParam & kLeftHeld) == 0) {
                EndDrag(false, screen);
                return bDragging;
            }
            const CellPress::Step step = m_press.Move(screen);
            if (step == CellPress::Step::Begins) {
                TellParent(kMsgDragBegins, m_press.Start());
            }
            // Who ends the drag over there, by a key or by another view, says so now.
            if (step != CellPress::Step::Nothing && TellParent(kMsgDragMoves, screen) == 0) {
                m_press.Forget();
            }
            return step != CellPress::Step::Nothing;
        }
        case WM_LBUTTONUP:
            if (!bDragging && m_bCentreAtEnd && bInView &&
                (screen - m_press.Start()).manhattanLength() < QApplication::startDragDistance()) {
                PTZFunction(message.lParam);
            }
            EndDrag(true, screen);
            return bDragging;
        case WM_RBUTTONDOWN:
        case WM_MBUTTONDOWN:
            EndDrag(false, screen);
            return bDragging;
        default:
            return false;
    }
}

// The place of the drop is the console's to judge.
void CVideoWnd::EndDrag(bool bDrop, const QPoint& screen) {
    KillTimer(kTimerFinger);
    m_bCentreAtEnd = false;
    const bool bDragging = m_press.IsDragging();
    m_press.Forget();
    if (!bDragging || TellParent(kMsgDragEnds, screen) == 0) {
        return;
    }
    const auto camera = GetCamera();
    if (bDrop && camera && m_pParentWnd) {
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

// While the picture can be moved the left button belongs to it; the press goes on all the same, since it
// makes the cell the active one. True if the message ends here.
bool CVideoWnd::OnZoomInput(CBaseCamera& camera, const InputMessage& message) {
    if (!camera.IsDigitalZoom()) {
        return false;
    }
    const PixelRect drawn = camera.Picture().GetDrawRect();
    switch (message.number) {
        case WM_LBUTTONDOWN:
            // A whole picture has nowhere to go; its cell has.
            m_bDragging = camera.GetDigitalZoomLevel() > 0;
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
            camera.DZTouchAndGo(drawn, ViewPoint(message.lParam));
            m_pChannelView->RefreshZoomLabel();
            return true;
        default:
            return false;
    }
}

void CVideoWnd::OnZoomWheel(CBaseCamera& camera, const InputMessage& message) {
    const int nLevels = m_wheel.Turn(static_cast<std::int16_t>(message.wParam >> 16 & 0xFFFF));
    if (nLevels == 0) {
        return;
    }
    camera.DZZoomAt(camera.Picture().GetDrawRect(), ViewPoint(message.lParam), nLevels);
    m_pChannelView->RefreshZoomLabel();
    RefreshCursor();
    m_hOwner.Post(WM_COMMAND, kCmdRefreshControls, 0);
}

// --- menu and pointer

// The press has made the cell the active one already.
void CVideoWnd::OpenMenu(const InputMessage& message, bool bInView) {
    const QWidget& hit = bInView ? static_cast<const QWidget&>(*m_pChannelView) : *this;
    const QPoint point = UnpackPoint(message.lParam);
    if (std::exchange(m_bMenuPress, false) && m_pParentWnd && hit.rect().contains(point)) {
        m_pParentWnd->SendMessage(WM_CONTEXTMENU, 0, PackPoint(hit.mapToGlobal(point)));
    }
}

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
        m_pChannelView->setCursor(IsTimerSet(kTimerCursor) ? MovingCursor()
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
    const QSize view = m_pChannelView->size();
    if (!camera || camera->IsDigitalZoom() || !CanClickToCentre(*camera) || view.isEmpty()) {
        return;
    }
    const int x = static_cast<std::int16_t>(point & 0xFFFF);
    const int y = static_cast<std::int16_t>(point >> 16 & 0xFFFF);
    if (!m_pChannelView->rect().contains(x, y)) {
        return;
    }
    SetTimer(kTimerCursor, kCursorMs);
    RefreshCursor();
    const ClassSize size = camera->GetDefaultImageSize();
    camera->AddCamCenterCmd(x * size.cx / view.width(), y * size.cy / view.height());
}

// Shows where the camera came to an end, and lets a held button go on unless that stops it.
void CVideoWnd::OnEndStop(LParam nCode) {
    const EndStop stop = FindEndStop(nCode);
    if (nCode != 0) {
        m_pChannelView->SetMessageText(LoadString(stop.stringId), true);
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
