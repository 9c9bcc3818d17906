#include "console/sequential_mode.h"

#include <QtWidgets/QComboBox>

#include "console/interval_dialog.h"
#include "console/main_dlg.h"
#include "console/menu_spot.h"
#include "console/message_box.h"
#include "console/sequential_rules.h"
#include "persist/log_file.h"
#include "persist/orvo_registry.h"
#include "skin/bc_menu.h"
#include "skin/xskin_od_button.h"

namespace kvmon {

namespace {

constexpr int kMenuGap = 2;  // between the page menu and its button

}  // namespace

void SequentialMode::SetInterval(std::uint32_t milliseconds) {
    m_dwInterval = milliseconds;
    m_dwLead = SequentialLeadMs(milliseconds);
}

void SequentialMode::SetSequentialMode(bool on, bool bUpdateButton) {
    m_bOn = on;
    ViewController& view = m_dlg.View();
    if (on) {
        const ViewStyle allowed = GetSequentialStyle(view.CheckedStyle(), view.Orders().Custom().GetStyle(),
                                                     view.GetShowableCount());
        if (allowed != view.CheckedStyle()) {
            view.ViewStyleChanged(allowed, true, false);
        }
        m_dlg.SetTimer(kTimerPrepare, static_cast<int>(m_dwLead));
        m_dlg.SetTimer(kTimerSequential, static_cast<int>(m_dwInterval));
    } else {
        m_dlg.KillTimer(kTimerPrepare);
        m_dlg.KillTimer(kTimerSequential);
        view.ViewStyleChanged(view.GetStyle(), false, false);
    }
    if (bUpdateButton) {
        m_dlg.Controls().SetPressed(kCtlSequential, on);
    }
}

void SequentialMode::EndIfNotAllowed() {
    ViewController& view = m_dlg.View();
    const ViewStyle style = view.CheckedStyle();
    if (m_bOn &&
        GetSequentialStyle(style, view.Orders().Custom().GetStyle(), view.GetShowableCount()) != style) {
        SetSequentialMode(false, true);
    }
}

void SequentialMode::OnSwitchTimer() {
    m_dlg.KillTimer(kTimerSequential);
    ViewController& view = m_dlg.View();
    if (view.CheckedStyle() != VIEW_STYLE_PIP) {
        view.StepPage();
    }
    m_dlg.SetTimer(kTimerPrepare, static_cast<int>(m_dwLead));
    m_dlg.SetTimer(kTimerSequential, static_cast<int>(m_dwInterval));
}

void SequentialMode::OnPrepareTimer() {
    m_dlg.KillTimer(kTimerPrepare);
    m_dlg.View().PrepareNextPage();
}

void SequentialMode::OnBtnSequential() {
    // The press may have been on its way when the session ended.
    SetSequentialMode(m_dlg.Controls().IsPressed(kCtlSequential) && m_dlg.IsLoggedIn(), false);
}

void SequentialMode::OpenIntervalDialog() {
    auto* const dialog =
        new IntervalDialog(static_cast<int>(m_dwInterval / 1000), m_dlg.Screens().DialogHost());
    QObject::connect(dialog, &QDialog::accepted, &m_dlg,
                     [this, dialog] { OnIntervalChosen(dialog->Seconds()); });
    OpenDialog(dialog);
}

void SequentialMode::OnIntervalChosen(int seconds) {
    SetInterval(static_cast<std::uint32_t>(seconds) * 1000);
    Registry().WriteProfileInt(m_dlg.KeyName(), "SequentialInterval", m_dwInterval);
    m_dlg.Controls().SetPressed(kCtlSequential, true);
    OnBtnSequential();
}

void SequentialMode::OnBtnSequentialPage() {
    const QComboBox& combo = m_dlg.View().Combo();
    const QWidget* const button = m_dlg.GetButton(kCtlPageMenu);
    if (button == nullptr || combo.count() == 0) {
        return;
    }
    const MenuSpot spot = SpotForMenu(m_dlg, kCtlPageMenu);
    auto* const menu = new BCMenu(spot.owner);
    for (int i = 0; i < combo.count(); ++i) {
        menu->AppendMenu(i == combo.currentIndex() ? MF_CHECKED : 0, i + 1,
                         EscapeMenuText(combo.itemText(i).toStdString()));
    }
    const QPoint place =
        spot.bAtButton ? button->mapToGlobal(QPoint(0, -menu->sizeHint().height() - kMenuGap)) : spot.at;
    menu->TrackPopupMenu(place, {}, [this](int id) {
        const int nSel = id - 1;
        if (nSel < 0) {
            return;
        }
        Trace("CMainDlg::OnBtnSequentialPage: nSel = %d\n", nSel);
        const ViewController& view = m_dlg.View();
        const QComboBox& pages = m_dlg.View().Combo();
        if (nSel < pages.count() && nSel != pages.currentIndex()) {
            const int target =
                view.CheckedStyle() == VIEW_STYLE_SINGLE_1CH ? pages.itemData(nSel).toInt() : nSel;
            m_dlg.PostMessage(kMsgGoToCamera, static_cast<WParam>(target), 0);
        }
    });
}

}  // namespace kvmon
