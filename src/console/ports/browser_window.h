// A window of the user's browser, beside the one that shows the console.
#pragma once

#include <string>

namespace kvmon {

// Its end closes the window, where the host can. User interface thread only.
class BrowserWindow {
public:
    virtual ~BrowserWindow() = default;

    // False once its user has closed it.
    virtual bool IsWindow() const = 0;
    // Takes the address bar, the menu bar and the toolbar away.
    virtual void HideBars() = 0;
    // Leaves nothing in the history.
    virtual void Navigate(const std::string& url) = 0;
    // Makes it visible and brings it to the front.
    virtual void Show() = 0;
};

}  // namespace kvmon
