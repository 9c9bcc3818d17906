// What the display asks of the windows on it.
#pragma once

#include <qpa/qplatformwindow.h>

class QPainter;

namespace kvmon {

// In the display's pixels.
class DisplayWindow : public QPlatformWindow {
public:
    using QPlatformWindow::QPlatformWindow;

    // The display has another size, or so many times the pixels to a unit.
    virtual void FollowDisplay(double scale) = 0;
    // With the frame, on the display.
    QRect FrameRect() const { return geometry().marginsAdded(frameMargins()); }
    // To the toolkit: whether the window can be seen now.
    virtual void TellExposed() = 0;
    virtual QRect TitleRect() const = 0;
    virtual QRect CloseRect() const = 0;
    virtual bool CanTakeFocus() const = 0;
    virtual void Draw(QPainter& painter) const = 0;
};

}  // namespace kvmon
