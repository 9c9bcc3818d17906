// The monitor console: the window that holds the wall and its panel.
#pragma once

#include <memory>
#include <string>

#include "console/audio_panel.h"
#include "console/busy_state.h"
#include "console/camera_controls.h"
#include "console/camera_list.h"
#include "console/cell_drag.h"
#include "console/cell_menu.h"
#include "console/client_site.h"
#include "console/console_controls.h"
#include "console/console_keys.h"
#include "console/console_messages.h"
#include "console/console_options.h"
#include "console/console_session.h"
#include "console/event_center.h"
#include "console/help_window.h"
#include "console/options_command.h"
#include "console/ptz_panel.h"
#include "console/screen_controller.h"
#include "console/sequential_mode.h"
#include "console/server_binding.h"
#include "console/server_clock.h"
#include "console/site_windows.h"
#include "console/snapshot_command.h"
#include "console/view_controller.h"
#include "server/recorder_list.h"
#include "skin/xskin_dialog.h"

class QDialog;

namespace kvmon {

class CWaitDlg;
class StatusLine;

// One at a time. Every subject is a class of its own, owned here: the view, the binding of servers, the
// session, the wait for cameras. User interface thread only; workers reach it through Handle().
class CMainDlg : public CXSkinDialog {
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

    void AutoLogin(const std::string& user, const std::string& password) {
        m_session.AutoLogin(user, password);
    }
    void Logout() { m_session.Logout(); }
    bool IsLoggedIn() const { return m_session.IsLoggedIn(); }
    SignInDesk& SignIn() { return m_session.SignIn(); }
    // Command 1608 of who is logged in.
    void OnBtnLogout();
    // Shown until a recorder has told its own.
    void SetDefServerName(const std::string& name);
    // Shows the help's button when there is an address.
    void SetHelpURL(const std::string& url);

    // Toggles the control's press, when there is one, and posts its command. One that is disabled takes none.
    void PressButton(int id);
    // The same for the choice from a camera's menu.
    void PressMenuEntry(int id);

    // --- what the parts of the console share
    ClientSite& Site() { return m_site; }
    Clock& GetClock() const { return m_clock; }
    RecorderList& Recorders() { return m_recorders; }
    ViewController& View() { return m_view; }
    ServerBinding& Binding() { return m_binding; }
    ScreenController& Screens() { return m_screens; }
    CellDrag& Drag() { return m_drag; }
    BusyState& Busy() { return m_busy; }
    SequentialMode& Sequential() { return m_sequential; }
    ConsoleKeys& Keys() { return m_keys; }
    CameraList& Cameras() { return m_cameras; }
    const CameraList& Cameras() const { return m_cameras; }
    ConsoleControls& Controls() { return m_controls; }
    OptionsCommand& OptionsDialogs() { return m_optionsCommand; }
    CellMenu& Menu() { return m_cellMenu; }
    AudioPanel& Audio() { return m_audio; }
    EventCenter& Events() { return m_events; }
    SiteWindows& Windows() { return m_windows; }
    const ConsoleOptions& Options() const { return m_options; }
    void SetOptions(const ConsoleOptions& options) { m_options = options; }
    // The settings key of this session; empty until the first server told its name.
    const std::string& KeyName() const { return m_strKeyName; }
    void SetKeyName(const std::string& key) { m_strKeyName = key; }
    bool IsClosing() const { return m_bClosing; }
    std::uint16_t GetLanguage() const { return m_language; }

    void LoadSettings();
    bool IsAudioChecked() const { return m_audio.IsAudioChecked(); }
    // All enabling that follows from who is logged in.
    void OnLogin();
    // Another layout, other cameras: what is said about them follows.
    void OnWallChanged();
    void ShowWaitDialog(bool bShow);
    bool IsWaitDialogShown() const;
    // To the middle of where the wall is now, if it is open.
    void PlaceWaitDialog();
    // A box that waits for nobody, and deletes itself when it is closed.
    QDialog* ShowMessage(const std::string& text, const std::string& title);
    void SetStaticText(int id, const std::string& text);
    void FocusStyleButton();
    void RefreshCursor();

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
    void OnCommand(int id);
    void OnDestroy();
    void OnDoubleClick();
    void OpenHelp(int topic);
    void SetStaticColour(int id, unsigned colour);
    void OnLButtonUp();
    void ShowControl(int id, const ConsoleControls::State& state);

    ClientSite& m_site;
    const std::uint16_t m_language;
    Clock& m_clock;
    RecorderList m_recorders{m_clock};
    std::string m_strServerName;
    std::string m_strHelpURL;
    HelpWindow m_help{m_site};
    std::string m_strKeyName;
    bool m_bClosing = false;
    bool m_bDestroyed = false;
    ConsoleOptions m_options;
    ConsoleControls m_controls;
    CameraList m_cameras{m_recorders};
    ViewController m_view{*this};
    CellDrag m_drag{*this};  // behind the cells that it draws on
    ScreenController m_screens{*this};
    ServerBinding m_binding{*this};
    ConsoleSession m_session{*this};
    BusyState m_busy{*this};
    PtzPanel m_ptz{*this};
    SnapshotCommand m_snapshot{*this};
    ServerClock m_serverClock{*this};
    AudioPanel m_audio{*this};
    SequentialMode m_sequential{*this};
    CameraControls m_cameraControls{*this};
    CellMenu m_cellMenu{*this};
    ConsoleKeys m_keys{*this};
    EventCenter m_events{*this};
    SiteWindows m_windows{*this};
    OptionsCommand m_optionsCommand{*this};
    std::unique_ptr<StatusLine> m_status;
    std::unique_ptr<CWaitDlg> m_waitDialog;
};

}  // namespace kvmon
