// A user's keys and mouse, as the events that the window system would send.
#pragma once

#include <QtCore/QCoreApplication>
#include <QtCore/QPointer>
#include <QtGui/QKeyEvent>
#include <QtGui/QMouseEvent>
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

inline void TypeText(QWidget& widget, const std::string& text) {
    for (const char c : text) {
        PressKey(widget, 0, Qt::NoModifier, QString(QLatin1Char(c)));
    }
}

// A move comes with the left button held.
inline void SendMouse(QWidget& widget, QEvent::Type type, QPointF at,
                      Qt::MouseButton button = Qt::LeftButton) {
    const bool down = type != QEvent::MouseButtonRelease;
    QMouseEvent event(type, at, widget.mapToGlobal(at), type == QEvent::MouseMove ? Qt::NoButton : button,
                      down ? Qt::MouseButtons(button) : Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&widget, &event);
}

inline void ClickAt(QWidget& widget, QPointF at, Qt::MouseButton button = Qt::LeftButton) {
    const QPointer<QWidget> target(&widget);
    SendMouse(widget, QEvent::MouseButtonPress, at, button);
    if (target) {
        SendMouse(widget, QEvent::MouseButtonRelease, at, button);
    }
}

}  // namespace kvtest
