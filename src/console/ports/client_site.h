// What the console asks of the control that holds it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "console/ports/browser_window.h"
#include "skin/look_keeper.h"

namespace kvmon {

class SignInMemory;

// A picture on its way to the user's own computer.
struct GivenPicture {
    enum class Use : std::uint8_t { Save, Copy } use = Use::Save;
    std::string name;                 // of its file
    std::vector<std::uint8_t> bytes;  // of its file
};

// What one console has changed and others of the same program show, too.
enum class SharedThing : std::uint8_t { Displays, Views, Options, Recorders };

// How the console begins. Locked is full screen that only the login's password leads out of.
enum class WallStart { Window, FullScreen, Locked };

// Implemented by the control. User interface thread only.
class ClientSite {
public:
    virtual ~ClientSite() = default;

    virtual std::string GetServerIP() const = 0;
    virtual std::uint32_t GetServerPort() const = 0;
    virtual std::string GetDefServerName() const = 0;

    // Null where the host has users log in by itself: the console then has no sign-in card.
    virtual SignInMemory* SignIn() { return nullptr; }
    // The user may end the program from the console.
    virtual bool CanQuit() const { return false; }
    virtual void Quit() {}
    // The console stands on its user's own desktop: folders and the clipboard are that user's.
    virtual bool HasDesktop() const { return CanQuit(); }
    // The user is at another computer, whose browser takes pictures.
    virtual bool TakesPictures() const { return false; }
    virtual void GivePicture([[maybe_unused]] GivenPicture&& picture) {}
    // What is to be seen, for the title of the window around the console; empty while nobody is logged in.
    virtual void ShowTitle([[maybe_unused]] const std::string& text) {}

    // The look of the whole program.
    virtual LookChoice GetLook() const { return LookChoice::Desktop; }
    virtual void ChooseLook([[maybe_unused]] LookChoice choice) {}
    // --- a program may have walls on further displays, each with a console of its own.
    // The display that this one covers, for one beside the first; empty for the first.
    virtual std::string WallDisplay() const { return {}; }
    // True if the command is the first console's to run, which does it.
    virtual bool HandOver([[maybe_unused]] int command) { return false; }
    virtual void TellOthers([[maybe_unused]] SharedThing thing) {}
    // There are displays for such walls.
    virtual bool HasWalls() const { return false; }
    virtual bool AreWallsOn() const { return false; }
    // All of them on, or off when they are.
    virtual void TurnWalls() {}

    // Pictures show: the display is not to go dark. Told once a second.
    virtual void KeepAwake([[maybe_unused]] bool on) {}

    // Events to whoever embeds the control. They are raised later, never in the caller's stack; before the
    // control has a window they are lost.
    virtual void NotifyLogin(int n) = 0;
    virtual void NotifyLogout(int n) = 0;
    virtual void NotifyNewVersion(int n) = 0;
    virtual void NotifyChangeLanguage(std::uint16_t langid) = 0;
    virtual void NotifyGotoPage(int n) = 0;
    // The browser that shows the control, where there is one.
    virtual void ShowBrowserToolbar([[maybe_unused]] bool bShow) {}
    // A new window of it, not yet shown; null where there is none to be had.
    virtual std::unique_ptr<BrowserWindow> CreateBrowserWindow() { return nullptr; }
    // The address of the help that came with the program, in the console's language; empty where there is
    // none.
    virtual std::string OwnHelp() const { return {}; }
    // Shows a page of the web, in a window that nobody holds.
    virtual void OpenPage([[maybe_unused]] const std::string& url) {}
    // Unlike the others, raised at once.
    virtual void NotifyGotoServer(int n, const std::string& text) = 0;
};

}  // namespace kvmon
