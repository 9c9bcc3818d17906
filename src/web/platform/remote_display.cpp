#include "web/platform/remote_display.h"

#include <qpa/qplatformscreen.h>
#include <qpa/qwindowsysteminterface.h>

#include <QtGui/QGuiApplication>
#include <QtGui/QPainter>
#include <QtGui/QScreen>
#include <algorithm>

#include "web/platform/display_window.h"

namespace kvmon {

namespace {

constexpr int kMaxRects = 64;  // beyond that the damage is its bounding box
constexpr std::size_t kMaxHeldKeys = 16;

}  // namespace

RemoteDisplay& RemoteDisplay::Instance() {
    // Never destroyed: Qt's windows may go after all statics.
    static auto* const display = new RemoteDisplay;
    return *display;
}

void RemoteDisplay::SetSize(const QSize& size, double ratio) {
    const QSize clamped = size.expandedTo(QSize(kMinSide, kMinSide)).boundedTo(QSize(kMaxSide, kMaxSide));
    if (clamped == m_size && ratio == m_ratio) {
        return;
    }
    const double scale = ratio / m_ratio;
    m_size = clamped;
    m_ratio = ratio;
    if (QScreen* const screen = QGuiApplication::primaryScreen()) {
        const QDpi dpi = screen->handle()->logicalDpi();
        QWindowSystemInterface::handleScreenLogicalDotsPerInchChange(screen, dpi.first, dpi.second);
        QWindowSystemInterface::handleScreenGeometryChange(screen, Area(), Area());
        // Positions that are told to windows from here on are already those of the new display.
        QWindowSystemInterface::flushWindowSystemEvents();
    }
    for (DisplayWindow* const window : std::vector(m_windows)) {
        window->FollowDisplay(scale);
    }
    DamageAll();
}

void RemoteDisplay::SetSeen(bool bSeen) {
    if (bSeen == m_bSeen) {
        return;
    }
    m_bSeen = bSeen;
    for (DisplayWindow* const window : std::vector(m_windows)) {
        window->TellExposed();
    }
}

void RemoteDisplay::DamageAll() {
    AddDamage(Area());
}

void RemoteDisplay::AddDamage(const QRect& area) {
    const QRect inside = area & Area();
    if (inside.isEmpty()) {
        return;
    }
    m_damage += inside;
    if (m_damage.rectCount() > kMaxRects) {
        m_damage = m_damage.boundingRect();
    }
    if (m_listener.onDamage) {
        m_listener.onDamage();
    }
}

const QImage& RemoteDisplay::Compose() {
    if (m_picture.size() != m_size) {
        m_picture = QImage(m_size, QImage::Format_RGB32);
        m_damage = Area();
    }
    const QRegion damage = std::exchange(m_damage, {});
    QPainter painter(&m_picture);
    for (const QRect& rect : damage) {
        painter.setClipRect(rect);
        // What lies below a window that hides it all need not be drawn.
        auto first = m_windows.begin();
        for (auto window = m_windows.begin(); window != m_windows.end(); ++window) {
            if ((*window)->geometry().contains(rect) && !(*window)->window()->requestedFormat().hasAlpha()) {
                first = window;
            }
        }
        if (first == m_windows.begin()) {
            painter.fillRect(rect, Qt::black);
        }
        for (auto window = first; window != m_windows.end(); ++window) {
            if ((*window)->FrameRect().intersects(rect)) {
                (*window)->Draw(painter);
            }
        }
    }
    return m_picture;
}

DisplayWindow* RemoteDisplay::WindowAt(const QPoint& at) const {
    for (auto window = m_windows.rbegin(); window != m_windows.rend(); ++window) {
        const bool bSeeThrough = ((*window)->window()->flags() & Qt::WindowTransparentForInput) != 0;
        if (!bSeeThrough && (*window)->FrameRect().contains(at)) {
            return *window;
        }
    }
    return nullptr;
}

// Who gets the mouse: who has grabbed it, whoever it was pressed on, else who lies under it.
DisplayWindow* RemoteDisplay::MouseTarget(const QPoint& at) const {
    if (m_grabber != nullptr) {
        return m_grabber;
    }
    if (m_buttons != Qt::NoButton && m_pressed != nullptr) {
        return m_pressed;
    }
    DisplayWindow* const under = WindowAt(at);
    return under != nullptr || m_windows.empty() ? under : m_windows.back();
}

void RemoteDisplay::SendMouse(DisplayWindow* target, QEvent::Type type, Qt::MouseButton button,
                              Qt::KeyboardModifiers modifiers) {
    if (target == nullptr) {
        return;
    }
    // A finger does not hover.
    const bool bHeld = m_buttons != Qt::NoButton || button != Qt::NoButton;
    QWindowSystemInterface::handleMouseEvent(target->window(), target->mapFromGlobal(m_mouse), m_mouse,
                                             m_buttons, button, type, modifiers,
                                             bHeld ? m_source : Qt::MouseEventNotSynthesized);
}

void RemoteDisplay::Enter(DisplayWindow* window) {
    if (window == m_entered) {
        return;
    }
    QWindow* const left = m_entered != nullptr ? m_entered->window() : nullptr;
    m_entered = window;
    if (window == nullptr) {
        QWindowSystemInterface::handleLeaveEvent(left);
        return;
    }
    QWindowSystemInterface::handleEnterLeaveEvent(window->window(), left, window->mapFromGlobal(m_mouse),
                                                  m_mouse);
}

void RemoteDisplay::MoveMouse(const QPoint& at, Qt::KeyboardModifiers modifiers) {
    m_mouse = at;
    if (m_moving != nullptr) {
        m_moving->setGeometry(m_moving->geometry().translated(at - m_movingFrom));
        m_movingFrom = at;
        return;
    }
    DisplayWindow* const target = MouseTarget(at);
    Enter(target);
    SendMouse(target, QEvent::MouseMove, Qt::NoButton, modifiers);
}

// The frame round a window takes its clicks: the title moves it, the cross closes it. True if it did.
bool RemoteDisplay::OnFrame(DisplayWindow* target, const QPoint& at, PressKind press) {
    const bool bDown = press == PressKind::Down;
    if (m_moving != nullptr) {
        m_moving = bDown ? m_moving : nullptr;
        return true;
    }
    if (!bDown || target == nullptr || m_buttons != Qt::NoButton || target->geometry().contains(at) ||
        !target->FrameRect().contains(at) || !target->TitleRect().contains(at)) {
        return false;
    }
    QWindow* const window = target->window();
    if (target->CloseRect().contains(at)) {
        QWindowSystemInterface::handleCloseEvent(window);
    } else {
        m_moving = target;
        m_movingFrom = at;
    }
    return true;
}

void RemoteDisplay::PressMouse(const QPoint& at, Qt::MouseButton button, PressKind press,
                               Qt::KeyboardModifiers modifiers, Qt::MouseEventSource source) {
    const bool bDown = press == PressKind::Down;
    if (bDown == m_buttons.testFlag(button) && m_moving == nullptr) {
        return;  // a release of a press that went elsewhere, or a second press
    }
    MoveMouse(at, modifiers);
    DisplayWindow* const target = MouseTarget(at);
    if (OnFrame(target, at, press)) {
        return;
    }
    if (bDown && m_buttons == Qt::NoButton) {
        m_source = source;
        m_pressed = target;
        if (target != nullptr && target->CanTakeFocus() &&
            QGuiApplication::focusWindow() != target->window()) {
            target->requestActivateWindow();
        }
    }
    m_buttons.setFlag(button, bDown);
    SendMouse(target, bDown ? QEvent::MouseButtonPress : QEvent::MouseButtonRelease, button, modifiers);
    if (m_buttons == Qt::NoButton) {
        m_pressed = nullptr;
    }
}

void RemoteDisplay::TurnWheel(const QPoint& at, const QPoint& angle, Qt::KeyboardModifiers modifiers) {
    m_mouse = at;
    DisplayWindow* const target = MouseTarget(at);
    if (target == nullptr) {
        return;
    }
    QWindowSystemInterface::handleWheelEvent(target->window(), target->mapFromGlobal(at), at, QPoint(), angle,
                                             modifiers);
}

void RemoteDisplay::LeaveMouse() {
    if (m_buttons == Qt::NoButton) {
        Enter(nullptr);
    }
}

void RemoteDisplay::PressKey(int key, PressKind press, Qt::KeyboardModifiers modifiers, const QString& text) {
    const bool bDown = press != PressKind::Up;
    const auto held = std::find(m_keys.begin(), m_keys.end(), key);
    if (bDown && held == m_keys.end()) {
        if (m_keys.size() >= kMaxHeldKeys) {
            return;
        }
        m_keys.push_back(key);
    } else if (!bDown) {
        if (held == m_keys.end()) {
            return;
        }
        m_keys.erase(held);
    }
    QWindow* const window = QGuiApplication::focusWindow();
    if (window != nullptr) {
        QWindowSystemInterface::handleKeyEvent(window, bDown ? QEvent::KeyPress : QEvent::KeyRelease, key,
                                               modifiers, text, press == PressKind::Repeat);
    }
}

void RemoteDisplay::TypeText(const QString& text) {
    QWindow* const window = QGuiApplication::focusWindow();
    for (const auto type : {QEvent::KeyPress, QEvent::KeyRelease}) {
        if (window != nullptr) {
            QWindowSystemInterface::handleKeyEvent(window, type, Qt::Key_unknown, Qt::NoModifier, text);
        }
    }
}

void RemoteDisplay::SetActive(bool bActive) {
    // Before the releases: who leaves in the middle of a drag drops nothing.
    if (!m_windows.empty()) {
        QWindowSystemInterface::handleApplicationStateChanged(bActive ? Qt::ApplicationActive
                                                                      : Qt::ApplicationInactive);
    }
    if (bActive) {
        ActivateTop();
        return;
    }
    for (const int key : std::vector(m_keys)) {
        PressKey(key, PressKind::Up, Qt::NoModifier, {});
    }
    for (const Qt::MouseButton button : {Qt::LeftButton, Qt::RightButton, Qt::MiddleButton}) {
        if (m_buttons.testFlag(button)) {
            PressMouse(m_mouse, button, PressKind::Up, Qt::NoModifier);
        }
    }
}

void RemoteDisplay::ActivateTop() {
    const auto top = std::find_if(m_windows.rbegin(), m_windows.rend(),
                                  [](const DisplayWindow* window) { return window->CanTakeFocus(); });
    if (top != m_windows.rend()) {
        (*top)->requestActivateWindow();
    }
}

void RemoteDisplay::ShowWindow(DisplayWindow& window, bool bShow) {
    std::erase(m_windows, &window);
    if (bShow) {
        m_windows.push_back(&window);
        if (window.CanTakeFocus()) {
            window.requestActivateWindow();
        }
        RefreshFullScreen();
        return;
    }
    ForgetWindow(window);
}

void RemoteDisplay::ForgetWindow(DisplayWindow& window) {
    AddDamage(window.FrameRect());
    std::erase(m_windows, &window);
    for (DisplayWindow** const held : {&m_grabber, &m_pressed, &m_entered, &m_moving}) {
        if (*held == &window) {
            *held = nullptr;
        }
    }
    m_fingers.Forget(window);
    if (QGuiApplication::focusWindow() == window.window()) {
        ActivateTop();
    }
    RefreshFullScreen();
}

void RemoteDisplay::RaiseWindow(DisplayWindow& window, bool bRaise) {
    const auto place = std::find(m_windows.begin(), m_windows.end(), &window);
    if (place == m_windows.end()) {
        return;
    }
    m_windows.erase(place);
    m_windows.insert(bRaise ? m_windows.end() : m_windows.begin(), &window);
    AddDamage(window.FrameRect());
}

void RemoteDisplay::SetCursor(const QCursor& cursor) {
    if (m_listener.onCursor) {
        m_listener.onCursor(cursor);
    }
}

void RemoteDisplay::RefreshFullScreen() {
    const bool bFull = std::any_of(m_windows.begin(), m_windows.end(), [](const DisplayWindow* window) {
        return (window->window()->windowStates() & Qt::WindowFullScreen) != 0;
    });
    if (std::exchange(m_bFullScreen, bFull) != bFull && m_listener.onFullScreen) {
        m_listener.onFullScreen(bFull);
    }
}

}  // namespace kvmon
