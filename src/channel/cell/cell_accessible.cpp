#include "channel/cell/cell_accessible.h"

#include <QtWidgets/QAccessibleWidget>
#include <QtWidgets/QWidget>

namespace kvmon {

namespace {

class CellAccessible final : public QAccessibleWidget {
public:
    CellAccessible(QWidget& widget, AccessibleCell& cell)
        : QAccessibleWidget(&widget, QAccessible::Graphic), m_cell(cell) {}

    // Any cell can be gone to, though the tab key stops at the active one alone.
    QAccessible::State state() const override {
        QAccessible::State state = QAccessibleWidget::state();
        state.focusable = true;
        state.selectable = true;
        state.selected = m_cell.IsWindowActive();
        return state;
    }

    // The cell is one thing: the view in it has nothing to tell.
    int childCount() const override { return 0; }
    QAccessibleInterface* child(int) const override { return nullptr; }

    QStringList actionNames() const override { return {pressAction(), showMenuAction(), setFocusAction()}; }

    void doAction(const QString& name) override {
        if (name == pressAction()) {
            m_cell.AskForAlone();
        } else if (name == showMenuAction()) {
            m_cell.AskForMenu();
        } else if (name == setFocusAction()) {
            widget()->setFocus(Qt::ShortcutFocusReason);
        }
    }

    QStringList keyBindingsForAction(const QString& name) const override {
        if (name == pressAction()) {
            return {QStringLiteral("Return")};
        }
        return name == showMenuAction() ? QStringList{QStringLiteral("Menu"), QStringLiteral("Shift+F10")}
                                        : QStringList();
    }

private:
    AccessibleCell& m_cell;
};

QAccessibleInterface* MakeInterface(const QString&, QObject* object) {
    auto* const widget = qobject_cast<QWidget*>(object);
    auto* const cell = dynamic_cast<AccessibleCell*>(widget);
    return cell == nullptr ? nullptr : new CellAccessible(*widget, *cell);
}

}  // namespace

void InstallCellAccessibility() {
    static const bool installed = (QAccessible::installFactory(&MakeInterface), true);
    static_cast<void>(installed);
}

void TellSelected(QWidget& cell) {
    QAccessible::State changed;
    changed.selected = true;
    QAccessibleStateChangeEvent notice(&cell, changed);
    QAccessible::updateAccessibility(&notice);
}

}  // namespace kvmon
