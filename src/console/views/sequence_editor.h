// The part of the views' dialog that edits the steps of a sequence.
#pragma once

#include <QtWidgets/QWidget>
#include <functional>
#include <string>
#include <vector>

#include "console/views/named_view.h"

class QComboBox;
class QPushButton;
class QSpinBox;
class QTreeWidget;

namespace kvmon {

// Edits the steps that it is shown, in place. User interface thread only.
class SequenceEditor final : public QWidget {
public:
    SequenceEditor(QWidget* parent, std::function<void()> onCountChanged);

    // Null, or steps that stay where they are until the next call, and the views that a step can have.
    void Show(std::vector<ViewStep>* steps, std::vector<std::string> views);

private:
    QPushButton* AddButton(const char* name, std::uint32_t text, void (SequenceEditor::*slot)());
    void Fill(int selected);
    int Selected() const;
    void AddStep();
    void RemoveStep();
    void OnEdited();

    const std::function<void()> m_onCountChanged;
    QTreeWidget* m_list;
    QComboBox* m_view;
    QSpinBox* m_seconds;
    QPushButton* m_add = nullptr;
    QPushButton* m_remove = nullptr;
    std::vector<ViewStep>* m_steps = nullptr;
    std::vector<std::string> m_views;
    bool m_bFilling = false;
};

// A list of two columns, as the dialog has them.
QTreeWidget* MakeViewsTree(QWidget* parent, const char* name, std::uint32_t first, std::uint32_t second,
                           int rows);

}  // namespace kvmon
