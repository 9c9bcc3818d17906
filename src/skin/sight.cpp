#include "skin/sight.h"

#include <QtCore/QEvent>
#include <QtWidgets/QWidget>
#include <utility>

namespace kvmon {

Sight::Sight(QWidget& widget, std::function<void(bool bSeen)> tell)
    : m_widget(widget), m_tell(std::move(tell)) {
    widget.installEventFilter(this);
}

bool Sight::IsShown() const {
    return m_widget.isVisible() && !m_widget.window()->isMinimized() &&
           (!m_window || (m_window->isExposed() && !m_window->property(kCoveredWindow).toBool()));
}

// The window is another one after full screen, and there is none before the first show.
void Sight::FollowWindow() {
    QWindow* const window = m_widget.window()->windowHandle();
    if (window == m_window) {
        return;
    }
    if (m_window) {
        m_window->removeEventFilter(this);
    }
    m_window = window;
    if (window != nullptr) {
        window->installEventFilter(this);
    }
}

void Sight::Look() {
    FollowWindow();
    m_bWasShown = m_bWasShown || m_widget.isVisible();
    const bool bSeen = IsShown() || !m_bWasShown;
    if (std::exchange(m_bSeen, bSeen) != bSeen) {
        m_tell(bSeen);
    }
}

bool Sight::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
        case QEvent::Show:
        case QEvent::Hide:
        case QEvent::Expose:
        case QEvent::WindowStateChange:
        case QEvent::DynamicPropertyChange:
            Look();
            break;
        default:
            break;
    }
    return QObject::eventFilter(watched, event);
}

}  // namespace kvmon
