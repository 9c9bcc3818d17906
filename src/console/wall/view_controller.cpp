#include "console/wall/view_controller.h"

#include <QtWidgets/QComboBox>
#include <algorithm>

#include "channel/base/channel_messages.h"
#include "channel/camera/base_camera.h"
#include "channel/cell/video_wnd.h"
#include "console/dialogs/dialog_parts.h"
#include "console/panel/console_controls.h"
#include "console/ports/commands.h"
#include "console/ports/desk.h"
#include "console/ports/wall_events.h"
#include "console/settings/console_settings.h"
#include "console/wall/camera_list.h"
#include "console/wall/heard_camera.h"
#include "console/wall/redraw_off.h"
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

constexpr int kMostEmptyCells = 1024;

QRect ScreenRect(const QWidget& widget) {
    return {widget.mapToGlobal(QPoint(0, 0)), widget.size()};
}

}  // namespace

ViewController::ViewController(Desk& desk, Commands& commands, WallEvents& events, CellPool& cells,
                               ConsoleControls& controls, const CameraList& cameras,
                               const ConsoleSettings& settings, HeardCamera& heard,
                               const RecorderList& recorders)
    : m_desk(desk),
      m_commands(commands),
      m_events(events),
      m_cells(cells),
      m_controls(controls),
      m_cameras(cameras),
      m_settings(settings),
      m_heard(heard),
      m_recorders(recorders),
      m_combo(std::make_unique<CExtComboBox>(&desk.Window())),
      m_rcView(ViewRectOfConsole(kMinConsoleWidth, kMinConsoleHeight)) {
    m_combo->setObjectName(QStringLiteral("pageCombo"));
    m_combo->setAccessibleName(Text(4004));
    m_combo->hide();
    QObject::connect(m_combo.get(), &QComboBox::activated, &desk.Window(), [this] {
        NoteChoice();
        OnSelchangePage();
    });
}

ViewController::~ViewController() = default;

void ViewController::CreateVideoWnd() {
    m_cells.CreateVideoWnd(m_desk.Window(), m_displays > 1 ? 2 * kMaxPageSize : kMaxPageSize);
}

bool ViewController::FillEmptySlots() {
    if (!m_cells.HasEmptySlot()) {
        return false;
    }
    CreateVideoWnd();
    RearrangeVideoWindowLocation();
    return true;
}

void ViewController::SetDisplaysAvailable(int displays) {
    m_displays = displays;
    if (displays > 1 && m_cells.GetCount() > 0) {
        CreateVideoWnd();
    }
}

void ViewController::UpdateChannelArray() {
    const auto sum = static_cast<std::uint32_t>(CountShowable());
    if (sum != m_uShowableCameraCount) {
        m_events.OnCellCountChanges();
    }
    m_uShowableCameraCount = sum;
    Trace("CMainDlg::UpdateChannelArray: m_uShowableCameraCount=%d...\n", GetShowableCount());
    if (static_cast<int>(sum) - m_emptyCells >= kCameraWarnCount && !m_bUpperLimitWarned) {
        m_bUpperLimitWarned = true;
        m_desk.ShowMessage(LoadString(3566), LoadString(5026));
    }
    m_orders.SetTotalCount(sum);
    ShowStyleButtons();
}

// The list decides what is hidden, so that what is counted and what is shown are the same.
int ViewController::CountShowable() const {
    const ConsoleOptions& options = m_settings.options;
    const CameraList& cameras = m_cameras;
    int sum = cameras.GetCount() + m_emptyCells;
    for (int i = 0; i < m_recorders.GetServerCount(); ++i) {
        if (m_recorders.GetServer(i)->GetCameraCount() == 0) {
            sum += std::max(m_recorders.GetServer(i)->CountChannels(
                                {options.bShowNoConfig, options.bShowNoMonitoringRight}),
                            0);
        }
    }
    return sum;
}

// The present style's button is shown even when there are too few cameras for it, so that it can be lit.
void ViewController::ShowStyleButtons() {
    for (int id = StyleButtonId(VIEW_STYLE_6CH); id <= kCtlLastStyle; ++id) {
        const bool bPresent = m_nStyle < kViewStyleCount && id == StyleButtonId(CheckedStyle());
        m_controls.SetShown(id, m_uShowableCameraCount >= kManyCameras || bPresent);
    }
}

