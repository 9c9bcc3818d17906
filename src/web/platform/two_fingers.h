// Two fingers on the page's picture, as a touch screen of the display.
#pragma once

#include <QtCore/QPoint>

class QPointingDevice;

namespace kvmon {

class DisplayWindow;
class RemoteDisplay;

enum class TouchPhase { Come, Move, Go, TakenAway };

// User interface thread only. Between coming and going they belong to the window that the first was put on.
class TwoFingers {
public:
    explicit TwoFingers(const RemoteDisplay& display) : m_display(display) {}

    // In pixels of the display.
    void Touch(TouchPhase phase, const QPoint& first, const QPoint& second);
    void Forget(const DisplayWindow& window);

private:
    const RemoteDisplay& m_display;
    DisplayWindow* m_window = nullptr;
};

}  // namespace kvmon
