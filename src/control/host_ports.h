// What the control asks of its host's surroundings: the page's browser and the system's network shares.
#pragma once

#include <QtCore/QPoint>
#include <QtCore/QSize>
#include <memory>
#include <string>

#include "console/ports/browser_window.h"
#include "console/ports/client_site.h"
#include "skin/look_keeper.h"

namespace kvmon {

enum class BrowserState { Restored = 0, Maximized = 1, Minimized = 2 };

// The browser around the control, or the window that stands for it. User interface thread; nothing may wait
// in it. What a host cannot do it does not implement, and it ends quietly.
class BrowserPort {
public:
    virtual ~BrowserPort() = default;

    virtual void Quit() {}
    // It is the program's own, whose user may quit it.
    virtual bool IsProgram() const { return false; }
    // What the console shows, for a window that has no page to name it.
    virtual void ShowTitle(const std::string& /*text*/) {}
    // Walls on displays beside the control's, with consoles of their own.
    virtual bool HasWalls() const { return false; }
    virtual bool AreWallsOn() const { return false; }
    virtual void TurnWalls() {}
    virtual void TellOthers(SharedThing /*thing*/) {}
    // Pictures show: the display is not to go dark.
    virtual void KeepAwake(bool /*on*/) {}
    // It is at another computer, and takes pictures for the user there.
    virtual bool TakesPictures() const { return false; }
    virtual void GivePicture(GivenPicture&& /*picture*/) {}

    // The look of the program that the control is in.
    virtual LookChoice GetLook() const { return LookChoice::Desktop; }
    virtual void ChooseLook(LookChoice) {}

    // --- its window. None of these is called when HasWindow is false.
    virtual bool HasWindow() const { return true; }
    virtual void SetState(BrowserState) {}
    virtual void ShowWindow(bool) {}
    // Entries of the system menu go one by one and come back together.
    virtual void RemoveClose() {}
    virtual void RemoveSizing() {}
    virtual void RestoreSystemMenu() {}
    virtual void SetCaption(bool) {}
    // In the list of windows, and as a small tool's window. Both show with UpdateWindow.
    virtual void SetAppWindow(bool) {}
    virtual void SetToolWindow(bool) {}
    virtual void UpdateWindow() {}

    // --- its bars
    virtual void PutToolBar(bool) {}
    virtual void PutMenuBar(bool) {}
    virtual void PutStatusBar(bool) {}
    virtual void PutAddressBar(bool) {}

    // To the screen's corner, as large as the control of this size wants it; see FittedBrowserSize.
    virtual void FitToControl(const QSize& /*control*/) {}

    // --- the page
    virtual void PutTitle(const std::string& /*title*/) {}
    // The title becomes the page's own address.
    virtual void PutTitleFromLocation() {}

    // --- pages beside it. The addresses are those of web pages.
    virtual void OpenPage(const std::string& /*url*/) {}
    // Null where there is none.
    virtual std::unique_ptr<BrowserWindow> CreateBrowserWindow() { return nullptr; }
    // The address of the program's own help, whose folder has the language's suffix; empty where there is
    // none.
    virtual std::string OwnHelp(const std::string& /*suffix*/) const { return {}; }
};

// How large the browser's window is made for a control of this size, whose client area begins at `client` of
// the window.
constexpr QSize FittedBrowserSize(const QSize& control, const QPoint& client) {
    return {control.width() + 4 + 2 * client.x(), control.height() + 20 + client.y()};
}

// Shares that the page's playback reads from.
class SharePort {
public:
    virtual ~SharePort() = default;
    // 0, or an error number.
    virtual int Connect(const std::string& user, const std::string& password, const std::string& share) = 0;
    virtual void Cancel(const std::string& share) = 0;
    // What became of a share of a list, with the number that Connect gave or would have given.
    virtual void OnTried(const std::string& /*share*/, int /*result*/) {}
};

}  // namespace kvmon
