// Finished images on their way to the display, past the toolkit's painting and its copy of the window.
#pragma once

#include <QtGui/QImage>
#include <functional>

class QWidget;

namespace kvmon {

// Images go to the display together, a round at a time: any number of Put(), then Flush(). What was put stays
// as it is until IsRead(). User interface thread, or another one while that sleeps.
class DirectScreen {
public:
    virtual ~DirectScreen() = default;

    // What makes images that can be put: of 32 bits, as QImage::Format_RGB32, null if it can't; any other
    // will do then, and the toolkit paints it. It works on any thread, and it and its images may outlive this
    // object.
    virtual std::function<QImage(int width, int height)> ImageMaker() = 0;
    // Puts the image over the whole of the widget. False if only the toolkit can paint it there: something
    // lies over the widget, the sizes differ, or the image was made otherwise.
    virtual bool Put(QWidget& widget, const QImage& image) = 0;
    // Sends what was put.
    virtual void Flush() = 0;
    // Whether the display has read all that was sent. Does not wait.
    virtual bool IsRead() = 0;
};

}  // namespace kvmon