void ViewController::SetEmptyCells(int count) {
    m_emptyCells = std::clamp(count, 0, kMostEmptyCells);
    UpdateChannelArray();
}

void ViewController::NoteChoice() {
    m_events.OnUserChose(false);
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

void ViewController::ViewStyleChanged(int style, StyleChange change) {
    const ViewStyle checked = CheckedViewStyle(style);
    if (checked != m_nStyle || (change.bForce && m_nStyle != VIEW_STYLE_PIP)) {
        m_nStyle = checked;
        InitPageComboBox(checked);
        ShowStyleButtons();
    }
    {
        const RedrawOff batch{&m_desk.Window(), m_fullScreen.data(), m_second.data()};
        RearrangeVideoWindowLocation();
    }
    if (change.bUpdateButtons) {
        for (int id = kCtlFirstStyle; id <= kCtlLastStyle; ++id) {
            m_controls.SetPressed(id, id == StyleButtonId(checked));
        }
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
    const auto camera = m_cameras.GetCameraByChannel(channel);
    return camera && camera->IsCameraUsable() && m_cameras.IsConfigured(channel);
}

int ViewController::GetSelectedChannel() const {
    return CheckedStyle() == VIEW_STYLE_SINGLE_1CH && m_combo->count() > 0
               ? m_combo->itemData(SelectedItem()).toInt()
               : -1;
}

std::optional<CellSwap> ViewController::FindSwap(int channel, const QPoint& drop) {
    if (!m_cameras.IsChannel(channel) || m_nStyle == VIEW_STYLE_SINGLE_1CH) {
        return std::nullopt;
    }
    // Small windows stand on the large one: the user means the one that can be seen at the point.
    const CVideoWnd* const hit = m_cells.FindAt(drop);
    const auto dropsOn = [&](int other) {
        const auto camera = m_cameras.GetCameraByChannel(other);
        return hit != nullptr && hit == m_cells.FindByCamera(camera.get());
    };
    if (m_nStyle == VIEW_STYLE_PIP) {
        return FindPipSwap(m_orders.PipList(), channel, dropsOn);
    }
    CChannelArray* const array = m_orders.Find(CheckedStyle());
    return array != nullptr ? FindGridSwap(*array, channel, HasSecondPanel(), dropsOn) : std::nullopt;
}

CVideoWnd* ViewController::FindDropTarget(int channel, const QPoint& drop) {
    return FindSwap(channel, drop) ? m_cells.FindAt(drop) : FindEmptyCell(channel, drop);
}

CVideoWnd* ViewController::FindEmptyCell(int channel, const QPoint& drop) const {
    if (!m_cameras.IsChannel(channel) || m_nStyle == VIEW_STYLE_SINGLE_1CH || m_nStyle == VIEW_STYLE_PIP) {
        return nullptr;
    }
    CVideoWnd* const hit = m_cells.FindAt(drop);
    return hit != nullptr && hit->isVisible() && !hit->GetCamera() ? hit : nullptr;
}

// The places that are on show change their numbers; that of the empty one has no camera. The second display's
// cells are those of the next page.
bool ViewController::MoveToEmpty(int channel, const CVideoWnd* target) {
    CChannelArray* const array = m_orders.Find(CheckedStyle());
    if (array == nullptr || target == nullptr) {
        return false;
    }
    const auto moved = static_cast<std::uint32_t>(channel);
    const std::uint32_t first = array->GetCurPage() * array->GetPageSize();
    const std::uint32_t end = std::min(
        first + array->GetPageSize() * static_cast<std::uint32_t>(GetDisplayCount()), array->GetTotalCount());
    const std::uint32_t to = first + static_cast<std::uint32_t>(m_cells.IndexOf(target));
    std::uint32_t from = first;
    while (from < end && array->GetIdx(from) != moved) {
        ++from;
    }
    if (from >= end || to >= end) {
        return false;
    }
    array->SetIdx(from, array->GetIdx(to));
    array->SetIdx(to, moved);
    array->SetCurAct(moved);
    return true;
}

void ViewController::OnVideoWndMove(int channel, const QPoint& drop) {
    const auto swap = FindSwap(channel, drop);
    if (!swap) {
        if (!MoveToEmpty(channel, FindEmptyCell(channel, drop))) {
            return;
        }
    } else if (m_nStyle == VIEW_STYLE_PIP) {
        auto& list = m_orders.PipList();
        std::swap(list[static_cast<std::size_t>(swap->from)], list[static_cast<std::size_t>(swap->to)]);
    } else if (!SwapCells(*m_orders.Find(CheckedStyle()), *swap)) {
        return;
    }
    m_events.OnUserChose(true);
    ViewStyleChanged(m_nStyle);
}

bool ViewController::PutCamera(int channel, const CVideoWnd* target) {
    const int window = m_cells.IndexOf(target);
    if (!m_cameras.IsChannel(channel) || window < 0 || !target->isVisible()) {
        return false;
    }
    if (m_nStyle == VIEW_STYLE_SINGLE_1CH) {
        GoToCamera(channel);
        return true;
    }
    const auto wanted = static_cast<std::uint32_t>(channel);
    if (m_nStyle == VIEW_STYLE_PIP) {
        auto& list = m_orders.PipList();
        if (window >= static_cast<int>(list.size()) || list[static_cast<std::size_t>(window)] == wanted) {
            return false;
        }
        std::replace(list.begin(), list.end(), wanted, list[static_cast<std::size_t>(window)]);
        list[static_cast<std::size_t>(window)] = wanted;
    } else {
        // The second display's cells are those of the next page.
        CChannelArray& array = *m_orders.Find(CheckedStyle());
        const int shown = static_cast<int>(array.GetPageSize()) * GetDisplayCount();
        const std::uint32_t to =
            array.GetCurPage() * array.GetPageSize() + static_cast<std::uint32_t>(window);
        const std::uint32_t from = array.FindChannel(wanted);
        if (window >= shown || to >= array.GetTotalCount() || to == from) {
            return false;
        }
        array.SetIdx(from, array.GetIdx(to));
        array.SetIdx(to, wanted);
        array.SetCurAct(wanted);
    }
    m_events.OnUserChose(true);
    ViewStyleChanged(m_nStyle);
    return true;
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

void ViewController::ActivateWindow(CVideoWnd* window) {
    if (!m_cells.Activate(window, m_heard.IsAudioChecked() ? PlaySound::Yes : PlaySound::No)) {
        return;
    }
    const int channel = m_cameras.FindChannel(m_cells.GetActiveCamera().get());
    m_commands.AskFor(WM_UPDATEVSINFO_CAMERASTATUS, std::max(m_cameras.Get(channel).server, 0));
    m_commands.RefreshControls();
    m_events.OnActiveCellChanged();
}

void ViewController::ActivateWindowAt(const QPoint& screen) {
    if (CVideoWnd* const window = m_cells.FindAt(screen)) {
        ChooseWindow(window);
    }
}

void ViewController::ChooseWindow(CVideoWnd* window) {
    ActivateWindow(window);
    const int channel = m_cameras.FindChannel(window->GetCamera().get());
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
    ViewStyleChanged(m_nStyle, {.bUpdateButtons = true, .bForce = true});
}

void ViewController::LeaveMultiDisplay() {
    if (!m_second) {
        return;
    }
    BringHome(*m_second);
    m_second = nullptr;
    m_events.OnSecondPanelUnused();
    m_orders.SetScreens(1);
    ViewStyleChanged(m_nStyle, {.bUpdateButtons = true, .bForce = true});
}

void ViewController::BringHome(QWidget& panel) {
    for (int i = 0; i < m_cells.GetCount(); ++i) {
        CVideoWnd* const window = m_cells.Get(i);
        if (window != nullptr && window->parentWidget() == &panel) {
            window->SetCamera(nullptr);
            window->hide();
            window->setParent(&m_desk.Window());
            window->SetGround(Ground::Panel);
        }
    }
}

}  // namespace kvmon
