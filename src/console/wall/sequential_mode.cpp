#include "console/wall/sequential_mode.h"

#include <QtWidgets/QComboBox>

#include "console/dialogs/interval_dialog.h"
#include "console/dialogs/message_box.h"
#include "console/layout/sequential_rules.h"
#include "console/panel/console_controls.h"
#include "console/ports/console_messages.h"
#include "console/ports/desk.h"
#include "console/ports/timers.h"
#include "console/settings/console_settings.h"
#include "console/wall/menu_spot.h"
#include "console/wall/view_controller.h"
#include "persist/log_file.h"
#include "persist/orvo_registry.h"
#include "skin/bc_menu.h"
#include "skin/window_base.h"

namespace kvmon {

namespace {

constexpr int kMenuGap = 2;  // between the page menu and its button

}  // namespace

void SequentialMode::SetInterval(std::uint32_t milliseconds) {
    m_dwInterval = milliseconds;
    m_dwLead = SequentialLeadMs(milliseconds);
}

void SequentialMode::SetSequentialMode(bool on) {
    m_bOn = on;
    if (on) {
        const ViewStyle allowed = GetSequentialStyle(
            m_view.CheckedStyle(), m_view.Orders().Custom().GetStyle(), m_view.GetShowableCount());
        if (allowed != m_view.CheckedStyle()) {
            m_view.ViewStyleChanged(allowed, {.bUpdateButtons = true});
        }
        m_timers.SetTimer(kTimerPrepare, static_cast<int>(m_dwLead));
        m_timers.SetTimer(kTimerSequential, static_cast<int>(m_dwInterval));
    } else {
        m_timers.KillTimer(kTimerPrepare);
        m_timers.KillTimer(kTimerSequential);
        m_view.ViewStyleChanged(m_view.GetStyle());
    }
    m_controls.SetPressed(kCtlSequential, on);
}

void SequentialMode::EndIfNotAllowed() {
    const ViewStyle style = m_view.CheckedStyle();
    if (m_bOn &&
        GetSequentialStyle(style, m_view.Orders().Custom().GetStyle(), m_view.GetShowableCount()) != style) {
        SetSequentialMode(false);
    }
}

void SequentialMode::OnSwitchTimer() {
    m_timers.KillTimer(kTimerSequential);
    if (m_view.CheckedStyle() != VIEW_STYLE_PIP) {
        m_view.StepPage();
    }
    m_timers.SetTimer(kTimerPrepare, static_cast<int>(m_dwLead));
    m_timers.SetTimer(kTimerSequential, static_cast<int>(m_dwInterval));
}

void SequentialMode::OnPrepareTimer() {
    m_timers.KillTimer(kTimerPrepare);
    m_view.PrepareNextPage();
}

void SequentialMode::OnBtnSequential() {
    if (m_controls.IsPressed(kCtlSequential)) {
        m_view.NoteChoice();
    }
    // The press may have been on its way when the session ended.
    SetSequentialMode(m_controls.IsPressed(kCtlSequential) && m_desk.IsLoggedIn());
}

void SequentialMode::OpenIntervalDialog() {
    auto* const dialog = new IntervalDialog(static_cast<int>(m_dwInterval / 1000), m_desk.DialogHost());
    QObject::connect(dialog, &QDialog::accepted, &m_desk.Window(),
                     [this, dialog] { OnIntervalChosen(dialog->Seconds()); });
    OpenDialog(dialog);
}

void SequentialMode::OnIntervalChosen(int seconds) {
    SetInterval(static_cast<std::uint32_t>(seconds) * 1000);
    Registry().WriteProfileInt(m_settings.ViewKey(), "SequentialInterval", m_dwInterval);
    m_controls.SetPressed(kCtlSequential, true);
    OnBtnSequential();
}

void SequentialMode::OnBtnSequentialPage() {
    const QComboBox& combo = m_view.Combo();
    if (combo.count() == 0) {
        return;
    }
    const MenuSpot spot = m_spots.Find(kCtlPageMenu);
    auto* const menu = new BCMenu(spot.owner);
    for (int i = 0; i < combo.count(); ++i) {
        menu->AppendMenu(i == combo.currentIndex() ? MF_CHECKED : 0, i + 1,
                         EscapeMenuText(combo.itemText(i).toStdString()));
    }
    const QPoint place =
        spot.bAtButton ? spot.above - QPoint(0, menu->sizeHint().height() + kMenuGap) : spot.above;
    menu->TrackPopupMenu(place, {}, [this](int id) {
        const int nSel = id - 1;
        if (nSel < 0) {
            return;
        }
        Trace("CMainDlg::OnBtnSequentialPage: nSel = %d\n", nSel);
        const QComboBox& pages = m_view.Combo();
        if (nSel < pages.count() && nSel != pages.currentIndex()) {
            m_view.GoToCamera(m_view.CheckedStyle() == VIEW_STYLE_SINGLE_1CH ? pages.itemData(nSel).toInt()
                                                                             : nSel);
        }
    });
}

}  // namespace kvmon
