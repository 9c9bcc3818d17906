// What stands for the browser around the control on the desktop: the program's window, and the system's
// browser for pages beside it.
#pragma once

#include <QtCore/QUrl>
#include <functional>

#include "app/stay_awake.h"
#include "control/host_ports.h"

class QWidget;

namespace kvmon {

class DisplayWalls;

// A window has no bars to show or hide. User interface thread only.
class DesktopBrowser final : public BrowserPort {
public:
    using Opener = std::function<void(const QUrl&)>;

    // The window must outlive this object.
    explicit DesktopBrowser(QWidget& window);
    // Pages go to `open` in place of the system's browser.
    DesktopBrowser(QWidget& window, Opener open);

    // What keeps the program's look; it must outlive this object.
    void SetLooks(LookKeeper* looks) { m_looks = looks; }
    // The walls beside this window's; they must outlive this object.
    void SetWalls(DisplayWalls* walls) { m_walls = walls; }
    // What PutTitleFromLocation shows: the address of the site that the window stands for.
    void SetLocation(const std::string& url) { m_location = url; }

    void Quit() override;
    bool IsProgram() const override { return true; }
    void ShowTitle(const std::string& text) override;
    LookChoice GetLook() const override;
    void ChooseLook(LookChoice choice) override;
    bool HasWalls() const override;
    bool AreWallsOn() const override;
    void TurnWalls() override;
    void TellOthers(SharedThing thing) override;
    void KeepAwake(bool on) override;
    void SetState(BrowserState state) override;
    void ShowWindow(bool bShow) override;
    void RemoveClose() override;
    void RemoveSizing() override;
    void RestoreSystemMenu() override;
    void SetCaption(bool bOn) override;
    void SetAppWindow(bool bOn) override { m_dress.bAppWindow = bOn; }
    void SetToolWindow(bool bOn) override { m_dress.bToolWindow = bOn; }
    void UpdateWindow() override { Apply(); }
    void FitToControl(const QSize& control) override;
    void PutTitle(const std::string& title) override;
    void PutTitleFromLocation() override { PutTitle(m_location); }
    // Opens web pages alone.
    void OpenPage(const std::string& url) override;
    std::unique_ptr<BrowserWindow> CreateBrowserWindow() override;
    std::string OwnHelp(const std::string& suffix) const override;
    // Opens a page of the program's own help, too, which is a file.
    void OpenHelp(const std::string& url);

private:
    struct Dress {
        bool bClose = true;
        bool bSizing = true;
        bool bCaption = true;
        bool bAppWindow = true;
        bool bToolWindow = false;
    };

    Qt::WindowFlags Flags() const;
    void Apply();

    QWidget& m_window;
    const Opener m_open;
    std::string m_location;
    LookKeeper* m_looks = nullptr;
    DisplayWalls* m_walls = nullptr;
    Dress m_dress;
    StayAwake m_awake;
};

}  // namespace kvmon
