// The keys of a list with buttons beside it.
#pragma once

#include <QtCore/QObject>

class QPushButton;
class QWidget;

namespace kvmon {

// What the keys press; null for a list that has no such button.
struct ListButtons {
    QPushButton* add = nullptr;     // Insert
    QPushButton* change = nullptr;  // Enter, F2
    QPushButton* remove = nullptr;  // Delete
    QPushButton* up = nullptr;      // Ctrl with an arrow
    QPushButton* down = nullptr;
};

// Goes with the list. A key whose button is disabled is the list's own. User interface thread only.
class ListKeys final : public QObject {
public:
    ListKeys(QWidget& list, const ListButtons& buttons);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    const ListButtons m_buttons;
};

}  // namespace kvmon
