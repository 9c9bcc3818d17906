// The display that a page shows: what all windows of the process draw, as one picture, and the page's mouse
// and keys for them.
#pragma once

#include <QtCore/QPointer>
#include <QtGui/QCursor>
#include <QtGui/QImage>
#include <QtGui/QRegion>
#include <QtGui/QWindow>
#include <functional>
#include <vector>

#include "web/platform/two_fingers.h"

namespace kvmon {

class DisplayWindow;

// What happens to a button or a key.
enum class PressKind { Down, Repeat, Up };

// One in the process, used when the application runs on the platform "kvweb". User interface thread only.
class RemoteDisplay {
public:
    static constexpr int kMinSide = 64;
    static constexpr int kMaxSide = 4096;

    static RemoteDisplay& Instance();

    // The size in pixels, clamped, and how many of them make a unit of the windows. Windows over the whole
    // display follow it, others keep their size in units.
    void SetSize(const QSize& size, double ratio);
    QSize Size() const { return m_size; }
    double Ratio() const { return m_ratio; }
    QRect Area() const { return {QPoint(0, 0), m_size}; }

    struct Listener {
        std::function<void()> onDamage;                // something has changed on the picture
        std::function<void(const QCursor&)> onCursor;  // it has another form
        std::function<void(bool bOn)> onFullScreen;    // a window wants the whole screen, or no more
    };
    void SetListener(Listener listener) { m_listener = std::move(listener); }
    // Whether anybody sees the page. While nobody does its windows are not exposed: nothing is drawn.
    void SetSeen(bool bSeen);
    bool IsSeen() const { return m_bSeen; }
    const QRegion& Damage() const { return m_damage; }
    // Everything, as after a new size.
    void DamageAll();
    // The picture up to date in all that was damaged; the damage is forgotten.
    const QImage& Compose();

    // --- the page's input, in pixels of the display
    void MoveMouse(const QPoint& at, Qt::KeyboardModifiers modifiers);
    // The first of the buttons that are held tells for all of them whether a finger is it.
    void PressMouse(const QPoint& at, Qt::MouseButton button, PressKind press,
                    Qt::KeyboardModifiers modifiers,
                    Qt::MouseEventSource source = Qt::MouseEventNotSynthesized);
    void TurnWheel(const QPoint& at, const QPoint& angle, Qt::KeyboardModifiers modifiers);
    void LeaveMouse();
    void TouchWithTwo(TouchPhase phase, const QPoint& first, const QPoint& second) {
        m_fingers.Touch(phase, first, second, WindowAt(first), m_size);
    }
    void PressKey(int key, PressKind press, Qt::KeyboardModifiers modifiers, const QString& text);
    // Text that no single key gives, behind the keys before it.
    void TypeText(const QString& text);
    // The page took the focus away, or gave it back. What is held is released; a drag is given up before.
    void SetActive(bool bActive);

    // --- for the platform's classes
    void AddDamage(const QRect& area);
    void ShowWindow(DisplayWindow& window, bool bShow);
    void RaiseWindow(DisplayWindow& window, bool bRaise);
    void ForgetWindow(DisplayWindow& window);
    void GrabMouse(DisplayWindow* window) { m_grabber = window; }
    DisplayWindow* GrabbingWindow() const { return m_grabber; }
    DisplayWindow* WindowAt(const QPoint& at) const;
    void SetCursor(const QCursor& cursor);
    // A window has another state, or is shown or hidden.
    void RefreshFullScreen();
    QPoint MousePosition() const { return m_mouse; }
    void SetMousePosition(const QPoint& at) { m_mouse = at; }

private:
    DisplayWindow* MouseTarget(const QPoint& at) const;
    void SendMouse(DisplayWindow* target, QEvent::Type type, Qt::MouseButton button,
                   Qt::KeyboardModifiers modifiers);
    void Enter(DisplayWindow* window);
    void ActivateTop();
    bool OnFrame(DisplayWindow* target, const QPoint& at, PressKind press);

    QSize m_size{1000, 680};
    double m_ratio = 1;
    QImage m_picture;
    QRegion m_damage;
    std::vector<DisplayWindow*> m_windows;  // shown ones, the top one last
    DisplayWindow* m_grabber = nullptr;
    DisplayWindow* m_pressed = nullptr;  // has the button that is held
    DisplayWindow* m_entered = nullptr;
    DisplayWindow* m_moving = nullptr;  // by its title
    QPoint m_movingFrom;
    QPoint m_mouse;
    Qt::MouseButtons m_buttons;
    Qt::MouseEventSource m_source = Qt::MouseEventNotSynthesized;  // of what is held
    TwoFingers m_fingers;
    std::vector<int> m_keys;  // held
    bool m_bFullScreen = false;
    bool m_bSeen = true;
    Listener m_listener;
};

}  // namespace kvmon
