// Two fingers on the page's picture, as a touch screen of the display.
#pragma once

#include <QtCore/QPoint>
#include <QtCore/QSize>

class QPointingDevice;

namespace kvmon {

class DisplayWindow;

enum class TouchPhase { Come, Move, Go, TakenAway };

// User interface thread only. Between coming and going they belong to the window that the first was put on.
class TwoFingers {
public:
    // In pixels of the display, which has this size; `under` lies under the first, nullptr for nothing.
    void Touch(TouchPhase phase, const QPoint& first, const QPoint& second, DisplayWindow* under,
               const QSize& display);
    void Forget(const DisplayWindow& window);

private:
    DisplayWindow* m_window = nullptr;
};

}  // namespace kvmon
