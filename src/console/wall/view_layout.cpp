// Which cell stands where, and which cameras stream for it.
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
#include "console/wall/view_controller.h"
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

}  // namespace

LayoutInput ViewController::MakeLayoutInput() {
    const std::optional<PixelRect> fullScreen =
        m_fullScreen ? std::optional(ClientRect(*m_fullScreen)) : std::nullopt;
    LayoutInput input;
    input.style = CheckedStyle();
    input.windowCount = m_cells.GetCount();
    input.cameraCount = m_cameras.GetCount();
    input.bMaxViewMode = m_bMaxViewMode;
    input.bAudio = m_heard.IsAudioChecked();
    input.bStopInvisible = m_settings.options.bStopGetDataWhenViewInvisible;
    input.area = GetViewRect(fullScreen, m_bMaxViewMode, m_rcView, WallUse::ManyCells);
    input.singleArea = GetViewRect(fullScreen, m_bMaxViewMode, m_rcView, WallUse::OneCell);
    if (m_second) {
        input.secondArea = ClientRect(*m_second);
    }
    input.array = m_orders.Find(input.style);
    input.rows = static_cast<int>(m_orders.Custom().GetRows());
    input.columns = static_cast<int>(m_orders.Custom().GetColumns());
    input.pipList = m_orders.PipList();
    input.pipChildren = PipChildren();
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
    for (int n = 0; n < m_cameras.GetCount(); ++n) {
        if (const auto camera = m_cameras.GetCameraByChannel(n)) {
            camera->SetVideoWnd({});
        }
    }
    Apply(ComputeLayout(MakeLayoutInput()));
}

void ViewController::Apply(const LayoutPlan& plan) {
    m_events.OnPlacesChange();
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
    m_heard.Sync();
    m_events.OnWallChanged();
}

void ViewController::ApplyCell(const CellPlan& cell) {
    CVideoWnd* const window = m_cells.Get(cell.window);
    if (window == nullptr) {
        return;
    }
    QWidget* host = &m_desk.Window();
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
    window->SetGround(host == &m_desk.Window() ? Ground::Panel : Ground::Black);
    const auto camera = cell.shown ? m_cameras.GetCameraByChannel(cell.channel) : nullptr;
    if (window->GetCamera() != camera) {
        // Before the cell gets its new size, for which the channel that leaves would ask for another stream.
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
    // Silence first, so that never two cameras are heard.
    for (std::size_t n = 0; n < streams.size(); ++n) {
        const auto camera = m_cameras.GetCameraByChannel(static_cast<int>(n));
        if (camera && streams[n] != StreamPlan::StartWithAudio) {
            camera->SetPlayAudio(false);
        }
    }
    for (std::size_t n = 0; n < streams.size(); ++n) {
        const auto camera = m_cameras.GetCameraByChannel(static_cast<int>(n));
        if (!camera) {
            continue;
        }
        switch (streams[n]) {
            case StreamPlan::Keep:
                break;
            case StreamPlan::Start:
                camera->StartPlaying(PlaySound::No);
                break;
            case StreamPlan::StartWithAudio:
                camera->StartPlaying(PlaySound::Yes);
                break;
            case StreamPlan::Stop:
                if (camera->IsVideoRunning()) {
                    camera->PausePlaying();
                }
                break;
        }
    }
}

// So that the next picture reports its size even if it is the same.
void ViewController::ForgetFrameSize(int channel) {
    if (const auto camera = m_cameras.GetCameraByChannel(channel)) {
        camera->PausePlaying();
        camera->ForgetFrameSize();
    }
}

QRect ViewController::WallIn(const QWidget& host) const {
    return &host == &m_desk.Window() ? ToQRect(m_rcView) : host.rect();
}

void ViewController::SetConsoleSize(int width, int height) {
    m_rcView = ViewRectOfConsole(width, height);
    m_rcView.left += m_leftMargin;
    PlaceCells();
}

void ViewController::SetLeftMargin(int width) {
    if (width != m_leftMargin) {
        m_rcView.left += width - m_leftMargin;
        m_leftMargin = width;
        PlaceCells();
        m_events.OnWallMoved();
    }
}

void ViewController::PlaceCells() {
    // Cameras and streams are left alone.
    const RedrawOff batch{&m_desk.Window(), m_fullScreen.data(), m_second.data()};
    for (const CellPlan& cell : ComputeLayout(MakeLayoutInput()).cells) {
        CVideoWnd* const window = m_cells.Get(cell.window);
        if (cell.placed && window != nullptr) {
            window->setGeometry(ToQRect(cell.rect));
        }
    }
    OnVideoSizeChange(GetSelectedChannel());
    m_events.OnWallChanged();
}

void ViewController::OnVideoSizeChange(int channel) {
    CVideoWnd* const window = m_cells.Get(0);
    if (m_nStyle != VIEW_STYLE_SINGLE_1CH || m_bMaxViewMode || IsFullScreen() || window == nullptr ||
        channel != GetSelectedChannel() || window->GetCamera() != m_cameras.GetCameraByChannel(channel) ||
        !IsMonitorable(channel)) {
        return;
    }
    Trace("CMainDlg::OnVideoSizeChange, rcView.Width=%d, rcView.Height=%d...\n", m_rcView.Width(),
          m_rcView.Height());
    window->setGeometry(ToQRect(FitSingleView(m_rcView, window->GetWidth(), window->GetHeight())));
    window->show();
}

}  // namespace kvmon
