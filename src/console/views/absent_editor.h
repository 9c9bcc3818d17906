// The part of the views' dialog that tells which cameras of a view are not there, and takes them out of it.
#pragma once

#include <QtWidgets/QWidget>
#include <functional>
#include <optional>
#include <vector>

#include "console/views/named_view.h"

class QPushButton;
class QTreeWidget;

namespace kvmon {

// Changes the view that it is shown, in place. User interface thread only.
class AbsentEditor final : public QWidget {
public:
    // Without `there` nobody knows which cameras there are, and none is absent.
    AbsentEditor(QWidget* parent, std::optional<std::vector<ViewCamera>> there,
                 std::function<void()> onTakenOut);

    // Null, or a view that stays where it is until the next call.
    void Show(NamedView* view);
    // The view has no such cameras.
    bool IsEmpty() const { return m_places.empty(); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QPushButton* AddButton(const char* name, std::uint32_t text, void (AbsentEditor::*slot)());
    void Fill(int selected);
    void TakeOutOne();
    void TakeOutAll();

    const std::optional<std::vector<ViewCamera>> m_there;
    const std::function<void()> m_onTakenOut;
    QTreeWidget* m_list;
    QPushButton* m_one = nullptr;
    QPushButton* m_all = nullptr;
    NamedView* m_view = nullptr;
    std::vector<int> m_places;  // of those that are listed
};

}  // namespace kvmon
