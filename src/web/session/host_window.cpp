#include "web/session/host_window.h"

#include <QtGui/QAccessible>
#include <QtWidgets/QApplication>

namespace kvmon {

std::vector<QWidget*> HostWindow::TabWidgets() const {
    std::vector<QWidget*> widgets;
    for (QWidget* widget = nextInFocusChain(); widget != this; widget = widget->nextInFocusChain()) {
        if ((widget->focusPolicy() & Qt::TabFocus) != 0 && widget->isEnabled() && widget->isVisibleTo(this) &&
            widget->focusProxy() == nullptr && widget->window() == this) {
            widgets.push_back(widget);
        }
    }
    return widgets;
}

std::uint8_t HostWindow::Edges() const {
    if (QApplication::activePopupWidget() != nullptr || QApplication::activeModalWidget() != nullptr ||
        QApplication::activeWindow() != this) {
        return 0;
    }
    const std::vector<QWidget*> widgets = TabWidgets();
    if (widgets.empty()) {
        return kFirst | kLast;
    }
    const QWidget* const has = focusWidget();
    return static_cast<std::uint8_t>((has == widgets.front() ? kFirst : 0) |
                                     (has == widgets.back() ? kLast : 0));
}

void HostWindow::Enter(TabEntry entry) {
    const bool bFromBehind = entry == TabEntry::AtLast;
    const std::vector<QWidget*> widgets = TabWidgets();
    if (QApplication::activeModalWidget() == nullptr && QApplication::activePopupWidget() == nullptr &&
        !widgets.empty()) {
        (bFromBehind ? widgets.back() : widgets.front())
            ->setFocus(bFromBehind ? Qt::BacktabFocusReason : Qt::TabFocusReason);
    }
}

QString HostWindow::FocusName() {
    QWidget* const widget = QApplication::focusWidget();
    QAccessibleInterface* const named =
        widget != nullptr ? QAccessible::queryAccessibleInterface(widget) : nullptr;
    return named != nullptr ? named->text(QAccessible::Name) : QString();
}

bool HostWindow::focusNextPrevChild(bool bNext) {
    return (Edges() & (bNext ? kLast : kFirst)) != 0 || QWidget::focusNextPrevChild(bNext);
}

}  // namespace kvmon
