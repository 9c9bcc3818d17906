// A wall on one display beside that of the program's first console.
#pragma once

#include <QtCore/QString>
#include <QtWidgets/QWidget>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "console/ports/client_site.h"

class QScreen;

namespace kvmon {

class BrowserPort;
class Clock;
class CMainDlg;
struct RecorderLogin;

// A console of its own, of which only full screen is ever seen: its panel belongs to a window that is never
// shown. It lives on, without a session, while its display is away or not to be covered. User interface
// thread only.
class DisplayWall final : public ClientSite {
public:
    // What a wall asks of whoever has all of them.
    class Owner {
    public:
        virtual ~Owner() = default;
        // Full screen has begun or ended here; for the others: what a wall has changed.
        virtual void OnWallTells(DisplayWall& wall, SharedThing thing) = 0;
        virtual bool RunAtFirst(int command) = 0;
        virtual BrowserPort& Browser() = 0;
        virtual bool AreAllOn() const = 0;
    };

    // Both must outlive this object; the clock is what the recorders' threads wait by.
    DisplayWall(const QScreen& display, std::uint16_t language, Owner& owner, Clock& clock);
    ~DisplayWall() override;

    const QString& Display() const { return m_display; }
    std::uint16_t Language() const { return m_language; }
    // To be opened with the next session, in place of what was left here. One that the user has told is
    // missed.
    void SetView(const std::string& name, bool bTold);
    const std::string& View() const { return m_view; }

    bool IsOpen() const;
    bool IsLive() const { return m_bLive && IsOpen(); }
    // Covers the display.
    void Open(const QScreen& display);
    // Ends the session, without waiting for its threads, and uncovers the display. What is on the wall is
    // kept for the next time.
    void Close();
    // The session of the first console; nothing ends the one here. With `bLocked` the wall is locked by it.
    void Follow(const std::optional<RecorderLogin>& login, bool bLocked = false);
    void OnShared(SharedThing thing);

    // --- ClientSite. The first recorder is told with the session.
    std::string GetServerIP() const override { return {}; }
    std::uint32_t GetServerPort() const override { return 0; }
    std::string GetDefServerName() const override { return {}; }
    std::string WallDisplay() const override { return m_display.toStdString(); }
    bool HandOver(int command) override { return m_owner.RunAtFirst(command); }
    void TellOthers(SharedThing thing) override;
    bool HasWalls() const override { return true; }
    bool AreWallsOn() const override { return m_owner.AreAllOn(); }
    bool CanQuit() const override { return true; }
    LookChoice GetLook() const override;
    void KeepAwake(bool on) override { m_bLive = on; }
    void NotifyLogin(int) override {}
    void NotifyLogout(int) override {}
    void NotifyNewVersion(int) override {}
    void NotifyChangeLanguage(std::uint16_t) override {}
    void NotifyGotoPage(int) override {}
    void NotifyGotoServer(int, const std::string& url) override { OpenPage(url); }
    std::unique_ptr<BrowserWindow> CreateBrowserWindow() override;
    void OpenPage(const std::string& url) override;

private:
    void OpenView();
    void KeepView();
    std::string Section() const;

    const QString m_display;
    const std::uint16_t m_language;
    Owner& m_owner;
    std::string m_view;
    bool m_bTold = false;
    bool m_bLive = false;
    QWidget m_host;
    std::unique_ptr<CMainDlg> m_console;
};

}  // namespace kvmon
