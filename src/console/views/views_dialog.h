// The dialog of the named views: their order, their names, sequences of them, and files.
#pragma once

#include <QtCore/QByteArray>
#include <QtWidgets/QDialog>
#include <optional>
#include <string>
#include <vector>

#include "console/views/named_view.h"
#include "platform/worker.h"

class QDialogButtonBox;
class QLabel;
class QPushButton;
class QTreeWidget;

namespace kvmon {

class AbsentEditor;
class Desk;
class EmptyHint;
class SequenceEditor;
class ViewSwitch;

// Works on a list of its own; OK hands it over. User interface thread only.
class ViewsDialog final : public QDialog {
public:
    // The wall as it is, to be saved, and the cameras that there are; nothing where there is no wall.
    ViewsDialog(std::vector<NamedView> views, std::optional<NamedView> present,
                std::optional<std::vector<ViewCamera>> there, QWidget* parent);

    const std::vector<NamedView>& Views() const { return m_views; }
    // The view that is to be opened; empty for none.
    const std::string& ToOpen() const { return m_toOpen; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QPushButton* AddButton(const char* name, std::uint32_t text, void (ViewsDialog::*slot)());
    void MakeList();
    void Fill(int selected);
    void FillPart();
    void ShowPart();
    void OnTakenOut();
    void OnStepCount();
    int Selected() const;
    NamedView* SelectedView();
    NamedView* SelectedSequence();
    std::vector<std::string> PlainNames() const;
    void UpdateButtons();
    void Append(NamedView view);
    void Tell(std::uint32_t text, const std::string& value = {});

    void SavePresent();
    void NewSequence();
    void Rename();
    void OnRenamed();
    void Delete();
    void MoveUp() { Move(-1); }
    void MoveDown() { Move(1); }
    void Move(int by);
    void OpenSelected();
    void Import();
    void BeginFile(std::uint32_t text);
    void EndFile();
    void StopFile();
    void OnRead(const std::optional<QByteArray>& text);
    void Export();
    void OnWritten(bool bWritten);

    std::vector<NamedView> m_views;
    const std::optional<NamedView> m_present;
    std::string m_toOpen;
    QTreeWidget* m_list = nullptr;
    SequenceEditor* m_steps = nullptr;
    AbsentEditor* m_absent = nullptr;
    QPushButton* m_save = nullptr;
    QPushButton* m_newSequence = nullptr;
    QPushButton* m_rename = nullptr;
    QPushButton* m_delete = nullptr;
    QPushButton* m_up = nullptr;
    QPushButton* m_down = nullptr;
    QPushButton* m_import = nullptr;
    QPushButton* m_export = nullptr;
    EmptyHint* m_hint = nullptr;
    QLabel* m_message = nullptr;
    QPushButton* m_stop = nullptr;  // while a file is read or written
    Worker m_worker;                // reads and writes files, which may hang
    std::uint32_t m_nWork = 0;      // tells its end from that of one that was given up
    bool m_bFilling = false;
    bool m_bEditing = false;  // a name
};

// Command kCmdViews.
void OpenViewsDialog(Desk& desk, ViewSwitch& views);

}  // namespace kvmon
