#include "skin/role_accessible.h"

#include <QtCore/QVariant>
#include <QtWidgets/QAccessibleWidget>
#include <QtWidgets/QWidget>

namespace kvmon {

namespace {

constexpr const char* kRole = "accessibleRole";

QAccessibleInterface* MakeRoleInterface(const QString&, QObject* object) {
    const QVariant role = object != nullptr ? object->property(kRole) : QVariant();
    auto* const widget = role.isValid() ? qobject_cast<QWidget*>(object) : nullptr;
    return widget != nullptr ? new QAccessibleWidget(widget, static_cast<QAccessible::Role>(role.toInt()))
                             : nullptr;
}

}  // namespace

void SetAccessibleRole(QWidget& widget, QAccessible::Role role) {
    static const bool installed = (QAccessible::installFactory(&MakeRoleInterface), true);
    static_cast<void>(installed);
    widget.setProperty(kRole, static_cast<int>(role));
}

}  // namespace kvmon
