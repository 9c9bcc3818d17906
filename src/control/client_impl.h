// The control's logic, whatever host is placed in front of it.
#pragma once

#include <QtCore/QPointer>
#include <QtCore/QSize>
#include <memory>
#include <optional>
#include <string>

#include "console/ports/client_site.h"
#include "control/browser_commands.h"
#include "control/languages.h"
#include "control/playback_shares.h"
#include "control/variant.h"
#include "platform/clock.h"
#include "skin/window_base.h"

namespace kvmon {

class BrowserPort;
class CMainDlg;
class SignInMemory;

// Messages to the control's own window.
inline constexpr std::uint32_t WM_CLIENT_FIRE_EVENT = 1025;   // wParam event, lParam its value
inline constexpr std::uint32_t WM_CLIENT_GOTO_SERVER = 1026;  // sent; lParam is the event's value
inline constexpr std::uint32_t kMsgSwitchLanguage = 1125;     // lParam language identifier
inline constexpr std::uint32_t kMsgLoginEnd = 1127;           // raises the event

// A switch of the language that waits for menus and dialogs to close.
inline constexpr std::uint32_t kTimerSwitchLanguage = 1126;

// Values of wParam of WM_CLIENT_FIRE_EVENT.
enum class ClientEvent : WParam { Login = 0, Logout = 1, NewVersion = 2, ChangeLanguage = 3, GotoPage = 4 };

// User interface thread only.
class CTR450ClientImpl final : public ClientSite {
public:
    explicit CTR450ClientImpl(Clock& clock);
    ~CTR450ClientImpl() override;

    // --- properties. Taken over when the console is created.
    void SetAuthData(const std::string& text) { m_strAuthData = text; }
    const std::string& GetAuthData() const { return m_strAuthData; }
    void SetServerIP(const std::string& text);
    std::string GetServerIP() const override { return m_strServerIP; }
    // 80 for a number that is no port.
    void SetServerPort(std::int32_t n);
    // Takes the number as it is.
    void PutServerPort(std::int32_t n) { m_nServerPort = n; }
    std::uint32_t GetServerPort() const override { return static_cast<std::uint32_t>(m_nServerPort); }
    void SetAutoStart(std::int32_t n) { m_nAutoStart = n; }
    std::int32_t GetAutoStart() const { return m_nAutoStart; }
    void SetDefServerName(const std::string& name);
    std::string GetDefServerName() const override { return m_strDefServerName; }
    SignInMemory* SignIn() override { return m_pSignIn; }
    bool CanQuit() const override;
    void Quit() override;
    void ShowTitle(const std::string& text) override;
    LookChoice GetLook() const override;
    void ChooseLook(LookChoice choice) override;
    void TellOthers(SharedThing thing) override;
    bool HasWalls() const override;
    bool AreWallsOn() const override;
    void TurnWalls() override;
    void KeepAwake(bool on) override;
    bool TakesPictures() const override;
    void GivePicture(GivenPicture&& picture) override;
    // Each console that is made begins in full screen, or is locked in it.
    void SetWallStart(WallStart start) { m_wallStart = start; }
    void SetHelpPath(const std::string& path) { m_strHelpPath = path; }
    const std::string& GetHelpPath() const { return m_strHelpPath; }
    // Another recorder is the first one from now on; its next login is the caller's.
    void MoveTo(const std::string& address, std::uint32_t port);
    // True, also for a number that is no language: that is English. The console is made anew, at once or,
    // while a menu or a dialog of it is open, as soon as these are closed, which this call does.
    bool SetLanguage(int number);
    int GetLanguage() const { return NumberFromLanguage(m_language); }
    std::uint16_t GetLanguageId() const { return m_language; }

    // --- session Builds the console in the control's window and logs in if it is to start by itself. Does
    // nothing when there is a console.
    void Create(WindowBase& window);
    // Ends the session and the console; returns within seconds whatever the network does.
    void Destroy();
    bool HasMainDlg() const { return m_pMainDlg != nullptr; }
    CMainDlg* MainDlg() { return m_pMainDlg.get(); }
    // -1 without a console.
    int Login(const std::string& user, const std::string& password);
    // Text that is no credential is ignored.
    void AutoLogin(const std::string& authText);
    void Logout();
    // The named views, a name a line.
    std::string ViewNames() const;
    // True if there is such a view; without a wall it opens with the next one.
    bool OpenView(const std::string& name);
    // The present wall under this name. False without one, and for a name that is none.
    bool SaveView(const std::string& name);
    // Shows the recorder's site map for this user. Text that is no credential is ignored.
    void TestEMap(const std::string& authText);
    void ChangeSize(int width, int height);
    QSize GetSize() const { return m_size; }
    const std::string& GetGotoServerText() const { return m_strGotoServer; }
    void SwitchLanguage(std::uint16_t langid);
    void OnSwitchLanguageTimer();

    // --- the host's surroundings. Null for a host without one; both must outlive this object.
    void SetClientSite(BrowserPort* site) { m_pClientSite = site; }
    // Users of this host sign in at the console.
    void SetSignInMemory(SignInMemory* memory) { m_pSignIn = memory; }
    void SetSharePort(SharePort* port) { m_shares.SetPort(port); }
    // The page's command to its browser: 0, or nothing when the host gave no site.
    std::optional<int> IEHostUIControl(int nID, const Variant& param);
    int PreparePlaybackData(const std::string& authText, const std::string& shares) {
        return m_shares.Prepare(authText, shares);
    }
    void UnpreparePlaybackData() { m_shares.Unprepare(); }

    // --- ClientSite
    void NotifyLogin(int n) override;
    void NotifyLogout(int n) override;
    void NotifyNewVersion(int n) override;
    void NotifyChangeLanguage(std::uint16_t langid) override;
    void NotifyGotoPage(int n) override;
    void NotifyGotoServer(int n, const std::string& text) override;
    void ShowBrowserToolbar(bool bShow) override;
    std::unique_ptr<BrowserWindow> CreateBrowserWindow() override;
    std::string OwnHelp() const override;
    void OpenPage(const std::string& url) override;

private:
    void DestroyMainDlg();
    void PostEvent(ClientEvent event, int value);

    Clock& m_clock;
    std::string m_strAuthData;
    std::string m_strServerIP = "127.0.0.1";
    std::int32_t m_nServerPort = 80;
    std::int32_t m_nAutoStart = 0;
    std::string m_strDefServerName;
    QPointer<WindowBase> m_window;
    std::unique_ptr<CMainDlg> m_pMainDlg;
    QSize m_size;
    std::string m_strHelpPath;
    std::string m_strGotoServer;
    BrowserPort* m_pClientSite = nullptr;
    SignInMemory* m_pSignIn = nullptr;
    BrowserCommands m_browserCommands;
    PlaybackShares m_shares;
    std::uint16_t m_language = kLanguageNone;
    std::uint16_t m_pendingLanguage = kLanguageNone;
    int m_switchTurns = 0;  // that the pending one has waited
    WallStart m_wallStart = WallStart::Window;
    bool m_bLogin = false;  // one was started and has not been ended
};

}  // namespace kvmon
