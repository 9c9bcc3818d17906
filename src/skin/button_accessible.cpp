#include "skin/button_accessible.h"

#include <QtWidgets/QAccessibleWidget>

#include "skin/xskin_od_button.h"

namespace kvmon {

namespace {

QAccessible::Role RoleOf(ButtonMode mode) {
    switch (mode) {
        case ButtonMode::kToggle:
            return QAccessible::CheckBox;
        case ButtonMode::kRadio:
            return QAccessible::RadioButton;
        default:
            return QAccessible::Button;
    }
}

class ButtonAccessible final : public QAccessibleWidget {
public:
    explicit ButtonAccessible(CXSkinODButton* button) : QAccessibleWidget(button, RoleOf(button->Mode())) {}

    QAccessible::State state() const override {
        QAccessible::State state = QAccessibleWidget::state();
        state.checkable = Button().Mode() != ButtonMode::kPlain;
        state.checked = Button().GetCheck() == BST_CHECKED;
        state.pressed = Button().IsPressed();
        state.busy = Button().IsBusy();
        return state;
    }

    QStringList actionNames() const override {
        QStringList names = QAccessibleWidget::actionNames();
        if (Button().isEnabled()) {
            names.prepend(pressAction());
        }
        return names;
    }

    void doAction(const QString& name) override {
        if (name == pressAction()) {
            Button().Click();
        } else {
            QAccessibleWidget::doAction(name);
        }
    }

private:
    CXSkinODButton& Button() const { return *static_cast<CXSkinODButton*>(widget()); }
};

QAccessibleInterface* MakeInterface(const QString&, QObject* object) {
    auto* const button = dynamic_cast<CXSkinODButton*>(object);
    return button == nullptr ? nullptr : new ButtonAccessible(button);
}

}  // namespace

void InstallButtonAccessibility() {
    static const bool installed = (QAccessible::installFactory(&MakeInterface), true);
    static_cast<void>(installed);
}

}  // namespace kvmon
