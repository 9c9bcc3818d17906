// The commands that open the settings, the recorders' list and the languages, and what follows from them.
#pragma once

#include <QtCore/QPointer>

class QDialog;
class QWidget;

namespace kvmon {

class CMainDlg;
struct ConsoleOptions;

// A dialog that is open already comes to the front. Nothing here waits. User interface thread only.
class OptionsCommand {
public:
    explicit OptionsCommand(CMainDlg& dlg) : m_dlg(dlg) {}

    // Command 1605. There are options only after the first connection.
    void OpenSettings();
    // Above the given window.
    void OpenRecorders(QWidget& above);
    // The session is over: its recorders' list goes, with what a user was about to enter.
    void CloseRecorders();
    // Command 1602.
    void OpenLanguages();

    // Lets all windows know whether they flash on events.
    void ApplyEventHighLight();

private:
    bool Raise() const;
    void Apply(const ConsoleOptions& wanted);

    CMainDlg& m_dlg;
    QPointer<QDialog> m_dialog;
    QPointer<QDialog> m_recorders;
};

}  // namespace kvmon
