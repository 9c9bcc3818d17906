#include "console/wall/style_command.h"

#include "console/panel/console_controls.h"
#include "console/wall/sequential_mode.h"
#include "console/wall/view_controller.h"
#include "persist/log_file.h"

namespace kvmon {

void StyleCommand::SelectStyle(ViewStyle style) {
    m_view.NoteChoice();
    const bool bOnePage = IsPageStyle(style) && m_view.GetShowableCount() <= m_view.Orders().PageSize(style);
    m_view.ShowCombo(style != VIEW_STYLE_PIP && !bOnePage);
    if (style == VIEW_STYLE_PIP) {
        m_view.LeaveMultiDisplay();
    } else if (bOnePage && m_sequential.IsOn()) {
        m_sequential.SetSequentialMode(false);
    }
    m_view.ViewStyleChanged(style, {.bUpdateButtons = true});
    if (style != VIEW_STYLE_PIP) {
        m_sequential.EndIfNotAllowed();
        return;
    }
    if (m_sequential.IsOn()) {
        m_sequential.SetSequentialMode(false);
    }
    m_controls.SetPressed(kCtlPip, true);
}

void StyleCommand::SelectCustomStyle(std::uint32_t customStyle) {
    Trace("CMainDlg::OnBtnChannelSetting: Style = %d\n", static_cast<int>(customStyle));
    if (m_view.GetStyle() == VIEW_STYLE_CUSTOM && customStyle == m_view.Orders().Custom().GetStyle()) {
        return;
    }
    m_view.NoteChoice();
    m_view.Orders().Custom().SetStyleAndPage(0, customStyle);
    const bool bOnePage = m_view.GetShowableCount() <= m_view.Orders().PageSize(VIEW_STYLE_CUSTOM);
    m_view.ShowCombo(!bOnePage);
    if (bOnePage && m_sequential.IsOn()) {
        m_sequential.SetSequentialMode(false);
    }
    m_view.ViewStyleChanged(VIEW_STYLE_CUSTOM, {.bUpdateButtons = true, .bForce = true});
    m_view.InitPageComboBox(VIEW_STYLE_CUSTOM);
    m_sequential.EndIfNotAllowed();
}

}  // namespace kvmon
