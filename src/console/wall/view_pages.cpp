// The page combo and the commands that choose a style or a page.
#include <QtCore/QSignalBlocker>
#include <QtWidgets/QComboBox>
#include <algorithm>

#include "channel/camera/base_camera.h"
#include "channel/cell/video_wnd.h"
#include "console/layout/sequential_rules.h"
#include "console/panel/console_controls.h"
#include "console/ports/commands.h"
#include "console/ports/desk.h"
#include "console/ports/wall_events.h"
#include "console/settings/console_settings.h"
#include "console/wall/camera_list.h"
#include "console/wall/heard_camera.h"
#include "console/wall/view_controller.h"
#include "persist/log_file.h"
#include "persist/string_table.h"
#include "platform/text.h"

namespace kvmon {

void ViewController::ShowCombo(bool bShow) {
    m_combo->setVisible(bShow);
    m_controls.SetShown(kCtlPageMenu, bShow);
}

void ViewController::InitPageComboBox(ViewStyle style) {
    const QSignalBlocker quiet(m_combo.get());
    const int remembered = m_cameras.FindChannel(m_cells.GetActiveCamera().get());
    m_combo->clear();
    if (style == VIEW_STYLE_PIP) {
        ShowCombo(false);
        return;
    }
    if (style == VIEW_STYLE_SINGLE_1CH) {
        FillWithCameras();
        m_combo->setCurrentIndex(remembered >= 0 ? m_combo->findData(remembered) : -1);
    } else {
        FillWithPages(style);
    }
    if (m_combo->currentIndex() < 0 && m_combo->count() > 0) {
        m_combo->setCurrentIndex(0);
    }
    ShowCombo(m_combo->count() >= 2);
    if (style == VIEW_STYLE_SINGLE_1CH && HasSecondPanel() && m_combo->count() < 2) {
        LeaveMultiDisplay();
    }
}

void ViewController::FillWithCameras() {
    const CameraList& cameras = m_cameras;
    for (int n = 0; n < cameras.GetCount(); ++n) {
        const auto camera = cameras.GetCameraByChannel(n);
        if (!camera) {
            continue;
        }
        const std::string name = camera->GetCameraName();
        const ComboCandidate candidate{!name.empty(), camera->HasMonitorRight(), cameras.IsConfigured(n),
                                       IsMonitorable(n)};
        if (IsListedInCombo(candidate, m_settings.options.nShowViewTypeInSequentialMode)) {
            m_combo->addItem(QString::fromStdString(name), n);
        }
    }
}

// A page behind the end becomes the last one that has cameras.
void ViewController::LeaveEmptyPage(CChannelArray& array) const {
    const auto isEmpty = [&](std::uint32_t page) {
        for (std::uint32_t i = 0; i < array.GetPageSize(); ++i) {
            const int channel = array.GetAt(page, i);
            if (channel >= 0 && channel < GetShowableCount()) {
                return false;
            }
        }
        return true;
    };
    std::uint32_t page = array.GetCurPage();
    while (page > 0 && isEmpty(page)) {
        --page;
    }
    array.SetCurPage(page);
}

void ViewController::FillWithPages(ViewStyle style) {
    CChannelArray& array = *m_orders.Find(style);
    // Without any camera the page is kept for the next session.
    if (GetShowableCount() > 0) {
        LeaveEmptyPage(array);
    }
    std::uint32_t page = array.GetCurPage();
    if (HasSecondPanel() && page % 2 == 1) {
        array.SetCurPage(--page);
    }
    const int pages = PageItemCount(GetShowableCount(), m_orders.PageSize(style), GetDisplayCount());
    const std::string text = LoadString(4004);
    for (int i = 1; i <= pages; ++i) {
        m_combo->addItem(QString::fromStdString(FormatText("%s %d", text.c_str(), i)), i - 1);
    }
    const int selection = static_cast<int>(page) / GetDisplayCount();
    m_combo->setCurrentIndex(selection < pages ? selection : -1);
}

void ViewController::OnSelchangePage() {
    Trace("CMainDlg::OnSelchangePage: Enter...\n");
    const auto selection = static_cast<std::uint32_t>(std::max(m_combo->currentIndex(), 0));
    const std::uint32_t page = HasSecondPanel() ? selection * 2 : selection;
    const ViewStyle style = CheckedStyle();
    if (style == VIEW_STYLE_CUSTOM) {
        m_orders.Custom().SetStyleAndPage(page, m_orders.Custom().GetStyle());
    } else if (CChannelArray* const array = m_orders.Find(style)) {
        array->SetCurPage(page);
    }
    ViewStyleChanged(m_nStyle);
    m_desk.RefreshCursor();
    Trace("CMainDlg::OnSelchangePage: Leave...\n");
}

void ViewController::StepPage() {
    m_combo->setCurrentIndex(NextComboItem(m_combo->currentIndex(), m_combo->count()));
    OnSelchangePage();
}

void ViewController::TurnPage(int by) {
    const int count = m_combo->count();
    if (count < 2) {
        return;
    }
    NoteChoice();
    m_combo->setCurrentIndex((SelectedItem() + by + count) % count);
    OnSelchangePage();
}

void ViewController::PrepareNextPage() {
    PreparationInput input;
    input.style = CheckedStyle();
    input.bSecondDisplay = HasSecondPanel();
    input.comboSelection = SelectedItem();
    input.comboCount = m_combo->count();
    std::vector<int> channels;
    for (int i = 0; input.style == VIEW_STYLE_SINGLE_1CH && i < m_combo->count(); ++i) {
        channels.push_back(m_combo->itemData(i).toInt());
    }
    input.comboChannels = channels;
    input.array = m_orders.Find(input.style);
    for (const PreparedCell& cell : PlanPreparation(input)) {
        PrepareCamera(cell.channel, cell.window);
    }
}

// Pictures are made in the size of the cell that they will have, so that the page is there at once.
void ViewController::PrepareCamera(int channel, int index) {
    const CVideoWnd* const window = m_cells.Get(index);
    if (window == nullptr || !IsMonitorable(channel)) {
        return;
    }
    const auto camera = m_cameras.GetCameraByChannel(channel);
    const QSizeF inner = QSizeF(CVideoWnd::GetViewRect(window->size()).size()) * window->devicePixelRatioF();
    if (camera->SetViewSize(qRound(inner.width()), qRound(inner.height()))) {
        // Only the active window's camera may be heard, never two.
        const bool bAudio = camera == m_cells.GetActiveCamera() && m_heard.IsAudioChecked();
        camera->StartPlaying(bAudio ? PlaySound::Yes : PlaySound::No);
    }
}

void ViewController::SetMaxViewMode(bool on) {
    m_bMaxViewMode = on;
    ViewStyleChanged(m_nStyle);
}

void ViewController::ResetDisplayOrder() {
    Trace("CMainDlg::OnBtnDisplayOrderReset: this=0x%x...\n",
          static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(&m_desk.Window())));
    m_events.OnUserChose(true);
    m_events.OnOrderReset();
    SetEmptyCells(0);
    m_orders.ResetOrder();
    OnSelchangePage();
}

void ViewController::GoToCamera(int channel) {
    NoteChoice();
    if (m_nStyle == VIEW_STYLE_PIP) {
        ShowCombo(true);
        ActivateWindow(m_cells.Get(channel));
        m_commands.Press(kCtlFirstStyle);
        return;
    }
    const int item = m_nStyle == VIEW_STYLE_SINGLE_1CH ? m_combo->findData(channel) : channel;
    if (item >= 0) {
        m_combo->setCurrentIndex(item);
    }
    OnSelchangePage();
}

bool ViewController::OnCameraListChanged() {
    const int before = m_combo->currentIndex();
    InitPageComboBox(CheckedStyle());
    if (before >= 0 && before < m_combo->count()) {
        m_combo->setCurrentIndex(before);
        return false;
    }
    // An empty list, as before the first camera, keeps the stored page.
    if (before >= 0 && m_combo->count() > 0) {
        m_combo->setCurrentIndex(0);
    }
    return true;
}

}  // namespace kvmon
