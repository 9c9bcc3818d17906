#include "skin/button_accessible.h"

#include <QtWidgets/QAccessibleWidget>
#include <QtWidgets/QWidget>

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
    ButtonAccessible(QWidget* widget, AccessibleButton& button)
        : QAccessibleWidget(widget, RoleOf(button.Mode())) {}

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
        if (widget()->isEnabled()) {
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

    QStringList keyBindingsForAction(const QString& name) const override {
        return name == pressAction() && !Button().KeyText().isEmpty() ? QStringList{Button().KeyText()}
                                                                      : QStringList();
    }

    QString text(QAccessible::Text kind) const override {
        return kind == QAccessible::Accelerator ? Button().KeyText() : QAccessibleWidget::text(kind);
    }

private:
    AccessibleButton& Button() const { return *dynamic_cast<AccessibleButton*>(widget()); }
};

QAccessibleInterface* MakeButtonInterface(const QString&, QObject* object) {
    auto* const button = dynamic_cast<AccessibleButton*>(object);
    return button == nullptr ? nullptr : new ButtonAccessible(static_cast<QWidget*>(object), *button);
}

}  // namespace

void InstallButtonAccessibility() {
    static const bool installed = (QAccessible::installFactory(&MakeButtonInterface), true);
    static_cast<void>(installed);
}

}  // namespace kvmon
