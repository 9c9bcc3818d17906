// The monitor console: the window that holds the wall and its panel.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "console/panel/console_controls.h"
#include "console/ports/client_site.h"
#include "console/ports/commands.h"
#include "console/ports/desk.h"
#include "console/ports/panel_buttons.h"
#include "console/ports/session_events.h"
#include "console/ports/timers.h"
#include "skin/xskin_dialog.h"

class QScreen;

namespace kvmon {

class Clock;
class ConsoleParts;

// Who is logged in at a console.
struct RecorderLogin {
    std::string host;
    std::uint32_t port = 0;
    std::string user;
    std::string password;

    friend bool operator==(const RecorderLogin&, const RecorderLogin&) = default;
};

// One for each wall of the program. The window itself: its controls, its events, and what its subjects ask of
// it by their ports. What each of them does is theirs; console_parts.h has them all. User interface thread
// only; workers reach it through Handle().
class CMainDlg final : public CXSkinDialog,
                       public Desk,
                       public Commands,
                       public Timers,
                       public PanelButtons,
                       public SessionEvents {
public:
    // The site must outlive the console; the clock, which the recorders' threads wait by, those threads, too.
    CMainDlg(ClientSite& site, QWidget* parent, std::uint16_t language, Clock& clock);
    // Stops all that still runs and waits for it. What does not end is abandoned after 3 seconds each, or
    // when the limit for all waits at the program's end is reached.
    ~CMainDlg() override;

    // Creates the controls and the first server's entry. Once, after construction.
    void OnInitDialog();
    // Saves everything and stops everything; the last thing before the destructor.
    void DestroyWindow();

    // Once, when it is on show.
    void BeginWall(WallStart start);
    // By the way of the user: with the password where the wall is locked.
    void LeaveWall();
    // The full screen of a wall, by the host: without a password.
    void CoverDisplay();
    void UncoverDisplay();
    bool IsFullScreen() const;
    // One of its windows is on this display.
    bool IsOn(const QScreen& display) const;
    // Another console of the program has changed this.
    void OnShared(SharedThing thing);
    void AutoLogin(const std::string& user, const std::string& password);
    // Nothing while nobody is logged in. The caller wipes the password.
    std::optional<RecorderLogin> Login() const;
    // The same session as another console's, at that recorder.
    void FollowLogin(const RecorderLogin& login);
    void Logout();
    // Shown until a recorder has told its own.
    void SetDefServerName(const std::string& name);
    // Shows the help's button when there is an address.
    void SetHelpURL(const std::string& url);
    // The named views: their names, a line each; opens one; saves the wall as one.
    std::string ViewNames() const;
    bool OpenView(const std::string& name);
    // The sequence that runs, and the view that is shown; empty for none.
    std::string Sequence() const;
    std::string View() const;
    // Some of its channels are live.
    bool IsLive() const;
    bool SaveView(const std::string& name);
    // The first recorder's map, for this user.
    void OpenEMap(const std::string& user, const std::string& password);

    // For tests and measurements: they look at what the console is made of.
    ConsoleParts& Parts() { return *m_parts; }

    // --- Desk
    WindowBase& Window() override { return *this; }
    WindowHandle Handle() const override { return CXSkinDialog::Handle(); }
    QWidget* DialogHost() const override;
    QWidget* HostOf(const QWidget& cell) const override;
    void BringHere(QWidget& dialog) override;
    void MakeRoom() override;
    QDialog* ShowMessage(const std::string& text, const std::string& title) override;
    void ShowWait() override;
    void HideWait() override;
    bool IsWaitShown() const override;
    void RefreshCursor() override;
    bool IsLoggedIn() const override;
    bool IsLocked() const override;
    bool IsClosing() const override { return m_bClosing; }

    // --- Commands
    void Press(int id) override;
    void PressMenuEntry(int id) override;
    void Run(int id) override;
    void Hold(int id) override;
    void Release(int id) override;
    void RefreshControls() override;
    void AskFor(std::uint32_t code, int server) override;

    // --- Timers
    void SetTimer(std::uint32_t id, int ms) override { CXSkinDialog::SetTimer(id, ms); }
    void KillTimer(std::uint32_t id) override { CXSkinDialog::KillTimer(id); }
    bool IsTimerSet(std::uint32_t id) const override { return CXSkinDialog::IsTimerSet(id); }

    // --- PanelButtons
    QRect Place(int id) const override;
    bool IsHeld(int id) const override;
    QString TipText(int id) const override;
    void TellPresses(std::span<const int> ids) override;
    void FocusStyle() override;
    void ShowLock() override;
    void OrderTabs(const std::vector<QWidget*>& wall) override;

    // --- SessionEvents
    void OnFirstAnswer() override;
    void OnLoginChanged() override;
    void OnRefused() override;
    void OnSessionEnds() override;
    void OnSessionOver() override;
    void ShowRecorder(const std::string& name, const std::string& model) override;
    void ForgetRecorder() override;

    int OnSkinODButtonNotify(int nId, int nCode, LParam lParam) override;
    bool OnSkinToolTipNeedTextNotify(CXSkinODButton& button, std::string& text) override;

protected:
    void OnTimer(std::uint32_t id) override;
    LParam OnMessage(std::uint32_t message, WParam wParam, LParam lParam) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    bool event(QEvent* event) override;

private:
    void OnDestroy();
    void EnableChildren(bool bOn);
    void NameKeys();
    void SetStaticText(int id, const std::string& text);
    void SetStaticColour(int id, ColourRole colour);
    void ShowControl(int id, const ConsoleControls::State& state);

    ClientSite& m_site;
    std::string m_strServerName;
    bool m_bClosing = false;
    bool m_bDestroyed = false;
    bool m_bShownLocked = false;  // as the children were enabled
    std::unique_ptr<ConsoleParts> m_parts;
};

}  // namespace kvmon
