// Storing, renaming and deleting a camera's presets.
#pragma once

#include <QtCore/QTimer>
#include <QtWidgets/QDialog>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class QLabel;
class QLineEdit;
class QPushButton;
class QTableWidget;

namespace kvmon {

class CBaseCamera;

// Waits for nobody: it queues commands and shows what the recorder tells afterwards. User interface thread
// only.
class PresetDialog : public QDialog {
public:
    PresetDialog(const std::shared_ptr<CBaseCamera>& camera, QWidget* parent);

    // To be called when the camera's presets, or how the recorder stores them, may have changed.
    void Refresh();

private:
    void BuildTable();
    void BuildButtons();
    void ShowChoice();
    void Enable();
    int Chosen() const;
    bool TakesNames() const;
    void GoTo();
    void Store();
    void Rename();
    void LookForArrival();
    void EndRename(std::optional<std::uint32_t> word);
    void Delete();
    void Say(std::uint32_t text);
    void AwaitTable();

    const std::weak_ptr<CBaseCamera> m_camera;
    QTableWidget* m_table = nullptr;
    QLineEdit* m_name = nullptr;
    QLabel* m_note = nullptr;
    QPushButton* m_goTo = nullptr;
    QPushButton* m_store = nullptr;
    QPushButton* m_rename = nullptr;
    QPushButton* m_delete = nullptr;
    std::string m_nameShown;  // what the field was last set to
    QTimer m_arrival;         // the camera is on its way to the preset that is renamed
    QTimer m_reread;
    int m_renamed = -1;
    bool m_bMayHaveArrived = false;
    std::uint32_t m_nFailedBefore = 0;
};

}  // namespace kvmon
