#include "console/view_controller.h"

#include <QtWidgets/QComboBox>
#include <algorithm>

#include "channel/base_camera.h"
#include "channel/channel_messages.h"
#include "channel/video_wnd.h"
#include "console/dialog_parts.h"
#include "console/main_dlg.h"
#include "persist/log_file.h"
#include "persist/orvo_registry.h"
#include "persist/string_table.h"
#include "server/recorder_list.h"
#include "server/server_messages.h"
#include "skin/background.h"
#include "skin/ext_combo_box.h"
#include "skin/skin_messages.h"

namespace kvmon {

namespace {

QRect ToQRect(const PixelRect& rect) {
    return {rect.left, rect.top, rect.Width(), rect.Height()};
}

PixelRect ClientRect(const QWidget& widget) {
    return {0, 0, widget.width(), widget.height()};
}

QRect ScreenRect(const QWidget& widget) {
    return {widget.mapToGlobal(QPoint(0, 0)), widget.size()};
}

// One visible step for a batch of moves.
class RedrawOff {
public:
    explicit RedrawOff(std::initializer_list<QWidget*> widgets) {
        for (QWidget* const widget : widgets) {
            if (widget != nullptr && widget->updatesEnabled()) {
                widget->setUpdatesEnabled(false);
                m_widgets.emplace_back(widget);
            }
        }
    }
    ~RedrawOff() {
        for (const QPointer<QWidget>& widget : m_widgets) {
            if (widget) {
                widget->setUpdatesEnabled(true);
            }
        }
    }
    RedrawOff(const RedrawOff&) = delete;
    RedrawOff& operator=(const RedrawOff&) = delete;

private:
    std::vector<QPointer<QWidget>> m_widgets;
};

}  // namespace

ViewController::ViewController(CMainDlg& dlg)
    : m_dlg(dlg),
      m_combo(std::make_unique<CExtComboBox>(&dlg)),
      m_rcView(ViewRectOfConsole(kMinConsoleWidth, kMinConsoleHeight)) {
    m_combo->setObjectName(QStringLiteral("pageCombo"));
    m_combo->setAccessibleName(Text(4004));
    m_combo->hide();
    QObject::connect(m_combo.get(), &QComboBox::activated, &dlg, [this] { OnSelchangePage(); });
}

ViewController::~ViewController() = default;

void ViewController::CreateVideoWnd() {
    m_cells.CreateVideoWnd(m_dlg,
                           m_dlg.Screens().IsMultiDisplayAvailable() ? 2 * kMaxPageSize : kMaxPageSize);
}

void ViewController::UpdateChannelArray() {
    const auto sum = static_cast<std::uint32_t>(CountShowable());
    m_uShowableCameraCount = sum;
    Trace("CMainDlg::UpdateChannelArray: m_uShowableCameraCount=%d...\n", GetShowableCount());
    if (sum >= kCameraWarnCount && !m_bUpperLimitWarned) {
        m_bUpperLimitWarned = true;
        m_dlg.ShowMessage(LoadString(3566), LoadString(5026));
    }
    m_orders.SetTotalCount(sum);
    ShowStyleButtons();
}

// What is hidden is not counted: one rule, the list's, decides for both.
int ViewController::CountShowable() const {
    const ConsoleOptions& options = m_dlg.Options();
    const CameraList& cameras = m_dlg.Cameras();
    int sum = cameras.GetCount();
    for (int i = 0; i < m_dlg.Recorders().GetServerCount(); ++i) {
        if (m_dlg.Recorders().GetServer(i)->GetCameraCount() == 0) {
            sum += std::max(m_dlg.Recorders().GetServer(i)->CountChannels(
                                {options.bShowNoConfig, options.bShowNoMonitoringRight}),
                            0);
        }
    }
    return sum;
}

// The present style's button is there to be lit, also when there are fewer cameras than it is offered for.
void ViewController::ShowStyleButtons() {
    for (int id = StyleButtonId(VIEW_STYLE_6CH); id <= kCtlLastStyle; ++id) {
        const bool bPresent = m_nStyle < kViewStyleCount && id == StyleButtonId(CheckedStyle());
        m_dlg.Controls().SetShown(id, m_uShowableCameraCount >= kManyCameras || bPresent);
    }
}

void ViewController::OnSessionEnd() {
    m_uShowableCameraCount = 0;
    if (m_cells.GetCount() > 0) {
        InitPageComboBox(CheckedStyle());
        RearrangeVideoWindowLocation();
    }
}

// No selection counts as the first item.
int ViewController::SelectedItem() const {
    return m_combo->count() > 0 ? std::max(m_combo->currentIndex(), 0) : -1;
}

void ViewController::ViewStyleChanged(int style, bool bUpdateButtons, bool bForce) {
    const ViewStyle checked = CheckedViewStyle(style);
    if (checked != m_nStyle || (bForce && m_nStyle != VIEW_STYLE_PIP)) {
        m_nStyle = checked;
        InitPageComboBox(checked);
        ShowStyleButtons();
    }
    {
        const RedrawOff batch{&m_dlg, m_fullScreen.data(), m_second.data()};
        RearrangeVideoWindowLocation();
    }
    if (bUpdateButtons) {
        for (int id = kCtlFirstStyle; id <= kCtlLastStyle; ++id) {
            m_dlg.Controls().SetPressed(id, id == StyleButtonId(checked));
        }
    }
}

LayoutInput ViewController::MakeLayoutInput() {
    const std::optional<PixelRect> fullScreen =
        m_fullScreen ? std::optional(ClientRect(*m_fullScreen)) : std::nullopt;
    LayoutInput input;
    input.style = CheckedStyle();
    input.windowCount = m_cells.GetCount();
    input.cameraCount = m_dlg.Cameras().GetCount();
    input.bMaxViewMode = m_bMaxViewMode;
    input.bAudio = m_dlg.IsAudioChecked();
    input.bStopInvisible = m_dlg.Options().bStopGetDataWhenViewInvisible;
    input.area = GetViewRect(fullScreen, m_bMaxViewMode, m_rcView, false);
    input.singleArea = GetViewRect(fullScreen, m_bMaxViewMode, m_rcView, true);
    if (m_second) {
        input.secondArea = ClientRect(*m_second);
    }
    input.array = m_orders.Find(input.style);
    input.rows = static_cast<int>(m_orders.Custom().GetRows());
    input.columns = static_cast<int>(m_orders.Custom().GetColumns());
    input.pipList = m_orders.PipList();
    input.pipChildren =
        PipChildCount(Registry().GetProfileInt(m_dlg.KeyName(), "PIPChildChannel", 0), GetShowableCount());
    m_comboChannels.clear();
    for (int i = 0; input.style == VIEW_STYLE_SINGLE_1CH && i < m_combo->count(); ++i) {
        m_comboChannels.push_back(m_combo->itemData(i).toInt());
    }
    input.comboChannels = m_comboChannels;
    input.comboSelection = SelectedItem();
    return input;
}

void ViewController::RearrangeVideoWindowLocation() {
    if (m_cells.GetCount() == 0) {
        return;
    }
    for (int n = 0; n < m_dlg.Cameras().GetCount(); ++n) {
        if (const auto camera = m_dlg.Cameras().GetCameraByChannel(n)) {
            camera->SetVideoWnd({});
        }
    }
    Apply(ComputeLayout(MakeLayoutInput()));
}

void ViewController::Apply(const LayoutPlan& plan) {
    m_dlg.Drag().Cancel();  // the places are others now
    if (plan.restartChannel >= 0) {
        Trace("CMainDlg::RearrangeVideoWindowLocation: VIEW_STYLE_SINGLE_1CH, uCamIdx=%u, restart...\n",
              static_cast<unsigned>(plan.restartChannel));
        ForgetFrameSize(plan.restartChannel);
    }
    for (const CellPlan& cell : plan.cells) {
        ApplyCell(cell);
    }
    ApplyStreams(plan.streams);
    if (CVideoWnd* const window = m_cells.Get(plan.activeWindow)) {
        ActivateWindow(window);
    }
    m_dlg.Audio().Sync();
    m_dlg.OnWallChanged();
}

void ViewController::ApplyCell(const CellPlan& cell) {
    CVideoWnd* const window = m_cells.Get(cell.window);
    if (window == nullptr) {
        return;
    }
    QWidget* host = &m_dlg;
    if (cell.host == CellHost::Second && m_second) {
        host = m_second;
    } else if (cell.host == CellHost::Main && m_fullScreen) {
        host = m_fullScreen;
    }
    if (!cell.shown) {
        window->hide();
        window->SetCamera(nullptr);
    }
    if (window->parentWidget() != host) {
        window->setParent(host);
    }
    const auto camera = cell.shown ? m_dlg.Cameras().GetCameraByChannel(cell.channel) : nullptr;
    if (window->GetCamera() != camera) {
        // The size that follows is none of the channel's that leaves: it would take another stream for it.
        window->SetCamera(nullptr);
    }
    if (cell.placed) {
        window->setGeometry(ToQRect(cell.rect));
    }
    if (cell.order == CellOrder::Top) {
        window->raise();
    } else if (cell.order == CellOrder::Bottom) {
        window->lower();
    }
    if (cell.shown) {
        window->SetCamera(camera);
        window->show();
    }
}

void ViewController::ApplyStreams(const std::vector<StreamPlan>& streams) {
    // Who is not to be heard any more falls silent before another is heard.
    for (std::size_t n = 0; n < streams.size(); ++n) {
        const auto camera = m_dlg.Cameras().GetCameraByChannel(static_cast<int>(n));
        if (camera && streams[n] != StreamPlan::StartWithAudio) {
            camera->SetPlayAudio(false);
        }
    }
    for (std::size_t n = 0; n < streams.size(); ++n) {
        const auto camera = m_dlg.Cameras().GetCameraByChannel(static_cast<int>(n));
        if (!camera) {
            continue;
        }
        switch (streams[n]) {
            case StreamPlan::Keep:
                break;
            case StreamPlan::Start:
                camera->StartPlaying(false, false);
                break;
            case StreamPlan::StartWithAudio:
                camera->StartPlaying(true, true);
                break;
            case StreamPlan::Stop:
                if (camera->IsVideoRunning()) {
                    camera->PausePlaying();
                }
                break;
        }
    }
}

// The next picture then reports its size anew.
void ViewController::ForgetFrameSize(int channel) {
    if (const auto camera = m_dlg.Cameras().GetCameraByChannel(channel)) {
        camera->PausePlaying();
        camera->ForgetFrameSize();
    }
}

void ViewController::RepaintCaptions() {
    for (int i = 0; i < m_cells.GetCount(); ++i) {
        if (CVideoWnd* const window = m_cells.Get(i)) {
            window->PostMessage(kMsgCaptionRefresh, 0, 0);
        }
    }
}

bool ViewController::IsMonitorable(int channel) const {
    const auto camera = m_dlg.Cameras().GetCameraByChannel(channel);
    return camera && camera->IsCameraUsable() && m_dlg.Cameras().IsConfigured(channel);
}

int ViewController::GetSelectedChannel() const {
    return CheckedStyle() == VIEW_STYLE_SINGLE_1CH && m_combo->count() > 0
               ? m_combo->itemData(SelectedItem()).toInt()
               : -1;
}

void ViewController::OnVideoSizeChange(int channel) {
    CVideoWnd* const window = m_cells.Get(0);
    if (m_nStyle != VIEW_STYLE_SINGLE_1CH || m_bMaxViewMode || IsFullScreen() || window == nullptr ||
        channel != GetSelectedChannel() ||
        window->GetCamera() != m_dlg.Cameras().GetCameraByChannel(channel) || !IsMonitorable(channel)) {
        return;
    }
    Trace("CMainDlg::OnVideoSizeChange, rcView.Width=%d, rcView.Height=%d...\n", m_rcView.Width(),
          m_rcView.Height());
    window->setGeometry(ToQRect(FitSingleView(m_rcView, window->GetWidth(), window->GetHeight())));
    window->show();
}

std::optional<CellSwap> ViewController::FindSwap(int channel, const QPoint& drop) {
    if (!m_dlg.Cameras().IsChannel(channel) || m_nStyle == VIEW_STYLE_SINGLE_1CH) {
        return std::nullopt;
    }
    // Small windows stand on the large one: what a user sees at the point is what he means.
    const CVideoWnd* const hit = m_cells.FindAt(drop);
    const auto dropsOn = [&](int other) {
        const auto camera = m_dlg.Cameras().GetCameraByChannel(other);
        return hit != nullptr && hit == m_cells.FindByCamera(camera.get());
    };
    if (m_nStyle == VIEW_STYLE_PIP) {
        return FindPipSwap(m_orders.PipList(), channel, dropsOn);
    }
    CChannelArray* const array = m_orders.Find(CheckedStyle());
    return array != nullptr ? FindGridSwap(*array, channel, HasSecondPanel(), dropsOn) : std::nullopt;
}

CVideoWnd* ViewController::FindDropTarget(int channel, const QPoint& drop) {
    return FindSwap(channel, drop) ? m_cells.FindAt(drop) : nullptr;
}

void ViewController::OnVideoWndMove(int channel, const QPoint& drop) {
    const auto swap = FindSwap(channel, drop);
    if (!swap) {
        return;
    }
    if (m_nStyle == VIEW_STYLE_PIP) {
        auto& list = m_orders.PipList();
        std::swap(list[static_cast<std::size_t>(swap->from)], list[static_cast<std::size_t>(swap->to)]);
    } else if (!SwapCells(*m_orders.Find(CheckedStyle()), *swap)) {
        return;
    }
    ViewStyleChanged(m_nStyle, false, false);
}

void ViewController::RepaintNeighbours(int index) {
    const CVideoWnd* const moved = m_cells.Get(index);
    if (moved == nullptr) {
        return;
    }
    const QRect rect = ScreenRect(*moved);
    for (int i = 0; i < m_cells.GetCount(); ++i) {
        CVideoWnd* const other = m_cells.Get(i);
        if (other == nullptr || other == moved || !other->isVisible()) {
            continue;
        }
        const QRect otherRect = ScreenRect(*other);
        if (otherRect.contains(rect.topLeft()) || otherRect.contains(rect.topRight()) ||
            otherRect.contains(rect.bottomLeft()) || otherRect.contains(rect.bottomRight())) {
            other->repaint();
        }
    }
}

void ViewController::ActivateNext(int step) {
    const int count = m_cells.GetCount();
    int first = m_cells.GetActive() != nullptr ? m_cells.IndexOf(m_cells.GetActive()) : -1;
    if (first < 0) {
        first = step > 0 ? count - 1 : 0;
    }
    for (int n = 1; n < count; ++n) {
        CVideoWnd* const cell = m_cells.Get((first + n * step + n * count) % count);
        if (cell->isVisible() && cell->GetCamera()) {
            ActivateWindow(cell);
            return;
        }
    }
}

void ViewController::ActivateWindow(CVideoWnd* window) {
    if (!m_cells.Activate(window, m_dlg.IsAudioChecked())) {
        return;
    }
    const int channel = m_dlg.Cameras().FindChannel(m_cells.GetActiveCamera().get());
    m_dlg.PostMessage(WM_UPDATEVSINFO, WM_UPDATEVSINFO_CAMERASTATUS,
                      std::max(m_dlg.Cameras().Get(channel).server, 0));
    m_dlg.PostMessage(WM_COMMAND, kCmdRefreshControls, 0);
    m_dlg.Binding().ShowRecorderOfActiveCell();
}

void ViewController::ActivateWindowAt(const QPoint& screen) {
    CVideoWnd* const window = m_cells.FindAt(screen);
    if (window == nullptr) {
        return;
    }
    ActivateWindow(window);
    const int channel = m_dlg.Cameras().FindChannel(window->GetCamera().get());
    CChannelArray* const array = m_orders.Find(CheckedStyle());
    if (array != nullptr && channel >= 0) {
        array->SetCurAct(static_cast<std::uint32_t>(channel));
    }
}

void ViewController::SetSecondPanel(QWidget* panel) {
    if (panel == nullptr) {
        LeaveMultiDisplay();
        return;
    }
    m_second = panel;
    m_orders.SetScreens(2);
    ViewStyleChanged(m_nStyle, true, true);
}

void ViewController::LeaveMultiDisplay() {
    if (!m_second) {
        return;
    }
    BringHome(*m_second);
    m_second = nullptr;
    m_dlg.Screens().OnSecondPanelUnused();
    m_orders.SetScreens(1);
    ViewStyleChanged(m_nStyle, true, true);
}

void ViewController::BringHome(QWidget& panel) {
    for (int i = 0; i < m_cells.GetCount(); ++i) {
        CVideoWnd* const window = m_cells.Get(i);
        if (window != nullptr && window->parentWidget() == &panel) {
            window->SetCamera(nullptr);
            window->hide();
            window->setParent(&m_dlg);
        }
    }
}

void ViewController::SetConsoleSize(int width, int height) {
    m_rcView = ViewRectOfConsole(width, height);
    PlaceCells();
}

void ViewController::PlaceCells() {
    // Cameras and streams are left alone.
    const RedrawOff batch{&m_dlg, m_fullScreen.data(), m_second.data()};
    for (const CellPlan& cell : ComputeLayout(MakeLayoutInput()).cells) {
        CVideoWnd* const window = m_cells.Get(cell.window);
        if (cell.placed && window != nullptr) {
            window->setGeometry(ToQRect(cell.rect));
        }
    }
    OnVideoSizeChange(GetSelectedChannel());
    m_dlg.OnWallChanged();
}

}  // namespace kvmon
