// The console's window, as its subjects need it.
#pragma once

#include <string>

#include "platform/window_handle.h"

class QDialog;
class QWidget;

namespace kvmon {

class WindowBase;

// User interface thread only.
class Desk {
public:
    virtual ~Desk() = default;

    virtual WindowBase& Window() = 0;
    // Where workers post to.
    virtual WindowHandle Handle() const = 0;
    // Where a dialog or a menu has to open to be seen: the window that the user works at.
    virtual QWidget* DialogHost() const = 0;
    // The same for what belongs to one cell.
    virtual QWidget* HostOf(const QWidget& cell) const = 0;
    // Moves a hidden dialog that is used again to where it can be seen now.
    virtual void BringHere(QWidget& dialog) = 0;
    // Ends full screen, as another program's window is about to open and would stand behind it.
    virtual void MakeRoom() = 0;

    // A box that waits for nobody, and deletes itself when it is closed.
    virtual QDialog* ShowMessage(const std::string& text, const std::string& title) = 0;
    // "Please wait..." over the wall.
    virtual void ShowWait() = 0;
    virtual void HideWait() = 0;
    virtual bool IsWaitShown() const = 0;
    // The wait cursor while something is waited for, else the arrow.
    virtual void RefreshCursor() = 0;

    virtual bool IsLoggedIn() const = 0;
    // The wall is locked: nothing is open to whoever stands before it but to look.
    virtual bool IsLocked() const = 0;
    // The console is at its end: nothing begins any more.
    virtual bool IsClosing() const = 0;
};

}  // namespace kvmon
