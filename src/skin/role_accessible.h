// What a widget of our own is to assistive tools.
#pragma once

#include <QtGui/QAccessible>

class QWidget;

namespace kvmon {

// In the widget's constructor: plain widgets tell nothing of themselves.
void SetAccessibleRole(QWidget& widget, QAccessible::Role role);

}  // namespace kvmon
