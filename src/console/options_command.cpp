#include "console/options_command.h"

#include "channel/camera/base_camera.h"
#include "console/dialogs/message_box.h"
#include "console/dialogs/recorder_list_dialog.h"
#include "console/dialogs/set_lang_dlg.h"
#include "console/dialogs/settings_dlg.h"
#include "console/events/event_center.h"
#include "console/ports/client_site.h"
#include "console/ports/desk.h"
#include "console/recorders/server_binding.h"
#include "console/settings/console_settings.h"
#include "console/wall/camera_list.h"
#include "console/wall/cell_pool.h"
#include "console/wall/view_controller.h"
#include "persist/orvo_registry.h"
#include "persist/utilities.h"
#include "skin/window_base.h"

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
    if (Raise() || !m_binding.IsInitialised()) {
        return;
    }
    m_settings.options.look = m_site.GetLook();
    const auto tab = static_cast<int>(Registry().GetProfileInt(m_settings.key, kTabEntry, 0));
    CSettingsDlg::Actions actions;
    actions.resetOrder = [this] { m_view.ResetDisplayOrder(); };
    actions.openRecorders = [this] {
        if (m_dialog) {
            OpenRecorders(*m_dialog);
        }
    };
    auto* const dialog = new CSettingsDlg(m_settings.options, tab,
                                          IsLowIntegrity() ? SnapshotFolder::Fixed : SnapshotFolder::Chosen,
                                          std::move(actions), m_desk.DialogHost());
    m_dialog = dialog;
    dialog->setProperty(kOutlivesSession, true);
    QObject::connect(dialog, &QDialog::finished, &m_desk.Window(), [this, dialog](int result) {
        if (dialog->GetTab() >= 0) {
            Registry().WriteProfileInt(m_settings.key, kTabEntry,
                                       static_cast<std::uint32_t>(dialog->GetTab()));
        }
        if (result == QDialog::Accepted) {
            Apply(dialog->GetOptions());
        }
    });
    OpenDialog(dialog);
}

void OptionsCommand::Apply(const ConsoleOptions& wanted) {
    StoreChangedOptions(Registry(), m_settings.key, m_settings.options, wanted);
    Take(wanted);
    m_site.TellOthers(SharedThing::Options);
}

void OptionsCommand::Follow() {
    if (m_settings.key.empty()) {
        return;
    }
    ConsoleOptions stored;
    stored.Load(Registry(), m_settings.key);
    stored.look = m_settings.options.look;  // the whole program's
    Take(stored);
}

void OptionsCommand::Take(const ConsoleOptions& wanted) {
    const ConsoleOptions old = m_settings.options;
    m_settings.options = wanted;
    wanted.HandToChannels();
    if (wanted.bEventHighLight != old.bEventHighLight) {
        m_cells.SetEventBlink(wanted.bEventHighLight);
    }
    const bool bOthersShown = wanted.bShowNoMonitoringRight != old.bShowNoMonitoringRight ||
                              wanted.bShowNoConfig != old.bShowNoConfig;
    if (bOthersShown && m_desk.IsLoggedIn()) {
        m_view.UpdateChannelArray();
        m_view.SaveViewState(m_settings.ViewKey());
        m_binding.OnBtnServerLis();
    }
    if (wanted.bShowRecorderName != old.bShowRecorderName) {
        m_binding.NameRecordersInCaptions();
    }
    if (wanted.bEnableEventNotify != old.bEnableEventNotify) {
        m_events.OnTimer();
    }
    if (wanted.look != old.look) {
        m_site.ChooseLook(wanted.look);
    }
    if (wanted.bShowBrowserToolbar != old.bShowBrowserToolbar) {
        m_site.ShowBrowserToolbar(wanted.bShowBrowserToolbar);
    }
    if (wanted.bStreamFromCamera != old.bStreamFromCamera) {
        for (int n = 0; n < m_cameras.GetCount(); ++n) {
            const auto camera = m_cameras.GetCameraByChannel(n);
            if (camera && camera->CanStreamFromCamera()) {
                camera->FollowStreamOption();
            }
        }
    }
}

void OptionsCommand::OpenRecorders(QWidget& above) {
    if (m_recorders) {
        ComeForward(*m_recorders);
        return;
    }
    if (!m_binding.IsInitialised() || !m_desk.IsLoggedIn()) {
        return;
    }
    auto* const dialog = new RecorderListDialog(m_binding.DescribeServers(), &above);
    m_recorders = dialog;
    QObject::connect(dialog, &QDialog::accepted, &m_desk.Window(), [this, dialog] {
        m_binding.ChangeServers(dialog->GetServers());
        m_site.TellOthers(SharedThing::Recorders);
    });
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
    auto* const dialog =
        new CSetLangDlg(CSetLangDlg::GetAvailableLanguages(), m_settings.language, m_desk.DialogHost());
    m_dialog = dialog;
    dialog->setProperty(kOutlivesSession, true);
    QObject::connect(dialog, &QDialog::accepted, &m_desk.Window(), [this, dialog] {
        if (const std::uint16_t langid = dialog->GetLanguage()) {
            m_site.NotifyChangeLanguage(langid);
        }
    });
    OpenDialog(dialog);
}

}  // namespace kvmon
