#include "console/options_command.h"

#include "channel/base_camera.h"
#include "channel/video_wnd.h"
#include "console/main_dlg.h"
#include "console/message_box.h"
#include "console/recorder_list_dialog.h"
#include "console/set_lang_dlg.h"
#include "console/settings_dlg.h"
#include "persist/orvo_registry.h"

namespace kvmon {

namespace {

constexpr std::string_view kTabEntry = "SettingsTabIdx";

void ComeForward(QDialog& dialog) {
    dialog.raise();
    dialog.activateWindow();
}

}  // namespace

bool OptionsCommand::Raise() const {
    if (m_dialog) {
        ComeForward(*m_dialog);
    }
    return m_dialog;
}

void OptionsCommand::OpenSettings() {
    if (Raise() || !m_dlg.Binding().IsInitialised()) {
        return;
    }
    const auto tab = static_cast<int>(Registry().GetProfileInt(m_dlg.KeyName(), kTabEntry, 0));
    CSettingsDlg::Actions actions;
    actions.resetOrder = [this] { m_dlg.SendMessage(WM_COMMAND, kCtlOrderReset, 0); };
    actions.openRecorders = [this] {
        if (m_dialog) {
            OpenRecorders(*m_dialog);
        }
    };
    auto* const dialog = new CSettingsDlg(m_dlg.Options(), tab, IsLowIntegrity(), std::move(actions),
                                          m_dlg.Screens().DialogHost());
    m_dialog = dialog;
    dialog->setProperty(kOutlivesSession, true);
    QObject::connect(dialog, &QDialog::finished, &m_dlg, [this, dialog](int result) {
        if (dialog->GetTab() >= 0) {
            Registry().WriteProfileInt(m_dlg.KeyName(), kTabEntry,
                                       static_cast<std::uint32_t>(dialog->GetTab()));
        }
        if (result == QDialog::Accepted) {
            Apply(dialog->GetOptions());
        }
    });
    OpenDialog(dialog);
}

void OptionsCommand::Apply(const ConsoleOptions& wanted) {
    const ConsoleOptions old = m_dlg.Options();
    StoreChangedOptions(Registry(), m_dlg.KeyName(), old, wanted);
    m_dlg.SetOptions(wanted);
    wanted.HandToChannels();
    if (wanted.bEventHighLight != old.bEventHighLight) {
        ApplyEventHighLight();
    }
    const bool bOthersShown = wanted.bShowNoMonitoringRight != old.bShowNoMonitoringRight ||
                              wanted.bShowNoConfig != old.bShowNoConfig;
    if (bOthersShown && m_dlg.IsLoggedIn()) {
        m_dlg.View().UpdateChannelArray();
        m_dlg.View().SaveViewState(m_dlg.KeyName());
        m_dlg.Binding().OnBtnServerLis();
    }
    if (wanted.bShowRecorderName != old.bShowRecorderName) {
        m_dlg.Binding().NameRecordersInCaptions();
    }
    if (wanted.bEnableEventNotify != old.bEnableEventNotify) {
        m_dlg.Events().OnTimer();
    }
    if (wanted.bShowBrowserToolbar != old.bShowBrowserToolbar) {
        m_dlg.Site().ShowBrowserToolbar(wanted.bShowBrowserToolbar);
    }
    if (wanted.bStreamFromCamera != old.bStreamFromCamera) {
        for (int n = 0; n < m_dlg.Cameras().GetCount(); ++n) {
            const auto camera = m_dlg.Cameras().GetCameraByChannel(n);
            if (camera && camera->CanStreamFromCamera()) {
                camera->FollowStreamOption();
            }
        }
    }
}

void OptionsCommand::ApplyEventHighLight() {
    for (int i = 0; i < m_dlg.View().Cells().GetCount(); ++i) {
        if (CVideoWnd* const cell = m_dlg.View().Cells().Get(i)) {
            cell->SetEventBlink(m_dlg.Options().bEventHighLight);
        }
    }
}

void OptionsCommand::OpenRecorders(QWidget& above) {
    if (m_recorders) {
        ComeForward(*m_recorders);
        return;
    }
    if (!m_dlg.Binding().IsInitialised() || !m_dlg.IsLoggedIn()) {
        return;
    }
    auto* const dialog = new RecorderListDialog(m_dlg.Binding().DescribeServers(), &above);
    m_recorders = dialog;
    QObject::connect(dialog, &QDialog::accepted, &m_dlg,
                     [this, dialog] { m_dlg.Binding().ChangeServers(dialog->GetServers()); });
    OpenDialog(dialog);
}

void OptionsCommand::CloseRecorders() {
    if (m_recorders) {
        m_recorders->reject();
        delete m_recorders;  // with the entry that is open above it, and its try
    }
}

void OptionsCommand::OpenLanguages() {
    if (Raise()) {
        return;
    }
    auto* const dialog = new CSetLangDlg(CSetLangDlg::GetAvailableLanguages(), m_dlg.GetLanguage(),
                                         m_dlg.Screens().DialogHost());
    m_dialog = dialog;
    dialog->setProperty(kOutlivesSession, true);
    QObject::connect(dialog, &QDialog::accepted, &m_dlg, [this, dialog] {
        if (const std::uint16_t langid = dialog->GetLanguage()) {
            m_dlg.Site().NotifyChangeLanguage(langid);
        }
    });
    OpenDialog(dialog);
}

}  // namespace kvmon
