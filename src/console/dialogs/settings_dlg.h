// The options, for the user.
#pragma once

#include <QtCore/QTimer>
#include <QtWidgets/QDialog>
#include <functional>
#include <vector>

#include "console/dialogs/settings_pages.h"
#include "console/settings/console_options.h"

class QDialogButtonBox;
class QTabWidget;

namespace kvmon {

// Shows options and lets the user change them; OK can be pressed only when something differs from the start.
// Who opened it takes the result from GetOptions after accept. User interface thread only.
class CSettingsDlg final : public QDialog {
public:
    // What takes effect while the dialog is open.
    struct Actions {
        std::function<void()> resetOrder;
        std::function<void()> openRecorders;
    };

    // A tab that does not exist shows no page until one is chosen.
    CSettingsDlg(const ConsoleOptions& options, int nTab, SnapshotFolder folder, Actions actions,
                 QWidget* parent);

    ConsoleOptions GetOptions() const;
    // The present tab; -1 while there is none.
    int GetTab() const;

private:
    void OnResetOrder();
    void Compare();

    const ConsoleOptions m_start;
    const Actions m_actions;
    std::vector<SettingsPage*> m_pages;
    QTabWidget* m_tabs;
    QDialogButtonBox* m_buttons;
    QTimer m_compare;
};

}  // namespace kvmon
