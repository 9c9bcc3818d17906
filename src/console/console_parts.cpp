#include "console/console_parts.h"

#include <cstdio>
#include <utility>

#include "channel/camera/base_camera.h"
#include "console/ports/console_messages.h"
#include "console/ports/desk.h"
#include "console/ports/panel_buttons.h"
#include "console/settings/multi_server_list.h"
#include "console/wall/live_count.h"
#include "persist/orvo_registry.h"
#include "persist/utilities.h"
#include "server/recorder_list.h"

namespace kvmon {

namespace {

std::string OwnFolder(const ClientSite& site) {
    const std::string display = KeyFromName(site.WallDisplay());
    return display.empty() ? display : "Walls\\" + display + "\\";
}

}  // namespace

ConsoleParts::ConsoleParts(Desk& theDesk, Commands& theCommands, Timers& timers, PanelButtons& theButtons,
                           SessionEvents& sessionEvents, ClientSite& theSite, Clock& clock,
                           std::uint16_t language)
    : desk(theDesk),
      commands(theCommands),
      buttons(theButtons),
      site(theSite),
      settings{{}, {}, language, OwnFolder(theSite)},
      recorders(clock),
      cameras(recorders),
      active(cells, cameras, recorders),
      heard(controls, cells, cameras),
      view(desk, commands, *this, cells, controls, cameras, settings, heard, recorders),
      spots(desk, buttons, cells),
      drag(desk, cells, view, cameras),
      screens(desk, commands, *this, controls, view, !settings.IsFirstWall()),
      lock(desk, view, recorders, clock),
      pointer(timers),
      wait(screens),
      feedback(desk, timers, view),
      flash(timers),
      sequential(desk, timers, spots, controls, view, settings),
      styles(view, sequential, controls),
      alone(desk, commands, cells, cameras, view, styles),
      focus(desk, cells, view),
      views(desk, site, commands, timers, controls, view, sequential, screens, cameras, recorders),
      bar(desk, timers, commands, controls, view, views),
      drawer(desk, controls, view, styles, cells, cameras, recorders, feedback),
      busy(desk, timers, controls, view),
      audio(desk, active, controls, feedback),
      ptz(buttons, timers, active, clock),
      record(active, cells, timers, busy, controls, feedback),
      cameraControls(commands, spots, controls, active, cameras, audio, record),
      cellMenu(desk, commands, controls, active, cameras, view, feedback),
      snapshot(desk, active, settings, feedback, flash, site, clock),
      keys(desk, timers, controls, commands),
      events(desk, timers, settings, recorders),
      windows(desk, site, recorders),
      admin(desk, recorders),
      binding(desk, timers, commands, buttons, sessionEvents, settings, view, screens, cells, cameras,
              windows, events, recorders),
      session(desk, timers, commands, sessionEvents, site, settings, view, cells, cameras, binding,
              recorders),
      progress(desk, commands, view, cells),
      serverClock(desk, settings, recorders, clock),
      options(desk, site, settings, binding, view, cells, cameras, events),
      help(site),
      status(desk, cells, cameras, view, session.SignIn(), recorders),
      title(desk, site, view, recorders) {
    recorders.AddListener(status);
    recorders.AddListener(serverClock);
    recorders.AddListener(binding);
}

ConsoleParts::~ConsoleParts() {
    cells.DestroyAll();
    // Threads were told to stop earlier, so that this waits only for those that took longer than all before.
    recorders.DeleteAllKelvara();
    recorders.ReapRemovedServers(StopWait::ToTheEnd);
    recorders.ReapRemovedCameras(StopWait::ToTheEnd);
    if (settings.IsFirstWall()) {
        for (const char* const name : {"/~snapshot.jpg", "/~snapshot.bmp"}) {
            std::remove((GetDataFolder() + name).c_str());
        }
    }
}

void ConsoleParts::Start() {
    ptz.Init();
    screens.Init();
    recorders.AddServer(site.GetServerIP(), site.GetServerPort(), {}, {});
    session.Logout();
    views.Start();
    if (settings.IsFirstWall()) {
        drawer.Start();
    }
}

void ConsoleParts::LoadSettings() {
    settings.options.Load(Registry(), settings.key);
    const SessionStart start = LoadSessionStart(Registry(), settings.ViewKey());
    site.ShowBrowserToolbar(settings.options.bShowBrowserToolbar);
    view.LoadMaxViewMode(start.maxViewMode);
    controls.SetPressed(kCtlViewSize, start.maxViewMode);
    sequential.SetInterval(start.sequentialMs);
    events.Start();
    // Not all walls are heard at once, unless their users want it.
    audio.LoadSettings(start.audio && settings.IsFirstWall());
}

void ConsoleParts::CloseSubjects() {
    site.KeepAwake(false);
    audio.CloseTalk();
    cellMenu.Close();
    windows.Close();
    admin.Close();
    options.CloseRecorders();
    events.Stop();
    views.Stop();
    progress.Stop();
    feedback.Hide();
}

void ConsoleParts::OnRefreshControls() {
    if (m_bRefreshed) {
        m_bRefreshAgain = true;
        return;
    }
    m_bRefreshed = true;
    desk.Handle().Post(kMsgRefreshEnds, 0, 0);
    Refresh();
}

void ConsoleParts::OnRefreshEnds() {
    m_bRefreshed = false;
    if (std::exchange(m_bRefreshAgain, false)) {
        Refresh();
    }
}

void ConsoleParts::Refresh() {
    cameraControls.Refresh();
    ptz.Refresh();
    cellMenu.Refresh();
}

void ConsoleParts::OpenHelp(int topic) {
    if (!help.Address(helpUrl, topic).empty()) {
        desk.MakeRoom();
        help.Open(helpUrl, topic);
    }
}

void ConsoleParts::OnSecond() {
    binding.KeepThreads();
    admin.Update();
    serverClock.OnTick();
    session.SignIn().Update();
    views.OnSecond();
    status.SetNote(views.Note());
    drawer.Update();
    status.OnTick();
    title.Update();
    progress.OnSecond();
    site.KeepAwake(CountLive(cells).live > 0);
    bar.Update();
    feedback.Place();  // above what has just been drawn anew
}

void ConsoleParts::OnShared(SharedThing thing) {
    switch (thing) {
        case SharedThing::Views:
            views.Reload();
            break;
        case SharedThing::Options:
            options.Follow();
            break;
        case SharedThing::Recorders:
            binding.FollowStoredList();
            break;
        case SharedThing::Displays:
            break;  // the host's to look after
    }
}

void ConsoleParts::OnWallChanged() {
    alone.OnWallChanged();
    focus.OnWallChanged();
    if (focus.TakeChangeOfStops()) {
        std::vector<QWidget*> stops = drawer.Stops();
        const std::vector<QWidget*> wall = focus.Stops();
        stops.insert(stops.end(), wall.begin(), wall.end());
        buttons.OrderTabs(stops);
    }
    binding.ShowRecorderOfActiveCell();
    session.SignIn().Update();
    status.SetNote(views.Note());
    status.OnTick();
    title.Update();
    bar.Update();
    feedback.Place();
    progress.Place();
}

void ConsoleParts::OnPlacesChange() {
    drag.Cancel();
    focus.OnPlacesChange();
}

void ConsoleParts::OnActiveCellChanged() {
    focus.OnActiveCellChanged();
    binding.ShowRecorderOfActiveCell();
}

void ConsoleParts::OnUserChose(bool bOtherCells) {
    views.OnUserChose(bOtherCells);
}

void ConsoleParts::OnSecondPanelUnused() {
    screens.OnSecondPanelUnused();
}

void ConsoleParts::LeaveWall() {
    if (lock.IsLocked()) {
        lock.Ask([this] { screens.LeaveFullScreen(); });
    } else {
        screens.LeaveFullScreen();
    }
}

void ConsoleParts::OnWallMoved() {
    pointer.SetOn(screens.IsFullScreen());
    bar.SetHost(screens.IsFullScreen() ? screens.Wall() : nullptr);
    buttons.ShowLock();
    wait.Place();
    feedback.Place();
    progress.Place();
}

void ConsoleParts::OnPanelGoes() {
    feedback.Place();  // off the panel
    progress.Place();
    if (session.SignIn().IsShown()) {
        session.SignIn().Update();  // moves the card off the panel, with what was typed
    }
}

}  // namespace kvmon
