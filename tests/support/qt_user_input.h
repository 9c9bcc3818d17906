// A user's keys and mouse, as the events that the window system would send.
#pragma once

#include <QtCore/QCoreApplication>
#include <QtCore/QPointer>
#include <QtGui/QKeyEvent>
#include <QtGui/QMouseEvent>
#include <QtGui/QWheelEvent>
#include <QtWidgets/QWidget>
#include <string>

namespace kvtest {

// Presses and releases the key; what it closes gets no release.
inline void PressKey(QWidget& widget, int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier,
                     const QString& text = {}) {
    QPointer<QWidget> target(&widget);
    for (const QEvent::Type type : {QEvent::KeyPress, QEvent::KeyRelease}) {
        if (target) {
            QKeyEvent event(type, key, modifiers, text);
            QCoreApplication::sendEvent(target, &event);
        }
    }
}

// One half of a press, or the repetition of a held key.
enum class Repeat { No, Yes };
inline void SendKey(QWidget& widget, QEvent::Type type, int key, Repeat repeat = Repeat::No) {
    QKeyEvent event(type, key, Qt::NoModifier, QString(), repeat == Repeat::Yes);
    QCoreApplication::sendEvent(&widget, &event);
}
inline void SendKey(QWidget& widget, QEvent::Type type, int key, Qt::KeyboardModifiers modifiers) {
    QKeyEvent event(type, key, modifiers);
    QCoreApplication::sendEvent(&widget, &event);
}
// With the moment by the window system's clock, which tells a key that repeats from one pressed again.
inline void SendKeyAt(QWidget& widget, QEvent::Type type, int key, quint64 moment) {
    QKeyEvent event(type, key, Qt::NoModifier);
    event.setTimestamp(moment);
    QCoreApplication::sendEvent(&widget, &event);
}

inline void TypeText(QWidget& widget, const std::string& text) {
    for (const char c : text) {
        PressKey(widget, 0, Qt::NoModifier, QString(QLatin1Char(c)));
    }
}

// What the mouse does at a point of the screen, with the buttons that are down then.
inline void SendMouseAt(QWidget& widget, QEvent::Type type, const QPointF& screen, Qt::MouseButton button,
                        Qt::MouseButtons held, Qt::MouseEventSource source = Qt::MouseEventNotSynthesized) {
    QMouseEvent event(type, widget.mapFromGlobal(screen), screen, screen, button, held, Qt::NoModifier,
                      source);
    QCoreApplication::sendEvent(&widget, &event);
}

// A move comes with the left button held.
inline void SendMouse(QWidget& widget, QEvent::Type type, QPointF at,
                      Qt::MouseButton button = Qt::LeftButton) {
    const bool down = type != QEvent::MouseButtonRelease;
    SendMouseAt(widget, type, widget.mapToGlobal(at), type == QEvent::MouseMove ? Qt::NoButton : button,
                down ? Qt::MouseButtons(button) : Qt::NoButton);
}

inline void ClickAt(QWidget& widget, QPointF at, Qt::MouseButton button = Qt::LeftButton) {
    const QPointer<QWidget> target(&widget);
    SendMouse(widget, QEvent::MouseButtonPress, at, button);
    if (target) {
        SendMouse(widget, QEvent::MouseButtonRelease, at, button);
    }
}

inline void DoubleClickAt(QWidget& widget, QPointF at) {
    const QPointer<QWidget> target(&widget);
    ClickAt(widget, at);
    for (const QEvent::Type type : {QEvent::MouseButtonDblClick, QEvent::MouseButtonRelease}) {
        if (target) {
            SendMouse(widget, type, at);
        }
    }
}

// 120 is a notch: down the page, or sideways.
inline void TurnWheel(QWidget& widget, QPointF at, const QPoint& angle) {
    QWheelEvent event(at, widget.mapToGlobal(at), {}, angle, Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase,
                      false);
    QCoreApplication::sendEvent(&widget, &event);
}

}  // namespace kvtest
