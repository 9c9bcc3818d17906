// One wake-up of the user interface's thread for all windows that have something new to show.
#pragma once

#include <chrono>
#include <memory>
#include <optional>

class QWidget;

namespace kvmon {

// A window's place in the hub. Worker threads hold it by shared ownership and may outlive the window.
class RepaintTicket {
public:
    virtual ~RepaintTicket() = default;
    // Asks for a repaint of the window. Any thread; never waits for the user interface's thread, and
    // allocates only when no wake-up is under way. Does nothing once the window is gone.
    virtual void Request() = 0;
};

// Requests of all windows are served together, at most once in 16 ms, so that however many pictures
// arrive, at most one wake-up waits in the event queue. User interface thread.
std::shared_ptr<RepaintTicket> RegisterForRepaint(QWidget& window);

// When the oldest request was made of those that were served since the last call; nothing if there was none.
// User interface thread.
std::optional<std::chrono::steady_clock::time_point> TakeRepaintRequestTime();

}  // namespace kvmon
