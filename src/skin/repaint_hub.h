// One wake-up of the user interface's thread for all windows that have something new to show.
#pragma once

#include <QtGui/QImage>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class QWidget;

namespace kvmon {

class DirectScreen;
class SleepGate;

// A window's place in the hub. Worker threads hold it by shared ownership and may outlive the window.
class RepaintTicket {
public:
    virtual ~RepaintTicket() = default;
    // Asks for a repaint of the window. Any thread; never waits for the user interface's thread, and
    // allocates only when no wake-up is under way. Does nothing once the window is gone.
    virtual void Request() = 0;
    // What the window's images are made by, so that they can go straight to the display; null without such a
    // way. User interface thread; the function itself on any.
    virtual std::function<QImage(int width, int height)> ImageMaker() const = 0;
    // Whether the display may still be reading an image of the window. User interface thread.
    virtual bool IsBeingRead() const = 0;
};

// Puts the newest image of a window on the screen. False if the window has to be painted instead. User
// interface thread, or another one while that thread sleeps: it looks at its window and changes nothing.
using PutNewest = std::function<bool(DirectScreen& screen)>;

// Requests of all windows are served together, at most once in 16 ms, so that however many pictures
// arrive, at most one wake-up waits in the event queue. A window without `put` is painted, and one with it
// where there is no direct way. User interface thread.
std::shared_ptr<RepaintTicket> RegisterForRepaint(QWidget& window, PutNewest put = {});

// The way to the display for all windows; null ends it, which its owner does before it goes. With a gate that
// the user interface's thread sleeps behind, a thread shows what it can without waking that one. User
// interface thread, with the application object there.
void UseDirectScreen(DirectScreen* screen, SleepGate* gate = nullptr);

// When the oldest request was made of those that were served since the last call; nothing if there was none.
// User interface thread.
std::optional<std::chrono::steady_clock::time_point> TakeRepaintRequestTime();

}  // namespace kvmon
