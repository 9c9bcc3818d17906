// The list of the recorders that are shown together with the first one.
#pragma once

#include <QtWidgets/QDialog>
#include <vector>

#include "console/settings/multi_server_list.h"

class QDialogButtonBox;
class QPushButton;
class QTableWidget;

namespace kvmon {

class EmptyHint;

// Changes take effect with OK, when who opened the dialog takes the list. User interface thread only.
class RecorderListDialog final : public QDialog {
public:
    // `servers` with the first one in front, which is not for change here.
    RecorderListDialog(std::vector<SavedServer> servers, QWidget* parent);

    // Without the first one.
    std::vector<SavedServer> GetServers() const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void MakeTable();
    void Fill(int selected);
    void OnSelection();
    int Selected() const;
    void Add();
    void Change();
    void Remove();
    void OpenEntry(const SavedServer& entry, int index);

    std::vector<SavedServer> m_servers;
    EmptyHint* m_hint = nullptr;
    QTableWidget* m_table;
    QPushButton* m_add;
    QPushButton* m_change;
    QPushButton* m_remove;
    QDialogButtonBox* m_buttons;
    bool m_bChanged = false;
};

}  // namespace kvmon
