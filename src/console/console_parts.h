// All subjects of the console, and who knows whom.
#pragma once

#include <cstdint>
#include <string>

#include "console/admin/camera_admin.h"
#include "console/camera/camera_controls.h"
#include "console/camera/cell_menu.h"
#include "console/camera/ptz_panel.h"
#include "console/camera/record_command.h"
#include "console/camera/snapshot_command.h"
#include "console/drawer/camera_drawer.h"
#include "console/events/event_center.h"
#include "console/options_command.h"
#include "console/panel/console_controls.h"
#include "console/panel/console_keys.h"
#include "console/ports/client_site.h"
#include "console/ports/wall_events.h"
#include "console/recorders/connect_progress.h"
#include "console/recorders/console_session.h"
#include "console/recorders/server_binding.h"
#include "console/recorders/server_clock.h"
#include "console/recorders/status_line.h"
#include "console/recorders/wall_title.h"
#include "console/settings/console_settings.h"
#include "console/site/help_window.h"
#include "console/site/site_windows.h"
#include "console/sound/audio_panel.h"
#include "console/views/view_switch.h"
#include "console/views/wall_bar.h"
#include "console/wall/active_camera.h"
#include "console/wall/busy_state.h"
#include "console/wall/camera_list.h"
#include "console/wall/cell_drag.h"
#include "console/wall/cell_flash.h"
#include "console/wall/cell_focus.h"
#include "console/wall/cell_pool.h"
#include "console/wall/feedback_line.h"
#include "console/wall/heard_camera.h"
#include "console/wall/idle_pointer.h"
#include "console/wall/menu_spot.h"
#include "console/wall/screen_controller.h"
#include "console/wall/sequential_mode.h"
#include "console/wall/single_toggle.h"
#include "console/wall/style_command.h"
#include "console/wall/view_controller.h"
#include "console/wall/wait_box.h"
#include "console/wall/wall_lock.h"
#include "server/recorder_list.h"

namespace kvmon {

// Made for the ports of one window, which must outlive it. A subject knows what it is handed here, and
// nothing else. User interface thread only.
class ConsoleParts final : private WallEvents {
public:
    ConsoleParts(Desk& desk, Commands& commands, Timers& timers, PanelButtons& buttons,
                 SessionEvents& sessionEvents, ClientSite& site, Clock& clock, std::uint16_t language);
    ~ConsoleParts() override;
    ConsoleParts(const ConsoleParts&) = delete;
    ConsoleParts& operator=(const ConsoleParts&) = delete;

    // Once, when the panel has its controls: those of this table and of the other one.
    void Start();
    // The first recorder has told the key.
    void LoadSettings();
    // Closes what is open for the user who is logged in.
    void CloseSubjects();
    // Command kCmdRefreshControls. Each refresh looks at all cameras, and all cells may ask in one turn of
    // the loop: the first is followed at once, and one more refresh stands for all others.
    void OnRefreshControls();
    void OnRefreshEnds();
    void OpenHelp(int topic);
    // The user wants to leave full screen.
    void LeaveWall();
    // Once a second.
    void OnSecond();
    // Others have changed what this console shows, too.
    void OnShared(SharedThing thing);
    void OnWallChanged() override;
    void OnWallMoved() override;

    Desk& desk;
    Commands& commands;
    PanelButtons& buttons;
    ClientSite& site;
    ConsoleSettings settings;
    ConsoleControls controls;
    RecorderList recorders;
    CameraList cameras;
    CellPool cells;
    ActiveCamera active;
    HeardCamera heard;
    ViewController view;
    MenuSpots spots;
    CellDrag drag;  // behind the cells that it draws on
    ScreenController screens;
    WallLock lock;
    IdlePointer pointer;
    WaitBox wait;
    FeedbackLine feedback;
    CellFlash flash;
    SequentialMode sequential;
    StyleCommand styles;
    SingleToggle alone;
    CellFocus focus;
    ViewSwitch views;
    WallBar bar;
    CameraDrawer drawer;
    BusyState busy;
    AudioPanel audio;
    PtzPanel ptz;
    RecordCommand record;
    CameraControls cameraControls;
    CellMenu cellMenu;
    SnapshotCommand snapshot;
    ConsoleKeys keys;
    EventCenter events;
    SiteWindows windows;
    CameraAdmin admin;
    ServerBinding binding;
    ConsoleSession session;
    ConnectProgress progress;
    ServerClock serverClock;
    OptionsCommand options;
    HelpWindow help;
    std::string helpUrl;
    StatusLine status;
    WallTitle title;

private:
    void OnPlacesChange() override;
    void OnActiveCellChanged() override;
    void OnUserChose(bool bOtherCells) override;
    void OnOrderReset() override { views.OnOrderReset(); }
    void OnCellCountChanges() override { views.OnCellCountChanges(); }
    void OnViewLoaded(const std::string& key) override { views.OnViewLoaded(key); }
    void OnViewSaved(const std::string& key) override { views.OnViewSaved(key); }
    void OnSecondPanelUnused() override;
    void OnPanelGoes() override;
    void OnDisplaysChanged() override { site.TellOthers(SharedThing::Displays); }

    void Refresh();

    bool m_bRefreshed = false;     // in this turn of the loop
    bool m_bRefreshAgain = false;  // somebody has asked since
};

}  // namespace kvmon
