// The list of the recorders that are shown together with the first one.
#pragma once

#include <QtWidgets/QDialog>
#include <optional>
#include <string>
#include <vector>

#include "console/dialogs/recorder_trials.h"
#include "console/settings/multi_server_list.h"

class QDialogButtonBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QTableWidget;

namespace kvmon {

class EmptyHint;

// Changes take effect with OK, when who opened the dialog takes the list. User interface thread only.
class RecorderListDialog final : public QDialog {
public:
    // `servers` with the first one in front, which is not for change here; where there is none, all that are
    // added are others.
    // A test of one ends after `trialTime`.
    RecorderListDialog(const std::vector<SavedServer>& servers, QWidget* parent,
                       Milliseconds trialTime = Milliseconds(15000));

    // Without the first one.
    const std::vector<SavedServer>& GetServers() const { return m_servers; }

private:
    void MakeTable();
    void Fill(int selected);
    void OnSelection();
    int Selected() const;
    void Add();
    void Change();
    void Remove();
    void Test();
    bool StopTest();
    void OnTested(std::size_t row, const RecorderTestReport& report);
    void SayTested(std::size_t done, std::size_t all);
    void Say(const std::string& text);
    void OpenEntry(const SavedServer& entry, int index);

    const std::optional<SavedServer> m_first;  // the page's own; nothing while there is none
    std::vector<SavedServer> m_servers;        // the others, a row each
    std::vector<std::string> m_states;         // what a test of each has told
    EmptyHint* m_hint = nullptr;
    QTableWidget* m_table;
    QPushButton* m_add;
    QPushButton* m_change;
    QPushButton* m_remove;
    QPushButton* m_test;  // of all; stops it while it runs
    QProgressBar* m_progress;
    QLabel* m_message;
    QDialogButtonBox* m_buttons;
    bool m_bChanged = false;
    RecorderTrials m_trials;
};

}  // namespace kvmon
