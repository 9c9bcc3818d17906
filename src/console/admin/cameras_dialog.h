// The window of a recorder's cameras, for who may change them.
#pragma once

#include <QtCore/QTimer>
#include <QtWidgets/QDialog>
#include <vector>

#include "console/admin/api_caller.h"
#include "console/admin/camera_row.h"

class QLabel;
class QPushButton;
class QTreeWidget;

namespace kvmon {

class EmptyHint;

// Shows what the recorder tells, anew every two seconds; each change is the recorder's at once. User
// interface thread only.
class CamerasDialog final : public QDialog {
public:
    // `info` is what the recorder's interface tells of itself.
    CamerasDialog(ApiTarget target, const QJsonObject& info, QWidget* parent);

protected:
    void changeEvent(QEvent* event) override;

private:
    QPushButton* AddButton(const char* name, std::uint32_t text, void (CamerasDialog::*slot)());
    void MakeList();
    void Refresh();
    void OnList(const ApiAnswer& answer);
    void Fill();
    void PlaceColumns();
    int Selected() const;
    const CameraRow* SelectedRow() const;
    void UpdateButtons();
    void Say(const std::string& text);
    // A change that the recorder is asked for; then the list is read anew.
    void Change(const char* method, const std::string& path, const QJsonObject& body);

    void Find();
    void Add();
    void Edit();
    void Remove();
    void MoveUp() { Move(-1); }
    void MoveDown() { Move(1); }
    void Move(int by);
    void OpenEntry(const CameraRow& row, QWidget& over);

    ApiCaller m_api;
    const bool m_bCanChange;
    const bool m_bCanFind;
    const bool m_bCanTest;
    std::vector<CameraRow> m_rows;
    QString m_revision;
    int m_nChosen = -1;    // the channel that is to be chosen with the next list
    bool m_bBusy = false;  // a change is under way
    bool m_bListed = false;
    bool m_bFailed = false;  // the last list did not come
    QTreeWidget* m_list = nullptr;
    EmptyHint* m_hint = nullptr;
    QPushButton* m_find = nullptr;
    QPushButton* m_add = nullptr;
    QPushButton* m_edit = nullptr;
    QPushButton* m_remove = nullptr;
    QPushButton* m_up = nullptr;
    QPushButton* m_down = nullptr;
    QLabel* m_message = nullptr;
    QTimer m_poll;
};

}  // namespace kvmon
