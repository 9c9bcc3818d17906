// Several widgets that change together, and are drawn once.
#pragma once

#include <QtCore/QPointer>
#include <QtWidgets/QWidget>
#include <initializer_list>
#include <vector>

namespace kvmon {

class RedrawOff {
public:
    explicit RedrawOff(std::initializer_list<QWidget*> widgets) {
        for (QWidget* const widget : widgets) {
            if (widget != nullptr && widget->updatesEnabled()) {
                widget->setUpdatesEnabled(false);
                m_widgets.emplace_back(widget);
            }
        }
    }
    ~RedrawOff() {
        for (const QPointer<QWidget>& widget : m_widgets) {
            if (widget) {
                widget->setUpdatesEnabled(true);
            }
        }
    }
    RedrawOff(const RedrawOff&) = delete;
    RedrawOff& operator=(const RedrawOff&) = delete;

private:
    std::vector<QPointer<QWidget>> m_widgets;
};

}  // namespace kvmon
